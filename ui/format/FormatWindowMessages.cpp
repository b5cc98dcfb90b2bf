// The format editor's message table: each edit goes into the format, to the engine, and is
// reported to the quit target. A message without the field its edit needs changes nothing.

#include <QFrame>
#include <QLineEdit>
#include <QListWidget>
#include <QScrollArea>
#include <QScrollBar>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "app/records/FormatSetting.h"
#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "ui/format/FormatWindow.h"
#include "ui/widgets/MenuField.h"
#include "ui/widgets/ParameterView.h"
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
            // The scratch file was of the other container.
            SettleEncoderWindows();
            fFormat->SetFileFormat(fFileFormat->short_name.c_str());
            UpdateEncoderMenus();
            UpdateEncoderButtons();
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
            // The open windows show the encoder chosen before.
            SettleEncoderWindows();
            if (video) {
                fVideoEncoder = encoder;
                fFormat->SetVideoEncoder(encoder->short_name.c_str());
            } else {
                fAudioEncoder = encoder;
                fFormat->SetAudioEncoder(encoder->short_name.c_str());
            }
            UpdateEncoderButtons();
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
    gSettings.SortFormats();
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

void FormatWindow::OpenEncoderWindow(bool video) {
    QPointer<NodeSettingsWindow>& window = video ? fVideoWindow : fAudioWindow;
    if (window) {
        window->raise();
        window->activateWindow();
        return;
    }
    if (fFormat == nullptr)
        return;
    if (!fScratchFile) {
        // Made like a recording's file, so the tracks hold the format's stored values. No file
        // appears: its header is never written.
        auto file = std::make_unique<TavroFile>(nullptr, fFormat, fEngine);
        if (file->status < B_OK)
            return;  // the file has said why
        fScratchFile = std::move(file);
        fScratchLife = std::make_shared<int>(0);
    }
    MediaTrack* track = video ? fScratchFile->videoTrack : fScratchFile->audioTrack;
    std::unique_ptr<ParameterWeb> web = track != nullptr ? track->NewWeb() : nullptr;
    if (!web) {
        if (!fVideoWindow && !fAudioWindow) {
            fScratchFile.reset();
            fScratchLife.reset();
        }
        return;
    }
    web->SetOwnerLife(fScratchLife);
    auto* view = new ParameterView(std::move(web));
    view->SetGoneText("The encoder was changed. Open its parameters again.");
    // Encoders have a hundred options and more: the view scrolls inside a screenful.
    auto* scroller = new QScrollArea;
    scroller->setObjectName("encoderParameters");
    scroller->setWidget(view);
    scroller->setWidgetResizable(true);
    scroller->setFrameShape(QFrame::NoFrame);
    const QSize wanted = view->sizeHint();
    const int scrollBar = scroller->verticalScrollBar()->sizeHint().width();
    scroller->setFixedSize(wanted.width() + scrollBar + 4, std::min(wanted.height(), 560));

    window = new NodeSettingsWindow(
        video ? &gSettings.videoEncoderFrame : &gSettings.audioEncoderFrame,
        video ? "Tavro - Video Encode Parameters" : "Tavro - Audio Encode Parameters", scroller);
    window->setObjectName(video ? "videoEncoderWindow" : "audioEncoderWindow");
    window->SetQuitTarget(this,
                          video ? kMsgVideoEncoderWindowClosed : kMsgAudioEncoderWindowClosed);
}

void FormatWindow::StoreEncoderParameters(bool video) {
    if (!fScratchFile || fFormat == nullptr || fScratchFile->format != fFormat)
        return;
    MediaTrack* track = video ? fScratchFile->videoTrack : fScratchFile->audioTrack;
    if (track == nullptr)
        return;
    if (video)
        fFormat->SetVideoParameters(track->Web());
    else
        fFormat->SetAudioParameters(track->Web());
}

void FormatWindow::EncoderWindowClosed(bool video) {
    // A window of the same kind opened since this message was posted is not this one.
    if ((video ? fVideoWindow : fAudioWindow) != nullptr)
        return;
    StoreEncoderParameters(video);
    if (!fVideoWindow && !fAudioWindow) {
        fScratchFile.reset();
        fScratchLife.reset();
    }
    Message report(kMsgFormatChanged);
    report.AddPointer("format", fFormat);
    PostToQuitTarget(report);
}

void FormatWindow::SettleEncoderWindows() {
    if (!fScratchFile)
        return;
    bool stored = false;
    for (bool video : {true, false}) {
        QPointer<NodeSettingsWindow>& window = video ? fVideoWindow : fAudioWindow;
        if (!window)
            continue;
        StoreEncoderParameters(video);
        stored = true;
        // Closed here and now, before the file its view shows: no message comes back.
        window->SetQuitTarget(nullptr, 0);
        delete window.data();
    }
    fScratchFile.reset();
    fScratchLife.reset();
    if (stored) {
        Message report(kMsgFormatChanged);
        report.AddPointer("format", fFormat);
        PostToQuitTarget(report);
    }
}
