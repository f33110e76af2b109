// Settings store: where a read's answer comes from, key and value rules,
// and what reaches the file.
#include <blsettings.h>

#include "log_capture.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// A folder of its own per test, removed afterwards.
class TempFolder {
public:
    TempFolder()
    {
        static int serial = 0;
        m_path = fs::temp_directory_path() /
                 ("blsettings-" + std::to_string(getpid()) + "-" + std::to_string(++serial));
        fs::create_directories(m_path);
    }
    ~TempFolder() { fs::remove_all(m_path); }
    std::string file(const std::string &name) const { return (m_path / name).string(); }
    const fs::path &path() const { return m_path; }

private:
    fs::path m_path;
};

std::string readAll(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string getString(BLSETTINGS store, const char *format)
{
    char buffer[512];
    EXPECT_TRUE(BLSETTINGS_GetStringEx(store, buffer, sizeof buffer, "%s", format));
    return buffer;
}

class BlSettings : public ::testing::Test {
protected:
    void SetUp() override { m_store = BLSETTINGS_Create(nullptr); }
    void TearDown() override { BLSETTINGS_Destroy(m_store); }
    BLSETTINGS m_store = nullptr;
};

TEST_F(BlSettings, ReadAnswersValueThenDefaultThenFallbackThenZero)
{
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "view.zoom"), 0);
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "view.zoom=[%d]", 128), 128);

    ASSERT_TRUE(BLSETTINGS_SetDefaultEx(m_store, "view.zoom=%d", 5));
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "view.zoom=[128]"), 5) << "a registered default beats the fallback";
    ASSERT_TRUE(BLSETTINGS_SetDefaultEx(m_store, "view.zoom=6"));
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "view.zoom=[128]"), 6) << "a later registration replaces";

    ASSERT_TRUE(BLSETTINGS_ChangeEx(m_store, "view.zoom=%d", 9));
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "view.zoom=[128]"), 9);

    ASSERT_TRUE(BLSETTINGS_ResetEx(m_store, "view.zoom"));
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "view.zoom=[128]"), 6);
    EXPECT_TRUE(BLSETTINGS_ResetEx(m_store, "never.set")) << "resetting an unset key is harmless";
}

TEST_F(BlSettings, UnparsableSourceIsSkippedWithAWarning)
{
    LogCapture log;
    BLSETTINGS_SetDefaultEx(m_store, "edit.steps=7");
    BLSETTINGS_ChangeEx(m_store, "edit.steps=seven");
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "edit.steps=[3]"), 7);
    EXPECT_TRUE(log.contains("BLSETTINGS_GetIntEx"));
    EXPECT_EQ(getString(m_store, "edit.steps"), "seven") << "any text is a valid string";
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "other=[x]"), 0) << "an unparsable fallback gives zero";
}

TEST_F(BlSettings, BracketFallbackKeepsInnerBracketsAndCallerArguments)
{
    EXPECT_EQ(getString(m_store, "libtavo.selection.select_effect=[ARO:MVAD[padding_begin=0.1,padding_end=0.1]]"),
              "ARO:MVAD[padding_begin=0.1,padding_end=0.1]");
    EXPECT_DOUBLE_EQ(BLSETTINGS_GetFloatEx(m_store, "edit.smooth=[%f]", 0.004), 0.004);
    EXPECT_EQ(getString(m_store, "plain=fallback=with=equals"), "fallback=with=equals");
    EXPECT_EQ(getString(m_store, "empty=[]"), "");

    ASSERT_TRUE(BLSETTINGS_ChangeEx(m_store, "track.%02d.gain=%d", 3, -12));
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "track.03.gain"), -12);
    ASSERT_TRUE(BLSETTINGS_ChangeEx(m_store, "filter=%s", "a=b;c=d"));
    EXPECT_EQ(getString(m_store, "filter"), "a=b;c=d") << "everything after the first '=' is the value";
}

