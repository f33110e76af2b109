// template_check.cpp: what makes a track template valid. The checks run in
// a fixed order and stop at the first failure, so a user who fixes one
// message at a time always sees the same next one. Links may only point to
// earlier entries: a template can then be applied in one pass, each link
// resolving to a track that already exists.
#include "regions/template_check_p.h"

#include <cstdio>
#include <cstring>

namespace {

// Per-index messages are formatted here first, then copied to the caller.
constexpr size_t kMessageSize = 256;

bool failAt(char *error, int32_t size, const char *format, int32_t index)
{
    char message[kMessageSize];
    std::snprintf(message, sizeof message, format, static_cast<int>(index));
    _TAVOTRACKS_ReportError(error, size, message);
    return false;
}

bool fail(char *error, int32_t size, const char *message)
{
    _TAVOTRACKS_ReportError(error, size, message);
    return false;
}

bool checkRoot(BLDICT root, char *error, int32_t size)
{
    if (!BLDICT_IsObject(root, nullptr)) return fail(error, size, "Invalid template root");
    if (!BLDICT_IsString(root, "format")) return fail(error, size, "Template field 'format' is missing");
    if (std::strcmp(BLDICT_GetString(root, "format", ""), TAVOTRACKS_TEMPLATE_FORMAT) != 0)
        return fail(error, size, "Invalid template format");
    if (!BLDICT_IsInteger(root, "version")) return fail(error, size, "Template field 'version' is missing");
    if (BLDICT_GetInteger(root, "version", 0) != 1) return fail(error, size, "Unsupported template version");
    if (!BLDICT_IsString(root, "name")) return fail(error, size, "Template field 'name' is missing");
    if (!BLDICT_IsArray(root, "tracks")) return fail(error, size, "Template field 'tracks' is missing");
    return true;
}

// The per-entry field checks; `entry` is item `index` of the array.
bool checkEntryFields(BLDICT entry, int32_t index, char *error, int32_t size)
{
    if (!BLDICT_IsObject(entry, nullptr)) return failAt(error, size, "Invalid track entry at index %d", index);
    if (!BLDICT_IsString(entry, "id")) return failAt(error, size, "Track field 'id' is missing at index %d", index);
    if (!BLDICT_IsString(entry, "label"))
        return failAt(error, size, "Track field 'label' is missing at index %d", index);
    if (BLDICT_TypeOf(entry, "linked_to") != BLDICT_TYPE_NONE && !BLDICT_IsString(entry, "linked_to"))
        return failAt(error, size, "Track field 'linked_to' must be a string at index %d", index);
    if (BLDICT_TypeOf(entry, "file_type") != BLDICT_TYPE_NONE && !BLDICT_IsString(entry, "file_type"))
        return failAt(error, size, "Track field 'file_type' must be a string at index %d", index);
    if (BLDICT_TypeOf(entry, "default") != BLDICT_TYPE_NONE && !BLDICT_IsBoolean(entry, "default"))
        return failAt(error, size, "Track field 'default' must be a boolean at index %d", index);
    if (BLDICT_TypeOf(entry, "font_size") != BLDICT_TYPE_NONE && !BLDICT_IsNumber(entry, "font_size"))
        return failAt(error, size, "Track field 'font_size' must be numeric at index %d", index);
    if (BLDICT_TypeOf(entry, "number_of_lines") != BLDICT_TYPE_NONE && !BLDICT_IsInteger(entry, "number_of_lines"))
        return failAt(error, size, "Track field 'number_of_lines' must be an integer at index %d", index);
    return true;
}

bool checkTracks(BLDICT tracks, char *error, int32_t size)
{
    if (!BLDICT_IsArray(tracks, nullptr)) return fail(error, size, "Invalid tracks array");
    const int32_t count = BLDICT_ArrayCount(tracks);
    if (count == 0) return fail(error, size, "Template contains no tracks");
    int32_t defaults = 0;
    for (int32_t i = 0; i < count; ++i) {
        BLDICT entry = BLDICT_ArrayItem(tracks, i);
        if (!checkEntryFields(entry, i, error, size)) return false;
        if (BLDICT_GetBoolean(entry, "default", false)) ++defaults;

        const char *id = BLDICT_GetString(entry, "id", "");
        for (int32_t k = i + 1; k < count; ++k) {
            BLDICT later = BLDICT_ArrayItem(tracks, k);
            if (!BLDICT_IsObject(later, nullptr)) return fail(error, size, "Invalid track entry");
            if (!BLDICT_IsString(later, "id")) return fail(error, size, "Track field 'id' is missing");
            if (std::strcmp(BLDICT_GetString(later, "id", ""), id) == 0) return fail(error, size, "Duplicate track id");
        }

        if (!BLDICT_IsString(entry, "linked_to")) continue;
        const char *link = BLDICT_GetString(entry, "linked_to", "");
        if (std::strcmp(link, id) == 0) return fail(error, size, "Track cannot link to itself");
        bool found = false;
        for (int32_t k = 0; k < i && !found; ++k)
            found = std::strcmp(BLDICT_GetString(BLDICT_ArrayItem(tracks, k), "id", ""), link) == 0;
        if (!found) return fail(error, size, "Invalid 'linked_to' reference");
    }
    if (defaults > 1) return fail(error, size, "Multiple default tracks are not allowed");
    return true;
}

void copyText(char *out, size_t size, const char *text)
{
    std::snprintf(out, size, "%s", text != nullptr ? text : "");
}

} // namespace

void _TAVOTRACKS_ReportError(char *error, int32_t size, const char *message)
{
    if (error == nullptr || size < 1) return;
    std::snprintf(error, static_cast<size_t>(size), "%s", message != nullptr ? message : "");
}

bool _TAVOTRACKS_CheckTemplate(BLDICT root, char *error, int32_t size)
{
    return checkRoot(root, error, size) && checkTracks(BLDICT_GetArray(root, "tracks"), error, size);
}

void _TAVOTRACKS_ReadTemplateInfo(BLDICT root, TAVOTRACKTEMPLATEINFO *info)
{
    if (info == nullptr) return;
    std::memset(info, 0, sizeof *info);
    copyText(info->name, sizeof info->name, BLDICT_GetString(root, "name", ""));
    copyText(info->description, sizeof info->description, BLDICT_GetString(root, "description", ""));
    copyText(info->author, sizeof info->author, BLDICT_GetString(BLDICT_GetObject(root, "metadata"), "author", ""));
    BLDICT tracks = BLDICT_GetArray(root, "tracks");
    info->trackCount = BLDICT_ArrayCount(tracks);
    for (int32_t i = 0; i < info->trackCount; ++i)
        if (BLDICT_TypeOf(BLDICT_ArrayItem(tracks, i), "linked_to") != BLDICT_TYPE_NONE) info->hasLinks = 1;
}
