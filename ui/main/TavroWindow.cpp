// The main window's frame: construction, menus, panes, the message table, quitting, and the
// secondary windows it opens.

#include "ui/main/TavroWindow.h"

#include <QActionGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QTextEdit>
#include <QTimer>
#include <QVBoxLayout>

#include <filesystem>

#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "scheduler/Scheduler.h"
#include "ui/Frames.h"
#include "ui/about/AboutWindow.h"
#include "ui/format/FormatWindow.h"
#include "ui/format/NodeSettingsWindow.h"
#include "ui/main/InputSettingsView.h"
#include "ui/main/RecordingFolder.h"
#include "ui/main/StatusView.h"
#include "ui/main/TVControlView.h"
#include "ui/main/WindowMessages.h"
#include "ui/preview/AudioWindow.h"
#include "ui/preview/PreviewWindowHost.h"
#include "ui/preview/VideoWindow.h"
#include "ui/profile/ProfileWindow.h"
#include "ui/timer/TimerView.h"
#include "ui/widgets/PaneSwitch.h"

namespace {

// The height the window's layout gives a pane that opens.
int paneHeight(const QWidget* pane) {
    return pane->sizeHint().expandedTo(pane->minimumSize()).boundedTo(pane->maximumSize()).height();
}

QString utf8(const char* text) {
    return QString::fromUtf8(text);
}

// An empty pane; its views go into its vertical layout.
QWidget* newPane(const char* name) {
    auto* pane = new QWidget;
    pane->setObjectName(name);
    new QVBoxLayout(pane);
    pane->layout()->setContentsMargins(0, 0, 0, 0);
    return pane;
}

// A row of `layout` with a pane's switch, posting `what` to `target`, and `title` beside it.
QHBoxLayout* addSwitchRow(QVBoxLayout* layout, PaneSwitch* paneSwitch, const char* title,
                          uint32 what, MessageTarget* target) {
    paneSwitch->SetMessage(Message(what));
    paneSwitch->SetTarget(target);
    auto* row = new QHBoxLayout;
    row->addWidget(paneSwitch);
    row->addWidget(new QLabel(title));
    row->addStretch(1);
    layout->addLayout(row);
    return row;
}

// Brings a secondary window to the front; false when it is not open.
bool activate(QWidget* window) {
    if (window == nullptr)
        return false;
    window->activateWindow();
    window->raise();
    return true;
}

}  // namespace

TavroWindow::TavroWindow(const Rect& frame, const char* title, Tavro* engine)
    : Looper(this), fEngine(engine) {
    fTitle = utf8(title);
    setWindowTitle(fTitle);
    setAttribute(Qt::WA_DeleteOnClose);
    setAcceptDrops(true);
    fFormat = gSettings.FormatAt(gSettings.lastFormat);

    BuildMenus();
    BuildBody();
    UpdateFormatDescription();
    fTVControlView->UpdateChannels();

    fTVPane->setVisible(gSettings.showTVControls);
    fTVSwitch->SetValue(gSettings.showTVControls ? PaneSwitch::kOpen : PaneSwitch::kClosed);
    fTimerPane->setVisible(gSettings.showTimer);
    fTimerSwitch->SetValue(gSettings.showTimer ? PaneSwitch::kOpen : PaneSwitch::kClosed);

    // The height always fits the open panes; only the width is the user's.
    QRect geometry = keptOnScreen(toQRect(frame));
    setMinimumWidth(centralWidget()->minimumSizeHint().width());
    setFixedHeight(sizeHint().height());
    setGeometry(geometry.x(), geometry.y(), std::max(geometry.width(), minimumWidth()), height());
    UpdateFormatsListMenu();

    fSavePanel = new QFileDialog(this, QString(), QString());
    fSavePanel->setObjectName("savePanel");
    fSavePanel->setAcceptMode(QFileDialog::AcceptSave);
    fSavePanel->setFileMode(QFileDialog::AnyFile);
    // The same panel on every desktop, and one that tests can drive.
    fSavePanel->setOption(QFileDialog::DontUseNativeDialog);
    connect(fSavePanel, &QFileDialog::accepted, this, &TavroWindow::SavePanelAccepted);

    fPulse = new QTimer(this);
    connect(fPulse, &QTimer::timeout, this, &TavroWindow::pulse);
    connect(this, &TavroWindow::pulse, this, &TavroWindow::UpdateTitle);
    fPulse->start(kPulseMilliseconds);

    fEngine->SetStopTarget(this);
    fScheduler = std::make_unique<Scheduler>(this);
    fTimerView->RestoreTimers(gSettings.timers, gSettings.timer);
    if (gSettings.timer)
        fScheduler->Start();
    fFileName->setFocus();
}

