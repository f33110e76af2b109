// zoom.cpp: the horizontal view, its limits and history, and the vertical
// and spectral display ranges of a document.
//
// Every horizontal change goes through TAVOAUDIO_ZoomEx2, so the limits, the
// lock, the veto and the history are applied in one place. Zoom operations
// take only the document's signal mutex (through _TAVOAUDIO_Signal); the
// caller serialises them with drawing. A refused zoom leaves the view, the
// history and the lock as they were.

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "audiosignal.h"
#include "blsettings.h"
#include "blutils.h"
#include "frame/document_p.h"
#include "tavoconfig.h"
#include "tavonotify.h"
#include "tavoselection.h"
#include "tavostate.h"
#include "tavoutil.h"
#include "tavozoom.h"
#include "view/state_p.h"

namespace {

// Amplitude bound of the vertical display: the range of 16-bit samples, in
// which the display expresses every sample width.
constexpr float kVerticalFull = 32768.0f;

// The narrowest spectral band shown: below 5 Hz the spectrogram's bins
// cannot resolve anything.
constexpr float kMinSpectralWidth = 5.0f;

// The relative distance (share of the view length) within which a zoom
// focus snaps to the cursor.
constexpr double kSnapThreshold = 0.01;

// The factor of one zoom-in / zoom-out step.
constexpr double kZoomStep = 0.2;

// Notify word of the operations that always notify: bit 0 (notify) and the
// bits 1..3 that the nested operations pass through.
constexpr uint32_t kNotifyAll = 15;

// A document with a signal and a state, and the signal's frame count.
struct View {
    TavoDocument *doc = nullptr;
    TavoState *state = nullptr;
    AUDIOSIGNAL signal = nullptr;
    int64_t frames = 0;
};

bool openView(TAVOAUDIO audio, View &v)
{
    v.doc = _TAVOAUDIO_Validate(audio);
    if (v.doc == nullptr || v.doc->state == nullptr) return false;
    v.state = v.doc->state;
    v.signal = _TAVOAUDIO_Signal(v.doc);
    if (v.signal == nullptr) return false;
    v.frames = AUDIOSIGNAL_NumFrames(v.signal);
    return true;
}

int64_t limitedBegin(const View &v)
{
    return v.state->limitBegin < 0 ? 0 : v.state->limitBegin;
}

int64_t limitedEnd(const View &v)
{
    return v.state->limitEnd < 0 ? v.frames : v.state->limitEnd;
}

double seconds(const View &v, int64_t frame)
{
    return AUDIO_Sample2Time(AUDIOSIGNAL_GetFormatRef(v.signal), frame);
}

float nyquist(const View &v)
{
    return static_cast<float>(AUDIOSIGNAL_SampleRate(v.signal)) / 2.0f;
}

// A state that was never zoomed spectrally (or whose signal's rate dropped
// below the stored band) shows the whole band [0, rate / 2].
void settleSpectral(const View &v)
{
    const double top = nyquist(v);
    TavoState *s = v.state;
    if (!(s->spectralMax > s->spectralMin) || s->spectralMax > top) {
        s->spectralMin = std::clamp(s->spectralMin, 0.0, top);
        s->spectralMax = top;
        if (!(s->spectralMax > s->spectralMin)) s->spectralMin = 0.0;
    }
}

// The margin kept between a position and the view's edges when scrolling
// to keep it visible. A renderer (doc->draw, made on the first draw) lays
// out the time ruler, and its horizontal scale step is the margin that
// matches the ticks the user sees; while there is none, 5 % of the view.
int64_t horzMargin(const View &v)
{
    const int64_t length = v.state->viewEnd - v.state->viewBegin;
    return static_cast<int64_t>(0.05 * static_cast<double>(length));
}

// Saves the view (b, e) in the zoom-back history. A burst of changes closer
// together than the save interval saves only its first view; a view of the
// same length as the top entry (a scroll) replaces it instead of stacking.
void saveZoomBack(const View &v, int64_t b, int64_t e, bool force)
{
    TavoState *s = v.state;
    const int64_t now = BLUTILS_MonotonicTime();
    if (s->zoomBackTop < 0) {
        s->zoomBackTop = 0;
        s->zoomBack[0][0] = b;
        s->zoomBack[0][1] = e;
    } else if (!force && now - s->zoomBackLastSave < v.doc->zoomBackSaveInterval) {
        // within the interval: nothing is pushed
    } else if (s->zoomBack[s->zoomBackTop][1] - s->zoomBack[s->zoomBackTop][0] == e - b) {
        s->zoomBack[s->zoomBackTop][0] = b;
        s->zoomBack[s->zoomBackTop][1] = e;
    } else {
        if (s->zoomBackTop == TAVOSTATE_ZOOMBACK_SIZE - 1) {
            for (int32_t i = 1; i < TAVOSTATE_ZOOMBACK_SIZE; ++i) {
                s->zoomBack[i - 1][0] = s->zoomBack[i][0];
                s->zoomBack[i - 1][1] = s->zoomBack[i][1];
            }
        } else {
            ++s->zoomBackTop;
        }
        s->zoomBack[s->zoomBackTop][0] = b;
        s->zoomBack[s->zoomBackTop][1] = e;
    }
    s->zoomBackLastSave = now;
}

// Applies a vertical range that ZoomVerticalEx accepted (or a reset):
// veto, store, notify, announce.
int32_t applyVertical(TAVOAUDIO audio, const View &v, float max, float min, uint32_t notify)
{
    if (_TAVOAUDIO_Send(v.doc, TAVOAUDIO_BEFORE_VERT_ZOOM_CHANGE, &max, &min, nullptr) == 0) return 0;
    v.state->verticalMax = max;
    v.state->verticalMin = min;
    if (notify & 1u) TAVOSTATE_NotifyChanges(audio, 0, 0);
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc != nullptr) _TAVOAUDIO_Send(doc, TAVOAUDIO_VERT_ZOOM_CHANGE, &max, &min, nullptr);
    return 1;
}

