// The main window's format choice: the pop-up, choosing, adding and deleting formats, and the
// description of the current one.

#include <QMenu>
#include <QPushButton>
#include <QTextEdit>

#include <cstdlib>
#include <cstring>
#include <string>

#include "app/MessageCodes.h"
#include "tests/ui/WindowTestFixture.h"
#include "ui/main/WindowMessages.h"

namespace {

class FormatsTest : public WindowTest {
protected:
    QMenu* Menu() { return Child<QMenu>("formatsMenu"); }

    // The pop-up's labels, "*" before the marked one, "-" for the separator.
    std::vector<std::string> Items() {
        std::vector<std::string> items;
        for (const QAction* item : Menu()->actions()) {
            if (item->isSeparator())
                items.push_back("-");
            else
                items.push_back((item->isChecked() ? "*" : "") + item->text().toStdString());
        }
        return items;
    }

    std::vector<std::string> Names() {
        std::vector<std::string> names;
        for (const FormatSetting* format : gSettings.formats)
            names.push_back(format->Text());
        return names;
    }

    std::string Description() {
        return Child<QTextEdit>("description")->toPlainText().toStdString();
    }

    void Post(uint32 what, int32 index = -1) {
        Message message(what);
        if (index >= 0)
            message.AddInt32("index", index);
        fWindow->PostMessage(message);
        drain();
    }
};

TEST_F(FormatsTest, PopUpListsTheFormatsThenItsTwoCommands) {
    MakeWindow();
    EXPECT_EQ(Items(), (std::vector<std::string>{"Alpha", "*Beta", "Gamma", "-", "New Format…",
                                                 "Delete Current Format"}));
    EXPECT_EQ(fWindow->CurrentFormat(), gSettings.formats[1]);
    EXPECT_EQ(Child<QPushButton>("formatField")->text(), "Beta");
}

TEST_F(FormatsTest, ChoosingAnItemMakesItsFormatCurrent) {
    MakeWindow();
    fWindow->PostMessage(kMsgFormatSettings);
    drain();
    gSettings.formats[2]->videoWidth = 640;

    Menu()->actions()[2]->trigger();
    drain();
    EXPECT_EQ(fWindow->CurrentFormat(), gSettings.formats[2]);
    EXPECT_EQ(gSettings.lastFormat, 2);
    EXPECT_EQ(Child<QPushButton>("formatField")->text(), "Gamma");
    EXPECT_EQ(Items()[2], "*Gamma");
    EXPECT_NE(Description().find("640 x 288"), std::string::npos);
    // The engine records in the chosen geometry; the open editor follows.
    EXPECT_EQ(fEngine->VideoWidth(), 640);
    ASSERT_EQ(fWindow->lastFormatWindow->received.size(), 1u);
    const Message& selected = fWindow->lastFormatWindow->received[0];
    EXPECT_EQ(selected.what, kMsgFormatSelected);
    EXPECT_EQ(selected.GetInt32("index", -1), 2);
    EXPECT_TRUE(selected.GetBool("fromMainLooper", false));
    delete fWindow->lastFormatWindow;
}

TEST_F(FormatsTest, ChoosingTheCurrentFormatOnlyMarksItAndStoresItsIndex) {
    MakeWindow();
    std::string before = Description();
    gSettings.formats[1]->videoWidth = 640;  // not announced: the description must stay
    gSettings.lastFormat = 0;

    Post(kMsgFormat, 1);
    EXPECT_EQ(gSettings.lastFormat, 1);
    EXPECT_EQ(Items()[1], "*Beta");
    EXPECT_EQ(Description(), before);

    // Without an index, or with one that names no format, nothing happens.
    Post(kMsgFormat);
    Post(kMsgFormat, 7);
    EXPECT_EQ(gSettings.lastFormat, 1);
    EXPECT_EQ(fWindow->CurrentFormat(), gSettings.formats[1]);
}

TEST_F(FormatsTest, ChangedFormatIsDescribedAgainOnlyWhenCurrent) {
    MakeWindow();
    Message changed(kMsgFormatChanged);
    changed.AddPointer("format", gSettings.formats[0]);
    gSettings.formats[0]->videoWidth = 100;
    gSettings.formats[1]->videoWidth = 200;
    fWindow->PostMessage(changed);
    drain();
    EXPECT_EQ(Description().find("200 x"), std::string::npos);

    changed.ReplacePointer("format", 0, gSettings.formats[1]);
    fWindow->PostMessage(changed);
    drain();
    EXPECT_NE(Description().find("200 x 288"), std::string::npos);
}

TEST_F(FormatsTest, NewFormatIsSortedInOpensTheEditorAndBecomesCurrent) {
    MakeWindow();
    Menu()->actions()[4]->trigger();  // "New Format…"
    drain();
    EXPECT_EQ(Names(), (std::vector<std::string>{"Alpha", "Beta", "Gamma", "unnamed format"}));
    EXPECT_EQ(Items(), (std::vector<std::string>{"Alpha", "Beta", "Gamma", "*unnamed format", "-",
                                                 "New Format…", "Delete Current Format"}));
    EXPECT_EQ(fWindow->CurrentFormat(), gSettings.formats[3]);
    EXPECT_EQ(gSettings.lastFormat, 3);
    EXPECT_EQ(fWindow->formatWindowsMade, 1);
    delete fWindow->lastFormatWindow;
}

TEST_F(FormatsTest, DeletingSelectsTheFormatThatMovedIntoItsPlace) {
    MakeWindow();
    Post(kMsgRemoveFormat);
    EXPECT_EQ(Names(), (std::vector<std::string>{"Alpha", "Gamma"}));
    EXPECT_EQ(Items(), (std::vector<std::string>{"Alpha", "*Gamma", "-", "New Format…",
                                                 "Delete Current Format"}));
    EXPECT_EQ(gSettings.lastFormat, 1);

    // The last of the list: the new last one.
    Post(kMsgRemoveFormat);
    EXPECT_EQ(Names(), (std::vector<std::string>{"Alpha"}));
    EXPECT_EQ(fWindow->CurrentFormat(), gSettings.formats[0]);
    EXPECT_EQ(gSettings.lastFormat, 0);
    EXPECT_EQ(Items()[0], "*Alpha");
}

TEST_F(FormatsTest, DeletingTheOnlyFormatMakesANewOne) {
    SetFormats({"Only"}, 0);
    MakeWindow();
    Post(kMsgRemoveFormat);
    EXPECT_EQ(Names(), (std::vector<std::string>{"unnamed format"}));
    EXPECT_EQ(fWindow->CurrentFormat(), gSettings.formats[0]);
    EXPECT_EQ(gSettings.lastFormat, 0);
    EXPECT_EQ(Items(), (std::vector<std::string>{"*unnamed format", "-", "New Format…",
                                                 "Delete Current Format"}));
    EXPECT_EQ(Child<QPushButton>("formatField")->text(), "unnamed format");
    delete fWindow->lastFormatWindow;
}

TEST_F(FormatsTest, WithoutFormatsNothingIsSelected) {
    SetFormats({}, 0);
    MakeWindow();
    EXPECT_EQ(fWindow->CurrentFormat(), nullptr);
    EXPECT_EQ(Description(), "\n\t<no format selected>");
    EXPECT_EQ(Child<QPushButton>("formatField")->text(), "<choose format>");
    Post(kMsgRemoveFormat);  // no current format: nothing to delete
    EXPECT_TRUE(gSettings.formats.empty());
}

void setString(char** field, const char* value) {
    std::free(*field);
    *field = value != nullptr ? strdup(value) : nullptr;
}

TEST_F(FormatsTest, DescriptionSpellsOutTheFormat) {
    MakeWindow();
    FormatSetting* format = gSettings.formats[1];
    // The frame rate is the input's.
    media_format input;
    input.type = B_MEDIA_RAW_VIDEO;
    input.raw_video.field_rate = 25;
    fEngine->SetConnectedVideoFormat(input);
    fWindow->UpdateFormatDescription();
    EXPECT_EQ(Description(),
              "AVI (Audio Video Interleaved)\n\tRaw video\n\t\t384 x 288, 32-bit, 25 f/s\n"
              "\tRaw audio (16-bit PCM), 44.1kHz stereo");

    // Every frame in two of a 25 field/s input; quality rounded to whole percent.
    format->frameDivisor = 2;
    format->videoQuality = 0.125f;
    format->colorSpace = B_YCbCr411;
    format->audioChannels = 1;
    format->audioFrameRate = 22050;
    fWindow->UpdateFormatDescription();
    EXPECT_EQ(Description(),
              "AVI (Audio Video Interleaved)\n\tRaw video\n\t\t13% quality, 384 x 288, YCbCr, "
              "12.5 f/s\n\tRaw audio (16-bit PCM), 22.05kHz mono");

    // A stored file format this machine does not list leaves the first line empty; missing
    // names have their own words.
    format->videoQuality = 0.004f;
    format->colorSpace = B_GRAY8;
    setString(&format->fileFormat, "no-such-format");
    setString(&format->videoEncoder, nullptr);
    setString(&format->audioEncoder, "");
    fWindow->UpdateFormatDescription();
    EXPECT_EQ(Description(),
              "\n\t<no video encoder>\n\t\t384 x 288, 8-bit, 12.5 f/s\n\t<no audio>");
    setString(&format->fileFormat, "");
    format->videoQuality = 0.123f;
    fWindow->UpdateFormatDescription();
    EXPECT_EQ(Description().substr(0, Description().find('\n')), "<no file format>");
    EXPECT_NE(Description().find("\t12% quality, "), std::string::npos);
}

}  // namespace
