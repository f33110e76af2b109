// Analysis windows against closed-form facts of the symmetric definitions.
#include <dspcore.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<float> window(int32_t type, int32_t n)
{
    std::vector<float> w(n, -1.0f);
    EXPECT_TRUE(DSPB_CreateWindow(w.data(), n, type)) << "type " << type;
    return w;
}

// Sums of n floats accumulated in double: each value carries at most half
// an ulp (6e-8 relative) of rounding, so 1e-6 relative is ample.
constexpr double kSumTolerance = 1e-6;

} // namespace

TEST(Windows, CosineWindowsAreSymmetricWithKnownEndsCentresAndSums)
{
    // For a symmetric K-term cosine window of n points (n-1 > K-1) the cosine
    // terms sum to their value at the end point, so sum(w) = a0 (n-1) + w(0);
    // the centre of an odd window is a0 + a1 + ... = 1. 100001 points go past
    // the window cache, so the uncached path is covered too.
    struct Known {
        int32_t type;
        double a0, end;
    };
    for (const Known &k : {Known{DSPB_WINDOW_HANN, 0.5, 0.0}, Known{DSPB_WINDOW_HAMMING, 0.54, 0.08},
                           Known{DSPB_WINDOW_BLACKMAN, 0.42, 0.0}, Known{DSPB_WINDOW_BLACKMAN_HARRIS, 0.35875, 0.00006},
                           Known{DSPB_WINDOW_BLACKMAN_NUTTALL, 0.3635819, 0.0003628}}) {
        EXPECT_EQ(window(k.type, 1), std::vector<float>{1.0f});
        for (int32_t n : {64, 65, 1001, 100001}) {
            const std::vector<float> w = window(k.type, n);
            for (int32_t i = 0; i < n / 2; ++i) {
                ASSERT_EQ(w[i], w[n - 1 - i]) << "type " << k.type << " n=" << n << " i=" << i;
            }
            EXPECT_NEAR(w[0], k.end, 1e-6) << "type " << k.type << " n=" << n;
            if (n % 2 != 0) {
                EXPECT_NEAR(w[n / 2], 1.0, 1e-6) << "type " << k.type << " n=" << n;
            }
            const double sum = k.a0 * (n - 1) + k.end;
            EXPECT_NEAR(DSPB_WindowSum(k.type, n), sum, kSumTolerance * sum) << "type " << k.type << " n=" << n;
        }
    }
    // Hann: a quarter of the way in (n = 4m+1) the window is 1/2; sum(w^2) = 3(n-1)/8.
    for (int32_t n : {65, 1001, 100001}) {
        EXPECT_NEAR(window(DSPB_WINDOW_HANN, n)[(n - 1) / 4], 0.5, 1e-6);
        EXPECT_NEAR(DSPB_WindowPowerSum(DSPB_WINDOW_HANN, n), 3.0 * (n - 1) / 8.0, kSumTolerance * n);
    }
}

TEST(Windows, RectangularAndTriangularSums)
{
    for (int32_t n : {1, 2, 7, 64, 65, 4096}) {
        EXPECT_DOUBLE_EQ(DSPB_WindowSum(DSPB_WINDOW_RECTANGULAR, n), n);
        EXPECT_DOUBLE_EQ(DSPB_WindowPowerSum(DSPB_WINDOW_RECTANGULAR, n), n);
        // The zero-free triangle rises in steps of 2/(n+1) from 2/(n+1) to 1
        // for odd n (sum (n+1)/2), in steps of 2/n from 1/n for even n (sum n/2).
        const std::vector<float> w = window(DSPB_WINDOW_TRIANGULAR, n);
        const bool odd = n % 2 != 0;
        EXPECT_NEAR(w[0], odd ? 2.0 / (n + 1) : 1.0 / n, 1e-7) << n;
        EXPECT_EQ(w[0], w[n - 1]) << n;
        const double sum = odd ? (n + 1) / 2.0 : n / 2.0;
        EXPECT_NEAR(DSPB_WindowSum(DSPB_WINDOW_TRIANGULAR, n), sum, kSumTolerance * sum) << n;
    }
}

TEST(Windows, ApplyMultipliesInPlaceAndUndefinedTypesFail)
{
    std::vector<float> data(33, 2.0f);
    ASSERT_TRUE(DSPB_ApplyWindow(data.data(), 33, DSPB_WINDOW_HAMMING));
    EXPECT_NEAR(data[0], 0.16f, 1e-6);
    EXPECT_NEAR(data[16], 2.0f, 1e-6);
    for (int32_t type : {2, 4, 9, -1}) {
        std::vector<float> untouched(16, 3.0f);
        EXPECT_FALSE(DSPB_ApplyWindow(untouched.data(), 16, type)) << type;
        EXPECT_FALSE(DSPB_CreateWindow(untouched.data(), 16, type)) << type;
        EXPECT_EQ(untouched, std::vector<float>(16, 3.0f)) << type;
        EXPECT_LT(DSPB_WindowSum(type, 16), 0.0) << type;
        EXPECT_LT(DSPB_WindowPowerSum(type, 16), 0.0) << type;
    }
}
