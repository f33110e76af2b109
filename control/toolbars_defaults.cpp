// The default toolbars of slots 1 to 21, built through the public adders so
// that they obey the same rules as a host's own toolbars.
#include "tavoconfig.h"
#include "tavoeditcontrols.h"

#include <initializer_list>
#include <iterator>
#include <utility>

namespace {

constexpr int32_t kTimeFieldWidth = 80;    // "00:00:00.000" in the control font
constexpr int32_t kGainSliderWidth = 120;  // 0.5 dB per pixel over -30..+30 dB
constexpr int32_t kSmallSliderWidth = 80;
constexpr int32_t kGroupGap = 6;           // separates groups of related buttons
constexpr int32_t kCurveToggleWidth = 50;  // the longest short name, "Acc-Dec"
constexpr int32_t kCurveGroupGap = 8;      // between the shapes and the movements

// Short names of the fade-curve catalogue, in shape and movement order.
constexpr const char *kShapeLabels[] = {"Linear", "Quadr", "Cubic", "Quart",  "Quint", "Sine",  "Expo",
                                        "Circ",   "Elast", "Back",  "Bounce", "Curve", "Sine",  "Cosine"};
constexpr const char *kMovementLabels[] = {"Accel", "Decel", "Acc-Dec", "Dec-Acc"};

void addToolbar(int32_t slot, const char *name, uint32_t kind, int32_t orientation, int32_t alignment)
{
    TAVOCONFIG_AddToolbar(slot, kind, orientation, alignment);
    TAVOCONFIG_SetToolbarName(slot, name);
}

// Floating view toolbars: a grip to move them first, a locker last.
void addViewToolbar(int32_t slot, const char *name, int32_t orientation, int32_t alignment)
{
    addToolbar(slot, name, TAVOCONFIG_TOOLBAR_KIND_VIEW, orientation, alignment);
    TAVOCONFIG_SetToolbarFillBackground(slot, true);
    TAVOCONFIG_SetToolbarAllowPartial(slot, true);
    TAVOCONFIG_AddToolbarGripControl(slot);
}

void addCurveToolbar(int32_t slot, const char *name, int32_t alignment)
{
    addToolbar(slot, name, TAVOCONFIG_TOOLBAR_KIND_VISUALTOOLS, TAVOCONFIG_TOOLBAR_VERTICAL, alignment);
    TAVOCONFIG_SetToolbarPreferMinimalSize(slot, true);
    for (int32_t shape = 0; shape < int32_t(std::size(kShapeLabels)); ++shape)
        TAVOCONFIG_AddToolbarTextToggleableButtonControl(slot, TAVOCONFIG_ControlForCurveShape(shape),
                                                         kShapeLabels[shape], kCurveToggleWidth);
    TAVOCONFIG_AddToolbarFlexibleSpace(slot, kCurveGroupGap);
    for (int32_t movement = 0; movement < int32_t(std::size(kMovementLabels)); ++movement)
        TAVOCONFIG_AddToolbarTextToggleableButtonControl(slot, TAVOCONFIG_ControlForCurveMovement(movement),
                                                         kMovementLabels[movement], kCurveToggleWidth);
    // The curve lists lock together with the crossfade panel.
    TAVOCONFIG_AddToolbarLockerControl(slot);
    TAVOCONFIG_AddTooolbarLockerProxy(slot, 18);
}

void addTextToggles(int32_t slot, std::initializer_list<std::pair<int32_t, const char *>> toggles, int32_t width)
{
    for (const auto &[control, label] : toggles)
        TAVOCONFIG_AddToolbarTextToggleableButtonControl(slot, control, label, width);
}

}  // namespace

