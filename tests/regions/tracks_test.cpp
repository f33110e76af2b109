// tracks_test.cpp: annotation-track operations of a document: every undo
// step taken back and done again restores the tracks and their regions
// exactly; the read-only, hidden and master rules; the delete question;
// channel tracks.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "../../view/state_p.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "document_fixture.h"
#include "region_checks.h"
#include "track_helpers.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "tavotracks.h"

namespace {

using tavotest::EventLog;
using tavotest::NextUndo;

// Everything a track keeps, of every region track (deleted ones too), as
// one comparable text.
std::string Snapshot(TAVOAUDIO doc)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    std::ostringstream out;
    for (int32_t i = 0; i < AUDIOSIGNAL_NumRegionTracks(signal); ++i) {
        AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, i);
        out << AUDIOREGIONTRACK_GetUniqId(track) << "|" << AUDIOREGIONTRACK_GetLabel(track) << "|"
            << AUDIOREGIONTRACK_IsDeleted(track);
        if (AUDIOCUSTOMTRACK c = AUDIOSIGNAL_FindCustomTrack(signal, AUDIOREGIONTRACK_GetUniqId(track)))
            out << "|" << AUDIOCUSTOMTRACK_GetLinkedTo(c) << "|" << AUDIOCUSTOMTRACK_GetFileType(c) << "|"
                << AUDIOCUSTOMTRACK_GetFontSize(c) << "|" << AUDIOCUSTOMTRACK_GetNumberOfLines(c) << "|"
                << AUDIOCUSTOMTRACK_GetUseAsGlobalDefault(c) << AUDIOCUSTOMTRACK_GetUseAsLinkedDefault(c)
                << AUDIOCUSTOMTRACK_IsVisibleEx(c, 0);
        AUDIOREGION regions[64];
        const int32_t n = AUDIOSIGNAL_GetRegions(signal, i, AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_DELETED,
                                                 regions, 64);
        for (int32_t r = 0; r < n; ++r)
            out << " [" << AUDIOREGION_GetLabel(regions[r]) << " " << AUDIOREGION_GetBegin(regions[r]) << "-"
                << AUDIOREGION_GetEnd(regions[r]) << " " << AUDIOREGION_IsDeleted(regions[r]) << "]";
        out << "\n";
    }
    return out.str();
}

void AddRegion(TAVOAUDIO doc, const char *trackId, double begin, double end, const char *label)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    ASSERT_NE(tavotest::AddRegion(signal, AUDIOSIGNAL_FindRegionTrackIndex(signal, trackId), begin, end, label), nullptr);
}

// A stereo document with tracks "a" (two regions, global default), "b"
// (linked to "a") and "c"; no undo steps yet.
class TavoTracks : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 2, 4.0);
    void SetUp() override
    {
        ASSERT_NE(doc, nullptr);
        AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
        ASSERT_NE(AUDIOSIGNAL_AddCustomTrack(signal, "a", "Words", nullptr), nullptr);
        ASSERT_NE(AUDIOSIGNAL_AddCustomTrack(signal, "b", "Notes", "a"), nullptr);
        ASSERT_NE(AUDIOSIGNAL_AddCustomTrack(signal, "c", "Chords", nullptr), nullptr);
        AUDIOCUSTOMTRACK_SetUseAsGlobalDefault(AUDIOSIGNAL_FindCustomTrack(signal, "a"), true);
        AddRegion(doc, "a", 0.5, 1.0, "hello");
        AddRegion(doc, "a", 2.0, 2.5, "world");
    }
    ~TavoTracks() override { TAVOAUDIO_Close(doc); }
};

