#include "ui/widgets/OffscreenBitmap.h"

OffscreenBitmap::OffscreenBitmap(QSize size, qreal devicePixelRatio) {
    NewBitmap(size, devicePixelRatio);
}

void OffscreenBitmap::NewBitmap(QSize size, qreal devicePixelRatio) {
    DoneUsing();
    fBitmap = QImage();
    if (size.isEmpty())
        return;
    // Premultiplied ARGB is what the raster engine composes and copies fastest.
    QImage bitmap(size * devicePixelRatio, QImage::Format_ARGB32_Premultiplied);
    if (bitmap.isNull())
        return;
    bitmap.setDevicePixelRatio(devicePixelRatio);
    fBitmap = std::move(bitmap);
}

QPainter* OffscreenBitmap::BeginUsing(QSize size, qreal devicePixelRatio) {
    DoneUsing();
    if (fBitmap.isNull() || fBitmap.deviceIndependentSize().toSize() != size ||
        fBitmap.devicePixelRatio() != devicePixelRatio)
        NewBitmap(size, devicePixelRatio);
    if (fBitmap.isNull())
        return nullptr;
    fPainter.emplace(&fBitmap);
    if (!fPainter->isActive()) {
        fPainter.reset();
        return nullptr;
    }
    return &*fPainter;
}

void OffscreenBitmap::DoneUsing() {
    if (fPainter) {
        fPainter->end();
        fPainter.reset();
    }
}
