// Cubic splines: second derivatives by one tridiagonal solve, evaluation by
// the standard piecewise cubic in terms of the knots' values and second
// derivatives.
#include "dspbspline.h"

#include <bldebug.h>

#include <cstddef>
#include <new>
#include <vector>

namespace {

// The piece index k in [0, count-2] for `at`: the largest k with
// x[k] <= at, and 0 left of the first knot. Both evaluation paths choose
// pieces by this rule, so they give identical results.
int32_t findPiece(const float *x, int32_t count, float at)
{
    int32_t lo = 0;
    int32_t hi = count - 1;
    while (hi - lo > 1) {
        const int32_t mid = lo + (hi - lo) / 2;
        if (x[mid] > at) {
            hi = mid;
        } else {
            lo = mid;
        }
    }
    return lo;
}

// The cubic of piece k at `at`. With A = (x1-at)/h and B = (at-x0)/h it
// is linear interpolation plus the correction that gives the curve the
// second derivatives y2[k], y2[k+1] at the ends and vanishes at the knots.
// Outside [x0, x1] the same cubic is simply continued.
float evaluatePiece(const float *x, const float *y, const float *y2, int32_t k, float at)
{
    const double x0 = x[k];
    const double x1 = x[k + 1];
    const double h = x1 - x0;
    const double a = (x1 - at) / h;
    const double b = (at - x0) / h;
    const double value = a * y[k] + b * y[k + 1]
        + ((a * a * a - a) * static_cast<double>(y2[k]) + (b * b * b - b) * static_cast<double>(y2[k + 1])) * h * h
            / 6.0;
    return static_cast<float>(value);
}

bool checkSpline(const float *x, const float *y, const float *y2, int32_t count, const char *caller)
{
    if (x == nullptr || y == nullptr || y2 == nullptr) {
        BLDEBUG_Error("%s: null %s array", caller, x == nullptr ? "x" : y == nullptr ? "y" : "y2");
        return false;
    }
    if (count < 2) {
        BLDEBUG_Error("%s: %d knots, at least 2 needed", caller, static_cast<int>(count));
        return false;
    }
    return true;
}

} // namespace

// ---- estimation ------------------------------------------------------------

bool DSPBSPLINE_Estimate(const float *x, const float *y, int32_t count, float d2First, float d2Last, float *y2)
{
    if (!checkSpline(x, y, y2, count, "DSPBSPLINE_Estimate")) {
        return false;
    }
    for (int32_t i = 0; i + 1 < count; ++i) {
        // Written so that NaN fails too.
        if (!(x[i + 1] > x[i])) {
            BLDEBUG_Error("DSPBSPLINE_Estimate: x is not strictly increasing at index %d", static_cast<int>(i + 1));
            return false;
        }
    }
    if (count == 2) {
        y2[0] = d2First;
        y2[1] = d2Last;
        return true;
    }

    // Continuity of the slope at each inner knot i gives
    //   h[i-1] M[i-1] + 2 (h[i-1] + h[i]) M[i] + h[i] M[i+1] = 6 (s[i] - s[i-1])
    // with h the knot spacings, s the chord slopes and M the second
    // derivatives; M at both ends is given. The system is strictly
    // diagonally dominant, so elimination without pivoting (Thomas) is
    // stable.
    std::vector<double> upper;
    std::vector<double> rhs;
    try {
        upper.resize(static_cast<std::size_t>(count));
        rhs.resize(static_cast<std::size_t>(count));
    } catch (const std::bad_alloc &) {
        BLDEBUG_Error("DSPBSPLINE_Estimate: out of memory for %d knots", static_cast<int>(count));
        return false;
    }
    const int32_t last = count - 1;
    for (int32_t i = 1; i < last; ++i) {
        const double hBefore = static_cast<double>(x[i]) - x[i - 1];
        const double hAfter = static_cast<double>(x[i + 1]) - x[i];
        const double slopeBefore = (static_cast<double>(y[i]) - y[i - 1]) / hBefore;
        const double slopeAfter = (static_cast<double>(y[i + 1]) - y[i]) / hAfter;
        double below = hBefore;
        double above = hAfter;
        double r = 6.0 * (slopeAfter - slopeBefore);
        if (i == 1) {
            r -= below * d2First;
            below = 0.0;
        }
        if (i == last - 1) {
            r -= above * d2Last;
            above = 0.0;
        }
        const double pivot = 2.0 * (hBefore + hAfter) - below * upper[i - 1];
        upper[i] = above / pivot;
        rhs[i] = (r - below * rhs[i - 1]) / pivot;
    }
    y2[0] = d2First;
    y2[last] = d2Last;
    double next = d2Last;
    for (int32_t i = last - 1; i >= 1; --i) {
        // upper[last-1] is 0: the known end value already sits in rhs.
        const double m = rhs[i] - upper[i] * next;
        y2[i] = static_cast<float>(m);
        next = m;
    }
    return true;
}

// ---- evaluation ------------------------------------------------------------

float DSPBSPLINE_Interpolate(const float *x, const float *y, const float *y2, int32_t count, float at)
{
    if (!checkSpline(x, y, y2, count, "DSPBSPLINE_Interpolate")) {
        return 0.0f;
    }
    return evaluatePiece(x, y, y2, findPiece(x, count, at), at);
}

bool DSPBSPLINE_InterpolateMany(const float *x, const float *y, const float *y2, int32_t count, const float *at,
                                float *out, int32_t atCount)
{
    if (!checkSpline(x, y, y2, count, "DSPBSPLINE_InterpolateMany")) {
        return false;
    }
    if (at == nullptr || out == nullptr) {
        BLDEBUG_Error("DSPBSPLINE_InterpolateMany: null %s array", at == nullptr ? "position" : "output");
        return false;
    }
    if (atCount <= 0) {
        BLDEBUG_Error("DSPBSPLINE_InterpolateMany: count %d is not positive", static_cast<int>(atCount));
        return false;
    }
    int32_t k = findPiece(x, count, at[0]);
    for (int32_t j = 0; j < atCount; ++j) {
        // Read before writing: `at` and `out` may be one array.
        const float position = at[j];
        if (k > 0 && position < x[k]) {
            k = findPiece(x, count, position);
        } else {
            while (k < count - 2 && position >= x[k + 1]) {
                ++k;
            }
        }
        out[j] = evaluatePiece(x, y, y2, k, position);
    }
    return true;
}
