#include "ui/preview/AudioWindow.h"

#include <QVBoxLayout>

#include "app/TavroSettings.h"
#include "engine/Tavro.h"
#include "ui/preview/AudioView.h"

AudioWindow::AudioWindow(const Rect& frame, const char* title, Tavro* engine)
    : QWidget(nullptr), Looper(this), fEngine(engine) {
    setWindowTitle(QString::fromUtf8(title));
    setAttribute(Qt::WA_DeleteOnClose);

    fView = new AudioView(this);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(fView);
    setGeometry(int(frame.left), int(frame.top), int(frame.right - frame.left) + 1,
                int(frame.bottom - frame.top) + 1);

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
    const QRect area = geometry();
    return Rect{float(area.left()), float(area.top()), float(area.left() + area.width() - 1),
                float(area.top() + area.height() - 1)};
}

void AudioWindow::MessageReceived(Message*) {}

void AudioWindow::SetQuitTarget(MessageTarget* target) {
    fQuitTarget.Set(target);
    fQuitTarget.Post(kMsgNewAudioWindow);
}