TEST_F(TavoTracks, EveryOperationIsOneStepThatUndoAndRedoRestoreExactly)
{
    const struct {
        const char *name;
        const char *label;
        std::function<int32_t(TAVOAUDIO)> run;
    } operations[] = {
        {"add", "Add Track", [](TAVOAUDIO d) { return TAVOAUDIO_AddCustomTrackEx(d, "n", "New", "b", 0, nullptr); }},
        {"add labelled", "Paste Track",
         [](TAVOAUDIO d) { return TAVOAUDIO_AddCustomTrackEx(d, nullptr, nullptr, nullptr, 0, "Paste Track"); }},
        {"remove", "Delete Track", [](TAVOAUDIO d) { return TAVOAUDIO_RemoveCustomTrackEx(d, "a"); }},
        {"link", "Link Track", [](TAVOAUDIO d) { return TAVOAUDIO_LinkCustomTrack(d, "c", "b"); }},
        {"unlink", "Unlink Track", [](TAVOAUDIO d) { return TAVOAUDIO_UnlinkCustomTrack(d, "b"); }},
        {"channel", "Add Track", [](TAVOAUDIO d) { return TAVOAUDIO_CreateChannelAnnotationTrack(d, 1); }},
        {"channels", "Create Channels Annotation Tracks",
         [](TAVOAUDIO d) { return TAVOAUDIO_CreateChannelsExtraTracks(d); }},
        {"rename hidden", "Rename Track",
         [](TAVOAUDIO d) {
             TAVOAUDIO_HideCustomTrack(d, "a");
             return TAVOAUDIO_SetTrackLabelEx(d, "a", "Lyrics");
         }},
        {"global default", "Use Linked Properties",
         [](TAVOAUDIO d) { return TAVOAUDIO_SetTrackAsGlobalDefault(d, "c", true); }},
        {"linked default", "Use Linked Properties",
         [](TAVOAUDIO d) { return TAVOAUDIO_SetTrackUseAsLinkedDefault(d, "a", true); }},
        {"font", "Set Track Font Size", [](TAVOAUDIO d) { return TAVOAUDIO_SetTrackFontSize(d, "b", 17.5f); }},
        {"lines", "Set Track Number of Lines", [](TAVOAUDIO d) { return TAVOAUDIO_SetTrackNumberOfLines(d, "b", 3); }},
        {"format", "Set Track Format",
         [](TAVOAUDIO d) { return TAVOAUDIO_SetCustomTrackFileType(d, "a", AUDIOCUSTOMTRACK_FILE_SRT); }},
    };
    const std::string initial = Snapshot(doc);
    for (const auto &op : operations) {
        SCOPED_TRACE(op.name);
        // Each operation starts from the fixture's tracks.
        while (TAVOUNDO_CountUndoScripts(doc) > 0) ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, TAVOUNDO_FLAG_NO_REDO));
        TAVOAUDIO_ShowCustomTrack(doc, "a");
        ASSERT_EQ(Snapshot(doc), initial);

        ASSERT_EQ(op.run(doc), 1);
        const std::string after = Snapshot(doc);
        EXPECT_NE(after, initial);
        EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
        EXPECT_EQ(NextUndo(doc), op.label);
        ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
        // The hide of "rename hidden" is view state that came before the
        // step: the track is put back hidden, as it was when renamed.
        TAVOAUDIO_ShowCustomTrack(doc, "a");
        EXPECT_EQ(Snapshot(doc), initial);
        ASSERT_TRUE(TAVOAUDIO_Redo(doc));
        EXPECT_EQ(Snapshot(doc), after);
    }
}

