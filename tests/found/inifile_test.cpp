// Ini files: link-file syntax, typed reads and what is refused.
#include <blinifile.h>

#include "log_capture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

BLINIFILE fromText(const std::string &text)
{
    return BLINIFILE_OpenFromText(text.data(), text.size());
}

// Closes the file at the end of a test, also when an assertion stops it.
struct IniCloser {
    BLINIFILE ini;
    ~IniCloser() { BLINIFILE_Close(ini); }
};

TEST(BlIniFile, ReadsALinkFileWithBomCrLfCommentsAndQuotes)
{
    const std::string text = "\xEF\xBB\xBF; link written by hand\r\n"
                             "[Tavo.Link]\r\n"
                             "  FileName =  ../audio/take 1.wav  \r\n"
                             "options = \"rate=44100;channels=2\"\r\n"
                             "# another comment\r\n"
                             "tavooptions=\"\"\r\n"
                             "quote=\"only at the start\r\n"
                             "this line has no equals sign\r\n"
                             "inline = value ; stays part of the value\r\n";
    BLINIFILE ini = fromText(text);
    ASSERT_NE(ini, nullptr);
    IniCloser closer{ini};

    EXPECT_TRUE(BLINIFILE_HasSection(ini, "tavo.link"));
    EXPECT_TRUE(BLINIFILE_HasKey(ini, "TAVO.LINK", "filename"));
    EXPECT_STREQ(BLINIFILE_ReadString(ini, "tavo.link", "filename", nullptr), "../audio/take 1.wav");
    EXPECT_STREQ(BLINIFILE_ReadString(ini, "tavo.link", "options", nullptr), "rate=44100;channels=2");
    EXPECT_STREQ(BLINIFILE_ReadString(ini, "tavo.link", "tavooptions", nullptr), "");
    EXPECT_STREQ(BLINIFILE_ReadString(ini, "tavo.link", "quote", nullptr), "\"only at the start");
    EXPECT_STREQ(BLINIFILE_ReadString(ini, "tavo.link", "inline", nullptr), "value ; stays part of the value");
    EXPECT_EQ(BLINIFILE_KeyCount(ini, "tavo.link"), 5);
    EXPECT_STREQ(BLINIFILE_SectionName(ini, 0), "Tavo.Link");
    EXPECT_STREQ(BLINIFILE_KeyName(ini, "tavo.link", 0), "FileName");
}

TEST(BlIniFile, SectionsMergeAndLaterDuplicatesWin)
{
    BLINIFILE ini = fromText("top=1\n[a]\nx=1\n[ B ]\ny=2\n[A]\nX=3\nz=4\n[]\nempty=5\n");
    ASSERT_NE(ini, nullptr);
    IniCloser closer{ini};
    ASSERT_EQ(BLINIFILE_SectionCount(ini), 3);
    EXPECT_STREQ(BLINIFILE_SectionName(ini, 0), "");
    EXPECT_STREQ(BLINIFILE_SectionName(ini, 1), "a");
    EXPECT_STREQ(BLINIFILE_SectionName(ini, 2), "B");
    EXPECT_EQ(BLINIFILE_SectionName(ini, 3), nullptr);
    EXPECT_EQ(BLINIFILE_SectionName(ini, -1), nullptr);
    EXPECT_EQ(BLINIFILE_ReadInteger(ini, "", "top", 0), 1) << "keys before any section";
    EXPECT_EQ(BLINIFILE_ReadInteger(ini, "", "empty", 0), 5) << "[] is the same unnamed section";
    EXPECT_EQ(BLINIFILE_ReadInteger(ini, "a", "x", 0), 3);
    EXPECT_EQ(BLINIFILE_KeyCount(ini, "a"), 2);
    EXPECT_STREQ(BLINIFILE_KeyName(ini, "a", 1), "z");
    EXPECT_EQ(BLINIFILE_KeyName(ini, "a", 2), nullptr);
}

TEST(BlIniFile, KeysAfterAMalformedSectionLineAreIgnored)
{
    BLINIFILE ini = fromText("[good]\nk=1\n[broken\nk=2\nlost=3\n[next]\nk=4\n");
    ASSERT_NE(ini, nullptr);
    IniCloser closer{ini};
    EXPECT_EQ(BLINIFILE_SectionCount(ini), 2);
    EXPECT_EQ(BLINIFILE_ReadInteger(ini, "good", "k", 0), 1);
    EXPECT_FALSE(BLINIFILE_HasKey(ini, "good", "lost"));
    EXPECT_EQ(BLINIFILE_ReadInteger(ini, "next", "k", 0), 4);
}

