#include "ui/main/BufferView.h"

#include <QPainter>
#include <algorithm>

#include "ui/widgets/RgbColor.h"

namespace {

const QColor kEmptyGrey(80, 80, 80);
const QColor kRedPeakColor(200, 0, 0);
const QColor kPeakColor(255, 255, 255);

// A fraction of the ring in 0..1. BuffersInUse() is -1 when the counters could not be read:
// that shows as empty.
float fraction(int32 used, int32 count) {
    if (count <= 0 || used <= 0)
        return 0;
    return std::min(1.0f, float(used) / float(count));
}

void fillInclusive(QPainter& painter, int left, int top, int right, int bottom,
                   const QColor& color) {
    if (right >= left && bottom >= top)
        painter.fillRect(QRect(QPoint(left, top), QPoint(right, bottom)), color);
}

}  // namespace

BufferView::BufferView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFixedHeight(7);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void BufferView::SetBuffer(RingBuffer* ring) {
    fShownFill = fPeakFill = 0;
    fBuffer = ring;
    if (ring != nullptr)
        fBufferCount = ring->Count();
    update();
}

void BufferView::Pulse() {
    if (fBuffer == nullptr)
        return;
    const float current = fraction(fBuffer->BuffersInUse(), fBufferCount);
    const float max = fraction(fBuffer->MaxBuffersUsed(), fBufferCount);

    if (fShownFill == 0 && current == 0 && max == fPeakFill)
        return;

    if (max > fPeakFill) {
        fShownFill = fPeakFill = max;
        fPeakPosition = int32(kBarLeft + (BarRight() - kBarLeft) * max - 1);
    } else if (current < fShownFill) {
        fShownFill *= kDecay;
    } else {
        fShownFill = current;
    }
    update();
}

void BufferView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    // The sunken frame, from the panel colour.
    const rgb_color panel = rgb_color::From(palette().color(QPalette::Window));
    const int right = width() - 1;
    const int bottom = height() - 1;
    auto line = [&painter](int x0, int y0, int x1, int y1, rgb_color color) {
        painter.setPen(color.ToQColor());
        painter.drawLine(x0, y0, x1, y1);
    };
    line(0, 0, right, 0, tintColor(panel, B_DARKEN_1_TINT));
    line(0, 0, 0, bottom, tintColor(panel, B_DARKEN_1_TINT));
    line(0, bottom, right, bottom, tintColor(panel, 0.1f));
    line(right, 0, right, bottom, tintColor(panel, 0.1f));
    line(1, 1, right - 1, 1, tintColor(panel, B_DARKEN_3_TINT));
    line(1, 1, 1, bottom - 1, tintColor(panel, B_DARKEN_3_TINT));
    line(1, bottom - 1, right - 1, bottom - 1, tintColor(panel, B_LIGHTEN_1_TINT));
    line(right - 1, 1, right - 1, bottom - 1, tintColor(panel, B_LIGHTEN_1_TINT));
    DrawStatus(painter);
}

void BufferView::DrawStatus(QPainter& painter) const {
    const int left = kBarLeft, top = kBarTop, right = BarRight(), bottom = BarBottom();
    int rest = left;  // the first column not drawn yet

    if (fBuffer != nullptr) {
        const float fill = fShownFill;
        const int barRight = left + int((right - left) * fill);
        if (barRight > left) {
            const rgb_color bar = {uint8(fill * 127 + 100), uint8((1 - fill) * 127 + 100), 0, 255};
            fillInclusive(painter, left + 1, top + 1, barRight - 1, bottom - 1, bar.ToQColor());
            const QColor light = tintColor(bar, B_LIGHTEN_2_TINT).ToQColor();
            const QColor dark = tintColor(bar, B_DARKEN_2_TINT).ToQColor();
            fillInclusive(painter, left, top, barRight, top, light);
            fillInclusive(painter, left, top, left, bottom, light);
            fillInclusive(painter, left + 1, bottom, barRight, bottom, dark);
            fillInclusive(painter, barRight, top + 1, barRight, bottom, dark);
            rest = barRight + 1;
        }
    }
    if (fPeakFill > 0) {
        const int peak = std::max(int(fPeakPosition), left);
        fillInclusive(painter, rest, top, peak - 1, bottom, kEmptyGrey);
        fillInclusive(painter, peak, top, std::min(peak + 1, right), bottom,
                      fPeakFill > kRedPeak ? kRedPeakColor : kPeakColor);
        rest = std::max(rest, peak + 2);
    }
    fillInclusive(painter, rest, top, right, bottom, kEmptyGrey);
}
