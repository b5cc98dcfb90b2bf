#pragma once
// What the preview and status panel tests share besides the widget tests' application: an
// engine with no devices, and a way to see what a widget painted.

#include <QEvent>
#include <QImage>
#include <QWidget>

#include "engine/Tavro.h"
#include "tests/ui/UiTestSupport.h"

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
        if (event->type() == QEvent::Paint)
            count++;
        return false;
    }
};
