// The main window's recording control: Record and Stop (by hand or from a timed event), the
// output file name from a drop or the save panel, and the channel the TV pane reports.

#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

#include <cstdio>
#include <filesystem>

#include "app/ErrorAlert.h"
#include "app/FormatSetting.h"
#include "app/MessageCodes.h"
#include "app/TavroSettings.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "scheduler/EventItem.h"
#include "scheduler/TimedRecordingPath.h"
#include "support/Clock.h"
#include "ui/main/RecordingFolder.h"
#include "ui/main/StatusView.h"
#include "ui/main/TavroWindow.h"
#include "ui/main/WindowMessages.h"
#include "ui/timer/TimerView.h"

namespace {

bool isEmpty(const char* text) {
    return text == nullptr || text[0] == '\0';
}

}  // namespace

void TavroWindow::ShowIncompleteSettingsAlert(QWidget* parent) {
    auto* alert = new QMessageBox(QMessageBox::Warning, QString(),
                                  "The encoder and file format settings are not complete.\n"
                                  "Please complete these settings to be able to start recording.",
                                  QMessageBox::NoButton, parent);
    alert->setObjectName("incompleteSettingsAlert");
    alert->addButton("Ok", QMessageBox::AcceptRole);
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->open();
}

void TavroWindow::Record(Message* message) {
    if (isEmpty(gSettings.fileName) || fFormat == nullptr || isEmpty(fFormat->fileFormat) ||
        isEmpty(fFormat->videoEncoder)) {
        ShowIncompleteSettingsAlert(this);
        fRecordFailure = "the format's settings are not complete";
        return;
    }
    // A timed event that begins during a recording takes over.
    if (fFile != nullptr)
        Stop();
    fStopButton->setFocus();
    fEngine->SetFormat(fFormat);
    int32 channel;
    if (message->FindInt32("channel", &channel) == B_OK)
        fEngine->SetChannel(channel);

    std::string path;
    if (message->FindString("fileName", &path) != B_OK)
        path = fFileName->text().toStdString();
    path = recordingPath(path);

    // Kept until the next Stop or Record also when it failed: the file object has shown why.
    fFile = std::make_unique<TavroFile>(path.c_str(), fFormat, fEngine);
    if (fFile->status < 0) {
        fRecordFailure = "the file could not be made: " + statusText(fFile->status);
        return;
    }
    status_t status = fFile->file->CommitHeader();
    if (status != B_OK) {
        ErrorAlert("failed to write the file's header!", status);
        fRecordFailure = "the file's header could not be written: " + statusText(status);
        fFile.reset();
        return;
    }
    if (fEngine->SetVideoTrack(fFile->videoTrack) != B_OK) {
        ErrorAlert("failed to set video track!", B_ERROR);
        fRecordFailure = "failed to set video track";
        fFile.reset();
        return;
    }
    if (fEngine->SetAudioTrack(fFile->audioTrack) != B_OK) {
        ErrorAlert("failed to set audio track!", B_ERROR);
        fRecordFailure = "failed to set audio track";
        // The engine has taken the video track already: let it go before the file does.
        fEngine->Stop();
        fFile.reset();
        return;
    }
    // Silently: the window shows no recording, and the file stays until the next Stop.
    if (status_t started = fEngine->Start(); started != B_OK) {
        fRecordFailure = "the engine did not start: " + statusText(started);
        return;
    }
    fStatusView->Start();
    fStatusView->SetFileName(QString::fromStdString(path));
    fStopButton->setEnabled(true);
    // Qt gives no focus to a disabled button: the focus given above takes effect now.
    fStopButton->setFocus();
}

void TavroWindow::Stop() {
    if (fFile == nullptr)
        return;
    fEngine->Stop();
    fStatusView->Stop();
    fFile.reset();
    // A disabled button passes its focus on to the next widget, the file name field, with its
    // text selected: one more keystroke would replace the name. Record takes it instead.
    if (fStopButton->hasFocus())
        fRecordButton->setFocus();
    fStopButton->setEnabled(false);
    UpdateTitle();
}

