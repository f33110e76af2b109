// roundtrip_test.cpp: a document with regions, markers, annotation tracks
// and tags is saved, closed and opened again through the public interface.
// WAV and FLAC keep all of it; AIFF all but track 0's regions, and the host
// is told once before such a save and may cancel it.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "../edit/doc_helpers.h"
#include "audioregion.h"
#include "document_fixture.h"
#include "tavometadata.h"
#include "tavoregions.h"
#include "tavoregionview.h"
#include "tavotracks.h"
#include "track_helpers.h"

namespace {

using tavotest::Events;
using tavotest::TrackIdAt;
using tavotest::TrackLabel;
using tavotest::TrackLink;

struct RegionFacts {
    int64_t begin;
    int64_t end;
    std::string label;
    bool operator==(const RegionFacts &) const = default;
};

void PrintTo(const RegionFacts &r, std::ostream *os) { *os << "{" << r.begin << ", " << r.end << ", " << r.label << "}"; }

// The regions of a track (null: track 0), in track order.
std::vector<RegionFacts> RegionsOf(TAVOAUDIO doc, const char *trackId)
{
    std::vector<RegionFacts> out;
    for (AUDIOREGION r = TAVOAUDIO_GetFirstRegion(doc, trackId); r != nullptr; r = TAVOAUDIO_GetNextRegion(doc, r)) {
        const char *label = TAVOAUDIO_GetRegionLabel(doc, r);
        out.push_back({TAVOAUDIO_GetRegionBeginSample(doc, r), TAVOAUDIO_GetRegionEndSample(doc, r),
                       label != nullptr ? label : ""});
    }
    return out;
}

std::string Field(TAVOAUDIO doc, const char *name)
{
    char buffer[256] = "";
    return TAVOAUDIO_CopyMetaData(doc, name, buffer, sizeof buffer) >= 0 ? std::string(buffer) : std::string("<none>");
}

// At 8 kHz every position below is a whole millisecond, the resolution of the
// SRT files that keep annotation tracks, so positions come back exactly.
const std::vector<RegionFacts> kTrack0 = {{800, 4000, "Intro"}, {2400, 2400, "Cue A"}, {8000, 12000, "Verse"}};
const std::vector<RegionFacts> kLyrics = {{800, 2400, "Hello"}, {4000, 6400, "World"}};
const std::vector<RegionFacts> kTranslation = {{800, 2400, "Hola"}};
const std::vector<RegionFacts> kNotes = {{12000, 14000, "Coda"}};

// Regions and a marker on track 0; "lyrics" kept as SRT, "translation"
// (linked to "lyrics") as WebVTT; a hidden "notes" without a file type;
// tags in one edition.
TAVOAUDIO MakeAnnotatedDocument()
{
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 2.0);
    bool ok = doc != nullptr && TAVOAUDIO_AddRegion(doc, 800, 4000, "Intro") != nullptr &&
              TAVOAUDIO_AddRegion(doc, 8000, 12000, "Verse") != nullptr &&
              TAVOAUDIO_AddMarkerToSample(doc, 2400, "Cue A") != nullptr &&
              TAVOAUDIO_AddCustomTrackEx(doc, "lyrics", "Words", nullptr, 0, nullptr) == 1 &&
              TAVOAUDIO_AddCustomTrackEx(doc, "translation", "Translation", nullptr, 0, nullptr) == 1 &&
              TAVOAUDIO_AddCustomTrackEx(doc, "notes", "Notes", nullptr, TAVOTRACK_FLAG_HIDDEN, nullptr) == 1 &&
              TAVOAUDIO_LinkCustomTrack(doc, "translation", "lyrics") == 1 &&
              TAVOAUDIO_SetTrackLabelEx(doc, "lyrics", "Lyrics") == 1 &&
              TAVOAUDIO_SetCustomTrackFileType(doc, "lyrics", AUDIOCUSTOMTRACK_FILE_SRT) == 1 &&
              TAVOAUDIO_SetCustomTrackFileType(doc, "translation", AUDIOCUSTOMTRACK_FILE_WEBVTT) == 1 &&
              TAVOAUDIO_SetTrackFontSize(doc, "lyrics", 14.5f) == 1 &&
              TAVOAUDIO_SetTrackFontSize(doc, "translation", 11.0f) == 1 &&
              TAVOAUDIO_SetTrackNumberOfLines(doc, "lyrics", 2) == 1 &&
              TAVOAUDIO_SetTrackNumberOfLines(doc, "translation", 3) == 1 &&
              TAVOAUDIO_SetTrackUseAsLinkedDefault(doc, "lyrics", true) == 1 &&
              TAVOAUDIO_SetTrackAsGlobalDefault(doc, "translation", true) == 1 &&
              TAVOAUDIO_SetMasterTrackUniqId(doc, "lyrics");
    for (const auto &[track, regions] :
         {std::pair{"lyrics", kLyrics}, {"translation", kTranslation}, {"notes", kNotes}})
        for (const RegionFacts &r : regions)
            ok = ok && TAVOAUDIO_CreateRegionEx2(doc, track, r.begin, r.end, "undef", r.label.c_str(), nullptr, 0,
                                                 nullptr) != nullptr;
    ok = ok && TAVOAUDIO_BeginMetadataEdition(doc, nullptr) == 1 && TAVOAUDIO_SetTitle(doc, "Night Song") == 1 &&
         TAVOAUDIO_SetArtist(doc, "The Choir") == 1 && TAVOAUDIO_SetYear(doc, 2019) == 1 &&
         TAVOAUDIO_SetTrackNum(doc, 4) == 1 && TAVOAUDIO_EndMetadataEdition(doc) == 1;
    if (!ok) TAVOAUDIO_Close(doc);
    return ok ? doc : nullptr;
}

