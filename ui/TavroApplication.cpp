#include "ui/TavroApplication.h"

#include <QIcon>
#include <QScreen>

#include <filesystem>

#include "app/records/TavroSettings.h"
#include "support/Log.h"
#include "ui/Frames.h"
#include "ui/main/ErrorAlertPresenter.h"
#include "ui/main/TavroWindow.h"
#include "ui/preview/PreviewWindowHost.h"

void TavroApplication::RouteQtMessagesToLog() {
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        const QByteArray line = text.toLocal8Bit();
        if (type == QtCriticalMsg || type == QtFatalMsg)
            logError("qt: %s", line.constData());
        else
            logDebug("qt: %s", line.constData());
    });
}

TavroApplication::TavroApplication(int& argc, char** argv, const TavroOptions& options)
    : QApplication(argc, argv) {
    // Without a settings file the preview windows have no place of their own yet.
    std::string settingsPath;
    std::error_code error;
    const bool firstStart =
        gSettings.GetPath(&settingsPath) == B_OK && !std::filesystem::exists(settingsPath, error);
    setOrganizationName("zelk");
    setApplicationName("Tavro");
    setDesktopFileName(kDesktopFileName);
    setWindowIcon(QIcon::fromTheme(kDesktopFileName));
    // The main window ends the program when it closes, whichever preview is still open.
    setQuitOnLastWindowClosed(false);
    installErrorAlertPresenter();

    fEngine = std::make_unique<Tavro>(options);
    fEngine->SetRequestPresenter(showRequest);
    fPreviewWindows = std::make_unique<PreviewWindowHost>(fEngine.get());
    fEngine->SetPreviewHost(fPreviewWindows.get());
    // The settings guarantee a valid lastFormat in a list that is never empty.
    fEngine->SetFormat(gSettings.FormatAt(gSettings.lastFormat));

    fMainWindow = new TavroWindow(gSettings.tavroFrame, "Tavro", fEngine.get());
    fMainWindow->show();
    if (firstStart)
        PlacePreviewsBesideMainWindow();

    fEngine->ShowVideo(gSettings.showVideo, gSettings.videoFrame);
    fEngine->ShowAudio(gSettings.showAudio, gSettings.audioFrame);
    fMainWindow->SetPreviewWindows(fPreviewWindows.get());
}

void TavroApplication::PlacePreviewsBesideMainWindow() {
    QScreen* screen = fMainWindow->screen();
    if (screen == nullptr)
        return;
    const QRect main = fMainWindow->geometry(), available = screen->availableGeometry();
    const QRect video = toQRect(gSettings.videoFrame);
    gSettings.videoFrame = toRect(besideMainWindow(main, video.size(), 0, available, video));
    // The audio window under the video window (and its title bar).
    const QRect audio = toQRect(gSettings.audioFrame);
    gSettings.audioFrame =
        toRect(besideMainWindow(main, audio.size(), video.height() + 40, available, audio));
}

TavroWindow* TavroApplication::MainWindow() const {
    return fMainWindow.data();
}

TavroApplication::~TavroApplication() {
    // A window that closed is deleted on the next pass of the event loop, which may not come:
    // it goes here, while the engine it uses still exists.
    delete fMainWindow.data();
    // The previews store their frames and have the engine forget them as they close.
    fEngine->SetPreviewHost(nullptr);
    fPreviewWindows.reset();
    fEngine.reset();
    removeErrorAlertPresenter();
}
