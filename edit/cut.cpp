/*
** cut.cpp: cut, clear and copy of a document's selections (tavoedit.h).
**
** Cut and clear remove the selected audio from a working copy of the signal
** (span-list splices in the signal library: no sample is touched, so the
** cost does not grow with the length of the audio) and hand the copy to the
** shared commit step (edit_p.h), which records the old signal as the undo
** step and swaps. Copy reads under read access and changes nothing.
*/
#include <stdint.h>

#include "audioops.h"
#include "audiosignal.h"
#include "blsettings.h"
#include "edit/edit_p.h"
#include "frame/document_p.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavonotify.h"
#include "tavoselection.h"
#include "tavozoom.h"
#include "view/state_p.h"

namespace {

// Change word of the cursor, zoom and selection calls made inside an edit:
// bit 0 clear, so none of them notifies on its own; the commit sends the
// one notification at the end.
constexpr uint32_t kQuietChange = 14;

// Flags of the selection clear after a removal: active-selection bit and
// the select-all bit, neither notify (bit 0) nor a "Selection" undo step
// (bit 2): the edit's own undo step already holds the list as it was.
constexpr uint32_t kClearUsedSelections = 10;

// Crossfade length at each join when the setting names none: 4 ms hides
// the click of a discontinuity and is too short to be heard as a fade.
constexpr double kDefaultSmoothSeconds = 0.004;

struct RemovalOptions {
    uint32_t options = 0;
    double smoothSeconds = kDefaultSmoothSeconds;
};

// The options word of the signal-library removal. The duration setting is
// read only when smoothing is on; without it the library ignores the
// duration, and the default is passed all the same.
RemovalOptions removalOptions(bool cut, uint32_t flags, uint32_t regionFlags)
{
    RemovalOptions result;
    if (cut) {
        result.options = flags;
        if (regionFlags != 0) result.options |= regionFlags | AUDIOSIGNAL_EDIT_REGIONS;
    }
    if (BLSETTINGS_GetBoolEx(nullptr, "libtavo.editoptions.smoothboundaries=[%d]", 1)) {
        result.options |= AUDIOSIGNAL_EDIT_SMOOTH_BOUNDARIES;
        result.smoothSeconds =
            BLSETTINGS_GetFloatEx(nullptr, "libtavo.editoptions.smoothduration=[%f]", kDefaultSmoothSeconds);
    }
    return result;
}

// Removes every selection of `selections` from the document's signal.
// Cut: *clipboard receives the removed audio (caller owns it). Clear:
// `clipboard` is null. False (and the document untouched) on any refusal.
bool removeSelections(TAVOAUDIO audio, const TAVOSELECTION *selections, uint32_t flags, uint32_t regionFlags,
                      const char *label, AUDIOSIGNAL *clipboard)
{
    const bool cut = clipboard != nullptr;
    if (cut) *clipboard = nullptr;
    TavoDocument *doc = _TAVOEDIT_Guard(audio);   // document, signal, state, no visual tool, editable
    if (doc == nullptr || selections == nullptr) return false;

    TavoWorkingCopy work;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return false;
        if (!work.make(_TAVOAUDIO_Signal(doc), 0)) return false;
    }
    if (!work.attach(doc)) return false;

    const RemovalOptions opts = removalOptions(cut, flags, regionFlags);
    AUDIOSIGNAL copy = work.copy();
    const int64_t startFrames = AUDIOSIGNAL_NumFrames(copy);
    const int64_t firstBegin = TAVOSELECTION_GetBegin(audio, selections);

    // Positions are in the coordinates of the unchanged signal: each later
    // selection moves left by what the earlier removals took out.
    AUDIOSIGNAL gathered = nullptr;
    for (const TAVOSELECTION *s = selections; s != nullptr; s = s->next) {
        const int64_t removed = startFrames - AUDIOSIGNAL_NumFrames(copy);
        const int64_t begin = TAVOSELECTION_GetBegin(audio, s) - removed;
        const int64_t end = TAVOSELECTION_GetEnd(audio, s) - removed;
        bool ok;
        if (cut) {
            // With a clipboard the library appends to it and hands the same
            // reference back; on failure the reference stays ours.
            AUDIOSIGNAL result = AUDIOSIGNAL_CutEx(copy, gathered, opts.options, begin, end, opts.smoothSeconds);
            ok = result != nullptr;
            if (ok) gathered = result;
        } else {
            ok = AUDIOSIGNAL_ClearEx(copy, opts.options, begin, end, opts.smoothSeconds);
        }
        if (!ok) {
            if (gathered != nullptr) AUDIOSIGNAL_Destroy(gathered);
            return false;   // the working copy is discarded with `work`
        }
    }
    const int64_t removedTotal = startFrames - AUDIOSIGNAL_NumFrames(copy);

