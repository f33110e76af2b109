// track_sidecar.cpp: the annotation tracks' own properties, kept beside a
// saved document in "<audio name without extension>.tracks.json" and read
// back when the document opens.
//
// The file is a track template (so a user may also apply it to another
// document as one) written by the template code's own pieces; what a
// template does not carry (visibility, read-only, the linked-default flag,
// the master track and the document's track order) rides in keys of its
// own, which template readers ignore. Reading trusts nothing: the file is
// checked as a template first, and keys of the wrong type are skipped.
#include "regions/track_sidecar_p.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <exception>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "audioregion.h"
#include "bldebug.h"
#include "blio.h"
#include "frame/document_p.h"
#include "regions/template_check_p.h"
#include "regions/tracks_p.h"
#include "tavo.h"
#include "tavostate.h"

namespace {

// What a template check reports fits in this (its longest message is a
// per-index one formatted into 256 bytes).
constexpr size_t kCheckMessageSize = 256;

// Keys of the sidecar that a plain template does not have.
constexpr const char *kKeyMaster = "master_track";
constexpr const char *kKeyOrder = "track_order";
constexpr const char *kKeyLinkedDefault = "use_as_linked_default";
constexpr const char *kKeyVisible = "visible";
constexpr const char *kKeyReadOnly = "read_only";

struct DictRoot {
    BLDICT dict = BLDICT_CreateObject();
    ~DictRoot() { BLDICT_Destroy(dict); }
};

bool isSaved(AUDIOCUSTOMTRACK track)
{
    return !AUDIOCUSTOMTRACK_IsTemporary(track);
}

// The tracks that go into the file, in template order (links backwards).
// Dropping temporary tracks keeps the order of the rest, so links between
// saved tracks still point backwards.
std::vector<AUDIOCUSTOMTRACK> savedTracks(AUDIOSIGNAL signal)
{
    std::vector<AUDIOCUSTOMTRACK> saved;
    for (AUDIOCUSTOMTRACK track : _TAVOTRACKS_TemplateOrder(signal))
        if (isSaved(track)) saved.push_back(track);
    return saved;
}

// Fills the sidecar's root. False when a value cannot be stored (a text that
// is not UTF-8).
bool fillSidecar(BLDICT root, const TavoDocument *doc, AUDIOSIGNAL signal, const std::string &audioFile,
                 const std::vector<AUDIOCUSTOMTRACK> &saved)
{
    char createdWith[64];
    std::snprintf(createdWith, sizeof createdWith, "tavoaudio v%d.%d.%d", TAVO_VERSION_MAJOR, TAVO_VERSION_MINOR,
                  TAVO_VERSION_PATCH);
    const std::string description = "Annotation tracks of " + audioFile;
    bool ok = BLDICT_SetString(root, "format", TAVOTRACKS_TEMPLATE_FORMAT) && BLDICT_SetInteger(root, "version", 1) &&
              BLDICT_SetString(root, "name", audioFile.c_str()) &&
              BLDICT_SetString(root, "description", description.c_str());
    BLDICT metadata = ok ? BLDICT_SetObject(root, "metadata") : nullptr;
    ok = metadata != nullptr && BLDICT_SetString(metadata, "created_with", createdWith);
    BLDICT tracks = ok ? BLDICT_SetArray(root, "tracks") : nullptr;
    BLDICT order = tracks != nullptr ? BLDICT_SetArray(root, kKeyOrder) : nullptr;
    if (order == nullptr) return false;

    for (AUDIOCUSTOMTRACK track : saved) {
        AUDIOCUSTOMTRACK target = AUDIOSIGNAL_FindCustomTrack(signal, AUDIOCUSTOMTRACK_GetLinkedTo(track));
        BLDICT entry = _TAVOTRACKS_WriteTemplateEntry(tracks, track, target != nullptr && isSaved(target));
        ok = entry != nullptr &&
             BLDICT_SetBoolean(entry, kKeyLinkedDefault, AUDIOCUSTOMTRACK_GetUseAsLinkedDefault(track)) &&
             BLDICT_SetBoolean(entry, kKeyVisible, AUDIOCUSTOMTRACK_IsVisibleEx(track, 0)) &&
             BLDICT_SetBoolean(entry, kKeyReadOnly, AUDIOCUSTOMTRACK_IsReadOnly(track));
        if (!ok) return false;
    }
    // The document's order: the template order above differs from it when a
    // track is linked to a later one.
    for (int32_t i = 0, n = AUDIOSIGNAL_NumCustomTracks(signal); i < n; ++i) {
        AUDIOCUSTOMTRACK track = AUDIOSIGNAL_GetCustomTrack(signal, i);
        if (isSaved(track) && !BLDICT_ArrayAppendString(order, AUDIOCUSTOMTRACK_GetUniqId(track))) return false;
    }
    // A master that was deleted, or is temporary, is no master of the file.
    AUDIOCUSTOMTRACK master = AUDIOSIGNAL_FindCustomTrack(signal, doc->masterTrackId);
    if (doc->masterTrackId[0] != '\0' && master != nullptr && isSaved(master))
        return BLDICT_SetString(root, kKeyMaster, doc->masterTrackId);
    return true;
}

bool removeSidecar(const std::string &path)
{
    std::error_code failure;
    std::filesystem::remove(path, failure);   // false without an error when it is not there
    if (!failure) return true;
    BLDEBUG_Error("_TAVOTRACKS_SaveTrackSidecar: cannot remove %s: %s", path.c_str(), failure.message().c_str());
    return false;
}

// The listed track `id` may be created or changed: not track 0's own id.
bool annotationId(AUDIOSIGNAL signal, const char *id)
{
    return id[0] != '\0' && AUDIOSIGNAL_FindRegionTrackIndex(signal, id) != 0;
}

// The entries by id, and the ids in the saved track order: first those of
// "track_order" that name entries, then any entry it left out, in entry order.
struct SidecarIndex {
    std::map<std::string, BLDICT> entries;
    std::vector<std::string> order;

