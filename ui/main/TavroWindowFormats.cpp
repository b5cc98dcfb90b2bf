// The main window's format choice: the formats pop-up, adding and deleting formats, and the
// four-line description of the current one.

#include <QActionGroup>
#include <QMenu>
#include <QPushButton>
#include <QTextEdit>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "app/records/FormatSetting.h"
#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "media/file/FileFormats.h"
#include "ui/format/FormatWindow.h"
#include "ui/main/TavroWindow.h"
#include "ui/main/WindowMessages.h"
#include "ui/timer/TimerView.h"

namespace {

bool isEmpty(const char* text) {
    return text == nullptr || text[0] == '\0';
}

const char* colorSpaceWord(int32 space) {
    switch (space) {
        case B_GRAY8:
            return "8-bit";
        case B_RGB15:
            return "15-bit";
        case B_RGB16:
            return "16-bit";
        case B_RGB24:
            return "24-bit";
        case B_YCbCr422:
        case B_YCbCr411:
            return "YCbCr";
        default:
            return "32-bit";
    }
}

// The pretty name of the writable file format `shortName`; empty when none has that name.
std::string fileFormatText(const char* shortName) {
    if (isEmpty(shortName))
        return "<no file format>";
    media_file_format format;
    int32 cookie = 0;
    while (get_next_file_format(&cookie, &format) == B_OK) {
        if (format.short_name == shortName)
            return format.pretty_name;
    }
    return "";
}

}  // namespace

QAction* TavroWindow::NewFormatItem(const FormatSetting* format) {
    auto* item = new QAction(QString::fromUtf8(format->Text()), fFormatsMenu);
    item->setCheckable(true);
    fFormatItems->addAction(item);
    // The index is the item's place in the menu when it is chosen, not when it was made.
    connect(item, &QAction::triggered, this,
            [this, item] { PostIndex(kMsgFormat, int32(fFormatsMenu->actions().indexOf(item))); });
    return item;
}

void TavroWindow::PostIndex(uint32 what, int32 index) {
    Message message(what);
    message.AddInt32("index", index);
    PostMessage(message);
}

void TavroWindow::MarkFormatItem(int32 index) {
    QList<QAction*> items = fFormatsMenu->actions();
    QAction* marked = nullptr;
    if (index >= 0 && index < items.size() && items[index]->actionGroup() == fFormatItems)
        marked = items[index];
    if (marked != nullptr) {
        marked->setChecked(true);
    } else if (QAction* checked = fFormatItems->checkedAction()) {
        // An exclusive group keeps one item checked; step out of it to clear the mark.
        fFormatItems->setExclusive(false);
        checked->setChecked(false);
        fFormatItems->setExclusive(true);
    }
    fFormatField->setText(marked != nullptr ? marked->text() : QString("<choose format>"));
}

void TavroWindow::UpdateFormatsListMenu() {
    for (QAction* item : fFormatsMenu->actions()) {
        fFormatsMenu->removeAction(item);
        delete item;
    }
    for (const std::unique_ptr<FormatSetting>& format : gSettings.formats)
        fFormatsMenu->addAction(NewFormatItem(format.get()));
    fFormatsMenu->addSeparator();
    QAction* add = fFormatsMenu->addAction(QString::fromUtf8("New Format…"));
    connect(add, &QAction::triggered, this, [this] { PostMessage(kMsgAddFormat); });
    QAction* remove = fFormatsMenu->addAction("Delete Current Format");
    connect(remove, &QAction::triggered, this, [this] { PostMessage(kMsgRemoveFormat); });

    if (gSettings.IndexOf(fFormat) < 0) {
        fFormat = gSettings.FormatAt(0);
        UpdateFormatDescription();
    }
    MarkFormatItem(gSettings.IndexOf(fFormat));
}

void TavroWindow::SelectFormat() {
    SelectFormat(gSettings.IndexOf(fFormat));
}

void TavroWindow::SelectFormat(int32 index) {
    gSettings.lastFormat = index;
    MarkFormatItem(index);
}

void TavroWindow::FormatChosen(const Message* message) {
    int32 index;
    // An index past the list names no format; taking it would leave lastFormat invalid.
    if (message->FindInt32("index", &index) != B_OK || gSettings.FormatAt(index) == nullptr)
        return;
    SelectFormat(index);
    FormatSetting* format = gSettings.FormatAt(index);
    if (format == fFormat)
        return;
    fFormat = format;
    UpdateFormatDescription();
    fTimerView->SetFormat(fFormat);
    if (auto* editor = dynamic_cast<MessageTarget*>(fFormatWindow.data())) {
        Message selected(kMsgFormatSelected);
        selected.AddInt32("index", index);
        selected.AddBool("fromMainLooper", true);
        editor->PostMessage(selected);
    }
    FollowContainer();
    fEngine->SetFormat(fFormat);
    // The timer pane takes the format for its selected entry here.
}

