// track_sidecar_test.cpp: the list of annotation tracks kept beside a saved
// document ("<name>.tracks.json"): what goes into it, that it disappears
// with the last track, that a bad one never stops an open, and that a save
// whose region files cannot be written leaves the audio file alone.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "../edit/doc_helpers.h"
#include "audioregion.h"
#include "document_fixture.h"
#include "log_capture.h"
#include "tavoregions.h"
#include "tavoregionview.h"
#include "tavotracks.h"
#include "track_helpers.h"

namespace {

using tavotest::Events;
using tavotest::TrackIdAt;
using tavotest::TrackLabel;
using tavotest::TrackLink;

std::string ReadBytes(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class TavoTrackSidecar : public ::testing::Test {
protected:
    tavotest::TempFolder folder;
    std::string audio = folder.file("take.wav");
    std::string sidecar = folder.file("take.tracks.json");
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 1.0);
    ~TavoTrackSidecar() override { close(); }
    void SetUp() override { ASSERT_TRUE(doc != nullptr && !folder.path.empty()); }
    void close()
    {
        TAVOAUDIO_Close(doc);
        doc = nullptr;
    }

    // Saves and closes `doc` with one SRT track "words" holding a region (the
    // first time), writes `sidecarText` over its track list and opens the file.
    TAVOAUDIO OpenWithSidecar(const std::string &sidecarText)
    {
        if (doc != nullptr) {
            EXPECT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "words", "Words", nullptr, 0, nullptr), 1);
            EXPECT_EQ(TAVOAUDIO_SetCustomTrackFileType(doc, "words", AUDIOCUSTOMTRACK_FILE_SRT), 1);
            EXPECT_NE(TAVOAUDIO_CreateRegionEx2(doc, "words", 800, 1600, "undef", "one", nullptr, 0, nullptr), nullptr);
            EXPECT_TRUE(TAVOAUDIO_SaveAsEx(doc, audio.c_str(), "WAV", 0));
            close();
        }
        std::ofstream(sidecar, std::ios::binary | std::ios::trunc) << sidecarText;
        return TAVOAUDIO_OpenEx(audio.c_str(), "AUTO", 0);
    }
};

TEST_F(TavoTrackSidecar, IsATemplateOfTheSavedTracksInTheirOrder)
{
    // "first" follows the later "second": the template lists "second" first,
    // and the document's order must still come back.
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "first", "First", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "second", "Second", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "first", "second"), 1);
    // A temporary track is never saved; a link to it is not either.
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "scratch", "Scratch", nullptr, TAVOTRACK_FLAG_TEMPORARY, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "follower", "Follower", "scratch", 0, nullptr), 1);
    ASSERT_TRUE(TAVOAUDIO_SetCustomTrackReadOnly(doc, "second", true));
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, audio.c_str(), "WAV", 0));
    close();
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
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "keep", "Keep", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "drop", "Drop", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_SetCustomTrackFileType(doc, "drop", AUDIOCUSTOMTRACK_FILE_SRT), 1);
    ASSERT_NE(TAVOAUDIO_CreateRegionEx2(doc, "drop", 800, 1600, "undef", "gone", nullptr, 0, nullptr), nullptr);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, audio.c_str(), "WAV", 0));
    ASSERT_TRUE(std::filesystem::exists(sidecar));
    ASSERT_EQ(TAVOAUDIO_RemoveCustomTrackEx(doc, "drop"), 1);
    ASSERT_TRUE(TAVOAUDIO_SaveEx(doc, 0));
    close();
    TAVOAUDIO opened = TAVOAUDIO_OpenEx(audio.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(opened), 1);
    EXPECT_EQ(TrackLabel(opened, "keep"), "Keep");
    ASSERT_EQ(TAVOAUDIO_RemoveCustomTrackEx(opened, "keep"), 1);
    ASSERT_TRUE(TAVOAUDIO_SaveEx(opened, 0));
    EXPECT_FALSE(std::filesystem::exists(sidecar));
    TAVOAUDIO_Close(opened);
    opened = TAVOAUDIO_OpenEx(audio.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(opened), 0);
    TAVOAUDIO_Close(opened);
}

