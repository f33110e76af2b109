/*
** paste.cpp: paste, paste to a position, append, their file and silence
** forms, and paste to fit (tavoedit.h).
**
** Each inserts into a working copy of the signal with the signal library
** (span-list splices: the cost does not depend on the length of the audio),
** outside the document's locks, then hands the copy to the shared commit
** step (edit_p.h). The view and selection moves run in the commit's
** afterSwap hook, under edit access: their own notifications stay silent
** and the commit sends the one change notification at the end.
*/
#include <math.h>
#include <stdint.h>
#include <stdio.h>

#include <algorithm>

#include "audiofile.h"
#include "audioformat.h"
#include "audioops.h"
#include "audiosignal.h"
#include "edit/edit_p.h"
#include "frame/document_p.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavonotify.h"
#include "tavoselection.h"
#include "tavozoom.h"
#include "view/state_p.h"

namespace {

// Change word of the zoom and selection calls made inside an edit: bit 0
// clear, so none of them notifies on its own.
constexpr uint32_t kQuietChange = 14;

// Last error of a paste whose document stopped being editable, or whose
// write lock was refused, after the work was done.
constexpr uint32_t kErrorNoEditAccess = 12;

// The resampler of the signal library takes rates at most this far apart.
constexpr double kMaxRateRatio = 4096.0;

// The guard every paste shares, in this order: document, signal, source,
// view state, no visual tool, editable. No last error on a refusal.
TavoDocument *pasteGuard(TAVOAUDIO audio, AUDIOSIGNAL source)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || _TAVOAUDIO_Signal(doc) == nullptr || source == nullptr) return nullptr;
    return _TAVOEDIT_Guard(audio);
}

// Replaces the selections by [begin, end). Called under edit access, where
// clearing the old list records no "Selection" undo step: the edit's own
// step holds the selections as they were.
int32_t replaceSelection(TAVOAUDIO audio, int64_t begin, int64_t end, uint32_t flags)
{
    return TAVOAUDIO_SelectAudioEx(audio, begin, end, -1, flags);
}

// After a paste over the first selection [b, e): the pasted stretch
// [b, b + L) becomes the selection and the view grows by the change of
// length, so that it keeps its scale.
bool selectOverSelection(TavoDocument *doc, TAVOAUDIO audio, int64_t b, int64_t e, int64_t pasted)
{
    if (replaceSelection(audio, b, b + pasted, 14) == 0) return true;
    TAVOAUDIO_ZoomEx2(audio, doc->state->viewBegin, doc->state->viewEnd + pasted - (e - b),
                      TAVOAUDIO_ZOOM_NO_HISTORY, kQuietChange);
    return true;
}

// The shared body of PasteEx and PasteToFitEx once the working copy holds
// the pasted audio: event for ignored selections, commit, last errors.
bool commitPaste(TavoDocument *doc, TAVOAUDIO audio, TavoWorkingCopy &work, const char *label, int32_t selections,
                 int64_t cursor, int64_t b, int64_t e, int64_t pasted)
{
    // Only the first of several selections is replaced; the host hears of
    // it once and the paste goes on.
    if (selections > 1) _TAVOAUDIO_Send(doc, TAVOAUDIO_MULTI_SELECT_PASTE_NOT_SUPPORTED, nullptr, nullptr, nullptr);

    TavoCommitHooks hooks;
    hooks.afterSwap = [doc, selections, cursor, b, e, pasted](TAVOAUDIO a) {
        if (selections == 0) {
            if (TAVOAUDIO_ZoomEx2(a, doc->state->viewBegin, doc->state->viewEnd + pasted, TAVOAUDIO_ZOOM_NO_HISTORY,
                                  kQuietChange) != 0)
                replaceSelection(a, cursor, cursor + pasted, 6);
            return true;
        }
        return selectOverSelection(doc, a, b, e, pasted);
    };
    const TavoCommit done = _TAVOEDIT_Commit(audio, work, label, 1.0, hooks);
    if (done == TavoCommit::NoAccess) doc->lastError = kErrorNoEditAccess;
    return done == TavoCommit::Done;
}

