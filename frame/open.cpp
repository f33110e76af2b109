// open.cpp: opening documents in two stages, first as a link that names a
// file and its format, then resolving the link by reading the audio
// (TAVOAUDIO_OpenEx, TAVOAUDIO_Link, TAVOAUDIO_OpenLinkEx, probing).

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "audiofile.h"
#include "audiometadata.h"
#include "audioregion.h"
#include "bldebug.h"
#include "blinifile.h"
#include "blio.h"
#include "blsettings.h"
#include "blstring.h"
#include "frame/document_p.h"
#include "frame/lifecycle_p.h"
#include "regions/track_sidecar_p.h"
#include "tavoaudio.h"
#include "tavoconfig.h"
#include "tavodefines.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "tavozoom.h"
#include "view/state_p.h"

namespace {

// The lowest tempo the beats grid accepts: a file without a tempo tag (or
// with a smaller one) shows 15 BPM.
constexpr double kMinTempo = 15.0;

// Draw property 2 is the vertical scale kind; 3 is the normalized scale:
// raw sample values of wider formats are unreadably large numbers.
constexpr int32_t kDrawPropertyVertScale = 2;
constexpr int32_t kVertScaleHighResolution = 3;

// The notification bits handed to the zoom-limit reset when a document
// opens (their meaning is the view's).
constexpr uint32_t kOpenZoomNotify = 14;

// The open flags always asked of the signal library: read the tags and
// report progress.
constexpr uint32_t kSignalOpenFlags = AUDIO_OPEN_READ_TAGS | AUDIO_OPEN_PROGRESS;

bool equalsNoCase(const char *a, const char *b)
{
    return std::strlen(a) == std::strlen(b) && BLSTRING_CompareInsensitiveN(a, b, std::strlen(a)) == 0;
}

// Replaces every "AUTO" of `text` by `name`, cut to `size` bytes.
void replaceAuto(char *text, size_t size, const char *name)
{
    std::string result;
    const std::string source = text;
    size_t from = 0;
    for (size_t at = source.find("AUTO"); at != std::string::npos; at = source.find("AUTO", from)) {
        result.append(source, from, at - from);
        result.append(name);
        from = at + 4;
    }
    result.append(source, from, std::string::npos);
    std::snprintf(text, size, "%s", result.c_str());
}

// The stored format text names the format really found: "AUTO" (or the
// bare name) becomes the name with the parameters needed to write the same
// encoding again; an "AUTO" inside a longer text is replaced by the name.
void rewriteFormatText(TavoDocument *doc, AUDIOSIGNAL signal)
{
    const AUDIO_FORMAT format = AUDIOSIGNAL_GetFormat(signal);
    AUDIO_FORMAT_DESCR descr;
    int32_t index = -1;
    if (!AUDIO_GetFormatDescrEx(&format, &index, AUDIO_DESCR_BY_TAG, &descr) || index < 0) return;
    if (equalsNoCase(doc->fileFormat, "AUTO") || equalsNoCase(doc->fileFormat, descr.name)) {
        char extra[512] = "";
        if (AUDIO_HasExtraFormat(&format) && AUDIO_GetExtraFormat(&format, extra, sizeof(extra)) && extra[0] != '\0')
            std::snprintf(doc->fileFormat, sizeof(doc->fileFormat), "%s[%s]", descr.name, extra);
        else
            std::snprintf(doc->fileFormat, sizeof(doc->fileFormat), "%s", descr.name);
    } else {
        replaceAuto(doc->fileFormat, sizeof(doc->fileFormat), descr.name);
    }
    doc->state->formatCaps = descr.capabilities & 0x3fffff80u;
}

// A link file's "options" and "tavooptions" of section "tavo.link" may turn
// the document's options (its editability) on or off, in that order.
void applyLinkOptions(TavoDocument *doc)
{
    BLINIFILE ini = BLINIFILE_Open(doc->fileName);
    if (ini == nullptr) return;
    doc->flags = TAVODEFINES_DecodeTavoOptions(doc->flags, BLINIFILE_ReadString(ini, "tavo.link", "options", ""));
    doc->flags = TAVODEFINES_DecodeTavoOptions(doc->flags, BLINIFILE_ReadString(ini, "tavo.link", "tavooptions", ""));
    BLINIFILE_Close(ini);
}

void setDisplayName(TavoDocument *doc, AUDIOSIGNAL signal)
{
    const char *label = AUDIOSIGNAL_SignalLabel(signal);
    if (label == nullptr || label[0] == '\0') return;
    char name[TAVOAUDIO_NAME_SIZE];
    if (!BLIO_ExtractFileName(label, name, sizeof(name))) return;
    char *copy = BLSTRING_DuplicateString(doc->memory, name);
    if (copy == nullptr) return;
    if (doc->displayName != nullptr) BLMEM_Delete(doc->memory, doc->displayName);
    doc->displayName = copy;
}

// A pending external region file (set by the host before the link is
// resolved) is offered to the host, then read into the new signal; a read
// that fails drops the request silently.
void readRequestedRegionFile(TavoDocument *doc, AUDIOSIGNAL signal)
{
    if (doc->regionFileName == nullptr) return;
    if (_TAVOAUDIO_Send(doc, TAVOEVENT_LOAD_EXTERNAL_REGION_FILE, doc->regionFileName, doc->regionFileFormat,
                        nullptr) != 1)
        return;
    const char *format = doc->regionFileFormat != nullptr ? doc->regionFileFormat : "AUTO";
    if (AUDIOSIGNAL_ReadRegionsEx(signal, doc->regionFileName, format, AUDIOSIGNAL_REGIONS_EXTERNAL)) {
        doc->state->fileFlags |= TAVOSTATE_FILE_REGIONS_LOADED;
        return;
    }
    BLMEM_Delete(doc->memory, doc->regionFileName);
    if (doc->regionFileFormat != nullptr) BLMEM_Delete(doc->memory, doc->regionFileFormat);
    doc->regionFileName = nullptr;
    doc->regionFileFormat = nullptr;
}

// Turns a link into an open document. Every numbered rule of the open
// lives here; see the comments for the order's reasons.
bool resolveLink(TavoDocument *doc, void *parent, uint32_t openFlags)
{
    TAVOAUDIO audio = doc;
    // Without a parent object of the host's, the document itself receives
    // the signal's notifications while it is read.
    void *owner = parent != nullptr ? parent : doc;
    AUDIOSIGNAL_CALLBACK callback = parent != nullptr ? nullptr : _TAVOAUDIO_SignalCallback;

    TavoDocWriteLock lock(doc);
    if (!lock) return false;
    TavoState *state = doc->state;
    state->fileFlags &= ~TAVOSTATE_FILE_LINK;

    uint32_t error = 0;
    AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(doc->fileName, doc->fileFormat, openFlags | kSignalOpenFlags, owner,
                                            callback, &error);
    if (signal == nullptr) {
        const uint32_t code = _TranslateAudioSignalError(error);
        doc->lastError = code != 0 ? code : 12;
        // Still a link when the host hears of the failure.
        state->fileFlags |= TAVOSTATE_FILE_LINK;
        lock.release();
        BLNOTIFY_SendEvent(doc, 0, TAVOEVENT_PROCESS_CANCELED, nullptr, nullptr, nullptr);
        return false;
    }

    readRequestedRegionFile(doc, signal);
    AUDIOSIGNAL old = _TAVOAUDIO_AttachSignal(doc, signal);
    setDisplayName(doc, signal);
    rewriteFormatText(doc, signal);
    if (!AUDIO_SupportFormat(1, doc->fileFormat)) AUDIOSIGNAL_SetReadOnly(signal, true);

    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT);
    state->shownStamp = stamp;
    doc->changeStamp = stamp;
    doc->fileStamp = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_FILE);
    const int64_t size = AUDIOSIGNAL_SizeInDisk(signal);
    doc->fileSize = size > 0 ? static_cast<uint64_t>(size) : 0;

    TAVOAUDIO_SetZoomLimitsEx(audio, -1, -1, kOpenZoomNotify);
    TAVOAUDIO_ZoomResetEx(audio, 0);
    TAVOAUDIO_SetCursorPositionEx2(audio, 0, 0);
    TAVOSTATE_ResetRegionsState(state);
    if (BLSETTINGS_GetBoolEx(nullptr, "libtavo.zoom.normalized_on_open=0")) TAVOAUDIO_ZoomVerticalNormalized(audio);

    const AUDIO_FORMAT format = AUDIOSIGNAL_GetFormat(signal);
    if (format.formatTag == AUDIO_FORMATTAG_LINK) applyLinkOptions(doc);

    if (format.bitsPerSample > 16) {
        char kind[256] = "";
        BLSETTINGS_GetStringEx(nullptr, kind, sizeof(kind), "libtavo.draw.vertscalekind");
        if (TAVOCONFIG_DecodeVertScaleKind(kind, -1) < 0)
            TAVOAUDIO_SetDrawProperty(audio, kDrawPropertyVertScale, kVertScaleHighResolution);
    }

    if (AUDIOSIGNAL_IsReadOnly(signal)) state->fileFlags |= TAVOSTATE_FILE_READ_ONLY;
    const bool wasReset = (state->fileFlags & TAVOSTATE_FILE_RESET_LINK) != 0;
    state->fileFlags &= ~TAVOSTATE_FILE_RESET_LINK;
    TAVOCONFIG_ApplyStateConfigurationEx(audio, state, false);
    state->tempo = std::max(kMinTempo, AUDIOMETADATA_GetBeatsPerMinuteEx(AUDIOSIGNAL_Metadata(signal), kMinTempo));
    lock.release();
    if (old != nullptr) AUDIOSIGNAL_Destroy(old);

    {
        TavoDocWriteLock again(doc);
        if (again) _TAVOAUDIO_ReadSidecars(doc, signal);
    }

    if (wasReset) {
        // A link reset before it was read opens as a recovered document
        // that counts as changed.
        if (_TAVOAUDIO_Signal(doc) != nullptr) {
            {
                TavoDocWriteLock again(doc);
                doc->changeStamp = 0;
                state->fileFlags &= ~TAVOSTATE_FILE_OWN;
            }
            TAVOSTATE_NotifyChanges(audio, 0, TAVOAUDIO_CHANGES_ALL);
        } else if ((state->fileFlags & TAVOSTATE_FILE_LINK) != 0) {
            state->fileFlags |= TAVOSTATE_FILE_RESET_LINK;
        }
    }

    BLNOTIFY_SendEvent(doc, 0, TAVOEVENT_PROCESS_FINISHED, nullptr, nullptr, nullptr);
    if (!wasReset) {
        BLNOTIFY_SendEvent(nullptr, 0, TAVODATABASE_UPDATE_AUDIO, doc, nullptr, nullptr);
        BLNOTIFY_SendEvent(nullptr, 0, TAVODATABASE_GET_FILE_ID, doc, &state->fileId, nullptr);
        BLNOTIFY_SendEvent(nullptr, 0, TAVODATABASE_GET_AUDIO_PROPERTIES, doc, nullptr, nullptr);
        if ((doc->flags & TAVOAUDIO_FLAG_NO_RECENT) == 0 && (openFlags & TAVOAUDIO_OPEN_NO_RECENT) == 0)
            BLNOTIFY_SendEvent(nullptr, 0, TAVODATABASE_UPDATE_RECENT_FILENAME, doc, nullptr, nullptr);
    }
    return true;
}

} // namespace

