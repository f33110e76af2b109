/*
** mixpaste.cpp: mixing another signal into a document (TAVOAUDIO_MixPaste,
** tavoedit.h).
**
** The source is added, sample by sample, to the document's audio from the
** cursor, or from the first selection's begin when there is one. The sum is
** made by the signal library on a working copy outside the document's locks
** (only the blocks under the mixed stretch are rewritten; the rest stays
** shared with the old signal, which becomes the undo step), and the copy is
** swapped in by the shared commit step (edit_p.h).
*/
#include <stdint.h>

#include "audioformat.h"
#include "audioops.h"
#include "audiosignal.h"
#include "edit/edit_p.h"
#include "frame/document_p.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavoselection.h"
#include "view/state_p.h"

namespace {

// Last error when the document stopped being editable, or its write lock
// was refused, after the mix was made (as for a paste).
constexpr uint32_t kErrorNoEditAccess = 12;

// `source` in the rate and channel count of `format`: the same signal (a new
// reference) when they match, else converted by the signal library's rule
// (same count kept, mono to every channel, many to mono as the average,
// otherwise channel by channel with silence for the missing ones). Knowing
// the converted length tells which frames the mix covers.
AUDIOSIGNAL inFormat(AUDIOSIGNAL source, const AUDIO_FORMAT &format, uint32_t *error)
{
    if (AUDIOSIGNAL_SampleRate(source) == format.sampleRate && AUDIOSIGNAL_NumChannels(source) == format.numChannels)
        return AUDIOSIGNAL_GetReference(source);
    return AUDIOSIGNAL_ConvertFormat(source, &format, error);
}

} // namespace

TAVO_API bool TAVOAUDIO_MixPaste(TAVOAUDIO audio, AUDIOSIGNAL source, const char *label)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || _TAVOAUDIO_Signal(doc) == nullptr || source == nullptr) return false;
    if (_TAVOEDIT_Guard(audio) == nullptr) return false;   // view state, no visual tool, editable

    TavoWorkingCopy work;
    TavoSelectionsCopy selections;
    int64_t position = 0;
    {
        TavoDocReadLock lock(doc);
        if (!lock || !work.make(_TAVOAUDIO_Signal(doc), 0)) return false;
        if (!selections.take(doc)) return false;
        position = doc->state->cursor;
    }
    if (!work.attach(doc)) return false;
    if (selections.list() != nullptr) position = TAVOSELECTION_GetBegin(audio, selections.list());

    uint32_t error = AUDIO_ERROR_NONE;
    AUDIOSIGNAL mixed = inFormat(source, AUDIOSIGNAL_GetFormat(work.copy()), &error);
    if (mixed == nullptr) {
        doc->lastError = _TranslateAudioSignalError(error);
        return false;
    }
    const int64_t frames = AUDIOSIGNAL_NumFrames(mixed);
    // Whole source, no fades, unit gain: a plain sum on the active
    // channels. Samples are floats in the library, so a sum beyond full
    // scale is stored as the signal's sample width stores it (clipped for
    // integer widths); the mix does not scale anything down by itself. The
    // signal grows with silence under the part of the source that runs past
    // its end.
    const bool ok =
        AUDIOSIGNAL_VisualPasteEx(work.copy(), mixed, nullptr, nullptr, position, 0, 0, 0, 0, 1.0, &error);
    AUDIOSIGNAL_Destroy(mixed);
    if (!ok) {
        doc->lastError = _TranslateAudioSignalError(error);
        return false;
    }

    TavoCommitHooks hooks;
    // The mixed stretch becomes the selection, as a paste selects what it
    // inserted; the view stays where it is (the commit's view correction
    // keeps it inside the signal).
    hooks.afterSwap = [position, frames](TAVOAUDIO a) {
        if (frames > 0) {
            TAVOAUDIO_SelectAudioEx(a, position, position + frames, -1, 6);
        }
        return true;
    };
    const TavoCommit done = _TAVOEDIT_Commit(audio, work, label != nullptr ? label : "Mix Paste", 1.0, hooks);
    if (done == TavoCommit::NoAccess) doc->lastError = kErrorNoEditAccess;
    return done == TavoCommit::Done;
}
