/*
** tavoconfig.h: process-wide configuration of libtavo (TAVOCONFIG_).
**
** The drawing configuration lives in the global settings store, one set of
** keys per named colour profile: "velmora.interface.<profile>.color.<name>"
** holding "rgba(r,g,b,a)" texts and "velmora.interface.<profile>.option.<name>"
** holding 0 or 1. The profile shown is named by the key
** "velmora.interface.profile" (default "classic"). TAVOCONFIG_ResetConfiguration
** (run by the library start-up) registers the defaults of every profile and
** builds the current draw-config record. Profiles, records and the dynamic
** range are changed from the UI thread; the name tables are pure and
** thread-safe.
**
** The toolbar table is one table shared by every document: 22 slots
** (0 to 21), each empty or holding a toolbar of up to 109 controls in
** display order. It has no lock: build it with TAVOCONFIG_ResetToolContols
** (TAVOTOOLCONTROLS_Initialize does) and change it from the UI thread only.
*/
#ifndef TAVOCONFIG_H
#define TAVOCONFIG_H

#include <stdbool.h>
#include <stdint.h>

#include "tavo_export.h"
#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* ---- drawing configuration ------------------------------------------------ */

/* Colour keys of a profile: the 260 stored ones plus the 12 that
** TAVOCONFIG_AddNewSettings fills for profiles stored before them. */
#define TAVOCONFIG_COLOR_COUNT 272
#define TAVOCONFIG_STORED_COLOR_COUNT 260
#define TAVOCONFIG_OPTION_COUNT 21
#define TAVOCONFIG_PROFILE_NAME_SIZE 64
#define TAVOCONFIG_FONT_NAME_SIZE 128
#define TAVOCONFIG_PROFILE_COUNT 15

/* A font as the renderer asks the canvas for it. */
typedef struct TAVOCONFIGFONT {
    char family[TAVOCONFIG_FONT_NAME_SIZE];
    float size;         /* points */
    int32_t weight;     /* TAVODEFINES_toFontWeight codes */
    int32_t stretch;    /* TAVODEFINES_toFontStretch codes */
    bool italic;
} TAVOCONFIGFONT;

/* The drawing configuration of one profile, as read from the settings:
** one packed colour per colour key and one flag per option key, indexed
** by the TAVOCONFIG_COLOR_ and TAVOCONFIG_OPTION_ numbers. Fonts come from
** "velmora.interface.<profile>.font.<scale|region|tool_control|channelid>.
** <family|size|weight|stretch|italic>". */
typedef struct TAVODRAWCONFIG {
    char profile[TAVOCONFIG_PROFILE_NAME_SIZE];
    uint32_t colors[TAVOCONFIG_COLOR_COUNT];
    uint8_t options[TAVOCONFIG_OPTION_COUNT];
    TAVOCONFIGFONT scaleFont;
    TAVOCONFIGFONT regionFont;
    TAVOCONFIGFONT toolControlFont;
    TAVOCONFIGFONT channelIdFont;
    bool darkProfile;   /* waveform area is dark, as TAVOCONFIG_ProfileIsDark */
} TAVODRAWCONFIG;

/* Fills `config` for `profile` (null: the current profile): name set,
** colours cleared to transparent black, base options, the system font, then
** every key read from the settings. False, with the record cleared, for a
** null record or a profile name that is empty or too long. */
TAVO_API bool TAVOCONFIG_InitDrawConfig(TAVODRAWCONFIG *config, const char *profile);
/* Re-reads every colour, option and font of config->profile from the
** settings; missing keys read as transparent black and base options. False
** for a null record or an empty profile name. */
TAVO_API bool TAVOCONFIG_UpdateDrawConfig(TAVODRAWCONFIG *config);

/* The process-wide record of document views as it was last built, without
** looking at the settings (never null; owned by the library). UI thread. */
TAVO_API const TAVODRAWCONFIG *TAVOCONFIG_GetDrawConfig(void);
/* The same record, first rebuilt from the settings of the current profile
** ("velmora.interface.profile"). Never null; owned by the library and
** rewritten in place by later calls. UI thread. */
TAVO_API const TAVODRAWCONFIG *TAVOCONFIG_GetCurrentDrawConfig(void);

/* The record of the clock display widget, which follows its own profile key
** "velmora.interface.display_profile" (empty or unset: the current profile). Init
** fills the caller's record for that profile (false for null); Get gives the
** library's record as last built, GetCurrent rebuilds it first. UI thread. */
TAVO_API bool TAVOCONFIG_InitDisplayDrawConfig(TAVODRAWCONFIG *config);
TAVO_API const TAVODRAWCONFIG *TAVOCONFIG_GetDisplayDrawConfig(void);
TAVO_API const TAVODRAWCONFIG *TAVOCONFIG_GetCurrentDisplayDrawConfig(void);

/* Registers the defaults of every named profile (each reset function in
** parent-before-child order, then TAVOCONFIG_AddNewSettings), of the view
** keys read by TAVOCONFIG_ApplyStateConfigurationEx and of the profile keys,
** then rebuilds both process-wide records. Stored values are never
** touched. Returns true. Called by the library start-up; UI thread. */
TAVO_API bool TAVOCONFIG_ResetConfiguration(void);

/* Name of the current profile ("velmora.interface.profile"), copied into
** `buffer`; false (buffer "" when it has room) for a null buffer or size 0. */
TAVO_API bool TAVOCONFIG_CurrentProfile(char *buffer, int32_t size);
/* Stores the current profile name (a value, persisted) and rebuilds the
** process-wide records. False for a null, empty or too long name. */
TAVO_API bool TAVOCONFIG_SetCurrentProfile(const char *profile);

/* ---- colour and option keys -------------------------------------------------- */

