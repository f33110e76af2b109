// Processors on several threads at once: each worker keeps one long-lived
// processor busy while it creates, uses and destroys short-lived ones of
// other sizes and back-ends, and another thread nests the library's set-up
// and release. Under ThreadSanitizer this exercises the planner lock, the
// live-processor set and the window cache.
#include <dspcore.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>
#include <thread>
#include <vector>

namespace {

// A Hann-windowed sine on `bin` must come out of any processor as the peak.
bool peaksAt(DSPB_FFTPROC proc, int32_t bin)
{
    const int32_t n = DSPB_FFTProcLength(proc);
    std::vector<float> x(n), psd(n / 2 + 1);
    for (int32_t i = 0; i < n; ++i) {
        x[i] = static_cast<float>(std::sin(2.0 * std::numbers::pi * bin * i / n));
    }
    return DSPB_ApplyWindow(x.data(), n, DSPB_WINDOW_HANN)
        && DSPB_FFTProcExecutePSDEx(proc, x.data(), n, psd.data(), 1.0)
        && std::max_element(psd.begin(), psd.end()) - psd.begin() == bin;
}

} // namespace

TEST(FftConcurrency, ProcessorsOnManyThreads)
{
    std::atomic<int> failures{0};
    std::atomic<bool> done{false};
    std::thread lifecycle([&] {
        while (!done.load()) {
            failures += DSPB_Initialize() && DSPB_Finalize() ? 0 : 1;
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t) {
        workers.emplace_back([&, t] {
            DSPB_FFTPROC own = DSPB_FFTProcCreateEx(1024, t % 2 == 0 ? "backend=fftw" : "backend=kiss");
            for (int round = 0; round < 150; ++round) {
                const int32_t length = 128 << ((t + round) % 4);
                DSPB_FFTPROC temporary = DSPB_FFTProcCreateEx(length, round % 3 == 0 ? "backend=kiss" : "backend=fftw");
                const bool ok = temporary != nullptr && own != nullptr && peaksAt(temporary, 5 + round % 7)
                    && peaksAt(own, 17 + t);
                failures += (ok ? 0 : 1) + (DSPB_FFTProcDestroy(temporary) ? 0 : 1);
            }
            failures += DSPB_FFTProcDestroy(own) ? 0 : 1;
        });
    }
    for (std::thread &w : workers) {
        w.join();
    }
    done = true;
    lifecycle.join();
    EXPECT_EQ(failures.load(), 0);
}
