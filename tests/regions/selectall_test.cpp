// selectall_test.cpp: "select all" follows the keyboard focus: the regions
// of the focused region's track, else the whole signal.
#include <gtest/gtest.h>

#include "../common/document_fixture.h"
#include "tavoaudio.h"
#include "tavoregions.h"
#include "tavoregionview.h"
#include "tavoselection.h"

namespace {

TEST(TavoSelectAll, FocusedRegionSelectsItsTrackInsteadOfTheAudio)
{
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 2.0);
    ASSERT_NE(doc, nullptr);
    AUDIOREGION first = TAVOAUDIO_AddRegion(doc, 1000, 2000, "a");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(TAVOAUDIO_AddRegion(doc, 4000, 5000, "b"), nullptr);
    ASSERT_NE(TAVOAUDIO_AddMarkerToSample(doc, 9000, "m"), nullptr);

    // Without focus: the whole signal, no region.
    ASSERT_EQ(TAVOAUDIO_SelectAll(doc), 1);
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 1);
    EXPECT_EQ(TAVOAUDIO_SelectionLength(doc), 16000);
    EXPECT_EQ(TAVOAUDIO_CountSelectedRegions(doc), 0);

    // With focus: the three regions of track 0, the audio selection untouched.
    ASSERT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0), 1);
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, first), 1);
    ASSERT_EQ(TAVOAUDIO_SelectAll(doc), 1);
    EXPECT_EQ(TAVOAUDIO_CountSelectedRegions(doc), 3);
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 0);
    TAVOAUDIO_Close(doc);
}

}  // namespace