TEST_F(TavoTrackSidecar, ABadListIsLoggedAndTheOpenGoesOn)
{
    // Not JSON; no track list; a link pointing forwards. The SRT file still
    // gives the track its region, under its id as label, and nothing else.
    for (const char *list : {"{ not json", R"({"format": "something_else", "version": 1, "name": "x", "tracks": []})",
                             R"({"format": "tavoaudio_track_template", "version": 1, "name": "x", "tracks": [
             {"id": "words", "label": "Renamed", "linked_to": "later"}, {"id": "later", "label": "Later"}]})"}) {
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

    // Values of the wrong kind keep the defaults; the rest of the entry is taken.
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
    std::filesystem::create_directory(sidecar);   // a folder cannot be replaced by a file
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "words", "Words", nullptr, 0, nullptr), 1);
    Events failures;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_SAVE_EXTERNAL_REGION_FAIL, Events::Handler, &failures));
    {
        LogCapture log;
        ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, audio.c_str(), "WAV", 0));   // only the region files are missing
        EXPECT_EQ(failures.total(), 1);
        EXPECT_TRUE(log.contains("_TAVOTRACKS_SaveTrackSidecar"));
    }
    const std::string written = ReadBytes(audio);
    const auto writtenTime = std::filesystem::last_write_time(audio);
    ASSERT_EQ(TAVOAUDIO_SetTrackLabelEx(doc, "words", "Sung"), 1);
    EXPECT_FALSE(TAVOAUDIO_SaveEx(doc, 0));
    EXPECT_EQ(failures.total(), 2);
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, false), 0u);
    EXPECT_TRUE(TAVOAUDIO_HasChanges(doc));
    EXPECT_EQ(ReadBytes(audio), written);
    EXPECT_EQ(std::filesystem::last_write_time(audio), writtenTime);
    std::filesystem::remove(sidecar);   // with the way clear the same save goes through
    EXPECT_TRUE(TAVOAUDIO_SaveEx(doc, 0));
    EXPECT_EQ(failures.total(), 2);
    EXPECT_FALSE(TAVOAUDIO_HasChanges(doc));
    close();
    TAVOAUDIO opened = TAVOAUDIO_OpenEx(audio.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(TrackLabel(opened, "words"), "Sung");
    TAVOAUDIO_Close(opened);
}

// A copy gets sidecars of its own name without taking the document's
// tracks away from their files; a rename takes the sidecars along; a revert
// reads them again as an open does.
TEST_F(TavoTrackSidecar, FollowACopyARenameAndARevert)
{
    const auto regionsIn = [](TAVOAUDIO audio) { return TAVOAUDIO_CountRegionsOfTrack(audio, -1); };
    const auto addRegion = [&](int64_t begin) {
        return TAVOAUDIO_CreateRegionEx2(doc, "words", begin, begin + 400, "undef", "w", nullptr, 0, nullptr);
    };
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "words", "Words", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_SetCustomTrackFileType(doc, "words", AUDIOCUSTOMTRACK_FILE_SRT), 1);
    ASSERT_NE(addRegion(800), nullptr);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, audio.c_str(), "WAV", 0));
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, folder.file("copy.wav").c_str(), "WAV", TAVOAUDIO_SAVE_COPY));
    EXPECT_TRUE(std::filesystem::exists(folder.file("copy.tracks.json")));
    ASSERT_NE(addRegion(2000), nullptr);
    ASSERT_TRUE(TAVOAUDIO_SaveEx(doc, 0));
    TAVOAUDIO copy = TAVOAUDIO_OpenEx(folder.file("copy.wav").c_str(), "AUTO", 0);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(TrackLabel(copy, "words"), "Words");
    EXPECT_EQ(regionsIn(copy), 1);
    TAVOAUDIO_Close(copy);

    ASSERT_NE(addRegion(4000), nullptr);
    ASSERT_TRUE(TAVOAUDIO_RevertToSaved(doc));
    EXPECT_EQ(TrackLabel(doc, "words"), "Words");
    EXPECT_EQ(regionsIn(doc), 2);
    EXPECT_FALSE(TAVOAUDIO_HasChanges(doc));

    const std::string moved = folder.file("moved.wav");
    ASSERT_TRUE(TAVOAUDIO_RenameEx(doc, moved.c_str(), 0));
    EXPECT_FALSE(std::filesystem::exists(sidecar));
    EXPECT_FALSE(std::filesystem::exists(folder.file("take.words.srt")));
    close();
    TAVOAUDIO opened = TAVOAUDIO_OpenEx(moved.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(TrackLabel(opened, "words"), "Words");
    EXPECT_EQ(regionsIn(opened), 2);
    TAVOAUDIO_Close(opened);
}

}  // namespace
