#pragma once
// The audio level window: one AudioView over the whole window, pulsed every 100 ms. When it
// goes, the window stores its frame as gSettings.audioFrame, tells its quit target ('acls')
// and has the engine stop feeding its view.

#include <QTimer>
#include <QWidget>

#include "support/Geometry.h"
#include "ui/Looper.h"
#include "ui/main/WindowMessages.h"
#include "ui/preview/QuitTarget.h"

class AudioView;
class Tavro;

// Posted to the quit target when the window is made; 'acls' (kMsgAudioWindowClosed) when it
// goes.
constexpr uint32 kMsgNewAudioWindow = fourcc("nauw");

class AudioWindow : public QWidget, public Looper {
    Q_OBJECT

public:
    // `frame`: the client area in screen coordinates, edges inclusive. `engine` must outlive
    // the window.
    AudioWindow(const Rect& frame, const char* title, Tavro* engine);
    ~AudioWindow() override;

    void MessageReceived(Message* message) override;
    // Posts 'nauw' to `target` at once and 'acls' when the window goes (see QuitTarget).
    void SetQuitTarget(MessageTarget* target);

    AudioView* View() const { return fView; }
    Rect Frame() const;

    static constexpr int kPulseInterval_ms = 100;

private:
    Tavro* fEngine;
    AudioView* fView;
    QuitTarget fQuitTarget;
    QTimer fPulse;
};
