// Feeds arbitrary bytes to the readers of stored formats and settings. The first byte picks
// the mode: even, the rest is one flattened format record; odd, the rest is a whole settings
// file. Whatever is accepted must write back and read back to the same values.

#include <cstring>
#include <memory>
#include <vector>

#include "app/records/TavroSettings.h"
#include "support/Message.h"
#include "tests/TempConfigDir.h"

// Made before gSettings. Every load and save fails at once and no input ever touches a disk:
// the settings objects made per input would otherwise write (and fsync) a file when destroyed.
static __attribute__((init_priority(101)))
TempConfigDir gConfigDir("tavro-fuzz", TempConfigDir::kUnusable);

namespace {

#define CHECK(condition)      \
    do {                      \
        if (!(condition))     \
            __builtin_trap(); \
    } while (false)

bool sameParameter(const Parameter& a, const Parameter& b) {
    return a.id == b.id && a.data == b.data;
}

// A flatten and unflatten reverses the parameter lists.
bool sameReversed(const ParameterList& a, const ParameterList& b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); i++) {
        if (!sameParameter(a[i], b[b.size() - 1 - i]))
            return false;
    }
    return true;
}

bool sameBits(float a, float b) {
    return std::memcmp(&a, &b, sizeof(float)) == 0;
}

bool sameFormat(const FormatSetting& a, const FormatSetting& b) {
    return a.name == b.name && a.fileFormat == b.fileFormat && a.videoEncoder == b.videoEncoder &&
           a.audioEncoder == b.audioEncoder && a.videoWidth == b.videoWidth &&
           a.videoHeight == b.videoHeight && a.colorSpace == b.colorSpace &&
           sameBits(a.videoQuality, b.videoQuality) && sameBits(a.audioQuality, b.audioQuality) &&
           a.audioFrameRate == b.audioFrameRate && a.audioChannels == b.audioChannels &&
           sameReversed(a.videoParameters, b.videoParameters) &&
           sameReversed(a.audioParameters, b.audioParameters);
}

void fuzzFormat(const uint8* data, size_t size) {
    FormatSetting format(nullptr);
    if (format.Unflatten(kFormatSettingType, data, ssize_t(size)) != B_OK)
        return;
    std::vector<uint8> bytes(format.FlattenedSize());
    CHECK(format.Flatten(bytes.data(), ssize_t(bytes.size()) - 1) == B_ERROR);
    CHECK(format.Flatten(bytes.data(), ssize_t(bytes.size())) == B_OK);

    FormatSetting copy(nullptr);
    CHECK(copy.Unflatten(kFormatSettingType, bytes.data(), ssize_t(bytes.size())) == B_OK);
    CHECK(sameFormat(format, copy));
    CHECK(copy.Unflatten(kSettingsWhat, data, ssize_t(size)) == B_ERROR);
    CHECK(sameFormat(format, copy));
}

// A settings object with nothing loaded: its constructor's load failed and the default
// format is dropped, so LoadFrom alone decides the list.
std::unique_ptr<TavroSettings> emptySettings() {
    auto settings = std::make_unique<TavroSettings>();
    settings->formats.clear();
    return settings;
}

bool sameSettings(const TavroSettings& a, const TavroSettings& b) {
    if (a.formats.size() != b.formats.size())
        return false;
    for (size_t i = 0; i < a.formats.size(); i++) {
        if (!sameFormat(*a.formats[i], *b.formats[i]))
            return false;
    }
    return a.tavroFrame == b.tavroFrame && a.formatFrame == b.formatFrame &&
           a.videoFrame == b.videoFrame && a.audioFrame == b.audioFrame &&
           a.videoSettingsFrame == b.videoSettingsFrame &&
           a.audioSettingsFrame == b.audioSettingsFrame &&
           a.videoEncoderFrame == b.videoEncoderFrame &&
           a.audioEncoderFrame == b.audioEncoderFrame && a.showVideo == b.showVideo &&
           a.showAudio == b.showAudio && a.showTimer == b.showTimer && a.timer == b.timer &&
           a.showTVControls == b.showTVControls && a.fileName == b.fileName &&
           a.lastFormat == b.lastFormat;
}

void fuzzSettings(const uint8* data, size_t size) {
    Message message;
    if (message.Unflatten(data, size) != B_OK)
        return;
    std::unique_ptr<TavroSettings> loaded = emptySettings();
    if (loaded->LoadFrom(message) == B_OK) {
        CHECK(loaded->lastFormat == 0 || size_t(loaded->lastFormat) < loaded->formats.size());
        // Widened frames are the minimum width up to float rounding (frames stay within a
        // million pixels, where a float's step is at most 1/16).
        CHECK(loaded->tavroFrame.Width() >= 360 - 0.125f);
        CHECK(loaded->formatFrame.Width() >= 460 - 0.125f);

        Message saved;
        loaded->SaveTo(&saved);
        std::vector<uint8> bytes;
        CHECK(saved.Flatten(&bytes) == B_OK);
        Message reread;
        CHECK(reread.Unflatten(bytes.data(), bytes.size()) == B_OK);
        std::unique_ptr<TavroSettings> again = emptySettings();
        CHECK(again->LoadFrom(reread) == B_OK);
        CHECK(sameSettings(*loaded, *again));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    if (data[0] % 2 == 0)
        fuzzFormat(data + 1, size - 1);
    else
        fuzzSettings(data + 1, size - 1);
    return 0;
}
