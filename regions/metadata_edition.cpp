// metadata_edition.cpp: the metadata edition (many setter calls, one undo
// step) and the whole-object tag operations, each an undo step of its own.
//
// Every undo step here records the tags as a whole (a duplicate of the
// metadata object, binary fields and artwork included), so undoing puts the
// object back exactly, including "no metadata at all".

#include <cstdlib>
#include <vector>

#include "regions/metadata_p.h"

#include "audiofile.h"
#include "tavoaudio.h"
#include "tavometadata.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "tavoundo.h"

namespace {

constexpr const char *kChangeMetadata = "Change Metadata";
constexpr const char *kRemoveMetadata = "Remove Metadata";
constexpr const char *kClearArtwork = "Clear Artwork";
constexpr const char *kChangeArtwork = "Change Artwork";

// What the change of a whole-object step did.
enum class Outcome {
    Failed,     // refused or failed; the tags are as they were, last error set
    Unchanged,  // nothing to do: success without an undo step
    Changed,    // the tags changed: the step is pushed
};

using Change = std::function<Outcome(TavoDocument *, AUDIOSIGNAL)>;

// Edit access (editable flag, write lock waiting, edit depth) for a block;
// release() ends it early so that events go out without it.
class EditAccess {
public:
    explicit EditAccess(TAVOAUDIO audio) : m_audio(audio) { m_held = TAVOAUDIO_GetEditAccessEx(audio, false); }
    ~EditAccess() { release(); }
    EditAccess(const EditAccess &) = delete;
    EditAccess &operator=(const EditAccess &) = delete;
    explicit operator bool() const { return m_held; }
    void release()
    {
        if (m_held) TAVOAUDIO_ReleaseEditAccess(m_audio);
        m_held = false;
    }

private:
    TAVOAUDIO m_audio;
    bool m_held = false;
};

// Tells the host about tags changed by a step or an edition. Call with no
// lock held.
void notifyChanged(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return;
    _TAVOAUDIO_Send(doc, TAVOAUDIO_METADATA_CHANGED, AUDIOSIGNAL_Metadata(_TAVOAUDIO_Signal(doc)), nullptr, nullptr);
    // The undo menu and the document's "changed" mark follow the new step.
    TAVOSTATE_NotifyChanges(audio, 1, 0);
}

// One whole-object step: edit access (waiting, which also raises the edit
// depth), an undo script holding the present tags, `change`, push; edit
// access released; then the events. A push that fails takes the change back
// by running the script, so the tags never change without their step.
int32_t runWholeStep(TAVOAUDIO audio, const char *label, const Change &change)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = _TAVOMETADATA_GuardWhole(audio, &signal);
    if (doc == nullptr) return 0;
    EditAccess access(audio);
    if (!access) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_READ_ONLY);
    // Read again under the lock: an edit may have swapped the signal while
    // this call waited.
    signal = _TAVOAUDIO_Signal(doc);
    Outcome outcome = Outcome::Failed;
    TAVOUNDOSCRIPT script = signal != nullptr ? TAVOUNDO_CreateUndoScript(audio, label, doc->state) : nullptr;
    // Inside an open undo group the script is the group: its push is the
    // group's business, and it is never destroyed or run here.
    const bool inGroup = script != nullptr && script == doc->pendingGroup;
    if (script == nullptr || !TAVOUNDO_AddRevertMetaData(script, signal)) {
        _TAVOMETADATA_Fail(doc, signal == nullptr ? AUDIO_ERROR_EMPTY : AUDIO_ERROR_OUT_OF_MEMORY);
    } else {
        outcome = change(doc, signal);
        if (outcome == Outcome::Changed && !TAVOUNDO_PushUndoScript(audio, script)) {
            TAVOUNDO_ExecuteUndoScript(audio, script);
            _TAVOMETADATA_Fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);
            outcome = Outcome::Failed;
        } else if (outcome == Outcome::Changed) {
            script = nullptr;   // the stack owns it now
        }
    }
    if (script != nullptr && !inGroup) TAVOUNDO_DestroyUndoScript(audio, script);
    access.release();
    if (outcome == Outcome::Changed) notifyChanged(audio);
    return outcome == Outcome::Failed ? 0 : 1;
}

// Puts the tags recorded in `before` back (null: the signal had none).
void restoreTags(AUDIOSIGNAL signal, AUDIOMETADATA before)
{
    if (before != nullptr) AUDIOSIGNAL_ReplaceMetadata(signal, before);
    else AUDIOSIGNAL_RemoveMetadata(signal);
}