// The tracks, their regions and the tags as MakeAnnotatedDocument left them.
void ExpectTracksAndTags(TAVOAUDIO doc)
{
    ASSERT_EQ(TAVOAUDIO_CountCustomTracks(doc), 3);
    EXPECT_EQ(TrackIdAt(doc, 0), "lyrics");
    EXPECT_EQ(TrackIdAt(doc, 1), "translation");
    EXPECT_EQ(TrackIdAt(doc, 2), "notes");
    EXPECT_EQ(TrackLabel(doc, "lyrics"), "Lyrics");
    EXPECT_EQ(TrackLabel(doc, "notes"), "Notes");
    EXPECT_EQ(TrackLink(doc, "translation"), "lyrics");
    EXPECT_EQ(TrackLink(doc, "lyrics"), "");
    EXPECT_FLOAT_EQ(TAVOAUDIO_GetTrackFontSize(doc, "lyrics"), 14.5f);
    EXPECT_FLOAT_EQ(TAVOAUDIO_GetTrackFontSize(doc, "translation"), 11.0f);
    EXPECT_EQ(TAVOAUDIO_GetTrackNumberOfLines(doc, "lyrics"), 2);
    EXPECT_EQ(TAVOAUDIO_GetTrackNumberOfLines(doc, "translation"), 3);
    EXPECT_TRUE(TAVOAUDIO_GetTrackUseAsLinkedDefault(doc, "lyrics"));
    EXPECT_FALSE(TAVOAUDIO_GetTrackUseAsLinkedDefault(doc, "translation"));
    EXPECT_TRUE(TAVOAUDIO_GetTrackUseAsGlobalDefault(doc, "translation"));
    EXPECT_FALSE(TAVOAUDIO_GetTrackUseAsGlobalDefault(doc, "lyrics"));
    EXPECT_FALSE(TAVOAUDIO_VisibleCustomTrack(doc, "notes"));
    EXPECT_TRUE(TAVOAUDIO_IsMasterTrackUniqId(doc, "lyrics"));
    EXPECT_EQ(RegionsOf(doc, "lyrics"), kLyrics);
    EXPECT_EQ(RegionsOf(doc, "translation"), kTranslation);
    EXPECT_EQ(RegionsOf(doc, "notes"), kNotes);
    const auto fileType = [&](const char *id) {
        return AUDIOCUSTOMTRACK_GetFileType(
            AUDIOSIGNAL_GetCustomTrack(TAVOAUDIO_GetAudioSignal(doc), TAVOAUDIO_FindCustomTrackIndex(doc, id)));
    };
    EXPECT_EQ(fileType("lyrics"), AUDIOCUSTOMTRACK_FILE_SRT);
    EXPECT_EQ(fileType("translation"), AUDIOCUSTOMTRACK_FILE_WEBVTT);
    EXPECT_EQ(fileType("notes"), AUDIOCUSTOMTRACK_FILE_NONE);
    EXPECT_EQ(Field(doc, "TITLE"), "Night Song");
    EXPECT_EQ(Field(doc, "ARTIST"), "The Choir");
    EXPECT_EQ(TAVOAUDIO_GetYear(doc), 2019);
    EXPECT_EQ(TAVOAUDIO_GetTrackNum(doc), 4);
}

