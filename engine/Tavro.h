#pragma once
// The recording engine: the live media graph (the default video and audio inputs, each
// connected to a consumer node of the engine's own: one InputStream each), the controls of
// the inputs, and the recording pipeline (the Recorder: two rings, the "video writer" and
// "audio writer" threads, the frame counters), to which the recording methods forward. One
// object, made by the application (or the headless recorder) and alive as long as it; the
// constructor builds the graph, the destructor dismantles it.
//
// Threads: every public method is called from one control thread (the main window's, or the
// headless recorder's), one call at a time. The nodes' event threads and the writer threads
// are the engine's own; what they share with the control thread is atomic or guarded as the
// fields below say.
//
// Errors: every failure the user should see goes through ErrorAlert (only the first of the
// process shows). Diagnostics ("reset PAL-M format", "frame dropped - drift = ...?") are lines
// on standard output through logOutput (support/Log.h).

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/InputStream.h"
#include "engine/Recorder.h"
#include "engine/RecordingReport.h"
#include "media/MediaFormat.h"
#include "media/node/MediaNode.h"
#include "media/roster/MediaRoster.h"
#include "support/Geometry.h"
#include "support/Semaphore.h"

class AudioBlockSink;
class AudioConsumer;
class DeviceBackend;
class FormatSetting;
class MediaFile;
class MediaTrack;
class MessageTarget;
class PreviewHost;
class RingMonitor;
class VideoConsumer;
class VideoFrameSink;

// Parameter ids of the video input node (a TV card's, or the built-in test picture's).
enum : int32 {
    kVideoFormatParameterID = 1,
    kChannelParameterID = 14,
    kVideoSourceParameterID = 15,
    kBt848Brightness = 18,
    kBt848Contrast = 19,
    kBt848Saturation = 20,
};

// Parameter names.
constexpr const char* kChannelParameter = "Channel:";
constexpr const char* kFormatParameter = "Video Format:";
constexpr const char* kResolutionParameter = "Default Image Size:";

// How the engine finds its inputs.
struct TavroOptions {
    // Which devices are the defaults, and whether the built-in test inputs exist.
    RosterOptions roster;
    // The built-in test picture and tone in real time (true) or as fast as the engine takes
    // them (tests and benchmarks); unpaced, the nodes they feed wait for room in a full ring
    // instead of losing frames, so the whole pipeline runs at the writers' pace (a real device
    // never makes its node wait).
    bool pacedTestSignal = true;
    // false: no media roster at all: nothing is found, connected or alerted. An engine for
    // writing files from formats alone (TavroFile's tests); every control answers as it does
    // without a roster.
    bool useRoster = true;
};

// The non-modal request the engine shows (title, text, the one button's label); the GUI
// installs a message box. Without one the text goes to standard error.
using RequestPresenter = std::function<void(const std::string& title, const std::string& text,
                                            const std::string& button)>;

// The parameter with `id` in `web` (the last one if several share it); nullptr when there is
// none or `web` is null. The parameter lives in the web.
MediaParameter* GetNodeParameter(ParameterWeb* web, int32 id);

class Tavro {
public:
    // Sets the defaults and builds the media graph (SetupNodes); its result is not checked:
    // each failure has been alerted and whatever could connect works. `backend` nullptr: the
    // system's devices (tests give an in-process device).
    explicit Tavro(TavroOptions options = {}, std::unique_ptr<DeviceBackend> backend = nullptr);
    // Stops a recording, tears the graph down.
    ~Tavro();
    Tavro(const Tavro&) = delete;
    Tavro& operator=(const Tavro&) = delete;

    // --- Where the engine reports to (control thread; not owned, must outlive their use) ---

    // Receives kMsgStop when the recording cannot go on (the file cannot take more: full
    // disk, file too big, a write error; an input that stopped delivering), with int32
    // "status" (the cause) and string "error" (the alert's text): the main window, or the
    // headless recorder. nullptr: nobody (the alert is still raised).
    void SetStopTarget(MessageTarget* target);
    // The status panel's view of the rings, set between Start and Stop.
    void SetStatusView(RingMonitor* view);
    // Opens and closes the preview windows for ShowVideo and ShowAudio; nullptr: none.
    void SetPreviewHost(PreviewHost* host);
    void SetRequestPresenter(RequestPresenter presenter);

    // --- Recording: the main window's Record and Stop ---

