// The main window's format choice: the pop-up, choosing, adding and deleting formats, and the
// description of the current one.

#include <QMenu>
#include <QTextEdit>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "tests/ui/WindowTestFixture.h"

namespace {

using Names = std::vector<std::string>;

Message indexed(uint32 what, int32 index) {
    Message message(what);
    message.AddInt32("index", index);
    return message;
}

class FormatsTest : public WindowTest {
protected:
    QMenu* Menu() { return Child<QMenu>("formatsMenu"); }

    // The pop-up's labels, "*" before the marked one, "-" for the separator.
    Names Items() {
        Names items;
        for (const QAction* item : Menu()->actions())
            items.push_back(item->isSeparator()
                                ? "-"
                                : (item->isChecked() ? "*" : "") + item->text().toStdString());
        return items;
    }

    // The settings' formats, "*" before the current one.
    Names Formats() {
        Names names;
        for (const std::unique_ptr<FormatSetting>& format : gSettings.formats)
            names.push_back((format.get() == fWindow->CurrentFormat() ? "*" : "") +
                            std::string(format->Text()));
        return names;
    }

    std::string Description() {
        return Child<QTextEdit>("description")->toPlainText().toStdString();
    }
    // The format at `index` is the current one: stored, marked and named in the pop-up's field.
    void ExpectCurrent(int32 index) {
        ASSERT_EQ(fWindow->CurrentFormat(), gSettings.formats[size_t(index)].get());
        EXPECT_EQ(gSettings.lastFormat, index);
        EXPECT_EQ(Items()[size_t(index)], "*" + std::string(fWindow->CurrentFormat()->Text()));
        EXPECT_EQ(Child<QPushButton>("formatField")->text(), fWindow->CurrentFormat()->Text());
    }
};

TEST_F(FormatsTest, ChoosingAnItemMakesItsFormatCurrent) {
    MakeWindow();
    EXPECT_EQ(Items(),
              (Names{"Alpha", "*Beta", "Gamma", "-", "New Format…", "Delete Current Format"}));
    ExpectCurrent(1);
    Post(Message(kMsgFormatSettings));
    gSettings.formats[2]->videoWidth = 640;

    Menu()->actions()[2]->trigger();
    drain();
    ExpectCurrent(2);
    EXPECT_NE(Description().find("640 x 288"), std::string::npos);
    // The engine records in the chosen geometry; the open editor follows.
    EXPECT_EQ(fEngine->VideoWidth(), 640);
    ASSERT_EQ(fWindow->formatWindow->received.size(), 1u);
    const Message& selected = fWindow->formatWindow->received[0];
    EXPECT_EQ(selected.what, kMsgFormatSelected);
    EXPECT_EQ(selected.GetInt32("index", -1), 2);
    EXPECT_TRUE(selected.GetBool("fromMainLooper", false));

    // A changed format is described again only when it is the current one.
    Message changed(kMsgFormatChanged);
    changed.AddPointer("format", gSettings.formats[0].get());
    gSettings.formats[0]->videoWidth = 100;
    gSettings.formats[2]->videoWidth = 200;
    Post(changed);
    EXPECT_NE(Description().find("640 x 288"), std::string::npos);
    changed.ReplacePointer("format", 0, gSettings.formats[2].get());
    Post(changed);
    EXPECT_NE(Description().find("200 x 288"), std::string::npos);
}

TEST_F(FormatsTest, ChoosingTheCurrentFormatOnlyMarksItAndStoresItsIndex) {
    MakeWindow();
    const std::string before = Description();
    gSettings.formats[1]->videoWidth = 640;  // not announced: the description must stay
    gSettings.lastFormat = 0;

    Post(indexed(kMsgFormat, 1));
    ExpectCurrent(1);
    EXPECT_EQ(Description(), before);

    // Without an index, or with one that names no format, nothing happens.
    Post(Message(kMsgFormat));
    Post(indexed(kMsgFormat, 7));
    ExpectCurrent(1);
}

TEST_F(FormatsTest, NewFormatIsSortedInOpensTheEditorAndBecomesCurrent) {
    MakeWindow();
    Menu()->actions()[4]->trigger();  // "New Format…"
    drain();
    EXPECT_EQ(Formats(), (Names{"Alpha", "Beta", "Gamma", "*unnamed format"}));
    ExpectCurrent(3);
    EXPECT_EQ(fWindow->formatWindowsMade, 1);
}

TEST_F(FormatsTest, DeletingSelectsTheFormatThatTakesItsPlaceAndNeverEmptiesTheList) {
    const struct {
        std::initializer_list<const char*> names;
        int32 current;
        Names after;
        int32 selected;
    } cases[] = {
        {{"Alpha", "Beta", "Gamma"}, 1, {"Alpha", "Gamma"}, 1},
        {{"Alpha", "Gamma"}, 1, {"Alpha"}, 0},  // the last of the list: the new last one
        {{"Only"}, 0, {"unnamed format"}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.after.back());
        delete std::exchange(fWindow, nullptr);
        SetFormats(c.names, c.current);
        MakeWindow();
        Post(Message(kMsgRemoveFormat));
        Names marked = c.after;
        marked[size_t(c.selected)] = "*" + marked[size_t(c.selected)];
        EXPECT_EQ(Formats(), marked);
        marked.insert(marked.end(), {"-", "New Format…", "Delete Current Format"});
        EXPECT_EQ(Items(), marked);
        ExpectCurrent(c.selected);
    }

    // Without formats none is current, and there is nothing to delete.
    delete std::exchange(fWindow, nullptr);
    SetFormats({}, 0);
    MakeWindow();
    Post(Message(kMsgRemoveFormat));
    EXPECT_EQ(Items(), (Names{"-", "New Format…", "Delete Current Format"}));
    EXPECT_EQ(fWindow->CurrentFormat(), nullptr);
    EXPECT_EQ(Child<QPushButton>("formatField")->text(), "<choose format>");
    EXPECT_EQ(Description(), "\n\t<no format selected>");
}

TEST_F(FormatsTest, DescriptionSpellsOutTheFormat) {
    MakeWindow();
    // The frame rate is the input's: 25 fields per second.
    media_format input;
    input.type = B_MEDIA_RAW_VIDEO;
    input.raw_video.field_rate = 25;
    fEngine->SetConnectedVideoFormat(input);
    FormatSetting* format = fWindow->CurrentFormat();
    auto described = [this] {
        fWindow->UpdateFormatDescription();
        return Description();
    };
    EXPECT_EQ(described(),
              "AVI (Audio Video Interleaved)\n\tRaw video\n\t\t384 x 288, 32-bit, 25 f/s\n"
              "\tRaw audio (16-bit PCM), 44.1kHz stereo");

    // Every frame in two; quality rounded to whole percent.
    format->frameDivisor = 2;
    format->videoQuality = 0.125f;
    format->colorSpace = B_YCbCr411;
    format->audioChannels = 1;
    format->audioFrameRate = 22050;
    EXPECT_EQ(described(),
              "AVI (Audio Video Interleaved)\n\tRaw video\n\t\t13% quality, 384 x 288, YCbCr, "
              "12.5 f/s\n\tRaw audio (16-bit PCM), 22.05kHz mono");

    // A file format this machine does not list leaves the first line empty; missing names
    // have their own words; below 0.005 there is no quality.
    format->videoQuality = 0.004f;
    format->colorSpace = B_GRAY8;
    format->fileFormat = "no-such-format";
    format->videoEncoder.clear();
    format->audioEncoder.clear();
    EXPECT_EQ(described(), "\n\t<no video encoder>\n\t\t384 x 288, 8-bit, 12.5 f/s\n\t<no audio>");
    format->fileFormat.clear();
    format->videoQuality = 0.123f;
    EXPECT_EQ(described(),
              "<no file format>\n\t<no video encoder>\n\t\t12% quality, 384 x 288, 8-bit, 12.5 f/s"
              "\n\t<no audio>");
}

}  // namespace
