#pragma once
// The live video window: one VideoView over the whole window, at 50, 100 or 200 % of the
// picture's size ('resz' with float "resize", Ctrl+0/1/2) or full screen ('full', Ctrl+F; the title
// bar's zoom only enters it, a primary click in the picture and a new scale only leave it; F11
// and a double-click toggle it, Esc leaves it; the pointer hides while it rests over the
// full-screen picture). Ctrl+Q quits as the main window's "Quit" does. When it
// goes, the window stores its frame as gSettings.videoFrame, tells its quit target ('vcls')
// and has the engine stop feeding its view.
//
// Frames here are client areas in screen coordinates with inclusive edges, as the settings
// file keeps them: a frame of width w covers w + 1 pixels.

#include <QTimer>
#include <QWidget>
#include <functional>

#include "support/Geometry.h"
#include "ui/Looper.h"
#include "ui/main/WindowMessages.h"
#include "ui/preview/QuitTarget.h"

class Tavro;
class VideoView;

class VideoWindow : public QWidget, public Looper {
    Q_OBJECT

public:
    // A window made with exactly the screen's frame starts full screen and returns to the
    // picture's size 100 points from the screen's corner. `engine` must outlive the window.
    VideoWindow(const Rect& frame, const char* title, Tavro* engine);
    ~VideoWindow() override;

    void SetFullScreen(bool on);
    bool IsFullScreen() const { return fFullScreen; }
    // The title bar's zoom control: always into full screen, never out of it.
    void Zoom();

    void MessageReceived(Message* message) override;
    // Posts 'nviw' to `target` at once and 'vcls' when the window goes. Not owned; a target
    // that is a QObject is not posted to once it is destroyed. nullptr: none.
    void SetQuitTarget(MessageTarget* target);

    // The engine's picture became width x height pixels: out of full screen the window takes
    // that size at its scale.
    void PictureSizeChanged(int32 width, int32 height);

    VideoView* View() const { return fView; }
    float Scale() const { return fScale; }
    Rect Frame() const;
    Rect RestoreFrame() const { return fRestoreFrame; }

    // The "Video Size" items: "50% scale", "100% scale", "200% scale" (Ctrl+0, 1, 2), a
    // separator and "Full screen" (Ctrl+F), added to `menu` (a QMenu, or a window for the
    // shortcuts alone); each hands its message to `post` when chosen.
    static void AddSizeItems(QWidget* menu, std::function<void(const Message&)> post);

    // How long the pointer may rest over the full-screen picture before it is hidden.
    static constexpr int kPointerRest_ms = 2000;

protected:
    void changeEvent(QEvent* event) override;
    // The view's mouse moves show the pointer again.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void SetClientFrame(const Rect& frame);
    Rect ScreenFrame() const;
    // Pixels across for `extent` (a bounds width or height, edges inclusive) at the scale.
    static int ScaledPixels(float extent, float scale);

    Tavro* fEngine;
    VideoView* fView;
    QuitTarget fQuitTarget;
    bool fFullScreen = false;
    Rect fRestoreFrame;
    float fScale = 1.0f;
    QTimer fPointerRest;
};