// Scales the distances of [lo, hi] from `center` as a factor zoom does: a
// factor > 0 divides them by (1 + factor), a factor <= 0 multiplies them by
// (1 - factor), the same arithmetic as the horizontal factor zoom.
void scaleAround(double &lo, double &hi, double center, double factor)
{
    const double scale = factor > 0.0 ? 1.0 / (1.0 + factor) : 1.0 - factor;
    lo = center - (center - lo) * scale;
    hi = center + (hi - center) * scale;
}

// The span of the selection list in frames; false when there is none.
bool selectionSpan(TAVOAUDIO audio, int64_t &b, int64_t &e)
{
    if (!TAVOAUDIO_HasSelection(audio)) return false;
    const TAVOSELECTION first = TAVOAUDIO_FirstSelection(audio);
    const TAVOSELECTION last = TAVOAUDIO_LastSelection(audio);
    if (first.begin < 0.0 || last.end < 0.0) return false;
    b = TAVOAUDIO_TimeToSample(audio, first.begin);
    e = TAVOAUDIO_TimeToSample(audio, last.end);
    return true;
}

}  // namespace

// ---- view ---------------------------------------------------------------

TAVO_API int64_t TAVOAUDIO_ViewBegin(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->state != nullptr ? doc->state->viewBegin : -1;
}

TAVO_API int64_t TAVOAUDIO_ViewEnd(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->state != nullptr ? doc->state->viewEnd : -1;
}

TAVO_API int64_t TAVOAUDIO_ViewLength(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->state != nullptr ? doc->state->viewEnd - doc->state->viewBegin : 0;
}

TAVO_API int64_t TAVOAUDIO_ViewCenter(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return -1;
    return doc->state->viewBegin + (doc->state->viewEnd - doc->state->viewBegin) / 2;
}

// ---- the primitive ------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_ZoomEx2(TAVOAUDIO audio, int64_t begin, int64_t end, uint32_t flags, uint32_t notify)
{
    View v;
    if (!openView(audio, v)) return 0;
    TavoState *s = v.state;
    const int64_t lb = limitedBegin(v);
    const int64_t le = limitedEnd(v);

    const int64_t b = std::max<int64_t>(begin, 0);
    int64_t lo = b;
    int64_t hi = le;
    if (end >= 0) {
        lo = std::min(b, end);
        hi = std::min(std::max(b, end), le);
    }
    lo = std::max(lo, lb);
    // A request that lies wholly outside the limits comes out reversed: as
    // empty as begin = end.
    if (lo >= hi) return 0;

    const int64_t len = hi - lo;
    if (lo == s->viewBegin && hi == s->viewEnd) return len < 4 ? 1 : 0;

    const bool relock = s->zoomLockLength > 0 && s->zoomLockLength != len;
    if (relock && (flags & TAVOAUDIO_ZOOM_KEEP_LOCK)) return 0;

    double loSec = seconds(v, lo);
    double hiSec = seconds(v, hi);
    if (_TAVOAUDIO_Send(v.doc, TAVOAUDIO_BEFORE_HORZ_ZOOM_CHANGE, &loSec, &hiSec, nullptr) == 0) return 0;

    // The lock follows the new length only once the change is certain, so a
    // vetoed zoom leaves it as it was.
    if (!(flags & TAVOAUDIO_ZOOM_NO_HISTORY))
        saveZoomBack(v, s->viewBegin, s->viewEnd, (flags & TAVOAUDIO_ZOOM_FORCE_HISTORY) != 0);
    if (relock) s->zoomLockLength = len;
    s->viewBegin = lo;
    s->viewEnd = hi;
    if (notify & 1u) TAVOSTATE_NotifyChanges(audio, 0, 0);
    loSec = seconds(v, lo);
    hiSec = seconds(v, hi);
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc != nullptr) _TAVOAUDIO_Send(doc, TAVOAUDIO_HORZ_ZOOM_CHANGE, &loSec, &hiSec, nullptr);
    return 1;
}