TavroWindow::~TavroWindow() {
    // The field loses its focus as QWidget's destructor hides the window, after the Looper
    // part is gone: its "editing finished" must not post to it then.
    disconnect(fFileName, nullptr, this, nullptr);
    if (fFile != nullptr)
        Stop();
    // The input windows reach into the engine, which goes after this window; closing them
    // also stores their frames.
    delete fVideoSettingsWindow.data();
    delete fAudioSettingsWindow.data();
    delete fProfileWindow.data();
    // The events' stoppers post to this window while the scheduler deletes them.
    fScheduler.reset();
    fEngine->SetStopTarget(nullptr);
}

// #pragma mark - Construction

QAction* TavroWindow::AddMenuItem(QMenu* menu, const QString& label, uint32 what,
                                  const QKeySequence& shortcut) {
    QAction* item = menu->addAction(label);
    item->setShortcut(shortcut);
    connect(item, &QAction::triggered, this, [this, what] { PostMessage(what); });
    return item;
}

void TavroWindow::BuildMenus() {
    QMenu* file = menuBar()->addMenu("File");
    AddMenuItem(file, utf8("About…"), B_ABOUT_REQUESTED);
    file->addSeparator();
    AddMenuItem(file, "Quit", B_QUIT_REQUESTED, QKeySequence(Qt::CTRL | Qt::Key_Q));

    QMenu* view = menuBar()->addMenu("View");
    fVideoWindowItem = AddMenuItem(view, "Video Input Window", kMsgShowVideo);
    // The items post to the video window while there is one.
    VideoWindow::AddSizeItems(view->addMenu("Video Size"), [this](const Message& message) {
        if (fVideoSizeTarget != nullptr)
            fVideoSizeTarget->PostMessage(message);
    });
    view->addSeparator();
    fAudioWindowItem = AddMenuItem(view, "Audio Input Window", kMsgShowAudio);
    // The marks follow the settings through the message table, not Qt's own toggling.
    for (QAction* item : {fVideoWindowItem, fAudioWindowItem}) {
        item->setCheckable(true);
        connect(item, &QAction::triggered, item,
                [item](bool checked) { item->setChecked(!checked); });
    }
    fVideoWindowItem->setChecked(gSettings.showVideo);
    fAudioWindowItem->setChecked(gSettings.showAudio);

    QMenu* settings = menuBar()->addMenu("Settings");
    settings->addAction(utf8("General…"))->setEnabled(false);
    AddMenuItem(settings, utf8("Formats…"), kMsgFormatSettings);
    AddMenuItem(settings, utf8("Video Profiles…"), kMsgVideoProfiles);
    settings->addSeparator();
    AddMenuItem(settings, utf8("Video Input…"), kMsgVideoSettings);
    AddMenuItem(settings, utf8("Audio Input…"), kMsgAudioSettings);
}

