#pragma once
// One input of the engine's graph: the producer the roster found, the engine's consumer node
// it feeds, the two ends of their connection and the preview sink the node draws into. The
// engine has one for the picture and one for the sound; what the two do alike is done here.
//
// Threads: the control thread only (the consumer guards what its own threads share).

#include <memory>
#include <string>

#include "engine/PreviewSinks.h"
#include "media/node/MediaConnection.h"
#include "media/roster/MediaRoster.h"

template <typename Consumer, typename Sink>
struct InputStream {
    std::shared_ptr<MediaProducer> producer;
    std::unique_ptr<Consumer> consumer;
    media_output output;
    media_input input;
    Sink* sink = nullptr;
    bool connected = false;
    // The producer is the built-in test signal run unpaced (TavroOptions::pacedTestSignal).
    bool unpaced = false;

    // The connection was made, or not: the sink shows the stream, or the notice that it could
    // not connect.
    void SetConnected(bool isConnected) {
        connected = isConnected;
        if (sink != nullptr)
            sink->SetEnabled(connected);
    }

    // Breaks the connection between producer and consumer (nothing when there is none).
    void Disconnect() { ::Disconnect(output.source, input.destination); }

    // Gives the producer back to the roster.
    void ReleaseProducer(MediaRoster& roster) {
        if (producer == nullptr)
            return;
        roster.ReleaseNode(producer.get());
        producer.reset();
    }

    // Stops the consumer (when the graph runs), calls `beforeDisconnect`, disconnects, gives
    // the producer back and deletes the consumer. Nothing without a consumer.
    template <typename BeforeDisconnect>
    void TearDown(MediaRoster& roster, bool running, BeforeDisconnect beforeDisconnect) {
        if (consumer == nullptr)
            return;
        if (running)
            consumer->Stop(0, true);
        beforeDisconnect();
        Disconnect();
        ReleaseProducer(roster);
        consumer.reset();
    }

    // Opens the preview (show) through `open(host)`, which returns the sink or nullptr, unless
    // one is open; or closes it through `close(host)`. Nothing without a host.
    template <typename Open, typename Close>
    void Show(bool show, PreviewHost* host, Open open, Close close) {
        if (!show) {
            if (sink != nullptr) {
                SinkGone();
                if (host != nullptr)
                    close(*host);
            }
            return;
        }
        if (sink != nullptr || host == nullptr)
            return;
        sink = open(*host);
        if (sink == nullptr)
            return;
        sink->SetEnabled(connected);
        if (consumer != nullptr)
            consumer->SetView(sink);
    }

    // The preview is closing: the consumer stops feeding the sink before this returns.
    void SinkGone() {
        if (consumer != nullptr)
            consumer->SetView(nullptr);
        sink = nullptr;
    }

    // B_OK while the producer delivers; else the error its stream ended with and, in
    // `*notice` (when given and there is a consumer), the words for it.
    status_t Stopped(std::string* notice) const {
        const status_t ended = producer != nullptr ? producer->StreamStatus() : B_OK;
        if (ended != B_OK && consumer != nullptr && notice != nullptr)
            *notice = consumer->StoppedNotice();
        return ended;
    }
};
