#include "engine/SingleInputConsumer.h"

#include "engine/PreviewSinks.h"

template <typename Sink>
SingleInputConsumer<Sink>::SingleInputConsumer(int32 internalId, const char* name, media_type type,
                                               int32 destinationId, const char* inputName,
                                               bigtime_t latency, int priority, Sink* view)
    : MediaConsumer(name, type),
      fView(view),
      fInternalID(internalId),
      fType(type),
      fDestinationID(destinationId),
      fInputName(inputName),
      fLatency(latency) {
    SetEventLatency(0);
    SetRealtimePriority(priority);
}

template <typename Sink>
status_t SingleInputConsumer<Sink>::NodeRegistered() {
    {
        std::lock_guard lock(fInputLock);
        fInput.node = this;
        fInput.destination = {this, fDestinationID};
        fInput.source = {};
        fInput.format = media_format{};
        fInput.format.type = fType;
        fInput.name = fInputName;
    }
    return Run();
}

template <typename Sink>
void SingleInputConsumer<Sink>::SetView(Sink* view) {
    std::lock_guard lock(fViewLock);
    fView = view;
    ViewChanged();
    ShowStopNotice();
}

template <typename Sink>
void SingleInputConsumer<Sink>::ShowStopNotice() {
    if (const std::string notice = fRecord.StopNotice(); fView != nullptr && !notice.empty())
        fView->InputStopped(notice);
}

template <typename Sink>
void SingleInputConsumer<Sink>::SetInputStoppedHandler(RecordPath::InputStoppedHandler handler) {
    fRecord.SetInputStoppedHandler(std::move(handler));
}

template <typename Sink>
media_format SingleInputConsumer<Sink>::ConnectedFormat() {
    std::lock_guard lock(fInputLock);
    return fInput.format;
}

// --- Events ---

template <typename Sink>
void SingleInputConsumer<Sink>::HandleEvent(const media_timed_event* event, bigtime_t lateness) {
    switch (event->type) {
        case B_STOP:
            FlushEvents(B_HANDLE_BUFFER);
            break;
        case B_START:
            break;
        default:
            MediaConsumer::HandleEvent(event, lateness);
            break;
    }
}

template <typename Sink>
void SingleInputConsumer<Sink>::BufferReceived(MediaBuffer* buffer) {
    if (State() == RunState::Started)
        ReceiveBuffer(buffer);
    buffer->Recycle();
}

template <typename Sink>
void SingleInputConsumer<Sink>::ProducerDataStatus(MediaProducer* producer, status_t status,
                                                   bigtime_t) {
    fRecord.InputStopped(producer != nullptr ? producer->Name() : Name(), status);
    std::lock_guard lock(fViewLock);
    ShowStopNotice();
}

// --- Connection hooks ---

template <typename Sink>
status_t SingleInputConsumer<Sink>::GetNextInput(int32* cookie, media_input* input) {
    if (*cookie != 0)
        return B_BAD_INDEX;
    std::lock_guard lock(fInputLock);
    // A free input takes any format of its type again, whatever the last connection had.
    if (fInput.source.IsNull()) {
        fInput.format = media_format{};
        fInput.format.type = fType;
    }
    *input = fInput;
    *cookie = 1;
    return B_OK;
}

template <typename Sink>
void SingleInputConsumer<Sink>::DisposeInputCookie(int32) {}

template <typename Sink>
status_t SingleInputConsumer<Sink>::Connected(const media_source& source,
                                              const media_destination& destination,
                                              const media_format& format, media_input* input) {
    {
        std::lock_guard lock(fInputLock);
        if (!fInput.source.IsNull() || !IsInput(destination))
            return B_MEDIA_BAD_DESTINATION;
        fInput.source = source;
        fInput.format = format;
        *input = fInput;
    }
    InputConnected(format);
    return B_OK;
}

template <typename Sink>
void SingleInputConsumer<Sink>::Disconnected(const media_source& source,
                                             const media_destination& destination) {
    {
        std::lock_guard lock(fInputLock);
        if (source != fInput.source || !IsInput(destination))
            return;
        fInput.source = {};
    }
    InputDisconnected();
}

template <typename Sink>
status_t SingleInputConsumer<Sink>::GetLatencyFor(const media_destination& destination,
                                                  bigtime_t* latency) {
    std::lock_guard lock(fInputLock);
    if (!IsInput(destination))
        return B_MEDIA_BAD_DESTINATION;
    *latency = fLatency;
    return B_OK;
}

template class SingleInputConsumer<VideoFrameSink>;
template class SingleInputConsumer<AudioBlockSink>;