// ---- factor zoom ----------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_ZoomByFactorEx2(TAVOAUDIO audio, int64_t focus, int64_t viewBegin, int64_t viewEnd,
                                           double factor, uint32_t flags)
{
    View v;
    if (!openView(audio, v) || !std::isfinite(factor)) return 0;
    const double length = static_cast<double>(viewEnd - viewBegin);
    if (!(length > 0.0)) return 0;

    // Snap the focus to what the user is likely aiming at. The cursor is
    // always a candidate; region edges and selection borders come from the
    // renderer (doc->draw), which knows what is visible on screen, and are
    // tried after the cursor once the document has one.
    double f = static_cast<double>(focus);
    if (std::fabs(f - static_cast<double>(v.state->cursor)) / length < kSnapThreshold)
        f = static_cast<double>(v.state->cursor);

    double r = (f - static_cast<double>(viewBegin)) / length;
    if (flags & TAVOAUDIO_ZOOM_CENTER_FOCUS) {
        const double rate = BLSETTINGS_GetFloatEx(nullptr, "libtavo.draw.scroll_zoom.center_focus_rate=[0.15]");
        if (r < 0.495) r = r + rate * (0.5 - r);
        if (r > 0.505) r = r - rate * (r - 0.5);
    }

    // Zoom in by x divides the length by (1 + x); zoom out by -x multiplies
    // it by (1 + x). The two are not inverses of each other (in then out
    // from 1200 frames gives 1000 then 1200), and users rely on in/out
    // pairs returning to the same length, which this asymmetry provides.
    const double n = factor <= 0.0 ? length * (1.0 - factor) : length / (1.0 + factor);
    const double m = std::trunc(n * 0.01);
    const double left = std::max(std::trunc(r * n + 0.5), m);
    const double right = std::max(std::trunc((1.0 - r) * n + 0.5), m);
    // Far beyond any signal the limits clamp anyway; keep the conversion
    // to frames defined.
    constexpr double kFar = 4e18;
    int64_t begin = static_cast<int64_t>(std::trunc(std::clamp(f - left, -kFar, kFar)));
    int64_t end = static_cast<int64_t>(std::trunc(std::clamp(f + right, -kFar, kFar)));

    // Every step must move: a view too short to change by rounding widens
    // or narrows by one frame on each side.
    if (begin == viewBegin && end == viewEnd) {
        if (factor < 0.0) {
            --begin;
            ++end;
        } else {
            ++begin;
            --end;
        }
    }
    return TAVOAUDIO_ZoomEx2(audio, begin, end, flags, kNotifyAll);
}

TAVO_API int32_t TAVOAUDIO_ZoomByFactorEx1(TAVOAUDIO audio, int64_t focus, double factor, uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return 0;
    return TAVOAUDIO_ZoomByFactorEx2(audio, focus, doc->state->viewBegin, doc->state->viewEnd, factor, flags);
}

TAVO_API int32_t TAVOAUDIO_ZoomByFactorEx(TAVOAUDIO audio, int64_t focus, double factor)
{
    return TAVOAUDIO_ZoomByFactorEx1(audio, focus, factor, 0);
}

TAVO_API int32_t TAVOAUDIO_ZoomByFactor(TAVOAUDIO audio, double factor)
{
    return TAVOAUDIO_ZoomByFactorEx(audio, TAVOAUDIO_ZoomFocusPosition(audio), factor);
}

TAVO_API int64_t TAVOAUDIO_ZoomFocusPositionEx(TAVOAUDIO audio, int64_t fallback, uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return -1;
    const TavoState *s = doc->state;
    if (s->cursorOnly && s->cursor >= s->viewBegin && s->cursor <= s->viewEnd) return s->cursor;
    if (!(flags & 1u)) {
        // The active selection as the selection toolbar sees it (a record
        // held apart from the list in toolbar kind 2).
        const TAVOSELECTION *active = TAVOAUDIO_ActiveSelection(audio);
        if (active != nullptr) {
            if (s->activeBorder == 1) return TAVOAUDIO_TimeToSample(audio, active->begin);
            if (s->activeBorder == 2) return TAVOAUDIO_TimeToSample(audio, active->end);
        }
    }
    return fallback;
}

TAVO_API int64_t TAVOAUDIO_ZoomFocusPosition(TAVOAUDIO audio)
{
    return TAVOAUDIO_ZoomFocusPositionEx(audio, TAVOAUDIO_ViewCenter(audio), 0);
}

TAVO_API int32_t TAVOAUDIO_ZoomIn(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return 0;
    const int64_t focus = TAVOAUDIO_ZoomFocusPositionEx(audio, TAVOAUDIO_ViewCenter(audio), 0);
    return TAVOAUDIO_ZoomByFactorEx2(audio, focus, doc->state->viewBegin, doc->state->viewEnd, kZoomStep, 0);
}