TEST_F(BlSettings, NumbersAndBooleansInEverySpelling)
{
    const struct {
        const char *text;
        bool expected;
    } booleans[] = {{"1", true},   {"0", false},   {"true", true}, {"FALSE", false}, {"Yes", true},
                    {"no", false}, {"ON", true},   {"off", false}, {"  on ", true},  {"42", true},
                    {"0x0", false}, {"-1", true}};
    for (const auto &b : booleans) {
        BLSETTINGS_ChangeEx(m_store, "flag=%s", b.text);
        EXPECT_EQ(BLSETTINGS_GetBoolEx(m_store, "flag=[%s]", b.expected ? "false" : "true"), b.expected) << b.text;
    }
    BLSETTINGS_ChangeEx(m_store, "flag=maybe");
    EXPECT_TRUE(BLSETTINGS_GetBoolEx(m_store, "flag=[yes]"));

    const struct {
        const char *text;
        int64_t expected;
    } integers[] = {{"0x1F", 31}, {"-0x10", -16}, {"+7", 7}, {" 12 ", 12},
                    {"9223372036854775807", INT64_MAX}, {"-9223372036854775808", INT64_MIN},
                    {"9223372036854775808", -1}, {"12abc", -1}, {"1.5", -1}, {"--3", -1}};
    for (const auto &i : integers) {
        BLSETTINGS_ChangeEx(m_store, "count=%s", i.text);
        EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "count=[-1]"), i.expected) << i.text;
    }

    BLSETTINGS_ChangeEx(m_store, "ratio=%s", "-2.5e-3");
    EXPECT_DOUBLE_EQ(BLSETTINGS_GetFloatEx(m_store, "ratio"), -2.5e-3);
    BLSETTINGS_ChangeEx(m_store, "ratio=%s", "inf");
    EXPECT_DOUBLE_EQ(BLSETTINGS_GetFloatEx(m_store, "ratio=[1.5]"), 1.5) << "non-finite values are refused";
    BLSETTINGS_ChangeEx(m_store, "ratio=%s", "1,5");
    EXPECT_DOUBLE_EQ(BLSETTINGS_GetFloatEx(m_store, "ratio=[2]"), 2.0) << "only the dot separates decimals";
}

TEST_F(BlSettings, MalformedKeysAndValuesFailAndNameTheFunction)
{
    LogCapture log;
    const char *noFormat = nullptr;
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, noFormat), 0);
    EXPECT_FALSE(BLSETTINGS_ChangeEx(m_store, noFormat));
    EXPECT_TRUE(log.contains("BLSETTINGS_ChangeEx: null format"));

    const std::string tooLong(256, 'k');
    for (const std::string &key : {std::string(""), std::string("bad key"), std::string("semi;colon"),
                                   std::string("tab\tkey"), std::string("é"), tooLong}) {
        EXPECT_FALSE(BLSETTINGS_ChangeEx(m_store, "%s=1", key.c_str())) << key;
        EXPECT_FALSE(BLSETTINGS_SetDefaultEx(m_store, "%s=1", key.c_str())) << key;
        EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "%s=[5]", key.c_str()), 0) << key;
        EXPECT_FALSE(BLSETTINGS_ExistsEx(m_store, "%s", key.c_str())) << key;
        EXPECT_FALSE(BLSETTINGS_ResetEx(m_store, "%s", key.c_str())) << key;
    }
    EXPECT_TRUE(log.contains("BLSETTINGS_GetIntEx: malformed key 'bad key'"));
    EXPECT_TRUE(BLSETTINGS_ChangeEx(m_store, "%s=1", std::string(255, 'k').c_str())) << "255 bytes is the limit";

    EXPECT_FALSE(BLSETTINGS_ChangeEx(m_store, "novalue"));
    EXPECT_FALSE(BLSETTINGS_ChangeEx(m_store, "multi=line\nvalue"));
    EXPECT_FALSE(BLSETTINGS_ChangeEx(m_store, "cr=line\r"));
    EXPECT_FALSE(BLSETTINGS_ChangeEx(m_store, "long=%s", std::string(4096, 'v').c_str()));
    EXPECT_TRUE(BLSETTINGS_ChangeEx(m_store, "long=%s", std::string(4095, 'v').c_str()));
    EXPECT_FALSE(BLSETTINGS_ExistsEx(m_store, "novalue"));

    BLSETTINGS_ChangeEx(m_store, "open=4");
    EXPECT_EQ(BLSETTINGS_GetIntEx(m_store, "open=[5"), 0) << "an unclosed fallback is malformed";
    EXPECT_TRUE(log.contains("malformed fallback"));
}

