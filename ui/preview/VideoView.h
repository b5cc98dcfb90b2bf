#pragma once
// The live picture of the video window, scaled to the view. The video consumer hands each
// frame over from its own thread (PresentFrame): the view copies it into its pending image
// and asks the GUI thread for a repaint; the repaint draws the latest frame handed over.
// Frames that arrive while one is still pending replace it, so a slow or busy window drops
// frames and never holds the node up for longer than the node's time-out.
//
// When the input could not be connected the view shows "<could not connect to video input>";
// when it stops delivering, the notice the node gives (which input, and why) instead of its
// last picture.
// A secondary click opens the scale and full-screen menu; a primary click leaves full screen
// and a double-click toggles it.

#include <QImage>
#include <QTimer>
#include <atomic>
#include <mutex>

#include "engine/PreviewSinks.h"
#include "ui/preview/PreviewView.h"

class VideoView : public PreviewView, public VideoFrameSink {
    Q_OBJECT

public:
    explicit VideoView(QWidget* parent = nullptr);
    ~VideoView() override;

    // Any thread.
    bool CanDraw(color_space space) const override;
    bool PresentFrame(const VideoFrame& frame, bigtime_t timeout) override;
    void SetEnabled(bool enabled) override { StoreEnabled(enabled); }
    void InputStopped(const std::string& notice) override { StoreStopped(notice); }

    // GUI thread: the capture time of the frame drawn last; 0 before the first.
    bigtime_t ShownFrameTime() const { return fShownTime; }

    // The Qt image format that holds `space` as captured; Format_Invalid when there is none.
    static QImage::Format ImageFormatFor(color_space space);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void PostRepaint();
    void SingleClickTimedOut();
    void ShowMenu(const QPoint& globalPosition);

    // Set by the node when it asks for a repaint, cleared on the GUI thread when that repaint
    // request is taken: at most one request is queued however many frames arrive.
    std::atomic<bool> fRepaintPosted{false};

    // fFrameLock guards fPending, fPendingTime and fFresh. The node holds it while copying one
    // frame; the GUI thread only to swap images.
    std::timed_mutex fFrameLock;
    QImage fPending;
    bigtime_t fPendingTime = 0;
    bool fFresh = false;  // fPending holds a frame not drawn yet

    // A primary click in full screen, waiting to be sure that no second click follows.
    QTimer fSingleClick;

    // GUI thread: the frame on screen.
    QImage fShown;
    bigtime_t fShownTime = 0;
};
