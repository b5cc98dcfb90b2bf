#pragma once
// The output file of one recording, made from a recording format: the file format and the
// encoders it names, with its qualities and saved encoder parameters applied to the tracks.
// Everything happens in the constructor; `status` tells the result (>= 0 is success) and every
// failure has been shown through ErrorAlert. A file without picture is a failure; a file
// without sound is not.
//
// The caller reads the public fields directly, commits the header on `file`, hands the tracks
// to the engine and deletes this object when the recording has stopped.

#include <memory>

#include "app/records/FormatSetting.h"
#include "media/file/MediaFile.h"

class Tavro;

class TavroFile {
public:
    // A null name writes to the scratch path kScratchPath (replacing it) and sets
    // `temporary`. The file is made by the header's commit, under that name; an existing file
    // is replaced only with ExistingFile::kReplace (else the commit returns B_FILE_EXISTS).
    // Nothing renames or deletes it afterwards.
    TavroFile(const char* name, FormatSetting* format, Tavro* engine,
              ExistingFile existing = ExistingFile::kRefuse);
    // Closes the file (which flushes the tracks and writes the trailer).
    ~TavroFile();
    TavroFile(const TavroFile&) = delete;
    TavroFile& operator=(const TavroFile&) = delete;

    status_t CreateFile(const char* name);
    // Flushes the tracks, writes the trailer and closes the file: the first error of any
    // write, the trailer or the close (B_OK without a file). Further calls return the same.
    // The first call after the engine recorded into the file writes its report beside it
    // (see RecordingReport.h).
    status_t Close();
    // Null on failure; the track belongs to `file`.
    MediaTrack* CreateVideoTrack();
    MediaTrack* CreateAudioTrack();
    // Applies the snapshots from the last to the first, so that of two with the same id the
    // first one wins; a refused value is skipped. Always B_OK.
    status_t SetTrackParameterList(MediaTrack* track, const ParameterList* list);

    static constexpr const char* kScratchPath = "/tmp/Tavro.tmp";

    Tavro* engine;
    FormatSetting* format;
    std::unique_ptr<MediaFile> file;                // null when creation failed
    std::unique_ptr<media_file_format> fileFormat;  // null when no file format matched
    MediaTrack* videoTrack = nullptr;
    MediaTrack* audioTrack = nullptr;  // null without an audio encoder or when it failed
    status_t status = B_ERROR;
    bool temporary;

private:
    ExistingFile fExisting;
    bool fReported = false;
    // The encoder named `name` that `fileFormat` offers for `input`; false when none.
    bool FindEncoder(const media_format& input, const char* name, media_codec_info* info) const;
};
