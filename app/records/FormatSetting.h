#pragma once
// One named recording format: file format, encoders, picture size and colour space, qualities,
// audio rate and channels, and the saved encoder parameters. Stored in the settings file as a
// flattened 'Tfmt' record (big-endian, no header; see FormatSetting.cpp). Lists show it by its
// name; the widgets that do so live in ui/, not here.

#include <memory>
#include <string>
#include <vector>

#include "app/records/Parameter.h"
#include "media/MediaFormat.h"
#include "support/Flattenable.h"

constexpr type_code kFormatSettingType = fourcc("Tfmt");

class FormatSetting : public Flattenable {
public:
    // A null name leaves the name empty (the settings loader unflattens into such objects).
    explicit FormatSetting(const char* name);
    ~FormatSetting() override = default;
    FormatSetting(const FormatSetting&) = delete;
    FormatSetting& operator=(const FormatSetting&) = delete;

    // The text a list shows: the name.
    const char* Text() const { return name.c_str(); }

    // The setters take a null text as "".
    void SetName(const char* name);
    // Short names of an FFmpeg muxer and encoders ("avi", "mpeg4", "raw-video", ...).
    void SetFileFormat(const char* shortName);
    void SetVideoEncoder(const char* shortName);
    void SetAudioEncoder(const char* shortName);
    void SetVideoParameters(const ParameterWeb* web);
    void SetAudioParameters(const ParameterWeb* web);

    // B_OK when the values can be recorded: picture 1..kMaxVideoSize each way, a known colour
    // space, a frame divisor 1..100, qualities 0..1 and, with an audio encoder, 1000..384000 Hz
    // and 1 or 2 channels. Otherwise B_BAD_VALUE and, in `problem`, which value and why.
    status_t CheckRecordable(std::string* problem) const;
    static constexpr int32 kMaxVideoSize = 4096;

    // Orders by name, case-insensitively; arguments point to FormatSetting*. A null item, then
    // an empty name, sorts after a named one.
    static int CompareFunc(const void* a, const void* b);

    type_code TypeCode() const override { return kFormatSettingType; }
    bool IsFixedSize() const override { return false; }
    ssize_t FlattenedSize() const override;
    status_t Flatten(void* buffer, ssize_t size) const override;
    status_t Unflatten(type_code code, const void* buffer, ssize_t size) override;

    std::string name;
    std::string fileFormat = "avi";
    std::string videoEncoder = "raw-video";
    int32 videoWidth = 384;
    int32 videoHeight = 288;
    int32 colorSpace = B_RGB32;
    // The recorded frame rate is the input's divided by this; never flattened.
    int32 frameDivisor = 1;
    float videoQuality = 0;
    ParameterList videoParameters;
    std::string audioEncoder = "raw-audio";  // empty: no sound is recorded
    int32 audioFrameRate = 44100;
    uint8 audioChannels = 2;
    uint8 audioSampleBits = 16;
    float audioQuality = 0;
    ParameterList audioParameters;
};

// A list that owns its formats.
using FormatList = std::vector<std::unique_ptr<FormatSetting>>;
