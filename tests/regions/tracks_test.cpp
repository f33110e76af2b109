// tracks_test.cpp: annotation-track operations of a document: every undo
// step taken back and done again restores the tracks and their regions
// exactly; the read-only, hidden and master rules; the delete question;
// channel tracks; handle abuse.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "../../view/state_p.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "blnotify.h"
#include "document_fixture.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "tavotracks.h"
#include "tavoundo.h"

namespace {

// Everything a track keeps, of every region track (deleted ones too), as
// one comparable text.
std::string Snapshot(TAVOAUDIO doc)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    std::ostringstream out;
    for (int32_t i = 0; i < AUDIOSIGNAL_NumRegionTracks(signal); ++i) {
        AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, i);
        out << i << ":" << AUDIOREGIONTRACK_GetUniqId(track) << "|" << AUDIOREGIONTRACK_GetLabel(track)
            << "|del=" << AUDIOREGIONTRACK_IsDeleted(track);
        AUDIOCUSTOMTRACK custom = AUDIOSIGNAL_FindCustomTrack(signal, AUDIOREGIONTRACK_GetUniqId(track));
        if (custom != nullptr) {
            out << "|link=" << AUDIOCUSTOMTRACK_GetLinkedTo(custom) << "|type=" << AUDIOCUSTOMTRACK_GetFileType(custom)
                << "|font=" << AUDIOCUSTOMTRACK_GetFontSize(custom)
                << "|lines=" << AUDIOCUSTOMTRACK_GetNumberOfLines(custom)
                << "|gd=" << AUDIOCUSTOMTRACK_GetUseAsGlobalDefault(custom)
                << "|ld=" << AUDIOCUSTOMTRACK_GetUseAsLinkedDefault(custom)
                << "|vis=" << AUDIOCUSTOMTRACK_IsVisibleEx(custom, 0);
        }
        const uint32_t all = AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_DELETED;
        std::vector<AUDIOREGION> regions(64);
        const int32_t n = AUDIOSIGNAL_GetRegions(signal, i, all, regions.data(), 64);
        for (int32_t r = 0; r < n; ++r) {
            out << " [" << AUDIOREGION_GetLabel(regions[r]) << " " << AUDIOREGION_GetBegin(regions[r]) << "-"
                << AUDIOREGION_GetEnd(regions[r]) << " d" << AUDIOREGION_IsDeleted(regions[r]) << "]";
        }
        out << "\n";
    }
    return out.str();
}

std::string NextUndo(TAVOAUDIO doc)
{
    char label[TAVOUNDO_LABEL_SIZE] = "";
    return TAVOAUDIO_NextUndoLabel(doc, label, sizeof label) ? std::string(label) : std::string("<none>");
}

void AddRegion(TAVOAUDIO doc, const char *trackId, double begin, double end, const char *label)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    const int32_t index = AUDIOSIGNAL_FindRegionTrackIndex(signal, trackId);
    ASSERT_GT(index, 0);
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal, 0, begin, end, "region", label, nullptr, index, nullptr, 0),
              1);
}

struct EventLog {
    std::vector<int32_t> kinds;
    std::string deleteId;
    intptr_t deleteCount = -1;
    int32_t deleteAnswer = 1;
    static int32_t Handler(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<EventLog *>(user);
        self->kinds.push_back(event->kind);
        if (event->kind != TAVOAUDIO_CONFIRM_DELETE_TRACK_WITH_REGIONS) return 1;
        self->deleteId = static_cast<const char *>(event->arg1);
        self->deleteCount = reinterpret_cast<intptr_t>(event->arg2);
        return self->deleteAnswer;
    }
    int count(int32_t kind) const
    {
        int n = 0;
        for (int32_t k : kinds) n += k == kind;
        return n;
    }
};

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

struct Operation {
    const char *name;
    const char *label;
    std::function<int32_t(TAVOAUDIO)> run;
};

