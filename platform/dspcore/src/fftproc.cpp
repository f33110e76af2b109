// FFT processors, their two back-ends, power spectra and complex vectors.
//
// A processor owns one transform set-up made at creation (an FFTW plan or a
// KissFFT configuration) plus the buffers it needs, so executing it never
// allocates and never takes a lock; the renderer runs one processor per
// worker thread without contention.
#include "dspb.h"
#include "dspcore_p.h"

#include <bldebug.h>
#include <fftw3.h>
#include <kissfft/kiss_fftr.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <numbers>
#include <string_view>
#include <type_traits>
#include <vector>

// Spectra are written straight into the caller's DSPB_COMPLEX arrays by both
// libraries, which is only sound if the three complex types share a layout.
static_assert(sizeof(DSPB_COMPLEX) == 2 * sizeof(float) && offsetof(DSPB_COMPLEX, im) == sizeof(float),
              "DSPB_COMPLEX must be two packed floats");
static_assert(sizeof(fftwf_complex) == sizeof(DSPB_COMPLEX), "fftwf_complex layout differs");
static_assert(std::is_same_v<kiss_fft_scalar, float>, "KissFFT must be the float build");
static_assert(sizeof(kiss_fft_cpx) == sizeof(DSPB_COMPLEX) && offsetof(kiss_fft_cpx, i) == sizeof(float),
              "kiss_fft_cpx layout differs");

namespace {

struct FftwFree {
    void operator()(void *p) const noexcept { fftwf_free(p); }
};

template <typename T>
using FftwArray = std::unique_ptr<T[], FftwFree>;

// Zeroed, SIMD-aligned storage from FFTW's allocator, so that FFTW treats it
// like the arrays it planned with. Null when memory is short.
template <typename T>
FftwArray<T> allocateZeroed(std::size_t count)
{
    static_assert(std::is_trivial_v<T>);
    if (count == 0 || count > SIZE_MAX / sizeof(T)) {
        return nullptr;
    }
    void *memory = fftwf_malloc(count * sizeof(T));
    if (memory != nullptr) {
        std::memset(memory, 0, count * sizeof(T));
    }
    return FftwArray<T>(static_cast<T *>(memory));
}

bool overlaps(const void *a, std::size_t aBytes, const void *b, std::size_t bBytes)
{
    const auto pa = reinterpret_cast<std::uintptr_t>(a);
    const auto pb = reinterpret_cast<std::uintptr_t>(b);
    return pa < pb + bBytes && pb < pa + aBytes;
}

enum class BackendKind { Fftw, Kiss };

// One real-to-complex transform of a fixed length. forward() reads `count`
// (1..length) samples, treats the rest as zeros, and writes length/2 + 1
// bins; `in` and `out` never overlap.
class FftBackend {
public:
    virtual ~FftBackend() = default;
    virtual const char *name() const = 0;
    virtual void forward(const float *in, int32_t count, DSPB_COMPLEX *out) = 0;
};

// Made and destroyed with the planner lock held (see dspcore_p.h).
class FftwBackend final : public FftBackend {
public:
    static std::unique_ptr<FftwBackend> create(int32_t length)
    {
        auto backend = std::unique_ptr<FftwBackend>(new (std::nothrow) FftwBackend(length));
        if (!backend) {
            return nullptr;
        }
        backend->m_in = allocateZeroed<float>(static_cast<std::size_t>(length));
        backend->m_out = allocateZeroed<fftwf_complex>(static_cast<std::size_t>(length) / 2 + 1);
        if (!backend->m_in || !backend->m_out) {
            return nullptr;
        }
        // FFTW_ESTIMATE picks a plan by heuristics in microseconds; MEASURE
        // would time candidate plans for tens of milliseconds per size while
        // holding the process-wide planner lock, stalling every worker that
        // creates a processor, to gain a few percent on power-of-two sizes.
        // r2c plans keep their input intact, which the direct path below
        // relies on; the flag says so explicitly.
        backend->m_plan = fftwf_plan_dft_r2c_1d(length, backend->m_in.get(), backend->m_out.get(),
                                                FFTW_ESTIMATE | FFTW_PRESERVE_INPUT);
        if (backend->m_plan == nullptr) {
            return nullptr;
        }
        backend->m_inAlignment = fftwf_alignment_of(backend->m_in.get());
        backend->m_outAlignment = fftwf_alignment_of(reinterpret_cast<float *>(backend->m_out.get()));
        return backend;
    }

    ~FftwBackend() override
    {
        if (m_plan != nullptr) {
            fftwf_destroy_plan(m_plan);
        }
    }

    const char *name() const override { return "fftw"; }

