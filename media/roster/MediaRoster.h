#pragma once
// The media roster: the capture inputs and the sound output this machine has, the default of
// each kind, and their nodes.
//
// Listed: V4L2 video capture devices, ALSA capture PCMs ("default" first), the two built-in
// test inputs ("test-picture", "test-tone", last of their kinds; they share one frame clock so
// the tone's clicks fall on the picture's flashes), and the sound output whose mixer holds
// the mute switch.
//
// Defaults: the device named in the options (by id or by name), else the first real device
// of that kind, else the built-in one. A named device that is not there is missing: that kind
// then has no default (MissingVideoInput/MissingAudioInput say which name), never a stand-in,
// so a recording of the test picture is never made in place of the device asked for. With
// builtInInputs false the test inputs are not listed, so a machine without devices has no
// inputs at all.
//
// Nodes: GetVideoInput, GetAudioInput and GetAudioOutput make the default's node on first
// use and hand out the same node until ReleaseNode; the roster and the callers share it.
//
// Thread safety: none; the engine calls it from one thread.

#include <memory>
#include <string>
#include <vector>

#include "media/roster/DeviceBackend.h"

class TestSignalClock;

struct RosterOptions {
    std::string videoInput;  // id or name; empty: by the default rule
    std::string audioInput;
    std::string mixerCard = "default";
    bool builtInInputs = true;
};

class MediaRoster {
public:
    // `backend` nullptr: the system's devices (SystemDeviceBackend).
    explicit MediaRoster(RosterOptions options = {},
                         std::unique_ptr<DeviceBackend> backend = nullptr);
    ~MediaRoster();
    MediaRoster(const MediaRoster&) = delete;
    MediaRoster& operator=(const MediaRoster&) = delete;

    static constexpr const char* kTestPictureID = "test-picture";
    static constexpr const char* kTestToneID = "test-tone";

    // What `tavro --list-devices` prints: the devices by kind, the defaults marked "*".
    std::string Describe() const;

    // Lists the devices again and picks the defaults; nodes already handed out stay.
    void Rescan();
    // Names other inputs (empty: by the default rule) and picks the defaults again; the
    // nodes of the old defaults are let go (the caller has released them).
    void SetNamedInputs(const std::string& videoInput, const std::string& audioInput);
    // The name asked for when no device of that kind carries it; empty when none is missing.
    const std::string& MissingVideoInput() const { return fMissingVideo; }
    const std::string& MissingAudioInput() const { return fMissingAudio; }

    const RosterOptions& Options() const { return fOptions; }
    // Video inputs, then audio inputs, then the sound output.
    const std::vector<MediaDevice>& Devices() const { return fDevices; }
    // nullptr when there is none of that kind.
    const MediaDevice* DefaultVideoInput() const { return DeviceAt(fDefaultVideo); }
    const MediaDevice* DefaultAudioInput() const { return DeviceAt(fDefaultAudio); }
    const MediaDevice* DefaultAudioOutput() const { return DeviceAt(fDefaultOutput); }
    bool IsDefault(const MediaDevice& device) const;

    // The default's node. B_ENTRY_NOT_FOUND when there is no such device, else the device's
    // error when it cannot be opened.
    status_t GetVideoInput(std::shared_ptr<MediaProducer>* producer);
    status_t GetAudioInput(std::shared_ptr<MediaProducer>* producer);
    status_t GetAudioOutput(std::shared_ptr<MediaNode>* node);
    // The roster lets go of `node`; the next Get makes a fresh one. B_MEDIA_BAD_NODE when the
    // roster did not hand it out.
    status_t ReleaseNode(const MediaNode* node);

private:
    const MediaDevice* DeviceAt(int32 index) const;
    // A named device the backend finds although it did not list it goes after the others of
    // its kind.
    void AddUnlisted(DeviceKind kind, const std::string& named);
    // -1 when `named` is not there (the name goes into `*missing`) or there is none of `kind`.
    int32 PickDefault(DeviceKind kind, const std::string& named, std::string* missing) const;
    status_t MakeInput(int32 index, std::shared_ptr<MediaProducer>* producer);

    RosterOptions fOptions;
    std::unique_ptr<DeviceBackend> fBackend;
    std::vector<MediaDevice> fDevices;
    int32 fDefaultVideo = -1;
    int32 fDefaultAudio = -1;
    int32 fDefaultOutput = -1;
    std::string fMissingVideo;
    std::string fMissingAudio;

    std::shared_ptr<MediaProducer> fVideoInput;
    std::shared_ptr<MediaProducer> fAudioInput;
    std::shared_ptr<MediaNode> fAudioOutput;
    std::shared_ptr<TestSignalClock> fTestClock;
};
