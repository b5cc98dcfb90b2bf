// The About box on the offscreen platform: its picture from the resources, the version the
// build defines, the links, and the clicks that close it.

#include <gtest/gtest.h>

#include <QDesktopServices>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QTest>
#include <QUrl>

#include <string>
#include <vector>

#include "app/records/ErrorAlert.h"
#include "tests/ui/UiTestSupport.h"
#include "ui/about/AboutWindow.h"

namespace {

// Takes the URLs the box would open, instead of a browser or mail program.
class UrlCatcher : public QObject {
    Q_OBJECT

public:
    std::vector<QUrl> opened;

public slots:
    void open(const QUrl& url) { opened.push_back(url); }
};

class AboutWindowTest : public testing::Test {
protected:
    void SetUp() override {
        testApplication();
        for (const char* scheme : {"https", "http", "mailto"})
            QDesktopServices::setUrlHandler(scheme, &fUrls, "open");
    }
    void TearDown() override {
        for (const char* scheme : {"https", "http", "mailto"})
            QDesktopServices::unsetUrlHandler(scheme);
        delete fWindow.data();
        drain();
        SetErrorAlertPresenter(nullptr);
        resetErrorAlertForTesting();
    }

    AboutWindow* Open() {
        fWindow = new AboutWindow;
        EXPECT_EQ(fWindow->InitCheck(), B_OK);
        fWindow->show();
        drain();
        return fWindow;
    }

    UrlCatcher fUrls;
    QPointer<AboutWindow> fWindow;
};

TEST(AboutVersion, NamesTheVarietyModuloSix) {
    struct Case {
        long variety;
        const char* text;
    };
    const Case cases[] = {
        {0, "Version 1.4.2 Development"},   {1, "Version 1.4.2 Alpha"},
        {4, "Version 1.4.2 Golden master"}, {5, "Version 1.4.2 Final"},
        {6, "Version 1.4.2 Development"},   {13, "Version 1.4.2 Alpha"},
    };
    for (const Case& each : cases)
        EXPECT_EQ(versionText(1, 4, 2, each.variety), each.text) << each.variety;
}

TEST_F(AboutWindowTest, ShowsThePictureCentredWithTheBuildsVersion) {
    Open();
    EXPECT_EQ(fWindow->size(), QSize(560, 320));
    EXPECT_TRUE(fWindow->isModal());
    QRect screen = QGuiApplication::primaryScreen()->geometry();
    EXPECT_EQ(fWindow->x(), (screen.width() - 560) / 2);
    EXPECT_EQ(fWindow->y(), (screen.height() - 320) / 2);

    AboutTextView* text = fWindow->TextView();
    EXPECT_EQ(text->geometry(), QRect(180, 115, 196, 166));
    const std::string first = text->Text().split('\n').first().toStdString();
    EXPECT_EQ(first, "Version 0.1.0 Development");
    EXPECT_TRUE(text->Text().endsWith(AboutTextView::kMailAddress));

    // The view's colour fills the text's panel; the picture shows around it.
    QImage shown = painted(fWindow);
    EXPECT_EQ(shown.pixelColor(370, 275), QColor(162, 199, 227));
    EXPECT_NE(shown.pixelColor(20, 20), QColor(162, 199, 227));
}

TEST_F(AboutWindowTest, LinksOpenTheBrowserAndTheMailProgram) {
    Open();
    AboutTextView* text = fWindow->TextView();
    QTest::mouseClick(text, Qt::LeftButton, {}, text->WebRegion().center());
    QTest::mouseClick(text, Qt::LeftButton, {}, text->MailRegion().center());
    drain();
    ASSERT_EQ(fUrls.opened.size(), 2u);
    EXPECT_EQ(fUrls.opened[0], QUrl(AboutTextView::kWebAddress));
    EXPECT_EQ(fUrls.opened[1].toString().toStdString(),
              std::string("mailto:") + AboutTextView::kMailAddress);
    EXPECT_FALSE(fWindow.isNull());
    // Underlined: a dark line 2 pixels above the link's bottom.
    QImage shown = painted(text);
    QRect web = text->WebRegion();
    EXPECT_LT(shown.pixelColor(web.left() + 1, web.bottom() - 2).lightness(), 100);
}

TEST_F(AboutWindowTest, ClicksOutsideTheLinksClose) {
    // On the picture, and on the text's version line.
    for (bool onText : {false, true}) {
        Open();
        QWidget* target = onText ? static_cast<QWidget*>(fWindow->TextView()) : fWindow.data();
        QTest::mouseClick(target, Qt::LeftButton, {}, onText ? QPoint(10, 8) : QPoint(20, 300));
        drain();
        EXPECT_TRUE(fWindow.isNull()) << onText;
        delete fWindow.data();
    }
    EXPECT_TRUE(fUrls.opened.empty());
}

TEST_F(AboutWindowTest, MissingPictureAlertsAndShowsNoBox) {
    std::vector<std::string> alerts;
    resetErrorAlertForTesting();
    SetErrorAlertPresenter([&](const std::string& text, bool) { alerts.push_back(text); });
    AboutWindow window(":/about/no-such-picture.png");
    EXPECT_NE(window.InitCheck(), B_OK);
    EXPECT_FALSE(window.isVisible());
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_NE(alerts[0].find("Could not get background bitmap"), std::string::npos);
}

}  // namespace

#include "AboutWindowTest.moc"