/* Indexes of TAVODRAWCONFIG.colors, one per colour key, in key-name order;
** the last twelve are the keys filled by TAVOCONFIG_AddNewSettings. */
#define TAVOCONFIG_COLOR_ACTION_NOTIFICATION_BACKGROUND 0
#define TAVOCONFIG_COLOR_ACTION_NOTIFICATION_TEXT 1
#define TAVOCONFIG_COLOR_BORDER 2
#define TAVOCONFIG_COLOR_BORDER_INACTIVE 3
#define TAVOCONFIG_COLOR_CAPTURE_CURSOR_ACTIVE 4
#define TAVOCONFIG_COLOR_CAPTURE_CURSOR_ACTIVE_BORDER 5
#define TAVOCONFIG_COLOR_CAPTURE_CURSOR_INACTIVE 6
#define TAVOCONFIG_COLOR_CAPTURE_CURSOR_INACTIVE_BORDER 7
#define TAVOCONFIG_COLOR_CHANNELID_FONT_ACTIVE 8
#define TAVOCONFIG_COLOR_CHANNELID_FONT_INACTIVE 9
#define TAVOCONFIG_COLOR_CROSSFADE_BACKGROUND 10
#define TAVOCONFIG_COLOR_CROSSFADE_CENTER 11
#define TAVOCONFIG_COLOR_CROSSFADE_CURVE 12
#define TAVOCONFIG_COLOR_CROSSFADE_LIMITER 13
#define TAVOCONFIG_COLOR_CROSSFADE_ZERO 14
#define TAVOCONFIG_COLOR_CUSTOM_TRACK_BACKGROUND 15
#define TAVOCONFIG_COLOR_DISPLAY_AUDIO_FORMAT_FONT 16
#define TAVOCONFIG_COLOR_DISPLAY_AUDIO_FORMAT_INACTIVE_FONT 17
#define TAVOCONFIG_COLOR_DISPLAY_EDIT_FONT 18
#define TAVOCONFIG_COLOR_DISPLAY_EDIT_INACTIVE_FONT 19
#define TAVOCONFIG_COLOR_DISPLAY_FONT 20
#define TAVOCONFIG_COLOR_DISPLAY_INACTIVE_FONT 21
#define TAVOCONFIG_COLOR_DISPLAY_INFO_FONT 22
#define TAVOCONFIG_COLOR_DISPLAY_INFO_INACTIVE_FONT 23
#define TAVOCONFIG_COLOR_DISPLAY_OFF_GRADIENT_0 24
#define TAVOCONFIG_COLOR_DISPLAY_OFF_GRADIENT_1 25
#define TAVOCONFIG_COLOR_DISPLAY_OFF_GRADIENT_2 26
#define TAVOCONFIG_COLOR_DISPLAY_ON_GRADIENT_0 27
#define TAVOCONFIG_COLOR_DISPLAY_ON_GRADIENT_1 28
#define TAVOCONFIG_COLOR_DISPLAY_ON_GRADIENT_2 29
#define TAVOCONFIG_COLOR_DISPLAY_SEPARATOR_ACTIVE 30
#define TAVOCONFIG_COLOR_DISPLAY_SEPARATOR_INACTIVE 31
#define TAVOCONFIG_COLOR_DRAG_OVERLAY_BORDER 32
#define TAVOCONFIG_COLOR_DRAG_OVERLAY_FILL 33
#define TAVOCONFIG_COLOR_INSERT_CURSOR_ACTIVE 34
#define TAVOCONFIG_COLOR_INSERT_CURSOR_ACTIVE_BORDER 35
#define TAVOCONFIG_COLOR_INSERT_CURSOR_INACTIVE 36
#define TAVOCONFIG_COLOR_INSERT_CURSOR_INACTIVE_BORDER 37
#define TAVOCONFIG_COLOR_LEVEL_GUIDES_BACKGROUND 38
#define TAVOCONFIG_COLOR_LEVEL_GUIDES_BACKGROUND_INACTIVE 39
#define TAVOCONFIG_COLOR_LEVEL_METER_BACKGROUND 40
#define TAVOCONFIG_COLOR_LEVEL_METER_BORDER 41
#define TAVOCONFIG_COLOR_LEVEL_METER_GRID 42
#define TAVOCONFIG_COLOR_LEVEL_METER_OFF_OVERLAY 43
#define TAVOCONFIG_COLOR_LINKED_CURSOR_ACTIVE 44
#define TAVOCONFIG_COLOR_LINKED_CURSOR_ACTIVE_BORDER 45
#define TAVOCONFIG_COLOR_LINKED_CURSOR_INACTIVE 46
#define TAVOCONFIG_COLOR_LINKED_CURSOR_INACTIVE_BORDER 47
#define TAVOCONFIG_COLOR_LIST_VIEW_INFO_TEXT 48
#define TAVOCONFIG_COLOR_LOOP_LINE_1 49
#define TAVOCONFIG_COLOR_LOOP_LINE_2 50
#define TAVOCONFIG_COLOR_MAIN_CURSOR_ACTIVE 51
#define TAVOCONFIG_COLOR_MAIN_CURSOR_ACTIVE_BORDER 52
#define TAVOCONFIG_COLOR_MAIN_CURSOR_INACTIVE 53
#define TAVOCONFIG_COLOR_MAIN_CURSOR_INACTIVE_BORDER 54
#define TAVOCONFIG_COLOR_MARKER_FOCUSED_BACKGROUND 55
#define TAVOCONFIG_COLOR_MARKER_LINE_1 56
#define TAVOCONFIG_COLOR_MARKER_LINE_2 57
#define TAVOCONFIG_COLOR_MARKERLABEL_FOCUSED_TEXT 58
#define TAVOCONFIG_COLOR_MARKERLABEL_TEXT 59
#define TAVOCONFIG_COLOR_MARKERS_AREA_LOOP_BACKGROUND 60
#define TAVOCONFIG_COLOR_MARKERS_AREA_MARKER_BACKGROUND 61
#define TAVOCONFIG_COLOR_MARKERS_AREA_REGION_BACKGROUND 62
#define TAVOCONFIG_COLOR_MINI_LEVEL_METER_BACKGROUND 63
#define TAVOCONFIG_COLOR_MINI_LEVEL_METER_OFF_OVERLAY 64
#define TAVOCONFIG_COLOR_OVERLAY_BACKGROUND 65
#define TAVOCONFIG_COLOR_OVERLAY_LABEL_FONT_ACTIVE 66
#define TAVOCONFIG_COLOR_OVERLAY_LABEL_FONT_INACTIVE 67
#define TAVOCONFIG_COLOR_PLAY_CURSOR_ACTIVE 68
#define TAVOCONFIG_COLOR_PLAY_CURSOR_ACTIVE_BORDER 69
#define TAVOCONFIG_COLOR_PLAY_CURSOR_INACTIVE 70
#define TAVOCONFIG_COLOR_PLAY_CURSOR_INACTIVE_BORDER 71
#define TAVOCONFIG_COLOR_PROGRESS_BAR_OFF 72
#define TAVOCONFIG_COLOR_PROGRESS_BAR_ON 73
#define TAVOCONFIG_COLOR_PROGRESS_BAR_TEXT 74
#define TAVOCONFIG_COLOR_PROPERTIES_TOP_WIDGET_COLOR_1 75
#define TAVOCONFIG_COLOR_PROPERTIES_TOP_WIDGET_COLOR_2 76
#define TAVOCONFIG_COLOR_PROPERTIES_TOP_WIDGET_TEXT_COLOR 77
#define TAVOCONFIG_COLOR_REGION_0 78
#define TAVOCONFIG_COLOR_REGION_1 79
#define TAVOCONFIG_COLOR_REGION_2 80
#define TAVOCONFIG_COLOR_REGION_3 81
#define TAVOCONFIG_COLOR_REGION_4 82
#define TAVOCONFIG_COLOR_REGION_5 83
#define TAVOCONFIG_COLOR_REGION_6 84
#define TAVOCONFIG_COLOR_REGION_7 85
#define TAVOCONFIG_COLOR_REGION_8 86
#define TAVOCONFIG_COLOR_REGION_9 87
#define TAVOCONFIG_COLOR_REGION_10 88
#define TAVOCONFIG_COLOR_REGION_11 89
#define TAVOCONFIG_COLOR_REGION_12 90
#define TAVOCONFIG_COLOR_REGION_13 91
#define TAVOCONFIG_COLOR_REGION_14 92
#define TAVOCONFIG_COLOR_REGION_15 93
#define TAVOCONFIG_COLOR_REGION_16 94
#define TAVOCONFIG_COLOR_REGION_17 95
#define TAVOCONFIG_COLOR_REGION_18 96
#define TAVOCONFIG_COLOR_REGION_19 97
#define TAVOCONFIG_COLOR_REGION_BORDER_0 98
#define TAVOCONFIG_COLOR_REGION_BORDER_1 99
#define TAVOCONFIG_COLOR_REGION_BORDER_2 100
#define TAVOCONFIG_COLOR_REGION_BORDER_3 101
#define TAVOCONFIG_COLOR_REGION_BORDER_4 102
#define TAVOCONFIG_COLOR_REGION_BORDER_5 103
#define TAVOCONFIG_COLOR_REGION_BORDER_6 104
#define TAVOCONFIG_COLOR_REGION_BORDER_7 105
#define TAVOCONFIG_COLOR_REGION_BORDER_8 106
#define TAVOCONFIG_COLOR_REGION_BORDER_9 107
#define TAVOCONFIG_COLOR_REGION_BORDER_10 108
#define TAVOCONFIG_COLOR_REGION_BORDER_11 109
#define TAVOCONFIG_COLOR_REGION_BORDER_12 110
#define TAVOCONFIG_COLOR_REGION_BORDER_13 111
#define TAVOCONFIG_COLOR_REGION_BORDER_14 112
#define TAVOCONFIG_COLOR_REGION_BORDER_15 113
#define TAVOCONFIG_COLOR_REGION_BORDER_16 114
#define TAVOCONFIG_COLOR_REGION_BORDER_17 115
#define TAVOCONFIG_COLOR_REGION_BORDER_18 116
#define TAVOCONFIG_COLOR_REGION_BORDER_19 117
#define TAVOCONFIG_COLOR_REGION_BORDER_DEFAULT 118
#define TAVOCONFIG_COLOR_REGION_DEFAULT 119
#define TAVOCONFIG_COLOR_REGION_LINE_1 120
#define TAVOCONFIG_COLOR_REGION_LINE_2 121
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_8 122
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_9 123
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_10 124
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_11 125
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_12 126
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_13 127
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_14 128
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_15 129
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_16 130
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_17 131
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_18 132
#define TAVOCONFIG_COLOR_REGION_SELECRED_BORDER_19 133
#define TAVOCONFIG_COLOR_REGION_SELECTED_0 134
#define TAVOCONFIG_COLOR_REGION_SELECTED_1 135
#define TAVOCONFIG_COLOR_REGION_SELECTED_2 136
#define TAVOCONFIG_COLOR_REGION_SELECTED_3 137
#define TAVOCONFIG_COLOR_REGION_SELECTED_4 138
#define TAVOCONFIG_COLOR_REGION_SELECTED_5 139
#define TAVOCONFIG_COLOR_REGION_SELECTED_6 140
#define TAVOCONFIG_COLOR_REGION_SELECTED_7 141
#define TAVOCONFIG_COLOR_REGION_SELECTED_8 142
#define TAVOCONFIG_COLOR_REGION_SELECTED_9 143
#define TAVOCONFIG_COLOR_REGION_SELECTED_10 144
#define TAVOCONFIG_COLOR_REGION_SELECTED_11 145
#define TAVOCONFIG_COLOR_REGION_SELECTED_12 146
#define TAVOCONFIG_COLOR_REGION_SELECTED_13 147
#define TAVOCONFIG_COLOR_REGION_SELECTED_14 148
#define TAVOCONFIG_COLOR_REGION_SELECTED_15 149
#define TAVOCONFIG_COLOR_REGION_SELECTED_16 150
#define TAVOCONFIG_COLOR_REGION_SELECTED_17 151
#define TAVOCONFIG_COLOR_REGION_SELECTED_18 152
#define TAVOCONFIG_COLOR_REGION_SELECTED_19 153
#define TAVOCONFIG_COLOR_REGION_SELECTED_BORDER_0 154
#define TAVOCONFIG_COLOR_REGION_SELECTED_BORDER_1 155
#define TAVOCONFIG_COLOR_REGION_SELECTED_BORDER_2 156
#define TAVOCONFIG_COLOR_REGION_SELECTED_BORDER_3 157
#define TAVOCONFIG_COLOR_REGION_SELECTED_BORDER_4 158
#define TAVOCONFIG_COLOR_REGION_SELECTED_BORDER_5 159
#define TAVOCONFIG_COLOR_REGION_SELECTED_BORDER_6 160
#define TAVOCONFIG_COLOR_REGION_SELECTED_BORDER_7 161
#define TAVOCONFIG_COLOR_REGION_SELECTED_BORDER_DEFAULT 162
#define TAVOCONFIG_COLOR_REGION_SELECTED_DEFAULT 163
#define TAVOCONFIG_COLOR_REGION_TEXT_0 164
#define TAVOCONFIG_COLOR_REGION_TEXT_1 165
#define TAVOCONFIG_COLOR_REGION_TEXT_2 166
#define TAVOCONFIG_COLOR_REGION_TEXT_3 167
#define TAVOCONFIG_COLOR_REGION_TEXT_4 168
#define TAVOCONFIG_COLOR_REGION_TEXT_5 169
#define TAVOCONFIG_COLOR_REGION_TEXT_6 170
#define TAVOCONFIG_COLOR_REGION_TEXT_7 171
#define TAVOCONFIG_COLOR_REGION_TEXT_8 172
#define TAVOCONFIG_COLOR_REGION_TEXT_9 173
#define TAVOCONFIG_COLOR_REGION_TEXT_10 174
#define TAVOCONFIG_COLOR_REGION_TEXT_11 175
#define TAVOCONFIG_COLOR_REGION_TEXT_12 176
#define TAVOCONFIG_COLOR_REGION_TEXT_13 177
#define TAVOCONFIG_COLOR_REGION_TEXT_14 178
#define TAVOCONFIG_COLOR_REGION_TEXT_15 179
#define TAVOCONFIG_COLOR_REGION_TEXT_16 180
#define TAVOCONFIG_COLOR_REGION_TEXT_17 181
#define TAVOCONFIG_COLOR_REGION_TEXT_18 182
#define TAVOCONFIG_COLOR_REGION_TEXT_19 183
#define TAVOCONFIG_COLOR_REGION_TEXT_DEFAULT 184
#define TAVOCONFIG_COLOR_REGIONLABEL_FOCUSED_TEXT 185
#define TAVOCONFIG_COLOR_REGIONLABEL_TEXT 186
#define TAVOCONFIG_COLOR_SCALE_BACKGROUND 187
#define TAVOCONFIG_COLOR_SCALE_FONT_ACTIVE 188
#define TAVOCONFIG_COLOR_SCALE_FONT_INACTIVE 189
#define TAVOCONFIG_COLOR_SCALE_GRID 190
#define TAVOCONFIG_COLOR_SCALE_TICK 191
#define TAVOCONFIG_COLOR_SCALE_TICK_INACTIVE 192
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_ACTIVE_BACKGROUND 193
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_BACKGROUND 194
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_BORDER 195
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_DISABLED_BACKGROUND 196
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_DISABLED_TEXT 197
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_FOCUSED_BACKGROUND 198
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_FOCUSED_TEXT 199
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_SELECTED_BACKGROUND 200
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_SELECTED_TEXT 201
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_TEXT 202
#define TAVOCONFIG_COLOR_SELECTION 203
#define TAVOCONFIG_COLOR_SELECTION_ADD 204
#define TAVOCONFIG_COLOR_SELECTION_DELETE 205
#define TAVOCONFIG_COLOR_SIDEBAR_ACTIVE_INDICATOR 206
#define TAVOCONFIG_COLOR_SIDEBAR_BACKGROUND 207
#define TAVOCONFIG_COLOR_SIDEBAR_DISABLED_SELECTED_TEXT 208
#define TAVOCONFIG_COLOR_SIDEBAR_DISABLED_TEXT 209
#define TAVOCONFIG_COLOR_SIDEBAR_DROP_TARGET_1 210
#define TAVOCONFIG_COLOR_SIDEBAR_DROP_TARGET_2 211
#define TAVOCONFIG_COLOR_SIDEBAR_HIGHLIGHT_SELECTED 212
#define TAVOCONFIG_COLOR_SIDEBAR_HIGHLIGHT_UNSELECTED 213
#define TAVOCONFIG_COLOR_SIDEBAR_ICON_BACKGROUND 214
#define TAVOCONFIG_COLOR_SIDEBAR_INACTIVE_TEXT 215
#define TAVOCONFIG_COLOR_SIDEBAR_PROGRESSBAR 216
#define TAVOCONFIG_COLOR_SIDEBAR_PROGRESSBAR_BACKGROUND 217
#define TAVOCONFIG_COLOR_SIDEBAR_PROGRESSBAR_DISABLED 218
#define TAVOCONFIG_COLOR_SIDEBAR_SELECTED_INACTIVE_TEXT 219
#define TAVOCONFIG_COLOR_SIDEBAR_SELECTED_TEXT 220
#define TAVOCONFIG_COLOR_SIDEBAR_SELECTION_1 221
#define TAVOCONFIG_COLOR_SIDEBAR_SELECTION_2 222
#define TAVOCONFIG_COLOR_SIDEBAR_SELECTION_INACTIVE_1 223
#define TAVOCONFIG_COLOR_SIDEBAR_SELECTION_INACTIVE_2 224
#define TAVOCONFIG_COLOR_SIDEBAR_SEPARATOR 225
#define TAVOCONFIG_COLOR_SIDEBAR_SEPARATOR_SELECTED 226
#define TAVOCONFIG_COLOR_SIDEBAR_TEXT 227
#define TAVOCONFIG_COLOR_TOOL_BUTTON_DISABLED_BACKGROUND 228
#define TAVOCONFIG_COLOR_TOOL_BUTTON_DISABLED_TEXT 229
#define TAVOCONFIG_COLOR_TOOL_BUTTON_FOCUSED_BACKGROUND 230
#define TAVOCONFIG_COLOR_TOOL_BUTTON_FOCUSED_TEXT 231
#define TAVOCONFIG_COLOR_TOOL_BUTTON_SELECTED_BACKGROUND 232
#define TAVOCONFIG_COLOR_TOOL_BUTTON_SELECTED_TEXT 233
#define TAVOCONFIG_COLOR_TOOL_BUTTON_TEXT 234
#define TAVOCONFIG_COLOR_TOOL_CONTROL_FONT_ACTIVE 235
#define TAVOCONFIG_COLOR_TOOL_CONTROL_FONT_INACTIVE 236
#define TAVOCONFIG_COLOR_TOOLBAR_BACKGROUND 237
#define TAVOCONFIG_COLOR_TOOLBAR_DISABLED_BACKGROUND 238
#define TAVOCONFIG_COLOR_TRACK_GRID_POSITION 239
#define TAVOCONFIG_COLOR_VISUALTOOLS_BORDER 240
#define TAVOCONFIG_COLOR_WAVEFORM 241
#define TAVOCONFIG_COLOR_WAVEFORM_01 242
#define TAVOCONFIG_COLOR_WAVEFORM_02 243
#define TAVOCONFIG_COLOR_WAVEFORM_03 244
#define TAVOCONFIG_COLOR_WAVEFORM_04 245
#define TAVOCONFIG_COLOR_WAVEFORM_BACKGROUND_GRADIENT_END 246
#define TAVOCONFIG_COLOR_WAVEFORM_BACKGROUND_GRADIENT_START 247
#define TAVOCONFIG_COLOR_WAVEFORM_CONTOUR 248
#define TAVOCONFIG_COLOR_WAVEFORM_CONTOUR_01 249
#define TAVOCONFIG_COLOR_WAVEFORM_CONTOUR_02 250
#define TAVOCONFIG_COLOR_WAVEFORM_CONTOUR_03 251
#define TAVOCONFIG_COLOR_WAVEFORM_CONTOUR_04 252
#define TAVOCONFIG_COLOR_WAVEFORM_HIGHLIGHT 253
#define TAVOCONFIG_COLOR_WAVEFORM_INACTIVE 254
#define TAVOCONFIG_COLOR_WAVEFORM_INACTIVE_CONTOUR 255
#define TAVOCONFIG_COLOR_WAVEFORM_INACTIVE_OVERLAY 256
#define TAVOCONFIG_COLOR_WAVEFORM_INACTIVE_ZERO_LINE 257
#define TAVOCONFIG_COLOR_WAVEFORM_ZERO_LINE 258
#define TAVOCONFIG_COLOR_WINDOW_BACKGROUND 259
#define TAVOCONFIG_COLOR_TOOL_BUTTON_ACTIVE_TEXT 260
#define TAVOCONFIG_COLOR_SCALE_TOOL_BUTTON_ACTIVE_TEXT 261
#define TAVOCONFIG_COLOR_TOOL_BUTTON_ACTIVE_BACKGROUND 262
#define TAVOCONFIG_COLOR_TRACK_GRID_POSITION_CONTOUR 263
#define TAVOCONFIG_COLOR_TRACK_GRID_BOX 264
#define TAVOCONFIG_COLOR_TRACK_GRID_BOX_TEXT 265
#define TAVOCONFIG_COLOR_SIDEBAR_INACTIVE_DISABLED_SELECTED_TEXT 266
#define TAVOCONFIG_COLOR_CHANNEL_SEPARATOR 267
#define TAVOCONFIG_COLOR_SIDEBAR_PLAYBACK_HIGHLIGHT_BACKGROUND 268
#define TAVOCONFIG_COLOR_MARKERS_AREA_MARKER_SELECTED_BACKGROUND 269
#define TAVOCONFIG_COLOR_WAVEFORM_HIGHLIGHT_LABEL 270
#define TAVOCONFIG_COLOR_WAVEFORM_HIGHLIGHT_BORDER 271

