// Regions and tracks in the signal: kinds and markers, deletion rules and
// undelete, merging per track, order and search around hidden and deleted
// regions, track copies for undo, renaming through the parent, change
// recording, and how regions follow duplicate, cut, clear and paste.
#include "ops_helpers.h"

#include <audioregion.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace opstest;

namespace {

constexpr int32_t kRate = 1000;  // one frame a millisecond: frames and seconds convert exactly

Signal silentSignal(int64_t frames, int32_t channels = 1)
{
    return makeSignal(Channels(size_t(channels), std::vector<float>(size_t(frames), 0.0f)), kRate);
}

AUDIOREGION create(AUDIOSIGNAL signal, double begin, double end, const char *label, int32_t track = 0,
                   const char *kind = "undef")
{
    AUDIOREGION region = nullptr;
    EXPECT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal, 0, begin, end, kind, label, nullptr, track, &region, 1), 1);
    return region;
}

std::vector<std::string> labels(AUDIOSIGNAL signal, int32_t track, uint32_t option = 0)
{
    std::vector<AUDIOREGION> regions(64);
    const int32_t n = AUDIOSIGNAL_GetRegions(signal, track, option, regions.data(), 64);
    std::vector<std::string> out;
    for (int32_t i = 0; i < n; ++i) out.emplace_back(AUDIOREGION_GetLabel(regions[size_t(i)]));
    return out;
}

struct Bounds {
    double begin;
    double end;
};

Bounds bounds(AUDIOREGION region)
{
    return {AUDIOREGION_GetBegin(region), AUDIOREGION_GetEnd(region)};
}

} // namespace

TEST(AudioRegionObjects, KindsFollowTimesAndNames)
{
    Signal signal = silentSignal(10000);
    AUDIOREGION marker = create(signal.get(), 2.0, 2.0, "m");
    AUDIOREGION region = create(signal.get(), 1.0, 3.0, "r");
    AUDIOREGION loop = create(signal.get(), 4.0, 5.0, "l", 0, "loop");
    EXPECT_TRUE(AUDIOREGION_IsMarker(marker));
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetDuration(marker), 0.0);
    EXPECT_TRUE(AUDIOREGION_IsRegion(region));
    EXPECT_TRUE(AUDIOREGION_IsLoop(loop));
    // A loop or pregap has a length; unknown kinds and bad times make nothing.
    AUDIOREGION none = nullptr;
    EXPECT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 4.0, 4.0, "loop", "", "", 0, &none, 1), 0);
    EXPECT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 1.0, 2.0, "chorus", "", "", 0, &none, 1), 0);
    EXPECT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 3.0, 2.0, "undef", "", "", 0, &none, 1), 0);
    EXPECT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 1.0, 2.0, "undef", "", "", 7, &none, 1), 0);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal.get(), 0, 0), 3);
    // "default" names unnamed regions and markers by their count.
    AUDIOREGION named = create(signal.get(), 6.0, 7.0, "", 0, "default");
    EXPECT_STREQ(AUDIOREGION_GetLabel(named), "Region 3");
    EXPECT_STREQ(AUDIOREGION_GetLabel(create(signal.get(), 8.0, 8.0, nullptr, 0, "default")), "Marker 2");
    // Conversions: region <-> loop, never a marker.
    EXPECT_TRUE(AUDIOSIGNAL_ConvertRegionToLoop(signal.get(), region));
    EXPECT_FALSE(AUDIOSIGNAL_ConvertRegionToLoop(signal.get(), region));
    EXPECT_TRUE(AUDIOSIGNAL_ConvertLoopToRegion(signal.get(), region));
    EXPECT_FALSE(AUDIOSIGNAL_ConvertRegionToLoop(signal.get(), marker));
}

TEST(AudioRegionObjects, PerChannelCreationAndNullHandles)
{
    Signal signal = silentSignal(1000, 3);
    ASSERT_TRUE(AUDIOSIGNAL_SetActiveChannelMask(signal.get(), 0x5));
    AUDIOREGION made[4] = {};
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), AUDIOSIGNAL_CREATE_PER_CHANNEL, 0.1, 0.2, nullptr, "x",
                                               nullptr, 0, made, 4),
              2);
    EXPECT_EQ(AUDIOREGION_GetChannel(made[0]), 0);
    EXPECT_EQ(AUDIOREGION_GetChannel(made[1]), 2);
    EXPECT_FALSE(AUDIOSIGNAL_ChangeRegionChannel(signal.get(), made[0], 3));
    EXPECT_TRUE(AUDIOSIGNAL_ChangeRegionChannel(signal.get(), made[0], -1));

    EXPECT_EQ(AUDIOSIGNAL_NumRegionTracks(nullptr), 0);
    EXPECT_EQ(AUDIOREGION_GetLabel(nullptr), nullptr);
    EXPECT_EQ(AUDIOREGION_GetTrackIndex(nullptr), -1);
    EXPECT_FALSE(AUDIOSIGNAL_DeleteRegion(signal.get(), nullptr, 0));
    EXPECT_FALSE(AUDIOREGION_Dispose(nullptr));
    EXPECT_EQ(AUDIOSIGNAL_FindFirstRegion(signal.get(), 99, 0), nullptr);
}

