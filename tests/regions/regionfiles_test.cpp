// Region files: importing and reading SRT files written by hand, writing
// linked tracks back, and the warning before a save that drops regions.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>

#include "../../view/state_p.h"
#include "../common/document_fixture.h"
#include "audioregion.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoregions.h"
#include "tavostate.h"
#include "tavoundo.h"

namespace fs = std::filesystem;

namespace {

constexpr char kTwoCues[] =
    "1\n00:00:01,000 --> 00:00:02,500\nHello\n\n"
    "2\n00:00:04,000 --> 00:00:05,000\nWorld\n\n";

struct Host {
    std::map<int32_t, int32_t> answer;
    std::map<int32_t, int> count;
    static int32_t handle(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<Host *>(user);
        self->count[event->kind]++;
        const auto it = self->answer.find(event->kind);
        return it != self->answer.end() ? it->second : 1;
    }
};

class RegionFiles : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 1, 10.0);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    fs::path folder = fs::temp_directory_path() / ("tavo_regionfiles_" + std::to_string(::getpid()) + "_" +
                                                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
    Host host;

    void SetUp() override
    {
        ASSERT_NE(doc, nullptr);
        ASSERT_TRUE(TAVOAUDIO_SetFileFormat(doc, "WAV"));
        fs::create_directories(folder);
        ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, &Host::handle, &host));
    }
    ~RegionFiles() override
    {
        TAVOAUDIO_Close(doc);
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    std::string write(const char *name, const std::string &text)
    {
        const fs::path path = folder / name;
        std::ofstream(path) << text;
        return path.string();
    }
    std::string undoLabel()
    {
        char buffer[TAVOUNDO_LABEL_SIZE] = "";
        TAVOAUDIO_NextUndoLabel(doc, buffer, sizeof(buffer));
        return buffer;
    }
};

TEST_F(RegionFiles, ImportOfHandWrittenSrtIsOneUndoStep)
{
    const std::string path = write("cues.srt", kTwoCues);
    ASSERT_EQ(TAVOAUDIO_ImportRegions(doc, path.c_str(), "SRT"), 1);
    ASSERT_EQ(AUDIOSIGNAL_CountRegions(signal, 0, 0), 2);
    AUDIOREGION first = AUDIOSIGNAL_FindFirstRegion(signal, 0, 0);
    AUDIOREGION last = AUDIOSIGNAL_FindLastRegion(signal, 0, 0);
    EXPECT_STREQ(AUDIOREGION_GetLabel(first), "Hello");
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(first), 1.0);
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetEnd(first), 2.5);
    EXPECT_STREQ(AUDIOREGION_GetLabel(last), "World");
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(last), 4.0);
    EXPECT_FALSE(AUDIOREGIONTRACK_IsExternal(AUDIOSIGNAL_GetRegionTrack(signal, 0)));
    EXPECT_EQ(undoLabel(), "Import Regions");
    EXPECT_EQ(host.count[TAVOEVENT_LOAD_EXTERNAL_REGION_FILE], 0);

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal, 0, 0), 0);
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal, 0, 0), 2);
}

TEST_F(RegionFiles, MalformedOrMissingFileChangesNothing)
{
    const std::string bad = write("bad.srt", "1\nnot a time line\nHello\n\n");
    EXPECT_EQ(TAVOAUDIO_ImportRegions(doc, bad.c_str(), "SRT"), 0);
    EXPECT_EQ(TAVOAUDIO_ImportRegions(doc, (folder / "absent.srt").c_str(), "SRT"), 0);
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, true), 0u);
    EXPECT_EQ(TAVOAUDIO_ImportRegions(doc, nullptr, "SRT"), 0);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal, -1, 0), 0);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
}

TEST_F(RegionFiles, ReadLinksTrackAndSavesChangesBack)
{
    const std::string path = write("linked.srt", kTwoCues);
    const int32_t tracks = AUDIOSIGNAL_NumRegionTracks(signal);

    host.answer[TAVOEVENT_LOAD_EXTERNAL_REGION_FILE] = 0;
    EXPECT_EQ(TAVOAUDIO_ReadRegions(doc, path.c_str(), "SRT"), 0);
    EXPECT_EQ(AUDIOSIGNAL_NumRegionTracks(signal), tracks);
    host.answer.clear();

    ASSERT_EQ(TAVOAUDIO_ReadRegions(doc, path.c_str(), "SRT"), 1);
    ASSERT_EQ(AUDIOSIGNAL_NumRegionTracks(signal), tracks + 1);
    AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, tracks);
    EXPECT_TRUE(AUDIOREGIONTRACK_IsExternal(track));
    EXPECT_NE(TAVOAUDIO_GetState(doc)->fileFlags & TAVOSTATE_FILE_REGIONS_LOADED, 0u);

    AUDIOREGION hello = AUDIOSIGNAL_FindFirstRegion(signal, tracks, 0);
    ASSERT_EQ(TAVOAUDIO_SetRegionLabel(doc, hello, "Bonjour"), 1);
    EXPECT_EQ(host.count[TAVOAUDIO_EXTERNAL_REGION_CHANGED], 1);
    ASSERT_EQ(TAVOAUDIO_SaveExternalRegions(doc), 1);
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_NE(text.str().find("Bonjour"), std::string::npos);
    EXPECT_EQ(text.str().find("Hello"), std::string::npos);

    // A file that can no longer be written: the host hears of it.
    fs::remove_all(folder);
    ASSERT_EQ(TAVOAUDIO_SetRegionLabel(doc, hello, "Hola"), 1);
    EXPECT_EQ(TAVOAUDIO_SaveExternalRegions(doc), 0);
    EXPECT_EQ(host.count[TAVOAUDIO_SAVE_EXTERNAL_REGION_FAIL], 1);

    // Undoing the read takes the linked track away again.
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal, -1, 0), 0);
}

TEST_F(RegionFiles, SaveIntoFormatWithoutRegionsWarnsHost)
{
    EXPECT_EQ(TAVOAUDIO_CheckSaveIgnoringRegions(doc, "RAW"), 1);   // nothing to lose yet
    ASSERT_NE(TAVOAUDIO_AddRegion(doc, 100, 300, "kept"), nullptr);
    EXPECT_EQ(TAVOAUDIO_CheckSaveIgnoringRegions(doc, "WAV"), 1);
    EXPECT_EQ(host.count[TAVOEVENT_SAVE_IGNORING_REGIONS], 0);
    EXPECT_EQ(TAVOAUDIO_CheckSaveIgnoringRegions(doc, "RAW"), 1);
    EXPECT_EQ(host.count[TAVOEVENT_SAVE_IGNORING_REGIONS], 1);
    host.answer[TAVOEVENT_SAVE_IGNORING_REGIONS] = 0;
    EXPECT_EQ(TAVOAUDIO_CheckSaveIgnoringRegions(doc, "RAW"), 0);
}

}  // namespace
