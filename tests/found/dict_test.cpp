// JSON dictionaries: the type checks template validation relies on, views
// that survive changes, and safe writing.
#include <bldict.h>

#include "log_capture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr const char *kTemplate = R"({
    "name": "Podcast voice",
    "version": 1,
    "gain": 1.0,
    "label": "1",
    "enabled": true,
    "comment": null,
    "tracks": [
        {"name": "voice", "channels": 2, "effects": ["ARO:MVAD", "gate"]},
        {"name": "music", "channels": 2, "volume": -6.5}
    ]
})";

BLDICT parse(const std::string &text)
{
    return BLDICT_ReadFromJSONText(text.data(), text.size());
}

struct DictDestroyer {
    BLDICT root;
    ~DictDestroyer() { BLDICT_Destroy(root); }
};

fs::path tempPath(const std::string &name)
{
    return fs::temp_directory_path() / ("bldict-" + std::to_string(getpid()) + "-" + name);
}

TEST(BlDict, TypeTestsTellIntegersRealsTextsAndBooleansApart)
{
    BLDICT root = parse(kTemplate);
    ASSERT_NE(root, nullptr);
    DictDestroyer destroyer{root};

    EXPECT_EQ(BLDICT_Type(root), BLDICT_TYPE_OBJECT);
    EXPECT_EQ(BLDICT_TypeOf(root, "version"), BLDICT_TYPE_INTEGER);
    EXPECT_EQ(BLDICT_TypeOf(root, "gain"), BLDICT_TYPE_REAL);
    EXPECT_EQ(BLDICT_TypeOf(root, "label"), BLDICT_TYPE_STRING);
    EXPECT_EQ(BLDICT_TypeOf(root, "enabled"), BLDICT_TYPE_BOOLEAN);
    EXPECT_EQ(BLDICT_TypeOf(root, "comment"), BLDICT_TYPE_NULL);
    EXPECT_EQ(BLDICT_TypeOf(root, "absent"), BLDICT_TYPE_NONE);
    EXPECT_EQ(BLDICT_TypeOf(root, "tracks"), BLDICT_TYPE_ARRAY);

    EXPECT_TRUE(BLDICT_IsInteger(root, "version"));
    EXPECT_FALSE(BLDICT_IsReal(root, "version"));
    EXPECT_TRUE(BLDICT_IsReal(root, "gain"));
    EXPECT_FALSE(BLDICT_IsInteger(root, "gain"));
    EXPECT_TRUE(BLDICT_IsNumber(root, "version"));
    EXPECT_TRUE(BLDICT_IsNumber(root, "gain"));
    EXPECT_FALSE(BLDICT_IsNumber(root, "label"));
    EXPECT_FALSE(BLDICT_IsString(root, "version"));
    EXPECT_FALSE(BLDICT_IsBoolean(root, "version")) << "1 is no boolean";
    EXPECT_TRUE(BLDICT_IsObject(root, nullptr));
    EXPECT_FALSE(BLDICT_IsArray(root, nullptr));

    EXPECT_EQ(BLDICT_GetInteger(root, "version", -1), 1);
    EXPECT_EQ(BLDICT_GetInteger(root, "gain", -1), -1) << "reals do not read as integers";
    EXPECT_EQ(BLDICT_GetInteger(root, "label", -1), -1);
    EXPECT_DOUBLE_EQ(BLDICT_GetReal(root, "version", 0.0), 1.0) << "integers read as reals";
    EXPECT_FALSE(BLDICT_GetBoolean(root, "version", false));
    EXPECT_STREQ(BLDICT_GetString(root, "label", nullptr), "1");
    EXPECT_EQ(BLDICT_GetString(root, "version", nullptr), nullptr);
}