TEST(AudioRegionObjects, OnlyChildCannotBeDeletedAndUndeleteRestores)
{
    Signal signal = silentSignal(10000);
    AUDIOREGION parent = create(signal.get(), 1.0, 5.0, "parent");
    AUDIOREGION first = AUDIOSIGNAL_AddChildRegion(signal.get(), parent, 1.0, 2.0, "a");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_AddChildRegion(signal.get(), parent, 0.5, 2.0, "outside"), nullptr);
    EXPECT_FALSE(AUDIOREGION_CanDelete(first));
    EXPECT_FALSE(AUDIOSIGNAL_DeleteRegion(signal.get(), first, 0));
    AUDIOREGION second = AUDIOSIGNAL_AddChildRegion(signal.get(), parent, 2.0, 5.0, "b");
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetChildShare(second), 0.75);
    EXPECT_EQ(AUDIOREGION_GetParent(second), parent);
    EXPECT_EQ(AUDIOREGION_NumChildren(parent), 2);
    EXPECT_TRUE(AUDIOSIGNAL_DeleteRegion(signal.get(), first, 0));
    // The remaining child is now an only child.
    EXPECT_FALSE(AUDIOREGION_CanDelete(second));
    EXPECT_EQ(AUDIOREGION_NumChildren(parent), 1);

    // Deleting the parent takes its children along; undeleting brings back
    // those, but not the child deleted on its own before.
    EXPECT_TRUE(AUDIOSIGNAL_DeleteRegion(signal.get(), parent, 0));
    EXPECT_TRUE(AUDIOREGION_IsDeleted(second));
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal.get(), 0, 0), 0);
    EXPECT_FALSE(AUDIOSIGNAL_DeleteRegion(signal.get(), parent, 0));
    EXPECT_TRUE(AUDIOSIGNAL_UndeleteRegion(signal.get(), parent));
    EXPECT_FALSE(AUDIOSIGNAL_UndeleteRegion(signal.get(), parent));
    EXPECT_FALSE(AUDIOREGION_IsDeleted(second));
    EXPECT_TRUE(AUDIOREGION_IsDeleted(first));
    EXPECT_EQ(labels(signal.get(), 0), (std::vector<std::string>{"parent", "b"}));

    // A region held by a reference survives its removal, detached.
    AUDIOREGION held = AUDIOREGION_GetReference(parent);
    EXPECT_TRUE(AUDIOSIGNAL_DeleteRegion(signal.get(), parent, AUDIOSIGNAL_DELETE_FOR_GOOD));
    EXPECT_EQ(AUDIOREGION_GetTrackIndex(held), -1);
    EXPECT_STREQ(AUDIOREGION_GetLabel(held), "parent");
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal.get(), 0, AUDIOREGION_SEARCH_DELETED), 0);
    EXPECT_TRUE(AUDIOREGION_Dispose(held));
}

TEST(AudioRegionObjects, ReadOnlyAndLockedRegionsRefuseEdits)
{
    Signal signal = silentSignal(10000);
    AUDIOREGION region = create(signal.get(), 1.0, 2.0, "r");
    ASSERT_TRUE(AUDIOREGION_Lock(region));
    EXPECT_FALSE(AUDIOREGION_Lock(region));
    EXPECT_FALSE(AUDIOSIGNAL_SetRegionBounds(signal.get(), region, 1.0, 3.0));
    EXPECT_TRUE(AUDIOSIGNAL_ChangeRegionLabel(signal.get(), region, "renamed"));
    ASSERT_TRUE(AUDIOREGION_Unlock(region));
    EXPECT_TRUE(AUDIOSIGNAL_SetRegionBounds(signal.get(), region, 1.0, 3.0));
    AUDIOREGION_SetReadOnly(region, true);
    EXPECT_FALSE(AUDIOSIGNAL_ChangeRegionLabel(signal.get(), region, "again"));
    EXPECT_FALSE(AUDIOREGION_CanDelete(region));
    EXPECT_STREQ(AUDIOREGION_GetLabel(region), "renamed");
    AUDIOREGION_SetReadOnly(region, false);
    AUDIOSIGNAL_SetReadOnly(signal.get(), true);
    EXPECT_FALSE(AUDIOSIGNAL_ChangeRegionLabel(signal.get(), region, "again"));
    EXPECT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 0.0, 0.0, nullptr, "", "", 0, nullptr, 0), 0);
}

