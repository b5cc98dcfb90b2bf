#include "media/file/EncoderParameters.h"

#include "media/file/FFmpegOwners.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

namespace {

// Options the track sets itself from the input format, and diagnostics that are no encoder
// setting.
constexpr std::string_view kOwnOptions[] = {
    "ar",
    "ac",
    "ch_layout",
    "channel_layout",
    "frame_size",
    "ticks_per_frame",
    "debug",
    "dump_separator",
    "export_side_data",
    "err_detect",
    "max_pixels",
    "max_samples",
};

// Text values of parameters are limited so that a snapshot (128 bytes) can hold them.
constexpr size_t kMaxTextBytes = 127;

const char* kindFor(const char* name) {
    std::string_view option(name);
    if (option == "g")
        return B_GOP_SIZE;
    if (option == "b")
        return B_BITRATE;
    if (option == "crf" || option == "global_quality" || option == "qscale")
        return B_QUALITY;
    return B_GENERIC;
}

bool isInteger(int type) {
    return type == AV_OPT_TYPE_INT || type == AV_OPT_TYPE_INT64 || type == AV_OPT_TYPE_UINT64;
}

// The options most people touch, in the order the "Common" group shows them, labelled in
// words with FFmpeg's name after them. An encoder shows those it has. `top` (when not 0)
// narrows a range that reaches to the integer limits to 0..top, which a slider can cover.
struct CommonOption {
    const char* name;
    const char* words;
    const char* unit;
    double top;
    bool soundOnly = false;  // a picture encoder has it from AVCodecContext but ignores it
};
constexpr CommonOption kCommonOptions[] = {
    {"rc", "Rate control", "", 0},
    {"rc_mode", "Rate control", "", 0},
    {"end-usage", "Rate control", "", 0},
    {"b", "Bit rate", "bit/s", 100e6},
    {"crf", "Constant quality", "", 63},
    {"qp", "Constant quantiser", "", 69},
    {"vbr", "Variable bit rate", "", 0},
    {"preset", "Speed preset", "", 0},
    {"deadline", "Speed", "", 0},
    {"cpu-used", "Speed", "", 0},
    {"compression_level", "Compression level", "", 0, true},
    {"g", "Keyframe interval", "frames", 1000},
    {"profile", "Profile", "", 0},
    {"tune", "Tuned for", "", 0},
};

}  // namespace

int32 EncoderParameters::IdFor(const char* className, const char* name) {
    // FNV-1a over "class:name"; ids are positive and never 0 (an empty snapshot's id).
    uint32 hash = 2166136261u;
    auto mix = [&hash](const char* text) {
        for (; *text != '\0'; text++) {
            hash ^= uint8(*text);
            hash *= 16777619u;
        }
    };
    mix(className);
    mix(":");
    mix(name);
    int32 id = int32(hash & 0x7fffffff);
    return id == 0 ? 1 : id;
}

EncoderParameters::EncoderParameters(AVCodecContext* context, Controllable* owner)
    : fContext(context), fWeb(std::make_unique<ParameterWeb>(owner)) {
    Build(fWeb.get(), &fEntries);
}

EncoderParameters::~EncoderParameters() = default;

std::unique_ptr<ParameterWeb> EncoderParameters::NewWeb() const {
    auto web = std::make_unique<ParameterWeb>(fWeb->Owner());
    Build(web.get(), nullptr);
    return web;
}

void EncoderParameters::Build(ParameterWeb* web, std::vector<Entry>* entries) const {
    Builder builder{web, entries, {}};
    builder.mediaFlag = fContext->codec_type == AVMEDIA_TYPE_VIDEO ? AV_OPT_FLAG_VIDEO_PARAM
                                                                   : AV_OPT_FLAG_AUDIO_PARAM;
    const AVCodec* codec = fContext->codec;
    CodecContextPtr fresh(avcodec_alloc_context3(codec));
    builder.fresh = fresh.get();
    void* privateData = codec->priv_class != nullptr && fContext->priv_data != nullptr
                            ? fContext->priv_data
                            : nullptr;

    // The common options, each from the encoder's own class when it has one of that name.
    struct Found {
        const CommonOption* wanted;
        void* object;
        const AVOption* option;
    };
    std::vector<Found> found;
    std::set<std::string_view> shown;
    for (const CommonOption& wanted : kCommonOptions) {
        if (shown.contains(wanted.words) ||
            (wanted.soundOnly && fContext->codec_type != AVMEDIA_TYPE_AUDIO))
            continue;
        for (void* object : {privateData, static_cast<void*>(fContext)}) {
            if (object == nullptr)
                continue;
            const AVOption* option = av_opt_find(object, wanted.name, nullptr, 0, 0);
            if (option == nullptr || !Takes(builder, option, object == privateData))
                continue;
            found.push_back({&wanted, object, option});
            shown.insert(wanted.words);
            break;
        }
    }
    if (!found.empty()) {
        ParameterGroup* common = web->MakeGroup("Common");
        const bool sound = fContext->codec_type == AVMEDIA_TYPE_AUDIO;
        for (const Found& each : found) {
            // Sound's bit rates are a hundredth of picture's.
            double top = sound ? each.wanted->top / 100 : each.wanted->top;
            std::string label = std::string(each.wanted->words) + " (" + each.wanted->name + ")";
            AddOption(&builder, common, each.object, each.option, label, each.wanted->unit, top);
        }
    }

    // The long tail: everything else, the encoder's own options first.
    if (privateData != nullptr) {
        const char* groupName = codec->long_name != nullptr ? codec->long_name : codec->name;
        AddOptions(&builder, web->MakeGroup(groupName), privateData, true);
    }
    AddOptions(&builder, web->MakeGroup("General"), fContext, false);
}

