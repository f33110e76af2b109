// templates.cpp: track templates, JSON files that describe a set of
// annotation tracks: reading and checking them, applying one to a document
// as one undo step, and saving a document's tracks as one.
//
// A template's ids are its own: applying it twice, or to a document that
// already has tracks of those ids, must not collide, so each template id is
// mapped to a fresh runtime id and links are resolved through that map.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "audioregion.h"
#include "audiosignal.h"
#include "bldict.h"
#include "frame/document_p.h"
#include "regions/template_check_p.h"
#include "regions/tracks_p.h"
#include "tavoaudio.h"
#include "tavotracks.h"
#include "tavoundo.h"

namespace {

// What the program writes as "created_with".
constexpr const char *kCreatedWith = "tavoaudio v3.22.0";

// Runtime ids are tried with numbers 1, 2, ... up to this bound; a document
// never holds that many tracks of one template id, so reaching it means the
// signal keeps refusing the id.
constexpr int32_t kMaxRuntimeNumber = 100000;

struct DictDeleter {
    void operator()(BLDictValue *root) const { BLDICT_Destroy(root); }
};
using DictRoot = std::unique_ptr<BLDictValue, DictDeleter>;

int32_t fail(char *error, int32_t size, const char *message)
{
    _TAVOTRACKS_ReportError(error, size, message);
    return 0;
}

// Reports to the caller's buffer and as the document's last error.
int32_t failDoc(TavoDocument *doc, char *error, int32_t size, const char *message)
{
    if (doc != nullptr) TAVOAUDIO_SetErrorMessage(doc, message);
    return fail(error, size, message);
}

// Reads and checks a template; null with the reason in `error`.
DictRoot loadTemplate(const char *fileName, char *error, int32_t size)
{
    if (fileName == nullptr || fileName[0] == '\0') {
        fail(error, size, "Invalid template filename");
        return nullptr;
    }
    DictRoot root(BLDICT_ReadFromJSON(fileName));
    if (root == nullptr) {
        fail(error, size, "Failed to read template JSON");
        return nullptr;
    }
    if (!_TAVOTRACKS_CheckTemplate(root.get(), error, size)) return nullptr;
    return root;
}

// The smallest "<id>_<n>" (n >= 1) that no region track of the signal has,
// deleted ones included (an id of a deleted track would revive that track).
// "" when none can be formed.
std::string runtimeId(AUDIOSIGNAL signal, const std::string &id)
{
    for (int32_t n = 1; n <= kMaxRuntimeNumber; ++n) {
        std::string candidate = id + "_" + std::to_string(n);
        if (AUDIOSIGNAL_FindRegionTrackIndex(signal, candidate.c_str()) < 0) return candidate;
    }
    return std::string();
}

// The id of the track that is the global default now, "" when none.
std::string globalDefaultId(AUDIOSIGNAL signal)
{
    for (int32_t i = 0, n = AUDIOSIGNAL_NumCustomTracks(signal); i < n; ++i) {
        AUDIOCUSTOMTRACK track = AUDIOSIGNAL_GetCustomTrack(signal, i);
        if (AUDIOCUSTOMTRACK_GetUseAsGlobalDefault(track)) return AUDIOCUSTOMTRACK_GetUniqId(track);
    }
    return std::string();
}

// Adds the template's tracks to the signal under edit access; 1 or 0 with
// the reason reported. Everything added is taken back on failure.
int32_t applyLocked(TAVOAUDIO audio, TavoDocument *doc, BLDICT root, char *error, int32_t size)
{
    AUDIOSIGNAL signal = _TAVOTRACKS_WritableSignal(doc);
    if (signal == nullptr) return failDoc(doc, error, size, "Audio object is not editable");
    std::unique_ptr<std::map<std::string, std::string>> map;
    try {
        map = std::make_unique<std::map<std::string, std::string>>();
    } catch (...) {
        return failDoc(doc, error, size, "Failed to allocate track map");
    }

    BLDICT tracks = BLDICT_GetArray(root, "tracks");
    const int32_t count = BLDICT_ArrayCount(tracks);
    AUDIOCUSTOMTRACK defaultTrack = nullptr;
    bool takesDefault = false;
    for (int32_t i = 0; i < count; ++i) takesDefault = takesDefault || BLDICT_GetBoolean(BLDICT_ArrayItem(tracks, i), "default", false);

    TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(audio, "Add Tracks from Template", doc->state);
    if (script == nullptr) return failDoc(doc, error, size, "Failed to create tracks");
    // Taking the global default clears it on the tracks there already: they
    // are recorded first, so undo gives the flag back to its old owner.
    if (takesDefault && !TAVOUNDO_AddRevertAllTracks(script, signal)) {
        TAVOUNDO_DestroyUndoScript(audio, script);
        return failDoc(doc, error, size, "Failed to create tracks");
    }
    const std::string previousDefault = globalDefaultId(signal);
    TavoTrackBatch batch(signal, script);
    auto abort = [&](const char *message) {
        batch.rollback();
        if (!previousDefault.empty())
            AUDIOCUSTOMTRACK_SetUseAsGlobalDefault(AUDIOSIGNAL_FindCustomTrack(signal, previousDefault.c_str()), true);
        TAVOUNDO_DestroyUndoScript(audio, script);
        return failDoc(doc, error, size, message);
    };

    for (int32_t i = 0; i < count; ++i) {
        BLDICT entry = BLDICT_ArrayItem(tracks, i);
        const std::string id = BLDICT_GetString(entry, "id", "");
        if (id.empty()) return abort("Invalid template track id");
        std::string fresh;
        try {
            fresh = runtimeId(signal, id);
        } catch (...) {
            fresh.clear();
        }
        if (fresh.empty()) return abort("Failed to generate runtime track id");
        try {
            (*map)[id] = fresh;
        } catch (...) {
            return abort("Failed to store runtime track map");
        }
        const char *link = nullptr;
        if (BLDICT_IsString(entry, "linked_to")) {
            const auto found = map->find(BLDICT_GetString(entry, "linked_to", ""));
            if (found == map->end() || found->first == id) return abort("Failed to resolve runtime track id");
            link = found->second.c_str();
        }
        AUDIOCUSTOMTRACK track = batch.add(fresh.c_str(), BLDICT_GetString(entry, "label", ""), link);
        if (track == nullptr) return abort("Failed to create tracks");
        _TAVOTRACKS_ApplyTemplateProperties(track, entry);
        if (BLDICT_GetBoolean(entry, "default", false)) defaultTrack = track;
    }
    // Last, when nothing can fail any more but the push.
    if (defaultTrack != nullptr) AUDIOCUSTOMTRACK_SetUseAsGlobalDefault(defaultTrack, true);
    if (!TAVOUNDO_PushUndoScript(audio, script)) return abort("Failed to create tracks");
    return 1;
}

// Fills `root` with the document's tracks. False when a value cannot be
// stored (a text that is not UTF-8).
bool fillTemplate(BLDICT root, AUDIOSIGNAL signal, const char *name, const char *description, const char *author)
{
    bool ok = BLDICT_SetString(root, "format", TAVOTRACKS_TEMPLATE_FORMAT) && BLDICT_SetInteger(root, "version", 1) &&
              BLDICT_SetString(root, "name", name != nullptr ? name : "Track Template") &&
              BLDICT_SetString(root, "description", description != nullptr ? description : "Track Description");
    BLDICT metadata = ok ? BLDICT_SetObject(root, "metadata") : nullptr;
    ok = metadata != nullptr && BLDICT_SetString(metadata, "created_with", kCreatedWith);
    if (ok && author != nullptr && author[0] != '\0') ok = BLDICT_SetString(metadata, "author", author);
    BLDICT tracks = ok ? BLDICT_SetArray(root, "tracks") : nullptr;
    if (tracks == nullptr) return false;

    const std::vector<AUDIOCUSTOMTRACK> order = _TAVOTRACKS_TemplateOrder(signal);
    for (AUDIOCUSTOMTRACK track : order) {
        const char *link = AUDIOCUSTOMTRACK_GetLinkedTo(track);
        const bool linkWritten =
            link != nullptr && link[0] != '\0' && AUDIOSIGNAL_FindCustomTrack(signal, link) != nullptr;
        if (_TAVOTRACKS_WriteTemplateEntry(tracks, track, linkWritten) == nullptr) return false;
    }
    return true;
}

} // namespace

