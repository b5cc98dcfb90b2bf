#pragma once
// The disclosure triangle that opens and closes a pane of the main window. Value 0 means
// closed, any other value open: a click toggles between 0 and 1, and the owner sets 0 and 2
// itself as it closes and opens the pane. The switch has no label of its own.
//
// A click counts when the button is released within kTrackSlop pixels of the switch; then the
// value toggles and the switch's message goes to its target. The mouse is followed through
// Qt's own press, move and release events, so the window's thread is never held while the
// button is down. Space or Enter toggles a switch that has the keyboard focus.

#include <QWidget>

#include "support/Message.h"

class MessageTarget;
class QPainter;

class PaneSwitch : public QWidget {
    Q_OBJECT

public:
    enum State { kClosed = 0, kPressed = 1, kOpen = 2 };

    // How far outside its bounds, in pixels, a release still counts as a click.
    static constexpr int kTrackSlop = 3;
    // The triangle's square, in pixels.
    static constexpr int kSquareSize = 10;

    // `leftAligned` false mirrors the triangle to the right edge.
    PaneSwitch(const char* name, bool leftAligned = true, QWidget* parent = nullptr);

    int32 Value() const { return fValue; }
    // Repaints when the value changes; sends nothing.
    void SetValue(int32 value);
    bool IsPressed() const { return fPressed; }

    // What Invoke sends, and to whom (not owned; null sends nothing).
    void SetMessage(const Message& message) { fMessage = message; }
    void SetTarget(MessageTarget* target) { fTarget = target; }
    // Posts a copy of the message with int32 "be:value" = Value(). B_BAD_VALUE without a
    // message (what 0) or target.
    status_t Invoke();

    // The mouse moved while the button is held: pressed while `where` is within the slop.
    void Track(const QPoint& where);
    // The button was released at `where`: toggles and invokes when that is within the slop.
    void DoneTracking(const QPoint& where);

    QSize sizeHint() const override { return {kSquareSize + 6, kSquareSize + 6}; }

protected:
    // Draws the triangle for `state` on the cleared square; subclasses may draw otherwise.
    virtual void DrawInState(QPainter& painter, State state);

    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    bool WithinSlop(const QPoint& where) const;
    void DrawFocusMark(QPainter& painter);

    const bool fLeftAligned;
    bool fPressed = false;
    bool fTracking = false;  // a press on this switch is waiting for its release
    int32 fValue = 0;
    Message fMessage;
    MessageTarget* fTarget = nullptr;
};