void TavroWindow::BuildBody() {
    QWidget* body = new QWidget(this);
    body->setBackgroundRole(QPalette::Window);
    body->setAutoFillBackground(true);
    auto* layout = new QVBoxLayout(body);
    layout->setContentsMargins(kPaneGap, kPaneGap, kPaneGap, kPaneGap);
    layout->setSpacing(kPaneGap);

    // The output file.
    auto* fileRow = new QHBoxLayout;
    fileRow->addWidget(new QLabel("File Name:"));
    fFileName = new QLineEdit(QString::fromStdString(gSettings.fileName));
    fFileName->setObjectName("fileName");
    connect(fFileName, &QLineEdit::editingFinished, this, [this] { PostMessage(kMsgFileName); });
    fileRow->addWidget(fFileName, 1);
    auto* browse = new QPushButton(utf8("…"));
    browse->setObjectName("fileButton");
    browse->setFixedWidth(browse->fontMetrics().horizontalAdvance(utf8("…")) + 24);
    connect(browse, &QPushButton::clicked, this, [this] { PostMessage(kMsgSelectFileName); });
    fileRow->addWidget(browse);
    layout->addLayout(fileRow);

    // The format: its pop-up, the editor's button and the description.
    auto* formatBox = new QGroupBox;
    formatBox->setObjectName("formatBox");
    auto* formatLayout = new QVBoxLayout(formatBox);
    auto* formatRow = new QHBoxLayout;
    fFormatsMenu = new QMenu(this);
    fFormatsMenu->setObjectName("formatsMenu");
    fFormatItems = new QActionGroup(this);
    fFormatItems->setExclusionPolicy(QActionGroup::ExclusionPolicy::Exclusive);
    fFormatField = new QPushButton("<choose format>");
    fFormatField->setObjectName("formatField");
    fFormatField->setMenu(fFormatsMenu);
    formatRow->addWidget(fFormatField, 1);
    auto* edit = new QPushButton(utf8("Edit…"));
    edit->setObjectName("editButton");
    connect(edit, &QPushButton::clicked, this, [this] { PostMessage(kMsgFormatSettings); });
    formatRow->addWidget(edit);
    formatLayout->addLayout(formatRow);
    fDescription = new QTextEdit;
    fDescription->setObjectName("description");
    fDescription->setReadOnly(true);
    fDescription->setTextInteractionFlags(Qt::NoTextInteraction);
    fDescription->setFocusPolicy(Qt::NoFocus);
    // One line each, elided to the width (ElideDescription): wrapped, a long encoder name
    // would push the fourth line out of the four the box holds.
    fDescription->setLineWrapMode(QTextEdit::NoWrap);
    fDescription->setFrameShape(QFrame::NoFrame);
    fDescription->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    fDescription->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    QPalette panel = fDescription->palette();
    panel.setColor(QPalette::Base, panel.color(QPalette::Window));
    fDescription->setPalette(panel);
    QFont small = fDescription->font();
    small.setPointSize(9);
    fDescription->setFont(small);
    QFontMetrics metrics(small);
    fDescription->setTabStopDistance(metrics.horizontalAdvance(' ') * 4);
    // Four lines of text.
    fDescription->setFixedHeight(4 * metrics.lineSpacing() +
                                 2 * int(fDescription->document()->documentMargin()) + 2);
    formatLayout->addWidget(fDescription);
    fDescription->viewport()->installEventFilter(this);
    layout->addWidget(formatBox);

    // The TV pane.
    fTVSwitch = new PaneSwitch("tvSwitch");
    addSwitchRow(layout, fTVSwitch, "TV Controls", kMsgTVPane, this);
    fTVPane = newPane("tvPane");
    fTVControlView = new TVControlView(fEngine);
    fTVPane->layout()->addWidget(fTVControlView);
    layout->addWidget(fTVPane);

    // The timer pane.
    fTimerSwitch = new PaneSwitch("timerSwitch");
    QHBoxLayout* timerRow =
        addSwitchRow(layout, fTimerSwitch, "Timer Configuration", kMsgTimerPane, this);
    fTimerEnabled = new QCheckBox("Timer enabled");
    fTimerEnabled->setObjectName("timerEnabled");
    fTimerEnabled->setChecked(gSettings.timer);
    connect(fTimerEnabled, &QCheckBox::clicked, this, [this](bool checked) {
        Message message(kMsgTimerEnabled);
        message.AddInt32("be:value", checked ? 1 : 0);
        PostMessage(message);
    });
    timerRow->addWidget(fTimerEnabled);
    fTimerPane = newPane("timerPane");
    fTimerView = new TimerView(this);
    fTimerPane->layout()->addWidget(fTimerView);
    layout->addWidget(fTimerPane);

    // Record and Stop, with the status panel beneath.
    auto* recordBox = new QGroupBox;
    recordBox->setObjectName("recordBox");
    auto* recordLayout = new QVBoxLayout(recordBox);
    auto* buttons = new QHBoxLayout;
    fRecordButton = new QPushButton("Record");
    fRecordButton->setObjectName("recordButton");
    connect(fRecordButton, &QPushButton::clicked, this, [this] { PostMessage(kMsgRecord); });
    fStopButton = new QPushButton("Stop");
    fStopButton->setObjectName("stopButton");
    fStopButton->setEnabled(false);
    connect(fStopButton, &QPushButton::clicked, this, [this] { PostMessage(kMsgStop); });
    buttons->addWidget(fRecordButton);
    buttons->addWidget(fStopButton);
    buttons->addStretch(1);
    recordLayout->addLayout(buttons);
    fStatusPane = newPane("statusPane");
    fStatusView = new StatusView(fEngine, fStatusPane);
    fStatusPane->layout()->addWidget(fStatusView);
    connect(this, &TavroWindow::pulse, fStatusView, &StatusView::WindowPulse);
    recordLayout->addWidget(fStatusPane);
    // The last error of a recording stays here after its one-shot alert has gone.
    fLastError = new QLabel;
    fLastError->setObjectName("lastError");
    fLastError->setWordWrap(true);
    fLastError->setStyleSheet("color: #b00000");
    fLastError->setVisible(false);
    recordLayout->addWidget(fLastError);
    layout->addWidget(recordBox);

    setCentralWidget(body);
}

