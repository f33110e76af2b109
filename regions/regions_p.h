/*
** regions_p.h: helpers shared by the region edit files (regionedit.cpp,
** regioncreate.cpp, regionfiles.cpp).
**
** Every region edit follows one shape: validate, decide (rules that refuse or
** make it a no-op), take the document's write lock waiting with one edit
** level (RegionEditAccess), record the undo step, change, push, release, and
** only then send events and notify (_TAVOREGIONS_After).
*/
#ifndef TAVO_REGIONS_P_H
#define TAVO_REGIONS_P_H

#include <stdint.h>

#include <functional>
#include <initializer_list>

#include "audioregion.h"
#include "audiosignal.h"
#include "frame/document_p.h"
#include "tavotypes.h"
#include "tavoundo.h"

/* The regions-changed bit of TAVOSTATE_NotifyChanges. */
#define TAVOREGIONS_CHANGE_BIT 0x2000u

/* Whether the region track `index` may be edited: a track whose unique id
** names an annotation track of the signal must not be read-only. Tracks that
** do not exist are not writable. */
bool _TAVOREGIONS_TrackWritable(AUDIOSIGNAL signal, int32_t index);

/* Whether the regions of track `index` may be deleted or merged as part of a
** selection: the track is not deleted, is writable, and a track other than 0
** is an annotation track of the signal that is visible. */
bool _TAVOREGIONS_TrackOpenForSelection(AUDIOSIGNAL signal, int32_t index);

/* A region's bounds in frames of `signal` (rounded to the nearest frame). */
int64_t _TAVOREGIONS_BeginFrame(AUDIOSIGNAL signal, AUDIOREGION region);
int64_t _TAVOREGIONS_EndFrame(AUDIOSIGNAL signal, AUDIOREGION region);

/* Frames to seconds of the signal's format. */
double _TAVOREGIONS_Seconds(AUDIOSIGNAL signal, int64_t frame);

/* Releases the focus reference, whatever region it names. Call with the
** write lock held. */
void _TAVOREGIONS_DropFocus(struct TavoDocument *doc);

/* Drops the state's focus / highlight reference when it names `region`
** (same identity). Call with the write lock held. True when one was dropped. */
bool _TAVOREGIONS_DropFocusIf(struct TavoDocument *doc, AUDIOREGION region);
bool _TAVOREGIONS_DropHighlightIf(struct TavoDocument *doc, AUDIOREGION region);

/* The write lock, waiting, plus one edit level for a block (the signal
** library must not see readers while regions change, and nested change
** notifications stay silent until the edit ends). */
class RegionEditAccess {
public:
    explicit RegionEditAccess(struct TavoDocument *doc);
    ~RegionEditAccess() { release(); }
    RegionEditAccess(const RegionEditAccess &) = delete;
    RegionEditAccess &operator=(const RegionEditAccess &) = delete;
    explicit operator bool() const { return m_held; }
    void release();

private:
    struct TavoDocument *m_doc;
    bool m_held = false;
};

/* The end of every region edit, with no lock held: TAVOAUDIO_EXTERNAL_REGION_CHANGED
** (arg1: `region`, may be null) when `external`, then the regions-changed
** notification. */
void _TAVOREGIONS_After(struct TavoDocument *doc, bool external, AUDIOREGION region);

/* Runs one change as an undo step `label`: records the region tracks
** `tracks` (indices; negative ones are skipped) and then the regions
** `regions`, calls `change` under RegionEditAccess, pushes the step when the
** change succeeded (drops it otherwise), releases, then sends the
** external-region event (when any of the regions lies on a track linked to a
** region file, before or after the change) and notifies. 1 when the change
** and the push succeeded, else 0. */
int32_t _TAVOREGIONS_Edit(struct TavoDocument *doc, std::initializer_list<AUDIOREGION> regions,
                          std::initializer_list<int32_t> tracks, const char *label,
                          const std::function<bool(AUDIOSIGNAL)> &change);

/* Takes back what a step recorded so far (runs it) and destroys it, for
** multi-region edits that fail half-way: the regions are as they were and
** neither an undo nor a redo step stays. Call with the write lock held. */
void _TAVOREGIONS_Rollback(struct TavoDocument *doc, TAVOUNDOSCRIPT script);

#endif
