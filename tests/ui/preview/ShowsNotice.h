#pragma once
// Whether a preview view shows a notice on the panel rather than a picture or levels: most of
// it is the panel colour and some of it dark text.

#include <QPalette>

#include "tests/ui/UiTestSupport.h"

inline bool showsNotice(QWidget* view) {
    const QImage shown = painted(view);
    const QRgb panel = view->palette().color(QPalette::Window).rgb();
    int dark = 0, background = 0;
    for (int y = 0; y < shown.height(); y++)
        for (int x = 0; x < shown.width(); x++) {
            dark += qGray(shown.pixel(x, y)) < 80;
            background += shown.pixel(x, y) == panel;
        }
    return dark > 20 && background > shown.width() * shown.height() / 2;
}