/* Indexes of TAVODRAWCONFIG.options. */
#define TAVOCONFIG_OPTION_CAPTURE_CURSOR_DRAW_BORDER 0
#define TAVOCONFIG_OPTION_CAPTURE_CURSOR_DRAW_SHADOW 1
#define TAVOCONFIG_OPTION_CAPTURE_CURSOR_DRAW_SLIDER 2
#define TAVOCONFIG_OPTION_CHANNELID_FONT_SHADOW 3
#define TAVOCONFIG_OPTION_INSERT_CURSOR_DRAW_BORDER 4
#define TAVOCONFIG_OPTION_INSERT_CURSOR_DRAW_SHADOW 5
#define TAVOCONFIG_OPTION_INSERT_CURSOR_DRAW_SLIDER 6
#define TAVOCONFIG_OPTION_LEVEL_METER_USE_FULL_GRID 7
#define TAVOCONFIG_OPTION_LINKED_CURSOR_DRAW_BORDER 8
#define TAVOCONFIG_OPTION_LINKED_CURSOR_DRAW_SHADOW 9
#define TAVOCONFIG_OPTION_LINKED_CURSOR_DRAW_SLIDER 10
#define TAVOCONFIG_OPTION_LOW_GRAPHICS_ENGINE 11
#define TAVOCONFIG_OPTION_MAIN_CURSOR_DRAW_BORDER 12
#define TAVOCONFIG_OPTION_MAIN_CURSOR_DRAW_SHADOW 13
#define TAVOCONFIG_OPTION_MAIN_CURSOR_DRAW_SLIDER 14
#define TAVOCONFIG_OPTION_PLAY_CURSOR_DRAW_BORDER 15
#define TAVOCONFIG_OPTION_PLAY_CURSOR_DRAW_SHADOW 16
#define TAVOCONFIG_OPTION_PLAY_CURSOR_DRAW_SLIDER 17
#define TAVOCONFIG_OPTION_SCALE_FONT_SHADOW 18
#define TAVOCONFIG_OPTION_SIDEBAR_BORDER 19
#define TAVOCONFIG_OPTION_TOOL_CONTROL_FONT_SHADOW 20

