#include "engine/Recorder.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <system_error>
#include <thread>

#include "app/records/ErrorAlert.h"
#include "app/records/MessageCodes.h"
#include "engine/AudioConsumer.h"
#include "engine/PreviewSinks.h"
#include "engine/VideoConsumer.h"
#include "media/file/AudioResampler.h"
#include "media/file/MediaFile.h"
#include "media/file/MediaTrack.h"
#include "support/Clock.h"
#include "support/Message.h"
#include "support/MessageTarget.h"
#include "support/Thread.h"

namespace {

// How long a writer waits for a slot before it looks at the recording flag again: Stop
// returns this soon after the inputs fell silent.
constexpr bigtime_t kWriterPoll = 100000;
// What the audio ring holds at least, in µs of sound: enough to ride out a video writer that
// holds the file for a second (a slow key frame, a busy disk) without losing a period.
constexpr bigtime_t kAudioRingDuration = 3000000;
// How long Stop lets the writers empty their rings; what is left then is counted as dropped.
constexpr bigtime_t kDrainTime = 3000000;
// How long a writer that has just written waits for the other one, which waits for the media
// write lock, to take it: the two take turns instead of one starving the other.
constexpr bigtime_t kTurnWait = 5000;
// How often the audio writer looks whether the first picture has set the recording's origin.
constexpr bigtime_t kOriginPoll = 5000;

// The loop of a writer thread: hands each filled slot of `ring` and its time to `write`, under
// the media write lock, while `recording` is up; then, until `drainUntil`, the slots still
// filled. A slot is waited for at most kWriterPoll at a time, so the flag is seen whether or
// not the nodes still deliver. Once it holds the lock, a writer writes up to `batch` slots that
// are filled by then. `prepare(time)` is called with each slot's time before it is written
// (the first before the lock is taken). Returns the slots left unwritten.
template <typename Prepare, typename Write>
int32 writeSlots(const std::atomic<bool>& recording, const std::atomic<bigtime_t>& drainUntil,
                 Semaphore& writeLock, WriteTurns& turns, RingBuffer* ring, int32 batch,
                 Prepare prepare, Write write) {
    while (true) {
        if (!recording.load()) {
            const int32 left = ring->BuffersInUse();
            if (left <= 0 || system_time() >= drainUntil.load())
                return std::max<int32>(0, left);
        }
        void* data = nullptr;
        bigtime_t time = 0;
        if (ring->AcquireBuffer(&data, &time, kWriterPoll) != B_OK)
            continue;
        prepare(time);
        turns.waiting.fetch_add(1);
        const status_t locked = writeLock.Acquire();
        turns.waiting.fetch_sub(1);
        if (locked != B_OK) {
            ring->ReleaseBuffer();
            continue;
        }
        const uint64 turn = turns.taken.fetch_add(1) + 1;
        write(data, time);
        ring->ReleaseBuffer();
        for (int32 written = 1; written < batch && ring->AcquireBuffer(&data, &time, 0) == B_OK;
             written++) {
            prepare(time);
            write(data, time);
            ring->ReleaseBuffer();
        }
        writeLock.Release();
        // The semaphore is not fair: hand the file to a writer that waits for it.
        const bigtime_t until = system_time() + kTurnWait;
        while (turns.waiting.load() > 0 && turns.taken.load() == turn && system_time() < until)
            std::this_thread::yield();
    }
}

// Whether a failed write means the file cannot take more: the disk or the file is full, or
// the file has seen a write error (EIO, EDQUOT, ...), after which it accepts nothing.
bool fileCannotGoOn(MediaTrack* track, status_t status) {
    if (status == B_DEVICE_FULL || status == -E2BIG || status == B_FILE_TOO_LARGE)
        return true;
    return track->File() != nullptr && track->File()->WriteError() != B_OK;
}

// A node's counters; 0 without the node. Frames whose write failed, and those left in the
// ring at the end, count as dropped.
template <typename Node>
int64 framesCounter(Node* node) {
    return node != nullptr ? node->FramesCounter() : 0;
}

// How the audio writer hands the slots of an `input` connection to `track`: the frames in a
// slot, and the resampler where the track wants another rate or channel count (else none).
// false when the input cannot be written at all.
bool audioConversion(MediaTrack* track, const media_raw_audio_format& input, int64* frames,
                     std::unique_ptr<AudioResampler>* resampler) {
    const uint32 sampleSize = input.format & media_raw_audio_format::B_AUDIO_SIZE_MASK;
    const uint32 channels = input.channel_count;
    if (sampleSize == 0 || channels == 0)
        return false;
    *frames = int64(input.buffer_size / (channels * sampleSize));

    media_format encoded;
    if (track->EncodedFormat(&encoded) != B_OK)
        return false;
    // The input is connected at the track's rate and channel count where it can be (a slot
    // is then written as it is); where it cannot, the slot is converted to them.
    const int trackRate = int(encoded.raw_audio.frame_rate);
    const int trackChannels = int(encoded.raw_audio.channel_count & 0xff);
    if (input.format != media_raw_audio_format::B_AUDIO_SHORT)
        return false;
    if (int(input.frame_rate) != trackRate || int(channels) != trackChannels) {
        *resampler = std::make_unique<AudioResampler>();
        if ((*resampler)->Init(int(input.frame_rate), int(channels), trackRate, trackChannels) !=
            B_OK)
            return false;
    }
    return true;
}

// Ends a writer thread: the flag is down already. The writer waits for a slot at most
// kWriterPoll at a time, so it notices the flag whether or not the nodes still deliver.
void joinWriter(std::thread& writer) {
    if (writer.joinable())
        writer.join();
}

}  // namespace

