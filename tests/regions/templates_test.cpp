// templates_test.cpp: track templates: the order and text of every check,
// the information record, saving and reading back, and applying one to a
// document as one all-or-nothing undo step.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "bldict.h"
#include "blmem.h"
#include "document_fixture.h"
#include "region_checks.h"
#include "track_helpers.h"

namespace {

namespace fs = std::filesystem;

class TemplateFiles : public ::testing::Test {
protected:
    fs::path folder;
    void SetUp() override
    {
        folder = fs::temp_directory_path() / ("tavo-templates-" + std::to_string(::getpid()) + "-" +
                                              ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(folder);
    }
    void TearDown() override { fs::remove_all(folder); }

    std::string write(const std::string &json, const char *name = "t.json")
    {
        const fs::path path = folder / name;
        std::ofstream(path) << json;
        return path.string();
    }
    // "" when valid, else the message.
    std::string check(const std::string &json)
    {
        char error[256] = "untouched";
        return TAVOAUDIO_ValidateTrackTemplateJSON(write(json).c_str(), error, sizeof error) == 1 ? std::string()
                                                                                                 : std::string(error);
    }
};

const std::string kHead = R"("format": "tavoaudio_track_template", "version": 1, "name": "T")";

std::string WithTracks(const std::string &tracks)
{
    return "{" + kHead + R"(, "tracks": )" + tracks + "}";
}

TEST_F(TemplateFiles, ChecksComeInOrderWithTheirMessages)
{
    const std::pair<std::string, std::string> rows[] = {
        {"{ not json", "Failed to read template JSON"},
        {"[]", "Invalid template root"},
        {R"({"version": 2})", "Template field 'format' is missing"},
        {R"({"format": "other", "version": 2})", "Invalid template format"},
        {R"({"format": "tavoaudio_track_template", "name": "x"})", "Template field 'version' is missing"},
        {R"({"format": "tavoaudio_track_template", "version": 1.0})", "Template field 'version' is missing"},
        {R"({"format": "tavoaudio_track_template", "version": 2, "tracks": 5})", "Unsupported template version"},
        {R"({"format": "tavoaudio_track_template", "version": 1, "tracks": []})", "Template field 'name' is missing"},
        {R"({"format": "tavoaudio_track_template", "version": 1, "name": "n", "tracks": {}})",
         "Template field 'tracks' is missing"},
        {WithTracks("[]"), "Template contains no tracks"},
        // Entries: the first failing check of the first bad entry, by index.
        {WithTracks("[5]"), "Invalid track entry at index 0"},
        {WithTracks(R"([{"label": "A", "font_size": "x"}])"), "Track field 'id' is missing at index 0"},
        {WithTracks(R"([{"id": "a", "label": "A"}, {"id": "b", "label": 3}])"),
         "Track field 'label' is missing at index 1"},
        {WithTracks(R"([{"id": "a", "label": "A", "linked_to": 1, "file_type": 2}])"),
         "Track field 'linked_to' must be a string at index 0"},
        {WithTracks(R"([{"id": "a", "label": "A", "file_type": 2, "default": 1}])"),
         "Track field 'file_type' must be a string at index 0"},
        {WithTracks(R"([{"id": "a", "label": "A", "default": "yes", "font_size": "big"}])"),
         "Track field 'default' must be a boolean at index 0"},
        {WithTracks(R"([{"id": "a", "label": "A", "font_size": "12", "number_of_lines": 2.5}])"),
         "Track field 'font_size' must be numeric at index 0"},
        {WithTracks(R"([{"id": "a", "label": "A", "number_of_lines": 2.5}])"),
         "Track field 'number_of_lines' must be an integer at index 0"},
        // Entry 0 looks at the later entries before they are checked themselves.
        {WithTracks(R"([{"id": "a", "label": "A"}, 7])"), "Invalid track entry"},
        {WithTracks(R"([{"id": "a", "label": "A"}, {"id": "a"}])"), "Duplicate track id"},
        // Links point backwards only; at most one default; any number for the font.
        {WithTracks(R"([{"id": "a", "label": "A", "linked_to": "b"}, {"id": "b", "label": "B"}])"),
         "Invalid 'linked_to' reference"},
        {WithTracks(R"([{"id": "a", "label": "A"}, {"id": "b", "label": "B", "linked_to": "c"},
                        {"id": "c", "label": "C"}])"),
         "Invalid 'linked_to' reference"},
        {WithTracks(R"([{"id": "a", "label": "A"}, {"id": "b", "label": "B", "linked_to": "b"}])"),
         "Track cannot link to itself"},
        {WithTracks(R"([{"id": "a", "label": "A"}, {"id": "b", "label": "B"}, {"id": "c", "label": "C",
                        "linked_to": "a"}])"),
         ""},
        {WithTracks(R"([{"id": "a", "label": "A", "default": true}, {"id": "b", "label": "B", "default": true}])"),
         "Multiple default tracks are not allowed"},
        {WithTracks(R"([{"id": "a", "label": "A", "default": true}, {"id": "b", "label": "B", "default": false}])"),
         ""},
        {WithTracks(R"([{"id": "a", "label": "A", "font_size": 12}])"), ""},
        {WithTracks(R"([{"id": "a", "label": "A", "font_size": 12.5, "number_of_lines": 2}])"), ""},
    };
    for (const auto &[json, message] : rows) EXPECT_EQ(check(json), message) << json;
}

