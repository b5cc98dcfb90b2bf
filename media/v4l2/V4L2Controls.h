#pragma once
// The controls of a V4L2 capture device as a ParameterWeb, and the Controllable that reads
// and writes them:
//
//   id 15 "Video Source:"  discrete  the inputs (VIDIOC_ENUMINPUT), value = input index
//   id 1  "Video Format:"  discrete  the standards (VIDIOC_ENUMSTD), value = their index
//   id 14 "Channel:"       discrete  the channels of a channel table, value = their index;
//                                     only on a device with a tuner
//   id 18, 19, 20          continuous brightness, contrast, saturation in -100..100, mapped
//                                     linearly onto the control's own range
//   1000 + (cid - V4L2_CID_BASE)     every other user control: integers continuous in their
//                                     own range, booleans and menus discrete
//
// The channel table is the one named at construction, or (when none is named) the one the
// current standard implies: us-bcast for 525 lines, europe-west for 625.
//
// Thread safety: values may be read and written from any thread; fLock guards the change
// times. The device must outlive this object.

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "media/ParameterWeb.h"
#include "media/v4l2/ChannelTable.h"
#include "media/v4l2/V4L2Device.h"

constexpr int32 kVideoFormatParameter = 1;
constexpr int32 kChannelParameter = 14;
constexpr int32 kVideoSourceParameter = 15;
constexpr int32 kBrightnessParameter = 18;
constexpr int32 kContrastParameter = 19;
constexpr int32 kSaturationParameter = 20;
constexpr int32 kFirstControlParameter = 1000;

class V4L2Controls : public Controllable {
public:
    V4L2Controls(V4L2Device& device, std::string channelTable = "");

    // A new web; its values go through `owner` (this object when null).
    std::unique_ptr<ParameterWeb> MakeWeb(Controllable* owner = nullptr);

    status_t GetParameterValue(int32 id, bigtime_t* lastChange, void* value, size_t* size) override;
    status_t SetParameterValue(int32 id, bigtime_t when, const void* value, size_t size) override;

    // The standard with index `index`: its frame lines (625, 525); 0 for a bad index.
    uint32 FrameLinesOf(int32 index) const;
    // The index of the current standard, or -1.
    int32 CurrentStandard() const;
    // The channel table in use now.
    const ChannelTable& Channels() const;
    // The V4L2 control id behind parameter `id`, 0 if there is none.
    uint32 ControlFor(int32 id) const;

private:
    struct Standard {
        v4l2_std_id id;
        std::string name;
        uint32 frameLines;
    };
    struct Control {
        v4l2_queryctrl query;
        std::vector<std::pair<int32, std::string>> menu;  // value, name
        int32 parameter;
    };

    status_t Ioctl(unsigned long request, void* argument) const {
        return fDevice.Io().Ioctl(fDevice.Descriptor(), request, argument);
    }
    const Control* FindControl(int32 parameter) const;
    status_t ReadIndex(int32 id, int32* value) const;
    status_t WriteIndex(int32 id, int32 value);
    status_t ReadControl(const Control& control, float* value) const;
    status_t WriteControl(const Control& control, float value);
    static bool IsScaled(int32 parameter);

    V4L2Device& fDevice;
    const std::string fChannelTable;
    // Read once at construction, then only read: no lock needed.
    std::vector<std::string> fInputs;
    std::vector<Standard> fStandards;
    bool fHasTuner = false;
    uint32 fTuner = 0;
    std::vector<Control> fControls;

    mutable std::mutex fLock;  // guards fChanges
    std::map<int32, bigtime_t> fChanges;
};
