// Creating regions and markers: track rules, the file-format question, the
// undo flags and the host creators.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "../common/document_fixture.h"
#include "audioregion.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoregions.h"
#include "tavostate.h"
#include "tavoundo.h"
#include "tavozoom.h"
#include "../../view/state_p.h"

namespace {

constexpr int32_t kRate = 1000;
constexpr uint32_t kFormatReadOnly = 0x100;   // the file-state flag "format no longer writable"

struct Answers {
    std::map<int32_t, int32_t> answer;
    std::map<int32_t, int> count;
    static int32_t handle(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<Answers *>(user);
        self->count[event->kind]++;
        const auto it = self->answer.find(event->kind);
        return it != self->answer.end() ? it->second : 1;
    }
};

class RegionCreate : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(kRate, 2, 10.0);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    Answers host;

    void SetUp() override
    {
        ASSERT_NE(doc, nullptr);
        ASSERT_TRUE(TAVOAUDIO_SetFileFormat(doc, "WAV"));
        ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, &Answers::handle, &host));
    }
    ~RegionCreate() override { TAVOAUDIO_Close(doc); }
    uint32_t fileFlags() { return TAVOAUDIO_GetState(doc)->fileFlags; }
};

TEST_F(RegionCreate, UnsupportedFormatAsksHostAndMarksFormat)
{
    // RAW keeps neither regions nor markers but can be written.
    ASSERT_TRUE(TAVOAUDIO_SetFileFormat(doc, "RAW"));
    ASSERT_FALSE(AUDIOSIGNAL_FormatSupportRegion(signal, "RAW", AUDIOSIGNAL_SUPPORT_REGIONS));
    ASSERT_FALSE(AUDIOSIGNAL_IsReadOnly(signal));

    ASSERT_EQ(fileFlags() & kFormatReadOnly, 0u);
    host.answer[TAVOAUDIO_FORMAT_DONT_SUPPORT_REGIONS] = 0;
    EXPECT_EQ(TAVOAUDIO_AddRegion(doc, 100, 200, "r"), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal, -1, 0), 0);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);

    host.answer[TAVOAUDIO_FORMAT_DONT_SUPPORT_MARKERS] = 0;
    EXPECT_EQ(TAVOAUDIO_AddMarkerToSample(doc, 100, "m"), nullptr);
    EXPECT_EQ(host.count[TAVOAUDIO_FORMAT_DONT_SUPPORT_MARKERS], 1);

    host.answer.clear();
    EXPECT_NE(TAVOAUDIO_AddRegion(doc, 100, 200, "r"), nullptr);
    // The document can no longer be saved in its format.
    EXPECT_NE(fileFlags() & kFormatReadOnly, 0u);
    // Asked only while the format still counted as writable.
    EXPECT_NE(TAVOAUDIO_AddMarkerToSample(doc, 300, "m"), nullptr);
    EXPECT_EQ(host.count[TAVOAUDIO_FORMAT_DONT_SUPPORT_MARKERS], 1);
    EXPECT_EQ(host.count[TAVOAUDIO_FORMAT_DONT_SUPPORT_REGIONS], 2);
}

