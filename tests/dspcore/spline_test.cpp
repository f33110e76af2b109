// Cubic splines: exactness on cubics and lines, a hand-solved natural
// spline, and the one-pass evaluation against the single-point one.
#include <dspbspline.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

namespace {

const std::vector<float> kKnots = {-2.0f, -1.5f, -0.25f, 0.5f, 0.75f, 2.0f, 3.5f, 4.0f, 5.0f};

// f(x) = 0.5x^3 - 2x^2 + x + 3, f''(x) = 3x - 4.
double cubic(double x) { return ((0.5 * x - 2.0) * x + 1.0) * x + 3.0; }
double cubicSecond(double x) { return 3.0 * x - 4.0; }

} // namespace

TEST(Spline, ReproducesCubicsAndLinesInsideAndBeyondTheKnots)
{
    // With the ends set to f'' there, the cubic itself meets every condition,
    // so the spline must be f; beyond the knots the end pieces are f too.
    const int32_t n = static_cast<int32_t>(kKnots.size());
    std::vector<float> y, y2(n);
    for (float x : kKnots) {
        y.push_back(static_cast<float>(cubic(x)));
    }
    ASSERT_TRUE(DSPBSPLINE_Estimate(kKnots.data(), y.data(), n, static_cast<float>(cubicSecond(-2.0)),
                                    static_cast<float>(cubicSecond(5.0)), y2.data()));
    for (int32_t i = 0; i < n; ++i) {
        EXPECT_NEAR(y2[i], cubicSecond(kKnots[i]), 1e-4) << "knot " << i;
    }
    // |f| < 40 on [-3, 6]; the knot values carry float rounding (6e-8
    // relative) that the spline amplifies a few times at most.
    for (double at = -3.0; at <= 6.0; at += 0.0625) {
        EXPECT_NEAR(DSPBSPLINE_Interpolate(kKnots.data(), y.data(), y2.data(), n, static_cast<float>(at)), cubic(at),
                    1e-5 * 40.0) << at;
    }
    // The natural spline of a straight line is the line, continued outside.
    std::transform(kKnots.begin(), kKnots.end(), y.begin(), [](float x) { return 2.5f * x - 1.0f; });
    ASSERT_TRUE(DSPBSPLINE_Estimate(kKnots.data(), y.data(), n, 0.0f, 0.0f, y2.data()));
    for (float at : {-5.0f, 0.3f, 1.25f, 5.0f, 20.0f}) {
        EXPECT_NEAR(DSPBSPLINE_Interpolate(kKnots.data(), y.data(), y2.data(), n, at), 2.5f * at - 1.0f, 1e-4) << at;
    }
}

TEST(Spline, NaturalSplineThroughThreePoints)
{
    // Knots (0,0), (1,1), (2,0): the inner equation 4 M1 = 6 (-1 - 1) gives
    // M1 = -3, and at 0.5 the spline is 1/2 + (3/8)(3)/6 = 0.6875.
    const float x[] = {0.0f, 1.0f, 2.0f}, y[] = {0.0f, 1.0f, 0.0f};
    float y2[3];
    ASSERT_TRUE(DSPBSPLINE_Estimate(x, y, 3, 0.0f, 0.0f, y2));
    EXPECT_EQ(std::vector<float>(y2, y2 + 3), (std::vector<float>{0.0f, -3.0f, 0.0f}));
    EXPECT_FLOAT_EQ(DSPBSPLINE_Interpolate(x, y, y2, 3, 0.5f), 0.6875f);
    EXPECT_FLOAT_EQ(DSPBSPLINE_Interpolate(x, y, y2, 3, 1.5f), 0.6875f);
}

TEST(Spline, ManyPointsEqualSinglePoints)
{
    // Random knot values make every piece a different cubic, so a wrongly
    // chosen piece shows.
    const int32_t n = static_cast<int32_t>(kKnots.size());
    std::mt19937 rng(5u);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> y(n), y2(n);
    std::generate(y.begin(), y.end(), [&] { return dist(rng); });
    ASSERT_TRUE(DSPBSPLINE_Estimate(kKnots.data(), y.data(), n, 0.0f, 0.0f, y2.data()));
    // Increasing positions (the renderer's pixel columns) with every knot and
    // points outside, then the same in random order.
    std::vector<float> at = kKnots;
    for (int32_t i = 0; i <= 200; ++i) {
        at.push_back(-3.0f + 9.0f * static_cast<float>(i) / 200.0f);
    }
    std::sort(at.begin(), at.end());
    std::vector<float> shuffled = at;
    std::shuffle(shuffled.begin(), shuffled.end(), rng);
    for (const std::vector<float> &positions : {at, shuffled}) {
        const int32_t m = static_cast<int32_t>(positions.size());
        std::vector<float> out(m), inPlace = positions;
        ASSERT_TRUE(DSPBSPLINE_InterpolateMany(kKnots.data(), y.data(), y2.data(), n, positions.data(), out.data(), m));
        for (int32_t j = 0; j < m; ++j) {
            ASSERT_EQ(out[j], DSPBSPLINE_Interpolate(kKnots.data(), y.data(), y2.data(), n, positions[j])) << positions[j];
        }
        ASSERT_TRUE(DSPBSPLINE_InterpolateMany(kKnots.data(), y.data(), y2.data(), n, inPlace.data(), inPlace.data(), m));
        EXPECT_EQ(inPlace, out);
    }
}

TEST(Spline, BadKnotsFailAndLeaveTheOutputAlone)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float y[] = {1.0f, 2.0f, 3.0f};
    for (const std::vector<float> &x : {std::vector<float>{0.0f, 1.0f, 1.0f}, std::vector<float>{0.0f, 2.0f, 1.0f},
                                        std::vector<float>{0.0f, nan, 2.0f}}) {
        float y2[3] = {7.0f, 7.0f, 7.0f};
        EXPECT_FALSE(DSPBSPLINE_Estimate(x.data(), y, 3, 0.0f, 0.0f, y2));
        EXPECT_FALSE(DSPBSPLINE_Estimate(x.data(), y, 1, 0.0f, 0.0f, y2));
        EXPECT_EQ(y2[0], 7.0f);
        EXPECT_EQ(y2[1], 7.0f);
    }
}
