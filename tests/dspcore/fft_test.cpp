// FFT processors and power spectra, checked against the DFT's definition,
// Parseval's theorem and the known spectra of sines.
#include <dspcore.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace {

struct Processor {
    Processor(int32_t n, const char *backend)
        : handle(DSPB_FFTProcCreateEx(n, (std::string("backend=") + backend).c_str())) {}
    ~Processor() { DSPB_FFTProcDestroy(handle); }
    DSPB_FFTPROC handle;
};

std::vector<float> sine(int32_t n, double amplitude, double cycles)
{
    std::vector<float> x(n);
    for (int32_t i = 0; i < n; ++i) {
        x[i] = static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * cycles * i / n + 0.3));
    }
    return x;
}

std::vector<float> noise(int32_t n, unsigned stream)
{
    std::mt19937 rng(stream);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> x(n);
    std::generate(x.begin(), x.end(), [&] { return dist(rng); });
    return x;
}

std::vector<float> psdOf(DSPB_FFTPROC proc, const std::vector<float> &x, double scale = 1.0)
{
    std::vector<float> psd(DSPB_FFTProcLength(proc) / 2 + 1, -1.0f);
    EXPECT_TRUE(DSPB_FFTProcExecutePSDEx(proc, x.data(), static_cast<int32_t>(x.size()), psd.data(), scale));
    return psd;
}

class FftBackendTest : public ::testing::TestWithParam<const char *> {};
INSTANTIATE_TEST_SUITE_P(Backends, FftBackendTest, ::testing::Values("fftw", "kiss"));

} // namespace

TEST_P(FftBackendTest, ForwardMatchesTheDftDefinition)
{
    // The smallest length and a non-power of two; shrinking counts check the
    // zero padding (samples left from a previous call would show).
    for (int32_t n : {2, 16, 30}) {
        Processor proc(n, GetParam());
        ASSERT_STREQ(DSPB_FFTProcBackend(proc.handle), GetParam());
        for (int32_t count : {n, n / 2 + 1, 1}) {
            const std::vector<float> x = noise(count, n + count);
            std::vector<DSPB_COMPLEX> out(n / 2 + 1);
            ASSERT_TRUE(DSPB_FFTProcExecuteForward(proc.handle, x.data(), count, out.data()));
            double bound = 0.0; // sum |x| bounds every bin; float rounding stays far below 1e-5 of it
            for (float v : x) {
                bound += std::fabs(v);
            }
            for (int32_t k = 0; k <= n / 2; ++k) {
                std::complex<double> expected;
                for (int32_t i = 0; i < count; ++i) {
                    expected += static_cast<double>(x[i]) * std::polar(1.0, -2.0 * std::numbers::pi * k * i / n);
                }
                EXPECT_NEAR(out[k].re, expected.real(), 1e-5 * bound) << n << "/" << count << " k=" << k;
                EXPECT_NEAR(out[k].im, expected.imag(), 1e-5 * bound) << n << "/" << count << " k=" << k;
            }
        }
    }
}

TEST_P(FftBackendTest, KnownSpectraOfSinesConstantsAndNyquist)
{
    // A sine of amplitude A on bin k has mean square A^2/2, all of it in bin k.
    for (int32_t n : {256, 1024, 4096}) {
        Processor proc(n, GetParam());
        for (int32_t bin : {1, n / 8, n / 2 - 1}) {
            const std::vector<float> psd = psdOf(proc.handle, sine(n, 0.8, bin));
            EXPECT_NEAR(psd[bin], 0.32, 1e-4 * 0.32) << n << " bin " << bin;
            for (int32_t k = 0; k <= n / 2; ++k) {
                // Float rounding leaks about (1e-7 A)^2 per bin; 1e-9 is far above.
                ASSERT_TRUE(k == bin || psd[k] < 1e-9) << n << " bin " << bin << " leaks into " << k;
            }
        }
    }
    // DC and Nyquist have no mirror bin, so they are not doubled: a constant c
    // gives c^2 at DC, the sequence +a, -a, ... gives a^2 at Nyquist.
    Processor proc(512, GetParam());
    EXPECT_NEAR(psdOf(proc.handle, std::vector<float>(512, 0.25f))[0], 0.0625, 1e-4 * 0.0625);
    std::vector<float> alternating(512, 0.5f);
    for (size_t i = 1; i < alternating.size(); i += 2) {
        alternating[i] = -0.5f;
    }
    EXPECT_NEAR(psdOf(proc.handle, alternating)[256], 0.25, 1e-4 * 0.25);
}

