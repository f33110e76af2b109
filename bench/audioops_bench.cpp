// libaudiosig edit figures: duplicate, cut of 10 s from the middle and
// paste back, on a 10-hour and a 1-minute 44.1 kHz stereo signal, and the
// ratio between the two (edits splice span lists, so the length of the
// audio should hardly matter). Then the memory an undo step costs: a
// duplicate with a cut, and a duplicate with a gain change on 1 s.
//
// The long signal is built cheaply but shaped like a read 16-bit file: a
// few distinct 16-bit blocks repeated, some 24,000 blocks per channel.
#include <audioops.h>
#include <audiosignal.h>

#include "signal_p.h"
#include "storage.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int64_t kRate = 44100;
constexpr int64_t kOneMinute = 60 * kRate;
constexpr int64_t kTenHours = 10 * 3600 * kRate;
constexpr int64_t kTenSeconds = 10 * kRate;
// Distinct blocks per channel: enough that neighbouring spans never continue
// one another, few enough to build in milliseconds.
constexpr int kDistinctBlocks = 8;

const char *lengthName(int64_t which)
{
    return which == 0 ? "1 min" : "10 h";
}

AUDIOSIGNAL buildSignal(int64_t frames)
{
    std::mt19937 engine(7u);
    std::uniform_int_distribution<int> dist(-20000, 20000);
    std::vector<asig::SpanList> lists(2);
    for (auto &list : lists) {
        std::vector<asig::BlockRef> blocks;
        std::vector<int16_t> samples(static_cast<size_t>(asig::kBlockFrames));
        for (int b = 0; b < kDistinctBlocks; ++b) {
            for (int16_t &v : samples) v = static_cast<int16_t>(dist(engine));
            blocks.push_back(asig::Block::fromNative(asig::SampleType::S16, samples.data(), asig::kBlockFrames,
                                                     sizeof(int16_t)));
        }
        for (int64_t done = 0, b = 0; done < frames; ++b) {
            const int64_t n = std::min(asig::kBlockFrames, frames - done);
            list.append(asig::Span{blocks[static_cast<size_t>(b % kDistinctBlocks)], 0, n});
            done += n;
        }
    }
    AUDIO_FORMAT format = AUDIO_NullFormat();
    format.numChannels = 2;
    return _AUDIOSIGNAL_Create(format, std::move(lists));
}

// The two signals, made once.
AUDIOSIGNAL signalOf(int64_t which)
{
    static AUDIOSIGNAL oneMinute = buildSignal(kOneMinute);
    static AUDIOSIGNAL tenHours = buildSignal(kTenHours);
    return which == 0 ? oneMinute : tenHours;
}

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void lengths(benchmark::internal::Benchmark *b)
{
    b->Arg(0)->Arg(1)->ArgName("length");
}

void BM_Duplicate(benchmark::State &state)
{
    AUDIOSIGNAL signal = signalOf(state.range(0));
    for (auto _ : state) {
        AUDIOSIGNAL copy = AUDIOSIGNAL_DuplicateEx(signal, 0);
        benchmark::DoNotOptimize(copy);
        AUDIOSIGNAL_Destroy(copy);
    }
    state.SetLabel(lengthName(state.range(0)));
}
BENCHMARK(BM_Duplicate)->Apply(lengths)->Unit(benchmark::kMicrosecond);

// Cuts 10 s from the middle and pastes them back, so that every iteration
// starts from the same signal; `timeCut` picks which of the two is timed.
void cutAndPasteBack(benchmark::State &state, bool timeCut)
{
    AUDIOSIGNAL signal = signalOf(state.range(0));
    const int64_t middle = AUDIOSIGNAL_NumFrames(signal) / 2;
    for (auto _ : state) {
        const auto cutStart = std::chrono::steady_clock::now();
        AUDIOSIGNAL clip = AUDIOSIGNAL_CutEx(signal, nullptr, 0, middle, middle + kTenSeconds, 0.004);
        const double cutSeconds = secondsSince(cutStart);
        const auto pasteStart = std::chrono::steady_clock::now();
        const bool pasted = AUDIOSIGNAL_PasteEx2(signal, clip, 0, middle, middle, nullptr, nullptr);
        const double pasteSeconds = secondsSince(pasteStart);
        AUDIOSIGNAL_Destroy(clip);
        if (clip == nullptr || !pasted) {
            state.SkipWithError("the edit failed");
            break;
        }
        state.SetIterationTime(timeCut ? cutSeconds : pasteSeconds);
    }
    state.SetLabel(lengthName(state.range(0)));
}

