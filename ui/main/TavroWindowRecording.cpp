// The main window's recording control: Record and Stop (by hand or from a timed event), the
// output file name from a drop or the save panel, and the channel the TV pane reports.

#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTime>

#include <cstdio>
#include <filesystem>

#include "app/records/ErrorAlert.h"
#include "app/records/FormatSetting.h"
#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "scheduler/EventItem.h"
#include "scheduler/TimedRecordingPath.h"
#include "support/Clock.h"
#include "support/Log.h"
#include "ui/main/RecordingFolder.h"
#include "ui/main/StatusView.h"
#include "ui/main/TavroWindow.h"
#include "ui/main/WindowMessages.h"
#include "ui/timer/TimerView.h"

namespace {

bool exists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

// `path` if nothing is there, else the first free "NAME-2.EXT", "NAME-3.EXT", ... beside it.
std::string freeFileName(const std::string& path) {
    if (!exists(path))
        return path;
    const std::filesystem::path original(path);
    const std::string stem = original.stem().string(), extension = original.extension().string();
    for (int number = 2;; number++) {
        std::filesystem::path candidate =
            original.parent_path() / (stem + "-" + std::to_string(number) + extension);
        if (!exists(candidate.string()))
            return candidate.string();
    }
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
    if (gSettings.fileName.empty() || fFormat == nullptr || fFormat->fileFormat.empty() ||
        fFormat->videoEncoder.empty()) {
        ShowIncompleteSettingsAlert(this);
        fRecordFailure = "the format's settings are not complete";
        return;
    }
    const bool timed = message->GetBool("timed", false);
    if (!timed && (fFile != nullptr || fReplaceQuestion != nullptr)) {
        // Record is disabled while recording: a 'recd' that still arrives (posted twice, or
        // while the question below is open) must not restart into the same file.
        return;
    }
    std::string path;
    if (message->FindString("fileName", &path) != B_OK)
        path = fFileName->text().toStdString();
    path = recordingPath(path);

    // A timed event that begins during a recording takes over.
    if (fFile != nullptr)
        Stop();

    // An input that has stopped (unplugged, failed) would end the recording at once: no file
    // is made, and the window says which input it is.
    std::string stopped;
    if (const status_t ended = fEngine->StoppedInput(!fFormat->audioEncoder.empty(), &stopped);
        ended != B_OK) {
        ErrorAlert(stopped.c_str(), ended);
        fRecordFailure = stopped;
        ShowLastError(stopped, ended);
        return;
    }

    ExistingFile existing = ExistingFile::kRefuse;
    if (exists(path)) {
        if (timed) {
            // Nobody may be there to answer: the recording goes beside the existing file.
            path = freeFileName(path);
        } else if (message->GetBool("overwrite", false) || path == fReplaceApproved) {
            existing = ExistingFile::kReplace;
        } else {
            AskToReplace(*message, path);
            return;
        }
    }
    fReplaceApproved.clear();

    fStopButton->setFocus();
    fEngine->SetFormat(fFormat);
    int32 channel;
    if (message->FindInt32("channel", &channel) == B_OK)
        fEngine->SetChannel(channel);

    // Kept until the next Stop or Record also when it failed: the file object has shown why.
    fFile = std::make_unique<TavroFile>(path.c_str(), fFormat, fEngine, existing);
    if (fFile->status < 0) {
        fRecordFailure = "the file could not be made: " + statusText(fFile->status);
        ShowLastError("Could not create the file " + path, fFile->status);
        return;
    }
    status_t status = fFile->file->CommitHeader();
    if (status != B_OK) {
        ErrorAlert("failed to write the file's header!", status);
        fRecordFailure = "the file's header could not be written: " + statusText(status);
        ShowLastError("failed to write the file's header!", status);
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
    fLastError->clear();
    fLastError->setVisible(false);
    fStatusView->Start();
    fStatusView->SetFileName(QString::fromStdString(path));
    fRecordButton->setEnabled(false);
    fStopButton->setEnabled(true);
    // Qt gives no focus to a disabled button: the focus given above takes effect now.
    fStopButton->setFocus();
}

void TavroWindow::AskToReplace(const Message& record, const std::string& path) {
    auto* question = new QMessageBox(
        QMessageBox::Warning, QString(),
        QString("The file \"%1\" already exists.\nDo you want to replace it?")
            .arg(QString::fromStdString(std::filesystem::path(path).filename().string())),
        QMessageBox::NoButton, this);
    question->setObjectName("replaceFileQuestion");
    QPushButton* replace = question->addButton("Replace", QMessageBox::AcceptRole);
    question->addButton("Cancel", QMessageBox::RejectRole);
    question->setAttribute(Qt::WA_DeleteOnClose);
    Message again(record);
    again.RemoveName("fileName");
    again.AddString("fileName", path);
    again.AddBool("overwrite", true);
    // Shown without a modal loop: this handler returns, and the answer arrives as a message.
    connect(question, &QMessageBox::buttonClicked, this,
            [this, replace, again](QAbstractButton* button) {
                // Answered: the question no longer holds Record back, even before it is gone.
                fReplaceQuestion = nullptr;
                if (button == replace)
                    PostMessage(again);
            });
    fReplaceQuestion = question;
    question->open();
}

void TavroWindow::Stop() {
    if (fFile == nullptr)
        return;
    fEngine->Stop();
    fStatusView->Stop();
    // A trailer that cannot be written, or a last write that fails, is the file's end too.
    status_t closed = fFile->Close();
    if (closed != B_OK && fEngine->RecordingError() == B_OK) {
        ErrorAlert("Could not finish the video file.", closed);
        ShowLastError("Could not finish the video file.", closed);
    }
    fFile.reset();
    fRecordingFormat.reset();
    // Enabled first: a disabled button takes no focus.
    fRecordButton->setEnabled(true);
    // A disabled button passes its focus on to the next widget, the file name field, with its
    // text selected: one more keystroke would replace the name. Record takes it instead.
    if (fStopButton->hasFocus())
        fRecordButton->setFocus();
    fStopButton->setEnabled(false);
    UpdateTitle();
}

void TavroWindow::ShowLastError(const std::string& text, status_t status) {
    const QString time = QTime::currentTime().toString("HH:mm:ss");
    QString shown = QString::fromStdString(text);
    shown.replace('\n', ' ');
    fLastError->setText(QString("%1  %2 [%3]")
                            .arg(time, shown,
                                 QString::fromStdString(status == B_ERROR ? std::string("-")
                                                                          : statusText(status))));
    if (fLastError->isHidden()) {
        fLastError->setVisible(true);
        // The window's height is fixed to what its contents need.
        setFixedHeight(height() + fLastError->sizeHint().height() + kPaneGap);
    }
}

QString TavroWindow::LastError() const {
    return fLastError->isHidden() ? QString() : fLastError->text();
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
    // A timed start may take over a running recording.
    if (status == kEventStarted)
        request.AddBool("timed", true);
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
    logWarning("timed recording to %s %s", item->FileName().c_str(), item->Failure().c_str());
}

void TavroWindow::RecordRequested(Message* message) {
    fRecordFailure.clear();
    Record(message);
    void* pointer = nullptr;
    if (message->FindPointer("eventItem", &pointer) != B_OK ||
        !fTimerView->Contains(static_cast<EventItem*>(pointer)))
        return;
    if (fFile == nullptr || !fStopButton->isEnabled()) {
        TimedRecordingFailed(static_cast<EventItem*>(pointer), fRecordFailure.empty()
                                                                   ? "the recording did not start"
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
    ShowTimerEvent(item->FileName().c_str(), item->Format() != nullptr ? item->Format() : fFormat);
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
    fFileName->setText(QString::fromStdString(gSettings.fileName));
    fTimerView->SetFileName(gSettings.fileName.c_str());
}
