// Library start and stop, version and the settings defaults registered at
// load time.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "blcore.h"
#include "blsettings.h"
#include "blversion.h"
#include "tavo.h"
#include "tavoproc.h"

namespace {

TEST(TavoStart, LoadingRegistersVersionAndSettingsDefaults)
{
    // Nothing in this process called TAVO_Initialize: the load did.
    EXPECT_GE(BLCORE_InitCount(), 1);
    int32_t major = 0, minor = 0, patch = 0, build = 0;
    ASSERT_TRUE(BLVERSION_Get("libtavo", &major, &minor, &patch, &build));
    EXPECT_EQ(major, 3);
    EXPECT_EQ(minor, 22);
    EXPECT_EQ(patch, 0);
    EXPECT_EQ(build, 1);

    // Defaults answer reads that carry no fallback of their own.
    EXPECT_TRUE(BLSETTINGS_GetBoolEx(nullptr, "libtavo.editoptions.smoothboundaries"));
    EXPECT_DOUBLE_EQ(BLSETTINGS_GetFloatEx(nullptr, "libtavo.editoptions.smoothduration"), 0.004);
    EXPECT_FALSE(BLSETTINGS_GetBoolEx(nullptr, "libtavo.saveoptions.keeporiginalfile"));
    EXPECT_DOUBLE_EQ(BLSETTINGS_GetFloatEx(nullptr, "libtavo.zoom.normalized_factor"), 0.9);
    char effect[512];
    ASSERT_TRUE(BLSETTINGS_GetStringEx(nullptr, effect, sizeof effect, "libtavo.selection.select_effect"));
    EXPECT_STREQ(effect, "ARO:MVAD[padding_begin=0.1,padding_end=0.1,min_part_duration=5.0,"
                         "max_part_duration=15.0,max_interval_duration=0.5]");
    // Each annotation track shows the audio channel of its own number.
    for (int channel : {0, 7, 31})
        EXPECT_EQ(BLSETTINGS_GetIntEx(nullptr, "libtavo.customtrack.channel_%02d_track.audiochannel", channel),
                  channel);
    EXPECT_FALSE(BLSETTINGS_ExistsEx(nullptr, "libtavo.customtrack.channel_32_track.audiochannel"));
}

TEST(TavoStart, VersionTextAndNumbers)
{
    // The build date is the compiler's "Mmm dd yyyy", the day padded with a
    // blank.
    const std::regex pattern(R"(libtavo version 3\.22\.0\.1 \(built in [A-Z][a-z]{2} [ 123][0-9] [0-9]{4}\))");
    EXPECT_TRUE(std::regex_match(std::string(TAVOVERSION_String()), pattern)) << TAVOVERSION_String();

    int32_t minor = -1, build = -1;
    TAVOVERSION_Number(nullptr, &minor, nullptr, &build);
    EXPECT_EQ(minor, 22);
    EXPECT_EQ(build, 1);
    TAVOVERSION_Number(nullptr, nullptr, nullptr, nullptr);   // nothing to write, no crash
}

TEST(TavoStart, ApplicationStateBits)
{
    const uint32_t before = TAVOAPP_ApplicationState();
    EXPECT_EQ(TAVOAPP_SetState(0x5) & 0x5, 0x5u);
    EXPECT_EQ(TAVOAPP_ClrState(0x1) & 0x5, 0x4u);
    EXPECT_EQ(TAVOAPP_ApplicationState() & 0x5, 0x4u);
    TAVOAPP_ClrState(0x5 & ~before);
    TAVOAPP_SetState(before);
    EXPECT_EQ(TAVOAPP_ApplicationState(), before);
}

// The load counted as one start: two more starts and three stops bring the
// count back to 0, and only the third stop takes the libraries down. The
// library is started again at the end so that the rest of the process still
// finds it ready.
TEST(TavoStart, NestedStartsAndStopsCountFromTheLoad)
{
    const int32_t coreCount = BLCORE_InitCount();
    ASSERT_GE(coreCount, 1);

    EXPECT_EQ(TAVO_Initialize(), 2);
    EXPECT_EQ(TAVO_Initialize(), 3);
    EXPECT_EQ(BLCORE_InitCount(), coreCount);   // nested starts start nothing

    EXPECT_EQ(TAVO_Finalize(), 2);
    EXPECT_EQ(TAVO_Finalize(), 1);
    EXPECT_EQ(BLCORE_InitCount(), coreCount);
    EXPECT_FALSE(TAVOPROC_Initialize());           // the registry still stands

    // The third stop runs the stop sequence, whose last step is libfound's.
    EXPECT_EQ(TAVO_Finalize(), 1);
    EXPECT_EQ(BLCORE_InitCount(), coreCount - 1);
    EXPECT_FALSE(TAVOPROC_Finalize());             // the sequence removed the registry
    EXPECT_EQ(TAVO_Finalize(), 0);                 // already down: nothing happens
    EXPECT_EQ(BLCORE_InitCount(), coreCount - 1);

    // A fresh start runs the whole sequence again.
    EXPECT_EQ(TAVO_Initialize(), 1);
    EXPECT_EQ(BLCORE_InitCount(), coreCount);
    EXPECT_FALSE(TAVOPROC_Initialize());           // the registry is back already
}

}  // namespace