/* The settings name of a colour or option index ("waveform",
** "region_selecred_border_8", "Waveform_Highlight_Label" ...): static text,
** null for an index out of range. */
TAVO_API const char *TAVOCONFIG_ColorKeyName(int32_t index);
TAVO_API const char *TAVOCONFIG_OptionKeyName(int32_t index);
/* The index of a colour or option name (exact spelling, case included), -1
** for a null or unknown name. */
TAVO_API int32_t TAVOCONFIG_ColorKeyIndex(const char *name);
TAVO_API int32_t TAVOCONFIG_OptionKeyIndex(const char *name);

/* Reads one colour of a profile from the settings ("rgba(r,g,b,a)"), 0
** (transparent black) for a missing or malformed value or a null name. */
TAVO_API uint32_t TAVOCONFIG_ProfileColor(const char *profile, const char *colorName);

/* ---- profiles -------------------------------------------------------------- */

/* Named profiles, parents before children (index 0 .. 14): classic, aqua,
** light, dark_aqua, dark_classic, dark_fusion, dark_mojave, dark_tahoe,
** black_tahoe, light_fusion, light_mojave, blackandwhite, light_theme,
** macos, debug. Name: static text, null out of range. Parent: the profile it
** derives from by default, null for "classic" and out of range. */
TAVO_API const char *TAVOCONFIG_ProfileName(int32_t index);
TAVO_API const char *TAVOCONFIG_ProfileParent(const char *profile);
/* True when the profile's waveform area is dark: the mean HSP brightness
** of its two waveform background colours, as currently set, is below 0.5.
** Hosts use it to pick icons. False for a null name. */
TAVO_API bool TAVOCONFIG_ProfileIsDark(const char *profile);

