// The video profile window on the built-in test picture: the sliders start at the input's
// values and move the picture seen in the preview; without an input they move and change
// nothing; the profile controls do nothing; the main window opens it once.

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSlider>

#include "tests/media/capture/FakeDevices.h"
#include "tests/ui/WindowTestFixture.h"
#include "ui/preview/PreviewWindowHost.h"
#include "ui/preview/VideoView.h"
#include "ui/preview/VideoWindow.h"
#include "ui/profile/ProfileWindow.h"
#include "ui/profile/QuantitySlider.h"

namespace {

// The mean of R, G and B over the image.
double meanLevel(const QImage& image) {
    double sum = 0;
    for (int y = 0; y < image.height(); y++) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); x++)
            sum += qRed(line[x]) + qGreen(line[x]) + qBlue(line[x]);
    }
    return sum / (3.0 * image.width() * image.height());
}

float valueOf(Tavro* engine, int32 id) {
    float value = -1000;
    size_t size = sizeof(value);
    engine->GetContinuousVideoParameter(id)->GetValue(&value, &size, nullptr);
    return value;
}

class ProfileWindowTest : public WindowTest {
protected:
    // The built-in test picture only (no card), paced in real time.
    void UseTestPicture() {
        fEngine = std::make_unique<Tavro>(TavroOptions{}, std::make_unique<CardBackend>(nullptr));
    }
    ProfileWindow* Open() {
        auto* window =
            new ProfileWindow(Rect{30, 30, 400, 400}, "Tavro - Video Profiles", fEngine.get());
        window->show();
        drain();
        return window;
    }
};

TEST_F(ProfileWindowTest, SlidersStartAtTheInputsValuesWithTheFractionCutOff) {
    UseTestPicture();
    const float brightness = 12.7f, contrast = -30.2f;
    fEngine->GetContinuousVideoParameter(kBt848Brightness)->SetValue(&brightness, 4, 0);
    fEngine->GetContinuousVideoParameter(kBt848Contrast)->SetValue(&contrast, 4, 0);
    ProfileWindow* window = Open();
    EXPECT_EQ(window->Brightness()->Value(), 12);
    EXPECT_EQ(window->Brightness()->UpdateText(), "12");
    EXPECT_EQ(window->Contrast()->Value(), -30);
    EXPECT_EQ(window->Saturation()->Value(), 0);
    QSlider* slider = window->Brightness()->Slider();
    EXPECT_EQ(slider->minimum(), -100);
    EXPECT_EQ(slider->maximum(), 100);
    EXPECT_EQ((slider->maximum() - slider->minimum()) / slider->tickInterval() + 1, 11);
    EXPECT_EQ(slider->tickPosition(), QSlider::TicksBelow);

    // Every step of the thumb is written at once, as whole numbers.
    window->Saturation()->Slider()->setValue(-45);
    EXPECT_FLOAT_EQ(valueOf(fEngine.get(), kBt848Saturation), -45.0f);
    window->Contrast()->Slider()->setValue(99);
    EXPECT_FLOAT_EQ(valueOf(fEngine.get(), kBt848Contrast), 99.0f);
    delete window;
}

TEST_F(ProfileWindowTest, BrightnessMovesThePictureInThePreview) {
    UseTestPicture();
    PreviewWindowHost previews(fEngine.get());
    fEngine->SetPreviewHost(&previews);
    fEngine->ShowVideo(true, Rect{100, 100, 419, 339});
    VideoWindow* preview = previews.CurrentVideoWindow();
    ASSERT_NE(preview, nullptr);
    ProfileWindow* window = Open();

    // A few frames at each setting, so the one seen was drawn with it.
    auto levelAt = [&](int brightness) {
        window->Brightness()->Slider()->setValue(brightness);
        waitUntil([] { return false; }, 400);
        return meanLevel(painted(preview->View()));
    };
    const double dark = levelAt(-80);
    const double bright = levelAt(80);
    EXPECT_GT(bright, dark + 40) << "dark " << dark << ", bright " << bright;
    delete window;
    fEngine->ShowVideo(false, Rect{});
    fEngine->SetPreviewHost(nullptr);
}

TEST_F(ProfileWindowTest, WithoutAVideoInputTheSlidersMoveAndChangeNothing) {
    fEngine = std::make_unique<Tavro>(noDevices());
    ProfileWindow* window = Open();
    for (QuantitySlider* slider :
         {window->Brightness(), window->Contrast(), window->Saturation()}) {
        EXPECT_EQ(slider->Value(), 0);
        slider->Slider()->setValue(70);
        EXPECT_EQ(slider->UpdateText(), "70");
    }
    delete window;
}

TEST_F(ProfileWindowTest, TheProfileControlsDoNothing) {
    UseTestPicture();
    ProfileWindow* window = Open();
    window->findChild<QPushButton*>("addProfile")->click();
    window->findChild<QPushButton*>("removeProfile")->click();
    auto* name = window->findChild<QLineEdit*>("profileName");
    EXPECT_EQ(name->text(), "--");
    name->setText("Evening");
    name->editingFinished();
    drain();
    EXPECT_EQ(window->findChild<QListWidget*>("profileList")->count(), 0);
    EXPECT_FLOAT_EQ(valueOf(fEngine.get(), kBt848Brightness), 0.0f);
    delete window;
}

TEST_F(ProfileWindowTest, TheMainWindowOpensItOnceAndHearsItClose) {
    UseTestPicture();
    MakeWindow();
    auto profileWindows = [] {
        int count = 0;
        for (QWidget* widget : QApplication::topLevelWidgets())
            count += qobject_cast<ProfileWindow*>(widget) != nullptr;
        return count;
    };
    Post(Message(fourcc("vipr")));
    Post(Message(fourcc("vipr")));
    ASSERT_EQ(profileWindows(), 1);
    ProfileWindow* window = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* found = qobject_cast<ProfileWindow*>(widget))
            window = found;
    }
    EXPECT_EQ(window->windowTitle(), "Tavro - Video Profiles");
    EXPECT_EQ(window->geometry().topLeft(), QPoint(30, 30));
    window->close();
    drain();
    EXPECT_EQ(profileWindows(), 0);
    EXPECT_EQ(fWindow->handled.back().what, fourcc("vpcl"));
    Post(Message(fourcc("vipr")));
    EXPECT_EQ(profileWindows(), 1) << "closed, it opens again";
}

}  // namespace