TAVO_API int32_t TAVOAUDIO_ZoomOut(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return 0;
    const int64_t focus = TAVOAUDIO_ZoomFocusPositionEx(audio, TAVOAUDIO_ViewCenter(audio), 0);
    return TAVOAUDIO_ZoomByFactorEx2(audio, focus, doc->state->viewBegin, doc->state->viewEnd, -kZoomStep, 0);
}

// ---- selection, resets ------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_ZoomSelectionEx(TAVOAUDIO audio, const TAVOSELECTION *selection)
{
    View v;
    if (!openView(audio, v)) return 0;
    int64_t b = 0;
    int64_t e = 0;
    if (selection != nullptr) {
        b = TAVOAUDIO_TimeToSample(audio, selection->begin);
        e = TAVOAUDIO_TimeToSample(audio, selection->end);
    } else if (!selectionSpan(audio, b, e)) {
        return 0;
    }
    const int64_t oldBegin = v.state->viewBegin;
    const int64_t oldEnd = v.state->viewEnd;
    // The jump to a selection is always worth a way back, whatever the
    // interval since the last save: save the old view after the zoom
    // succeeded, forced.
    const int32_t result = TAVOAUDIO_ZoomEx2(audio, b, e, TAVOAUDIO_ZOOM_NO_HISTORY, kNotifyAll);
    if (result == 1 && openView(audio, v)) saveZoomBack(v, oldBegin, oldEnd, true);
    return result;
}

TAVO_API int32_t TAVOAUDIO_ZoomSelection(TAVOAUDIO audio)
{
    return TAVOAUDIO_ZoomSelectionEx(audio, nullptr);
}

TAVO_API int32_t TAVOAUDIO_ZoomResetEx(TAVOAUDIO audio, uint32_t notify)
{
    View v;
    if (!openView(audio, v)) return 0;
    return TAVOAUDIO_ZoomEx2(audio, limitedBegin(v), limitedEnd(v), TAVOAUDIO_ZOOM_FORCE_HISTORY, notify);
}

TAVO_API int32_t TAVOAUDIO_ZoomReset(TAVOAUDIO audio)
{
    return TAVOAUDIO_ZoomResetEx(audio, kNotifyAll);
}

// A part that already shows its full range counts as reset: the result
// tells whether the document now shows everything, not whether each part
// had to move.
TAVO_API int32_t TAVOAUDIO_ZoomFullResetEx(TAVOAUDIO audio, uint32_t notify)
{
    View v;
    if (!openView(audio, v)) return 0;
    const uint32_t inner = notify & ~1u;
    const bool horizontal = TAVOAUDIO_ZoomResetEx(audio, inner) == 1 || !TAVOAUDIO_HasZoomEx(audio);
    const bool vertical = TAVOAUDIO_ZoomVerticalResetEx(audio, inner) == 1 || !TAVOAUDIO_HasVerticalZoom(audio);
    const bool spectral = TAVOAUDIO_ZoomSpectralResetEx(audio, inner) == 1 || !TAVOAUDIO_HasSpectralZoom(audio);
    if (notify & 1u) TAVOSTATE_NotifyChanges(audio, 0, 0);
    return horizontal && vertical && spectral ? 1 : 0;
}

TAVO_API int32_t TAVOAUDIO_ZoomFullReset(TAVOAUDIO audio)
{
    return TAVOAUDIO_ZoomFullResetEx(audio, kNotifyAll);
}

// ---- queries ------------------------------------------------------------------

TAVO_API bool TAVOAUDIO_CanZoomIn(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return false;
    return v.state->viewEnd - v.state->viewBegin >= 5;
}

TAVO_API bool TAVOAUDIO_CanZoomOut(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return false;
    const TavoState *s = v.state;
    return s->viewEnd - s->viewBegin >= 4 && (s->viewBegin != limitedBegin(v) || s->viewEnd != limitedEnd(v));
}

TAVO_API bool TAVOAUDIO_HasZoomEx(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return false;
    return v.state->viewBegin != limitedBegin(v) || v.state->viewEnd != limitedEnd(v);
}

TAVO_API bool TAVOAUDIO_HasVerticalZoom(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return false;
    return v.state->verticalMax != kVerticalFull || v.state->verticalMin != -kVerticalFull;
}

TAVO_API bool TAVOAUDIO_HasSpectralZoom(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return false;
    settleSpectral(v);
    return v.state->spectralMin != 0.0 || v.state->spectralMax != static_cast<double>(nyquist(v));
}

TAVO_API bool TAVOAUDIO_CanResetZoom(TAVOAUDIO audio)
{
    return TAVOAUDIO_HasZoomEx(audio) || TAVOAUDIO_HasVerticalZoom(audio) || TAVOAUDIO_HasSpectralZoom(audio);
}

// ---- scrolling ------------------------------------------------------------------

