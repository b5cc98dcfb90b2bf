// The format editor's message table: each edit goes into the format, to the engine, and is
// reported to the quit target. A message without the field its edit needs changes nothing.

#include <QLineEdit>
#include <QListWidget>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "app/FormatSetting.h"
#include "app/MessageCodes.h"
#include "app/TavroSettings.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "ui/format/FormatWindow.h"
#include "ui/widgets/MenuField.h"
#include "ui/widgets/QualitySlider.h"
#include "ui/widgets/StatusMenuItem.h"

namespace {

// A whole positive number in base 10, or 0 when `text` is anything else.
int32 parseSize(const QString& text) {
    const std::string bytes = text.trimmed().toStdString();
    char* end = nullptr;
    long value = std::strtol(bytes.c_str(), &end, 10);
    if (bytes.empty() || *end != '\0' || value < 1 || value > 16384)
        return 0;
    return int32(value);
}

}  // namespace

void FormatWindow::PostToQuitTarget(const Message& message) {
    if (fHasQuitTarget)
        fQuitTarget.Post(message);
}

void FormatWindow::MessageReceived(Message* message) {
    bool changed = false;
    switch (message->what) {
        case kMsgAddFormat:
        case kMsgRemoveFormat:
            PostToQuitTarget(Message(message->what));
            break;
        case kMsgFormatSelected:
            FormatSelected(message);
            break;
        case kMsgFormatName:
            NameChanged();
            break;
        case kMsgFileFormat: {
            void* format;
            if (fFormat == nullptr || message->FindPointer("format", &format) != B_OK)
                break;
            fFileFormat = static_cast<const media_file_format*>(format);
            fFormat->SetFileFormat(fFileFormat->short_name.c_str());
            UpdateEncoderMenus();
            changed = true;
            break;
        }
        case kMsgVideoEncoder:
        case kMsgAudioEncoder: {
            bool video = message->what == kMsgVideoEncoder;
            void* info;
            if (fFormat == nullptr ||
                message->FindPointer(video ? "videoEncoder" : "audioEncoder", &info) != B_OK)
                break;
            auto* encoder = static_cast<const media_codec_info*>(info);
            if (video) {
                fVideoEncoder = encoder;
                fFormat->SetVideoEncoder(encoder->short_name.c_str());
            } else {
                fAudioEncoder = encoder;
                fFormat->SetAudioEncoder(encoder->short_name.c_str());
            }
            changed = true;
            break;
        }
        case kMsgVideoQuality: {
            int32 value;
            if (fFormat == nullptr || message->FindInt32("be:value", &value) != B_OK)
                break;
            fFormat->videoQuality = float(value) / 100.0f;
            changed = true;
            break;
        }
        case kMsgVideoWidth:
        case kMsgVideoHeight:
            changed = SizeTyped(message->what == kMsgVideoWidth);
            break;
        case kMsgVideoSize:
            changed = SizeChosen(message);
            break;
        case kMsgColorSpace: {
            int32 space;
            if (fFormat == nullptr || message->FindInt32("space", &space) != B_OK)
                break;
            void* source;
            if (message->FindPointer("source", &source) == B_OK) {
                for (QAction* item : fColorSpaceField->Items()) {
                    if (item == source)
                        fShownColorStatus = static_cast<StatusMenuItem*>(item)->Status();
                }
            }
            fFormat->colorSpace = space;
            if (fEngine != nullptr)
                fEngine->SetColorSpace(color_space(space));
            changed = true;
            break;
        }
        case kMsgFrameRate: {
            int32 divisor;
            if (fFormat == nullptr || message->FindInt32("skipFrames", &divisor) != B_OK)
                break;
            fFormat->frameDivisor = divisor;
            if (fEngine != nullptr)
                fEngine->SetVideoPlayRate(divisor);
            changed = true;
            break;
        }
        case kMsgFrequency: {
            int32 frequency;
            if (fFormat == nullptr || message->FindInt32("frequency", &frequency) != B_OK)
                break;
            fFormat->audioFrameRate = frequency;
            if (fEngine != nullptr)
                fEngine->SetFrequency(frequency);
            changed = true;
            break;
        }
        case kMsgChannelCount: {
            int8 channels;
            if (fFormat == nullptr || message->FindInt8("channels", &channels) != B_OK)
                break;
            fFormat->audioChannels = uint8(channels);
            if (fEngine != nullptr)
                fEngine->SetChannelCount(channels);
            changed = true;
            break;
        }
        case kMsgVideoEncoderSettings:
        case kMsgAudioEncoderSettings:
            OpenEncoderWindow(message->what == kMsgVideoEncoderSettings);
            break;
        case kMsgVideoEncoderWindowClosed:
        case kMsgAudioEncoderWindowClosed:
            EncoderWindowClosed(message->what == kMsgVideoEncoderWindowClosed);
            break;
        default:
            break;
    }
    if (changed) {
        Message report(kMsgFormatChanged);
        report.AddPointer("format", fFormat);
        PostToQuitTarget(report);
    }
}

