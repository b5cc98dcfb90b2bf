#pragma once
// The engine recording the built-in test signal into a file, stopped at a known point so that
// what the nodes counted is what the file must hold; shared by the engine's recording tests
// and the timing tests.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include "engine/AudioConsumer.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "engine/VideoConsumer.h"
#include "support/Clock.h"
#include "tests/engine/EngineTestSupport.h"

class EngineRecording : public RecordingFixture {
protected:
    // Applies the format, makes the file and starts recording into it; nullptr on failure.
    std::unique_ptr<TavroFile> Start(Tavro& engine) {
        engine.SetFormat(&format);
        auto file = std::make_unique<TavroFile>(path.c_str(), &format, &engine);
        if (file->status != B_OK || file->file->CommitHeader() != B_OK ||
            engine.SetVideoTrack(file->videoTrack) != B_OK ||
            engine.SetAudioTrack(file->audioTrack) != B_OK)
            return nullptr;
        engine.SetStatusView(&rings);
        startCalled = system_time();
        return engine.Start() == B_OK ? std::move(file) : nullptr;
    }

    // Records until `until` is true (checked every 10 ms) or 20 s have passed.
    template <typename Until>
    void Record(Tavro& engine, Until until) {
        std::unique_ptr<TavroFile> file = Start(engine);
        ASSERT_NE(file, nullptr);
        // The recording's own clock: making the file takes longer on a loaded machine.
        started = system_time();
        hadAudioTrack = file->audioTrack != nullptr;
        const bigtime_t end = system_time() + 20000000;
        while (!until() && system_time() < end)
            snooze(10000);
        stopped = system_time();
        // Stop at a known point: inputs silent, rings drained, so what the nodes counted is
        // what the file must hold (Stop itself leaves slots still in a ring unwritten).
        engine.VideoInputNode()->Stop(0, true);
        videoStopped = system_time();
        if (beforeSoundStops)
            beforeSoundStops();
        engine.AudioInputNode()->Stop(0, true);
        audioStopped = system_time();
        const bigtime_t drained = system_time() + 10000000;
        while ((rings.video->BuffersInUse() > 0 ||
                (rings.audio != nullptr && rings.audio->BuffersInUse() > 0)) &&
               system_time() < drained)
            snooze(10000);
        snooze(50000);  // the writer's last WriteFrames
        recordedVideo = engine.VideoConsumerNode()->RecordedFrames();
        recordedAudio = engine.AudioConsumerNode()->RecordedFrames();
        videoCounter = engine.VideoFramesCounter();
        droppedVideo = engine.DroppedVideoFrames();
        ringFullVideo = engine.VideoRingFullDrops();
        ASSERT_EQ(engine.Stop(), B_OK);
        engine.SetStatusView(nullptr);
    }

    // The report beside the file, removed.
    std::string TakeReport() {
        std::ifstream file(path + ".log");
        std::stringstream text;
        text << file.rdbuf();
        std::remove((path + ".log").c_str());
        return text.str();
    }

    // A stream's figures in the report ("Video frames: 75 frames expected, 74 written, 1
    // dropped ..."): false when the line is not there.
    struct Figures {
        long long expected = -1, written = -1, dropped = -1;
    };
    static bool ReadFigures(const std::string& report, const std::string& key, const char* unit,
                            Figures* figures) {
        const size_t at = report.find(key + ": ");
        if (at == std::string::npos)
            return false;
        const char* text = report.c_str() + at + key.size() + 2;
        int unitAt = 0;
        if (std::sscanf(text, "%lld %n", &figures->expected, &unitAt) != 1 ||
            std::strncmp(text + unitAt, unit, std::strlen(unit)) != 0)
            return false;
        return std::sscanf(text + unitAt + std::strlen(unit), " expected, %lld written, %lld",
                           &figures->written, &figures->dropped) == 2;
    }

    RingWatcher rings;  // the status view of the recordings
    bool hadAudioTrack = false;
    // A busy machine may hold this thread up between any two steps, so each moment that
    // matters is taken on both sides: the engine started between `startCalled` and `started`,
    // the picture stopped between `stopped` and `videoStopped`, the sound by `audioStopped`.
    bigtime_t startCalled = 0;
    bigtime_t started = 0;
    bigtime_t stopped = 0;
    bigtime_t videoStopped = 0;
    bigtime_t audioStopped = 0;
    std::function<void()> beforeSoundStops;  // runs between the two inputs' Stop
    int64 recordedVideo = 0;
    int64 recordedAudio = 0;
    int64 videoCounter = 0;
    int64 droppedVideo = 0;
    int64 ringFullVideo = 0;  // frames a full ring refused (a machine too busy to write them)
};