TAVO_API bool TAVOAUDIO_ZoomOffsetView(TAVOAUDIO audio, int64_t offset, int64_t *begin, int64_t *end)
{
    View v;
    if (!openView(audio, v) || begin == nullptr || end == nullptr) return false;
    const int64_t lb = limitedBegin(v);
    const int64_t le = limitedEnd(v);
    int64_t nb = v.state->viewBegin + offset;
    int64_t ne = v.state->viewEnd + offset;
    if (nb < lb) {
        ne += lb - nb;
        nb = lb;
    }
    if (ne > le) {
        nb -= ne - le;
        ne = le;
    }
    *begin = std::max(nb, lb);
    *end = ne;
    return true;
}

TAVO_API int32_t TAVOAUDIO_ZoomOffset(TAVOAUDIO audio, int64_t offset)
{
    int64_t b = 0;
    int64_t e = 0;
    if (!TAVOAUDIO_ZoomOffsetView(audio, offset, &b, &e)) return 0;
    return TAVOAUDIO_ZoomEx2(audio, b, e, 0, kNotifyAll);
}

TAVO_API int32_t TAVOAUDIO_ScrollToKeepCursorVisible(TAVOAUDIO audio, int64_t position)
{
    View v;
    if (!openView(audio, v)) return 0;
    const int64_t m = horzMargin(v);
    const int64_t vb = v.state->viewBegin;
    const int64_t ve = v.state->viewEnd;
    if (vb + m <= position && position <= ve - m) return 1;
    const int64_t offset = position > ve - m ? position - (ve - m) : position - (vb + m);
    int64_t b = 0;
    int64_t e = 0;
    if (!TAVOAUDIO_ZoomOffsetView(audio, offset, &b, &e)) return 0;
    return TAVOAUDIO_ZoomEx2(audio, b, e, 0, kNotifyAll);
}

TAVO_API bool TAVOAUDIO_IsCursorVisible(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return false;
    return v.state->cursor >= v.state->viewBegin && v.state->cursor <= v.state->viewEnd;
}

TAVO_API int64_t TAVOAUDIO_BeginViewToKeepPositionVisible(TAVOAUDIO audio, int64_t position, int64_t length)
{
    View v;
    if (!openView(audio, v)) return -1;
    const int64_t m = horzMargin(v);
    const int64_t vb = v.state->viewBegin;
    const int64_t ve = v.state->viewEnd;
    const int64_t viewLength = ve - vb;
    const int64_t last = position + std::max<int64_t>(length, 0);
    const int64_t lb = limitedBegin(v);
    const int64_t le = limitedEnd(v);
    if (position < vb + m) return std::max(position - m, lb);
    if (last > ve - m) {
        int64_t nb = vb + (last - (ve - m));
        // A range longer than the view keeps its start in sight.
        nb = std::min(nb, position - m);
        nb = std::min(nb, le - viewLength);
        return std::max(nb, lb);
    }
    return vb;
}

TAVO_API int64_t TAVOAUDIO_BeginViewToKeepPositionCentered(TAVOAUDIO audio, int64_t position)
{
    View v;
    if (!openView(audio, v)) return -1;
    const int64_t viewLength = v.state->viewEnd - v.state->viewBegin;
    int64_t nb = position - viewLength / 2;
    nb = std::min(nb, limitedEnd(v) - viewLength);
    return std::max(nb, limitedBegin(v));
}

// ---- history ----------------------------------------------------------------------

TAVO_API bool TAVOAUDIO_SaveZoomBack(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return false;
    saveZoomBack(v, v.state->viewBegin, v.state->viewEnd, false);
    return true;
}

TAVO_API int32_t TAVOAUDIO_ZoomBackEx(TAVOAUDIO audio, uint32_t notify)
{
    View v;
    if (!openView(audio, v) || v.state->zoomBackTop < 0) return 0;
    const int32_t top = v.state->zoomBackTop;
    const int32_t result = TAVOAUDIO_ZoomEx2(audio, v.state->zoomBack[top][0], v.state->zoomBack[top][1],
                                             TAVOAUDIO_ZOOM_NO_HISTORY, notify);
    if (result == 1 && openView(audio, v) && v.state->zoomBackTop == top) {
        v.state->zoomBack[top][0] = -1;
        v.state->zoomBack[top][1] = -1;
        --v.state->zoomBackTop;
    }
    return result;
}

TAVO_API int32_t TAVOAUDIO_ZoomBack(TAVOAUDIO audio)
{
    return TAVOAUDIO_ZoomBackEx(audio, kNotifyAll);
}

TAVO_API bool TAVOAUDIO_ClearZoomBack(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    TavoState *s = doc->state;
    if (s->zoomBackTop >= 0) {
        s->zoomBack[s->zoomBackTop][0] = -1;
        s->zoomBack[s->zoomBackTop][1] = -1;
        --s->zoomBackTop;
    }
    return true;
}

TAVO_API bool TAVOAUDIO_HasZoomBack(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->state != nullptr && doc->state->zoomBackTop >= 0;
}

TAVO_API bool TAVOAUDIO_CanZoomBack(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || doc->state->zoomBackTop < 0) return false;
    const TavoState *s = doc->state;
    return s->zoomBack[s->zoomBackTop][0] != s->viewBegin || s->zoomBack[s->zoomBackTop][1] != s->viewEnd;
}