void TavroWindow::TimerEvent(const Message* message) {
    int32 status;
    if (message->FindInt32("status", &status) != B_OK)
        return;
    // The entry may have been removed since the notification was posted: only a listed one is
    // read.
    void* pointer = nullptr;
    EventItem* item = nullptr;
    if (message->FindPointer("eventItem", &pointer) == B_OK &&
        fTimerView->Contains(static_cast<EventItem*>(pointer)))
        item = static_cast<EventItem*>(pointer);
    if (status == kEventMoved) {
        // A repeating entry's start moved on: nothing to record, the row shows the new start.
        if (item != nullptr) {
            item->SyncFromEvent();
            fTimerView->ItemChanged(item);
        }
        return;
    }
    Message request(status == kEventStarted ? kMsgRecord : kMsgStop);
    if (item != nullptr) {
        if (status == kEventStarted) {
            int error = B_OK;
            const std::string path =
                timedRecordingPath(recordingPath(item->FileName()), real_time_clock(), &error);
            if (path.empty()) {
                TimedRecordingFailed(item, "no free file name: " + statusText(error));
                return;
            }
            request.AddInt32("channel", item->Channel());
            request.AddString("fileName", path);
            request.AddPointer("eventItem", item);
            item->SetFailure({});
        }
        // Disabled while its recording runs; the list paints it so.
        item->SetEnabled(status != kEventStarted);
        fTimerView->ItemChanged(item);
    }
    PostMessage(request);
}

void TavroWindow::TimedRecordingFailed(EventItem* item, const std::string& reason) {
    item->SetFailure("not recorded: " + reason);
    item->SetEnabled(true);
    fTimerView->ItemChanged(item);
    std::fprintf(stderr, "tavro: timed recording to %s %s\n", item->FileName().c_str(),
                 item->Failure().c_str());
}

void TavroWindow::RecordRequested(Message* message) {
    fRecordFailure.clear();
    Record(message);
    void* pointer = nullptr;
    if (message->FindPointer("eventItem", &pointer) != B_OK ||
        !fTimerView->Contains(static_cast<EventItem*>(pointer)))
        return;
    if (fFile == nullptr || !fStopButton->isEnabled()) {
        TimedRecordingFailed(static_cast<EventItem*>(pointer),
                             fRecordFailure.empty() ? "the recording did not start"
                                                    : fRecordFailure);
    }
}

void TavroWindow::ShowTimerEvent(const char* path, FormatSetting* format) {
    // The settings' file name changes only through the field's own message.
    fFileName->setText(QString::fromUtf8(path != nullptr ? path : ""));
    fFormat = format;
    fEngine->SetFormat(fFormat);
    SelectFormat();
    UpdateFormatDescription();
}

void TavroWindow::SetTimerEvent(EventItem* item) {
    // An entry without a format records with the current one.
    ShowTimerEvent(item->FileName().c_str(),
                   item->Format() != nullptr ? item->Format() : fFormat);
}

void TavroWindow::SetChannel(int32 channel, const char* name) {
    fChannel = channel;
    fChannelName = name != nullptr ? name : "";
    fTimerView->SetChannel(channel, name);
}

void TavroWindow::RefsReceived(Message* message) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::path path;
    std::string refs;
    if (message->FindString("refs", &refs) == B_OK) {
        // A dropped entry exists; one that has gone since names nothing.
        if (refs.empty() || !fs::exists(refs, error))
            return;
        path = refs;
    } else {
        std::string directory;
        const char* name = nullptr;
        if (message->FindString("directory", &directory) != B_OK ||
            message->FindString("name", &name) != B_OK)
            return;
        if (directory.empty() || !fs::is_directory(directory, error))
            return;
        path = fs::path(directory) / (name != nullptr ? name : "");
    }
    SetFileName(path.string());
}

void TavroWindow::SetFileName(const std::string& path) {
    gSettings.SetFileName(path.c_str());
    fFileName->setText(QString::fromUtf8(gSettings.fileName));
    fTimerView->SetFileName(gSettings.fileName);
}