TEST_P(FftBackendTest, PowerAddsUpToTheScaledMeanSquare)
{
    for (int32_t n : {256, 1000, 8192}) {
        Processor proc(n, GetParam());
        for (int32_t count : {n, n / 3}) { // the mean is over all n samples, padding included
            const std::vector<float> x = noise(count, n + count);
            double sumSquares = 0.0;
            for (float v : x) {
                sumSquares += static_cast<double>(v) * v;
            }
            const double scale = count == n ? 1.0 : 0.5;
            double total = 0.0;
            for (float p : psdOf(proc.handle, x, scale)) {
                total += p;
            }
            const double expected = scale * sumSquares / n;
            EXPECT_NEAR(total, expected, 1e-4 * expected) << n << "/" << count;
        }
    }
}

TEST_P(FftBackendTest, HannWindowedSineBetweenBinsPeaksAtTheNearestBin)
{
    Processor proc(2048, GetParam());
    for (double cycles : {100.3, 100.7, 333.45}) {
        std::vector<float> x = sine(2048, 1.0, cycles);
        ASSERT_TRUE(DSPB_ApplyWindow(x.data(), 2048, DSPB_WINDOW_HANN));
        const std::vector<float> psd = psdOf(proc.handle, x);
        EXPECT_EQ(std::max_element(psd.begin(), psd.end()) - psd.begin(), std::lround(cycles)) << cycles;
    }
}

TEST_P(FftBackendTest, UnalignedAndOverlappingBuffersGiveTheSameSpectrum)
{
    // Same plan, same numbers: only the buffers differ, so the bins must be identical.
    const int32_t n = 1024;
    Processor proc(n, GetParam());
    const std::vector<float> x = noise(n, 3u);
    DSPB_COMPLEX *aligned = DSPB_CreateComplexVector(n / 2 + 1);
    ASSERT_TRUE(DSPB_FFTProcExecuteForward(proc.handle, x.data(), n, aligned));
    auto sameAsAligned = [&](const DSPB_COMPLEX *bins) {
        return std::equal(bins, bins + n / 2 + 1, aligned,
                          [](DSPB_COMPLEX a, DSPB_COMPLEX b) { return a.re == b.re && a.im == b.im; });
    };
    // One float / one complex off the allocation's alignment.
    std::vector<float> shiftedIn(n + 1);
    std::copy(x.begin(), x.end(), shiftedIn.begin() + 1);
    std::vector<DSPB_COMPLEX> shiftedOut(n / 2 + 2);
    ASSERT_TRUE(DSPB_FFTProcExecuteForward(proc.handle, shiftedIn.data() + 1, n, shiftedOut.data() + 1));
    EXPECT_TRUE(sameAsAligned(shiftedOut.data() + 1));
    // The output overwrites the input it is computed from.
    std::vector<DSPB_COMPLEX> shared(n / 2 + 1);
    std::copy(x.begin(), x.end(), reinterpret_cast<float *>(shared.data()));
    ASSERT_TRUE(DSPB_FFTProcExecuteForward(proc.handle, reinterpret_cast<float *>(shared.data()), n, shared.data()));
    EXPECT_TRUE(sameAsAligned(shared.data()));
    EXPECT_TRUE(DSPB_DestroyComplexVector(aligned));
}

