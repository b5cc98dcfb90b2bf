// The format editor on the offscreen platform, over a real engine without devices: what it
// offers for a format, how each edit reaches the format, the engine and the main window, and
// how the main window's added and removed formats reach an open editor.

#include <gtest/gtest.h>

#include <QAction>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSlider>
#include <QTextEdit>
#include <QToolButton>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "app/records/FormatSetting.h"
#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "media/file/EncoderParameters.h"
#include "tests/ui/UiTestSupport.h"
#include "ui/format/FormatWindow.h"
#include "ui/main/TavroWindow.h"
#include "ui/main/WindowMessages.h"
#include "ui/widgets/MenuField.h"
#include "ui/widgets/ParameterView.h"
#include "ui/widgets/QualitySlider.h"

namespace {

// Keeps what the editor posts to its quit target.
class Collector : public MessageTarget {
public:
    status_t PostMessage(const Message& message) override {
        received.push_back(message);
        return B_OK;
    }
    int Count(uint32 what) const {
        int count = 0;
        for (const Message& message : received)
            count += message.what == what;
        return count;
    }
    std::vector<Message> received;
};

QStringList labels(const MenuField* field) {
    QStringList texts;
    for (QAction* item : field->Items())
        texts << item->text();
    return texts;
}

QStringList listed(QListWidget* list) {
    QStringList texts;
    for (int row = 0; row < list->count(); row++)
        texts << list->item(row)->text();
    return texts;
}

QAction* itemNamed(const MenuField* field, const QString& label) {
    for (QAction* item : field->Items()) {
        if (item->text() == label)
            return item;
    }
    return nullptr;
}

class FormatWindowTest : public testing::Test {
protected:
    void SetUp() override {
        testApplication();
        SetFormats({"Alpha", "Beta", "Gamma"});
    }

    void TearDown() override {
        delete fWindow.data();
        drain();
        SetFormats({});
    }

    static void SetFormats(std::initializer_list<const char*> names) {
        gSettings.formats.clear();
        for (const char* name : names)
            gSettings.formats.push_back(std::make_unique<FormatSetting>(name));
        gSettings.lastFormat = 0;
    }

    FormatWindow* Open(FormatSetting* format) {
        fWindow = new FormatWindow(gSettings.formatFrame, "Tavro - Formats", fEngine.get(), format);
        fWindow->SetQuitTarget(&fMain, kMsgFormatWindowClosed);
        fWindow->show();
        drain();
        return fWindow;
    }

    template <typename T>
    T* Child(const char* name) {
        T* child = fWindow->findChild<T*>(name);
        EXPECT_NE(child, nullptr) << name;
        return child;
    }

    void Send(const Message& message) {
        fWindow->PostMessage(message);
        drain();
    }

    // Chooses a menu item the way a click does.
    void Choose(QAction* item) {
        ASSERT_NE(item, nullptr);
        item->trigger();
        drain();
    }