TEST(BlDict, NestedValuesReadThroughViews)
{
    BLDICT root = parse(kTemplate);
    ASSERT_NE(root, nullptr);
    DictDestroyer destroyer{root};
    BLDICT tracks = BLDICT_GetArray(root, "tracks");
    ASSERT_NE(tracks, nullptr);
    EXPECT_EQ(BLDICT_GetArray(root, "tracks"), tracks) << "one place, one view";
    EXPECT_EQ(BLDICT_GetObject(root, "tracks"), nullptr);
    ASSERT_EQ(BLDICT_ArrayCount(tracks), 2);
    EXPECT_EQ(BLDICT_ArrayItem(tracks, 2), nullptr);
    EXPECT_EQ(BLDICT_ArrayItem(tracks, -1), nullptr);

    BLDICT music = BLDICT_ArrayItem(tracks, 1);
    EXPECT_STREQ(BLDICT_GetString(music, "name", ""), "music");
    EXPECT_DOUBLE_EQ(BLDICT_GetReal(music, "volume", 0), -6.5);
    ASSERT_EQ(BLDICT_KeyCount(music), 3);
    EXPECT_STREQ(BLDICT_KeyAt(music, 0), "channels") << "keys come in byte order";
    EXPECT_STREQ(BLDICT_KeyAt(music, 2), "volume");
    EXPECT_EQ(BLDICT_KeyAt(music, 3), nullptr);

    BLDICT effects = BLDICT_GetArray(BLDICT_ArrayItem(tracks, 0), "effects");
    EXPECT_STREQ(BLDICT_GetString(BLDICT_ArrayItem(effects, 0), nullptr, ""), "ARO:MVAD");
    EXPECT_EQ(BLDICT_KeyCount(effects), 0);
    EXPECT_EQ(BLDICT_ArrayCount(music), 0);
    EXPECT_FALSE(BLDICT_Destroy(music)) << "views are not destroyed";
    EXPECT_EQ(BLDICT_Type(nullptr), BLDICT_TYPE_NONE);
}

TEST(BlDict, MalformedOrTooDeepJsonIsRefused)
{
    LogCapture log;
    for (const std::string text : {"", "{", "{\"a\":}", "[1,]", "{'a':1}", "{\"a\":1} trailing", "nul",
                                   "\"\xff\"", "{\"a\":1,\"a\"}"}) {
        EXPECT_EQ(parse(text), nullptr) << text;
    }
    EXPECT_TRUE(log.contains("BLDICT_ReadFromJSONText: malformed JSON"));
    EXPECT_EQ(BLDICT_ReadFromJSONText(nullptr, 0), nullptr);

    const std::string deep = std::string(257, '[') + std::string(257, ']');
    EXPECT_EQ(parse(deep), nullptr);
    const std::string allowed = std::string(256, '[') + std::string(256, ']');
    BLDICT root = parse(allowed);
    EXPECT_NE(root, nullptr);
    BLDICT_Destroy(root);
    const std::string bracketsInText = "[\"" + std::string(300, '[') + "\\\"\"]";
    root = parse(bracketsInText);
    EXPECT_NE(root, nullptr) << "brackets inside strings do not nest";
    BLDICT_Destroy(root);
}

TEST(BlDict, ViewsStayValidWhileArraysGrowAndSiblingsArrive)
{
    BLDICT root = BLDICT_CreateObject();
    ASSERT_NE(root, nullptr);
    DictDestroyer destroyer{root};
    BLDICT tracks = BLDICT_SetArray(root, "tracks");
    ASSERT_NE(tracks, nullptr);
    BLDICT first = BLDICT_ArrayAppendObject(tracks);
    ASSERT_TRUE(BLDICT_SetString(first, "name", "first"));
    BLDICT nested = BLDICT_ArrayAppendArray(tracks);
    ASSERT_TRUE(BLDICT_ArrayAppendInteger(nested, 1));
    // Enough appends to move the array's storage many times over.
    for (int i = 0; i < 1000; ++i) {
        BLDICT item = BLDICT_ArrayAppendObject(tracks);
        ASSERT_TRUE(BLDICT_SetInteger(item, "index", i));
        ASSERT_TRUE(BLDICT_SetReal(root, ("sibling" + std::to_string(i)).c_str(), i * 0.5));
    }
    EXPECT_STREQ(BLDICT_GetString(first, "name", ""), "first");
    EXPECT_TRUE(BLDICT_SetBoolean(first, "muted", true));
    EXPECT_TRUE(BLDICT_ArrayAppendString(nested, "two"));
    EXPECT_EQ(BLDICT_ArrayCount(nested), 2);
    EXPECT_EQ(BLDICT_ArrayCount(tracks), 1002);
    EXPECT_EQ(BLDICT_GetInteger(BLDICT_ArrayItem(tracks, 1001), "index", -1), 999);

    // Replacing a value: its old views answer for what is there now.
    ASSERT_TRUE(BLDICT_SetString(root, "tracks", "gone"));
    EXPECT_EQ(BLDICT_Type(first), BLDICT_TYPE_NONE);
    EXPECT_STREQ(BLDICT_GetString(first, "name", "fb"), "fb");
    EXPECT_FALSE(BLDICT_SetString(first, "name", "x"));
    EXPECT_EQ(BLDICT_Type(tracks), BLDICT_TYPE_STRING);
    EXPECT_FALSE(BLDICT_ArrayAppendBoolean(tracks, true));
}

