#pragma once
// What the engine hands its live streams and ring levels to, without knowing about windows:
// the preview windows and the status panel of ui/ implement these; the headless recorder
// and tests may too. Every call comes from an engine thread (a consumer node's event thread)
// unless noted, and none of them may block that thread for longer than it allows.

#include <string>

#include "engine/RingBuffer.h"
#include "media/MediaFormat.h"
#include "support/Geometry.h"

// One received video frame, valid only during the call.
struct VideoFrame {
    const void* data = nullptr;
    uint32 bytesPerRow = 0;
    uint32 width = 0;
    uint32 height = 0;
    color_space space = B_NO_COLOR_SPACE;
    bigtime_t startTime = 0;  // capture time, system_time() clock
};

// The video preview. The node asks CanDraw() for the connected colour space once per
// connection and converts anything else to B_RGB32 before presenting.
class VideoFrameSink {
public:
    virtual ~VideoFrameSink() = default;
    virtual bool CanDraw(color_space space) const = 0;
    // Takes a copy of the frame for drawing on the GUI thread, waiting at most `timeout`
    // microseconds for the view (half a frame period); false when the view was busy and the
    // frame is dropped. Never keeps `frame.data` after returning.
    virtual bool PresentFrame(const VideoFrame& frame, bigtime_t timeout) = 0;
    // The input could (not) be connected: the view shows the picture or a notice. Either
    // way a connection is new, so the notice of a stopped input goes.
    virtual void SetEnabled(bool enabled) = 0;
    // The input has stopped delivering (unplugged, a driver failure): the view shows `notice`
    // in place of the last picture until the next SetEnabled.
    virtual void InputStopped(const std::string& notice) = 0;
};

// The audio level meter: every received block of interleaved 16-bit samples, recorded or not.
class AudioBlockSink {
public:
    virtual ~AudioBlockSink() = default;
    // `count` is the number of 16-bit values (not frames). Must copy what it keeps and return
    // at once.
    virtual void AudioBlockReceived(const int16* samples, size_t count) = 0;
    virtual void SetChannelCount(int32 channels) = 0;
    // As for VideoFrameSink: the levels, or a notice in their place.
    virtual void SetEnabled(bool enabled) = 0;
    virtual void InputStopped(const std::string& notice) = 0;
};

// The status panel's view of the two rings while recording. Called on the thread that
// calls Tavro::Start and Tavro::Stop; the rings outlive every call between the two.
class RingMonitor {
public:
    virtual ~RingMonitor() = default;
    virtual void SetVideoBuffer(RingBuffer* ring) = 0;
    virtual void SetAudioBuffer(RingBuffer* ring) = 0;
};

// A RingMonitor that only keeps the rings it is given, for a status printer that reads them
// on its own schedule (tavro --record's status line).
class RingWatcher : public RingMonitor {
public:
    void SetVideoBuffer(RingBuffer* ring) override { video = ring; }
    void SetAudioBuffer(RingBuffer* ring) override { audio = ring; }
    RingBuffer* video = nullptr;
    RingBuffer* audio = nullptr;
};

// Opens and closes the preview windows for Tavro::ShowVideo and Tavro::ShowAudio (on the GUI
// thread). A returned sink stays valid until the engine is told it is gone
// (Tavro::VideoSinkGone / AudioSinkGone, called by the window as it closes).
class PreviewHost {
public:
    virtual ~PreviewHost() = default;
    // Opens the video window at `frame` (or returns the open one); null on failure.
    virtual VideoFrameSink* OpenVideoWindow(const Rect& frame) = 0;
    virtual void CloseVideoWindow() = 0;
    virtual AudioBlockSink* OpenAudioWindow(const Rect& frame) = 0;
    virtual void CloseAudioWindow() = 0;
    // The engine's video size changed to width x height pixels: an open video window that is
    // not in full-screen mode takes (width x its scale - 1) by (height x its scale - 1).
    // Called only while no recording runs. Default: nothing.
    virtual void ResizeVideoWindow(int32 width, int32 height) {
        (void)width;
        (void)height;
    }
};
