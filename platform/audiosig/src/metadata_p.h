// The metadata object behind an AUDIOMETADATA handle, the record that ties
// it to its signal, and the internal calls with which the signal and the
// file modules copy, read and write tags.
#ifndef AUDIOSIG_METADATA_P_H
#define AUDIOSIG_METADATA_P_H

#include "audiometadata.h"
#include "signal_p.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>
#include <string_view>

namespace asig {

// The image of an artwork is shared between copies: it is never changed in
// place, a new artwork replaces the pointer.
struct Artwork {
    std::shared_ptr<const std::string> image;  // never null, never empty
    std::string mimeType;
};

// Invariants: every key is a valid field name in upper case and never
// "ARTWORK"; no value is null or empty. Values are shared between copies
// for the same reason as the image.
struct FieldTable {
    std::map<std::string, std::shared_ptr<const std::string>> values;
    std::shared_ptr<const Artwork> artwork;  // null when none
    // "REGION" comments of FLAC and Ogg files: the signal's regions, which
    // travel with the tags there but are not tags (not counted below).
    std::vector<std::string> regions;

    size_t count() const { return values.size() + (artwork ? 1 : 0); }
    bool empty() const { return count() == 0; }
};

// The upper-case form of a field name; false when it is empty, longer than
// 255 characters, or has a character outside 0x20..0x7d or '=' (what
// Vorbis comments allow).
bool normalizeFieldName(std::string_view name, std::string &out);

// Whether bytes are UTF-8 text without NUL, which every tag format holds.
bool isText(std::string_view bytes);

// A signal's hold on its metadata object: made when the object is attached
// (the object then marks this signal changed on every change) and
// destroyed when the signal lets go of it (the link is cut, the reference
// dropped). Created outside the signal's lock; the signal's lock is never
// held while one is destroyed.
struct MetadataData {
    MetadataData(AUDIOMETADATA object, AUDIOSIGNAL owner);  // takes over one reference
    ~MetadataData();
    MetadataData(const MetadataData &) = delete;
    MetadataData &operator=(const MetadataData &) = delete;

    AUDIOMETADATA object;
};

// A new object holding `fields`, attached to `owner`. Throws std::bad_alloc.
std::shared_ptr<MetadataData> attachMetadata(AUDIOSIGNAL owner, FieldTable fields);

// The fields of the signal's metadata (empty when it has none) and, in the
// same step, the signal's content stamp: a save that wrote these fields
// may count the metadata as saved only while the stamp has not moved.
FieldTable metadataFields(AUDIOSIGNAL signal, uint64_t *contentStamp);

// Reads what the tags of the file open as `fd` hold: the regions kept as
// comments (always) and, with `tags`, the metadata. Failures leave the
// signal without them; the audio still opens.
void readFileMetadata(AUDIOSIGNAL signal, int fd, int16_t formatTag, bool tags);

// ---- file tags (metadata_file.cpp) ------------------------------------------

// Whether this build writes the tags of files of that format.
bool formatHoldsTags(int16_t formatTag);

// The tags of the file open as `fd` (read with pread; the offset is not
// moved). False when the format holds none or the tags are unreadable.
bool readFileTags(int fd, int16_t formatTag, FieldTable &out);

// Makes the tags of the file open read-write as `fd` exactly `fields`
// (text values and the artwork; tags the fields lack are removed). False
// with AUDIO_ERROR_ bits (METADATA, or DISK_FULL / CANNOT_WRITE from the
// system) when anything failed: the file may then be damaged, so callers
// write only into a copy they can throw away.
bool writeFileTags(int fd, int16_t formatTag, const FieldTable &fields, uint32_t &error);

} // namespace asig

// Lock order: m_ownerMutex, then the owner signal's mutex; m_mutex is taken
// last and never held while another lock is taken, so a signal may copy
// its object's fields under its own lock. A new object's m_ownerMutex may
// be taken under any lock: no other thread can reach the object yet.
struct AudioMetadataObject {
    std::atomic<int32_t> m_references{1};

    mutable std::mutex m_mutex;  // guards m_fields
    asig::FieldTable m_fields;

    std::mutex m_ownerMutex;        // guards m_owner
    AUDIOSIGNAL m_owner = nullptr;  // the signal that holds this object, not counted
};

#endif
