#pragma once
// Fixtures of the engine tests: alerts collected instead of shown, and the default recording
// format ("avi" with raw video and sound) writing to a fresh path that is removed afterwards.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "app/records/ErrorAlert.h"
#include "app/records/FormatSetting.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "tests/media/file/MovieReader.h"

class AlertFixture : public testing::Test {
protected:
    struct Alert {
        std::string text;
        bool async;
    };

    void SetUp() override {
        resetErrorAlertForTesting();
        SetErrorAlertPresenter([this](const std::string& text, bool async) {
            alerts.push_back({text, async});
        });
    }
    void TearDown() override {
        SetErrorAlertPresenter({});
        resetErrorAlertForTesting();
    }
    // Whether exactly one alert was raised, the one for `text` and `status`.
    bool OnlyAlert(const char* text, status_t status) const {
        return alerts.size() == 1 && alerts[0].text == errorAlertText(text, status);
    }

    std::vector<Alert> alerts;
};

class RecordingFixture : public AlertFixture {
protected:
    void SetUp() override {
        AlertFixture::SetUp();
        format.SetFileFormat("avi");
        format.SetVideoEncoder("raw-video");
        format.SetAudioEncoder("raw-audio");
    }
    void TearDown() override {
        AlertFixture::TearDown();
        std::remove(path.c_str());
    }

    FormatSetting format{"test"};
    std::string path = temporaryPath("avi");
};

// Only the built-in inputs, whatever this machine has; in real time or as fast as the engine
// takes them.
inline TavroOptions testSignal(bool paced) {
    TavroOptions options;
    options.roster.videoInput = MediaRoster::kTestPictureID;
    options.roster.audioInput = MediaRoster::kTestToneID;
    options.pacedTestSignal = paced;
    return options;
}
