// tracks.cpp: the document's annotation tracks: adding, deleting, linking
// and changing them as undo steps, their view flags, the master track and
// the queries the interface asks before offering a command.
//
// Every change follows one shape: validate, take edit access, check the
// track's rules, record the track as it is (a copy in the undo step), change
// it, push the step, release, then tell the host. The copies make undo and
// redo exact: the signal library puts a track back from a copy whole, with
// its label, flags, properties and regions.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "audioregion.h"
#include "audiosignal.h"
#include "bldebug.h"
#include "frame/document_p.h"
#include "regions/tracks_p.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "tavotracks.h"
#include "tavoundo.h"
#include "view/state_p.h"

namespace {

// The regions change bit of the view state: track changes redraw the lanes.
constexpr uint32_t kRegionsChanged = 0x2000;

// Last-error texts (static: the document does not own them).
constexpr const char *kErrNotEditable = "The document cannot be edited";
constexpr const char *kErrNoSignal = "The document has no signal";
constexpr const char *kErrReadOnlySignal = "The signal is read-only";
constexpr const char *kErrUnknownTrack = "No annotation track has this id";
constexpr const char *kErrReadOnlyTrack = "The track is read-only";
constexpr const char *kErrMasterTrack = "The master track cannot be deleted";
constexpr const char *kErrTrackExists = "An annotation track with this id exists";
constexpr const char *kErrRefused = "The change was refused";
constexpr const char *kErrUndo = "The undo step could not be recorded";

bool failWith(TavoDocument *doc, const char *message)
{
    TAVOAUDIO_SetErrorMessage(doc, message);
    return false;
}

bool isMaster(const TavoDocument *doc, const char *uniqId)
{
    return uniqId != nullptr && uniqId[0] != '\0' && std::strcmp(doc->masterTrackId, uniqId) == 0;
}

int32_t regionIndexOf(AUDIOSIGNAL signal, AUDIOCUSTOMTRACK track)
{
    return AUDIOSIGNAL_FindRegionTrackIndex(signal, AUDIOCUSTOMTRACK_GetUniqId(track));
}

// Copies of tracks taken before a change that touches several of them, to
// put them back when the change fails half-way.
class TrackSnapshot {
public:
    explicit TrackSnapshot(AUDIOSIGNAL signal) : m_signal(signal) {}
    ~TrackSnapshot()
    {
        for (AUDIOREGIONTRACK copy : m_copies) AUDIOREGIONTRACK_Dispose(copy);
    }
    TrackSnapshot(const TrackSnapshot &) = delete;
    TrackSnapshot &operator=(const TrackSnapshot &) = delete;

    bool keep(int32_t index)
    {
        AUDIOREGIONTRACK copy = AUDIOREGIONTRACK_Copy(AUDIOSIGNAL_GetRegionTrack(m_signal, index));
        if (copy == nullptr) return false;
        m_copies.push_back(copy);
        return true;
    }
    void restore()
    {
        for (auto it = m_copies.rbegin(); it != m_copies.rend(); ++it) AUDIOSIGNAL_RestoreRegionTrack(m_signal, *it);
    }

private:
    AUDIOSIGNAL m_signal;
    std::vector<AUDIOREGIONTRACK> m_copies;
};

// Pushes `script`, or destroys it; false when the push failed (the caller
// then takes the change back).
bool pushStep(TAVOAUDIO audio, TAVOUNDOSCRIPT script)
{
    if (TAVOUNDO_PushUndoScript(audio, script)) return true;
    TAVOUNDO_DestroyUndoScript(audio, script);
    return false;
}

// One change of one track's saved properties as an undo step.
struct PropertyEdit {
    const char *undoLabel;
    bool recordAllTracks;   // the change touches other tracks as well
    std::function<bool(AUDIOCUSTOMTRACK)> alreadySo;
    std::function<bool(AUDIOSIGNAL, AUDIOCUSTOMTRACK)> apply;
};

int32_t editTrack(TAVOAUDIO audio, const char *uniqId, const PropertyEdit &edit)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || uniqId == nullptr) return 0;
    const std::string id = uniqId;
    {
        TavoTrackEditAccess access(audio);
        if (!access) return failWith(doc, kErrNotEditable);
        AUDIOSIGNAL signal = _TAVOTRACKS_WritableSignal(doc);
        if (signal == nullptr) return 0;
        AUDIOCUSTOMTRACK track = AUDIOSIGNAL_FindCustomTrack(signal, id.c_str());
        if (track == nullptr) return failWith(doc, kErrUnknownTrack);
        if (AUDIOCUSTOMTRACK_IsReadOnly(track)) return failWith(doc, kErrReadOnlyTrack);
        if (edit.alreadySo && edit.alreadySo(track)) return 1;

        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(audio, edit.undoLabel, doc->state);
        if (script == nullptr) return failWith(doc, kErrUndo);
        TrackSnapshot before(signal);
        const int32_t index = regionIndexOf(signal, track);
        bool recorded = edit.recordAllTracks ? TAVOUNDO_AddRevertAllTracks(script, signal)
                                             : TAVOUNDO_AddRevertTrack(script, signal, index);
        if (edit.recordAllTracks) {
            for (int32_t i = 0, n = AUDIOSIGNAL_NumRegionTracks(signal); i < n && recorded; ++i)
                recorded = before.keep(i);
        } else {
            recorded = recorded && before.keep(index);
        }
        if (!recorded) {
            TAVOUNDO_DestroyUndoScript(audio, script);
            return failWith(doc, kErrUndo);
        }
        if (!edit.apply(signal, track)) {
            // The signal refused the value and changed nothing.
            TAVOUNDO_DestroyUndoScript(audio, script);
            return failWith(doc, kErrRefused);
        }
        if (!pushStep(audio, script)) {
            before.restore();
            return failWith(doc, kErrUndo);
        }
    }
    _TAVOTRACKS_Changed(audio, id.c_str());
    return 1;
}

