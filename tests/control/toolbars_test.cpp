// Tests of the toolbar table: slots, adders, queries, layout, curve toggles,
// lock persistence and the default toolbars.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <set>
#include <string>
#include <utility>

#include "blsettings.h"
#include "tavoconfig.h"
#include "tavoeditcontrols.h"
#include "tavotoolcontrols.h"

namespace {

class ToolbarTable : public ::testing::Test {
protected:
    void SetUp() override { TAVOCONFIG_ClearToolContols(); }
    void TearDown() override { TAVOCONFIG_ClearToolContols(); }
};

TEST_F(ToolbarTable, AddToolbarSetsDefaultsAndRefusesATakenSlot)
{
    ASSERT_TRUE(TAVOCONFIG_AddToolbar(3, TAVOCONFIG_TOOLBAR_KIND_SELECTION, 0, TAVOCONFIG_ALIGN_TOP));
    ASSERT_TRUE(TAVOCONFIG_AddToolbar(4, TAVOCONFIG_TOOLBAR_KIND_VIEW, 1, 0));
    EXPECT_EQ(TAVOCONFIG_ToolbarKind(3), uint32_t(TAVOCONFIG_TOOLBAR_KIND_SELECTION));
    EXPECT_EQ(TAVOCONFIG_ToolbarControlWidth(3), 21);
    EXPECT_EQ(TAVOCONFIG_ToolbarControlHeight(3), 21);
    int32_t t = 0, r = 0, b = 0, l = 0;
    ASSERT_TRUE(TAVOCONFIG_ToolbarPadding(3, &t, &r, &b, &l));
    EXPECT_EQ((std::array<int32_t, 4>{t, r, b, l}), (std::array<int32_t, 4>{3, 4, 2, 4}));
    ASSERT_TRUE(TAVOCONFIG_ToolbarMargin(3, &t, &r, &b, &l));
    EXPECT_EQ((std::array<int32_t, 4>{t, r, b, l}), (std::array<int32_t, 4>{8, 8, 8, 8}));
    EXPECT_EQ(TAVOCONFIG_ToolbarControlsDistance(3), 6);
    EXPECT_EQ(TAVOCONFIG_ToolbarControlsDistance(4), 3);

    // A taken slot keeps its toolbar untouched.
    TAVOCONFIG_SetToolbarLocked(3, true);
    EXPECT_FALSE(TAVOCONFIG_AddToolbar(3, TAVOCONFIG_TOOLBAR_KIND_VIEW, 1, 0));
    EXPECT_EQ(TAVOCONFIG_ToolbarKind(3), uint32_t(TAVOCONFIG_TOOLBAR_KIND_SELECTION));
    EXPECT_EQ(TAVOCONFIG_ToolbarAlignment(3), TAVOCONFIG_ALIGN_TOP);
    EXPECT_TRUE(TAVOCONFIG_ToolbarLocked(3));
    // Kind 0 would be indistinguishable from an empty slot.
    EXPECT_FALSE(TAVOCONFIG_AddToolbar(5, 0, 0, 0));
    EXPECT_EQ(TAVOCONFIG_ToolbarKind(5), 0u);
}

TEST_F(ToolbarTable, RemoveToolbarKeepsALiveToolbarAndAcceptsAnEmptySlot)
{
    ASSERT_TRUE(TAVOCONFIG_AddToolbar(7, 1, 0, 5));
    ASSERT_TRUE(TAVOCONFIG_AddToolbarButtonControl(7, EDITCONTROLS_FILE_NEW));
    EXPECT_FALSE(TAVOCONFIG_RemoveToolbar(7));
    EXPECT_EQ(TAVOCONFIG_ToolbarKind(7), 1u);
    EXPECT_EQ(TAVOCONFIG_ToolbarAlignment(7), 5);
    EXPECT_EQ(TAVOCONFIG_NumToolbarControls(7), 1);
    EXPECT_TRUE(TAVOCONFIG_RemoveToolbar(8));
    EXPECT_EQ(TAVOCONFIG_ToolbarKind(8), 0u);
}

TEST_F(ToolbarTable, SettersNeedAToolbarAndFlagsAreIndependent)
{
    EXPECT_FALSE(TAVOCONFIG_SetToolbarName(2, "x"));
    EXPECT_FALSE(TAVOCONFIG_SetToolbarLocked(2, true));
    EXPECT_EQ(TAVOCONFIG_ToolbarName(2), nullptr);
    ASSERT_TRUE(TAVOCONFIG_AddToolbar(2, 1, 0, 0));
    EXPECT_TRUE(TAVOCONFIG_SetToolbarName(2, "mine"));
    EXPECT_STREQ(TAVOCONFIG_ToolbarName(2), "mine");

    TAVOCONFIG_SetToolbarFillBackground(2, true);
    TAVOCONFIG_SetToolbarSaveOverlay(2, true);
    TAVOCONFIG_SetToolbarPreferMinimalSize(2, true);
    TAVOCONFIG_SetToolbarSaveOverlay(2, false);
    EXPECT_TRUE(TAVOCONFIG_ToolbarFillBackground(2));
    EXPECT_FALSE(TAVOCONFIG_ToolbarAllowPartial(2));
    EXPECT_FALSE(TAVOCONFIG_ToolbarSaveOverlay(2));
    EXPECT_FALSE(TAVOCONFIG_ToolbarLocked(2));
    EXPECT_TRUE(TAVOCONFIG_ToolbarPreferMinimalSize(2));

    ASSERT_TRUE(TAVOCONFIG_SetToolbarMargin(2, 1, 2, 3, 4));
    EXPECT_EQ(TAVOCONFIG_ToolbarMarginTop(2), 1);
    EXPECT_EQ(TAVOCONFIG_ToolbarMarginRight(2), 2);
    EXPECT_EQ(TAVOCONFIG_ToolbarMarginBottom(2), 3);
    EXPECT_EQ(TAVOCONFIG_ToolbarMarginLeft(2), 4);
    EXPECT_FALSE(TAVOCONFIG_AddTooolbarLockerProxy(2, 22));
    EXPECT_TRUE(TAVOCONFIG_AddTooolbarLockerProxy(2, 9));
    EXPECT_EQ(TAVOCONFIG_ToolbarLockerProxy(2), 9);
}

TEST_F(ToolbarTable, ReaddingAControlMovesItToTheEnd)
{
    ASSERT_TRUE(TAVOCONFIG_AddToolbar(3, TAVOCONFIG_TOOLBAR_KIND_SELECTION, 0, 0));
    ASSERT_TRUE(TAVOCONFIG_AddToolbarButtonControl(3, 34));
    ASSERT_TRUE(TAVOCONFIG_AddToolbarButtonControl(3, EDITCONTROLS_SELECTION_PLAY));
    ASSERT_TRUE(TAVOCONFIG_AddToolbarButtonControl(3, EDITCONTROLS_SELECTION_CLEAR));
    ASSERT_TRUE(TAVOCONFIG_AddToolbarButtonControl(3, 34));
    ASSERT_EQ(TAVOCONFIG_NumToolbarControls(3), 3);
    EXPECT_EQ(TAVOCONFIG_ToolbarControl(3, 0), EDITCONTROLS_SELECTION_PLAY);
    EXPECT_EQ(TAVOCONFIG_ToolbarControl(3, 1), EDITCONTROLS_SELECTION_CLEAR);
    EXPECT_EQ(TAVOCONFIG_ToolbarControl(3, 2), 34);
    EXPECT_EQ(TAVOCONFIG_ToolbarControlIndex(3, 34), 2);

    // Spacers are never merged.
    ASSERT_TRUE(TAVOCONFIG_AddToolbarSpace(3, 4));
    ASSERT_TRUE(TAVOCONFIG_AddToolbarSpace(3, 4));
    EXPECT_EQ(TAVOCONFIG_NumToolbarControls(3), 5);

    ASSERT_TRUE(TAVOCONFIG_RemoveToolbarControl(3, EDITCONTROLS_SELECTION_CLEAR));
    EXPECT_FALSE(TAVOCONFIG_RemoveToolbarControl(3, EDITCONTROLS_SELECTION_CLEAR));
    EXPECT_EQ(TAVOCONFIG_ToolbarControl(3, 1), 34);
    EXPECT_EQ(TAVOCONFIG_NumToolbarControls(3), 4);
    EXPECT_EQ(TAVOCONFIG_ToolbarControl(3, 4), -1);
}

TEST_F(ToolbarTable, AddersRefuseBadEmptyAndFullToolbars)
{
    EXPECT_FALSE(TAVOCONFIG_AddToolbarButtonControl(6, EDITCONTROLS_FILE_NEW));  // empty slot
    EXPECT_FALSE(TAVOCONFIG_AddToolbarButtonControl(22, EDITCONTROLS_FILE_NEW));
    EXPECT_FALSE(TAVOCONFIG_AddToolbarSpace(-1, 3));
    ASSERT_TRUE(TAVOCONFIG_AddToolbar(6, 1, 0, 0));
    for (int i = 0; i < TAVOCONFIG_MAX_TOOLBAR_CONTROLS; ++i)
        ASSERT_TRUE(TAVOCONFIG_AddToolbarSpace(6, 1)) << "control " << i;
    EXPECT_EQ(TAVOCONFIG_NumToolbarControls(6), 109);
    EXPECT_FALSE(TAVOCONFIG_AddToolbarButtonControl(6, EDITCONTROLS_FILE_NEW));
    EXPECT_FALSE(TAVOCONFIG_AddToolbarFlexibleSpace(6, 1));
    EXPECT_EQ(TAVOCONFIG_NumToolbarControls(6), 109);
    EXPECT_EQ(TAVOCONFIG_ToolbarControlIndex(6, EDITCONTROLS_FILE_NEW), -1);
}

TEST_F(ToolbarTable, ControlsDescribeThemselves)
{
    ASSERT_TRUE(TAVOCONFIG_AddToolbar(9, 1, 0, TAVOCONFIG_ALIGN_BOTTOM));
    TAVOCONFIG_SetToolbarControlSize(9, 24, 22);
    TAVOCONFIG_AddToolbarTimedButtonControl(9, EDITCONTROLS_ZOOM_IN);
    TAVOCONFIG_AddToolbarSliderControl(9, EDITCONTROLS_GAIN_SLIDER, 120);
    TAVOCONFIG_AddToolbarFlexibleSpace(9, 8);
    TAVOCONFIG_AddToolbarTextLabelControl(9, EDITCONTROLS_GAIN_LABEL, "+0.00 dB", 64);
    TAVOCONFIG_AddToolbarLockerControl(9);

    EXPECT_EQ(TAVOCONFIG_ToolControlType(9, 0), TAVOCONFIG_CONTROL_TIMED_BUTTON);
    EXPECT_EQ(TAVOCONFIG_ToolControlAction(9, 0), TAVOCONFIG_ACTION_REPEAT);
    EXPECT_EQ(TAVOCONFIG_ToolControlModel(9, 0), TAVOCONFIG_MODEL_ICON);
    EXPECT_STREQ(TAVOCONFIG_ToolControlLabel(9, 0), "Zoom In");
    EXPECT_EQ(TAVOCONFIG_ToolControlWidth(9, 0), 24);
    EXPECT_EQ(TAVOCONFIG_ToolControlHeight(9, 0), 22);
    EXPECT_EQ(TAVOCONFIG_ToolControlAlignment(9, 0), TAVOCONFIG_ALIGN_BOTTOM);
    EXPECT_DOUBLE_EQ(TAVOCONFIG_ToolControlOpacity(9, 0), 1.0);

    EXPECT_EQ(TAVOCONFIG_ToolControlAction(9, 1), TAVOCONFIG_ACTION_SLIDE);
    EXPECT_EQ(TAVOCONFIG_ToolControlWidth(9, 1), 120);

    EXPECT_TRUE(TAVOCONFIG_ToolControlIsSpacer(9, 2));
    EXPECT_EQ(TAVOCONFIG_ToolbarControl(9, 2), EDITCONTROLS_SPACER);
    EXPECT_EQ(TAVOCONFIG_ToolControlMinWidth(9, 2), 8);
    EXPECT_EQ(TAVOCONFIG_ToolControlModel(9, 2), TAVOCONFIG_MODEL_NONE);
    EXPECT_FALSE(TAVOCONFIG_ToolControlIsSpacer(9, 3));

    EXPECT_STREQ(TAVOCONFIG_ToolControlLabel(9, 3), "+0.00 dB");
    EXPECT_EQ(TAVOCONFIG_ToolControlModel(9, 3), TAVOCONFIG_MODEL_TEXT);
    EXPECT_EQ(TAVOCONFIG_ToolbarControl(9, 4), EDITCONTROLS_TOOLBAR_LOCKER);
    EXPECT_EQ(TAVOCONFIG_ToolControlAction(9, 4), TAVOCONFIG_ACTION_TOGGLE);

    // Rows share one height: changing it reaches the controls already there.
    TAVOCONFIG_SetToolbarControlsHeight(9, 30);
    EXPECT_EQ(TAVOCONFIG_ToolControlHeight(9, 1), 30);
    EXPECT_EQ(TAVOCONFIG_ToolControlHeight(9, 2), 0);  // spacers have no height

    EXPECT_EQ(TAVOCONFIG_ToolControlType(9, 5), 0);
    EXPECT_EQ(TAVOCONFIG_ToolControlLabel(9, -1), nullptr);
}

TEST_F(ToolbarTable, LayoutSumsControlsAlongTheOrientation)
{
    ASSERT_TRUE(TAVOCONFIG_AddToolbar(1, 1, TAVOCONFIG_TOOLBAR_HORIZONTAL, 0));
    EXPECT_EQ(TAVOCONFIG_ToolbarWidthEx(1), 4 + 4);  // padding only
    TAVOCONFIG_AddToolbarButtonControl(1, EDITCONTROLS_EDIT_UNDO);       // 21
    TAVOCONFIG_AddToolbarSliderControl(1, EDITCONTROLS_GAIN_SLIDER, 80);  // 80
    TAVOCONFIG_AddToolbarSpace(1, 10);
    EXPECT_EQ(TAVOCONFIG_ToolbarWidthEx(1), 4 + 21 + 80 + 10 + 2 * 6 + 4);
    EXPECT_EQ(TAVOCONFIG_ToolbarHeightEx(1), 3 + 21 + 2);

    // A column widens to its widest control, grip and handle excepted.
    ASSERT_TRUE(TAVOCONFIG_AddToolbar(2, 1, TAVOCONFIG_TOOLBAR_VERTICAL, 0));
    TAVOCONFIG_AddToolbarTextLabelControl(2, EDITCONTROLS_TOOLBAR_HANDLE, "handle", 90);
    EXPECT_EQ(TAVOCONFIG_ToolbarControlWidth(2), 21);
    TAVOCONFIG_AddToolbarTextToggleableButtonControl(2, EDITCONTROLS_CURVE_SHAPE_BACK, "Back", 50);
    TAVOCONFIG_AddToolbarTextToggleableButtonControl(2, EDITCONTROLS_CURVE_SHAPE_CUBIC, "Cubic", 40);
    EXPECT_EQ(TAVOCONFIG_ToolbarControlWidth(2), 50);
    TAVOCONFIG_AddToolbarFlexibleSpace(2, 8);
    EXPECT_EQ(TAVOCONFIG_ToolbarWidthEx(2), 4 + 50 + 4);
    EXPECT_EQ(TAVOCONFIG_ToolbarHeightEx(2), 3 + 3 * 21 + 8 + 3 * 3 + 2);
    EXPECT_EQ(TAVOCONFIG_ToolbarWidthEx(3), 0);
}

TEST(ToolbarCurveToggles, ShapesAndMovementsRoundTrip)
{
    std::set<int32_t> used;
    for (int32_t shape = 0; shape < 14; ++shape) {
        const int32_t control = TAVOCONFIG_ControlForCurveShape(shape);
        EXPECT_EQ(TAVOCONFIG_CurveShapeOfControl(control), shape);
        EXPECT_EQ(TAVOCONFIG_CurveMovementOfControl(control), -1);
        used.insert(control);
    }
    for (int32_t movement = 0; movement < 4; ++movement) {
        const int32_t control = TAVOCONFIG_ControlForCurveMovement(movement);
        EXPECT_EQ(TAVOCONFIG_CurveMovementOfControl(control), movement);
        EXPECT_EQ(TAVOCONFIG_CurveShapeOfControl(control), -1);
        used.insert(control);
    }
    EXPECT_EQ(used.size(), 18u);  // no two toggles share an identifier
    EXPECT_EQ(TAVOCONFIG_ControlForCurveShape(0), 94);
    EXPECT_EQ(TAVOCONFIG_ControlForCurveMovement(0), 105);
    EXPECT_EQ(TAVOCONFIG_ControlForCurveShape(8), EDITCONTROLS_CURVE_SHAPE_ELASTIC);
    EXPECT_EQ(TAVOCONFIG_CurveShapeOfControl(93), -1);
    EXPECT_EQ(TAVOCONFIG_CurveShapeOfControl(EDITCONTROLS_COUNT), -1);
    EXPECT_EQ(TAVOCONFIG_ControlForCurveShape(14), 0);
    EXPECT_EQ(TAVOCONFIG_ControlForCurveMovement(-1), 0);
}

using ToolbarTrap = ToolbarTable;

TEST_F(ToolbarTrap, SlotAboveTheTableStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(TAVOCONFIG_AddToolbar(22, 1, 0, 0), "TAVOCONFIG_AddToolbar: toolbar slot 22");
    EXPECT_DEATH(TAVOCONFIG_RemoveToolbar(40), "TAVOCONFIG_RemoveToolbar: toolbar slot 40");
    EXPECT_DEATH(TAVOCONFIG_SetToolbarLocked(22, true), "TAVOCONFIG_SetToolbarLocked: toolbar slot 22");
    EXPECT_DEATH(TAVOCONFIG_SetToolbarPadding(-1, 0, 0, 0, 0), "TAVOCONFIG_SetToolbarPadding: toolbar slot -1");
}

// ---- lock persistence (global store, file in the build folder) ---------------

class ToolbarLocks : public ::testing::Test {
protected:
    void SetUp() override { TAVOTOOLCONTROLS_Initialize(); }
    void TearDown() override { TAVOTOOLCONTROLS_Finalize(); }
};

TEST_F(ToolbarLocks, NullPrefixSavesUnderLibtavo)
{
    TAVOCONFIG_SetToolbarLocked(5, true);
    TAVOCONFIG_SetToolbarLocked(6, false);
    ASSERT_TRUE(TAVOCONFIG_SaveToolbarConfig(nullptr));
    EXPECT_TRUE(BLSETTINGS_ExistsEx(nullptr, "libtavo.toolbar.zoom_tools.locked"));
    EXPECT_TRUE(BLSETTINGS_GetBoolEx(nullptr, "libtavo.toolbar.zoom_tools.locked=[0]"));
    EXPECT_FALSE(BLSETTINGS_GetBoolEx(nullptr, "libtavo.toolbar.file_tools.locked=[1]"));
    // Toolbars without a locker are not persisted.
    EXPECT_FALSE(BLSETTINGS_ExistsEx(nullptr, "libtavo.toolbar.scale_selector.locked"));
}

TEST_F(ToolbarLocks, SaveFollowsTheProxyChain)
{
    TAVOCONFIG_SetToolbarLocked(18, true);
    TAVOCONFIG_SetToolbarLocked(19, false);
    TAVOCONFIG_AddTooolbarLockerProxy(20, 19);  // 20 -> 19 -> 18
    ASSERT_TRUE(TAVOCONFIG_SaveToolbarConfig("tbchain"));
    EXPECT_TRUE(BLSETTINGS_GetBoolEx(nullptr, "tbchain.toolbar.crossfade_bottom_tools.locked=[0]"));
    EXPECT_TRUE(BLSETTINGS_GetBoolEx(nullptr, "tbchain.toolbar.crossfade_fadeout_curves.locked=[0]"));
    EXPECT_TRUE(BLSETTINGS_GetBoolEx(nullptr, "tbchain.toolbar.crossfade_fadein_curves.locked=[0]"));

    // A chain ending at an empty slot, or looping, writes 0.
    TAVOCONFIG_ClearToolContols();
    TAVOCONFIG_AddToolbar(9, 1, 0, 0);
    TAVOCONFIG_SetToolbarLocked(9, true);
    TAVOCONFIG_AddToolbarLockerControl(9);
    TAVOCONFIG_AddTooolbarLockerProxy(9, 10);  // slot 10 is empty
    TAVOCONFIG_AddToolbar(7, 1, 0, 0);
    TAVOCONFIG_AddToolbarLockerControl(7);
    TAVOCONFIG_SetToolbarLocked(7, true);
    TAVOCONFIG_AddTooolbarLockerProxy(7, 7);  // loops on itself
    ASSERT_TRUE(TAVOCONFIG_SaveToolbarConfig("tbbroken"));
    EXPECT_TRUE(BLSETTINGS_ExistsEx(nullptr, "tbbroken.toolbar.toolbar_09.locked"));
    EXPECT_FALSE(BLSETTINGS_GetBoolEx(nullptr, "tbbroken.toolbar.toolbar_09.locked=[1]"));
    EXPECT_FALSE(BLSETTINGS_GetBoolEx(nullptr, "tbbroken.toolbar.toolbar_07.locked=[1]"));
    // The settings name was given to the unnamed toolbar on first use.
    EXPECT_STREQ(TAVOCONFIG_ToolbarName(9), "toolbar_09");
}

TEST_F(ToolbarLocks, LoadSetsAndClearsTheLock)
{
    ASSERT_TRUE(BLSETTINGS_ChangeEx(nullptr, "tbload.toolbar.gain_tools.locked=1"));
    ASSERT_TRUE(BLSETTINGS_ChangeEx(nullptr, "tbload.toolbar.edit_tools.locked=0"));
    TAVOCONFIG_SetToolbarLocked(8, true);
    TAVOCONFIG_SetToolbarLocked(7, true);  // no stored key: unlocked
    TAVOCONFIG_SetToolbarLocked(14, true);  // no locker: left alone
    ASSERT_TRUE(TAVOCONFIG_LoadToolbarConfig("tbload"));
    EXPECT_TRUE(TAVOCONFIG_ToolbarLocked(9));
    EXPECT_FALSE(TAVOCONFIG_ToolbarLocked(8));
    EXPECT_FALSE(TAVOCONFIG_ToolbarLocked(7));
    EXPECT_TRUE(TAVOCONFIG_ToolbarLocked(14));

    // A save then a load under the same prefix gives the locks back.
    TAVOCONFIG_SetToolbarLocked(13, true);
    ASSERT_TRUE(TAVOCONFIG_SaveToolbarConfig("tbload"));
    TAVOCONFIG_SetToolbarLocked(13, false);
    TAVOCONFIG_SetToolbarLocked(9, false);
    ASSERT_TRUE(TAVOCONFIG_LoadToolbarConfig("tbload"));
    EXPECT_TRUE(TAVOCONFIG_ToolbarLocked(13));
    EXPECT_TRUE(TAVOCONFIG_ToolbarLocked(9));
}

// ---- default toolbars ----------------------------------------------------------

class ToolbarDefaults : public ToolbarLocks {
protected:
    // Index of the control labelled `label`, -1 when absent.
    static int32_t findLabel(int32_t slot, const char *label)
    {
        for (int32_t i = 0; i < TAVOCONFIG_NumToolbarControls(slot); ++i) {
            const char *l = TAVOCONFIG_ToolControlLabel(slot, i);
            if (l && std::strcmp(l, label) == 0) return i;
        }
        return -1;
    }
};

TEST_F(ToolbarDefaults, SlotsOneToTwentyOneAreNamed)
{
    static const char *const kNames[] = {
        "selection_drag_tools", "selection_duration_tools", "selection_top_tools", "selection_bottom_tools",
        "zoom_tools",           "file_tools",               "view_tools",          "edit_tools",
        "gain_tools",           "visual_tools",             "spectrogram_tools",   "waveform_tools",
        "levelguide_tools",     "scale_selector",           "horizontal_scale_kind", "vertical_scale_kind",
        "spectrogam_scale_kind", "crossfade_top_tools",     "crossfade_bottom_tools", "crossfade_fadeout_curves",
        "crossfade_fadein_curves"};
    EXPECT_EQ(TAVOCONFIG_ToolbarKind(0), 0u);
    for (int32_t slot = 1; slot <= 21; ++slot) {
        SCOPED_TRACE(slot);
        EXPECT_NE(TAVOCONFIG_ToolbarKind(slot), 0u);
        ASSERT_NE(TAVOCONFIG_ToolbarName(slot), nullptr);
        EXPECT_STREQ(TAVOCONFIG_ToolbarName(slot), kNames[slot - 1]);
        EXPECT_GT(TAVOCONFIG_NumToolbarControls(slot), 0);
    }
    for (int32_t slot = 1; slot <= 4; ++slot)
        EXPECT_EQ(TAVOCONFIG_ToolbarKind(slot), uint32_t(TAVOCONFIG_TOOLBAR_KIND_SELECTION));
}

TEST_F(ToolbarDefaults, EveryControlCanBeDrawn)
{
    for (int32_t slot = 1; slot <= 21; ++slot) {
        std::set<int32_t> seen;
        for (int32_t i = 0; i < TAVOCONFIG_NumToolbarControls(slot); ++i) {
            SCOPED_TRACE(std::to_string(slot) + "/" + std::to_string(i));
            const int32_t id = TAVOCONFIG_ToolbarControl(slot, i);
            ASSERT_GE(id, 0);
            ASSERT_LT(id, EDITCONTROLS_COUNT);
            EXPECT_NE(TAVOCONFIG_ToolControlType(slot, i), 0);
            EXPECT_GT(TAVOCONFIG_ToolControlWidth(slot, i), 0);
            if (TAVOCONFIG_ToolControlIsSpacer(slot, i)) continue;
            EXPECT_TRUE(seen.insert(id).second) << "identifier " << id << " twice";
            EXPECT_GT(TAVOCONFIG_ToolControlHeight(slot, i), 0);
            ASSERT_NE(TAVOCONFIG_ToolControlLabel(slot, i), nullptr);
            EXPECT_GT(std::strlen(TAVOCONFIG_ToolControlLabel(slot, i)), 0u);
        }
        EXPECT_GT(TAVOCONFIG_ToolbarWidthEx(slot), 0);
    }
}

TEST_F(ToolbarDefaults, SampleControls)
{
    // Scale selector text toggles with their widths.
    const std::pair<const char *, int32_t> scale[] = {{"A", 23}, {"B", 23}, {"TIMECODE", 68}, {"CD TIME", 60}};
    for (const auto &[label, width] : scale) {
        const int32_t i = findLabel(14, label);
        ASSERT_GE(i, 0) << label;
        EXPECT_EQ(TAVOCONFIG_ToolControlType(14, i), TAVOCONFIG_CONTROL_TEXT_TOGGLEABLE_BUTTON);
        EXPECT_EQ(TAVOCONFIG_ToolControlWidth(14, i), width) << label;
    }
    for (const char *label : {"beats", "smpte"}) {
        const int32_t i = findLabel(15, label);
        ASSERT_GE(i, 0) << label;
        EXPECT_EQ(TAVOCONFIG_ToolControlType(15, i), TAVOCONFIG_CONTROL_TEXT_TOGGLEABLE_BUTTON);
        EXPECT_EQ(TAVOCONFIG_ToolControlWidth(15, i), 44);
    }
    // Zoom starts with its timed button.
    EXPECT_EQ(TAVOCONFIG_ToolbarControl(5, 0), 17);
    EXPECT_EQ(TAVOCONFIG_ToolControlType(5, 0), TAVOCONFIG_CONTROL_TIMED_BUTTON);
}

TEST_F(ToolbarDefaults, CurveToolbarsListShapesThenMovements)
{
    static const char *const kShapes[] = {"Linear", "Quadr", "Cubic", "Quart",  "Quint", "Sine", "Expo",
                                          "Circ",   "Elast", "Back",  "Bounce", "Curve", "Sine", "Cosine"};
    static const char *const kMovements[] = {"Accel", "Decel", "Acc-Dec", "Dec-Acc"};
    for (int32_t slot : {20, 21}) {
        SCOPED_TRACE(slot);
        int32_t i = 0;
        for (int32_t shape = 0; shape < 14; ++shape, ++i) {
            EXPECT_EQ(TAVOCONFIG_CurveShapeOfControl(TAVOCONFIG_ToolbarControl(slot, i)), shape);
            EXPECT_STREQ(TAVOCONFIG_ToolControlLabel(slot, i), kShapes[shape]);
            EXPECT_EQ(TAVOCONFIG_ToolControlWidth(slot, i), 50);
            EXPECT_EQ(TAVOCONFIG_ToolControlType(slot, i), TAVOCONFIG_CONTROL_TEXT_TOGGLEABLE_BUTTON);
        }
        EXPECT_EQ(TAVOCONFIG_ToolControlType(slot, i), TAVOCONFIG_CONTROL_FLEXIBLE_SPACE);
        EXPECT_EQ(TAVOCONFIG_ToolControlMinWidth(slot, i), 8);
        ++i;
        for (int32_t movement = 0; movement < 4; ++movement, ++i) {
            EXPECT_EQ(TAVOCONFIG_CurveMovementOfControl(TAVOCONFIG_ToolbarControl(slot, i)), movement);
            EXPECT_STREQ(TAVOCONFIG_ToolControlLabel(slot, i), kMovements[movement]);
            EXPECT_EQ(TAVOCONFIG_ToolControlWidth(slot, i), 50);
        }
    }
}

TEST_F(ToolbarDefaults, ResetRestoresAndFinalizeEmpties)
{
    TAVOCONFIG_RemoveToolbarControl(14, EDITCONTROLS_SCALE_A);
    TAVOCONFIG_SetToolbarName(14, "renamed");
    ASSERT_TRUE(TAVOCONFIG_ResetToolContols());
    EXPECT_STREQ(TAVOCONFIG_ToolbarName(14), "scale_selector");
    EXPECT_GE(findLabel(14, "A"), 0);

    ASSERT_TRUE(TAVOTOOLCONTROLS_Finalize());
    for (int32_t slot = 0; slot < TAVOCONFIG_MAX_TOOLBARS; ++slot) {
        EXPECT_EQ(TAVOCONFIG_ToolbarKind(slot), 0u);
        EXPECT_EQ(TAVOCONFIG_ToolbarName(slot), nullptr);
    }
}

}  // namespace