// ---- shared with the track sidecar (regions/track_sidecar.cpp) ----------------

// Gives a new track the template entry's properties. Values the track
// cannot take keep its defaults: a template from a newer program may know
// file types this one does not.
void _TAVOTRACKS_ApplyTemplateProperties(AUDIOCUSTOMTRACK track, BLDICT entry)
{
    if (BLDICT_IsString(entry, "file_type")) {
        const int32_t type = AUDIOCUSTOMTRACK_FileTypeFromString(BLDICT_GetString(entry, "file_type", ""));
        if (type >= 0) AUDIOCUSTOMTRACK_SetFileType(track, type);
    }
    if (BLDICT_IsNumber(entry, "font_size"))
        AUDIOCUSTOMTRACK_SetFontSize(track, static_cast<float>(BLDICT_GetReal(entry, "font_size", 0.0)));
    if (BLDICT_IsInteger(entry, "number_of_lines")) {
        const int64_t lines = BLDICT_GetInteger(entry, "number_of_lines", 0);
        if (lines >= 1 && lines <= INT32_MAX) AUDIOCUSTOMTRACK_SetNumberOfLines(track, static_cast<int32_t>(lines));
    }
}

// The annotation tracks in the order a template needs: track order, except
// that a track comes after the track it is linked to.
std::vector<AUDIOCUSTOMTRACK> _TAVOTRACKS_TemplateOrder(AUDIOSIGNAL signal)
{
    const int32_t count = AUDIOSIGNAL_NumCustomTracks(signal);
    std::vector<AUDIOCUSTOMTRACK> order;
    std::vector<AUDIOCUSTOMTRACK> chain;
    auto placed = [&](AUDIOCUSTOMTRACK track) {
        for (AUDIOCUSTOMTRACK t : order)
            if (t == track) return true;
        return false;
    };
    for (int32_t i = 0; i < count; ++i) {
        // Walk up the links to the first track not placed yet, then place
        // the chain from the top down. Links never form a cycle; the bound
        // only guards the walk.
        chain.clear();
        for (AUDIOCUSTOMTRACK at = AUDIOSIGNAL_GetCustomTrack(signal, i);
             at != nullptr && !placed(at) && static_cast<int32_t>(chain.size()) <= count;
             at = AUDIOSIGNAL_FindCustomTrack(signal, AUDIOCUSTOMTRACK_GetLinkedTo(at))) {
            chain.push_back(at);
        }
        for (auto it = chain.rbegin(); it != chain.rend(); ++it)
            if (!placed(*it)) order.push_back(*it);
    }
    return order;
}

