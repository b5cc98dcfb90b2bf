#pragma once
// An encoder's options as a ParameterWeb: first the options most people touch (group
// "Common": rate control, bit rate or constant quality, speed preset, keyframe interval,
// profile; labelled in words with FFmpeg's name in brackets, "Keyframe interval (g)"), then the
// other private options of the codec (one group named after the encoder) and the other
// encoding options of AVCodecContext that apply to its media type (group "General"). Ids are a
// hash of the option's class and name, so a snapshot taken from one track applies to any later
// track of any encoder that has the same option.
//
// Values: options with named constants and booleans are discrete (an int32), other numbers
// continuous (a float), everything else text (the option's string form, no terminating NUL).

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "media/ParameterWeb.h"

struct AVCodecContext;
struct AVOption;

class EncoderParameters {
public:
    // `context` must not be opened yet and must outlive this object; `owner` becomes the web's
    // Controllable.
    EncoderParameters(AVCodecContext* context, Controllable* owner);
    ~EncoderParameters();
    EncoderParameters(const EncoderParameters&) = delete;
    EncoderParameters& operator=(const EncoderParameters&) = delete;

    ParameterWeb* Web() const { return fWeb.get(); }
    // Another web like Web(), with the same owner and ids, for a view that owns its web.
    std::unique_ptr<ParameterWeb> NewWeb() const;

    // B_BAD_INDEX for an id not in the web; B_NO_MEMORY when `*size` is too small.
    status_t Get(int32 id, bigtime_t* lastChange, void* value, size_t* size) const;
    // FFmpeg's error when the option refuses the value (out of range, unknown name).
    status_t Set(int32 id, bigtime_t when, const void* value, size_t size);

    // The stable id of option `name` of the class called `className`.
    static int32 IdFor(const char* className, const char* name);

private:
    struct Entry {
        int32 id;
        void* object;  // the codec context or its private data
        const AVOption* option;
        ParameterType type;
        bigtime_t lastChange;
    };

    // Where the options being described go; `entries` is null for a second web.
    struct Builder {
        ParameterWeb* web;
        std::vector<Entry>* entries;
        std::set<const AVOption*> placed;
        int mediaFlag = 0;
        // A context of the same encoder as it comes from FFmpeg: the encoder's own defaults.
        AVCodecContext* fresh = nullptr;
    };

    void Build(ParameterWeb* web, std::vector<Entry>* entries) const;
    static bool Takes(const Builder& builder, const AVOption* option, bool privateOption);
    void AddOptions(Builder* builder, ParameterGroup* group, void* object,
                    bool privateOptions) const;
    void AddOption(Builder* builder, ParameterGroup* group, void* object, const AVOption* option,
                   const std::string& label, const char* unit, double top) const;
    const Entry* Find(int32 id) const;

    AVCodecContext* fContext;
    std::unique_ptr<ParameterWeb> fWeb;
    std::vector<Entry> fEntries;
};