TEST_F(TemplateFiles, NameInfoAndFileFailures)
{
    const std::string file = write(R"({"format": "tavoaudio_track_template", "version": 1, "name": "Interview",
        "description": "Two speakers", "metadata": {"author": "Ann"},
        "tracks": [{"id": "q", "label": "Questions"}, {"id": "a", "label": "Answers", "linked_to": "q"}]})");
    char name[5] = "";
    ASSERT_EQ(TAVOAUDIO_GetTrackTemplateNameJSON(file.c_str(), name, sizeof name, nullptr, 0), 1);
    EXPECT_STREQ(name, "Inte");

    TAVOTRACKTEMPLATEINFO info;
    ASSERT_EQ(TAVOAUDIO_GetTrackTemplateInfoJSON(file.c_str(), &info, nullptr, 0), 1);
    EXPECT_STREQ(info.name, "Interview");
    EXPECT_STREQ(info.description, "Two speakers");
    EXPECT_STREQ(info.author, "Ann");
    EXPECT_EQ(info.trackCount, 2);
    EXPECT_EQ(info.hasLinks, 1u);

    // A failure leaves the record zeroed.
    std::memset(&info, 0xAB, sizeof info);
    char error[64] = "";
    EXPECT_EQ(TAVOAUDIO_GetTrackTemplateInfoJSON(write("[]", "bad.json").c_str(), &info, error, sizeof error), 0);
    EXPECT_STREQ(error, "Invalid template root");
    EXPECT_EQ(info.name[0], '\0');
    EXPECT_EQ(info.trackCount, 0);

    EXPECT_EQ(TAVOAUDIO_ValidateTrackTemplateJSON((folder / "none.json").c_str(), error, sizeof error), 0);
    EXPECT_STREQ(error, "Failed to read template JSON");
    EXPECT_EQ(TAVOAUDIO_ValidateTrackTemplateJSON("", error, sizeof error), 0);
    EXPECT_STREQ(error, "Invalid template filename");
    // The message is cut to the buffer.
    EXPECT_EQ(TAVOAUDIO_ValidateTrackTemplateJSON(write("[]").c_str(), error, 8), 0);
    EXPECT_STREQ(error, "Invalid");
}

class TemplateDocument : public TemplateFiles {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 1, 2.0);
    ~TemplateDocument() override { TAVOAUDIO_Close(doc); }
    std::vector<std::string> ids()
    {
        std::vector<std::string> out;
        for (int32_t i = 0; i < TAVOAUDIO_CountCustomTracks(doc); ++i) out.push_back(tavotest::TrackIdAt(doc, i));
        return out;
    }
};