TEST(AudioRegionObjects, ChangesArePendingAndNotifyThroughTheStamp)
{
    Signal signal = silentSignal(1000);
    AUDIOSIGNAL_MarkSaved(signal.get(), 0, -1);
    const uint64_t before = AUDIOSIGNAL_GetTimeStamp(signal.get(), AUDIOSIGNAL_STAMP_CONTENT);
    AUDIOREGION region = create(signal.get(), 0.1, 0.2, "r");
    EXPECT_TRUE(AUDIOSIGNAL_HasChangesEx(signal.get(), AUDIOSIGNAL_CHANGE_REGIONS));
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(signal.get(), AUDIOSIGNAL_CHANGE_AUDIO));
    EXPECT_GT(AUDIOSIGNAL_GetTimeStamp(signal.get(), AUDIOSIGNAL_STAMP_CONTENT), before);
    EXPECT_TRUE(AUDIOREGION_HasChanges(region));
    // View flags record nothing.
    AUDIOSIGNAL_MarkSaved(signal.get(), 0, -1);
    AUDIOREGION_Hide(region);
    AUDIOREGION_SetSelected(region, true);
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(signal.get(), AUDIOSIGNAL_CHANGE_REGIONS));
}

TEST(AudioRegionSearch, OrderAndNavigationSkipHiddenAndDeleted)
{
    Signal signal = silentSignal(20000);
    AUDIOREGION c = create(signal.get(), 3.0, 4.0, "c");
    AUDIOREGION a = create(signal.get(), 1.0, 2.0, "a");
    AUDIOREGION b = create(signal.get(), 1.0, 1.5, "b");  // same begin, ends first
    AUDIOREGION m = create(signal.get(), 2.5, 2.5, "m");
    AUDIOREGION d = create(signal.get(), 5.0, 6.0, "d");
    EXPECT_EQ(labels(signal.get(), 0), (std::vector<std::string>{"b", "a", "m", "c", "d"}));

    AUDIOREGION_Hide(m);
    ASSERT_TRUE(AUDIOSIGNAL_DeleteRegion(signal.get(), c, 0));
    EXPECT_EQ(AUDIOSIGNAL_FindNextOnTrackRegion(signal.get(), a, 0), d);
    EXPECT_EQ(AUDIOSIGNAL_FindNextOnTrackRegion(signal.get(), a, AUDIOREGION_SEARCH_HIDDEN), m);
    EXPECT_EQ(AUDIOSIGNAL_FindNextOnTrackRegion(signal.get(), m, AUDIOREGION_SEARCH_DELETED), c);
    EXPECT_EQ(AUDIOSIGNAL_FindPrevOnTrackRegion(signal.get(), d, 0), a);
    EXPECT_EQ(AUDIOSIGNAL_FindPrevOnTrackRegion(signal.get(), b, 0), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_FindFirstRegion(signal.get(), 0, 0), b);
    EXPECT_EQ(AUDIOSIGNAL_FindLastRegion(signal.get(), 0, 0), d);
    EXPECT_EQ(AUDIOSIGNAL_FindNextMarkerFromPosition(signal.get(), -1, 0.0, 0), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_FindNextMarkerFromPosition(signal.get(), -1, 0.0, AUDIOREGION_SEARCH_HIDDEN), m);
    EXPECT_EQ(AUDIOSIGNAL_FindPrevMarkerFromPosition(signal.get(), 0, 2.5, AUDIOREGION_SEARCH_HIDDEN), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_FindRegionOverPosition(signal.get(), 0, 1.2, 0), b);  // the shorter one
    EXPECT_EQ(AUDIOSIGNAL_FindRegionOverPosition(signal.get(), 0, 1.5, 0), a);  // b ends there
    EXPECT_EQ(AUDIOSIGNAL_FindRegionOverPosition(signal.get(), 0, 3.5, 0), nullptr);  // c is deleted
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal.get(), -1, AUDIOREGION_SEARCH_MARKERS_ONLY | AUDIOREGION_SEARCH_HIDDEN),
              1);
}