Recorder::Recorder(const VideoStream& video, const AudioStream& audio,
                   const media_format& videoFormat, const media_format& audioFormat)
    : fVideo(video), fAudio(audio), fVideoFormat(videoFormat), fAudioFormat(audioFormat) {}

template <typename Node>
int64 Recorder::Dropped(Node* node, const StreamTrack& stream) {
    return node != nullptr
               ? node->DroppedFrames() + stream.failedWrites.load() + stream.leftInRing.load()
               : 0;
}

status_t Recorder::SetVideoTrack(MediaTrack* track) {
    if (fVideo.consumer != nullptr)
        fVideo.consumer->SetRing(nullptr);
    fVideoTrack.ring.reset();
    // Where the encoder wants another layout, the node converts each frame into its slot: the
    // frame is read once, and the slot (4:2:0 from RGB32: a quarter of the bytes) is written
    // once, where a copy first would move the whole frame through memory again.
    fVideoRingConverter = track != nullptr ? track->NewPackedConverter() : nullptr;
    const media_video_display_info& display = fVideoFormat.raw_video.display;
    const size_t slotBytes = fVideoRingConverter != nullptr
                                 ? fVideoRingConverter->TargetFrameBytes()
                                 : size_t(display.bytes_per_row) * display.line_count;
    auto ring = std::make_unique<RingBuffer>(fVideoTrack.bufferCount, uint32(slotBytes));
    if (ring->InitCheck() < B_OK)
        return B_NO_MEMORY;
    fVideoTrack.ring = std::move(ring);
    fVideoTrack.track = track;
    if (fVideo.consumer != nullptr)
        fVideo.consumer->SetRing(fVideoTrack.ring.get(), fVideoRingConverter.get());
    return B_OK;
}

status_t Recorder::SetAudioTrack(MediaTrack* track) {
    if (fAudio.consumer != nullptr)
        fAudio.consumer->SetRing(nullptr);
    fAudioTrack.ring.reset();
    if (track != nullptr) {
        const media_raw_audio_format& audio = fAudioFormat.raw_audio;
        auto ring = std::make_unique<RingBuffer>(AudioRingCount(audio), uint32(audio.buffer_size));
        if (ring->InitCheck() < B_OK)
            return B_NO_MEMORY;
        fAudioTrack.ring = std::move(ring);
    }
    fAudioTrack.track = track;
    if (track != nullptr && fAudio.consumer != nullptr)
        fAudio.consumer->SetRing(fAudioTrack.ring.get());
    return B_OK;
}

void Recorder::NoteError(const char* text, status_t status) {
    std::lock_guard<std::mutex> lock(fErrorLock);
    addRecordingError(&fErrors, real_time_clock_usecs(), text, status);
}