// Adds the channel tracks of channels [first, last] that are missing as one
// undo step labelled `undoLabel`. 1 when all exist afterwards.
int32_t addChannelTracks(TAVOAUDIO audio, int32_t first, int32_t last, const char *undoLabel)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    std::string changedId;
    int32_t added = 0;
    {
        TavoTrackEditAccess access(audio);
        if (!access) return failWith(doc, kErrNotEditable);
        AUDIOSIGNAL signal = _TAVOTRACKS_WritableSignal(doc);
        if (signal == nullptr) return 0;
        const int32_t channels = AUDIOSIGNAL_NumChannels(signal);
        if (last < 0) last = channels - 1;
        if (first < 0 || first > last || last >= channels) return failWith(doc, kErrRefused);

        // The missing channels are found first: a step is made only when
        // there is something to add.
        std::vector<int32_t> missing;
        for (int32_t channel = first; channel <= last; ++channel) {
            char id[32];
            if (!AUDIOSIGNAL_ChannelTrackUniqId(channel, id, sizeof id)) return failWith(doc, kErrRefused);
            if (AUDIOSIGNAL_FindCustomTrack(signal, id) == nullptr) missing.push_back(channel);
        }
        if (missing.empty()) return 1;
        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(audio, undoLabel, doc->state);
        if (script == nullptr) return failWith(doc, kErrUndo);
        TavoTrackBatch batch(signal, script);
        for (int32_t channel : missing) {
            char id[32];
            char label[32];
            AUDIOSIGNAL_ChannelTrackUniqId(channel, id, sizeof id);
            std::snprintf(label, sizeof label, "Channel %d", static_cast<int>(channel) + 1);
            if (batch.add(id, label, nullptr) == nullptr) {
                batch.rollback();
                TAVOUNDO_DestroyUndoScript(audio, script);
                return failWith(doc, kErrRefused);
            }
            changedId = id;
        }
        added = batch.count();
        if (!pushStep(audio, script)) {
            batch.rollback();
            return failWith(doc, kErrUndo);
        }
    }
    if (added > 0) _TAVOTRACKS_Changed(audio, added == 1 ? changedId.c_str() : nullptr);
    return 1;
}

// Runs `read` on the track under read access; `fallback` when it is absent.
template <typename T>
T readTrack(TAVOAUDIO audio, const char *uniqId, T fallback,
            const std::function<T(TavoDocument *, AUDIOSIGNAL, AUDIOCUSTOMTRACK)> &read)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || uniqId == nullptr) return fallback;
    TavoDocReadLock lock(doc);
    if (!lock) return fallback;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    AUDIOCUSTOMTRACK track = AUDIOSIGNAL_FindCustomTrack(signal, uniqId);
    if (track == nullptr) return fallback;
    return read(doc, signal, track);
}

bool flag(TAVOAUDIO audio, const char *uniqId, bool (*get)(AUDIOCUSTOMTRACK))
{
    return readTrack<bool>(audio, uniqId, false,
                           [get](TavoDocument *, AUDIOSIGNAL, AUDIOCUSTOMTRACK track) { return get(track); });
}

// Whether the user may change tracks of this document at all.
bool documentWritable(TavoDocument *doc, AUDIOSIGNAL signal)
{
    return (doc->flags & TAVOAUDIO_FLAG_EDITABLE) != 0 && signal != nullptr && !AUDIOSIGNAL_IsReadOnly(signal);
}

// Sets a view flag of the track under write access (no undo step).
bool setViewFlag(TAVOAUDIO audio, const char *uniqId, bool (*set)(AUDIOCUSTOMTRACK, bool), bool value)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || uniqId == nullptr) return false;
    {
        TavoDocWriteLock lock(doc);
        if (!lock) return false;
        AUDIOCUSTOMTRACK track = AUDIOSIGNAL_FindCustomTrack(_TAVOAUDIO_Signal(doc), uniqId);
        if (track == nullptr) return failWith(doc, kErrUnknownTrack);
        if (!set(track, value)) return false;
    }
    TAVOSTATE_NotifyChanges(audio, 0, kRegionsChanged);
    return true;
}

