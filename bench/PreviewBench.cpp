// What the live preview costs while recording: 720x576 at 25 frames per second from the
// built-in test picture into an mpeg4 AVI file, with the video window at 200 %, then the same
// recording with the window closed. The difference in the process's CPU time is the preview's
// cost; the GUI thread's own time and (when TAVRO_BENCH_SERVER_PID names the X server) the
// server's time are shown beside it. The recording must drop no frame in either phase.
//
// Run it on a real X server for figures that include the copy to the screen, e.g.
//   Xvfb :77 -screen 0 1920x1200x24 & DISPLAY=:77 TAVRO_BENCH_SERVER_PID=$! bench_preview

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <QApplication>
#include <QEvent>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <vector>

#include "app/records/FormatSetting.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "support/Clock.h"
#include "tests/TempConfigDir.h"
#include "ui/preview/PreviewWindowHost.h"
#include "ui/preview/VideoView.h"
#include "ui/preview/VideoWindow.h"

// The settings file of this run lives in a temporary directory, never the user's.
static __attribute__((init_priority(101))) TempConfigDir gConfigDir("tavro-bench");

namespace {

constexpr int kWidth = 720;
constexpr int kHeight = 576;
constexpr int kPhaseSeconds = 10;

double processSeconds() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double threadSeconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

// User and system time of another process, from /proc; 0 when it cannot be read.
double otherProcessSeconds(long pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    size_t end = text.rfind(')');
    if (end == std::string::npos)
        return 0;
    // Fields after the name: state is field 3; utime and stime are fields 14 and 15.
    std::vector<std::string> fields;
    size_t at = end + 2;
    while (at < text.size()) {
        size_t space = text.find(' ', at);
        fields.push_back(text.substr(at, space - at));
        if (space == std::string::npos)
            break;
        at = space + 1;
    }
    if (fields.size() < 13)
        return 0;
    return (std::stod(fields[11]) + std::stod(fields[12])) / double(sysconf(_SC_CLK_TCK));
}

// Counts the repaints of the view and how long after capture each frame got on screen.
class PaintWatch : public QObject {
public:
    explicit PaintWatch(VideoView* view) : fView(view) { view->installEventFilter(this); }
    int paints = 0;
    std::vector<bigtime_t> delays;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            paints++;
            // The view draws in its own handler; this runs before it, so measure after.
            QMetaObject::invokeMethod(
                this,
                [this] {
                    if (fView->ShownFrameTime() > 0)
                        delays.push_back(system_time() - fView->ShownFrameTime());
                },
                Qt::QueuedConnection);
        }
        return false;
    }

private:
    VideoView* fView;
};

// Runs the GUI thread's event loop, sleeping while there is nothing to do.
void runEventLoop(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

struct Phase {
    double processCpu = 0;
    double guiCpu = 0;
    double serverCpu = 0;
    int64 frames = 0;
    int64 dropped = 0;
};

Phase runPhase(Tavro* engine, long serverPid) {
    Phase phase;
    const int64 frames = engine->VideoFramesCounter();
    const int64 dropped = engine->DroppedVideoFrames();
    const double process = processSeconds(), gui = threadSeconds();
    const double server = serverPid > 0 ? otherProcessSeconds(serverPid) : 0;
    runEventLoop(kPhaseSeconds * 1000);
    phase.processCpu = (processSeconds() - process) / kPhaseSeconds;
    phase.guiCpu = (threadSeconds() - gui) / kPhaseSeconds;
    phase.serverCpu = serverPid > 0 ? (otherProcessSeconds(serverPid) - server) / kPhaseSeconds : 0;
    phase.frames = engine->VideoFramesCounter() - frames;
    phase.dropped = engine->DroppedVideoFrames() - dropped;
    return phase;
}

void BM_PreviewWhileRecording(benchmark::State& state) {
    static int argc = 1;
    static char name[] = "bench_preview";
    static char* argv[] = {name, nullptr};
    QApplication application(argc, argv);
    const char* serverText = std::getenv("TAVRO_BENCH_SERVER_PID");
    const long serverPid = serverText != nullptr ? std::atol(serverText) : 0;

    TavroOptions options;
    options.roster.videoInput = "test-picture";
    options.roster.audioInput = "test-tone";
    Tavro engine(options);
    FormatSetting format("Preview bench");
    format.SetFileFormat("avi");
    format.SetVideoEncoder("mpeg4");
    format.SetAudioEncoder("raw-audio");
    format.videoWidth = kWidth;
    format.videoHeight = kHeight;
    format.colorSpace = B_RGB32;
    engine.SetFormat(&format);

    PreviewWindowHost host(&engine);
    engine.SetPreviewHost(&host);
    engine.ShowVideo(true, Rect{50, 50, kWidth + 49, kHeight + 49});
    VideoWindow* window = host.CurrentVideoWindow();
    if (window == nullptr) {
        state.SkipWithError("no video window");
        return;
    }
    Message resize(kMsgResize);
    resize.AddFloat("resize", 2.0f);
    window->PostMessage(resize);
    PaintWatch watch(window->View());

    const std::string path =
        (std::filesystem::temp_directory_path() / "tavro-preview-bench.avi").string();
    Phase shown, hidden;
    QSize viewSize;
    int paints = 0;
    std::vector<bigtime_t> delays;
    for (auto _ : state) {
        auto file = std::make_unique<TavroFile>(path.c_str(), &format, &engine);
        if (file->status < 0 || file->file->CommitHeader() != B_OK ||
            engine.SetVideoTrack(file->videoTrack) != B_OK ||
            engine.SetAudioTrack(file->audioTrack) != B_OK || engine.Start() != B_OK) {
            state.SkipWithError("the recording did not start");
            return;
        }
        // Settle: the window at its size, the writers running.
        runEventLoop(2000);

        viewSize = window->View()->size();
        watch.paints = 0;
        watch.delays.clear();
        shown = runPhase(&engine, serverPid);
        paints = watch.paints;
        delays = watch.delays;
        engine.ShowVideo(false, Rect{});
        hidden = runPhase(&engine, serverPid);
        engine.Stop();
        file.reset();
    }
    std::filesystem::remove(path);

    std::sort(delays.begin(), delays.end());
    auto percentile = [&](double p) {
        return delays.empty() ? 0.0 : delays[size_t(p * (delays.size() - 1))] / 1000.0;
    };
    state.counters["view_width"] = viewSize.width();
    state.counters["view_height"] = viewSize.height();
    state.counters["preview_cpu_%"] = 100 * (shown.processCpu - hidden.processCpu);
    state.counters["gui_thread_%"] = 100 * shown.guiCpu;
    state.counters["x_server_%"] = 100 * (shown.serverCpu - hidden.serverCpu);
    state.counters["process_%_shown"] = 100 * shown.processCpu;
    state.counters["process_%_hidden"] = 100 * hidden.processCpu;
    state.counters["painted_fps"] = double(paints) / kPhaseSeconds;
    state.counters["delay_ms_median"] = percentile(0.5);
    state.counters["delay_ms_p95"] = percentile(0.95);
    state.counters["frames"] = double(shown.frames + hidden.frames);
    state.counters["dropped"] = double(shown.dropped + hidden.dropped);
}

}  // namespace

BENCHMARK(BM_PreviewWhileRecording)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

BENCHMARK_MAIN();
