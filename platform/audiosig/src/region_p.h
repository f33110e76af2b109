// The objects behind the region, region-track and annotation-track
// handles, and the internal calls that the edit and file modules use to
// move regions with the audio and to read and write them in files.
#ifndef AUDIOSIG_REGION_P_H
#define AUDIOSIG_REGION_P_H

#include "audioregion.h"
#include "signal_p.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace asig {

// Counted pointer to a region or track object (intrusive count, so that a
// C handle and the signal's lists share one count).
template <typename T>
class Ref {
public:
    Ref() = default;
    // Takes over one reference the caller holds.
    static Ref adopt(T *object)
    {
        Ref ref;
        ref.m_object = object;
        return ref;
    }
    // Adds a reference of its own.
    static Ref share(T *object)
    {
        if (object != nullptr) object->m_references.fetch_add(1);
        return adopt(object);
    }
    Ref(const Ref &other) : m_object(other.m_object)
    {
        if (m_object != nullptr) m_object->m_references.fetch_add(1);
    }
    Ref(Ref &&other) noexcept : m_object(other.m_object) { other.m_object = nullptr; }
    Ref &operator=(Ref other) noexcept
    {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~Ref() { release(m_object); }
    T *get() const { return m_object; }
    T *operator->() const { return m_object; }
    // Gives the reference to the caller.
    T *leak()
    {
        T *object = m_object;
        m_object = nullptr;
        return object;
    }

private:
    static void release(T *object);
    T *m_object = nullptr;
};

} // namespace asig

// What a copy carries and AUDIOREGION_Compare compares.
struct RegionContents {
    int32_t kind = AUDIOREGION_KIND_REGION;  // REGION, LOOP or PREGAP; a zero-length REGION is a marker
    double begin = 0.0;                      // seconds
    double end = 0.0;
    std::string label;
    std::string comment;
    int32_t channel = -1;                    // -1: all channels
    uint32_t flags = 0;                      // RegionFlag bits
    uint64_t parentId = 0;                   // identity of the parent, 0 for a top-level region
    double share = 1.0;                      // duration as a share of the parent's

    bool operator==(const RegionContents &other) const = default;
};

enum RegionFlag : uint32_t {
    kLocked = 0x1,
    kHidden = 0x2,
    kDeleted = 0x4,
    kSelected = 0x8,
    kReadOnly = 0x10,
    kTextHide = 0x20,
    kLabelHide = 0x40,
    kChanged = 0x80,
    kTemporary = 0x100,
    kDeletedWithParent = 0x200,  // deleted because its parent was; undeleted with it
};

// Invariant: while m_track is set the track's list holds this region.
struct AudioRegionObject {
    std::atomic<int32_t> m_references{1};
    uint64_t m_id = 0;
    AudioRegionTrackObject *m_track = nullptr;  // the track holding it, null when detached
    int32_t m_trackHint = -1;                   // a copy: the track index of the original
    RegionContents m_contents;
};

struct CustomProperties {
    std::string linkedTo;
    int32_t fileType = AUDIOCUSTOMTRACK_FILE_NONE;
    float fontSize = 12.0f;  // points, the size a new annotation lane shows
    int32_t lines = 1;
    bool globalDefault = false;
    bool linkedDefault = false;
    bool visible = true;
    bool temporary = false;
    bool readOnly = false;

    bool operator==(const CustomProperties &other) const = default;
};

// A region track; the annotation-track handle is the same object (every
// track is allocated as AudioCustomTrackObject), valid as such when
// m_custom is set. Regions are kept sorted by (begin, end, identity).
struct AudioRegionTrackObject {
    std::atomic<int32_t> m_references{1};
    asig::RegionData *m_data = nullptr;  // the signal's region data, null for a copy
    int32_t m_indexHint = -1;            // a copy: the index of the original
    std::string m_uniqId;
    std::string m_label;
    bool m_deleted = false;
    bool m_custom = false;
    CustomProperties m_properties;
    std::string m_externalFile;          // "" when not linked to a region file
    std::string m_externalFormat;
    bool m_externalChanged = false;
    std::vector<asig::Ref<AudioRegionObject>> m_regions;
};

struct AudioCustomTrackObject : AudioRegionTrackObject {};