TEST_F(BlSettings, StringReadsCutToTheBufferAndRefuseNoBuffer)
{
    BLSETTINGS_ChangeEx(m_store, "name=%s", "abcdef");
    char small[4] = "zzz";
    EXPECT_TRUE(BLSETTINGS_GetStringEx(m_store, small, sizeof small, "name"));
    EXPECT_STREQ(small, "abc");
    EXPECT_FALSE(BLSETTINGS_GetStringEx(m_store, nullptr, 10, "name"));
    EXPECT_FALSE(BLSETTINGS_GetStringEx(m_store, small, 0, "name"));
    char buffer[8] = "zzz";
    EXPECT_FALSE(BLSETTINGS_GetStringEx(m_store, buffer, sizeof buffer, "bad key"));
    EXPECT_STREQ(buffer, "") << "a failed read leaves an empty text";
}

TEST_F(BlSettings, ExistsSeesValuesAndDefaultsOnly)
{
    EXPECT_FALSE(BLSETTINGS_ExistsEx(m_store, "a.b=[1]"));
    BLSETTINGS_SetDefaultEx(m_store, "a.b=1");
    EXPECT_TRUE(BLSETTINGS_ExistsEx(m_store, "a.b=[ignored]"));
    BLSETTINGS_ChangeEx(m_store, "c.d=");
    EXPECT_TRUE(BLSETTINGS_ExistsEx(m_store, "c.d")) << "an empty value is still a value";
    BLSETTINGS_ResetEx(m_store, "c.d");
    EXPECT_FALSE(BLSETTINGS_ExistsEx(m_store, "c.d"));
}

TEST(BlSettingsFile, SavesSortedValuesButNoDefaultsAndReadsThemBack)
{
    TempFolder folder;
    const std::string path = folder.file("nested/folder/settings.conf");
    BLSETTINGS store = BLSETTINGS_Create(path.c_str());
    ASSERT_NE(store, nullptr);
    EXPECT_TRUE(BLSETTINGS_Save(store));
    EXPECT_FALSE(fs::exists(path)) << "nothing pending, nothing written";

    BLSETTINGS_SetDefaultEx(store, "a.default=1");
    BLSETTINGS_ChangeEx(store, "z.last=%s", " spaced value ");
    BLSETTINGS_ChangeEx(store, "b.first=%d", 2);
    BLSETTINGS_ChangeEx(store, "m.middle=x=y");
    ASSERT_TRUE(BLSETTINGS_Destroy(store)) << "destroying saves";

    const std::string text = readAll(path);
    EXPECT_EQ(text.find("a.default"), std::string::npos);
    const size_t b = text.find("b.first=2\n"), m = text.find("m.middle=x=y\n"), z = text.find("z.last= spaced value \n");
    ASSERT_NE(b, std::string::npos);
    ASSERT_NE(m, std::string::npos);
    ASSERT_NE(z, std::string::npos);
    EXPECT_LT(b, m);
    EXPECT_LT(m, z);

    store = BLSETTINGS_Create(path.c_str());
    ASSERT_NE(store, nullptr);
    EXPECT_EQ(BLSETTINGS_GetIntEx(store, "b.first"), 2);
    EXPECT_EQ(getString(store, "z.last"), " spaced value ");
    EXPECT_FALSE(BLSETTINGS_ExistsEx(store, "a.default"));
    BLSETTINGS_Destroy(store);
    for (const auto &entry : fs::directory_iterator(fs::path(path).parent_path()))
        EXPECT_EQ(entry.path().filename(), "settings.conf") << "no temporary file left";
}

TEST(BlSettingsFile, SkipsCommentsAndMalformedLines)
{
    TempFolder folder;
    const std::string path = folder.file("settings.conf");
    std::ofstream(path) << "# comment\n\n  good.one = 1\r\nbad key=2\nno equals sign\n=3\ngood.two=two\n";
    LogCapture log;
    BLSETTINGS store = BLSETTINGS_Create(path.c_str());
    ASSERT_NE(store, nullptr);
    EXPECT_EQ(BLSETTINGS_GetIntEx(store, "good.one"), 1) << "blanks around a number do not matter";
    EXPECT_EQ(getString(store, "good.two"), "two");
    EXPECT_TRUE(log.contains(":4: malformed line"));
    EXPECT_TRUE(log.contains(":5: malformed line"));
    BLSETTINGS_Destroy(store);

    EXPECT_EQ(BLSETTINGS_Create(folder.path().c_str()), nullptr) << "a folder is no settings file";
}

