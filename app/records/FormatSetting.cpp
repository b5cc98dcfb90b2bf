#include "app/records/FormatSetting.h"

#include <strings.h>

#include <cstring>

#include "support/ByteReader.h"

// The flattened form, 'Tfmt'. No header, magic or version; numbers are big-endian, floats
// IEEE-754 single precision, nothing is aligned:
//
//   name, file format, video encoder, audio encoder   each NUL-terminated
//   video width, video height, colour space            int32 each
//   video quality, audio quality                       float each
//   audio frame rate                                   int32
//   audio channels                                     uint8
//   video parameter records, then int32 0
//   audio parameter records, then int32 0
//
// A parameter record is int32 size (never 0), int32 id, then `size` value bytes. Records are
// written from the last snapshot of a list to the first, and read back in file order, so a
// list comes back reversed; users look parameters up by id. The frame divisor and the sample
// bits are not stored.

namespace {

// The 25 bytes between the strings and the parameter records.
constexpr ssize_t kFixedSize = 4 + 4 + 4 + 4 + 4 + 4 + 1;

const char* orEmpty(const char* text) {
    return text != nullptr ? text : "";
}

// Written up to the first NUL: a name that holds one would not read back whole otherwise.
size_t stringSize(const std::string& text) {
    return std::strlen(text.c_str()) + 1;
}

// A snapshot without data (an unreadable value) is not stored: its size field, 0, would end
// the list early.
bool isStored(const Parameter& parameter) {
    return !parameter.data.empty();
}

ssize_t parametersSize(const ParameterList& list) {
    ssize_t size = 4;
    for (const Parameter& parameter : list) {
        if (isStored(parameter))
            size += 8 + ssize_t(parameter.data.size());
    }
    return size;
}

class Writer {
public:
    explicit Writer(uint8* out) : fOut(out) {}

    void String(const std::string& text) {
        size_t size = stringSize(text);
        std::memcpy(fOut, text.c_str(), size);
        fOut += size;
    }
    void Uint32(uint32 value) {
        fOut[0] = uint8(value >> 24);
        fOut[1] = uint8(value >> 16);
        fOut[2] = uint8(value >> 8);
        fOut[3] = uint8(value);
        fOut += 4;
    }
    void Int32(int32 value) { Uint32(uint32(value)); }
    void Float(float value) {
        uint32 bits;
        std::memcpy(&bits, &value, sizeof(bits));
        Uint32(bits);
    }
    void Uint8(uint8 value) { *fOut++ = value; }
    void Bytes(const void* data, size_t size) {
        std::memcpy(fOut, data, size);
        fOut += size;
    }
    void Parameters(const ParameterList& list) {
        for (auto it = list.rbegin(); it != list.rend(); ++it) {
            if (!isStored(*it))
                continue;
            Int32(int32(it->data.size()));
            Int32(it->id);
            Bytes(it->data.data(), it->data.size());
        }
        Int32(0);
    }

private:
    uint8* fOut;
};

bool readParameters(ByteReader* reader, ParameterList* list) {
    while (true) {
        int32 size;
        if (!reader->ReadInt32(&size))
            return false;
        if (size == 0)
            return true;
        int32 id;
        const uint8* bytes;
        if (size < 0 || !reader->ReadInt32(&id) || !reader->ReadBytes(size_t(size), &bytes))
            return false;
        list->emplace_back(id, bytes, size_t(size));
    }
}

}  // namespace

FormatSetting::FormatSetting(const char* formatName) : name(orEmpty(formatName)) {}

void FormatSetting::SetName(const char* newName) {
    name = orEmpty(newName);
}

void FormatSetting::SetFileFormat(const char* shortName) {
    fileFormat = orEmpty(shortName);
}

void FormatSetting::SetVideoEncoder(const char* shortName) {
    videoEncoder = orEmpty(shortName);
}

void FormatSetting::SetAudioEncoder(const char* shortName) {
    audioEncoder = orEmpty(shortName);
}

void FormatSetting::SetVideoParameters(const ParameterWeb* web) {
    updateParameters(&videoParameters, web);
}

void FormatSetting::SetAudioParameters(const ParameterWeb* web) {
    updateParameters(&audioParameters, web);
}

int FormatSetting::CompareFunc(const void* a, const void* b) {
    const FormatSetting* first = *static_cast<const FormatSetting* const*>(a);
    const FormatSetting* second = *static_cast<const FormatSetting* const*>(b);
    // Null items, then unnamed formats, sort after everything else and equal to each other.
    if (first == nullptr || second == nullptr)
        return first == second ? 0 : (first == nullptr ? 1 : -1);
    if (first->name.empty() || second->name.empty())
        return first->name.empty() == second->name.empty() ? 0 : (first->name.empty() ? 1 : -1);
    return strcasecmp(first->name.c_str(), second->name.c_str());
}