namespace {

// The sidecars of an audio file: "<stem>.<track id>.<extension>" (the
// regions of the annotation tracks, the names AUDIOSIGNAL_SaveSrtSidecars
// writes, the extension telling the file type), "<stem>.tracks.json" (the
// track sidecar) and their ".bkp" backups. Calls found(path, tail, id, type)
// with the name's part after the stem ("." included), and the track id and
// file type of a region sidecar ("" and AUDIOCUSTOMTRACK_FILE_NONE for the
// track sidecar and the backups).
template <typename Found>
void forEachSidecar(const char *audioName, Found found)
{
    namespace fs = std::filesystem;
    std::error_code failure;
    const fs::path audioPath(audioName);
    const fs::path folder = audioPath.has_parent_path() ? audioPath.parent_path() : fs::path(".");
    const std::string prefix = audioPath.stem().string() + ".";
    const std::string trackList = fs::path(_TAVOTRACKS_SidecarPath(audioName)).filename().string();
    const auto cutEnd = [](std::string &text, const std::string &end) {
        const bool ends = text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
        if (ends) text.resize(text.size() - end.size());
        return ends;
    };
    fs::directory_iterator it(folder, failure);
    if (failure) return;
    for (const fs::directory_entry &entry : it) {
        const std::string name = entry.path().filename().string();
        if (name.size() <= prefix.size() || name.compare(0, prefix.size(), prefix) != 0) continue;
        std::string id = name.substr(prefix.size());
        const bool backup = cutEnd(id, ".bkp");
        int32_t type = AUDIOCUSTOMTRACK_FILE_NONE;
        if (prefix + id == trackList) {
            id.clear();
        } else {
            for (int32_t kind : {AUDIOCUSTOMTRACK_FILE_SRT, AUDIOCUSTOMTRACK_FILE_WEBVTT, AUDIOCUSTOMTRACK_FILE_LABELS})
                if (cutEnd(id, std::string(".") + AUDIOCUSTOMTRACK_FileTypeExtension(kind))) {
                    type = kind;
                    break;
                }
            if (type == AUDIOCUSTOMTRACK_FILE_NONE || id.empty() || id.find('.') != std::string::npos) continue;
        }
        if (backup) {
            id.clear();
            type = AUDIOCUSTOMTRACK_FILE_NONE;
        }
        found(entry.path(), name.substr(prefix.size() - 1), id, type);
    }
}

} // namespace