// #pragma mark - Messages

void TavroWindow::MessageReceived(Message* message) {
    switch (message->what) {
        case kMsgTimerPane:
            TogglePane(fTimerPane, fTimerSwitch);
            break;
        case kMsgTVPane:
            TogglePane(fTVPane, fTVSwitch);
            break;
        case kMsgAudioSettings:
            ShowNodeSettings(false);
            break;
        case kMsgVideoSettings:
            ShowNodeSettings(true);
            break;
        case kMsgAudioSettingsClosed:
            fAudioSettingsWindow = nullptr;
            break;
        case kMsgVideoSettingsClosed:
            fVideoSettingsWindow = nullptr;
            break;
        case B_REFS_RECEIVED:
        case B_SAVE_REQUESTED:
            RefsReceived(message);
            break;
        case B_ABOUT_REQUESTED:
            if (QWidget* about = CreateAboutWindow())
                about->show();
            break;
        case B_QUIT_REQUESTED:
            close();
            break;
        case kMsgAddFormat:
            AddFormat();
            break;
        case kMsgRemoveFormat:
            RemoveFormat();
            break;
        case kMsgAudioWindowClosed:
            fAudioWindowItem->setChecked(false);
            gSettings.showAudio = false;
            break;
        case kMsgVideoWindowClosed:
            fVideoWindowItem->setChecked(false);
            gSettings.showVideo = false;
            fVideoSizeTarget = nullptr;
            break;
        case kMsgFormat:
            FormatChosen(message);
            break;
        case kMsgFormatChanged:
            FormatChanged(message);
            break;
        case kMsgFormatsListChanged:
            // A renamed format may have moved in the sorted list.
            UpdateFormatsListMenu();
            SelectFormat();
            break;
        case kMsgFileName:
            FileNameChanged();
            break;
        case kMsgFormatSettings:
            ShowFormatWindow(message);
            break;
        case kMsgFormatWindowClosed:
            fFormatWindow = nullptr;
            break;
        case kMsgNewVideoWindow:
            if (fPreviewWindows != nullptr)
                fVideoSizeTarget = fPreviewWindows->CurrentVideoWindow();
            break;
        case kMsgTimerEnabled:
            SetTimerEnabled(message);
            break;
        case kMsgShowAudio:
            ToggleAudioWindow();
            break;
        case kMsgShowVideo:
            ToggleVideoWindow();
            break;
        case kMsgRecord:
            RecordRequested(message);
            break;
        case kMsgStop: {
            // From the engine when the recording cannot go on: why, kept in the status area.
            std::string error;
            if (message->FindString("error", &error) == B_OK)
                ShowLastError(error, message->GetInt32("status", B_ERROR));
            Stop();
            break;
        }
        case kMsgSelectFileName:
            ShowSavePanel();
            break;
        case kMsgVideoProfiles:
            ShowProfileWindow();
            break;
        case kMsgProfileWindowClosed:
            fProfileWindow = nullptr;
            break;
        case kMsgTimerEvent:
            TimerEvent(message);
            break;
        default:
            break;
    }
}

bool TavroWindow::QuitRequested() {
    gSettings.tavroFrame = toRect(geometry());
    gSettings.showTimer = !fTimerPane->isHidden();
    gSettings.showTVControls = !fTVPane->isHidden();
    gSettings.timers = fTimerView->ArchiveTimers();
    QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                              Qt::QueuedConnection);
    return true;
}

void TavroWindow::closeEvent(QCloseEvent* event) {
    // Closing the window ends a recording: not without asking. The question is not modal, so
    // that the recording's messages go on being handled while it is open.
    if (fFile != nullptr && fStatusView->IsRunning()) {
        event->ignore();
        if (fStopQuestion != nullptr) {
            fStopQuestion->raise();
            return;
        }
        auto* question = new QMessageBox(QMessageBox::Question, fTitle,
                                         "A recording is running. Stop it and quit?",
                                         QMessageBox::NoButton, this);
        question->setObjectName("stopQuestion");
        QPushButton* stop = question->addButton("Stop and Quit", QMessageBox::AcceptRole);
        question->addButton("Keep Recording", QMessageBox::RejectRole);
        question->setDefaultButton(stop);
        question->setAttribute(Qt::WA_DeleteOnClose);
        connect(question, &QMessageBox::accepted, this, [this] {
            Stop();
            close();
        });
        fStopQuestion = question;
        question->open();
        return;
    }
    if (QuitRequested())
        event->accept();
    else
        event->ignore();
}