    void forward(const float *in, int32_t count, DSPB_COMPLEX *out) override
    {
        // A plan may run on other arrays than its own when they are aligned
        // the same way (FFTW's new-array execute); otherwise stage through
        // the planned arrays.
        float *source = m_in.get();
        if (count == m_length && fftwf_alignment_of(const_cast<float *>(in)) == m_inAlignment) {
            source = const_cast<float *>(in);
        } else {
            std::copy_n(in, count, m_in.get());
            std::fill(m_in.get() + count, m_in.get() + m_length, 0.0f);
        }
        auto *target = reinterpret_cast<fftwf_complex *>(out);
        const bool direct = fftwf_alignment_of(reinterpret_cast<float *>(out)) == m_outAlignment;
        if (!direct) {
            target = m_out.get();
        }
        fftwf_execute_dft_r2c(m_plan, source, target);
        if (!direct) {
            std::memcpy(out, m_out.get(), (static_cast<std::size_t>(m_length) / 2 + 1) * sizeof(DSPB_COMPLEX));
        }
    }

private:
    explicit FftwBackend(int32_t length) : m_length(length) {}

    int32_t m_length;
    FftwArray<float> m_in;
    FftwArray<fftwf_complex> m_out;
    fftwf_plan m_plan = nullptr;
    int m_inAlignment = 0;
    int m_outAlignment = 0;
};

class KissBackend final : public FftBackend {
public:
    static std::unique_ptr<KissBackend> create(int32_t length)
    {
        auto backend = std::unique_ptr<KissBackend>(new (std::nothrow) KissBackend(length));
        if (!backend) {
            return nullptr;
        }
        backend->m_config = kiss_fftr_alloc(length, 0, nullptr, nullptr);
        if (backend->m_config == nullptr) {
            return nullptr;
        }
        backend->m_padded.assign(static_cast<std::size_t>(length), 0.0f);
        return backend;
    }

    ~KissBackend() override
    {
        if (m_config != nullptr) {
            kiss_fftr_free(m_config);
        }
    }

    const char *name() const override { return "kiss"; }

    void forward(const float *in, int32_t count, DSPB_COMPLEX *out) override
    {
        const float *source = in;
        if (count < m_length) {
            std::copy_n(in, count, m_padded.begin());
            std::fill(m_padded.begin() + count, m_padded.end(), 0.0f);
            source = m_padded.data();
        }
        kiss_fftr(m_config, source, reinterpret_cast<kiss_fft_cpx *>(out));
    }

private:
    explicit KissBackend(int32_t length) : m_length(length) {}

    int32_t m_length;
    kiss_fftr_cfg m_config = nullptr;
    std::vector<float> m_padded;
};

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Reads "key=value" entries separated by ',' or ';'. Empty entries (a
// trailing separator) are allowed; anything not understood is an error,
// because a misspelt option silently ignored would pick the wrong back-end.
bool parseOptions(const char *options, BackendKind &kind)
{
    kind = BackendKind::Fftw;
    if (options == nullptr) {
        return true;
    }
    bool backendSeen = false;
    std::string_view rest(options);
    while (!rest.empty()) {
        const std::size_t end = rest.find_first_of(",;");
        const std::string_view entry = trimmed(rest.substr(0, end));
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        if (entry.empty()) {
            continue;
        }
        const std::size_t equals = entry.find('=');
        if (equals == std::string_view::npos) {
            BLDEBUG_Error("DSPB_FFTProcCreateEx: option \"%.*s\" is not key=value (options \"%s\")",
                          static_cast<int>(entry.size()), entry.data(), options);
            return false;
        }
        const std::string_view key = trimmed(entry.substr(0, equals));
        const std::string_view value = trimmed(entry.substr(equals + 1));
        if (key != "backend") {
            BLDEBUG_Error("DSPB_FFTProcCreateEx: unknown option \"%.*s\" (options \"%s\")",
                          static_cast<int>(key.size()), key.data(), options);
            return false;
        }
        if (backendSeen) {
            BLDEBUG_Error("DSPB_FFTProcCreateEx: option \"backend\" given twice (options \"%s\")", options);
            return false;
        }
        backendSeen = true;
        if (value == "fftw" || value == "auto") {
            kind = BackendKind::Fftw;
        } else if (value == "kiss") {
            kind = BackendKind::Kiss;
        } else {
            BLDEBUG_Error("DSPB_FFTProcCreateEx: unknown back-end \"%.*s\" (known: fftw, kiss, auto)",
                          static_cast<int>(value.size()), value.data());
            return false;
        }
    }
    return true;
}

} // namespace

// The object behind a DSPB_FFTPROC handle.
struct DSPB_FFTProcObject {
    DSPB_FFTProcObject(int32_t length, std::unique_ptr<FftBackend> backend, FftwArray<DSPB_COMPLEX> spectrum)
        : m_length(length), m_backend(std::move(backend)), m_spectrum(std::move(spectrum))
    {
    }

