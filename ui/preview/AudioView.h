#pragma once
// The audio level meter: per channel a decaying histogram of sample amplitudes, 200 bins from
// silence (bin 0) to full scale (bin 199), drawn as one strip stretched over the view's
// height, blue for the left channel over red for the right.
//
// Every pulse (100 ms) halves each bin but the last, then adds 0x10 to the bin of every
// sample of the latest block received (capped at 0xFF); the same block counts again at every
// pulse until a new one arrives. Samples are taken in pairs from the block's end, left then
// right, also for mono input (where only every other sample counts).
//
// When the input could not be connected the view shows "<could not connect to audio input>";
// when it stops delivering, the notice the node gives instead of levels that no longer move.

#include <QImage>
#include <atomic>
#include <mutex>
#include <vector>

#include "engine/PreviewSinks.h"
#include "ui/preview/PreviewView.h"

class AudioView : public PreviewView, public AudioBlockSink {
    Q_OBJECT

public:
    static constexpr int32 kBinCount = 200;

    explicit AudioView(QWidget* parent = nullptr);
    ~AudioView() override;

    // Any thread; the block is copied.
    void AudioBlockReceived(const int16* samples, size_t count) override;
    void SetChannelCount(int32 channels) override;
    void SetEnabled(bool enabled) override { StoreEnabled(enabled); }
    void InputStopped(const std::string& notice) override { StoreStopped(notice); }

    // GUI thread: the histogram step; nothing until a block has been received.
    void Pulse();

    // The bins as pixel words of the strips: the left channel's level in the blue byte
    // (0x000000FF), the right channel's in the red byte (0x00FF0000).
    uint32 LeftBin(int32 bin) const { return fLeft[bin]; }
    uint32 RightBin(int32 bin) const { return fRight[bin]; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool IsMono() const { return fChannelCount.load() == 1; }

    // GUI thread.
    uint32 fLeft[kBinCount] = {};
    uint32 fRight[kBinCount] = {};
    QImage fLeftStrip;  // kBinCount x 1, redrawn from fLeft at each paint
    QImage fRightStrip;
    std::vector<int16> fCounted;  // the block being counted, copied out of fBlock

    // fBlockLock guards fBlock and fReceived.
    std::mutex fBlockLock;
    std::vector<int16> fBlock;
    bool fReceived = false;

    std::atomic<int32> fChannelCount{2};
};
