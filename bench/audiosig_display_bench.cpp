// Display queries on a 10-hour 44.1 kHz stereo 16-bit signal: 1600 columns
// of min/max (and sums of squares) over ranges from one second to the whole
// signal. The signal has the block structure of a read file (some 24,000
// blocks a channel); its blocks are 64 distinct noise blocks used over and
// over, so that it fits in memory without 6 GB of samples.
#include <audiosignal.h>

#include "signal_p.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

constexpr int64_t kRate = 44100;
constexpr int64_t kTenHours = kRate * 36000;
constexpr int kColumns = 1600;

AUDIOSIGNAL tenHours()
{
    static AUDIOSIGNAL signal = [] {
        std::mt19937 rng(1);
        std::uniform_int_distribution<int> dist(-32768, 32767);
        std::vector<asig::BlockRef> blocks;
        std::vector<int16_t> pcm(size_t(asig::kBlockFrames));
        for (int b = 0; b < 64; ++b) {
            for (auto &v : pcm) v = int16_t(dist(rng));
            blocks.push_back(asig::Block::fromNative(asig::SampleType::S16, pcm.data(), asig::kBlockFrames, 2));
        }
        std::vector<asig::SpanList> channels(2);
        for (int c = 0; c < 2; ++c) {
            for (int64_t at = 0, i = c; at < kTenHours; at += asig::kBlockFrames, ++i) {
                const int64_t n = std::min(asig::kBlockFrames, kTenHours - at);
                channels[size_t(c)].append(asig::Span{blocks[size_t(i % 64)], 0, n});
            }
        }
        AUDIO_FORMAT format = AUDIO_NullFormat();
        format.numChannels = 2;
        return _AUDIOSIGNAL_Create(format, std::move(channels));
    }();
    return signal;
}

// 1600 columns over [begin, begin + length) of one channel, as the renderer
// asks for them: one pointer, one query per column.
void columns(benchmark::State &state, int64_t begin, int64_t length, bool sums)
{
    AUDIOSIGNAL signal = tenHours();
    const double width = double(length) / kColumns;
    for (auto _ : state) {
        AUDIOPOINTER p;
        AUDIOSIGNAL_InitAudioPointer(signal, 0, begin, &p);
        double boundary = double(begin);
        for (int c = 0; c < kColumns; ++c) {
            const int64_t a = int64_t(boundary), b = int64_t(boundary + width);
            if (sums) {
                double sum2;
                int64_t n;
                AUDIOSIGNAL_DisplaySum2FromAudioPointer(&p, b - a, &sum2, &n);
                benchmark::DoNotOptimize(sum2);
            } else {
                float lo, hi;
                AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&p, b - a, &lo, &hi);
                benchmark::DoNotOptimize(lo);
            }
            boundary += width;
        }
    }
    state.counters["columns/s"] = benchmark::Counter(double(kColumns), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_MinMaxWholeTenHours(benchmark::State &state) { columns(state, 0, kTenHours, false); }
void BM_MinMaxOneHourInTheMiddle(benchmark::State &state) { columns(state, kTenHours / 2, kRate * 3600, false); }
void BM_MinMaxOneMinute(benchmark::State &state) { columns(state, kTenHours / 3 + 12345, kRate * 60, false); }
void BM_MinMaxOneSecond(benchmark::State &state) { columns(state, kTenHours / 3 + 12345, kRate, false); }
void BM_Sum2WholeTenHours(benchmark::State &state) { columns(state, 0, kTenHours, true); }
void BM_Sum2OneSecond(benchmark::State &state) { columns(state, kTenHours / 3 + 12345, kRate, true); }

void BM_DuplicateTenHours(benchmark::State &state)
{
    AUDIOSIGNAL signal = tenHours();
    for (auto _ : state) {
        AUDIOSIGNAL copy = AUDIOSIGNAL_DuplicateEx(signal, 0);
        AUDIOSIGNAL_Destroy(copy);
    }
}

BENCHMARK(BM_MinMaxWholeTenHours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MinMaxOneHourInTheMiddle)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MinMaxOneMinute)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MinMaxOneSecond)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sum2WholeTenHours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sum2OneSecond)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DuplicateTenHours)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
