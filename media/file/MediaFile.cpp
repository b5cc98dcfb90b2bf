#include "media/file/MediaFile.h"

#include <string_view>

extern "C" {
#include <libavutil/opt.h>
}

#include "support/Clock.h"
#include "support/Thread.h"

namespace {

// How often what was muxed is pushed to the disk: a cut-off recording loses at most this much
// (plus what the encoder holds back).
constexpr bigtime_t kFlushInterval = 500000;
// Streams written by two threads drift apart a little; the muxer waits at most this long for
// the slower one before it writes out what it holds.
constexpr int64_t kMaxInterleaveDelta = 500000;
// How long the muxer's first flush waits for a stream that has not delivered a packet yet (an
// encoder still filling its lookahead) before it goes ahead without it.
constexpr bigtime_t kFirstFlushWait = 5000000;

bool writesFragments(const AVOutputFormat* muxer) {
    // The QuickTime family needs its index (moov) at the end unless it is fragmented.
    constexpr std::string_view kFamily[] = {"mov", "mp4", "ipod", "psp",
                                            "3gp", "3g2", "ismv", "f4v"};
    for (std::string_view name : kFamily) {
        if (name == muxer->name)
            return true;
    }
    return false;
}

}  // namespace

MediaFile::MediaFile(const char* path, const media_file_format* format, uint32 flags)
    : fPath(path != nullptr ? path : "") {
    if (format == nullptr || path == nullptr) {
        fInitStatus = B_BAD_VALUE;
        return;
    }
    fFormat = *format;
    const AVOutputFormat* muxer = muxerFor(*format);
    if (muxer == nullptr) {
        fInitStatus = B_MEDIA_BAD_FORMAT;
        return;
    }
    fOutput = std::make_unique<OutputFile>(
        fPath, (flags & kMediaFileReplace) ? ExistingFile::kReplace : ExistingFile::kRefuse);
    if (status_t status = fOutput->InitCheck(); status != B_OK) {
        fInitStatus = status;
        return;
    }
    AVFormatContext* context = nullptr;
    // The name is only the muxer's label for the file: the file itself is OutputFile's.
    int error = avformat_alloc_output_context2(&context, muxer, nullptr, path);
    if (error < 0) {
        fInitStatus = avStatus("avformat_alloc_output_context2", error);
        return;
    }
    fContext.reset(context);
    fContext->flags |= AVFMT_FLAG_CUSTOM_IO;
    fContext->max_interleave_delta = kMaxInterleaveDelta;
    fInitStatus = B_OK;
}

MediaFile::~MediaFile() {
    CloseFile();
}

MediaTrack* MediaFile::CreateTrack(const media_format* input, const media_codec_info* codec,
                                   uint32 /*flags*/) {
    if (fInitStatus != B_OK || fState != State::Created || input == nullptr || codec == nullptr)
        return nullptr;
    const AVCodec* encoder = encoderFor(*codec);
    if (encoder == nullptr)
        return nullptr;
    int answer = avformat_query_codec(fContext->oformat, encoder->id, FF_COMPLIANCE_NORMAL);
    if (answer == 0)
        return nullptr;

    media_codec_info info = *codec;
    std::unique_ptr<MediaTrack> track(new MediaTrack(this, *input, info));
    if (track->Init(encoder, fContext->oformat) != B_OK)
        return nullptr;
    fTracks.push_back(std::move(track));
    return fTracks.back().get();
}

MediaTrack* MediaFile::TrackAt(int32 index) const {
    if (index < 0 || index >= CountTracks())
        return nullptr;
    return fTracks[index].get();
}

status_t MediaFile::CommitHeader() {
    if (fInitStatus != B_OK)
        return fInitStatus;
    if (fState != State::Created)
        return B_NOT_ALLOWED;
    if (fTracks.empty())
        return B_MEDIA_BAD_FORMAT;
    bool globalHeader = fContext->oformat->flags & AVFMT_GLOBALHEADER;
    for (const auto& track : fTracks) {
        AVStream* stream = avformat_new_stream(fContext.get(), nullptr);
        if (stream == nullptr)
            return B_NO_MEMORY;
        if (status_t status = track->Open(stream, globalHeader); status != B_OK)
            return status;
    }

    // Only now, with every encoder open, does the file come into being.
    if (status_t status = fOutput->Open(&fContext->pb); status != B_OK)
        return status;
    AVDictionary* options = nullptr;
    if (writesFragments(fContext->oformat))
        // delay_moov: the index goes out with the first fragment, when every track's first
        // time is known, so that the edit lists can put a B-frame encoder's delayed start and
        // the audio encoder's priming where they belong (with the index written first, each
        // track would start at its own first decode time, and the picture would lag).
        av_dict_set(&options, "movflags", "frag_keyframe+delay_moov+default_base_moof", 0);
    int error = avformat_write_header(fContext.get(), &options);
    av_dict_free(&options);
    if (error < 0)
        return avStatus("avformat_write_header", error);
    avio_flush(fContext->pb);
    if (status_t status = fOutput->Error(); status != B_OK)
        return status;
    if (status_t status = fOutput->Publish(); status != B_OK)
        return status;
    fOutput->MarkComplete();
    fLastFlush = system_time();
    fHeaderTime = fLastFlush;
    fStreamsWritten.assign(fTracks.size(), false);
    fStreamsWaiting = fTracks.size();
    fState = State::Writing;
    StartSync();
    return B_OK;
}

