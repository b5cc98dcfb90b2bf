#include "ui/preview/VideoView.h"

#include <QApplication>

#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <algorithm>
#include <chrono>
#include <cstring>

#include "ui/preview/VideoWindow.h"

VideoView::VideoView(QWidget* parent) : PreviewView("<could not connect to video input>", parent) {
    fSingleClick.setSingleShot(true);
    connect(&fSingleClick, &QTimer::timeout, this, &VideoView::SingleClickTimedOut);
}

VideoView::~VideoView() = default;

QImage::Format VideoView::ImageFormatFor(color_space space) {
    switch (space) {
        case B_RGB32:
            return QImage::Format_RGB32;
        case B_RGB24:
            return QImage::Format_BGR888;
        case B_GRAY8:
            return QImage::Format_Grayscale8;
        case B_RGB16:
            return QImage::Format_RGB16;
        case B_RGB15:
            return QImage::Format_RGB555;
        default:
            return QImage::Format_Invalid;
    }
}

bool VideoView::CanDraw(color_space space) const {
    return ImageFormatFor(space) != QImage::Format_Invalid;
}

bool VideoView::PresentFrame(const VideoFrame& frame, bigtime_t timeout) {
    const QImage::Format format = ImageFormatFor(frame.space);
    if (format == QImage::Format_Invalid || frame.data == nullptr || frame.width == 0 ||
        frame.height == 0 || frame.bytesPerRow < bytesPerRow(frame.space, frame.width))
        return false;
    if (!fFrameLock.try_lock_for(std::chrono::microseconds(std::max<bigtime_t>(timeout, 0))))
        return false;
    std::lock_guard<std::timed_mutex> lock(fFrameLock, std::adopt_lock);

    if (fPending.width() != int(frame.width) || fPending.height() != int(frame.height) ||
        fPending.format() != format) {
        fPending = QImage(int(frame.width), int(frame.height), format);
        if (fPending.isNull())
            return false;
    }
    const uint32 rowBytes = bytesPerRow(frame.space, frame.width);
    const uint8* source = static_cast<const uint8*>(frame.data);
    uint8* destination = fPending.bits();
    const qsizetype destinationRow = fPending.bytesPerLine();
    if (frame.bytesPerRow == uint32(destinationRow)) {
        std::memcpy(destination, source, size_t(rowBytes) * frame.height);
    } else {
        for (uint32 y = 0; y < frame.height; y++)
            std::memcpy(destination + y * destinationRow, source + size_t(y) * frame.bytesPerRow,
                        rowBytes);
    }
    fPendingTime = frame.startTime;
    fFresh = true;
    PostRepaint();
    return true;
}

void VideoView::PostRepaint() {
    if (fRepaintPosted.exchange(true))
        return;
    // Queued onto the GUI thread; dropped if the view is gone by then.
    QMetaObject::invokeMethod(
        this,
        [this]() {
            fRepaintPosted.store(false);
            update();
        },
        Qt::QueuedConnection);
}

void VideoView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (PaintNotice(painter))
        return;
    {
        std::lock_guard<std::timed_mutex> lock(fFrameLock);
        if (fFresh) {
            fShown.swap(fPending);
            fShownTime = fPendingTime;
            fFresh = false;
        }
    }
    if (fShown.isNull())
        painter.fillRect(rect(), Qt::black);
    else
        painter.drawImage(rect(), fShown);
}

void VideoView::mousePressEvent(QMouseEvent* event) {
    auto* videoWindow = qobject_cast<VideoWindow*>(window());
    if (event->button() == Qt::RightButton) {
        ShowMenu(event->globalPosition().toPoint());
    } else if (videoWindow != nullptr && videoWindow->IsFullScreen()) {
        // A click leaves full screen once it is clear that it is not the first half of a
        // double-click, which toggles.
        fSingleClick.start(QApplication::doubleClickInterval());
    }
}

void VideoView::mouseDoubleClickEvent(QMouseEvent* event) {
    fSingleClick.stop();
    auto* videoWindow = qobject_cast<VideoWindow*>(window());
    if (event->button() == Qt::LeftButton && videoWindow != nullptr)
        videoWindow->SetFullScreen(!videoWindow->IsFullScreen());
}

void VideoView::SingleClickTimedOut() {
    if (auto* videoWindow = qobject_cast<VideoWindow*>(window()))
        videoWindow->SetFullScreen(false);
}

void VideoView::ShowMenu(const QPoint& globalPosition) {
    auto* videoWindow = qobject_cast<VideoWindow*>(window());
    if (videoWindow == nullptr)
        return;
    auto* menu = new QMenu("VideoView menu", this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setFont(QFont());  // the plain system font, not the view's
    QPointer<VideoWindow> target(videoWindow);
    VideoWindow::AddSizeItems(menu, [target](const Message& message) {
        if (target)
            target->PostMessage(message);
    });
    menu->popup(globalPosition - QPoint(5, 5));
}