    TavoCommitHooks hooks;
    // The view moves with the audio it shows when it starts after the first
    // removal; it is moved before the swap, while the old length still
    // bounds the zoom.
    hooks.beforeSwap = [doc, firstBegin, removedTotal](TAVOAUDIO a) {
        const int64_t viewBegin = doc->state->viewBegin;
        const int64_t viewEnd = doc->state->viewEnd;
        if (viewBegin > firstBegin)
            TAVOAUDIO_ZoomEx2(a, viewBegin - removedTotal, viewEnd - removedTotal, TAVOAUDIO_ZOOM_NO_HISTORY,
                              kQuietChange);
    };
    hooks.afterSwap = [doc, cut, firstBegin, selections](TAVOAUDIO a) {
        if (cut) {
            TAVOAUDIO_SetCursorPositionEx2(a, firstBegin, kQuietChange);
            // The host's transport follows the cursor: the event carries a
            // pointer to the new position in seconds (arg1; arg2 and arg3
            // null), as every cursor event of the document does.
            double seconds = AUDIO_Sample2Time(AUDIOSIGNAL_GetFormatRef(_TAVOAUDIO_Signal(doc)), doc->state->cursor);
            _TAVOAUDIO_Send(doc, TAVOAUDIO_CURSOR_CHANGE_POSITION, &seconds, nullptr, nullptr);
        } else {
            TAVOAUDIO_ChangeCursorPositionEx(a, firstBegin, kQuietChange);
        }
        TAVOAUDIO_ClearSelectionEx2(a, selections, kClearUsedSelections);
        return true;
    };

    const char *undoLabel = label != nullptr ? label : (cut ? "Cut" : "Clear");
    if (_TAVOEDIT_Commit(audio, work, undoLabel, 1.0, hooks) != TavoCommit::Done) {
        if (gathered != nullptr) AUDIOSIGNAL_Destroy(gathered);
        return false;
    }
    if (cut) *clipboard = gathered;
    return true;
}

// Runs `operation` over a private copy of the document's own selection
// list, so that the edit never walks nodes the selection calls inside it
// free. False when the document has no selection.
template <typename Operation>
bool withOwnSelections(TAVOAUDIO audio, Operation operation)
{
    TavoDocument *doc = _TAVOEDIT_Guard(audio);
    if (doc == nullptr) return false;
    TavoSelectionsCopy selections;
    {
        TavoDocReadLock lock(doc);
        if (!lock || !selections.take(doc)) return false;
    }
    if (selections.list() == nullptr) return false;
    return operation(selections.list());
}