// The copy of a combine: the single-value fields of `source` that differ
// from the signal's go through TAVOAUDIO_SetBinaryMetaData inside an edition
// opened for the purpose, which counts them. Call with edit access held.
Outcome combineInto(TAVOAUDIO audio, TavoDocument *doc, AUDIOSIGNAL signal, AUDIOMETADATA source)
{
    int32_t count = 0;
    char **names = AUDIOMETADATA_CopyFieldNames(source, &count);
    if (names == nullptr) {
        _TAVOMETADATA_Fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);
        return Outcome::Failed;
    }
    // Kept for taking a half-done combine back; the undo step cannot be run
    // for that when it is an open group (it would undo the whole group).
    AUDIOMETADATA current = AUDIOSIGNAL_Metadata(signal);
    AUDIOMETADATA before = current != nullptr ? AUDIOMETADATA_DuplicateEx(current, AUDIOMETADATA_DUPLICATE_BINARY)
                                              : nullptr;
    bool failed = current != nullptr && before == nullptr;
    if (failed) _TAVOMETADATA_Fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);

    doc->metadataEditionOpen = true;
    doc->metadataEditionChanges = 0;
    std::vector<unsigned char> value;
    for (int32_t i = 0; i < count && !failed; ++i) {
        const char *name = names[i];
        if (AUDIOMETADATA_IsMixedDataField(source, name)) continue;
        // A signal without metadata differs in every field of the source.
        AUDIOMETADATA present = AUDIOSIGNAL_Metadata(signal);
        if (present != nullptr && AUDIOMETADATA_CompareField(present, source, name)) continue;
        const int64_t length = AUDIOMETADATA_CopyBinaryMetaData(source, name, nullptr, 0);
        if (length < 0) continue;
        value.assign(static_cast<size_t>(length) + 1, 0);
        AUDIOMETADATA_CopyBinaryMetaData(source, name, value.data(), length);
        failed = TAVOAUDIO_SetBinaryMetaData(audio, name, value.data(), length) == 0;
    }
    const int32_t changes = doc->metadataEditionChanges;
    doc->metadataEditionOpen = false;
    doc->metadataEditionChanges = 0;
    std::free(names);

    if (failed && changes > 0) restoreTags(signal, before);
    if (before != nullptr) AUDIOMETADATA_Destroy(before);
    if (failed) return Outcome::Failed;
    return changes > 0 ? Outcome::Changed : Outcome::Unchanged;
}

}  // namespace

TavoDocument *_TAVOMETADATA_GuardWhole(TAVOAUDIO audio, AUDIOSIGNAL *signal)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return nullptr;
    *signal = _TAVOAUDIO_Signal(doc);
    if (*signal == nullptr) {
        _TAVOMETADATA_Fail(doc, AUDIO_ERROR_EMPTY);
        return nullptr;
    }
    // An open edition owns the tags until it ends: a whole-object step in
    // the middle would land inside the edition's undo step.
    if (doc->metadataEditionOpen) {
        _TAVOMETADATA_Fail(doc, AUDIO_ERROR_BUSY);
        return nullptr;
    }
    // Undo steps are recorded under edit access, which a document without
    // the editable flag refuses: such a document records no undo.
    if ((doc->flags & TAVOAUDIO_FLAG_EDITABLE) == 0) {
        _TAVOMETADATA_Fail(doc, AUDIO_ERROR_READ_ONLY);
        return nullptr;
    }
    return doc;
}

extern "C" {

// ---- metadata edition --------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_BeginMetadataEdition(TAVOAUDIO audio, const char *label)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    if (doc->metadataEditionOpen) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_BUSY);
    TavoDocWriteLock lock(doc);
    if (!lock) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_BUSY);
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_EMPTY);
    TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(audio, label != nullptr ? label : kChangeMetadata, doc->state);
    if (script == nullptr) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);
    const bool inGroup = script == doc->pendingGroup;
    if (!TAVOUNDO_AddRevertMetaData(script, signal)) {
        if (!inGroup) TAVOUNDO_DestroyUndoScript(audio, script);
        return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);
    }
    doc->metadataEditionOpen = true;
    doc->metadataEditionChanges = 0;
    // Inside an open undo group the edition records into the group, which
    // its opener pushes; the edition then owns no script (and the teardown
    // must not destroy the group through this field).
    doc->metadataEditionScript = inGroup ? nullptr : script;
    return 1;
}