TEST(AudioRegionSearch, AcrossTracksAndTopLevel)
{
    Signal signal = silentSignal(20000);
    ASSERT_NE(AUDIOSIGNAL_AddCustomTrack(signal.get(), "words", "Words", nullptr), nullptr);
    const int32_t words = AUDIOSIGNAL_FindRegionTrackIndex(signal.get(), "words");
    ASSERT_EQ(words, 1);
    AUDIOREGION own = create(signal.get(), 1.0, 2.0, "own");
    AUDIOREGION word = create(signal.get(), 1.0, 2.0, "word", words);
    AUDIOREGION later = create(signal.get(), 3.0, 4.0, "later");
    AUDIOREGION child = AUDIOSIGNAL_AddChildRegion(signal.get(), own, 1.2, 1.8, "child");
    // Equal times: track order decides.
    EXPECT_EQ(AUDIOSIGNAL_FindNextRegion(signal.get(), own, 0), word);
    EXPECT_EQ(AUDIOSIGNAL_FindNextRegion(signal.get(), word, 0), child);
    EXPECT_EQ(AUDIOSIGNAL_FindPrevRegion(signal.get(), word, 0), own);
    EXPECT_EQ(AUDIOSIGNAL_FindNextOnTrackRegion(signal.get(), own, 0), child);
    EXPECT_EQ(AUDIOSIGNAL_FindNextTopLevelRegion(signal.get(), own, 0), later);
    EXPECT_EQ(AUDIOSIGNAL_FindPrevTopLevelRegion(signal.get(), later, 0), own);
    EXPECT_EQ(AUDIOSIGNAL_FindRegionOverPosition(signal.get(), -1, 1.5, 0), child);

    AUDIOREGION_SetSelected(own, true);
    AUDIOREGION_SetSelected(word, true);
    AUDIOREGION_Hide(word);
    EXPECT_EQ(AUDIOSIGNAL_CountSelectedRegionsOfTrack(signal.get(), -1), 2);
    EXPECT_EQ(AUDIOSIGNAL_CountSelectedRegionsOfTrack(signal.get(), words), 1);
    AUDIOREGION selected[2] = {};
    EXPECT_EQ(AUDIOSIGNAL_GetSelectedRegions(signal.get(), -1, selected, 2), 2);
    EXPECT_EQ(selected[0], own);
    EXPECT_TRUE(AUDIOSIGNAL_UnselectAllRegions(signal.get(), 0));
    EXPECT_EQ(AUDIOSIGNAL_CountSelectedRegionsOfTrack(signal.get(), -1), 1);
}

TEST(AudioRegionMerge, MergesSelectedRegionsOfOneTrackOnly)
{
    Signal signal = silentSignal(20000);
    AUDIOSIGNAL_AddCustomTrack(signal.get(), "notes", "Notes", nullptr);
    AUDIOREGION a = create(signal.get(), 1.0, 2.0, "intro");
    AUDIOREGION b = create(signal.get(), 4.0, 5.0, "");
    AUDIOREGION c = create(signal.get(), 3.0, 3.5, "verse");
    AUDIOREGION other = create(signal.get(), 0.5, 9.0, "note", 1);
    AUDIOREGION_SetSelected(a, true);
    EXPECT_FALSE(AUDIOSIGNAL_CanMergeSelectedRegions(signal.get(), 0));
    EXPECT_FALSE(AUDIOSIGNAL_MergeRegions(signal.get(), 0));
    for (AUDIOREGION r : {b, c, other}) AUDIOREGION_SetSelected(r, true);
    AUDIOREGION_Lock(c);
    EXPECT_FALSE(AUDIOSIGNAL_CanMergeSelectedRegions(signal.get(), 0));
    AUDIOREGION_Unlock(c);
    ASSERT_TRUE(AUDIOSIGNAL_MergeRegions(signal.get(), 0));
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(a), 1.0);
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetEnd(a), 5.0);
    EXPECT_STREQ(AUDIOREGION_GetLabel(a), "intro verse");
    EXPECT_TRUE(AUDIOREGION_IsDeleted(b));
    EXPECT_TRUE(AUDIOREGION_IsDeleted(c));
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal.get(), 0, 0), 1);
    // The other track's region was selected too, but alone on its track.
    EXPECT_FALSE(AUDIOREGION_IsDeleted(other));
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetEnd(other), 9.0);
    EXPECT_FALSE(AUDIOSIGNAL_CanMergeSelectedRegions(signal.get(), 1));
}

TEST(AudioRegionMerge, ConversionsToAndFromMarkers)
{
    Signal signal = silentSignal(20000);
    AUDIOREGION region = create(signal.get(), 1.0, 3.0, "take");
    AUDIOREGION first = nullptr;
    AUDIOREGION second = nullptr;
    ASSERT_TRUE(AUDIOSIGNAL_ConvertRegionToMarkers(signal.get(), region, &first, &second));
    EXPECT_TRUE(AUDIOREGION_IsDeleted(region));
    EXPECT_TRUE(AUDIOREGION_IsMarker(first));
    EXPECT_STREQ(AUDIOREGION_GetLabel(second), "take (end)");
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(second), 3.0);
    AUDIOREGION back = AUDIOSIGNAL_ConvertMarkersToRegion(signal.get(), second, first, nullptr);
    ASSERT_NE(back, nullptr);
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(back), 1.0);
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetEnd(back), 3.0);
    EXPECT_STREQ(AUDIOREGION_GetLabel(back), "take");
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal.get(), 0, 0), 1);
    EXPECT_EQ(AUDIOSIGNAL_ConvertMarkersToRegion(signal.get(), back, back, nullptr), nullptr);
}

