// The progress bar of long operations and Ctrl-C.
//
// How it works: libaudiosig reports every long operation (reading a file,
// writing one, an effect) with BLNOTIFY_SendEvent, on the thread doing the
// work, with the document as the source. The engine's own default handler,
// installed when the engine starts, stores each report in the document's
// progress record. This tool adds a second default handler, called after
// the engine's for the same report, that reads the record back
// (TAVOAUDIO_ProcessProgress, TAVOAUDIO_ProcessRemainingTime) and redraws
// one line on stderr. Working from the reports rather than from a polling
// thread means the document is always alive while it is read: a report is
// sent from inside the operation, also while TAVOAUDIO_OpenEx is still
// building the document the caller has not received yet.
//
// Ctrl-C only sets a flag (all a signal handler may do). The next report
// passes it on with TAVOAUDIO_ProcessCancel; the engine's handler answers
// the report after that with 0 and libaudiosig stops the operation, which
// then fails as cancelled. Between operations the commands look at the flag
// themselves. A second Ctrl-C ends the process at once.
#include "cli.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "audioformat.h"
#include "blnotify.h"
#include "tavoaudio.h"
#include "tavoproc.h"

namespace tavocli {
namespace {

volatile std::sig_atomic_t g_interrupted = 0;
std::atomic<bool> g_showBar{false};
std::atomic<bool> g_installed{false};
std::mutex g_drawMutex;  // reports may come from several worker threads
bool g_lineShown = false;  // guarded by g_drawMutex
int64_t g_lastDraw = -1000; // ms of the operation's clock at the last redraw; guarded by g_drawMutex

// Under this many milliseconds an operation draws nothing: a bar that
// flashes for a short open only clutters the terminal.
constexpr int32_t kQuietMs = 250;
// Redraws at most every 100 ms: fast enough to look alive.
constexpr int32_t kRedrawMs = 100;
constexpr int kBarWidth = 30;

void onInterrupt(int)
{
    g_interrupted = 1;
    std::signal(SIGINT, SIG_DFL);
}

enum class Phase { Other, Start, Progress, End };

// libaudiosig's kinds of its three families of long operations.
Phase phaseOf(int32_t kind)
{
    switch (kind) {
    case AUDIO_NOTIFY_READ_STARTED:
    case AUDIO_NOTIFY_WRITE_STARTED:
    case AUDIO_NOTIFY_PROCESS_STARTED:
        return Phase::Start;
    case AUDIO_NOTIFY_READ_PROGRESS:
    case AUDIO_NOTIFY_WRITE_PROGRESS:
    case AUDIO_NOTIFY_PROCESS_PROGRESS:
        return Phase::Progress;
    case AUDIO_NOTIFY_READ_FINISHED:
    case AUDIO_NOTIFY_WRITE_FINISHED:
    case AUDIO_NOTIFY_PROCESS_FINISHED:
    case AUDIO_NOTIFY_READ_CANCELLED:
    case AUDIO_NOTIFY_WRITE_CANCELLED:
    case AUDIO_NOTIFY_PROCESS_CANCELLED:
        return Phase::End;
    default:
        return Phase::Other;
    }
}

const char *verbOf(int32_t kind)
{
    switch (kind) {
    case AUDIO_NOTIFY_READ_PROGRESS: return "reading";
    case AUDIO_NOTIFY_WRITE_PROGRESS: return "writing";
    default: return "processing";
    }
}

// Call with g_drawMutex held.
void clearLine()
{
    if (!g_lineShown) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    g_lineShown = false;
}

// Call with g_drawMutex held.
void drawBar(TAVOAUDIO audio, int32_t kind)
{
    const int32_t elapsed = TAVOAUDIO_ProcessTime(audio);
    if (elapsed < kQuietMs) return;
    if (g_lineShown && elapsed - g_lastDraw < kRedrawMs) return;
    g_lastDraw = elapsed;
    const double progress = TAVOAUDIO_ProcessProgress(audio);
    const int32_t remaining = TAVOAUDIO_ProcessRemainingTime(audio);
    char label[64] = "";
    if (!TAVOAUDIO_ProcessLabel(audio, label, sizeof label) || label[0] == '\0')
        std::snprintf(label, sizeof label, "%s", verbOf(kind));

    char bar[kBarWidth + 1];
    const int filled = progress < 0 ? 0 : static_cast<int>(progress * kBarWidth + 0.5);
    for (int i = 0; i < kBarWidth; ++i) bar[i] = i < filled ? '#' : '-';
    bar[kBarWidth] = '\0';
    char left[32] = "";
    if (remaining >= 0) {
        const int seconds = (remaining + 999) / 1000;
        if (seconds >= 60)
            std::snprintf(left, sizeof left, ", %d:%02d left", seconds / 60, seconds % 60);
        else
            std::snprintf(left, sizeof left, ", %d s left", seconds);
    }
    if (progress < 0)
        std::fprintf(stderr, "\r\033[K%s [%s] ...%s", label, bar, left);
    else
        std::fprintf(stderr, "\r\033[K%s [%s] %3d%%%s", label, bar, static_cast<int>(progress * 100 + 0.5), left);
    std::fflush(stderr);
    g_lineShown = true;
}

int32_t onReport(void *, const BLNOTIFY_EVENT *event)
{
    if (event == nullptr || event->source == nullptr) return 1;
    const Phase phase = phaseOf(event->kind);
    if (phase == Phase::Other) return 1;
    TAVOAUDIO audio = static_cast<TAVOAUDIO>(event->source);
    if (!TAVOAUDIO_IsValid(audio)) return 1;
    if (g_interrupted != 0 && phase != Phase::End) TAVOAUDIO_ProcessCancel(audio);
    if (!g_showBar.load()) return 1;
    const std::lock_guard<std::mutex> guard(g_drawMutex);
    if (phase == Phase::Start)
        g_lastDraw = -1000;  // a new operation's clock starts again at 0
    else if (phase == Phase::Progress)
        drawBar(audio, event->kind);
    else
        clearLine();
    return 1;
}

}  // namespace

void startProgress(bool showBar)
{
    g_showBar = showBar;
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    if (!g_installed.exchange(true)) BLNOTIFY_AddDefaultHandler(BLNOTIFY_ANY_KIND, onReport, nullptr);
}

void stopProgress()
{
    if (g_installed.exchange(false)) BLNOTIFY_DelDefaultHandler(BLNOTIFY_ANY_KIND, onReport, nullptr);
    const std::lock_guard<std::mutex> guard(g_drawMutex);
    clearLine();
}

bool cancelRequested()
{
    return g_interrupted != 0;
}

TAVOAUDIO openDocument(const std::string &path, std::string &error)
{
    std::error_code code;
    if (!std::filesystem::exists(path, code)) {
        error = "'" + path + "': no such file";
        return nullptr;
    }
    if (std::filesystem::is_directory(path, code)) {
        error = "'" + path + "' is a folder";
        return nullptr;
    }
    TAVOAUDIO audio = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", TAVOAUDIO_OPEN_NO_RECENT);
    {
        const std::lock_guard<std::mutex> guard(g_drawMutex);
        clearLine();
    }
    if (audio != nullptr) {
        if (cancelRequested()) {
            TAVOAUDIO_Close(audio);
            error = "cancelled";
            return nullptr;
        }
        return audio;
    }
    if (cancelRequested()) {
        error = "cancelled";
        return nullptr;
    }
    uint32_t bits = 0;
    if (TAVOAUDIO_CanOpenEx(path.c_str(), "AUTO", &bits))
        error = "'" + path + "' cannot be opened";
    else
        error = "'" + path + "': " + describeAudioError(bits);
    return nullptr;
}

}  // namespace tavocli
