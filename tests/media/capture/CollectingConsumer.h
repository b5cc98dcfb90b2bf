#pragma once
// Capture test helpers. A consumer for tests: one input of the type given, takes any format of that
// type, keeps a copy of every buffer it receives (header, bytes, whether the buffer was one of its
// own) and lets the test wait for a number of them. It can hand its own buffer group to the
// producer.

#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "media/node/BufferGroup.h"
#include "media/node/MediaConnection.h"
#include "support/Clock.h"

struct ReceivedBuffer {
    media_header header;
    std::vector<uint8> data;
    bool own = false;       // from the consumer's own group
    bigtime_t arrival = 0;  // system_time() when BufferReceived ran
    bool started = false;   // the node was started when it arrived
};

class CollectingConsumer : public MediaConsumer {
public:
    explicit CollectingConsumer(media_type type, const char* name = "Collector")
        : MediaConsumer(name, type) {
        fInput.node = this;
        fInput.destination = {this, 0};
        fInput.format.type = type;
        fInput.name = name;
        Run();
    }
    ~CollectingConsumer() override { Quit(); }

    // The consumer's own buffers for the producer: `count` of `size` bytes.
    std::shared_ptr<BufferGroup> MakeGroup(size_t size, int32 count) {
        fOwnGroup = std::make_shared<BufferGroup>(size, count);
        return fOwnGroup;
    }
    void KeepData(bool keep) { fKeepData = keep; }
    // Refuse formats with AcceptFormat (B_MEDIA_BAD_FORMAT).
    void RefuseFormats(bool refuse) { fRefuse = refuse; }

    media_input Input() {
        std::lock_guard lock(fLock);
        return fInput;
    }

    // Waits until `count` buffers have arrived or `timeout` µs have passed; the count then.
    size_t WaitForBuffers(size_t count, bigtime_t timeout) {
        std::unique_lock lock(fLock);
        fArrived.wait_for(lock, std::chrono::microseconds(timeout),
                          [&] { return fBuffers.size() >= count; });
        return fBuffers.size();
    }
    bool WaitForDataStatus(bigtime_t timeout) {
        std::unique_lock lock(fLock);
        return fArrived.wait_for(lock, std::chrono::microseconds(timeout),
                                 [&] { return fDataStatus != B_OK; });
    }
    std::vector<ReceivedBuffer> Buffers() {
        std::lock_guard lock(fLock);
        return fBuffers;
    }
    status_t DataStatus() {
        std::lock_guard lock(fLock);
        return fDataStatus;
    }
    // The order of B_START, B_STOP, buffer (by sequence) and data-status events handled.
    std::vector<std::string> Events() {
        std::lock_guard lock(fLock);
        return fEvents;
    }

    status_t AcceptFormat(const media_destination& destination, media_format* format) override {
        if (destination != fInput.destination)
            return B_MEDIA_BAD_DESTINATION;
        if (fRefuse || format->type != Type())
            return B_MEDIA_BAD_FORMAT;
        return B_OK;
    }
    status_t GetNextInput(int32* cookie, media_input* input) override {
        if (*cookie != 0)
            return B_BAD_INDEX;
        std::lock_guard lock(fLock);
        *input = fInput;
        (*cookie)++;
        return B_OK;
    }
    status_t Connected(const media_source& source, const media_destination&,
                       const media_format& format, media_input* input) override {
        std::lock_guard lock(fLock);
        fInput.source = source;
        fInput.format = format;
        *input = fInput;
        return B_OK;
    }
    void Disconnected(const media_source&, const media_destination&) override {
        std::lock_guard lock(fLock);
        fInput.source = {};
    }

protected:
    void HandleEvent(const media_timed_event* event, bigtime_t lateness) override {
        {
            std::lock_guard lock(fLock);
            if (event->type == B_START)
                fEvents.push_back("start");
            else if (event->type == B_STOP)
                fEvents.push_back("stop");
        }
        MediaConsumer::HandleEvent(event, lateness);
    }
    void BufferReceived(MediaBuffer* buffer) override {
        ReceivedBuffer received;
        received.header = *buffer->Header();
        received.arrival = system_time();
        received.started = State() == RunState::Started;
        received.own = fOwnGroup != nullptr && fOwnGroup->FindBuffer(buffer->ID()) == buffer;
        if (fKeepData) {
            const uint8* bytes = static_cast<const uint8*>(buffer->Data());
            received.data.assign(bytes, bytes + buffer->SizeUsed());
        }
        buffer->Recycle();
        std::lock_guard lock(fLock);
        fEvents.push_back("buffer " + std::to_string(received.header.sequence));
        fBuffers.push_back(std::move(received));
        fArrived.notify_all();
    }
    void ProducerDataStatus(MediaProducer*, status_t status, bigtime_t) override {
        std::lock_guard lock(fLock);
        fEvents.push_back("status");
        fDataStatus = status;
        fArrived.notify_all();
    }

private:
    std::mutex fLock;  // guards fInput, fBuffers, fEvents, fDataStatus
    std::condition_variable fArrived;
    media_input fInput;
    std::vector<ReceivedBuffer> fBuffers;
    std::vector<std::string> fEvents;
    status_t fDataStatus = B_OK;
    std::shared_ptr<BufferGroup> fOwnGroup;  // set before connecting, read on the event thread
    bool fKeepData = true;
    bool fRefuse = false;
};

// Connects `producer`'s free output to `consumer` with `format`; the connected format back.
inline status_t connectNodes(MediaProducer* producer, CollectingConsumer* consumer,
                             media_format* format) {
    media_output output;
    int32 count = 0;
    status_t status = GetFreeOutputsFor(producer, &output, 1, &count);
    if (status != B_OK || count != 1)
        return status != B_OK ? status : B_MEDIA_BAD_SOURCE;
    media_input input = consumer->Input();
    return Connect(output.source, input.destination, format, &output, &input);
}

// Raw video of `space` at width x height; everything else a wildcard.
inline media_format rawVideo(color_space space, uint32 width, uint32 height) {
    media_format format;
    format.type = B_MEDIA_RAW_VIDEO;
    format.raw_video.display.format = space;
    format.raw_video.display.line_width = width;
    format.raw_video.display.line_count = height;
    return format;
}