TEST_F(TemplateDocument, SavingWritesTheDefaultsAndReadsBackValid)
{
    char error[128] = "";
    const std::string file = (folder / "saved.json").string();
    EXPECT_EQ(TAVOAUDIO_SaveTrackTemplateJSON(doc, file.c_str(), nullptr, nullptr, nullptr, error, sizeof error), 0);
    EXPECT_STREQ(error, "No tracks in audio");
    EXPECT_FALSE(fs::exists(file));

    // "late" is linked to "early", which comes after it in track order.
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "late", "Late", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "early", "Early", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_LinkCustomTrack(doc, "late", "early"), 1);
    ASSERT_EQ(TAVOAUDIO_SetTrackFontSize(doc, "early", 12.5f), 1);
    ASSERT_EQ(TAVOAUDIO_SetCustomTrackFileType(doc, "early", AUDIOCUSTOMTRACK_FILE_WEBVTT), 1);
    ASSERT_EQ(TAVOAUDIO_SaveTrackTemplateJSON(doc, file.c_str(), nullptr, nullptr, nullptr, error, sizeof error), 1)
        << error;

    EXPECT_EQ(TAVOAUDIO_ValidateTrackTemplateJSON(file.c_str(), error, sizeof error), 1) << error;
    BLDICT root = BLDICT_ReadFromJSON(file.c_str());
    ASSERT_NE(root, nullptr);
    EXPECT_STREQ(BLDICT_GetString(root, "name", ""), "Track Template");
    EXPECT_STREQ(BLDICT_GetString(root, "description", ""), "Track Description");
    EXPECT_EQ(BLDICT_TypeOf(BLDICT_GetObject(root, "metadata"), "author"), BLDICT_TYPE_NONE);
    BLDICT tracks = BLDICT_GetArray(root, "tracks");
    ASSERT_EQ(BLDICT_ArrayCount(tracks), 2);
    BLDICT first = BLDICT_ArrayItem(tracks, 0);
    EXPECT_STREQ(BLDICT_GetString(first, "id", ""), "early");
    EXPECT_EQ(BLDICT_TypeOf(first, "font_size"), BLDICT_TYPE_REAL);
    EXPECT_DOUBLE_EQ(BLDICT_GetReal(first, "font_size", 0.0), 12.5);
    EXPECT_STREQ(BLDICT_GetString(first, "file_type", ""), "WEBVTT");
    EXPECT_EQ(BLDICT_GetInteger(first, "number_of_lines", 0), 1);
    EXPECT_STREQ(BLDICT_GetString(BLDICT_ArrayItem(tracks, 1), "linked_to", ""), "early");
    BLDICT_Destroy(root);

    ASSERT_EQ(TAVOAUDIO_SaveTrackTemplateJSON(doc, file.c_str(), "Mine", "Words", "Ann", error, sizeof error), 1);
    TAVOTRACKTEMPLATEINFO info;
    ASSERT_EQ(TAVOAUDIO_GetTrackTemplateInfoJSON(file.c_str(), &info, error, sizeof error), 1);
    EXPECT_STREQ(info.name, "Mine");
    EXPECT_STREQ(info.author, "Ann");
}

