#pragma once
// Everything Tavro remembers between runs, in one file "zelk.Tavro settings" in the user's
// settings directory ($XDG_CONFIG_HOME, else ~/.config). The one instance, gSettings, loads it
// before main() and saves it after main() returns; everything else reads and writes the
// public fields directly.

#include <string>
#include <vector>

#include "app/records/FormatSetting.h"
#include "support/Geometry.h"
#include "support/Message.h"

constexpr uint32 kSettingsWhat = fourcc("Tavr");
extern const char* const kSettingsFileName;

class TavroSettings {
public:
    TavroSettings();
    // Saves; the formats still listed go with the settings.
    ~TavroSettings();
    TavroSettings(const TavroSettings&) = delete;
    TavroSettings& operator=(const TavroSettings&) = delete;

    // Errors leave the defaults for what could not be read. A damaged file gives up only what
    // the damage touched: every field and format read whole before it (and every later format
    // that parses) is taken, and the file's bytes are kept for Save to set aside. A file that
    // exists but cannot be read is never overwritten.
    status_t Load();
    // Written to a temporary file that replaces the old one only when complete, so a crash or
    // a full disk leaves the previous settings. Through a symbolic link, the link's target is
    // replaced (the temporary file is made in the target's folder) and the link stays. A file
    // Load found damaged is first copied to "<settings file>.damaged" (one copy, replaced each
    // time). Nothing is written when the file could not be read or LeaveFileUntouched was
    // called (B_NOT_ALLOWED). A failed save is not reported to the user.
    status_t Save();
    // For runs that only print: the destructor does not save.
    void LeaveFileUntouched() { fSaveAtExit = false; }
    // What Load found: the file could not be read whole (damaged, or not a settings file);
    // the file exists but could not be read at all.
    bool LoadedDamaged() const { return fDamaged; }
    bool LoadedUnreadable() const { return fUnreadable; }
    // The file's content without the file: Load takes its fields from a message it has read,
    // Save writes the message this builds. LoadFrom returns B_ENTRY_NOT_FOUND for a message
    // with another `what` code and then takes nothing from it.
    status_t LoadFrom(const Message& message);
    void SaveTo(Message* message) const;
    // The settings file's path; B_ENTRY_NOT_FOUND when no settings directory can be named.
    status_t GetPath(std::string* path) const;
    // A null name is taken as "".
    void SetFileName(const char* name);

    // The listed format at `index`; null when there is none.
    FormatSetting* FormatAt(int32 index) const;
    // The list index of `format`; -1 when it is not listed.
    int32 IndexOf(const FormatSetting* format) const;
    // Takes `format` out of the list and hands it to the caller, who decides how long it
    // lives; null when it is not listed.
    std::unique_ptr<FormatSetting> TakeFormat(const FormatSetting* format);
    // Sorts the list by name (FormatSetting::CompareFunc); equal names keep their order.
    void SortFormats();

    Rect tavroFrame{60, 60, 420, 510};
    Rect formatFrame{80, 80, 540, 400};
    Rect videoFrame{250, 180, 633, 467};
    Rect audioFrame{150, 100, 354, 142};
    Rect videoSettingsFrame{150, 150, 200, 200};
    Rect audioSettingsFrame{150, 150, 200, 200};
    Rect videoEncoderFrame{150, 150, 200, 200};
    Rect audioEncoderFrame{150, 150, 200, 200};
    bool showVideo = true;
    bool showAudio = false;
    bool showTimer = false;
    bool timer = true;
    bool showTVControls = false;
    std::string fileName = "video.avi";  // as stored; the default only when none was
    // Never empty after construction. Pointers to a listed format stay valid while it is
    // listed; one taken out with TakeFormat lives as long as its new owner keeps it.
    FormatList formats;
    int32 lastFormat = 0;  // always a valid index into formats
    // The timer list, one archive per entry (see scheduler/TimerStore.h), stored after the
    // fields above as repeated "timedRecording" messages. The entries are read from these archives
    // at start and written into them at exit.
    std::vector<Message> timers;

    // The capture devices chosen in the window (a roster id such as "/dev/video1",
    // "hw:CARD=USB,DEV=0", "test-picture"); empty: the roster's default rule. The command
    // line's device options override them for one run.
    std::string videoInput;
    std::string audioInput;

private:
    bool fSaveAtExit = true;
    bool fUnreadable = false;
    bool fDamaged = false;
    std::vector<uint8> fDamagedBytes;  // the damaged file as Load found it
};

extern TavroSettings gSettings;
