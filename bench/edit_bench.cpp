// Edit commands of the engine on a document: cut of 10 s from the middle,
// paste of 10 s, undo and redo, on a 10-hour and a 1-minute 44.1 kHz
// stereo document, and invert of a 10-second selection. Each command runs
// the whole document path (guards, working copy, undo step, swap, view and
// selection moves, notification). The report ends with the ratios between
// the two lengths and the memory 100 edits and their undo steps cost.
//
// The long document is built through the public interface from a
// 1-minute signal pasted into itself, so its span lists have the length a
// read 10-hour file has while its samples fit in memory.
#include <benchmark/benchmark.h>

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "audioops.h"
#include "audiosignal.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavoselection.h"
#include "tavoundo.h"
#include "tavozoom.h"

namespace {

constexpr int64_t kRate = 44100;
constexpr int64_t kOneMinute = 60 * kRate;
constexpr int64_t kTenHours = 10 * 3600 * kRate;
constexpr int64_t kTenSeconds = 10 * kRate;

AUDIOSIGNAL buildSignal(int64_t frames)
{
    AUDIOSIGNAL signal = AUDIOSIGNAL_New("AUTO[sr=44100,nc=2]");
    std::mt19937 engine(7u);
    std::uniform_real_distribution<float> value(-0.8f, 0.8f);
    std::vector<float> minute(static_cast<size_t>(2 * kOneMinute));
    for (float &v : minute) v = value(engine);
    AUDIOSIGNAL_AppendSamples(signal, minute.data(), kOneMinute);
    while (AUDIOSIGNAL_NumFrames(signal) < frames) {
        const int64_t have = AUDIOSIGNAL_NumFrames(signal);
        AUDIOSIGNAL piece = AUDIOSIGNAL_CopyEx(signal, 0, std::min(have, frames - have));
        AUDIOSIGNAL_PasteEx2(signal, piece, 0, INT64_MAX, INT64_MAX, nullptr, nullptr);
        AUDIOSIGNAL_Destroy(piece);
    }
    return signal;
}

// One document per length, made on first use and kept for the run.
TAVOAUDIO document(int64_t frames)
{
    static std::map<int64_t, TAVOAUDIO> documents;
    auto found = documents.find(frames);
    if (found != documents.end()) return found->second;
    TAVOAUDIO doc = TAVOAUDIO_NewFromSignalEx(buildSignal(frames), false, 0);
    documents[frames] = doc;
    return doc;
}

int64_t framesOf(const benchmark::State &state)
{
    return state.range(0) == 0 ? kOneMinute : kTenHours;
}

const char *nameOf(const benchmark::State &state)
{
    return state.range(0) == 0 ? "1 min" : "10 h";
}

std::map<std::string, double> g_microseconds;   // "<command> <length>" -> mean

void note(benchmark::State &state, const char *command, double totalSeconds)
{
    const double mean = totalSeconds / static_cast<double>(state.iterations()) * 1e6;
    state.counters["us"] = mean;
    g_microseconds[std::string(command) + " " + nameOf(state)] = mean;
}

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void selectMiddle(TAVOAUDIO doc, int64_t frames)
{
    // Replaced without a "Selection" undo step, so that the undo stack holds
    // only the edits measured.
    const int64_t middle = frames / 2;
    TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0);
    TAVOAUDIO_AddSelectionEx(doc, middle, middle + kTenSeconds, -1, 0);
}

void BM_Cut(benchmark::State &state)
{
    TAVOAUDIO doc = document(framesOf(state));
    double total = 0.0;
    for (auto _ : state) {
        selectMiddle(doc, framesOf(state));
        const auto start = Clock::now();
        AUDIOSIGNAL clip = TAVOAUDIO_Cut(doc, nullptr);
        total += since(start);
        if (clip == nullptr) state.SkipWithError("cut refused");
        AUDIOSIGNAL_Destroy(clip);
        TAVOAUDIO_UndoEx(doc, 0);
    }
    note(state, "cut", total);
}

void BM_Paste(benchmark::State &state)
{
    TAVOAUDIO doc = document(framesOf(state));
    AUDIOSIGNAL clip = AUDIOSIGNAL_CopyEx(TAVOAUDIO_GetAudioSignal(doc), 0, kTenSeconds);
    double total = 0.0;
    for (auto _ : state) {
        TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0);
        TAVOAUDIO_SetCursorPositionEx2(doc, framesOf(state) / 2, 0);
        const auto start = Clock::now();
        const bool ok = TAVOAUDIO_PasteEx(doc, clip, 0, nullptr);
        total += since(start);
        if (!ok) state.SkipWithError("paste refused");
        TAVOAUDIO_UndoEx(doc, 0);
    }
    AUDIOSIGNAL_Destroy(clip);
    note(state, "paste", total);
}

