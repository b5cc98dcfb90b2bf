#pragma once
// What the widget tests share: one QApplication for the test program (on the platform the
// test's environment names, offscreen under ctest), and a way to let posted messages arrive.

#include <QApplication>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <functional>

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
