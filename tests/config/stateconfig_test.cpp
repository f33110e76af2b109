// View defaults copied into a document's state, and the dynamic range.
#include <gtest/gtest.h>

#include <cstring>

#include "blnotify.h"
#include "config_fixture.h"
#include "document_fixture.h"
#include "tavoaudio.h"
#include "tavodefines.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "../../view/state_p.h"

namespace {

using tavotest::ConfigTest;

class TavoConfigState : public ConfigTest {};

TEST_F(TavoConfigState, DefaultsAreRegisteredAndApplied)
{
    TAVOAUDIO audio = TAVOAUDIO_New(nullptr);
    ASSERT_NE(audio, nullptr);
    TAVOSTATE state = TAVOAUDIO_GetState(audio);
    ASSERT_NE(state, nullptr);
    ASSERT_TRUE(TAVOCONFIG_ApplyStateConfigurationEx(audio, nullptr, true));
    EXPECT_STREQ(state->spectral.preset, "narrow");
    EXPECT_EQ(state->spectral.fftLength, BLSETTINGS_GetIntEx(nullptr, "libtavo.spectral.narrow.fftlen"));
    const int32_t window = state->spectral.windowType;
    EXPECT_EQ(TAVOCONFIG_DecodeWinType(TAVOCONFIG_EncodeWinType(window), -1), window);
    EXPECT_STREQ(state->spectral.fftEngine, "auto");
    EXPECT_LT(state->powerMin, state->powerMax);
    EXPECT_EQ(state->horzScaleKind, TAVOCONFIG_DecodeHorzScaleKind("time", -1));
    // Neighbouring channels get different colours from the palette.
    EXPECT_NE(state->customTracks[0].regionColor, state->customTracks[1].regionColor);
    EXPECT_EQ(state->customTracks[5].audioChannel, 5);
    TAVOAUDIO_Close(audio);
}

TEST_F(TavoConfigState, StoredSettingsReachTheState)
{
    BLSETTINGS_ChangeEx(nullptr, "libtavo.spectral.preset=wide");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.spectral.wide.fftlen=1024");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.spectral.wide.winsize=5000");   // longer than the transform
    BLSETTINGS_ChangeEx(nullptr, "libtavo.spectral.wide.colorscheme=invgrayscale");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.spectral.wide.wintype=blackman-nuttall");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.spectral.fft_engine=kiss");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.tavocanvas.power_graph.min_value=-80");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.tavocanvas.power_graph.max_value=6");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.draw.vertscalekind=perc");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.draw.specscalekind=mel");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.customtrack.channel_03_track.region_color=rgba(10,20,30,255)");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.customtrack.channel_04_track.region_text_color=%u", 0xff00ff00u);
    BLSETTINGS_ChangeEx(nullptr, "libtavo.customtrack.channel_02_track.drawoptions=no horz grid|show rgn label");
    const uint32_t firstColor = [] {
        TAVOAUDIO probe = TAVOAUDIO_New(nullptr);
        TAVOCONFIG_ApplyStateConfigurationEx(probe, nullptr, false);
        const uint32_t color = TAVOAUDIO_GetState(probe)->customTracks[1].regionColor;
        TAVOAUDIO_Close(probe);
        return color;
    }();
    BLSETTINGS_ChangeEx(nullptr, "libtavo.customtrack._color_seq=1");

    TAVOAUDIO audio = TAVOAUDIO_New(nullptr);
    ASSERT_NE(audio, nullptr);
    TAVOSTATE state = TAVOAUDIO_GetState(audio);
    ASSERT_TRUE(TAVOCONFIG_ApplyStateConfigurationEx(nullptr, state, false));
    EXPECT_STREQ(state->spectral.preset, "wide");
    EXPECT_EQ(state->spectral.fftLength, 1024);
    EXPECT_LE(state->spectral.windowSize, 1024);
    EXPECT_EQ(state->spectral.colorScheme, 1);
    EXPECT_EQ(state->spectral.windowType, 8);
    EXPECT_STREQ(state->spectral.fftEngine, "kiss");
    EXPECT_DOUBLE_EQ(state->powerMin, -80.0);
    EXPECT_DOUBLE_EQ(state->powerMax, 6.0);
    EXPECT_EQ(state->vertScaleKind, 2);
    EXPECT_EQ(state->specScaleKind, 1);
    EXPECT_EQ(state->customTracks[3].regionColor, TAVOCOLOR_RGBA(10, 20, 30, 255));
    EXPECT_EQ(state->customTracks[4].regionTextColor, 0xff00ff00u);
    EXPECT_EQ(state->customTracks[2].drawOptions, TAVODEFINES_DecodeCustomTrackDrawOption("|NOHORZGRID|SHOWRGNLABEL|"));
    EXPECT_NE(state->customTracks[2].drawOptions, 0u);
    // The counter moves the palette on by one channel.
    EXPECT_EQ(state->customTracks[0].regionColor, firstColor);
    TAVOAUDIO_Close(audio);

    for (const char *key : {"libtavo.spectral.preset", "libtavo.spectral.wide.fftlen", "libtavo.spectral.wide.winsize",
                            "libtavo.spectral.wide.colorscheme", "libtavo.spectral.wide.wintype",
                            "libtavo.spectral.fft_engine", "libtavo.tavocanvas.power_graph.min_value",
                            "libtavo.tavocanvas.power_graph.max_value", "libtavo.draw.vertscalekind",
                            "libtavo.draw.specscalekind", "libtavo.customtrack.channel_03_track.region_color",
                            "libtavo.customtrack.channel_04_track.region_text_color",
                            "libtavo.customtrack.channel_02_track.drawoptions", "libtavo.customtrack._color_seq"}) {
        BLSETTINGS_ResetEx(nullptr, "%s", key);
    }
}

