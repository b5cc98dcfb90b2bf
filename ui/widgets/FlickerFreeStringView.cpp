#include "ui/widgets/FlickerFreeStringView.h"

#include <QPainter>

FlickerFreeStringView::FlickerFreeStringView(const QString& text, QWidget* parent,
                                             const QImage* background)
    : QLabel(text, parent), fBackground(background) {
    // With a background picture or without a parent every pixel is painted here: Qt need not
    // erase first. On a parent, what the parent and its ancestors paint (a group box's own
    // fill, a style's gradient) shows through under the text.
    setAttribute(Qt::WA_OpaquePaintEvent, fBackground != nullptr || parent == nullptr);
    fBackgroundColor = fLowColor = rgb_color::From(palette().color(QPalette::Window));
}

void FlickerFreeStringView::SetViewColor(rgb_color color) {
    if (color != fBackgroundColor) {
        fBackgroundColor = color;
        update();
    }
}

void FlickerFreeStringView::SetLowColor(rgb_color color) {
    if (color != fLowColor) {
        fLowColor = color;
        update();
    }
}

QPoint FlickerFreeStringView::TextOrigin(const QFontMetrics& metrics) const {
    const QString shown = text();
    const int right = width() - 1;
    int x;
    Qt::Alignment horizontal = alignment() & Qt::AlignHorizontal_Mask;
    if (horizontal & Qt::AlignRight)
        x = right - metrics.horizontalAdvance(shown) - 2;
    else if (horizontal & Qt::AlignHCenter)
        x = right / 2 - metrics.horizontalAdvance(shown) / 2;
    else
        x = 2 - metrics.leftBearing(shown.at(0));
    return QPoint(x, height() - 1 - (metrics.descent() + 1));
}

void FlickerFreeStringView::paintEvent(QPaintEvent*) {
    if (QWidget* parent = parentWidget())
        fBackgroundColor = fLowColor =
            rgb_color::From(parent->palette().color(parent->backgroundRole()));

    QPainter painter(this);
    if (fBackground != nullptr)
        painter.drawImage(rect(), *fBackground, geometry());
    else if (parentWidget() == nullptr)
        painter.fillRect(rect(), fLowColor.ToQColor());

    if (!text().isEmpty()) {
        painter.setFont(font());
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(TextOrigin(QFontMetrics(font())), text());
    }
}
