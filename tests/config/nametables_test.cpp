// The name tables between settings texts and codes.
#include <gtest/gtest.h>

#include <string>

#include "tavoconfig.h"

namespace {

TEST(TavoConfigNames, ColorSchemesAcceptInvertedNamesButWritePlainOnes)
{
    EXPECT_EQ(TAVOCONFIG_DecodeColorScheme("ce2k", -1), 2);
    EXPECT_EQ(TAVOCONFIG_DecodeColorScheme("oceandeep", -1), 27);
    EXPECT_EQ(TAVOCONFIG_DecodeColorScheme("invgrayscale", -1), 1);
    EXPECT_EQ(TAVOCONFIG_DecodeColorScheme("invlineargrayscale", -1), 0);
    EXPECT_STREQ(TAVOCONFIG_EncodeColorScheme(1), "grayscale");
    EXPECT_STREQ(TAVOCONFIG_EncodeColorScheme(28), "undef");
    EXPECT_STREQ(TAVOCONFIG_EncodeColorScheme(-1), "undef");
}

TEST(TavoConfigNames, WindowCodesWithoutTextEncodeBlackman)
{
    EXPECT_STREQ(TAVOCONFIG_EncodeWinType(2), "blackman");
    EXPECT_STREQ(TAVOCONFIG_EncodeWinType(4), "blackman");
    EXPECT_STREQ(TAVOCONFIG_EncodeWinType(99), "blackman");
    EXPECT_STREQ(TAVOCONFIG_EncodeWinType(3), "hann");
    EXPECT_EQ(TAVOCONFIG_DecodeWinType("blackman-nuttall", -1), 8);
    // No text decodes to the two codes without a name.
    for (int32_t code = -1; code < 12; ++code) {
        const int32_t back = TAVOCONFIG_DecodeWinType(TAVOCONFIG_EncodeWinType(code), -7);
        EXPECT_NE(back, 2);
        EXPECT_NE(back, 4);
    }
}

TEST(TavoConfigNames, ExtraSpellingsDecode)
{
    EXPECT_EQ(TAVOCONFIG_DecodeHorzScaleKind("smpl", 0), 1);
    EXPECT_EQ(TAVOCONFIG_DecodeHorzScaleKind("sec", 0), 8);
    EXPECT_EQ(TAVOCONFIG_DecodeHorzScaleKind("frm", 0), 4);
    EXPECT_EQ(TAVOCONFIG_DecodeHorzScaleKind("bpm", 0), 16);
    EXPECT_EQ(TAVOCONFIG_DecodeVertScaleKind("sample_value", 9), 0);
    EXPECT_EQ(TAVOCONFIG_DecodeVertScaleKind("%", 9), 2);
    EXPECT_EQ(TAVOCONFIG_DecodeVertScaleKind("norm", 9), 3);
    EXPECT_EQ(TAVOCONFIG_DecodeSpecScaleKind("hertz", 9), 0);
    EXPECT_EQ(TAVOCONFIG_DecodeSpecScaleKind("mel", 9), 1);
    EXPECT_EQ(TAVOCONFIG_DecodeScrollZoomMode("focus", 9), 1);
    // Settings edited by hand carry other cases and blanks.
    EXPECT_EQ(TAVOCONFIG_DecodeVertScaleKind(" dB ", 9), 1);
    EXPECT_EQ(TAVOCONFIG_DecodeWinType("Hann", 9), 3);
}

TEST(TavoConfigNames, UnknownMissingOrEmptyTextGivesCallersDefault)
{
    EXPECT_EQ(TAVOCONFIG_DecodeWinType("kaiser", 42), 42);
    EXPECT_EQ(TAVOCONFIG_DecodeHorzScaleKind(nullptr, 42), 42);
    EXPECT_EQ(TAVOCONFIG_DecodeVertScaleKind("", 42), 42);
    EXPECT_EQ(TAVOCONFIG_DecodeSpecScaleKind("undef", 42), 42);
    EXPECT_EQ(TAVOCONFIG_DecodeScrollZoomMode("hz", 42), 42);
    EXPECT_EQ(TAVOCONFIG_DecodeColorScheme("viridiss", 42), 42);
    // Encode of an unknown code answers the table's fallback text.
    EXPECT_STREQ(TAVOCONFIG_EncodeHorzScaleKind(3), "undef");
    EXPECT_STREQ(TAVOCONFIG_EncodeScrollZoomMode(17), "mouse");
}

// Every code a table writes reads back as itself.
TEST(TavoConfigNames, EncodedTextsRoundTrip)
{
    struct Table {
        int32_t (*decode)(const char *, int32_t);
        const char *(*encode)(int32_t);
        const char *otherwise;
    };
    const Table tables[] = {
        {TAVOCONFIG_DecodeWinType, TAVOCONFIG_EncodeWinType, nullptr},
        {TAVOCONFIG_DecodeHorzScaleKind, TAVOCONFIG_EncodeHorzScaleKind, "undef"},
        {TAVOCONFIG_DecodeVertScaleKind, TAVOCONFIG_EncodeVertScaleKind, "undef"},
        {TAVOCONFIG_DecodeSpecScaleKind, TAVOCONFIG_EncodeSpecScaleKind, "undef"},
        {TAVOCONFIG_DecodeScrollZoomMode, TAVOCONFIG_EncodeScrollZoomMode, nullptr},
        {TAVOCONFIG_DecodeColorScheme, TAVOCONFIG_EncodeColorScheme, "undef"},
    };
    for (const Table &table : tables) {
        for (int32_t code = -2; code < 70; ++code) {
            const char *text = table.encode(code);
            ASSERT_NE(text, nullptr);
            if (table.otherwise != nullptr && std::string(text) == table.otherwise) continue;
            const int32_t back = table.decode(text, -1000);
            // Window and scroll-zoom tables map unknown codes onto a real
            // name, so only the codes with their own text come back whole.
            if (TAVOCONFIG_EncodeWinType == table.encode && (code == 2 || code == 4 || code < 0 || code > 8)) continue;
            if (TAVOCONFIG_EncodeScrollZoomMode == table.encode && (code < 0 || code > 3)) continue;
            EXPECT_EQ(back, code) << text;
        }
    }
}

}  // namespace
