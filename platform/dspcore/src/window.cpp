// Analysis windows: values, application, sums, and a small cache.
//
// Every value is computed from the distance to the nearer end, m =
// min(n, count-1-n), so the symmetry w[n] == w[count-1-n] holds bit for bit
// rather than up to the rounding of cos() near 2*pi.
#include "dspb.h"
#include "dspcore_p.h"

#include <bldebug.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <numbers>
#include <vector>

namespace {

// Generalised cosine windows w = a0 - a1 cos(t) + a2 cos(2t) - a3 cos(3t),
// t = 2*pi*m/(count-1). Coefficients: Hann and Hamming as usual; the
// classic rounded Blackman 0.42/0.5/0.08; 4-term Blackman-Harris (Harris
// 1978, -92 dB side lobes); Blackman-Nuttall (Nuttall 1981).
struct CosineWindow {
    double a0, a1, a2, a3;
};

constexpr CosineWindow kHann{0.5, 0.5, 0.0, 0.0};
constexpr CosineWindow kHamming{0.54, 0.46, 0.0, 0.0};
constexpr CosineWindow kBlackman{0.42, 0.5, 0.08, 0.0};
constexpr CosineWindow kBlackmanHarris{0.35875, 0.48829, 0.14128, 0.01168};
constexpr CosineWindow kBlackmanNuttall{0.3635819, 0.4891775, 0.1365995, 0.0106411};

const CosineWindow *cosineWindow(int32_t windowType)
{
    switch (windowType) {
    case DSPB_WINDOW_HANN: return &kHann;
    case DSPB_WINDOW_HAMMING: return &kHamming;
    case DSPB_WINDOW_BLACKMAN: return &kBlackman;
    case DSPB_WINDOW_BLACKMAN_HARRIS: return &kBlackmanHarris;
    case DSPB_WINDOW_BLACKMAN_NUTTALL: return &kBlackmanNuttall;
    default: return nullptr;
    }
}

bool isKnownType(int32_t windowType)
{
    return windowType == DSPB_WINDOW_RECTANGULAR || windowType == DSPB_WINDOW_TRIANGULAR
        || cosineWindow(windowType) != nullptr;
}

// The window value at n (0 <= n < count) of a known type, as applied: float.
float windowPoint(int32_t windowType, int64_t n, int64_t count)
{
    if (count == 1 || windowType == DSPB_WINDOW_RECTANGULAR) {
        return 1.0f;
    }
    const int64_t m = std::min(n, count - 1 - n);
    if (windowType == DSPB_WINDOW_TRIANGULAR) {
        // Peak 1 at the centre, falling by 2/(count+1) (odd) or 2/count
        // (even) per sample, so the zeros lie just outside the window.
        const double span = static_cast<double>(count % 2 != 0 ? count + 1 : count);
        return static_cast<float>(1.0 - static_cast<double>(count - 1 - 2 * m) / span);
    }
    const CosineWindow &c = *cosineWindow(windowType);
    const double t = 2.0 * std::numbers::pi * static_cast<double>(m) / static_cast<double>(count - 1);
    return static_cast<float>(c.a0 - c.a1 * std::cos(t) + c.a2 * std::cos(2.0 * t) - c.a3 * std::cos(3.0 * t));
}

// Windows are cached up to this size (256 KiB of floats each) and this many
// at once: the renderer uses one or two sizes, the analysis dialogs a few
// more; anything larger is computed on the fly instead of pinned in memory.
constexpr int32_t kMaxCachedCount = 65536;
constexpr std::size_t kMaxCacheEntries = 16;

using WindowArray = std::shared_ptr<const std::vector<float>>;

struct CacheEntry {
    int32_t type;
    int32_t count;
    WindowArray values;
};

// Entries are handed out as shared pointers, so clearing the cache never
// pulls an array from under a thread that is still applying it.
class WindowCache {
public:
    WindowArray find(int32_t type, int32_t count)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const CacheEntry &entry : m_entries) {
            if (entry.type == type && entry.count == count) {
                return entry.values;
            }
        }
        return nullptr;
    }

    // Keeps `values` unless another thread got there first; answers the kept
    // array. Oldest entries go first when full.
    WindowArray insert(int32_t type, int32_t count, WindowArray values)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const CacheEntry &entry : m_entries) {
            if (entry.type == type && entry.count == count) {
                return entry.values;
            }
        }
        if (m_entries.size() >= kMaxCacheEntries) {
            m_entries.erase(m_entries.begin());
        }
        m_entries.push_back(CacheEntry{type, count, values});
        return values;
    }

    void clear()
    {
        std::vector<CacheEntry> old;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            old.swap(m_entries);
        }
    }