TEST_F(TavoTracks, DeletingAsksFirstWhenTheTrackHoldsRegionsAndUnlinksFollowers)
{
    EventLog log(doc);
    std::string asked;
    int32_t answer = 0;
    log.reply = [&](const BLNOTIFY_EVENT *event) {
        if (event->kind != TAVOAUDIO_CONFIRM_DELETE_TRACK_WITH_REGIONS) return 1;
        asked = static_cast<const char *>(event->arg1) + std::string(":") +
                std::to_string(reinterpret_cast<intptr_t>(event->arg2));
        return answer;
    };
    EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "a"), 0);
    EXPECT_EQ(asked, "a:2");   // the id and its region count
    EXPECT_TRUE(TAVOAUDIO_ContainsCustomTrack(doc, "a"));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);

    // A track without regions goes without the question.
    EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "c"), 1);
    EXPECT_EQ(log.count(TAVOAUDIO_CONFIRM_DELETE_TRACK_WITH_REGIONS), 1);
    EXPECT_EQ(log.count(TAVOAUDIO_CUSTOM_TRACKS_CHANGED), 1);

    answer = 1;
    ASSERT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "a"), 1);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(doc), 1);
    EXPECT_FALSE(TAVOAUDIO_CanUnlinkCustomTrack(doc, "b"));   // its link went with "a"
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_TRUE(TAVOAUDIO_CanUnlinkCustomTrack(doc, "b"));
    EXPECT_EQ(TAVOAUDIO_FindCustomTrackIndex(doc, "a"), 0);
}

TEST_F(TavoTracks, ReadOnlyTracksRefuseChangesHiddenOnesOnlyRegionEdits)
{
    ASSERT_TRUE(TAVOAUDIO_SetCustomTrackReadOnly(doc, "b", true));
    EXPECT_FALSE(TAVOAUDIO_EditableCustomTrack(doc, "b"));
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "b", "x"), 0);
    EXPECT_EQ(TAVOAUDIO_UnlinkCustomTrack(doc, "b"), 0);
    EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "b"), 0);
    EXPECT_NE(TAVOAUDIO_GetLastErrorMessage(doc, true), nullptr);
    ASSERT_TRUE(TAVOAUDIO_SetCustomTrackReadOnly(doc, "b", false));
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "b", "x"), 1);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "r", "R", nullptr, TAVOTRACK_FLAG_READ_ONLY, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_SetTrackNumberOfLines(doc, "r", 2), 0);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 2);

    // Hiding is view state: no step, one event; a hidden track can still be
    // renamed, and "b", which follows it, is not shown either.
    EventLog log(doc);
    ASSERT_TRUE(TAVOAUDIO_HideCustomTrack(doc, "a"));
    EXPECT_TRUE(TAVOAUDIO_HideCustomTrack(doc, "a"));
    EXPECT_EQ(log.count(TAVOAUDIO_TRACK_VISIBILITY_WILL_CHANGE), 1);
    EXPECT_FALSE(TAVOAUDIO_EditableCustomTrack(doc, "a"));
    EXPECT_TRUE(TAVOAUDIO_VisibleCustomTrack(doc, "b"));
    EXPECT_FALSE(TAVOAUDIO_IsCustomTrackVisible(doc, "b"));
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "a", "Lyrics"), 1);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 3);
}

TEST_F(TavoTracks, TheMasterTrackCannotBeDeletedWhileItIsMaster)
{
    EXPECT_FALSE(TAVOAUDIO_SetMasterTrackUniqId(doc, "missing"));
    ASSERT_TRUE(TAVOAUDIO_SetMasterTrackUniqId(doc, "c"));
    EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "c"), 0);

    // A master whose creation is undone reads as none until redone.
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "m", "Master", nullptr, 0, nullptr), 1);
    ASSERT_TRUE(TAVOAUDIO_SetMasterTrackUniqId(doc, "m"));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    char id[TAVOTRACK_MASTER_ID_SIZE] = "";
    EXPECT_FALSE(TAVOAUDIO_GetMasterTrackUniqId(doc, id, sizeof id));
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    ASSERT_TRUE(TAVOAUDIO_GetMasterTrackUniqId(doc, id, sizeof id));
    EXPECT_STREQ(id, "m");

    ASSERT_TRUE(TAVOAUDIO_SetMasterTrackUniqId(doc, nullptr));
    EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "c"), 1);
}

