#pragma once
// What the widget tests share: one QApplication for the test program (on the platform the
// test's environment names, offscreen under ctest), a way to let posted messages arrive, an
// engine without devices, and a way to see what a widget painted.

#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QImage>
#include <QThread>
#include <QWidget>

#include <functional>

#include "engine/Tavro.h"

inline QApplication* testApplication() {
    static int argc = 1;
    static char name[] = "tavro-ui-test";
    static char* argv[] = {name, nullptr};
    static QApplication* application = new QApplication(argc, argv);
    return application;
}

// Delivers everything posted so far, and what that posts in turn.
inline void drain() {
    for (int pass = 0; pass < 5; pass++)
        QCoreApplication::processEvents(QEventLoop::AllEvents);
}

// Runs the event loop until `done` holds or `milliseconds` have passed; returns `done()`.
inline bool waitUntil(const std::function<bool()>& done, int milliseconds) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < milliseconds) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return done();
}

// An engine without a media roster: a 320 x 240 picture, nothing connected.
inline TavroOptions noDevices() {
    TavroOptions options;
    options.useRoster = false;
    return options;
}

// What the widget paints now, one pixel per point.
inline QImage painted(QWidget* widget) {
    return widget->grab().toImage().convertToFormat(QImage::Format_RGB32);
}

// Counts the paint events a widget gets.
class PaintCounter : public QObject {
public:
    explicit PaintCounter(QWidget* widget) { widget->installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        count += event->type() == QEvent::Paint;
        return false;
    }
};
