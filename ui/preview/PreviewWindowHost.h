#pragma once
// The preview windows as the engine opens and closes them (Tavro::ShowVideo, ShowAudio): at
// most one video window ("Tavro - Video In") and one audio window ("Tavro - Audio In"). The
// windows own themselves; a window the user closes is simply gone here.
//
// GUI thread only. Destroy the host (which closes both windows) before the engine, and before
// the windows' quit target if that is not a QObject.

#include <QPointer>

#include "engine/PreviewSinks.h"

class AudioWindow;
class Tavro;
class VideoWindow;

class PreviewWindowHost : public PreviewHost {
public:
    // `engine` is not owned and must outlive the host.
    explicit PreviewWindowHost(Tavro* engine);
    ~PreviewWindowHost() override;
    PreviewWindowHost(const PreviewWindowHost&) = delete;
    PreviewWindowHost& operator=(const PreviewWindowHost&) = delete;

    VideoFrameSink* OpenVideoWindow(const Rect& frame) override;
    void CloseVideoWindow() override;
    AudioBlockSink* OpenAudioWindow(const Rect& frame) override;
    void CloseAudioWindow() override;
    void ResizeVideoWindow(int32 width, int32 height) override;

    // The open windows; nullptr when closed.
    VideoWindow* CurrentVideoWindow() const;
    AudioWindow* CurrentAudioWindow() const;

private:
    Tavro* fEngine;
    QPointer<VideoWindow> fVideoWindow;
    QPointer<AudioWindow> fAudioWindow;
};