    // Makes the ring for the coming recording's video track (B_NO_MEMORY when it cannot be
    // had; the track is then not taken). The track belongs to the output file.
    status_t SetVideoTrack(MediaTrack* track);
    // The same for sound; nullptr records no sound.
    status_t SetAudioTrack(MediaTrack* track);
    // Starts the writer threads and switches the nodes to recording.
    status_t Start();
    // Ends the recording: writers joined, nodes switched off, rings deleted, tracks flushed
    // and forgotten, held-back format changes applied. Always B_OK; never hangs, also when
    // the inputs have stopped delivering.
    status_t Stop();
    bool IsRecording() const { return fRecorder.IsRecording(); }
    // Ends the recording's chances: raises the alert `text` with `status` and posts kMsgStop
    // (with both) to the stop target; only the first call of a recording does anything. Any
    // thread. The control thread then calls Stop.
    void StopOnError(const char* text, status_t status);
    // Whether the inputs a recording takes (the sound only `withAudio`) still deliver: B_OK,
    // or the error the first stopped one's stream ended with and, in `*notice`, which input
    // it is ("The video input "X" (DEVICE) has stopped."). A recording started now would
    // stop at once.
    status_t StoppedInput(bool withAudio, std::string* notice) const;
    // Why the running or last recording was asked to stop (B_OK: it was not), with the text.
    status_t RecordingError(std::string* text = nullptr) const;
    // Fills in what the engine knows of the last recording (its times, inputs, counts, ring
    // peaks and every error it met) when `file` was its file; false otherwise. After Stop.
    bool FillReport(const MediaFile* file, RecordingReport* report);
    // Video frames the file took, and the recording-relative time of the last of them.
    int64 WrittenVideoFrames() const { return fRecorder.WrittenVideoFrames(); }
    bigtime_t WrittenVideoTime() const { return fRecorder.WrittenVideoTime(); }
    // The lock every write into the output file takes, for exactly one write. Whoever holds
    // it holds both writers back (tests use it to fill the rings).
    Semaphore& MediaWriteLock() { return fRecorder.MediaWriteLock(); }

    // Frames that should have arrived so far, and those of them not in the file (not
    // delivered, refused by a full ring, or failed to write). 0 without the node.
    int64 VideoFramesCounter();
    int64 DroppedVideoFrames();
    int64 AudioFramesCounter();
    int64 DroppedAudioFrames();
    // Frames refused since Start because every slot of their ring was in use: the stream's
    // encoder is not keeping up (they are part of the dropped counts too). 0 without the node.
    int64 VideoRingFullDrops();
    int64 AudioRingFullDrops();

    // Applies a recording format's geometry to the live inputs; during a recording the change
    // is requested (the "Tavro - Request" notice) and applied at Stop. nullptr: nothing.
    void SetFormat(FormatSetting* format);

    // --- The media graph ---

    // Builds the graph on the roster (made on first use) and starts it; each failure is
    // alerted, and whatever could connect works.
    status_t SetupNodes();
    // Replaces the inputs without a restart: the graph is torn down and built again on the
    // inputs named (ids or names; empty: the default rule). B_BUSY while recording (nothing
    // changes), B_NO_INIT without a roster; else SetupNodes' result. Webs handed out before
    // belong to nodes that are gone (ParameterWeb::OwnerGone).
    status_t SelectInputs(const std::string& videoInput, const std::string& audioInput);
    status_t ConnectVideo();
    status_t ConnectAudio();
    void TearDownNodes();
    // Opens (show) or closes the preview window through the preview host; nothing without
    // one. On the GUI thread.
    void ShowVideo(bool show, const Rect& frame);
    void ShowAudio(bool show, const Rect& frame);
    // The preview window is closing: the engine stops feeding its sink before this returns.
    void VideoSinkGone();
    void AudioSinkGone();

    bool VideoConnected() const { return fVideo.connected; }
    bool AudioConnected() const { return fAudio.connected; }
    bool NodesRunning() const { return fNodesRunning; }
    // nullptr when there is none (no roster, no input, or not made).
    MediaRoster* Roster() const { return fRoster.get(); }
    MediaProducer* VideoInputNode() const { return fVideo.producer.get(); }
    MediaProducer* AudioInputNode() const { return fAudio.producer.get(); }
    VideoConsumer* VideoConsumerNode() const { return fVideo.consumer.get(); }
    AudioConsumer* AudioConsumerNode() const { return fAudio.consumer.get(); }

    // --- Input controls ---

    // The node's web (the caller owns it), or nullptr after the alert "Can't get parameter
    // web for media node".
    std::unique_ptr<ParameterWeb> GetParameterWeb(MediaNode* node);
    // The input nodes' webs; nullptr without an alert. They know when their node is gone
    // (ParameterWeb::OwnerGone): a device switch or the graph's end leaves them inert.
    std::unique_ptr<ParameterWeb> GetVideoInputParameters();
    std::unique_ptr<ParameterWeb> GetAudioInputParameters();
    // A parameter of the video input's web. The engine keeps that web: a parameter stays
    // valid until TearDownNodes or the engine's end. nullptr when the web cannot be had (with
    // the alert) or no parameter of that id and kind exists.
    MediaParameter* GetVideoParameter(int32 id);
    MediaParameter* GetContinuousVideoParameter(int32 id);
    MediaParameter* GetVideoSourceControl();
    MediaParameter* GetVideoFormatControl();

    // The TV channel (an index into the channel parameter's items).
    status_t SetChannel(int32 channel);
    int32 Channel();
    // The "Line" mute switch of the sound output. IsMuted is true when the switch cannot be
    // read, and false whenever it can, whatever it says.
    status_t SetMute(bool mute);
    bool IsMuted();
    // Video source (tuner, composite, ...) and video standard, as item indices; -1 unknown.
    int32 GetCurrentVideoSource();
    void SetCurrentVideoSource(int32 source);
    int32 GetCurrentVideoFormat();
    void SetCurrentVideoFormat(int32 format);