TEST_F(TavoTracks, RefusalsAndNoChangesMakeNoStep)
{
    EXPECT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "a", "again", nullptr, 0, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "x", "X", "missing", 0, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "main", "X", nullptr, 0, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_SetTrackFontSize(doc, "a", 0.0f), 0);
    EXPECT_EQ(TAVOAUDIO_SetTrackNumberOfLines(doc, "a", 0), 0);
    EXPECT_EQ(TAVOAUDIO_SetCustomTrackFileType(doc, "a", 9), 0);
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "a", ""), 0);
    EXPECT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "a", "b"), 0);   // a cycle
    EXPECT_EQ(TAVOAUDIO_UnlinkCustomTrack(doc, "c"), 0);      // not linked
    // Setting what is already so succeeds without a step.
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "a", "Words"), 1);
    EXPECT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "b", "a"), 1);
    EXPECT_EQ(TAVOAUDIO_SetTrackAsGlobalDefault(doc, "a", true), 1);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(doc), 3);
}

TEST_F(TavoTracks, AddingTheIdOfADeletedTrackRevivesItEmpty)
{
    ASSERT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "a"), 1);
    const std::string deleted = Snapshot(doc);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "a", "Fresh", nullptr, TAVOTRACK_FLAG_HIDDEN, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(doc), 3);
    EXPECT_FALSE(TAVOAUDIO_VisibleCustomTrack(doc, "a"));
    AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(TAVOAUDIO_GetAudioSignal(doc), 1);
    EXPECT_EQ(AUDIOREGIONTRACK_NumRegions(track), 0);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Snapshot(doc), deleted);   // deleted again, with its two regions
}

TEST_F(TavoTracks, ChannelTracksFollowTheChannelsOfTheSignal)
{
    char id[64] = "";
    ASSERT_TRUE(TAVOAUDIO_GetChannelTrackUniqId(doc, 1, id, sizeof id));
    EXPECT_STREQ(id, "channel_02_track");
    EXPECT_FALSE(TAVOAUDIO_GetChannelTrackUniqId(doc, 2, id, sizeof id));
    EXPECT_EQ(TAVOAUDIO_CreateChannelAnnotationTrack(doc, 2), 0);

    ASSERT_EQ(TAVOAUDIO_CreateChannelAnnotationTrack(doc, 1), 1);
    ASSERT_EQ(TAVOAUDIO_CreateChannelsExtraTracks(doc), 1);   // adds only channel 1's
    EXPECT_EQ(TAVOAUDIO_CreateChannelsExtraTracks(doc), 1);   // nothing missing: no step
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 2);
    EXPECT_EQ(tavotest::TrackLabel(doc, "channel_01_track"), "Channel 1");

    // The look comes from the configuration entry that shows that channel,
    // else from the entry of the same number; a linked track looks like its
    // channel track.
    TavoState *state = TAVOAUDIO_GetState(doc);
    for (int32_t s = 0; s < TAVOSTATE_CUSTOM_TRACK_CHANNELS; ++s) state->customTracks[s].audioChannel = 31;
    state->customTracks[6].audioChannel = 1;
    TAVOTRACKLOOK look{};
    ASSERT_TRUE(TAVOAUDIO_GetCustomTrackLook(doc, "channel_02_track", &look));
    EXPECT_EQ(look.slot, 6);
    ASSERT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "c", "channel_02_track"), 1);
    ASSERT_TRUE(TAVOAUDIO_GetCustomTrackLook(doc, "c", &look));
    EXPECT_EQ(look.slot, 6);
    ASSERT_TRUE(TAVOAUDIO_GetCustomTrackLook(doc, "channel_01_track", &look));
    EXPECT_EQ(look.slot, 0);
}

TEST(TavoTracksHandles, NullDocumentsFailQuietly)
{
    char buffer[32] = "";
    EXPECT_EQ(TAVOAUDIO_AddCustomTrackEx(nullptr, "a", "A", nullptr, 0, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(nullptr, "a"), 0);
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(nullptr, "a", "x"), 0);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(nullptr), 0);
    EXPECT_FALSE(TAVOAUDIO_GetCustomTrackUniqId(nullptr, 0, buffer, sizeof buffer));
    EXPECT_FALSE(TAVOAUDIO_HideCustomTrack(nullptr, "a"));
}

}  // namespace
