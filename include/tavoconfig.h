/*
** tavoconfig.h: process-wide configuration of libtavo (TAVOCONFIG_).
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

TAVO_EXTERN_C_BEGIN

/* ---- drawing configuration ------------------------------------------------ */

/* Colour keys of a profile: the 260 stored ones plus the 12 that
** TAVOCONFIG_AddNewSettings fills for profiles stored before them. */
#define TAVOCONFIG_COLOR_COUNT 272
#define TAVOCONFIG_OPTION_COUNT 21
#define TAVOCONFIG_PROFILE_NAME_SIZE 64
#define TAVOCONFIG_FONT_NAME_SIZE 128

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
** by the TAVOCONFIG_COLOR_ and TAVOCONFIG_OPTION_ numbers. */
typedef struct TAVODRAWCONFIG {
    char profile[TAVOCONFIG_PROFILE_NAME_SIZE];
    uint32_t colors[TAVOCONFIG_COLOR_COUNT];
    uint8_t options[TAVOCONFIG_OPTION_COUNT];
    TAVOCONFIGFONT scaleFont;
    TAVOCONFIGFONT regionFont;
    TAVOCONFIGFONT toolControlFont;
    TAVOCONFIGFONT channelIdFont;
} TAVODRAWCONFIG;

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
