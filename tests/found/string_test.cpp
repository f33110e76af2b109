#include <blstring.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(BlString, CaseChangesTouchAsciiLettersOnly)
{
    char text[] = "editable | no_horz grid \xc3\xa9";
    EXPECT_EQ(BLSTRING_Strupr(text), text);
    EXPECT_STREQ(text, "EDITABLE | NO_HORZ GRID \xc3\xa9");
    EXPECT_STREQ(BLSTRING_Strlwr(text), "editable | no_horz grid \xc3\xa9");
    EXPECT_EQ(BLSTRING_Strupr(nullptr), nullptr);
}

TEST(BlString, ContainsAndInsensitiveCompare)
{
    EXPECT_TRUE(BLSTRING_Contains("|EDITABLE|NOHORZGRID|", "|NOHORZGRID|"));
    EXPECT_FALSE(BLSTRING_Contains("|NOEDITABLE|", "|EDITABLE|"));
    EXPECT_TRUE(BLSTRING_Contains("abc", ""));
    EXPECT_FALSE(BLSTRING_Contains(nullptr, "a"));
    EXPECT_FALSE(BLSTRING_Contains("a", nullptr));

    EXPECT_EQ(BLSTRING_CompareInsensitiveN("BOLD", "bold", 5), 0);
    EXPECT_EQ(BLSTRING_CompareInsensitiveN("bolder", "BOLD", 4), 0);  // only the first four
    EXPECT_LT(BLSTRING_CompareInsensitiveN("bold", "bolder", 10), 0);
    EXPECT_GT(BLSTRING_CompareInsensitiveN("light", "heavy", 5), 0);
    EXPECT_LT(BLSTRING_CompareInsensitiveN(nullptr, "a", 1), 0);
    EXPECT_EQ(BLSTRING_CompareInsensitiveN(nullptr, nullptr, 1), 0);
}

TEST(BlString, DuplicateComesFromThePool)
{
    BLMEM_DESCR pool = BLMEM_CreateMemDescrEx("strings", 0, 0);
    char *copy = BLSTRING_DuplicateString(pool, "label");
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy, "label");
    EXPECT_EQ(BLMEM_CountAllocations(pool), 1u);
    EXPECT_TRUE(BLMEM_Delete(pool, copy));
    EXPECT_EQ(BLSTRING_DuplicateString(nullptr, "x"), nullptr);
    EXPECT_EQ(BLSTRING_DuplicateString(pool, nullptr), nullptr);
    BLMEM_DisposeMemDescr(pool);
}

TEST(BlStringParameters, SetReplacesOrAppends)
{
    char params[64] = "";
    ASSERT_TRUE(BLSTRING_AddIntegerValueToString(params, sizeof params, "nc", 2));
    EXPECT_STREQ(params, "nc=2");
    ASSERT_TRUE(BLSTRING_AddIntegerValueToString(params, sizeof params, "sr", 44100));
    EXPECT_STREQ(params, "nc=2,sr=44100");
    ASSERT_TRUE(BLSTRING_AddIntegerValueToString(params, sizeof params, "NC", 1));
    EXPECT_STREQ(params, "nc=1,sr=44100");
    ASSERT_TRUE(BLSTRING_AddStringValueToString(params, sizeof params, "mixergains", "[0.5,0.5]"));
    EXPECT_STREQ(params, "nc=1,sr=44100,mixergains=[0.5,0.5]");
    ASSERT_TRUE(BLSTRING_AddIntegerValueToString(params, sizeof params, "sr", -8000));
    EXPECT_STREQ(params, "nc=1,sr=-8000,mixergains=[0.5,0.5]");
}

TEST(BlStringParameters, ResultThatDoesNotFitLeavesTheBufferAlone)
{
    char params[12] = "sr=8000";
    EXPECT_FALSE(BLSTRING_AddIntegerValueToString(params, sizeof params, "nc", 12345));
    EXPECT_STREQ(params, "sr=8000");
    EXPECT_FALSE(BLSTRING_AddIntegerValueToString(params, sizeof params, "", 1));
    EXPECT_FALSE(BLSTRING_AddIntegerValueToString(nullptr, 10, "nc", 1));
}

TEST(BlStringParameters, GettersRespectBracketsAndFallbacks)
{
    const char *text = "type=[a=1,b=2], sr = 0x1F40 ,gain=-3.5,bad=12k";
    char value[32];
    ASSERT_TRUE(BLSTRING_GetStringValueFromString(text, "type", value, sizeof value));
    EXPECT_STREQ(value, "[a=1,b=2]");
    EXPECT_EQ(BLSTRING_GetIntegerValueFromString(text, "sr", -1), 8000);
    EXPECT_DOUBLE_EQ(BLSTRING_GetFloatValueFromString(text, "gain", 0.0), -3.5);
    EXPECT_EQ(BLSTRING_GetIntegerValueFromString(text, "bad", -1), -1);
    EXPECT_EQ(BLSTRING_GetIntegerValueFromString(text, "b", -1), -1);  // b is inside type's brackets
    EXPECT_FALSE(BLSTRING_GetStringValueFromString(text, "missing", value, sizeof value));
    EXPECT_STREQ(value, "");
    EXPECT_FALSE(BLSTRING_GetStringValueFromString(text, "type", value, 4));  // does not fit
    // A parameter without a value reads as an empty text (regression: the
    // empty value was copied from a null pointer).
    ASSERT_TRUE(BLSTRING_GetStringValueFromString("flag,sr=1", "flag", value, sizeof value));
    EXPECT_STREQ(value, "");
}

} // namespace