TEST(AudioRegionTracks, CopyRestoresTrackAndKeepsHandles)
{
    Signal signal = silentSignal(20000);
    AUDIOCUSTOMTRACK words = AUDIOSIGNAL_AddCustomTrack(signal.get(), "words", "Words", nullptr);
    AUDIOCUSTOMTRACK_SetFontSize(words, 18.0f);
    AUDIOREGION kept = create(signal.get(), 1.0, 2.0, "kept", 1);
    AUDIOREGION removed = create(signal.get(), 3.0, 4.0, "removed", 1);
    AUDIOREGIONTRACK copy = AUDIOREGIONTRACK_Copy(AUDIOSIGNAL_GetRegionTrack(signal.get(), 1));
    ASSERT_NE(copy, nullptr);

    AUDIOSIGNAL_ChangeRegionLabel(signal.get(), kept, "changed");
    AUDIOSIGNAL_DeleteRegion(signal.get(), removed, AUDIOSIGNAL_DELETE_FOR_GOOD);
    create(signal.get(), 5.0, 6.0, "added", 1);
    AUDIOSIGNAL_SetRegionTrackLabel(signal.get(), 1, "Other");
    AUDIOCUSTOMTRACK_SetFontSize(words, 9.0f);

    ASSERT_TRUE(AUDIOSIGNAL_RestoreRegionTrack(signal.get(), copy));
    EXPECT_EQ(labels(signal.get(), 1), (std::vector<std::string>{"kept", "removed"}));
    EXPECT_STREQ(AUDIOREGION_GetLabel(kept), "kept");  // the same handle, put back
    EXPECT_EQ(AUDIOREGION_GetTrackIndex(kept), 1);
    EXPECT_STREQ(AUDIOREGIONTRACK_GetLabel(AUDIOSIGNAL_GetRegionTrack(signal.get(), 1)), "Words");
    EXPECT_FLOAT_EQ(AUDIOCUSTOMTRACK_GetFontSize(words), 18.0f);

    // Removing the track for good (undo of its creation), then restoring.
    // A held reference outlives the removal, detached.
    AUDIOREGION held = AUDIOREGION_GetReference(kept);
    ASSERT_TRUE(AUDIOSIGNAL_RemoveCustomTrack(signal.get(), "words", AUDIOSIGNAL_DELETE_FOR_GOOD));
    EXPECT_EQ(AUDIOSIGNAL_NumRegionTracks(signal.get()), 1);
    EXPECT_EQ(AUDIOREGION_GetTrackIndex(held), -1);
    EXPECT_TRUE(AUDIOREGION_Dispose(held));
    ASSERT_TRUE(AUDIOSIGNAL_RestoreRegionTrack(signal.get(), copy));
    EXPECT_TRUE(AUDIOSIGNAL_ContainsTrackUniqId(signal.get(), "words"));
    EXPECT_EQ(labels(signal.get(), 1), (std::vector<std::string>{"kept", "removed"}));
    EXPECT_TRUE(AUDIOREGIONTRACK_Dispose(copy));
}

TEST(AudioRegionTracks, ReplaceFromRegionCopy)
{
    Signal signal = silentSignal(20000);
    AUDIOREGION region = create(signal.get(), 1.0, 2.0, "before");
    AUDIOREGION copy = AUDIOREGION_Copy(region);
    EXPECT_EQ(AUDIOREGION_Compare(region, copy), 0);
    AUDIOSIGNAL_SetRegionBounds(signal.get(), region, 1.0, 5.0);
    AUDIOSIGNAL_ChangeRegionLabel(signal.get(), region, "after");
    EXPECT_NE(AUDIOREGION_Compare(region, copy), 0);
    ASSERT_TRUE(AUDIOSIGNAL_ReplaceRegion(signal.get(), region, copy));
    EXPECT_EQ(AUDIOREGION_Compare(region, copy), 0);
    EXPECT_STREQ(AUDIOREGION_GetLabel(region), "before");
    // A region taken out is put back by its copy.
    AUDIOREGION held = AUDIOREGION_GetReference(region);
    AUDIOREGION_DeleteEx(region, 0);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal.get(), 0, 0), 0);
    ASSERT_TRUE(AUDIOSIGNAL_ReplaceRegionEx(signal.get(), held, copy, AUDIOSIGNAL_REPLACE_NO_NOTIFY));
    EXPECT_EQ(AUDIOSIGNAL_FindFirstRegion(signal.get(), 0, 0), held);
    AUDIOREGION other = create(signal.get(), 7.0, 8.0, "other");
    EXPECT_FALSE(AUDIOSIGNAL_ReplaceRegion(signal.get(), other, copy));  // another identity
    AUDIOREGION_Dispose(held);
    AUDIOREGION_Dispose(copy);
}

