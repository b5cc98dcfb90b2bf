#pragma once
// The base of Tavro's media nodes, and the vocabulary of their connections.
//
// A producer (MediaProducer: a V4L2 device, an ALSA PCM, the test signal) has one output; a
// consumer (MediaConsumer: the engine's video and audio nodes) has inputs of its own. A
// connection joins a media_source (the producer's output) to a media_destination (a
// consumer's input) with one media_format. Nodes are referred to by plain pointers: the
// engine (or the roster, for the inputs) owns them and keeps them alive while connected.
//
// One clock for everything: CLOCK_MONOTONIC in microseconds (system_time()). "Performance
// time" and "real time" are the same number, so a node needs no time source of its own.
//
// Every node is also the Controllable of its parameter web: GetParameterWeb() builds a fresh
// web (the caller owns it) whose values are read and written through the node. The node must
// outlive the webs it made. Parameter reads and writes may come from any thread; a node with
// parameters guards its values itself.

#include <atomic>
#include <memory>
#include <string>

#include "media/MediaFormat.h"
#include "media/ParameterWeb.h"
#include "support/Status.h"

class MediaConsumer;
class MediaProducer;

// A producer's output. Null (producer == nullptr) means "none".
struct media_source {
    MediaProducer* producer = nullptr;
    int32 id = -1;

    bool IsNull() const { return producer == nullptr; }
    friend bool operator==(const media_source&, const media_source&) = default;
};

// A consumer's input. Null (consumer == nullptr) means "none".
struct media_destination {
    MediaConsumer* consumer = nullptr;
    int32 id = -1;

    bool IsNull() const { return consumer == nullptr; }
    friend bool operator==(const media_destination&, const media_destination&) = default;
};

// What a producer offers: a free output has a null destination.
struct media_output {
    MediaProducer* node = nullptr;
    media_source source;
    media_destination destination;
    media_format format;
    std::string name;
};

// What a consumer offers: a free input has a null source.
struct media_input {
    MediaConsumer* node = nullptr;
    media_source source;
    media_destination destination;
    media_format format;
    std::string name;
};

enum class RunState { Stopped, Started };

class MediaNode : public Controllable {
public:
    explicit MediaNode(std::string name);
    ~MediaNode() override;
    MediaNode(const MediaNode&) = delete;
    MediaNode& operator=(const MediaNode&) = delete;

    const std::string& Name() const { return fName; }
    // Unique in the process, never reused.
    int32 ID() const { return fID; }
    RunState State() const { return fRunState.load(); }

    // Starts the node at `when` (system_time(); a time in the past means now).
    virtual status_t Start(bigtime_t when) = 0;
    // Stops the node at `when`; with `synchronous` the call returns only once it has stopped.
    virtual status_t Stop(bigtime_t when, bool synchronous) = 0;

    // A new web describing this node's controls, owned by the caller; nullptr for a node
    // without controls (the default).
    virtual std::unique_ptr<ParameterWeb> GetParameterWeb();

    // Controllable; the defaults answer B_BAD_VALUE (no such parameter).
    status_t GetParameterValue(int32 id, bigtime_t* lastChange, void* value, size_t* size) override;
    status_t SetParameterValue(int32 id, bigtime_t when, const void* value, size_t size) override;

protected:
    void SetRunState(RunState state) { fRunState.store(state); }

private:
    const std::string fName;
    const int32 fID;
    std::atomic<RunState> fRunState{RunState::Stopped};
};