TEST_F(TavoTracks, EveryOperationIsOneStepThatUndoAndRedoRestoreExactly)
{
    const Operation operations[] = {
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
    for (const Operation &op : operations) {
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
    EventLog log;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, EventLog::Handler, &log));
    log.deleteAnswer = 0;
    EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "a"), 0);
    EXPECT_EQ(log.deleteId, "a");
    EXPECT_EQ(log.deleteCount, 2);
    EXPECT_TRUE(TAVOAUDIO_ContainsCustomTrack(doc, "a"));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);

    // A track without regions goes without the question.
    EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "c"), 1);
    EXPECT_EQ(log.count(TAVOAUDIO_CONFIRM_DELETE_TRACK_WITH_REGIONS), 1);
    EXPECT_EQ(log.count(TAVOAUDIO_CUSTOM_TRACKS_CHANGED), 1);

    log.deleteAnswer = 1;
    ASSERT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "a"), 1);
    EXPECT_FALSE(TAVOAUDIO_ContainsCustomTrack(doc, "a"));
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(doc), 1);
    EXPECT_FALSE(TAVOAUDIO_CanUnlinkCustomTrack(doc, "b"));   // its link went with "a"
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_TRUE(TAVOAUDIO_CanUnlinkCustomTrack(doc, "b"));
    EXPECT_EQ(TAVOAUDIO_FindCustomTrackIndex(doc, "a"), 0);
    TAVOAUDIO_DelEventHandler(doc, BLNOTIFY_ANY_KIND, EventLog::Handler, &log);
}

TEST_F(TavoTracks, ReadOnlyTracksRefuseEditsUntilTheFlagIsCleared)
{
    ASSERT_TRUE(TAVOAUDIO_SetCustomTrackReadOnly(doc, "b", true));
    EXPECT_FALSE(TAVOAUDIO_CanRenameCustomTrack(doc, "b"));
    EXPECT_FALSE(TAVOAUDIO_CanRemoveCustomTrack(doc, "b"));
    EXPECT_FALSE(TAVOAUDIO_EditableCustomTrack(doc, "b"));
    EXPECT_FALSE(TAVOAUDIO_CanUnlinkCustomTrack(doc, "b"));
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "b", "x"), 0);
    EXPECT_EQ(TAVOAUDIO_SetTrackFontSize(doc, "b", 20.0f), 0);
    EXPECT_EQ(TAVOAUDIO_UnlinkCustomTrack(doc, "b"), 0);
    EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "b"), 0);
    EXPECT_NE(TAVOAUDIO_GetLastErrorMessage(doc, true), nullptr);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    // View state still changes.
    EXPECT_TRUE(TAVOAUDIO_HideCustomTrack(doc, "b"));
    EXPECT_TRUE(TAVOAUDIO_ShowCustomTrack(doc, "b"));

    ASSERT_TRUE(TAVOAUDIO_SetCustomTrackReadOnly(doc, "b", false));
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "b", "x"), 1);
    // A track added read-only is read-only from the start.
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "r", "R", nullptr, TAVOTRACK_FLAG_READ_ONLY | TAVOTRACK_FLAG_TEMPORARY,
                                         nullptr),
              1);
    EXPECT_TRUE(TAVOAUDIO_CustomTrackReadOnly(doc, "r"));
    EXPECT_TRUE(TAVOAUDIO_CustomTrackIsTemporary(doc, "r"));
    EXPECT_EQ(TAVOAUDIO_SetTrackNumberOfLines(doc, "r", 2), 0);
}

TEST_F(TavoTracks, HiddenTracksCanBeRenamedButTheirRegionsAreNotEditable)
{
    EXPECT_TRUE(TAVOAUDIO_EditableCustomTrack(doc, "a"));
    EventLog log;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, EventLog::Handler, &log));
    ASSERT_TRUE(TAVOAUDIO_HideCustomTrack(doc, "a"));
    EXPECT_EQ(log.count(TAVOAUDIO_TRACK_VISIBILITY_WILL_CHANGE), 1);
    EXPECT_TRUE(TAVOAUDIO_HideCustomTrack(doc, "a"));   // already hidden: nothing sent
    EXPECT_EQ(log.count(TAVOAUDIO_TRACK_VISIBILITY_WILL_CHANGE), 1);
    TAVOAUDIO_DelEventHandler(doc, BLNOTIFY_ANY_KIND, EventLog::Handler, &log);

    EXPECT_FALSE(TAVOAUDIO_VisibleCustomTrack(doc, "a"));
    EXPECT_FALSE(TAVOAUDIO_EditableCustomTrack(doc, "a"));
    EXPECT_TRUE(TAVOAUDIO_CanRenameCustomTrack(doc, "a"));
    // "b" is visible itself but not shown: the track it follows is hidden.
    EXPECT_TRUE(TAVOAUDIO_VisibleCustomTrack(doc, "b"));
    EXPECT_FALSE(TAVOAUDIO_IsCustomTrackVisible(doc, "b"));
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "a", "Lyrics"), 1);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);   // hiding made no step
}

