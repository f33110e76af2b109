// The metadata object: named fields and artwork, their text, number and
// binary forms, and the signal's hold on its object (create, replace,
// remove, the copy a duplicate gets).
#include "metadata_p.h"
#include "region_p.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace asig {

namespace {

// Vorbis comments put no limit on names; 255 keeps a name within one
// length byte of the formats that have one, and is far beyond any real tag.
constexpr size_t kMaxFieldName = 255;

// A text field beyond 1 MiB is no label any more (lyrics run to a few KiB).
constexpr size_t kMaxTextBytes = size_t(1) << 20;

// Binary fields stay in memory; 64 MiB bounds what a caller's mistake
// can cost.
constexpr int64_t kMaxBinaryBytes = int64_t(1) << 26;

// A FLAC picture block holds 2^24 - 1 bytes, MIME type and description
// included; 64 KiB stay free for those, so an artwork fits every format.
constexpr int64_t kMaxArtworkBytes = (int64_t(1) << 24) - (int64_t(1) << 16);

constexpr std::string_view kArtworkName = AUDIOMETADATA_FIELD_ARTWORK;

// What an edit did: refused (nothing changed), or succeeded with or
// without a change of the values.
enum class Edit { Refused, Same, Changed };

// Runs `edit` on the fields and, when it changed them, marks the owner
// signal. Edits must leave the fields as they were when they throw.
template <typename EditFunction>
bool change(AUDIOMETADATA metadata, EditFunction &&edit)
{
    if (metadata == nullptr) return false;
    try {
        const std::lock_guard ownerLock(metadata->m_ownerMutex);
        AUDIOSIGNAL owner = metadata->m_owner;
        if (owner != nullptr && AUDIOSIGNAL_IsReadOnly(owner)) return false;
        Edit result;
        {
            const std::lock_guard lock(metadata->m_mutex);
            result = edit(metadata->m_fields);
        }
        if (result == Edit::Refused) return false;
        if (result == Edit::Changed && owner != nullptr) AUDIOSIGNAL_NotifyChange(owner, AUDIOSIGNAL_CHANGE_METADATA);
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

template <typename Result, typename ReadFunction>
Result inspect(AUDIOMETADATA metadata, Result fallback, ReadFunction &&read)
{
    if (metadata == nullptr) return fallback;
    try {
        const std::lock_guard lock(metadata->m_mutex);
        return read(metadata->m_fields);
    } catch (const std::bad_alloc &) {
        return fallback;
    }
}

bool sameBytes(const std::shared_ptr<const std::string> &a, const std::shared_ptr<const std::string> &b)
{
    if (a == nullptr || b == nullptr) return a == b;
    return a == b || *a == *b;
}

bool sameArtwork(const std::shared_ptr<const Artwork> &a, const std::shared_ptr<const Artwork> &b)
{
    if (a == nullptr || b == nullptr) return a == b;
    return a == b || (a->mimeType == b->mimeType && sameBytes(a->image, b->image));
}

// Sets or (for an empty value) removes a plain field; `bytes` already
// checked by the caller.
Edit putValue(FieldTable &fields, const std::string &name, std::string_view bytes)
{
    const auto found = fields.values.find(name);
    if (bytes.empty()) {
        if (found == fields.values.end()) return Edit::Same;
        fields.values.erase(found);
        return Edit::Changed;
    }
    if (found != fields.values.end() && *found->second == bytes) return Edit::Same;
    auto value = std::make_shared<const std::string>(bytes);
    fields.values.insert_or_assign(name, std::move(value));
    return Edit::Changed;
}

bool setText(AUDIOMETADATA metadata, const char *field, const char *text)
{
    std::string name;
    if (field == nullptr || !normalizeFieldName(field, name) || name == kArtworkName) return false;
    const std::string_view bytes = text != nullptr ? std::string_view(text) : std::string_view();
    if (bytes.size() > kMaxTextBytes || !isText(bytes)) return false;
    return change(metadata, [&](FieldTable &fields) { return putValue(fields, name, bytes); });
}

// A whole decimal number of 1 to 10 digits within 32 bits unsigned, as the
// track, disc and year setters take it.
bool isUnsignedNumber(std::string_view text)
{
    if (text.empty() || text.size() > 10) return false;
    uint64_t value = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
    return status == std::errc() && end == text.data() + text.size() && value <= UINT32_MAX;
}

bool setNumberText(AUDIOMETADATA metadata, const char *field, const char *number)
{
    if (number != nullptr && number[0] != '\0' && !isUnsignedNumber(number)) return false;
    return setText(metadata, field, number);
}

// The leading whole number of a value: optional spaces and sign, then
// digits ("7/12" reads 7, "2021-05-04" 2021).
bool leadingInteger(const std::string &value, int64_t &out)
{
    size_t at = 0;
    while (at < value.size() && value[at] == ' ') ++at;
    if (at < value.size() && value[at] == '+') ++at;
    const auto [end, status] = std::from_chars(value.data() + at, value.data() + value.size(), out);
    return status == std::errc() && end != value.data() + at;
}

int64_t integerOf(AUDIOMETADATA metadata, std::string_view field, int64_t fallback)
{
    const std::string name(field);
    return inspect(metadata, fallback, [&](const FieldTable &fields) {
        const auto found = fields.values.find(name);
        int64_t value = 0;
        if (found == fields.values.end() || !leadingInteger(*found->second, value)) return fallback;
        return value;
    });
}

// The numbers of track, disc and year: 0 for absent, negative or too large.
int32_t countOf(AUDIOMETADATA metadata, std::string_view field)
{
    const int64_t value = integerOf(metadata, field, 0);
    return value < 0 || value > INT32_MAX ? 0 : int32_t(value);
}

// The MIME type from an image's signature, for callers that do not name it.
const char *sniffImageType(const uint8_t *bytes, int64_t size)
{
    const auto starts = [&](const char *magic, size_t length, size_t offset = 0) {
        return size_t(size) >= offset + length && std::memcmp(bytes + offset, magic, length) == 0;
    };
    if (starts("\x89PNG\r\n\x1a\n", 8)) return "image/png";
    if (starts("\xff\xd8\xff", 3)) return "image/jpeg";
    if (starts("GIF87a", 6) || starts("GIF89a", 6)) return "image/gif";
    if (starts("RIFF", 4) && starts("WEBP", 4, 8)) return "image/webp";
    if (starts("BM", 2)) return "image/bmp";
    return nullptr;
}

// "type/subtype" of printable ASCII, as ID3 and FLAC store it (Latin-1,
// no length beyond what a name needs).
bool validMimeType(std::string_view type)
{
    if (type.empty() || type.size() > kMaxFieldName || type.find('/') == std::string_view::npos) return false;
    return std::all_of(type.begin(), type.end(), [](char c) { return c > 0x20 && c < 0x7f; });
}

AUDIOMETADATA newObject(FieldTable fields)
{
    auto *object = new AudioMetadataObject;
    object->m_fields = std::move(fields);
    return object;
}

FieldTable fieldsOf(AUDIOMETADATA metadata)
{
    const std::lock_guard lock(metadata->m_mutex);
    return metadata->m_fields;
}

// Swaps the signal's record for `replacement` (null removes). False when
// the signal is read-only; `previous` gets the old record, to be released
// by the caller once no lock is held.
bool swapRecord(AUDIOSIGNAL signal, std::shared_ptr<MetadataData> replacement,
                std::shared_ptr<MetadataData> &previous)
{
    const std::unique_lock lock(signal->m_mutex);
    if (signal->m_readOnly) return false;
    previous = std::move(signal->m_metadata);
    signal->m_metadata = std::move(replacement);
    return true;
}

} // namespace

bool normalizeFieldName(std::string_view name, std::string &out)
{
    if (name.empty() || name.size() > kMaxFieldName) return false;
    out.resize(name.size());
    for (size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (c < 0x20 || c > 0x7d || c == '=') return false;
        out[i] = c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c;
    }
    return true;
}

bool isText(std::string_view bytes)
{
    size_t i = 0;
    while (i < bytes.size()) {
        const auto c = uint8_t(bytes[i]);
        if (c == 0) return false;
        if (c < 0x80) {
            ++i;
            continue;
        }
        // Lead byte: the length of the sequence and the smallest code point
        // it may carry (shorter forms are overlong and refused).
        size_t length;
        uint32_t point;
        uint32_t least;
        if ((c & 0xe0) == 0xc0) {
            length = 2, point = c & 0x1f, least = 0x80;
        } else if ((c & 0xf0) == 0xe0) {
            length = 3, point = c & 0x0f, least = 0x800;
        } else if ((c & 0xf8) == 0xf0) {
            length = 4, point = c & 0x07, least = 0x10000;
        } else {
            return false;
        }
        if (i + length > bytes.size()) return false;
        for (size_t k = 1; k < length; ++k) {
            const auto next = uint8_t(bytes[i + k]);
            if ((next & 0xc0) != 0x80) return false;
            point = point << 6 | (next & 0x3f);
        }
        if (point < least || point > 0x10ffff || (point >= 0xd800 && point <= 0xdfff)) return false;
        i += length;
    }
    return true;
}

MetadataData::MetadataData(AUDIOMETADATA metadata, AUDIOSIGNAL owner) : object(metadata)
{
    const std::lock_guard lock(object->m_ownerMutex);
    object->m_owner = owner;
}

MetadataData::~MetadataData()
{
    {
        const std::lock_guard lock(object->m_ownerMutex);
        object->m_owner = nullptr;
    }
    AUDIOMETADATA_Destroy(object);
}

std::shared_ptr<MetadataData> attachMetadata(AUDIOSIGNAL owner, FieldTable fields)
{
    AUDIOMETADATA object = newObject(std::move(fields));
    try {
        return std::make_shared<MetadataData>(object, owner);
    } catch (...) {
        AUDIOMETADATA_Destroy(object);
        throw;
    }
}

std::shared_ptr<MetadataData> copyMetadataData(const MetadataData *data, AUDIOSIGNAL owner)
{
    if (data == nullptr) return nullptr;
    return attachMetadata(owner, fieldsOf(data->object));
}

FieldTable metadataFields(AUDIOSIGNAL signal, uint64_t *contentStamp)
{
    std::shared_ptr<MetadataData> record;
    {
        const std::shared_lock lock(signal->m_mutex);
        record = signal->m_metadata;
        if (contentStamp != nullptr) *contentStamp = signal->m_time[AUDIOSIGNAL_STAMP_CONTENT];
    }
    return record != nullptr ? fieldsOf(record->object) : FieldTable{};
}

void readFileMetadata(AUDIOSIGNAL signal, int fd, int16_t formatTag, bool tags)
{
    try {
        FieldTable fields;
        if (!readFileTags(fd, formatTag, fields)) return;
        if (!fields.regions.empty()) loadCommentRegions(signal, fields.regions);
        if (!tags || fields.empty()) return;
        std::shared_ptr<MetadataData> record = attachMetadata(signal, std::move(fields));
        const std::unique_lock lock(signal->m_mutex);
        signal->m_metadata.swap(record);
    } catch (const std::bad_alloc &) {
        // Opens without its tags, as a file with unreadable ones does.
    }
}

} // namespace asig

using asig::FieldTable;

// ---- objects -------------------------------------------------------------------

AUDIO_API AUDIOMETADATA AUDIOMETADATA_New(void)
{
    try {
        return asig::newObject({});
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

AUDIO_API AUDIOMETADATA AUDIOMETADATA_DuplicateEx(AUDIOMETADATA metadata, uint32_t flags)
{
    if (metadata == nullptr) return nullptr;
    try {
        FieldTable fields = asig::fieldsOf(metadata);
        if ((flags & AUDIOMETADATA_DUPLICATE_BINARY) == 0) {
            fields.artwork.reset();
            std::erase_if(fields.values, [](const auto &entry) { return !asig::isText(*entry.second); });
        }
        return asig::newObject(std::move(fields));
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

AUDIO_API bool AUDIOMETADATA_Destroy(AUDIOMETADATA metadata)
{
    if (metadata == nullptr) return false;
    if (metadata->m_references.fetch_sub(1) == 1) delete metadata;
    return true;
}

// ---- fields by name ------------------------------------------------------------------

AUDIO_API bool AUDIOMETADATA_SetMetaData(AUDIOMETADATA metadata, const char *field, const char *value)
{
    return asig::setText(metadata, field, value);
}

AUDIO_API bool AUDIOMETADATA_SetIntegerMetaData(AUDIOMETADATA metadata, const char *field, int64_t value)
{
    char text[24];  // 19 digits, a sign and the terminator
    std::snprintf(text, sizeof(text), "%lld", static_cast<long long>(value));
    return asig::setText(metadata, field, text);
}

AUDIO_API bool AUDIOMETADATA_SetBinaryMetaData(AUDIOMETADATA metadata, const char *field, const void *data,
                                               int64_t size)
{
    std::string name;
    if (field == nullptr || !asig::normalizeFieldName(field, name) || name == asig::kArtworkName) return false;
    if (size < 0 || size > asig::kMaxBinaryBytes || (data == nullptr && size > 0)) return false;
    const std::string_view bytes(static_cast<const char *>(data), size_t(size));
    return asig::change(metadata, [&](FieldTable &fields) { return asig::putValue(fields, name, bytes); });
}

AUDIO_API int64_t AUDIOMETADATA_CopyMetaData(AUDIOMETADATA metadata, const char *field, char *buffer, size_t size)
{
    std::string name;
    if (field == nullptr || !asig::normalizeFieldName(field, name) || (buffer == nullptr && size > 0)) return -1;
    return asig::inspect(metadata, int64_t(-1), [&](const FieldTable &fields) -> int64_t {
        const auto found = fields.values.find(name);
        if (found == fields.values.end()) return -1;
        const std::string &value = *found->second;
        if (value.find('\0') != std::string::npos) return -1;
        if (size > 0) {
            size_t length = std::min(value.size(), size - 1);
            // Never leave half a character at the cut.
            while (length > 0 && length < value.size() && (uint8_t(value[length]) & 0xc0) == 0x80) --length;
            std::memcpy(buffer, value.data(), length);
            buffer[length] = '\0';
        }
        return int64_t(value.size());
    });
}

AUDIO_API int64_t AUDIOMETADATA_GetIntegerMetaData(AUDIOMETADATA metadata, const char *field, int64_t fallback)
{
    std::string name;
    if (field == nullptr || !asig::normalizeFieldName(field, name)) return fallback;
    return asig::integerOf(metadata, name, fallback);
}

AUDIO_API int64_t AUDIOMETADATA_CopyBinaryMetaData(AUDIOMETADATA metadata, const char *field, void *buffer,
                                                   int64_t size)
{
    std::string name;
    if (field == nullptr || !asig::normalizeFieldName(field, name) || size < 0 || (buffer == nullptr && size > 0))
        return -1;
    return asig::inspect(metadata, int64_t(-1), [&](const FieldTable &fields) -> int64_t {
        const auto found = fields.values.find(name);
        if (found == fields.values.end()) return -1;
        const std::string &value = *found->second;
        if (size > 0) std::memcpy(buffer, value.data(), std::min(value.size(), size_t(size)));
        return int64_t(value.size());
    });
}

// ---- named text fields -------------------------------------------------------------------

AUDIO_API bool AUDIOMETADATA_SetTitle(AUDIOMETADATA metadata, const char *text)
{
    return asig::setText(metadata, AUDIOMETADATA_FIELD_TITLE, text);
}

AUDIO_API bool AUDIOMETADATA_SetArtist(AUDIOMETADATA metadata, const char *text)
{
    return asig::setText(metadata, AUDIOMETADATA_FIELD_ARTIST, text);
}

AUDIO_API bool AUDIOMETADATA_SetAlbumArtist(AUDIOMETADATA metadata, const char *text)
{
    return asig::setText(metadata, AUDIOMETADATA_FIELD_ALBUMARTIST, text);
}

AUDIO_API bool AUDIOMETADATA_SetAlbumName(AUDIOMETADATA metadata, const char *text)
{
    return asig::setText(metadata, AUDIOMETADATA_FIELD_ALBUM, text);
}

AUDIO_API bool AUDIOMETADATA_SetComposer(AUDIOMETADATA metadata, const char *text)
{
    return asig::setText(metadata, AUDIOMETADATA_FIELD_COMPOSER, text);
}

AUDIO_API bool AUDIOMETADATA_SetGenre(AUDIOMETADATA metadata, const char *text)
{
    return asig::setText(metadata, AUDIOMETADATA_FIELD_GENRE, text);
}

AUDIO_API bool AUDIOMETADATA_SetComments(AUDIOMETADATA metadata, const char *text)
{
    return asig::setText(metadata, AUDIOMETADATA_FIELD_COMMENT, text);
}

AUDIO_API bool AUDIOMETADATA_SetReleaseDate(AUDIOMETADATA metadata, const char *text)
{
    return asig::setText(metadata, AUDIOMETADATA_FIELD_RELEASEDATE, text);
}

// ---- numbers as text -----------------------------------------------------------------------

AUDIO_API bool AUDIOMETADATA_SetTrackNumStr(AUDIOMETADATA metadata, const char *number)
{
    return asig::setNumberText(metadata, AUDIOMETADATA_FIELD_TRACKNUMBER, number);
}

AUDIO_API bool AUDIOMETADATA_SetTotalAlbumTracksStr(AUDIOMETADATA metadata, const char *number)
{
    return asig::setNumberText(metadata, AUDIOMETADATA_FIELD_TRACKTOTAL, number);
}

AUDIO_API bool AUDIOMETADATA_SetDiscNumStr(AUDIOMETADATA metadata, const char *number)
{
    return asig::setNumberText(metadata, AUDIOMETADATA_FIELD_DISCNUMBER, number);
}

AUDIO_API bool AUDIOMETADATA_SetTotalAlbumDiscsStr(AUDIOMETADATA metadata, const char *number)
{
    return asig::setNumberText(metadata, AUDIOMETADATA_FIELD_DISCTOTAL, number);
}

AUDIO_API bool AUDIOMETADATA_SetYearStr(AUDIOMETADATA metadata, const char *number)
{
    return asig::setNumberText(metadata, AUDIOMETADATA_FIELD_DATE, number);
}

AUDIO_API int32_t AUDIOMETADATA_GetTrackNum(AUDIOMETADATA metadata)
{
    return asig::countOf(metadata, AUDIOMETADATA_FIELD_TRACKNUMBER);
}

AUDIO_API int32_t AUDIOMETADATA_GetTotalAlbumTracks(AUDIOMETADATA metadata)
{
    return asig::countOf(metadata, AUDIOMETADATA_FIELD_TRACKTOTAL);
}

AUDIO_API int32_t AUDIOMETADATA_GetDiscNum(AUDIOMETADATA metadata)
{
    return asig::countOf(metadata, AUDIOMETADATA_FIELD_DISCNUMBER);
}

AUDIO_API int32_t AUDIOMETADATA_GetTotalAlbumDiscs(AUDIOMETADATA metadata)
{
    return asig::countOf(metadata, AUDIOMETADATA_FIELD_DISCTOTAL);
}

AUDIO_API int32_t AUDIOMETADATA_GetYear(AUDIOMETADATA metadata)
{
    const int32_t year = asig::countOf(metadata, AUDIOMETADATA_FIELD_DATE);
    return year != 0 ? year : asig::countOf(metadata, AUDIOMETADATA_FIELD_RELEASEDATE);
}

AUDIO_API bool AUDIOMETADATA_SetBeatsPerMinute(AUDIOMETADATA metadata, double bpm)
{
    // 1000 BPM is beyond any music; the limit keeps the text short.
    if (!(bpm > 0.0 && bpm <= 1000.0)) return false;
    char text[32];
    std::snprintf(text, sizeof(text), "%.2f", bpm);
    // Trailing zeros go: "120" rather than "120.00", as ID3 expects a whole
    // number where the tempo is one.
    std::string value(text);
    while (value.back() == '0') value.pop_back();
    if (value.back() == '.') value.pop_back();
    return asig::setText(metadata, AUDIOMETADATA_FIELD_BPM, value.c_str());
}

AUDIO_API double AUDIOMETADATA_GetBeatsPerMinuteEx(AUDIOMETADATA metadata, double fallback)
{
    return asig::inspect(metadata, fallback, [&](const FieldTable &fields) {
        const auto found = fields.values.find(AUDIOMETADATA_FIELD_BPM);
        if (found == fields.values.end()) return fallback;
        const std::string &text = *found->second;
        size_t at = 0;
        while (at < text.size() && text[at] == ' ') ++at;
        double value = 0.0;
        const auto [end, status] = std::from_chars(text.data() + at, text.data() + text.size(), value);
        if (status != std::errc() || end == text.data() + at || !std::isfinite(value) || value <= 0.0) return fallback;
        return value;
    });
}

// ---- artwork -------------------------------------------------------------------------------

AUDIO_API bool AUDIOMETADATA_SetArtwork(AUDIOMETADATA metadata, const void *image, int64_t size,
                                        const char *mimeType)
{
    if (image == nullptr || size <= 0 || size > asig::kMaxArtworkBytes) return false;
    const auto *bytes = static_cast<const uint8_t *>(image);
    const char *type = mimeType != nullptr ? mimeType : asig::sniffImageType(bytes, size);
    if (type == nullptr || !asig::validMimeType(type)) return false;
    try {
        auto artwork = std::make_shared<asig::Artwork>();
        artwork->image = std::make_shared<const std::string>(reinterpret_cast<const char *>(bytes), size_t(size));
        artwork->mimeType = type;
        std::shared_ptr<const asig::Artwork> fixed = std::move(artwork);
        return asig::change(metadata, [&](FieldTable &fields) {
            if (asig::sameArtwork(fields.artwork, fixed)) return asig::Edit::Same;
            fields.artwork = fixed;
            return asig::Edit::Changed;
        });
    } catch (const std::bad_alloc &) {
        return false;
    }
}

AUDIO_API bool AUDIOMETADATA_ClearArtwork(AUDIOMETADATA metadata)
{
    return asig::change(metadata, [](FieldTable &fields) {
        if (fields.artwork == nullptr) return asig::Edit::Same;
        fields.artwork.reset();
        return asig::Edit::Changed;
    });
}

AUDIO_API bool AUDIOMETADATA_HasArtwork(AUDIOMETADATA metadata)
{
    return asig::inspect(metadata, false, [](const FieldTable &fields) { return fields.artwork != nullptr; });
}

AUDIO_API int64_t AUDIOMETADATA_CopyArtwork(AUDIOMETADATA metadata, void *buffer, int64_t size)
{
    if (size < 0 || (buffer == nullptr && size > 0)) return -1;
    return asig::inspect(metadata, int64_t(-1), [&](const FieldTable &fields) -> int64_t {
        if (fields.artwork == nullptr) return -1;
        const std::string &image = *fields.artwork->image;
        if (size > 0) std::memcpy(buffer, image.data(), std::min(image.size(), size_t(size)));
        return int64_t(image.size());
    });
}

AUDIO_API bool AUDIOMETADATA_CopyArtworkMimeType(AUDIOMETADATA metadata, char *buffer, size_t size)
{
    if (buffer == nullptr || size == 0) return false;
    return asig::inspect(metadata, false, [&](const FieldTable &fields) {
        if (fields.artwork == nullptr || fields.artwork->mimeType.size() >= size) return false;
        std::memcpy(buffer, fields.artwork->mimeType.c_str(), fields.artwork->mimeType.size() + 1);
        return true;
    });
}

// ---- the fields as a whole -------------------------------------------------------------------

AUDIO_API int32_t AUDIOMETADATA_NumFields(AUDIOMETADATA metadata)
{
    return asig::inspect(metadata, int32_t(0), [](const FieldTable &fields) { return int32_t(fields.count()); });
}

AUDIO_API char **AUDIOMETADATA_CopyFieldNames(AUDIOMETADATA metadata, int32_t *count)
{
    if (metadata == nullptr) return nullptr;
    std::vector<std::string> names;
    try {
        const std::lock_guard lock(metadata->m_mutex);
        names.reserve(metadata->m_fields.count());
        for (const auto &entry : metadata->m_fields.values) names.push_back(entry.first);
        if (metadata->m_fields.artwork != nullptr) names.emplace_back(asig::kArtworkName);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
    std::sort(names.begin(), names.end());
    // The pointers, their null terminator, then the texts, in one block the
    // caller frees at once.
    size_t bytes = (names.size() + 1) * sizeof(char *);
    for (const std::string &name : names) bytes += name.size() + 1;
    auto **list = static_cast<char **>(std::malloc(bytes));
    if (list == nullptr) return nullptr;
    char *text = reinterpret_cast<char *>(list + names.size() + 1);
    for (size_t i = 0; i < names.size(); ++i) {
        list[i] = text;
        std::memcpy(text, names[i].c_str(), names[i].size() + 1);
        text += names[i].size() + 1;
    }
    list[names.size()] = nullptr;
    if (count != nullptr) *count = int32_t(names.size());
    return list;
}

AUDIO_API bool AUDIOMETADATA_IsMixedDataField(AUDIOMETADATA metadata, const char *field)
{
    std::string name;
    return metadata != nullptr && field != nullptr && asig::normalizeFieldName(field, name) &&
           name == asig::kArtworkName;
}

AUDIO_API bool AUDIOMETADATA_CompareField(AUDIOMETADATA a, AUDIOMETADATA b, const char *field)
{
    std::string name;
    if (a == nullptr || b == nullptr || field == nullptr || !asig::normalizeFieldName(field, name)) return false;
    if (a == b) return true;
    try {
        // Copies (cheap: values are shared) so that the two objects' locks
        // are never held together.
        const FieldTable first = asig::fieldsOf(a);
        const FieldTable second = asig::fieldsOf(b);
        if (name == asig::kArtworkName) return asig::sameArtwork(first.artwork, second.artwork);
        const auto x = first.values.find(name);
        const auto y = second.values.find(name);
        if (x == first.values.end() || y == second.values.end())
            return x == first.values.end() && y == second.values.end();
        return asig::sameBytes(x->second, y->second);
    } catch (const std::bad_alloc &) {
        return false;
    }
}

// ---- the signal's metadata ---------------------------------------------------------------------

AUDIO_API AUDIOMETADATA AUDIOSIGNAL_Metadata(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return nullptr;
    const std::shared_lock lock(signal->m_mutex);
    return signal->m_metadata != nullptr ? signal->m_metadata->object : nullptr;
}

AUDIO_API AUDIOMETADATA AUDIOSIGNAL_MetadataRef(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return nullptr;
    const std::shared_lock lock(signal->m_mutex);
    if (signal->m_metadata == nullptr) return nullptr;
    AUDIOMETADATA object = signal->m_metadata->object;
    object->m_references.fetch_add(1);
    return object;
}

AUDIO_API AUDIOMETADATA AUDIOSIGNAL_CreateMetadata(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return nullptr;
    if (AUDIOMETADATA existing = AUDIOSIGNAL_Metadata(signal)) return existing;
    std::shared_ptr<asig::MetadataData> record;
    try {
        record = asig::attachMetadata(signal, {});
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
    // Another thread may have attached one meanwhile: that one stays, and
    // ours goes once the lock is released.
    const std::unique_lock lock(signal->m_mutex);
    if (signal->m_metadata != nullptr) return signal->m_metadata->object;
    if (signal->m_readOnly) return nullptr;
    signal->m_metadata.swap(record);
    return signal->m_metadata->object;
}

AUDIO_API bool AUDIOSIGNAL_ReplaceMetadata(AUDIOSIGNAL signal, AUDIOMETADATA metadata)
{
    if (signal == nullptr) return false;
    if (metadata == nullptr) return AUDIOSIGNAL_RemoveMetadata(signal);
    std::shared_ptr<asig::MetadataData> previous;
    AUDIOMETADATA object = nullptr;
    try {
        std::shared_ptr<asig::MetadataData> record = asig::attachMetadata(signal, asig::fieldsOf(metadata));
        object = record->object;
        if (!asig::swapRecord(signal, std::move(record), previous)) return false;
    } catch (const std::bad_alloc &) {
        return false;
    }
    previous.reset();  // cuts the old object's link without any lock held
    AUDIOSIGNAL_NotifyChange(signal, AUDIOSIGNAL_CHANGE_METADATA);
    _AUDIOSIGNAL_Notify(signal, AUDIO_NOTIFY_METADATA_REPLACED, 0, object);
    return true;
}

AUDIO_API bool AUDIOSIGNAL_RemoveMetadata(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return false;
    std::shared_ptr<asig::MetadataData> previous;
    if (!asig::swapRecord(signal, nullptr, previous)) return false;
    if (previous == nullptr) return true;
    const bool hadFields = AUDIOMETADATA_NumFields(previous->object) > 0;
    previous.reset();
    // An object without fields wrote nothing into the file, so removing it
    // leaves the file up to date.
    if (hadFields) AUDIOSIGNAL_NotifyChange(signal, AUDIOSIGNAL_CHANGE_METADATA);
    _AUDIOSIGNAL_Notify(signal, AUDIO_NOTIFY_METADATA_REPLACED, 0, nullptr);
    return true;
}
