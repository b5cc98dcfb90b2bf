#include "ui/preview/AudioWindow.h"

#include <algorithm>

#include "app/records/TavroSettings.h"
#include "engine/Tavro.h"
#include "ui/Frames.h"
#include "ui/preview/AudioView.h"

AudioWindow::AudioWindow(const Rect& frame, const char* title, Tavro* engine)
    : QWidget(nullptr), Looper(this), fEngine(engine) {
    fView = new AudioView(this);
    fillPreviewWindow(this, title, fView, [this] { fQuitTarget.Post(B_QUIT_REQUESTED); });
    // The strips stretch: the window is never narrower than its whole title.
    setMinimumWidth(titleWidth(this));
    QRect geometry = toQRect(frame);
    geometry.setWidth(std::max(geometry.width(), minimumWidth()));
    setGeometry(keptOnScreen(geometry));

    fPulse.setInterval(kPulseInterval_ms);
    connect(&fPulse, &QTimer::timeout, fView, &AudioView::Pulse);
    fPulse.start();
}

AudioWindow::~AudioWindow() {
    // First, so that no block is handed to the view while it is taken down.
    fEngine->AudioSinkGone();
    gSettings.audioFrame = Frame();
    fQuitTarget.Post(kMsgAudioWindowClosed);
}

Rect AudioWindow::Frame() const {
    return toRect(geometry());
}

void AudioWindow::MessageReceived(Message*) {}

void AudioWindow::SetQuitTarget(MessageTarget* target) {
    fQuitTarget.Set(target);
    fQuitTarget.Post(kMsgNewAudioWindow);
}