// An empty link would read back as a link to nothing: unlinked tracks carry
// no "linked_to", and neither does a link to a track that is not written.
BLDICT _TAVOTRACKS_WriteTemplateEntry(BLDICT tracks, AUDIOCUSTOMTRACK track, bool linkWritten)
{
    BLDICT entry = BLDICT_ArrayAppendObject(tracks);
    bool ok = entry != nullptr && BLDICT_SetString(entry, "id", AUDIOCUSTOMTRACK_GetUniqId(track)) &&
              BLDICT_SetString(entry, "label", AUDIOCUSTOMTRACK_GetLabel(track));
    if (ok && linkWritten) ok = BLDICT_SetString(entry, "linked_to", AUDIOCUSTOMTRACK_GetLinkedTo(track));
    ok = ok && BLDICT_SetInteger(entry, "number_of_lines", AUDIOCUSTOMTRACK_GetNumberOfLines(track)) &&
         BLDICT_SetReal(entry, "font_size", static_cast<double>(AUDIOCUSTOMTRACK_GetFontSize(track))) &&
         BLDICT_SetString(entry, "file_type", AUDIOCUSTOMTRACK_FileTypeToString(AUDIOCUSTOMTRACK_GetFileType(track)));
    // The global default survives a round trip through the template.
    if (ok && AUDIOCUSTOMTRACK_GetUseAsGlobalDefault(track)) ok = BLDICT_SetBoolean(entry, "default", true);
    return ok ? entry : nullptr;
}

