#pragma once
// The "TV Controls" pane of the main window: the "Channel:" pop-up and the "Mute" check box,
// acting on the engine's video input (a tuner) and sound output.
//
// The channels offered are, in this order of preference: the presets korvant keeps
// (app/ChannelPresets.h), else the stations of tvtime's or xawtv's list mapped to the tuner's
// channels (app/StationLists.h), else plain channel numbers 0 to 6. The tuned channel is
// marked.
// Every channel chosen or marked is reported to the main window (TavroWindow::SetChannel),
// which hands it on to the timer pane.
//
// Messages (posted to the view itself, GUI thread): 'chnl' from a channel item, int32
// "channel" and int32 "index" (the item's place in the menu); 'mute' from the check box.

#include <QWidget>

#include <vector>

#include "support/Status.h"
#include "ui/Looper.h"

struct ChannelPreset;
class QAction;
class QActionGroup;
class QCheckBox;
class QMenu;
class QPushButton;
class Tavro;

constexpr uint32 kMsgChannel = fourcc("chnl");
constexpr uint32 kMsgMute = fourcc("mute");

class TVControlView : public QWidget, public Looper {
    Q_OBJECT

public:
    // The plain channel numbers offered without presets: 0 to kFallbackChannels - 1.
    static constexpr int32 kFallbackChannels = 7;

    // `engine` is not owned and must outlive the view. The channel menu stays empty until
    // UpdateChannels (the main window calls it once the view is in place).
    explicit TVControlView(Tavro* engine, QWidget* parent = nullptr);

    void MessageReceived(Message* message) override;
    // Rebuilds the channel menu, marks the tuned channel and reports it.
    void UpdateChannels();
    // Fills the channel menu from korvant's presets: B_OK, or why none could be read (the
    // open error, B_ENTRY_NOT_FOUND without the attribute, B_ERROR for a damaged one).
    status_t ReadKorvantChannels();
    // Fills the channel menu from the first station list of another viewer that names
    // channels the tuner has; B_ENTRY_NOT_FOUND when there is none.
    status_t ReadStationListChannels();

    QMenu* ChannelMenu() const { return fChannelMenu; }
    QCheckBox* MuteCheckBox() const { return fMute; }
    // The pop-up's button, which shows the marked item's label.
    QPushButton* ChannelField() const { return fChannelField; }

private:
    // An item posting 'chnl' with `channel`; marked (and reported) when it is `tuned`.
    QAction* AddChannelItem(const QString& label, int32 channel, int32 tuned, bool named);
    // Named items for `presets`, in order.
    void AddPresets(const std::vector<ChannelPreset>& presets);
    void ChannelChosen(const Message* message);
    // The engine's channel; -1 without a video input.
    int32 TunedChannel();
    // Tells the main window, when the view is in one; `name` null for a plain number.
    void ReportChannel(int32 channel, const char* name);

    Tavro* const fEngine;
    QCheckBox* fMute = nullptr;
    QPushButton* fChannelField = nullptr;
    QMenu* fChannelMenu = nullptr;
    QActionGroup* fChannelItems = nullptr;
};
