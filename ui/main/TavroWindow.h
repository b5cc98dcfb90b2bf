#pragma once
// The main window: the menus, the output file name, the format choice with its description,
// the TV and timer panes that open and close in place, and the Record/Stop box. It is the hub
// through which the other windows are opened and closed, and it drives recordings (by hand or
// from the scheduler it owns).
//
// Everything happens on the GUI thread. Other threads (the scheduler, an event's stopper, the
// engine's video writer) reach the window only by posting messages; MessageReceived holds the
// one table of what each message does. The format handling is in TavroWindowFormats.cpp, the
// recording control in TavroWindowRecording.cpp.

#include <QMainWindow>
#include <QPointer>

#include <memory>
#include <string>

#include "support/Geometry.h"
#include "support/Status.h"
#include "ui/Looper.h"

class EventItem;
class FormatSetting;
class PaneSwitch;
class PreviewWindowHost;
class QAction;
class QActionGroup;
class QCheckBox;
class QFileDialog;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QTextEdit;
class QTimer;
class Scheduler;
class StatusView;
class Tavro;
class TavroFile;
class TimerView;
class TVControlView;

class TavroWindow : public QMainWindow, public Looper {
    Q_OBJECT

public:
    // The pixels between the panes; a pane that opens or closes grows or shrinks the window by
    // its own height plus this.
    static constexpr int kPaneGap = 8;
    // The status panel's pulse.
    static constexpr int kPulseMilliseconds = 100;

    // `frame` is the client area in screen coordinates, edges inclusive, as the settings keep
    // it. `engine` is not owned and must outlive the window.
    TavroWindow(const Rect& frame, const char* title, Tavro* engine);
    // Stops a running recording.
    ~TavroWindow() override;

    void MessageReceived(Message* message) override;
    // Stores the frame and the panes' state in the settings and asks the application to
    // quit. Always true.
    bool QuitRequested();

    // Recording control. Record refuses while a recording runs, unless the message comes from
    // a timed event (bool "timed"), which takes over into a file of its own; a manual Record
    // onto an existing file asks first (bool "overwrite" in the message: asked already).
    void Record(Message* message);
    void Stop();
    // The last error of a recording as the status area shows it ("" when none).
    QString LastError() const;
    // A dropped file (B_REFS_RECEIVED) or a save panel's reply (B_SAVE_REQUESTED) becomes
    // the output file name.
    void RefsReceived(Message* message);
    // The TV pane's channel; a null name is stored as "".
    void SetChannel(int32 channel, const char* name);
    int32 Channel() const { return fChannel; }
    const std::string& ChannelName() const { return fChannelName; }
    // What a timed event chosen in the timer pane records: the path goes into the file name
    // field (not into the settings) and `format`, an element of the settings' list, becomes
    // the current format.
    void ShowTimerEvent(const char* path, FormatSetting* format);
    // The timer pane chose `item`: its path and format (when it has one) are shown.
    void SetTimerEvent(EventItem* item);

    // Format selection.
    void UpdateFormatDescription();
    void UpdateFormatsListMenu();
    void AddFormat();
    void RemoveFormat();
    // Stores the current format's (or `index`'s) list index as the settings' lastFormat and
    // marks its item in the formats pop-up.
    void SelectFormat();
    void SelectFormat(int32 index);
    // Null when none is chosen.
    FormatSetting* CurrentFormat() const { return fFormat; }

    Scheduler* GetScheduler() const { return fScheduler.get(); }
    TimerView* GetTimerView() const { return fTimerView; }
    // Where the "Video Size" items post (the video preview window); null: nowhere.
    void SetVideoSizeTarget(MessageTarget* target) { fVideoSizeTarget = target; }
    // The preview windows the engine opens through `windows` (not owned; null: none): this
    // window becomes the quit target of those open now and of those it opens later, and the
    // "Video Size" items follow the video window.
    void SetPreviewWindows(PreviewWindowHost* windows);

signals:
    // Every kPulseMilliseconds while the window exists: the status panel redraws on it.
    void pulse();

protected:
    // The secondary windows. Each returns the new window (it owns itself and reports its
    // closing with the quit message given), or null where that window cannot be made; the
    // main window keeps the pointer only to activate it again.
    virtual QWidget* CreateFormatWindow(FormatSetting* format);
    virtual QWidget* CreateProfileWindow();
    // "Video Input Settings" or "Audio Input Settings": the device choice and its controls.
    virtual QWidget* CreateInputSettingsWindow(bool video);
    virtual QWidget* CreateAboutWindow();

    void closeEvent(QCloseEvent* event) override;
    // The format description's width changes: its lines are elided again.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void BuildMenus();
    void BuildBody();
    QAction* AddMenuItem(QMenu* menu, const QString& label, uint32 what,
                         const QKeySequence& shortcut = {});

