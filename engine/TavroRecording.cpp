// The recording side of the engine: the rings, Start and Stop, the two writer threads, the
// frame counters and the application of a recording format.

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <system_error>
#include <thread>

#include "app/records/ErrorAlert.h"
#include "app/records/FormatSetting.h"
#include "app/records/MessageCodes.h"
#include "engine/AudioConsumer.h"
#include "engine/PreviewSinks.h"
#include "engine/RecordingReport.h"
#include "engine/Tavro.h"
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

template <typename Node>
int64 droppedFrames(Node* node, const std::atomic<int64>& failedWrites,
                    const std::atomic<int64>& leftInRing) {
    return node != nullptr ? node->DroppedFrames() + failedWrites.load() + leftInRing.load() : 0;
}

}  // namespace

status_t Tavro::SetVideoTrack(MediaTrack* track) {
    if (fVideo.consumer != nullptr)
        fVideo.consumer->SetRing(nullptr);
    fVideoRing.reset();
    // Where the encoder wants another layout, the node converts each frame into its slot: the
    // frame is read once, and the slot (4:2:0 from RGB32: a quarter of the bytes) is written
    // once, where a copy first would move the whole frame through memory again.
    fVideoRingConverter = track != nullptr ? track->NewPackedConverter() : nullptr;
    const media_video_display_info& display = fConnectedVideoFormat.raw_video.display;
    const size_t slotBytes = fVideoRingConverter != nullptr
                                 ? fVideoRingConverter->TargetFrameBytes()
                                 : size_t(display.bytes_per_row) * display.line_count;
    auto ring = std::make_unique<RingBuffer>(fVideoBufferCount, uint32(slotBytes));
    if (ring->InitCheck() < B_OK)
        return B_NO_MEMORY;
    fVideoRing = std::move(ring);
    fVideoTrack = track;
    if (fVideo.consumer != nullptr)
        fVideo.consumer->SetRing(fVideoRing.get(), fVideoRingConverter.get());
    return B_OK;
}

status_t Tavro::SetAudioTrack(MediaTrack* track) {
    if (fAudio.consumer != nullptr)
        fAudio.consumer->SetRing(nullptr);
    fAudioRing.reset();
    if (track != nullptr) {
        const media_raw_audio_format& audio = fConnectedAudioFormat.raw_audio;
        auto ring = std::make_unique<RingBuffer>(AudioRingCount(audio), uint32(audio.buffer_size));
        if (ring->InitCheck() < B_OK)
            return B_NO_MEMORY;
        fAudioRing = std::move(ring);
    }
    fAudioTrack = track;
    if (track != nullptr && fAudio.consumer != nullptr)
        fAudio.consumer->SetRing(fAudioRing.get());
    return B_OK;
}

void Tavro::NoteError(const char* text, status_t status) {
    std::lock_guard<std::mutex> lock(fErrorLock);
    addRecordingError(&fErrors, real_time_clock_usecs(), text, status);
}

