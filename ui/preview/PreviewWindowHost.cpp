#include "ui/preview/PreviewWindowHost.h"

#include "ui/preview/AudioView.h"
#include "ui/preview/AudioWindow.h"
#include "ui/preview/VideoView.h"
#include "ui/preview/VideoWindow.h"

PreviewWindowHost::PreviewWindowHost(Tavro* engine) : fEngine(engine) {}

PreviewWindowHost::~PreviewWindowHost() {
    CloseVideoWindow();
    CloseAudioWindow();
}

VideoFrameSink* PreviewWindowHost::OpenVideoWindow(const Rect& frame) {
    if (fVideoWindow.isNull()) {
        fVideoWindow = new VideoWindow(frame, "Tavro - Video In", fEngine);
        fVideoWindow->show();
    }
    return fVideoWindow->View();
}

// Deleted at once rather than by a deferred close: the engine forgets the sink now.
void PreviewWindowHost::CloseVideoWindow() {
    delete fVideoWindow.data();
}

AudioBlockSink* PreviewWindowHost::OpenAudioWindow(const Rect& frame) {
    if (fAudioWindow.isNull()) {
        fAudioWindow = new AudioWindow(frame, "Tavro - Audio In", fEngine);
        fAudioWindow->show();
    }
    return fAudioWindow->View();
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
