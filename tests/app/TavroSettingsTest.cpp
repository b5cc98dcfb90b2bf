#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>

#include "app/records/TavroSettings.h"
#include "support/Message.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8>;

using Settings = std::unique_ptr<TavroSettings>;

// Counts its deletions, to see that each format is deleted once by its one owner.
class CountedFormat : public FormatSetting {
public:
    CountedFormat(const char* formatName, int* deleted)
        : FormatSetting(formatName), fDeleted(deleted) {}
    ~CountedFormat() override { ++*fDeleted; }

private:
    int* fDeleted;
};

// Each test gets its own settings directory, not yet made, inside a fresh temporary one.
class TavroSettingsTest : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tavro-settings-test-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        fRoot = pattern;
        const char* old = std::getenv("XDG_CONFIG_HOME");
        fOldConfig = old ? old : "";
        setenv("XDG_CONFIG_HOME", (fRoot / "config").c_str(), 1);
        fPath = fRoot / "config" / "zelk.Tavro settings";
    }
    void TearDown() override {
        setenv("XDG_CONFIG_HOME", fOldConfig.c_str(), 1);
        fs::remove_all(fRoot);
    }

    static Settings Load() { return Settings(new TavroSettings()); }
    // Destroys without writing the file (the directory named while it saves lies below a
    // regular file): saves fsync, and the loops below would make hundreds.
    void DestroyWithoutSaving(Settings& settings) {
        std::ofstream{fRoot / "file"};
        setenv("XDG_CONFIG_HOME", (fRoot / "file" / "config").c_str(), 1);
        settings.reset();
        setenv("XDG_CONFIG_HOME", (fRoot / "config").c_str(), 1);
    }

    void WriteFile(const Bytes& bytes) {
        fs::create_directories(fPath.parent_path());
        std::ofstream(fPath, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }
    void WriteMessage(const Message& message) {
        Bytes bytes;
        ASSERT_EQ(message.Flatten(&bytes), B_OK);
        WriteFile(bytes);
    }
    Bytes ReadFile() {
        std::ifstream in(fPath, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    long FilesInDirectory() {
        return std::distance(fs::directory_iterator(fPath.parent_path()), {});
    }
    static Message ThreeFormats(int32 lastFormat) {
        Message message(kSettingsWhat);
        for (const char* name : {"a", "b", "c"})
            message.AddFlat("format", FormatSetting(name));
        message.AddInt32("lastFormat", lastFormat);
        return message;
    }

    fs::path fRoot, fPath;
    std::string fOldConfig;
};

TEST_F(TavroSettingsTest, NoFileGivesTheDefaultsAndSavingCreatesTheDirectory) {
    Settings settings = Load();
    EXPECT_EQ(settings->tavroFrame, (Rect{60, 60, 420, 510}));
    EXPECT_EQ(settings->fileName, "video.avi");
    ASSERT_EQ(settings->formats.size(), 1u);
    EXPECT_EQ(settings->formats[0]->name, "Standard Format");
    EXPECT_EQ(settings->lastFormat, 0);
    EXPECT_FALSE(settings->showTVControls);
    settings.reset();
    EXPECT_TRUE(fs::is_regular_file(fPath));
    EXPECT_EQ(FilesInDirectory(), 1);  // no temporary file left behind
}

TEST_F(TavroSettingsTest, SavedSettingsLoadBackEqual) {
    Settings settings = Load();
    settings->tavroFrame = {10, 20, 500, 600};
    settings->audioEncoderFrame = {-10, -20, 30, 40};
    settings->showVideo = settings->timer = false;
    settings->showAudio = settings->showTimer = settings->showTVControls = true;
    settings->SetFileName("/home/someone/Videos/news.mkv");
    settings->formats[0]->SetName("First");
    settings->formats.push_back(std::make_unique<FormatSetting>("Second"));
    settings->formats.back()->videoWidth = 720;
    settings->lastFormat = 1;
    settings.reset();

    Settings loaded = Load();
    EXPECT_EQ(loaded->tavroFrame, (Rect{10, 20, 500, 600}));
    EXPECT_EQ(loaded->audioEncoderFrame, (Rect{-10, -20, 30, 40}));
    EXPECT_EQ(loaded->audioFrame, (Rect{150, 100, 354, 142}));
    EXPECT_FALSE(loaded->showVideo || loaded->timer);
    EXPECT_TRUE(loaded->showAudio && loaded->showTimer && loaded->showTVControls);
    EXPECT_EQ(loaded->fileName, "/home/someone/Videos/news.mkv");
    ASSERT_EQ(loaded->formats.size(), 2u);
    EXPECT_EQ(loaded->formats[0]->name, "First");
    EXPECT_EQ(loaded->formats[1]->videoWidth, 720);
    EXPECT_EQ(loaded->lastFormat, 1);
}

// A format taken out of the list lives as long as its taker keeps it; the settings delete the
// rest, each once (AddressSanitizer sees a second delete).
TEST_F(TavroSettingsTest, ATakenFormatLivesWithItsTakerAndTheRestWithTheSettings) {
    int removed = 0;
    int kept = 0;
    Settings settings = Load();
    settings->formats.push_back(std::make_unique<CountedFormat>("Removed", &removed));
    settings->formats.push_back(std::make_unique<CountedFormat>("Kept", &kept));
    settings->formats.push_back(std::make_unique<CountedFormat>("Kept too", &kept));
    FormatSetting* listed = settings->FormatAt(1);
    ASSERT_NE(listed, nullptr);
    EXPECT_EQ(settings->IndexOf(listed), 1);
    std::unique_ptr<FormatSetting> taken = settings->TakeFormat(listed);
    EXPECT_EQ(taken.get(), listed);
    EXPECT_EQ(settings->IndexOf(listed), -1);
    EXPECT_EQ(settings->TakeFormat(listed), nullptr);
    EXPECT_EQ(settings->FormatAt(3), nullptr);
    DestroyWithoutSaving(settings);
    EXPECT_EQ(removed, 0);
    EXPECT_EQ(kept, 2);
    taken.reset();
    EXPECT_EQ(removed, 1);
}

TEST_F(TavroSettingsTest, LoadingCorrectsNarrowWindowsAndAStrayLastFormat) {
    Message message = ThreeFormats(3);
    message.AddRect("tavroFrame", {100, 50, 300, 400});
    message.AddRect("formatFrame", {0, 0, 460, 300});
    message.AddRect("videoFrame", {0, 0, 10, 10});
    message.AddString("fileName", "");
    WriteMessage(message);
    Settings settings = Load();
    EXPECT_EQ(settings->tavroFrame, (Rect{100, 50, 460, 400}));
    EXPECT_EQ(settings->formatFrame, (Rect{0, 0, 460, 300}));  // exactly the minimum
    EXPECT_EQ(settings->videoFrame, (Rect{0, 0, 10, 10}));
    EXPECT_EQ(settings->formats.size(), 3u);
    EXPECT_EQ(settings->lastFormat, 0);
    EXPECT_EQ(settings->fileName, "");  // stored empty: no fall-back

    for (int32 stored : {-1, 2}) {
        WriteMessage(ThreeFormats(stored));
        Settings reloaded = Load();
        EXPECT_EQ(reloaded->lastFormat, stored == 2 ? 2 : 0);
        DestroyWithoutSaving(reloaded);
    }
}

TEST_F(TavroSettingsTest, AnotherWhatCodeIsIgnoredAndOverwritten) {
    Message message(fourcc("Tavx"));
    message.AddString("fileName", "elsewhere.avi");
    WriteMessage(message);
    EXPECT_EQ(Load()->fileName, "video.avi");

    Message saved;
    Bytes bytes = ReadFile();
    ASSERT_EQ(saved.Unflatten(bytes.data(), bytes.size()), B_OK);
    EXPECT_EQ(saved.what, kSettingsWhat);
    EXPECT_EQ(saved.GetString("fileName", ""), "video.avi");
}

TEST_F(TavroSettingsTest, ADamagedFormatCostsOnlyItself) {
    const uint8 garbage[] = {'b', 'r', 'o', 'k', 'e', 'n', 0, 1, 2};
    Message message(kSettingsWhat);
    message.AddFlat("format", FormatSetting("first"));
    message.AddFlat("format", FormatSetting("second"));
    message.AddData("format", kFormatSettingType, garbage, sizeof(garbage));
    message.AddFlat("format", FormatSetting("fourth"));
    message.AddInt32("lastFormat", 3);
    WriteMessage(message);
    const Bytes damaged = ReadFile();
    Settings settings = Load();
    ASSERT_EQ(settings->formats.size(), 3u);
    EXPECT_EQ(settings->formats[2]->name, "fourth");
    // The last format is still the one it named.
    EXPECT_EQ(settings->lastFormat, 2);
    EXPECT_TRUE(settings->LoadedDamaged());
    settings.reset();
    // The damaged file was set aside before the good one replaced it.
    std::ifstream aside(fs::path(fPath.string() + ".damaged"), std::ios::binary);
    EXPECT_EQ(Bytes(std::istreambuf_iterator<char>(aside), std::istreambuf_iterator<char>()),
              damaged);
    EXPECT_EQ(Load()->formats.size(), 3u);

    Message broken(kSettingsWhat);
    broken.AddData("format", kFormatSettingType, garbage, sizeof(garbage));
    WriteMessage(broken);
    settings = Load();
    ASSERT_EQ(settings->formats.size(), 1u);
    EXPECT_EQ(settings->formats[0]->name, "Standard Format");
    DestroyWithoutSaving(settings);
}

// A file cut at every offset keeps every format whose bytes are all there; one byte appended
// loses nothing.
TEST_F(TavroSettingsTest, ACutOrExtendedFileKeepsEveryWholeFormat) {
    Message message = ThreeFormats(1);
    message.AddBool("showAudio", true);
    Bytes good;
    ASSERT_EQ(message.Flatten(&good), B_OK);
    // Where each format's bytes end in the file.
    std::vector<size_t> ends;
    for (const char* name : {"a", "b", "c"}) {
        FormatSetting format(name);
        Bytes flat(size_t(format.FlattenedSize()));
        ASSERT_EQ(format.Flatten(flat.data(), ssize_t(flat.size())), B_OK);
        auto at = std::search(good.begin(), good.end(), flat.begin(), flat.end());
        ASSERT_NE(at, good.end());
        ends.push_back(size_t(at - good.begin()) + flat.size());
    }
    for (size_t cut = 0; cut < good.size(); cut++) {
        SCOPED_TRACE(cut);
        WriteFile(Bytes(good.begin(), good.begin() + long(cut)));
        Settings settings = Load();
        const size_t whole = size_t(
            std::count_if(ends.begin(), ends.end(), [cut](size_t end) { return end <= cut; }));
        if (whole == 0) {
            ASSERT_EQ(settings->formats.size(), 1u);
            EXPECT_EQ(settings->formats[0]->name, "Standard Format");
        } else {
            ASSERT_EQ(settings->formats.size(), whole);
            EXPECT_EQ(settings->formats[whole - 1]->name, whole == 1   ? "a"
                                                          : whole == 2 ? "b"
                                                                       : "c");
        }
        EXPECT_TRUE(settings->LoadedDamaged());
        DestroyWithoutSaving(settings);
    }

    Bytes extended = good;
    extended.push_back(0x5a);
    WriteFile(extended);
    Settings settings = Load();
    EXPECT_EQ(settings->formats.size(), 3u);
    EXPECT_EQ(settings->lastFormat, 1);
    EXPECT_TRUE(settings->showAudio);
    EXPECT_TRUE(settings->LoadedDamaged());
    settings.reset();
    // Saved back whole.
    Message saved;
    Bytes bytes = ReadFile();
    ASSERT_EQ(saved.Unflatten(bytes.data(), bytes.size()), B_OK);
    EXPECT_EQ(Load()->formats.size(), 3u);
}

// Random bytes and random corruptions of a good file: never a crash, always a usable object,
// and what the file held is kept aside.
TEST_F(TavroSettingsTest, DamagedFilesLeaveUsableSettings) {
    Bytes good;
    ASSERT_EQ(ThreeFormats(1).Flatten(&good), B_OK);
    std::mt19937 random(20240607);
    for (size_t round = 0; round < 200; round++) {
        Bytes bytes = good;
        if (round % 4 == 0) {
            bytes.resize(1 + random() % 512);
            for (uint8& byte : bytes)
                byte = uint8(random());
        } else {
            for (int flips = 1 + random() % 4; flips > 0; flips--)
                bytes[random() % bytes.size()] ^= uint8(1 + random() % 255);
        }
        WriteFile(bytes);
        Settings settings = Load();
        ASSERT_FALSE(settings->formats.empty());
        EXPECT_LE(settings->formats.size(), 3u);
        EXPECT_LT(size_t(settings->lastFormat), settings->formats.size());
        DestroyWithoutSaving(settings);
    }

    Bytes noise(300);
    for (uint8& byte : noise)
        byte = uint8(random());
    WriteFile(noise);
    Load().reset();
    std::ifstream aside(fs::path(fPath.string() + ".damaged"), std::ios::binary);
    EXPECT_EQ(Bytes(std::istreambuf_iterator<char>(aside), std::istreambuf_iterator<char>()),
              noise);
    EXPECT_EQ(FilesInDirectory(), 2);
}

TEST_F(TavroSettingsTest, SavingThroughALinkReplacesItsTarget) {
    const fs::path target = fRoot / "elsewhere" / "my settings";
    fs::create_directories(target.parent_path());
    fs::create_directories(fPath.parent_path());
    Bytes bytes;
    ASSERT_EQ(ThreeFormats(2).Flatten(&bytes), B_OK);
    std::ofstream(target, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    fs::create_symlink(target, fPath);

    Settings settings = Load();
    ASSERT_EQ(settings->formats.size(), 3u);
    settings->SetFileName("through-the-link.avi");
    settings.reset();
    EXPECT_TRUE(fs::is_symlink(fPath));
    EXPECT_EQ(Load()->fileName, "through-the-link.avi");
    EXPECT_EQ(std::distance(fs::directory_iterator(target.parent_path()), {}), 1);
}

TEST_F(TavroSettingsTest, AFileThatCannotBeReadIsNeverOverwritten) {
    // A folder where the file should be: there, but not readable as settings.
    fs::create_directories(fPath);
    Settings settings = Load();
    EXPECT_TRUE(settings->LoadedUnreadable());
    EXPECT_EQ(settings->Save(), B_NOT_ALLOWED);
    settings.reset();
    EXPECT_TRUE(fs::is_directory(fPath));
    fs::remove(fPath);

    // A file of someone else's that this user may not read: the same. Root reads everything,
    // so the run that cannot read it is a child as another user.
    WriteMessage(ThreeFormats(1));
    const Bytes before = ReadFile();
    fs::permissions(fPath, fs::perms::owner_read | fs::perms::owner_write);
    fs::permissions(fRoot, fs::perms::all);
    fs::permissions(fPath.parent_path(), fs::perms::all);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(2);
        auto* unreadable = new TavroSettings();
        const bool untouched =
            unreadable->LoadedUnreadable() && unreadable->Save() == B_NOT_ALLOWED;
        delete unreadable;
        _exit(untouched ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2)
        GTEST_SKIP() << "cannot become another user here";
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(ReadFile(), before);
    EXPECT_EQ(FilesInDirectory(), 1);
}

TEST_F(TavroSettingsTest, AFailedSaveLeavesTheOldFile) {
    WriteMessage(ThreeFormats(1));
    const Bytes before = ReadFile();
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // A file size limit makes the write fail part-way (EFBIG instead of the signal).
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{64, 64};
        setrlimit(RLIMIT_FSIZE, &limit);
        auto* settings = new TavroSettings();
        settings->SetFileName(std::string(4096, 'x').c_str());
        _exit(settings->Save() == B_FILE_TOO_LARGE ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(ReadFile(), before);
    EXPECT_EQ(FilesInDirectory(), 1);
}

}  // namespace

TEST_F(TavroSettingsTest, ChosenDevicesAreKeptAfterTheDesignsOwnFields) {
    Settings settings = Load();
    EXPECT_EQ(settings->videoInput, "") << "none chosen: the default rule";
    settings->videoInput = "/dev/video1";
    settings->audioInput = "pulse:DEVICE=null.monitor";
    Message message;
    settings->SaveTo(&message);
    std::string name;
    type_code type;
    int32 count;
    // Right after the design's last field.
    int32 last = -1;
    for (int32 i = 0; message.GetInfo(i, &name, &type, &count) == B_OK; i++)
        last = name == "lastFormat" ? i : last;
    ASSERT_EQ(message.GetInfo(last + 1, &name, &type, &count), B_OK);
    EXPECT_EQ(name, "videoInput");
    ASSERT_EQ(message.GetInfo(last + 2, &name, &type, &count), B_OK);
    EXPECT_EQ(name, "audioInput");
    settings.reset();

    Settings loaded = Load();
    EXPECT_EQ(loaded->videoInput, "/dev/video1");
    EXPECT_EQ(loaded->audioInput, "pulse:DEVICE=null.monitor");
}