// The editor's report names its format by pointer. Both windows live on the GUI thread, but the
// report is queued: the format may have been deleted since. The pointer is only compared; what
// is read is fFormat, which is listed in gSettings until RemoveFormat clears it.
void TavroWindow::FormatChanged(const Message* message) {
    void* format;
    if (message->FindPointer("format", &format) == B_OK && format == fFormat &&
        fFormat != nullptr) {
        UpdateFormatDescription();
        FollowContainer();
    }
}

void TavroWindow::FollowContainer() {
    if (fFormat == nullptr)
        return;
    media_file_format format;
    int32 cookie = 0;
    while (get_next_file_format(&cookie, &format) == B_OK) {
        if (format.short_name != fFormat->fileFormat)
            continue;
        std::string name = fileNameFor(gSettings.fileName, format);
        if (name != gSettings.fileName)
            SetFileName(name);
        return;
    }
}

void TavroWindow::AddFormat() {
    gSettings.formats.push_back(std::make_unique<FormatSetting>("unnamed format"));
    FormatSetting* format = gSettings.formats.back().get();
    gSettings.SortFormats();
    int32 index = gSettings.IndexOf(format);

    QList<QAction*> items = fFormatsMenu->actions();
    fFormatsMenu->insertAction(items.value(index, nullptr), NewFormatItem(format));
    MarkFormatItem(index);

    // An open editor lists the new format at once (the 'form' below points it there); one that
    // is not open is opened on it.
    if (auto* editor = qobject_cast<FormatWindow*>(fFormatWindow.data()))
        editor->AddFormat(format);
    else if (fFormatWindow == nullptr)
        PostIndex(kMsgFormatSettings, index);
    PostIndex(kMsgFormat, index);
}

void TavroWindow::RemoveFormat() {
    if (fFormat == nullptr)
        return;
    int32 index = gSettings.IndexOf(fFormat);
    std::unique_ptr<FormatSetting> removed = gSettings.TakeFormat(fFormat);
    if (index >= 0) {
        QAction* item = fFormatsMenu->actions().value(index, nullptr);
        if (item != nullptr) {
            fFormatsMenu->removeAction(item);
            delete item;
        }
    }
    fTimerView->FormatRemoved(fFormat);
    // The editor forgets it before it is deleted.
    if (auto* editor = qobject_cast<FormatWindow*>(fFormatWindow.data()))
        editor->RemoveFormat(fFormat);
    // The running recording's file reads its format until it closes (the report names it).
    if (fFile != nullptr && fFile->format == removed.get())
        fRecordingFormat = std::move(removed);
    // Forgotten at once: a new format may be allocated where this one was.
    fFormat = nullptr;

    if (index >= int32(gSettings.formats.size()))
        index = int32(gSettings.formats.size()) - 1;
    // The list is never left empty by a deletion.
    if (index < 0)
        AddFormat();
    else
        PostIndex(kMsgFormat, index);
}

void TavroWindow::UpdateFormatDescription() {
    if (fFormat == nullptr) {
        fDescriptionText = "\n\t<no format selected>";
        ElideDescription();
        return;
    }
    std::string fileFormat = fileFormatText(fFormat->fileFormat.c_str());

    std::string video = "<no video encoder>";
    std::string audio = "<no audio>";
    media_codec_info encoder;
    int32 cookie = 0;
    while (get_next_encoder(&cookie, &encoder) == B_OK) {
        if (encoder.short_name == fFormat->videoEncoder) {
            video = encoder.pretty_name;
        } else if (encoder.short_name == fFormat->audioEncoder) {
            char text[256];
            std::snprintf(text, sizeof(text), "%s, %gkHz %s", encoder.pretty_name.c_str(),
                          fFormat->audioFrameRate / 1000.0,
                          fFormat->audioChannels > 1 ? "stereo" : "mono");
            audio = text;
        }
    }

    float rate = 25.0f;
    media_format input;
    if (fEngine->GetVideoFormat(&input) == B_OK && input.raw_video.field_rate > 0)
        rate = input.raw_video.field_rate;
    // A divisor below 1 is not one the editor makes; read it as "every frame".
    rate /= float(std::max<int32>(fFormat->frameDivisor, 1));

    char quality[32] = "";
    long percent = long(fFormat->videoQuality * 100 + 0.5f);
    if (percent >= 1)
        std::snprintf(quality, sizeof(quality), "%ld%% quality, ", percent);

    char text[1024];
    std::snprintf(text, sizeof(text), "%s\n\t%s\n\t\t%s%ld x %ld, %s, %g f/s\n\t%s",
                  fileFormat.c_str(), video.c_str(), quality, long(fFormat->videoWidth),
                  long(fFormat->videoHeight), colorSpaceWord(fFormat->colorSpace), rate,
                  audio.c_str());
    fDescriptionText = QString::fromUtf8(text);
    ElideDescription();
}