void BM_Undo(benchmark::State &state)
{
    TAVOAUDIO doc = document(framesOf(state));
    double total = 0.0;
    for (auto _ : state) {
        selectMiddle(doc, framesOf(state));
        AUDIOSIGNAL_Destroy(TAVOAUDIO_Cut(doc, nullptr));
        const auto start = Clock::now();
        const bool ok = TAVOAUDIO_UndoEx(doc, 0);
        total += since(start);
        if (!ok) state.SkipWithError("undo refused");
    }
    note(state, "undo", total);
}

void BM_Redo(benchmark::State &state)
{
    TAVOAUDIO doc = document(framesOf(state));
    double total = 0.0;
    for (auto _ : state) {
        selectMiddle(doc, framesOf(state));
        AUDIOSIGNAL_Destroy(TAVOAUDIO_Cut(doc, nullptr));
        TAVOAUDIO_UndoEx(doc, 0);
        const auto start = Clock::now();
        const bool ok = TAVOAUDIO_Redo(doc);
        total += since(start);
        if (!ok) state.SkipWithError("redo refused");
        TAVOAUDIO_UndoEx(doc, 0);
    }
    note(state, "redo", total);
}

void BM_Invert10s(benchmark::State &state)
{
    TAVOAUDIO doc = document(framesOf(state));
    double total = 0.0;
    for (auto _ : state) {
        selectMiddle(doc, framesOf(state));
        const auto start = Clock::now();
        const bool ok = TAVOAUDIO_Invert(doc, nullptr);
        total += since(start);
        if (!ok) state.SkipWithError("invert refused");
        TAVOAUDIO_UndoEx(doc, 0);
    }
    note(state, "invert 10 s", total);
}

BENCHMARK(BM_Cut)->Arg(0)->Arg(1)->Iterations(2000);
BENCHMARK(BM_Paste)->Arg(0)->Arg(1)->Iterations(2000);
BENCHMARK(BM_Undo)->Arg(0)->Arg(1)->Iterations(2000);
BENCHMARK(BM_Redo)->Arg(0)->Arg(1)->Iterations(2000);
BENCHMARK(BM_Invert10s)->Arg(0)->Arg(1)->Iterations(20);

// Resident memory of the process in bytes.
double residentBytes()
{
    malloc_trim(0);
    long pages = 0, resident = 0;
    FILE *f = std::fopen("/proc/self/statm", "r");
    if (f == nullptr) return 0.0;
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(f);
    return double(resident) * double(sysconf(_SC_PAGESIZE));
}

// Memory of 100 inverts of 10 s at different places, kept with their undo
// steps, against the bytes of the blocks those edits touch.
void reportMemory()
{
    TAVOAUDIO doc = document(kTenHours);
    TAVOAUDIO_DestroyUndoStack(doc);
    const double before = residentBytes();
    std::mt19937_64 engine(11u);
    std::uniform_int_distribution<int64_t> where(0, kTenHours - kTenSeconds);
    constexpr int kEdits = 100;
    for (int i = 0; i < kEdits; ++i) {
        const int64_t at = where(engine);
        TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0);
        TAVOAUDIO_AddSelectionEx(doc, at, at + kTenSeconds, -1, 0);
        TAVOAUDIO_Invert(doc, nullptr);
    }
    const double after = residentBytes();
    // A rewritten block holds 65536 frames of 32-bit floats a channel; a
    // 10-second range starting anywhere covers at most 8 of them.
    constexpr double kBlockBytes = 65536.0 * 4.0;
    const double touched = double(kEdits) * 8.0 * 2.0 * kBlockBytes;
    std::printf("\nmemory: 100 inverts of 10 s kept with %d undo steps grew the process by %.1f MiB; "
                "the blocks they touch hold at most %.1f MiB (ratio %.2f)\n",
                TAVOUNDO_CountUndoScripts(doc), (after - before) / 1048576.0, touched / 1048576.0,
                (after - before) / touched);
}

void reportRatios()
{
    std::printf("\n%-14s %12s %12s %8s\n", "command", "1 min (us)", "10 h (us)", "ratio");
    for (const char *command : {"cut", "paste", "undo", "redo", "invert 10 s"}) {
        const double shortRun = g_microseconds[std::string(command) + " 1 min"];
        const double longRun = g_microseconds[std::string(command) + " 10 h"];
        std::printf("%-14s %12.1f %12.1f %8.2f\n", command, shortRun, longRun,
                    shortRun > 0.0 ? longRun / shortRun : 0.0);
    }
}

}  // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    reportRatios();
    reportMemory();
    benchmark::Shutdown();
    return 0;
}
