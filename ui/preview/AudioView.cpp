#include "ui/preview/AudioView.h"

#include <QPainter>
#include <cstdlib>

namespace {

// Enough for a block of 4096 stereo frames without a reallocation.
constexpr size_t kReservedSamples = 8192;

constexpr uint32 kLeftMask = 0x000000FF;
constexpr uint32 kRightMask = 0x00FF0000;
constexpr uint32 kLeftStep = 0x10;
constexpr uint32 kRightStep = 0x100000;

// The bin of a sample: (W × |sample|) >> 15 with W the last bin, so -32768 lands in it.
uint32 binOf(int16 sample) {
    const uint32 magnitude = uint32(std::abs(int32(sample)));
    return (uint32(AudioView::kBinCount - 1) * magnitude) >> 15;
}

// Inclusive edges, as the strips' layout is computed.
QRect inclusive(int left, int top, int right, int bottom) {
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

}  // namespace

AudioView::AudioView(QWidget* parent)
    : PreviewView("<could not connect to audio input>", parent),
      fLeftStrip(kBinCount, 1, QImage::Format_RGB32),
      fRightStrip(kBinCount, 1, QImage::Format_RGB32) {
    fCounted.reserve(kReservedSamples);
    fBlock.reserve(kReservedSamples);
}

AudioView::~AudioView() = default;

void AudioView::AudioBlockReceived(const int16* samples, size_t count) {
    if (samples == nullptr)
        return;
    std::lock_guard<std::mutex> lock(fBlockLock);
    fBlock.assign(samples, samples + count);
    fReceived = true;
}

void AudioView::SetChannelCount(int32 channels) {
    fChannelCount.store(channels);
}

void AudioView::Pulse() {
    {
        std::lock_guard<std::mutex> lock(fBlockLock);
        if (!fReceived)
            return;
        fCounted.assign(fBlock.begin(), fBlock.end());
    }
    const bool mono = IsMono();
    constexpr int32 last = kBinCount - 1;

    // The last bin keeps its level: a clipping input stays visible.
    for (int32 bin = last - 1; bin >= 0; bin--) {
        fLeft[bin] = (fLeft[bin] >> 1) & kLeftMask;
        if (!mono)
            fRight[bin] = (fRight[bin] >> 1) & kRightMask;
    }

    for (size_t n = fCounted.size(); n >= 2; n -= 2) {
        uint32& left = fLeft[binOf(fCounted[n - 2])];
        left = std::min(left + kLeftStep, kLeftMask);
        if (!mono) {
            uint32& right = fRight[binOf(fCounted[n - 1])];
            right = std::min(right + kRightStep, kRightMask);
        }
    }
    update();
}

void AudioView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (PaintNotice(painter))
        return;

    auto* left = reinterpret_cast<uint32*>(fLeftStrip.bits());
    auto* right = reinterpret_cast<uint32*>(fRightStrip.bits());
    for (int32 bin = 0; bin < kBinCount; bin++) {
        left[bin] = 0xFF000000 | fLeft[bin];
        right[bin] = 0xFF000000 | fRight[bin];
    }

    const bool mono = IsMono();
    const int boundsRight = width() - 1;
    const int boundsBottom = height() - 1;
    // The strip rectangle, edges inclusive.
    int stripLeft = 2, stripTop = 2, stripRight = boundsRight - 2, stripBottom = boundsBottom - 2;
    if (!mono)
        stripBottom = int(stripBottom * 0.5f - 1);
    painter.drawImage(inclusive(stripLeft, stripTop, stripRight, stripBottom), fLeftStrip);
    if (!mono) {
        const int offset = stripBottom + 2;
        stripTop += offset;
        stripBottom += offset;
        painter.drawImage(inclusive(stripLeft, stripTop, stripRight, stripBottom), fRightStrip);
    }

    // The black surround: top rows, the gap between the strips, below, and both sides.
    const QColor black(0, 0, 0);
    painter.fillRect(inclusive(0, 0, boundsRight, 1), black);
    if (!mono)
        painter.fillRect(inclusive(2, stripTop - 3, stripRight, stripTop - 1), black);
    painter.fillRect(inclusive(0, stripBottom + 1, stripRight, boundsBottom), black);
    painter.fillRect(inclusive(0, 2, 1, stripBottom), black);
    painter.fillRect(inclusive(boundsRight - 1, 2, boundsRight, boundsBottom), black);
}