TEST_F(TavoTracks, TheMasterTrackCannotBeDeletedWhileItIsMaster)
{
    EXPECT_FALSE(TAVOAUDIO_SetMasterTrackUniqId(doc, "missing"));
    ASSERT_TRUE(TAVOAUDIO_SetMasterTrackUniqId(doc, "c"));
    EXPECT_TRUE(TAVOAUDIO_IsMasterTrackUniqId(doc, "c"));
    EXPECT_FALSE(TAVOAUDIO_IsMasterTrackUniqId(doc, "a"));
    EXPECT_FALSE(TAVOAUDIO_CanRemoveCustomTrack(doc, "c"));
    EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "c"), 0);
    EXPECT_TRUE(TAVOAUDIO_ContainsCustomTrack(doc, "c"));

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

TEST_F(TavoTracks, AddingRefusesIdsInUseAndRevivesDeletedOnesWithUndo)
{
    EXPECT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "a", "again", nullptr, 0, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "x", "X", "missing", 0, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "main", "X", nullptr, 0, nullptr), 0);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(doc), 3);

    ASSERT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "a"), 1);
    const std::string deleted = Snapshot(doc);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "a", "Fresh", nullptr, TAVOTRACK_FLAG_HIDDEN, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(doc), 3);
    EXPECT_FALSE(TAVOAUDIO_VisibleCustomTrack(doc, "a"));
    EXPECT_EQ(AUDIOREGIONTRACK_NumRegions(AUDIOSIGNAL_GetRegionTrack(TAVOAUDIO_GetAudioSignal(doc), 1)), 0);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Snapshot(doc), deleted);   // deleted again, with its two regions
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(AUDIOREGIONTRACK_NumRegions(AUDIOSIGNAL_GetRegionTrack(TAVOAUDIO_GetAudioSignal(doc), 1)), 2);
}

TEST_F(TavoTracks, SettingWhatIsAlreadySoOrABadValueMakesNoStep)
{
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "a", "Words"), 1);
    EXPECT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "b", "a"), 1);
    EXPECT_EQ(TAVOAUDIO_SetTrackAsGlobalDefault(doc, "a", true), 1);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);

    EXPECT_EQ(TAVOAUDIO_SetTrackFontSize(doc, "a", 0.0f), 0);
    EXPECT_EQ(TAVOAUDIO_SetTrackNumberOfLines(doc, "a", 0), 0);
    EXPECT_EQ(TAVOAUDIO_SetCustomTrackFileType(doc, "a", 9), 0);
    EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "a", ""), 0);
    EXPECT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "a", "b"), 0);   // a cycle
    EXPECT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "a", "a"), 0);
    EXPECT_EQ(TAVOAUDIO_UnlinkCustomTrack(doc, "c"), 0);      // not linked
    EXPECT_EQ(TAVOAUDIO_SetTrackFontSize(doc, "nope", 10.0f), 0);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
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
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 2);
    EXPECT_EQ(TAVOAUDIO_CreateChannelsExtraTracks(doc), 1);   // nothing missing: no step
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 2);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(doc), 5);
    const int32_t first = TAVOAUDIO_FindCustomTrackIndex(doc, "channel_01_track");
    ASSERT_GE(first, 0);
    ASSERT_TRUE(TAVOAUDIO_GetCustomTrackUniqId(doc, first, id, sizeof id));
    EXPECT_STREQ(id, "channel_01_track");
    EXPECT_STREQ(AUDIOCUSTOMTRACK_GetLabel(AUDIOSIGNAL_FindCustomTrack(TAVOAUDIO_GetAudioSignal(doc), id)),
                 "Channel 1");

    // The look comes from the configuration entry that shows that channel.
    TavoState *state = TAVOAUDIO_GetState(doc);
    for (int32_t s = 0; s < TAVOSTATE_CUSTOM_TRACK_CHANNELS; ++s) state->customTracks[s].audioChannel = 31;
    state->customTracks[6].audioChannel = 1;
    state->customTracks[6].regionColor = 0x11223344u;
    state->customTracks[6].minHeight = 77;
    TAVOTRACKLOOK look{};
    ASSERT_TRUE(TAVOAUDIO_GetCustomTrackLook(doc, "channel_02_track", &look));
    EXPECT_EQ(look.slot, 6);
    EXPECT_EQ(look.regionColor, 0x11223344u);
    EXPECT_EQ(look.minHeight, 77);
    // A track linked to a channel track looks like it.
    ASSERT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "c", "channel_02_track"), 1);
    ASSERT_TRUE(TAVOAUDIO_GetCustomTrackLook(doc, "c", &look));
    EXPECT_EQ(look.slot, 6);
    // With no entry for the channel, the entry of the same number.
    ASSERT_TRUE(TAVOAUDIO_GetCustomTrackLook(doc, "channel_01_track", &look));
    EXPECT_EQ(look.slot, 0);
}

