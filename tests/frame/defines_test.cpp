// Option words, track drawing options, modifier keys and font names.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tavodefines.h"

namespace {

TEST(TavoDefinesOptions, EditableWordsSetOrClearOnlyBitOne)
{
    EXPECT_EQ(TAVODEFINES_DecodeTavoOptions(0x0, "  editable  "), 0x1u);
    EXPECT_EQ(TAVODEFINES_DecodeTavoOptions(0xF0, "Editable"), 0xF1u);
    // Underscores and case do not matter; the negative word wins.
    EXPECT_EQ(TAVODEFINES_DecodeTavoOptions(0xF1, "no_editable"), 0xF0u);
    EXPECT_EQ(TAVODEFINES_DecodeTavoOptions(0xF1, "NoEditable"), 0xF0u);
    EXPECT_EQ(TAVODEFINES_DecodeTavoOptions(0x1, "editable|no editable"), 0x0u);
    // Nothing recognised: flags unchanged.
    EXPECT_EQ(TAVODEFINES_DecodeTavoOptions(0x1, ""), 0x1u);
    EXPECT_EQ(TAVODEFINES_DecodeTavoOptions(0x0, "uneditable"), 0x0u);
    EXPECT_EQ(TAVODEFINES_DecodeTavoOptions(0x3, "readonly"), 0x3u);
    EXPECT_EQ(TAVODEFINES_DecodeTavoOptions(0x3, nullptr), 0x3u);
    // A word must stand alone between bars.
    EXPECT_EQ(TAVODEFINES_DecodeTavoOptions(0x0, "editablex"), 0x0u);
}

TEST(TavoDefinesOptions, TrackOptionsDecode)
{
    EXPECT_EQ(TAVODEFINES_DecodeCustomTrackDrawOption("17"), 17u);   // digits are the bits themselves
    EXPECT_EQ(TAVODEFINES_DecodeCustomTrackDrawOption("align label center"), 0u);
    EXPECT_EQ(TAVODEFINES_DecodeCustomTrackDrawOption(nullptr), 0u);
    EXPECT_EQ(TAVODEFINES_DecodeCustomTrackDrawOption("no horz grid | show_rgn_label|AlignCommentRight"),
              0x1u | 0x80u | 0x4000u);
}

TEST(TavoDefinesOptions, TrackOptionsEncodeAndRoundTrip)
{
    char buffer[256] = "junk";
    EXPECT_TRUE(TAVODEFINES_EncodeCustomTrackDrawOption(0, buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "");
    EXPECT_TRUE(TAVODEFINES_EncodeCustomTrackDrawOption(0x10001, buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "|NOHORZGRID||USEPHONETICFONT|");
    EXPECT_FALSE(TAVODEFINES_EncodeCustomTrackDrawOption(0x1, nullptr, 10));

    // Every bit that has a word survives encode then decode; the others
    // (0x2, 0x4, 0x8, 0x40) are dropped.
    const uint32_t all = 0x1FFFF;
    ASSERT_TRUE(TAVODEFINES_EncodeCustomTrackDrawOption(all, buffer, sizeof buffer));
    EXPECT_EQ(TAVODEFINES_DecodeCustomTrackDrawOption(buffer), all & ~0x4Eu);

    // A short buffer is cut and stays terminated.
    char small[8];
    std::memset(small, 'x', sizeof small);
    EXPECT_TRUE(TAVODEFINES_EncodeCustomTrackDrawOption(0x10001, small, sizeof small));
    EXPECT_EQ(std::string(small), std::string("|NOHORZ"));
}

TEST(TavoDefinesKeys, ModifierMasksTranslateBitByBit)
{
    EXPECT_EQ(TAVODEFINES_TranslateAccKeys(0), 0u);
    EXPECT_EQ(TAVODEFINES_TranslateAccKeys(0x20), 0x5u);
    // 0x20 and 0x40 both give 0x1: the union is not a sum.
    EXPECT_EQ(TAVODEFINES_TranslateAccKeys(0x60), 0x5u);
    EXPECT_EQ(TAVODEFINES_TranslateAccKeys(0x7F), 0xEFu);
    EXPECT_EQ(TAVODEFINES_TranslateAccKeys(0x80), 0u);   // no such host bit
}

TEST(TavoDefinesFonts, NamesAndNumbers)
{
    EXPECT_EQ(TAVODEFINES_toFontWeight("BOLD"), 6);
    EXPECT_EQ(TAVODEFINES_toFontWeight("heavy"), 0);
    EXPECT_EQ(TAVODEFINES_toFontWeight("bolder"), 0);
    EXPECT_EQ(TAVODEFINES_toFontWeight(nullptr), 0);
    EXPECT_STREQ(TAVODEFINES_fromFontStretch(9), "unstretched");
    EXPECT_STREQ(TAVODEFINES_fromFontWeight(-1), "normal");
    // Every name reads back as its number.
    for (int32_t value = 0; value <= 8; ++value) {
        EXPECT_EQ(TAVODEFINES_toFontWeight(TAVODEFINES_fromFontWeight(value)), value);
        EXPECT_EQ(TAVODEFINES_toFontStretch(TAVODEFINES_fromFontStretch(value)), value);
    }
    EXPECT_EQ(TAVODEFINES_FillTextOptionsfromTextAlignment(3), 1);
    EXPECT_EQ(TAVODEFINES_FillTextOptionsfromTextAlignment(6), 2);
    EXPECT_EQ(TAVODEFINES_FillTextOptionsfromTextAlignment(4), 0);
}

}  // namespace
