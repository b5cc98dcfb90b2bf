#include "media/file/EncoderParameters.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <string_view>

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
    : fWeb(std::make_unique<ParameterWeb>(owner)) {
    int mediaFlag = context->codec_type == AVMEDIA_TYPE_VIDEO ? AV_OPT_FLAG_VIDEO_PARAM
                                                              : AV_OPT_FLAG_AUDIO_PARAM;
    const AVCodec* codec = context->codec;
    if (codec->priv_class != nullptr && context->priv_data != nullptr) {
        const char* groupName = codec->long_name != nullptr ? codec->long_name : codec->name;
        AddOptions(fWeb->MakeGroup(groupName), context->priv_data, mediaFlag, true);
    }
    AddOptions(fWeb->MakeGroup("General"), context, mediaFlag, false);
}

EncoderParameters::~EncoderParameters() = default;

void EncoderParameters::AddOptions(ParameterGroup* group, void* object, int mediaFlag,
                                   bool privateOptions) {
    const AVClass* avClass = *static_cast<const AVClass**>(object);
    std::set<int> offsets;  // aliases share an offset; the first name stands for them
    const AVOption* option = nullptr;
    while ((option = av_opt_next(object, option)) != nullptr) {
        if (option->type == AV_OPT_TYPE_CONST || option->offset <= 0)
            continue;
        if (!(option->flags & AV_OPT_FLAG_ENCODING_PARAM))
            continue;
        // Private options of a single-type codec do not always say which type they are for.
        if (!privateOptions && !(option->flags & mediaFlag))
            continue;
        if (option->flags & (AV_OPT_FLAG_DEPRECATED | AV_OPT_FLAG_READONLY))
            continue;
        if (!privateOptions) {
            bool own = false;
            for (std::string_view name : kOwnOptions)
                own |= name == option->name;
            if (own)
                continue;
        }
        if (option->type == AV_OPT_TYPE_BINARY || option->type == AV_OPT_TYPE_CHANNEL_LAYOUT ||
            option->type == AV_OPT_TYPE_CHLAYOUT)
            continue;
        if (!offsets.insert(option->offset).second)
            continue;

        int32 id = IdFor(avClass->class_name, option->name);
        while (fWeb->ParameterWithID(id) != nullptr)
            id = id == INT32_MAX ? 1 : id + 1;
        const char* kind = kindFor(option->name);
        std::string label = option->name;

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
                    constant->default_val.i64 >= INT32_MIN &&
                    constant->default_val.i64 <= INT32_MAX)
                    parameter->AddItem(int32(constant->default_val.i64), constant->name);
            }
            type = ParameterType::Discrete;
        } else if (isInteger(option->type) || option->type == AV_OPT_TYPE_FLOAT ||
                   option->type == AV_OPT_TYPE_DOUBLE) {
            float step = isInteger(option->type) ? 1.0f : 0.0f;
            group->MakeContinuousParameter(id, label, kind, "", float(option->min),
                                           float(option->max), step);
            type = ParameterType::Continuous;
        } else {
            group->MakeTextParameter(id, label, kind, kMaxTextBytes);
            type = ParameterType::Text;
        }
        fEntries.push_back({id, object, option, type, 0});
    }
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