    explicit SidecarIndex(BLDICT root)
    {
        BLDICT tracks = BLDICT_GetArray(root, "tracks");
        for (int32_t i = 0, n = BLDICT_ArrayCount(tracks); i < n; ++i) {
            BLDICT entry = BLDICT_ArrayItem(tracks, i);
            entries.emplace(BLDICT_GetString(entry, "id", ""), entry);
        }
        std::set<std::string> placed;
        BLDICT saved = BLDICT_GetArray(root, kKeyOrder);
        for (int32_t i = 0, n = BLDICT_ArrayCount(saved); i < n; ++i) {
            if (!BLDICT_IsString(BLDICT_ArrayItem(saved, i), nullptr)) continue;
            const std::string id = BLDICT_GetString(BLDICT_ArrayItem(saved, i), nullptr, "");
            if (entries.count(id) != 0 && placed.insert(id).second) order.push_back(id);
        }
        for (int32_t i = 0, n = BLDICT_ArrayCount(tracks); i < n; ++i) {
            const std::string id = BLDICT_GetString(BLDICT_ArrayItem(tracks, i), "id", "");
            if (placed.insert(id).second) order.push_back(id);
        }
    }
};

// The listed tracks as they were saved, links aside.
void applyEntry(AUDIOSIGNAL signal, AUDIOCUSTOMTRACK track, BLDICT entry)
{
    const char *label = BLDICT_GetString(entry, "label", "");
    if (std::strcmp(label, AUDIOCUSTOMTRACK_GetLabel(track)) != 0) {
        const int32_t index = AUDIOSIGNAL_FindRegionTrackIndex(signal, AUDIOCUSTOMTRACK_GetUniqId(track));
        AUDIOSIGNAL_SetRegionTrackLabel(signal, index, label);
    }
    _TAVOTRACKS_ApplyTemplateProperties(track, entry);
    if (BLDICT_IsBoolean(entry, kKeyLinkedDefault))
        AUDIOCUSTOMTRACK_SetUseAsLinkedDefault(track, BLDICT_GetBoolean(entry, kKeyLinkedDefault, false));
    if (BLDICT_IsBoolean(entry, kKeyVisible))
        AUDIOCUSTOMTRACK_SetVisible(track, BLDICT_GetBoolean(entry, kKeyVisible, true));
}

} // namespace

std::string _TAVOTRACKS_SidecarPath(const char *audioName)
{
    if (audioName == nullptr || audioName[0] == '\0') return std::string();
    // The same stem the region sidecars are found by when the document opens.
    const std::filesystem::path audio(audioName);
    const std::string file = audio.stem().string() + ".tracks.json";
    return audio.has_parent_path() ? (audio.parent_path() / file).string() : file;
}

bool _TAVOTRACKS_SaveTrackSidecar(TavoDocument *doc, AUDIOSIGNAL signal, const char *audioName)
{
    if (doc == nullptr || signal == nullptr) return false;
    try {
        const std::string path = _TAVOTRACKS_SidecarPath(audioName);
        if (path.empty()) return false;
        const std::vector<AUDIOCUSTOMTRACK> saved = savedTracks(signal);
        if (saved.empty()) return removeSidecar(path);
        DictRoot root;
        if (root.dict == nullptr ||
            !fillSidecar(root.dict, doc, signal, std::filesystem::path(audioName).filename().string(), saved)) {
            BLDEBUG_Error("_TAVOTRACKS_SaveTrackSidecar: cannot describe the tracks of %s", audioName);
            return false;
        }
        // BLDICT_WriteToJSON writes a temporary file and renames it over the
        // old one: a failure leaves the old sidecar as it was.
        if (!BLDICT_WriteToJSON(root.dict, path.c_str())) {
            BLDEBUG_Error("_TAVOTRACKS_SaveTrackSidecar: cannot write %s", path.c_str());
            return false;
        }
        return true;
    } catch (const std::exception &) {
        BLDEBUG_Error("_TAVOTRACKS_SaveTrackSidecar: out of memory for %s", audioName);
        return false;
    }
}