bool setVisible(TAVOAUDIO audio, const char *uniqId, bool visible)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || uniqId == nullptr) return false;
    const std::string id = uniqId;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return false;
        AUDIOCUSTOMTRACK track = AUDIOSIGNAL_FindCustomTrack(_TAVOAUDIO_Signal(doc), id.c_str());
        if (track == nullptr) return failWith(doc, kErrUnknownTrack);
        if (AUDIOCUSTOMTRACK_IsVisibleEx(track, 0) == visible) return true;
    }
    // Only news: the host may get ready to lay the lanes out again.
    _TAVOAUDIO_Send(doc, TAVOAUDIO_TRACK_VISIBILITY_WILL_CHANGE, const_cast<char *>(id.c_str()),
                    reinterpret_cast<void *>(static_cast<intptr_t>(visible ? 1 : 0)), nullptr);
    doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    {
        TavoDocWriteLock lock(doc);
        if (!lock) return false;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        AUDIOCUSTOMTRACK track = AUDIOSIGNAL_FindCustomTrack(signal, id.c_str());
        if (track == nullptr) return failWith(doc, kErrUnknownTrack);
        AUDIOCUSTOMTRACK_SetVisible(track, visible);
        // A region the user cannot see cannot keep the focus or its editor.
        if (!visible) _TAVOTRACKS_ReleaseRegionRefs(doc, regionIndexOf(signal, track), false);
    }
    TAVOSTATE_NotifyChanges(audio, 0, kRegionsChanged);
    return true;
}

// The channel (0-based) of a channel track id, -1 for other ids.
int32_t channelOfId(const char *uniqId)
{
    int number = 0;
    int consumed = 0;
    if (uniqId == nullptr || std::sscanf(uniqId, "channel_%d_track%n", &number, &consumed) != 1) return -1;
    if (consumed == 0 || uniqId[consumed] != '\0' || number < 1) return -1;
    char canonical[32];
    // "channel_2_track" is not a channel track: the id has two digits at least.
    if (!AUDIOSIGNAL_ChannelTrackUniqId(number - 1, canonical, sizeof canonical)) return -1;
    return std::strcmp(canonical, uniqId) == 0 ? number - 1 : -1;
}

} // namespace

// ---- shared helpers -------------------------------------------------------------

TavoTrackEditAccess::TavoTrackEditAccess(TAVOAUDIO audio) : m_audio(audio)
{
    m_held = TAVOAUDIO_GetEditAccessEx(audio, false);
}

void TavoTrackEditAccess::release()
{
    if (m_held) TAVOAUDIO_ReleaseEditAccess(m_audio);
    m_held = false;
}

TavoTrackBatch::~TavoTrackBatch()
{
    for (Entry &entry : m_entries)
        if (entry.before != nullptr) AUDIOREGIONTRACK_Dispose(entry.before);
}

AUDIOCUSTOMTRACK TavoTrackBatch::add(const char *uniqId, const char *label, const char *linkedTo)
{
    if (m_script == nullptr) return nullptr;
    const bool named = uniqId != nullptr && uniqId[0] != '\0';
    // A null or empty id names track 0 in this lookup; only a named track can
    // be a deleted one coming back.
    const int32_t existing = named ? AUDIOSIGNAL_FindRegionTrackIndex(m_signal, uniqId) : -1;
    if (existing == 0) return nullptr;
    AUDIOREGIONTRACK before = nullptr;
    if (existing > 0) {
        // Recorded before the change: the revived track starts empty, undo
        // gives it back deleted with its regions.
        before = AUDIOREGIONTRACK_Copy(AUDIOSIGNAL_GetRegionTrack(m_signal, existing));
        if (before == nullptr || !TAVOUNDO_AddRevertTrack(m_script, m_signal, existing)) {
            if (before != nullptr) AUDIOREGIONTRACK_Dispose(before);
            return nullptr;
        }
    }
    AUDIOCUSTOMTRACK track = AUDIOSIGNAL_AddCustomTrack(m_signal, uniqId, label, linkedTo);
    if (track == nullptr) {
        if (before != nullptr) AUDIOREGIONTRACK_Dispose(before);
        return nullptr;
    }
    const std::string id = AUDIOCUSTOMTRACK_GetUniqId(track);
    if (before == nullptr && !TAVOUNDO_AddRevertCreateTrack(m_script, id.c_str())) {
        AUDIOSIGNAL_RemoveCustomTrack(m_signal, id.c_str(), AUDIOSIGNAL_DELETE_FOR_GOOD);
        return nullptr;
    }
    try {
        m_entries.push_back(Entry{id, before});
    } catch (...) {
        if (before != nullptr) {
            AUDIOSIGNAL_RestoreRegionTrack(m_signal, before);
            AUDIOREGIONTRACK_Dispose(before);
        } else {
            AUDIOSIGNAL_RemoveCustomTrack(m_signal, id.c_str(), AUDIOSIGNAL_DELETE_FOR_GOOD);
        }
        return nullptr;
    }
    return track;
}

void TavoTrackBatch::rollback()
{
    for (auto it = m_entries.rbegin(); it != m_entries.rend(); ++it) {
        if (it->before != nullptr) {
            AUDIOSIGNAL_RestoreRegionTrack(m_signal, it->before);
            AUDIOREGIONTRACK_Dispose(it->before);
        } else {
            AUDIOSIGNAL_RemoveCustomTrack(m_signal, it->id.c_str(), AUDIOSIGNAL_DELETE_FOR_GOOD);
        }
    }
    m_entries.clear();
}