bool FormatWindow::FormatSelected(const Message* message) {
    int32 index;
    if (message->FindInt32("index", &index) != B_OK || index < 0 || index >= fList->count())
        return false;
    // The user's own choice goes to the main window, which makes it the current format.
    if (!message->GetBool("fromMainLooper", false)) {
        Message chosen(kMsgFormat);
        chosen.AddInt32("index", index);
        PostToQuitTarget(chosen);
    }
    SetFormat(static_cast<FormatSetting*>(fList->item(index)->data(Qt::UserRole).value<void*>()));
    fList->setCurrentRow(index);
    return false;
}

bool FormatWindow::NameChanged() {
    if (fFormat == nullptr)
        return false;
    const std::string name = fName->text().toStdString();
    if (name == fFormat->Text())
        return false;
    fFormat->SetName(name.c_str());
    std::stable_sort(
        gSettings.formats.begin(), gSettings.formats.end(),
        [](FormatSetting* a, FormatSetting* b) { return FormatSetting::CompareFunc(&a, &b) < 0; });
    SortList();
    std::printf("FormatWindow: format = %p\n", static_cast<void*>(fFormat));
    std::fflush(stdout);
    PostToQuitTarget(Message(kMsgFormatsListChanged));
    return false;
}

bool FormatWindow::SizeChosen(const Message* message) {
    if (fFormat == nullptr)
        return false;
    int32 width;
    int32 height;
    if (message->FindInt32("width", &width) != B_OK)
        width = fFormat->videoWidth;
    if (message->FindInt32("height", &height) != B_OK)
        height = fFormat->videoHeight;
    float factor;
    if (message->FindFloat("factor", &factor) == B_OK) {
        // Cut off, not rounded.
        width = int32(float(width) * factor);
        height = int32(float(height) * factor);
    }
    // Halving a picture of a pixel leaves none: no such format.
    if (width < 1 || height < 1)
        return false;
    if (width == fFormat->videoWidth && height == fFormat->videoHeight)
        return false;
    fFormat->videoWidth = width;
    fFormat->videoHeight = height;
    ShowSize();
    if (fEngine != nullptr)
        fEngine->SetVideoSize(width, height);
    return true;
}

bool FormatWindow::SizeTyped(bool width) {
    if (fFormat == nullptr)
        return false;
    QLineEdit* field = width ? fWidth : fHeight;
    int32& stored = width ? fFormat->videoWidth : fFormat->videoHeight;
    int32 value = parseSize(field->text());
    // What is not a size goes back to the format's own.
    if (value == 0) {
        ShowSize();
        return false;
    }
    if (value == stored)
        return false;
    stored = value;
    if (fEngine != nullptr)
        fEngine->SetVideoSize(fFormat->videoWidth, fFormat->videoHeight);
    return true;
}

// #pragma mark - Encoder parameter windows

void FormatWindow::OpenEncoderWindow(bool) {}

void FormatWindow::EncoderWindowClosed(bool) {}

void FormatWindow::SettleEncoderWindows() {}
