#pragma once
// The recording engine: the live inputs' connection formats, the recording geometry that the
// format asks for, and (while recording) the tracks, rings and writer threads. One object, made
// by the application and alive as long as it.
//
// Built up in steps: the media graph (inputs, consumer nodes, preview windows) and the
// recording threads attach to the fields below; until a graph connects the inputs, the
// connected formats are those the engine asks its inputs for.

#include <atomic>
#include <memory>

#include "engine/RingBuffer.h"
#include "media/MediaFormat.h"
#include "support/Geometry.h"
#include "support/Semaphore.h"

class MediaTrack;

class Tavro {
public:
    // Sets the defaults below; touches no device.
    Tavro();
    ~Tavro();
    Tavro(const Tavro&) = delete;
    Tavro& operator=(const Tavro&) = delete;

    // Copies the format of the live video or audio connection. Always B_OK.
    status_t GetVideoFormat(media_format* format);
    status_t GetAudioFormat(media_format* format);
    // (0, 0, video width - 1, video height - 1).
    Rect Bounds() const;

    // Called when a connection is (re)made, with the format the input and the consumer agreed.
    void SetConnectedVideoFormat(const media_format& format);
    void SetConnectedAudioFormat(const media_format& format);

private:
    // The format asked of the video input: the requested size and colour space, any rate.
    media_format RequestedVideoFormat() const;
    media_format RequestedAudioFormat() const;

    // Requested recording geometry. Written by the window thread (format changes) only.
    int32 fVideoWidth = 320;
    int32 fVideoHeight = 240;
    color_space fColorSpace = B_RGB32;
    float fVideoFrameRate = 30.0f;
    int32 fVideoPlayRate = 1;  // keep one frame in this many
    int32 fAudioChannelCount = 2;
    float fAudioFrequency = 44100.0f;

    // The live connections' formats. Written by the connecting thread before the nodes start,
    // read by the window thread when a file is created: never at the same time.
    media_format fConnectedVideoFormat;
    media_format fConnectedAudioFormat;

    // The tracks of the recording (owned by the output file) and the rings in front of them.
    MediaTrack* fVideoTrack = nullptr;
    MediaTrack* fAudioTrack = nullptr;
    std::unique_ptr<RingBuffer> fVideoRing;
    std::unique_ptr<RingBuffer> fAudioRing;
    int32 fVideoBufferCount = 40;
    int32 fAudioBufferCount = 40;

    bool fNodesRunning = false;
    bool fVideoConnected = false;
    bool fAudioConnected = false;
    bool fReconnectPending = false;
    bool fHoldChanges = false;
    // Polled by the writer threads; set and cleared by the window thread.
    std::atomic<bool> fRecording{false};

    // Serialises the writer threads' WriteFrames on the one output file.
    Semaphore fMediaWriteLock{1, "media write lock"};
    // Counted by the writer threads, read by the window thread.
    std::atomic<int64> fFailedVideoWrites{0};
    std::atomic<int64> fFailedAudioWrites{0};
};