int32_t _TAVOAUDIO_ReadSidecars(TavoDocument *doc, AUDIOSIGNAL signal)
{
    // The tracks listed in the track sidecar are made first, in their saved
    // order, so that the region sidecars fill them rather than add tracks in
    // folder order; their properties and links follow once every track
    // exists. Links and streams have no folder of their own to hold sidecars.
    const AUDIO_FORMAT format = AUDIOSIGNAL_GetFormat(signal);
    if (format.formatTag == AUDIO_FORMATTAG_LINK || format.formatTag == AUDIO_FORMATTAG_STREAM) return 0;
    TavoTrackSidecar tracks(doc->fileName);
    tracks.createTracks(signal);
    int32_t read = 0;
    forEachSidecar(doc->fileName, [&](const std::filesystem::path &path, const std::string &, const std::string &id,
                                      int32_t type) {
        if (id.empty()) return;  // the track sidecar, or a backup
        char format[320];
        std::snprintf(format, sizeof(format), "%s[track=%s,linked=1]", AUDIOCUSTOMTRACK_FileTypeToString(type),
                      id.c_str());
        if (AUDIOSIGNAL_ReadRegionsEx(signal, path.c_str(), format, AUDIOSIGNAL_REGIONS_EXTERNAL)) ++read;
    });
    tracks.apply(doc, signal);
    return read;
}