void Tavro::StopOnError(const char* text, status_t status) {
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

status_t Tavro::RecordingError(std::string* text) const {
    std::lock_guard<std::mutex> lock(fErrorLock);
    if (text != nullptr)
        *text = fRecordingErrorText;
    return fRecordingError;
}

status_t Tavro::StoppedInput(bool withAudio, std::string* notice) const {
    status_t status = fVideo.Stopped(notice);
    if (status == B_OK && withAudio)
        status = fAudio.Stopped(notice);
    return status;
}

void Tavro::WatchInputs() {
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
    if (fAudioTrack != nullptr)
        watch(fAudio);
}

int32 Tavro::AudioRingCount(const media_raw_audio_format& audio) const {
    const uint32 frameBytes =
        audio.channel_count * (audio.format & media_raw_audio_format::B_AUDIO_SIZE_MASK);
    if (frameBytes == 0 || audio.buffer_size < frameBytes || audio.frame_rate <= 0)
        return fAudioBufferCount;
    const double bufferTime = double(audio.buffer_size / frameBytes) * 1e6 / audio.frame_rate;
    return std::max(fAudioBufferCount, int32(std::ceil(kAudioRingDuration / bufferTime)));
}

status_t Tavro::Start() {
    fStopRequested.store(false);
    {
        std::lock_guard<std::mutex> lock(fErrorLock);
        fRecordingError = B_OK;
        fRecordingErrorText.clear();
        fErrors.clear();
    }
    fWrittenVideoFrames.store(0);
    fWrittenVideoTime.store(0);
    fWrittenAudioBuffers.store(0);
    fFailedVideoWrites.store(0);
    fFailedAudioWrites.store(0);
    fVideoRingPeak = fAudioRingPeak = 0;
    fVideoRingSlots = fVideoRing != nullptr ? fVideoRing->Count() : 0;
    fAudioRingSlots = fAudioRing != nullptr ? fAudioRing->Count() : 0;
    fReportFile = fVideoTrack != nullptr ? fVideoTrack->File() : nullptr;
    fReportAudio = fAudioTrack != nullptr;
    fStartedAt = real_time_clock_usecs();
    fStoppedAt = 0;
    fVideoLeftInRing.store(0);
    fAudioLeftInRing.store(0);
    fRecordingOrigin.Reset();
    fRecording.store(true);
    try {
        fVideoWriter = spawnThread("video writer", [this] { VideoWriter(this); });
    } catch (const std::system_error&) {
        return B_NO_MORE_THREADS;
    }
    if (fAudioTrack != nullptr) {
        try {
            fAudioWriter = spawnThread("audio writer", [this] { AudioWriter(this); });
        } catch (const std::system_error&) {
            // Nothing would record: the video writer is ended again.
            fRecording.store(false);
            JoinWriter(fVideoWriter, fVideoRing.get());
            return B_NO_MORE_THREADS;
        }
    }
    if (fStatusView != nullptr) {
        fStatusView->SetVideoBuffer(fVideoRing.get());
        fStatusView->SetAudioBuffer(fAudioRing.get());
    }
    if (fVideo.consumer != nullptr)
        fVideo.consumer->SetRecording(true);
    if (fAudioTrack != nullptr && fAudio.consumer != nullptr)
        fAudio.consumer->SetRecording(true);
    WatchInputs();
    return B_OK;
}

void Tavro::JoinWriter(std::thread& writer, RingBuffer*) {
    // The writer waits for a slot at most kWriterPoll at a time, so it notices the flag
    // whether or not the nodes still deliver.
    if (writer.joinable())
        writer.join();
}

status_t Tavro::Stop() {
    // The nodes stop filling the rings first; the writers then write what the rings still
    // hold (for at most kDrainTime) and count the rest, so that nothing recorded is lost
    // uncounted.
    const bool wasRecording = fRecording.load();
    if (fVideo.consumer != nullptr) {
        fVideo.consumer->SetRecording(false);
        fVideo.consumer->SetRing(nullptr);
    }
    if (fAudioTrack != nullptr && fAudio.consumer != nullptr)
        fAudio.consumer->SetRecording(false);
    if (fAudio.consumer != nullptr)
        fAudio.consumer->SetRing(nullptr);
    fDrainUntil.store(system_time() + kDrainTime);
    fRecording.store(false);
    JoinWriter(fVideoWriter, fVideoRing.get());
    if (fAudioTrack != nullptr)
        JoinWriter(fAudioWriter, fAudioRing.get());

    if (fStatusView != nullptr) {
        fStatusView->SetVideoBuffer(nullptr);
        fStatusView->SetAudioBuffer(nullptr);
    }
    // SetRing(nullptr) returned after any Write into the old ring: no node touches it now,
    // and the writers have ended.
    if (wasRecording) {
        fVideoRingPeak = fVideoRing != nullptr ? fVideoRing->MaxBuffersUsed() : 0;
        fAudioRingPeak = fAudioRing != nullptr ? fAudioRing->MaxBuffersUsed() : 0;
    }
    fVideoRing.reset();
    fAudioRing.reset();

    if (fVideoTrack != nullptr)
        fVideoTrack->Flush();
    if (fAudioTrack != nullptr)
        fAudioTrack->Flush();
    fVideoTrack = nullptr;
    fAudioTrack = nullptr;

    if (wasRecording)
        fStoppedAt = real_time_clock_usecs();
    // The changes held back during the recording.
    FlushChanges();
    return B_OK;
}

bool Tavro::FillReport(const MediaFile* file, RecordingReport* report) {
    if (file == nullptr || file != fReportFile || fStoppedAt == 0)
        return false;
    report->started = fStartedAt;
    report->stopped = fStoppedAt;
    if (fRoster != nullptr) {
        for (auto [device, name] : {std::pair{fRoster->DefaultVideoInput(), &report->videoInput},
                                    std::pair{fRoster->DefaultAudioInput(), &report->audioInput}}) {
            if (device != nullptr)
                *name = device->name + (device->id != device->name ? " (" + device->id + ")" : "");
        }
    }
    if (fRoster != nullptr) {
        const MediaDevice* video = fRoster->DefaultVideoInput();
        const MediaDevice* audio = fRoster->DefaultAudioInput();
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
    report->video.written = fWrittenVideoFrames.load();
    if (fVideo.consumer != nullptr)
        report->video =
            stream(fVideo.consumer->ExpectedFrames(), fVideo.consumer->RecordedFrames(),
                   fWrittenVideoFrames.load(), fFailedVideoWrites.load() + fVideoLeftInRing.load(),
                   VideoRingFullDrops(), fVideoRingPeak, fVideoRingSlots);
    if (fAudio.consumer != nullptr && fReportAudio)
        report->audio =
            stream(fAudio.consumer->ExpectedBuffers(), fAudio.consumer->RecordedFrames(),
                   fWrittenAudioBuffers.load(), fFailedAudioWrites.load() + fAudioLeftInRing.load(),
                   AudioRingFullDrops(), fAudioRingPeak, fAudioRingSlots);
    std::lock_guard<std::mutex> lock(fErrorLock);
    report->errors = fErrors;
    return true;
}

int32 Tavro::VideoWriter(Tavro* self) {
    MediaTrack* track = self->fVideoTrack;
    RingBuffer* ring = self->fVideoRing.get();
    if (track == nullptr || ring == nullptr)
        return -1;
    media_encode_info info;
    // One frame a turn: the audio writer gets the file after every frame.
    const int32 left = writeSlots(
        self->fRecording, self->fDrainUntil, self->fMediaWriteLock, self->fWriteTurns, ring, 1,
        [](bigtime_t) {},
        [&](void* data, bigtime_t time) {
            info.start_time = time;
            const status_t status = self->fVideoRingConverter != nullptr
                                        ? track->WritePackedFrames(data, 1, &info)
                                        : track->WriteFrames(data, 1, &info);
            if (status == B_OK) {
                self->fWrittenVideoFrames.fetch_add(1);
                self->fWrittenVideoTime.store(time);
                return;
            }
            self->fFailedVideoWrites.fetch_add(1);
            if (fileCannotGoOn(track, status))
                self->StopOnError("Video file may be corrupt.", status);
            else
                self->NoteError("A video frame could not be written.", status);
        });
    self->fVideoLeftInRing.store(left);
    return 0;
}

int32 Tavro::AudioWriter(Tavro* self) {
    MediaTrack* track = self->fAudioTrack;
    RingBuffer* ring = self->fAudioRing.get();
    if (track == nullptr || ring == nullptr)
        return 1;
    const media_raw_audio_format& input = self->fConnectedAudioFormat.raw_audio;
    const uint32 sampleSize = input.format & media_raw_audio_format::B_AUDIO_SIZE_MASK;
    const uint32 channels = input.channel_count;
    if (sampleSize == 0 || channels == 0)
        return 1;
    const int64 frames = int64(input.buffer_size / (channels * sampleSize));

    media_format encoded;
    if (track->EncodedFormat(&encoded) != B_OK)
        return 1;
    // The input is connected at the track's rate and channel count where it can be (a slot
    // is then written as it is); where it cannot, the slot is converted to them.
    const int trackRate = int(encoded.raw_audio.frame_rate);
    const int trackChannels = int(encoded.raw_audio.channel_count & 0xff);
    std::unique_ptr<AudioResampler> resampler;
    if (input.format != media_raw_audio_format::B_AUDIO_SHORT)
        return 1;
    if (int(input.frame_rate) != trackRate || int(channels) != trackChannels) {
        resampler = std::make_unique<AudioResampler>();
        if (resampler->Init(int(input.frame_rate), int(channels), trackRate, trackChannels) != B_OK)
            return 1;
    }

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
            haveOrigin = !self->fAudio.unpaced && self->fRecordingOrigin.Get(&origin);
            if (!haveOrigin && (!self->fRecording.load() || self->fVideo.consumer == nullptr ||
                                self->fAudio.unpaced)) {
                origin = time;
                haveOrigin = true;
            }
            if (!haveOrigin)
                snooze(kOriginPoll);
        }
    };
    const int32 left = writeSlots(
        self->fRecording, self->fDrainUntil, self->fMediaWriteLock, self->fWriteTurns, ring,
        ring->Count(), findOrigin, [&](void* data, bigtime_t time) {
            const int16* samples = static_cast<const int16*>(data);
            int count = int(frames);
            if (resampler != nullptr) {
                if (const status_t converted = resampler->Convert(samples, count, &samples, &count);
                    converted != B_OK) {
                    self->fFailedAudioWrites.fetch_add(1);
                    self->NoteError("A sound buffer could not be converted.", converted);
                    return;
                }
            }
            info.start_time = time - origin;
            const status_t status = track->WriteFrames(samples, count, &info);
            if (status == B_OK) {
                self->fWrittenAudioBuffers.fetch_add(1);
                return;
            }
            self->fFailedAudioWrites.fetch_add(1);
            // Both tracks write into one file: what it cannot take ends the
            // recording either way.
            if (fileCannotGoOn(track, status))
                self->StopOnError("Video file may be corrupt.", status);
            else
                self->NoteError("A sound buffer could not be written.", status);
        });
    self->fAudioLeftInRing.store(left);
    return 0;
}