TEST_F(TavoConfigState, BadHandlesFail)
{
    EXPECT_FALSE(TAVOCONFIG_ApplyStateConfigurationEx(nullptr, nullptr, false));
    EXPECT_FALSE(TAVOCONFIG_ApplyStateConfigurationEx(nullptr, nullptr, true));
}

int32_t countRange(void *userData, const BLNOTIFY_EVENT *event)
{
    auto *seen = static_cast<double *>(userData);
    *seen = *static_cast<const double *>(event->arg1);
    return 1;
}

TEST_F(TavoConfigState, DynamicRangeStoresNotifiesAndSteps)
{
    double seen = 0.0;
    ASSERT_TRUE(BLNOTIFY_AddDefaultHandler(TAVOEVENT_DYNAMIC_RANGE_CHANGED, countRange, &seen));
    ASSERT_TRUE(TAVOCONFIG_SetDynamicRange("wide", 55.0));
    EXPECT_DOUBLE_EQ(seen, 55.0);
    EXPECT_DOUBLE_EQ(TAVOCONFIG_DynamicRangeValueEx("wide", 0), 55.0);
    // 55 lies between the 50 and 60 entries; nearest is 50 (first found).
    EXPECT_DOUBLE_EQ(TAVOCONFIG_DynamicRangeValueEx("wide", 1), 60.0);
    EXPECT_DOUBLE_EQ(TAVOCONFIG_DynamicRangeValueEx("wide", -1), 40.0);
    EXPECT_DOUBLE_EQ(TAVOCONFIG_DynamicRangeValueEx("wide", 100), TAVOCONFIG_DYNAMIC_RANGE_MAX);
    EXPECT_DOUBLE_EQ(TAVOCONFIG_DynamicRangeValueEx("wide", -100), TAVOCONFIG_DYNAMIC_RANGE_MIN);
    seen = 0.0;
    EXPECT_FALSE(TAVOCONFIG_SetDynamicRange("wide", 500.0));
    EXPECT_FALSE(TAVOCONFIG_SetDynamicRange("wide", NAN));
    EXPECT_FALSE(TAVOCONFIG_SetDynamicRange("bad name", 60.0));
    EXPECT_DOUBLE_EQ(seen, 0.0);
    EXPECT_DOUBLE_EQ(TAVOCONFIG_DynamicRangeValueEx("wide", 0), 55.0);
    BLNOTIFY_DelDefaultHandler(TAVOEVENT_DYNAMIC_RANGE_CHANGED, countRange, &seen);
    BLSETTINGS_ResetEx(nullptr, "libtavo.spectral.wide.dynrange");
}

}  // namespace