TAVO_API int32_t TAVOAUDIO_ValidateTrackTemplateJSON(const char *fileName, char *error, int32_t errorSize)
{
    return loadTemplate(fileName, error, errorSize) != nullptr ? 1 : 0;
}

TAVO_API int32_t TAVOAUDIO_GetTrackTemplateNameJSON(const char *fileName, char *name, int32_t nameSize, char *error,
                                                    int32_t errorSize)
{
    if (name == nullptr || nameSize < 1) return 0;
    DictRoot root = loadTemplate(fileName, error, errorSize);
    if (root == nullptr) return 0;
    std::snprintf(name, static_cast<size_t>(nameSize), "%s", BLDICT_GetString(root.get(), "name", ""));
    return 1;
}

TAVO_API int32_t TAVOAUDIO_GetTrackTemplateInfoJSON(const char *fileName, TAVOTRACKTEMPLATEINFO *info, char *error,
                                                    int32_t errorSize)
{
    if (info == nullptr) return 0;
    std::memset(info, 0, sizeof *info);
    DictRoot root = loadTemplate(fileName, error, errorSize);
    if (root == nullptr) return 0;
    _TAVOTRACKS_ReadTemplateInfo(root.get(), info);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_ApplyTrackTemplateJSON(TAVOAUDIO audio, const char *fileName, char *error,
                                                  int32_t errorSize)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return fail(error, errorSize, "Invalid audio object");
    // The file is read and checked before the document is locked.
    DictRoot root = loadTemplate(fileName, error, errorSize);
    if (root == nullptr) {
        TAVOAUDIO_SetErrorMessage(doc, "Invalid track template");
        return 0;
    }
    int32_t result = 0;
    {
        TavoTrackEditAccess access(audio);
        if (!access) return failDoc(doc, error, errorSize, "Audio object is not editable");
        result = applyLocked(audio, doc, root.get(), error, errorSize);
    }
    if (result != 0) _TAVOTRACKS_Changed(audio, nullptr);
    return result;
}

TAVO_API int32_t TAVOAUDIO_SaveTrackTemplateJSON(TAVOAUDIO audio, const char *fileName, const char *name,
                                                 const char *description, const char *author, char *error,
                                                 int32_t errorSize)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return fail(error, errorSize, "Invalid audio object");
    if (fileName == nullptr || fileName[0] == '\0') return failDoc(doc, error, errorSize, "Invalid template filename");
    DictRoot root;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return failDoc(doc, error, errorSize, "Failed to save template JSON");
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (AUDIOSIGNAL_NumCustomTracks(signal) <= 0) return failDoc(doc, error, errorSize, "No tracks in audio");
        root.reset(BLDICT_CreateObject());
        if (root == nullptr) return failDoc(doc, error, errorSize, "Failed to allocate root dictionary");
        if (!fillTemplate(root.get(), signal, name, description, author))
            return failDoc(doc, error, errorSize, "Failed to save template JSON");
    }
    // Written through a temporary file renamed over the target: a failure
    // leaves any old template as it was.
    if (!BLDICT_WriteToJSON(root.get(), fileName)) return failDoc(doc, error, errorSize, "Failed to save template JSON");
    return 1;
}
