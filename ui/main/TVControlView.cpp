#include "ui/main/TVControlView.h"

#include <QActionGroup>
#include <QCheckBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPushButton>

#include <cstdlib>
#include <vector>

#include "app/records/ChannelPresets.h"
#include "app/records/StationLists.h"
#include "engine/Tavro.h"
#include "media/ParameterWeb.h"
#include "ui/main/TavroWindow.h"

TVControlView::TVControlView(Tavro* engine, QWidget* parent)
    : QWidget(parent), Looper(this), fEngine(engine) {
    setObjectName("tvControlView");
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* box = new QGroupBox;
    outer->addWidget(box);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(8, 8, 8, 8);

    // The pop-up in the left half, the check box in the right half.
    auto* channelHalf = new QHBoxLayout;
    channelHalf->setSpacing(6);
    channelHalf->addWidget(new QLabel("Channel:"));
    fChannelMenu = new QMenu(this);
    fChannelMenu->setObjectName("channelMenu");
    fChannelItems = new QActionGroup(this);
    fChannelItems->setExclusionPolicy(QActionGroup::ExclusionPolicy::Exclusive);
    fChannelField = new QPushButton;
    fChannelField->setObjectName("channelField");
    fChannelField->setMenu(fChannelMenu);
    channelHalf->addWidget(fChannelField, 1);
    row->addLayout(channelHalf, 1);

    fMute = new QCheckBox("Mute");
    fMute->setObjectName("muteCheckBox");
    fMute->setChecked(fEngine->IsMuted());
    connect(fMute, &QCheckBox::clicked, this, [this] { PostMessage(kMsgMute); });
    row->addWidget(fMute, 1);
}

void TVControlView::MessageReceived(Message* message) {
    switch (message->what) {
        case kMsgChannel:
            ChannelChosen(message);
            break;
        case kMsgMute:
            fEngine->SetMute(fMute->isChecked());
            break;
        default:
            break;
    }
}

int32 TVControlView::TunedChannel() {
    // Without a video input there is no channel to ask for (and no alert to raise about it).
    return fEngine->VideoInputNode() != nullptr ? fEngine->Channel() : -1;
}

void TVControlView::UpdateChannels() {
    for (QAction* item : fChannelMenu->actions()) {
        fChannelItems->removeAction(item);
        delete item;
    }
    fChannelField->setText(QString());
    if (ReadKorvantChannels() == B_OK || ReadStationListChannels() == B_OK)
        return;
    // The plain numbers: seven, whatever the tuner offers.
    const int32 tuned = TunedChannel();
    for (int32 channel = 0; channel < kFallbackChannels; channel++)
        AddChannelItem(QString::number(channel), channel, tuned, false);
}

status_t TVControlView::ReadKorvantChannels() {
    std::string path;
    status_t status = KorvantPreferencesPath(&path);
    std::vector<ChannelPreset> presets;
    if (status == B_OK)
        status = ReadKorvantPresets(path, &presets);
    if (status != B_OK)
        return status;
    AddPresets(presets);
    return B_OK;
}

status_t TVControlView::ReadStationListChannels() {
    if (fEngine->VideoInputNode() == nullptr)
        return B_ENTRY_NOT_FOUND;
    MediaParameter* tuner = fEngine->GetVideoParameter(kChannelParameterID);
    const char* home = std::getenv("HOME");
    if (tuner == nullptr || tuner->Type() != ParameterType::Discrete || home == nullptr)
        return B_ENTRY_NOT_FOUND;
    std::vector<std::string> channelNames;
    for (int32 i = 0; i < tuner->CountItems(); i++)
        channelNames.push_back(tuner->ItemNameAt(i));
    std::vector<ChannelPreset> presets;
    std::string path;
    const status_t status = ReadStationLists(home, channelNames, &presets, &path);
    if (status != B_OK)
        return status;
    AddPresets(presets);
    return B_OK;
}

void TVControlView::AddPresets(const std::vector<ChannelPreset>& presets) {
    const int32 tuned = TunedChannel();
    for (const ChannelPreset& preset : presets)
        AddChannelItem(QString::fromStdString(preset.name), preset.channel, tuned, true);
}

QAction* TVControlView::AddChannelItem(const QString& label, int32 channel, int32 tuned,
                                       bool named) {
    QAction* item = fChannelMenu->addAction(label);
    item->setCheckable(true);
    fChannelItems->addAction(item);
    const int32 index = int32(fChannelMenu->actions().size()) - 1;
    connect(item, &QAction::triggered, this, [this, channel, index] {
        Message message(kMsgChannel);
        message.AddInt32("channel", channel);
        message.AddInt32("index", index);
        PostMessage(message);
    });
    if (channel == tuned) {
        // Two items of one channel are both marked in turn: the later one stays.
        item->setChecked(true);
        fChannelField->setText(label);
        ReportChannel(channel, named ? label.toUtf8().constData() : nullptr);
    }
    return item;
}

void TVControlView::ChannelChosen(const Message* message) {
    int32 channel;
    if (message->FindInt32("channel", &channel) != B_OK)
        return;
    QAction* item = nullptr;
    int32 index;
    if (message->FindInt32("index", &index) == B_OK && index >= 0 &&
        index < int32(fChannelMenu->actions().size()))
        item = fChannelMenu->actions()[index];
    fEngine->SetChannel(channel);
    if (item != nullptr) {
        item->setChecked(true);
        fChannelField->setText(item->text());
    }
    ReportChannel(channel, item != nullptr ? item->text().toUtf8().constData() : nullptr);
}

void TVControlView::ReportChannel(int32 channel, const char* name) {
    if (auto* window = qobject_cast<TavroWindow*>(this->window()))
        window->SetChannel(channel, name);
}