bool TavroWindow::eventFilter(QObject* watched, QEvent* event) {
    if (fDescription != nullptr && watched == fDescription->viewport() &&
        event->type() == QEvent::Resize)
        ElideDescription();
    return QMainWindow::eventFilter(watched, event);
}

void TavroWindow::ElideDescription() {
    const QFontMetrics metrics(fDescription->font());
    const int tab = int(fDescription->tabStopDistance());
    const int width =
        fDescription->viewport()->width() - 2 * int(fDescription->document()->documentMargin()) - 2;
    QStringList lines = fDescriptionText.split('\n');
    for (QString& line : lines) {
        const qsizetype tabs =
            line.size() - QString(line).remove(QRegularExpression("^\t+")).size();
        line = line.left(tabs) + metrics.elidedText(line.mid(tabs), Qt::ElideRight,
                                                    std::max(width - int(tabs) * tab, 0));
    }
    fDescription->setPlainText(lines.join('\n'));
    fDescription->setToolTip(fDescriptionText);
}

void TavroWindow::UpdateTitle() {
    const QString title = fFile != nullptr && fStatusView->IsRunning()
                              ? fTitle + utf8(" — Recording ") + fStatusView->Elapsed()
                              : fTitle;
    if (windowTitle() != title)
        setWindowTitle(title);
}

void TavroWindow::dragEnterEvent(QDragEnterEvent* event) {
    for (const QUrl& url : event->mimeData()->urls()) {
        if (url.isLocalFile()) {
            event->acceptProposedAction();
            return;
        }
    }
}

void TavroWindow::dropEvent(QDropEvent* event) {
    for (const QUrl& url : event->mimeData()->urls()) {
        if (!url.isLocalFile())
            continue;
        Message message(B_REFS_RECEIVED);
        message.AddString("refs", url.toLocalFile().toStdString());
        PostMessage(message);
        event->acceptProposedAction();
        return;
    }
}

// #pragma mark - Panes

void TavroWindow::TogglePane(QWidget* pane, PaneSwitch* paneSwitch) {
    // The layout moves the lower panes with the window's new height.
    if (!pane->isHidden()) {
        int delta = pane->height() + kPaneGap;
        pane->hide();
        ResizeBy(-delta);
        paneSwitch->SetValue(PaneSwitch::kClosed);
    } else {
        ResizeBy(paneHeight(pane) + kPaneGap);
        pane->show();
        paneSwitch->SetValue(PaneSwitch::kOpen);
    }
    paneSwitch->update();
}

void TavroWindow::ResizeBy(int delta) {
    const int grown = height() + delta;
    setFixedHeight(grown);
    // A pane that opens near the bottom of a small screen moves the window up rather than
    // hiding Record and Stop below the screen's edge.
    if (delta > 0)
        setGeometry(keptOnScreen(QRect(geometry().topLeft(), QSize(width(), grown))));
}

// #pragma mark - Secondary windows

QWidget* TavroWindow::CreateFormatWindow(FormatSetting* format) {
    auto* editor = new FormatWindow(gSettings.formatFrame, "Tavro - Formats", fEngine, format);
    editor->SetQuitTarget(this, kMsgFormatWindowClosed);
    return editor;
}

QWidget* TavroWindow::CreateProfileWindow() {
    auto* window = new ProfileWindow(Rect{30, 30, 400, 400}, "Tavro - Video Profiles", fEngine);
    window->SetQuitTarget(this, kMsgProfileWindowClosed);
    return window;
}

QWidget* TavroWindow::CreateInputSettingsWindow(bool video) {
    auto* view =
        new InputSettingsView(fEngine, video ? DeviceKind::VideoInput : DeviceKind::AudioInput);
    auto* window =
        video ? new NodeSettingsWindow(&gSettings.videoSettingsFrame, "Video Input Settings", view)
              : new NodeSettingsWindow(&gSettings.audioSettingsFrame, "Audio Input Settings", view);
    window->SetQuitTarget(this, video ? kMsgVideoSettingsClosed : kMsgAudioSettingsClosed);
    return window;
}