TEST(AudioRegionTracks, CustomTrackRulesAndLinks)
{
    Signal signal = silentSignal(1000, 2);
    AUDIOCUSTOMTRACK a = AUDIOSIGNAL_AddCustomTrack(signal.get(), "a", "A", nullptr);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_AddCustomTrack(signal.get(), "a", "again", nullptr), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_AddCustomTrack(signal.get(), "b", "B", "missing"), nullptr);
    AUDIOCUSTOMTRACK b = AUDIOSIGNAL_AddCustomTrack(signal.get(), "b", "B", "a");
    ASSERT_NE(b, nullptr);
    EXPECT_STREQ(AUDIOCUSTOMTRACK_GetLinkedTo(b), "a");
    EXPECT_FALSE(AUDIOCUSTOMTRACK_SetLinkedTo(a, "b"));  // a cycle
    EXPECT_FALSE(AUDIOCUSTOMTRACK_SetLinkedTo(a, "a"));
    AUDIOCUSTOMTRACK_SetVisible(a, false);
    EXPECT_TRUE(AUDIOCUSTOMTRACK_IsVisibleEx(b, 0));
    EXPECT_FALSE(AUDIOCUSTOMTRACK_IsVisibleEx(b, 1));

    AUDIOCUSTOMTRACK channel = AUDIOSIGNAL_CreateChannelTrack(signal.get(), 1);
    EXPECT_STREQ(AUDIOCUSTOMTRACK_GetUniqId(channel), "channel_02_track");
    EXPECT_STREQ(AUDIOCUSTOMTRACK_GetLabel(channel), "Channel 2");
    EXPECT_EQ(AUDIOSIGNAL_CreateChannelTrack(signal.get(), 1), channel);
    EXPECT_EQ(AUDIOSIGNAL_CreateChannelTrack(signal.get(), 2), nullptr);

    EXPECT_STREQ(AUDIOCUSTOMTRACK_FileTypeToString(AUDIOCUSTOMTRACK_FILE_SRT), "SRT");
    EXPECT_EQ(AUDIOCUSTOMTRACK_FileTypeFromString("webvtt"), AUDIOCUSTOMTRACK_FILE_WEBVTT);
    EXPECT_FALSE(AUDIOCUSTOMTRACK_SetNumberOfLines(a, 0));
    EXPECT_FALSE(AUDIOCUSTOMTRACK_SetFontSize(a, -1.0f));
    AUDIOCUSTOMTRACK_SetUseAsGlobalDefault(a, true);
    AUDIOCUSTOMTRACK_SetUseAsGlobalDefault(b, true);
    EXPECT_FALSE(AUDIOCUSTOMTRACK_GetUseAsGlobalDefault(a));

    // A deleted track keeps its index and its regions, and refuses new ones.
    create(signal.get(), 0.1, 0.2, "in a", 1);
    ASSERT_TRUE(AUDIOSIGNAL_RemoveCustomTrack(signal.get(), "a", 0));
    EXPECT_FALSE(AUDIOSIGNAL_ContainsTrackUniqId(signal.get(), "a"));
    EXPECT_EQ(AUDIOSIGNAL_FindRegionTrackIndex(signal.get(), "a"), 1);
    EXPECT_TRUE(AUDIOREGIONTRACK_IsDeleted(AUDIOSIGNAL_GetRegionTrack(signal.get(), 1)));
    EXPECT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 0.0, 0.1, nullptr, "", "", 1, nullptr, 0), 0);
    EXPECT_EQ(AUDIOSIGNAL_NumCustomTracks(signal.get()), 2);
}

namespace {

struct RenameLog {
    std::string id;
    std::string label;
    bool answer = true;
    int calls = 0;
};

bool renameCallback(void *parent, int32_t kind, void *arg1, void *arg2)
{
    auto *log = static_cast<RenameLog *>(parent);
    if (kind != 111) return true;
    ++log->calls;
    log->id = static_cast<const char *>(arg1);
    log->label = static_cast<const char *>(arg2);
    return log->answer;
}

} // namespace

TEST(AudioRegionTracks, RenameAsksTheParent)
{
    Signal signal = silentSignal(1000);
    AUDIOSIGNAL_AddCustomTrack(signal.get(), "words", "Words", nullptr);
    RenameLog log;
    AUDIOSIGNAL_SetParentObject(signal.get(), &log, renameCallback);
    ASSERT_TRUE(AUDIOSIGNAL_RenameRegionTrack(signal.get(), 1, "Lyrics"));
    EXPECT_EQ(log.calls, 1);
    EXPECT_EQ(log.id, "words");
    EXPECT_EQ(log.label, "Lyrics");
    EXPECT_STREQ(AUDIOREGIONTRACK_GetLabel(AUDIOSIGNAL_GetRegionTrack(signal.get(), 1)), "Lyrics");

    log.answer = false;
    EXPECT_FALSE(AUDIOSIGNAL_RenameRegionTrack(signal.get(), 1, "Refused"));
    EXPECT_EQ(log.calls, 2);
    EXPECT_STREQ(AUDIOREGIONTRACK_GetLabel(AUDIOSIGNAL_GetRegionTrack(signal.get(), 1)), "Lyrics");
    // The same label asks nobody.
    EXPECT_TRUE(AUDIOSIGNAL_RenameRegionTrack(signal.get(), 1, "Lyrics"));
    EXPECT_EQ(log.calls, 2);
    AUDIOSIGNAL_SetParentObject(signal.get(), nullptr, nullptr);
}

