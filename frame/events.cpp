// Events of the library: the name table, the document's handler functions,
// the translation of libaudiosig's error bits and the parent callback
// through which a document's signal asks before it changes.
#include <cstring>

#include "frame/document_p.h"

#include "audioregion.h"
#include "audiosignal.h"
#include "tavonotify.h"
#include "tavoundo.h"

namespace {

// Names of the kinds TAVOEVENT_FIRST_KIND..TAVOEVENT_LAST_KIND, in order.
constexpr const char *kEventNames[] = {
    "TAVODATABASE_GET_FILE_ID",
    "TAVODATABASE_GET_AUDIO_PROPERTIES",
    "TAVODATABASE_UPDATE_AUDIO",
    "TAVODATABASE_UPDATE_RECENT_FILENAME",
    "TAVODATABASE_RENAME_AUDIO",
    "TAVODATABASE_RENAME_RECENT_FILENAME",
    "TAVOAUDIO_CLOSE_CHANGED_FILE",
    "TAVOAUDIO_MULTI_SELECT_PASTE_NOT_SUPPORTED",
    "TAVOAUDIO_BEFORE_SELECTION_ADD",
    "TAVOAUDIO_SELECTION_ADDED",
    "TAVOAUDIO_BEFORE_SELECTION_DELETE",
    "TAVOAUDIO_SELECTION_DELETED",
    "TAVOAUDIO_BEFORE_SELECTION_CLEAR",
    "TAVOAUDIO_SELECTION_CLEAR",
    "TAVOAUDIO_BEFORE_SELECTION_INVERT",
    "TAVOAUDIO_SELECTION_INVERT",
    "TAVOAUDIO_SELECTING_UPDATE",
    "TAVOAUDIO_BEFORE_HORZ_ZOOM_CHANGE",
    "TAVOAUDIO_HORZ_ZOOM_CHANGE",
    "TAVOAUDIO_BEFORE_HORZ_ZOOM_LIMIT_CHANGE",
    "TAVOAUDIO_HORZ_ZOOM_LIMIT_CHANGED",
    "TAVOAUDIO_BEFORE_VERT_ZOOM_CHANGE",
    "TAVOAUDIO_VERT_ZOOM_CHANGE",
    "TAVOAUDIO_BEFORE_SPECTRAL_ZOOM_CHANGE",
    "TAVOAUDIO_SPECTRAL_ZOOM_CHANGE",
    "TAVOAUDIO_CURSOR_SET_POSITION",
    "TAVOAUDIO_CURSOR_CHANGE_POSITION",
    "TAVOAUDIO_CHANNEL_MASK_CHANGED",
    "TAVOAUDIO_CURSOR_STATE_CHANGED",
    "TAVOAUDIO_PLAYCURSOR_CHANGE_POSITION",
    "TAVOAUDIO_PLAYCURSOR_UPDATE_POSITION",
    "TAVOAUDIO_INSERT_CURSOR_SET_POSITION",
    "TAVOAUDIO_BEFORE_DRAW",
    "TAVOAUDIO_DRAW",
    "TAVOAUDIO_REGION_CHANGE_CURRENT",
    "TAVOAUDIO_REGION_GET_FOCUS",
    "TAVOAUDIO_REGION_LOST_FOCUS",
    "TAVOAUDIO_REGION_SELECTED",
    "TAVOAUDIO_MARKER_GET_FOCUS",
    "TAVOAUDIO_MARKER_LOST_FOCUS",
    "TAVOAUDIO_WAS_CHANGED",
    "TAVOAUDIO_NEEDREDRAW",
    "TAVOAUDIO_UNDOSTACKCHANGED",
    "TAVOAUDIO_PASTSAVED_UNDO",
    "TAVOAUDIO_WASUNDONE",
    "TAVOAUDIO_DRAWKINDCHANGED",
    "TAVOAUDIO_POWERHEIGHTCHANGED",
    "TAVOAUDIO_TIMELINE_CHANGED",
    "TAVOAUDIO_WAVEFORMHEIGHTCHANGED",
    "TAVOAUDIO_HORZSCALEKINDCHANGED",
    "TAVOAUDIO_VERTSCALEKINDCHANGED",
    "TAVOAUDIO_SPECSCALEKINDCHANGED",
    "TAVOAUDIO_FILENAME_CHANGED",
    "TAVOAUDIO_CHANGE_TO_UNSUPPORTED_FORMAT",
    "TAVOAUDIO_CHANGE_TO_SAME_FORMAT",
    "TAVOAUDIO_FORMAT_DONT_SUPPORT_REGIONS",
    "TAVOAUDIO_FORMAT_DONT_SUPPORT_MARKERS",
    "TAVOAUDIO_QUICKSELECTION_START",
    "TAVOAUDIO_QUICKSELECTION_FINISH",
    "TAVOAUDIO_CANVAS_RESIZED",
    "TAVOAUDIO_REGION_CHANGED",
    "TAVOAUDIO_CONVERT_REGION_TO_LOOP",
    "TAVOAUDIO_CONVERT_LOOP_TO_REGION",
    "TAVOAUDIO_CONVERT_TO_MARKERS",
    "TAVOAUDIO_CONVERT_MARKERS_TO_REGIONS",
    "TAVOAUDIO_CHANGE_REGION_COMMENT",
    "TAVOAUDIO_REGION_LOCKED",
    "TAVOAUDIO_REGION_UNLOCKED",
    "TAVOAUDIO_REWRITE_ON_SAVE_METADATA",
    "TAVOAUDIO_SAVE_EXTERNAL_REGION_FAIL",
    "TAVOEVENT_LOAD_EXTERNAL_REGION_FILE",
    "TAVOEVENT_SAVE_IGNORING_REGIONS",
    "TAVOAUDIO_APPLY_GAIN",
    "TAVOAUDIO_GAIN_CHANGED",
    "TAVOAUDIO_CUSTOM_TRACKS_CHANGED",
    "TAVOAUDIO_TRACK_VISIBILITY_WILL_CHANGE",
    "TAVOAUDIO_APPLY_VISUALTOOLS",
    "TAVOAUDIO_CANCEL_VISUALTOOLS",
    "TAVOAUDIO_VISUALTOOLS_CREATED",
    "TAVOAUDIO_VISUALTOOLS_FINISHED",
    "TAVOAUDIO_VISUALTOOLS_CHANGED",
    "TAVOAUDIO_SET_PASTED_AUDIO_SIGNAL",
    "TAVOEVENT_DYNAMIC_RANGE_CHANGED",
    "TAVOAUDIO_ANIMATION_STARTED",
    "TAVOAUDIO_ANIMATION_FINISHED",
    "TAVOEVENT_PROCESS_STARTED",
    "TAVOEVENT_PROCESS_FINISHED",
    "TAVOEVENT_PROCESS_CANCELED",
    "TAVOEVENT_PROCESS_CANCEL_REQUESTED",
    "TAVOAUDIO_EXTERNAL_REGION_CHANGED",
    "TAVOAUDIO_METADATA_CHANGED",
    "TAVOAUDIO_METADATA_REPLACED",
    "TAVOAUDIO_CONFIRM_DELETE_TRACK_WITH_REGIONS",
    "TAVOAUDIO_CREATE_REGION_ON_SELECTED_TRACK",
    "TAVOAUDIO_DISCARD_REGION_ON_EDIT",
    "TAVOCONTROL_MOUSE_OVER_OBJECT",
    "TAVOCONTROL_MOUSE_AREA_CHANGED",
    "TAVOCONTROL_MOUSE_DOWN_OVER_OBJECT",
    "TAVOCONTROL_MOUSE_UP_OVER_OBJECT",
    "TAVOCONTROL_KEY_DOWN_OVER_OBJECT",
    "TAVOCONTROL_KEY_UP_OVER_OBJECT",
    "TAVOCONTROL_MOUSE_HOVER_OBJECT",
    "TAVOCONTROL_HOVER_MARKERSLIDER",
    "TAVOCONTROL_HOVER_REGION",
    "TAVOCONTROL_CLICK_REGION",
    "TAVOCONTROL_DBLCLICK_REGION",
    "TAVOCONTROL_DBLCLICK_MARKER_SLIDER",
    "TAVOCONTROL_START_DRAGGING_SELECTION",
    "TAVOCONTROL_START_DRAGGING_REGION",
    "TAVOCONTROL_START_DRAGGING_SCREENSHOT",
    "TAVOCONTROL_CONTEXT_MENU_SHOW",
    "TAVOCONTROL_TRACK_POSITION_ON",
    "TAVOCONTROL_TRACK_POSITION_OFF",
    "TAVOCONTROL_MOUSE_OVER_DRAGGABLE_SELECTION",
    "TAVOCONTROL_EDIT_BEGIN_REQUESTED",
    "TAVOCONTROL_EDIT_CLOSE_REQUESTED",
    "TAVOCONTROL_EDIT_CANCEL_REQUESTED",
    "TAVOCONTROL_EDITCONTROL_PRESSED",
    "TAVOCONTROL_EDITCONTROL_PRESSED_WITH_SHIFT",
    "TAVOCONTROL_EDITCONTROL_PRESSED_WITH_ALT",
    "TAVOCONTROL_EDITCONTROL_DBLCLICKED",
    "TAVOCONTROL_EDITCONTROL_SELECTED",
    "TAVOCONTROL_EDITCONTROL_UNSELECTED",
    "TAVOCONTROL_INTERACTION_FINISHED",
    "TAVOSOUND_FOUND_NEW_DEVICE",
    "TAVOSOUND_DEVICE_LIST_CHANGED",
    "TAVOPLAY_START",
    "TAVOPLAY_STOP",
    "TAVOPLAY_PAUSE",
    "TAVOPLAY_RESUME",
    "TAVOPLAY_END",
    "TAVOPLAY_PLAYCURSORCHANGE",
    "TAVOPLAY_LOOP_FLAG_CHANGED",
    "TAVORECORD_START",
    "TAVORECORD_STOP",
    "TAVORECORD_END",
    "TAVORECORD_UPDATE_POSITION",
    "TAVODISPLAY_UPDATE_REQUEST",
    "TAVODISPLAY_FOCUS_REQUEST",
    "TAVODISPLAY_EDIT_FINISHED",
    "TAVODISPLAY_EDIT_STARTED",
    "TAVODISPLAY_MOUSE_OVER_OBJECT",
    "TAVODISPLAY_CHANGEAUDIOFORMAT_REQUEST",
    "TAVODISPLAY_TOGGLE_LOOP_PLAYBACK",
    "TAVODB_DELETED_FID",
    "TAVODRAW_MAX_VISIBLE_REGIONS_OVERFLOW",
    "TAVODRAW_CUSTOM_TRACK_PAINTER",
    "TAVODRAW_CUSTOM_REGION_PAINTER",
    "TAVOGRAPHCONTROL_MOUSE_OVER_OBJECT",
    "TAVOGRAPHCONTROL_MOUSE_DOWN_OVER_OBJECT",
    "TAVOGRAPHCONTROL_MOUSE_UP_OVER_OBJECT",
    "TAVOAPP_REQUEST_UPDATE",
    "TAVOAPP_REQUEST_KEY_SEQUENCE_STRING",
    "TAVOMIXER_MICROPHONE_ACCESS_GRANTED",
    "TAVOMIXER_MICROPHONE_ACCESS_NOT_GRANTED",
    "TAVOAUDIO_CURSOR_GEOMETRY_CHANGED",};
static_assert(sizeof kEventNames / sizeof kEventNames[0] == TAVOEVENT_LAST_KIND - TAVOEVENT_FIRST_KIND + 1,
              "one name per event kind");

// The highest kind libaudiosig may use; 1066 belongs to nobody.
constexpr int32_t kLastSignalKind = 1065;

// libaudiosig's callback kind for the rename of a region track.
constexpr int32_t kRenameRegionTrack = 111;

}  // namespace

