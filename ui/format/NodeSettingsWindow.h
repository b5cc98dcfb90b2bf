#pragma once
// A plain window around a ready-made view: an input's parameter view ("Video Input
// Settings", "Audio Input Settings") or an encoder's ("Tavro - Video Encode Parameters", ...).
// It takes the view's size (not resizable; it follows the view when the view changes), opens
// at the position kept in the settings, writes its frame back there when it goes, and then
// posts its code to the window that opened it.
//
// The window owns itself (it is deleted when closed) and its view. GUI thread only.

#include <QWidget>

#include "support/Geometry.h"
#include "ui/preview/QuitTarget.h"

class NodeSettingsWindow : public QWidget {
    Q_OBJECT

public:
    // `frame` (not owned; may be null) gives the position and gets the last frame back; its
    // size is not used: the window is the view's size. The window shows at once.
    NodeSettingsWindow(Rect* frame, const char* title, QWidget* view);
    // Writes the frame back, then posts the quit code.
    ~NodeSettingsWindow() override;

    // `target` gets a bare message `what` when the window goes (nothing is posted before).
    void SetQuitTarget(MessageTarget* target, uint32 what);
    QWidget* View() const { return fView; }
    // Replaces the view (the old one is deleted); the window takes the new one's size.
    void SetView(QWidget* view);

private:
    Rect* fFrame;
    QWidget* fView = nullptr;
    QuitTarget fQuitTarget;
    uint32 fQuitWhat = 0;
};