namespace asig {

// Releasing a track detaches the regions it still holds (region.cpp).
template <>
void Ref<AudioRegionObject>::release(AudioRegionObject *object);
template <>
void Ref<AudioRegionTrackObject>::release(AudioRegionTrackObject *object);

// The regions of one signal. Each signal has its own (a duplicate gets a
// deep copy whose regions keep their identities), so no region object is
// ever shared between two signals.
struct RegionData {
    AUDIOSIGNAL m_owner = nullptr;
    std::vector<Ref<AudioRegionTrackObject>> m_tracks;  // [0]: the signal's own
    ~RegionData();
};

// A region as files and edits exchange it.
struct PlainRegion {
    int32_t kind = AUDIOREGION_KIND_REGION;
    double begin = 0.0;
    double end = 0.0;
    std::string label;
    std::string comment;
};

// The contents a region read from a file starts with.
inline RegionContents contentsOf(const PlainRegion &plain)
{
    RegionContents contents;
    contents.kind = plain.kind;
    contents.begin = plain.begin;
    contents.end = plain.end;
    contents.label = plain.label;
    contents.comment = plain.comment;
    return contents;
}

// ---- region data of a signal (region.cpp) --------------------------------------

// The signal's region data, made on first use (null only when out of
// memory or for a null signal).
RegionData *regionsOf(AUDIOSIGNAL signal);

// A region's identity: process-wide, never 0.
uint64_t newRegionId();

// The track of `data` with unique id `uniqId` ("" for track 0); when
// absent, or deleted and `revive` is set, an annotation track with that id
// and `label` is made. Null when it cannot be had (the id of track 0 with
// a label, out of memory).
AudioRegionTrackObject *trackForId(AUDIOSIGNAL signal, const std::string &uniqId, const std::string &label);

// Adds a region to a track and keeps the track in order. Returns it
// (borrowed). Throws std::bad_alloc.
AudioRegionObject *insertRegion(AudioRegionTrackObject *track, const RegionContents &contents, uint64_t id);

// Puts a track's regions back in order after their bounds changed.
void sortRegions(AudioRegionTrackObject *track);

// Records a change of the regions of `track` (marking its file, when it is
// external, as changed).
void noteRegionChange(AUDIOSIGNAL signal, AudioRegionTrackObject *track);

// The signal's region data when it has any (never made here).
RegionData *existingRegions(AUDIOSIGNAL signal);

// Adds regions to track 0 of a signal that has just been read, without
// recording a change. False when out of memory.
bool loadFileRegions(AUDIOSIGNAL signal, const std::vector<PlainRegion> &regions);

// The regions of track 0 to be written into an audio file: not deleted,
// not temporary, in order.
std::vector<PlainRegion> fileRegions(AUDIOSIGNAL signal);

// FLAC, Ogg Vorbis and Opus files keep the regions of track 0 as "REGION"
// comments, one a region: "begin<TAB>end<TAB>kind<TAB>label<TAB>comment",
// times in seconds, kind one of region/loop/marker/pregap, and backslash,
// tab, newline and return in texts written as \\, \t, \n, \r
// (region_files.cpp). Other formats get none.
bool keepsCommentRegions(int16_t formatTag);
std::vector<std::string> commentRegions(AUDIOSIGNAL signal, int16_t formatTag);
// Loads the regions of such comments into track 0; comments that do not
// decode are skipped.
void loadCommentRegions(AUDIOSIGNAL signal, const std::vector<std::string> &comments);
// One comment and back (decode: false for a malformed text).
std::string encodeCommentRegion(const PlainRegion &region);
bool decodeCommentRegion(std::string_view text, PlainRegion &region);

// ---- edits (region_edit.cpp) ---------------------------------------------------

// Moves the regions of `signal` for the removal of [begin, end) seconds:
// regions after it move left, regions across it shrink, regions inside it
// are marked deleted. With `clipboard`, copies of the regions inside (and
// of the parts across it) go to it, placed from `offset` seconds. Records a
// change when anything moved.
void removeRangeRegions(AUDIOSIGNAL signal, double begin, double end, AUDIOSIGNAL clipboard, double offset);

// Moves the regions of `signal` for `length` seconds inserted at `at`:
// regions from `at` on move right, regions across `at` grow. Then adds
// copies of `source`'s regions (taken before, in `pasted`) from `at` on.
struct RegionSnapshot {
    struct Entry {
        std::string trackId;
        std::string trackLabel;
        RegionContents contents;
        uint64_t id = 0;
    };
    std::vector<Entry> entries;
};
RegionSnapshot snapshotRegions(AUDIOSIGNAL signal);
void insertRangeRegions(AUDIOSIGNAL signal, double at, double length, const RegionSnapshot &pasted);

// ---- region files (region_files.cpp) ---------------------------------------------

// Parsers of the region-file texts: false (and `out` untouched) for
// malformed input.
bool parseSrt(std::string_view text, std::vector<PlainRegion> &out);
bool parseWebVtt(std::string_view text, std::vector<PlainRegion> &out);
bool parseLabels(std::string_view text, std::vector<PlainRegion> &out);

std::string writeSrt(const std::vector<PlainRegion> &regions);
std::string writeWebVtt(const std::vector<PlainRegion> &regions);
std::string writeLabels(const std::vector<PlainRegion> &regions);

// ---- WAV chunks (region_wav.cpp) ------------------------------------------------

// Reads the cue points, their labels (LIST adtl) and the smpl loops of a
// RIFF WAVE file through `fd`. False for a file that is not RIFF WAVE or
// whose region chunks are malformed; `out` then stays as it was.
bool readWavRegions(int fd, int32_t sampleRate, std::vector<PlainRegion> &out);

// The same from a whole file held in memory (the fuzz target's entry).
bool parseWavRegions(std::string_view file, int32_t sampleRate, std::vector<PlainRegion> &out);

// Appends "cue ", "LIST" (adtl) and "smpl" chunks for `regions` to the
// RIFF WAVE file open for writing at `fd` and corrects the RIFF size.
// False on a write error (errno kept).
bool appendWavRegions(int fd, int32_t sampleRate, const std::vector<PlainRegion> &regions);

// Hooks of the file modules. After a file's samples are read: its regions
// (WAV only; malformed region chunks leave the signal without regions, the
// audio opens all the same). While a file is written, after libsndfile
// closed it and before it is renamed into place: the regions of track 0
// (WAV only). False with errno set on a write error.
void readAudioFileRegions(AUDIOSIGNAL signal, int fd, int16_t tag, int32_t sampleRate);
bool writeAudioFileRegions(AUDIOSIGNAL signal, int fd, int16_t tag, int32_t sampleRate);

} // namespace asig

#endif