class TavoDocumentRoundTrip : public ::testing::TestWithParam<const char *> {
protected:
    tavotest::TempFolder folder;
};

TEST_P(TavoDocumentRoundTrip, RegionsMarkersTracksAndTagsComeBack)
{
    const bool aiff = std::string(GetParam()) == "AIFF";   // cannot keep track 0's regions
    const std::string path = folder.file(std::string("song.") + GetParam());
    TAVOAUDIO doc = MakeAnnotatedDocument();
    ASSERT_NE(doc, nullptr);
    Events ignoring;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOEVENT_SAVE_IGNORING_REGIONS, Events::Handler, &ignoring));
    if (aiff) {
        // A refused save writes neither the audio nor any sidecar.
        ignoring.answers[TAVOEVENT_SAVE_IGNORING_REGIONS] = 0;
        EXPECT_FALSE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), GetParam(), 0));
        EXPECT_TRUE(TAVOAUDIO_HasChanges(doc));
        EXPECT_TRUE(std::filesystem::is_empty(folder.path));
        ignoring.answers.clear();
    }
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), GetParam(), 0));
    EXPECT_EQ(ignoring.total(), aiff ? 2 : 0);
    TAVOAUDIO_Close(doc);
    TAVOAUDIO opened = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(RegionsOf(opened, nullptr), aiff ? std::vector<RegionFacts>{} : kTrack0);
    EXPECT_EQ(TAVOAUDIO_IsMarker(opened, TAVOAUDIO_FindRegion(opened, "Cue A")), !aiff);
    ExpectTracksAndTags(opened);
    EXPECT_FALSE(TAVOAUDIO_HasChanges(opened));   // reading back is no change
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(opened), 0);
    TAVOAUDIO_Close(opened);
}

INSTANTIATE_TEST_SUITE_P(Formats, TavoDocumentRoundTrip, ::testing::Values("WAV", "FLAC", "AIFF"),
                         [](const ::testing::TestParamInfo<const char *> &info) { return std::string(info.param); });

TEST(TavoDocumentRoundTripEdited, UndoneAndRedoneTrackChangesSaveTheirFinalState)
{
    tavotest::TempFolder folder;
    const std::string path = folder.file("edited.wav");
    TAVOAUDIO doc = MakeAnnotatedDocument();
    ASSERT_NE(doc, nullptr);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), "WAV", 0));
    // Rename and resize, undo the resize, undo and redo the rename, unlink and
    // undo that: "Sung words" at 14.5 points, linked.
    ASSERT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "lyrics", "Sung words"), 1);
    ASSERT_EQ(TAVOAUDIO_SetTrackFontSize(doc, "lyrics", 20.0f), 1);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    ASSERT_EQ(TAVOAUDIO_UnlinkCustomTrack(doc, "translation"), 1);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_TRUE(TAVOAUDIO_HasChanges(doc));
    ASSERT_TRUE(TAVOAUDIO_SaveEx(doc, 0));
    TAVOAUDIO_Close(doc);
    TAVOAUDIO opened = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(TrackLabel(opened, "lyrics"), "Sung words");
    EXPECT_FLOAT_EQ(TAVOAUDIO_GetTrackFontSize(opened, "lyrics"), 14.5f);
    EXPECT_EQ(TrackLink(opened, "translation"), "lyrics");
    EXPECT_EQ(RegionsOf(opened, "lyrics"), kLyrics);
    EXPECT_EQ(RegionsOf(opened, nullptr), kTrack0);
    TAVOAUDIO_Close(opened);
}

}  // namespace