void BM_CutTenSeconds(benchmark::State &state)
{
    cutAndPasteBack(state, true);
}
BENCHMARK(BM_CutTenSeconds)->Apply(lengths)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_PasteTenSecondsBack(benchmark::State &state)
{
    cutAndPasteBack(state, false);
}
BENCHMARK(BM_PasteTenSecondsBack)->Apply(lengths)->UseManualTime()->Unit(benchmark::kMicrosecond);

// Keeps each run's time per iteration, to print the ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    // Plain text: the figures end up in logs and reports.
    RatioReporter() : ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            if (run.iterations > 0 && run.run_type == Run::RT_Iteration) {
                m_seconds[run.benchmark_name()] = run.real_accumulated_time / static_cast<double>(run.iterations);
            }
        }
    }

    void printRatios() const
    {
        std::printf("\n%-26s %12s %12s %8s\n", "operation", "1 min (us)", "10 h (us)", "ratio");
        for (const char *name : {"BM_Duplicate", "BM_CutTenSeconds", "BM_PasteTenSecondsBack"}) {
            const auto shortRun = find(std::string(name) + "/length:0");
            const auto longRun = find(std::string(name) + "/length:1");
            if (shortRun <= 0.0 || longRun <= 0.0) continue;
            std::printf("%-26s %12.2f %12.2f %8.2f\n", name, shortRun * 1e6, longRun * 1e6, longRun / shortRun);
        }
    }

private:
    double find(const std::string &prefix) const
    {
        for (const auto &[name, seconds] : m_seconds) {
            if (name.rfind(prefix, 0) == 0) return seconds;
        }
        return 0.0;
    }

    std::map<std::string, double> m_seconds;
};

// Bytes in use on the heap: what an undo step really adds, shared blocks
// not counted.
size_t heapInUse()
{
    return mallinfo2().uordblks;
}

void printMemory()
{
    AUDIOSIGNAL signal = signalOf(1);
    const int64_t middle = AUDIOSIGNAL_NumFrames(signal) / 2;
    const double blockBytes = static_cast<double>(asig::kBlockFrames) * sizeof(float);

    // Undo step of a cut: the engine keeps the old signal and edits a
    // duplicate; the clipboard is the host's.
    const size_t before = heapInUse();
    AUDIOSIGNAL copy = AUDIOSIGNAL_DuplicateEx(signal, 0);
    AUDIOSIGNAL clip = AUDIOSIGNAL_CutEx(copy, nullptr, 0, middle, middle + kTenSeconds, 0.004);
    AUDIOSIGNAL_Destroy(clip);
    const size_t afterCut = heapInUse();
    AUDIOSIGNAL_Destroy(copy);

    // Undo step of a gain change on 1 s.
    copy = AUDIOSIGNAL_DuplicateEx(signal, 0);
    const uint64_t sizeBefore = AUDIOSIGNAL_SizeInMemory(copy);
    const size_t beforeGain = heapInUse();
    double gains[AUDIO_MAX_CHANNELS];
    for (double &g : gains) g = 0.5;
    AUDIOSIGNAL_ApplyLinearTransform(copy, gains, nullptr, middle, middle + kRate);
    const size_t afterGain = heapInUse();
    const uint64_t sizeAfter = AUDIOSIGNAL_SizeInMemory(copy);
    AUDIOSIGNAL_Destroy(copy);

    std::printf("\nmemory on the 10 h signal (%.1f MB in blocks)\n",
                static_cast<double>(AUDIOSIGNAL_SizeInMemory(signal)) / 1e6);
    std::printf("  duplicate + cut of 10 s kept alive: %.1f KB of heap\n",
                static_cast<double>(afterCut - before) / 1024.0);
    std::printf("  duplicate + gain on 1 s: %.1f KB of heap (%.2f float blocks per channel), "
                "SizeInMemory +%.1f KB\n",
                static_cast<double>(afterGain - beforeGain) / 1024.0,
                static_cast<double>(afterGain - beforeGain) / blockBytes / 2.0,
                static_cast<double>(sizeAfter - sizeBefore) / 1024.0);
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    signalOf(0);  // build both signals before any timing
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    printMemory();
    benchmark::Shutdown();
    return 0;
}
