#pragma once
// The desktop program: the Qt application with Tavro's identity, which builds the running
// system in a fixed order (engine, last format, main window, preview windows) and, at its
// end, deletes the engine. The settings are saved after that, when gSettings goes at exit.

#include <QApplication>
#include <QPointer>

#include <memory>

#include "engine/Tavro.h"

class PreviewWindowHost;
class TavroWindow;

class TavroApplication : public QApplication {
public:
    // The identity "application/x-vnd.zelk.Tavro": organisation "zelk", application "Tavro",
    // desktop file zelk.Tavro.desktop.
    static constexpr const char* kSignature = "application/x-vnd.zelk.Tavro";
    static constexpr const char* kDesktopFileName = "zelk.Tavro";

    // Qt's own messages go to Tavro's log: critical and fatal ones as errors, the rest
    // (platform notes such as a missing XDG_RUNTIME_DIR) as debugging detail. Called before
    // the application exists, so that the platform's start-up messages are caught too.
    static void RouteQtMessagesToLog();

    // `argc` and `argv` must outlive the application, as QApplication requires.
    TavroApplication(int& argc, char** argv, const TavroOptions& options);
    // Deletes the main window if it is still there, closes the preview windows, then deletes
    // the engine.
    ~TavroApplication() override;

    Tavro* Engine() const { return fEngine.get(); }
    // Null once the window has closed.
    TavroWindow* MainWindow() const;

private:
    // On the first start (no settings file yet): the preview windows' frames beside the main
    // window, where the screen has room, instead of over it.
    void PlacePreviewsBesideMainWindow();

    std::unique_ptr<Tavro> fEngine;
    // Opens the preview windows for the engine; goes before it, closing them.
    std::unique_ptr<PreviewWindowHost> fPreviewWindows;
    // The window deletes itself when it closes.
    QPointer<TavroWindow> fMainWindow;
};
