// Files that end badly: the disk fills up, the process is killed. What was written before
// stays readable.

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <vector>

#include "support/Clock.h"
#include "tests/media/file/MovieReader.h"
#include "tests/media/file/MovieWriter.h"

namespace {

struct Container {
    const char* fileFormat;
    const char* encoder;
    const char* extension;
};

constexpr Container kSurvivors[] = {
    {"avi", "raw-video", "avi"}, {"avi", "mpeg4", "avi"}, {"matroska", "ffv1", "mkv"},
    {"mp4", "mjpeg", "mp4"},     {"mov", "mjpeg", "mov"},
};
// Encoders that hold frames back by default (lookahead, B-frames, frame threads).
constexpr Container kHoldingEncoders[] = {
    {"matroska", "libx264", "mkv"},
    {"mp4", "libx264", "mp4"},
    {"webm", "libvpx-vp9", "webm"},
    {"matroska", "libx265", "mkv"},
};

// Child side: opens a 160x120 track and hands it to `write`; returns the child's exit code.
template <typename Write>
int runTrack(const std::string& path, const Container& container, Write write) {
    media_file_format format;
    media_codec_info info;
    media_format input = rawVideoFormat(B_RGB32, 160, 120, 25);
    if (!findFileFormat(container.fileFormat, &format) ||
        !findEncoder(format, input, container.encoder, &info))
        return 10;
    MediaFile file(path.c_str(), &format);
    MediaTrack* track = file.CreateTrack(&input, &info);
    if (track == nullptr || file.CommitHeader() != B_OK)
        return 11;
    return write(track);
}

}  // namespace

TEST(MediaFileSurvival, FullDiskFailsTheWriteAndKeepsWhatWasWritten) {
    for (const Container& container : kSurvivors) {
        std::string path = temporaryPath(container.extension);
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            // 1 MB of file, then EFBIG instead of the signal.
            std::signal(SIGXFSZ, SIG_IGN);
            rlimit limit = {1 << 20, 1 << 20};
            setrlimit(RLIMIT_FSIZE, &limit);
            int code = runTrack(path, container, [](MediaTrack* track) {
                for (int frame = 0; frame < 2000; frame++) {
                    std::vector<uint8> picture = texturedPicture(160, 120, frame);
                    media_encode_info info;
                    info.start_time = frame * 40000;
                    status_t status = track->WriteFrames(picture.data(), 1, &info);
                    if (status == B_DEVICE_FULL || status == -E2BIG || status == -EFBIG)
                        return 0;
                    if (status != B_OK)
                        return 12;
                }
                return 13;  // never filled the disk
            });
            _exit(code);
        }
        int wstatus = 0;
        ASSERT_EQ(waitpid(child, &wstatus, 0), child);
        ASSERT_TRUE(WIFEXITED(wstatus));
        EXPECT_EQ(WEXITSTATUS(wstatus), 0) << container.fileFormat << " " << container.encoder;

        MovieSummary movie = readMovie(path);
        std::remove(path.c_str());
        ASSERT_EQ(movie.openError, 0) << container.fileFormat;
        ASSERT_NE(movie.Video(), nullptr) << container.fileFormat;
        EXPECT_GT(movie.Video()->frames, 5) << container.fileFormat << " " << container.encoder;
        // Only the packet the limit cut through may be damaged.
        EXPECT_LE(movie.Video()->decodeErrors, 1) << container.fileFormat;
    }
}

TEST(MediaFileSurvival, KilledRecordingKeepsEveryFrameOlderThanASecond) {
    std::vector<Container> containers(std::begin(kSurvivors), std::end(kSurvivors));
    containers.insert(containers.end(), std::begin(kHoldingEncoders), std::end(kHoldingEncoders));
    for (const Container& container : containers) {
        std::string path = temporaryPath(container.extension);
        int pipeEnds[2];
        ASSERT_EQ(pipe(pipeEnds), 0);
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(pipeEnds[0]);
            // Real time: one frame every 40 ms; each written frame is reported to the parent.
            int code = runTrack(path, container, [&](MediaTrack* track) {
                bigtime_t start = system_time();
                for (int frame = 0;; frame++) {
                    std::vector<uint8> picture = texturedPicture(160, 120, frame);
                    media_encode_info info;
                    info.start_time = frame * 40000;
                    if (track->WriteFrames(picture.data(), 1, &info) != B_OK)
                        return 12;
                    if (write(pipeEnds[1], &frame, sizeof(frame)) != sizeof(frame))
                        return 13;
                    snooze_until(start + (frame + 1) * 40000);
                }
            });
            _exit(code);
        }
        close(pipeEnds[1]);
        // Frames reported as written, each with the time the parent learnt of it. The two
        // seconds count from the first frame: on a busy machine opening an encoder alone can
        // take longer than that.
        std::vector<bigtime_t> writtenAt;
        int frame;
        while ((writtenAt.empty() || system_time() - writtenAt.front() < 2000000) &&
               read(pipeEnds[0], &frame, sizeof(frame)) == sizeof(frame))
            writtenAt.push_back(system_time());
        kill(child, SIGKILL);
        bigtime_t killedAt = system_time();
        int wstatus = 0;
        waitpid(child, &wstatus, 0);
        close(pipeEnds[0]);
        int64 older = 0;
        for (bigtime_t when : writtenAt)
            older += killedAt - when > 1000000;
        ASSERT_GT(older, 0) << "the child wrote nothing in time";

        MovieSummary movie = readMovie(path);
        std::remove(path.c_str());
        ASSERT_EQ(movie.openError, 0) << container.fileFormat;
        ASSERT_NE(movie.Video(), nullptr) << container.fileFormat;
        EXPECT_GE(movie.Video()->frames, older) << container.fileFormat << " " << container.encoder;
        // Only the packet the kill cut through may be damaged.
        EXPECT_LE(movie.Video()->decodeErrors, 1) << container.fileFormat;
    }
}