// ---- lock and limits ------------------------------------------------------------

TAVO_API bool TAVOAUDIO_ZoomLock(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return false;
    v.state->zoomLockLength = v.state->viewEnd - v.state->viewBegin;
    TAVOSTATE_NotifyChanges(audio, 0, 0);
    return true;
}

TAVO_API bool TAVOAUDIO_ZoomUnlock(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return false;
    v.state->zoomLockLength = 0;
    TAVOSTATE_NotifyChanges(audio, 0, 0);
    return true;
}

TAVO_API bool TAVOAUDIO_IsZoomLocked(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->state != nullptr && doc->state->zoomLockLength > 0;
}

TAVO_API int32_t TAVOAUDIO_SetZoomLimitsEx(TAVOAUDIO audio, int64_t begin, int64_t end, uint32_t notify)
{
    View v;
    if (!openView(audio, v)) return 0;
    int64_t lo = begin;
    int64_t hi = end;
    if (end >= 1) {
        lo = std::min(begin, end);
        hi = std::max(begin, end);
    }
    // Negative bounds mean "unset"; an end below 1 can bound nothing and is
    // unset too, and a limit past the signal's end stops at it.
    if (lo < 0) lo = -1;
    if (hi < 1) hi = -1;
    if (hi > v.frames) hi = v.frames;

    double loSec = seconds(v, lo);
    double hiSec = seconds(v, hi);
    if (_TAVOAUDIO_Send(v.doc, TAVOAUDIO_BEFORE_HORZ_ZOOM_LIMIT_CHANGE, &loSec, &hiSec, nullptr) == 0) return 0;
    v.state->limitBegin = lo;
    v.state->limitEnd = hi;

    const int32_t result =
        TAVOAUDIO_ZoomEx2(audio, limitedBegin(v), limitedEnd(v), TAVOAUDIO_ZOOM_NO_HISTORY, kNotifyAll & ~1u);
    if (notify & 1u) TAVOSTATE_NotifyChanges(audio, 0, 0);
    if (!openView(audio, v)) return result;
    loSec = seconds(v, limitedBegin(v));
    hiSec = seconds(v, limitedEnd(v));
    _TAVOAUDIO_Send(v.doc, TAVOAUDIO_HORZ_ZOOM_LIMIT_CHANGED, &loSec, &hiSec, nullptr);
    return result;
}

TAVO_API int32_t TAVOAUDIO_SetZoomLimits(TAVOAUDIO audio, int64_t begin, int64_t end)
{
    return TAVOAUDIO_SetZoomLimitsEx(audio, begin, end, kNotifyAll);
}

TAVO_API int32_t TAVOAUDIO_ResetZoomLimitsEx(TAVOAUDIO audio, uint32_t notify)
{
    return TAVOAUDIO_SetZoomLimitsEx(audio, -1, -1, notify);
}

TAVO_API int32_t TAVOAUDIO_ResetZoomLimits(TAVOAUDIO audio)
{
    return TAVOAUDIO_ResetZoomLimitsEx(audio, kNotifyAll);
}

TAVO_API int32_t TAVOAUDIO_SetZoomLimitsToView(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return 0;
    return TAVOAUDIO_SetZoomLimitsEx(audio, v.state->viewBegin, v.state->viewEnd, kNotifyAll);
}

TAVO_API int32_t TAVOAUDIO_SetZoomLimitsToSelection(TAVOAUDIO audio)
{
    View v;
    int64_t b = 0;
    int64_t e = 0;
    if (!openView(audio, v) || !selectionSpan(audio, b, e)) return 0;
    return TAVOAUDIO_SetZoomLimitsEx(audio, b, e, kNotifyAll);
}

TAVO_API bool TAVOAUDIO_HasZoomLimit(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return false;
    return v.state->limitBegin > 0 || limitedEnd(v) != v.frames;
}

TAVO_API int64_t TAVOAUDIO_LimitedBegin(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return -1;
    return doc->state->limitBegin < 0 ? 0 : doc->state->limitBegin;
}

TAVO_API int64_t TAVOAUDIO_LimitedEnd(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return -1;
    if (doc->state->limitEnd >= 0) return doc->state->limitEnd;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    return signal != nullptr ? AUDIOSIGNAL_NumFrames(signal) : 0;
}

TAVO_API int64_t TAVOAUDIO_LimitedLength(TAVOAUDIO audio)
{
    const int64_t b = TAVOAUDIO_LimitedBegin(audio);
    const int64_t e = TAVOAUDIO_LimitedEnd(audio);
    if (b < 0 || e < 0) return -1;
    return e - b;
}