bool _TAVOAUDIO_MoveSidecars(const char *oldName, const char *newName)
{
    namespace fs = std::filesystem;
    std::vector<std::pair<fs::path, fs::path>> moves;
    const fs::path newPath(newName);
    const fs::path folder = newPath.has_parent_path() ? newPath.parent_path() : fs::path(".");
    forEachSidecar(oldName, [&](const fs::path &path, const std::string &tail, const std::string &, int32_t) {
        moves.emplace_back(path, folder / (newPath.stem().string() + tail));
    });
    bool moved = true;
    for (const auto &[from, to] : moves) {
        std::error_code failure;
        fs::rename(from, to, failure);
        if (failure) {
            BLDEBUG_Error("cannot move the sidecar %s to %s", from.c_str(), to.c_str());
            moved = false;
        }
    }
    return moved;
}

TAVO_API bool TAVOAUDIO_Link(TAVOAUDIO audio, const char *fileName, const char *format)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || fileName == nullptr || format == nullptr) return false;
    if (_TAVOAUDIO_Signal(doc) != nullptr) return false;
    if ((doc->state->fileFlags & TAVOSTATE_FILE_UNRESOLVED) == 0 || (doc->flags & TAVOAUDIO_FLAG_EDITABLE) == 0)
        return false;
    TavoDocWriteLock lock(doc);
    if (!lock) return false;
    char canonical[TAVOAUDIO_NAME_SIZE];
    if (!BLIO_ExtractCanonicalFileName(fileName, canonical, sizeof(canonical)))
        std::snprintf(canonical, sizeof(canonical), "%s", fileName);
    _TAVOAUDIO_StoreFileName(doc, canonical);
    std::snprintf(doc->fileFormat, sizeof(doc->fileFormat), "%s", format);
    doc->state->fileFlags = (doc->state->fileFlags & ~TAVOSTATE_FILE_UNRESOLVED) | TAVOSTATE_FILE_LINK |
                            TAVOSTATE_FILE_OWN;
    doc->fileStamp = _TAVOAUDIO_FileStamp(doc->fileName);
    return true;
}

