#pragma once
// A saved value of one parameter of an encoder's web: its id and a copy of its raw bytes.
// A recording format keeps a list of them per encoder and the output file applies them.

#include <vector>

#include "media/ParameterWeb.h"

class Parameter {
public:
    Parameter() = default;
    Parameter(int32 parameterId, const void* value, size_t size);
    // Reads the parameter's value (at most 128 bytes). A value that cannot be read, or is
    // larger, leaves an empty snapshot (id 0, no data).
    explicit Parameter(const MediaParameter* parameter);

    int32 id = 0;
    std::vector<uint8> data;  // the value's bytes; empty when there is none
};

using ParameterList = std::vector<Parameter>;

// Replaces `list` with one snapshot of every parameter of `web`, walking it from its last
// parameter to its first; a null web leaves the list empty.
void updateParameters(ParameterList* list, const ParameterWeb* web);