TavoTrackSidecar::TavoTrackSidecar(const char *audioName)
{
    try {
        m_path = _TAVOTRACKS_SidecarPath(audioName);
    } catch (const std::exception &) {
        m_path.clear();
    }
    // No file is the usual case: a document without annotation tracks.
    if (m_path.empty() || BLIO_FileKind(m_path.c_str()) == BLIO_FILEKIND_NONE) return;
    BLDICT root = BLDICT_ReadFromJSON(m_path.c_str());
    if (root == nullptr) {
        BLDEBUG_Error("_TAVOTRACKS_ReadTrackSidecar: cannot read %s; the tracks keep their defaults", m_path.c_str());
        return;
    }
    char message[kCheckMessageSize] = "";
    if (!_TAVOTRACKS_CheckTemplate(root, message, static_cast<int32_t>(sizeof message))) {
        BLDEBUG_Error("_TAVOTRACKS_ReadTrackSidecar: %s is not a track list (%s); the tracks keep their defaults",
                      m_path.c_str(), message);
        BLDICT_Destroy(root);
        return;
    }
    m_root = root;
}

TavoTrackSidecar::~TavoTrackSidecar()
{
    if (m_root != nullptr) BLDICT_Destroy(m_root);
}

void TavoTrackSidecar::createTracks(AUDIOSIGNAL signal)
{
    // A signal that cannot be written takes no tracks, as it takes no
    // regions from the SRT files either.
    if (m_root == nullptr || signal == nullptr || AUDIOSIGNAL_IsReadOnly(signal)) return;
    try {
        const SidecarIndex index(m_root);
        for (const std::string &id : index.order) {
            if (!annotationId(signal, id.c_str()) || AUDIOSIGNAL_FindCustomTrack(signal, id.c_str()) != nullptr)
                continue;
            const char *label = BLDICT_GetString(index.entries.at(id), "label", "");
            if (AUDIOSIGNAL_AddCustomTrack(signal, id.c_str(), label, nullptr) == nullptr)
                BLDEBUG_Error("_TAVOTRACKS_ReadTrackSidecar: cannot make track %s of %s", id.c_str(), m_path.c_str());
        }
    } catch (const std::exception &) {
        BLDEBUG_Error("_TAVOTRACKS_ReadTrackSidecar: out of memory reading %s", m_path.c_str());
    }
}

void TavoTrackSidecar::apply(TavoDocument *doc, AUDIOSIGNAL signal)
{
    if (doc == nullptr || signal == nullptr) return;
    if (m_root != nullptr && !AUDIOSIGNAL_IsReadOnly(signal)) {
        BLDICT tracks = BLDICT_GetArray(m_root, "tracks");
        const int32_t count = BLDICT_ArrayCount(tracks);
        auto trackOf = [&](BLDICT entry) -> AUDIOCUSTOMTRACK {
            const char *id = BLDICT_GetString(entry, "id", "");
            return annotationId(signal, id) ? AUDIOSIGNAL_FindCustomTrack(signal, id) : nullptr;
        };
        for (int32_t i = 0; i < count; ++i) {
            BLDICT entry = BLDICT_ArrayItem(tracks, i);
            if (AUDIOCUSTOMTRACK track = trackOf(entry)) applyEntry(signal, track, entry);
        }
        // Links once every track exists; then the flags that could refuse
        // later changes or clear earlier ones: the global default (taking it
        // clears the others) and read-only.
        for (int32_t i = 0; i < count; ++i) {
            BLDICT entry = BLDICT_ArrayItem(tracks, i);
            AUDIOCUSTOMTRACK track = trackOf(entry);
            if (track == nullptr || !BLDICT_IsString(entry, "linked_to")) continue;
            const char *target = BLDICT_GetString(entry, "linked_to", "");
            if (!AUDIOCUSTOMTRACK_SetLinkedTo(track, target))
                BLDEBUG_Error("_TAVOTRACKS_ReadTrackSidecar: track %s cannot follow %s",
                              AUDIOCUSTOMTRACK_GetUniqId(track), target);
        }
        for (int32_t i = 0; i < count; ++i) {
            BLDICT entry = BLDICT_ArrayItem(tracks, i);
            AUDIOCUSTOMTRACK track = trackOf(entry);
            if (track == nullptr) continue;
            if (BLDICT_GetBoolean(entry, "default", false)) AUDIOCUSTOMTRACK_SetUseAsGlobalDefault(track, true);
            if (BLDICT_GetBoolean(entry, kKeyReadOnly, false)) AUDIOCUSTOMTRACK_SetReadOnly(track, true);
        }
        const char *master = BLDICT_GetString(m_root, kKeyMaster, "");
        if (master[0] != '\0' && std::strlen(master) < sizeof doc->masterTrackId &&
            AUDIOSIGNAL_ContainsTrackUniqId(signal, master))
            std::snprintf(doc->masterTrackId, sizeof doc->masterTrackId, "%s", master);
    }
    // The sidecars are the saved state of the tracks: reading them changes
    // nothing the user would be asked to save.
    AUDIOSIGNAL_MarkSaved(signal, AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_FILE),
                          AUDIOSIGNAL_SizeInDisk(signal));
    TAVOSTATE_ResetTimeStamps(doc);
}
