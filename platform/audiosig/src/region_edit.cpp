// Regions follow the audio through cut, clear and paste.
//
// The rule, in seconds, for the removal of [b, e) (d = e - b):
//  - a region or marker that ends (a marker: lies) at or before b stays;
//  - one that begins (lies) at or after e moves left by d;
//  - a region across b or e is shortened: its part inside the range goes,
//    the rest closes up (begin min(begin, b), end max(end - d, b));
//  - a region or marker strictly inside the range (a marker with
//    b < t < e, a region with b <= begin and end <= e) is marked deleted,
//    kept at b with its length so that undeleting it gives it back whole.
// A cut with AUDIOSIGNAL_EDIT_REGIONS gives copies of what left the range
// (whole regions inside it, the inner parts of regions across it) to the
// clipboard signal, on tracks of the same ids.
// An insertion of length L at t moves every region that begins at or after
// t right by L and lengthens every region across t by L; the source's
// regions that are not deleted or temporary come along as new regions,
// shifted by t, with their parent/child structure.
#include "region_p.h"

#include <algorithm>
#include <map>
#include <new>

namespace asig {

namespace {

bool isMarker(const RegionContents &c)
{
    return c.kind == AUDIOREGION_KIND_REGION && c.begin == c.end;
}

// Copies a region for the clipboard: plain contents, no structure.
RegionSnapshot::Entry clipEntry(const AudioRegionTrackObject *track, const RegionContents &c, double begin,
                                double end)
{
    RegionSnapshot::Entry entry;
    entry.trackId = track->m_uniqId;
    entry.trackLabel = track->m_label;
    entry.contents = c;
    entry.contents.begin = begin;
    entry.contents.end = end;
    entry.contents.parentId = 0;
    entry.contents.share = 1.0;
    entry.contents.flags &= kHidden | kLocked | kTextHide | kLabelHide;
    // A clipped part of a loop or pregap keeps its kind; a part of zero
    // length cannot be one.
    if (entry.contents.kind != AUDIOREGION_KIND_REGION && end <= begin) entry.contents.kind = AUDIOREGION_KIND_REGION;
    return entry;
}

// Adds snapshot entries to `signal` shifted by `offset` seconds, with new
// identities; parents among the entries stay parents.
void addEntries(AUDIOSIGNAL signal, const RegionSnapshot &snapshot, double offset)
{
    std::map<uint64_t, uint64_t> renamed;
    for (const RegionSnapshot::Entry &entry : snapshot.entries)
        if (entry.id != 0) renamed[entry.id] = newRegionId();
    std::vector<AudioRegionTrackObject *> touched;
    for (const RegionSnapshot::Entry &entry : snapshot.entries) {
        AudioRegionTrackObject *track = trackForId(signal, entry.trackId, entry.trackLabel);
        if (track == nullptr) continue;
        RegionContents contents = entry.contents;
        contents.begin += offset;
        contents.end += offset;
        contents.flags |= kChanged;
        const auto parent = renamed.find(contents.parentId);
        contents.parentId = parent != renamed.end() ? parent->second : 0;
        if (contents.parentId == 0) contents.share = 1.0;
        const auto own = renamed.find(entry.id);
        insertRegion(track, contents, own != renamed.end() ? own->second : newRegionId());
        if (std::find(touched.begin(), touched.end(), track) == touched.end()) touched.push_back(track);
    }
    for (AudioRegionTrackObject *track : touched) noteRegionChange(signal, track);
}

} // namespace

void removeRangeRegions(AUDIOSIGNAL signal, double begin, double end, AUDIOSIGNAL clipboard, double offset)
{
    RegionData *data = existingRegions(signal);
    const double length = end - begin;
    if (data == nullptr || !(length > 0.0)) return;
    // Where a position outside the range ends up.
    const auto moved = [&](double t) { return t <= begin ? t : (t >= end ? t - length : begin); };
    try {
        RegionSnapshot clipped;
        for (const Ref<AudioRegionTrackObject> &track : data->m_tracks) {
            bool changed = false;
            for (const Ref<AudioRegionObject> &region : track->m_regions) {
                RegionContents &c = region->m_contents;
                const bool live = (c.flags & (kDeleted | kTemporary)) == 0;
                const bool inside = isMarker(c) ? (c.begin > begin && c.begin < end)
                                                : (c.begin >= begin && c.end <= end);
                if (inside) {
                    if (live) clipped.entries.push_back(clipEntry(track.get(), c, c.begin - begin, c.end - begin));
                    if ((c.flags & kDeleted) == 0) c.flags = (c.flags | kDeleted | kChanged) & ~uint32_t(kSelected);
                    c.end = begin + (c.end - c.begin);
                    c.begin = begin;
                    changed = true;
                    continue;
                }
                const double newBegin = moved(c.begin);
                const double newEnd = moved(c.end);
                if (newBegin == c.begin && newEnd == c.end) continue;
                if (live && c.begin < end && c.end > begin) {
                    const double from = std::max(c.begin, begin);
                    const double to = std::min(c.end, end);
                    clipped.entries.push_back(clipEntry(track.get(), c, from - begin, to - begin));
                }
                c.begin = newBegin;
                c.end = newEnd;
                c.flags |= kChanged;
                changed = true;
            }
            if (changed) noteRegionChange(signal, track.get());
        }
        AUDIOSIGNAL_AdjustRegionChildShares(signal);
        if (clipboard != nullptr && !clipped.entries.empty()) addEntries(clipboard, clipped, offset);
    } catch (const std::bad_alloc &) {
        // The audio edit stands; regions that could not follow stay where
        // they were.
    }
}

RegionSnapshot snapshotRegions(AUDIOSIGNAL signal)
{
    RegionSnapshot snapshot;
    RegionData *data = existingRegions(signal);
    if (data == nullptr) return snapshot;
    for (const Ref<AudioRegionTrackObject> &track : data->m_tracks) {
        if (track->m_deleted) continue;
        for (const Ref<AudioRegionObject> &region : track->m_regions) {
            if ((region->m_contents.flags & (kDeleted | kTemporary)) != 0) continue;
            RegionSnapshot::Entry entry;
            entry.trackId = track->m_uniqId;
            entry.trackLabel = track->m_label;
            entry.contents = region->m_contents;
            entry.contents.flags &= ~uint32_t(kSelected);
            entry.id = region->m_id;
            snapshot.entries.push_back(std::move(entry));
        }
    }
    return snapshot;
}

void insertRangeRegions(AUDIOSIGNAL signal, double at, double length, const RegionSnapshot &pasted)
{
    try {
        RegionData *data = existingRegions(signal);
        if (data != nullptr && length > 0.0) {
            for (const Ref<AudioRegionTrackObject> &track : data->m_tracks) {
                bool changed = false;
                for (const Ref<AudioRegionObject> &region : track->m_regions) {
                    RegionContents &c = region->m_contents;
                    if (c.begin >= at) {
                        c.begin += length;
                        c.end += length;
                    } else if (c.end > at) {
                        c.end += length;
                    } else {
                        continue;
                    }
                    c.flags |= kChanged;
                    changed = true;
                }
                if (changed) noteRegionChange(signal, track.get());
            }
            AUDIOSIGNAL_AdjustRegionChildShares(signal);
        }
        if (!pasted.entries.empty()) addEntries(signal, pasted, at);
    } catch (const std::bad_alloc &) {
        // As for removals: the audio edit stands.
    }
}

} // namespace asig