// A new signal with the audio of `source` stretched or squeezed in time to
// exactly `frames` frames at `rate`: resampled to the rate that gives that
// length, then relabelled with `rate` (the audio plays faster or slower,
// pitch included, as a tape would). The resampled length can miss by the
// rounding of the rate; the last frames are then cut off, or silence is
// added, so the result fits the target exactly. Null (with *error) on
// failure.
AUDIOSIGNAL fitToLength(AUDIOSIGNAL source, int64_t frames, int32_t rate, uint32_t *error)
{
    *error = AUDIO_ERROR_NONE;
    const int64_t sourceFrames = AUDIOSIGNAL_NumFrames(source);
    const int32_t sourceRate = AUDIOSIGNAL_SampleRate(source);
    if (sourceFrames < 1 || sourceRate < 1 || frames < 1 || rate < 1) {
        *error = AUDIO_ERROR_EMPTY;
        return nullptr;
    }
    AUDIOSIGNAL fitted;
    const double ratio = static_cast<double>(frames) / static_cast<double>(sourceFrames);
    const double stretchedRate = nearbyint(static_cast<double>(sourceRate) * ratio);
    if (stretchedRate == static_cast<double>(sourceRate)) {
        fitted = AUDIOSIGNAL_DuplicateEx(source, 0);
        if (fitted == nullptr) *error = AUDIO_ERROR_OUT_OF_MEMORY;
    } else {
        if (stretchedRate < 1.0 || stretchedRate > static_cast<double>(INT32_MAX) || ratio > kMaxRateRatio ||
            ratio < 1.0 / kMaxRateRatio) {
            *error = AUDIO_ERROR_INCOMPATIBLE;
            return nullptr;
        }
        char effect[64];
        snprintf(effect, sizeof effect, "fmtconv[sr=%d]", static_cast<int32_t>(stretchedRate));
        double timeFactor = 1.0;
        fitted = AUDIOSIGNAL_ApplyTransformEx2(source, effect, &timeFactor, 0, error);
    }
    if (fitted == nullptr) return nullptr;

    bool ok = AUDIOSIGNAL_SetSampleRate(fitted, rate);
    const int64_t made = AUDIOSIGNAL_NumFrames(fitted);
    if (ok && made > frames) ok = AUDIOSIGNAL_ClearEx(fitted, 0, frames, TAVOEDIT_END_OF_SIGNAL, 0.0);
    if (ok && made < frames) {
        AUDIOSIGNAL pad = AUDIOSIGNAL_CreateSilence(frames - made, AUDIOSIGNAL_GetFormat(fitted));
        ok = pad != nullptr && AUDIOSIGNAL_PasteEx2(fitted, pad, 0, TAVOEDIT_END_OF_SIGNAL, TAVOEDIT_END_OF_SIGNAL,
                                                    nullptr, error);
        if (pad != nullptr) AUDIOSIGNAL_Destroy(pad);
    }
    if (!ok) {
        if (*error == AUDIO_ERROR_NONE) *error = AUDIO_ERROR_OUT_OF_MEMORY;
        AUDIOSIGNAL_Destroy(fitted);
        return nullptr;
    }
    return fitted;
}

// Opens a file as a temporary signal whose notifications reach the
// document (read progress included). Null when it cannot be opened.
AUDIOSIGNAL openTemporary(TAVOAUDIO audio, const char *fileName, const char *format)
{
    if (fileName == nullptr) return nullptr;
    return AUDIOSIGNAL_OpenEx(fileName, format != nullptr ? format : "AUTO", AUDIO_OPEN_PROGRESS, audio,
                              _TAVOAUDIO_SignalCallback, nullptr);
}

// A silent signal of `length` frames in the document's format (the null
// format when the document has no signal).
AUDIOSIGNAL makeSilence(TAVOAUDIO audio, int64_t length)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return nullptr;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    const AUDIO_FORMAT format = signal != nullptr ? AUDIOSIGNAL_GetFormat(signal) : AUDIO_NullFormat();
    return AUDIOSIGNAL_CreateSilence(length, format);
}

// Under the read lock: the working copy (attached to the document), a copy
// of the selections and the cursor, as one consistent picture.
bool takeWorkingState(TavoDocument *doc, TavoWorkingCopy &work, TavoSelectionsCopy &selections, int64_t *cursor)
{
    TavoDocReadLock lock(doc);
    if (!lock) return false;
    if (!work.make(_TAVOAUDIO_Signal(doc), 0) || !work.attach(doc)) return false;
    if (!selections.take(doc)) return false;
    *cursor = doc->state->cursor;
    return true;
}

} // namespace