TEST_F(TemplateDocument, ApplyingTwiceGivesFreshIdsWithLinksResolved)
{
    const std::string file = write(WithTracks(R"([{"id": "v", "label": "Voice", "font_size": 14,
        "number_of_lines": 3, "file_type": "srt", "default": true},
        {"id": "w", "label": "Words", "linked_to": "v"}])"));
    ASSERT_EQ(TAVOAUDIO_AddCustomTrackEx(doc, "v_1", "Taken", nullptr, 0, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_SetTrackAsGlobalDefault(doc, "v_1", true), 1);
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);

    char error[128] = "";
    ASSERT_EQ(TAVOAUDIO_ApplyTrackTemplateJSON(doc, file.c_str(), error, sizeof error), 1) << error;
    ASSERT_EQ(TAVOAUDIO_ApplyTrackTemplateJSON(doc, file.c_str(), error, sizeof error), 1) << error;
    EXPECT_EQ(ids(), (std::vector<std::string>{"v_1", "v_2", "w_1", "v_3", "w_2"}));
    EXPECT_EQ(tavotest::TrackLink(doc, "w_1"), "v_2");
    EXPECT_EQ(tavotest::TrackLink(doc, "w_2"), "v_3");
    EXPECT_EQ(TAVOAUDIO_GetTrackFontSize(doc, "v_3"), 14.0f);
    EXPECT_EQ(TAVOAUDIO_GetTrackNumberOfLines(doc, "v_3"), 3);
    EXPECT_EQ(AUDIOCUSTOMTRACK_GetFileType(AUDIOSIGNAL_FindCustomTrack(TAVOAUDIO_GetAudioSignal(doc), "v_3")),
              AUDIOCUSTOMTRACK_FILE_SRT);
    EXPECT_TRUE(TAVOAUDIO_GetTrackUseAsGlobalDefault(doc, "v_3"));
    EXPECT_FALSE(TAVOAUDIO_GetTrackUseAsGlobalDefault(doc, "v_1"));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps + 2);
    EXPECT_EQ(tavotest::NextUndo(doc), "Add Tracks from Template");

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(ids(), (std::vector<std::string>{"v_1"}));
    EXPECT_TRUE(TAVOAUDIO_GetTrackUseAsGlobalDefault(doc, "v_1"));   // the old default is back
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_EQ(ids(), (std::vector<std::string>{"v_1", "v_2", "w_1"}));
    EXPECT_EQ(tavotest::TrackLink(doc, "w_1"), "v_2");
}

TEST_F(TemplateDocument, AFailedApplicationAddsNothing)
{
    char error[128] = "";
    const std::string bad = write(WithTracks(R"([{"id": "a", "label": "A", "number_of_lines": 2.5}])"), "bad.json");
    EXPECT_EQ(TAVOAUDIO_ApplyTrackTemplateJSON(doc, bad.c_str(), error, sizeof error), 0);
    EXPECT_STREQ(error, "Track field 'number_of_lines' must be an integer at index 0");
    const std::string empty = write(WithTracks(R"([{"id": "", "label": "A"}])"), "empty.json");
    EXPECT_EQ(TAVOAUDIO_ApplyTrackTemplateJSON(doc, empty.c_str(), error, sizeof error), 0);
    EXPECT_STREQ(error, "Invalid template track id");
    EXPECT_EQ(TAVOAUDIO_CountCustomTracks(doc), 0);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);

    // Allocation failures anywhere in the step: either all three tracks and
    // one step, or nothing at all.
    const std::string good = write(WithTracks(R"([{"id": "a", "label": "A"}, {"id": "b", "label": "B",
        "linked_to": "a"}, {"id": "c", "label": "C", "default": true}])"), "good.json");
    bool failedOnce = false;
    for (int64_t countdown = 0; countdown < 64; ++countdown) {
        const int32_t before = TAVOAUDIO_CountCustomTracks(doc);
        const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
        BLMEM_SetFailCountdown(countdown);
        const int32_t result = TAVOAUDIO_ApplyTrackTemplateJSON(doc, good.c_str(), error, sizeof error);
        BLMEM_SetFailCountdown(-1);
        SCOPED_TRACE(countdown);
        failedOnce = failedOnce || result != 1;
        EXPECT_EQ(TAVOAUDIO_CountCustomTracks(doc), result == 1 ? before + 3 : before);
        EXPECT_EQ(AUDIOSIGNAL_NumRegionTracks(TAVOAUDIO_GetAudioSignal(doc)), TAVOAUDIO_CountCustomTracks(doc) + 1);
        EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), result == 1 ? steps + 1 : steps);
    }
    EXPECT_TRUE(failedOnce);
}

}  // namespace