AUDIOSIGNAL _TAVOTRACKS_WritableSignal(TavoDocument *doc)
{
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) {
        failWith(doc, kErrNoSignal);
        return nullptr;
    }
    if (AUDIOSIGNAL_IsReadOnly(signal)) {
        failWith(doc, kErrReadOnlySignal);
        return nullptr;
    }
    return signal;
}

void _TAVOTRACKS_Changed(TAVOAUDIO audio, const char *uniqId)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return;
    _TAVOAUDIO_Send(doc, TAVOAUDIO_CUSTOM_TRACKS_CHANGED, const_cast<char *>(uniqId), nullptr, nullptr);
    if (_TAVOAUDIO_Validate(audio) != nullptr) TAVOSTATE_NotifyChanges(audio, 0, kRegionsChanged);
}

void _TAVOTRACKS_ReleaseRegionRefs(TavoDocument *doc, int32_t index, bool current)
{
    if (doc->state == nullptr || index < 0) return;
    AUDIOREGION *refs[] = {&doc->state->focusRegion, &doc->state->editRegion, &doc->state->highlightRegion,
                           current ? &doc->state->currentRegion : nullptr};
    for (AUDIOREGION *ref : refs) {
        if (ref == nullptr || *ref == nullptr || AUDIOREGION_GetTrackIndex(*ref) != index) continue;
        AUDIOREGION_Dispose(*ref);
        *ref = nullptr;
    }
}

// ---- track operations -------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_AddCustomTrackEx(TAVOAUDIO audio, const char *uniqId, const char *label,
                                            const char *linkedTo, uint32_t flags, const char *undoLabel)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    std::string id;
    {
        TavoTrackEditAccess access(audio);
        if (!access) return failWith(doc, kErrNotEditable);
        AUDIOSIGNAL signal = _TAVOTRACKS_WritableSignal(doc);
        if (signal == nullptr) return 0;
        if (uniqId != nullptr && uniqId[0] != '\0' && AUDIOSIGNAL_FindCustomTrack(signal, uniqId) != nullptr)
            return failWith(doc, kErrTrackExists);
        TAVOUNDOSCRIPT script =
            TAVOUNDO_CreateUndoScript(audio, undoLabel != nullptr ? undoLabel : "Add Track", doc->state);
        if (script == nullptr) return failWith(doc, kErrUndo);
        TavoTrackBatch batch(signal, script);
        AUDIOCUSTOMTRACK track = batch.add(uniqId, label, linkedTo);
        if (track == nullptr) {
            TAVOUNDO_DestroyUndoScript(audio, script);
            return failWith(doc, kErrRefused);
        }
        // The flags belong to the new track's first state: undo removes the
        // track, redo brings it back with them.
        if ((flags & TAVOTRACK_FLAG_TEMPORARY) != 0) AUDIOCUSTOMTRACK_SetTemporary(track, true);
        if ((flags & TAVOTRACK_FLAG_READ_ONLY) != 0) AUDIOCUSTOMTRACK_SetReadOnly(track, true);
        if ((flags & TAVOTRACK_FLAG_HIDDEN) != 0) AUDIOCUSTOMTRACK_SetVisible(track, false);
        id = AUDIOCUSTOMTRACK_GetUniqId(track);
        if (!pushStep(audio, script)) {
            batch.rollback();
            return failWith(doc, kErrUndo);
        }
    }
    _TAVOTRACKS_Changed(audio, id.c_str());
    return 1;
}

