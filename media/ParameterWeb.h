#pragma once
// The controls of a device or an encoder as data: groups of parameters, each with a stable
// int32 id, a name, a kind, and either named discrete items or a continuous range. Values are
// read and written as raw bytes through the web's Controllable (the device or the encoder),
// with the time of the last change. Widgets are built from this data, never by hand.
//
// Value layouts: discrete parameters hold one int32 (the chosen item's value), continuous ones
// one float per channel, text parameters the bytes of the text, null parameters nothing.

#include <memory>
#include <string>
#include <vector>

#include "support/Status.h"
#include "support/Types.h"

class ParameterGroup;
class ParameterWeb;

// Kinds say what a parameter means, so that code can find "the mute switch" in any web.
extern const char* const B_GENERIC;
extern const char* const B_MUTE;
extern const char* const B_GAIN;
extern const char* const B_ENABLE;
extern const char* const B_INPUT_MUX;
extern const char* const B_TUNER_CHANNEL;
extern const char* const B_VIDEO_FORMAT;
extern const char* const B_QUALITY;
extern const char* const B_BITRATE;
extern const char* const B_GOP_SIZE;
extern const char* const B_FRAME_RATE;
extern const char* const B_RESOLUTION;
extern const char* const B_LEVEL;

enum class ParameterType { Null, Discrete, Continuous, Text };

// The owner of the values: a capture device or an encoder track.
class Controllable {
public:
    virtual ~Controllable() = default;
    // `*size` is the buffer's size on entry and the value's size on return; a buffer too small
    // for the value gives B_NO_MEMORY.
    virtual status_t GetParameterValue(int32 id, bigtime_t* lastChange, void* value,
                                       size_t* size) = 0;
    virtual status_t SetParameterValue(int32 id, bigtime_t when, const void* value,
                                       size_t size) = 0;
};

class MediaParameter {
public:
    int32 ID() const { return fID; }
    ParameterType Type() const { return fType; }
    const std::string& Name() const { return fName; }
    const std::string& Kind() const { return fKind; }
    ParameterGroup* Group() const { return fGroup; }
    ParameterWeb* Web() const;

    // Discrete parameters: the named choices, in order.
    int32 CountItems() const { return int32(fItems.size()); }
    const std::string& ItemNameAt(int32 index) const { return fItems.at(index).name; }
    int32 ItemValueAt(int32 index) const { return fItems.at(index).value; }
    void AddItem(int32 value, std::string name) { fItems.push_back({value, std::move(name)}); }

    // Continuous parameters: the range, the step and the unit ("%", "dB", "").
    float MinValue() const { return fMin; }
    float MaxValue() const { return fMax; }
    float ValueStep() const { return fStep; }
    const std::string& Unit() const { return fUnit; }
    int32 CountChannels() const { return fChannels; }
    // A value below the range that leaves the setting to the owner (an encoder's -1: "use your
    // own default"). A view offers it at the slider's left end and names it in words.
    bool HasDefaultValue() const { return fHasDefault; }
    float DefaultValue() const { return fDefault; }
    void SetDefaultValue(float value) {
        fDefault = value;
        fHasDefault = true;
    }

    // Text parameters: the longest value in bytes.
    size_t MaxBytes() const { return fMaxBytes; }

    // Through the web's Controllable; B_NO_INIT when the web has none or its owner is gone.
    status_t GetValue(void* buffer, size_t* size, bigtime_t* lastChange) const;
    status_t SetValue(const void* buffer, size_t size, bigtime_t when);

private:
    friend class ParameterGroup;
    struct Item {
        int32 value;
        std::string name;
    };

    MediaParameter(ParameterGroup* group, int32 id, ParameterType type, std::string name,
                   std::string kind);

    ParameterGroup* fGroup;
    int32 fID;
    ParameterType fType;
    std::string fName;
    std::string fKind;
    std::vector<Item> fItems;
    float fMin = 0;
    float fMax = 0;
    float fStep = 0;
    std::string fUnit;
    float fDefault = 0;
    bool fHasDefault = false;
    int32 fChannels = 1;
    size_t fMaxBytes = 0;
};

class ParameterGroup {
public:
    const std::string& Name() const { return fName; }
    ParameterWeb* Web() const { return fWeb; }

    MediaParameter* MakeNullParameter(int32 id, std::string name, std::string kind);
    MediaParameter* MakeDiscreteParameter(int32 id, std::string name, std::string kind);
    MediaParameter* MakeContinuousParameter(int32 id, std::string name, std::string kind,
                                            std::string unit, float min, float max, float step);
    MediaParameter* MakeTextParameter(int32 id, std::string name, std::string kind,
                                      size_t maxBytes);
    ParameterGroup* MakeGroup(std::string name);

    int32 CountParameters() const { return int32(fParameters.size()); }
    MediaParameter* ParameterAt(int32 index) const;
    int32 CountGroups() const { return int32(fGroups.size()); }
    ParameterGroup* GroupAt(int32 index) const;

private:
    friend class ParameterWeb;
    ParameterGroup(ParameterWeb* web, std::string name) : fWeb(web), fName(std::move(name)) {}
    MediaParameter* Adopt(MediaParameter* parameter);

    ParameterWeb* fWeb;
    std::string fName;
    std::vector<std::unique_ptr<MediaParameter>> fParameters;
    std::vector<std::unique_ptr<ParameterGroup>> fGroups;
};

class ParameterWeb {
public:
    // `owner` answers value reads and writes; it must outlive the web (or be null for a web
    // that only describes).
    explicit ParameterWeb(Controllable* owner = nullptr) : fOwner(owner) {}
    ParameterWeb(const ParameterWeb&) = delete;
    ParameterWeb& operator=(const ParameterWeb&) = delete;

    ParameterGroup* MakeGroup(std::string name);
    int32 CountGroups() const { return int32(fGroups.size()); }
    ParameterGroup* GroupAt(int32 index) const;

    // Every parameter of every group (nested groups included), in the order they were made.
    int32 CountParameters() const { return int32(fAll.size()); }
    MediaParameter* ParameterAt(int32 index) const;
    // nullptr when no parameter has that id.
    MediaParameter* ParameterWithID(int32 id) const;
    ParameterGroup* GroupWithName(const std::string& name) const;

    Controllable* Owner() const { return fOwner; }
    void SetOwner(Controllable* owner) { fOwner = owner; }
    // Ties the web to the life of its owner (the node's shared pointer, an encoder track's):
    // once `life` has expired, reads and writes answer B_NO_INIT instead of reaching a
    // destroyed owner, and OwnerGone() is true. A web without it trusts its owner to outlive
    // it. Each read or write holds the owner alive for its own duration.
    void SetOwnerLife(std::weak_ptr<const void> life);
    bool OwnerGone() const;
    // The owner for one call, or nullptr when there is none or it is gone; `*hold` keeps it
    // alive until the caller lets go.
    Controllable* LockOwner(std::shared_ptr<const void>* hold) const;

private:
    friend class ParameterGroup;
    Controllable* fOwner;
    std::weak_ptr<const void> fOwnerLife;
    bool fHasOwnerLife = false;
    std::vector<std::unique_ptr<ParameterGroup>> fGroups;
    std::vector<MediaParameter*> fAll;  // owned by their groups
};
