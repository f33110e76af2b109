/*
** regionquery_p.h: helpers shared by the region view files (regionquery.cpp,
** regionnav.cpp, regionselect.cpp).
**
** The view state's region references (focus, current, edit, highlight) are
** counted references taken when they are set. They are only touched on the
** UI thread, with the document's lock held (read or write): a getter that
** finds its region gone drops the reference on the spot.
*/
#ifndef TAVO_REGIONQUERY_P_H
#define TAVO_REGIONQUERY_P_H

#include <stdint.h>

#include "audioregion.h"
#include "frame/document_p.h"
#include "view/state_p.h"

/* Change bit of every region change (the regions-changed bit of the view). */
#define TAVOREGIONVIEW_CHANGED 0x2000u

/* The live document behind `audio` with a view state and a signal, or null. */
struct TavoDocument *_TAVOREGIONVIEW_Document(TAVOAUDIO audio);

/* The search option of the state, as the signal's searches take it. */
uint32_t _TAVOREGIONVIEW_SearchOption(const struct TavoState *state);

/* Whether `region` is a region of `signal` (deleted ones included). */
bool _TAVOREGIONVIEW_InSignal(AUDIOSIGNAL signal, AUDIOREGION region);

/* Whether `region` is in `signal`, not deleted. */
bool _TAVOREGIONVIEW_IsLive(AUDIOSIGNAL signal, AUDIOREGION region);

/* The region a state reference stands for in `signal`, or null. A reference
** to a region that was deleted or left the signal is disposed of and the
** slot cleared. A reference into an older copy of the signal (an edit swaps
** in a working copy whose regions keep their identities) is moved to the
** region of the same identity in `signal`. Call with the document's lock
** held. */
AUDIOREGION _TAVOREGIONVIEW_Resolve(AUDIOSIGNAL signal, AUDIOREGION *slot);

/* Replaces the reference in `slot` by a new one to `region` (null: none).
** Returns the old reference for the caller to dispose of (after it has sent
** its events), or null. */
AUDIOREGION _TAVOREGIONVIEW_Exchange(AUDIOREGION *slot, AUDIOREGION region);

/* Whether `label` contains `text`, ASCII letters compared without case. */
bool _TAVOREGIONVIEW_LabelContains(const char *label, const char *text);

/* Sends the regions-changed notification once the caller's change is done:
** deferred to the outermost selection write access when one is still held
** by this thread, otherwise sent now. */
void _TAVOREGIONVIEW_Notify(TAVOAUDIO audio);

#endif