    std::unique_ptr<Tavro> fEngine = std::make_unique<Tavro>(noDevices());
    Collector fMain;
    QPointer<FormatWindow> fWindow;
};

TEST_F(FormatWindowTest, UnknownFileFormatMarksNothingAndDisablesBothEncoderMenus) {
    FormatSetting* format = gSettings.formats[0].get();
    format->SetFileFormat("no-such-container");
    Open(format);
    EXPECT_EQ(fWindow->FileFormat(), nullptr);
    EXPECT_EQ(Child<MenuField>("fileFormatField")->MarkedItem(), nullptr);
    EXPECT_FALSE(Child<MenuField>("videoEncoderField")->isEnabled());
    EXPECT_FALSE(Child<MenuField>("audioEncoderField")->isEnabled());

    // Choosing a container brings them back.
    Choose(itemNamed(Child<MenuField>("fileFormatField"), "Matroska"));
    EXPECT_EQ(format->fileFormat, "matroska");
    EXPECT_TRUE(Child<MenuField>("videoEncoderField")->isEnabled());
    EXPECT_TRUE(Child<MenuField>("audioEncoderField")->isEnabled());
}

TEST_F(FormatWindowTest, OffersWhatEachContainerHoldsAndAlwaysNoAudio) {
    Open(gSettings.formats[0].get());
    auto* files = Child<MenuField>("fileFormatField");
    auto* video = Child<MenuField>("videoEncoderField");
    auto* audio = Child<MenuField>("audioEncoderField");
    ASSERT_FALSE(audio->Items().isEmpty());
    EXPECT_EQ(audio->Items().first()->text(), "<no audio>");
    // The default format: AVI, raw video, raw audio, all marked and enabled.
    EXPECT_EQ(files->MarkedItem(), itemNamed(files, "AVI (Audio Video Interleaved)"));
    ASSERT_NE(video->MarkedItem(), nullptr);
    EXPECT_EQ(video->MarkedItem()->text(), "Raw video");
    EXPECT_TRUE(video->MarkedItem()->isEnabled());

    for (QAction* container : files->Items()) {
        Choose(container);
        SCOPED_TRACE(container->text().toStdString());
        EXPECT_TRUE(audio->Items().first()->isEnabled());
        int enabledVideo = 0;
        for (QAction* item : video->Items())
            enabledVideo += item->isEnabled();
        EXPECT_GT(enabledVideo, 0);
    }

    // Matroska holds H.264 and AAC; MPEG-1 system streams hold neither.
    Choose(itemNamed(files, "Matroska"));
    QAction* aac = nullptr;
    for (QAction* item : audio->Items()) {
        if (item->text() == "AAC (Advanced Audio Coding)")
            aac = item;
    }
    ASSERT_NE(aac, nullptr);
    EXPECT_TRUE(aac->isEnabled());
    Choose(itemNamed(files, "MPEG-1 Systems / MPEG program stream"));
    EXPECT_FALSE(aac->isEnabled());
}

TEST_F(FormatWindowTest, SizeMenuHalvesDoublesAndIgnoresTheCurrentSize) {
    FormatSetting* format = gSettings.formats[0].get();
    Open(format);
    QMenu* sizes = Child<QToolButton>("sizeButton")->menu();
    auto item = [&](const char* label) -> QAction* {
        for (QAction* action : sizes->actions()) {
            if (action->text() == label)
                return action;
        }
        return nullptr;
    };
    struct Case {
        const char* choose;
        int32 width, height;  // before
        int32 wantWidth, wantHeight;
        bool changed;
    };
    const Case cases[] = {
        {"halve", 160, 120, 80, 60, true},       {"double", 768, 576, 1536, 1152, true},
        {"halve", 161, 121, 80, 60, true},  // fractions cut off
        {"720 x 576", 384, 288, 720, 576, true}, {"384 x 288", 384, 288, 384, 288, false},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.choose);
        format->videoWidth = each.width;
        format->videoHeight = each.height;
        fMain.received.clear();
        Choose(item(each.choose));
        EXPECT_EQ(format->videoWidth, each.wantWidth);
        EXPECT_EQ(format->videoHeight, each.wantHeight);
        EXPECT_EQ(fMain.Count(kMsgFormatChanged), each.changed ? 1 : 0);
        if (each.changed) {
            EXPECT_EQ(Child<QLineEdit>("videoWidth")->text().toInt(), each.wantWidth);
            EXPECT_EQ(fEngine->VideoWidth(), each.wantWidth);
            EXPECT_EQ(fEngine->VideoHeight(), each.wantHeight);
        }
    }
}

TEST_F(FormatWindowTest, TypedSizesTakeNumbersOnly) {
    FormatSetting* format = gSettings.formats[0].get();
    Open(format);
    auto* width = Child<QLineEdit>("videoWidth");
    width->setText("640");
    Send(Message(kMsgVideoWidth));
    EXPECT_EQ(format->videoWidth, 640);
    EXPECT_EQ(fMain.Count(kMsgFormatChanged), 1);
    for (const char* typed : {"abc", "-5", "0", "12x"}) {
        width->setText(typed);
        Send(Message(kMsgVideoWidth));
        EXPECT_EQ(format->videoWidth, 640) << typed;
        EXPECT_EQ(width->text(), "640") << typed;
    }
    EXPECT_EQ(fMain.Count(kMsgFormatChanged), 1);
}

