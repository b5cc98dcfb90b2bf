#pragma once
// What a recording made through the window holds: about `seconds` of picture and sound that
// decode without an error. The bounds are generous: a loaded machine starts and stops late,
// and may drop frames. No more than the recording lasted, as the report beside the file says
// ("Stopped: ... (after 2.1 s)"), or twice `seconds` without a report.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/media/file/MovieReader.h"

inline void expectRecorded(const std::string& path, double seconds) {
    const MovieSummary movie = readMovie(path);
    ASSERT_EQ(movie.openError, 0) << path;
    const StreamSummary* video = movie.Video();
    const StreamSummary* audio = movie.Audio();
    ASSERT_NE(video, nullptr);
    ASSERT_NE(audio, nullptr);
    EXPECT_EQ(video->decodeErrors + audio->decodeErrors, 0);
    EXPECT_EQ(video->width, 384);
    EXPECT_GT(video->frames, int64(seconds * 25 * 0.25));
    std::ifstream reportFile(path + ".log");
    std::stringstream report;
    report << reportFile.rdbuf();
    double lasted = 0;
    const size_t after = report.str().find("(after ");
    const double atMost = after != std::string::npos && std::sscanf(report.str().c_str() + after,
                                                                    "(after %lf", &lasted) == 1
                              ? lasted + 0.1 + 0.04  // the report's rounding, and a frame
                              : seconds * 2;
    for (double end : {video->endSeconds, audio->endSeconds}) {
        EXPECT_GT(end, seconds * 0.5);
        EXPECT_LT(end, atMost) << report.str();
    }
    std::printf("%s: %.2f s of video, %.2f s of sound\n", path.c_str(), video->endSeconds,
                audio->endSeconds);
}