void Recorder::StopOnError(const char* text, status_t status) {
    // Once per recording: the first cause is the one told; the writers go on failing (and
    // counting) until the stop arrives. The report keeps every one.
    NoteError(text, status);
    if (fStopRequested.exchange(true))
        return;
    {
        std::lock_guard<std::mutex> lock(fErrorLock);
        fRecordingError = status;
        fRecordingErrorText = text;
    }
    // The alert first: whoever acts on the stop finds it raised.
    ErrorAlert(text, status, false);
    if (MessageTarget* target = fStopTarget.load()) {
        Message stop(kMsgStop);
        stop.AddInt32("status", status);
        stop.AddString("error", text);
        target->PostMessage(stop);
    }
}

status_t Recorder::RecordingError(std::string* text) const {
    std::lock_guard<std::mutex> lock(fErrorLock);
    if (text != nullptr)
        *text = fRecordingErrorText;
    return fRecordingError;
}

void Recorder::WatchInputs() {
    auto watch = [this](auto& stream) {
        if (stream.consumer == nullptr || stream.producer == nullptr)
            return;
        std::string text = stream.consumer->StoppedNotice();
        stream.consumer->SetInputStoppedHandler([this, text](const std::string&, status_t status) {
            StopOnError(text.c_str(), status);
        });
        // A stream that ended before the handler was in place is told of by nobody: the
        // recording would run to its end with nothing from this input.
        if (const status_t ended = stream.producer->StreamStatus(); ended != B_OK)
            StopOnError(text.c_str(), ended);
    };
    watch(fVideo);
    if (fAudioTrack.track != nullptr)
        watch(fAudio);
}

int32 Recorder::AudioRingCount(const media_raw_audio_format& audio) const {
    const uint32 frameBytes =
        audio.channel_count * (audio.format & media_raw_audio_format::B_AUDIO_SIZE_MASK);
    if (frameBytes == 0 || audio.buffer_size < frameBytes || audio.frame_rate <= 0)
        return fAudioTrack.bufferCount;
    const double bufferTime = double(audio.buffer_size / frameBytes) * 1e6 / audio.frame_rate;
    return std::max(fAudioTrack.bufferCount, int32(std::ceil(kAudioRingDuration / bufferTime)));
}

status_t Recorder::Start(bool audioUnpaced) {
    fStopRequested.store(false);
    {
        std::lock_guard<std::mutex> lock(fErrorLock);
        fRecordingError = B_OK;
        fRecordingErrorText.clear();
        fErrors.clear();
    }
    fVideoTrack.written.store(0);
    fWrittenVideoTime.store(0);
    fAudioTrack.written.store(0);
    fVideoTrack.failedWrites.store(0);
    fAudioTrack.failedWrites.store(0);
    fVideoTrack.ringPeak = fAudioTrack.ringPeak = 0;
    fVideoTrack.ringSlots = fVideoTrack.ring != nullptr ? fVideoTrack.ring->Count() : 0;
    fAudioTrack.ringSlots = fAudioTrack.ring != nullptr ? fAudioTrack.ring->Count() : 0;
    fReportFile = fVideoTrack.track != nullptr ? fVideoTrack.track->File() : nullptr;
    fReportAudio = fAudioTrack.track != nullptr;
    fStartedAt = real_time_clock_usecs();
    fStoppedAt = 0;
    fVideoTrack.leftInRing.store(0);
    fAudioTrack.leftInRing.store(0);
    fRecordingOrigin.Reset();
    fRecording.store(true);
    try {
        fVideoTrack.writer = spawnThread("video writer", [this] { VideoWriter(); });
    } catch (const std::system_error&) {
        return B_NO_MORE_THREADS;
    }
    if (fAudioTrack.track != nullptr) {
        try {
            fAudioTrack.writer =
                spawnThread("audio writer", [this, audioUnpaced] { AudioWriter(audioUnpaced); });
        } catch (const std::system_error&) {
            // Nothing would record: the video writer is ended again.
            fRecording.store(false);
            joinWriter(fVideoTrack.writer);
            return B_NO_MORE_THREADS;
        }
    }
    if (fStatusView != nullptr) {
        fStatusView->SetVideoBuffer(fVideoTrack.ring.get());
        fStatusView->SetAudioBuffer(fAudioTrack.ring.get());
    }
    if (fVideo.consumer != nullptr)
        fVideo.consumer->SetRecording(true);
    if (fAudioTrack.track != nullptr && fAudio.consumer != nullptr)
        fAudio.consumer->SetRecording(true);
    WatchInputs();
    return B_OK;
}