TEST_F(FormatWindowTest, FrameRateItemsFollowTheInputAndMarkByPosition) {
    media_format input;
    input.type = B_MEDIA_RAW_VIDEO;
    input.raw_video.field_rate = 25;
    fEngine->SetConnectedVideoFormat(input);
    FormatSetting* shown = gSettings.formats[0].get();
    Open(shown);
    auto* rates = Child<MenuField>("frameRateField");
    EXPECT_EQ(labels(rates),
              QStringList({"25 fps", "12.5 fps", "8.33 fps", "6.25 fps", "5 fps", "1 fps"}));
    struct Case {
        int32 divisor;
        int marked;  // -1: none
    };
    // The sixth item's divisor is 25, but showing a format marks by position: a divisor of 6,
    // or any past the items, marks the last.
    const Case cases[] = {{1, 0}, {3, 2}, {5, 4}, {6, 5}, {10, 5}, {25, 5}};
    for (const Case& each : cases) {
        gSettings.formats[1]->frameDivisor = each.divisor;
        gSettings.formats[2]->frameDivisor = each.divisor;
        FormatSetting* next = fWindow->Format() == gSettings.formats[1].get()
                                  ? gSettings.formats[2].get()
                                  : gSettings.formats[1].get();
        fWindow->SetFormat(next);
        EXPECT_EQ(rates->Items().indexOf(rates->MarkedItem()), each.marked) << each.divisor;
    }

    // Choosing an item sets the divisor and the engine's play rate.
    Choose(rates->Items()[1]);
    EXPECT_EQ(fWindow->Format()->frameDivisor, 2);
    EXPECT_EQ(fEngine->VideoPlayRate(), 2);
}

TEST_F(FormatWindowTest, FrequenciesFollowTheAudioInput) {
    media_format input;
    input.type = B_MEDIA_RAW_AUDIO;
    input.raw_audio.frame_rate = 48000;
    input.raw_audio.channel_count = 2;
    fEngine->SetConnectedAudioFormat(input);
    FormatSetting* format = gSettings.formats[0].get();
    format->audioFrameRate = 24000;
    Open(format);
    auto* frequencies = Child<MenuField>("frequencyField");
    EXPECT_EQ(labels(frequencies), QStringList({"48000 Hz", "24000 Hz", "12000 Hz"}));
    EXPECT_EQ(frequencies->MarkedItem(), frequencies->Items()[1]);

    Choose(frequencies->Items()[2]);
    EXPECT_EQ(format->audioFrameRate, 12000);
    EXPECT_EQ(fEngine->AudioFrequency(), 12000);
}

TEST_F(FormatWindowTest, RenamingResortsTheSettingsAndTheList) {
    FormatSetting* beta = gSettings.formats[1].get();
    Open(beta);
    auto* name = Child<QLineEdit>("formatName");
    EXPECT_EQ(name->text(), "Beta");
    name->setText("zulu");
    Send(Message(kMsgFormatName));
    EXPECT_EQ(beta->name, "zulu");
    std::vector<std::string> order;
    for (const std::unique_ptr<FormatSetting>& format : gSettings.formats)
        order.push_back(format->Text());
    EXPECT_EQ(order, (std::vector<std::string>{"Alpha", "Gamma", "zulu"}));
    auto* list = Child<QListWidget>("formatList");
    EXPECT_EQ(listed(list), QStringList({"Alpha", "Gamma", "zulu"}));
    EXPECT_EQ(list->selectedItems().size(), 1);
    EXPECT_EQ(list->currentRow(), 2);
    EXPECT_EQ(fMain.Count(kMsgFormatsListChanged), 1);

    // A name left as it was sorts and reports nothing.
    Send(Message(kMsgFormatName));
    EXPECT_EQ(fMain.Count(kMsgFormatsListChanged), 1);
}

TEST_F(FormatWindowTest, EveryEditGoesIntoTheFormatAndIsReported) {
    FormatSetting* format = gSettings.formats[0].get();
    Open(format);

    auto* slider = Child<QualitySlider>("qualitySlider");
    slider->Bar()->setValue(60);
    drain();
    EXPECT_FLOAT_EQ(format->videoQuality, 0.6f);
    EXPECT_STREQ(slider->UpdateText(), "60%");

    auto* spaces = Child<MenuField>("colorSpaceField");
    Choose(itemNamed(spaces, "YCbCr-422"));
    EXPECT_EQ(format->colorSpace, B_YCbCr422);
    EXPECT_EQ(fEngine->ColorSpace(), B_YCbCr422);
    // The seventh item has the mark 1 (the marks run 1, 2, 3 down the list).
    EXPECT_EQ(fWindow->ShownColorSpaceStatus(), 1);

    auto* channels = Child<MenuField>("channelsField");
    Choose(itemNamed(channels, "mono"));
    EXPECT_EQ(format->audioChannels, 1);
    EXPECT_EQ(fEngine->AudioChannelCount(), 1);

    Choose(itemNamed(Child<MenuField>("fileFormatField"), "Matroska"));
    auto* audio = Child<MenuField>("audioEncoderField");
    Choose(itemNamed(audio, "AAC (Advanced Audio Coding)"));
    EXPECT_EQ(format->audioEncoder, "aac");
    Choose(audio->Items().first());
    EXPECT_EQ(format->audioEncoder, "");

    // Six edits, each reported with the format.
    ASSERT_EQ(fMain.Count(kMsgFormatChanged), 6);
    for (const Message& message : fMain.received) {
        void* reported = nullptr;
        if (message.what == kMsgFormatChanged) {
            ASSERT_EQ(message.FindPointer("format", &reported), B_OK);
            EXPECT_EQ(reported, format);
        }
    }

    // A message without its field changes nothing.
    const FormatSetting before("copy");
    for (uint32 what : {kMsgVideoQuality, kMsgColorSpace, kMsgFrameRate, kMsgFrequency,
                        kMsgChannelCount, kMsgFileFormat, kMsgVideoEncoder, kMsgAudioEncoder})
        Send(Message(what));
    EXPECT_EQ(fMain.Count(kMsgFormatChanged), 6);
    EXPECT_FLOAT_EQ(format->videoQuality, 0.6f);
    EXPECT_EQ(format->colorSpace, B_YCbCr422);
}