private:
    std::mutex m_mutex;
    std::vector<CacheEntry> m_entries;
};

// Never destroyed, like the planner state: windows may be asked for from a
// host's static destructors.
WindowCache &cache()
{
    static WindowCache *const instance = new WindowCache;
    return *instance;
}

// The cached array for a known type and 1 <= count <= kMaxCachedCount.
// Throws std::bad_alloc when memory is short.
WindowArray cachedWindow(int32_t type, int32_t count)
{
    if (WindowArray found = cache().find(type, count)) {
        return found;
    }
    auto values = std::make_shared<std::vector<float>>(static_cast<std::size_t>(count));
    for (int32_t n = 0; n < count; ++n) {
        (*values)[static_cast<std::size_t>(n)] = windowPoint(type, n, count);
    }
    return cache().insert(type, count, std::move(values));
}

bool checkWindowArgs(const float *data, int32_t count, int32_t windowType, const char *caller)
{
    if (data == nullptr) {
        BLDEBUG_Error("%s: null array", caller);
        return false;
    }
    if (count <= 0) {
        BLDEBUG_Error("%s: count %d is not positive", caller, static_cast<int>(count));
        return false;
    }
    if (!isKnownType(windowType)) {
        BLDEBUG_Error("%s: unknown window type %d", caller, static_cast<int>(windowType));
        return false;
    }
    return true;
}

// Calls visit(n, w[n]) for n = 0 .. count-1 (known type, count >= 1), from
// the cache when the size is cacheable and memory allows, else computed on
// the fly, which needs no memory at all.
template <typename Visit>
void visitWindow(int32_t windowType, int32_t count, Visit visit)
{
    WindowArray window;
    if (count <= kMaxCachedCount) {
        try {
            window = cachedWindow(windowType, count);
        } catch (const std::bad_alloc &) {
            window = nullptr; // computed on the fly below
        }
    }
    if (window) {
        const float *values = window->data();
        for (int32_t n = 0; n < count; ++n) {
            visit(n, values[n]);
        }
        return;
    }
    for (int32_t n = 0; n < count; ++n) {
        visit(n, windowPoint(windowType, n, count));
    }
}

enum class SumKind { Values, Squares };

double windowSum(int32_t windowType, int32_t count, SumKind kind, const char *caller)
{
    if (count <= 0) {
        BLDEBUG_Error("%s: count %d is not positive", caller, static_cast<int>(count));
        return -1.0;
    }
    if (!isKnownType(windowType)) {
        BLDEBUG_Error("%s: unknown window type %d", caller, static_cast<int>(windowType));
        return -1.0;
    }
    // The sums are of the float values actually applied, so a normalisation
    // by them is exact for what the caller's data went through.
    double sum = 0.0;
    visitWindow(windowType, count, [&sum, kind](int32_t, float w) {
        const double value = w;
        sum += kind == SumKind::Values ? value : value * value;
    });
    return sum;
}

} // namespace

namespace dspcore {

void clearWindowCache()
{
    cache().clear();
}

} // namespace dspcore

// ---- windows ---------------------------------------------------------------

bool DSPB_ApplyWindow(float *data, int32_t count, int32_t windowType)
{
    if (!checkWindowArgs(data, count, windowType, "DSPB_ApplyWindow")) {
        return false;
    }
    visitWindow(windowType, count, [data](int32_t n, float w) { data[n] *= w; });
    return true;
}

bool DSPB_CreateWindow(float *out, int32_t count, int32_t windowType)
{
    if (!checkWindowArgs(out, count, windowType, "DSPB_CreateWindow")) {
        return false;
    }
    visitWindow(windowType, count, [out](int32_t n, float w) { out[n] = w; });
    return true;
}

double DSPB_WindowSum(int32_t windowType, int32_t count)
{
    return windowSum(windowType, count, SumKind::Values, "DSPB_WindowSum");
}

double DSPB_WindowPowerSum(int32_t windowType, int32_t count)
{
    return windowSum(windowType, count, SumKind::Squares, "DSPB_WindowPowerSum");
}
