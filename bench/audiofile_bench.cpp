// libaudiosig file figures.
//
// Without options: Google Benchmark runs of opening (mapped and copied),
// decoding FLAC, probing and saving, on a minute of audio it writes into
// the temporary folder.
//
// With options, single measurements for the scripts beside this file:
//   audiofile_bench --time-open FILE [--map|--no-map] [--repeat K]
//       opens FILE and draws 1600 columns of every channel over the whole
//       signal (minimum and maximum per column, as a zoomed-out waveform
//       view does); prints the best of K times in milliseconds.
//   audiofile_bench --rss FILE [--map|--no-map]
//       prints the resident memory of the process (VmRSS) before and after
//       opening FILE, against the file's size and its sample bytes.
#include <audiofile.h>
#include <audiosignal.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

constexpr int kColumns = 1600;

// Minimum and maximum of every channel in `columns` columns over the whole
// signal; returns a sum of them so that nothing is optimised away.
double drawColumns(AUDIOSIGNAL signal, int columns)
{
    const int64_t frames = AUDIOSIGNAL_NumFrames(signal);
    double check = 0.0;
    for (int32_t c = 0; c < AUDIOSIGNAL_NumChannels(signal); ++c) {
        AUDIOPOINTER pointer{};
        AUDIOSIGNAL_InitAudioPointer(signal, c, 0, &pointer);
        for (int col = 0; col < columns; ++col) {
            const int64_t from = frames * col / columns;
            const int64_t to = frames * (col + 1) / columns;
            float lo = 0.0f, hi = 0.0f;
            AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&pointer, to - from, &lo, &hi);
            check += double(hi) - double(lo);
        }
    }
    return check;
}

uint32_t mapFlag(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--map") == 0) return AUDIO_OPEN_MAP;
        if (std::strcmp(argv[i], "--no-map") == 0) return AUDIO_OPEN_NO_MAP;
    }
    return 0;  // the default: mapped from AUDIO_OPEN_MAP_THRESHOLD on
}

int timeOpen(const char *path, uint32_t flags, int repeat)
{
    double best = 1e300;
    int64_t frames = 0;
    int32_t channels = 0;
    for (int r = 0; r < repeat; ++r) {
        const auto start = std::chrono::steady_clock::now();
        uint32_t error = 0;
        AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(path, "AUTO", flags, nullptr, nullptr, &error);
        if (signal == nullptr) {
            std::fprintf(stderr, "cannot open %s (error 0x%x)\n", path, error);
            return 1;
        }
        benchmark::DoNotOptimize(drawColumns(signal, kColumns));
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        best = std::min(best, ms);
        frames = AUDIOSIGNAL_NumFrames(signal);
        channels = AUDIOSIGNAL_NumChannels(signal);
        AUDIOSIGNAL_Destroy(signal);
    }
    std::printf("open+draw: %lld frames, %d channels, %d columns: %.1f ms\n", static_cast<long long>(frames), channels,
                kColumns, best);
    return 0;
}

int64_t residentKiB()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::atoll(line.c_str() + 6);
    return -1;
}

int residentMemory(const char *path, uint32_t flags)
{
    struct stat info {};
    if (::stat(path, &info) != 0) {
        std::perror(path);
        return 1;
    }
    const int64_t before = residentKiB();
    uint32_t error = 0;
    AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(path, "AUTO", flags, nullptr, nullptr, &error);
    if (signal == nullptr) {
        std::fprintf(stderr, "cannot open %s (error 0x%x)\n", path, error);
        return 1;
    }
    const int64_t after = residentKiB();
    const AUDIO_FORMAT format = AUDIOSIGNAL_GetFormat(signal);
    const double sampleBytes = double(AUDIOSIGNAL_NumFrames(signal)) * format.numChannels * (format.bitsPerSample / 8);
    const double grown = double(after - before) * 1024.0;
    std::printf("%s: file %.1f MiB, samples %.1f MiB, VmRSS %.1f -> %.1f MiB: +%.1f MiB = %.3f of the file, "
                "%.3f of the samples; SizeInMemory %.1f MiB\n",
                flags == AUDIO_OPEN_NO_MAP ? "read into blocks" : "default open (mapped)",
                double(info.st_size) / 1048576.0, sampleBytes / 1048576.0, double(before) / 1024.0,
                double(after) / 1024.0, grown / 1048576.0, grown / double(info.st_size), grown / sampleBytes,
                double(AUDIOSIGNAL_SizeInMemory(signal)) / 1048576.0);
    AUDIOSIGNAL_Destroy(signal);
    return 0;
}