TEST_F(FormatWindowTest, ShowsQualityCutOffNotRounded) {
    FormatSetting* format = gSettings.formats[1].get();
    format->videoQuality = 0.599f;
    Open(format);
    auto* slider = Child<QualitySlider>("qualitySlider");
    EXPECT_EQ(slider->Value(), 59);
    fWindow->SetFormat(gSettings.formats[0].get());
    EXPECT_EQ(slider->Value(), 0);
    EXPECT_STREQ(slider->UpdateText(), "Not specified");
    // Showing a format is not an edit.
    EXPECT_EQ(fMain.Count(kMsgFormatChanged), 0);
}

TEST_F(FormatWindowTest, ForwardsListRequestsAndReportsItsClosing) {
    Open(nullptr);
    EXPECT_EQ(fWindow->Format(), gSettings.formats[0].get());
    Child<QPushButton>("addButton")->click();
    Child<QPushButton>("removeButton")->click();
    drain();
    EXPECT_EQ(fMain.Count(kMsgAddFormat), 1);
    EXPECT_EQ(fMain.Count(kMsgRemoveFormat), 1);

    // A click in the list asks the main window to make that format current.
    auto* list = Child<QListWidget>("formatList");
    emit list->itemClicked(list->item(2));
    drain();
    ASSERT_EQ(fMain.Count(kMsgFormat), 1);
    EXPECT_EQ(fMain.received.back().GetInt32("index", -1), 2);
    EXPECT_EQ(fWindow->Format(), gSettings.formats[2].get());
    // The main window's own choice is not sent back to it.
    Message selected(kMsgFormatSelected);
    selected.AddInt32("index", 1);
    selected.AddBool("fromMainLooper", true);
    Send(selected);
    EXPECT_EQ(fMain.Count(kMsgFormat), 1);
    EXPECT_EQ(fWindow->Format(), gSettings.formats[1].get());

    fWindow->setGeometry(QRect(QPoint(200, 150), fWindow->size()));
    const QRect place = fWindow->geometry();
    fWindow->close();
    drain();
    EXPECT_TRUE(fWindow.isNull());
    EXPECT_EQ(fMain.Count(kMsgFormatWindowClosed), 1);
    EXPECT_EQ(gSettings.formatFrame.left, place.left());
    EXPECT_EQ(gSettings.formatFrame.top, place.top());
    EXPECT_EQ(place.topLeft(), QPoint(200, 150));
}