// A new signal holding the audio of every selection in list order.
// Without region options the pieces are copies sharing the samples; with
// them, the pieces are cut from a throw-away duplicate so that the signal
// library carries the regions of each piece into the result. Call with read
// access held. `flags` are the caller's signal-library flags: they go with
// the region options to the cut, and to the joining paste, which passes
// them on unread.
AUDIOSIGNAL copyPieces(TAVOAUDIO audio, AUDIOSIGNAL signal, const TAVOSELECTION *selections, uint32_t flags,
                       uint32_t regionFlags)
{
    if (regionFlags != 0) {
        AUDIOSIGNAL scratch = AUDIOSIGNAL_DuplicateEx(signal, 0);
        if (scratch == nullptr) return nullptr;
        const uint32_t options = flags | regionFlags | AUDIOSIGNAL_EDIT_REGIONS;
        const int64_t startFrames = AUDIOSIGNAL_NumFrames(scratch);
        AUDIOSIGNAL gathered = nullptr;
        for (const TAVOSELECTION *s = selections; s != nullptr; s = s->next) {
            const int64_t removed = startFrames - AUDIOSIGNAL_NumFrames(scratch);
            AUDIOSIGNAL result = AUDIOSIGNAL_CutEx(scratch, gathered, options, TAVOSELECTION_GetBegin(audio, s) - removed,
                                                   TAVOSELECTION_GetEnd(audio, s) - removed, kDefaultSmoothSeconds);
            if (result == nullptr) {
                if (gathered != nullptr) AUDIOSIGNAL_Destroy(gathered);
                gathered = nullptr;
                break;
            }
            gathered = result;
        }
        AUDIOSIGNAL_Destroy(scratch);
        return gathered;
    }

    AUDIOSIGNAL gathered = nullptr;
    for (const TAVOSELECTION *s = selections; s != nullptr; s = s->next) {
        AUDIOSIGNAL piece =
            AUDIOSIGNAL_CopyEx(signal, TAVOSELECTION_GetBegin(audio, s), TAVOSELECTION_GetEnd(audio, s));
        if (piece == nullptr) {
            if (gathered != nullptr) AUDIOSIGNAL_Destroy(gathered);
            return nullptr;
        }
        if (gathered == nullptr) {
            gathered = piece;
            continue;
        }
        const bool ok = AUDIOSIGNAL_PasteEx2(gathered, piece, flags, TAVOEDIT_END_OF_SIGNAL, TAVOEDIT_END_OF_SIGNAL,
                                             nullptr, nullptr);
        AUDIOSIGNAL_Destroy(piece);
        if (!ok) {
            AUDIOSIGNAL_Destroy(gathered);
            return nullptr;
        }
    }
    return gathered;
}

} // namespace

TAVO_API AUDIOSIGNAL TAVOAUDIO_CutSelectionsEx(TAVOAUDIO audio, const TAVOSELECTION *selections, uint32_t flags,
                                              uint32_t regionFlags, const char *label)
{
    AUDIOSIGNAL clipboard = nullptr;
    if (!removeSelections(audio, selections, flags, regionFlags, label, &clipboard)) return nullptr;
    return clipboard;
}

TAVO_API AUDIOSIGNAL TAVOAUDIO_Cut(TAVOAUDIO audio, const char *label)
{
    AUDIOSIGNAL clipboard = nullptr;
    withOwnSelections(audio, [&](const TAVOSELECTION *list) {
        clipboard = TAVOAUDIO_CutSelectionsEx(audio, list, 0, 0, label);
        return clipboard != nullptr;
    });
    return clipboard;
}

TAVO_API bool TAVOAUDIO_ClearEx(TAVOAUDIO audio, const TAVOSELECTION *selections, const char *label)
{
    return removeSelections(audio, selections, 0, 0, label, nullptr);
}

TAVO_API bool TAVOAUDIO_Clear(TAVOAUDIO audio, const char *label)
{
    return withOwnSelections(audio,
                             [&](const TAVOSELECTION *list) { return TAVOAUDIO_ClearEx(audio, list, label); });
}

TAVO_API AUDIOSIGNAL TAVOAUDIO_CopySelectionsEx(TAVOAUDIO audio, const TAVOSELECTION *selections, uint32_t flags,
                                               uint32_t regionFlags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || selections == nullptr) return nullptr;
    TavoDocReadLock lock(doc);
    if (!lock) return nullptr;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return nullptr;
    return copyPieces(audio, signal, selections, flags, regionFlags);
}

TAVO_API AUDIOSIGNAL TAVOAUDIO_CopySelectionEx(TAVOAUDIO audio, const TAVOSELECTION *selection, uint32_t flags)
{
    if (selection == nullptr) return nullptr;
    // One record only, whatever it is chained to.
    TAVOSELECTION single = *selection;
    single.next = nullptr;
    return TAVOAUDIO_CopySelectionsEx(audio, &single, flags, 0);
}

TAVO_API AUDIOSIGNAL TAVOAUDIO_CopyEx(TAVOAUDIO audio, uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return nullptr;
    TavoSelectionsCopy selections;
    {
        TavoDocReadLock lock(doc);
        if (!lock || !selections.take(doc)) return nullptr;
    }
    if (selections.list() == nullptr) return nullptr;
    return TAVOAUDIO_CopySelectionsEx(audio, selections.list(), flags, 0);
}