    // Opens a closed pane and closes an open one, with the window's height and the switch.
    void TogglePane(QWidget* pane, PaneSwitch* paneSwitch);
    // Grows (delta > 0) or shrinks the window's fixed height.
    void ResizeBy(int delta);

    void ShowFormatWindow(const Message* message);
    void ShowProfileWindow();
    void ShowNodeSettings(bool video);
    void ToggleVideoWindow();
    void ToggleAudioWindow();
    void SetTimerEnabled(const Message* message);
    void FileNameChanged();
    void ShowSavePanel();
    void SavePanelAccepted();
    void TimerEvent(const Message* message);
    // Record for a 'recd' message; a timed one that did not start says so on its entry.
    void RecordRequested(Message* message);
    void TimedRecordingFailed(EventItem* item, const std::string& reason);
    void FormatChosen(const Message* message);
    void FormatChanged(const Message* message);
    // Gives the output file name the current format's extension when it has another file
    // format's, so that a name never says one container while the file is another.
    void FollowContainer();

    // Marks the format item at `index` (none when it is not one) and shows its name in the
    // menu field.
    void MarkFormatItem(int32 index);
    QAction* NewFormatItem(const FormatSetting* format);
    // Posts `what` with int32 "index" to this window.
    void PostIndex(uint32 what, int32 index);
    // Stores a new output file name and shows it.
    void SetFileName(const std::string& path);
    static void ShowIncompleteSettingsAlert(QWidget* parent);
    // The title given at construction, or "<title> — Recording hh:mm:ss" while recording.
    void UpdateTitle();
    // Shows fDescriptionText, each line elided to the description's width.
    void ElideDescription();
    // Asks whether to replace `path`; "Replace" posts `record` again with bool "overwrite".
    void AskToReplace(const Message& record, const std::string& path);
    // Keeps `text` (with `status`) in the status area until the next recording starts.
    void ShowLastError(const std::string& text, status_t status);

    Tavro* const fEngine;
    // The recording's format once it has been deleted from the list while recording: kept
    // for fFile until Stop (declared first, so it also outlives fFile in the destructor).
    std::unique_ptr<FormatSetting> fRecordingFormat;
    // The running recording's file; held from Record to Stop, also when it failed to start.
    std::unique_ptr<TavroFile> fFile;
    // An element of the settings' list, not owned.
    FormatSetting* fFormat = nullptr;
    std::unique_ptr<Scheduler> fScheduler;

    // The secondary windows while they are open (each owns itself).
    QPointer<QWidget> fFormatWindow;
    QPointer<QWidget> fProfileWindow;
    QPointer<QWidget> fAudioSettingsWindow;
    QPointer<QWidget> fVideoSettingsWindow;

    QMenu* fFormatsMenu = nullptr;
    QActionGroup* fFormatItems = nullptr;
    QPushButton* fFormatField = nullptr;
    QTextEdit* fDescription = nullptr;
    QString fDescriptionText;  // in full; the view shows it elided
    QLineEdit* fFileName = nullptr;

    // The panes. The TV controls and the timer list go into their pane's widget; the status
    // panel into the Record/Stop box's.
    PaneSwitch* fTVSwitch = nullptr;
    QWidget* fTVPane = nullptr;
    TVControlView* fTVControlView = nullptr;
    PaneSwitch* fTimerSwitch = nullptr;
    QCheckBox* fTimerEnabled = nullptr;
    QWidget* fTimerPane = nullptr;
    TimerView* fTimerView = nullptr;
    QPushButton* fRecordButton = nullptr;
    QPushButton* fStopButton = nullptr;
    QWidget* fStatusPane = nullptr;
    StatusView* fStatusView = nullptr;

    // Why the last Record did not start; empty when it did.
    std::string fRecordFailure;
    int32 fChannel = 0;
    std::string fChannelName;

    QFileDialog* fSavePanel = nullptr;
    QString fTitle;
    // The question "Stop it and quit?" while it is open.
    QPointer<QWidget> fStopQuestion;
    // An existing file the user agreed to replace in the save panel: Record does not ask
    // again for it (once).
    std::string fReplaceApproved;
    // The open "replace?" question, if any: a second manual Record waits for its answer.
    QPointer<QWidget> fReplaceQuestion;
    QLabel* fLastError = nullptr;
    QTimer* fPulse = nullptr;

    QAction* fVideoWindowItem = nullptr;
    QAction* fAudioWindowItem = nullptr;
    MessageTarget* fVideoSizeTarget = nullptr;
    PreviewWindowHost* fPreviewWindows = nullptr;
};