TEST(BlSettingsFile, FailedSaveKeepsTheOldFileAndLeavesNoTemporary)
{
    TempFolder folder;
    const std::string path = folder.file("settings.conf");
    std::ofstream(path) << "kept=old\n";
    BLSETTINGS store = BLSETTINGS_Create(path.c_str());
    ASSERT_NE(store, nullptr);
    BLSETTINGS_ChangeEx(store, "kept=new");

    // A file-size limit stands in for a full disk: the write of the long
    // value fails part way.
    BLSETTINGS_ChangeEx(store, "long=%s", std::string(3000, 'x').c_str());
    struct rlimit oldLimit;
    getrlimit(RLIMIT_FSIZE, &oldLimit);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = oldLimit;
    small.rlim_cur = 512;
    setrlimit(RLIMIT_FSIZE, &small);
    LogCapture log;
    const bool saved = BLSETTINGS_Save(store);
    setrlimit(RLIMIT_FSIZE, &oldLimit);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(saved);
    EXPECT_TRUE(log.contains("BLSETTINGS_Save"));
    EXPECT_EQ(readAll(path), "kept=old\n");
    for (const auto &entry : fs::directory_iterator(folder.path()))
        EXPECT_EQ(entry.path().string().find(".tmp-"), std::string::npos) << entry.path();
    EXPECT_TRUE(BLSETTINGS_Save(store)) << "still pending after the failure";
    EXPECT_NE(readAll(path).find("kept=new"), std::string::npos);
    BLSETTINGS_Destroy(store);

    // A folder in the file's place: the rename fails, the temporary goes.
    const std::string blocked = folder.file("blocked.conf");
    store = BLSETTINGS_Create(blocked.c_str());
    ASSERT_NE(store, nullptr);
    BLSETTINGS_ChangeEx(store, "x=2");
    fs::create_directories(fs::path(blocked) / "inside");
    EXPECT_FALSE(BLSETTINGS_Save(store));
    EXPECT_TRUE(fs::is_directory(fs::path(blocked) / "inside"));
    for (const auto &entry : fs::directory_iterator(folder.path()))
        EXPECT_EQ(entry.path().string().find(".tmp-"), std::string::npos) << entry.path();
    EXPECT_FALSE(BLSETTINGS_Destroy(store)) << "the store goes even when its last save fails";
}

TEST(BlSettingsGlobal, NamedFileIsReadOverCurrentValues)
{
    TempFolder folder;
    const std::string path = folder.file("global.conf");
    std::ofstream(path) << "global.from_file=file\n";
    ASSERT_TRUE(BLSETTINGS_SetFileName(nullptr));
    ASSERT_TRUE(BLSETTINGS_ChangeEx(nullptr, "global.kept=%d", 1));
    ASSERT_TRUE(BLSETTINGS_SetFileName(path.c_str()));
    EXPECT_STREQ(BLSETTINGS_FileName(), path.c_str());
    EXPECT_EQ(getString(nullptr, "global.from_file"), "file");
    EXPECT_EQ(BLSETTINGS_GetIntEx(nullptr, "global.kept"), 1);

    ASSERT_TRUE(BLSETTINGS_Save(nullptr)) << "the kept value is pending for the new file";
    EXPECT_NE(readAll(path).find("global.kept=1"), std::string::npos);
    EXPECT_FALSE(BLSETTINGS_SetFileName(folder.path().c_str()));
    EXPECT_STREQ(BLSETTINGS_FileName(), path.c_str()) << "an unreadable file changes nothing";
    ASSERT_TRUE(BLSETTINGS_SetFileName(nullptr));
    EXPECT_STREQ(BLSETTINGS_FileName(), "");
    EXPECT_FALSE(BLSETTINGS_Destroy(nullptr));
}

} // namespace