TAVO_API int32_t TAVOAUDIO_RemoveCustomTrackEx(TAVOAUDIO audio, const char *uniqId)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || uniqId == nullptr) return 0;
    const std::string id = uniqId;
    int32_t regions = 0;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return 0;
        AUDIOCUSTOMTRACK track = AUDIOSIGNAL_FindCustomTrack(_TAVOAUDIO_Signal(doc), id.c_str());
        if (track == nullptr) return failWith(doc, kErrUnknownTrack);
        if (AUDIOCUSTOMTRACK_IsReadOnly(track)) return failWith(doc, kErrReadOnlyTrack);
        if (isMaster(doc, id.c_str())) return failWith(doc, kErrMasterTrack);
        regions = AUDIOREGIONTRACK_NumRegions(AUDIOCUSTOMTRACK_RegionTrack(track));
    }
    // The question goes out with no lock held; the track is looked up again
    // afterwards, as the handler may have changed the document.
    if (regions > 0 &&
        _TAVOAUDIO_Send(doc, TAVOAUDIO_CONFIRM_DELETE_TRACK_WITH_REGIONS, const_cast<char *>(id.c_str()),
                        reinterpret_cast<void *>(static_cast<intptr_t>(regions)), nullptr) == 0) {
        return failWith(doc, kErrRefused);
    }
    doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    {
        TavoTrackEditAccess access(audio);
        if (!access) return failWith(doc, kErrNotEditable);
        AUDIOSIGNAL signal = _TAVOTRACKS_WritableSignal(doc);
        if (signal == nullptr) return 0;
        AUDIOCUSTOMTRACK track = AUDIOSIGNAL_FindCustomTrack(signal, id.c_str());
        if (track == nullptr) return failWith(doc, kErrUnknownTrack);
        if (AUDIOCUSTOMTRACK_IsReadOnly(track)) return failWith(doc, kErrReadOnlyTrack);
        if (isMaster(doc, id.c_str())) return failWith(doc, kErrMasterTrack);
        const int32_t index = regionIndexOf(signal, track);

        // The tracks that follow this one lose their link with it; they are
        // recorded too, so undo links them again.
        std::vector<AUDIOCUSTOMTRACK> followers;
        for (int32_t i = 0, n = AUDIOSIGNAL_NumCustomTracks(signal); i < n; ++i) {
            AUDIOCUSTOMTRACK other = AUDIOSIGNAL_GetCustomTrack(signal, i);
            if (std::strcmp(AUDIOCUSTOMTRACK_GetLinkedTo(other), id.c_str()) == 0) followers.push_back(other);
        }
        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(audio, "Delete Track", doc->state);
        if (script == nullptr) return failWith(doc, kErrUndo);
        TrackSnapshot before(signal);
        bool ok = TAVOUNDO_AddRevertTrack(script, signal, index) && before.keep(index);
        for (AUDIOCUSTOMTRACK other : followers) {
            const int32_t at = regionIndexOf(signal, other);
            ok = ok && TAVOUNDO_AddRevertTrack(script, signal, at) && before.keep(at);
        }
        if (!ok) {
            TAVOUNDO_DestroyUndoScript(audio, script);
            return failWith(doc, kErrUndo);
        }
        for (AUDIOCUSTOMTRACK other : followers) ok = ok && AUDIOCUSTOMTRACK_SetLinkedTo(other, "");
        ok = ok && AUDIOSIGNAL_RemoveCustomTrack(signal, id.c_str(), 0);
        if (!ok) {
            before.restore();
            TAVOUNDO_DestroyUndoScript(audio, script);
            return failWith(doc, kErrRefused);
        }
        if (!pushStep(audio, script)) {
            before.restore();
            return failWith(doc, kErrUndo);
        }
        _TAVOTRACKS_ReleaseRegionRefs(doc, index, true);
    }
    _TAVOTRACKS_Changed(audio, id.c_str());
    return 1;
}

TAVO_API int32_t TAVOAUDIO_LinkCustomTrack(TAVOAUDIO audio, const char *uniqId, const char *linkedTo)
{
    if (linkedTo == nullptr || linkedTo[0] == '\0') return 0;
    const std::string target = linkedTo;
    PropertyEdit edit{"Link Track", false,
                      [&](AUDIOCUSTOMTRACK track) { return target == AUDIOCUSTOMTRACK_GetLinkedTo(track); },
                      [&](AUDIOSIGNAL, AUDIOCUSTOMTRACK track) {
                          return AUDIOCUSTOMTRACK_SetLinkedTo(track, target.c_str());
                      }};
    return editTrack(audio, uniqId, edit);
}

TAVO_API bool TAVOAUDIO_CanUnlinkCustomTrack(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<bool>(audio, uniqId, false, [](TavoDocument *doc, AUDIOSIGNAL signal, AUDIOCUSTOMTRACK track) {
        return documentWritable(doc, signal) && !AUDIOCUSTOMTRACK_IsReadOnly(track) &&
               AUDIOCUSTOMTRACK_GetLinkedTo(track)[0] != '\0';
    });
}

TAVO_API int32_t TAVOAUDIO_UnlinkCustomTrack(TAVOAUDIO audio, const char *uniqId)
{
    // An unlinked track has nothing to unlink: that is a refusal, not a no-op,
    // so that the command stays greyed out where CanUnlink says so.
    PropertyEdit edit{"Unlink Track", false, nullptr, [](AUDIOSIGNAL, AUDIOCUSTOMTRACK track) {
                          return AUDIOCUSTOMTRACK_GetLinkedTo(track)[0] != '\0' &&
                                 AUDIOCUSTOMTRACK_SetLinkedTo(track, "");
                      }};
    return editTrack(audio, uniqId, edit);
}

TAVO_API int32_t TAVOAUDIO_CreateChannelAnnotationTrack(TAVOAUDIO audio, int32_t channel)
{
    if (channel < 0) return 0;
    return addChannelTracks(audio, channel, channel, "Add Track");
}

TAVO_API int32_t TAVOAUDIO_CreateChannelsExtraTracks(TAVOAUDIO audio)
{
    return addChannelTracks(audio, 0, -1, "Create Channels Annotation Tracks");
}