bool EncoderParameters::Takes(const Builder& builder, const AVOption* option, bool privateOption) {
    if (option->type == AV_OPT_TYPE_CONST || option->offset <= 0)
        return false;
    if (!(option->flags & AV_OPT_FLAG_ENCODING_PARAM))
        return false;
    // Private options of a single-type codec do not always say which type they are for.
    if (!privateOption && !(option->flags & builder.mediaFlag))
        return false;
    if (option->flags & (AV_OPT_FLAG_DEPRECATED | AV_OPT_FLAG_READONLY))
        return false;
    if (!privateOption) {
        for (std::string_view name : kOwnOptions) {
            if (name == option->name)
                return false;
        }
    }
    return option->type != AV_OPT_TYPE_BINARY && option->type != AV_OPT_TYPE_CHANNEL_LAYOUT &&
           option->type != AV_OPT_TYPE_CHLAYOUT;
}

void EncoderParameters::AddOptions(Builder* builder, ParameterGroup* group, void* object,
                                   bool privateOptions) const {
    std::set<int> offsets;  // aliases share an offset; the first name stands for them
    const AVOption* option = nullptr;
    while ((option = av_opt_next(object, option)) != nullptr) {
        if (!Takes(*builder, option, privateOptions) || builder->placed.contains(option))
            continue;
        if (!offsets.insert(option->offset).second)
            continue;
        AddOption(builder, group, object, option, option->name, "", 0);
    }
}

void EncoderParameters::AddOption(Builder* builder, ParameterGroup* group, void* object,
                                  const AVOption* option, const std::string& label,
                                  const char* unit, double top) const {
    const AVClass* avClass = *static_cast<const AVClass**>(object);
    int32 id = IdFor(avClass->class_name, option->name);
    while (builder->web->ParameterWithID(id) != nullptr)
        id = id == INT32_MAX ? 1 : id + 1;
    const char* kind = kindFor(option->name);
    builder->placed.insert(option);

    ParameterType type;
    if (option->type == AV_OPT_TYPE_BOOL) {
        MediaParameter* parameter = group->MakeDiscreteParameter(id, label, kind);
        if (option->min < 0)
            parameter->AddItem(-1, "auto");
        parameter->AddItem(0, "off");
        parameter->AddItem(1, "on");
        type = ParameterType::Discrete;
    } else if (isInteger(option->type) && option->unit != nullptr) {
        MediaParameter* parameter = group->MakeDiscreteParameter(id, label, kind);
        const AVOption* constant = nullptr;
        while ((constant = av_opt_next(object, constant)) != nullptr) {
            if (constant->type == AV_OPT_TYPE_CONST && constant->unit != nullptr &&
                std::strcmp(constant->unit, option->unit) == 0 &&
                constant->default_val.i64 >= INT32_MIN && constant->default_val.i64 <= INT32_MAX)
                parameter->AddItem(int32(constant->default_val.i64), constant->name);
        }
        type = ParameterType::Discrete;
    } else if (isInteger(option->type) || option->type == AV_OPT_TYPE_FLOAT ||
               option->type == AV_OPT_TYPE_DOUBLE) {
        float step = isInteger(option->type) ? 1.0f : 0.0f;
        // A narrowed range starts at 0: below it FFmpeg keeps "unset" and "automatic".
        double min = top > 0 ? std::max(option->min, 0.0) : option->min;
        double max = top > 0 ? std::min(option->max, top) : option->max;
        // -1 as the encoder's own default ("unset": x264's crf, its keyframe interval) is a
        // setting of its own, not the bottom of the range.
        void* fresh = builder->fresh == nullptr ? nullptr
                      : object == fContext      ? static_cast<void*>(builder->fresh)
                                                : builder->fresh->priv_data;
        double initial = 0;
        const bool unsetByDefault = fresh != nullptr && option->min <= -1 && option->max >= 0 &&
                                    av_opt_get_double(fresh, option->name, 0, &initial) >= 0 &&
                                    initial == -1;
        if (unsetByDefault)
            min = std::max(min, 0.0);
        MediaParameter* parameter =
            group->MakeContinuousParameter(id, label, kind, unit, float(min), float(max), step);
        if (unsetByDefault)
            parameter->SetDefaultValue(-1);
        type = ParameterType::Continuous;
    } else {
        group->MakeTextParameter(id, label, kind, kMaxTextBytes);
        type = ParameterType::Text;
    }
    if (builder->entries != nullptr)
        builder->entries->push_back({id, object, option, type, 0});
}

