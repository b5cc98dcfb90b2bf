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
#include <QMimeData>
#include <QPushButton>
#include <QScreen>
#include <QTextEdit>
#include <QTimer>
#include <QVBoxLayout>

#include <filesystem>

#include "app/MessageCodes.h"
#include "app/TavroSettings.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "media/ParameterWeb.h"
#include "scheduler/Scheduler.h"
#include "ui/main/StatusView.h"
#include "ui/main/WindowMessages.h"
#include "ui/preview/AudioWindow.h"
#include "ui/preview/PreviewWindowHost.h"
#include "ui/preview/VideoWindow.h"
#include "ui/widgets/PaneSwitch.h"

namespace {

// The settings keep frames as client areas with inclusive edges.
QRect toQRect(const Rect& frame) {
    return QRect(QPoint(int(frame.left), int(frame.top)),
                 QPoint(int(frame.right), int(frame.bottom)));
}

Rect toRect(const QRect& frame) {
    return Rect{float(frame.left()), float(frame.top()), float(frame.right()),
                float(frame.bottom())};
}

// A frame saved on a screen that is no longer there comes back on the primary screen.
QRect onScreen(QRect frame) {
    QScreen* primary = QGuiApplication::primaryScreen();
    if (primary == nullptr || QGuiApplication::screenAt(frame.topLeft()) != nullptr)
        return frame;
    QRect available = primary->availableGeometry();
    frame.moveTopLeft(available.topLeft() + QPoint(60, 60));
    return frame;
}

// The height the window's layout gives a pane that opens.
int paneHeight(const QWidget* pane) {
    return pane->sizeHint().expandedTo(pane->minimumSize()).boundedTo(pane->maximumSize()).height();
}

QString utf8(const char* text) {
    return QString::fromUtf8(text);
}

}  // namespace

TavroWindow::TavroWindow(const Rect& frame, const char* title, Tavro* engine)
    : Looper(this), fEngine(engine) {
    setWindowTitle(utf8(title));
    setAttribute(Qt::WA_DeleteOnClose);
    setAcceptDrops(true);
    if (gSettings.lastFormat >= 0 && size_t(gSettings.lastFormat) < gSettings.formats.size())
        fFormat = gSettings.formats[size_t(gSettings.lastFormat)];

    BuildMenus();
    BuildBody();
    UpdateFormatDescription();

    fTVPane->setVisible(gSettings.showTVControls);
    fTVSwitch->SetValue(gSettings.showTVControls ? PaneSwitch::kOpen : PaneSwitch::kClosed);
    fTimerPane->setVisible(gSettings.showTimer);
    fTimerSwitch->SetValue(gSettings.showTimer ? PaneSwitch::kOpen : PaneSwitch::kClosed);

    // The height always fits the open panes; only the width is the user's.
    QRect geometry = onScreen(toQRect(frame));
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
    fSavePanel->setOption(QFileDialog::DontConfirmOverwrite);
    connect(fSavePanel, &QFileDialog::accepted, this, &TavroWindow::SavePanelAccepted);

    fPulse = new QTimer(this);
    connect(fPulse, &QTimer::timeout, this, &TavroWindow::pulse);
    fPulse->start(kPulseMilliseconds);

    fEngine->SetStopTarget(this);
    fScheduler = std::make_unique<Scheduler>(this);
    if (gSettings.timer)
        fScheduler->Start();
    fFileName->setFocus();
}