TEST(BlIniFile, TypedReadsFallBackOnAbsentOrMalformedValues)
{
    BLINIFILE ini = fromText("[v]\nhex=0x10\nneg=-5\nbig=99999999999999999999\nreal=2.5e1\n"
                             "comma=2,5\nyes=YES\noff=off\nnum=2\nword=maybe\n");
    ASSERT_NE(ini, nullptr);
    IniCloser closer{ini};
    LogCapture log;
    EXPECT_EQ(BLINIFILE_ReadInteger(ini, "v", "hex", 0), 16);
    EXPECT_EQ(BLINIFILE_ReadInteger(ini, "v", "neg", 0), -5);
    EXPECT_EQ(BLINIFILE_ReadInteger(ini, "v", "big", 7), 7);
    EXPECT_EQ(BLINIFILE_ReadInteger(ini, "v", "real", 7), 7);
    EXPECT_TRUE(log.contains("BLINIFILE_ReadInteger"));
    EXPECT_DOUBLE_EQ(BLINIFILE_ReadFloat(ini, "v", "real", 0), 25.0);
    EXPECT_DOUBLE_EQ(BLINIFILE_ReadFloat(ini, "v", "neg", 0), -5.0);
    EXPECT_DOUBLE_EQ(BLINIFILE_ReadFloat(ini, "v", "comma", 1.0), 1.0);
    EXPECT_TRUE(BLINIFILE_ReadBoolean(ini, "v", "yes", false));
    EXPECT_FALSE(BLINIFILE_ReadBoolean(ini, "v", "off", true));
    EXPECT_TRUE(BLINIFILE_ReadBoolean(ini, "v", "num", false));
    EXPECT_TRUE(BLINIFILE_ReadBoolean(ini, "v", "word", true));
    EXPECT_FALSE(BLINIFILE_ReadBoolean(ini, "v", "absent", false));
    const char *fallback = "fb";
    EXPECT_EQ(BLINIFILE_ReadString(ini, "v", "absent", fallback), fallback);
    EXPECT_EQ(BLINIFILE_ReadString(ini, "nosection", "hex", fallback), fallback);
}

TEST(BlIniFile, NullArgumentsGiveFailureValues)
{
    EXPECT_EQ(BLINIFILE_OpenFromText(nullptr, 0), nullptr);
    EXPECT_EQ(BLINIFILE_Open(nullptr), nullptr);
    EXPECT_FALSE(BLINIFILE_Close(nullptr));
    EXPECT_FALSE(BLINIFILE_HasSection(nullptr, "a"));
    EXPECT_EQ(BLINIFILE_SectionCount(nullptr), 0);
    EXPECT_EQ(BLINIFILE_ReadInteger(nullptr, "a", "b", 9), 9);
    BLINIFILE ini = fromText("[a]\nb=1\n");
    IniCloser closer{ini};
    EXPECT_FALSE(BLINIFILE_HasSection(ini, nullptr));
    EXPECT_FALSE(BLINIFILE_HasKey(ini, "a", nullptr));
    EXPECT_STREQ(BLINIFILE_ReadString(ini, nullptr, "b", "fb"), "fb");
    EXPECT_EQ(BLINIFILE_KeyCount(ini, nullptr), 0);
    EXPECT_EQ(BLINIFILE_KeyName(ini, "a", -1), nullptr);

    BLINIFILE empty = BLINIFILE_OpenFromText("", 0);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(BLINIFILE_SectionCount(empty), 0);
    BLINIFILE_Close(empty);
}

TEST(BlIniFile, OpensFilesAndRefusesMissingFoldersAndHugeOnes)
{
    const fs::path folder = fs::temp_directory_path() / ("blinifile-" + std::to_string(getpid()));
    fs::create_directories(folder);
    const fs::path link = folder / "take.link";
    std::ofstream(link) << "[tavo.link]\noptions=gain=1\n";
    BLINIFILE ini = BLINIFILE_Open(link.c_str());
    ASSERT_NE(ini, nullptr);
    EXPECT_STREQ(BLINIFILE_ReadString(ini, "tavo.link", "options", ""), "gain=1");
    BLINIFILE_Close(ini);

    LogCapture log;
    EXPECT_EQ(BLINIFILE_Open((folder / "missing.ini").c_str()), nullptr);
    EXPECT_EQ(BLINIFILE_Open(folder.c_str()), nullptr);
    const fs::path huge = folder / "huge.ini";
    std::ofstream(huge) << "[a]\nk=" << std::string(1024 * 1024, 'x') << "\n";
    EXPECT_EQ(BLINIFILE_Open(huge.c_str()), nullptr);
    EXPECT_TRUE(log.contains("BLINIFILE_Open"));
    const std::string big(1024 * 1024 + 1, ' ');
    EXPECT_EQ(BLINIFILE_OpenFromText(big.data(), big.size()), nullptr);
    fs::remove_all(folder);
}

} // namespace
