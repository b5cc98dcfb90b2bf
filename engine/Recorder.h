#pragma once
// The engine's recorder: the two rings between the consumer nodes and the output file, the
// "video writer" and "audio writer" threads that empty them into the file's tracks, Start and
// Stop, the frame counters, the errors of a recording and what its report says. Tavro owns
// one and forwards its recording methods to it.
//
// Threads: the public methods on the control thread, but for StopOnError (any thread). The
// writer threads are the recorder's own: between Start and Stop they read the tracks, the
// rings, the converter and the streams and formats the recorder was made with, none of which
// the control thread changes until it has joined them (the graph is not rebuilt while
// recording); what they count is atomic, and fErrorLock guards the errors.

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/InputStream.h"
#include "engine/RecordingOrigin.h"
#include "engine/RecordingReport.h"
#include "engine/RingBuffer.h"
#include "media/file/VideoConverter.h"
#include "support/Semaphore.h"

class AudioConsumer;
class MediaFile;
class MediaTrack;
class MessageTarget;
class RingMonitor;
class VideoConsumer;

using VideoStream = InputStream<VideoConsumer, VideoFrameSink>;
using AudioStream = InputStream<AudioConsumer, AudioBlockSink>;

// Turn-taking of the two writer threads at the media write lock (see Recorder.cpp): writers
// waiting for it, and the number of times it was taken.
struct WriteTurns {
    std::atomic<int32> waiting{0};
    std::atomic<uint64> taken{0};
};

class Recorder {
public:
    // `video` and `audio` are the engine's inputs (their consumers change only while no
    // recording runs), `videoFormat` and `audioFormat` the formats of their connections; all
    // outlive the recorder.
    Recorder(const VideoStream& video, const AudioStream& audio, const media_format& videoFormat,
             const media_format& audioFormat);
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    // See Tavro for each of these.
    void SetStopTarget(MessageTarget* target) { fStopTarget.store(target); }
    void SetStatusView(RingMonitor* view) { fStatusView = view; }
    status_t SetVideoTrack(MediaTrack* track);
    status_t SetAudioTrack(MediaTrack* track);
    // `audioUnpaced`: the audio input is the built-in tone run unpaced, whose times share no
    // clock with the picture's: its sound is timed from its own first buffer.
    status_t Start(bool audioUnpaced);
    // Tavro::Stop but for the held-back format changes, which the engine applies after it.
    void Stop();
    bool IsRecording() const { return fRecording.load(); }
    void StopOnError(const char* text, status_t status);
    status_t RecordingError(std::string* text) const;
    // `roster` (nullptr: none) names the inputs.
    bool FillReport(const MediaFile* file, RecordingReport* report, const MediaRoster* roster);
    int64 WrittenVideoFrames() const { return fVideoTrack.written.load(); }
    bigtime_t WrittenVideoTime() const { return fWrittenVideoTime.load(); }
    Semaphore& MediaWriteLock() { return fMediaWriteLock; }
    // The time both streams of a recording are timed from: the video node's first recorded
    // frame sets it (VideoConsumer::SetOrigin).
    RecordingOrigin* Origin() { return &fRecordingOrigin; }

    int64 VideoFramesCounter();
    int64 DroppedVideoFrames();
    int64 AudioFramesCounter();
    int64 DroppedAudioFrames();
    int64 VideoRingFullDrops();
    int64 AudioRingFullDrops();

private:
    // One stream's side of a recording: its track of the output file, its ring and writer,
    // and what the writer counts.
    struct StreamTrack {
        // Set by the control thread before the writer starts and cleared after it was joined.
        MediaTrack* track = nullptr;
        std::unique_ptr<RingBuffer> ring;
        std::thread writer;
        int32 bufferCount = 40;
        // Counted by the writer, reset by Start.
        std::atomic<int64> written{0};
        std::atomic<int64> failedWrites{0};
        // Slots the writer left unwritten at Stop: counted as dropped until the next Start.
        std::atomic<int64> leftInRing{0};
        // For the report (control thread): the ring's size and fullest.
        int32 ringPeak = 0;
        int32 ringSlots = 0;
    };

    // From Start, once the nodes record: an input whose stream ends with an error (or has
    // ended already) stops the recording through StopOnError, with a text naming the input.
    void WatchInputs();
    // Keeps an error of the recording for its report, with the time (any thread).
    void NoteError(const char* text, status_t status);
    // A write of `stream` into the file failed: counted, and the recording stopped when the
    // file cannot take more (both tracks write into one file), else `notice` kept as an error.
    void WriteFailed(StreamTrack* stream, status_t status, const char* notice);
    // Writer threads (see Recorder.cpp).
    void VideoWriter();
    void AudioWriter(bool unpaced);
    // Slots of the audio ring for buffers of `audio`: at least kAudioRingDuration of sound.
    int32 AudioRingCount(const media_raw_audio_format& audio) const;
    // A node's frames not in the file: not delivered, refused, failed or left in the ring.
    template <typename Node>
    static int64 Dropped(Node* node, const StreamTrack& stream);

    const VideoStream& fVideo;
    const AudioStream& fAudio;
    const media_format& fVideoFormat;
    const media_format& fAudioFormat;

    // Where the recorder reports to: control thread, but for fStopTarget (read by the
    // writers: atomic).
    std::atomic<MessageTarget*> fStopTarget{nullptr};
    RingMonitor* fStatusView = nullptr;

    StreamTrack fVideoTrack;
    StreamTrack fAudioTrack;
    // Converts each frame into the video ring where the track's encoder wants another layout.
    std::unique_ptr<VideoConverter> fVideoRingConverter;

    // Polled by the writer threads; set and cleared by the control thread.
    std::atomic<bool> fRecording{false};
    // The time both streams of the recording are timed from; reset by Start.
    RecordingOrigin fRecordingOrigin;
    // Until when the writers empty their rings after the flag went down; set by Stop first.
    std::atomic<bigtime_t> fDrainUntil{0};

    // Serialises the writer threads' WriteFrames on the one output file; the writers take
    // turns at it through fWriteTurns.
    Semaphore fMediaWriteLock{1, "media write lock"};
    WriteTurns fWriteTurns;
    std::atomic<bigtime_t> fWrittenVideoTime{0};

    // For the report: the last recording's file and wall-clock times. Control thread.
    const MediaFile* fReportFile = nullptr;
    bool fReportAudio = false;
    bigtime_t fStartedAt = 0;
    bigtime_t fStoppedAt = 0;
    // Set by the first StopOnError of a recording (any thread), cleared by Start.
    std::atomic<bool> fStopRequested{false};
    // Guards fRecordingError, fRecordingErrorText and fErrors.
    mutable std::mutex fErrorLock;
    status_t fRecordingError = B_OK;
    std::string fRecordingErrorText;
    std::vector<RecordingReport::Error> fErrors;  // every error of the recording
};
