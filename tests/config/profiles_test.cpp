// Profiles: derivation, overlay order, later keys, and the draw record.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "config_fixture.h"

namespace {

using tavotest::ConfigTest;

class TavoConfigProfiles : public ConfigTest {};

TEST_F(TavoConfigProfiles, ProfilesRecordTheirFallbackAndValidity)
{
    for (int32_t i = 0; i < TAVOCONFIG_PROFILE_COUNT; ++i) {
        const char *name = TAVOCONFIG_ProfileName(i);
        ASSERT_NE(name, nullptr);
        char fallback[64];
        BLSETTINGS_GetStringEx(nullptr, fallback, sizeof fallback, "velmora.interface.%s.resources_fallback", name);
        const char *parent = TAVOCONFIG_ProfileParent(name);
        EXPECT_STREQ(fallback, parent != nullptr ? parent : "") << name;
        EXPECT_EQ(BLSETTINGS_GetIntEx(nullptr, "velmora.interface.%s.profile_is_valid", name), 1) << name;
        // Both spellings exist as separate keys.
        EXPECT_TRUE(BLSETTINGS_ExistsEx(nullptr, "velmora.interface.%s.option.Low_Graphics_Engine", name));
        EXPECT_TRUE(BLSETTINGS_ExistsEx(nullptr, "velmora.interface.%s.option.low_graphics_engine", name));
        EXPECT_TRUE(BLSETTINGS_ExistsEx(nullptr, "velmora.interface.%s.option.Sidebar_Border", name));
        // A parent is always reset before its children.
        if (parent != nullptr) {
            bool seen = false;
            for (int32_t j = 0; j < i; ++j) seen = seen || std::strcmp(TAVOCONFIG_ProfileName(j), parent) == 0;
            EXPECT_TRUE(seen) << name;
        }
    }
    EXPECT_EQ(TAVOCONFIG_ProfileName(TAVOCONFIG_PROFILE_COUNT), nullptr);
}

TEST_F(TavoConfigProfiles, TellingColoursOfAquaAndDarkAqua)
{
    EXPECT_EQ(colorText("aqua", "waveform"), "rgba(7,181,144,236)");
    EXPECT_EQ(colorText("aqua", "waveform_background_gradient_start"), "rgba(0,32,32,255)");
    EXPECT_EQ(colorText("aqua", "custom_track_background"), "rgba(0,96,96,255)");
    EXPECT_EQ(colorText("dark_aqua", "waveform"), "rgba(74,166,124,242)");
    EXPECT_EQ(colorText("dark_aqua", "waveform_01"), "rgba(33,33,33,64)");
    EXPECT_EQ(colorText("dark_aqua", "waveform_background_gradient_end"), "rgba(25,38,37,255)");
    EXPECT_EQ(colorText("dark_aqua", "scale_background"), "rgba(76,76,76,255)");
    EXPECT_EQ(colorText("dark_aqua", "sidebar_text"), "rgba(255,255,255,255)");
    // dark_aqua has no waveform_02 of its own: it shows aqua's.
    EXPECT_EQ(colorText("dark_aqua", "waveform_02"), "rgba(0,150,255,255)");
}

// "crossfade_zero" is set by classic only: every other profile inherits it.
TEST_F(TavoConfigProfiles, DarkAquaFollowsAColourTheUserStoredInAqua)
{
    const std::string before = colorText("dark_aqua", "crossfade_zero");
    storeColor("aqua", "crossfade_zero", "rgba(1,2,3,4)");
    TAVOCONFIG_ResetConfiguration();
    EXPECT_EQ(colorText("dark_aqua", "crossfade_zero"), "rgba(1,2,3,4)");
    // ... and so do dark_aqua's own children.
    EXPECT_EQ(colorText("dark_fusion", "crossfade_zero"), "rgba(1,2,3,4)");
    // A profile outside aqua's line is untouched.
    EXPECT_NE(colorText("light", "crossfade_zero"), "rgba(1,2,3,4)");
    forgetColor("aqua", "crossfade_zero");
    TAVOCONFIG_ResetConfiguration();
    EXPECT_EQ(colorText("dark_aqua", "crossfade_zero"), before);
}

TEST_F(TavoConfigProfiles, UserStoredValueSurvivesReset)
{
    storeColor("dark_aqua", "waveform", "rgba(9,9,9,255)");
    TAVOCONFIG_ResetConfiguration();
    TAVOCONFIG_ResetDarkAquaProfile();
    EXPECT_EQ(colorText("dark_aqua", "waveform"), "rgba(9,9,9,255)");
    forgetColor("dark_aqua", "waveform");
    EXPECT_EQ(colorText("dark_aqua", "waveform"), "rgba(74,166,124,242)");
}

TEST_F(TavoConfigProfiles, OverlayIsBaseThenAncestorsThenOwn)
{
    // A scheme without fallback: transparent black and base options.
    ASSERT_TRUE(TAVOCONFIG_CreateProfileScheme("cfgtest_root", nullptr));
    EXPECT_EQ(colorText("cfgtest_root", "waveform"), "rgba(0,0,0,0)");
    EXPECT_EQ(BLSETTINGS_GetIntEx(nullptr, "velmora.interface.cfgtest_root.option.level_meter_use_full_grid"), 1);
    EXPECT_EQ(BLSETTINGS_GetIntEx(nullptr, "velmora.interface.cfgtest_root.option.main_cursor_draw_border=[7]"), 0);

    // Chain root <- middle <- leaf: the leaf takes the middle's value where
    // the middle has one, else the root's.
    ASSERT_TRUE(BLSETTINGS_SetDefaultEx(nullptr, "%s=rgba(10,10,10,255)",
                                        colorKey("cfgtest_root", "border").c_str()));
    ASSERT_TRUE(BLSETTINGS_SetDefaultEx(nullptr, "%s=rgba(11,11,11,255)",
                                        colorKey("cfgtest_root", "selection").c_str()));
    ASSERT_TRUE(TAVOCONFIG_CreateProfileScheme("cfgtest_middle", "cfgtest_root"));
    ASSERT_TRUE(BLSETTINGS_SetDefaultEx(nullptr, "%s=rgba(20,20,20,255)",
                                        colorKey("cfgtest_middle", "selection").c_str()));
    ASSERT_TRUE(TAVOCONFIG_CreateProfileScheme("cfgtest_leaf", "cfgtest_middle"));
    EXPECT_EQ(colorText("cfgtest_leaf", "border"), "rgba(10,10,10,255)");
    EXPECT_EQ(colorText("cfgtest_leaf", "selection"), "rgba(20,20,20,255)");
    EXPECT_EQ(colorText("cfgtest_leaf", "waveform"), "rgba(0,0,0,0)");
    // A fallback that has never been set up leaves only base zeros.
    ASSERT_TRUE(TAVOCONFIG_CreateProfileScheme("cfgtest_orphan", "cfgtest_nobody"));
    EXPECT_EQ(colorText("cfgtest_orphan", "border"), "rgba(0,0,0,0)");

    EXPECT_FALSE(TAVOCONFIG_CreateProfileScheme(nullptr, "classic"));
    EXPECT_FALSE(TAVOCONFIG_CreateProfileScheme("bad name", "classic"));
    EXPECT_FALSE(TAVOCONFIG_CreateProfileScheme("", nullptr));
}

TEST_F(TavoConfigProfiles, AddNewSettingsFillsMissingKeysOnly)
{
    ASSERT_TRUE(TAVOCONFIG_CreateProfileScheme("cfgtest_old", "classic"));
    storeColor("cfgtest_old", "border", "rgba(1,1,1,255)");
    storeColor("cfgtest_old", "channel_separator", "rgba(5,6,7,255)");
    storeColor("cfgtest_old", "scale_tool_button_text", "rgba(30,31,32,255)");
    ASSERT_TRUE(TAVOCONFIG_AddNewSettings("cfgtest_old"));
    EXPECT_EQ(colorText("cfgtest_old", "channel_separator"), "rgba(5,6,7,255)");
    EXPECT_EQ(colorText("cfgtest_old", "Waveform_Highlight_Label"), "rgba(30,31,32,255)");
    EXPECT_EQ(colorText("cfgtest_old", "Waveform_Highlight_Border"), "rgba(30,31,32,255)");
    EXPECT_EQ(colorText("cfgtest_old", "sidebar_playback_highlight_background"), colorText("classic", "waveform"));
    // A profile lacking the source key starts the new key transparent.
    EXPECT_TRUE(TAVOCONFIG_AddNewSettings("cfgtest_empty"));
    EXPECT_EQ(colorText("cfgtest_empty", "track_grid_box"), "rgba(0,0,0,0)");
    EXPECT_FALSE(TAVOCONFIG_AddNewSettings(nullptr));
    for (const char *key : {"border", "channel_separator", "scale_tool_button_text"}) forgetColor("cfgtest_old", key);
}

TEST_F(TavoConfigProfiles, DrawRecordFollowsSettingsAndCurrentProfile)
{
    TAVODRAWCONFIG config;
    ASSERT_TRUE(TAVOCONFIG_InitDrawConfig(&config, "dark_aqua"));
    EXPECT_STREQ(config.profile, "dark_aqua");
    EXPECT_EQ(config.colors[TAVOCONFIG_COLOR_WAVEFORM], TAVOCOLOR_RGBA(74, 166, 124, 242));
    EXPECT_EQ(config.colors[TAVOCONFIG_COLOR_CHANNEL_SEPARATOR], config.colors[TAVOCONFIG_COLOR_BORDER]);
    EXPECT_EQ(config.options[TAVOCONFIG_OPTION_LEVEL_METER_USE_FULL_GRID], 1);
    EXPECT_TRUE(config.darkProfile);
    EXPECT_GT(config.scaleFont.size, 0.0f);

    storeColor("dark_aqua", "region_selecred_border_9", "rgba(200,100,50,255)");
    ASSERT_TRUE(BLSETTINGS_ChangeEx(nullptr, "velmora.interface.dark_aqua.option.Sidebar_Border=1"));
    ASSERT_TRUE(TAVOCONFIG_UpdateDrawConfig(&config));
    EXPECT_EQ(config.colors[TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_9], TAVOCOLOR_RGBA(200, 100, 50, 255));
    EXPECT_EQ(config.options[TAVOCONFIG_OPTION_SIDEBAR_BORDER], 1);
    forgetColor("dark_aqua", "region_selecred_border_9");
    BLSETTINGS_ResetEx(nullptr, "velmora.interface.dark_aqua.option.Sidebar_Border");

    ASSERT_TRUE(TAVOCONFIG_SetCurrentProfile("light"));
    const TAVODRAWCONFIG *current = TAVOCONFIG_GetCurrentDrawConfig();
    EXPECT_STREQ(current->profile, "light");
    EXPECT_FALSE(current->darkProfile);
    // The display record follows the interface profile unless it has its own.
    EXPECT_STREQ(TAVOCONFIG_GetCurrentDisplayDrawConfig()->profile, "light");
    ASSERT_TRUE(BLSETTINGS_ChangeEx(nullptr, "velmora.interface.display_profile=aqua"));
    EXPECT_STREQ(TAVOCONFIG_GetCurrentDisplayDrawConfig()->profile, "aqua");
    BLSETTINGS_ResetEx(nullptr, "velmora.interface.display_profile");
    BLSETTINGS_ResetEx(nullptr, "velmora.interface.profile");
    EXPECT_STREQ(TAVOCONFIG_GetCurrentDrawConfig()->profile, "classic");

    EXPECT_FALSE(TAVOCONFIG_InitDrawConfig(nullptr, "classic"));
    EXPECT_FALSE(TAVOCONFIG_InitDrawConfig(&config, "no=such"));
    EXPECT_FALSE(TAVOCONFIG_SetCurrentProfile(""));
}

TEST_F(TavoConfigProfiles, SystemFontAndBackground)
{
    ASSERT_TRUE(TAVOCONFIG_SetDefaultSystemFont("Cfg Test Sans"));
    EXPECT_STREQ(TAVOCONFIG_DefaultSystemFont(), "Cfg Test Sans");
    EXPECT_STREQ(TAVOCONFIG_GetDrawConfig()->regionFont.family, "Cfg Test Sans");
    EXPECT_FALSE(TAVOCONFIG_SetDefaultSystemFont(std::string(200, 'x').c_str()));
    EXPECT_STREQ(TAVOCONFIG_DefaultSystemFont(), "Cfg Test Sans");
    ASSERT_TRUE(TAVOCONFIG_SetDefaultSystemFont(nullptr));
    EXPECT_STREQ(TAVOCONFIG_DefaultSystemFont(), "Sans");
    ASSERT_TRUE(TAVOCONFIG_SetSystemBackgrondColor(TAVOCOLOR_RGBA(1, 2, 3, 255)));
    EXPECT_EQ(TAVOCONFIG_WindowBackgroundColor(), TAVOCOLOR_RGBA(1, 2, 3, 255));
}

}  // namespace
