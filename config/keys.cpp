// Names of the colour and option keys of a profile, in index order.
#include "config/config_p.h"

#include <cstring>

namespace {

// The 260 stored colour keys. The selected-border keys of region slots 8 to
// 19 are spelt "selecred": stored profiles carry that spelling, so it stays.
const char *const kColorNames[TAVOCONFIG_STORED_COLOR_COUNT] = {
    "action_notification_background", "action_notification_text", "border", "border_inactive",
    "capture_cursor_active", "capture_cursor_active_border", "capture_cursor_inactive",
    "capture_cursor_inactive_border", "channelid_font_active", "channelid_font_inactive",
    "crossfade_background", "crossfade_center", "crossfade_curve", "crossfade_limiter", "crossfade_zero",
    "custom_track_background", "display_audio_format_font", "display_audio_format_inactive_font",
    "display_edit_font", "display_edit_inactive_font", "display_font", "display_inactive_font",
    "display_info_font", "display_info_inactive_font", "display_off_gradient_0", "display_off_gradient_1",
    "display_off_gradient_2", "display_on_gradient_0", "display_on_gradient_1", "display_on_gradient_2",
    "display_separator_active", "display_separator_inactive", "drag_overlay_border", "drag_overlay_fill",
    "insert_cursor_active", "insert_cursor_active_border", "insert_cursor_inactive",
    "insert_cursor_inactive_border", "level_guides_background", "level_guides_background_inactive",
    "level_meter_background", "level_meter_border", "level_meter_grid", "level_meter_off_overlay",
    "linked_cursor_active", "linked_cursor_active_border", "linked_cursor_inactive",
    "linked_cursor_inactive_border", "list_view_info_text", "loop_line_1", "loop_line_2",
    "main_cursor_active", "main_cursor_active_border", "main_cursor_inactive", "main_cursor_inactive_border",
    "marker_focused_background", "marker_line_1", "marker_line_2", "markerlabel_focused_text",
    "markerlabel_text", "markers_area_loop_background", "markers_area_marker_background",
    "markers_area_region_background", "mini_level_meter_background", "mini_level_meter_off_overlay",
    "overlay_background", "overlay_label_font_active", "overlay_label_font_inactive", "play_cursor_active",
    "play_cursor_active_border", "play_cursor_inactive", "play_cursor_inactive_border", "progress_bar_off",
    "progress_bar_on", "progress_bar_text", "properties_top_widget_color_1", "properties_top_widget_color_2",
    "properties_top_widget_text_color", "region_0", "region_1", "region_2", "region_3", "region_4",
    "region_5", "region_6", "region_7", "region_8", "region_9", "region_10", "region_11", "region_12",
    "region_13", "region_14", "region_15", "region_16", "region_17", "region_18", "region_19",
    "region_border_0", "region_border_1", "region_border_2", "region_border_3", "region_border_4",
    "region_border_5", "region_border_6", "region_border_7", "region_border_8", "region_border_9",
    "region_border_10", "region_border_11", "region_border_12", "region_border_13", "region_border_14",
    "region_border_15", "region_border_16", "region_border_17", "region_border_18", "region_border_19",
    "region_border_default", "region_default", "region_line_1", "region_line_2", "region_selecred_border_8",
    "region_selecred_border_9", "region_selecred_border_10", "region_selecred_border_11",
    "region_selecred_border_12", "region_selecred_border_13", "region_selecred_border_14",
    "region_selecred_border_15", "region_selecred_border_16", "region_selecred_border_17",
    "region_selecred_border_18", "region_selecred_border_19", "region_selected_0", "region_selected_1",
    "region_selected_2", "region_selected_3", "region_selected_4", "region_selected_5", "region_selected_6",
    "region_selected_7", "region_selected_8", "region_selected_9", "region_selected_10",
    "region_selected_11", "region_selected_12", "region_selected_13", "region_selected_14",
    "region_selected_15", "region_selected_16", "region_selected_17", "region_selected_18",
    "region_selected_19", "region_selected_border_0", "region_selected_border_1", "region_selected_border_2",
    "region_selected_border_3", "region_selected_border_4", "region_selected_border_5",
    "region_selected_border_6", "region_selected_border_7", "region_selected_border_default",
    "region_selected_default", "region_text_0", "region_text_1", "region_text_2", "region_text_3",
    "region_text_4", "region_text_5", "region_text_6", "region_text_7", "region_text_8", "region_text_9",
    "region_text_10", "region_text_11", "region_text_12", "region_text_13", "region_text_14",
    "region_text_15", "region_text_16", "region_text_17", "region_text_18", "region_text_19",
    "region_text_default", "regionlabel_focused_text", "regionlabel_text", "scale_background",
    "scale_font_active", "scale_font_inactive", "scale_grid", "scale_tick", "scale_tick_inactive",
    "scale_tool_button_active_background", "scale_tool_button_background", "scale_tool_button_border",
    "scale_tool_button_disabled_background", "scale_tool_button_disabled_text",
    "scale_tool_button_focused_background", "scale_tool_button_focused_text",
    "scale_tool_button_selected_background", "scale_tool_button_selected_text", "scale_tool_button_text",
    "selection", "selection_add", "selection_delete", "sidebar_active_indicator", "sidebar_background",
    "sidebar_disabled_selected_text", "sidebar_disabled_text", "sidebar_drop_target_1",
    "sidebar_drop_target_2", "sidebar_highlight_selected", "sidebar_highlight_unselected",
    "sidebar_icon_background", "sidebar_inactive_text", "sidebar_progressbar",
    "sidebar_progressbar_background", "sidebar_progressbar_disabled", "sidebar_selected_inactive_text",
    "sidebar_selected_text", "sidebar_selection_1", "sidebar_selection_2", "sidebar_selection_inactive_1",
    "sidebar_selection_inactive_2", "sidebar_separator", "sidebar_separator_selected", "sidebar_text",
    "tool_button_disabled_background", "tool_button_disabled_text", "tool_button_focused_background",
    "tool_button_focused_text", "tool_button_selected_background", "tool_button_selected_text",
    "tool_button_text", "tool_control_font_active", "tool_control_font_inactive", "toolbar_background",
    "toolbar_disabled_background", "track_grid_position", "visualtools_border", "waveform", "waveform_01",
    "waveform_02", "waveform_03", "waveform_04", "waveform_background_gradient_end",
    "waveform_background_gradient_start", "waveform_contour", "waveform_contour_01", "waveform_contour_02",
    "waveform_contour_03", "waveform_contour_04", "waveform_highlight", "waveform_inactive",
    "waveform_inactive_contour", "waveform_inactive_overlay", "waveform_inactive_zero_line",
    "waveform_zero_line", "window_background",
};

const char *const kOptionNames[TAVOCONFIG_OPTION_COUNT] = {
    "capture_cursor_draw_border", "capture_cursor_draw_shadow", "capture_cursor_draw_slider",
    "channelid_font_shadow", "insert_cursor_draw_border", "insert_cursor_draw_shadow",
    "insert_cursor_draw_slider", "level_meter_use_full_grid", "linked_cursor_draw_border",
    "linked_cursor_draw_shadow", "linked_cursor_draw_slider", "low_graphics_engine",
    "main_cursor_draw_border", "main_cursor_draw_shadow", "main_cursor_draw_slider",
    "play_cursor_draw_border", "play_cursor_draw_shadow", "play_cursor_draw_slider", "scale_font_shadow",
    "sidebar_border", "tool_control_font_shadow",
};

}  // namespace