    int32_t m_length;
    std::unique_ptr<FftBackend> m_backend;
    // length/2 + 1 bins: the spectrum behind a PSD, or the staging area when
    // the caller's input and output overlap.
    FftwArray<DSPB_COMPLEX> m_spectrum;
};

namespace {

DSPB_FFTPROC createProcessor(int32_t length, BackendKind kind, const char *caller)
{
    if (length < 2 || length % 2 != 0) {
        BLDEBUG_Error("%s: length %d is not an even number >= 2", caller, static_cast<int>(length));
        return nullptr;
    }
    try {
        // The whole creation runs under the planner lock: the FFTW planner
        // needs it, and a processor that is registered only after its plan
        // exists can never be missed by a concurrent DSPB_Finalize.
        const auto lock = dspcore::lockPlanner();
        std::unique_ptr<FftBackend> backend;
        if (kind == BackendKind::Fftw) {
            dspcore::ensureSetUpLocked();
            backend = FftwBackend::create(length);
        } else {
            backend = KissBackend::create(length);
        }
        auto spectrum = allocateZeroed<DSPB_COMPLEX>(static_cast<std::size_t>(length) / 2 + 1);
        if (!backend || !spectrum) {
            BLDEBUG_Error("%s: out of memory for a transform of length %d", caller, static_cast<int>(length));
            return nullptr;
        }
        auto proc = std::make_unique<DSPB_FFTProcObject>(length, std::move(backend), std::move(spectrum));
        dspcore::rememberProcessorLocked(proc.get());
        return proc.release();
    } catch (const std::bad_alloc &) {
        BLDEBUG_Error("%s: out of memory for a transform of length %d", caller, static_cast<int>(length));
        return nullptr;
    }
}

bool checkExecute(DSPB_FFTPROC proc, const float *in, int32_t count, const void *out, const char *caller)
{
    if (proc == nullptr) {
        BLDEBUG_Error("%s: null processor", caller);
        return false;
    }
    if (in == nullptr || out == nullptr) {
        BLDEBUG_Error("%s: null %s array", caller, in == nullptr ? "input" : "output");
        return false;
    }
    if (count <= 0 || count > proc->m_length) {
        BLDEBUG_Error("%s: count %d outside 1..%d", caller, static_cast<int>(count),
                      static_cast<int>(proc->m_length));
        return false;
    }
    return true;
}

} // namespace

// ---- complex vectors -------------------------------------------------------

DSPB_COMPLEX *DSPB_CreateComplexVector(int32_t count)
{
    if (count <= 0) {
        BLDEBUG_Error("DSPB_CreateComplexVector: count %d is not positive", static_cast<int>(count));
        return nullptr;
    }
    auto vector = allocateZeroed<DSPB_COMPLEX>(static_cast<std::size_t>(count));
    if (!vector) {
        BLDEBUG_Error("DSPB_CreateComplexVector: out of memory for %d values", static_cast<int>(count));
        return nullptr;
    }
    return vector.release();
}

bool DSPB_DestroyComplexVector(DSPB_COMPLEX *vector)
{
    if (vector == nullptr) {
        BLDEBUG_Error("DSPB_DestroyComplexVector: null vector");
        return false;
    }
    fftwf_free(vector);
    return true;
}

// ---- processors ------------------------------------------------------------

DSPB_FFTPROC DSPB_FFTProcCreate(int32_t length)
{
    return createProcessor(length, BackendKind::Fftw, "DSPB_FFTProcCreate");
}

DSPB_FFTPROC DSPB_FFTProcCreateEx(int32_t length, const char *options)
{
    BackendKind kind = BackendKind::Fftw;
    if (!parseOptions(options, kind)) {
        return nullptr;
    }
    return createProcessor(length, kind, "DSPB_FFTProcCreateEx");
}

bool DSPB_FFTProcDestroy(DSPB_FFTPROC proc)
{
    if (proc == nullptr) {
        BLDEBUG_Error("DSPB_FFTProcDestroy: null processor");
        return false;
    }
    // Forgetting, destroying the plan and a possible fftwf_cleanup happen in
    // one locked stretch, so a cleanup can never run while a plan exists.
    const auto lock = dspcore::lockPlanner();
    if (!dspcore::forgetProcessorLocked(proc)) {
        BLDEBUG_Error("DSPB_FFTProcDestroy: %p is not a live processor", static_cast<void *>(proc));
        return false;
    }
    delete proc;
    dspcore::releaseIfUnusedLocked();
    return true;
}

int32_t DSPB_FFTProcLength(DSPB_FFTPROC proc)
{
    if (proc == nullptr) {
        BLDEBUG_Error("DSPB_FFTProcLength: null processor");
        return 0;
    }
    return proc->m_length;
}

const char *DSPB_FFTProcBackend(DSPB_FFTPROC proc)
{
    if (proc == nullptr) {
        BLDEBUG_Error("DSPB_FFTProcBackend: null processor");
        return nullptr;
    }
    return proc->m_backend->name();
}

// ---- transforms ------------------------------------------------------------

bool DSPB_FFTProcExecuteForward(DSPB_FFTPROC proc, const float *in, int32_t count, DSPB_COMPLEX *out)
{
    if (!checkExecute(proc, in, count, out, "DSPB_FFTProcExecuteForward")) {
        return false;
    }
    const std::size_t bins = static_cast<std::size_t>(proc->m_length) / 2 + 1;
    if (overlaps(in, static_cast<std::size_t>(count) * sizeof(float), out, bins * sizeof(DSPB_COMPLEX))) {
        proc->m_backend->forward(in, count, proc->m_spectrum.get());
        std::memcpy(out, proc->m_spectrum.get(), bins * sizeof(DSPB_COMPLEX));
    } else {
        proc->m_backend->forward(in, count, out);
    }
    return true;
}

bool DSPB_FFTProcExecutePSDEx(DSPB_FFTPROC proc, const float *in, int32_t count, float *psd, double scale)
{
    if (!checkExecute(proc, in, count, psd, "DSPB_FFTProcExecutePSDEx")) {
        return false;
    }
    if (!(scale >= 0.0) || !std::isfinite(scale)) {
        BLDEBUG_Error("DSPB_FFTProcExecutePSDEx: scale %g is not a finite number >= 0", scale);
        return false;
    }
    const DSPB_COMPLEX *spectrum = proc->m_spectrum.get();
    proc->m_backend->forward(in, count, proc->m_spectrum.get());

    // Parseval for the DFT: sum over n of x[n]^2 = (1/N) sum over all N bins
    // of |X[k]|^2. Dividing by N once more gives the mean square, and
    // folding the mirrored bins N-k onto k doubles every bin except DC and
    // Nyquist, which have no mirror.
    const int32_t half = proc->m_length / 2;
    const double n = static_cast<double>(proc->m_length);
    const double edgeFactor = scale / (n * n);
    const double innerFactor = 2.0 * edgeFactor;
    auto power = [](const DSPB_COMPLEX &c) {
        return static_cast<double>(c.re) * c.re + static_cast<double>(c.im) * c.im;
    };
    psd[0] = static_cast<float>(power(spectrum[0]) * edgeFactor);
    for (int32_t k = 1; k < half; ++k) {
        psd[k] = static_cast<float>(power(spectrum[k]) * innerFactor);
    }
    psd[half] = static_cast<float>(power(spectrum[half]) * edgeFactor);
    return true;
}

// ---- decibels --------------------------------------------------------------

bool DSPB_PSDtoDB(const float *psd, float *db, int32_t count, double dynamicRange)
{
    if (psd == nullptr || db == nullptr) {
        BLDEBUG_Error("DSPB_PSDtoDB: null %s array", psd == nullptr ? "power" : "decibel");
        return false;
    }
    if (count <= 0) {
        BLDEBUG_Error("DSPB_PSDtoDB: count %d is not positive", static_cast<int>(count));
        return false;
    }
    if (!(dynamicRange > 0.0) || !std::isfinite(dynamicRange)) {
        BLDEBUG_Error("DSPB_PSDtoDB: dynamic range %g is not positive and finite", dynamicRange);
        return false;
    }
    // Powers below the floor's power skip the logarithm; the test is written
    // so that zero, negatives and NaN all land on the floor. 10 log10(p) is
    // taken as (10 / ln 10) ln(p): glibc's logf is markedly faster than its
    // log10f at the same sub-ulp accuracy, and this runs once per pixel.
    constexpr float kDbPerNeper = static_cast<float>(10.0 / std::numbers::ln10);
    const float floorDb = static_cast<float>(-dynamicRange);
    const double floorPower = std::pow(10.0, -dynamicRange / 10.0);
    for (int32_t i = 0; i < count; ++i) {
        const float p = psd[i];
        if (p > floorPower) {
            db[i] = std::max(kDbPerNeper * std::log(p), floorDb);
        } else {
            db[i] = floorDb;
        }
    }
    return true;
}
