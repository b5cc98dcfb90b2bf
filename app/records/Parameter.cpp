#include "app/records/Parameter.h"

#include <cstdlib>
#include <cstring>

namespace {

// Encoder parameters are small values (an int32 item, a float per channel, a short text);
// anything that does not fit is not snapshotted.
constexpr size_t kMaxValueSize = 128;

}  // namespace

Parameter::Parameter(const MediaParameter* parameter) {
    if (parameter == nullptr)
        return;

    char value[kMaxValueSize];
    size_t valueSize = sizeof(value);
    bigtime_t lastChange = 0;
    if (parameter->GetValue(value, &valueSize, &lastChange) < 0)
        return;
    // A Controllable that reports more than it was given room for has not written a value
    // we could trust.
    if (valueSize > sizeof(value))
        return;

    id = parameter->ID();
    size = int32(valueSize);
    if (size == 0)
        return;
    // A failed allocation keeps id and size without data; such a snapshot is skipped when the
    // format is flattened.
    data = std::malloc(valueSize);
    if (data != nullptr)
        std::memcpy(data, value, valueSize);
}

Parameter::~Parameter() {
    std::free(data);
}

void deleteParameters(ParameterList* list) {
    if (list == nullptr)
        return;
    for (auto it = list->rbegin(); it != list->rend(); ++it)
        delete *it;
    list->clear();
}

void updateParameters(ParameterList* list, const ParameterWeb* web) {
    if (list == nullptr)
        return;
    deleteParameters(list);
    if (web == nullptr)
        return;
    for (int32 i = web->CountParameters() - 1; i >= 0; i--)
        list->push_back(new Parameter(web->ParameterAt(i)));
}
