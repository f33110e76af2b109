/*
** dspb.h: the DSP services of libdspcore (DSPB_): library set-up, complex
** vectors, FFT processors, power spectra, analysis windows and decibels.
**
** FFT processors transform real signals of a fixed even length with one of
** two back-ends: FFTW3 in single precision (the default) or KissFFT. Both
** give the same unnormalised forward transform
**
**   X[k] = sum over n of x[n] * exp(-2*pi*i*k*n/N),   k = 0 .. N/2
**
** so the back-end is a matter of speed and licensing, never of results
** (they agree to float precision).
**
** Threads: a processor is used by one thread at a time; different
** processors may run on different threads at once. Creating and destroying
** processors is thread-safe. Windows, decibels and complex vectors have no
** shared state apart from an internal, locked window cache.
**
** Bad input (null pointers, counts <= 0, an unknown window type, a length
** the processor cannot take) gives the failure value named in each contract
** (false, null, 0 or a negative number) and logs an error naming the
** function; it never crashes.
*/
#ifndef DSPB_H
#define DSPB_H

#include <stdbool.h>
#include <stdint.h>

#include "dspcore_export.h"

DSPB_EXTERN_C_BEGIN

/* The library's version, registered as "libdspcore" in libfound's version
** registry by the first DSPB_Initialize. */
#define DSPB_VERSION_MAJOR 1
#define DSPB_VERSION_MINOR 0
#define DSPB_VERSION_PATCH 0
#define DSPB_VERSION_BUILD 1

/* One complex value, laid out as two floats (real, imaginary), the same
** layout as C99 float complex and the FFT libraries' complex types. */
typedef struct DSPB_COMPLEX {
    float re;
    float im;
} DSPB_COMPLEX;

typedef struct DSPB_FFTProcObject *DSPB_FFTPROC;

/* Analysis windows. The codes are stored in settings and project files and
** never change; 2 and 4 are not defined. */
typedef enum DSPB_WINDOW_TYPE {
    DSPB_WINDOW_RECTANGULAR = 0,
    DSPB_WINDOW_TRIANGULAR = 1,
    DSPB_WINDOW_HANN = 3,
    DSPB_WINDOW_HAMMING = 5,
    DSPB_WINDOW_BLACKMAN = 6,
    DSPB_WINDOW_BLACKMAN_HARRIS = 7,
    DSPB_WINDOW_BLACKMAN_NUTTALL = 8
} DSPB_WINDOW_TYPE;

/* ---- library set-up ---------------------------------------------------- */

/* Counts one more user of the library; the first call sets up the FFT
** planner state. Calls nest and must be paired with DSPB_Finalize. Not
** required before using processors (set-up then happens on first use).
** Thread-safe. Returns true (false only past INT32_MAX nested calls). */
DSPB_API bool DSPB_Initialize(void);

/* Counts one user less; the last call releases the FFT planner's memory, at
** once when no processor is alive, otherwise when the last one is
** destroyed. Returns false (and changes nothing) when there is no
** DSPB_Initialize to pair with. Thread-safe. */
DSPB_API bool DSPB_Finalize(void);

/* ---- complex vectors --------------------------------------------------- */

/* A zeroed vector of `count` complex values, aligned for SIMD transforms
** (spectra written into such vectors take the fastest path). Null when
** count <= 0 or memory is short. The caller owns it and releases it with
** DSPB_DestroyComplexVector. */
DSPB_API DSPB_COMPLEX *DSPB_CreateComplexVector(int32_t count);

/* Releases a vector from DSPB_CreateComplexVector. False for null. */
DSPB_API bool DSPB_DestroyComplexVector(DSPB_COMPLEX *vector);

/* ---- FFT processors ---------------------------------------------------- */

/* A processor for real transforms of `length` samples (even, >= 2) on the
** default back-end (FFTW). Null for an odd or too small length or when
** memory is short. The caller owns it and destroys it with
** DSPB_FFTProcDestroy. Thread-safe; the transform plan is made here, once. */
DSPB_API DSPB_FFTPROC DSPB_FFTProcCreate(int32_t length);

