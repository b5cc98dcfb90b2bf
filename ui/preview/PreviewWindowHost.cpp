#include "ui/preview/PreviewWindowHost.h"

#include "ui/preview/AudioView.h"
#include "ui/preview/AudioWindow.h"
#include "ui/preview/VideoView.h"
#include "ui/preview/VideoWindow.h"

namespace {

// The view of the window, made and shown first when there is none.
template <typename Window>
auto* openWindow(QPointer<Window>& window, const Rect& frame, const char* title, Tavro* engine) {
    if (window.isNull()) {
        window = new Window(frame, title, engine);
        window->show();
    }
    return window->View();
}

}  // namespace

PreviewWindowHost::PreviewWindowHost(Tavro* engine) : fEngine(engine) {}

PreviewWindowHost::~PreviewWindowHost() {
    CloseVideoWindow();
    CloseAudioWindow();
}

VideoFrameSink* PreviewWindowHost::OpenVideoWindow(const Rect& frame) {
    return openWindow(fVideoWindow, frame, "Tavro - Video In", fEngine);
}

// Deleted at once rather than by a deferred close: the engine forgets the sink now.
void PreviewWindowHost::CloseVideoWindow() {
    delete fVideoWindow.data();
}

AudioBlockSink* PreviewWindowHost::OpenAudioWindow(const Rect& frame) {
    return openWindow(fAudioWindow, frame, "Tavro - Audio In", fEngine);
}

void PreviewWindowHost::CloseAudioWindow() {
    delete fAudioWindow.data();
}

VideoWindow* PreviewWindowHost::CurrentVideoWindow() const {
    return fVideoWindow.data();
}

AudioWindow* PreviewWindowHost::CurrentAudioWindow() const {
    return fAudioWindow.data();
}

void PreviewWindowHost::ResizeVideoWindow(int32 width, int32 height) {
    if (!fVideoWindow.isNull())
        fVideoWindow->PictureSizeChanged(width, height);
}
