#pragma once
// What the video and audio views share: whether their input is connected and whether it has
// stopped delivering, set from any thread, and the notice they show on the panel colour in
// place of the picture or the levels while it is not connected or has stopped; and the window
// each of them fills.

#include <QAction>
#include <QFontMetrics>
#include <QPainter>
#include <QVBoxLayout>
#include <QWidget>
#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>

class PreviewView : public QWidget {
public:
    bool IsEnabled() const { return fEnabled.load(); }
    // What the view says of a stopped input; empty while it delivers.
    QString StoppedNotice() const {
        std::lock_guard lock(fStoppedLock);
        return fStopped;
    }

protected:
    // `notice` must outlive the view (a literal).
    PreviewView(const char* notice, QWidget* parent) : QWidget(parent), fNotice(notice) {
        // The picture, the strips or the notice covers every pixel.
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

    // Any thread: the view is repainted on the GUI thread. A new connection has not stopped.
    void StoreEnabled(bool enabled) {
        {
            std::lock_guard lock(fStoppedLock);
            fStopped.clear();
        }
        fEnabled.store(enabled);
        QMetaObject::invokeMethod(this, qOverload<>(&QWidget::update), Qt::QueuedConnection);
    }

    // Any thread: the input has stopped; `notice` says which and why.
    void StoreStopped(const std::string& notice) {
        {
            std::lock_guard lock(fStoppedLock);
            fStopped = QString::fromStdString(notice);
        }
        QMetaObject::invokeMethod(this, qOverload<>(&QWidget::update), Qt::QueuedConnection);
    }

    // From paintEvent: draws the notice and returns true when the input is not connected or
    // has stopped.
    bool PaintNotice(QPainter& painter) {
        const QString stopped = StoppedNotice();
        if (fEnabled.load() && stopped.isEmpty())
            return false;
        painter.fillRect(rect(), palette().color(QPalette::Window));
        painter.setPen(Qt::black);
        if (!stopped.isEmpty()) {
            // A device's name can be long and the audio window is low: the text wraps, in a
            // smaller font where it would not fit (down to a size still read), and what does
            // not fit even then is cut rather than drawn over the edges.
            constexpr int kMargin = 2;
            constexpr qreal kSmallestPoints = 6;
            const QRect box = rect().adjusted(kMargin, kMargin, -kMargin, -kMargin);
            const int flags = Qt::AlignCenter | Qt::TextWordWrap;
            QFont small = font();
            while (small.pointSizeF() > kSmallestPoints &&
                   QFontMetrics(small).boundingRect(box, flags, stopped).height() > box.height())
                small.setPointSizeF(std::max(kSmallestPoints, small.pointSizeF() - 0.5));
            painter.setFont(small);
            painter.drawText(box, flags, stopped);
            return true;
        }
        const QFontMetrics metrics(font());
        painter.drawText((width() - metrics.horizontalAdvance(fNotice)) / 2, (height() - 5) / 2,
                         fNotice);
        return true;
    }

private:
    const char* const fNotice;
    std::atomic<bool> fEnabled{true};
    mutable std::mutex fStoppedLock;  // guards fStopped
    QString fStopped;
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