TEST(BlDict, WritesOnWrongTypesOrBadValuesFail)
{
    BLDICT array = BLDICT_CreateArray();
    ASSERT_NE(array, nullptr);
    DictDestroyer destroyer{array};
    LogCapture log;
    EXPECT_FALSE(BLDICT_SetString(array, "key", "value"));
    EXPECT_TRUE(log.contains("BLDICT_SetString: not an object"));
    EXPECT_EQ(BLDICT_SetObject(array, "key"), nullptr);
    BLDICT object = BLDICT_ArrayAppendObject(array);
    EXPECT_EQ(BLDICT_ArrayAppendObject(object), nullptr);
    EXPECT_FALSE(BLDICT_ArrayAppendReal(object, 1.0));
    EXPECT_FALSE(BLDICT_SetString(object, nullptr, "v"));
    EXPECT_FALSE(BLDICT_SetString(object, "k", nullptr));
    EXPECT_FALSE(BLDICT_SetString(object, "k", "\xc3("));
    EXPECT_FALSE(BLDICT_SetString(object, "\xed\xa0\x80", "surrogate key"));
    EXPECT_FALSE(BLDICT_SetReal(object, "k", std::numeric_limits<double>::quiet_NaN()));
    EXPECT_FALSE(BLDICT_ArrayAppendReal(array, INFINITY));
    EXPECT_EQ(BLDICT_KeyCount(object), 0) << "failed writes change nothing";
    EXPECT_EQ(BLDICT_ArrayCount(array), 1);
    EXPECT_TRUE(BLDICT_SetString(object, "k", "ünïcode ✓"));
    EXPECT_FALSE(BLDICT_SetInteger(nullptr, "k", 1));
    EXPECT_FALSE(BLDICT_Destroy(nullptr));

    BLDICT level = object;
    int depth = 2;
    while (level != nullptr && depth < 300) {
        level = BLDICT_SetObject(level, "d");
        ++depth;
    }
    EXPECT_EQ(level, nullptr) << "building past the depth limit fails";
}

TEST(BlDict, RoundTripThroughAFileKeepsTypes)
{
    const fs::path path = tempPath("round") / "sub" / "template.json";
    BLDICT root = BLDICT_CreateObject();
    BLDICT_SetString(root, "name", "voice");
    BLDICT_SetInteger(root, "big", INT64_MIN);
    BLDICT_SetReal(root, "whole", 2.0);
    BLDICT_SetBoolean(root, "on", false);
    BLDICT list = BLDICT_SetArray(root, "list");
    BLDICT_ArrayAppendString(list, "a");
    BLDICT_SetInteger(BLDICT_ArrayAppendObject(list), "n", 3);
    ASSERT_TRUE(BLDICT_WriteToJSON(list, path.c_str())) << "a view writes its whole document";
    BLDICT_Destroy(root);

    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_NE(text.str().find("\n    \"big\""), std::string::npos) << "indented by four spaces";

    root = BLDICT_ReadFromJSON(path.c_str());
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(BLDICT_GetInteger(root, "big", 0), INT64_MIN);
    EXPECT_TRUE(BLDICT_IsReal(root, "whole")) << "2.0 stays a real";
    EXPECT_FALSE(BLDICT_GetBoolean(root, "on", true));
    EXPECT_STREQ(BLDICT_GetString(BLDICT_ArrayItem(BLDICT_GetArray(root, "list"), 0), nullptr, ""), "a");
    EXPECT_EQ(BLDICT_GetInteger(BLDICT_ArrayItem(BLDICT_GetArray(root, "list"), 1), "n", 0), 3);
    BLDICT_Destroy(root);
    fs::remove_all(tempPath("round"));
}

TEST(BlDict, FailedWriteKeepsWhatWasThereAndLeavesNoTemporary)
{
    const fs::path folder = tempPath("blocked");
    const fs::path target = folder / "template.json";
    fs::create_directories(target / "kept");
    BLDICT root = BLDICT_CreateObject();
    LogCapture log;
    EXPECT_FALSE(BLDICT_WriteToJSON(root, target.c_str()));
    EXPECT_TRUE(log.contains("BLDICT_WriteToJSON"));
    EXPECT_TRUE(fs::is_directory(target / "kept"));
    for (const auto &entry : fs::directory_iterator(folder))
        EXPECT_EQ(entry.path().filename(), "template.json") << "no temporary file left";
    EXPECT_FALSE(BLDICT_WriteToJSON(root, nullptr));
    BLDICT_Destroy(root);

    EXPECT_EQ(BLDICT_ReadFromJSON(target.c_str()), nullptr) << "a folder is not a document";
    EXPECT_EQ(BLDICT_ReadFromJSON((folder / "missing.json").c_str()), nullptr);
    fs::remove_all(folder);
}

} // namespace
