// The process-wide toolbar table: slots, controls, geometry, lock persistence.
#include "tavoconfig.h"
#include "tavoeditcontrols.h"
#include "tavotoolcontrols.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>

#include "bldebug.h"
#include "blsettings.h"

namespace {

// Defaults given to every toolbar when it is added.
constexpr int32_t kControlSide = 21;
constexpr int32_t kPaddingTop = 3, kPaddingRight = 4, kPaddingBottom = 2, kPaddingLeft = 4;
constexpr int32_t kMargin = 8;
// Vertical toolbars are narrow columns, so their controls sit closer.
constexpr int32_t kDistanceVertical = 3;
constexpr int32_t kDistanceHorizontal = 6;

// Curve-toggle blocks: the movement block was placed right after the first
// eleven shapes, so the later shapes follow the movements.
constexpr int32_t kFirstShapeControl = EDITCONTROLS_CURVE_SHAPE_LINEAR;
constexpr int32_t kShapesBeforeMovements = EDITCONTROLS_CURVE_MOVEMENT_ACCEL - EDITCONTROLS_CURVE_SHAPE_LINEAR;
constexpr int32_t kFirstMovementControl = EDITCONTROLS_CURVE_MOVEMENT_ACCEL;
constexpr int32_t kNumMovements = 4;
constexpr int32_t kNumShapes = 14;
constexpr int32_t kLateShapeControl = EDITCONTROLS_CURVE_SHAPE_CURVE;

struct Control {
    int32_t id = 0;
    int32_t type = 0;
    std::optional<std::string> label;  // none: the identifier's caption
    int32_t width = 0;
    int32_t minWidth = 0;
    int32_t height = 0;
    int32_t alignment = 0;
    double opacity = 1.0;
};

struct Toolbar {
    uint32_t kind = 0;
    uint32_t reserved = 0;
    std::optional<std::string> name;
    int32_t orientation = 0;
    int32_t alignment = 0;
    uint32_t flags = 0;
    std::array<Control, TAVOCONFIG_MAX_TOOLBAR_CONTROLS> controls{};
    int32_t count = 0;
    int32_t controlWidth = 0, controlHeight = 0;
    int32_t padding[4] = {0, 0, 0, 0};  // top, right, bottom, left
    int32_t margin[4] = {0, 0, 0, 0};
    int32_t distance = 0;
    int32_t lockerProxy = 0;
};

// UI-thread only, like everything else in this file (no lock on purpose).
// The table is made on first use and never destroyed: the library starts
// and stops from load-time hooks, which may run before this file's static
// objects are constructed or after they are destroyed.
std::array<Toolbar, TAVOCONFIG_MAX_TOOLBARS> &toolbarTable()
{
    static auto *table = new std::array<Toolbar, TAVOCONFIG_MAX_TOOLBARS>();
    return *table;
}

bool validSlot(int32_t slot) { return slot >= 0 && slot < TAVOCONFIG_MAX_TOOLBARS; }

// A slot out of range in a call that changes the table is a caller bug, not
// a runtime condition: stop at once so that it is found where it happens
// instead of corrupting memory beside the table.
[[noreturn]] void trapBadSlot(const char *function, int32_t slot)
{
    BLDEBUG_TerminalError("%s: toolbar slot %d is outside 0..21", function, slot);
    std::fprintf(stderr, "%s: toolbar slot %d is outside 0..21, aborting\n", function, slot);
    std::fflush(stderr);
    std::abort();
}

// The toolbar a setter changes: traps a bad slot, null for an empty one.
Toolbar *editable(const char *function, int32_t slot)
{
    if (!validSlot(slot)) trapBadSlot(function, slot);
    Toolbar &t = toolbarTable()[size_t(slot)];
    return t.kind ? &t : nullptr;
}

// The toolbar a query or an adder reads: null for bad and empty slots.
Toolbar *existing(int32_t slot)
{
    if (!validSlot(slot)) return nullptr;
    Toolbar &t = toolbarTable()[size_t(slot)];
    return t.kind ? &t : nullptr;
}

const Control *controlAt(int32_t slot, int32_t index)
{
    const Toolbar *t = existing(slot);
    if (!t || index < 0 || index >= t->count) return nullptr;
    return &t->controls[size_t(index)];
}

int32_t indexOf(const Toolbar &t, int32_t id)
{
    for (int32_t i = 0; i < t.count; ++i)
        if (t.controls[size_t(i)].id == id) return i;
    return -1;
}

void removeAt(Toolbar &t, int32_t index)
{
    std::move(t.controls.begin() + index + 1, t.controls.begin() + t.count, t.controls.begin() + index);
    --t.count;
    t.controls[size_t(t.count)] = Control{};
}

bool addControl(int32_t slot, Control c)
{
    Toolbar *t = existing(slot);
    if (!t || t->count >= TAVOCONFIG_MAX_TOOLBAR_CONTROLS) return false;
    if (c.id != EDITCONTROLS_SPACER) {
        // A control is held once, where it was added last.
        const int32_t old = indexOf(*t, c.id);
        if (old >= 0) removeAt(*t, old);
    }
    c.height = t->controlHeight;
    c.alignment = t->alignment;
    t->controls[size_t(t->count++)] = std::move(c);
    const Control &added = t->controls[size_t(t->count - 1)];
    if (t->orientation == TAVOCONFIG_TOOLBAR_VERTICAL && added.id != EDITCONTROLS_TOOLBAR_GRIP &&
        added.id != EDITCONTROLS_TOOLBAR_HANDLE && added.width > t->controlWidth)
        t->controlWidth = added.width;
    return true;
}

bool isSpacerType(int32_t type)
{
    return type == TAVOCONFIG_CONTROL_FLEXIBLE_SPACE || type == TAVOCONFIG_CONTROL_SPACE;
}

Control iconControl(const Toolbar *t, int32_t id, int32_t type)
{
    Control c;
    c.id = id;
    c.type = type;
    c.width = c.minWidth = t ? t->controlWidth : 0;
    return c;
}

bool addIcon(int32_t slot, int32_t id, int32_t type)
{
    if (id <= EDITCONTROLS_SPACER || id >= EDITCONTROLS_COUNT) return false;
    return addControl(slot, iconControl(existing(slot), id, type));
}

bool addSized(int32_t slot, int32_t id, int32_t type, const char *label, int32_t width)
{
    if (id <= EDITCONTROLS_SPACER || id >= EDITCONTROLS_COUNT || width < 0) return false;
    Control c;
    c.id = id;
    c.type = type;
    if (label) c.label = label;
    c.width = c.minWidth = width;
    return addControl(slot, std::move(c));
}

bool addSpacer(int32_t slot, int32_t type, int32_t width)
{
    if (width < 0) return false;
    Control c;
    c.type = type;
    c.width = c.minWidth = width;
    c.opacity = 0.0;  // nothing is drawn
    return addControl(slot, std::move(c));
}

// Captions a host shows (tooltip or text) for controls added without one.
const char *caption(int32_t id)
{
    static const char *const kCaptions[] = {
        "",  // spacer
        "Move Toolbar", "Toolbar", "Lock Toolbar",
        "Drag Audio", "Drag to New File", "Selection Start", "Selection Duration", "Selection End",
        "New", "Open", "Save", "Close",
        "Spectrogram", "Waveform", "Navigator", "Level Guides",
        "Zoom In", "Zoom Out", "Zoom to Selection", "Zoom Full",
        "Zoom In Vertically", "Zoom Out Vertically", "Reset Vertical Zoom",
        "Undo", "Redo", "Cut", "Copy", "Paste", "Delete",
        "Play Selection", "Loop Selection", "Snap", "Zoom to Selection", "Crop", "Clear",
        "Fade In", "Fade Out", "Normalize", "Silence",
        "Gain", "Gain Value", "Reset Gain", "Apply Gain",
        "Accept", "Reject", "Preview", "Synchronize Curves",
        "Contrast", "Brightness", "Spectrogram Settings",
        "Rectify", "Show RMS", "Center Line",
        "Add Level Guide", "Remove Level Guide", "Clear Level Guides",
        "A", "B", "TIMECODE", "CD TIME",
        "seconds", "samples", "beats", "smpte", "frames",
        "linear", "percent", "dB", "normalized",
        "linear", "log", "mel", "bark",
        "Crossfade", "Duration", "Center", "Apply", "Cancel", "Preview", "Synchronize",
        "Fade Out", "Fade In", "Gain", "Gain Value", "Fade Out Curve", "Fade In Curve",
        "", "", "", "", "", "", "",  // 87-93 unused
        "Linear", "Quadr", "Cubic", "Quart", "Quint", "Sine", "Expo", "Circ", "Elast", "Back", "Bounce",
        "Accel", "Decel", "Acc-Dec", "Dec-Acc",
        "Curve", "Sine", "Cosine",
    };
    static_assert(std::size(kCaptions) == EDITCONTROLS_COUNT, "one caption per identifier");
    return id >= 0 && id < EDITCONTROLS_COUNT ? kCaptions[id] : "";
}

int32_t actionOf(int32_t type)
{
    switch (type) {
    case TAVOCONFIG_CONTROL_BUTTON:
    case TAVOCONFIG_CONTROL_TEXT_BUTTON: return TAVOCONFIG_ACTION_PRESS;
    case TAVOCONFIG_CONTROL_TIMED_BUTTON: return TAVOCONFIG_ACTION_REPEAT;
    case TAVOCONFIG_CONTROL_TOGGLEABLE_BUTTON:
    case TAVOCONFIG_CONTROL_TEXT_TOGGLEABLE_BUTTON:
    case TAVOCONFIG_CONTROL_LOCKER: return TAVOCONFIG_ACTION_TOGGLE;
    case TAVOCONFIG_CONTROL_DRAG:
    case TAVOCONFIG_CONTROL_GRIP: return TAVOCONFIG_ACTION_DRAG;
    case TAVOCONFIG_CONTROL_TEXT_EDIT:
    case TAVOCONFIG_CONTROL_TIME_EDIT:
    case TAVOCONFIG_CONTROL_DURATION_EDIT: return TAVOCONFIG_ACTION_EDIT;
    case TAVOCONFIG_CONTROL_SLIDER: return TAVOCONFIG_ACTION_SLIDE;
    default: return TAVOCONFIG_ACTION_NONE;  // labels, icons, spaces
    }
}

int32_t modelOf(int32_t type)
{
    switch (type) {
    case TAVOCONFIG_CONTROL_TEXT_LABEL:
    case TAVOCONFIG_CONTROL_TEXT_BUTTON:
    case TAVOCONFIG_CONTROL_TEXT_TOGGLEABLE_BUTTON: return TAVOCONFIG_MODEL_TEXT;
    case TAVOCONFIG_CONTROL_TEXT_EDIT:
    case TAVOCONFIG_CONTROL_TIME_EDIT:
    case TAVOCONFIG_CONTROL_DURATION_EDIT: return TAVOCONFIG_MODEL_FIELD;
    case TAVOCONFIG_CONTROL_SLIDER: return TAVOCONFIG_MODEL_SLIDER;
    case TAVOCONFIG_CONTROL_FLEXIBLE_SPACE:
    case TAVOCONFIG_CONTROL_SPACE:
    case 0: return TAVOCONFIG_MODEL_NONE;
    default: return TAVOCONFIG_MODEL_ICON;
    }
}

bool setFlag(const char *function, int32_t slot, uint32_t bit, bool value)
{
    Toolbar *t = editable(function, slot);
    if (!t) return false;
    t->flags = value ? (t->flags | bit) : (t->flags & ~bit);
    return true;
}

bool flag(int32_t slot, uint32_t bit)
{
    const Toolbar *t = existing(slot);
    return t && (t->flags & bit) != 0;
}

// Settings name of a toolbar; an unnamed one is given "toolbar_%02x" now so
// that load and save agree from then on.
const char *settingsName(int32_t slot)
{
    Toolbar &t = toolbarTable()[size_t(slot)];
    if (!t.name) {
        char buffer[16];
        std::snprintf(buffer, sizeof buffer, "toolbar_%02x", unsigned(slot));
        t.name = buffer;
    }
    return t.name->c_str();
}

bool hasLocker(const Toolbar &t) { return t.kind && indexOf(t, EDITCONTROLS_TOOLBAR_LOCKER) >= 0; }

}  // namespace