TEST_F(RegionCreate, TrackRulesAndBounds)
{
    AUDIOCUSTOMTRACK track = AUDIOSIGNAL_AddCustomTrack(signal, "words", "Words", nullptr);
    ASSERT_NE(track, nullptr);
    AUDIOCUSTOMTRACK_SetReadOnly(track, true);
    EXPECT_EQ(TAVOAUDIO_CreateRegionEx2(doc, "words", 10, 20, nullptr, "w", nullptr, 0, nullptr), nullptr);
    AUDIOREGION forced = TAVOAUDIO_CreateRegionEx2(doc, "words", 10, 20, nullptr, "w", nullptr,
                                                   TAVOREGION_CREATE_ON_READ_ONLY, nullptr);
    ASSERT_NE(forced, nullptr);
    EXPECT_EQ(AUDIOREGION_GetTrackIndex(forced), AUDIOSIGNAL_FindRegionTrackIndex(signal, "words"));

    AUDIOCUSTOMTRACK_SetReadOnly(track, false);
    AUDIOCUSTOMTRACK_SetTemporary(track, true);
    AUDIOREGION temp = TAVOAUDIO_CreateRegionEx2(doc, "words", 30, 40, nullptr, "t", nullptr, 0, nullptr);
    ASSERT_NE(temp, nullptr);
    EXPECT_TRUE(AUDIOREGION_IsTemporary(temp));

    EXPECT_EQ(TAVOAUDIO_CreateRegionEx2(doc, "nosuchtrack", 10, 20, nullptr, "x", nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(TAVOAUDIO_AddRegion(doc, 20, 10, "x"), nullptr);
    EXPECT_EQ(TAVOAUDIO_AddRegion(doc, -1, 10, "x"), nullptr);
    EXPECT_EQ(TAVOAUDIO_AddRegion(doc, 9000, 10001, "x"), nullptr);
    EXPECT_NE(TAVOAUDIO_AddRegion(doc, 9000, 10000, "x"), nullptr);   // up to the last frame's end
    EXPECT_EQ(TAVOAUDIO_AddLoop(doc, 50, 50), nullptr);
    EXPECT_EQ(TAVOAUDIO_AddMarkerToPosition(doc, -1.0, "x"), nullptr);
}

TEST_F(RegionCreate, KindNamesAndUndoLabels)
{
    AUDIOREGION unnamed = TAVOAUDIO_AddRegion(doc, 100, 200, nullptr);
    ASSERT_NE(unnamed, nullptr);
    EXPECT_STREQ(AUDIOREGION_GetLabel(unnamed), "Region 1");
    char label[TAVOUNDO_LABEL_SIZE];
    ASSERT_TRUE(TAVOAUDIO_NextUndoLabel(doc, label, sizeof(label)));
    EXPECT_STREQ(label, "Add Region");

    AUDIOREGION raw = TAVOAUDIO_CreateRegionEx2(doc, nullptr, 300, 400, nullptr, nullptr, nullptr, 0, nullptr);
    ASSERT_NE(raw, nullptr);
    EXPECT_STREQ(AUDIOREGION_GetLabel(raw), "");

    ASSERT_TRUE(TAVOAUDIO_SetCursorPosition(doc, 2500));
    AUDIOREGION atCursor = TAVOAUDIO_AddMarker(doc, nullptr);
    ASSERT_NE(atCursor, nullptr);
    EXPECT_TRUE(AUDIOREGION_IsMarker(atCursor));
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(atCursor), 2.5);
    EXPECT_STREQ(AUDIOREGION_GetLabel(atCursor), "Marker 1");
    ASSERT_TRUE(TAVOAUDIO_NextUndoLabel(doc, label, sizeof(label)));
    EXPECT_STREQ(label, "Add Marker");

    AUDIOREGION loop = TAVOAUDIO_CreateLoopEx(doc, 500, 700, "L");
    ASSERT_NE(loop, nullptr);
    EXPECT_TRUE(AUDIOREGION_IsLoop(loop));
    ASSERT_TRUE(TAVOAUDIO_NextUndoLabel(doc, label, sizeof(label)));
    EXPECT_STREQ(label, "Add Region");
}

TEST_F(RegionCreate, UndoFlagsJoinOrSkipTheStep)
{
    ASSERT_NE(TAVOAUDIO_AddRegion(doc, 100, 200, "first"), nullptr);
    ASSERT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    ASSERT_NE(TAVOAUDIO_CreateRegionEx2(doc, nullptr, 300, 400, nullptr, "joined", nullptr,
                                        TAVOREGION_CREATE_JOIN_UNDO, nullptr),
              nullptr);
    ASSERT_NE(TAVOAUDIO_CreateRegionEx2(doc, nullptr, 500, 600, nullptr, "silent", nullptr,
                                        TAVOREGION_CREATE_NO_UNDO, nullptr),
              nullptr);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal, 0, 0), 3);
    // One undo takes back the step and what joined it; the silent one stays.
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_EQ(AUDIOSIGNAL_CountRegions(signal, 0, 0), 1);
    EXPECT_STREQ(AUDIOREGION_GetLabel(AUDIOSIGNAL_FindFirstRegion(signal, 0, 0)), "silent");
}

}  // namespace
