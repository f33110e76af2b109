// track_sidecar_test.cpp: the list of annotation tracks kept beside a saved
// document ("<name>.tracks.json"): what goes into it, that it disappears
// with the last track, that a bad one never stops an open, and that a save
// whose region files cannot be written leaves the audio file alone.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "audioregion.h"
#include "blnotify.h"
#include "document_fixture.h"
#include "log_capture.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoregions.h"
#include "tavoregionview.h"
#include "tavotracks.h"
#include "track_helpers.h"

namespace {

using tavotest::TrackIdAt;
using tavotest::TrackLabel;
using tavotest::TrackLink;

std::string ReadBytes(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

struct EventCounter {
    int32_t count = 0;
    static int32_t Handler(void *self, const BLNOTIFY_EVENT *)
    {
        ++static_cast<EventCounter *>(self)->count;
        return 1;
    }
};

class TavoTrackSidecar : public ::testing::Test {
protected:
    std::filesystem::path folder;
    std::string audio;
    std::string sidecar;

    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tavo-sidecar-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
        audio = (folder / "take.wav").string();
        sidecar = (folder / "take.tracks.json").string();
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    static TAVOAUDIO NewDocument() { return tavotest::MakeSineDocument(8000, 1, 1.0); }

    // A WAV with one SRT track "words" holding a region, then `sidecarText`
    // written over its track list. The document opened from it.
    TAVOAUDIO OpenWithSidecar(const std::string &sidecarText)
    {
        TAVOAUDIO doc = NewDocument();
        EXPECT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "words", "Words", nullptr, 0, nullptr), 1);
        EXPECT_EQ(TAVOAUDIO_SetCustomTrackFileType(doc, "words", AUDIOCUSTOMTRACK_FILE_SRT), 1);
        EXPECT_NE(TAVOAUDIO_CreateRegionEx2(doc, "words", 800, 1600, "undef", "one", nullptr, 0, nullptr), nullptr);
        EXPECT_TRUE(TAVOAUDIO_SaveAsEx(doc, audio.c_str(), "WAV", 0));
        TAVOAUDIO_Close(doc);
        std::ofstream(sidecar, std::ios::binary | std::ios::trunc) << sidecarText;
        return TAVOAUDIO_OpenEx(audio.c_str(), "AUTO", 0);
    }
};

TEST_F(TavoTrackSidecar, IsATemplateOfTheSavedTracksInTheirOrder)
{
    TAVOAUDIO doc = NewDocument();
    ASSERT_NE(doc, nullptr);
    // "first" follows "second", a later track: the template lists "second"
    // first, and the document's order must still come back.
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "first", "First", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "second", "Second", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "first", "second"), 1);
    // A temporary track is never saved; a link to it is not either.
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "scratch", "Scratch", nullptr, TAVOTRACK_FLAG_TEMPORARY, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "follower", "Follower", "scratch", 0, nullptr), 1);
    ASSERT_TRUE(TAVOAUDIO_SetCustomTrackReadOnly(doc, "second", true));
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, audio.c_str(), "WAV", 0));
    TAVOAUDIO_Close(doc);

    char error[256] = "";
    EXPECT_EQ(TAVOAUDIO_ValidateTrackTemplateJSON(sidecar.c_str(), error, sizeof error), 1) << error;
    TAVOTRACKTEMPLATEINFO info;
    ASSERT_EQ(TAVOAUDIO_GetTrackTemplateInfoJSON(sidecar.c_str(), &info, error, sizeof error), 1);
    EXPECT_EQ(info.trackCount, 3);
    EXPECT_EQ(info.hasLinks, 1u);
    EXPECT_STREQ(info.name, "take.wav");

    TAVOAUDIO opened = TAVOAUDIO_OpenEx(audio.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    ASSERT_EQ(TAVOAUDIO_CountCustomTracks(opened), 3);
    EXPECT_EQ(TrackIdAt(opened, 0), "first");
    EXPECT_EQ(TrackIdAt(opened, 1), "second");
    EXPECT_EQ(TrackIdAt(opened, 2), "follower");
    EXPECT_EQ(TrackLink(opened, "first"), "second");
    EXPECT_EQ(TrackLink(opened, "follower"), "");
    EXPECT_TRUE(TAVOAUDIO_CustomTrackReadOnly(opened, "second"));
    EXPECT_FALSE(TAVOAUDIO_CustomTrackReadOnly(opened, "first"));
    EXPECT_FALSE(TAVOAUDIO_ContainsCustomTrack(opened, "scratch"));
    TAVOAUDIO_Close(opened);
}

TEST_F(TavoTrackSidecar, GoesAwayWithTheLastTrackSoDeletedTracksStayDeleted)
{
    TAVOAUDIO doc = NewDocument();
    ASSERT_NE(doc, nullptr);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "keep", "Keep", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "drop", "Drop", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_SetCustomTrackFileType(doc, "drop", AUDIOCUSTOMTRACK_FILE_SRT), 1);
    ASSERT_NE(TAVOAUDIO_CreateRegionEx2(doc, "drop", 800, 1600, "undef", "gone", nullptr, 0, nullptr), nullptr);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, audio.c_str(), "WAV", 0));
    ASSERT_TRUE(std::filesystem::exists(sidecar));

    ASSERT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "drop"), 1);
    ASSERT_TRUE(TAVOAUDIO_SaveEx(doc, 0));
    TAVOAUDIO_Close(doc);
    TAVOAUDIO opened = TAVOAUDIO_OpenEx(audio.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(opened), 1);
    EXPECT_EQ(TrackLabel(opened, "keep"), "Keep");

    ASSERT_EQ(TAVOAUDIO_RemoveCustomTrackEx(opened, "keep"), 1);
    ASSERT_TRUE(TAVOAUDIO_SaveEx(opened, 0));
    EXPECT_FALSE(std::filesystem::exists(sidecar));
    TAVOAUDIO_Close(opened);
    TAVOAUDIO again = TAVOAUDIO_OpenEx(audio.c_str(), "AUTO", 0);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(again), 0);
    TAVOAUDIO_Close(again);
}