extern "C" {

// ---- table ------------------------------------------------------------------

void TAVOCONFIG_ClearToolContols(void)
{
    for (Toolbar &t : toolbarTable()) t = Toolbar{};
}

bool TAVOCONFIG_AddToolbar(int32_t slot, uint32_t kind, int32_t orientation, int32_t alignment)
{
    if (!validSlot(slot)) trapBadSlot("TAVOCONFIG_AddToolbar", slot);
    Toolbar &t = toolbarTable()[size_t(slot)];
    if (t.kind) {
        BLDEBUG_Warning("Add a already existing toolbar (%d)!", slot);
        return false;
    }
    if (kind == 0) return false;  // 0 marks an empty slot
    t = Toolbar{};
    t.kind = kind;
    t.orientation = orientation;
    t.alignment = alignment;
    t.controlWidth = t.controlHeight = kControlSide;
    t.padding[0] = kPaddingTop;
    t.padding[1] = kPaddingRight;
    t.padding[2] = kPaddingBottom;
    t.padding[3] = kPaddingLeft;
    std::fill(std::begin(t.margin), std::end(t.margin), kMargin);
    t.distance = orientation != 0 ? kDistanceVertical : kDistanceHorizontal;
    return true;
}

bool TAVOCONFIG_RemoveToolbar(int32_t slot)
{
    if (!validSlot(slot)) trapBadSlot("TAVOCONFIG_RemoveToolbar", slot);
    Toolbar &t = toolbarTable()[size_t(slot)];
    // Inverted on purpose: hosts depend on a live toolbar never being torn
    // out from under a view, and on this answer for an empty slot.
    if (t.kind) {
        BLDEBUG_Warning("Removing an invalid toolbar (%d)!", slot);
        return false;
    }
    t.alignment = 0;
    t.count = 0;
    return true;
}

uint32_t TAVOCONFIG_ToolbarKind(int32_t slot)
{
    return validSlot(slot) ? toolbarTable()[size_t(slot)].kind : 0;
}

// ---- names, orientation, alignment, flags -----------------------------------

bool TAVOCONFIG_SetToolbarName(int32_t slot, const char *name)
{
    Toolbar *t = editable("TAVOCONFIG_SetToolbarName", slot);
    if (!t) return false;
    t->name = name ? std::optional<std::string>(name) : std::nullopt;
    return true;
}

const char *TAVOCONFIG_ToolbarName(int32_t slot)
{
    const Toolbar *t = existing(slot);
    return t && t->name ? t->name->c_str() : nullptr;
}

bool TAVOCONFIG_SetToolbarOrientation(int32_t slot, int32_t orientation)
{
    Toolbar *t = editable("TAVOCONFIG_SetToolbarOrientation", slot);
    if (!t) return false;
    t->orientation = orientation;
    return true;
}

int32_t TAVOCONFIG_ToolbarOrientation(int32_t slot)
{
    const Toolbar *t = existing(slot);
    return t ? t->orientation : 0;
}

bool TAVOCONFIG_SetToolbarAlignment(int32_t slot, int32_t alignment)
{
    Toolbar *t = editable("TAVOCONFIG_SetToolbarAlignment", slot);
    if (!t) return false;
    t->alignment = alignment;
    return true;
}

int32_t TAVOCONFIG_ToolbarAlignment(int32_t slot)
{
    const Toolbar *t = existing(slot);
    return t ? t->alignment : 0;
}

bool TAVOCONFIG_SetToolbarFillBackground(int32_t slot, bool value)
{
    return setFlag("TAVOCONFIG_SetToolbarFillBackground", slot, TAVOCONFIG_TOOLBAR_FILL_BACKGROUND, value);
}
bool TAVOCONFIG_ToolbarFillBackground(int32_t slot) { return flag(slot, TAVOCONFIG_TOOLBAR_FILL_BACKGROUND); }

bool TAVOCONFIG_SetToolbarAllowPartial(int32_t slot, bool value)
{
    return setFlag("TAVOCONFIG_SetToolbarAllowPartial", slot, TAVOCONFIG_TOOLBAR_ALLOW_PARTIAL, value);
}
bool TAVOCONFIG_ToolbarAllowPartial(int32_t slot) { return flag(slot, TAVOCONFIG_TOOLBAR_ALLOW_PARTIAL); }

bool TAVOCONFIG_SetToolbarSaveOverlay(int32_t slot, bool value)
{
    return setFlag("TAVOCONFIG_SetToolbarSaveOverlay", slot, TAVOCONFIG_TOOLBAR_SAVE_OVERLAY, value);
}
bool TAVOCONFIG_ToolbarSaveOverlay(int32_t slot) { return flag(slot, TAVOCONFIG_TOOLBAR_SAVE_OVERLAY); }

bool TAVOCONFIG_SetToolbarLocked(int32_t slot, bool value)
{
    return setFlag("TAVOCONFIG_SetToolbarLocked", slot, TAVOCONFIG_TOOLBAR_LOCKED, value);
}
bool TAVOCONFIG_ToolbarLocked(int32_t slot) { return flag(slot, TAVOCONFIG_TOOLBAR_LOCKED); }

bool TAVOCONFIG_SetToolbarPreferMinimalSize(int32_t slot, bool value)
{
    return setFlag("TAVOCONFIG_SetToolbarPreferMinimalSize", slot, TAVOCONFIG_TOOLBAR_PREFER_MINIMAL_SIZE, value);
}
bool TAVOCONFIG_ToolbarPreferMinimalSize(int32_t slot) { return flag(slot, TAVOCONFIG_TOOLBAR_PREFER_MINIMAL_SIZE); }

// ---- sizes ------------------------------------------------------------------

bool TAVOCONFIG_SetToolbarControlSize(int32_t slot, int32_t width, int32_t height)
{
    Toolbar *t = editable("TAVOCONFIG_SetToolbarControlSize", slot);
    if (!t) return false;
    t->controlWidth = width;
    return TAVOCONFIG_SetToolbarControlsHeight(slot, height);
}

bool TAVOCONFIG_SetToolbarControlsHeight(int32_t slot, int32_t height)
{
    Toolbar *t = editable("TAVOCONFIG_SetToolbarControlsHeight", slot);
    if (!t) return false;
    t->controlHeight = height;
    // Controls share one row height, so the ones already added follow.
    for (int32_t i = 0; i < t->count; ++i) t->controls[size_t(i)].height = height;
    return true;
}

int32_t TAVOCONFIG_ToolbarControlWidth(int32_t slot)
{
    const Toolbar *t = existing(slot);
    return t ? t->controlWidth : 0;
}

int32_t TAVOCONFIG_ToolbarControlHeight(int32_t slot)
{
    const Toolbar *t = existing(slot);
    return t ? t->controlHeight : 0;
}

static bool setFour(Toolbar *t, int32_t (&into)[4], int32_t top, int32_t right, int32_t bottom, int32_t left)
{
    if (!t) return false;
    into[0] = top;
    into[1] = right;
    into[2] = bottom;
    into[3] = left;
    return true;
}

static bool getFour(const Toolbar *t, const int32_t (&from)[4], int32_t *top, int32_t *right, int32_t *bottom,
                    int32_t *left)
{
    int32_t *out[4] = {top, right, bottom, left};
    for (int i = 0; i < 4; ++i)
        if (out[i]) *out[i] = t ? from[i] : 0;
    return t != nullptr;
}

bool TAVOCONFIG_SetToolbarPadding(int32_t slot, int32_t top, int32_t right, int32_t bottom, int32_t left)
{
    Toolbar *t = editable("TAVOCONFIG_SetToolbarPadding", slot);
    return t && setFour(t, t->padding, top, right, bottom, left);
}

int32_t TAVOCONFIG_ToolbarPaddingTop(int32_t slot) { const Toolbar *t = existing(slot); return t ? t->padding[0] : 0; }
int32_t TAVOCONFIG_ToolbarPaddingRight(int32_t slot) { const Toolbar *t = existing(slot); return t ? t->padding[1] : 0; }
int32_t TAVOCONFIG_ToolbarPaddingBottom(int32_t slot) { const Toolbar *t = existing(slot); return t ? t->padding[2] : 0; }
int32_t TAVOCONFIG_ToolbarPaddingLeft(int32_t slot) { const Toolbar *t = existing(slot); return t ? t->padding[3] : 0; }

bool TAVOCONFIG_ToolbarPadding(int32_t slot, int32_t *top, int32_t *right, int32_t *bottom, int32_t *left)
{
    const Toolbar *t = existing(slot);
    static const int32_t kNone[4] = {0, 0, 0, 0};
    return getFour(t, t ? t->padding : kNone, top, right, bottom, left);
}

bool TAVOCONFIG_SetToolbarMargin(int32_t slot, int32_t top, int32_t right, int32_t bottom, int32_t left)
{
    Toolbar *t = editable("TAVOCONFIG_SetToolbarMargin", slot);
    return t && setFour(t, t->margin, top, right, bottom, left);
}

int32_t TAVOCONFIG_ToolbarMarginTop(int32_t slot) { const Toolbar *t = existing(slot); return t ? t->margin[0] : 0; }
int32_t TAVOCONFIG_ToolbarMarginRight(int32_t slot) { const Toolbar *t = existing(slot); return t ? t->margin[1] : 0; }
int32_t TAVOCONFIG_ToolbarMarginBottom(int32_t slot) { const Toolbar *t = existing(slot); return t ? t->margin[2] : 0; }
int32_t TAVOCONFIG_ToolbarMarginLeft(int32_t slot) { const Toolbar *t = existing(slot); return t ? t->margin[3] : 0; }

bool TAVOCONFIG_ToolbarMargin(int32_t slot, int32_t *top, int32_t *right, int32_t *bottom, int32_t *left)
{
    const Toolbar *t = existing(slot);
    static const int32_t kNone[4] = {0, 0, 0, 0};
    return getFour(t, t ? t->margin : kNone, top, right, bottom, left);
}

bool TAVOCONFIG_SetToolbarControlsDistance(int32_t slot, int32_t distance)
{
    Toolbar *t = editable("TAVOCONFIG_SetToolbarControlsDistance", slot);
    if (!t) return false;
    t->distance = distance;
    return true;
}

int32_t TAVOCONFIG_ToolbarControlsDistance(int32_t slot)
{
    const Toolbar *t = existing(slot);
    return t ? t->distance : 0;
}

bool TAVOCONFIG_AddTooolbarLockerProxy(int32_t slot, int32_t proxy)
{
    Toolbar *t = editable("TAVOCONFIG_AddTooolbarLockerProxy", slot);
    if (!t || !validSlot(proxy)) return false;
    t->lockerProxy = proxy;
    return true;
}

int32_t TAVOCONFIG_ToolbarLockerProxy(int32_t slot)
{
    const Toolbar *t = existing(slot);
    return t ? t->lockerProxy : 0;
}

// ---- control adders ----------------------------------------------------------

bool TAVOCONFIG_AddToolbarButtonControl(int32_t slot, int32_t control)
{
    return addIcon(slot, control, TAVOCONFIG_CONTROL_BUTTON);
}

bool TAVOCONFIG_AddToolbarToggleableButtonControl(int32_t slot, int32_t control)
{
    return addIcon(slot, control, TAVOCONFIG_CONTROL_TOGGLEABLE_BUTTON);
}

bool TAVOCONFIG_AddToolbarLockerControl(int32_t slot)
{
    return addIcon(slot, EDITCONTROLS_TOOLBAR_LOCKER, TAVOCONFIG_CONTROL_LOCKER);
}

bool TAVOCONFIG_AddToolbarDragControl(int32_t slot, int32_t control)
{
    return addIcon(slot, control, TAVOCONFIG_CONTROL_DRAG);
}

bool TAVOCONFIG_AddToolbarTimedButtonControl(int32_t slot, int32_t control)
{
    return addIcon(slot, control, TAVOCONFIG_CONTROL_TIMED_BUTTON);
}

bool TAVOCONFIG_AddToolbarSliderControl(int32_t slot, int32_t control, int32_t width)
{
    return addSized(slot, control, TAVOCONFIG_CONTROL_SLIDER, nullptr, width);
}

bool TAVOCONFIG_AddToolbarTextEditControl(int32_t slot, int32_t control, int32_t width)
{
    return addSized(slot, control, TAVOCONFIG_CONTROL_TEXT_EDIT, nullptr, width);
}

bool TAVOCONFIG_AddToolbarTimeEditControl(int32_t slot, int32_t control, int32_t width)
{
    return addSized(slot, control, TAVOCONFIG_CONTROL_TIME_EDIT, nullptr, width);
}

bool TAVOCONFIG_AddToolbarDurationEditControl(int32_t slot, int32_t control, int32_t width)
{
    return addSized(slot, control, TAVOCONFIG_CONTROL_DURATION_EDIT, nullptr, width);
}

bool TAVOCONFIG_AddToolbarTextLabelControl(int32_t slot, int32_t control, const char *label, int32_t width)
{
    return addSized(slot, control, TAVOCONFIG_CONTROL_TEXT_LABEL, label, width);
}

bool TAVOCONFIG_AddToolbarTextButtonControl(int32_t slot, int32_t control, const char *label, int32_t width)
{
    return addSized(slot, control, TAVOCONFIG_CONTROL_TEXT_BUTTON, label, width);
}

bool TAVOCONFIG_AddToolbarIconControl(int32_t slot, int32_t control)
{
    return addIcon(slot, control, TAVOCONFIG_CONTROL_ICON);
}

bool TAVOCONFIG_AddToolbarGripControl(int32_t slot)
{
    return addIcon(slot, EDITCONTROLS_TOOLBAR_GRIP, TAVOCONFIG_CONTROL_GRIP);
}

bool TAVOCONFIG_AddToolbarTextToggleableButtonControl(int32_t slot, int32_t control, const char *label, int32_t width)
{
    return addSized(slot, control, TAVOCONFIG_CONTROL_TEXT_TOGGLEABLE_BUTTON, label, width);
}

bool TAVOCONFIG_AddToolbarFlexibleSpace(int32_t slot, int32_t minWidth)
{
    return addSpacer(slot, TAVOCONFIG_CONTROL_FLEXIBLE_SPACE, minWidth);
}

bool TAVOCONFIG_AddToolbarSpace(int32_t slot, int32_t width)
{
    return addSpacer(slot, TAVOCONFIG_CONTROL_SPACE, width);
}

bool TAVOCONFIG_RemoveToolbarControl(int32_t slot, int32_t control)
{
    Toolbar *t = existing(slot);
    if (!t) return false;
    const int32_t index = indexOf(*t, control);
    if (index < 0) return false;
    removeAt(*t, index);
    return true;
}

// ---- control queries ---------------------------------------------------------

int32_t TAVOCONFIG_NumToolbarControls(int32_t slot)
{
    const Toolbar *t = existing(slot);
    return t ? t->count : 0;
}

int32_t TAVOCONFIG_ToolbarControl(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    return c ? c->id : -1;
}

int32_t TAVOCONFIG_ToolbarControlIndex(int32_t slot, int32_t control)
{
    const Toolbar *t = existing(slot);
    return t ? indexOf(*t, control) : -1;
}

int32_t TAVOCONFIG_ToolControlType(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    return c ? c->type : 0;
}

int32_t TAVOCONFIG_ToolControlAlignment(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    return c ? c->alignment : 0;
}

int32_t TAVOCONFIG_ToolControlAction(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    return c ? actionOf(c->type) : TAVOCONFIG_ACTION_NONE;
}

const char *TAVOCONFIG_ToolControlLabel(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    if (!c) return nullptr;
    return c->label ? c->label->c_str() : caption(c->id);
}

double TAVOCONFIG_ToolControlOpacity(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    return c ? c->opacity : 0.0;
}

bool TAVOCONFIG_ToolControlIsSpacer(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    return c && isSpacerType(c->type);
}

int32_t TAVOCONFIG_ToolControlModel(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    return c ? modelOf(c->type) : TAVOCONFIG_MODEL_NONE;
}

int32_t TAVOCONFIG_ToolControlWidth(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    return c ? c->width : 0;
}

int32_t TAVOCONFIG_ToolControlMinWidth(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    return c ? c->minWidth : 0;
}

int32_t TAVOCONFIG_ToolControlHeight(int32_t slot, int32_t index)
{
    const Control *c = controlAt(slot, index);
    if (!c) return 0;
    return isSpacerType(c->type) ? 0 : c->height;
}

// ---- layout ------------------------------------------------------------------

// Length of a control along the toolbar: spacers always count their width
// (in a column they separate rows by that much).
static int32_t lengthAlong(const Toolbar &t, const Control &c)
{
    if (t.orientation != TAVOCONFIG_TOOLBAR_VERTICAL || isSpacerType(c.type)) return c.width;
    return c.height;
}

static int32_t sumAlong(const Toolbar &t)
{
    int32_t sum = 0;
    for (int32_t i = 0; i < t.count; ++i) sum += lengthAlong(t, t.controls[size_t(i)]);
    if (t.count > 1) sum += t.distance * (t.count - 1);
    return sum;
}

int32_t TAVOCONFIG_ToolbarWidthEx(int32_t slot)
{
    const Toolbar *t = existing(slot);
    if (!t) return 0;
    const int32_t inner = t->orientation == TAVOCONFIG_TOOLBAR_VERTICAL ? t->controlWidth : sumAlong(*t);
    return t->padding[3] + inner + t->padding[1];
}

int32_t TAVOCONFIG_ToolbarHeightEx(int32_t slot)
{
    const Toolbar *t = existing(slot);
    if (!t) return 0;
    const int32_t inner = t->orientation == TAVOCONFIG_TOOLBAR_VERTICAL ? sumAlong(*t) : t->controlHeight;
    return t->padding[0] + inner + t->padding[2];
}

// ---- curve toggles -----------------------------------------------------------

int32_t TAVOCONFIG_CurveShapeOfControl(int32_t control)
{
    if (control >= kFirstShapeControl && control < kFirstMovementControl) return control - kFirstShapeControl;
    const int32_t late = control - kLateShapeControl;
    if (late >= 0 && late < kNumShapes - kShapesBeforeMovements) return kShapesBeforeMovements + late;
    return -1;
}

int32_t TAVOCONFIG_CurveMovementOfControl(int32_t control)
{
    const int32_t movement = control - kFirstMovementControl;
    return movement >= 0 && movement < kNumMovements ? movement : -1;
}

int32_t TAVOCONFIG_ControlForCurveShape(int32_t shape)
{
    if (shape < 0 || shape >= kNumShapes) return 0;
    return shape < kShapesBeforeMovements ? kFirstShapeControl + shape
                                          : kLateShapeControl + (shape - kShapesBeforeMovements);
}

int32_t TAVOCONFIG_ControlForCurveMovement(int32_t movement)
{
    return movement >= 0 && movement < kNumMovements ? kFirstMovementControl + movement : 0;
}

// ---- lock persistence ----------------------------------------------------------

bool TAVOCONFIG_LoadToolbarConfig(const char *prefix)
{
    if (!prefix) prefix = "libtavo";
    // Slot 0 is left to the host and never persisted.
    for (int32_t slot = 1; slot < TAVOCONFIG_MAX_TOOLBARS; ++slot) {
        Toolbar &t = toolbarTable()[size_t(slot)];
        if (!hasLocker(t)) continue;
        const bool locked = BLSETTINGS_GetBoolEx(nullptr, "%s.toolbar.%s.locked=0", prefix, settingsName(slot));
        t.flags = locked ? (t.flags | TAVOCONFIG_TOOLBAR_LOCKED) : (t.flags & ~uint32_t(TAVOCONFIG_TOOLBAR_LOCKED));
    }
    return true;
}

bool TAVOCONFIG_SaveToolbarConfig(const char *prefix)
{
    if (!prefix) prefix = "libtavo";
    bool ok = true;
    for (int32_t slot = 1; slot < TAVOCONFIG_MAX_TOOLBARS; ++slot) {
        if (!hasLocker(toolbarTable()[size_t(slot)])) continue;
        // Follow the proxies to the toolbar whose lock rules this one. A
        // chain longer than the table has looped and counts as broken.
        int32_t at = slot;
        int hops = 0;
        int locked = 0;
        for (;;) {
            const Toolbar &t = toolbarTable()[size_t(at)];
            if (!t.kind || hops > TAVOCONFIG_MAX_TOOLBARS) break;
            if (t.lockerProxy == 0) {
                locked = (t.flags & TAVOCONFIG_TOOLBAR_LOCKED) ? 1 : 0;
                break;
            }
            at = t.lockerProxy;
            ++hops;
        }
        ok = BLSETTINGS_ChangeEx(nullptr, "%s.toolbar.%s.locked=%d", prefix, settingsName(slot), locked) && ok;
    }
    return ok;
}

// ---- start and stop --------------------------------------------------------------

bool TAVOTOOLCONTROLS_Initialize(void)
{
    return TAVOCONFIG_ResetToolContols();
}

bool TAVOTOOLCONTROLS_Finalize(void)
{
    TAVOCONFIG_ClearToolContols();
    return true;
}

}  // extern "C"