/* Each registers the defaults of one named profile: its fallback key (its
** parent), every colour and option copied from the fallback the settings
** name (a stored fallback wins), "profile_is_valid" 1, the capitalised
** option keys Low_Graphics_Engine and Sidebar_Border 0, then its own
** colours. Only defaults are written; stored values stay. Return true. */
TAVO_API bool TAVOCONFIG_ResetClassicProfile(void);
TAVO_API bool TAVOCONFIG_ResetAquaProfile(void);
TAVO_API bool TAVOCONFIG_ResetLightProfile(void);
TAVO_API bool TAVOCONFIG_ResetDarkAquaProfile(void);
TAVO_API bool TAVOCONFIG_ResetDarkClassicProfile(void);
TAVO_API bool TAVOCONFIG_ResetDarkFusionProfile(void);
TAVO_API bool TAVOCONFIG_ResetDarkMojaveProfile(void);
TAVO_API bool TAVOCONFIG_ResetDarkTahoeProfile(void);
TAVO_API bool TAVOCONFIG_ResetBlackTahoeProfile(void);
TAVO_API bool TAVOCONFIG_ResetLightFusionProfile(void);
TAVO_API bool TAVOCONFIG_ResetLightMojaveProfile(void);
TAVO_API bool TAVOCONFIG_ResetBlackandwhiteProfile(void);
TAVO_API bool TAVOCONFIG_ResetLightThemeProfile(void);
TAVO_API bool TAVOCONFIG_ResetMacosProfile(void);
TAVO_API bool TAVOCONFIG_ResetDebugProfile(void);

/* Registers the default of each of the 260 stored colour keys and the 21
** option keys of `profile`: the current value of the same key in
** `fallback`, or, with a null or empty fallback, transparent black and the
** base option (0; 1 for level_meter_use_full_grid). False for a null, empty
** or too long profile name. */
TAVO_API bool TAVOCONFIG_CreateProfileScheme(const char *profile, const char *fallback);
/* For each of the twelve later colour keys that `profile` lacks (no value,
** no default), registers as default the profile's current value of its
** source key. Keys present are left alone. False for a bad name. */
TAVO_API bool TAVOCONFIG_AddNewSettings(const char *profile);

/* ---- name tables ------------------------------------------------------------ */

/* Each Decode gives the code of a text (case-insensitive, blanks around it
** ignored), or `defaultCode` for a null, empty or unknown text. Each Encode
** gives static text for a code, never null. Pure; any thread. */