extern "C" bool TAVOCONFIG_ResetToolContols(void)
{
    TAVOCONFIG_ClearToolContols();
    constexpr int32_t top = TAVOCONFIG_ALIGN_TOP, bottom = TAVOCONFIG_ALIGN_BOTTOM;
    constexpr int32_t left = TAVOCONFIG_ALIGN_LEFT, right = TAVOCONFIG_ALIGN_RIGHT;
    constexpr int32_t centre = TAVOCONFIG_ALIGN_HCENTER;
    constexpr int32_t horizontal = TAVOCONFIG_TOOLBAR_HORIZONTAL, vertical = TAVOCONFIG_TOOLBAR_VERTICAL;

    // Slots 1-4 follow the selection on the waveform.
    addToolbar(1, "selection_drag_tools", TAVOCONFIG_TOOLBAR_KIND_SELECTION, vertical, top | left);
    TAVOCONFIG_AddToolbarDragControl(1, EDITCONTROLS_SELECTION_DRAG_AUDIO);
    TAVOCONFIG_AddToolbarDragControl(1, EDITCONTROLS_SELECTION_DRAG_NEW_FILE);

    addToolbar(2, "selection_duration_tools", TAVOCONFIG_TOOLBAR_KIND_SELECTION, horizontal, bottom | centre);
    TAVOCONFIG_AddToolbarTimeEditControl(2, EDITCONTROLS_SELECTION_START_EDIT, kTimeFieldWidth);
    TAVOCONFIG_AddToolbarDurationEditControl(2, EDITCONTROLS_SELECTION_DURATION_EDIT, kTimeFieldWidth);
    TAVOCONFIG_AddToolbarTimeEditControl(2, EDITCONTROLS_SELECTION_END_EDIT, kTimeFieldWidth);

    addToolbar(3, "selection_top_tools", TAVOCONFIG_TOOLBAR_KIND_SELECTION, horizontal, top | centre);
    TAVOCONFIG_SetToolbarSaveOverlay(3, true);
    TAVOCONFIG_AddToolbarButtonControl(3, EDITCONTROLS_SELECTION_PLAY);
    TAVOCONFIG_AddToolbarToggleableButtonControl(3, EDITCONTROLS_SELECTION_LOOP);
    TAVOCONFIG_AddToolbarToggleableButtonControl(3, EDITCONTROLS_SELECTION_SNAP);
    TAVOCONFIG_AddToolbarButtonControl(3, EDITCONTROLS_SELECTION_ZOOM_TO);
    TAVOCONFIG_AddToolbarButtonControl(3, EDITCONTROLS_SELECTION_CROP);
    TAVOCONFIG_AddToolbarButtonControl(3, EDITCONTROLS_SELECTION_CLEAR);

    addToolbar(4, "selection_bottom_tools", TAVOCONFIG_TOOLBAR_KIND_SELECTION, horizontal, bottom | centre);
    TAVOCONFIG_SetToolbarSaveOverlay(4, true);
    TAVOCONFIG_AddToolbarButtonControl(4, EDITCONTROLS_SELECTION_FADE_IN);
    TAVOCONFIG_AddToolbarButtonControl(4, EDITCONTROLS_SELECTION_FADE_OUT);
    TAVOCONFIG_AddToolbarButtonControl(4, EDITCONTROLS_SELECTION_NORMALIZE);
    TAVOCONFIG_AddToolbarButtonControl(4, EDITCONTROLS_SELECTION_SILENCE);

    // Zooming repeats while the button is held, hence timed buttons; the
    // zoom toolbar is anchored in a corner, so it needs no grip.
    addToolbar(5, "zoom_tools", TAVOCONFIG_TOOLBAR_KIND_VIEW, horizontal, bottom | right);
    TAVOCONFIG_SetToolbarFillBackground(5, true);
    TAVOCONFIG_AddToolbarTimedButtonControl(5, EDITCONTROLS_ZOOM_IN);
    TAVOCONFIG_AddToolbarTimedButtonControl(5, EDITCONTROLS_ZOOM_OUT);
    TAVOCONFIG_AddToolbarButtonControl(5, EDITCONTROLS_ZOOM_SELECTION);
    TAVOCONFIG_AddToolbarButtonControl(5, EDITCONTROLS_ZOOM_FULL);
    TAVOCONFIG_AddToolbarSpace(5, kGroupGap);
    TAVOCONFIG_AddToolbarTimedButtonControl(5, EDITCONTROLS_ZOOM_VERTICAL_IN);
    TAVOCONFIG_AddToolbarTimedButtonControl(5, EDITCONTROLS_ZOOM_VERTICAL_OUT);
    TAVOCONFIG_AddToolbarButtonControl(5, EDITCONTROLS_ZOOM_VERTICAL_RESET);
    TAVOCONFIG_AddToolbarLockerControl(5);

    addViewToolbar(6, "file_tools", horizontal, top | left);
    TAVOCONFIG_AddToolbarButtonControl(6, EDITCONTROLS_FILE_NEW);
    TAVOCONFIG_AddToolbarButtonControl(6, EDITCONTROLS_FILE_OPEN);
    TAVOCONFIG_AddToolbarButtonControl(6, EDITCONTROLS_FILE_SAVE);
    TAVOCONFIG_AddToolbarButtonControl(6, EDITCONTROLS_FILE_CLOSE);
    TAVOCONFIG_AddToolbarLockerControl(6);

    addViewToolbar(7, "view_tools", horizontal, top | right);
    TAVOCONFIG_AddToolbarToggleableButtonControl(7, EDITCONTROLS_VIEW_SPECTROGRAM);
    TAVOCONFIG_AddToolbarToggleableButtonControl(7, EDITCONTROLS_VIEW_WAVEFORM);
    TAVOCONFIG_AddToolbarToggleableButtonControl(7, EDITCONTROLS_VIEW_NAVIGATOR);
    TAVOCONFIG_AddToolbarToggleableButtonControl(7, EDITCONTROLS_VIEW_LEVEL_GUIDES);
    TAVOCONFIG_AddToolbarLockerControl(7);

    addViewToolbar(8, "edit_tools", horizontal, top | left);
    TAVOCONFIG_AddToolbarButtonControl(8, EDITCONTROLS_EDIT_UNDO);
    TAVOCONFIG_AddToolbarButtonControl(8, EDITCONTROLS_EDIT_REDO);
    TAVOCONFIG_AddToolbarSpace(8, kGroupGap);
    TAVOCONFIG_AddToolbarButtonControl(8, EDITCONTROLS_EDIT_CUT);
    TAVOCONFIG_AddToolbarButtonControl(8, EDITCONTROLS_EDIT_COPY);
    TAVOCONFIG_AddToolbarButtonControl(8, EDITCONTROLS_EDIT_PASTE);
    TAVOCONFIG_AddToolbarButtonControl(8, EDITCONTROLS_EDIT_DELETE);
    TAVOCONFIG_AddToolbarLockerControl(8);

    addViewToolbar(9, "gain_tools", horizontal, bottom | left);
    TAVOCONFIG_AddToolbarSliderControl(9, EDITCONTROLS_GAIN_SLIDER, kGainSliderWidth);
    // Wide enough for the longest gain text, "-30.00 dB".
    TAVOCONFIG_AddToolbarTextLabelControl(9, EDITCONTROLS_GAIN_LABEL, "+0.00 dB", 64);
    TAVOCONFIG_AddToolbarButtonControl(9, EDITCONTROLS_GAIN_RESET);
    TAVOCONFIG_AddToolbarButtonControl(9, EDITCONTROLS_GAIN_APPLY);
    TAVOCONFIG_AddToolbarLockerControl(9);

    addToolbar(10, "visual_tools", TAVOCONFIG_TOOLBAR_KIND_VISUALTOOLS, horizontal, top | centre);
    TAVOCONFIG_SetToolbarFillBackground(10, true);
    TAVOCONFIG_AddToolbarTextButtonControl(10, EDITCONTROLS_VISUALTOOLS_ACCEPT, "Accept", 60);
    TAVOCONFIG_AddToolbarTextButtonControl(10, EDITCONTROLS_VISUALTOOLS_REJECT, "Reject", 60);
    TAVOCONFIG_AddToolbarToggleableButtonControl(10, EDITCONTROLS_VISUALTOOLS_PREVIEW);
    TAVOCONFIG_AddToolbarToggleableButtonControl(10, EDITCONTROLS_VISUALTOOLS_SYNC_CURVES);

    addViewToolbar(11, "spectrogram_tools", horizontal, top | right);
    TAVOCONFIG_AddToolbarSliderControl(11, EDITCONTROLS_SPECTROGRAM_CONTRAST, kSmallSliderWidth);
    TAVOCONFIG_AddToolbarSliderControl(11, EDITCONTROLS_SPECTROGRAM_BRIGHTNESS, kSmallSliderWidth);
    TAVOCONFIG_AddToolbarButtonControl(11, EDITCONTROLS_SPECTROGRAM_SETTINGS);
    TAVOCONFIG_AddToolbarLockerControl(11);

    addViewToolbar(12, "waveform_tools", horizontal, top | right);
    TAVOCONFIG_AddToolbarToggleableButtonControl(12, EDITCONTROLS_WAVEFORM_RECTIFY);
    TAVOCONFIG_AddToolbarToggleableButtonControl(12, EDITCONTROLS_WAVEFORM_SHOW_RMS);
    TAVOCONFIG_AddToolbarToggleableButtonControl(12, EDITCONTROLS_WAVEFORM_CENTER_LINE);
    TAVOCONFIG_AddToolbarLockerControl(12);

    addViewToolbar(13, "levelguide_tools", vertical, top | left);
    TAVOCONFIG_AddToolbarButtonControl(13, EDITCONTROLS_LEVELGUIDE_ADD);
    TAVOCONFIG_AddToolbarButtonControl(13, EDITCONTROLS_LEVELGUIDE_REMOVE);
    TAVOCONFIG_AddToolbarButtonControl(13, EDITCONTROLS_LEVELGUIDE_CLEAR);
    TAVOCONFIG_AddToolbarLockerControl(13);

    // Scale selectors: mutually exclusive text toggles sized to their text.
    addToolbar(14, "scale_selector", TAVOCONFIG_TOOLBAR_KIND_SCALE, horizontal, bottom | left);
    addTextToggles(14, {{EDITCONTROLS_SCALE_A, "A"}, {EDITCONTROLS_SCALE_B, "B"}}, 23);
    TAVOCONFIG_AddToolbarTextToggleableButtonControl(14, EDITCONTROLS_SCALE_TIMECODE, "TIMECODE", 68);
    TAVOCONFIG_AddToolbarTextToggleableButtonControl(14, EDITCONTROLS_SCALE_CD_TIME, "CD TIME", 60);

    addToolbar(15, "horizontal_scale_kind", TAVOCONFIG_TOOLBAR_KIND_SCALE, horizontal, bottom | right);
    addTextToggles(15, {{EDITCONTROLS_HSCALE_SECONDS, "seconds"}, {EDITCONTROLS_HSCALE_SAMPLES, "samples"}}, 56);
    addTextToggles(15, {{EDITCONTROLS_HSCALE_BEATS, "beats"}, {EDITCONTROLS_HSCALE_SMPTE, "smpte"}}, 44);
    TAVOCONFIG_AddToolbarTextToggleableButtonControl(15, EDITCONTROLS_HSCALE_FRAMES, "frames", 50);

    addToolbar(16, "vertical_scale_kind", TAVOCONFIG_TOOLBAR_KIND_SCALE, vertical, top | right);
    addTextToggles(16,
                   {{EDITCONTROLS_VSCALE_LINEAR, "linear"},
                    {EDITCONTROLS_VSCALE_PERCENT, "%"},
                    {EDITCONTROLS_VSCALE_DECIBEL, "dB"},
                    {EDITCONTROLS_VSCALE_NORMALIZED, "norm"}},
                   44);

    // The name keeps its historical spelling: stored settings use it.
    addToolbar(17, "spectrogam_scale_kind", TAVOCONFIG_TOOLBAR_KIND_SCALE, vertical, top | right);
    addTextToggles(17,
                   {{EDITCONTROLS_SPECSCALE_LINEAR, "linear"},
                    {EDITCONTROLS_SPECSCALE_LOG, "log"},
                    {EDITCONTROLS_SPECSCALE_MEL, "mel"},
                    {EDITCONTROLS_SPECSCALE_BARK, "bark"}},
                   44);

    // The crossfade panel: slot 18 owns the lock, 19-21 follow it.
    addToolbar(18, "crossfade_top_tools", TAVOCONFIG_TOOLBAR_KIND_VISUALTOOLS, horizontal, top | centre);
    TAVOCONFIG_SetToolbarFillBackground(18, true);
    TAVOCONFIG_AddToolbarTextLabelControl(18, EDITCONTROLS_CROSSFADE_TITLE, "Crossfade", 70);
    TAVOCONFIG_AddToolbarDurationEditControl(18, EDITCONTROLS_CROSSFADE_DURATION_EDIT, kTimeFieldWidth);
    TAVOCONFIG_AddToolbarTimeEditControl(18, EDITCONTROLS_CROSSFADE_CENTER_EDIT, kTimeFieldWidth);
    TAVOCONFIG_AddToolbarToggleableButtonControl(18, EDITCONTROLS_CROSSFADE_SYNC);
    TAVOCONFIG_AddToolbarButtonControl(18, EDITCONTROLS_CROSSFADE_PREVIEW);
    TAVOCONFIG_AddToolbarTextButtonControl(18, EDITCONTROLS_CROSSFADE_ACCEPT, "Apply", 50);
    TAVOCONFIG_AddToolbarTextButtonControl(18, EDITCONTROLS_CROSSFADE_CANCEL, "Cancel", 50);
    TAVOCONFIG_AddToolbarLockerControl(18);

    addToolbar(19, "crossfade_bottom_tools", TAVOCONFIG_TOOLBAR_KIND_VISUALTOOLS, horizontal, bottom | centre);
    TAVOCONFIG_SetToolbarFillBackground(19, true);
    TAVOCONFIG_AddToolbarIconControl(19, EDITCONTROLS_CROSSFADE_FADEOUT_ICON);
    TAVOCONFIG_AddToolbarTextLabelControl(19, EDITCONTROLS_CROSSFADE_FADEOUT_LABEL, "Fade Out", 56);
    TAVOCONFIG_AddToolbarFlexibleSpace(19, kCurveGroupGap);
    TAVOCONFIG_AddToolbarSliderControl(19, EDITCONTROLS_CROSSFADE_GAIN_SLIDER, 100);
    TAVOCONFIG_AddToolbarTextEditControl(19, EDITCONTROLS_CROSSFADE_GAIN_EDIT, 60);
    TAVOCONFIG_AddToolbarFlexibleSpace(19, kCurveGroupGap);
    TAVOCONFIG_AddToolbarTextLabelControl(19, EDITCONTROLS_CROSSFADE_FADEIN_LABEL, "Fade In", 56);
    TAVOCONFIG_AddToolbarIconControl(19, EDITCONTROLS_CROSSFADE_FADEIN_ICON);
    TAVOCONFIG_AddToolbarLockerControl(19);
    TAVOCONFIG_AddTooolbarLockerProxy(19, 18);

    addCurveToolbar(20, "crossfade_fadeout_curves", top | left);
    addCurveToolbar(21, "crossfade_fadein_curves", top | right);
    return true;
}