TEST(AudioRegionEdits, DuplicateCarriesIndependentRegions)
{
    Signal signal = silentSignal(10000);
    AUDIOSIGNAL_AddCustomTrack(signal.get(), "words", "Words", nullptr);
    AUDIOREGION original = create(signal.get(), 1.0, 2.0, "one", 1);
    Signal copy(AUDIOSIGNAL_DuplicateEx(signal.get(), 0));
    ASSERT_EQ(AUDIOSIGNAL_NumRegionTracks(copy.get()), 2);
    AUDIOREGION twin = AUDIOSIGNAL_FindFirstRegion(copy.get(), 1, 0);
    ASSERT_NE(twin, nullptr);
    EXPECT_NE(twin, original);
    EXPECT_EQ(AUDIOREGION_Compare(twin, original), 0);  // same identity and contents
    AUDIOSIGNAL_ChangeRegionLabel(copy.get(), twin, "changed");
    EXPECT_STREQ(AUDIOREGION_GetLabel(original), "one");
    Signal bare(AUDIOSIGNAL_DuplicateEx(signal.get(), AUDIOSIGNAL_DUPLICATE_NO_REGIONS));
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(bare.get(), -1, 0), 0);
    EXPECT_EQ(AUDIOSIGNAL_NumRegionTracks(bare.get()), 1);
}

TEST(AudioRegionEdits, CutMovesShortensAndTakesRegionsToTheClipboard)
{
    Signal signal = silentSignal(10000);
    AUDIOSIGNAL_AddCustomTrack(signal.get(), "words", "Words", nullptr);
    AUDIOREGION before = create(signal.get(), 0.5, 1.0, "before");
    AUDIOREGION across = create(signal.get(), 1.5, 2.5, "across");
    AUDIOREGION inside = create(signal.get(), 2.2, 2.8, "inside", 1);
    AUDIOREGION after = create(signal.get(), 4.0, 5.0, "after");
    AUDIOREGION marker = create(signal.get(), 3.0, 3.0, "at end");
    Signal work(AUDIOSIGNAL_DuplicateEx(signal.get(), 0));
    // Cut [2 s, 3 s) of the duplicate, as the engine does.
    Signal clip(AUDIOSIGNAL_CutEx(work.get(), nullptr, AUDIOSIGNAL_EDIT_REGIONS, 2000, 3000, 0.0));
    ASSERT_NE(clip, nullptr);
    const auto find = [&](AUDIOSIGNAL s, const char *label) -> AUDIOREGION {
        AUDIOREGION all[16];
        const int32_t n = AUDIOSIGNAL_GetRegions(s, -1, AUDIOREGION_SEARCH_DELETED, all, 16);
        for (int32_t i = 0; i < n; ++i)
            if (std::string(AUDIOREGION_GetLabel(all[i])) == label) return all[i];
        return nullptr;
    };
    EXPECT_DOUBLE_EQ(bounds(find(work.get(), "before")).end, 1.0);
    EXPECT_DOUBLE_EQ(bounds(find(work.get(), "across")).begin, 1.5);
    EXPECT_DOUBLE_EQ(bounds(find(work.get(), "across")).end, 2.0);
    EXPECT_TRUE(AUDIOREGION_IsDeleted(find(work.get(), "inside")));
    EXPECT_DOUBLE_EQ(bounds(find(work.get(), "after")).begin, 3.0);
    EXPECT_DOUBLE_EQ(bounds(find(work.get(), "at end")).begin, 2.0);
    // The original is untouched.
    EXPECT_DOUBLE_EQ(bounds(after).begin, 4.0);
    EXPECT_FALSE(AUDIOREGION_IsDeleted(inside));
    (void)before;
    (void)across;
    (void)marker;
    // The clipboard got the region inside (on its track) and the cut part
    // of the region across.
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(clip.get()), 1000);
    const int32_t clipWords = AUDIOSIGNAL_FindRegionTrackIndex(clip.get(), "words");
    AUDIOREGION clipInside = AUDIOSIGNAL_FindFirstRegion(clip.get(), clipWords, 0);
    ASSERT_NE(clipInside, nullptr);
    EXPECT_NEAR(AUDIOREGION_GetBegin(clipInside), 0.2, 1e-9);
    EXPECT_NEAR(AUDIOREGION_GetEnd(clipInside), 0.8, 1e-9);
    AUDIOREGION clipAcross = AUDIOSIGNAL_FindFirstRegion(clip.get(), 0, 0);
    ASSERT_NE(clipAcross, nullptr);
    EXPECT_STREQ(AUDIOREGION_GetLabel(clipAcross), "across");
    EXPECT_NEAR(AUDIOREGION_GetEnd(clipAcross), 0.5, 1e-9);

    // Pasting the clipboard back where it came from puts every live region
    // back in its place; the cut part of the region across comes back as a
    // region of its own (the shortened one ends at the insertion point).
    int64_t pasted = 0;
    ASSERT_TRUE(AUDIOSIGNAL_PasteEx2(work.get(), clip.get(), 0, 2000, 2000, &pasted, nullptr));
    EXPECT_EQ(pasted, 1000);
    EXPECT_DOUBLE_EQ(bounds(find(work.get(), "after")).begin, 4.0);
    EXPECT_DOUBLE_EQ(bounds(find(work.get(), "at end")).begin, 3.0);
    AUDIOREGION back = AUDIOSIGNAL_FindFirstRegion(work.get(), 1, 0);
    ASSERT_NE(back, nullptr);
    EXPECT_NEAR(AUDIOREGION_GetBegin(back), 2.2, 1e-9);
    EXPECT_STREQ(AUDIOREGION_GetLabel(back), "inside");
}

