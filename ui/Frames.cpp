#include "ui/Frames.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

namespace {

// Room left for the window manager's frame around a window.
constexpr int kDecoration = 30;

}  // namespace

QRect keptOnScreen(QRect frame, const std::vector<QRect>& screens) {
    if (screens.empty())
        return frame;
    const QRect* home = nullptr;
    for (const QRect& screen : screens) {
        if (screen.contains(frame.topLeft())) {
            home = &screen;
            break;
        }
    }
    if (home == nullptr) {
        frame.moveTopLeft(screens.front().topLeft() + QPoint(60, 60));
        home = &screens.front();
    }
    // Right and bottom edges in first, then the top-left, which wins for a frame larger than
    // the screen.
    frame.moveRight(std::min(frame.right(), home->right()));
    frame.moveBottom(std::min(frame.bottom(), home->bottom()));
    frame.moveLeft(std::max(frame.left(), home->left()));
    frame.moveTop(std::max(frame.top(), home->top()));
    return frame;
}

QRect keptOnScreen(const QRect& frame) {
    std::vector<QRect> screens;
    if (QScreen* primary = QGuiApplication::primaryScreen())
        screens.push_back(primary->availableGeometry());
    for (QScreen* screen : QGuiApplication::screens()) {
        if (screen != QGuiApplication::primaryScreen())
            screens.push_back(screen->availableGeometry());
    }
    return keptOnScreen(frame, screens);
}

QRect besideMainWindow(const QRect& main, const QSize& size, int below, const QRect& screen,
                       const QRect& fallback) {
    const int top = main.top() + below;
    const QRect right(QPoint(main.right() + 1 + kDecoration, top), size);
    if (screen.contains(right))
        return right;
    const QRect left(QPoint(main.left() - kDecoration - size.width(), top), size);
    if (screen.contains(left))
        return left;
    return fallback;
}
