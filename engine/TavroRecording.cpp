// The recording side of the engine: the rings, Start and Stop, the two writer threads, the
// frame counters and the application of a recording format.

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "app/ErrorAlert.h"
#include "app/FormatSetting.h"
#include "app/MessageCodes.h"
#include "engine/AudioConsumer.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/VideoConsumer.h"
#include "media/file/MediaFile.h"
#include "media/file/MediaTrack.h"
#include "support/Message.h"
#include "support/MessageTarget.h"
#include "support/Thread.h"

namespace {

// How long a writer waits for a slot before it looks at the recording flag again: Stop
// returns this soon after the inputs fell silent.
constexpr bigtime_t kWriterPoll = 100000;

// The loop of a writer thread: hands each filled slot of `ring` and its time to `write`, under
// the media write lock, until `recording` goes down. A slot is waited for at most kWriterPoll
// at a time, so the flag is seen whether or not the nodes still deliver.
template <typename Write>
void writeSlots(const std::atomic<bool>& recording, Semaphore& writeLock, RingBuffer* ring,
                Write write) {
    while (recording.load()) {
        void* data = nullptr;
        bigtime_t time = 0;
        if (ring->AcquireBuffer(&data, &time, kWriterPoll) != B_OK)
            continue;
        if (writeLock.Acquire() == B_OK) {
            write(data, time);
            writeLock.Release();
        }
        ring->ReleaseBuffer();
    }
}

// Whether a failed write means the file cannot take more: the disk or the file is full, or
// the file has seen a write error (EIO, EDQUOT, ...), after which it accepts nothing.
bool fileCannotGoOn(MediaTrack* track, status_t status) {
    if (status == B_DEVICE_FULL || status == -E2BIG || status == B_FILE_TOO_LARGE)
        return true;
    return track->File() != nullptr && track->File()->WriteError() != B_OK;
}

// A node's counters; 0 without the node. Frames whose write failed count as dropped.
template <typename Node>
int64 framesCounter(Node* node) {
    return node != nullptr ? node->FramesCounter() : 0;
}

template <typename Node>
int64 droppedFrames(Node* node, const std::atomic<int64>& failedWrites) {
    return node != nullptr ? node->DroppedFrames() + failedWrites.load() : 0;
}

}  // namespace

status_t Tavro::SetVideoTrack(MediaTrack* track) {
    if (fVideoConsumer != nullptr)
        fVideoConsumer->SetRing(nullptr);
    fVideoRing.reset();
    const media_video_display_info& display = fConnectedVideoFormat.raw_video.display;
    auto ring =
        std::make_unique<RingBuffer>(fVideoBufferCount, display.bytes_per_row * display.line_count);
    if (ring->InitCheck() < B_OK)
        return B_NO_MEMORY;
    fVideoRing = std::move(ring);
    fVideoTrack = track;
    if (fVideoConsumer != nullptr)
        fVideoConsumer->SetRing(fVideoRing.get());
    return B_OK;
}

status_t Tavro::SetAudioTrack(MediaTrack* track) {
    if (fAudioConsumer != nullptr)
        fAudioConsumer->SetRing(nullptr);
    fAudioRing.reset();
    if (track != nullptr) {
        auto ring = std::make_unique<RingBuffer>(
            fAudioBufferCount, uint32(fConnectedAudioFormat.raw_audio.buffer_size));
        if (ring->InitCheck() < B_OK)
            return B_NO_MEMORY;
        fAudioRing = std::move(ring);
    }
    fAudioTrack = track;
    if (track != nullptr && fAudioConsumer != nullptr)
        fAudioConsumer->SetRing(fAudioRing.get());
    return B_OK;
}

void Tavro::StopOnError(const char* text, status_t status) {
    // Once per recording: the first cause is the one told; the writers go on failing (and
    // counting) until the stop arrives.
    if (fStopRequested.exchange(true))
        return;
    {
        std::lock_guard<std::mutex> lock(fErrorLock);
        fRecordingError = status;
        fRecordingErrorText = text;
    }
    if (MessageTarget* target = fStopTarget.load()) {
        Message stop(kMsgStop);
        stop.AddInt32("status", status);
        stop.AddString("error", text);
        target->PostMessage(stop);
    }
    ErrorAlert(text, status, false);
}

status_t Tavro::RecordingError(std::string* text) const {
    std::lock_guard<std::mutex> lock(fErrorLock);
    if (text != nullptr)
        *text = fRecordingErrorText;
    return fRecordingError;
}

status_t Tavro::Start() {
    fStopRequested.store(false);
    {
        std::lock_guard<std::mutex> lock(fErrorLock);
        fRecordingError = B_OK;
        fRecordingErrorText.clear();
    }
    fWrittenVideoFrames.store(0);
    fWrittenVideoTime.store(0);
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
    if (fVideoConsumer != nullptr)
        fVideoConsumer->SetRecording(true);
    if (fAudioTrack != nullptr && fAudioConsumer != nullptr)
        fAudioConsumer->SetRecording(true);
    return B_OK;
}

