#pragma once
// Test helper: writes a short movie through MediaFile and MediaTrack, video and audio
// interleaved by time as the writer threads would.

#include <functional>
#include <string>

#include "media/file/MediaFile.h"

struct Recording {
    const char* fileFormat = "avi";
    const char* videoEncoder = "raw-video";
    const char* audioEncoder = nullptr;  // no audio track
    color_space space = B_RGB32;
    int width = 160;
    int height = 120;
    float rate = 25;
    int frames = 25;
    int audioRate = 44100;
    int channels = 2;
    int audioChunk = 1000;  // sample frames per WriteFrames
    bool textured = false;  // busy picture instead of colour bars (RGB32 only)
};

bool findFileFormat(const char* name, media_file_format* format);
bool findEncoder(const media_file_format& format, const media_format& input, const char* name,
                 media_codec_info* info);

// Called after the tracks are made and before the header is committed.
using TrackSetup = std::function<void(MediaTrack* video, MediaTrack* audio)>;

// B_OK, or the first error (with a failed step named in `*step`).
status_t writeMovie(const std::string& path, const Recording& recording,
                    const TrackSetup& setup = {}, std::string* step = nullptr);
