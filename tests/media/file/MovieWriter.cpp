#include "tests/media/file/MovieWriter.h"

#include "tests/media/file/MovieReader.h"

bool findFileFormat(const char* name, media_file_format* format) {
    int32 cookie = 0;
    while (get_next_file_format(&cookie, format) == B_OK) {
        if (format->short_name == name)
            return true;
    }
    return false;
}

bool findEncoder(const media_file_format& format, const media_format& input, const char* name,
                 media_codec_info* info) {
    media_format output;
    int32 cookie = 0;
    while (get_next_encoder(&cookie, &format, &input, &output, info) == B_OK) {
        if (info->short_name == name)
            return true;
    }
    return false;
}

status_t writeMovie(const std::string& path, const Recording& recording, const TrackSetup& setup,
                    std::string* step) {
    std::string ignored;
    std::string& failed = step != nullptr ? *step : ignored;
    media_file_format fileFormat;
    if (!findFileFormat(recording.fileFormat, &fileFormat))
        return failed = "file format", B_ERROR;
    MediaFile file(path.c_str(), &fileFormat);
    if (file.InitCheck() != B_OK)
        return failed = "open", file.InitCheck();

    media_format videoInput =
        rawVideoFormat(recording.space, recording.width, recording.height, recording.rate);
    media_codec_info info;
    if (!findEncoder(fileFormat, videoInput, recording.videoEncoder, &info))
        return failed = "video encoder", B_ERROR;
    MediaTrack* video = file.CreateTrack(&videoInput, &info);
    if (video == nullptr)
        return failed = "video track", B_ERROR;
    MediaTrack* audio = nullptr;
    if (recording.audioEncoder != nullptr) {
        media_format audioInput = rawAudioFormat(recording.audioRate, recording.channels);
        if (!findEncoder(fileFormat, audioInput, recording.audioEncoder, &info))
            return failed = "audio encoder", B_ERROR;
        audio = file.CreateTrack(&audioInput, &info);
        if (audio == nullptr)
            return failed = "audio track", B_ERROR;
    }
    if (setup)
        setup(video, audio);
    if (status_t status = file.CommitHeader(); status != B_OK)
        return failed = "header", status;

    std::vector<uint8> bars = barsPicture(recording.space, recording.width, recording.height);
    int64 samplesWritten = 0;
    int64 totalSamples = int64(double(recording.frames) / recording.rate * recording.audioRate);
    for (int frame = 0; frame < recording.frames; frame++) {
        media_encode_info encode;
        encode.start_time = bigtime_t(frame * 1e6 / recording.rate);
        std::vector<uint8> picture =
            recording.textured ? texturedPicture(recording.width, recording.height, frame) : bars;
        if (status_t status = video->WriteFrames(picture.data(), 1, &encode); status != B_OK)
            return failed = "video write", status;
        // Audio up to the end of this video frame.
        int64 due =
            std::min(totalSamples, int64(double(frame + 1) / recording.rate * recording.audioRate));
        while (audio != nullptr && samplesWritten < due) {
            int chunk = int(std::min<int64>(recording.audioChunk, totalSamples - samplesWritten));
            std::vector<int16> samples =
                toneSamples(samplesWritten, chunk, recording.audioRate, recording.channels);
            encode.start_time = bigtime_t(samplesWritten * 1e6 / recording.audioRate);
            if (status_t status = audio->WriteFrames(samples.data(), chunk, &encode);
                status != B_OK)
                return failed = "audio write", status;
            samplesWritten += chunk;
        }
    }
    if (status_t status = file.CloseFile(); status != B_OK)
        return failed = "close", status;
    return B_OK;
}