/* As DSPB_FFTProcCreate, with options "key=value" separated by ',' or ';'
** (spaces around them ignored). Known: backend=fftw, backend=kiss,
** backend=auto (= fftw). Null or "" options mean the defaults. An unknown
** key or value, a repeated key or text without '=' gives null. */
DSPB_API DSPB_FFTPROC DSPB_FFTProcCreateEx(int32_t length, const char *options);

/* Destroys a processor. False for null or for a handle that is not a live
** processor (already destroyed, say). Thread-safe with respect to other
** processors; the processor itself must no longer be in use. */
DSPB_API bool DSPB_FFTProcDestroy(DSPB_FFTPROC proc);

/* The transform length given at creation; 0 for a null handle. */
DSPB_API int32_t DSPB_FFTProcLength(DSPB_FFTPROC proc);

/* The back-end's name, "fftw" or "kiss": static text, not to be freed.
** Null for a null handle. */
DSPB_API const char *DSPB_FFTProcBackend(DSPB_FFTPROC proc);

/* Forward transform of `count` samples (1 .. length; missing samples are
** zeros) into length/2 + 1 bins written to `out`, unnormalised as above.
** False for a null handle or pointer or a bad count; `out` is then left
** untouched. `in` and `out` may overlap. One thread at a time per processor. */
DSPB_API bool DSPB_FFTProcExecuteForward(DSPB_FFTPROC proc, const float *in, int32_t count,
                                         DSPB_COMPLEX *out);

/* One-sided power spectrum of `count` samples (zero-padded to length N) into
** N/2 + 1 values: psd[0] = |X0|^2/N^2, psd[k] = 2|Xk|^2/N^2 for 0 < k < N/2,
** psd[N/2] = |X(N/2)|^2/N^2, each multiplied by `scale`. With scale 1 the
** values add up to the mean of x^2 over the N samples, and a sine of
** amplitude A on bin k gives A^2/2 there; a window's power loss is undone by
** scale = N / (sum of w^2). False as for DSPB_FFTProcExecuteForward, or
** for a negative or non-finite scale. `in` and `psd` may overlap. */
DSPB_API bool DSPB_FFTProcExecutePSDEx(DSPB_FFTPROC proc, const float *in, int32_t count,
                                       float *psd, double scale);

/* ---- windows ----------------------------------------------------------- */

/* All windows are symmetric (w[i] == w[count-1-i]), the form meant for
** analysis; the cosine windows use the usual coefficients (Hann 0.5/0.5,
** Hamming 0.54/0.46, Blackman 0.42/0.5/0.08, 4-term Blackman-Harris and
** Blackman-Nuttall). The triangle does not touch zero: its ends are
** 2/(count+1) for odd counts and 1/count for even ones, so that no sample
** is wasted. A window of one sample is 1. */

/* Multiplies data[0 .. count-1] by the window in place. False for null
** data, count <= 0 or an unknown type (data untouched). Thread-safe. */
DSPB_API bool DSPB_ApplyWindow(float *data, int32_t count, int32_t windowType);

/* Writes the window itself to out[0 .. count-1]. Failures as for
** DSPB_ApplyWindow. Thread-safe. */
DSPB_API bool DSPB_CreateWindow(float *out, int32_t count, int32_t windowType);

/* The sum of the window's values (amplitude normalisation: a sine of
** amplitude A on a bin peaks at A * sum / 2 in |X|). Negative for count
** <= 0 or an unknown type. Thread-safe. */
DSPB_API double DSPB_WindowSum(int32_t windowType, int32_t count);

/* The sum of the squared window values (power normalisation, see
** DSPB_FFTProcExecutePSDEx). Negative on bad input. Thread-safe. */
DSPB_API double DSPB_WindowPowerSum(int32_t windowType, int32_t count);

/* ---- decibels ---------------------------------------------------------- */

/* db[i] = 10 * log10(psd[i]), floored at -dynamicRange; zero, negative or
** NaN powers give -dynamicRange, values above 0 dB are kept. psd and db may
** be the same array. False for null arrays, count <= 0 or a dynamic range
** that is not positive and finite. */
DSPB_API bool DSPB_PSDtoDB(const float *psd, float *db, int32_t count, double dynamicRange);

DSPB_EXTERN_C_END

#endif