void Recorder::Stop() {
    // The nodes stop filling the rings first; the writers then write what the rings still
    // hold (for at most kDrainTime) and count the rest, so that nothing recorded is lost
    // uncounted.
    const bool wasRecording = fRecording.load();
    if (fVideo.consumer != nullptr) {
        fVideo.consumer->SetRecording(false);
        fVideo.consumer->SetRing(nullptr);
    }
    if (fAudioTrack.track != nullptr && fAudio.consumer != nullptr)
        fAudio.consumer->SetRecording(false);
    if (fAudio.consumer != nullptr)
        fAudio.consumer->SetRing(nullptr);
    fDrainUntil.store(system_time() + kDrainTime);
    fRecording.store(false);
    joinWriter(fVideoTrack.writer);
    if (fAudioTrack.track != nullptr)
        joinWriter(fAudioTrack.writer);

    if (fStatusView != nullptr) {
        fStatusView->SetVideoBuffer(nullptr);
        fStatusView->SetAudioBuffer(nullptr);
    }
    // SetRing(nullptr) returned after any Write into the old ring: no node touches it now,
    // and the writers have ended.
    if (wasRecording) {
        fVideoTrack.ringPeak = fVideoTrack.ring != nullptr ? fVideoTrack.ring->MaxBuffersUsed() : 0;
        fAudioTrack.ringPeak = fAudioTrack.ring != nullptr ? fAudioTrack.ring->MaxBuffersUsed() : 0;
    }
    fVideoTrack.ring.reset();
    fAudioTrack.ring.reset();

    if (fVideoTrack.track != nullptr)
        fVideoTrack.track->Flush();
    if (fAudioTrack.track != nullptr)
        fAudioTrack.track->Flush();
    fVideoTrack.track = nullptr;
    fAudioTrack.track = nullptr;

    if (wasRecording)
        fStoppedAt = real_time_clock_usecs();
}

bool Recorder::FillReport(const MediaFile* file, RecordingReport* report,
                          const MediaRoster* roster) {
    if (file == nullptr || file != fReportFile || fStoppedAt == 0)
        return false;
    report->started = fStartedAt;
    report->stopped = fStoppedAt;
    if (roster != nullptr) {
        for (auto [device, name] : {std::pair{roster->DefaultVideoInput(), &report->videoInput},
                                    std::pair{roster->DefaultAudioInput(), &report->audioInput}}) {
            if (device != nullptr)
                *name = device->name + (device->id != device->name ? " (" + device->id + ")" : "");
        }
    }
    if (roster != nullptr) {
        const MediaDevice* video = roster->DefaultVideoInput();
        const MediaDevice* audio = roster->DefaultAudioInput();
        report->testPicture = video != nullptr && video->builtIn;
        report->testTone = fReportAudio && audio != nullptr && audio->builtIn;
    }
    // What never came, what a full ring refused and what the writer could not write are
    // dropped, so that written + dropped is what the rate gives (or what came, from an input
    // faster than its rate).
    auto stream = [](int64 expected, int64 recorded, int64 written, int64 lost, int64 ringFull,
                     int32 peak, int32 slots) {
        const int64 missing = std::max<int64>(0, expected - recorded - ringFull);
        return RecordingReport::Stream{true,     expected, written, missing + ringFull + lost,
                                       ringFull, peak,     slots};
    };
    report->video.written = fVideoTrack.written.load();
    if (fVideo.consumer != nullptr)
        report->video = stream(fVideo.consumer->ExpectedFrames(), fVideo.consumer->RecordedFrames(),
                               fVideoTrack.written.load(),
                               fVideoTrack.failedWrites.load() + fVideoTrack.leftInRing.load(),
                               VideoRingFullDrops(), fVideoTrack.ringPeak, fVideoTrack.ringSlots);
    if (fAudio.consumer != nullptr && fReportAudio)
        report->audio = stream(fAudio.consumer->ExpectedBuffers(),
                               fAudio.consumer->RecordedFrames(), fAudioTrack.written.load(),
                               fAudioTrack.failedWrites.load() + fAudioTrack.leftInRing.load(),
                               AudioRingFullDrops(), fAudioTrack.ringPeak, fAudioTrack.ringSlots);
    std::lock_guard<std::mutex> lock(fErrorLock);
    report->errors = fErrors;
    return true;
}

