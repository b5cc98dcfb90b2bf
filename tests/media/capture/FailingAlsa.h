#pragma once
// An ALSA capture stream that fails on demand, for the tests of inputs that stop: alsa-lib's
// "file" plugin over a "null" slave copies what it captures into a FIFO; once the reading
// end closes (FifoReader::Unplug), its reads fail with EIO, which ALSA cannot recover from,
// as the stream of a card that failed. Real alsa-lib; only the device behind it is missing.
//
// Writes into a FIFO without a reader raise SIGPIPE first: a test ignores it meanwhile.

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "media/alsa/AlsaProducer.h"
#include "support/Clock.h"
#include "tests/media/capture/FakeDevices.h"

// The fake Bt848 for video and one audio input, "Failing capture" (tavrofail), writing into
// the FIFO at `fifo`.
class AlsaFifoBackend : public CardBackend {
public:
    AlsaFifoBackend(FakeBt848* card, const std::string& fifo)
        : CardBackend(card),
          fConfig("pcm.tavrofail { type file slave.pcm { type null } file \"" + fifo +
                  "\" format raw }") {}

    std::vector<MediaDevice> AudioInputs() override {
        return {{DeviceKind::AudioInput, "tavrofail", "Failing capture", false}};
    }
    status_t MakeInput(const MediaDevice& device, std::shared_ptr<MediaProducer>* node) override {
        if (device.kind != DeviceKind::AudioInput)
            return CardBackend::MakeInput(device, node);
        auto producer = std::make_shared<AlsaProducer>(AlsaSource{device.id, fConfig});
        if (producer->InitCheck() != B_OK)
            return producer->InitCheck();
        *node = std::move(producer);
        return B_OK;
    }

private:
    std::string fConfig;
};

// The reading end of a FIFO, emptied on a thread of its own until Unplug closes it.
class FifoReader {
public:
    explicit FifoReader(const std::string& path)
        : fDescriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
        fThread = std::thread([this] {
            char sink[65536];
            while (!fUnplug.load()) {
                while (read(fDescriptor, sink, sizeof sink) > 0) {
                }
                snooze(2000);
            }
        });
    }
    ~FifoReader() { Unplug(); }
    FifoReader(const FifoReader&) = delete;
    FifoReader& operator=(const FifoReader&) = delete;
    bool IsOpen() const { return fDescriptor >= 0; }
    void Unplug() {
        fUnplug.store(true);
        if (fThread.joinable())
            fThread.join();
        if (fDescriptor >= 0)
            close(fDescriptor);
        fDescriptor = -1;
    }

private:
    int fDescriptor;
    std::atomic<bool> fUnplug{false};
    std::thread fThread;
};
