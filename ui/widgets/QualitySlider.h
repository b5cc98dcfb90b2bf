#pragma once
// A labelled slider for an encoder quality in percent, with the value written beside it:
// "Not specified" below 1, else "75%". Five hash marks below the bar. Every change the user
// makes posts the slider's message with int32 "be:value" to its target.

#include <QWidget>

#include "support/Message.h"

class MessageTarget;
class QLabel;
class QSlider;

class QualitySlider : public QWidget {
    Q_OBJECT

public:
    QualitySlider(const char* label, const Message& message, int32 min, int32 max,
                  QWidget* parent = nullptr);

    int32 Value() const;
    // Shows `value` (clamped to the range) without posting anything.
    void SetValue(int32 value);
    // Not owned; null posts nothing.
    void SetTarget(MessageTarget* target) { fTarget = target; }

    // The value's text; the buffer lives as long as the slider and changes with the value.
    const char* UpdateText() const;

    QSlider* Bar() const { return fBar; }

private:
    void ValueChanged(int value);

    Message fMessage;
    MessageTarget* fTarget = nullptr;
    QLabel* fLabel;
    QSlider* fBar;
    QLabel* fValueText;
    bool fSetting = false;  // SetValue is changing the bar: post nothing
    mutable char fText[32] = "";
};
