/*
** edit_p.h: the copy-then-swap core that every signal-changing edit command
** shares.
**
** An edit never changes the document's signal in place. It works on a
** duplicate made under read access (readers such as drawing and playback go
** on meanwhile), then takes edit access (editable flag + write lock + edit
** depth) for one short step: push an undo script holding a reference to the
** old signal, swap the finished duplicate in, move view, cursor and
** selections. The change notification goes out after the lock is released.
** A refusal at any point destroys the duplicate and leaves the document as
** it was.
*/
#ifndef TAVO_EDIT_P_H
#define TAVO_EDIT_P_H

#include <stdint.h>

#include <functional>

#include "audiosignal.h"
#include "tavotypes.h"

struct TavoDocument;

/* The record behind `audio` when an edit may start on it: a live document
** with a signal and a view state, no visual tool active and the editable
** flag set; null otherwise (no last error is set). */
struct TavoDocument *_TAVOEDIT_Guard(TAVOAUDIO audio);

/* Whether a visual tool is shown on the document (edits are refused then). */
bool _TAVOEDIT_VisualToolActive(const struct TavoDocument *doc);

/* A duplicate of the document's signal and a counted reference to the
** original, both owned by this record until commit or destruction. */
class TavoWorkingCopy {
public:
    TavoWorkingCopy() = default;
    ~TavoWorkingCopy() { discard(); }
    TavoWorkingCopy(const TavoWorkingCopy &) = delete;
    TavoWorkingCopy &operator=(const TavoWorkingCopy &) = delete;

    /* Duplicates `signal` with `flags` and takes a reference to it. Call with
    ** read access held. False (and nothing held) when either fails. */
    bool make(AUDIOSIGNAL signal, uint32_t flags);
    /* Takes `signal` (already made, e.g. by an effect) as the copy and a
    ** reference to `original`. On failure `signal` is destroyed. */
    bool adopt(AUDIOSIGNAL signal, AUDIOSIGNAL original);
    /* Makes `parent` (the document when null) the copy's parent object. */
    bool attach(struct TavoDocument *doc, void *parent = nullptr);
    void discard();

    AUDIOSIGNAL copy() const { return m_copy; }
    AUDIOSIGNAL reference() const { return m_reference; }
    /* Hands both handles over (the commit does this). */
    void release(AUDIOSIGNAL *copy, AUDIOSIGNAL *reference);

private:
    AUDIOSIGNAL m_copy = nullptr;
    AUDIOSIGNAL m_reference = nullptr;
};

/* A private copy of the document's selection list, freed with the record. */
class TavoSelectionsCopy {
public:
    TavoSelectionsCopy() = default;
    ~TavoSelectionsCopy();
    TavoSelectionsCopy(const TavoSelectionsCopy &) = delete;
    TavoSelectionsCopy &operator=(const TavoSelectionsCopy &) = delete;

    /* Copies the document's selections. Call with read access held. */
    bool take(struct TavoDocument *doc);
    /* The copied list (null when the document had no selection). */
    const TAVOSELECTION *list() const;
    int32_t count() const;

private:
    TAVOSTATE m_state = nullptr;
};

/* What the commit step did. */
enum class TavoCommit {
    Done,           /* swapped, undo pushed, notification sent */
    NoAccess,       /* not editable any more, or the write lock refused */
    UndoFailed,     /* the undo script could not be made, filled or pushed */
};

/* Hooks run under edit access: `beforeSwap` after the undo push and before
** the new signal is installed (cut moves the view there), `afterSwap` after
** it (cursor, selections, view); afterSwap's result is handed back through
** `hookResult` (true when there is no hook). */
struct TavoCommitHooks {
    std::function<void(TAVOAUDIO)> beforeSwap;
    std::function<bool(TAVOAUDIO)> afterSwap;
};

/* The commit step: edit access (waiting), undo script `label` with a
** replace-signal operation on the old signal, push, swap, hooks, view
** correction with `timeFactor`, edit access released, then
** TAVOSTATE_NotifyChanges(audio, 1, TAVOAUDIO_CHANGES_ALL). The working copy
** is consumed in every case: installed, or destroyed on failure. */
TavoCommit _TAVOEDIT_Commit(TAVOAUDIO audio, TavoWorkingCopy &work, const char *label, double timeFactor,
                            const TavoCommitHooks &hooks = {}, bool *hookResult = nullptr);

/* The view correction after the signal's length changed: the view keeps its
** length inside the signal, a signal of at most 4 frames shown in a view of
** at most 3 frames is shown whole, and the cursor is scaled by `timeFactor`.
** Call with the write lock held. */
void _TAVOEDIT_CorrectView(struct TavoDocument *doc, double timeFactor);

/* Largest frame position: "to the end of the signal". */
#define TAVOEDIT_END_OF_SIGNAL INT64_MAX

#endif