/* Window types: 0 rectangular, 1 triangular, 3 hann, 5 hamming, 6 blackman,
** 7 blackman-harris, 8 blackman-nuttall; other codes encode "blackman". */
TAVO_API int32_t TAVOCONFIG_DecodeWinType(const char *text, int32_t defaultCode);
TAVO_API const char *TAVOCONFIG_EncodeWinType(int32_t code);
/* Horizontal scale kinds: 1 sample, 2 time, 4 frame, 8 seconds, 16 beats,
** 32 smpte, else "undef"; also decodes smpl, sec, frm, bpm. */
TAVO_API int32_t TAVOCONFIG_DecodeHorzScaleKind(const char *text, int32_t defaultCode);
TAVO_API const char *TAVOCONFIG_EncodeHorzScaleKind(int32_t code);
/* Vertical scale kinds: 0 sample, 1 db, 2 percentual, 3 normalized, else
** "undef"; also decodes smpl, smp, sample_value, perc, %, norm. */
TAVO_API int32_t TAVOCONFIG_DecodeVertScaleKind(const char *text, int32_t defaultCode);
TAVO_API const char *TAVOCONFIG_EncodeVertScaleKind(int32_t code);
/* Spectral scale kinds: 0 hz, 1 mels, 2 bark, 3 loghz, else "undef"; also
** decodes hertz and mel. */
TAVO_API int32_t TAVOCONFIG_DecodeSpecScaleKind(const char *text, int32_t defaultCode);
TAVO_API const char *TAVOCONFIG_EncodeSpecScaleKind(int32_t code);
/* Scroll-zoom modes: 0 mouse, 1 cursor, 2 cursor_centered, 3 center; other
** codes encode "mouse"; also decodes focus (1). */
TAVO_API int32_t TAVOCONFIG_DecodeScrollZoomMode(const char *text, int32_t defaultCode);
TAVO_API const char *TAVOCONFIG_EncodeScrollZoomMode(int32_t code);
/* Spectrogram colour schemes 0 lineargrayscale .. 27 oceandeep, else
** "undef"; also decodes invlineargrayscale (0) and invgrayscale (1). */
TAVO_API int32_t TAVOCONFIG_DecodeColorScheme(const char *text, int32_t defaultCode);
TAVO_API const char *TAVOCONFIG_EncodeColorScheme(int32_t code);

/* ---- system font and window background -------------------------------------- */

/* The host's system font family, used by every profile font without a
** family of its own ("Sans" until set). Set copies the text (null or ""
** restores "Sans"; longer than 127 bytes: false). The getter's text is
** the library's, valid until the next Set. UI thread. */
TAVO_API bool TAVOCONFIG_SetDefaultSystemFont(const char *family);
TAVO_API const char *TAVOCONFIG_DefaultSystemFont(void);
/* The host's window background colour (packed), which the drawing uses
** around the document views; the current profile's window_background until
** the host sets one. Returns true. */
TAVO_API bool TAVOCONFIG_SetSystemBackgrondColor(uint32_t color);
TAVO_API uint32_t TAVOCONFIG_WindowBackgroundColor(void);

/* ---- spectrogram dynamic range ----------------------------------------------- */

/* The dynamic ranges offered, in dB, ascending: 20, 30, 40, 50, 60, 70, 80,
** 90, 100, 120. */
#define TAVOCONFIG_DYNAMIC_RANGE_COUNT 10
#define TAVOCONFIG_DYNAMIC_RANGE_MIN 20.0
#define TAVOCONFIG_DYNAMIC_RANGE_MAX 120.0

/* Stores `dB` as the dynamic range of spectral preset `preset` (null: the
** configured preset, "libtavo.spectral.preset") with a settings value
** "libtavo.spectral.<preset>.dynrange", then sends the process-wide event
** TAVOEVENT_DYNAMIC_RANGE_CHANGED (source null, arg1 a const double * to
** the value, arg2 the preset name). False, nothing stored or sent, for a
** value outside 20..120 dB or a bad preset name. UI thread. */
TAVO_API bool TAVOCONFIG_SetDynamicRange(const char *preset, double dB);
/* With steps 0: the stored dynamic range of `preset` (null: the configured
** one). Otherwise the table value `steps` entries above (positive) or below
** (negative) the table entry nearest that range, clamped to the table ends,
** which is what a wheel over the dynamic-range control moves to. */
TAVO_API double TAVOCONFIG_DynamicRangeValueEx(const char *preset, int32_t steps);

/* ---- view state defaults --------------------------------------------------- */

/* Copies the configured view defaults into `state` (null: the document's
** state): spectral preset settings, FFT engine, power graph range, the
** three scale kinds and the annotation-track look of channels 0..31. With
** `reload`, the state's draw-config copy is refreshed from the current
** profile first. Sends nothing; the caller notifies. False for a null
** state with a null or stateless document. UI thread. */
TAVO_API bool TAVOCONFIG_ApplyStateConfigurationEx(TAVOAUDIO audio, TAVOSTATE state, bool reload);

/* ---- toolbars ------------------------------------------------------------- */

/* Table size and the most controls a toolbar holds. */
#define TAVOCONFIG_MAX_TOOLBARS 22
#define TAVOCONFIG_MAX_TOOLBAR_CONTROLS 109

/* Toolbar kinds (0 is an empty slot). */
#define TAVOCONFIG_TOOLBAR_KIND_VIEW 1
#define TAVOCONFIG_TOOLBAR_KIND_SELECTION 2
#define TAVOCONFIG_TOOLBAR_KIND_VISUALTOOLS 3
#define TAVOCONFIG_TOOLBAR_KIND_SCALE 4

/* Orientations: controls laid out left to right, or top to bottom. */
#define TAVOCONFIG_TOOLBAR_HORIZONTAL 0
#define TAVOCONFIG_TOOLBAR_VERTICAL 1

/* Alignment bits: where the toolbar sits in its view. */
#define TAVOCONFIG_ALIGN_LEFT 0x01
#define TAVOCONFIG_ALIGN_RIGHT 0x02
#define TAVOCONFIG_ALIGN_HCENTER 0x04
#define TAVOCONFIG_ALIGN_TOP 0x10
#define TAVOCONFIG_ALIGN_BOTTOM 0x20
#define TAVOCONFIG_ALIGN_VCENTER 0x40

/* Flag bits of a toolbar. */
#define TAVOCONFIG_TOOLBAR_FILL_BACKGROUND 0x01
#define TAVOCONFIG_TOOLBAR_ALLOW_PARTIAL 0x02
#define TAVOCONFIG_TOOLBAR_SAVE_OVERLAY 0x04
#define TAVOCONFIG_TOOLBAR_LOCKED 0x08
#define TAVOCONFIG_TOOLBAR_PREFER_MINIMAL_SIZE 0x10

/* Control kinds (TAVOCONFIG_ToolControlType). */
#define TAVOCONFIG_CONTROL_BUTTON 1
#define TAVOCONFIG_CONTROL_TOGGLEABLE_BUTTON 2
#define TAVOCONFIG_CONTROL_LOCKER 3
#define TAVOCONFIG_CONTROL_DRAG 4
#define TAVOCONFIG_CONTROL_TIMED_BUTTON 5
#define TAVOCONFIG_CONTROL_SLIDER 6
#define TAVOCONFIG_CONTROL_TEXT_EDIT 7
#define TAVOCONFIG_CONTROL_TIME_EDIT 8
#define TAVOCONFIG_CONTROL_DURATION_EDIT 9
#define TAVOCONFIG_CONTROL_TEXT_LABEL 10
#define TAVOCONFIG_CONTROL_TEXT_BUTTON 11
#define TAVOCONFIG_CONTROL_ICON 12
#define TAVOCONFIG_CONTROL_GRIP 13
#define TAVOCONFIG_CONTROL_TEXT_TOGGLEABLE_BUTTON 14
#define TAVOCONFIG_CONTROL_FLEXIBLE_SPACE 15
#define TAVOCONFIG_CONTROL_SPACE 16

