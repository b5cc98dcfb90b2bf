#pragma once
// A one-line text that changes several times a second (the status panel's clock and
// counters). It repaints only when its text or a colour really changes; Qt composes every
// repaint in the window's backing store and shows it in one copy, so nothing flickers and
// the view needs no offscreen surface of its own.
//
// The background is what the parent paints under the view (its colour is kept as the low
// colour, taken again at every redraw); without a parent, the low colour set here; with a
// background picture, the part of it under this view. The text is drawn in the palette's
// text colour with the widget's font and alignment.

#include <QLabel>

#include "ui/widgets/RgbColor.h"

class FlickerFreeStringView : public QLabel {
    Q_OBJECT

public:
    // `background`, when given, is not owned and must outlive the view; it covers the parent
    // in the parent's coordinates.
    explicit FlickerFreeStringView(const QString& text, QWidget* parent = nullptr,
                                   const QImage* background = nullptr);

    // Repaint only when the colour differs (in any of its four components) from the stored one.
    void SetViewColor(rgb_color color);
    void SetLowColor(rgb_color color);
    rgb_color ViewColor() const { return fBackgroundColor; }
    rgb_color LowColor() const { return fLowColor; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    // Where the text starts and where its baseline lies, in the view's coordinates.
    QPoint TextOrigin(const QFontMetrics& metrics) const;

    rgb_color fBackgroundColor;
    rgb_color fLowColor;
    const QImage* fBackground;
};