// ---- vertical range --------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_ZoomVerticalEx(TAVOAUDIO audio, float a, float b, uint32_t notify)
{
    View v;
    if (!openView(audio, v) || std::isnan(a) || std::isnan(b)) return 0;
    const float max = std::min(std::max(a, b), kVerticalFull);
    const float min = std::max(std::min(a, b), -kVerticalFull);
    if (!(max > min)) return 0;
    // Only a change of both bounds is applied: a zoom around a fixed edge
    // has to move both, and one that leaves an edge in place is taken as
    // already shown.
    if (static_cast<double>(max) == v.state->verticalMax || static_cast<double>(min) == v.state->verticalMin) return 1;
    return applyVertical(audio, v, max, min, notify);
}

TAVO_API int32_t TAVOAUDIO_ZoomVerticalFactorAround(TAVOAUDIO audio, float factor, float center)
{
    View v;
    if (!openView(audio, v) || !std::isfinite(factor) || !std::isfinite(center)) return 0;
    double lo = v.state->verticalMin;
    double hi = v.state->verticalMax;
    scaleAround(lo, hi, center, factor);
    return TAVOAUDIO_ZoomVerticalEx(audio, static_cast<float>(hi), static_cast<float>(lo), kNotifyAll);
}

TAVO_API int32_t TAVOAUDIO_ZoomVerticalFactor(TAVOAUDIO audio, float factor)
{
    View v;
    if (!openView(audio, v)) return 0;
    const double center = (v.state->verticalMax + v.state->verticalMin) / 2.0;
    return TAVOAUDIO_ZoomVerticalFactorAround(audio, factor, static_cast<float>(center));
}

TAVO_API int32_t TAVOAUDIO_ZoomVerticalIn(TAVOAUDIO audio)
{
    return TAVOAUDIO_ZoomVerticalFactor(audio, static_cast<float>(kZoomStep));
}

TAVO_API int32_t TAVOAUDIO_ZoomVerticalOut(TAVOAUDIO audio)
{
    return TAVOAUDIO_ZoomVerticalFactor(audio, static_cast<float>(-kZoomStep));
}

// The default vertical range is the whole amplitude scale. The reset is
// applied even when one bound already sits at its edge (a range scrolled to
// the top keeps max = 32768), which the both-bounds rule of
// TAVOAUDIO_ZoomVerticalEx would otherwise take as nothing to do.
TAVO_API int32_t TAVOAUDIO_ZoomVerticalResetEx(TAVOAUDIO audio, uint32_t notify)
{
    View v;
    if (!openView(audio, v)) return 0;
    if (v.state->verticalMax == kVerticalFull && v.state->verticalMin == -kVerticalFull) return 1;
    return applyVertical(audio, v, kVerticalFull, -kVerticalFull, notify);
}

// Normalised view: the loudest sample of the signal (over all channels)
// fills "libtavo.zoom.normalized_factor" of the half height, so quiet
// recordings become readable. Silence, or a factor outside (0, 1], shows
// the whole scale.
TAVO_API int32_t TAVOAUDIO_ZoomVerticalNormalized(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return 0;
    const double factor = BLSETTINGS_GetFloatEx(nullptr, "libtavo.zoom.normalized_factor=[%f]", 0.9);
    double peak = 0.0;
    const int32_t channels = AUDIOSIGNAL_NumChannels(v.signal);
    for (int32_t c = 0; c < channels && v.frames > 0; ++c) {
        AUDIOPOINTER pointer;
        float lo = 0.0f;
        float hi = 0.0f;
        if (AUDIOSIGNAL_InitAudioPointer(v.signal, c, 0, &pointer) &&
            AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&pointer, v.frames, &lo, &hi))
            peak = std::max({peak, std::fabs(static_cast<double>(lo)), std::fabs(static_cast<double>(hi))});
    }
    if (!(peak > 0.0) || !(factor > 0.0) || factor > 1.0) return TAVOAUDIO_ZoomVerticalResetEx(audio, kNotifyAll);
    const float half = static_cast<float>(std::min(peak * kVerticalFull / factor, static_cast<double>(kVerticalFull)));
    if (half >= kVerticalFull) return TAVOAUDIO_ZoomVerticalResetEx(audio, kNotifyAll);
    if (v.state->verticalMax == half && v.state->verticalMin == -half) return 1;
    return applyVertical(audio, v, half, -half, kNotifyAll);
}

// Scrolling moves both bounds by the same amount and stops at the edges of
// the scale, so the height of the range is kept.
TAVO_API int32_t TAVOAUDIO_ScrollVertical(TAVOAUDIO audio, float delta)
{
    View v;
    if (!openView(audio, v) || !std::isfinite(delta)) return 0;
    double d = delta;
    if (v.state->verticalMax + d > kVerticalFull) d = kVerticalFull - v.state->verticalMax;
    if (v.state->verticalMin + d < -kVerticalFull) d = -kVerticalFull - v.state->verticalMin;
    if (d == 0.0) return 1;
    return TAVOAUDIO_ZoomVerticalEx(audio, static_cast<float>(v.state->verticalMax + d),
                                    static_cast<float>(v.state->verticalMin + d), kNotifyAll);
}