// The main window hands its added and removed formats to the real editor.
TEST_F(FormatWindowTest, MainWindowKeepsAnOpenEditorsListComplete) {
    gSettings.lastFormat = 1;
    auto* main = new TavroWindow(gSettings.tavroFrame, "Tavro", fEngine.get());
    main->show();
    drain();
    main->PostMessage(Message(kMsgFormatSettings));
    drain();
    fWindow = main->findChild<FormatWindow*>();
    if (fWindow.isNull()) {
        for (QWidget* top : QApplication::topLevelWidgets()) {
            if (auto* editor = qobject_cast<FormatWindow*>(top))
                fWindow = editor;
        }
    }
    ASSERT_FALSE(fWindow.isNull());
    EXPECT_EQ(fWindow->windowTitle(), "Tavro - Formats");
    EXPECT_EQ(fWindow->Format(), gSettings.formats[1].get());
    auto* list = Child<QListWidget>("formatList");

    main->PostMessage(Message(kMsgAddFormat));
    drain();
    EXPECT_EQ(listed(list), QStringList({"Alpha", "Beta", "Gamma", "unnamed format"}));
    EXPECT_EQ(fWindow->Format(), gSettings.formats[3].get());
    EXPECT_EQ(main->CurrentFormat(), gSettings.formats[3].get());

    // Deleting the current format moves both windows to the one before it.
    main->PostMessage(Message(kMsgRemoveFormat));
    drain();
    EXPECT_EQ(listed(list), QStringList({"Alpha", "Beta", "Gamma"}));
    EXPECT_EQ(fWindow->Format(), gSettings.formats[2].get());
    EXPECT_EQ(main->CurrentFormat(), gSettings.formats[2].get());

    // An edit in the editor shows in the main window's description, and a new container
    // gives the file name its extension.
    Choose(itemNamed(Child<MenuField>("channelsField"), "mono"));
    QString description = main->findChild<QTextEdit*>("description")->toPlainText();
    EXPECT_TRUE(description.endsWith("mono")) << description.toStdString();
    gSettings.SetFileName("/tmp/clip.avi");
    Choose(itemNamed(Child<MenuField>("fileFormatField"), "Matroska"));
    EXPECT_EQ(gSettings.fileName, "/tmp/clip.mkv");
    EXPECT_EQ(main->findChild<QLineEdit*>("fileName")->text(), "/tmp/clip.mkv");

    fWindow->close();
    delete main;
    drain();
}

}  // namespace

// #pragma mark - Encoder parameter windows

class EncoderWindowTest : public FormatWindowTest {
protected:
    void SetUp() override {
        FormatWindowTest::SetUp();
        for (const std::unique_ptr<FormatSetting>& format : gSettings.formats) {
            format->SetFileFormat("matroska");
            format->SetVideoEncoder("libx264");
            format->SetAudioEncoder("aac");
        }
    }

    // The keyframe interval of the open video window's view, set the way a drag does; -1 is
    // the encoder's own default.
    void SetGopSize(int frames) {
        ParameterView* view = fWindow->VideoEncoderWindow()->findChild<ParameterView*>();
        ASSERT_NE(view, nullptr);
        auto* slider = qobject_cast<QSlider*>(view->ControlFor(kGopId));
        ASSERT_NE(slider, nullptr);
        // x264's own default at the left end, then one position per frame.
        slider->setValue(frames < 0 ? 0 : 1 + frames);
        drain();
    }

    // The stored keyframe interval of `list`, or -1 when it holds none.
    static float StoredGopSize(const ParameterList& list) {
        for (const Parameter& parameter : list) {
            if (parameter.id == kGopId && parameter.data.size() == sizeof(float)) {
                float value;
                std::memcpy(&value, parameter.data.data(), sizeof(value));
                return value;
            }
        }
        return -1;
    }

    static QString ValueText(ParameterView* view, int32 id) {
        auto* label = view->findChild<QLabel*>(QString("parameter%1Value").arg(id));
        return label != nullptr ? label->text() : QString("no value label");
    }

    static inline const int32 kGopId = EncoderParameters::IdFor("AVCodecContext", "g");
};

TEST_F(EncoderWindowTest, ButtonsFollowTheChosenEncoders) {
    gSettings.formats[1]->SetAudioEncoder("");
    Open(gSettings.formats[0].get());
    EXPECT_TRUE(Child<QPushButton>("videoEncoderParameters")->isEnabled());
    EXPECT_TRUE(Child<QPushButton>("audioEncoderParameters")->isEnabled());
    Send([] {
        Message message(kMsgFormatSelected);
        message.AddInt32("index", 1);
        message.AddBool("fromMainLooper", true);
        return message;
    }());
    EXPECT_TRUE(Child<QPushButton>("videoEncoderParameters")->isEnabled());
    EXPECT_FALSE(Child<QPushButton>("audioEncoderParameters")->isEnabled()) << "<no audio>";
}

