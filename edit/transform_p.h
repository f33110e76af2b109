/*
** transform_p.h: helpers shared by the sample transforms, the trims and the
** format changes (edit/transform*.cpp, edit/trim.cpp, edit/format.cpp).
**
** They sit on top of the copy-then-swap core (edit_p.h): every helper here
** works on a TavoWorkingCopy made under read access and hands it to
** _TAVOEDIT_Commit, so none of them writes to the document's own signal.
*/
#ifndef TAVO_TRANSFORM_P_H
#define TAVO_TRANSFORM_P_H

#include <stdint.h>

#include <functional>
#include <utility>
#include <vector>

#include "audiosignal.h"
#include "edit/edit_p.h"
#include "tavotypes.h"

struct TavoDocument;

/* A change of the frames [begin, end) of the working copy; true on success. */
using TavoRangeEdit = std::function<bool(AUDIOSIGNAL copy, int64_t begin, int64_t end)>;

/* A frame range [begin, end). */
using TavoFrameRange = std::pair<int64_t, int64_t>;

/* The document record when a signal-changing command may start: a live
** document with a signal and a view state and no visual tool shown; null
** otherwise. The editable flag is left to the commit step, which checks it
** under the write lock. */
struct TavoDocument *_TAVOEDIT_TransformTarget(TAVOAUDIO audio);

/* The frame ranges of a selection list, in list order (seconds converted at
** the document's rate). Empty for a null list. */
std::vector<TavoFrameRange> _TAVOEDIT_SelectionRanges(TAVOAUDIO audio, const TAVOSELECTION *list);

/* The selection-effect pattern: read access, working copy with the document
** as parent, the ranges of `selections` (null: a copy of the document's
** list; the whole signal 0..end when the document has none), `edit` on each
** in list order (the first failure discards everything), then the commit
** with `label` and a time factor of 1. True when the new signal is in. */
bool _TAVOEDIT_ApplyToSelections(TAVOAUDIO audio, const TAVOSELECTION *selections, const char *label,
                                 const TavoRangeEdit &edit);

/* The same on the whole signal only. */
bool _TAVOEDIT_ApplyToWholeSignal(TAVOAUDIO audio, const char *label, const TavoRangeEdit &edit);

/* Replaces the document's signal by the result of the effect text `effect`
** (AUDIOSIGNAL_ApplyTransformEx2) in one undo step `label`. Resets the last
** error first; on a refused effect stores the translated signal-library
** error as the last error and leaves the document as it was. The view,
** zoom limits, cursor and selections follow the reported time factor. */
bool _TAVOEDIT_ApplyEffectText(TAVOAUDIO audio, const char *effect, const char *label);

/* The options and smoothing time of AUDIOSIGNAL_ClearEx for joins made by
** removing audio, from "libtavo.editoptions.smoothboundaries" and
** "libtavo.editoptions.smoothduration" (the rule the clear command uses). */
uint32_t _TAVOEDIT_ClearOptions(double *smoothSeconds);

#endif