TEST(FftBackends, AgreeOnRandomInput)
{
    for (int32_t n = 256; n <= 8192; n *= 2) {
        Processor fftw(n, "fftw"), kiss(n, "kiss");
        const std::vector<float> x = noise(n, n);
        std::vector<DSPB_COMPLEX> a(n / 2 + 1), b(n / 2 + 1);
        ASSERT_TRUE(DSPB_FFTProcExecuteForward(fftw.handle, x.data(), n, a.data()));
        ASSERT_TRUE(DSPB_FFTProcExecuteForward(kiss.handle, x.data(), n, b.data()));
        double largest = 0.0;
        for (const DSPB_COMPLEX &c : a) {
            largest = std::max(largest, std::hypot(static_cast<double>(c.re), static_cast<double>(c.im)));
        }
        for (int32_t k = 0; k <= n / 2; ++k) {
            ASSERT_LE(std::hypot(a[k].re - b[k].re, a[k].im - b[k].im), 1e-4 * largest) << n << " k=" << k;
        }
    }
}

TEST(FftOptions, ChooseTheBackendOrFail)
{
    const std::pair<const char *, const char *> cases[] = {
        {nullptr, "fftw"},      {"", "fftw"},          {"backend=fftw", "fftw"},
        {"backend=auto", "fftw"}, {"backend=kiss", "kiss"}, {"  backend = kiss ; ", "kiss"},
        {"backend=kisss", nullptr}, {"backend", nullptr}, {"=kiss", nullptr},
        {"size=1024", nullptr}, {"backend=KISS", nullptr}, {"backend=kiss,backend=fftw", nullptr},
    };
    for (const auto &[options, backend] : cases) {
        DSPB_FFTPROC proc = DSPB_FFTProcCreateEx(64, options);
        const char *label = options ? options : "(null)";
        ASSERT_EQ(proc == nullptr, backend == nullptr) << label;
        if (proc != nullptr) {
            EXPECT_STREQ(DSPB_FFTProcBackend(proc), backend) << label;
            EXPECT_EQ(DSPB_FFTProcLength(proc), 64);
            EXPECT_TRUE(DSPB_FFTProcDestroy(proc));
        }
    }
}

TEST(FftLifecycle, ProcessorsOutliveTheLastFinalize)
{
    const std::vector<float> x = sine(256, 1.0, 5);
    ASSERT_TRUE(DSPB_Initialize());
    ASSERT_TRUE(DSPB_Initialize());
    DSPB_FFTPROC proc = DSPB_FFTProcCreate(256);
    EXPECT_TRUE(DSPB_Finalize());
    EXPECT_TRUE(DSPB_Finalize());
    EXPECT_FALSE(DSPB_Finalize());
    // The planner's memory must not be released under a live plan.
    EXPECT_NEAR(psdOf(proc, x)[5], 0.5, 1e-4 * 0.5);
    EXPECT_TRUE(DSPB_FFTProcDestroy(proc));
    // After the release, a caller that never initialises still gets working processors.
    Processor again(256, "fftw");
    EXPECT_NEAR(psdOf(again.handle, x)[5], 0.5, 1e-4 * 0.5);
}

TEST(PsdToDb, ConvertsAndFloors)
{
    // 10 log10: 0, -20, -30 and +10 dB are kept; -120 dB and non-powers floor at -100.
    std::vector<float> values = {1.0f, 0.01f, 1e-3f, 10.0f, 1e-12f, 0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN()};
    const float expected[] = {0.0f, -20.0f, -30.0f, 10.0f, -100.0f, -100.0f, -100.0f, -100.0f};
    std::vector<float> db(values.size());
    ASSERT_TRUE(DSPB_PSDtoDB(values.data(), db.data(), 8, 100.0));
    for (size_t i = 0; i < db.size(); ++i) {
        EXPECT_NEAR(db[i], expected[i], 1e-4) << i;
    }
    ASSERT_TRUE(DSPB_PSDtoDB(values.data(), values.data(), 8, 25.0)); // in place
    EXPECT_NEAR(values[1], -20.0f, 1e-4);
    EXPECT_EQ(values[2], -25.0f);
}