int64 Tavro::VideoFramesCounter() {
    return framesCounter(fVideo.consumer.get());
}

int64 Tavro::DroppedVideoFrames() {
    return droppedFrames(fVideo.consumer.get(), fFailedVideoWrites, fVideoLeftInRing);
}

int64 Tavro::VideoRingFullDrops() {
    return fVideo.consumer != nullptr ? fVideo.consumer->RingFullDrops() : 0;
}

int64 Tavro::AudioRingFullDrops() {
    return fAudio.consumer != nullptr ? fAudio.consumer->RingFullDrops() : 0;
}

int64 Tavro::AudioFramesCounter() {
    return framesCounter(fAudio.consumer.get());
}

int64 Tavro::DroppedAudioFrames() {
    return droppedFrames(fAudio.consumer.get(), fFailedAudioWrites, fAudioLeftInRing);
}

void Tavro::SetFormat(FormatSetting* format) {
    if (format == nullptr)
        return;
    fHoldChanges = true;
    SetVideoSize(format->videoWidth, format->videoHeight);
    SetColorSpace(color_space(format->colorSpace));
    SetVideoPlayRate(format->frameDivisor);
    SetFrequency(format->audioFrameRate);
    SetChannelCount(format->audioChannels);
    fHoldChanges = false;
    FlushChanges();

    if (!fRecording.load()) {
        ResizeVideoWindow();
    } else {
        ShowRequest("Tavro - Request",
                    "There is currently video capturing in progress.\n"
                    "Changes of the video/audio format cannot be previewed.",
                    "Ok");
    }
}
