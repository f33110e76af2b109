// Misuse of every public function: each call must fail with its documented
// failure value and log an error that names the function.
#include <bldebug.h>
#include <dspcore.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace {

std::vector<std::string> g_errors;

void collectErrors(BLDEBUG_SEVERITY severity, int32_t, const char *text, void *)
{
    if (severity == BLDEBUG_SEVERITY_ERROR) {
        g_errors.emplace_back(text);
    }
}

struct Misuse {
    const char *function;
    const char *what;
    std::function<bool()> failsProperly;
};

} // namespace

TEST(Api, EveryFunctionRejectsBadArgumentsQuietly)
{
    DSPB_FFTPROC proc = DSPB_FFTProcCreate(16);
    ASSERT_NE(proc, nullptr);
    DSPB_FFTPROC destroyed = DSPB_FFTProcCreateEx(16, "backend=kiss");
    ASSERT_TRUE(DSPB_FFTProcDestroy(destroyed));
    float f[16] = {}, g[16] = {}, x[3] = {0.0f, 1.0f, 2.0f};
    DSPB_COMPLEX c[9] = {};

    const Misuse table[] = {
        {"DSPB_Finalize", "unpaired", [] { return !DSPB_Finalize(); }},
        {"DSPB_CreateComplexVector", "zero count", [] { return DSPB_CreateComplexVector(0) == nullptr; }},
        {"DSPB_DestroyComplexVector", "null", [] { return !DSPB_DestroyComplexVector(nullptr); }},
        {"DSPB_FFTProcCreate", "odd length", [] { return DSPB_FFTProcCreate(255) == nullptr; }},
        {"DSPB_FFTProcCreate", "negative length", [] { return DSPB_FFTProcCreate(-256) == nullptr; }},
        {"DSPB_FFTProcCreateEx", "length 0", [] { return DSPB_FFTProcCreateEx(0, "backend=kiss") == nullptr; }},
        {"DSPB_FFTProcCreateEx", "unknown backend", [] { return DSPB_FFTProcCreateEx(16, "backend=mkl") == nullptr; }},
        {"DSPB_FFTProcDestroy", "null", [] { return !DSPB_FFTProcDestroy(nullptr); }},
        {"DSPB_FFTProcDestroy", "twice", [&] { return !DSPB_FFTProcDestroy(destroyed); }},
        {"DSPB_FFTProcLength", "null", [] { return DSPB_FFTProcLength(nullptr) == 0; }},
        {"DSPB_FFTProcBackend", "null", [] { return DSPB_FFTProcBackend(nullptr) == nullptr; }},
        {"DSPB_FFTProcExecuteForward", "null processor", [&] { return !DSPB_FFTProcExecuteForward(nullptr, f, 16, c); }},
        {"DSPB_FFTProcExecuteForward", "null input", [&] { return !DSPB_FFTProcExecuteForward(proc, nullptr, 16, c); }},
        {"DSPB_FFTProcExecuteForward", "count above length", [&] { return !DSPB_FFTProcExecuteForward(proc, f, 17, c); }},
        {"DSPB_FFTProcExecutePSDEx", "null output", [&] { return !DSPB_FFTProcExecutePSDEx(proc, f, 16, nullptr, 1); }},
        {"DSPB_FFTProcExecutePSDEx", "zero count", [&] { return !DSPB_FFTProcExecutePSDEx(proc, f, 0, g, 1); }},
        {"DSPB_FFTProcExecutePSDEx", "NaN scale", [&] { return !DSPB_FFTProcExecutePSDEx(proc, f, 16, g, std::nan("")); }},
        {"DSPB_FFTProcExecutePSDEx", "negative scale", [&] { return !DSPB_FFTProcExecutePSDEx(proc, f, 16, g, -1.0); }},
        {"DSPB_ApplyWindow", "null", [] { return !DSPB_ApplyWindow(nullptr, 16, DSPB_WINDOW_HANN); }},
        {"DSPB_CreateWindow", "negative count", [&] { return !DSPB_CreateWindow(g, -3, DSPB_WINDOW_HANN); }},
        {"DSPB_WindowSum", "zero count", [] { return DSPB_WindowSum(DSPB_WINDOW_HANN, 0) < 0.0; }},
        {"DSPB_WindowPowerSum", "unknown type", [] { return DSPB_WindowPowerSum(2, 16) < 0.0; }},
        {"DSPB_PSDtoDB", "null input", [&] { return !DSPB_PSDtoDB(nullptr, g, 16, 100.0); }},
        {"DSPB_PSDtoDB", "zero count", [&] { return !DSPB_PSDtoDB(f, g, 0, 100.0); }},
        {"DSPB_PSDtoDB", "negative range", [&] { return !DSPB_PSDtoDB(f, g, 16, -60.0); }},
        {"DSPBSPLINE_Estimate", "null x", [&] { return !DSPBSPLINE_Estimate(nullptr, x, 3, 0, 0, g); }},
        {"DSPBSPLINE_Estimate", "null y2", [&] { return !DSPBSPLINE_Estimate(x, x, 3, 0, 0, nullptr); }},
        {"DSPBSPLINE_Interpolate", "null y", [&] { return DSPBSPLINE_Interpolate(x, nullptr, x, 3, 0.5f) == 0.0f; }},
        {"DSPBSPLINE_Interpolate", "one knot", [&] { return DSPBSPLINE_Interpolate(x, x, x, 1, 0.5f) == 0.0f; }},
        {"DSPBSPLINE_InterpolateMany", "null positions",
         [&] { return !DSPBSPLINE_InterpolateMany(x, x, x, 3, nullptr, g, 4); }},
        {"DSPBSPLINE_InterpolateMany", "zero positions", [&] { return !DSPBSPLINE_InterpolateMany(x, x, x, 3, f, g, 0); }},
    };

    BLDEBUG_SetSink(collectErrors, nullptr, nullptr);
    for (const Misuse &m : table) {
        g_errors.clear();
        EXPECT_TRUE(m.failsProperly()) << m.function << ": " << m.what;
        ASSERT_EQ(g_errors.size(), 1u) << m.function << ": " << m.what;
        EXPECT_NE(g_errors[0].find(m.function), std::string::npos) << g_errors[0];
    }
    g_errors.clear();
    EXPECT_TRUE(DSPB_FFTProcDestroy(proc));
    EXPECT_TRUE(g_errors.empty());
    BLDEBUG_SetSink(nullptr, nullptr, nullptr);
}