uint32_t _TranslateAudioSignalError(uint32_t audioError)
{
    // One bit each; anything else (no bit of this table, or several bits at
    // once) is the catch-all 12, so a combined value never passes for one of
    // its parts.
    switch (audioError) {
    case 0: return 0;
    case 0x1: return 3;
    case 0x2: return 1;
    case 0x10: return 14;
    case 0x20: return 4;
    case 0x40: return 2;
    case 0x80: return 10;
    case 0x100: return 9;
    case 0x800: return 6;
    case 0x1000: return 7;
    case 0x2000: return 8;
    case 0x10000: return 11;
    case 0x20000: return 16;
    case 0x40000: return 17;
    case 0x80000: return 18;
    case 0x100000: return 23;
    case 0x200000: return 22;
    case 0x400000: return 24;
    default: return 12;
    }
}

bool _TAVOAUDIO_SignalCallback(void *parent, int32_t kind, void *arg1, void *arg2)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(static_cast<TAVOAUDIO>(parent));
    if (doc == nullptr) return false;
    // Every other kind is only news: the signal goes ahead.
    if (kind != kRenameRegionTrack) return true;

    const char *trackId = static_cast<const char *>(arg1);
    const char *label = static_cast<const char *>(arg2);
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return false;
    const int32_t index = AUDIOSIGNAL_FindRegionTrackIndex(signal, trackId);
    if (index < 0) return false;
    const char *current = AUDIOREGIONTRACK_GetLabel(AUDIOSIGNAL_GetRegionTrack(signal, index));
    if (current != nullptr && label != nullptr && std::strcmp(current, label) == 0) return true;

    // The rename becomes one undo step. The revert operation keeps the track
    // as it is now, so it has to be added before the label changes; when it
    // cannot be added the label is left alone and the signal keeps its old
    // name (a false answer refuses the rename).
    TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(doc, "Rename Track", doc->state);
    if (script == nullptr) return false;
    const bool ok = TAVOUNDO_AddRevertTrack(script, signal, index) && AUDIOSIGNAL_SetRegionTrackLabel(signal, index, label);
    if (!ok) {
        // An open group belongs to whoever opened it.
        if (script != doc->pendingGroup) TAVOUNDO_DestroyUndoScript(doc, script);
        return false;
    }
    TAVOUNDO_PushUndoScript(doc, script);
    _TAVOAUDIO_Send(doc, TAVOAUDIO_WAS_CHANGED, nullptr, nullptr, nullptr);
    return true;
}

extern "C" {

bool TAVOAUDIO_AddEventHandler(TAVOAUDIO audio, int32_t kind, BLNOTIFY_HANDLER handler, void *userData)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->dispatcher == nullptr) return false;
    return BLNOTIFY_AddHandler(doc->dispatcher, kind, handler, userData);
}

bool TAVOAUDIO_DelEventHandler(TAVOAUDIO audio, int32_t kind, BLNOTIFY_HANDLER handler, void *userData)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->dispatcher == nullptr) return false;
    return BLNOTIFY_DelHandler(doc->dispatcher, kind, handler, userData);
}

BLNOTIFY_DISPATCHER TAVOAUDIO_Dispatcher(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr ? doc->dispatcher : nullptr;
}

const char *TAVONOTIFY_TranslateEventKind(int32_t kind)
{
    if (kind <= kLastSignalKind) return AUDIONOTIFY_TranslateEventKind(kind);
    if (kind < TAVOEVENT_FIRST_KIND || kind > TAVOEVENT_LAST_KIND) return nullptr;
    return kEventNames[kind - TAVOEVENT_FIRST_KIND];
}

}  // extern "C"