TAVO_API int32_t TAVOAUDIO_EndMetadataEdition(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    if (!doc->metadataEditionOpen) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
    TavoDocWriteLock lock(doc);
    if (!lock) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_BUSY);
    TAVOUNDOSCRIPT script = doc->metadataEditionScript;
    const int32_t changes = doc->metadataEditionChanges;
    doc->metadataEditionOpen = false;
    doc->metadataEditionChanges = 0;
    doc->metadataEditionScript = nullptr;
    bool pushed = true;
    if (script != nullptr) {
        // An edition that changed nothing leaves no undo step.
        pushed = changes > 0 && TAVOUNDO_PushUndoScript(audio, script);
        if (!pushed) TAVOUNDO_DestroyUndoScript(audio, script);
    }
    lock.release();
    if (changes > 0) notifyChanged(audio);
    if (changes > 0 && !pushed) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);
    return 1;
}

// ---- artwork ----------------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_SetArtwork(TAVOAUDIO audio, const void *image, int64_t size, const char *mimeType)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    const auto set = [image, size, mimeType](AUDIOMETADATA metadata) {
        return AUDIOMETADATA_SetArtwork(metadata, image, size, mimeType);
    };
    // Inside an edition the artwork is one more change of the edition's step.
    if (doc->metadataEditionOpen) {
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (signal == nullptr) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_EMPTY);
        if (!_TAVOMETADATA_Apply(doc, signal, set)) return 0;
        _TAVOMETADATA_NoteChange(doc, signal);
        return 1;
    }
    // Outside one it is a step of its own: an image is too large a change to
    // be taken back only by a host that thought of an edition.
    return runWholeStep(audio, kChangeArtwork, [&set](TavoDocument *target, AUDIOSIGNAL signal) {
        return _TAVOMETADATA_Apply(target, signal, set) ? Outcome::Changed : Outcome::Failed;
    });
}

TAVO_API int32_t TAVOAUDIO_ClearArtwork(TAVOAUDIO audio)
{
    return runWholeStep(audio, kClearArtwork, [](TavoDocument *doc, AUDIOSIGNAL signal) {
        AUDIOMETADATA metadata = AUDIOSIGNAL_Metadata(signal);
        if (!AUDIOMETADATA_HasArtwork(metadata)) return Outcome::Unchanged;
        if (AUDIOMETADATA_ClearArtwork(metadata)) return Outcome::Changed;
        _TAVOMETADATA_Fail(doc, AUDIOSIGNAL_IsReadOnly(signal) ? AUDIO_ERROR_READ_ONLY : AUDIO_ERROR_METADATA);
        return Outcome::Failed;
    });
}

// ---- whole-object operations -------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_ReplaceMetaData(TAVOAUDIO audio, AUDIOMETADATA metadata, const char *label)
{
    return runWholeStep(audio, label != nullptr ? label : kChangeMetadata,
                        [metadata](TavoDocument *doc, AUDIOSIGNAL signal) {
                            if (AUDIOSIGNAL_ReplaceMetadata(signal, metadata)) return Outcome::Changed;
                            _TAVOMETADATA_Fail(doc, AUDIOSIGNAL_IsReadOnly(signal) ? AUDIO_ERROR_READ_ONLY
                                                                                   : AUDIO_ERROR_OUT_OF_MEMORY);
                            return Outcome::Failed;
                        });
}

TAVO_API int32_t TAVOAUDIO_CombineMetaData(TAVOAUDIO audio, AUDIOMETADATA metadata, const char *label)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    if (metadata == nullptr) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
    return runWholeStep(audio, label != nullptr ? label : kChangeMetadata,
                        [audio, metadata](TavoDocument *target, AUDIOSIGNAL signal) {
                            // A source without fields has nothing to give.
                            if (AUDIOMETADATA_NumFields(metadata) == 0) return Outcome::Unchanged;
                            return combineInto(audio, target, signal, metadata);
                        });
}

TAVO_API int32_t TAVOAUDIO_RemoveAllMetadata(TAVOAUDIO audio, const char *label)
{
    return runWholeStep(audio, label != nullptr ? label : kRemoveMetadata, [](TavoDocument *doc, AUDIOSIGNAL signal) {
        if (AUDIOSIGNAL_Metadata(signal) == nullptr) return Outcome::Unchanged;
        if (AUDIOSIGNAL_RemoveMetadata(signal)) return Outcome::Changed;
        _TAVOMETADATA_Fail(doc, AUDIO_ERROR_READ_ONLY);
        return Outcome::Failed;
    });
}

}  // extern "C"
