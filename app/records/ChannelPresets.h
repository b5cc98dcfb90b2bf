#pragma once
// Channel names that another TV program, korvant, keeps: its presets live not in the data of
// its preferences file "korvant.preferences" (in the user's settings directory) but in the
// file's extended attribute "user.FullPresets", whose whole content is a flattened Message
// with `what` 'Pref' holding up to 38 presets as parallel fields: string "n" (the name) and
// int32 "c" (the channel number) at the same index, 0 to 37. Tavro only reads them.
//
// The attribute is another program's data, so it is untrusted: every read is bounds-checked
// (fuzz/ChannelPresetsFuzzer.cpp).

#include <string>
#include <vector>

#include "support/Status.h"
#include "support/Types.h"

struct ChannelPreset {
    std::string name;
    int32 channel = 0;

    friend bool operator==(const ChannelPreset&, const ChannelPreset&) = default;
};

constexpr uint32 kKorvantPresetsWhat = fourcc("Pref");
// Presets are read at these indices only; more entries are ignored.
constexpr int32 kKorvantPresetCount = 38;
extern const char* const kKorvantPreferencesName;
extern const char* const kKorvantPresetsAttribute;

// The presets in index order from the attribute's bytes. A preset without a name or a channel,
// or with a negative channel, is skipped (a gap, not the end). B_ERROR when the bytes are not
// a flattened 'Pref' message; `presets` is then left empty.
status_t ParseKorvantPresets(const void* data, size_t size, std::vector<ChannelPreset>* presets);

// Reads the attribute of the file at `path`: the open error (negative errno) when the file
// cannot be opened, B_ENTRY_NOT_FOUND without the attribute, B_ERROR when it cannot be read
// whole or is not a 'Pref' message.
status_t ReadKorvantPresets(const std::string& path, std::vector<ChannelPreset>* presets);

// "korvant.preferences" in the settings directory (created if missing, as the other program
// expects it); B_ENTRY_NOT_FOUND when no settings directory can be named.
status_t KorvantPreferencesPath(std::string* path);