TAVO_API bool TAVOAUDIO_PasteEx(TAVOAUDIO audio, AUDIOSIGNAL source, uint32_t flags, const char *label)
{
    TavoDocument *doc = pasteGuard(audio, source);
    if (doc == nullptr) return false;

    TavoWorkingCopy work;
    TavoSelectionsCopy selections;
    int64_t cursor = 0;
    if (!takeWorkingState(doc, work, selections, &cursor)) return false;

    // At the cursor, or in place of the first selection.
    const TAVOSELECTION *first = selections.list();
    const int64_t b = first != nullptr ? TAVOSELECTION_GetBegin(audio, first) : cursor;
    const int64_t e = first != nullptr ? TAVOSELECTION_GetEnd(audio, first) : cursor;
    int64_t pasted = 0;
    uint32_t error = AUDIO_ERROR_NONE;
    if (!AUDIOSIGNAL_PasteEx2(work.copy(), source, flags, b, e, &pasted, &error)) {
        doc->lastError = _TranslateAudioSignalError(error);
        return false;
    }
    return commitPaste(doc, audio, work, label != nullptr ? label : "Paste", selections.count(), cursor, b, e,
                       pasted);
}

TAVO_API int32_t TAVOAUDIO_PasteToPositionEx(TAVOAUDIO audio, AUDIOSIGNAL source, int64_t position, uint32_t flags,
                                             const char *label)
{
    TavoDocument *doc = pasteGuard(audio, source);
    if (doc == nullptr) return 0;

    TavoWorkingCopy work;
    {
        TavoDocReadLock lock(doc);
        if (!lock || !work.make(_TAVOAUDIO_Signal(doc), 0)) return 0;
    }
    if (!work.attach(doc)) return 0;
    int64_t pasted = 0;
    if (!AUDIOSIGNAL_PasteEx2(work.copy(), source, flags, position, position, &pasted, nullptr)) return 0;

    int32_t result = 0;
    TavoCommitHooks hooks;
    hooks.afterSwap = [doc, &result, flags, position, pasted](TAVOAUDIO a) {
        const bool keep = (flags & TAVOAUDIO_PASTE_KEEP_SELECTIONS) != 0;
        if (pasted >= 1 && TAVOAUDIO_ZoomEx2(a, doc->state->viewBegin, doc->state->viewEnd + pasted,
                                             TAVOAUDIO_ZOOM_NO_HISTORY, kQuietChange) == 0) {
            // A refused zoom (a vetoing handler, or a view held by zoom
            // limits) selects nothing, but the audio is in: the selections
            // still move with the audio they cover, and the result says the
            // paste was made.
            TAVOAUDIO_OffsetSelectionsFromPosition(a, pasted, position);
            result = 1;
            return true;
        }
        if (!keep) {
            result = replaceSelection(a, position, position + pasted, 7);
        } else if (TAVOAUDIO_OffsetSelectionsFromPosition(a, pasted, position) != 0) {
            result = TAVOAUDIO_AddSelectionEx(a, position, position + pasted, -1, 7);
        }
        return true;
    };
    if (_TAVOEDIT_Commit(audio, work, label != nullptr ? label : "Paste", 1.0, hooks) != TavoCommit::Done) return 0;
    return result;
}

TAVO_API int32_t TAVOAUDIO_AppendEx(TAVOAUDIO audio, AUDIOSIGNAL source, uint32_t flags, const char *label,
                                    void *parent)
{
    TavoDocument *doc = pasteGuard(audio, source);
    if (doc == nullptr) return 0;

    TavoWorkingCopy work;
    {
        TavoDocReadLock lock(doc);
        if (!lock || !work.make(_TAVOAUDIO_Signal(doc), flags)) return 0;
    }
    if (!work.attach(doc, parent)) return 0;
    int64_t pasted = 0;
    if (!AUDIOSIGNAL_PasteEx2(work.copy(), source, flags, TAVOEDIT_END_OF_SIGNAL, TAVOEDIT_END_OF_SIGNAL, &pasted,
                              nullptr))
        return 0;

    int32_t result = 0;
    TavoCommitHooks hooks;
    hooks.afterSwap = [doc, &result, pasted](TAVOAUDIO a) {
        const int64_t frames = AUDIOSIGNAL_NumFrames(_TAVOAUDIO_Signal(doc));
        const int64_t joint = frames - pasted;
        const int64_t viewBegin = doc->state->viewBegin;
        const int64_t viewLength = doc->state->viewEnd - viewBegin;
        // The view keeps its scale and shows the appended stretch: when it
        // fits, the view ends with the signal (the join stays in sight when
        // the view is long enough); when it is longer than the view, the
        // view starts at the join. A view that shows it already stays.
        if (viewLength > 0 && pasted > 0 && (viewBegin > joint || viewBegin + viewLength < frames)) {
            const int64_t begin = pasted <= viewLength ? std::max<int64_t>(0, frames - viewLength) : joint;
            TAVOAUDIO_ZoomEx2(a, begin, std::min(begin + viewLength, frames), TAVOAUDIO_ZOOM_NO_HISTORY,
                              kQuietChange);
        }
        result = replaceSelection(a, joint, frames, 7);
        return true;
    };
    if (_TAVOEDIT_Commit(audio, work, label != nullptr ? label : "Append", 1.0, hooks) != TavoCommit::Done) return 0;
    return result;
}

