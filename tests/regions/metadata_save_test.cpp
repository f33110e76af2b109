// metadata_save_test.cpp: tags set through the document reach the file and
// come back when it is opened again, for every format that holds tags, and
// a tags-only change is written back into the existing file.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <string>

#include "audiofile.h"
#include "audiometadata.h"
#include "document_fixture.h"
#include "tavoaudio.h"
#include "tavometadata.h"
#include "tavoundo.h"

namespace {

std::string Field(TAVOAUDIO doc, const char *name)
{
    char buffer[256] = "";
    return TAVOAUDIO_CopyMetaData(doc, name, buffer, sizeof buffer) >= 0 ? std::string(buffer) : std::string("<none>");
}

struct FormatRow {
    const char *format;
    const char *extension;
};

class TavoMetadataSave : public ::testing::TestWithParam<FormatRow> {
protected:
    std::string path = (std::filesystem::temp_directory_path() /
                        ("tavo-tags-" + std::to_string(getpid()) + "." + GetParam().extension))
                           .string();
    ~TavoMetadataSave() override
    {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
};

TEST_P(TavoMetadataSave, TagsSurviveSaveAndOpen)
{
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 2, 0.5);
    ASSERT_NE(doc, nullptr);
    // Set through an edition, as a tag dialog would.
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Sunrise \xc3\xa9t\xc3\xa9"), 1);   // UTF-8 survives too
    ASSERT_EQ(TAVOAUDIO_SetArtist(doc, "The Quartet"), 1);
    ASSERT_EQ(TAVOAUDIO_SetAlbumName(doc, "Dawn"), 1);
    ASSERT_EQ(TAVOAUDIO_SetYear(doc, 2021), 1);
    ASSERT_EQ(TAVOAUDIO_SetTrackNum(doc, 7), 1);
    ASSERT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), GetParam().format, 0));
    EXPECT_FALSE(TAVOAUDIO_HasMetadataChanges(doc));
    TAVOAUDIO_Close(doc);

    TAVOAUDIO opened = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(Field(opened, "TITLE"), "Sunrise \xc3\xa9t\xc3\xa9");
    EXPECT_EQ(Field(opened, "ARTIST"), "The Quartet");
    EXPECT_EQ(Field(opened, "ALBUM"), "Dawn");
    EXPECT_EQ(TAVOAUDIO_GetYear(opened), 2021);
    EXPECT_EQ(TAVOAUDIO_GetTrackNum(opened), 7);
    EXPECT_FALSE(TAVOAUDIO_HasMetadataChanges(opened));

    // A tags-only change is written into the file in place and reads back.
    ASSERT_EQ(TAVOAUDIO_SetTitle(opened, "Sunset"), 1);
    ASSERT_EQ(TAVOAUDIO_RemoveAllMetadata(opened, nullptr), 1);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(opened, 0));   // title "Sunset" and the rest back
    EXPECT_TRUE(TAVOAUDIO_HasMetadataChanges(opened));
    ASSERT_TRUE(TAVOAUDIO_SaveEx(opened, 0));
    EXPECT_FALSE(TAVOAUDIO_HasMetadataChanges(opened));
    TAVOAUDIO_Close(opened);

    TAVOAUDIO again = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(Field(again, "TITLE"), "Sunset");
    EXPECT_EQ(Field(again, "ARTIST"), "The Quartet");
    EXPECT_EQ(TAVOAUDIO_GetTrackNum(again), 7);
    TAVOAUDIO_Close(again);
}

TEST_P(TavoMetadataSave, RemovedTagsStayRemovedInTheFile)
{
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.25);
    ASSERT_NE(doc, nullptr);
    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Gone soon"), 1);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), GetParam().format, 0));
    ASSERT_EQ(TAVOAUDIO_RemoveAllMetadata(doc, nullptr), 1);
    ASSERT_TRUE(TAVOAUDIO_SaveEx(doc, 0));
    TAVOAUDIO_Close(doc);

    TAVOAUDIO opened = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(Field(opened, "TITLE"), "<none>");
    EXPECT_FALSE(TAVOAUDIO_HasMetatags(opened));
    TAVOAUDIO_Close(opened);
}

INSTANTIATE_TEST_SUITE_P(Formats, TavoMetadataSave,
                         ::testing::Values(FormatRow{"WAV", "wav"}, FormatRow{"FLAC", "flac"}),
                         [](const ::testing::TestParamInfo<FormatRow> &info) { return std::string(info.param.extension); });

}  // namespace
