// The document methods of the Lua module beyond save, over the public C
// interface only: what a script needs to read a document, select, edit it
// one undo step at a time, read its samples, and keep regions and tags.
//
// Conventions, the same as the rest of the module (and Lua's io library):
// - Misuse raises: a value of the wrong type, a negative position or count,
//   a channel the document does not have, a closed document ("attempt to use
//   a closed document").
// - What the document may refuse comes back as nil and a message that names
//   the method ("cut: nothing is selected"); success is true, or the value
//   asked for.
// - Positions and lengths are sample frames counted from 0, and so are
//   channels (channel 0 is the first), so that a script can pass what one
//   method answers straight to another. Only the arrays a method returns are
//   1-based, as Lua's are: samples(c, from, n)[1] is the sample at `from`.
//
// Nothing here raises a Lua error while it holds a document lock or a C++
// object with a destructor: Lua reports errors by longjmp, which would skip
// both. Buffers a method needs are Lua userdata, so an error (out of memory
// included) leaves nothing behind.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "lua/luadocument_p.h"

#include "audiosignal.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavometadata.h"
#include "tavoregions.h"
#include "tavoregionview.h"
#include "tavoselection.h"
#include "tavoundo.h"
#include "tavozoom.h"

extern "C" {
#include <lauxlib.h>
}