TAVO_API bool TAVOAUDIO_PasteFileEx(TAVOAUDIO audio, const char *fileName, const char *format, uint32_t flags,
                                    const char *label)
{
    // Refused documents are not worth reading a file for.
    if (_TAVOEDIT_Guard(audio) == nullptr) return false;
    AUDIOSIGNAL signal = openTemporary(audio, fileName, format);
    if (signal == nullptr) return false;
    const bool ok = TAVOAUDIO_PasteEx(audio, signal, flags, label);
    AUDIOSIGNAL_Destroy(signal);
    return ok;
}

TAVO_API int32_t TAVOAUDIO_PasteFileToPositionEx(TAVOAUDIO audio, int64_t position, const char *fileName,
                                                 const char *format, uint32_t flags, const char *label)
{
    if (_TAVOEDIT_Guard(audio) == nullptr) return 0;
    AUDIOSIGNAL signal = openTemporary(audio, fileName, format);
    if (signal == nullptr) return 0;
    const int32_t result = TAVOAUDIO_PasteToPositionEx(audio, signal, position, flags, label);
    AUDIOSIGNAL_Destroy(signal);
    return result;
}

TAVO_API int32_t TAVOAUDIO_AppendFromFile(TAVOAUDIO audio, const char *fileName, const char *format,
                                          const char *label)
{
    // View state, visual tool and editable flag before the file is read.
    if (_TAVOEDIT_Guard(audio) == nullptr) return 0;
    AUDIOSIGNAL signal = openTemporary(audio, fileName, format);
    if (signal == nullptr) return 0;
    const int32_t result = TAVOAUDIO_AppendEx(audio, signal, 0, label, nullptr);
    AUDIOSIGNAL_Destroy(signal);
    return result;
}

TAVO_API bool TAVOAUDIO_PasteSilence(TAVOAUDIO audio, int64_t length, const char *label)
{
    AUDIOSIGNAL silence = makeSilence(audio, length);
    if (silence == nullptr) return false;
    const bool ok = TAVOAUDIO_PasteEx(audio, silence, 0, label);
    AUDIOSIGNAL_Destroy(silence);
    return ok;
}

TAVO_API int32_t TAVOAUDIO_AppendSilence(TAVOAUDIO audio, int64_t length, const char *label)
{
    AUDIOSIGNAL silence = makeSilence(audio, length);
    if (silence == nullptr) return 0;
    const int32_t result = TAVOAUDIO_AppendEx(audio, silence, 0, label, nullptr);
    AUDIOSIGNAL_Destroy(silence);
    return result;
}

TAVO_API bool TAVOAUDIO_PasteToFitEx(TAVOAUDIO audio, AUDIOSIGNAL source, uint32_t flags, const char *label)
{
    TavoDocument *doc = pasteGuard(audio, source);
    if (doc == nullptr) return false;

    TavoWorkingCopy work;
    TavoSelectionsCopy selections;
    int64_t cursor = 0;
    if (!takeWorkingState(doc, work, selections, &cursor)) return false;
    // The selection gives the length to fit: without one there is nothing
    // to fit to, and the paste is refused (a plain paste is the host's
    // choice then).
    const TAVOSELECTION *first = selections.list();
    if (first == nullptr) return false;
    const int64_t b = TAVOSELECTION_GetBegin(audio, first);
    const int64_t e = TAVOSELECTION_GetEnd(audio, first);
    if (e <= b) return false;

    // The resampling reads the source's samples; it runs with no lock held.
    uint32_t error = AUDIO_ERROR_NONE;
    AUDIOSIGNAL fitted = fitToLength(source, e - b, AUDIOSIGNAL_SampleRate(work.copy()), &error);
    if (fitted == nullptr) {
        doc->lastError = _TranslateAudioSignalError(error);
        return false;
    }
    int64_t pasted = 0;
    const bool ok = AUDIOSIGNAL_PasteEx2(work.copy(), fitted, flags, b, e, &pasted, &error);
    AUDIOSIGNAL_Destroy(fitted);
    if (!ok) {
        doc->lastError = _TranslateAudioSignalError(error);
        return false;
    }
    return commitPaste(doc, audio, work, label != nullptr ? label : "Paste To Fit", selections.count(), cursor, b, e,
                       pasted);
}