TavroWindow::~TavroWindow() {
    if (fFile != nullptr)
        Stop();
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
    fVideoSizeMenu = BuildVideoSizeMenu();
    view->addMenu(fVideoSizeMenu);
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

QMenu* TavroWindow::BuildVideoSizeMenu() {
    QMenu* menu = new QMenu("Video Size", this);
    // 50%, 100% and 200% on the digits 0, 1 and 2, so that the natural size is on key 1.
    float factor = 0.5f;
    for (int index = 0; index < 3; index++, factor *= 2) {
        char label[32];
        std::snprintf(label, sizeof(label), "%ld%% scale", long(factor * 100));
        QAction* item = menu->addAction(label);
        item->setShortcut(QKeySequence(Qt::CTRL | Qt::Key(Qt::Key_0 + index)));
        connect(item, &QAction::triggered, this, [this, factor] {
            Message message(kMsgResize);
            message.AddFloat("resize", factor);
            if (fVideoSizeTarget != nullptr)
                fVideoSizeTarget->PostMessage(message);
        });
    }
    menu->addSeparator();
    QAction* fullScreen = menu->addAction("Full screen");
    fullScreen->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_F));
    connect(fullScreen, &QAction::triggered, this, [this] {
        if (fVideoSizeTarget != nullptr)
            fVideoSizeTarget->PostMessage(kMsgFullScreen);
    });
    return menu;
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
    fFileName = new QLineEdit(utf8(gSettings.fileName));
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
    fDescription->setLineWrapMode(QTextEdit::WidgetWidth);
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
    layout->addWidget(formatBox);

    // The TV pane.
    auto* tvRow = new QHBoxLayout;
    fTVSwitch = new PaneSwitch("tvSwitch");
    fTVSwitch->SetMessage(Message(kMsgTVPane));
    fTVSwitch->SetTarget(this);
    tvRow->addWidget(fTVSwitch);
    tvRow->addWidget(new QLabel("TV Controls"));
    tvRow->addStretch(1);
    layout->addLayout(tvRow);
    fTVPane = new QWidget;
    fTVPane->setObjectName("tvPane");
    new QVBoxLayout(fTVPane);
    fTVPane->layout()->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(fTVPane);

    // The timer pane.
    auto* timerRow = new QHBoxLayout;
    fTimerSwitch = new PaneSwitch("timerSwitch");
    fTimerSwitch->SetMessage(Message(kMsgTimerPane));
    fTimerSwitch->SetTarget(this);
    timerRow->addWidget(fTimerSwitch);
    timerRow->addWidget(new QLabel("Timer Configuration"));
    timerRow->addStretch(1);
    fTimerEnabled = new QCheckBox("Timer enabled");
    fTimerEnabled->setObjectName("timerEnabled");
    fTimerEnabled->setChecked(gSettings.timer);
    connect(fTimerEnabled, &QCheckBox::clicked, this, [this](bool checked) {
        Message message(kMsgTimerEnabled);
        message.AddInt32("be:value", checked ? 1 : 0);
        PostMessage(message);
    });
    timerRow->addWidget(fTimerEnabled);
    layout->addLayout(timerRow);
    fTimerPane = new QWidget;
    fTimerPane->setObjectName("timerPane");
    new QVBoxLayout(fTimerPane);
    fTimerPane->layout()->setContentsMargins(0, 0, 0, 0);
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
    fStatusPane = new QWidget;
    fStatusPane->setObjectName("statusPane");
    new QVBoxLayout(fStatusPane);
    fStatusPane->layout()->setContentsMargins(0, 0, 0, 0);
    fStatusView = new StatusView(fEngine, fStatusPane);
    fStatusPane->layout()->addWidget(fStatusView);
    connect(this, &TavroWindow::pulse, fStatusView, &StatusView::WindowPulse);
    recordLayout->addWidget(fStatusPane);
    layout->addWidget(recordBox);

    setCentralWidget(body);
}

// #pragma mark - Messages

void TavroWindow::MessageReceived(Message* message) {
    switch (message->what) {
        case kMsgTimerPane:
            ToggleTimerPane();
            break;
        case kMsgTVPane:
            ToggleTVPane();
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
            UpdateFormatsListMenu();
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
            Record(message);
            break;
        case kMsgStop:
            Stop();
            break;
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
    QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                              Qt::QueuedConnection);
    return true;
}

