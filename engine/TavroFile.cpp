#include "engine/TavroFile.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "app/records/ErrorAlert.h"
#include "engine/RecordingReport.h"
#include "engine/Tavro.h"
#include "media/file/MediaTrack.h"
#include "media/file/SyncMeter.h"
#include "support/Clock.h"
#include "support/Log.h"

namespace {

// The longest recording of the test signal whose report measures its sync when it closes.
constexpr bigtime_t kLongestMeasuredRecording = 5 * 60 * 1000000LL;

}  // namespace

TavroFile::TavroFile(const char* name, FormatSetting* recordingFormat, Tavro* owner,
                     ExistingFile existing)
    : engine(owner), format(recordingFormat), temporary(name == nullptr), fExisting(existing) {
    if (name == nullptr) {
        name = kScratchPath;
        fExisting = ExistingFile::kReplace;
    }
    // A stored format with values no encoder takes (a damaged or hand-edited file) is refused
    // here, before any file, rather than recorded as an empty picture.
    std::string problem;
    if (format == nullptr || format->CheckRecordable(&problem) != B_OK) {
        status = B_BAD_VALUE;
        const std::string text = "The recording format cannot be recorded: " + problem;
        ErrorAlert(text.c_str(), status, false);
        return;
    }
    status = CreateFile(name);
    if (status < 0)
        return;

    videoTrack = CreateVideoTrack();
    if (videoTrack == nullptr) {
        status = B_ERROR;
        ErrorAlert("Could not create video track!", B_ERROR, false);
        file.reset();
        return;
    }
    if (!format->audioEncoder.empty()) {
        audioTrack = CreateAudioTrack();
        if (audioTrack == nullptr)
            ErrorAlert("Could not create audio track!", B_ERROR, false);
    }
    status = B_OK;
}

TavroFile::~TavroFile() {
    Close();
}

status_t TavroFile::Close() {
    if (!file)
        return B_OK;
    const status_t closed = file->CloseFile();
    if (fReported)
        return closed;
    fReported = true;
    RecordingReport report;
    report.file = file->Path();
    if (engine == nullptr || !engine->FillReport(file.get(), &report))
        return closed;  // never recorded into: no report
    report.formatName = format->Text();
    report.container = file->FileFormat().short_name;
    if (videoTrack != nullptr)
        report.videoEncoder = videoTrack->CodecInfo().short_name;
    if (audioTrack != nullptr)
        report.audioEncoder = audioTrack->CodecInfo().short_name;
    report.width = format->videoWidth;
    report.height = format->videoHeight;
    report.colorSpace = colorSpaceName(color_space(format->colorSpace));
    media_format video;
    engine->GetVideoFormat(&video);
    report.frameRate =
        double(video.raw_video.field_rate) / double(std::max<int32>(1, format->frameDivisor));
    report.audioRate = format->audioFrameRate;
    report.audioChannels = format->audioChannels;
    // The engine's error stopped the recording; a failed close comes on top of it.
    std::string engineError;
    if (closed != B_OK && engine->RecordingError(&engineError) == B_OK)
        addRecordingError(&report.errors, real_time_clock_usecs(),
                          "Could not finish the video file.", closed);
    // The test signal is measured as tavro --check-sync measures it (a file cut short by an
    // error too, as far as it reads). That decodes the whole file while the caller (the
    // window) waits: a long recording is left to the command.
    if (report.testPicture) {
        if (report.stopped - report.started > kLongestMeasuredRecording) {
            report.syncNote =
                "longer than 5 minutes; tavro --check-sync " + report.file + " measures it";
        } else if (const status_t measured = MeasureSync(report.file.c_str(), &report.sync);
                   measured != B_OK) {
            report.syncNote = "the file could not be read: " + statusText(measured);
        } else {
            report.syncMeasured = true;
        }
    }
    if (status_t written = writeRecordingReport(report); written != B_OK)
        logError("could not write the report %s [%s]", recordingReportPath(report.file).c_str(),
                 statusText(written).c_str());
    return closed;
}

status_t TavroFile::CreateFile(const char* name) {
    // A path names an entry when its directory exists; the file itself may not yet.
    std::filesystem::path path(name);
    std::error_code error;
    std::filesystem::path directory =
        path.has_parent_path() ? path.parent_path() : std::filesystem::current_path(error);
    status_t entryStatus = B_OK;
    if (path.empty() || !path.has_filename())
        entryStatus = B_ENTRY_NOT_FOUND;
    else if (!std::filesystem::exists(directory, error))
        entryStatus = B_ENTRY_NOT_FOUND;
    else if (!std::filesystem::is_directory(directory, error))
        entryStatus = -ENOTDIR;
    if (entryStatus != B_OK)
        return ErrorAlert("Could not create entry", entryStatus, false);

    const char* wanted = format != nullptr ? format->fileFormat.c_str() : "";
    media_file_format candidate;
    int32 cookie = 0;
    while (get_next_file_format(&cookie, &candidate) == B_OK) {
        if (candidate.short_name == wanted) {
            fileFormat = std::make_unique<media_file_format>(candidate);
            break;
        }
    }
    if (!fileFormat)
        return ErrorAlert("Could not find file format!", B_ERROR, false);

    file = std::make_unique<MediaFile>(
        name, fileFormat.get(),
        fExisting == ExistingFile::kReplace ? uint32(kMediaFileReplace) : 0u);
    if (status_t initStatus = file->InitCheck(); initStatus != B_OK) {
        ErrorAlert("Could not create media file", initStatus, false);
        file.reset();
        return initStatus;
    }
    return B_OK;
}

bool TavroFile::FindEncoder(const media_format& input, const char* name,
                            media_codec_info* info) const {
    if (name == nullptr)
        return false;
    media_format output;
    int32 cookie = 0;
    while (get_next_encoder(&cookie, fileFormat.get(), &input, &output, info) == B_OK) {
        if (info->short_name == name)
            return true;
    }
    return false;
}

MediaTrack* TavroFile::CreateVideoTrack() {
    if (engine == nullptr || !file)
        return nullptr;
    media_format input;
    engine->GetVideoFormat(&input);
    if (format->frameDivisor > 1)
        input.raw_video.field_rate /= float(format->frameDivisor);

    media_codec_info info;
    if (!FindEncoder(input, format->videoEncoder.c_str(), &info))
        return nullptr;
    MediaTrack* track = file->CreateTrack(&input, &info);
    if (track == nullptr)
        return nullptr;
    track->SetQuality(format->videoQuality);
    SetTrackParameterList(track, &format->videoParameters);
    format->SetVideoParameters(track->Web());
    return track;
}

MediaTrack* TavroFile::CreateAudioTrack() {
    if (engine == nullptr || !file)
        return nullptr;
    media_format input;
    engine->GetAudioFormat(&input);
    input.raw_audio.frame_rate = float(format->audioFrameRate);
    input.raw_audio.channel_count = format->audioChannels;

    media_codec_info info;
    if (!FindEncoder(input, format->audioEncoder.c_str(), &info))
        return nullptr;
    MediaTrack* track = file->CreateTrack(&input, &info);
    if (track == nullptr)
        return nullptr;
    track->SetQuality(format->audioQuality);
    SetTrackParameterList(track, &format->audioParameters);
    format->SetAudioParameters(track->Web());
    return track;
}

status_t TavroFile::SetTrackParameterList(MediaTrack* track, const ParameterList* list) {
    if (track == nullptr || list == nullptr)
        return B_OK;
    for (auto it = list->rbegin(); it != list->rend(); ++it)
        track->SetParameterValue(it->id, it->data.data(), it->data.size());
    return B_OK;
}