// Keys that profiles stored by older versions lack; each starts from the
// look of an existing key. The last two keep their capitalised names.
const TavoNewColorKey _TAVOCONFIG_NewColorKeys[TAVOCONFIG_COLOR_COUNT - TAVOCONFIG_STORED_COLOR_COUNT] = {
    {"tool_button_active_text", "tool_button_text"},
    {"scale_tool_button_active_text", "scale_tool_button_text"},
    {"tool_button_active_background", "tool_button_focused_background"},
    {"track_grid_position_contour", "main_cursor_active_border"},
    {"track_grid_box", "scale_tool_button_selected_background"},
    {"track_grid_box_text", "scale_tool_button_selected_text"},
    {"sidebar_inactive_disabled_selected_text", "sidebar_disabled_selected_text"},
    {"channel_separator", "border"},
    {"sidebar_playback_highlight_background", "waveform"},
    {"markers_area_marker_selected_background", "region_selected_border_default"},
    {"Waveform_Highlight_Label", "scale_tool_button_text"},
    {"Waveform_Highlight_Border", "scale_tool_button_text"},
};

int32_t _TAVOCONFIG_BaseOptionDefault(int32_t index)
{
    // Level meters draw their full grid unless a profile says otherwise.
    return index == TAVOCONFIG_OPTION_LEVEL_METER_USE_FULL_GRID ? 1 : 0;
}

bool _TAVOCONFIG_ValidProfileName(const char *profile)
{
    if (profile == nullptr || profile[0] == '\0') return false;
    size_t length = 0;
    for (const char *p = profile; *p != '\0'; ++p, ++length) {
        const char c = *p;
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                        c == '-' || c == '.';
        if (!ok) return false;
    }
    return length < TAVOCONFIG_PROFILE_NAME_SIZE;
}

TAVO_API const char *TAVOCONFIG_ColorKeyName(int32_t index)
{
    if (index < 0 || index >= TAVOCONFIG_COLOR_COUNT) return nullptr;
    if (index < TAVOCONFIG_STORED_COLOR_COUNT) return kColorNames[index];
    return _TAVOCONFIG_NewColorKeys[index - TAVOCONFIG_STORED_COLOR_COUNT].name;
}

TAVO_API const char *TAVOCONFIG_OptionKeyName(int32_t index)
{
    if (index < 0 || index >= TAVOCONFIG_OPTION_COUNT) return nullptr;
    return kOptionNames[index];
}

TAVO_API int32_t TAVOCONFIG_ColorKeyIndex(const char *name)
{
    if (name == nullptr) return -1;
    for (int32_t i = 0; i < TAVOCONFIG_COLOR_COUNT; ++i) {
        if (std::strcmp(TAVOCONFIG_ColorKeyName(i), name) == 0) return i;
    }
    return -1;
}

TAVO_API int32_t TAVOCONFIG_OptionKeyIndex(const char *name)
{
    if (name == nullptr) return -1;
    for (int32_t i = 0; i < TAVOCONFIG_OPTION_COUNT; ++i) {
        if (std::strcmp(kOptionNames[i], name) == 0) return i;
    }
    return -1;
}