/* Control actions (TAVOCONFIG_ToolControlAction): what the host does when
** the control is used. */
#define TAVOCONFIG_ACTION_NONE 0
#define TAVOCONFIG_ACTION_PRESS 1  /* one pressed event on release */
#define TAVOCONFIG_ACTION_REPEAT 2 /* pressed events repeated while held */
#define TAVOCONFIG_ACTION_TOGGLE 3 /* flips a state shown by the control */
#define TAVOCONFIG_ACTION_DRAG 4   /* starts a drag operation */
#define TAVOCONFIG_ACTION_EDIT 5   /* opens an in-place editor */
#define TAVOCONFIG_ACTION_SLIDE 6  /* moves a value along a track */

/* Control models (TAVOCONFIG_ToolControlModel): how the control is drawn. */
#define TAVOCONFIG_MODEL_NONE 0   /* nothing drawn (spaces) */
#define TAVOCONFIG_MODEL_ICON 1   /* a square pictogram */
#define TAVOCONFIG_MODEL_TEXT 2   /* a caption, framed when pressable */
#define TAVOCONFIG_MODEL_FIELD 3  /* an editable value box */
#define TAVOCONFIG_MODEL_SLIDER 4 /* a track with a knob */

/* Empties the table: every slot loses its toolbar, name and controls. */
TAVO_API void TAVOCONFIG_ClearToolContols(void);
/* Empties the table, then fills slots 1 to 21 with the default toolbars,
** names, geometry and controls. Returns true. */
TAVO_API bool TAVOCONFIG_ResetToolContols(void);

/* Puts a toolbar of `kind` (not 0) in an empty slot: flags, controls and
** locker proxy cleared, control size 21 x 21, padding 3,4,2,4, margins 8,
** distance 3 for a non-zero orientation else 6. Returns false (warning) when
** the slot is taken or kind is 0. A slot outside 0..21 aborts the process. */
TAVO_API bool TAVOCONFIG_AddToolbar(int32_t slot, uint32_t kind, int32_t orientation, int32_t alignment);
/* Deliberately inverted: a slot holding a toolbar is left as it is (warning,
** false); an empty slot has its alignment and control count cleared (true).
** A slot outside 0..21 aborts the process. */
TAVO_API bool TAVOCONFIG_RemoveToolbar(int32_t slot);

/* Kind of the toolbar in a slot, 0 for an empty or invalid slot. */
TAVO_API uint32_t TAVOCONFIG_ToolbarKind(int32_t slot);

/* Names: a copy of `name` (null unsets it). ToolbarName gives the stored
** name or null; the settings name "toolbar_%02x" is stored on first use by
** the lock persistence. Setters abort the process for a slot outside 0..21
** and return false for an empty slot. */
TAVO_API bool TAVOCONFIG_SetToolbarName(int32_t slot, const char *name);
TAVO_API const char *TAVOCONFIG_ToolbarName(int32_t slot);

/* Orientation and alignment (setter rules as for names). */
TAVO_API bool TAVOCONFIG_SetToolbarOrientation(int32_t slot, int32_t orientation);
TAVO_API int32_t TAVOCONFIG_ToolbarOrientation(int32_t slot);
TAVO_API bool TAVOCONFIG_SetToolbarAlignment(int32_t slot, int32_t alignment);
TAVO_API int32_t TAVOCONFIG_ToolbarAlignment(int32_t slot);

/* One flag bit each (setter rules as for names); getters give false for an
** empty or invalid slot. */
TAVO_API bool TAVOCONFIG_SetToolbarFillBackground(int32_t slot, bool value);
TAVO_API bool TAVOCONFIG_ToolbarFillBackground(int32_t slot);
TAVO_API bool TAVOCONFIG_SetToolbarAllowPartial(int32_t slot, bool value);
TAVO_API bool TAVOCONFIG_ToolbarAllowPartial(int32_t slot);
TAVO_API bool TAVOCONFIG_SetToolbarSaveOverlay(int32_t slot, bool value);
TAVO_API bool TAVOCONFIG_ToolbarSaveOverlay(int32_t slot);
TAVO_API bool TAVOCONFIG_SetToolbarLocked(int32_t slot, bool value);
TAVO_API bool TAVOCONFIG_ToolbarLocked(int32_t slot);
TAVO_API bool TAVOCONFIG_SetToolbarPreferMinimalSize(int32_t slot, bool value);
TAVO_API bool TAVOCONFIG_ToolbarPreferMinimalSize(int32_t slot);

/* Size given to icon controls added from now on, and the height of every
** control. SetToolbarControlsHeight changes the height alone. */
TAVO_API bool TAVOCONFIG_SetToolbarControlSize(int32_t slot, int32_t width, int32_t height);
TAVO_API bool TAVOCONFIG_SetToolbarControlsHeight(int32_t slot, int32_t height);
TAVO_API int32_t TAVOCONFIG_ToolbarControlWidth(int32_t slot);
TAVO_API int32_t TAVOCONFIG_ToolbarControlHeight(int32_t slot);

/* Inner space between the border and the controls. The four-value getter
** fills the non-null pointers and returns false for an empty slot. */
TAVO_API bool TAVOCONFIG_SetToolbarPadding(int32_t slot, int32_t top, int32_t right, int32_t bottom, int32_t left);
TAVO_API int32_t TAVOCONFIG_ToolbarPaddingTop(int32_t slot);
TAVO_API int32_t TAVOCONFIG_ToolbarPaddingRight(int32_t slot);
TAVO_API int32_t TAVOCONFIG_ToolbarPaddingBottom(int32_t slot);
TAVO_API int32_t TAVOCONFIG_ToolbarPaddingLeft(int32_t slot);
TAVO_API bool TAVOCONFIG_ToolbarPadding(int32_t slot, int32_t *top, int32_t *right, int32_t *bottom, int32_t *left);

/* Outer space between the toolbar and the edges of its view; same forms. */
TAVO_API bool TAVOCONFIG_SetToolbarMargin(int32_t slot, int32_t top, int32_t right, int32_t bottom, int32_t left);
TAVO_API int32_t TAVOCONFIG_ToolbarMarginTop(int32_t slot);
TAVO_API int32_t TAVOCONFIG_ToolbarMarginRight(int32_t slot);
TAVO_API int32_t TAVOCONFIG_ToolbarMarginBottom(int32_t slot);
TAVO_API int32_t TAVOCONFIG_ToolbarMarginLeft(int32_t slot);
TAVO_API bool TAVOCONFIG_ToolbarMargin(int32_t slot, int32_t *top, int32_t *right, int32_t *bottom, int32_t *left);