// ---- Google Benchmark runs ----------------------------------------------------------

// A minute of stereo 16-bit noise and tone, written once per run.
const std::string &minuteWav()
{
    static const std::string path = [] {
        const std::string file = "/tmp/audiofile_bench_minute.wav";
        const int32_t rate = 44100;
        AUDIO_FORMAT format = AUDIO_NullFormat();
        format.numChannels = 2;
        AUDIOSIGNAL signal = AUDIOSIGNAL_CreateSilence(int64_t(rate) * 60, format);
        for (int64_t i = 0; i < int64_t(rate) * 60; i += 7) AUDIOSIGNAL_SetSample(signal, i % 2, i, std::sin(double(i)));
        AUDIOSIGNAL_SaveEx(signal, file.c_str(), "WAV", AUDIO_SAVE_COPY, nullptr);
        AUDIOSIGNAL_SaveEx(signal, "/tmp/audiofile_bench_minute.flac", "FLAC", AUDIO_SAVE_COPY, nullptr);
        AUDIOSIGNAL_Destroy(signal);
        return file;
    }();
    return path;
}

void BM_Open(benchmark::State &state, uint32_t flags, const char *path)
{
    minuteWav();
    for (auto _ : state) {
        AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(path, "AUTO", flags, nullptr, nullptr, nullptr);
        if (signal == nullptr) {
            state.SkipWithError("cannot open");
            break;
        }
        benchmark::DoNotOptimize(drawColumns(signal, kColumns));
        AUDIOSIGNAL_Destroy(signal);
    }
    state.SetBytesProcessed(state.iterations() * int64_t(44100) * 60 * 4);
}
BENCHMARK_CAPTURE(BM_Open, wav_mapped, AUDIO_OPEN_MAP, "/tmp/audiofile_bench_minute.wav")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Open, wav_copied, AUDIO_OPEN_NO_MAP, "/tmp/audiofile_bench_minute.wav")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Open, flac, 0, "/tmp/audiofile_bench_minute.flac")->Unit(benchmark::kMillisecond);

void BM_Probe(benchmark::State &state)
{
    const std::string &path = minuteWav();
    for (auto _ : state) {
        AUDIO_FORMAT format{};
        int64_t frames = 0;
        benchmark::DoNotOptimize(AUDIOSIGNAL_ProbeFileEx(path.c_str(), "AUTO", &format, &frames, nullptr));
    }
}
BENCHMARK(BM_Probe);

void BM_Save(benchmark::State &state, const char *format, const char *path)
{
    AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(minuteWav().c_str(), "AUTO", AUDIO_OPEN_NO_MAP, nullptr, nullptr, nullptr);
    for (auto _ : state) benchmark::DoNotOptimize(AUDIOSIGNAL_SaveEx(signal, path, format, AUDIO_SAVE_COPY, nullptr));
    state.SetBytesProcessed(state.iterations() * int64_t(44100) * 60 * 4);
    AUDIOSIGNAL_Destroy(signal);
    std::remove(path);
}
BENCHMARK_CAPTURE(BM_Save, wav, "WAV", "/tmp/audiofile_bench_out.wav")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Save, flac, "FLAC[compression=5]", "/tmp/audiofile_bench_out.flac")->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (argc >= 3 && std::strcmp(argv[1], "--time-open") == 0) {
        int repeat = 3;
        for (int i = 3; i + 1 < argc; ++i)
            if (std::strcmp(argv[i], "--repeat") == 0) repeat = std::max(1, std::atoi(argv[i + 1]));
        return timeOpen(argv[2], mapFlag(argc, argv), repeat);
    }
    if (argc >= 3 && std::strcmp(argv[1], "--rss") == 0) return residentMemory(argv[2], mapFlag(argc, argv));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::remove("/tmp/audiofile_bench_minute.wav");
    std::remove("/tmp/audiofile_bench_minute.flac");
    return 0;
}
