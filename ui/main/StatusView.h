#pragma once
// The status panel under the Record and Stop buttons: while a recording runs, the elapsed
// time, the video frames and audio buffers written with those dropped, and one fill bar per
// ring buffer. The main window's pulse (every 100 ms) drives it through WindowPulse; the
// texts change only while running and keep their last values after Stop.
//
// GUI thread only; the engine calls SetVideoBuffer/SetAudioBuffer from Start and Stop, which
// the main window calls on this thread.

#include <QWidget>
#include <ctime>

#include "engine/PreviewSinks.h"

class BufferView;
class QLabel;
class FlickerFreeStringView;
class Tavro;

class StatusView : public QWidget, public RingMonitor {
    Q_OBJECT

public:
    // Registers with `engine` (not owned; it must outlive the view) and starts stopped.
    StatusView(Tavro* engine, QWidget* parent = nullptr);
    ~StatusView() override;

    // `now` in calendar seconds; the elapsed time counts from it.
    void Start(time_t now = std::time(nullptr));
    void Stop();
    bool IsRunning() const { return fRunning; }
    // The elapsed time as shown, "hh:mm:ss".
    QString Elapsed() const;
    // Shows the running recording's file (its full path) beside the elapsed time.
    void SetFileName(const QString& path);

    // Shows the elapsed time and the counters when running; the bars are pulsed apart.
    void Pulse(time_t now = std::time(nullptr));
    // The window's pulse: Pulse, then both bars'.
    void WindowPulse();

    void SetVideoBuffer(RingBuffer* ring) override;
    void SetAudioBuffer(RingBuffer* ring) override;

    // "hh:mm:ss" for `elapsed` seconds, computed as the panel always has: through the local
    // time zone with one hour taken off, so it reads right in a zone one hour ahead of UTC.
    static QString ElapsedText(time_t elapsed);

protected:
    // Elides the file's path again when its label changes width.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ElideFileName();

    Tavro* fEngine;
    FlickerFreeStringView* fAudioCounter;
    FlickerFreeStringView* fVideoCounter;
    FlickerFreeStringView* fAudioSecondLine;
    FlickerFreeStringView* fVideoSecondLine;
    FlickerFreeStringView* fElapsed;
    QLabel* fFileText;  // the file's path, elided in the middle to the width left
    BufferView* fVideoBuffer;
    BufferView* fAudioBuffer;
    bool fRunning = false;
    time_t fStartTime = 0;
};
