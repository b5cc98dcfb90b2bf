#include "ui/widgets/FlickerFreeStringView.h"

#include <QPaintEvent>

FlickerFreeStringView::FlickerFreeStringView(const QString& text, QWidget* parent,
                                             const QImage* background)
    : QLabel(text, parent), fBackground(background) {
    // With a background picture every pixel is painted by the one copy from the offscreen
    // bitmap: nothing to erase. On a parent, the bitmap is clear but for the text, and what
    // the parent and its ancestors paint (a group box's own fill, a style's gradient) shows
    // through exactly; Qt composes both in its backing store, so nothing flickers.
    setAttribute(Qt::WA_OpaquePaintEvent, fBackground != nullptr || parent == nullptr);
    fBackgroundColor = fLowColor = rgb_color::From(palette().color(QPalette::Window));
}

FlickerFreeStringView::~FlickerFreeStringView() = default;

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
    if (!fOffscreen)
        fOffscreen = std::make_unique<OffscreenBitmap>();
    QPainter* offscreen = fOffscreen->BeginUsing(size(), devicePixelRatioF());
    if (offscreen == nullptr)
        return;

    if (QWidget* parent = parentWidget())
        fBackgroundColor = fLowColor =
            rgb_color::From(parent->palette().color(parent->backgroundRole()));

    const QRect bounds = rect();
    if (fBackground != nullptr) {
        offscreen->drawImage(bounds, *fBackground, geometry());
    } else if (parentWidget() != nullptr) {
        offscreen->setCompositionMode(QPainter::CompositionMode_Source);
        offscreen->fillRect(bounds, Qt::transparent);
        offscreen->setCompositionMode(QPainter::CompositionMode_SourceOver);
    } else {
        offscreen->fillRect(bounds, fLowColor.ToQColor());
    }

    if (!text().isEmpty()) {
        offscreen->setFont(font());
        offscreen->setPen(palette().color(QPalette::WindowText));
        offscreen->drawText(TextOrigin(QFontMetrics(font())), text());
    }
    fOffscreen->DoneUsing();

    QPainter painter(this);
    painter.drawImage(0, 0, fOffscreen->Bitmap());
}