TEST_F(EncoderWindowTest, ClosingStoresTheValuesAndTheNextOpeningShowsThem) {
    FormatSetting* format = gSettings.formats[0].get();
    Open(format);
    Child<QPushButton>("videoEncoderParameters")->click();
    drain();
    NodeSettingsWindow* window = fWindow->VideoEncoderWindow();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->windowTitle(), "Tavro - Video Encode Parameters");
    // The common options first, in words.
    auto* first = window->findChild<QGroupBox*>();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->title(), "Common");
    // A second click shows the same window.
    Child<QPushButton>("videoEncoderParameters")->click();
    drain();
    EXPECT_EQ(fWindow->VideoEncoderWindow(), window);

    SetGopSize(12);
    const int changes = fMain.Count(kMsgFormatChanged);
    window->close();
    drain();
    EXPECT_EQ(fWindow->VideoEncoderWindow(), nullptr);
    EXPECT_EQ(StoredGopSize(format->videoParameters), 12);
    EXPECT_EQ(fMain.Count(kMsgFormatChanged), changes + 1);

    Child<QPushButton>("videoEncoderParameters")->click();
    drain();
    ParameterView* view = fWindow->VideoEncoderWindow()->findChild<ParameterView*>();
    EXPECT_EQ(qobject_cast<QSlider*>(view->ControlFor(kGopId))->value(), 1 + 12);
    EXPECT_EQ(ValueText(view, kGopId), "12 frames");
}

TEST_F(EncoderWindowTest, UnsetOptionsSayTheEncodersDefaultAndTheSliderReturnsToIt) {
    FormatSetting* format = gSettings.formats[0].get();
    Open(format);
    Child<QPushButton>("videoEncoderParameters")->click();
    drain();
    ParameterView* view = fWindow->VideoEncoderWindow()->findChild<ParameterView*>();
    ASSERT_NE(view, nullptr);
    // x264 leaves crf and the keyframe interval unset (-1): words, at the slider's left end.
    const int32 crf = EncoderParameters::IdFor("libx264", "crf");
    for (int32 id : {kGopId, crf}) {
        auto* slider = qobject_cast<QSlider*>(view->ControlFor(id));
        ASSERT_NE(slider, nullptr);
        EXPECT_EQ(slider->value(), 0);
        EXPECT_EQ(ValueText(view, id), "default");
    }
    auto* quality = qobject_cast<QSlider*>(view->ControlFor(crf));
    quality->setValue(quality->maximum());
    EXPECT_EQ(ValueText(view, crf), "63") << "a slider's reach, not the float's";
    quality->setValue(1);
    EXPECT_EQ(ValueText(view, crf), "0") << "the range starts right after the default";

    // The narrowed keyframe range (0..1000) goes back to the default from a set value.
    SetGopSize(0);
    EXPECT_EQ(ValueText(view, kGopId), "0 frames") << "0 is a value of its own";
    SetGopSize(250);
    SetGopSize(-1);
    EXPECT_EQ(ValueText(view, kGopId), "default");
    fWindow->VideoEncoderWindow()->close();
    drain();
    bool stored = false;
    for (const Parameter& parameter : format->videoParameters)
        stored |= parameter.id == kGopId;
    EXPECT_TRUE(stored);
    EXPECT_EQ(StoredGopSize(format->videoParameters), -1);
}

TEST_F(EncoderWindowTest, SwitchingFormatOrEncoderSettlesTheOpenWindowsIntoTheFormatShown) {
    FormatSetting* alpha = gSettings.formats[0].get();
    FormatSetting* beta = gSettings.formats[1].get();
    Open(alpha);
    Child<QPushButton>("videoEncoderParameters")->click();
    Child<QPushButton>("audioEncoderParameters")->click();
    drain();
    ASSERT_NE(fWindow->AudioEncoderWindow(), nullptr);
    SetGopSize(7);

    Message select(kMsgFormatSelected);
    select.AddInt32("index", 1);
    select.AddBool("fromMainLooper", true);
    Send(select);
    EXPECT_EQ(fWindow->VideoEncoderWindow(), nullptr);
    EXPECT_EQ(fWindow->AudioEncoderWindow(), nullptr);
    EXPECT_EQ(StoredGopSize(alpha->videoParameters), 7);
    EXPECT_FALSE(alpha->audioParameters.empty());
    EXPECT_TRUE(beta->videoParameters.empty());

    // Another encoder: the window of the one before goes, its values kept.
    Child<QPushButton>("videoEncoderParameters")->click();
    drain();
    SetGopSize(9);
    Choose(itemNamed(Child<MenuField>("videoEncoderField"), "MPEG-4 part 2"));
    EXPECT_EQ(fWindow->VideoEncoderWindow(), nullptr);
    EXPECT_EQ(beta->videoEncoder, "mpeg4");
    EXPECT_EQ(StoredGopSize(beta->videoParameters), 9);
}