void Tavro::JoinWriter(std::thread& writer, RingBuffer*) {
    // The writer waits for a slot at most kWriterPoll at a time, so it notices the flag
    // whether or not the nodes still deliver.
    if (writer.joinable())
        writer.join();
}

status_t Tavro::Stop() {
    fRecording.store(false);
    JoinWriter(fVideoWriter, fVideoRing.get());
    if (fAudioTrack != nullptr)
        JoinWriter(fAudioWriter, fAudioRing.get());

    if (fVideoConsumer != nullptr) {
        fVideoConsumer->SetRecording(false);
        fVideoConsumer->SetRing(nullptr);
    }
    if (fAudioTrack != nullptr && fAudioConsumer != nullptr)
        fAudioConsumer->SetRecording(false);
    if (fAudioConsumer != nullptr)
        fAudioConsumer->SetRing(nullptr);

    if (fStatusView != nullptr) {
        fStatusView->SetVideoBuffer(nullptr);
        fStatusView->SetAudioBuffer(nullptr);
    }
    // SetRing(nullptr) returned after any Write into the old ring: no node touches it now.
    fVideoRing.reset();
    fAudioRing.reset();

    if (fVideoTrack != nullptr)
        fVideoTrack->Flush();
    if (fAudioTrack != nullptr)
        fAudioTrack->Flush();
    fVideoTrack = nullptr;
    fAudioTrack = nullptr;

    // The changes held back during the recording.
    FlushChanges();
    return B_OK;
}

int32 Tavro::VideoWriter(Tavro* self) {
    MediaTrack* track = self->fVideoTrack;
    RingBuffer* ring = self->fVideoRing.get();
    if (track == nullptr || ring == nullptr)
        return -1;
    media_encode_info info;
    writeSlots(self->fRecording, self->fMediaWriteLock, ring, [&](void* data, bigtime_t time) {
        info.start_time = time;
        const status_t status = track->WriteFrames(data, 1, &info);
        if (status == B_OK) {
            self->fWrittenVideoFrames.fetch_add(1);
            self->fWrittenVideoTime.store(time);
            return;
        }
        self->fFailedVideoWrites.fetch_add(1);
        if (fileCannotGoOn(track, status))
            self->StopOnError("Video file may be corrupt.", status);
    });
    self->fFailedVideoWrites.store(0);
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
    // Keep one input frame in `decimation`: a track at a whole fraction of the input's rate.
    // A track faster than the input would give 0; it is written 1:1.
    const float trackRate = encoded.raw_audio.frame_rate;
    uint16 decimation = trackRate > 0 ? uint16(input.frame_rate / trackRate + 0.5f) : uint16(1);
    if (decimation == 0)
        decimation = 1;
    const uint32 trackChannels = encoded.raw_audio.channel_count & 0xff;
    const bool mono = trackChannels == 1;
    // The writes read 16-bit samples of the track's channel count: never past the slot.
    const int64 slotSamples = int64(ring->Size() / sizeof(int16));
    int64 framesOut = frames / decimation;
    if (trackChannels > 0)
        framesOut = std::min<int64>(framesOut, slotSamples / trackChannels);

    media_encode_info info;
    writeSlots(self->fRecording, self->fMediaWriteLock, ring, [&](void* data, bigtime_t time) {
        // In place, as 16-bit units whatever the sample format. Only the first
        // frames / decimation frames are written, so only they are made; every read lies
        // before the slot's end.
        int16* samples = static_cast<int16*>(data);
        if (mono) {
            const int64 keep = std::min<int64>(frames, slotSamples / int64(channels));
            for (int64 i = 0; i < keep; i++)
                samples[i] = samples[i * channels];
            if (decimation > 1) {
                for (int64 i = 0; i < framesOut; i++)
                    samples[i] = samples[i * decimation];
            }
        } else if (decimation > 1) {
            for (int64 i = 0; i < framesOut; i++) {
                for (uint32 c = 0; c < channels; c++) {
                    const int64 from = (i * decimation) * channels + c;
                    if (from < slotSamples)
                        samples[i * channels + c] = samples[from];
                }
            }
        }
        info.start_time = time;
        const status_t status = track->WriteFrames(data, framesOut, &info);
        if (status == B_OK)
            return;
        self->fFailedAudioWrites.fetch_add(1);
        // Both tracks write into one file: what it cannot take ends the recording either way.
        if (fileCannotGoOn(track, status))
            self->StopOnError("Video file may be corrupt.", status);
    });
    self->fFailedAudioWrites.store(0);
    return 0;
}

int64 Tavro::VideoFramesCounter() {
    return framesCounter(fVideoConsumer.get());
}

int64 Tavro::DroppedVideoFrames() {
    return droppedFrames(fVideoConsumer.get(), fFailedVideoWrites);
}

int64 Tavro::AudioFramesCounter() {
    return framesCounter(fAudioConsumer.get());
}

int64 Tavro::DroppedAudioFrames() {
    return droppedFrames(fAudioConsumer.get(), fFailedAudioWrites);
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