TEST_F(TavoTrackSidecar, ABadListIsLoggedAndTheOpenGoesOn)
{
    // Not JSON; JSON that is no track list; a list whose link points
    // forwards. Each time the SRT file still gives the track its region,
    // under its id as label, and nothing else of the list is taken.
    const char *const lists[] = {
        "{ not json",
        R"({"format": "something_else", "version": 1, "name": "x", "tracks": []})",
        R"({"format": "tavoaudio_track_template", "version": 1, "name": "x", "tracks": [
             {"id": "words", "label": "Renamed", "linked_to": "later"}, {"id": "later", "label": "Later"}]})",
    };
    for (const char *list : lists) {
        SCOPED_TRACE(list);
        LogCapture log;
        TAVOAUDIO opened = OpenWithSidecar(list);
        ASSERT_NE(opened, nullptr);
        EXPECT_TRUE(log.contains("_TAVOTRACKS_ReadTrackSidecar"));
        EXPECT_EQ(TAVOAUDIO_CountCustomTracks(opened), 1);
        EXPECT_EQ(TrackLabel(opened, "words"), "words");
        EXPECT_EQ(TAVOAUDIO_CountRegionsOfTrack(opened, -1), 1);
        EXPECT_FALSE(TAVOAUDIO_HasChanges(opened));
        TAVOAUDIO_Close(opened);
    }
}

TEST_F(TavoTrackSidecar, ValuesOfTheWrongKindAreSkippedOneByOne)
{
    // A hand-edited list that passes as a template: a negative font size, no
    // lines, an unknown file type, a flag as a number and a master that does
    // not exist keep the defaults; the rest of the entry is taken.
    TAVOAUDIO opened = OpenWithSidecar(R"({"format": "tavoaudio_track_template", "version": 1, "name": "x",
        "master_track": "nobody", "track_order": "words",
        "tracks": [{"id": "words", "label": "Spoken", "font_size": -3, "number_of_lines": 0,
                    "file_type": "SUBTITLES", "visible": false, "use_as_linked_default": 1}]})");
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(TrackLabel(opened, "words"), "Spoken");
    EXPECT_FALSE(TAVOAUDIO_VisibleCustomTrack(opened, "words"));
    EXPECT_GT(TAVOAUDIO_GetTrackFontSize(opened, "words"), 0.0f);
    EXPECT_EQ(TAVOAUDIO_GetTrackNumberOfLines(opened, "words"), 1);
    EXPECT_FALSE(TAVOAUDIO_GetTrackUseAsLinkedDefault(opened, "words"));
    EXPECT_FALSE(TAVOAUDIO_GetMasterTrackUniqId(opened, nullptr, 0));
    EXPECT_EQ(TAVOAUDIO_CountRegionsOfTrack(opened, -1), 1);
    TAVOAUDIO_Close(opened);
}

// Regression: a save in place whose region files failed went on to rewrite
// the audio and reported the failure twice.
TEST_F(TavoTrackSidecar, UnwritableRegionFilesLeaveTheAudioFileAlone)
{
    // A folder where the track list should go cannot be replaced by a file.
    std::filesystem::create_directory(sidecar);
    TAVOAUDIO doc = NewDocument();
    ASSERT_NE(doc, nullptr);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "words", "Words", nullptr, 0, nullptr), 1);
    EventCounter failures;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_SAVE_EXTERNAL_REGION_FAIL, EventCounter::Handler, &failures));
    {
        LogCapture log;
        // The audio is written; only the region files are missing.
        ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, audio.c_str(), "WAV", 0));
        EXPECT_EQ(failures.count, 1);
        EXPECT_TRUE(log.contains("_TAVOTRACKS_SaveTrackSidecar"));
    }
    const std::string written = ReadBytes(audio);
    const auto writtenTime = std::filesystem::last_write_time(audio);

    ASSERT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "words", "Sung"), 1);
    EXPECT_FALSE(TAVOAUDIO_SaveEx(doc, 0));
    EXPECT_EQ(failures.count, 2);
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, false), 0u);
    EXPECT_TRUE(TAVOAUDIO_HasChanges(doc));
    EXPECT_EQ(ReadBytes(audio), written);
    EXPECT_EQ(std::filesystem::last_write_time(audio), writtenTime);

    // With the way clear the same save goes through.
    std::filesystem::remove(sidecar);
    EXPECT_TRUE(TAVOAUDIO_SaveEx(doc, 0));
    EXPECT_EQ(failures.count, 2);
    EXPECT_FALSE(TAVOAUDIO_HasChanges(doc));
    TAVOAUDIO_Close(doc);
    TAVOAUDIO opened = TAVOAUDIO_OpenEx(audio.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(TrackLabel(opened, "words"), "Sung");
    TAVOAUDIO_Close(opened);
}

} // namespace
