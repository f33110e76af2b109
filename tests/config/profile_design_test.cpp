// Design rules of the built-in profiles, checked on the colours the
// settings answer (so a user-independent reset is what is judged).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "config_fixture.h"

namespace {

using tavotest::ConfigTest;

struct Rgb {
    double r, g, b;   // 0..255
};

Rgb over(uint32_t color, const Rgb &below)
{
    const double a = double(color >> 24) / 255.0;
    return {double(color & 0xff) * a + below.r * (1 - a), double((color >> 8) & 0xff) * a + below.g * (1 - a),
            double((color >> 16) & 0xff) * a + below.b * (1 - a)};
}

Rgb opaque(uint32_t color)
{
    return over(color, Rgb{0, 0, 0});
}

// Relative luminance and contrast ratio as the web accessibility
// guidelines define them (sRGB channels linearised).
double relativeLuminance(const Rgb &c)
{
    auto linear = [](double channel) {
        const double v = channel / 255.0;
        return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(c.r) + 0.7152 * linear(c.g) + 0.0722 * linear(c.b);
}

double contrast(const Rgb &a, const Rgb &b)
{
    const double la = relativeLuminance(a), lb = relativeLuminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

double distance(const Rgb &a, const Rgb &b)
{
    return std::sqrt((a.r - b.r) * (a.r - b.r) + (a.g - b.g) * (a.g - b.g) + (a.b - b.b) * (a.b - b.b));
}

bool namedDark(const std::string &name)
{
    // The look each name promises: "classic" and "aqua" put the waveform on
    // a dark area, as do the dark_ and black_ profiles.
    return name == "classic" || name == "aqua" || name.rfind("dark_", 0) == 0 || name.rfind("black_", 0) == 0;
}

class TavoConfigDesign : public ConfigTest {};

TEST_F(TavoConfigDesign, EveryProfileKeepsTheDesignRules)
{
    // 3:1 is the least contrast for graphics; 4.5:1 for text. A selection
    // must move a colour by at least 1/8 of the channel range to be seen.
    constexpr double kGraphicContrast = 3.0;
    constexpr double kTextContrast = 4.5;
    constexpr double kVisibleShift = 32.0;
    for (int32_t i = 0; i < TAVOCONFIG_PROFILE_COUNT; ++i) {
        const char *name = TAVOCONFIG_ProfileName(i);
        SCOPED_TRACE(name);
        TAVODRAWCONFIG config;
        ASSERT_TRUE(TAVOCONFIG_InitDrawConfig(&config, name));
        const uint32_t *c = config.colors;
        const Rgb backgrounds[2] = {opaque(c[TAVOCONFIG_COLOR_WAVEFORM_BACKGROUND_GRADIENT_START]),
                                    opaque(c[TAVOCONFIG_COLOR_WAVEFORM_BACKGROUND_GRADIENT_END])};
        const bool dark = namedDark(name);
        EXPECT_EQ(config.darkProfile, dark);
        EXPECT_EQ(TAVOCONFIG_ProfileIsDark(name), dark);
        for (const Rgb &background : backgrounds) {
            const double level = relativeLuminance(background);
            if (dark) {
                EXPECT_LT(level, 0.05);
            } else {
                EXPECT_GT(level, 0.7);
            }
            const Rgb wave = over(c[TAVOCONFIG_COLOR_WAVEFORM], background);
            EXPECT_GE(contrast(wave, background), kGraphicContrast);
            EXPECT_GE(contrast(over(c[TAVOCONFIG_COLOR_MAIN_CURSOR_ACTIVE], background), background), kGraphicContrast);
            const uint32_t selection = c[TAVOCONFIG_COLOR_SELECTION];
            EXPECT_GE(distance(over(selection, background), background), kVisibleShift);
            EXPECT_GE(distance(over(selection, wave), wave), kVisibleShift);
        }
        // Dark profiles named so keep their chrome dark too, light ones light.
        const std::string profile = name;
        const double window = relativeLuminance(opaque(c[TAVOCONFIG_COLOR_WINDOW_BACKGROUND]));
        if (profile.rfind("dark_", 0) == 0 || profile.rfind("black_", 0) == 0) EXPECT_LT(window, 0.2);
        if (!dark) EXPECT_GT(window, 0.6);
        EXPECT_GE(contrast(opaque(c[TAVOCONFIG_COLOR_SCALE_FONT_ACTIVE]), opaque(c[TAVOCONFIG_COLOR_SCALE_BACKGROUND])),
                  kTextContrast);
        EXPECT_GE(contrast(opaque(c[TAVOCONFIG_COLOR_SIDEBAR_TEXT]), opaque(c[TAVOCONFIG_COLOR_SIDEBAR_BACKGROUND])),
                  kTextContrast);
        // No stored key is left transparent black by a built-in profile,
        // the deliberately faint secondary waveform of dark_aqua aside.
        for (int32_t k = 0; k < TAVOCONFIG_COLOR_COUNT; ++k) {
            if (k == TAVOCONFIG_COLOR_WAVEFORM_01) continue;
            EXPECT_NE(c[k] >> 24, 0u) << TAVOCONFIG_ColorKeyName(k);
        }
    }
}

}  // namespace
