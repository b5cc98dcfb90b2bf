#pragma once
// What the video and audio views share: whether their input is connected, set from any
// thread, and the notice they show on the panel colour in place of the picture or the levels
// while it is not; and the window each of them fills.

#include <QAction>
#include <QFontMetrics>
#include <QPainter>
#include <QVBoxLayout>
#include <QWidget>
#include <atomic>
#include <functional>

class PreviewView : public QWidget {
public:
    bool IsEnabled() const { return fEnabled.load(); }

protected:
    // `notice` must outlive the view (a literal).
    PreviewView(const char* notice, QWidget* parent) : QWidget(parent), fNotice(notice) {
        // The picture, the strips or the notice covers every pixel.
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

    // Any thread: the view is repainted on the GUI thread.
    void StoreEnabled(bool enabled) {
        fEnabled.store(enabled);
        QMetaObject::invokeMethod(this, qOverload<>(&QWidget::update), Qt::QueuedConnection);
    }

    // From paintEvent: draws the notice and returns true when the input is not connected.
    bool PaintNotice(QPainter& painter) {
        if (fEnabled.load())
            return false;
        painter.fillRect(rect(), palette().color(QPalette::Window));
        painter.setPen(Qt::black);
        const QFontMetrics metrics(font());
        painter.drawText((width() - metrics.horizontalAdvance(fNotice)) / 2, (height() - 5) / 2,
                         fNotice);
        return true;
    }

private:
    const char* const fNotice;
    std::atomic<bool> fEnabled{true};
};

// Makes `window` a top-level window titled `title`, deleted when closed, that `view` fills.
// Ctrl+Q in it posts B_QUIT_REQUESTED through `quit`, as the main window's "Quit" does.
inline void fillPreviewWindow(QWidget* window, const char* title, PreviewView* view,
                              std::function<void()> quit) {
    window->setWindowTitle(QString::fromUtf8(title));
    window->setAttribute(Qt::WA_DeleteOnClose);
    auto* layout = new QVBoxLayout(window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    auto* quitItem = new QAction("Quit", window);
    quitItem->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    QObject::connect(quitItem, &QAction::triggered, window, std::move(quit));
    window->addAction(quitItem);
}

// The narrowest a preview window may be so that a title bar shows all of `title`: its text
// in the title font plus room for the window manager's buttons.
inline int titleWidth(const QWidget* window) {
    constexpr int kTitleBarButtons = 140;
    QFont titleFont = window->font();
    titleFont.setBold(true);
    return QFontMetrics(titleFont).horizontalAdvance(window->windowTitle()) + kTitleBarButtons;
}
