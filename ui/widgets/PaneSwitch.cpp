#include "ui/widgets/PaneSwitch.h"

#include <QKeyEvent>
#include <QLine>
#include <QMouseEvent>
#include <QPainter>

#include <vector>

#include "support/MessageTarget.h"

namespace {

const QColor kOutlineColor(0, 0, 0);
const QColor kFillColor(150, 150, 150);
const QColor kPressedFillColor(100, 100, 0);

// The triangles as line arrays in a 10 x 10 square at the origin, for a switch at the left
// edge: the outline first, then the inner lines in the fill colour.
struct Triangle {
    std::vector<QLine> outline;
    std::vector<QLine> inside;
};

// Points away from the edge.
const Triangle kClosedTriangle{
    {{{2, 1}, {2, 9}}, {{2, 1}, {6, 5}}, {{6, 5}, {2, 9}}},
    {{{3, 3}, {3, 7}}, {{4, 4}, {4, 6}}, {{5, 5}, {5, 5}}},
};
// Points down.
const Triangle kOpenTriangle{
    {{{1, 2}, {9, 2}}, {{1, 2}, {5, 6}}, {{5, 6}, {9, 2}}},
    {{{3, 3}, {7, 3}}, {{4, 4}, {6, 4}}, {{5, 5}, {5, 5}}},
};
// Half-turned: points down and away from the edge.
const Triangle kPressedTriangle{
    {{{8, 1}, {8, 8}}, {{8, 8}, {1, 8}}, {{1, 8}, {8, 1}}},
    {{{7, 3}, {7, 7}}, {{6, 4}, {6, 7}}, {{5, 5}, {5, 7}}, {{4, 6}, {4, 7}}},
};

}  // namespace

PaneSwitch::PaneSwitch(const char* name, bool leftAligned, QWidget* parent)
    : QWidget(parent), fLeftAligned(leftAligned) {
    setObjectName(QString::fromUtf8(name));
    // Reached with the keyboard (Tab), but a click does not take the focus.
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void PaneSwitch::SetValue(int32 value) {
    if (value == fValue)
        return;
    fValue = value;
    update();
}

status_t PaneSwitch::Invoke() {
    if (fTarget == nullptr || fMessage.what == 0)
        return B_BAD_VALUE;
    Message message(fMessage);
    message.RemoveName("be:value");
    message.AddInt32("be:value", fValue);
    return fTarget->PostMessage(message);
}

bool PaneSwitch::WithinSlop(const QPoint& where) const {
    return rect().adjusted(-kTrackSlop, -kTrackSlop, kTrackSlop, kTrackSlop).contains(where);
}

void PaneSwitch::Track(const QPoint& where) {
    bool pressed = WithinSlop(where);
    if (pressed == fPressed)
        return;
    fPressed = pressed;
    update();
}

void PaneSwitch::DoneTracking(const QPoint& where) {
    fPressed = false;
    update();
    if (!WithinSlop(where))
        return;
    SetValue(fValue == 0 ? 1 : 0);
    Invoke();
}

void PaneSwitch::mousePressEvent(QMouseEvent* event) {
    if (!isEnabled() || event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    fTracking = true;
    fPressed = true;
    update();
}

void PaneSwitch::mouseMoveEvent(QMouseEvent* event) {
    if (fTracking)
        Track(event->position().toPoint());
}

void PaneSwitch::mouseReleaseEvent(QMouseEvent* event) {
    if (!fTracking || event->button() != Qt::LeftButton)
        return;
    fTracking = false;
    DoneTracking(event->position().toPoint());
}

void PaneSwitch::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Space:
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (isEnabled()) {
                SetValue(fValue == 0 ? 1 : 0);
                Invoke();
            }
            return;
        default:
            QWidget::keyPressEvent(event);
    }
}

void PaneSwitch::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    State state = fPressed ? kPressed : fValue != 0 ? kOpen : kClosed;
    DrawInState(painter, state);
    DrawFocusMark(painter);
}

void PaneSwitch::DrawInState(QPainter& painter, State state) {
    painter.fillRect(rect(), palette().window());

    const Triangle& triangle = state == kClosed ? kClosedTriangle
                               : state == kOpen ? kOpenTriangle
                                                : kPressedTriangle;
    int left = fLeftAligned ? 0 : width() - kSquareSize;
    int top = (height() - kSquareSize) / 2;
    // Maps a point of the left-aligned square into the switch, mirrored for the right edge.
    auto place = [&](const QLine& line) {
        QPoint p1 = line.p1(), p2 = line.p2();
        if (!fLeftAligned) {
            p1.setX(kSquareSize - 1 - p1.x());
            p2.setX(kSquareSize - 1 - p2.x());
        }
        return QLine(p1 + QPoint(left, top), p2 + QPoint(left, top));
    };

    painter.setPen(kOutlineColor);
    for (const QLine& line : triangle.outline)
        painter.drawLine(place(line));
    painter.setPen(state == kPressed ? kPressedFillColor : kFillColor);
    for (const QLine& line : triangle.inside)
        painter.drawLine(place(line));
}

void PaneSwitch::DrawFocusMark(QPainter& painter) {
    QRect bounds = rect();
    bool marked = hasFocus() && window()->isActiveWindow();
    QColor viewColor = palette().window().color();
    painter.setPen(marked ? palette().highlight().color() : viewColor);
    painter.drawLine(bounds.left() + 2, bounds.bottom() - 1, bounds.right() - 2,
                     bounds.bottom() - 1);
    painter.setPen(marked ? QColor(Qt::white) : viewColor);
    painter.drawLine(bounds.left(), bounds.bottom(), bounds.right(), bounds.bottom());
}
