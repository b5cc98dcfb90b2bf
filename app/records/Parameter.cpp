#include "app/records/Parameter.h"

namespace {

// Encoder parameters are small values (an int32 item, a float per channel, a short text);
// anything that does not fit is not snapshotted.
constexpr size_t kMaxValueSize = 128;

}  // namespace

Parameter::Parameter(int32 parameterId, const void* value, size_t size)
    : id(parameterId),
      data(static_cast<const uint8*>(value), static_cast<const uint8*>(value) + size) {}

Parameter::Parameter(const MediaParameter* parameter) {
    if (parameter == nullptr)
        return;

    uint8 value[kMaxValueSize];
    size_t valueSize = sizeof(value);
    bigtime_t lastChange = 0;
    if (parameter->GetValue(value, &valueSize, &lastChange) < 0)
        return;
    // A Controllable that reports more than it was given room for has not written a value
    // we could trust.
    if (valueSize > sizeof(value))
        return;
    id = parameter->ID();
    data.assign(value, value + valueSize);
}

void updateParameters(ParameterList* list, const ParameterWeb* web) {
    if (list == nullptr)
        return;
    list->clear();
    if (web == nullptr)
        return;
    list->reserve(size_t(web->CountParameters()));
    for (int32 i = web->CountParameters() - 1; i >= 0; i--)
        list->emplace_back(web->ParameterAt(i));
}
