#include <tavocolor.h>
#include <tavocolormap.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

int channel(uint32_t c, int i) { return int((c >> (8 * i)) & 0xff); }

// Relative luminance of an sRGB colour (linear-light weights of Rec. 709):
// the measure CIE L* is a monotonic function of, and so the one a
// perceptually ordered map must never let fall.
double relativeLuminance(uint32_t c)
{
    auto lin = [](int byte) {
        const double v = byte / 255.0;
        return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * lin(channel(c, 0)) + 0.7152 * lin(channel(c, 1)) + 0.0722 * lin(channel(c, 2));
}

void expectNear(uint32_t got, int r, int g, int b, int tolerance, const char *what)
{
    EXPECT_LE(std::abs(channel(got, 0) - r), tolerance) << what << " red";
    EXPECT_LE(std::abs(channel(got, 1) - g), tolerance) << what << " green";
    EXPECT_LE(std::abs(channel(got, 2) - b), tolerance) << what << " blue";
    EXPECT_EQ(channel(got, 3), 255) << what << " alpha";
}

const uint32_t *map(int32_t scheme, bool inverted = false)
{
    const uint32_t *table = TAVOCOLORMAP_GetMap(scheme, inverted);
    EXPECT_NE(table, nullptr) << "scheme " << scheme;
    return table;
}

TEST(TavoColormap, EverySchemeGivesAnOpaqueSmoothTableInBothDirections)
{
    ASSERT_EQ(TAVOCOLORMAP_CountSchemes(), 28);
    for (int32_t s = 0; s < TAVOCOLORMAP_CountSchemes(); ++s) {
        const uint32_t *normal = map(s);
        const uint32_t *inverted = map(s, true);
        ASSERT_TRUE(normal && inverted);
        EXPECT_NE(normal, inverted);
        EXPECT_EQ(TAVOCOLORMAP_GetMap(s, false), normal) << "built once, then shared";
        for (uint32_t i = 0; i < TAVOCOLORMAP_LEVELS; ++i) {
            ASSERT_EQ(normal[i] >> 24, 255u) << "scheme " << s << " level " << i;
            ASSERT_EQ(inverted[i], normal[TAVOCOLORMAP_LEVELS - 1 - i]) << "scheme " << s << " level " << i;
            ASSERT_EQ(TAVOCOLORMAP_Color(s, false, uint16_t(i)), normal[i]) << "scheme " << s << " level " << i;
            ASSERT_EQ(TAVOCOLORMAP_Color(s, true, uint16_t(i)), inverted[i]) << "scheme " << s << " level " << i;
            // 257 levels separate two anchors and no two neighbouring anchors
            // of a smooth map differ by 257 in a channel, so interpolation
            // never jumps by more than one unit: a larger step is banding.
            if (i > 0) {
                for (int c = 0; c < 3; ++c)
                    ASSERT_LE(std::abs(channel(normal[i], c) - channel(normal[i - 1], c)), 1)
                        << "scheme " << s << " level " << i << " channel " << c;
            }
        }
    }
}

TEST(TavoColormap, EndsMatchThePublishedColours)
{
    // Gray ramps: black to white; L* = 50 is the sRGB grey #777777.
    expectNear(map(TAVOCOLORMAP_LINEARGRAYSCALE)[0], 0, 0, 0, 0, "linear gray 0");
    expectNear(map(TAVOCOLORMAP_LINEARGRAYSCALE)[65535], 255, 255, 255, 0, "linear gray 65535");
    expectNear(map(TAVOCOLORMAP_LINEARGRAYSCALE)[32768], 128, 128, 128, 1, "linear gray middle");
    expectNear(map(TAVOCOLORMAP_LINEARGRAYSCALE, true)[0], 255, 255, 255, 0, "inverted linear gray 0");
    expectNear(map(TAVOCOLORMAP_GRAYSCALE)[0], 0, 0, 0, 0, "gray 0");
    expectNear(map(TAVOCOLORMAP_GRAYSCALE)[65535], 255, 255, 255, 0, "gray 65535");
    expectNear(map(TAVOCOLORMAP_GRAYSCALE)[32768], 0x77, 0x77, 0x77, 1, "gray middle");
    // The ends of the published viridis family, cividis and turbo.
    expectNear(map(TAVOCOLORMAP_VIRIDIS)[0], 0x44, 0x01, 0x54, 0, "viridis 0");
    expectNear(map(TAVOCOLORMAP_VIRIDIS)[65535], 0xFD, 0xE7, 0x25, 0, "viridis 65535");
    expectNear(map(TAVOCOLORMAP_MAGMA)[0], 0x00, 0x00, 0x04, 1, "magma 0");
    expectNear(map(TAVOCOLORMAP_MAGMA)[65535], 0xFC, 0xFD, 0xBF, 1, "magma 65535");
    expectNear(map(TAVOCOLORMAP_INFERNO)[65535], 0xFC, 0xFF, 0xA4, 1, "inferno 65535");
    expectNear(map(TAVOCOLORMAP_PLASMA)[0], 0x0D, 0x08, 0x87, 1, "plasma 0");
    expectNear(map(TAVOCOLORMAP_PLASMA)[65535], 0xF0, 0xF9, 0x21, 1, "plasma 65535");
    expectNear(map(TAVOCOLORMAP_CIVIDIS)[0], 0x00, 0x22, 0x4E, 1, "cividis 0");
    expectNear(map(TAVOCOLORMAP_TURBO)[0], 0x30, 0x12, 0x3B, 1, "turbo 0");
    expectNear(map(TAVOCOLORMAP_TURBO)[65535], 0x7A, 0x04, 0x03, 1, "turbo 65535");
    // The classic segmented maps: hot's red starts at 1/24 of full scale and
    // copper ends at (1, 0.7812, 0.4975) x 255.
    expectNear(map(TAVOCOLORMAP_HOT)[0], 11, 0, 0, 1, "hot 0");
    expectNear(map(TAVOCOLORMAP_HOT)[65535], 255, 255, 255, 0, "hot 65535");
    expectNear(map(TAVOCOLORMAP_COPPER)[65535], 255, 199, 127, 1, "copper 65535");
    expectNear(map(TAVOCOLORMAP_BONE)[0], 0, 0, 0, 0, "bone 0");
    expectNear(map(TAVOCOLORMAP_CE2K)[0], 0, 0, 0, 0, "ce2k 0");
    expectNear(map(TAVOCOLORMAP_CE2K)[65535], 255, 255, 255, 0, "ce2k 65535");
}

// Which way each published map runs and which hue dominates its ends: these
// catch a table filed under the wrong code or read in the wrong direction.
TEST(TavoColormap, SchemesRunTheirPublishedWay)
{
    struct Case {
        int32_t scheme;
        bool darkToLight;
    };
    const Case cases[] = {
        {TAVOCOLORMAP_MAKO, true},           {TAVOCOLORMAP_ROCKET, true},         {TAVOCOLORMAP_ICE, true},
        {TAVOCOLORMAP_SOLAR, true},          {TAVOCOLORMAP_OCEANTHERMAL, true},   {TAVOCOLORMAP_TOKYO, true},
        {TAVOCOLORMAP_MATTER, false},        {TAVOCOLORMAP_BILBAO, false},        {TAVOCOLORMAP_LAJOLLA, false},
        {TAVOCOLORMAP_OCEANDEEP, false},     {TAVOCOLORMAP_OCEANDELTAGREEN, false},
        {TAVOCOLORMAP_OCEANDELTABLUE, false},
    };
    for (const Case &c : cases) {
        const uint32_t *t = map(c.scheme);
        const double first = relativeLuminance(t[0]), last = relativeLuminance(t[65535]);
        EXPECT_EQ(first < last, c.darkToLight) << "scheme " << c.scheme;
        EXPECT_GT(std::abs(last - first), 0.5) << "scheme " << c.scheme;
    }
    // Diverging maps: roma runs red-brown to blue, vik dark blue to dark red,
    // berlin light blue through black to light red.
    const uint32_t *roma = map(TAVOCOLORMAP_ROMA), *vik = map(TAVOCOLORMAP_VIK), *berlin = map(TAVOCOLORMAP_BERLIN);
    EXPECT_GT(channel(roma[0], 0), channel(roma[0], 2));
    EXPECT_GT(channel(roma[65535], 2), channel(roma[65535], 0));
    EXPECT_GT(channel(vik[0], 2), channel(vik[0], 0));
    EXPECT_GT(channel(vik[65535], 0), channel(vik[65535], 2));
    EXPECT_GT(channel(berlin[0], 2), channel(berlin[0], 0));
    EXPECT_GT(channel(berlin[65535], 0), channel(berlin[65535], 2));
    EXPECT_LT(relativeLuminance(berlin[32768]), 0.02);
    // The delta halves end in their own hue; oxy ends in yellow.
    const uint32_t green = map(TAVOCOLORMAP_OCEANDELTAGREEN)[65535], blue = map(TAVOCOLORMAP_OCEANDELTABLUE)[65535];
    EXPECT_GT(channel(green, 1), channel(green, 2));
    EXPECT_GT(channel(blue, 2), channel(blue, 1));
    const uint32_t oxyTop = map(TAVOCOLORMAP_OXY)[65535];
    EXPECT_GT(channel(oxyTop, 0), channel(oxyTop, 2) + 100);
    EXPECT_GT(channel(oxyTop, 1), channel(oxyTop, 2) + 100);
}

TEST(TavoColormap, PerceptualMapsNeverGetDarkerAsTheLevelRises)
{
    // Rounding each channel to a byte may cost up to one unit of green at
    // full scale: 0.7152 x d(linear)/d(byte) at 255 = 0.0064 of luminance.
    constexpr double kOneByteOfGreen = 0.0065;
    const int32_t perceptual[] = {TAVOCOLORMAP_LINEARGRAYSCALE, TAVOCOLORMAP_GRAYSCALE, TAVOCOLORMAP_CE2K,
                                  TAVOCOLORMAP_VIRIDIS,         TAVOCOLORMAP_MAGMA,     TAVOCOLORMAP_PLASMA,
                                  TAVOCOLORMAP_INFERNO,         TAVOCOLORMAP_CIVIDIS};
    for (int32_t s : perceptual) {
        for (bool inverted : {false, true}) {
            const uint32_t *t = map(s, inverted);
            double extreme = relativeLuminance(t[0]);
            for (uint32_t i = 1; i < TAVOCOLORMAP_LEVELS; ++i) {
                const double y = relativeLuminance(t[i]);
                if (!inverted) {
                    ASSERT_GE(y, extreme - kOneByteOfGreen) << "scheme " << s << " level " << i;
                    extreme = std::max(extreme, y);
                } else {
                    ASSERT_LE(y, extreme + kOneByteOfGreen) << "inverted scheme " << s << " level " << i;
                    extreme = std::min(extreme, y);
                }
            }
        }
    }
    // The two grey ramps are exact greys that never step down, with no
    // rounding allowance; the byte ramp rises by one at every anchor.
    for (int32_t s : {TAVOCOLORMAP_LINEARGRAYSCALE, TAVOCOLORMAP_GRAYSCALE}) {
        const uint32_t *t = map(s);
        for (uint32_t i = 0; i < TAVOCOLORMAP_LEVELS; ++i) {
            ASSERT_EQ(channel(t[i], 0), channel(t[i], 1)) << "scheme " << s << " level " << i;
            ASSERT_EQ(channel(t[i], 1), channel(t[i], 2)) << "scheme " << s << " level " << i;
            if (i > 0) {
                ASSERT_GE(channel(t[i], 0), channel(t[i - 1], 0)) << "scheme " << s << " level " << i;
            }
        }
    }
    for (uint32_t i = 0; i < TAVOCOLORMAP_LEVELS; i += 257)
        ASSERT_EQ(channel(map(TAVOCOLORMAP_LINEARGRAYSCALE)[i], 0), int(i / 257));
    // The L* ramp spends more levels on dark greys than the byte ramp does.
    EXPECT_LT(channel(map(TAVOCOLORMAP_GRAYSCALE)[16384], 0), channel(map(TAVOCOLORMAP_LINEARGRAYSCALE)[16384], 0));
}

TEST(TavoColormap, UnknownSchemesFailAndFinalizeRebuilds)
{
    for (int32_t bad : {-1, TAVOCOLORMAP_SCHEME_COUNT, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(TAVOCOLORMAP_GetMap(bad, false), nullptr) << bad;
        EXPECT_EQ(TAVOCOLORMAP_GetMap(bad, true), nullptr) << bad;
        EXPECT_EQ(TAVOCOLORMAP_Color(bad, false, 100), 0u) << bad;
    }

    const std::vector<uint32_t> before(map(TAVOCOLORMAP_MAGMA, true), map(TAVOCOLORMAP_MAGMA, true) + TAVOCOLORMAP_LEVELS);
    EXPECT_TRUE(TAVOCOLORMAP_Finalize());
    EXPECT_TRUE(TAVOCOLORMAP_Finalize());  // nothing left to free: still fine
    const uint32_t *again = map(TAVOCOLORMAP_MAGMA, true);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(std::vector<uint32_t>(again, again + TAVOCOLORMAP_LEVELS), before);
}

}  // namespace
