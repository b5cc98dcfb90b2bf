#pragma once
// A reusable offscreen surface: a redraw is composed here and reaches the screen in one copy.
// The bitmap is kept from one use to the next and remade only when the size asked for
// changes.

#include <QImage>
#include <QPainter>
#include <optional>

class OffscreenBitmap {
public:
    OffscreenBitmap() = default;
    // `size` in logical pixels; the bitmap holds size × devicePixelRatio device pixels.
    explicit OffscreenBitmap(QSize size, qreal devicePixelRatio = 1.0);
    OffscreenBitmap(const OffscreenBitmap&) = delete;
    OffscreenBitmap& operator=(const OffscreenBitmap&) = delete;

    // Drops the old bitmap and makes one of `size`. When it cannot be made none is kept.
    void NewBitmap(QSize size, qreal devicePixelRatio = 1.0);

    // A painter on the bitmap, which is remade first when missing or of another size or
    // pixel ratio; null when no bitmap can be made (then nothing may be drawn). The painter
    // is valid until DoneUsing, which must come before the bitmap is drawn anywhere.
    QPainter* BeginUsing(QSize size, qreal devicePixelRatio = 1.0);
    void DoneUsing();

    // Null (isNull()) when there is none.
    const QImage& Bitmap() const { return fBitmap; }

private:
    QImage fBitmap;
    std::optional<QPainter> fPainter;  // engaged between BeginUsing and DoneUsing
};