status_t MediaFile::WriteError() const {
    return fOutput ? fOutput->Error() : B_OK;
}

int64 MediaFile::BytesWritten() const {
    return fOutput ? fOutput->BytesWritten() : 0;
}

void MediaFile::StartSync() {
    fSyncing = true;
    fSyncThread = spawnThread("file sync", [this] {
        std::unique_lock<std::mutex> lock(fSyncLock);
        while (fSyncing) {
            fSyncWake.wait_for(lock, std::chrono::microseconds(kSyncInterval));
            if (!fSyncing)
                break;
            // A failed sync is a write error: the writers see it at their next write.
            lock.unlock();
            fOutput->Sync();
            lock.lock();
        }
    });
}

void MediaFile::StopSync() {
    {
        std::lock_guard<std::mutex> lock(fSyncLock);
        fSyncing = false;
    }
    fSyncWake.notify_all();
    if (fSyncThread.joinable())
        fSyncThread.join();
}

status_t MediaFile::WritePacket(AVPacket* packet, const AVCodecContext* encoder, AVStream* stream) {
    std::lock_guard<std::mutex> lock(fMuxLock);
    if (fState != State::Writing)
        return B_NOT_ALLOWED;
    if (status_t status = fOutput->Error(); status != B_OK)
        return status;
    av_packet_rescale_ts(packet, encoder->time_base, stream->time_base);
    packet->stream_index = stream->index;
    if (size_t index = size_t(stream->index);
        index < fStreamsWritten.size() && !fStreamsWritten[index]) {
        fStreamsWritten[index] = true;
        fStreamsWaiting--;
    }
    int error = av_interleaved_write_frame(fContext.get(), packet);
    if (error < 0)
        return avStatus("av_interleaved_write_frame", error);
    if (system_time() - fLastFlush >= kFlushInterval)
        FlushToDisk();
    // Each packet the muxer writes out flushes the context's buffer: what is in the file now
    // ends on a whole packet.
    if (fContext->pb->buf_ptr == fContext->pb->buffer)
        fOutput->MarkComplete();
    return fOutput->Error();
}

// Pushes what the muxer holds (a matroska cluster, an mp4 fragment) and the file's buffer to
// the kernel, so that it survives the end of the process.
void MediaFile::FlushToDisk() {
    // The muxer's own flush cuts a fragment; before every stream has begun, the first fragment
    // would fix the start of the file without the streams still to come.
    const bool streamsBegun =
        fStreamsWaiting == 0 || system_time() - fHeaderTime >= kFirstFlushWait;
    if (streamsBegun && (fContext->oformat->flags & AVFMT_ALLOW_FLUSH)) {
        // The first cut fixes where each stream starts: the packets the interleaver still
        // holds (a stream's first ones among them) go to the muxer before it.
        if (!fFirstCutDone)
            av_interleaved_write_frame(fContext.get(), nullptr);
        fFirstCutDone = true;
        av_write_frame(fContext.get(), nullptr);
    }
    if (fContext->pb != nullptr)
        avio_flush(fContext->pb);
    fLastFlush = system_time();
}

status_t MediaFile::CloseFile() {
    if (fState == State::Closed || !fContext)
        return fCloseStatus;
    bool headerWritten = fState == State::Writing;
    status_t status = B_OK;
    if (headerWritten) {
        for (const auto& track : fTracks) {
            status_t flushed = track->Flush();
            if (status == B_OK)
                status = flushed;
        }
    }
    StopSync();
    std::lock_guard<std::mutex> lock(fMuxLock);
    fState = State::Closed;
    if (headerWritten) {
        int error = av_write_trailer(fContext.get());
        if (error < 0 && status == B_OK)
            status = avStatus("av_write_trailer", error);
    }
    // The first write error is the cause of any later failure: it is the one reported.
    status_t closed = fOutput ? fOutput->Close() : B_OK;
    if (closed != B_OK)
        status = closed;
    fContext->pb = nullptr;
    fCloseStatus = status;
    return status;
}