TAVO_API int32_t TAVOAUDIO_SetTrackLabelEx(TAVOAUDIO audio, const char *uniqId, const char *label)
{
    // A lane without a name could not be told apart in the track menus.
    if (label == nullptr || label[0] == '\0') return 0;
    const std::string text = label;
    PropertyEdit edit{"Rename Track", false,
                      [&](AUDIOCUSTOMTRACK track) { return text == AUDIOCUSTOMTRACK_GetLabel(track); },
                      [&](AUDIOSIGNAL signal, AUDIOCUSTOMTRACK track) {
                          // Set directly: the rename-asking path would record a
                          // second undo step through the document's callback.
                          return AUDIOSIGNAL_SetRegionTrackLabel(signal, regionIndexOf(signal, track), text.c_str());
                      }};
    return editTrack(audio, uniqId, edit);
}

namespace {

// A property with a getter and a setter of the signal library, set to
// `value` as one undo step (no step when it already has that value).
template <typename T>
int32_t setValue(TAVOAUDIO audio, const char *uniqId, const char *undoLabel, bool recordAllTracks, T value,
                 T (*get)(AUDIOCUSTOMTRACK), bool (*set)(AUDIOCUSTOMTRACK, T))
{
    PropertyEdit edit{undoLabel, recordAllTracks, [=](AUDIOCUSTOMTRACK track) { return get(track) == value; },
                      [=](AUDIOSIGNAL, AUDIOCUSTOMTRACK track) { return set(track, value); }};
    return editTrack(audio, uniqId, edit);
}

}  // namespace

TAVO_API int32_t TAVOAUDIO_SetTrackAsGlobalDefault(TAVOAUDIO audio, const char *uniqId, bool use)
{
    // Taking the global default clears it on the other tracks: all are recorded.
    return setValue(audio, uniqId, "Use Linked Properties", true, use, AUDIOCUSTOMTRACK_GetUseAsGlobalDefault,
                    AUDIOCUSTOMTRACK_SetUseAsGlobalDefault);
}

TAVO_API int32_t TAVOAUDIO_SetTrackUseAsLinkedDefault(TAVOAUDIO audio, const char *uniqId, bool use)
{
    return setValue(audio, uniqId, "Use Linked Properties", false, use, AUDIOCUSTOMTRACK_GetUseAsLinkedDefault,
                    AUDIOCUSTOMTRACK_SetUseAsLinkedDefault);
}

TAVO_API int32_t TAVOAUDIO_SetTrackFontSize(TAVOAUDIO audio, const char *uniqId, float size)
{
    return setValue(audio, uniqId, "Set Track Font Size", false, size, AUDIOCUSTOMTRACK_GetFontSize,
                    AUDIOCUSTOMTRACK_SetFontSize);
}

TAVO_API int32_t TAVOAUDIO_SetTrackNumberOfLines(TAVOAUDIO audio, const char *uniqId, int32_t lines)
{
    return setValue(audio, uniqId, "Set Track Number of Lines", false, lines, AUDIOCUSTOMTRACK_GetNumberOfLines,
                    AUDIOCUSTOMTRACK_SetNumberOfLines);
}

TAVO_API int32_t TAVOAUDIO_SetCustomTrackFileType(TAVOAUDIO audio, const char *uniqId, int32_t fileType)
{
    return setValue(audio, uniqId, "Set Track Format", false, fileType, AUDIOCUSTOMTRACK_GetFileType,
                    AUDIOCUSTOMTRACK_SetFileType);
}

// ---- queries ----------------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_CountCustomTracks(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    TavoDocReadLock lock(doc);
    if (!lock) return 0;
    return AUDIOSIGNAL_NumCustomTracks(_TAVOAUDIO_Signal(doc));
}

TAVO_API bool TAVOAUDIO_ContainsCustomTrack(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<bool>(audio, uniqId, false, [](TavoDocument *, AUDIOSIGNAL, AUDIOCUSTOMTRACK) { return true; });
}

TAVO_API int32_t TAVOAUDIO_FindCustomTrackIndex(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<int32_t>(audio, uniqId, -1, [](TavoDocument *, AUDIOSIGNAL signal, AUDIOCUSTOMTRACK track) {
        for (int32_t i = 0, n = AUDIOSIGNAL_NumCustomTracks(signal); i < n; ++i)
            if (AUDIOSIGNAL_GetCustomTrack(signal, i) == track) return i;
        return int32_t(-1);
    });
}

TAVO_API bool TAVOAUDIO_GetCustomTrackUniqId(TAVOAUDIO audio, int32_t index, char *buffer, int32_t size)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || buffer == nullptr || size < 1) return false;
    TavoDocReadLock lock(doc);
    if (!lock) return false;
    AUDIOCUSTOMTRACK track = AUDIOSIGNAL_GetCustomTrack(_TAVOAUDIO_Signal(doc), index);
    if (track == nullptr) return false;
    std::snprintf(buffer, static_cast<size_t>(size), "%s", AUDIOCUSTOMTRACK_GetUniqId(track));
    return true;
}

TAVO_API bool TAVOAUDIO_GetChannelTrackUniqId(TAVOAUDIO audio, int32_t channel, char *buffer, int32_t size)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || buffer == nullptr || size < 1 || channel < 0) return false;
    TavoDocReadLock lock(doc);
    if (!lock) return false;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr || channel >= AUDIOSIGNAL_NumChannels(signal)) return false;
    return AUDIOSIGNAL_ChannelTrackUniqId(channel, buffer, static_cast<size_t>(size));
}

