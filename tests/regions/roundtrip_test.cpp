// roundtrip_test.cpp: a document with regions, markers, annotation tracks
// and tags is saved, closed and opened again, and everything the file
// format can keep is found again: in WAV and FLAC files all of it, in an
// AIFF file all but the regions of the document's own track (the host is
// told once before the save, and may cancel it). Only the public interface
// is used.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "audioregion.h"
#include "blnotify.h"
#include "document_fixture.h"
#include "tavoaudio.h"
#include "tavometadata.h"
#include "tavonotify.h"
#include "tavoregions.h"
#include "tavoregionview.h"
#include "tavotracks.h"
#include "track_helpers.h"
#include "tavoundo.h"

namespace {

using tavotest::TrackIdAt;
using tavotest::TrackLabel;
using tavotest::TrackLink;

// 8 kHz: every frame used below is a whole number of milliseconds (a
// multiple of 8 frames), the resolution of the SRT files that keep the
// regions of annotation tracks, so positions must come back exactly.
constexpr int32_t kRate = 8000;
constexpr double kSeconds = 2.0;

struct RegionFacts {
    int64_t begin;
    int64_t end;
    std::string label;
    bool operator==(const RegionFacts &) const = default;
};

void PrintTo(const RegionFacts &r, std::ostream *os)
{
    *os << "{" << r.begin << ", " << r.end << ", \"" << r.label << "\"}";
}

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

// Counts one event kind and answers it with `answer`.
struct EventCounter {
    int32_t count = 0;
    int32_t answer = 1;
    static int32_t Handler(void *self, const BLNOTIFY_EVENT *)
    {
        auto *counter = static_cast<EventCounter *>(self);
        ++counter->count;
        return counter->answer;
    }
};

// What was put into the document before saving: the facts checked after
// reopening.
const std::vector<RegionFacts> kTrack0 = {{800, 4000, "Intro"}, {2400, 2400, "Cue A"}, {8000, 12000, "Verse"}};
const std::vector<RegionFacts> kLyrics = {{800, 2400, "Hello"}, {4000, 6400, "World"}};
const std::vector<RegionFacts> kTranslation = {{800, 2400, "Hola"}};

class TavoDocumentRoundTrip : public ::testing::Test {
protected:
    std::filesystem::path folder;

    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tavo-roundtrip-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    std::string file(const char *name) const { return (folder / name).string(); }

    // Regions and a marker on track 0; "lyrics" and "translation" (linked to
    // "lyrics") with regions, both kept as SRT; an empty "notes" track kept
    // without a region file; tags set in one metadata edition.
    static TAVOAUDIO MakeAnnotatedDocument()
    {
        TAVOAUDIO doc = tavotest::MakeSineDocument(kRate, 1, kSeconds);
        if (doc == nullptr) return nullptr;
        bool ok = TAVOAUDIO_AddRegion(doc, 800, 4000, "Intro") != nullptr &&
                  TAVOAUDIO_AddRegion(doc, 8000, 12000, "Verse") != nullptr &&
                  TAVOAUDIO_AddMarkerToSample(doc, 2400, "Cue A") != nullptr;
        ok = ok && TAVOAUDIO_AddCustomTrackEx(doc, "lyrics", "Words", nullptr, 0, nullptr) == 1 &&
             TAVOAUDIO_AddCustomTrackEx(doc, "translation", "Translation", nullptr, 0, nullptr) == 1 &&
             TAVOAUDIO_AddCustomTrackEx(doc, "notes", "Notes", nullptr, TAVOTRACK_FLAG_HIDDEN, nullptr) == 1 &&
             TAVOAUDIO_LinkCustomTrack(doc, "translation", "lyrics") == 1 &&
             TAVOAUDIO_SetTrackLabelEx(doc, "lyrics", "Lyrics") == 1 &&
             TAVOAUDIO_SetCustomTrackFileType(doc, "lyrics", AUDIOCUSTOMTRACK_FILE_SRT) == 1 &&
             TAVOAUDIO_SetCustomTrackFileType(doc, "translation", AUDIOCUSTOMTRACK_FILE_SRT) == 1 &&
             TAVOAUDIO_SetTrackFontSize(doc, "lyrics", 14.5f) == 1 &&
             TAVOAUDIO_SetTrackFontSize(doc, "translation", 11.0f) == 1 &&
             TAVOAUDIO_SetTrackNumberOfLines(doc, "lyrics", 2) == 1 &&
             TAVOAUDIO_SetTrackNumberOfLines(doc, "translation", 3) == 1 &&
             TAVOAUDIO_SetTrackUseAsLinkedDefault(doc, "lyrics", true) == 1 &&
             TAVOAUDIO_SetTrackAsGlobalDefault(doc, "translation", true) == 1 &&
             TAVOAUDIO_SetMasterTrackUniqId(doc, "lyrics");
        for (const RegionFacts &r : kLyrics)
            ok = ok && TAVOAUDIO_CreateRegionEx2(doc, "lyrics", r.begin, r.end, "undef", r.label.c_str(), nullptr, 0,
                                                 nullptr) != nullptr;
        for (const RegionFacts &r : kTranslation)
            ok = ok && TAVOAUDIO_CreateRegionEx2(doc, "translation", r.begin, r.end, "undef", r.label.c_str(), nullptr,
                                                 0, nullptr) != nullptr;
        ok = ok && TAVOAUDIO_BeginMetadataEdition(doc, nullptr) == 1 && TAVOAUDIO_SetTitle(doc, "Night Song") == 1 &&
             TAVOAUDIO_SetArtist(doc, "The Choir") == 1 && TAVOAUDIO_SetYear(doc, 2019) == 1 &&
             TAVOAUDIO_SetTrackNum(doc, 4) == 1 && TAVOAUDIO_EndMetadataEdition(doc) == 1;
        if (!ok) {
            TAVOAUDIO_Close(doc);
            return nullptr;
        }
        return doc;
    }

