#pragma once
// A slider bound to one continuous parameter of the video input: -100 to 100 with eleven tick
// marks below the bar, its label above the bar on the left and its value ("%ld") on the
// right. While the thumb moves, every new value is written to the parameter at once as a
// 4-byte float; nothing is cached or stored in the settings. Without a parameter (the input
// has none) the slider moves and changes nothing.

#include <QWidget>

#include <memory>

class MediaParameter;
class QLabel;
class QSlider;

class QuantitySlider : public QWidget {
    Q_OBJECT

public:
    static constexpr int kMinimum = -100;
    static constexpr int kMaximum = 100;
    static constexpr int kTickCount = 11;

    // `parameter` is not owned (null: a slider that changes nothing) and must stay valid as
    // long as the slider; its current value is read once, the fraction cut off, and a failed
    // read leaves the slider at 0.
    QuantitySlider(const char* name, const char* label, MediaParameter* parameter,
                   QWidget* parent = nullptr);

    QSlider* Slider() const { return fSlider; }
    int Value() const;
    // The value as shown beside the slider.
    QString UpdateText() const;

private:
    void ValueChanged(int value);

    MediaParameter* const fParameter;
    QSlider* fSlider = nullptr;
    QLabel* fValueLabel = nullptr;
};