namespace {

// Registry names of the two metatables. The document's is the module's own.
constexpr const char *kAudioType = "KORVA.libtavo.TAVOAUDIO";
constexpr const char *kClipType = "KORVA.libtavo.AUDIOSIGNAL";

// The most samples one samples() call returns: ten million numbers are
// already some 160 MB of Lua table, and a script that wants more reads in
// pieces.
constexpr lua_Integer kMaxSampleCount = 10000000;

// A gain table has one slot for each of the 32 channels a signal may have
// (the width TAVOAUDIO_LinearTransformSelectionEx2 reads).
constexpr int kGainSlots = 32;

// Longest tag name accepted; the formats' own names are far shorter.
constexpr size_t kMaxFieldName = 255;

// Tag values are read into a stack buffer first; longer ones into a Lua
// buffer of their exact size.
constexpr int32_t kTagBuffer = 1024;

// ---- arguments -----------------------------------------------------------

// The open document of argument 1; raises for any other value and for a
// closed document.
TAVOAUDIO checkOpen(lua_State *L)
{
    auto *slot = static_cast<TAVOAUDIO *>(luaL_checkudata(L, 1, kAudioType));
    if (*slot == nullptr) luaL_error(L, "attempt to use a closed document");
    return *slot;
}

// A frame position or a length; raises for a negative or non-integral one.
int64_t checkFrame(lua_State *L, int arg)
{
    const lua_Integer value = luaL_checkinteger(L, arg);
    luaL_argcheck(L, value >= 0, arg, "must not be negative");
    return static_cast<int64_t>(value);
}

// The signal of a clipboard value at `arg`.
AUDIOSIGNAL checkClip(lua_State *L, int arg)
{
    auto *slot = static_cast<AUDIOSIGNAL *>(luaL_checkudata(L, arg, kClipType));
    luaL_argcheck(L, *slot != nullptr, arg, "empty clipboard");
    return *slot;
}

// Copies a tag name into `out` in upper case, the form the signal library
// keeps names in, so that scripts may write "title" as well as "TITLE".
void checkFieldName(lua_State *L, int arg, char (&out)[kMaxFieldName + 1])
{
    size_t length = 0;
    const char *field = luaL_checklstring(L, arg, &length);
    luaL_argcheck(L, length > 0 && length <= kMaxFieldName, arg, "tag name empty or too long");
    for (size_t i = 0; i < length; ++i) {
        const char c = field[i];
        out[i] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    out[length] = '\0';
}

// ---- results -------------------------------------------------------------

// Forgets an error left by an earlier call, so that a failure reports its
// own reason and not a stale one.
void clearLastError(TAVOAUDIO audio)
{
    TAVOAUDIO_GetLastErrorMessage(audio, true);
}

// nil and "<command>: <why>": the document's message when it left one,
// else `refusal` (default "refused by the document") with the document's
// error code when it has one.
int pushFailure(lua_State *L, TAVOAUDIO audio, const char *command, const char *refusal = nullptr)
{
    const uint32_t code = TAVOAUDIO_GetLastError(audio, false);
    const char *message = TAVOAUDIO_GetLastErrorMessage(audio, true);
    if (refusal == nullptr) refusal = "refused by the document";
    lua_pushnil(L);
    if (message != nullptr && message[0] != '\0')
        lua_pushfstring(L, "%s: %s", command, message);
    else if (code != 0)
        lua_pushfstring(L, "%s: %s (error %d)", command, refusal, static_cast<int>(code));
    else
        lua_pushfstring(L, "%s: %s", command, refusal);
    return 2;
}

// nil and "<command>: <why>" for a refusal the binding itself foresees.
int pushRefusal(lua_State *L, const char *command, const char *why)
{
    lua_pushnil(L);
    lua_pushfstring(L, "%s: %s", command, why);
    return 2;
}

int pushStatus(lua_State *L, TAVOAUDIO audio, bool ok, const char *command)
{
    if (!ok) return pushFailure(L, audio, command);
    lua_pushboolean(L, 1);
    return 1;
}

// Runs one engine call on the open document of argument 1 (the arguments
// are checked by the caller before) and turns its answer into true or
// nil, message.
template <typename Edit>
int runEdit(lua_State *L, TAVOAUDIO audio, const char *command, Edit edit)
{
    clearLastError(audio);
    return pushStatus(L, audio, edit(audio), command);
}

// ---- read access ---------------------------------------------------------

// The document's read lock for the length of a block. Nothing inside such
// a block may raise a Lua error (see the top of the file).
class ReadAccess {
public:
    explicit ReadAccess(TAVOAUDIO audio) : m_audio(audio), m_held(TAVOAUDIO_GetReadAccessEx(audio, false)) {}
    ~ReadAccess()
    {
        if (m_held) TAVOAUDIO_ReleaseReadAccess(m_audio);
    }
    ReadAccess(const ReadAccess &) = delete;
    ReadAccess &operator=(const ReadAccess &) = delete;
    explicit operator bool() const { return m_held; }

private:
    TAVOAUDIO m_audio;
    bool m_held;
};

struct Shape {
    int64_t frames = 0;
    int32_t rate = 0;
    int32_t channels = 0;
};

// Length, rate and channels of the document's signal; all 0 without one
// (a link whose audio is not read).
Shape shapeOf(TAVOAUDIO audio)
{
    Shape shape;
    ReadAccess access(audio);
    if (!access) return shape;
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(audio);
    if (signal == nullptr) return shape;
    shape.frames = AUDIOSIGNAL_NumFrames(signal);
    shape.rate = AUDIOSIGNAL_SampleRate(signal);
    shape.channels = AUDIOSIGNAL_NumChannels(signal);
    return shape;
}

// ---- information ---------------------------------------------------------

int l_frames(lua_State *L)
{
    lua_pushinteger(L, shapeOf(checkOpen(L)).frames);
    return 1;
}

int l_rate(lua_State *L)
{
    lua_pushinteger(L, shapeOf(checkOpen(L)).rate);
    return 1;
}

int l_channels(lua_State *L)
{
    lua_pushinteger(L, shapeOf(checkOpen(L)).channels);
    return 1;
}

// Seconds; 0 without a signal.
int l_duration(lua_State *L)
{
    const Shape shape = shapeOf(checkOpen(L));
    lua_pushnumber(L, shape.rate > 0 ? static_cast<double>(shape.frames) / shape.rate : 0.0);
    return 1;
}

// The document's file name: the path of an opened or saved document, the
// "empty" / "untitled #N" name of a new one. The file name rather than the
// shorter display name, because it is what open() and save() take.
int l_name(lua_State *L)
{
    const char *name = TAVOAUDIO_GetFileName(checkOpen(L));
    if (name == nullptr)
        lua_pushnil(L);
    else
        lua_pushstring(L, name);
    return 1;
}

int l_changed(lua_State *L)
{
    lua_pushboolean(L, TAVOAUDIO_HasChanges(checkOpen(L)));
    return 1;
}

// ---- selection and cursor ------------------------------------------------

// doc:select(b, e [, add]): replaces the selections by [b, e) (frames,
// either order), or with `add` true adds it (merging with what it touches).
// The cursor goes to `e`; b == e only moves the cursor.
int l_select(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const int64_t begin = checkFrame(L, 2);
    const int64_t end = checkFrame(L, 3);
    const bool add = lua_toboolean(L, 4) != 0;
    return runEdit(L, audio, "select", [&](TAVOAUDIO a) {
        return add ? TAVOAUDIO_AddSelectionEx(a, begin, end, -1, TAVOSELECTION_FLAG_NOTIFY) != 0
                   : TAVOAUDIO_SelectAudioEx(a, begin, end, -1, TAVOSELECTION_FLAG_NOTIFY) != 0;
    });
}

int l_select_all(lua_State *L)
{
    return runEdit(L, checkOpen(L), "select_all", [](TAVOAUDIO a) { return TAVOAUDIO_SelectAll(a) != 0; });
}

int l_clear_selection(lua_State *L)
{
    return runEdit(L, checkOpen(L), "clear_selection", [](TAVOAUDIO a) {
        return TAVOAUDIO_ClearSelectionEx2(a, nullptr, TAVOSELECTION_FLAG_NOTIFY) != 0;
    });
}

// doc:selections(): { {b, e}, ... } in order, each pair also as fields b
// and e (frames, e excluded).
int l_selections(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const int32_t count = TAVOAUDIO_CountSelections(audio);
    lua_createtable(L, count > 0 ? count : 0, 0);
    for (int32_t i = 0; i < count; ++i) {
        const TAVOSELECTION selection = TAVOAUDIO_Selection(audio, i);
        const int64_t begin = TAVOSELECTION_GetBegin(audio, &selection);
        const int64_t end = TAVOSELECTION_GetEnd(audio, &selection);
        lua_createtable(L, 2, 2);
        lua_pushinteger(L, begin);
        lua_rawseti(L, -2, 1);
        lua_pushinteger(L, end);
        lua_rawseti(L, -2, 2);
        lua_pushinteger(L, begin);
        lua_setfield(L, -2, "b");
        lua_pushinteger(L, end);
        lua_setfield(L, -2, "e");
        lua_rawseti(L, -2, i + 1);
    }
    return 1;
}

// doc:cursor() answers the cursor; doc:cursor(p) moves it (clamped to the
// signal), leaving the selections as they are.
int l_cursor(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    if (lua_isnoneornil(L, 2)) {
        lua_pushinteger(L, TAVOAUDIO_GetCursorPosition(audio));
        return 1;
    }
    const int64_t position = checkFrame(L, 2);
    return runEdit(L, audio, "cursor",
                   [position](TAVOAUDIO a) { return TAVOAUDIO_SetCursorPositionEx2(a, position, 1); });
}

// ---- clipboard values ----------------------------------------------------

// Pushes an empty clipboard value and returns its slot. It is made before
// the signal it will hold, so that a failed allocation cannot strand one.
AUDIOSIGNAL *newClip(lua_State *L)
{
    auto *slot = static_cast<AUDIOSIGNAL *>(lua_newuserdata(L, sizeof(AUDIOSIGNAL)));
    *slot = nullptr;
    luaL_setmetatable(L, kClipType);
    return slot;
}

// Cut and copy: the removed or copied audio as a clipboard value.
template <typename Take>
int takeClip(lua_State *L, const char *command, Take take)
{
    TAVOAUDIO audio = checkOpen(L);
    if (!TAVOAUDIO_HasSelection(audio)) return pushRefusal(L, command, "nothing is selected");
    AUDIOSIGNAL *slot = newClip(L);
    clearLastError(audio);
    AUDIOSIGNAL clip = take(audio);
    if (clip == nullptr) {
        lua_pop(L, 1);
        return pushFailure(L, audio, command);
    }
    *slot = clip;
    return 1;
}

int l_clip_frames(lua_State *L)
{
    lua_pushinteger(L, AUDIOSIGNAL_NumFrames(checkClip(L, 1)));
    return 1;
}

int l_clip_rate(lua_State *L)
{
    lua_pushinteger(L, AUDIOSIGNAL_SampleRate(checkClip(L, 1)));
    return 1;
}

int l_clip_channels(lua_State *L)
{
    lua_pushinteger(L, AUDIOSIGNAL_NumChannels(checkClip(L, 1)));
    return 1;
}

int l_clip_gc(lua_State *L)
{
    auto *slot = static_cast<AUDIOSIGNAL *>(luaL_checkudata(L, 1, kClipType));
    if (*slot != nullptr) {
        AUDIOSIGNAL_Destroy(*slot);
        *slot = nullptr;
    }
    return 0;
}

int l_clip_tostring(lua_State *L)
{
    auto *slot = static_cast<AUDIOSIGNAL *>(luaL_checkudata(L, 1, kClipType));
    lua_pushfstring(L, "AUDIOSIGNAL clipboard at %p", static_cast<void *>(*slot));
    return 1;
}

// ---- edits ---------------------------------------------------------------
// Each is one undo step of the document, under the engine's default label.

int l_cut(lua_State *L)
{
    return takeClip(L, "cut", [](TAVOAUDIO a) { return TAVOAUDIO_Cut(a, nullptr); });
}

int l_copy(lua_State *L)
{
    return takeClip(L, "copy", [](TAVOAUDIO a) { return TAVOAUDIO_CopyEx(a, 0); });
}

// doc:paste(clip [, position]): at `position`, or without one at the cursor
// (in place of the first selection when there is one). The pasted stretch
// is selected afterwards.
int l_paste(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    AUDIOSIGNAL clip = checkClip(L, 2);
    if (lua_isnoneornil(L, 3))
        return runEdit(L, audio, "paste", [clip](TAVOAUDIO a) { return TAVOAUDIO_PasteEx(a, clip, 0, nullptr); });
    const int64_t position = checkFrame(L, 3);
    return runEdit(L, audio, "paste", [clip, position](TAVOAUDIO a) {
        return TAVOAUDIO_PasteToPositionEx(a, clip, position, 0, nullptr) != 0;
    });
}

int l_append(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    AUDIOSIGNAL clip = checkClip(L, 2);
    return runEdit(L, audio, "append",
                   [clip](TAVOAUDIO a) { return TAVOAUDIO_AppendEx(a, clip, 0, nullptr, nullptr) != 0; });
}

int l_clear(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    if (!TAVOAUDIO_HasSelection(audio)) return pushRefusal(L, "clear", "nothing is selected");
    return runEdit(L, audio, "clear", [](TAVOAUDIO a) { return TAVOAUDIO_Clear(a, nullptr); });
}

// doc:insert_silence(n): n frames at the cursor, or in place of the first
// selection.
int l_insert_silence(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const int64_t length = checkFrame(L, 2);
    return runEdit(L, audio, "insert_silence",
                   [length](TAVOAUDIO a) { return TAVOAUDIO_PasteSilence(a, length, nullptr); });
}

// The transforms work on every selection, or on the whole signal without
// one.
int l_silence(lua_State *L)
{
    return runEdit(L, checkOpen(L), "silence", [](TAVOAUDIO a) { return TAVOAUDIO_Silence(a, nullptr); });
}

int l_reverse(lua_State *L)
{
    return runEdit(L, checkOpen(L), "reverse",
                   [](TAVOAUDIO a) { return TAVOAUDIO_ReverseEx2(a, nullptr, nullptr, false); });
}

int l_invert(lua_State *L)
{
    return runEdit(L, checkOpen(L), "invert", [](TAVOAUDIO a) { return TAVOAUDIO_Invert(a, nullptr); });
}

// doc:gain(db): every channel times 10^(db/20).
int l_gain(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const double db = luaL_checknumber(L, 2);
    luaL_argcheck(L, std::isfinite(db), 2, "gain must be a finite number of dB");
    double gains[kGainSlots];
    for (double &gain : gains) gain = std::pow(10.0, db / 20.0);
    return runEdit(L, audio, "gain", [&gains](TAVOAUDIO a) {
        return TAVOAUDIO_LinearTransformSelectionEx2(a, gains, nullptr, nullptr, nullptr, 0);
    });
}

int l_normalize(lua_State *L)
{
    return runEdit(L, checkOpen(L), "normalize",
                   [](TAVOAUDIO a) { return TAVOAUDIO_NormalizeEx2(a, nullptr, nullptr); });
}

int l_remove_dc(lua_State *L)
{
    return runEdit(L, checkOpen(L), "remove_dc", [](TAVOAUDIO a) { return TAVOAUDIO_RemoveDC(a, nullptr); });
}

// doc:fade_in([curve]) / doc:fade_out([curve]): a curve of the fade-curve
// catalogue by name; none is the straight ramp. The document does not say
// why it refused a fade, and a misspelt curve name is the likely reason, so
// the message names the curve.
template <typename Fade>
int runFade(lua_State *L, const char *command, Fade fade)
{
    TAVOAUDIO audio = checkOpen(L);
    const char *curve = luaL_optstring(L, 2, nullptr);
    clearLastError(audio);
    if (fade(audio, curve)) {
        lua_pushboolean(L, 1);
        return 1;
    }
    if (curve == nullptr) return pushFailure(L, audio, command);
    // The hint stays on the stack below the two results.
    const char *hint = lua_pushfstring(L, "refused (is '%s' a curve of the fade-curve catalogue?)", curve);
    return pushFailure(L, audio, command, hint);
}

int l_fade_in(lua_State *L)
{
    return runFade(L, "fade_in", [](TAVOAUDIO a, const char *curve) { return TAVOAUDIO_FadeIn(a, curve, nullptr); });
}

int l_fade_out(lua_State *L)
{
    return runFade(L, "fade_out",
                   [](TAVOAUDIO a, const char *curve) { return TAVOAUDIO_FadeOut(a, curve, nullptr); });
}

int l_trim(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    if (!TAVOAUDIO_HasSelection(audio)) return pushRefusal(L, "trim", "nothing is selected");
    return runEdit(L, audio, "trim", [](TAVOAUDIO a) { return TAVOAUDIO_Trim(a, nullptr); });
}

int l_swap_channels(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    if (shapeOf(audio).channels != 2) return pushRefusal(L, "swap_channels", "the document is not stereo");
    return runEdit(L, audio, "swap_channels", [](TAVOAUDIO a) { return TAVOAUDIO_SwapChannels(a, nullptr); });
}

// A rate or channel count for the format change: 1 or more (0 would mean
// "keep" to the engine, which is not what a script asking for 0 means).
int32_t checkPositiveInt32(lua_State *L, int arg)
{
    const lua_Integer value = luaL_checkinteger(L, arg);
    luaL_argcheck(L, value >= 1 && value <= INT32_MAX, arg, "must be a positive integer");
    return static_cast<int32_t>(value);
}

int l_resample(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const int32_t rate = checkPositiveInt32(L, 2);
    return runEdit(L, audio, "resample", [rate](TAVOAUDIO a) {
        return TAVOAUDIO_ChangeAudioFormat(a, rate, 0, nullptr, nullptr, nullptr);
    });
}

int l_set_channels(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const int32_t channels = checkPositiveInt32(L, 2);
    return runEdit(L, audio, "set_channels", [channels](TAVOAUDIO a) {
        return TAVOAUDIO_ChangeAudioFormat(a, 0, channels, nullptr, nullptr, nullptr);
    });
}

// doc:transform(effect): an effect text of the signal library, for example
// "gain[db=-6]" or "fmtconv[sr=22050,nc=1]", on the whole signal.
int l_transform(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const char *effect = luaL_checkstring(L, 2);
    return runEdit(L, audio, "transform",
                   [effect](TAVOAUDIO a) { return TAVOAUDIO_Transform(a, effect, nullptr); });
}

// ---- undo ----------------------------------------------------------------

int l_undo(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    if (TAVOUNDO_CountUndoScripts(audio) <= 0) return pushRefusal(L, "undo", "nothing to undo");
    return runEdit(L, audio, "undo", [](TAVOAUDIO a) { return TAVOAUDIO_UndoEx(a, 0); });
}

int l_redo(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    if (TAVOUNDO_CountRedoScripts(audio) <= 0) return pushRefusal(L, "redo", "nothing to redo");
    return runEdit(L, audio, "redo", [](TAVOAUDIO a) { return TAVOAUDIO_Redo(a); });
}

// The label of the step undo() / redo() would take; nil when there is none.
template <typename Query>
int pushLabel(lua_State *L, Query query)
{
    TAVOAUDIO audio = checkOpen(L);
    char label[TAVOUNDO_LABEL_SIZE] = {};
    if (query(audio, label, static_cast<int32_t>(sizeof label)))
        lua_pushstring(L, label);
    else
        lua_pushnil(L);
    return 1;
}

int l_undo_label(lua_State *L)
{
    return pushLabel(L, TAVOAUDIO_NextUndoLabel);
}

int l_redo_label(lua_State *L)
{
    return pushLabel(L, TAVOAUDIO_NextRedoLabel);
}

// ---- samples -------------------------------------------------------------

// doc:samples(channel, from, count): the samples of one channel as numbers
// in [-1, 1], from frame `from` on; the array stops at the end of the
// signal, so it is shorter than `count` (or empty) near the end.
int l_samples(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const lua_Integer channel = luaL_checkinteger(L, 2);
    const int64_t from = checkFrame(L, 3);
    const int64_t count = checkFrame(L, 4);
    luaL_argcheck(L, count <= kMaxSampleCount, 4, "at most 10000000 samples at a time");
    auto *buffer = static_cast<float *>(lua_newuserdata(L, static_cast<size_t>(count > 0 ? count : 1) * sizeof(float)));

    bool channelOk = false;
    int64_t got = 0;
    {
        ReadAccess access(audio);
        AUDIOSIGNAL signal = access ? TAVOAUDIO_GetAudioSignal(audio) : nullptr;
        if (signal != nullptr) {
            channelOk = channel >= 0 && channel < AUDIOSIGNAL_NumChannels(signal);
            const int64_t inside = AUDIOSIGNAL_NumFrames(signal) - from;
            const int64_t wanted = count < inside ? count : inside;
            if (channelOk && wanted > 0)
                got = AUDIOSIGNAL_GetChannelSamplesEx(signal, static_cast<int32_t>(channel), from, wanted, buffer);
        }
    }
    if (!channelOk) return luaL_argerror(L, 2, "no such channel in the document");
    if (got < 0) got = 0;

    lua_createtable(L, static_cast<int>(got), 0);
    for (int64_t i = 0; i < got; ++i) {
        lua_pushnumber(L, buffer[i]);
        lua_rawseti(L, -2, i + 1);
    }
    return 1;
}

// ---- regions and tags ----------------------------------------------------

// doc:add_region(b, e [, label]) on the document's own track; no label
// names it "Region N".
int l_add_region(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const int64_t begin = checkFrame(L, 2);
    const int64_t end = checkFrame(L, 3);
    luaL_argcheck(L, end >= begin, 3, "end before begin");
    const char *label = luaL_optstring(L, 4, nullptr);
    return runEdit(L, audio, "add_region", [=](TAVOAUDIO a) {
        return TAVOAUDIO_AddRegion(a, begin, end, label) != nullptr;
    });
}

// doc:add_marker(p [, label]); no label names it "Marker N".
int l_add_marker(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const int64_t position = checkFrame(L, 2);
    const char *label = luaL_optstring(L, 3, nullptr);
    return runEdit(L, audio, "add_marker", [=](TAVOAUDIO a) {
        return TAVOAUDIO_AddMarkerToSample(a, position, label) != nullptr;
    });
}

// doc:regions(): every region that is not deleted, of every track, in track
// then region order, as {b=, e=, label=, marker=, track=} (frames; track is
// the region-track index, 0 for the document's own track).
int l_regions(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    const int32_t count = TAVOAUDIO_CountRegionsOfTrack(audio, -1);
    auto *regions = static_cast<AUDIOREGION *>(
        lua_newuserdata(L, static_cast<size_t>(count > 0 ? count : 1) * sizeof(AUDIOREGION)));
    const int32_t listed = count > 0 ? TAVOAUDIO_GetRegionsOfTrack(audio, -1, regions, count) : 0;
    lua_createtable(L, listed, 0);
    for (int32_t i = 0; i < listed; ++i) {
        AUDIOREGION region = regions[i];
        const char *label = TAVOAUDIO_GetRegionLabel(audio, region);
        lua_createtable(L, 0, 5);
        lua_pushinteger(L, TAVOAUDIO_GetRegionBeginSample(audio, region));
        lua_setfield(L, -2, "b");
        lua_pushinteger(L, TAVOAUDIO_GetRegionEndSample(audio, region));
        lua_setfield(L, -2, "e");
        lua_pushstring(L, label != nullptr ? label : "");
        lua_setfield(L, -2, "label");
        lua_pushboolean(L, TAVOAUDIO_IsMarker(audio, region));
        lua_setfield(L, -2, "marker");
        lua_pushinteger(L, TAVOAUDIO_GetRegionTrackIndex(audio, region));
        lua_setfield(L, -2, "track");
        lua_rawseti(L, -2, i + 1);
    }
    return 1;
}

// doc:set_tag(field, value): one undo step; a nil or empty value removes
// the tag.
int l_set_tag(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    char field[kMaxFieldName + 1];
    checkFieldName(L, 2, field);
    const char *value = luaL_optstring(L, 3, nullptr);
    clearLastError(audio);
    // The edition makes the change one undo step; a failed setter counts no
    // change, so closing the edition then leaves no step behind.
    if (TAVOAUDIO_BeginMetadataEdition(audio, nullptr) == 0) return pushFailure(L, audio, "set_tag");
    if (TAVOAUDIO_SetMetaData(audio, field, value) == 0) {
        // The setter's reason, before closing the edition can replace it.
        const uint32_t code = TAVOAUDIO_GetLastError(audio, false);
        const char *message = TAVOAUDIO_GetLastErrorMessage(audio, true);
        TAVOAUDIO_EndMetadataEdition(audio);
        lua_pushnil(L);
        if (message != nullptr && message[0] != '\0')
            lua_pushfstring(L, "set_tag: %s: %s", field, message);
        else
            lua_pushfstring(L, "set_tag: %s refused by the document (error %d)", field, static_cast<int>(code));
        return 2;
    }
    return pushStatus(L, audio, TAVOAUDIO_EndMetadataEdition(audio) != 0, "set_tag");
}

// doc:tag(field): the text of the tag, nil when the document has none.
int l_tag(lua_State *L)
{
    TAVOAUDIO audio = checkOpen(L);
    char field[kMaxFieldName + 1];
    checkFieldName(L, 2, field);
    char text[kTagBuffer];
    const int64_t length = TAVOAUDIO_CopyMetaData(audio, field, text, kTagBuffer);
    if (length < 0) {
        lua_pushnil(L);
        return 1;
    }
    if (length < kTagBuffer) {
        lua_pushlstring(L, text, static_cast<size_t>(length));
        return 1;
    }
    // A longer text: read it again into a buffer of its size.
    luaL_argcheck(L, length < INT32_MAX, 2, "tag too long");
    auto *longText = static_cast<char *>(lua_newuserdata(L, static_cast<size_t>(length) + 1));
    const int64_t again = TAVOAUDIO_CopyMetaData(audio, field, longText, static_cast<int32_t>(length + 1));
    if (again < 0) {
        lua_pushnil(L);
        return 1;
    }
    lua_pushlstring(L, longText, static_cast<size_t>(again < length ? again : length));
    return 1;
}

// ---- closing -------------------------------------------------------------

// doc:close(): closes the document now; the value is closed from then on
// (and the collector leaves it alone). A close the host refuses leaves the
// document open: nil, message.
int l_close(lua_State *L)
{
    auto *slot = static_cast<TAVOAUDIO *>(luaL_checkudata(L, 1, kAudioType));
    if (*slot == nullptr) return luaL_error(L, "attempt to use a closed document");
    TAVOAUDIO audio = *slot;
    clearLastError(audio);
    if (!TAVOAUDIO_Close(audio)) return pushFailure(L, audio, "close");
    *slot = nullptr;
    lua_pushboolean(L, 1);
    return 1;
}

const luaL_Reg kDocumentMethods[] = {
    {"frames", l_frames},
    {"rate", l_rate},
    {"channels", l_channels},
    {"duration", l_duration},
    {"name", l_name},
    {"changed", l_changed},
    {"select", l_select},
    {"select_all", l_select_all},
    {"clear_selection", l_clear_selection},
    {"selections", l_selections},
    {"cursor", l_cursor},
    {"cut", l_cut},
    {"copy", l_copy},
    {"paste", l_paste},
    {"append", l_append},
    {"clear", l_clear},
    {"insert_silence", l_insert_silence},
    {"silence", l_silence},
    {"reverse", l_reverse},
    {"invert", l_invert},
    {"gain", l_gain},
    {"normalize", l_normalize},
    {"remove_dc", l_remove_dc},
    {"fade_in", l_fade_in},
    {"fade_out", l_fade_out},
    {"trim", l_trim},
    {"swap_channels", l_swap_channels},
    {"resample", l_resample},
    {"set_channels", l_set_channels},
    {"transform", l_transform},
    {"undo", l_undo},
    {"redo", l_redo},
    {"undo_label", l_undo_label},
    {"redo_label", l_redo_label},
    {"samples", l_samples},
    {"add_region", l_add_region},
    {"add_marker", l_add_marker},
    {"regions", l_regions},
    {"set_tag", l_set_tag},
    {"tag", l_tag},
    {"close", l_close},
    {nullptr, nullptr},
};

const luaL_Reg kClipMethods[] = {
    {"frames", l_clip_frames},
    {"rate", l_clip_rate},
    {"channels", l_clip_channels},
    {"__gc", l_clip_gc},
    {"__tostring", l_clip_tostring},
    {nullptr, nullptr},
};

}  // namespace

void _TAVOLUA_RegisterDocumentMethods(lua_State *L)
{
    L_RegisterType(L, kAudioType, kDocumentMethods);
    L_RegisterType(L, kClipType, kClipMethods);
}