void TavroWindow::closeEvent(QCloseEvent* event) {
    if (QuitRequested())
        event->accept();
    else
        event->ignore();
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

void TavroWindow::ToggleTimerPane() {
    if (!fTimerPane->isHidden()) {
        int delta = fTimerPane->height() + kPaneGap;
        fTimerPane->hide();
        ResizeBy(-delta);
        fTimerSwitch->SetValue(PaneSwitch::kClosed);
    } else {
        ResizeBy(paneHeight(fTimerPane) + kPaneGap);
        fTimerPane->show();
        fTimerSwitch->SetValue(PaneSwitch::kOpen);
    }
    fTimerSwitch->update();
}

void TavroWindow::ToggleTVPane() {
    // The layout moves the lower panes with the window's new height.
    if (!fTVPane->isHidden()) {
        int delta = fTVPane->height() + kPaneGap;
        fTVPane->hide();
        ResizeBy(-delta);
        fTVSwitch->SetValue(PaneSwitch::kClosed);
    } else {
        ResizeBy(paneHeight(fTVPane) + kPaneGap);
        fTVPane->show();
        fTVSwitch->SetValue(PaneSwitch::kOpen);
    }
    fTVSwitch->update();
}

void TavroWindow::ResizeBy(int delta) {
    setFixedHeight(height() + delta);
}

// #pragma mark - Secondary windows

QWidget* TavroWindow::CreateFormatWindow(FormatSetting*) {
    return nullptr;
}

QWidget* TavroWindow::CreateProfileWindow() {
    return nullptr;
}

QWidget* TavroWindow::CreateNodeSettingsWindow(std::unique_ptr<ParameterWeb>, const char*,
                                               const Rect&, uint32) {
    return nullptr;
}

QWidget* TavroWindow::CreateAboutWindow() {
    return nullptr;
}

void TavroWindow::ShowFormatWindow(const Message* message) {
    if (fFormatWindow != nullptr) {
        fFormatWindow->activateWindow();
        fFormatWindow->raise();
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
    if (fProfileWindow != nullptr) {
        fProfileWindow->activateWindow();
        fProfileWindow->raise();
        return;
    }
    fProfileWindow = CreateProfileWindow();
    if (fProfileWindow != nullptr)
        fProfileWindow->show();
}

void TavroWindow::ShowNodeSettings(bool video) {
    QPointer<QWidget>& window = video ? fVideoSettingsWindow : fAudioSettingsWindow;
    if (window != nullptr) {
        window->activateWindow();
        window->raise();
        return;
    }
    std::unique_ptr<ParameterWeb> web =
        video ? fEngine->GetVideoInputParameters() : fEngine->GetAudioInputParameters();
    if (web == nullptr)
        return;
    window = video
                 ? CreateNodeSettingsWindow(std::move(web), "Video Input Settings",
                                            gSettings.videoSettingsFrame, kMsgVideoSettingsClosed)
                 : CreateNodeSettingsWindow(std::move(web), "Audio Input Settings",
                                            gSettings.audioSettingsFrame, kMsgAudioSettingsClosed);
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
}

void TavroWindow::ShowSavePanel() {
    fSavePanel->hide();
    std::filesystem::path path(fFileName->text().toStdString());
    std::error_code error;
    if (path.has_parent_path() && std::filesystem::is_directory(path.parent_path(), error))
        fSavePanel->setDirectory(QString::fromStdString(path.parent_path().string()));
    fSavePanel->show();
}

void TavroWindow::SavePanelAccepted() {
    QStringList chosen = fSavePanel->selectedFiles();
    if (chosen.isEmpty())
        return;
    std::filesystem::path path(chosen.first().toStdString());
    Message message(B_SAVE_REQUESTED);
    message.AddString("directory", path.parent_path().string());
    message.AddString("name", path.filename().string());
    PostMessage(message);
}