/* Gap between two neighbouring controls. */
TAVO_API bool TAVOCONFIG_SetToolbarControlsDistance(int32_t slot, int32_t distance);
TAVO_API int32_t TAVOCONFIG_ToolbarControlsDistance(int32_t slot);

/* Makes `slot` follow the lock of toolbar `proxy` when saved (0: its own
** lock). False for an empty slot or a proxy outside 0..21; a slot outside
** 0..21 aborts the process. ToolbarLockerProxy reads it back. */
TAVO_API bool TAVOCONFIG_AddTooolbarLockerProxy(int32_t slot, int32_t proxy);
TAVO_API int32_t TAVOCONFIG_ToolbarLockerProxy(int32_t slot);

/* Control adders. Each returns false, changing nothing, for a slot outside
** 0..21, an empty slot or a toolbar already holding 109 controls. An
** identifier already present is moved to the end (spacers excepted). Icon
** controls take the toolbar's current control size; every control takes
** its height. In a vertical toolbar a control wider than the control width
** (grip and handle excepted) widens it. Null labels use the identifier's
** own caption. */
TAVO_API bool TAVOCONFIG_AddToolbarButtonControl(int32_t slot, int32_t control);
TAVO_API bool TAVOCONFIG_AddToolbarToggleableButtonControl(int32_t slot, int32_t control);
TAVO_API bool TAVOCONFIG_AddToolbarLockerControl(int32_t slot); /* identifier 3 */
TAVO_API bool TAVOCONFIG_AddToolbarDragControl(int32_t slot, int32_t control);
TAVO_API bool TAVOCONFIG_AddToolbarTimedButtonControl(int32_t slot, int32_t control);
TAVO_API bool TAVOCONFIG_AddToolbarSliderControl(int32_t slot, int32_t control, int32_t width);
TAVO_API bool TAVOCONFIG_AddToolbarTextEditControl(int32_t slot, int32_t control, int32_t width);
TAVO_API bool TAVOCONFIG_AddToolbarTimeEditControl(int32_t slot, int32_t control, int32_t width);
TAVO_API bool TAVOCONFIG_AddToolbarDurationEditControl(int32_t slot, int32_t control, int32_t width);
TAVO_API bool TAVOCONFIG_AddToolbarTextLabelControl(int32_t slot, int32_t control, const char *label, int32_t width);
TAVO_API bool TAVOCONFIG_AddToolbarTextButtonControl(int32_t slot, int32_t control, const char *label, int32_t width);
TAVO_API bool TAVOCONFIG_AddToolbarIconControl(int32_t slot, int32_t control);
TAVO_API bool TAVOCONFIG_AddToolbarGripControl(int32_t slot); /* identifier 1 */
TAVO_API bool TAVOCONFIG_AddToolbarTextToggleableButtonControl(int32_t slot, int32_t control, const char *label,
                                                               int32_t width);
/* Spacers (identifier 0, never merged): a flexible space grows with the free
** room and is at least `minWidth` long; a space is exactly `width` long. */
TAVO_API bool TAVOCONFIG_AddToolbarFlexibleSpace(int32_t slot, int32_t minWidth);
TAVO_API bool TAVOCONFIG_AddToolbarSpace(int32_t slot, int32_t width);

/* Removes the control with that identifier, closing the gap; false when it
** is not there. */
TAVO_API bool TAVOCONFIG_RemoveToolbarControl(int32_t slot, int32_t control);

/* Number of controls, 0 for an empty or invalid slot. */
TAVO_API int32_t TAVOCONFIG_NumToolbarControls(int32_t slot);
/* Identifier at `index` (display order), -1 when out of range. */
TAVO_API int32_t TAVOCONFIG_ToolbarControl(int32_t slot, int32_t index);
/* Position of an identifier, -1 when absent (spacers: the first one). */
TAVO_API int32_t TAVOCONFIG_ToolbarControlIndex(int32_t slot, int32_t control);

/* Properties of the control at `index` (so that spacers can be asked too):
** 0, null or false when there is none. Width is the drawn width (a flexible
** space answers its minimum); MinWidth is the least width it accepts. */
TAVO_API int32_t TAVOCONFIG_ToolControlType(int32_t slot, int32_t index);
TAVO_API int32_t TAVOCONFIG_ToolControlAlignment(int32_t slot, int32_t index);
TAVO_API int32_t TAVOCONFIG_ToolControlAction(int32_t slot, int32_t index);
TAVO_API const char *TAVOCONFIG_ToolControlLabel(int32_t slot, int32_t index);
TAVO_API double TAVOCONFIG_ToolControlOpacity(int32_t slot, int32_t index);
TAVO_API bool TAVOCONFIG_ToolControlIsSpacer(int32_t slot, int32_t index);
TAVO_API int32_t TAVOCONFIG_ToolControlModel(int32_t slot, int32_t index);
TAVO_API int32_t TAVOCONFIG_ToolControlWidth(int32_t slot, int32_t index);
TAVO_API int32_t TAVOCONFIG_ToolControlMinWidth(int32_t slot, int32_t index);
TAVO_API int32_t TAVOCONFIG_ToolControlHeight(int32_t slot, int32_t index);

/* Least size of the toolbar, padding included, margins excluded. Along the
** orientation: the controls' lengths (width, or height in a vertical
** toolbar where a spacer counts its width) plus the distance between each
** two; across it: the largest control (the control width of a vertical
** toolbar). 0 for an empty or invalid slot. */
TAVO_API int32_t TAVOCONFIG_ToolbarWidthEx(int32_t slot);
TAVO_API int32_t TAVOCONFIG_ToolbarHeightEx(int32_t slot);

/* Curve toggles: shapes 0-10 are controls 94-104, movements 0-3 controls
** 105-108, shapes 11-13 controls 109-111. The queries answer -1 for a
** control that is not such a toggle; the reverse maps 0 for a bad value. */
TAVO_API int32_t TAVOCONFIG_CurveShapeOfControl(int32_t control);
TAVO_API int32_t TAVOCONFIG_CurveMovementOfControl(int32_t control);
TAVO_API int32_t TAVOCONFIG_ControlForCurveShape(int32_t shape);
TAVO_API int32_t TAVOCONFIG_ControlForCurveMovement(int32_t movement);

/* Lock persistence in the global settings store: for each slot 1..21
** holding a locker control, the key "<prefix>.toolbar.<name>.locked"
** (prefix "libtavo" when null). Load sets or clears the locked flag (absent
** key: unlocked). Save writes the lock of the end of the slot's locker-proxy
** chain, or 0 when the chain reaches an empty slot or loops. */
TAVO_API bool TAVOCONFIG_LoadToolbarConfig(const char *prefix);
TAVO_API bool TAVOCONFIG_SaveToolbarConfig(const char *prefix);

TAVO_EXTERN_C_END

#endif