ssize_t FormatSetting::FlattenedSize() const {
    return ssize_t(stringSize(name) + stringSize(fileFormat) + stringSize(videoEncoder) +
                   stringSize(audioEncoder)) +
           kFixedSize + parametersSize(videoParameters) + parametersSize(audioParameters);
}

status_t FormatSetting::Flatten(void* buffer, ssize_t size) const {
    if (size < FlattenedSize())
        return B_ERROR;
    if (buffer == nullptr)
        return B_BAD_VALUE;

    Writer writer(static_cast<uint8*>(buffer));
    writer.String(name);
    writer.String(fileFormat);
    writer.String(videoEncoder);
    writer.String(audioEncoder);
    writer.Int32(videoWidth);
    writer.Int32(videoHeight);
    writer.Int32(colorSpace);
    writer.Float(videoQuality);
    writer.Float(audioQuality);
    writer.Int32(audioFrameRate);
    writer.Uint8(audioChannels);
    writer.Parameters(videoParameters);
    writer.Parameters(audioParameters);
    return B_OK;
}

// The whole record is parsed before anything is changed: a record of another type, or one that
// is cut short or damaged (B_BAD_DATA), leaves the object exactly as it was. Bytes after the
// audio terminator are ignored.
status_t FormatSetting::Unflatten(type_code code, const void* buffer, ssize_t size) {
    if (!AllowsTypeCode(code))
        return B_ERROR;
    if (size < 0 || (buffer == nullptr && size > 0))
        return B_BAD_VALUE;

    ByteReader reader(buffer, size_t(size), ByteOrder::BigEndian);
    const char* newName;
    const char* newFileFormat;
    const char* newVideoEncoder;
    const char* newAudioEncoder;
    int32 width, height, space, rate;
    float newVideoQuality, newAudioQuality;
    uint8 channels;
    ParameterList video, audio;
    if (!reader.ReadString(&newName) || !reader.ReadString(&newFileFormat) ||
        !reader.ReadString(&newVideoEncoder) || !reader.ReadString(&newAudioEncoder) ||
        !reader.ReadInt32(&width) || !reader.ReadInt32(&height) || !reader.ReadInt32(&space) ||
        !reader.ReadFloat(&newVideoQuality) || !reader.ReadFloat(&newAudioQuality) ||
        !reader.ReadInt32(&rate) || !reader.ReadUint8(&channels) ||
        !readParameters(&reader, &video) || !readParameters(&reader, &audio))
        return B_BAD_DATA;

    SetName(newName);
    SetFileFormat(newFileFormat);
    SetVideoEncoder(newVideoEncoder);
    SetAudioEncoder(newAudioEncoder);
    videoWidth = width;
    videoHeight = height;
    colorSpace = space;
    videoQuality = newVideoQuality;
    audioQuality = newAudioQuality;
    audioFrameRate = rate;
    audioChannels = channels;
    videoParameters = std::move(video);
    audioParameters = std::move(audio);
    return B_OK;
}

status_t FormatSetting::CheckRecordable(std::string* problem) const {
    auto refuse = [problem](std::string text) {
        if (problem != nullptr)
            *problem = std::move(text);
        return B_BAD_VALUE;
    };
    if (videoWidth < 1 || videoWidth > kMaxVideoSize || videoHeight < 1 ||
        videoHeight > kMaxVideoSize) {
        return refuse("picture size " + std::to_string(videoWidth) + "x" +
                      std::to_string(videoHeight) + " (1 to " + std::to_string(kMaxVideoSize) +
                      " each way)");
    }
    const color_space known[] = {B_RGB32,    B_RGB24,    B_RGB16, B_RGB15,
                                 B_YCbCr422, B_YCbCr411, B_GRAY8};
    bool knownSpace = false;
    for (color_space space : known)
        knownSpace = knownSpace || colorSpace == int32(space);
    if (!knownSpace)
        return refuse("colour space " + std::to_string(colorSpace));
    if (frameDivisor < 1 || frameDivisor > 100)
        return refuse("frame divisor " + std::to_string(frameDivisor) + " (1 to 100)");
    if (!(videoQuality >= 0 && videoQuality <= 1) || !(audioQuality >= 0 && audioQuality <= 1))
        return refuse("quality (0 to 1)");
    if (!audioEncoder.empty()) {
        if (audioFrameRate < 1000 || audioFrameRate > 384000)
            return refuse("sound rate " + std::to_string(audioFrameRate) + " Hz (1000 to 384000)");
        if (audioChannels < 1 || audioChannels > 2)
            return refuse(std::to_string(audioChannels) + " sound channels (1 or 2)");
    }
    return B_OK;
}