TAVO_API bool TAVOAUDIO_VisibleCustomTrack(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<bool>(audio, uniqId, false, [](TavoDocument *, AUDIOSIGNAL, AUDIOCUSTOMTRACK track) {
        return AUDIOCUSTOMTRACK_IsVisibleEx(track, 0);
    });
}

TAVO_API bool TAVOAUDIO_IsCustomTrackVisible(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<bool>(audio, uniqId, false, [](TavoDocument *, AUDIOSIGNAL, AUDIOCUSTOMTRACK track) {
        return AUDIOCUSTOMTRACK_IsVisibleEx(track, 1);
    });
}

TAVO_API bool TAVOAUDIO_CanRenameCustomTrack(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<bool>(audio, uniqId, false, [](TavoDocument *doc, AUDIOSIGNAL signal, AUDIOCUSTOMTRACK track) {
        return documentWritable(doc, signal) && !AUDIOCUSTOMTRACK_IsReadOnly(track);
    });
}

TAVO_API bool TAVOAUDIO_CanRemoveCustomTrack(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<bool>(audio, uniqId, false, [](TavoDocument *doc, AUDIOSIGNAL signal, AUDIOCUSTOMTRACK track) {
        return documentWritable(doc, signal) && !AUDIOCUSTOMTRACK_IsReadOnly(track) &&
               !isMaster(doc, AUDIOCUSTOMTRACK_GetUniqId(track));
    });
}

TAVO_API bool TAVOAUDIO_EditableCustomTrack(TAVOAUDIO audio, const char *uniqId)
{
    // The track's own visibility governs its regions: a hidden lane takes no
    // region edits even though it can still be renamed.
    return readTrack<bool>(audio, uniqId, false, [](TavoDocument *doc, AUDIOSIGNAL signal, AUDIOCUSTOMTRACK track) {
        return documentWritable(doc, signal) && !AUDIOCUSTOMTRACK_IsReadOnly(track) &&
               AUDIOCUSTOMTRACK_IsVisibleEx(track, 0);
    });
}

TAVO_API bool TAVOAUDIO_ExternalCustomTrack(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<bool>(audio, uniqId, false, [](TavoDocument *, AUDIOSIGNAL, AUDIOCUSTOMTRACK track) {
        return AUDIOREGIONTRACK_IsExternal(AUDIOCUSTOMTRACK_RegionTrack(track));
    });
}

TAVO_API bool TAVOAUDIO_ShowCustomTrack(TAVOAUDIO audio, const char *uniqId)
{
    return setVisible(audio, uniqId, true);
}

TAVO_API bool TAVOAUDIO_HideCustomTrack(TAVOAUDIO audio, const char *uniqId)
{
    return setVisible(audio, uniqId, false);
}

TAVO_API bool TAVOAUDIO_GetTrackUseAsGlobalDefault(TAVOAUDIO audio, const char *uniqId)
{
    return flag(audio, uniqId, AUDIOCUSTOMTRACK_GetUseAsGlobalDefault);
}

TAVO_API bool TAVOAUDIO_GetTrackUseAsLinkedDefault(TAVOAUDIO audio, const char *uniqId)
{
    return flag(audio, uniqId, AUDIOCUSTOMTRACK_GetUseAsLinkedDefault);
}

TAVO_API bool TAVOAUDIO_GetTrackLabel(TAVOAUDIO audio, const char *uniqId, char *buffer, int32_t size)
{
    if (buffer == nullptr || size < 1) return false;
    return readTrack<bool>(audio, uniqId, false, [buffer, size](TavoDocument *, AUDIOSIGNAL, AUDIOCUSTOMTRACK track) {
        std::snprintf(buffer, static_cast<size_t>(size), "%s", AUDIOCUSTOMTRACK_GetLabel(track));
        return true;
    });
}

TAVO_API bool TAVOAUDIO_GetTrackLinkedTo(TAVOAUDIO audio, const char *uniqId, char *buffer, int32_t size)
{
    if (buffer == nullptr || size < 1) return false;
    return readTrack<bool>(audio, uniqId, false, [buffer, size](TavoDocument *, AUDIOSIGNAL, AUDIOCUSTOMTRACK track) {
        const char *link = AUDIOCUSTOMTRACK_GetLinkedTo(track);
        std::snprintf(buffer, static_cast<size_t>(size), "%s", link != nullptr ? link : "");
        return true;
    });
}

TAVO_API float TAVOAUDIO_GetTrackFontSize(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<float>(audio, uniqId, 0.0f, [](TavoDocument *, AUDIOSIGNAL, AUDIOCUSTOMTRACK track) {
        return AUDIOCUSTOMTRACK_GetFontSize(track);
    });
}

TAVO_API int32_t TAVOAUDIO_GetTrackNumberOfLines(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<int32_t>(audio, uniqId, 0, [](TavoDocument *, AUDIOSIGNAL, AUDIOCUSTOMTRACK track) {
        return AUDIOCUSTOMTRACK_GetNumberOfLines(track);
    });
}

