#pragma once
// "Tavro - Video Profiles": brightness, contrast and saturation of the video input, adjusted
// live with three QuantitySliders. The window also shows the frame of a profile editor (a
// list with "Add" and "Remove", "Profile Name:"), but profiles are not stored: the list stays
// empty and those controls do nothing, on purpose.
//
// The window keeps its own web of the video input, so a slider never reaches a node that has
// gone (a device switched meanwhile): its writes are then refused by the web.
//
// The window owns itself (deleted when closed) and posts its quit code when it goes.

#include <QWidget>

#include <memory>

#include "support/Geometry.h"
#include "ui/Looper.h"
#include "ui/preview/QuitTarget.h"

class ParameterWeb;
class QuantitySlider;
class QLineEdit;
class QListWidget;
class Tavro;

constexpr uint32 kMsgAddProfile = fourcc("adpr");
constexpr uint32 kMsgRemoveProfile = fourcc("rmpr");
constexpr uint32 kMsgProfileName = fourcc("prnm");

class ProfileWindow : public QWidget, public Looper {
    Q_OBJECT

public:
    // `frame` as the settings keep frames; the height is fitted to the boxes. `engine` is not
    // owned and must outlive the window.
    ProfileWindow(const Rect& frame, const char* title, Tavro* engine);
    ~ProfileWindow() override;

    void SetQuitTarget(MessageTarget* target, uint32 what);
    // 'adpr', 'rmpr' and 'prnm' are left alone: there is no profile store.
    void MessageReceived(Message* message) override;

    QuantitySlider* Brightness() const { return fBrightness; }
    QuantitySlider* Contrast() const { return fContrast; }
    QuantitySlider* Saturation() const { return fSaturation; }

private:
    std::unique_ptr<ParameterWeb> fWeb;  // the video input's, or null
    QuitTarget fQuitTarget;
    uint32 fQuitWhat = 0;
    QListWidget* fProfiles = nullptr;
    QLineEdit* fProfileName = nullptr;
    QuantitySlider* fBrightness = nullptr;
    QuantitySlider* fContrast = nullptr;
    QuantitySlider* fSaturation = nullptr;
};
