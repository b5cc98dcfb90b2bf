#pragma once
// One fill bar of the status panel: how full a recording's ring buffer is, green at empty and
// red at full, with a mark at the highest fill seen (red above 85 %). The bar follows a
// draining ring slowly, losing a tenth of its length per pulse. A bar without a ring is grey.
//
// GUI thread only. The ring's counters are read without a lock, as snapshots.

#include <QWidget>

#include "engine/RingBuffer.h"
#include "support/Types.h"

class BufferView : public QWidget {
    Q_OBJECT

public:
    explicit BufferView(QWidget* parent = nullptr);

    // Watches `ring` (not owned; null: none) from an empty bar and no peak.
    void SetBuffer(RingBuffer* ring);
    // Takes the ring's levels and repaints when something changed (every 100 ms).
    void Pulse();

    float ShownFill() const { return fShownFill; }
    float PeakFill() const { return fPeakFill; }

    QSize sizeHint() const override { return QSize(60, 7); }

    static constexpr float kDecay = 0.9f;
    static constexpr float kRedPeak = 0.85f;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void DrawStatus(QPainter& painter) const;

    // The bar lies inside the one-pixel frame; edges inclusive.
    static constexpr int kBarLeft = 1;
    static constexpr int kBarTop = 1;
    int BarRight() const { return width() - 2; }
    int BarBottom() const { return height() - 2; }

    RingBuffer* fBuffer = nullptr;  // not owned
    float fShownFill = 0;           // 0..1
    float fPeakFill = 0;            // 0..1
    int32 fPeakPosition = 0;        // x of the peak mark's left column
    int32 fBufferCount = 0;         // the ring's capacity in slots
};