TEST(TavoTracksHandles, NullAndClosedDocumentsFailQuietly)
{
    TAVOAUDIO closed = tavotest::MakeSineDocument(1000, 1, 1.0);
    ASSERT_NE(closed, nullptr);
    TAVOAUDIO_Close(closed);
    char buffer[32] = "";
    TAVOTRACKLOOK look{};
    for (TAVOAUDIO doc : {static_cast<TAVOAUDIO>(nullptr), closed}) {
        EXPECT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "a", "A", nullptr, 0, nullptr), 0);
        EXPECT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "a"), 0);
        EXPECT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "a", "b"), 0);
        EXPECT_EQ(TAVOAUDIO_UnlinkCustomTrack(doc, "a"), 0);
        EXPECT_FALSE(TAVOAUDIO_CanUnlinkCustomTrack(doc, "a"));
        EXPECT_EQ(TAVOAUDIO_CreateChannelAnnotationTrack(doc, 0), 0);
        EXPECT_EQ(TAVOAUDIO_CreateChannelsExtraTracks(doc), 0);
        EXPECT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "a", "x"), 0);
        EXPECT_EQ(TAVOAUDIO_SetTrackAsGlobalDefault(doc, "a", true), 0);
        EXPECT_EQ(TAVOAUDIO_SetTrackUseAsLinkedDefault(doc, "a", true), 0);
        EXPECT_EQ(TAVOAUDIO_SetTrackFontSize(doc, "a", 10.0f), 0);
        EXPECT_EQ(TAVOAUDIO_SetTrackNumberOfLines(doc, "a", 2), 0);
        EXPECT_EQ(TAVOAUDIO_SetCustomTrackFileType(doc, "a", 1), 0);
        EXPECT_EQ(TAVOAUDIO_CountCustomTracks(doc), 0);
        EXPECT_FALSE(TAVOAUDIO_ContainsCustomTrack(doc, "a"));
        EXPECT_EQ(TAVOAUDIO_FindCustomTrackIndex(doc, "a"), -1);
        EXPECT_FALSE(TAVOAUDIO_GetCustomTrackUniqId(doc, 0, buffer, sizeof buffer));
        EXPECT_FALSE(TAVOAUDIO_GetChannelTrackUniqId(doc, 0, buffer, sizeof buffer));
        EXPECT_FALSE(TAVOAUDIO_VisibleCustomTrack(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_IsCustomTrackVisible(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_CanRenameCustomTrack(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_CanRemoveCustomTrack(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_EditableCustomTrack(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_ExternalCustomTrack(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_ShowCustomTrack(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_HideCustomTrack(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_GetTrackUseAsGlobalDefault(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_GetTrackUseAsLinkedDefault(doc, "a"));
        EXPECT_EQ(TAVOAUDIO_GetTrackFontSize(doc, "a"), 0.0f);
        EXPECT_EQ(TAVOAUDIO_GetTrackNumberOfLines(doc, "a"), 0);
        EXPECT_FALSE(TAVOAUDIO_CustomTrackIsTemporary(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_SetCustomTrackTemporary(doc, "a", true));
        EXPECT_FALSE(TAVOAUDIO_CustomTrackReadOnly(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_SetCustomTrackReadOnly(doc, "a", true));
        EXPECT_FALSE(TAVOAUDIO_GetCustomTrackLook(doc, "a", &look));
        EXPECT_FALSE(TAVOAUDIO_GetMasterTrackUniqId(doc, buffer, sizeof buffer));
        EXPECT_FALSE(TAVOAUDIO_SetMasterTrackUniqId(doc, "a"));
        EXPECT_FALSE(TAVOAUDIO_IsMasterTrackUniqId(doc, "a"));
    }
}

}  // namespace
