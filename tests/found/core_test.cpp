// Start and stop, the registries, time, files, curves and logging.
#include <blcore.h>
#include <blcurves.h>
#include <bldebug.h>
#include <blio.h>
#include <blregister.h>
#include <blutils.h>
#include <blversion.h>

#include "log_capture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Tracked {
    std::vector<std::string> *destroyed;
    std::string name;
};

bool destroyTracked(void *object)
{
    auto *t = static_cast<Tracked *>(object);
    t->destroyed->push_back(t->name);
    BLREGISTER_DelObject(object);  // what a close function does: harmless here
    return true;
}

const BLREGISTER_DESCR kTrackedType = {"TRACKED", &destroyTracked};

TEST(BlCore, NestedStartAndLastStopDestroysLeftObjectsNewestFirst)
{
    ASSERT_TRUE(BLCORE_Initialize());
    ASSERT_TRUE(BLCORE_Initialize());
    EXPECT_EQ(BLCORE_InitCount(), 2);
    int32_t major = -1, build = -1;
    EXPECT_TRUE(BLVERSION_Get("libfound", &major, nullptr, nullptr, &build));
    EXPECT_EQ(major, BLCORE_VERSION_MAJOR);
    EXPECT_EQ(build, BLCORE_VERSION_BUILD);

    std::vector<std::string> destroyed;
    Tracked a{&destroyed, "a"}, b{&destroyed, "b"}, kept{&destroyed, "kept"};
    ASSERT_TRUE(BLREGISTER_AddObject(&a, &kTrackedType));
    ASSERT_TRUE(BLREGISTER_AddObject(&b, &kTrackedType));
    ASSERT_TRUE(BLREGISTER_AddObject(&kept, &kTrackedType));
    EXPECT_FALSE(BLREGISTER_AddObject(&a, &kTrackedType));
    EXPECT_EQ(BLREGISTER_CountObjects("TRACKED"), 3);
    EXPECT_TRUE(BLREGISTER_DelObject(&kept));  // taken out: never destroyed
    EXPECT_FALSE(BLREGISTER_HasObject(&kept));

    EXPECT_TRUE(BLCORE_Finalize());
    EXPECT_TRUE(destroyed.empty());  // not the last stop yet
    EXPECT_TRUE(BLCORE_Finalize());
    EXPECT_EQ(destroyed, (std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(BLREGISTER_CountObjects(nullptr), 0);
    EXPECT_FALSE(BLCORE_Finalize());  // at 0: harmless
    EXPECT_EQ(BLCORE_InitCount(), 0);
}

TEST(BlVersion, RegisterReplacesAndEnumerates)
{
    ASSERT_TRUE(BLVERSION_Register("libtest", 1, 2, 3, 4));
    ASSERT_TRUE(BLVERSION_Register("libtest", 1, 2, 3, 5));
    int32_t minor = 0, build = 0;
    ASSERT_TRUE(BLVERSION_Get("libtest", nullptr, &minor, nullptr, &build));
    EXPECT_EQ(minor, 2);
    EXPECT_EQ(build, 5);
    bool listed = false;
    char name[32];
    for (int32_t i = 0; i < BLVERSION_Count(); ++i)
        if (BLVERSION_NameAt(i, name, sizeof name) && std::string(name) == "libtest") listed = true;
    EXPECT_TRUE(listed);
    EXPECT_FALSE(BLVERSION_Register("", 1, 0, 0, 0));
    EXPECT_FALSE(BLVERSION_Get("never", nullptr, nullptr, nullptr, nullptr));
    EXPECT_FALSE(BLVERSION_NameAt(BLVERSION_Count(), name, sizeof name));
}

TEST(BlTime, ConversionsAgreeWithKnownDates)
{
    // 2000-03-01 12:34:56.789 UTC: 951914096789 ms (day count across a leap February).
    BLtime t{2000, 3, 1, 12, 34, 56, 789};
    EXPECT_EQ(BLUTILS_BLtimeToTimestamp(t), 951914096789LL);
    BLtime back{};
    ASSERT_TRUE(BLUTILS_TimestampToBLtime(951914096789LL, &back));
    EXPECT_EQ(back.year, 2000);
    EXPECT_EQ(back.month, 3);
    EXPECT_EQ(back.day, 1);
    EXPECT_EQ(back.millisecond, 789);
    ASSERT_TRUE(BLUTILS_TimestampToBLtime(-1, &back));  // the last millisecond of 1969
    EXPECT_EQ(back.year, 1969);
    EXPECT_EQ(back.second, 59);
    EXPECT_EQ(back.millisecond, 999);
    EXPECT_EQ(BLUTILS_BLtimeToTimestamp(BLtime{}), 0);
    EXPECT_EQ(BLUTILS_BLtimeToTimestamp(BLtime{2001, 2, 29, 0, 0, 0, 0}), 0);  // no such day
    EXPECT_EQ(BLUTILS_BLtimeToTimestamp(BLtime{2001, 13, 1, 0, 0, 0, 0}), 0);
}

TEST(BlTime, ClocksAdvanceAndSleepWaits)
{
    const int64_t before = BLUTILS_MonotonicTime();
    EXPECT_TRUE(BLUTILS_sleep_msec(5));
    EXPECT_GE(BLUTILS_MonotonicTime() - before, 5);
    EXPECT_FALSE(BLUTILS_sleep_msec(-1));
    EXPECT_GT(BLUTILS_GetTimestamp(), 1700000000000LL);  // after November 2023
}

class BlIo : public ::testing::Test {
protected:
    fs::path dir = fs::temp_directory_path() / ("blio-" + std::to_string(::getpid()));
    void SetUp() override { fs::create_directories(dir / "sub"); }
    void TearDown() override { fs::remove_all(dir); }
};

TEST_F(BlIo, KindSizeAndTimeOfRealFiles)
{
    const fs::path file = dir / "a.wav";
    std::ofstream(file) << "0123456789";
    EXPECT_EQ(BLIO_FileKind(file.c_str()) & 0xf, BLIO_FILEKIND_FILE);
    EXPECT_TRUE(BLIO_FileKind(file.c_str()) & BLIO_FILEKIND_READABLE);
    EXPECT_EQ(BLIO_FileKind(dir.c_str()) & 0xf, BLIO_FILEKIND_DIRECTORY);
    EXPECT_EQ(BLIO_FileKind((dir / "none").c_str()), BLIO_FILEKIND_NONE);
    fs::create_symlink(file, dir / "link.wav");
    EXPECT_EQ(BLIO_FileKind((dir / "link.wav").c_str()) & (0xf | BLIO_FILEKIND_LINK),
              BLIO_FILEKIND_FILE | BLIO_FILEKIND_LINK);

    EXPECT_EQ(BLIO_FileSizeOnDiskEx(file.c_str()), 10);
    EXPECT_EQ(BLIO_FileSizeOnDiskEx((dir / "none").c_str()), -1);

    BLtime modified{};
    ASSERT_TRUE(BLIO_GetFileTime(file.c_str(), &modified));
    const int64_t stamp = BLUTILS_BLtimeToTimestamp(modified);
    EXPECT_LE(std::llabs(stamp - BLUTILS_GetTimestamp()), 60000);
    EXPECT_FALSE(BLIO_GetFileTime((dir / "none").c_str(), &modified));
    EXPECT_EQ(modified.year, 0);
}

TEST_F(BlIo, NamesAreCanonicalAndCutCleanly)
{
    char out[4096];
    const std::string messy = (dir / "sub" / ".." / "sub" / "." / "x.wav").string();
    ASSERT_TRUE(BLIO_ExtractCanonicalFileName(messy.c_str(), out, sizeof out));
    EXPECT_EQ(fs::path(out), fs::canonical(dir / "sub") / "x.wav");
    EXPECT_FALSE(BLIO_ExtractCanonicalFileName(messy.c_str(), out, 8));  // does not fit
    EXPECT_STREQ(out, "");

    ASSERT_TRUE(BLIO_ExtractFileName("/music/take 1.flac", out, sizeof out));
    EXPECT_STREQ(out, "take 1.flac");
    ASSERT_TRUE(BLIO_ExtractFileName("plain.wav", out, sizeof out));
    EXPECT_STREQ(out, "plain.wav");
    ASSERT_TRUE(BLIO_ExtractFileName("/music/", out, sizeof out));
    EXPECT_STREQ(out, "");
    EXPECT_FALSE(BLIO_ExtractFileName(nullptr, out, sizeof out));
}

double squareValue(const void *, double x) { return x * x; }

BLCURVE *squareProvider(BLCURVE *record, const char *shape, const char *movement, void *userData)
{
    *static_cast<int *>(userData) += 1;
    if (shape == nullptr || std::string(shape) != "Quadratic") return nullptr;
    const int type = movement != nullptr && std::string(movement) == "Decelerating" ? 5 : 4;
    return BLCURVES_Initialize(record, type, nullptr, &squareValue);
}

TEST(BlCurves, LinearWithoutProviderAndNamedThroughIt)
{
    BLCURVE curve;
    BLCURVES_FromText(&curve, "Quadratic-Decelerating");
    EXPECT_EQ(curve.type, 0);  // no provider yet
    EXPECT_DOUBLE_EQ(BLCURVES_Evaluate(&curve, 0.25), 0.25);

    int asked = 0;
    BLCURVES_SetProvider(&squareProvider, &asked);
    BLCURVES_FromText(&curve, "Quadratic-Decelerating");
    EXPECT_EQ(curve.type, 5);
    EXPECT_EQ(asked, 1);
    EXPECT_DOUBLE_EQ(BLCURVES_Evaluate(&curve, 0.5), 0.25);
    EXPECT_DOUBLE_EQ(BLCURVES_Evaluate(&curve, 2.0), 1.0);   // clamped
    EXPECT_DOUBLE_EQ(BLCURVES_Evaluate(&curve, NAN), 0.0);
    BLCURVES_GetByName(&curve, "Unknown", nullptr);          // provider refuses: linear
    EXPECT_EQ(curve.type, 0);
    EXPECT_EQ(curve.value, nullptr);
    BLCURVES_SetProvider(nullptr, nullptr);

    // A fade-in ramp never decreases and spans 0..1.
    BLCURVES_Initialize(&curve, 4, nullptr, &squareValue);
    std::vector<float> gains(101);
    ASSERT_TRUE(BLCURVES_EvaluateRamp(&curve, gains.data(), 101));
    EXPECT_EQ(gains.front(), 0.0f);
    EXPECT_EQ(gains.back(), 1.0f);
    for (size_t i = 1; i < gains.size(); ++i) EXPECT_GE(gains[i], gains[i - 1]);
    EXPECT_FALSE(BLCURVES_EvaluateRamp(&curve, gains.data(), 0));
    EXPECT_EQ(BLCURVES_Initialize(nullptr, 1, nullptr, nullptr), nullptr);
}

TEST(BlDebug, SinkThresholdAndSeverities)
{
    LogCapture capture;
    const int32_t oldLevel = BLDEBUG_SetLogLevel(512);
    BLDEBUG_Log(512, "Size change: %lld -> %lld", 10LL, 4LL);
    BLDEBUG_Log(1024, "too detailed");
    BLDEBUG_Error("TAVODRAW_UpdateDraw: Update operation failed!");
    BLDEBUG_TerminalError("Invalid thread handle acquired!");
    BLDEBUG_SetInfoEnabled(false);
    BLLOG_Log("silenced");
    BLDEBUG_SetInfoEnabled(true);
    BLLOG_Log("TAVOPROC: dropped %d operation(s)", 3);
    BLDEBUG_SetLogLevel(oldLevel);
    BLDEBUG_Log(512, "after the threshold went back");

    const auto messages = capture.messages();
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_EQ(messages[0].severity, BLDEBUG_SEVERITY_DEBUG);
    EXPECT_EQ(messages[0].level, 512);
    EXPECT_EQ(messages[0].text, "Size change: 10 -> 4");
    EXPECT_EQ(messages[1].severity, BLDEBUG_SEVERITY_ERROR);
    EXPECT_EQ(messages[2].severity, BLDEBUG_SEVERITY_TERMINAL);
    EXPECT_EQ(messages[3].text, "TAVOPROC: dropped 3 operation(s)");
}

} // namespace
