#include "media/node/MediaConnection.h"

status_t GetFreeOutputsFor(MediaProducer* producer, media_output* outputs, int32 max, int32* count,
                           media_type type) {
    if (producer == nullptr || count == nullptr || (max > 0 && outputs == nullptr))
        return B_BAD_VALUE;
    *count = 0;
    int32 cookie = 0;
    media_output output;
    while (*count < max && producer->GetNextOutput(&cookie, &output) == B_OK) {
        if (!output.destination.IsNull())
            continue;
        if (type != B_MEDIA_UNKNOWN_TYPE && output.format.type != type)
            continue;
        outputs[(*count)++] = output;
    }
    return B_OK;
}

status_t GetFreeInputsFor(MediaConsumer* consumer, media_input* inputs, int32 max, int32* count,
                          media_type type) {
    if (consumer == nullptr || count == nullptr || (max > 0 && inputs == nullptr))
        return B_BAD_VALUE;
    *count = 0;
    int32 cookie = 0;
    media_input input;
    while (*count < max && consumer->GetNextInput(&cookie, &input) == B_OK) {
        if (!input.source.IsNull())
            continue;
        if (type != B_MEDIA_UNKNOWN_TYPE && input.format.type != type &&
            input.format.type != B_MEDIA_UNKNOWN_TYPE)
            continue;
        inputs[(*count)++] = input;
    }
    consumer->DisposeInputCookie(cookie);
    return B_OK;
}

status_t Connect(const media_source& source, const media_destination& destination,
                 media_format* format, media_output* output, media_input* input) {
    if (source.IsNull() || source.id != 0)
        return B_MEDIA_BAD_SOURCE;
    if (destination.IsNull())
        return B_MEDIA_BAD_DESTINATION;
    if (format == nullptr)
        return B_BAD_VALUE;
    MediaProducer* producer = source.producer;
    MediaConsumer* consumer = destination.consumer;
    if (producer->IsConnected())
        return B_MEDIA_ALREADY_CONNECTED;
    {
        std::lock_guard lock(producer->fStateLock);
        if (producer->fQuit)
            return B_MEDIA_BAD_SOURCE;
    }

    status_t status = producer->FormatProposal(format);
    if (status != B_OK)
        return status;
    status = consumer->AcceptFormat(destination, format);
    if (status != B_OK)
        return status;
    status = producer->PrepareToConnect(format);
    if (status != B_OK)
        return status;

    media_input connected;
    status = consumer->Connected(source, destination, *format, &connected);
    if (status != B_OK) {
        producer->Disconnected();
        return status;
    }
    {
        std::lock_guard lock(producer->fStateLock);
        producer->fOutput.destination = destination;
        producer->fOutput.format = *format;
    }
    consumer->fConnections.emplace_back(source, destination);
    producer->Connected(*format);
    if (output != nullptr)
        *output = producer->Output();
    if (input != nullptr)
        *input = connected;
    producer->UpdateCapture();
    return B_OK;
}

status_t Disconnect(const media_source& source, const media_destination& destination) {
    if (source.IsNull())
        return B_MEDIA_BAD_SOURCE;
    if (destination.IsNull())
        return B_MEDIA_BAD_DESTINATION;
    MediaProducer* producer = source.producer;
    media_output output = producer->Output();
    if (output.source != source)
        return B_MEDIA_BAD_SOURCE;
    if (output.destination != destination)
        return B_MEDIA_NOT_CONNECTED;

    producer->JoinCapture();
    destination.consumer->DropBuffersFrom(producer);
    {
        std::lock_guard lock(producer->fStateLock);
        producer->fOutput.destination = {};
    }
    if (producer->fConsumerBuffers != nullptr)
        producer->BufferGroupChanged(nullptr);
    producer->Disconnected();
    {
        std::lock_guard lock(producer->fStateLock);
        producer->fConsumerBuffers.reset();
    }
    auto& connections = destination.consumer->fConnections;
    std::erase(connections, std::make_pair(source, destination));
    destination.consumer->Disconnected(source, destination);
    return B_OK;
}

status_t SetOutputBuffersFor(const media_source& source, const media_destination& destination,
                             std::shared_ptr<BufferGroup> group) {
    if (source.IsNull())
        return B_MEDIA_BAD_SOURCE;
    MediaProducer* producer = source.producer;
    if (producer->Output().destination != destination)
        return B_MEDIA_BAD_DESTINATION;
    if (group != nullptr && group->InitCheck() != B_OK)
        return group->InitCheck();

    producer->JoinCapture();
    // Buffers of the old group still queued at the consumer stay valid: the consumer owns
    // that group too and recycles them into it.
    {
        std::lock_guard lock(producer->fStateLock);
        producer->fConsumerBuffers = std::move(group);
    }
    producer->BufferGroupChanged(producer->fConsumerBuffers.get());
    producer->UpdateCapture();
    return B_OK;
}