TAVO_API double TAVOAUDIO_VerticalMax(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->state != nullptr ? doc->state->verticalMax : 0.0;
}

TAVO_API double TAVOAUDIO_VerticalMin(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->state != nullptr ? doc->state->verticalMin : 0.0;
}

// ---- spectral range ------------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_ZoomSpectralEx(TAVOAUDIO audio, float a, float b, uint32_t notify)
{
    View v;
    if (!openView(audio, v) || std::isnan(a) || std::isnan(b)) return 0;
    settleSpectral(v);
    const float top = nyquist(v);
    float lo = std::min(a, b);
    float hi = std::max(a, b);
    if (lo < 0.0f) lo = 0.0f;
    if (hi >= top) hi = top;
    if (static_cast<double>(lo) == v.state->spectralMin && static_cast<double>(hi) == v.state->spectralMax) return 1;
    if (hi - lo < kMinSpectralWidth) {
        // Refused, but the display is redrawn so that a drag that tried it
        // snaps back on screen.
        if (notify & 1u) TAVOSTATE_NotifyChanges(audio, 0, 8);
        return 0;
    }
    if (_TAVOAUDIO_Send(v.doc, TAVOAUDIO_BEFORE_SPECTRAL_ZOOM_CHANGE, &lo, &hi, nullptr) == 0) return 0;
    v.state->spectralMin = lo;
    v.state->spectralMax = hi;
    if (notify & 1u) TAVOSTATE_NotifyChanges(audio, 0, 0);
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc != nullptr) _TAVOAUDIO_Send(doc, TAVOAUDIO_SPECTRAL_ZOOM_CHANGE, &lo, &hi, nullptr);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_ZoomSpectralFactorAround(TAVOAUDIO audio, float factor, float center)
{
    View v;
    if (!openView(audio, v) || !std::isfinite(factor) || !std::isfinite(center)) return 0;
    settleSpectral(v);
    double lo = v.state->spectralMin;
    double hi = v.state->spectralMax;
    scaleAround(lo, hi, center, factor);
    return TAVOAUDIO_ZoomSpectralEx(audio, static_cast<float>(lo), static_cast<float>(hi), kNotifyAll);
}

TAVO_API int32_t TAVOAUDIO_ZoomSpectralFactor(TAVOAUDIO audio, float factor)
{
    View v;
    if (!openView(audio, v)) return 0;
    settleSpectral(v);
    const double center = (v.state->spectralMax + v.state->spectralMin) / 2.0;
    return TAVOAUDIO_ZoomSpectralFactorAround(audio, factor, static_cast<float>(center));
}

TAVO_API int32_t TAVOAUDIO_ZoomSpectralResetEx(TAVOAUDIO audio, uint32_t notify)
{
    View v;
    if (!openView(audio, v)) return 0;
    return TAVOAUDIO_ZoomSpectralEx(audio, 0.0f, nyquist(v), notify);
}

// Scrolling keeps the width of the band and stops at 0 Hz and at half the
// sample rate.
TAVO_API int32_t TAVOAUDIO_ScrollSpectral(TAVOAUDIO audio, float delta)
{
    View v;
    if (!openView(audio, v) || !std::isfinite(delta)) return 0;
    settleSpectral(v);
    const double top = nyquist(v);
    double d = delta;
    if (v.state->spectralMax + d > top) d = top - v.state->spectralMax;
    if (v.state->spectralMin + d < 0.0) d = -v.state->spectralMin;
    if (d == 0.0) return 1;
    return TAVOAUDIO_ZoomSpectralEx(audio, static_cast<float>(v.state->spectralMin + d),
                                    static_cast<float>(v.state->spectralMax + d), kNotifyAll);
}

TAVO_API double TAVOAUDIO_VerticalSpectralMax(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return 0.0;
    settleSpectral(v);
    return v.state->spectralMax;
}

TAVO_API double TAVOAUDIO_VerticalSpectralMin(TAVOAUDIO audio)
{
    View v;
    if (!openView(audio, v)) return 0.0;
    settleSpectral(v);
    return v.state->spectralMin;
}

// ---- scroll-zoom mode ---------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_ScrollZoomMode(TAVOAUDIO audio)
{
    if (_TAVOAUDIO_Validate(audio) == nullptr) return -1;
    char name[64];
    BLSETTINGS_GetStringEx(nullptr, name, sizeof name, "libtavo.draw.scroll_zoom.mode=mouse");
    return TAVOCONFIG_DecodeScrollZoomMode(name, 0);
}

TAVO_API bool TAVOAUDIO_SetScrollZoomMode(TAVOAUDIO audio, int32_t mode)
{
    // Modes 0..3: mouse, cursor, cursor_centered, center.
    if (_TAVOAUDIO_Validate(audio) == nullptr || mode < 0 || mode > 3) return false;
    return BLSETTINGS_ChangeEx(nullptr, "libtavo.draw.scroll_zoom.mode=%s", TAVOCONFIG_EncodeScrollZoomMode(mode));
}