const EncoderParameters::Entry* EncoderParameters::Find(int32 id) const {
    for (const Entry& entry : fEntries) {
        if (entry.id == id)
            return &entry;
    }
    return nullptr;
}

status_t EncoderParameters::Get(int32 id, bigtime_t* lastChange, void* value, size_t* size) const {
    const Entry* entry = Find(id);
    if (entry == nullptr)
        return B_BAD_INDEX;
    if (size == nullptr || (value == nullptr && *size > 0))
        return B_BAD_VALUE;
    const char* name = entry->option->name;
    if (lastChange != nullptr)
        *lastChange = entry->lastChange;

    if (entry->type == ParameterType::Text) {
        uint8_t* text = nullptr;
        int error = av_opt_get(entry->object, name, 0, &text);
        if (error < 0)
            return error;
        size_t length = text != nullptr ? std::strlen(reinterpret_cast<char*>(text)) : 0;
        status_t status = B_OK;
        if (length > *size)
            status = B_NO_MEMORY;
        else if (length > 0)
            std::memcpy(value, text, length);
        av_free(text);
        if (status == B_OK)
            *size = length;
        return status;
    }

    if (*size < 4)
        return B_NO_MEMORY;
    int error;
    if (entry->type == ParameterType::Discrete) {
        int64_t number = 0;
        error = av_opt_get_int(entry->object, name, 0, &number);
        int32 item = int32(std::clamp<int64_t>(number, INT32_MIN, INT32_MAX));
        std::memcpy(value, &item, sizeof(item));
    } else if (isInteger(entry->option->type)) {
        int64_t number = 0;
        error = av_opt_get_int(entry->object, name, 0, &number);
        float level = float(number);
        std::memcpy(value, &level, sizeof(level));
    } else {
        double number = 0;
        error = av_opt_get_double(entry->object, name, 0, &number);
        float level = float(number);
        std::memcpy(value, &level, sizeof(level));
    }
    if (error < 0)
        return error;
    *size = 4;
    return B_OK;
}

status_t EncoderParameters::Set(int32 id, bigtime_t when, const void* value, size_t size) {
    const Entry* found = Find(id);
    if (found == nullptr)
        return B_BAD_INDEX;
    Entry* entry = const_cast<Entry*>(found);
    if (value == nullptr && size > 0)
        return B_BAD_VALUE;
    const char* name = entry->option->name;

    int error;
    if (entry->type == ParameterType::Text) {
        std::string text(static_cast<const char*>(value), size);
        text.resize(std::strlen(text.c_str()));
        // An empty string option means "not set", which is not the same as "": x264 refuses
        // an empty profile.
        const char* setting = text.c_str();
        if (text.empty() && entry->option->type == AV_OPT_TYPE_STRING)
            setting = nullptr;
        error = av_opt_set(entry->object, name, setting, 0);
    } else {
        if (size < 4)
            return B_BAD_VALUE;
        if (entry->type == ParameterType::Discrete) {
            int32 item;
            std::memcpy(&item, value, sizeof(item));
            error = av_opt_set_int(entry->object, name, item, 0);
        } else {
            float level;
            std::memcpy(&level, value, sizeof(level));
            if (!std::isfinite(level))
                return B_BAD_VALUE;
            // A float cannot hold every integer of a wide range: bring the value back inside
            // the option's range before FFmpeg checks it.
            double number = std::clamp(double(level), entry->option->min, entry->option->max);
            if (!isInteger(entry->option->type))
                error = av_opt_set_double(entry->object, name, number, 0);
            else if (number >= 9.2233720368547758e18)
                error = av_opt_set_int(entry->object, name, INT64_MAX, 0);
            else
                error = av_opt_set_int(entry->object, name, std::llround(number), 0);
        }
    }
    if (error < 0)
        return error;
    entry->lastChange = when;
    return B_OK;
}
