// Regions and region tracks of a signal: the objects, their flags and
// structure, creation, deletion and undo support, and the changes of one
// region at a time.
#include "region_p.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <new>

#include <strings.h>

using asig::Ref;
using asig::RegionData;

namespace asig {

template <>
void Ref<AudioRegionObject>::release(AudioRegionObject *object)
{
    if (object != nullptr && object->m_references.fetch_sub(1) == 1) delete object;
}

template <>
void Ref<AudioRegionTrackObject>::release(AudioRegionTrackObject *object)
{
    if (object == nullptr || object->m_references.fetch_sub(1) != 1) return;
    for (const Ref<AudioRegionObject> &region : object->m_regions)
        if (region->m_track == object) region->m_track = nullptr;
    // Every track is allocated as the annotation-track type (see region_p.h).
    delete static_cast<AudioCustomTrackObject *>(object);
}

RegionData::~RegionData()
{
    // Tracks and regions that callers still hold answer as detached.
    for (const Ref<AudioRegionTrackObject> &track : m_tracks) track->m_data = nullptr;
}

} // namespace asig

namespace {

using RegionRef = Ref<AudioRegionObject>;
using TrackRef = Ref<AudioRegionTrackObject>;

uint64_t nextRegionId()
{
    static std::atomic<uint64_t> s_counter{0};
    return s_counter.fetch_add(1) + 1;
}

RegionRef makeRegion(const RegionContents &contents, uint64_t id)
{
    RegionRef region = RegionRef::adopt(new AudioRegionObject);
    region->m_id = id;
    region->m_contents = contents;
    return region;
}

TrackRef makeTrack(const std::string &uniqId, const std::string &label)
{
    TrackRef track = TrackRef::adopt(new AudioCustomTrackObject);
    track->m_uniqId = uniqId;
    track->m_label = label;
    return track;
}

bool isMarker(const RegionContents &c)
{
    return c.kind == AUDIOREGION_KIND_REGION && c.begin == c.end;
}

bool flag(const AudioRegionObject *region, uint32_t bit)
{
    return region != nullptr && (region->m_contents.flags & bit) != 0;
}

bool setFlag(AudioRegionObject *region, uint32_t bit, bool on)
{
    if (region == nullptr) return false;
    if (on)
        region->m_contents.flags |= bit;
    else
        region->m_contents.flags &= ~bit;
    return true;
}

bool before(const RegionRef &a, const RegionRef &b)
{
    const RegionContents &x = a->m_contents;
    const RegionContents &y = b->m_contents;
    if (x.begin != y.begin) return x.begin < y.begin;
    if (x.end != y.end) return x.end < y.end;
    return a->m_id < b->m_id;
}

void sortTrack(AudioRegionTrackObject *track)
{
    std::stable_sort(track->m_regions.begin(), track->m_regions.end(), before);
}

AUDIOSIGNAL ownerOf(const AudioRegionTrackObject *track)
{
    return track != nullptr && track->m_data != nullptr ? track->m_data->m_owner : nullptr;
}

AUDIOSIGNAL ownerOf(const AudioRegionObject *region)
{
    return region != nullptr ? ownerOf(region->m_track) : nullptr;
}

int32_t indexOf(const AudioRegionTrackObject *track)
{
    if (track == nullptr || track->m_data == nullptr) return -1;
    const auto &tracks = track->m_data->m_tracks;
    for (size_t i = 0; i < tracks.size(); ++i)
        if (tracks[i].get() == track) return int32_t(i);
    return -1;
}

RegionData *dataOf(AUDIOSIGNAL signal)
{
    return signal != nullptr ? asig::regionsOf(signal) : nullptr;
}

AudioRegionTrackObject *trackAt(RegionData *data, int32_t index)
{
    if (data == nullptr || index < 0 || size_t(index) >= data->m_tracks.size()) return nullptr;
    return data->m_tracks[size_t(index)].get();
}

AudioRegionTrackObject *trackById(RegionData *data, std::string_view id)
{
    if (data == nullptr) return nullptr;
    if (id.empty()) id = AUDIOREGIONTRACK_MAIN_ID;
    for (const TrackRef &track : data->m_tracks)
        if (track->m_uniqId == id) return track.get();
    return nullptr;
}

AudioCustomTrackObject *asCustom(AudioRegionTrackObject *track)
{
    return track != nullptr && track->m_custom ? static_cast<AudioCustomTrackObject *>(track) : nullptr;
}

AudioRegionObject *findById(AudioRegionTrackObject *track, uint64_t id)
{
    if (track == nullptr || id == 0) return nullptr;
    for (const RegionRef &region : track->m_regions)
        if (region->m_id == id) return region.get();
    return nullptr;
}

// The regions of a track whose parent is `id` (deleted ones too).
std::vector<AudioRegionObject *> childrenOf(AudioRegionTrackObject *track, uint64_t id)
{
    std::vector<AudioRegionObject *> children;
    if (track == nullptr) return children;
    for (const RegionRef &region : track->m_regions)
        if (region->m_contents.parentId == id) children.push_back(region.get());
    return children;
}

// The region and all its descendants.
void collectFamily(AudioRegionTrackObject *track, AudioRegionObject *region, std::vector<AudioRegionObject *> &out)
{
    out.push_back(region);
    for (AudioRegionObject *child : childrenOf(track, region->m_id)) collectFamily(track, child, out);
}

bool signalWritable(AUDIOSIGNAL signal)
{
    return signal != nullptr && !AUDIOSIGNAL_IsReadOnly(signal);
}

// A region of `signal` that may be changed.
bool editable(AUDIOSIGNAL signal, AudioRegionObject *region)
{
    return region != nullptr && ownerOf(region) == signal && signalWritable(signal) && !flag(region, kReadOnly) &&
           !flag(region, kDeleted);
}

// Records a change of the regions of `track` (and of its file, when it is
// external).
void recordChange(AUDIOSIGNAL signal, AudioRegionTrackObject *track)
{
    if (track != nullptr && !track->m_externalFile.empty()) track->m_externalChanged = true;
    AUDIOSIGNAL_NotifyChange(signal, AUDIOSIGNAL_CHANGE_REGIONS);
}

void touch(AudioRegionObject *region)
{
    region->m_contents.flags |= kChanged;
}

// Takes a region and its descendants out of their track for good.
void detachFamily(AudioRegionObject *region)
{
    AudioRegionTrackObject *track = region->m_track;
    if (track == nullptr) return;
    std::vector<AudioRegionObject *> family;
    collectFamily(track, region, family);
    std::vector<RegionRef> kept;
    kept.reserve(track->m_regions.size());
    std::vector<RegionRef> leaving;  // released after the list is rebuilt
    for (RegionRef &r : track->m_regions) {
        if (std::find(family.begin(), family.end(), r.get()) != family.end()) {
            r->m_track = nullptr;
            leaving.push_back(std::move(r));
        } else {
            kept.push_back(std::move(r));
        }
    }
    track->m_regions = std::move(kept);
}

// Clips the children of `parent` into its span and sets their shares.
void fitChildren(AudioRegionTrackObject *track, AudioRegionObject *parent)
{
    const RegionContents &p = parent->m_contents;
    const double duration = p.end - p.begin;
    for (AudioRegionObject *child : childrenOf(track, parent->m_id)) {
        RegionContents &c = child->m_contents;
        c.begin = std::clamp(c.begin, p.begin, p.end);
        c.end = std::clamp(c.end, c.begin, p.end);
        c.share = duration > 0.0 ? (c.end - c.begin) / duration : 0.0;
        fitChildren(track, child);
    }
}

bool passes(const AudioRegionObject *region, uint32_t option)
{
    const RegionContents &c = region->m_contents;
    if ((c.flags & kDeleted) != 0 && (option & AUDIOREGION_SEARCH_DELETED) == 0) return false;
    if ((c.flags & kHidden) != 0 && (option & AUDIOREGION_SEARCH_HIDDEN) == 0) return false;
    if ((option & AUDIOREGION_SEARCH_MARKERS_ONLY) != 0 && !isMarker(c)) return false;
    if ((option & AUDIOREGION_SEARCH_NO_MARKERS) != 0 && isMarker(c)) return false;
    if ((option & AUDIOREGION_SEARCH_TOP_LEVEL) != 0 && c.parentId != 0) return false;
    if ((option & AUDIOREGION_SEARCH_SELECTED) != 0 && (c.flags & kSelected) == 0) return false;
    return true;
}

// The tracks a search over `trackIndex` covers (-1: every track that is
// not deleted).
std::vector<AudioRegionTrackObject *> searchedTracks(RegionData *data, int32_t trackIndex)
{
    std::vector<AudioRegionTrackObject *> tracks;
    if (data == nullptr) return tracks;
    if (trackIndex < 0) {
        if (trackIndex != -1) return tracks;
        for (const TrackRef &track : data->m_tracks)
            if (!track->m_deleted) tracks.push_back(track.get());
    } else if (AudioRegionTrackObject *track = trackAt(data, trackIndex)) {
        tracks.push_back(track);
    }
    return tracks;
}

std::vector<AudioRegionObject *> listRegions(RegionData *data, int32_t trackIndex, uint32_t option)
{
    std::vector<AudioRegionObject *> out;
    for (AudioRegionTrackObject *track : searchedTracks(data, trackIndex))
        for (const RegionRef &region : track->m_regions)
            if (passes(region.get(), option)) out.push_back(region.get());
    return out;
}

int32_t fill(const std::vector<AudioRegionObject *> &regions, AUDIOREGION *out, int32_t max)
{
    if (out == nullptr || max <= 0) return 0;
    const int32_t n = std::min<int32_t>(max, int32_t(regions.size()));
    for (int32_t i = 0; i < n; ++i) out[i] = regions[size_t(i)];
    return n;
}

std::string text(const char *value)
{
    return value != nullptr ? std::string(value) : std::string();
}

} // namespace