TEST(AudioRegionEdits, ClearWithoutClipboardAndPasteOverARange)
{
    Signal signal = silentSignal(10000);
    AUDIOREGION r = create(signal.get(), 1.0, 4.0, "long");
    AUDIOREGION m = create(signal.get(), 6.0, 6.0, "m");
    ASSERT_TRUE(AUDIOSIGNAL_ClearEx(signal.get(), 0, 2000, 3000, 0.0));
    EXPECT_DOUBLE_EQ(bounds(r).begin, 1.0);
    EXPECT_DOUBLE_EQ(bounds(r).end, 3.0);
    EXPECT_DOUBLE_EQ(bounds(m).begin, 5.0);
    // A cut without the option leaves the clipboard without regions.
    Signal clip(AUDIOSIGNAL_CutEx(signal.get(), nullptr, 0, 0, 500, 0.0));
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(clip.get(), -1, 0), 0);
    EXPECT_DOUBLE_EQ(bounds(m).begin, 4.5);

    // Replacing [1 s, 2 s) by 3 s of audio carrying a marker at 0.5 s.
    Signal source = silentSignal(3000);
    create(source.get(), 0.5, 0.5, "pasted");
    ASSERT_TRUE(AUDIOSIGNAL_PasteEx2(signal.get(), source.get(), 0, 1000, 2000, nullptr, nullptr));
    EXPECT_DOUBLE_EQ(bounds(m).begin, 6.5);
    EXPECT_EQ(labels(signal.get(), 0), (std::vector<std::string>{"long", "pasted", "m"}));
    // Across the insertion point: it grows by the pasted length.
    EXPECT_DOUBLE_EQ(bounds(r).begin, 0.5);
    EXPECT_DOUBLE_EQ(bounds(r).end, 4.5);
    AUDIOREGION pasted = AUDIOSIGNAL_FindNextOnTrackRegion(signal.get(), r, 0);
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(pasted), 1.5);
    EXPECT_NE(AUDIOREGION_GetUniqId(pasted), AUDIOREGION_GetUniqId(AUDIOSIGNAL_FindFirstRegion(source.get(), 0, 0)));
}

TEST(AudioRegionFiles, FormatSupportFollowsTheFormatTable)
{
    Signal signal = silentSignal(100);
    EXPECT_TRUE(AUDIOSIGNAL_FormatSupportRegion(signal.get(), "WAV", AUDIOSIGNAL_SUPPORT_REGIONS));
    EXPECT_TRUE(AUDIOSIGNAL_FormatSupportRegion(signal.get(), "WAV[bits=24]", AUDIOSIGNAL_SUPPORT_MARKERS));
    EXPECT_FALSE(AUDIOSIGNAL_FormatSupportRegion(signal.get(), "MP3", AUDIOSIGNAL_SUPPORT_MARKERS));
    EXPECT_FALSE(AUDIOSIGNAL_FormatSupportRegion(signal.get(), "nonsense", AUDIOSIGNAL_SUPPORT_REGIONS));
    EXPECT_FALSE(AUDIOSIGNAL_FormatSupportRegion(signal.get(), "WAV", 0x3));
    // The signal has no file yet: "AUTO" knows no format.
    EXPECT_FALSE(AUDIOSIGNAL_FormatSupportRegion(signal.get(), "AUTO", AUDIOSIGNAL_SUPPORT_REGIONS));
}