    // The annotation tracks as MakeAnnotatedDocument left them, with their
    // regions, in `doc`.
    static void ExpectAnnotationTracks(TAVOAUDIO doc)
    {
        ASSERT_EQ(TAVOAUDIO_CountCustomTracks(doc), 3);
        EXPECT_EQ(TrackIdAt(doc, 0), "lyrics");
        EXPECT_EQ(TrackIdAt(doc, 1), "translation");
        EXPECT_EQ(TrackIdAt(doc, 2), "notes");
        EXPECT_EQ(TrackLabel(doc, "lyrics"), "Lyrics");
        EXPECT_EQ(TrackLabel(doc, "translation"), "Translation");
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
        EXPECT_TRUE(TAVOAUDIO_VisibleCustomTrack(doc, "lyrics"));
        EXPECT_FALSE(TAVOAUDIO_VisibleCustomTrack(doc, "notes"));
        EXPECT_TRUE(TAVOAUDIO_IsMasterTrackUniqId(doc, "lyrics"));
        EXPECT_EQ(RegionsOf(doc, "lyrics"), kLyrics);
        EXPECT_EQ(RegionsOf(doc, "translation"), kTranslation);
        EXPECT_TRUE(RegionsOf(doc, "notes").empty());
    }

    static void ExpectTags(TAVOAUDIO doc)
    {
        EXPECT_EQ(Field(doc, "TITLE"), "Night Song");
        EXPECT_EQ(Field(doc, "ARTIST"), "The Choir");
        EXPECT_EQ(TAVOAUDIO_GetYear(doc), 2019);
        EXPECT_EQ(TAVOAUDIO_GetTrackNum(doc), 4);
    }
};

// Formats that keep track 0's regions and markers in the audio file: WAV in
// its cue chunks, FLAC as comments beside the tags.
class TavoDocumentRoundTripKeeping : public TavoDocumentRoundTrip, public ::testing::WithParamInterface<const char *> {
};

TEST_P(TavoDocumentRoundTripKeeping, RegionsMarkersTracksAndTagsComeBack)
{
    const std::string path = file((std::string("song.") + GetParam()).c_str());
    TAVOAUDIO doc = MakeAnnotatedDocument();
    ASSERT_NE(doc, nullptr);
    EventCounter ignoring;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOEVENT_SAVE_IGNORING_REGIONS, EventCounter::Handler, &ignoring));
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), GetParam(), 0));
    EXPECT_EQ(ignoring.count, 0);
    TAVOAUDIO_Close(doc);

    TAVOAUDIO opened = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(RegionsOf(opened, nullptr), kTrack0);
    EXPECT_TRUE(TAVOAUDIO_IsMarker(opened, TAVOAUDIO_FindRegion(opened, "Cue A")));
    ExpectAnnotationTracks(opened);
    ExpectTags(opened);
    // Reading the files back is no change of the document.
    EXPECT_FALSE(TAVOAUDIO_HasChanges(opened));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(opened), 0);
    TAVOAUDIO_Close(opened);
}

INSTANTIATE_TEST_SUITE_P(Formats, TavoDocumentRoundTripKeeping, ::testing::Values("WAV", "FLAC"),
                         [](const ::testing::TestParamInfo<const char *> &info) { return std::string(info.param); });

// AIFF keeps tags but not track 0's regions: the host hears it once before
// the save; the annotation tracks live beside the file and come back.
TEST_F(TavoDocumentRoundTrip, AiffKeepsTracksAndTagsAndWarnsOnceAboutTrack0)
{
    const std::string path = file("song.aiff");
    TAVOAUDIO doc = MakeAnnotatedDocument();
    ASSERT_NE(doc, nullptr);
    EventCounter ignoring;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOEVENT_SAVE_IGNORING_REGIONS, EventCounter::Handler, &ignoring));
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), "AIFF", 0));
    EXPECT_EQ(ignoring.count, 1);
    TAVOAUDIO_Close(doc);

    TAVOAUDIO opened = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_TRUE(RegionsOf(opened, nullptr).empty());
    ExpectAnnotationTracks(opened);
    ExpectTags(opened);
    TAVOAUDIO_Close(opened);
}

TEST_F(TavoDocumentRoundTrip, RefusedSaveThatWouldLoseRegionsWritesNothing)
{
    const std::string path = file("refused.aiff");
    TAVOAUDIO doc = MakeAnnotatedDocument();
    ASSERT_NE(doc, nullptr);
    EventCounter ignoring;
    ignoring.answer = 0;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOEVENT_SAVE_IGNORING_REGIONS, EventCounter::Handler, &ignoring));
    EXPECT_FALSE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), "AIFF", 0));
    EXPECT_EQ(ignoring.count, 1);
    EXPECT_TRUE(TAVOAUDIO_HasChanges(doc));
    TAVOAUDIO_Close(doc);
    // Neither the audio nor any sidecar: the folder is as it was.
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(TavoDocumentRoundTrip, UndoneAndRedoneTrackChangesSaveTheirFinalState)
{
    const std::string path = file("edited.wav");
    TAVOAUDIO doc = MakeAnnotatedDocument();
    ASSERT_NE(doc, nullptr);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), "WAV", 0));

    // Rename and resize, undo the resize, undo and redo the rename, unlink
    // and undo that: the final state is "Sung words" at 14.5 points, linked.
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

} // namespace