// ---- region data ------------------------------------------------------------------

namespace asig {

RegionData *regionsOf(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return nullptr;
    {
        const std::shared_lock lock(signal->m_mutex);
        if (signal->m_regions) return signal->m_regions.get();
    }
    try {
        auto data = std::make_shared<RegionData>();
        data->m_owner = signal;
        data->m_tracks.push_back(makeTrack(AUDIOREGIONTRACK_MAIN_ID, ""));
        data->m_tracks.front()->m_data = data.get();
        const std::unique_lock lock(signal->m_mutex);
        if (!signal->m_regions) signal->m_regions = std::move(data);
        return signal->m_regions.get();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

namespace {

TrackRef copyTrack(const AudioRegionTrackObject *track)
{
    TrackRef copy = makeTrack(track->m_uniqId, track->m_label);
    copy->m_indexHint = indexOf(track);
    copy->m_deleted = track->m_deleted;
    copy->m_custom = track->m_custom;
    copy->m_properties = track->m_properties;
    copy->m_externalFile = track->m_externalFile;
    copy->m_externalFormat = track->m_externalFormat;
    copy->m_externalChanged = track->m_externalChanged;
    copy->m_regions.reserve(track->m_regions.size());
    for (const RegionRef &region : track->m_regions) {
        RegionRef r = makeRegion(region->m_contents, region->m_id);
        r->m_track = copy.get();
        copy->m_regions.push_back(std::move(r));
    }
    return copy;
}

} // namespace

std::shared_ptr<RegionData> copyRegionData(const RegionData *data, AUDIOSIGNAL owner)
{
    if (data == nullptr) return nullptr;
    try {
        auto copy = std::make_shared<RegionData>();
        copy->m_owner = owner;
        for (const TrackRef &track : data->m_tracks) {
            TrackRef t = copyTrack(track.get());
            t->m_indexHint = -1;
            t->m_data = copy.get();
            copy->m_tracks.push_back(std::move(t));
        }
        return copy;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

uint64_t newRegionId()
{
    return nextRegionId();
}

AudioRegionTrackObject *trackForId(AUDIOSIGNAL signal, const std::string &uniqId, const std::string &label)
{
    RegionData *data = regionsOf(signal);
    if (data == nullptr) return nullptr;
    AudioRegionTrackObject *track = trackById(data, uniqId);
    if (track != nullptr && !track->m_deleted) return track;
    if (uniqId.empty() || uniqId == AUDIOREGIONTRACK_MAIN_ID) return track;
    AUDIOCUSTOMTRACK made = AUDIOSIGNAL_AddCustomTrack(signal, uniqId.c_str(), label.c_str(), nullptr);
    return made;
}

AudioRegionObject *insertRegion(AudioRegionTrackObject *track, const RegionContents &contents, uint64_t id)
{
    RegionRef region = makeRegion(contents, id);
    region->m_track = track;
    AudioRegionObject *result = region.get();
    track->m_regions.push_back(std::move(region));
    sortTrack(track);
    return result;
}

void sortRegions(AudioRegionTrackObject *track)
{
    sortTrack(track);
}

void noteRegionChange(AUDIOSIGNAL signal, AudioRegionTrackObject *track)
{
    recordChange(signal, track);
}

RegionData *existingRegions(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return nullptr;
    const std::shared_lock lock(signal->m_mutex);
    return signal->m_regions.get();
}

bool loadFileRegions(AUDIOSIGNAL signal, const std::vector<PlainRegion> &regions)
{
    RegionData *data = regionsOf(signal);
    if (data == nullptr) return false;
    try {
        AudioRegionTrackObject *track = data->m_tracks.front().get();
        for (const PlainRegion &plain : regions) {
            RegionRef region = makeRegion(contentsOf(plain), nextRegionId());
            region->m_track = track;
            track->m_regions.push_back(std::move(region));
        }
        sortTrack(track);
    } catch (const std::bad_alloc &) {
        return false;
    }
    return true;
}

std::vector<PlainRegion> fileRegions(AUDIOSIGNAL signal)
{
    std::vector<PlainRegion> out;
    RegionData *data = regionsOf(signal);
    if (data == nullptr) return out;
    for (const RegionRef &region : data->m_tracks.front()->m_regions) {
        const RegionContents &c = region->m_contents;
        if ((c.flags & (kDeleted | kTemporary)) != 0) continue;
        out.push_back(PlainRegion{c.kind, c.begin, c.end, c.label, c.comment});
    }
    return out;
}

} // namespace asig

// ---- region handles -------------------------------------------------------------------

AUDIOREGION AUDIOREGION_GetReference(AUDIOREGION region)
{
    if (region == nullptr) return nullptr;
    region->m_references.fetch_add(1);
    return region;
}

bool AUDIOREGION_Dispose(AUDIOREGION region)
{
    if (region == nullptr) return false;
    RegionRef::adopt(region);  // drops the caller's reference
    return true;
}

AUDIOREGION AUDIOREGION_Copy(AUDIOREGION region)
{
    if (region == nullptr) return nullptr;
    try {
        RegionRef copy = makeRegion(region->m_contents, region->m_id);
        copy->m_trackHint = indexOf(region->m_track);
        return copy.leak();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

uint64_t AUDIOREGION_GetUniqId(AUDIOREGION region)
{
    return region != nullptr ? region->m_id : 0;
}

int32_t AUDIOREGION_Compare(AUDIOREGION a, AUDIOREGION b)
{
    if (a == b) return 0;
    if (a == nullptr || b == nullptr) return a == nullptr ? -1 : 1;
    const RegionContents &x = a->m_contents;
    const RegionContents &y = b->m_contents;
    if (x.begin != y.begin) return x.begin < y.begin ? -1 : 1;
    if (x.end != y.end) return x.end < y.end ? -1 : 1;
    if (a->m_id != b->m_id) return a->m_id < b->m_id ? -1 : 1;
    if (x == y) return 0;
    // Same region, other contents: any stable order will do.
    if (x.label != y.label) return x.label < y.label ? -1 : 1;
    if (x.comment != y.comment) return x.comment < y.comment ? -1 : 1;
    if (x.kind != y.kind) return x.kind < y.kind ? -1 : 1;
    if (x.channel != y.channel) return x.channel < y.channel ? -1 : 1;
    if (x.flags != y.flags) return x.flags < y.flags ? -1 : 1;
    if (x.parentId != y.parentId) return x.parentId < y.parentId ? -1 : 1;
    return x.share < y.share ? -1 : 1;
}

// ---- kind, place, texts ------------------------------------------------------------------

int32_t AUDIOREGION_GetKind(AUDIOREGION region)
{
    if (region == nullptr) return -1;
    return isMarker(region->m_contents) ? AUDIOREGION_KIND_MARKER : region->m_contents.kind;
}

bool AUDIOREGION_IsRegion(AUDIOREGION region)
{
    return AUDIOREGION_GetKind(region) == AUDIOREGION_KIND_REGION;
}

bool AUDIOREGION_IsLoop(AUDIOREGION region)
{
    return AUDIOREGION_GetKind(region) == AUDIOREGION_KIND_LOOP;
}

bool AUDIOREGION_IsMarker(AUDIOREGION region)
{
    return AUDIOREGION_GetKind(region) == AUDIOREGION_KIND_MARKER;
}

bool AUDIOREGION_IsPregap(AUDIOREGION region)
{
    return AUDIOREGION_GetKind(region) == AUDIOREGION_KIND_PREGAP;
}

double AUDIOREGION_GetBegin(AUDIOREGION region)
{
    return region != nullptr ? region->m_contents.begin : 0.0;
}

double AUDIOREGION_GetEnd(AUDIOREGION region)
{
    return region != nullptr ? region->m_contents.end : 0.0;
}

double AUDIOREGION_GetDuration(AUDIOREGION region)
{
    return region != nullptr ? region->m_contents.end - region->m_contents.begin : 0.0;
}

int32_t AUDIOREGION_GetTrackIndex(AUDIOREGION region)
{
    return region != nullptr ? indexOf(region->m_track) : -1;
}

const char *AUDIOREGION_GetLabel(AUDIOREGION region)
{
    return region != nullptr ? region->m_contents.label.c_str() : nullptr;
}

const char *AUDIOREGION_GetComment(AUDIOREGION region)
{
    return region != nullptr ? region->m_contents.comment.c_str() : nullptr;
}

int32_t AUDIOREGION_GetChannel(AUDIOREGION region)
{
    return region != nullptr ? region->m_contents.channel : -1;
}

// ---- flags ---------------------------------------------------------------------------------

bool AUDIOREGION_IsLocked(AUDIOREGION region)
{
    return flag(region, kLocked);
}

bool AUDIOREGION_Lock(AUDIOREGION region)
{
    return region != nullptr && !flag(region, kLocked) && setFlag(region, kLocked, true);
}

bool AUDIOREGION_Unlock(AUDIOREGION region)
{
    return flag(region, kLocked) && setFlag(region, kLocked, false);
}

bool AUDIOREGION_IsHidden(AUDIOREGION region)
{
    return flag(region, kHidden);
}

bool AUDIOREGION_Hide(AUDIOREGION region)
{
    return setFlag(region, kHidden, true);
}

bool AUDIOREGION_Unhide(AUDIOREGION region)
{
    return setFlag(region, kHidden, false);
}

bool AUDIOREGION_IsSelected(AUDIOREGION region)
{
    return flag(region, kSelected);
}

bool AUDIOREGION_SetSelected(AUDIOREGION region, bool selected)
{
    return setFlag(region, kSelected, selected);
}

bool AUDIOREGION_IsReadOnly(AUDIOREGION region)
{
    return flag(region, kReadOnly);
}

bool AUDIOREGION_SetReadOnly(AUDIOREGION region, bool readOnly)
{
    return setFlag(region, kReadOnly, readOnly);
}

bool AUDIOREGION_IsTextHide(AUDIOREGION region)
{
    return flag(region, kTextHide);
}

bool AUDIOREGION_SetTextHide(AUDIOREGION region, bool hide)
{
    return setFlag(region, kTextHide, hide);
}

bool AUDIOREGION_IsLabelHide(AUDIOREGION region)
{
    return flag(region, kLabelHide);
}

bool AUDIOREGION_SetLabelHide(AUDIOREGION region, bool hide)
{
    return setFlag(region, kLabelHide, hide);
}

bool AUDIOREGION_HasChanges(AUDIOREGION region)
{
    return flag(region, kChanged);
}

bool AUDIOREGION_SetChanged(AUDIOREGION region, bool changed)
{
    return setFlag(region, kChanged, changed);
}

bool AUDIOREGION_IsTemporary(AUDIOREGION region)
{
    return flag(region, kTemporary);
}

// ---- deletion and structure ------------------------------------------------------------------

bool AUDIOREGION_IsDeleted(AUDIOREGION region)
{
    return flag(region, kDeleted);
}

bool AUDIOREGION_CanDelete(AUDIOREGION region)
{
    if (region == nullptr || flag(region, kReadOnly) || flag(region, kDeleted)) return false;
    const uint64_t parent = region->m_contents.parentId;
    if (parent == 0 || findById(region->m_track, parent) == nullptr) return true;
    for (AudioRegionObject *sibling : childrenOf(region->m_track, parent))
        if (sibling != region && !flag(sibling, kDeleted)) return true;
    return false;
}

bool AUDIOREGION_DeleteEx(AUDIOREGION region, uint32_t flags)
{
    if (region == nullptr || region->m_track == nullptr) return false;
    AUDIOSIGNAL signal = ownerOf(region);
    AudioRegionTrackObject *track = region->m_track;
    const RegionRef keep = RegionRef::share(region);  // the handle outlives its removal
    try {
        detachFamily(region);
    } catch (const std::bad_alloc &) {
        return false;
    }
    if (signal != nullptr && (flags & AUDIOSIGNAL_REPLACE_NO_NOTIFY) == 0) recordChange(signal, track);
    return true;
}

AUDIOREGION AUDIOREGION_GetParent(AUDIOREGION region)
{
    if (region == nullptr) return nullptr;
    return findById(region->m_track, region->m_contents.parentId);
}

namespace {

std::vector<AudioRegionObject *> liveChildren(AUDIOREGION region)
{
    std::vector<AudioRegionObject *> children;
    if (region == nullptr) return children;
    for (AudioRegionObject *child : childrenOf(region->m_track, region->m_id))
        if (!flag(child, kDeleted)) children.push_back(child);
    return children;
}

} // namespace

int32_t AUDIOREGION_NumChildren(AUDIOREGION region)
{
    return int32_t(liveChildren(region).size());
}

AUDIOREGION AUDIOREGION_GetChild(AUDIOREGION region, int32_t index)
{
    const std::vector<AudioRegionObject *> children = liveChildren(region);
    if (index < 0 || size_t(index) >= children.size()) return nullptr;
    return children[size_t(index)];
}

double AUDIOREGION_GetChildShare(AUDIOREGION region)
{
    if (region == nullptr) return 0.0;
    return region->m_contents.parentId == 0 ? 1.0 : region->m_contents.share;
}

// ---- region tracks ------------------------------------------------------------------------------

int32_t AUDIOSIGNAL_NumRegionTracks(AUDIOSIGNAL signal)
{
    RegionData *data = dataOf(signal);
    return data != nullptr ? int32_t(data->m_tracks.size()) : 0;
}

AUDIOREGIONTRACK AUDIOSIGNAL_GetRegionTrack(AUDIOSIGNAL signal, int32_t index)
{
    return trackAt(dataOf(signal), index);
}

int32_t AUDIOSIGNAL_FindRegionTrackIndex(AUDIOSIGNAL signal, const char *uniqId)
{
    return indexOf(trackById(dataOf(signal), uniqId != nullptr ? uniqId : ""));
}

bool AUDIOSIGNAL_SetRegionTrackLabel(AUDIOSIGNAL signal, int32_t index, const char *label)
{
    AudioRegionTrackObject *track = trackAt(dataOf(signal), index);
    if (track == nullptr || label == nullptr || !signalWritable(signal)) return false;
    try {
        track->m_label = label;
    } catch (const std::bad_alloc &) {
        return false;
    }
    AUDIOSIGNAL_NotifyChange(signal, AUDIOSIGNAL_CHANGE_REGIONS);
    return true;
}

bool AUDIOSIGNAL_RenameRegionTrack(AUDIOSIGNAL signal, int32_t index, const char *label)
{
    AudioRegionTrackObject *track = trackAt(dataOf(signal), index);
    if (track == nullptr || label == nullptr || !signalWritable(signal)) return false;
    if (track->m_label == label) return true;
    try {
        // Copies: the parent may change the track while it answers.
        const std::string id = track->m_uniqId;
        const std::string wanted = label;
        if (!AUDIOSIGNAL_CallParent(signal, 111, const_cast<char *>(id.c_str()), const_cast<char *>(wanted.c_str())))
            return false;
        const int32_t now = AUDIOSIGNAL_FindRegionTrackIndex(signal, id.c_str());
        AudioRegionTrackObject *renamed = trackAt(dataOf(signal), now);
        if (renamed == nullptr) return false;
        return renamed->m_label == wanted || AUDIOSIGNAL_SetRegionTrackLabel(signal, now, wanted.c_str());
    } catch (const std::bad_alloc &) {
        return false;
    }
}

const char *AUDIOREGIONTRACK_GetUniqId(AUDIOREGIONTRACK track)
{
    return track != nullptr ? track->m_uniqId.c_str() : nullptr;
}

const char *AUDIOREGIONTRACK_GetLabel(AUDIOREGIONTRACK track)
{
    return track != nullptr ? track->m_label.c_str() : nullptr;
}

int32_t AUDIOREGIONTRACK_NumRegions(AUDIOREGIONTRACK track)
{
    if (track == nullptr) return 0;
    return int32_t(std::count_if(track->m_regions.begin(), track->m_regions.end(),
                                 [](const RegionRef &r) { return !flag(r.get(), kDeleted); }));
}

bool AUDIOREGIONTRACK_IsDeleted(AUDIOREGIONTRACK track)
{
    return track != nullptr && track->m_deleted;
}

bool AUDIOREGIONTRACK_IsExternal(AUDIOREGIONTRACK track)
{
    return track != nullptr && !track->m_externalFile.empty();
}

const char *AUDIOREGIONTRACK_GetExternalFile(AUDIOREGIONTRACK track)
{
    return track != nullptr ? track->m_externalFile.c_str() : nullptr;
}

bool AUDIOREGIONTRACK_HasExternalChanges(AUDIOREGIONTRACK track)
{
    return AUDIOREGIONTRACK_IsExternal(track) && track->m_externalChanged;
}

AUDIOREGIONTRACK AUDIOREGIONTRACK_Copy(AUDIOREGIONTRACK track)
{
    if (track == nullptr) return nullptr;
    try {
        return asig::copyTrack(track).leak();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

bool AUDIOREGIONTRACK_Dispose(AUDIOREGIONTRACK track)
{
    if (track == nullptr) return false;
    TrackRef::adopt(track);
    return true;
}

namespace {

// Finds region `id` on any track of the signal.
AudioRegionObject *findAnywhere(RegionData *data, uint64_t id)
{
    for (const TrackRef &track : data->m_tracks)
        if (AudioRegionObject *region = findById(track.get(), id)) return region;
    return nullptr;
}

// Gives `track` the regions of `copy`, reusing the region objects that
// still exist (so that handles held elsewhere stay good).
void restoreRegions(RegionData *data, AudioRegionTrackObject *track, const AudioRegionTrackObject *copy)
{
    std::vector<RegionRef> regions;
    regions.reserve(copy->m_regions.size());
    for (const RegionRef &saved : copy->m_regions) {
        AudioRegionObject *existing = findAnywhere(data, saved->m_id);
        RegionRef region =
            existing != nullptr ? RegionRef::share(existing) : makeRegion(saved->m_contents, saved->m_id);
        if (existing != nullptr && existing->m_track != track) {
            AudioRegionTrackObject *other = existing->m_track;
            std::erase_if(other->m_regions, [existing](const RegionRef &r) { return r.get() == existing; });
        }
        region->m_contents = saved->m_contents;
        regions.push_back(std::move(region));
    }
    for (const RegionRef &old : track->m_regions)
        if (std::none_of(regions.begin(), regions.end(), [&](const RegionRef &r) { return r.get() == old.get(); }))
            old->m_track = nullptr;
    for (const RegionRef &region : regions) region->m_track = track;
    track->m_regions = std::move(regions);
    sortTrack(track);
}

} // namespace

bool AUDIOSIGNAL_RestoreRegionTrack(AUDIOSIGNAL signal, AUDIOREGIONTRACK copy)
{
    RegionData *data = dataOf(signal);
    if (data == nullptr || copy == nullptr || copy->m_data != nullptr || !signalWritable(signal)) return false;
    try {
        AudioRegionTrackObject *track = trackById(data, copy->m_uniqId);
        if (track == nullptr) {
            TrackRef fresh = makeTrack(copy->m_uniqId, copy->m_label);
            fresh->m_data = data;
            // Track 0 stays the signal's own.
            const size_t at = std::clamp<size_t>(size_t(std::max(copy->m_indexHint, 1)), 1, data->m_tracks.size());
            track = fresh.get();
            data->m_tracks.insert(data->m_tracks.begin() + ptrdiff_t(at), std::move(fresh));
        }
        track->m_label = copy->m_label;
        track->m_deleted = copy->m_deleted;
        track->m_custom = copy->m_custom;
        track->m_properties = copy->m_properties;
        track->m_externalFile = copy->m_externalFile;
        track->m_externalFormat = copy->m_externalFormat;
        track->m_externalChanged = copy->m_externalChanged;
        restoreRegions(data, track, copy);
    } catch (const std::bad_alloc &) {
        return false;
    }
    AUDIOSIGNAL_NotifyChange(signal, AUDIOSIGNAL_CHANGE_REGIONS);
    return true;
}

// ---- annotation tracks -------------------------------------------------------------------------

namespace {

// Whether linking `track` to `target` keeps the links free of cycles.
bool linkAllowed(RegionData *data, const AudioRegionTrackObject *track, const std::string &target)
{
    if (target.empty()) return true;
    std::string at = target;
    // Each step follows one link; more steps than tracks means a cycle.
    for (size_t steps = 0; steps <= data->m_tracks.size(); ++steps) {
        if (at == track->m_uniqId) return false;
        AudioCustomTrackObject *next = asCustom(trackById(data, at));
        if (next == nullptr || next->m_deleted) return steps > 0;  // the first must exist
        if (next->m_properties.linkedTo.empty()) return true;
        at = next->m_properties.linkedTo;
    }
    return false;
}

// Records a change of an annotation track's saved properties.
bool propertyChanged(AudioRegionTrackObject *track)
{
    AUDIOSIGNAL signal = ownerOf(track);
    if (signal != nullptr) AUDIOSIGNAL_NotifyChange(signal, AUDIOSIGNAL_CHANGE_REGIONS);
    return true;
}

} // namespace

AUDIOCUSTOMTRACK AUDIOSIGNAL_AddCustomTrack(AUDIOSIGNAL signal, const char *uniqId, const char *label,
                                            const char *linkedTo)
{
    RegionData *data = dataOf(signal);
    if (data == nullptr || !signalWritable(signal)) return nullptr;
    try {
        std::string id = text(uniqId);
        if (id.empty()) {
            for (int n = 1; id.empty() || trackById(data, id) != nullptr; ++n) id = "track_" + std::to_string(n);
        }
        if (id == AUDIOREGIONTRACK_MAIN_ID) return nullptr;
        AudioRegionTrackObject *track = trackById(data, id);
        if (track != nullptr && !track->m_deleted) return nullptr;
        const std::string link = text(linkedTo);
        if (!link.empty() && (link == id || asCustom(trackById(data, link)) == nullptr ||
                              trackById(data, link)->m_deleted))
            return nullptr;
        if (track == nullptr) {
            TrackRef fresh = makeTrack(id, "");
            fresh->m_data = data;
            track = fresh.get();
            data->m_tracks.push_back(std::move(fresh));
        } else {
            for (const RegionRef &region : track->m_regions) region->m_track = nullptr;
            track->m_regions.clear();
            track->m_deleted = false;
            track->m_externalFile.clear();
            track->m_externalFormat.clear();
            track->m_externalChanged = false;
        }
        track->m_custom = true;
        track->m_label = label != nullptr ? label : id;
        track->m_properties = CustomProperties{};
        track->m_properties.linkedTo = link;
        AUDIOSIGNAL_NotifyChange(signal, AUDIOSIGNAL_CHANGE_REGIONS);
        return asCustom(track);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

bool AUDIOSIGNAL_ChannelTrackUniqId(int32_t channel, char *buffer, size_t size)
{
    if (channel < 0 || buffer == nullptr || size == 0) return false;
    const int n = std::snprintf(buffer, size, "channel_%02d_track", int(channel) + 1);
    return n > 0 && size_t(n) < size;
}

AUDIOCUSTOMTRACK AUDIOSIGNAL_CreateChannelTrack(AUDIOSIGNAL signal, int32_t channel)
{
    if (signal == nullptr || channel < 0 || channel >= AUDIOSIGNAL_NumChannels(signal)) return nullptr;
    char id[32];
    char label[32];
    AUDIOSIGNAL_ChannelTrackUniqId(channel, id, sizeof(id));
    std::snprintf(label, sizeof(label), "Channel %d", int(channel) + 1);
    if (AUDIOCUSTOMTRACK existing = AUDIOSIGNAL_FindCustomTrack(signal, id)) return existing;
    return AUDIOSIGNAL_AddCustomTrack(signal, id, label, nullptr);
}

bool AUDIOSIGNAL_RemoveCustomTrack(AUDIOSIGNAL signal, const char *uniqId, uint32_t flags)
{
    RegionData *data = dataOf(signal);
    if (data == nullptr || uniqId == nullptr || !signalWritable(signal)) return false;
    AudioCustomTrackObject *track = asCustom(trackById(data, uniqId));
    if (track == nullptr) return false;
    if ((flags & AUDIOSIGNAL_DELETE_FOR_GOOD) != 0) {
        const int32_t index = indexOf(track);
        TrackRef leaving = std::move(data->m_tracks[size_t(index)]);
        data->m_tracks.erase(data->m_tracks.begin() + index);
        leaving->m_data = nullptr;
        for (const RegionRef &region : leaving->m_regions) region->m_track = nullptr;
        leaving->m_regions.clear();
    } else {
        if (track->m_deleted) return false;
        track->m_deleted = true;
    }
    AUDIOSIGNAL_NotifyChange(signal, AUDIOSIGNAL_CHANGE_REGIONS);
    return true;
}

bool AUDIOSIGNAL_ContainsTrackUniqId(AUDIOSIGNAL signal, const char *uniqId)
{
    return AUDIOSIGNAL_FindCustomTrack(signal, uniqId) != nullptr;
}

int32_t AUDIOSIGNAL_NumCustomTracks(AUDIOSIGNAL signal)
{
    RegionData *data = dataOf(signal);
    if (data == nullptr) return 0;
    return int32_t(std::count_if(data->m_tracks.begin(), data->m_tracks.end(),
                                 [](const TrackRef &t) { return t->m_custom && !t->m_deleted; }));
}

AUDIOCUSTOMTRACK AUDIOSIGNAL_GetCustomTrack(AUDIOSIGNAL signal, int32_t index)
{
    RegionData *data = dataOf(signal);
    if (data == nullptr || index < 0) return nullptr;
    for (const TrackRef &track : data->m_tracks) {
        if (!track->m_custom || track->m_deleted) continue;
        if (index-- == 0) return asCustom(track.get());
    }
    return nullptr;
}

AUDIOCUSTOMTRACK AUDIOSIGNAL_FindCustomTrack(AUDIOSIGNAL signal, const char *uniqId)
{
    if (uniqId == nullptr || uniqId[0] == '\0') return nullptr;
    AudioCustomTrackObject *track = asCustom(trackById(dataOf(signal), uniqId));
    return track != nullptr && !track->m_deleted ? track : nullptr;
}

AUDIOREGIONTRACK AUDIOCUSTOMTRACK_RegionTrack(AUDIOCUSTOMTRACK track)
{
    return track;
}

const char *AUDIOCUSTOMTRACK_GetUniqId(AUDIOCUSTOMTRACK track)
{
    return track != nullptr ? track->m_uniqId.c_str() : nullptr;
}

const char *AUDIOCUSTOMTRACK_GetLabel(AUDIOCUSTOMTRACK track)
{
    return track != nullptr ? track->m_label.c_str() : nullptr;
}

const char *AUDIOCUSTOMTRACK_GetLinkedTo(AUDIOCUSTOMTRACK track)
{
    return track != nullptr ? track->m_properties.linkedTo.c_str() : nullptr;
}

bool AUDIOCUSTOMTRACK_SetLinkedTo(AUDIOCUSTOMTRACK track, const char *uniqId)
{
    if (track == nullptr || track->m_data == nullptr) return false;
    try {
        const std::string target = text(uniqId);
        if (!linkAllowed(track->m_data, track, target)) return false;
        track->m_properties.linkedTo = target;
    } catch (const std::bad_alloc &) {
        return false;
    }
    return propertyChanged(track);
}

int32_t AUDIOCUSTOMTRACK_GetFileType(AUDIOCUSTOMTRACK track)
{
    return track != nullptr ? track->m_properties.fileType : AUDIOCUSTOMTRACK_FILE_NONE;
}

bool AUDIOCUSTOMTRACK_SetFileType(AUDIOCUSTOMTRACK track, int32_t type)
{
    if (track == nullptr || type < AUDIOCUSTOMTRACK_FILE_NONE || type > AUDIOCUSTOMTRACK_FILE_LABELS) return false;
    track->m_properties.fileType = type;
    return propertyChanged(track);
}

namespace {

constexpr const char *kFileTypeNames[] = {"NONE", "SRT", "WEBVTT", "LABELS"};

} // namespace

const char *AUDIOCUSTOMTRACK_FileTypeToString(int32_t type)
{
    if (type < 0 || type > AUDIOCUSTOMTRACK_FILE_LABELS) return kFileTypeNames[0];
    return kFileTypeNames[type];
}

int32_t AUDIOCUSTOMTRACK_FileTypeFromString(const char *name)
{
    if (name == nullptr) return -1;
    for (int32_t i = 0; i <= AUDIOCUSTOMTRACK_FILE_LABELS; ++i)
        if (strcasecmp(name, kFileTypeNames[i]) == 0) return i;
    return -1;
}

float AUDIOCUSTOMTRACK_GetFontSize(AUDIOCUSTOMTRACK track)
{
    return track != nullptr ? track->m_properties.fontSize : 0.0f;
}

bool AUDIOCUSTOMTRACK_SetFontSize(AUDIOCUSTOMTRACK track, float size)
{
    if (track == nullptr || !std::isfinite(size) || size <= 0.0f) return false;
    track->m_properties.fontSize = size;
    return propertyChanged(track);
}

int32_t AUDIOCUSTOMTRACK_GetNumberOfLines(AUDIOCUSTOMTRACK track)
{
    return track != nullptr ? track->m_properties.lines : 0;
}

bool AUDIOCUSTOMTRACK_SetNumberOfLines(AUDIOCUSTOMTRACK track, int32_t lines)
{
    if (track == nullptr || lines < 1) return false;
    track->m_properties.lines = lines;
    return propertyChanged(track);
}

bool AUDIOCUSTOMTRACK_GetUseAsGlobalDefault(AUDIOCUSTOMTRACK track)
{
    return track != nullptr && track->m_properties.globalDefault;
}

bool AUDIOCUSTOMTRACK_SetUseAsGlobalDefault(AUDIOCUSTOMTRACK track, bool use)
{
    if (track == nullptr) return false;
    // One global default per signal: taking it clears the others.
    if (use && track->m_data != nullptr)
        for (const TrackRef &other : track->m_data->m_tracks) other->m_properties.globalDefault = false;
    track->m_properties.globalDefault = use;
    return propertyChanged(track);
}

bool AUDIOCUSTOMTRACK_GetUseAsLinkedDefault(AUDIOCUSTOMTRACK track)
{
    return track != nullptr && track->m_properties.linkedDefault;
}

bool AUDIOCUSTOMTRACK_SetUseAsLinkedDefault(AUDIOCUSTOMTRACK track, bool use)
{
    if (track == nullptr) return false;
    track->m_properties.linkedDefault = use;
    return propertyChanged(track);
}

bool AUDIOCUSTOMTRACK_IsVisibleEx(AUDIOCUSTOMTRACK track, int32_t mode)
{
    if (track == nullptr || !track->m_properties.visible) return false;
    if (mode != 1 || track->m_data == nullptr) return true;
    std::string at = track->m_properties.linkedTo;
    for (size_t steps = 0; !at.empty() && steps < track->m_data->m_tracks.size(); ++steps) {
        AudioCustomTrackObject *next = asCustom(trackById(track->m_data, at));
        if (next == nullptr) return true;
        if (!next->m_properties.visible) return false;
        at = next->m_properties.linkedTo;
    }
    return true;
}

bool AUDIOCUSTOMTRACK_SetVisible(AUDIOCUSTOMTRACK track, bool visible)
{
    if (track == nullptr) return false;
    track->m_properties.visible = visible;
    return true;
}

bool AUDIOCUSTOMTRACK_IsTemporary(AUDIOCUSTOMTRACK track)
{
    return track != nullptr && track->m_properties.temporary;
}

bool AUDIOCUSTOMTRACK_SetTemporary(AUDIOCUSTOMTRACK track, bool temporary)
{
    if (track == nullptr) return false;
    track->m_properties.temporary = temporary;
    return true;
}

bool AUDIOCUSTOMTRACK_IsReadOnly(AUDIOCUSTOMTRACK track)
{
    return track != nullptr && track->m_properties.readOnly;
}

bool AUDIOCUSTOMTRACK_SetReadOnly(AUDIOCUSTOMTRACK track, bool readOnly)
{
    if (track == nullptr) return false;
    track->m_properties.readOnly = readOnly;
    return true;
}

// ---- creating, deleting, replacing --------------------------------------------------------------

namespace {

// Kind names of AUDIOSIGNAL_CreateRegionsOnTrack; -1 for an unknown name.
// `numbered` is set for "default".
int32_t kindOfName(const char *name, bool &numbered)
{
    numbered = false;
    if (name == nullptr || strcasecmp(name, "undef") == 0 || strcasecmp(name, "region") == 0 ||
        strcasecmp(name, "marker") == 0)
        return AUDIOREGION_KIND_REGION;
    if (strcasecmp(name, "default") == 0) {
        numbered = true;
        return AUDIOREGION_KIND_REGION;
    }
    if (strcasecmp(name, "loop") == 0) return AUDIOREGION_KIND_LOOP;
    if (strcasecmp(name, "pregap") == 0) return AUDIOREGION_KIND_PREGAP;
    return -1;
}

bool validBounds(int32_t kind, double begin, double end)
{
    if (!std::isfinite(begin) || !std::isfinite(end) || begin < 0.0 || end < begin) return false;
    return kind == AUDIOREGION_KIND_REGION || end > begin;
}

} // namespace

int32_t AUDIOSIGNAL_CreateRegionsOnTrack(AUDIOSIGNAL signal, uint32_t flags, double begin, double end,
                                         const char *kind, const char *text1, const char *text2, int32_t trackIndex,
                                         AUDIOREGION *out, int32_t maxOut)
{
    RegionData *data = dataOf(signal);
    AudioRegionTrackObject *track = trackAt(data, trackIndex);
    if (track == nullptr || track->m_deleted || !signalWritable(signal)) return 0;
    bool numbered = false;
    const int32_t regionKind = kindOfName(kind, numbered);
    if (regionKind < 0 || !validBounds(regionKind, begin, end)) return 0;
    try {
        RegionContents contents;
        contents.kind = regionKind;
        contents.begin = begin;
        contents.end = end;
        contents.label = text(text1);
        contents.comment = text(text2);
        contents.flags = kChanged;
        if ((flags & AUDIOSIGNAL_CREATE_SELECTED) != 0) contents.flags |= kSelected;
        if ((flags & AUDIOSIGNAL_CREATE_TEMPORARY) != 0) contents.flags |= kTemporary;
        if ((flags & AUDIOSIGNAL_CREATE_READ_ONLY) != 0) contents.flags |= kReadOnly;
        if (numbered && contents.label.empty()) {
            const bool marker = isMarker(contents);
            const auto same = std::count_if(track->m_regions.begin(), track->m_regions.end(), [&](const RegionRef &r) {
                return !flag(r.get(), kDeleted) && isMarker(r->m_contents) == marker;
            });
            contents.label = (marker ? "Marker " : "Region ") + std::to_string(same + 1);
        }
        std::vector<int32_t> channels;
        if ((flags & AUDIOSIGNAL_CREATE_PER_CHANNEL) != 0) {
            for (int32_t c = 0; c < AUDIOSIGNAL_NumChannels(signal); ++c)
                if (AUDIOSIGNAL_ChannelActive(signal, c)) channels.push_back(c);
        } else {
            channels.push_back(-1);
        }
        std::vector<RegionRef> made;
        for (int32_t channel : channels) {
            contents.channel = channel;
            made.push_back(makeRegion(contents, nextRegionId()));
        }
        track->m_regions.reserve(track->m_regions.size() + made.size());
        for (size_t i = 0; i < made.size(); ++i) {
            made[i]->m_track = track;
            if (out != nullptr && int32_t(i) < maxOut) out[i] = made[i].get();
            track->m_regions.push_back(made[i]);
        }
        sortTrack(track);
        recordChange(signal, track);
        return int32_t(made.size());
    } catch (const std::bad_alloc &) {
        return 0;
    }
}

AUDIOREGION AUDIOSIGNAL_AddChildRegion(AUDIOSIGNAL signal, AUDIOREGION parent, double begin, double end,
                                       const char *label)
{
    if (!editable(signal, parent)) return nullptr;
    const RegionContents &p = parent->m_contents;
    if (!validBounds(AUDIOREGION_KIND_REGION, begin, end) || begin < p.begin || end > p.end) return nullptr;
    try {
        RegionContents contents;
        contents.begin = begin;
        contents.end = end;
        contents.label = text(label);
        contents.channel = p.channel;
        contents.parentId = parent->m_id;
        contents.flags = kChanged;
        const double duration = p.end - p.begin;
        contents.share = duration > 0.0 ? (end - begin) / duration : 0.0;
        RegionRef child = makeRegion(contents, nextRegionId());
        AudioRegionTrackObject *track = parent->m_track;
        child->m_track = track;
        AudioRegionObject *result = child.get();
        track->m_regions.push_back(std::move(child));
        sortTrack(track);
        recordChange(signal, track);
        return result;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

bool AUDIOSIGNAL_DeleteRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t flags)
{
    if (region == nullptr || ownerOf(region) != signal || !signalWritable(signal)) return false;
    AudioRegionTrackObject *track = region->m_track;
    if ((flags & AUDIOSIGNAL_DELETE_FOR_GOOD) != 0) return AUDIOREGION_DeleteEx(region, 0);
    if (!AUDIOREGION_CanDelete(region)) return false;
    try {
        std::vector<AudioRegionObject *> family;
        collectFamily(track, region, family);
        for (AudioRegionObject *member : family) {
            RegionContents &c = member->m_contents;
            if ((c.flags & kDeleted) != 0) continue;
            c.flags = (c.flags | kDeleted | kChanged) & ~uint32_t(kSelected);
            if (member != region) c.flags |= kDeletedWithParent;
        }
    } catch (const std::bad_alloc &) {
        return false;
    }
    recordChange(signal, track);
    return true;
}

bool AUDIOSIGNAL_UndeleteRegion(AUDIOSIGNAL signal, AUDIOREGION region)
{
    if (region == nullptr || ownerOf(region) != signal || !signalWritable(signal) || !flag(region, kDeleted))
        return false;
    AudioRegionTrackObject *track = region->m_track;
    try {
        std::vector<AudioRegionObject *> family;
        collectFamily(track, region, family);
        for (AudioRegionObject *member : family) {
            RegionContents &c = member->m_contents;
            if (member == region || (c.flags & kDeletedWithParent) != 0)
                c.flags = (c.flags & ~uint32_t(kDeleted | kDeletedWithParent)) | kChanged;
        }
    } catch (const std::bad_alloc &) {
        return false;
    }
    recordChange(signal, track);
    return true;
}

bool AUDIOSIGNAL_ReplaceRegion(AUDIOSIGNAL signal, AUDIOREGION region, AUDIOREGION copy)
{
    return AUDIOSIGNAL_ReplaceRegionEx(signal, region, copy, 0);
}

bool AUDIOSIGNAL_ReplaceRegionEx(AUDIOSIGNAL signal, AUDIOREGION region, AUDIOREGION copy, uint32_t flags)
{
    RegionData *data = dataOf(signal);
    if (data == nullptr || region == nullptr || copy == nullptr || region->m_id != copy->m_id ||
        !signalWritable(signal))
        return false;
    const AUDIOSIGNAL owner = ownerOf(region);
    if (owner != nullptr && owner != signal) return false;
    try {
        AudioRegionTrackObject *target = region->m_track;
        AudioRegionTrackObject *hinted = trackAt(data, copy->m_trackHint);
        if (hinted != nullptr) target = hinted;
        if (target == nullptr) target = data->m_tracks.front().get();
        if (region->m_track != target) {
            const RegionRef keep = RegionRef::share(region);
            if (AudioRegionTrackObject *old = region->m_track)
                std::erase_if(old->m_regions, [region](const RegionRef &r) { return r.get() == region; });
            target->m_regions.push_back(keep);
            region->m_track = target;
        }
        if (region != copy) region->m_contents = copy->m_contents;
        sortTrack(target);
        if ((flags & AUDIOSIGNAL_REPLACE_NO_NOTIFY) == 0) recordChange(signal, target);
        else if (!target->m_externalFile.empty()) target->m_externalChanged = true;
    } catch (const std::bad_alloc &) {
        return false;
    }
    return true;
}

// ---- changing a region ------------------------------------------------------------------------------

bool AUDIOSIGNAL_ChangeRegionLabel(AUDIOSIGNAL signal, AUDIOREGION region, const char *label)
{
    if (!editable(signal, region)) return false;
    try {
        region->m_contents.label = text(label);
    } catch (const std::bad_alloc &) {
        return false;
    }
    touch(region);
    recordChange(signal, region->m_track);
    return true;
}

bool AUDIOSIGNAL_ChangeRegionComment(AUDIOSIGNAL signal, AUDIOREGION region, const char *comment)
{
    if (!editable(signal, region)) return false;
    try {
        region->m_contents.comment = text(comment);
    } catch (const std::bad_alloc &) {
        return false;
    }
    touch(region);
    recordChange(signal, region->m_track);
    return true;
}

bool AUDIOSIGNAL_ChangeRegionChannel(AUDIOSIGNAL signal, AUDIOREGION region, int32_t channel)
{
    if (!editable(signal, region) || channel < -1 || channel >= AUDIOSIGNAL_NumChannels(signal)) return false;
    region->m_contents.channel = channel;
    touch(region);
    recordChange(signal, region->m_track);
    return true;
}

bool AUDIOSIGNAL_ChangeRegionTrackIndex(AUDIOSIGNAL signal, AUDIOREGION region, int32_t trackIndex)
{
    if (!editable(signal, region) || flag(region, kLocked) || region->m_contents.parentId != 0) return false;
    AudioRegionTrackObject *target = trackAt(dataOf(signal), trackIndex);
    if (target == nullptr || target->m_deleted) return false;
    AudioRegionTrackObject *source = region->m_track;
    if (target == source) return true;
    try {
        std::vector<AudioRegionObject *> family;
        collectFamily(source, region, family);
        target->m_regions.reserve(target->m_regions.size() + family.size());
        for (AudioRegionObject *member : family) {
            target->m_regions.push_back(RegionRef::share(member));
            member->m_track = target;
        }
        std::erase_if(source->m_regions, [&](const RegionRef &r) {
            return std::find(family.begin(), family.end(), r.get()) != family.end();
        });
        sortTrack(target);
    } catch (const std::bad_alloc &) {
        return false;
    }
    touch(region);
    recordChange(signal, source);
    recordChange(signal, target);
    return true;
}

bool AUDIOSIGNAL_SetRegionBounds(AUDIOSIGNAL signal, AUDIOREGION region, double begin, double end)
{
    if (!editable(signal, region) || flag(region, kLocked)) return false;
    RegionContents &c = region->m_contents;
    if (!validBounds(c.kind, begin, end)) return false;
    if (AudioRegionObject *parent = findById(region->m_track, c.parentId)) {
        if (begin < parent->m_contents.begin || end > parent->m_contents.end) return false;
        const double duration = parent->m_contents.end - parent->m_contents.begin;
        c.share = duration > 0.0 ? (end - begin) / duration : 0.0;
    }
    c.begin = begin;
    c.end = end;
    touch(region);
    fitChildren(region->m_track, region);
    sortTrack(region->m_track);
    recordChange(signal, region->m_track);
    return true;
}

bool AUDIOSIGNAL_ConvertRegionToLoop(AUDIOSIGNAL signal, AUDIOREGION region)
{
    if (!editable(signal, region) || AUDIOREGION_GetKind(region) != AUDIOREGION_KIND_REGION) return false;
    region->m_contents.kind = AUDIOREGION_KIND_LOOP;
    touch(region);
    recordChange(signal, region->m_track);
    return true;
}

bool AUDIOSIGNAL_ConvertLoopToRegion(AUDIOSIGNAL signal, AUDIOREGION region)
{
    if (!editable(signal, region) || !AUDIOREGION_IsLoop(region)) return false;
    region->m_contents.kind = AUDIOREGION_KIND_REGION;
    touch(region);
    recordChange(signal, region->m_track);
    return true;
}

bool AUDIOSIGNAL_ConvertRegionToMarkers(AUDIOSIGNAL signal, AUDIOREGION region, AUDIOREGION *first,
                                        AUDIOREGION *second)
{
    if (!editable(signal, region) || AUDIOREGION_IsMarker(region) || !AUDIOREGION_CanDelete(region)) return false;
    AudioRegionTrackObject *track = region->m_track;
    try {
        RegionContents start;
        start.begin = start.end = region->m_contents.begin;
        start.label = region->m_contents.label;
        start.comment = region->m_contents.comment;
        start.channel = region->m_contents.channel;
        start.flags = kChanged;
        RegionContents finish = start;
        finish.begin = finish.end = region->m_contents.end;
        finish.label = region->m_contents.label + " (end)";
        finish.comment.clear();
        RegionRef a = makeRegion(start, nextRegionId());
        RegionRef b = makeRegion(finish, nextRegionId());
        a->m_track = track;
        b->m_track = track;
        track->m_regions.reserve(track->m_regions.size() + 2);
        track->m_regions.push_back(a);
        track->m_regions.push_back(b);
        region->m_contents.flags = (region->m_contents.flags | kDeleted | kChanged) & ~uint32_t(kSelected);
        sortTrack(track);
        if (first != nullptr) *first = a.get();
        if (second != nullptr) *second = b.get();
    } catch (const std::bad_alloc &) {
        return false;
    }
    recordChange(signal, track);
    return true;
}

AUDIOREGION AUDIOSIGNAL_ConvertMarkersToRegion(AUDIOSIGNAL signal, AUDIOREGION a, AUDIOREGION b, const char *label)
{
    if (!editable(signal, a) || !editable(signal, b) || a == b || a->m_track != b->m_track ||
        !AUDIOREGION_IsMarker(a) || !AUDIOREGION_IsMarker(b))
        return nullptr;
    if (b->m_contents.begin < a->m_contents.begin) std::swap(a, b);
    AudioRegionTrackObject *track = a->m_track;
    try {
        RegionContents contents;
        contents.begin = a->m_contents.begin;
        contents.end = b->m_contents.begin;
        contents.label = label != nullptr ? std::string(label) : a->m_contents.label;
        contents.comment = a->m_contents.comment;
        contents.channel = a->m_contents.channel == b->m_contents.channel ? a->m_contents.channel : -1;
        contents.flags = kChanged;
        RegionRef region = makeRegion(contents, nextRegionId());
        region->m_track = track;
        AudioRegionObject *result = region.get();
        track->m_regions.push_back(std::move(region));
        for (AudioRegionObject *marker : {a, b})
            marker->m_contents.flags = (marker->m_contents.flags | kDeleted | kChanged) & ~uint32_t(kSelected);
        sortTrack(track);
        recordChange(signal, track);
        return result;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

// ---- merging and children ------------------------------------------------------------------------

namespace {

std::vector<AudioRegionObject *> mergeCandidates(AUDIOSIGNAL signal, int32_t trackIndex)
{
    return listRegions(dataOf(signal), trackIndex,
                       AUDIOREGION_SEARCH_SELECTED | AUDIOREGION_SEARCH_TOP_LEVEL | AUDIOREGION_SEARCH_HIDDEN);
}

} // namespace

bool AUDIOSIGNAL_CanMergeSelectedRegions(AUDIOSIGNAL signal, int32_t trackIndex)
{
    if (trackIndex < 0 || !signalWritable(signal)) return false;
    const std::vector<AudioRegionObject *> selected = mergeCandidates(signal, trackIndex);
    if (selected.size() < 2) return false;
    return std::none_of(selected.begin(), selected.end(),
                        [](AudioRegionObject *r) { return flag(r, kLocked) || flag(r, kReadOnly); });
}

bool AUDIOSIGNAL_MergeRegions(AUDIOSIGNAL signal, int32_t trackIndex)
{
    if (!AUDIOSIGNAL_CanMergeSelectedRegions(signal, trackIndex)) return false;
    const std::vector<AudioRegionObject *> selected = mergeCandidates(signal, trackIndex);
    AudioRegionObject *survivor = selected.front();
    AudioRegionTrackObject *track = survivor->m_track;
    try {
        RegionContents merged = survivor->m_contents;
        std::string label;
        std::string comment;
        for (AudioRegionObject *region : selected) {
            const RegionContents &c = region->m_contents;
            merged.begin = std::min(merged.begin, c.begin);
            merged.end = std::max(merged.end, c.end);
            if (!c.label.empty()) label += (label.empty() ? "" : " ") + c.label;
            if (!c.comment.empty()) comment += (comment.empty() ? "" : "\n") + c.comment;
        }
        merged.label = std::move(label);
        merged.comment = std::move(comment);
        merged.flags |= kChanged;
        // A merge of markers is a region: keep the kind only when it spans.
        if (merged.kind != AUDIOREGION_KIND_REGION && merged.end <= merged.begin) merged.kind = AUDIOREGION_KIND_REGION;
        for (AudioRegionObject *region : selected) {
            if (region == survivor) continue;
            for (AudioRegionObject *child : childrenOf(track, region->m_id))
                child->m_contents.parentId = survivor->m_id;
            region->m_contents.flags = (region->m_contents.flags | kDeleted | kChanged) & ~uint32_t(kSelected);
        }
        survivor->m_contents = std::move(merged);
        fitChildren(track, survivor);
        sortTrack(track);
    } catch (const std::bad_alloc &) {
        return false;
    }
    recordChange(signal, track);
    return true;
}

bool AUDIOSIGNAL_AdjustRegionChildShares(AUDIOSIGNAL signal)
{
    RegionData *data = dataOf(signal);
    if (data == nullptr) return false;
    for (const TrackRef &track : data->m_tracks) {
        // Children whose parent is gone become top-level.
        for (const RegionRef &region : track->m_regions) {
            RegionContents &c = region->m_contents;
            if (c.parentId != 0 && findById(track.get(), c.parentId) == nullptr) {
                c.parentId = 0;
                c.share = 1.0;
            }
        }
        for (const RegionRef &region : track->m_regions)
            if (region->m_contents.parentId == 0) fitChildren(track.get(), region.get());
        sortTrack(track.get());
    }
    return true;
}

// ---- counting, listing, selecting ---------------------------------------------------------------------

int32_t AUDIOSIGNAL_CountRegions(AUDIOSIGNAL signal, int32_t trackIndex, uint32_t option)
{
    return int32_t(listRegions(dataOf(signal), trackIndex, option).size());
}

int32_t AUDIOSIGNAL_GetRegions(AUDIOSIGNAL signal, int32_t trackIndex, uint32_t option, AUDIOREGION *out,
                               int32_t max)
{
    return fill(listRegions(dataOf(signal), trackIndex, option), out, max);
}

int32_t AUDIOSIGNAL_GetRegionsInRange(AUDIOSIGNAL signal, int32_t trackIndex, double begin, double end,
                                      uint32_t option, AUDIOREGION *out, int32_t max)
{
    std::vector<AudioRegionObject *> regions = listRegions(dataOf(signal), trackIndex, option);
    std::erase_if(regions,
                  [&](AudioRegionObject *r) { return r->m_contents.end < begin || r->m_contents.begin > end; });
    return fill(regions, out, max);
}

int32_t AUDIOSIGNAL_CountSelectedRegionsOfTrack(AUDIOSIGNAL signal, int32_t trackIndex)
{
    return AUDIOSIGNAL_CountRegions(signal, trackIndex, AUDIOREGION_SEARCH_SELECTED | AUDIOREGION_SEARCH_HIDDEN);
}

int32_t AUDIOSIGNAL_GetSelectedRegions(AUDIOSIGNAL signal, int32_t trackIndex, AUDIOREGION *out, int32_t max)
{
    return AUDIOSIGNAL_GetRegions(signal, trackIndex, AUDIOREGION_SEARCH_SELECTED | AUDIOREGION_SEARCH_HIDDEN, out,
                                  max);
}

bool AUDIOSIGNAL_UnselectAllRegions(AUDIOSIGNAL signal, int32_t trackIndex)
{
    RegionData *data = dataOf(signal);
    if (data == nullptr || (trackIndex >= 0 && trackAt(data, trackIndex) == nullptr)) return false;
    for (AudioRegionObject *region :
         listRegions(data, trackIndex, AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_DELETED))
        setFlag(region, kSelected, false);
    return true;
}

// ---- searching ------------------------------------------------------------------------------------------

AUDIOREGION AUDIOSIGNAL_FindFirstRegion(AUDIOSIGNAL signal, int32_t trackIndex, uint32_t option)
{
    const std::vector<AudioRegionObject *> regions = listRegions(dataOf(signal), trackIndex, option);
    return regions.empty() ? nullptr : regions.front();
}

AUDIOREGION AUDIOSIGNAL_FindLastRegion(AUDIOSIGNAL signal, int32_t trackIndex, uint32_t option)
{
    const std::vector<AudioRegionObject *> regions = listRegions(dataOf(signal), trackIndex, option);
    return regions.empty() ? nullptr : regions.back();
}

namespace {

// The neighbour of `region` on its track in the given direction.
AUDIOREGION stepOnTrack(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option, bool forward)
{
    if (region == nullptr || ownerOf(region) != signal) return nullptr;
    const auto &list = region->m_track->m_regions;
    const auto at = std::find_if(list.begin(), list.end(), [region](const RegionRef &r) { return r.get() == region; });
    if (at == list.end()) return nullptr;
    if (forward) {
        for (auto it = at + 1; it != list.end(); ++it)
            if (passes(it->get(), option)) return it->get();
    } else {
        for (auto it = at; it != list.begin();) {
            --it;
            if (passes(it->get(), option)) return it->get();
        }
    }
    return nullptr;
}

struct Key {
    double begin;
    double end;
    int32_t track;
    uint64_t id;
    auto operator<=>(const Key &) const = default;
};

Key keyOf(const AudioRegionObject *region)
{
    return Key{region->m_contents.begin, region->m_contents.end, indexOf(region->m_track), region->m_id};
}

AUDIOREGION stepAcross(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option, bool forward)
{
    if (region == nullptr || ownerOf(region) != signal) return nullptr;
    const Key from = keyOf(region);
    AudioRegionObject *best = nullptr;
    for (AudioRegionObject *candidate : listRegions(dataOf(signal), -1, option)) {
        const Key key = keyOf(candidate);
        if (forward ? !(key > from) : !(key < from)) continue;
        if (best == nullptr || (forward ? key < keyOf(best) : key > keyOf(best))) best = candidate;
    }
    return best;
}

} // namespace

AUDIOREGION AUDIOSIGNAL_FindNextOnTrackRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option)
{
    return stepOnTrack(signal, region, option, true);
}

AUDIOREGION AUDIOSIGNAL_FindPrevOnTrackRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option)
{
    return stepOnTrack(signal, region, option, false);
}

AUDIOREGION AUDIOSIGNAL_FindNextRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option)
{
    return stepAcross(signal, region, option, true);
}

AUDIOREGION AUDIOSIGNAL_FindPrevRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option)
{
    return stepAcross(signal, region, option, false);
}

AUDIOREGION AUDIOSIGNAL_FindNextTopLevelRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option)
{
    return stepOnTrack(signal, region, option | AUDIOREGION_SEARCH_TOP_LEVEL, true);
}

AUDIOREGION AUDIOSIGNAL_FindPrevTopLevelRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option)
{
    return stepOnTrack(signal, region, option | AUDIOREGION_SEARCH_TOP_LEVEL, false);
}

AUDIOREGION AUDIOSIGNAL_FindRegionOverPosition(AUDIOSIGNAL signal, int32_t trackIndex, double seconds,
                                               uint32_t option)
{
    AudioRegionObject *best = nullptr;
    for (AudioRegionObject *region : listRegions(dataOf(signal), trackIndex, option | AUDIOREGION_SEARCH_NO_MARKERS)) {
        const RegionContents &c = region->m_contents;
        if (seconds < c.begin || seconds >= c.end) continue;
        if (best == nullptr || c.end - c.begin < best->m_contents.end - best->m_contents.begin) best = region;
    }
    return best;
}

AUDIOREGION AUDIOSIGNAL_FindNextMarkerFromPosition(AUDIOSIGNAL signal, int32_t trackIndex, double seconds,
                                                   uint32_t option)
{
    AudioRegionObject *best = nullptr;
    for (AudioRegionObject *marker : listRegions(dataOf(signal), trackIndex, option | AUDIOREGION_SEARCH_MARKERS_ONLY))
        if (marker->m_contents.begin > seconds && (best == nullptr || keyOf(marker) < keyOf(best))) best = marker;
    return best;
}

AUDIOREGION AUDIOSIGNAL_FindPrevMarkerFromPosition(AUDIOSIGNAL signal, int32_t trackIndex, double seconds,
                                                   uint32_t option)
{
    AudioRegionObject *best = nullptr;
    for (AudioRegionObject *marker : listRegions(dataOf(signal), trackIndex, option | AUDIOREGION_SEARCH_MARKERS_ONLY))
        if (marker->m_contents.begin < seconds && (best == nullptr || keyOf(marker) > keyOf(best))) best = marker;
    return best;
}

bool AUDIOSIGNAL_IsRegionExternal(AUDIOSIGNAL signal, AUDIOREGION region)
{
    return region != nullptr && ownerOf(region) == signal && AUDIOREGIONTRACK_IsExternal(region->m_track);
}