    // Recording geometry. Size and colour space rebuild the video connection; while
    // recording or holding changes (or without a roster) they are kept for later and the
    // result is -1.
    status_t SetVideoSize(int32 width, int32 height);
    status_t SetColorSpace(color_space space);
    // Keep one frame in `rate` (1 = every frame).
    status_t SetVideoPlayRate(int32 rate);
    status_t SetChannelCount(int32 count);
    status_t SetFrequency(int32 frequency);
    // Batches changes; releasing the hold applies them (FlushChanges).
    void SetHoldChanges(bool hold);
    void FlushChanges();
    // Rebuilds the video connection now, or marks it pending.
    status_t ReconnectVideo();

    int32 VideoWidth() const { return fVideoWidth; }
    int32 VideoHeight() const { return fVideoHeight; }
    color_space ColorSpace() const { return fColorSpace; }
    int32 VideoPlayRate() const { return fVideoPlayRate; }
    int32 AudioChannelCount() const { return fAudioChannelCount; }
    float AudioFrequency() const { return fAudioFrequency; }
    bool ReconnectPending() const { return fReconnectPending; }

    // Copies the format of the live video or audio connection (the requested one while not
    // connected). Always B_OK.
    status_t GetVideoFormat(media_format* format);
    status_t GetAudioFormat(media_format* format);
    // (0, 0, video width - 1, video height - 1).
    Rect Bounds() const;

    // For an engine without a roster (and tests): the formats as if a connection had been
    // made with them.
    void SetConnectedVideoFormat(const media_format& format);
    void SetConnectedAudioFormat(const media_format& format);

private:
    // The format asked of the video input: the requested size in `space`, with the rate and
    // interlace given (0: any).
    media_format RequestedVideoFormat(color_space space, float fieldRate, uint32 interlace) const;
    media_format RequestedAudioFormat() const;

    // Registers the consumer of `stream`, made for its producer (`device`, a kind of input:
    // "video", "audio"), and connects the two with `connect`; each failure is alerted.
    template <typename Stream, typename Connect>
    void SetUpStream(Stream& stream, const char* kind, const MediaDevice* device, Connect connect);
    // Starts the connected nodes, far enough ahead for the video input's latency.
    status_t StartNodes();

    // Disconnects the video input from its consumer and connects again, or marks the
    // reconnection pending while recording or holding changes.
    status_t ReconnectOrPend();
    // The same for the audio input, at the engine's frequency and channel count.
    status_t ReconnectAudioOrPend();
    void ResizeVideoWindow();
    // The video input's web, kept for the parameters handed out; nullptr after the alert.
    ParameterWeb* VideoInputWeb();
    // Reads the channel through a fresh web of the video input, kept in `web` with
    // `*parameter` in it: B_ERROR without a web (after the alert), B_ENTRY_NOT_FOUND without a
    // channel parameter, else the parameter's own status.
    status_t ReadChannel(std::unique_ptr<ParameterWeb>& web, MediaParameter** parameter,
                         int32* channel);
    // Sets a discrete parameter to `value` clamped to its items; `onlyIfDifferent` reads first.
    status_t SetDiscreteClamped(MediaParameter* parameter, int32 value, bool onlyIfDifferent);
    void ShowRequest(const char* title, const char* text, const char* button);

    const TavroOptions fOptions;
    std::unique_ptr<DeviceBackend> fBackend;  // handed to the roster by SetupNodes

    // The graph. Control thread only. An audio input that is the built-in tone run unpaced
    // (fAudio.unpaced) shares no clock with the picture: its sound is timed from its own
    // first buffer.
    std::unique_ptr<MediaRoster> fRoster;
    InputStream<VideoConsumer, VideoFrameSink> fVideo;
    InputStream<AudioConsumer, AudioBlockSink> fAudio;
    std::unique_ptr<ParameterWeb> fVideoWeb;  // see VideoInputWeb
    bigtime_t fStartLatency = 0;

    // Requested recording geometry. Control thread only.
    int32 fVideoWidth = 320;
    int32 fVideoHeight = 240;
    color_space fColorSpace = B_RGB32;
    float fVideoFrameRate = 30.0f;
    int32 fVideoPlayRate = 1;  // keep one frame in this many
    int32 fAudioChannelCount = 2;
    float fAudioFrequency = 44100.0f;

    // The live connections' formats: written on the control thread while connecting, read
    // by the writers only between Start and Stop, when no connection changes.
    media_format fConnectedVideoFormat;
    media_format fConnectedAudioFormat;

    // Where the engine reports to (the recorder has the stop target and the status view).
    // Control thread.
    PreviewHost* fPreviewHost = nullptr;
    RequestPresenter fRequestPresenter;

    bool fNodesRunning = false;
    bool fReconnectPending = false;
    bool fAudioReconnectPending = false;
    bool fHoldChanges = false;

    // The rings, the writer threads and what they count. It reads the streams and the
    // connected formats above, which outlive it.
    Recorder fRecorder{fVideo, fAudio, fConnectedVideoFormat, fConnectedAudioFormat};
};
