// libdspcore figures: forward FFT and power spectrum per size and back-end,
// and the spectrogram renderer's unit of work, one column (window + PSD +
// decibels on 2048 samples), as columns per second.
#include <dspcore.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

const char *const kBackendOptions[] = {"backend=fftw", "backend=kiss"};

std::vector<float> noise(int32_t n)
{
    std::mt19937 rng(1234u);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> x(static_cast<size_t>(n));
    for (float &v : x) {
        v = dist(rng);
    }
    return x;
}

// Args: {length, back-end: 0 fftw, 1 kiss}; the label repeats the back-end's name.
void sizesAndBackends(benchmark::internal::Benchmark *b)
{
    for (int backend = 0; backend < 2; ++backend) {
        for (int64_t n = 256; n <= 8192; n *= 2) {
            b->Args({n, backend});
        }
    }
    b->ArgNames({"n", "backend"});
}

void BM_Forward(benchmark::State &state)
{
    const auto n = static_cast<int32_t>(state.range(0));
    DSPB_FFTPROC proc = DSPB_FFTProcCreateEx(n, kBackendOptions[state.range(1)]);
    const std::vector<float> in = noise(n);
    DSPB_COMPLEX *out = DSPB_CreateComplexVector(n / 2 + 1);
    if (proc == nullptr || out == nullptr) {
        state.SkipWithError("cannot create the processor");
    } else {
        for (auto _ : state) {
            DSPB_FFTProcExecuteForward(proc, in.data(), n, out);
            benchmark::DoNotOptimize(out);
            benchmark::ClobberMemory();
        }
        state.SetLabel(DSPB_FFTProcBackend(proc));
        state.SetItemsProcessed(state.iterations() * n);
    }
    DSPB_DestroyComplexVector(out);
    DSPB_FFTProcDestroy(proc);
}
BENCHMARK(BM_Forward)->Apply(sizesAndBackends)->MinTime(0.05);

void BM_PSD(benchmark::State &state)
{
    const auto n = static_cast<int32_t>(state.range(0));
    DSPB_FFTPROC proc = DSPB_FFTProcCreateEx(n, kBackendOptions[state.range(1)]);
    const std::vector<float> in = noise(n);
    std::vector<float> psd(static_cast<size_t>(n / 2 + 1));
    if (proc == nullptr) {
        state.SkipWithError("cannot create the processor");
    } else {
        for (auto _ : state) {
            DSPB_FFTProcExecutePSDEx(proc, in.data(), n, psd.data(), 1.0);
            benchmark::DoNotOptimize(psd.data());
            benchmark::ClobberMemory();
        }
        state.SetLabel(DSPB_FFTProcBackend(proc));
        state.SetItemsProcessed(state.iterations() * n);
    }
    DSPB_FFTProcDestroy(proc);
}
BENCHMARK(BM_PSD)->Apply(sizesAndBackends)->MinTime(0.05);

// One spectrogram column as the renderer computes it.
void BM_PsdColumns(benchmark::State &state)
{
    constexpr int32_t kColumn = 2048;
    DSPB_FFTPROC proc = DSPB_FFTProcCreateEx(kColumn, kBackendOptions[state.range(0)]);
    const std::vector<float> samples = noise(kColumn);
    std::vector<float> work(kColumn);
    std::vector<float> column(kColumn / 2 + 1);
    const double scale = kColumn / DSPB_WindowPowerSum(DSPB_WINDOW_HANN, kColumn);
    if (proc == nullptr) {
        state.SkipWithError("cannot create the processor");
    } else {
        for (auto _ : state) {
            work = samples;
            DSPB_ApplyWindow(work.data(), kColumn, DSPB_WINDOW_HANN);
            DSPB_FFTProcExecutePSDEx(proc, work.data(), kColumn, column.data(), scale);
            DSPB_PSDtoDB(column.data(), column.data(), kColumn / 2 + 1, 120.0);
            benchmark::DoNotOptimize(column.data());
            benchmark::ClobberMemory();
        }
        state.SetLabel(DSPB_FFTProcBackend(proc));
        state.counters["columns"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    }
    DSPB_FFTProcDestroy(proc);
}
BENCHMARK(BM_PsdColumns)->Arg(0)->Arg(1)->ArgName("backend")->MinTime(0.05);

} // namespace

BENCHMARK_MAIN();