QWidget* TavroWindow::CreateAboutWindow() {
    auto* about = new AboutWindow;
    if (about->InitCheck() != B_OK) {
        delete about;
        return nullptr;
    }
    return about;
}

void TavroWindow::ShowFormatWindow(const Message* message) {
    if (activate(fFormatWindow)) {
        int32 index;
        if (message->FindInt32("index", &index) == B_OK) {
            if (auto* editor = dynamic_cast<MessageTarget*>(fFormatWindow.data())) {
                Message select(kMsgFormatSelected);
                select.AddInt32("index", index);
                editor->PostMessage(select);
            }
        }
        return;
    }
    fFormatWindow = CreateFormatWindow(fFormat);
    if (fFormatWindow != nullptr)
        fFormatWindow->show();
}

void TavroWindow::ShowProfileWindow() {
    if (activate(fProfileWindow))
        return;
    fProfileWindow = CreateProfileWindow();
    if (fProfileWindow != nullptr)
        fProfileWindow->show();
}

void TavroWindow::ShowNodeSettings(bool video) {
    QPointer<QWidget>& window = video ? fVideoSettingsWindow : fAudioSettingsWindow;
    if (activate(window))
        return;
    // Also for an input without controls (or none at all): its device is chosen there.
    window = CreateInputSettingsWindow(video);
    if (window != nullptr)
        window->show();
}

void TavroWindow::ToggleVideoWindow() {
    bool show = !fVideoWindowItem->isChecked();
    fVideoWindowItem->setChecked(show);
    gSettings.showVideo = show;
    fEngine->ShowVideo(show, gSettings.videoFrame);
    if (!show)
        fVideoSizeTarget = nullptr;
    else if (fPreviewWindows != nullptr && fPreviewWindows->CurrentVideoWindow() != nullptr)
        fPreviewWindows->CurrentVideoWindow()->SetQuitTarget(this);
}

void TavroWindow::ToggleAudioWindow() {
    bool show = !fAudioWindowItem->isChecked();
    fAudioWindowItem->setChecked(show);
    gSettings.showAudio = show;
    fEngine->ShowAudio(show, gSettings.audioFrame);
    if (show && fPreviewWindows != nullptr && fPreviewWindows->CurrentAudioWindow() != nullptr)
        fPreviewWindows->CurrentAudioWindow()->SetQuitTarget(this);
}

void TavroWindow::SetPreviewWindows(PreviewWindowHost* windows) {
    fPreviewWindows = windows;
    fVideoSizeTarget = nullptr;
    if (windows == nullptr)
        return;
    // Each posts kMsgNewVideoWindow or kMsgNewAudioWindow at once; the first retargets the
    // "Video Size" items.
    if (VideoWindow* video = windows->CurrentVideoWindow())
        video->SetQuitTarget(this);
    if (AudioWindow* audio = windows->CurrentAudioWindow())
        audio->SetQuitTarget(this);
}

// #pragma mark - Timer and file name

void TavroWindow::SetTimerEnabled(const Message* message) {
    int32 value;
    if (message->FindInt32("be:value", &value) != B_OK)
        return;
    gSettings.timer = value != 0;
    fTimerEnabled->setChecked(gSettings.timer);
    if (gSettings.timer)
        fScheduler->Start();
    else
        fScheduler->Stop();
}

void TavroWindow::FileNameChanged() {
    gSettings.SetFileName(fFileName->text().toStdString().c_str());
    fTimerView->SetFileName(gSettings.fileName.c_str());
}

void TavroWindow::ShowSavePanel() {
    fSavePanel->hide();
    // Where the next recording would land: the field's folder, else the videos folder.
    std::filesystem::path path(recordingPath(fFileName->text().toStdString()));
    std::error_code error;
    if (path.has_parent_path() && std::filesystem::is_directory(path.parent_path(), error))
        fSavePanel->setDirectory(QString::fromStdString(path.parent_path().string()));
    else
        fSavePanel->setDirectory(QString::fromStdString(videosFolder()));
    fSavePanel->show();
}

void TavroWindow::SavePanelAccepted() {
    QStringList chosen = fSavePanel->selectedFiles();
    if (chosen.isEmpty())
        return;
    std::filesystem::path path(chosen.first().toStdString());
    // The panel has asked whether to replace an existing file; Record need not ask again.
    std::error_code error;
    if (std::filesystem::exists(path, error))
        fReplaceApproved = path.string();
    Message message(B_SAVE_REQUESTED);
    message.AddString("directory", path.parent_path().string());
    message.AddString("name", path.filename().string());
    PostMessage(message);
}
