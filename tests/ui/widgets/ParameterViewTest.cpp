// The parameter view builder: which control each kind of parameter becomes, values written the
// moment a control moves and read back when they change underneath, and a view whose input is
// torn down while it is open.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QSlider>
#include <QTest>

#include <cstring>
#include <map>
#include <vector>

#include "engine/Tavro.h"
#include "media/ParameterWeb.h"
#include "tests/media/capture/FakeDevices.h"
#include "tests/ui/UiTestSupport.h"
#include "ui/widgets/ParameterView.h"

namespace {

enum : int32 { kMute = 1, kSource = 2, kLevel = 3, kTitle = 4, kNote = 5, kPower = 6 };

// The owner of a described web: values as bytes in memory, every write kept.
class MemoryOwner : public Controllable {
public:
    status_t GetParameterValue(int32 id, bigtime_t* lastChange, void* value,
                               size_t* size) override {
        auto found = values.find(id);
        if (found == values.end())
            return B_BAD_VALUE;
        if (*size < found->second.size())
            return B_NO_MEMORY;
        std::memcpy(value, found->second.data(), found->second.size());
        *size = found->second.size();
        if (lastChange != nullptr)
            *lastChange = 0;
        return B_OK;
    }
    status_t SetParameterValue(int32 id, bigtime_t, const void* value, size_t size) override {
        const auto* bytes = static_cast<const char*>(value);
        values[id].assign(bytes, bytes + size);
        writes.push_back(id);
        return B_OK;
    }

    template <typename T>
    void Set(int32 id, T value) {
        values[id].resize(sizeof(T));
        std::memcpy(values[id].data(), &value, sizeof(T));
    }
    template <typename T>
    T Get(int32 id) {
        T value{};
        std::memcpy(&value, values[id].data(), std::min(sizeof(T), values[id].size()));
        return value;
    }

