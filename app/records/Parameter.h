#pragma once
// A saved value of one parameter of an encoder's web: its id and a copy of its raw bytes.
// A recording format keeps a list of them per encoder and the output file applies them.

#include <vector>

#include "media/ParameterWeb.h"

class Parameter {
public:
    Parameter() = default;
    // Reads the parameter's value (at most 128 bytes). A value that cannot be read, or is
    // larger, leaves an empty snapshot (id 0, no data).
    explicit Parameter(const MediaParameter* parameter);
    ~Parameter();
    Parameter(const Parameter&) = delete;
    Parameter& operator=(const Parameter&) = delete;

    int32 id = 0;
    void* data = nullptr;  // malloc'ed, owned; null when empty
    int32 size = 0;
};

using ParameterList = std::vector<Parameter*>;

// Empties `list` (deleting its snapshots, last to first) and, when `web` is non-null, takes one
// snapshot of every parameter of the web, walking it from its last parameter to its first.
void updateParameters(ParameterList* list, const ParameterWeb* web);
// Deletes every snapshot in `list` (last to first) and empties it.
void deleteParameters(ParameterList* list);