TAVO_API bool TAVOAUDIO_CustomTrackIsTemporary(TAVOAUDIO audio, const char *uniqId)
{
    return flag(audio, uniqId, AUDIOCUSTOMTRACK_IsTemporary);
}

TAVO_API bool TAVOAUDIO_SetCustomTrackTemporary(TAVOAUDIO audio, const char *uniqId, bool temporary)
{
    return setViewFlag(audio, uniqId, AUDIOCUSTOMTRACK_SetTemporary, temporary);
}

TAVO_API bool TAVOAUDIO_CustomTrackReadOnly(TAVOAUDIO audio, const char *uniqId)
{
    return flag(audio, uniqId, AUDIOCUSTOMTRACK_IsReadOnly);
}

TAVO_API bool TAVOAUDIO_SetCustomTrackReadOnly(TAVOAUDIO audio, const char *uniqId, bool readOnly)
{
    return setViewFlag(audio, uniqId, AUDIOCUSTOMTRACK_SetReadOnly, readOnly);
}

TAVO_API bool TAVOAUDIO_GetCustomTrackLook(TAVOAUDIO audio, const char *uniqId, TAVOTRACKLOOK *look)
{
    if (look == nullptr) return false;
    return readTrack<bool>(audio, uniqId, false, [look](TavoDocument *doc, AUDIOSIGNAL signal, AUDIOCUSTOMTRACK track) {
        if (doc->state == nullptr) return false;
        // Follow the links up to a channel track, at most one step per track
        // (links never form a cycle, the bound only guards the walk).
        int32_t channel = -1;
        AUDIOCUSTOMTRACK at = track;
        for (int32_t steps = AUDIOSIGNAL_NumRegionTracks(signal); at != nullptr && steps >= 0; --steps) {
            channel = channelOfId(AUDIOCUSTOMTRACK_GetUniqId(at));
            if (channel >= 0) break;
            at = AUDIOSIGNAL_FindCustomTrack(signal, AUDIOCUSTOMTRACK_GetLinkedTo(at));
        }
        int32_t slot = -1;
        if (channel >= 0) {
            for (int32_t s = 0; s < TAVOSTATE_CUSTOM_TRACK_CHANNELS && slot < 0; ++s)
                if (doc->state->customTracks[s].audioChannel == channel) slot = s;
            if (slot < 0) slot = channel % TAVOSTATE_CUSTOM_TRACK_CHANNELS;
        } else {
            int32_t index = 0;
            for (int32_t n = AUDIOSIGNAL_NumCustomTracks(signal); index < n; ++index)
                if (AUDIOSIGNAL_GetCustomTrack(signal, index) == track) break;
            slot = index % TAVOSTATE_CUSTOM_TRACK_CHANNELS;
        }
        const TavoCustomTrackConfig &config = doc->state->customTracks[slot];
        look->regionColor = config.regionColor;
        look->regionSelectedColor = config.regionSelectedColor;
        look->regionBorderColor = config.regionBorderColor;
        look->regionTextColor = config.regionTextColor;
        look->fontColor = config.fontColor;
        look->minHeight = config.minHeight;
        look->drawOptions = config.drawOptions;
        look->slot = slot;
        return true;
    });
}

// ---- master track -----------------------------------------------------------------

TAVO_API bool TAVOAUDIO_GetMasterTrackUniqId(TAVOAUDIO audio, char *buffer, int32_t size)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    TavoDocReadLock lock(doc);
    if (!lock || doc->masterTrackId[0] == '\0') return false;
    // The master is named by id: a deleted master (undo of its creation, a
    // deletion by the signal) reads as none until it is back.
    if (!AUDIOSIGNAL_ContainsTrackUniqId(_TAVOAUDIO_Signal(doc), doc->masterTrackId)) return false;
    if (buffer != nullptr && size >= 1) std::snprintf(buffer, static_cast<size_t>(size), "%s", doc->masterTrackId);
    return true;
}

TAVO_API bool TAVOAUDIO_SetMasterTrackUniqId(TAVOAUDIO audio, const char *uniqId)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    {
        TavoDocWriteLock lock(doc);
        if (!lock) return false;
        if (uniqId == nullptr || uniqId[0] == '\0') {
            doc->masterTrackId[0] = '\0';
        } else {
            if (std::strlen(uniqId) >= sizeof doc->masterTrackId) return failWith(doc, kErrRefused);
            if (!AUDIOSIGNAL_ContainsTrackUniqId(_TAVOAUDIO_Signal(doc), uniqId)) return failWith(doc, kErrUnknownTrack);
            std::snprintf(doc->masterTrackId, sizeof doc->masterTrackId, "%s", uniqId);
        }
    }
    TAVOSTATE_NotifyChanges(audio, 0, kRegionsChanged);
    return true;
}

TAVO_API bool TAVOAUDIO_IsMasterTrackUniqId(TAVOAUDIO audio, const char *uniqId)
{
    return readTrack<bool>(audio, uniqId, false, [](TavoDocument *doc, AUDIOSIGNAL, AUDIOCUSTOMTRACK track) {
        return isMaster(doc, AUDIOCUSTOMTRACK_GetUniqId(track));
    });
}
