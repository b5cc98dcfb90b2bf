#include "ui/preview/VideoWindow.h"

#include <QAction>
#include <QEvent>
#include <QMenu>
#include <QScreen>

#include "app/records/TavroSettings.h"
#include "engine/Tavro.h"
#include "ui/Frames.h"
#include "ui/preview/VideoView.h"

VideoWindow::VideoWindow(const Rect& frame, const char* title, Tavro* engine)
    : QWidget(nullptr), Looper(this), fEngine(engine), fRestoreFrame(frame) {
    fView = new VideoView(this);
    fillPreviewWindow(this, title, fView, [this] { fQuitTarget.Post(B_QUIT_REQUESTED); });
    setGeometry(keptOnScreen(toQRect(frame)));
    if (frame == ScreenFrame()) {
        Rect bounds = fEngine->Bounds();
        fRestoreFrame =
            Rect{bounds.left + 100, bounds.top + 100, bounds.right + 100, bounds.bottom + 100};
        fFullScreen = true;
        setWindowState(windowState() | Qt::WindowFullScreen);
    }

    // The items' shortcuts, active in this window.
    AddSizeItems(this, [this](const Message& message) { PostMessage(message); });
    // A video player's keys: F11 toggles full screen, Esc leaves it.
    auto* toggle = new QAction("Toggle full screen", this);
    toggle->setShortcut(QKeySequence(Qt::Key_F11));
    connect(toggle, &QAction::triggered, this, [this] { SetFullScreen(!fFullScreen); });
    addAction(toggle);
    auto* leave = new QAction("Leave full screen", this);
    leave->setShortcut(QKeySequence(Qt::Key_Escape));
    connect(leave, &QAction::triggered, this, [this] { SetFullScreen(false); });
    addAction(leave);

    // Over the full-screen picture the pointer goes once it has rested kPointerRest_ms.
    fView->setMouseTracking(true);
    fView->installEventFilter(this);
    fPointerRest.setSingleShot(true);
    fPointerRest.setInterval(kPointerRest_ms);
    connect(&fPointerRest, &QTimer::timeout, this, [this] {
        if (fFullScreen)
            fView->setCursor(Qt::BlankCursor);
    });
}

bool VideoWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == fView && event->type() == QEvent::MouseMove) {
        fView->unsetCursor();
        if (fFullScreen)
            fPointerRest.start();
    }
    return QWidget::eventFilter(watched, event);
}

VideoWindow::~VideoWindow() {
    // First, so that no frame is handed to the view while it is taken down.
    fEngine->VideoSinkGone();
    gSettings.videoFrame = Frame();
    fQuitTarget.Post(kMsgVideoWindowClosed);
}

void VideoWindow::AddSizeItems(QWidget* menu, std::function<void(const Message&)> post) {
    // 50 %, 100 %, 200 %: the shortcut is the item's index, so 100 % is on Ctrl+1.
    float scale = 0.5f;
    for (int index = 0; index < 3; index++, scale *= 2) {
        auto* item = new QAction(QString::asprintf("%ld%% scale", long(scale * 100)), menu);
        item->setShortcut(QKeySequence(Qt::CTRL | Qt::Key(Qt::Key_0 + index)));
        QObject::connect(item, &QAction::triggered, menu, [post, scale]() {
            Message message(kMsgResize);
            message.AddFloat("resize", scale);
            post(message);
        });
        menu->addAction(item);
    }
    auto* separator = new QAction(menu);
    separator->setSeparator(true);
    menu->addAction(separator);
    auto* full = new QAction("Full screen", menu);
    full->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_F));
    QObject::connect(full, &QAction::triggered, menu, [post]() { post(Message(kMsgFullScreen)); });
    menu->addAction(full);
}

Rect VideoWindow::Frame() const {
    return toRect(geometry());
}

Rect VideoWindow::ScreenFrame() const {
    QScreen* shown = screen();
    return toRect(shown != nullptr ? shown->geometry() : QRect());
}

void VideoWindow::SetClientFrame(const Rect& frame) {
    setGeometry(toQRect(frame));
}

int VideoWindow::ScaledPixels(float extent, float scale) {
    return int((extent + 1) * scale - 1) + 1;
}

void VideoWindow::SetFullScreen(bool on) {
    if (on == fFullScreen)
        return;
    if (on) {
        fRestoreFrame = Frame();
        setWindowState(windowState() | Qt::WindowFullScreen);
        SetClientFrame(ScreenFrame());
    } else {
        setWindowState(windowState() & ~Qt::WindowFullScreen);
        SetClientFrame(fRestoreFrame);
    }
    fFullScreen = on;
    fView->unsetCursor();
    if (on)
        fPointerRest.start();
    else
        fPointerRest.stop();
}

void VideoWindow::Zoom() {
    SetFullScreen(true);
}

void VideoWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    // The title bar's zoom (maximise) control stands for Zoom.
    if (event->type() == QEvent::WindowStateChange && (windowState() & Qt::WindowMaximized)) {
        setWindowState(windowState() & ~Qt::WindowMaximized);
        Zoom();
    }
}

void VideoWindow::MessageReceived(Message* message) {
    switch (message->what) {
        case kMsgResize: {
            float scale;
            if (message->FindFloat("resize", &scale) != B_OK)
                break;
            const Rect bounds = fEngine->Bounds();
            const QSize size(ScaledPixels(bounds.right - bounds.left, scale),
                             ScaledPixels(bounds.bottom - bounds.top, scale));
            fScale = scale;
            if (fFullScreen) {
                // Out of full screen at the new size, at the remembered corner.
                setWindowState(windowState() & ~Qt::WindowFullScreen);
                setGeometry(QRect(QPoint(int(fRestoreFrame.left), int(fRestoreFrame.top)), size));
                fFullScreen = false;
            } else {
                setGeometry(keptOnScreen(QRect(geometry().topLeft(), size)));
            }
            break;
        }
        case kMsgFullScreen:
            SetFullScreen(!fFullScreen);
            break;
        default:
            break;
    }
}

void VideoWindow::SetQuitTarget(MessageTarget* target) {
    fQuitTarget.Set(target);
    fQuitTarget.Post(kMsgNewVideoWindow);
}

void VideoWindow::PictureSizeChanged(int32 width, int32 height) {
    if (fFullScreen)
        return;
    const QSize size(ScaledPixels(float(width - 1), fScale),
                     ScaledPixels(float(height - 1), fScale));
    setGeometry(keptOnScreen(QRect(geometry().topLeft(), size)));
}