void Recorder::VideoWriter() {
    MediaTrack* track = fVideoTrack.track;
    RingBuffer* ring = fVideoTrack.ring.get();
    if (track == nullptr || ring == nullptr)
        return;
    media_encode_info info;
    // One frame a turn: the audio writer gets the file after every frame.
    const int32 left = writeSlots(
        fRecording, fDrainUntil, fMediaWriteLock, fWriteTurns, ring, 1, [](bigtime_t) {},
        [&](void* data, bigtime_t time) {
            info.start_time = time;
            const status_t status = fVideoRingConverter != nullptr
                                        ? track->WritePackedFrames(data, 1, &info)
                                        : track->WriteFrames(data, 1, &info);
            if (status == B_OK) {
                fVideoTrack.written.fetch_add(1);
                fWrittenVideoTime.store(time);
                return;
            }
            WriteFailed(&fVideoTrack, status, "A video frame could not be written.");
        });
    fVideoTrack.leftInRing.store(left);
}

void Recorder::WriteFailed(StreamTrack* stream, status_t status, const char* notice) {
    stream->failedWrites.fetch_add(1);
    if (fileCannotGoOn(stream->track, status))
        StopOnError("Video file may be corrupt.", status);
    else
        NoteError(notice, status);
}

void Recorder::AudioWriter(bool unpaced) {
    MediaTrack* track = fAudioTrack.track;
    RingBuffer* ring = fAudioTrack.ring.get();
    if (track == nullptr || ring == nullptr)
        return;
    int64 frames = 0;
    std::unique_ptr<AudioResampler> resampler;
    if (!audioConversion(track, fAudioFormat.raw_audio, &frames, &resampler))
        return;

    media_encode_info info;
    bool haveOrigin = false;
    bigtime_t origin = 0;
    // Every block waiting is written in one turn: a block is quick to encode, and four or
    // more of them come for every frame.
    // The slots hold capture times; the recording's origin is the first picture's, which comes
    // a frame period or so after the first sound: it is waited for before the file is taken. A
    // recording whose picture never came, or whose sound has no common clock with it, is
    // timed from its first sound.
    auto findOrigin = [&](bigtime_t time) {
        while (!haveOrigin) {
            haveOrigin = !unpaced && fRecordingOrigin.Get(&origin);
            // The video stream's consumer, read on this thread: the graph is not rebuilt while
            // recording, so it is the one Start saw (see the header).
            if (!haveOrigin && (!fRecording.load() || fVideo.consumer == nullptr || unpaced)) {
                origin = time;
                haveOrigin = true;
            }
            if (!haveOrigin)
                snooze(kOriginPoll);
        }
    };
    const int32 left = writeSlots(
        fRecording, fDrainUntil, fMediaWriteLock, fWriteTurns, ring, ring->Count(), findOrigin,
        [&](void* data, bigtime_t time) {
            const int16* samples = static_cast<const int16*>(data);
            int count = int(frames);
            if (resampler != nullptr) {
                if (const status_t converted = resampler->Convert(samples, count, &samples, &count);
                    converted != B_OK) {
                    fAudioTrack.failedWrites.fetch_add(1);
                    NoteError("A sound buffer could not be converted.", converted);
                    return;
                }
            }
            info.start_time = time - origin;
            const status_t status = track->WriteFrames(samples, count, &info);
            if (status == B_OK) {
                fAudioTrack.written.fetch_add(1);
                return;
            }
            WriteFailed(&fAudioTrack, status, "A sound buffer could not be written.");
        });
    fAudioTrack.leftInRing.store(left);
}

int64 Recorder::VideoFramesCounter() {
    return framesCounter(fVideo.consumer.get());
}

int64 Recorder::DroppedVideoFrames() {
    return Dropped(fVideo.consumer.get(), fVideoTrack);
}

int64 Recorder::VideoRingFullDrops() {
    return fVideo.consumer != nullptr ? fVideo.consumer->RingFullDrops() : 0;
}

int64 Recorder::AudioRingFullDrops() {
    return fAudio.consumer != nullptr ? fAudio.consumer->RingFullDrops() : 0;
}

int64 Recorder::AudioFramesCounter() {
    return framesCounter(fAudio.consumer.get());
}

int64 Recorder::DroppedAudioFrames() {
    return Dropped(fAudio.consumer.get(), fAudioTrack);
}
