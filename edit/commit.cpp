/*
** commit.cpp: the copy-then-swap core of the edit commands (edit_p.h).
*/
#include "edit/edit_p.h"

#include <algorithm>

#include "frame/document_p.h"
#include "frame/lifecycle_p.h"
#include "view/state_p.h"
#include "tavoaudio.h"
#include "tavoselection.h"
#include "tavostate.h"
#include "tavoundo.h"

TavoDocument *_TAVOEDIT_Guard(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || _TAVOAUDIO_Signal(doc) == nullptr || doc->state == nullptr) return nullptr;
    if (_TAVOEDIT_VisualToolActive(doc)) return nullptr;
    if ((doc->flags & TAVOAUDIO_FLAG_EDITABLE) == 0) return nullptr;
    return doc;
}

bool _TAVOEDIT_VisualToolActive(const TavoDocument *doc)
{
    return doc->state != nullptr && doc->state->visualToolKind != 0;
}

bool TavoWorkingCopy::make(AUDIOSIGNAL signal, uint32_t flags)
{
    discard();
    if (signal == nullptr) return false;
    m_copy = AUDIOSIGNAL_DuplicateEx(signal, flags);
    m_reference = AUDIOSIGNAL_GetReference(signal);
    if (m_copy == nullptr || m_reference == nullptr) {
        discard();
        return false;
    }
    return true;
}

bool TavoWorkingCopy::adopt(AUDIOSIGNAL signal, AUDIOSIGNAL original)
{
    discard();
    m_copy = signal;
    m_reference = original != nullptr ? AUDIOSIGNAL_GetReference(original) : nullptr;
    if (m_copy == nullptr || m_reference == nullptr) {
        discard();
        return false;
    }
    return true;
}

bool TavoWorkingCopy::attach(TavoDocument *doc, void *parent)
{
    if (m_copy == nullptr) return false;
    // A caller-given parent receives the copy's notifications with no
    // callback of ours: the document's callback only knows documents.
    if (parent != nullptr && parent != doc) return AUDIOSIGNAL_SetParentObject(m_copy, parent, nullptr);
    return AUDIOSIGNAL_SetParentObject(m_copy, doc, _TAVOAUDIO_SignalCallback);
}

void TavoWorkingCopy::discard()
{
    if (m_copy != nullptr) {
        AUDIOSIGNAL_SetParentObject(m_copy, nullptr, nullptr);
        AUDIOSIGNAL_DestroyEx(&m_copy);
    }
    if (m_reference != nullptr) AUDIOSIGNAL_DestroyEx(&m_reference);
}

void TavoWorkingCopy::release(AUDIOSIGNAL *copy, AUDIOSIGNAL *reference)
{
    *copy = m_copy;
    *reference = m_reference;
    m_copy = nullptr;
    m_reference = nullptr;
}

TavoSelectionsCopy::~TavoSelectionsCopy()
{
    if (m_state != nullptr) TAVOSTATE_Destroy(m_state);
}

bool TavoSelectionsCopy::take(TavoDocument *doc)
{
    if (m_state != nullptr) TAVOSTATE_Destroy(m_state);
    m_state = TAVOSTATE_CreateCopy(doc->state);
    return m_state != nullptr;
}

const TAVOSELECTION *TavoSelectionsCopy::list() const
{
    return m_state != nullptr ? m_state->selections : nullptr;
}

int32_t TavoSelectionsCopy::count() const
{
    return TAVOSTATE_CountSelections(list());
}

void _TAVOEDIT_CorrectView(TavoDocument *doc, double timeFactor)
{
    TavoState *state = doc->state;
    const int64_t frames = AUDIOSIGNAL_NumFrames(doc->signal);
    TAVOSTATE_AdjustViewEx(state, frames, 1.0);
    // A signal of a handful of frames shown in a view shorter than it would
    // be a blank area: show it whole.
    if (frames > 0 && frames <= 4 && state->viewEnd - state->viewBegin <= 3) {
        state->viewBegin = 0;
        state->viewEnd = frames;
    }
    if (timeFactor != 1.0 && timeFactor > 0.0)
        state->cursor = static_cast<int64_t>(static_cast<double>(state->cursor) * timeFactor);
    state->cursor = std::clamp<int64_t>(state->cursor, 0, std::max<int64_t>(frames, 0));
    state->numFrames = frames;
}

TavoCommit _TAVOEDIT_Commit(TAVOAUDIO audio, TavoWorkingCopy &work, const char *label, double timeFactor,
                            const TavoCommitHooks &hooks, bool *hookResult)
{
    if (hookResult != nullptr) *hookResult = false;
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || work.copy() == nullptr) {
        work.discard();
        return TavoCommit::NoAccess;
    }
    // Edit access checks the editable flag again (it may have been cleared
    // while the copy was worked on), waits for the write lock and raises the
    // edit depth, which keeps notifications silent until the end.
    if (!TAVOAUDIO_GetEditAccessEx(audio, false)) {
        work.discard();
        return TavoCommit::NoAccess;
    }
    TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(audio, label, doc->state);
    // The replace-signal operation takes a reference of its own to the old
    // signal.
    bool ok = script != nullptr && TAVOUNDO_ReplaceSignal(script, work.reference());
    if (ok) ok = TAVOUNDO_PushUndoScript(audio, script);
    if (!ok) {
        if (script != nullptr) TAVOUNDO_DestroyUndoScript(audio, script);
        work.discard();
        TAVOAUDIO_ReleaseEditAccess(audio);
        return TavoCommit::UndoFailed;
    }
    if (hooks.beforeSwap) hooks.beforeSwap(audio);

    AUDIOSIGNAL copy = nullptr, reference = nullptr;
    work.release(&copy, &reference);
    AUDIOSIGNAL old = _TAVOAUDIO_AttachSignal(doc, copy);
    // Destroyed after the signal mutex: the undo step keeps its own
    // reference, so the samples live on there.
    if (old != nullptr) AUDIOSIGNAL_Destroy(old);
    AUDIOSIGNAL_DestroyEx(&reference);

    const bool result = hooks.afterSwap ? hooks.afterSwap(audio) : true;
    if (hookResult != nullptr) *hookResult = result;
    _TAVOEDIT_CorrectView(doc, timeFactor);
    TAVOAUDIO_ReleaseEditAccess(audio);
    TAVOSTATE_NotifyChanges(audio, 1, TAVOAUDIO_CHANGES_ALL);
    return TavoCommit::Done;
}