    std::map<int32, std::vector<char>> values;
    std::vector<int32> writes;
};

// One parameter of each type: a mute switch in "Line", a three-way source and a level in
// "Video" (the level in a nested "Picture" box), a text, a note and a two-item on/off switch
// named like an encoder's option.
std::unique_ptr<ParameterWeb> webOfEveryKind(MemoryOwner* owner) {
    auto web = std::make_unique<ParameterWeb>(owner);
    MediaParameter* mute = web->MakeGroup("Line")->MakeDiscreteParameter(kMute, "Mute", B_MUTE);
    mute->AddItem(0, "Off");
    mute->AddItem(1, "On");
    ParameterGroup* video = web->MakeGroup("Video");
    MediaParameter* source = video->MakeDiscreteParameter(kSource, "Source:", B_INPUT_MUX);
    source->AddItem(10, "Tuner");
    source->AddItem(20, "Composite");
    source->AddItem(30, "S-Video");
    video->MakeTextParameter(kTitle, "Title:", B_GENERIC, 32);
    video->MakeNullParameter(kNote, "A note", B_GENERIC);
    MediaParameter* power = video->MakeDiscreteParameter(kPower, "Power", B_GENERIC);
    power->AddItem(0, "off");
    power->AddItem(1, "on");
    video->MakeGroup("Picture")->MakeContinuousParameter(kLevel, "Level:", B_GAIN, "dB", -20, 20,
                                                         0.5f);
    owner->Set<int32>(kMute, 1);
    owner->Set<int32>(kSource, 20);
    owner->Set<float>(kLevel, 5.0f);
    owner->Set<int32>(kPower, 0);
    owner->values[kTitle] = {'N', 'e', 'w', 's', '\0'};
    return web;
}

QStringList itemsOf(const QComboBox* combo) {
    QStringList items;
    for (int i = 0; i < combo->count(); i++)
        items << combo->itemText(i);
    return items;
}

class ParameterViewTest : public testing::Test {
protected:
    void SetUp() override { testApplication(); }
    template <typename T>
    T* Control(ParameterView& view, int32 id) {
        return qobject_cast<T*>(view.ControlFor(id));
    }
    MemoryOwner owner;
};

TEST_F(ParameterViewTest, EachKindOfParameterGetsItsControlShowingTheCurrentValue) {
    ParameterView view(webOfEveryKind(&owner));

    QStringList boxes;
    for (const QGroupBox* box : view.findChildren<QGroupBox*>())
        boxes << box->title();
    EXPECT_EQ(boxes, (QStringList{"Line", "Video", "Picture"}));

    auto* mute = Control<QCheckBox>(view, kMute);
    ASSERT_NE(mute, nullptr);
    EXPECT_EQ(mute->text(), "Mute");
    EXPECT_TRUE(mute->isChecked());
    auto* power = Control<QCheckBox>(view, kPower);
    ASSERT_NE(power, nullptr) << "an off/on pair is a check box whatever its kind";
    EXPECT_FALSE(power->isChecked());

    auto* source = Control<QComboBox>(view, kSource);
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(itemsOf(source), (QStringList{"Tuner", "Composite", "S-Video"}));
    EXPECT_EQ(source->currentIndex(), 1) << "the item whose value is set, not the value itself";

    auto* level = Control<QSlider>(view, kLevel);
    ASSERT_NE(level, nullptr);
    EXPECT_EQ(level->minimum(), 0);
    EXPECT_EQ(level->maximum(), 80) << "one position per 0.5 dB step";
    EXPECT_EQ(level->value(), 50);
    EXPECT_NE(view.findChild<QLabel*>(), nullptr);
    QStringList labels;
    for (const QLabel* text : view.findChildren<QLabel*>())
        labels << text->text();
    EXPECT_TRUE(labels.contains("5 dB")) << labels.join(", ").toStdString();
    EXPECT_TRUE(labels.contains("A note"));

    auto* title = Control<QLineEdit>(view, kTitle);
    ASSERT_NE(title, nullptr);
    EXPECT_EQ(title->text(), "News") << "the stored terminating zero is not shown";
    EXPECT_EQ(title->maxLength(), 32);
    EXPECT_TRUE(owner.writes.empty()) << "building the view writes nothing";
}

TEST_F(ParameterViewTest, EveryControlWritesItsValueTheMomentItChanges) {
    ParameterView view(webOfEveryKind(&owner));

    Control<QSlider>(view, kLevel)->setValue(8);  // -20 + 8 * 0.5
    EXPECT_FLOAT_EQ(owner.Get<float>(kLevel), -16.0f);
    Control<QSlider>(view, kLevel)->setValue(80);
    EXPECT_FLOAT_EQ(owner.Get<float>(kLevel), 20.0f);

    Control<QCheckBox>(view, kMute)->click();
    EXPECT_EQ(owner.Get<int32>(kMute), 0);
    Control<QCheckBox>(view, kPower)->click();
    EXPECT_EQ(owner.Get<int32>(kPower), 1);

    auto* source = Control<QComboBox>(view, kSource);
    source->activated(2);
    EXPECT_EQ(owner.Get<int32>(kSource), 30) << "the item's value is written, not its index";

    auto* title = Control<QLineEdit>(view, kTitle);
    title->setText("Film");
    title->editingFinished();
    EXPECT_EQ(std::string(owner.values[kTitle].begin(), owner.values[kTitle].end()), "Film");
    EXPECT_EQ(owner.writes, (std::vector<int32>{kLevel, kLevel, kMute, kPower, kSource, kTitle}));
}

TEST_F(ParameterViewTest, ValuesChangedUnderneathShowUpButNotUnderTheUsersHand) {
    ParameterView view(webOfEveryKind(&owner));
    owner.Set<int32>(kSource, 30);
    owner.Set<int32>(kMute, 0);
    owner.Set<float>(kLevel, -20.0f);
    EXPECT_TRUE(waitUntil([&] { return Control<QComboBox>(view, kSource)->currentIndex() == 2; },
                          4 * ParameterView::kRefreshMilliseconds))
        << "the view reads the values again by itself";
    EXPECT_FALSE(Control<QCheckBox>(view, kMute)->isChecked());
    EXPECT_EQ(Control<QSlider>(view, kLevel)->value(), 0);
    EXPECT_TRUE(owner.writes.empty()) << "showing a value read is not a write";

    auto* level = Control<QSlider>(view, kLevel);
    level->setSliderDown(true);
    owner.Set<float>(kLevel, 10.0f);
    view.Refresh();
    EXPECT_EQ(level->value(), 0) << "a slider being dragged is left alone";
    level->setSliderDown(false);
    view.Refresh();
    EXPECT_EQ(level->value(), 60);
}

// The real card's web through the engine: the node goes while the view is open.
class TornDownOwner : public ParameterViewTest {
protected:
    std::unique_ptr<Tavro> MakeEngine() {
        TavroOptions options;
        options.roster.audioInput = MediaRoster::kTestToneID;
        return std::make_unique<Tavro>(options, std::make_unique<CardBackend>(&card));
    }
    FakeBt848 card;
};

TEST_F(TornDownOwner, TheViewSaysTheInputIsGoneAndTouchesNothing) {
    std::unique_ptr<Tavro> engine = MakeEngine();
    auto view = std::make_unique<ParameterView>(engine->GetVideoInputParameters());
    ASSERT_NE(Control<QComboBox>(*view, kVideoSourceParameterID), nullptr);
    int goneSignals = 0;
    QObject::connect(view.get(), &ParameterView::gone, [&] { goneSignals++; });
    QPointer<QWidget> controls = view->ControlFor(kVideoSourceParameterID);

    engine.reset();  // the graph goes, and with it the card's node
    view->Refresh();
    EXPECT_TRUE(view->IsGone());
    EXPECT_EQ(goneSignals, 1);
    EXPECT_EQ(view->ControlFor(kVideoSourceParameterID), nullptr);
    auto* notice = view->findChild<QLabel*>("goneLabel");
    ASSERT_NE(notice, nullptr);
    EXPECT_FALSE(notice->isHidden());
    EXPECT_EQ(notice->text(), ParameterView::kGoneText);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(controls.isNull()) << "the controls are removed";
}

TEST_F(TornDownOwner, AControlMovedAfterTheOwnerWentWritesNothing) {
    std::unique_ptr<Tavro> engine = MakeEngine();
    auto view = std::make_unique<ParameterView>(engine->GetVideoInputParameters());
    auto* source = Control<QComboBox>(*view, kVideoSourceParameterID);
    ASSERT_NE(source, nullptr);
    engine.reset();
    source->activated(1);  // before the view's timer has noticed
    EXPECT_TRUE(view->IsGone());
    drain();
    view->Refresh();  // and again: nothing left to read
    EXPECT_TRUE(view->IsGone());
}

}  // namespace