TAVO_API TAVOAUDIO TAVOAUDIO_OpenEx(const char *fileName, const char *format, uint32_t openFlags)
{
    if (fileName == nullptr || format == nullptr) return nullptr;
    TavoDocument *doc = _TAVOAUDIO_CreateRecord();
    if (doc == nullptr) return nullptr;
    doc->state->fileFlags |= TAVOSTATE_FILE_UNRESOLVED;
    _TAVOAUDIO_AttachSignal(doc, nullptr);
    _TAVOAUDIO_Register(doc);
    TAVOAUDIO_Link(doc, fileName, format);
    const uint32_t fileFlags = doc->state->fileFlags;
    if (_TAVOAUDIO_Signal(doc) == nullptr && (fileFlags & TAVOSTATE_FILE_OWN) != 0 &&
        (fileFlags & TAVOSTATE_FILE_LINK) != 0 && resolveLink(doc, nullptr, openFlags))
        return doc;
    TAVOAUDIO_Close(doc);
    return nullptr;
}

TAVO_API bool TAVOAUDIO_OpenLinkEx(TAVOAUDIO audio, void *parent, uint32_t openFlags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || _TAVOAUDIO_Signal(doc) != nullptr) return false;
    const uint32_t fileFlags = doc->state->fileFlags;
    if ((fileFlags & TAVOSTATE_FILE_OWN) == 0 || (fileFlags & TAVOSTATE_FILE_LINK) == 0) return false;
    return resolveLink(doc, parent, openFlags);
}

TAVO_API bool TAVOAUDIO_CanOpenEx(const char *fileName, const char *format, uint32_t *error)
{
    uint32_t signalError = 0;
    if (AUDIOSIGNAL_CanOpenEx(fileName, format, &signalError)) return true;
    if (error != nullptr) {
        const uint32_t code = _TranslateAudioSignalError(signalError);
        *error = code != 0 ? code : 12;
    }
    return false;
}

TAVO_API bool TAVOAUDIO_ProbeFileEx(const char *fileName, const char *format, AUDIO_FORMAT *formatOut,
                                    int64_t *framesOut, uint32_t *error)
{
    uint32_t signalError = 0;
    if (AUDIOSIGNAL_ProbeFileEx(fileName, format, formatOut, framesOut, &signalError)) return true;
    if (error != nullptr) {
        const uint32_t code = _TranslateAudioSignalError(signalError);
        *error = code != 0 ? code : 12;
    }
    return false;
}
