// Feeds arbitrary bytes to ParseKorvantPresets, as another program's attribute could hold
// anything. Whatever it accepts holds at most 38 presets, each named, none negative; and a
// message built from them parses back to the same list.

#include <cstdlib>
#include <vector>

#include "app/records/ChannelPresets.h"
#include "support/Message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<ChannelPreset> presets;
    if (ParseKorvantPresets(data, size, &presets) != B_OK) {
        if (!presets.empty())
            std::abort();
        return 0;
    }
    if (presets.size() > size_t(kKorvantPresetCount))
        std::abort();
    Message rebuilt(kKorvantPresetsWhat);
    for (const ChannelPreset& preset : presets) {
        if (preset.channel < 0)
            std::abort();
        rebuilt.AddString("n", preset.name);
        rebuilt.AddInt32("c", preset.channel);
    }
    std::vector<uint8> flat;
    if (rebuilt.Flatten(&flat) != B_OK)
        std::abort();
    std::vector<ChannelPreset> again;
    if (ParseKorvantPresets(flat.data(), flat.size(), &again) != B_OK || again != presets)
        std::abort();
    return 0;
}
