// undo.cpp: undo scripts, their operations and the document's undo history.
//
// A script records the inverse of one step. Undoing runs it and, operation
// by operation, records the inverse of each inverse in a redo script, so
// that redo is the same machinery run the other way. Scripts are pushed on
// a bounded per-document stack that drops its oldest step when full.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "audiometadata.h"
#include "audioops.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "bldebug.h"
#include "blmem.h"
#include "blsettings.h"
#include "edit/undo_p.h"
#include "frame/document_p.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoproc.h"
#include "tavostate.h"
#include "tavoundo.h"
#include "tavozoom.h"
#include "view/state_p.h"

namespace {

constexpr uint32_t kStackDefault = 128;
constexpr uint32_t kStackMin = 4;     // fewer steps than this makes undo useless
constexpr uint32_t kStackMax = 512;   // each step holds a state copy; bound the memory
constexpr const char *kTimecodeField = "TIMECODE";
// Search option that sees every region: hidden and deleted ones too, so that
// an all-regions snapshot can put deleted regions back as they were.
constexpr uint32_t kAllRegions = AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_DELETED;

// The live record without the validity test: the teardown destroys the
// stack after the record was marked closing, and must still reach it.
TavoDocument *rawDocument(TAVOAUDIO audio)
{
    if (audio == nullptr || audio->tag != TAVOAUDIO_TAG || audio->version != 1) return nullptr;
    return audio;
}

void copyLabel(char *to, const char *from)
{
    std::snprintf(to, TAVOUNDO_LABEL_SIZE, "%s", from != nullptr ? from : "");
}

TavoUndoOp *newOp(TAVOUNDOSCRIPT script, uint32_t kind)
{
    auto *op = static_cast<TavoUndoOp *>(BLMEM_NewEx(script->pool, sizeof(TavoUndoOp), 0));
    if (op == nullptr) return nullptr;
    op->kind = kind;
    op->trackIndex = -1;
    return op;
}

// Puts an operation in front of the list: it runs before every older one.
void linkOp(TAVOUNDOSCRIPT script, TavoUndoOp *op)
{
    op->next = script->ops;
    script->ops = op;
    script->count++;
}

void releaseOp(TavoUndoOp *op)
{
    if (op->blocks != nullptr) AUDIOSIGNAL_ClearState(op->blocks);
    if (op->region != nullptr) AUDIOREGION_Dispose(op->region);
    if (op->regionCopy != nullptr) AUDIOREGION_Dispose(op->regionCopy);
    for (int32_t i = 0; i < op->pairCount; ++i) {
        AUDIOREGION_Dispose(op->pairs[i].region);
        AUDIOREGION_Dispose(op->pairs[i].copy);
    }
    if (op->signal != nullptr) AUDIOSIGNAL_Destroy(op->signal);
    if (op->metadata != nullptr) AUDIOMETADATA_Destroy(op->metadata);
    if (op->trackCopy != nullptr) AUDIOREGIONTRACK_Dispose(op->trackCopy);
    op->blocks = nullptr;
    op->region = op->regionCopy = nullptr;
    op->pairCount = 0;
    op->signal = nullptr;
    op->metadata = nullptr;
    op->trackCopy = nullptr;
}

// A script with a frozen copy of `state` and no operation. `label` is taken
// as it is (callers translate). Null when out of memory.
TAVOUNDOSCRIPT makeScript(const char *label, TAVOSTATE state)
{
    BLMEM_DESCR pool = BLMEM_CreateMemDescrEx("UNDO SCRIPT Memory", 1024, 0);
    if (pool == nullptr) return nullptr;
    auto *script = static_cast<TAVOUNDOSCRIPT>(BLMEM_NewEx(pool, sizeof(TavoUndoScript), 0));
    TAVOSTATE copy = script != nullptr ? TAVOSTATE_CreateUndoCopy(state) : nullptr;
    if (copy == nullptr) {
        BLMEM_DisposeMemDescr(pool);
        return nullptr;
    }
    script->pool = pool;
    script->state = copy;
    copyLabel(script->label, label);
    return script;
}

bool addTimes(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal)
{
    TavoUndoOp *op = newOp(script, TAVOUNDO_OP_TIMES);
    if (op == nullptr) return false;
    for (int32_t i = 0; i < 3; ++i) op->times[i] = AUDIOSIGNAL_GetTime(signal, i);
    linkOp(script, op);
    return true;
}

bool addRegionCopy(TAVOUNDOSCRIPT script, AUDIOREGION region, uint32_t flags)
{
    AUDIOREGION copy = AUDIOREGION_Copy(region);
    TavoUndoOp *op = copy != nullptr ? newOp(script, TAVOUNDO_OP_REGION) : nullptr;
    if (op == nullptr) {
        if (copy != nullptr) AUDIOREGION_Dispose(copy);
        return false;
    }
    op->region = AUDIOREGION_GetReference(region);
    op->regionCopy = copy;
    op->flags = flags;
    linkOp(script, op);
    return true;
}

bool addAllRegions(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal, int32_t trackIndex)
{
    const int32_t count = AUDIOSIGNAL_CountRegions(signal, trackIndex, kAllRegions);
    std::vector<AUDIOREGION> regions(static_cast<size_t>(std::max(count, 0)));
    const int32_t got = count > 0 ? AUDIOSIGNAL_GetRegions(signal, trackIndex, kAllRegions, regions.data(), count) : 0;
    TavoUndoOp *op = newOp(script, TAVOUNDO_OP_ALL_REGIONS);
    if (op == nullptr) return false;
    if (got > 0) {
        op->pairs = static_cast<TavoUndoRegionPair *>(
            BLMEM_NewEx(script->pool, sizeof(TavoUndoRegionPair) * static_cast<size_t>(got), 0));
        if (op->pairs == nullptr) return false;
    }
    for (int32_t i = 0; i < got; ++i) {
        AUDIOREGION copy = AUDIOREGION_Copy(regions[static_cast<size_t>(i)]);
        if (copy == nullptr) {
            releaseOp(op);
            return false;
        }
        op->pairs[op->pairCount].region = AUDIOREGION_GetReference(regions[static_cast<size_t>(i)]);
        op->pairs[op->pairCount].copy = copy;
        op->pairCount++;
    }
    op->trackIndex = trackIndex;
    linkOp(script, op);
    return true;
}

bool addTrackCopy(TAVOUNDOSCRIPT script, AUDIOREGIONTRACK track)
{
    AUDIOREGIONTRACK copy = AUDIOREGIONTRACK_Copy(track);
    TavoUndoOp *op = copy != nullptr ? newOp(script, TAVOUNDO_OP_TRACK) : nullptr;
    if (op == nullptr) {
        if (copy != nullptr) AUDIOREGIONTRACK_Dispose(copy);
        return false;
    }
    op->trackCopy = copy;
    linkOp(script, op);
    return true;
}

bool addCreateTrack(TAVOUNDOSCRIPT script, const char *uniqId)
{
    TavoUndoOp *op = newOp(script, TAVOUNDO_OP_CREATE_TRACK);
    if (op == nullptr) return false;
    const size_t length = std::strlen(uniqId);
    op->uniqId = static_cast<char *>(BLMEM_NewEx(script->pool, length + 1, 0));
    if (op->uniqId == nullptr) return false;
    std::memcpy(op->uniqId, uniqId, length + 1);
    linkOp(script, op);
    return true;
}

bool addMetadata(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal)
{
    TavoUndoOp *op = newOp(script, TAVOUNDO_OP_METADATA);
    if (op == nullptr) return false;
    AUDIOMETADATA current = AUDIOSIGNAL_Metadata(signal);
    if (current != nullptr) {
        op->metadata = AUDIOMETADATA_DuplicateEx(current, AUDIOMETADATA_DUPLICATE_BINARY);
        if (op->metadata == nullptr) return false;
    }
    linkOp(script, op);
    return true;
}

bool addSamples(TAVOUNDOSCRIPT script, uint32_t count, const TAVOUNDOSAMPLE *samples)
{
    TavoUndoOp *op = newOp(script, TAVOUNDO_OP_SAMPLES);
    if (op == nullptr) return false;
    op->samples = static_cast<TAVOUNDOSAMPLE *>(BLMEM_NewEx(script->pool, sizeof(TAVOUNDOSAMPLE) * count, 0));
    if (op->samples == nullptr) return false;
    std::memcpy(op->samples, samples, sizeof(TAVOUNDOSAMPLE) * count);
    op->sampleCount = count;
    linkOp(script, op);
    return true;
}

bool addSimple(TAVOUNDOSCRIPT script, uint32_t kind, uint32_t rate, int64_t timecode)
{
    TavoUndoOp *op = newOp(script, kind);
    if (op == nullptr) return false;
    op->rate = rate;
    op->timecode = timecode;
    linkOp(script, op);
    return true;
}

// Adds to `inverse` the operation that undoes `op` once `op` has run: the
// same kind holding the present value of what `op` is about to restore.
// Runs before `op`. Kind 6 is completed after the run (the replaced signal).
bool addInverse(TAVOUNDOSCRIPT inverse, TavoDocument *doc, const TavoUndoOp *op)
{
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    switch (op->kind) {
    case TAVOUNDO_OP_NOACTION:
    case TAVOUNDO_OP_NOTHING:
    case TAVOUNDO_OP_SWAP_CHANNELS:
        return addSimple(inverse, op->kind, 0, 0);
    case TAVOUNDO_OP_TIMES:
        return addTimes(inverse, signal);
    case TAVOUNDO_OP_AUDIO_BLOCKS:
        return TAVOUNDO_AddRevertAudioBlocks(inverse, signal);
    case TAVOUNDO_OP_REGION:
        return addRegionCopy(inverse, op->region, op->flags);
    case TAVOUNDO_OP_CREATE_REGION:
        // Taking a created region out is undone by putting its present
        // contents back (a replace brings a region that left the signal back).
        return addRegionCopy(inverse, op->region, 0);
    case TAVOUNDO_OP_ALL_REGIONS:
        return addAllRegions(inverse, signal, op->trackIndex);
    case TAVOUNDO_OP_SIGNAL: {
        TavoUndoOp *keep = newOp(inverse, TAVOUNDO_OP_SIGNAL);
        if (keep == nullptr) return false;
        keep->signal = AUDIOSIGNAL_GetReference(signal);
        linkOp(inverse, keep);
        return true;
    }
    case TAVOUNDO_OP_SAMPLE_RATE:
        return addSimple(inverse, op->kind, static_cast<uint32_t>(AUDIOSIGNAL_SampleRate(signal)), 0);
    case TAVOUNDO_OP_METADATA:
        return addMetadata(inverse, signal);
    case TAVOUNDO_OP_TRACK: {
        const int32_t index = AUDIOSIGNAL_FindRegionTrackIndex(signal, AUDIOREGIONTRACK_GetUniqId(op->trackCopy));
        if (index < 0) return addCreateTrack(inverse, AUDIOREGIONTRACK_GetUniqId(op->trackCopy));
        return addTrackCopy(inverse, AUDIOSIGNAL_GetRegionTrack(signal, index));
    }
    case TAVOUNDO_OP_CREATE_TRACK: {
        const int32_t index = AUDIOSIGNAL_FindRegionTrackIndex(signal, op->uniqId);
        if (index < 0) return true;   // nothing to take back, nothing to redo
        return addTrackCopy(inverse, AUDIOSIGNAL_GetRegionTrack(signal, index));
    }
    case TAVOUNDO_OP_TIMECODE:
        return addSimple(inverse, op->kind, 0, _TAVOUNDO_Timecode(signal));
    case TAVOUNDO_OP_SAMPLES: {
        std::vector<TAVOUNDOSAMPLE> present(op->samples, op->samples + op->sampleCount);
        for (TAVOUNDOSAMPLE &s : present) s.value = AUDIOSIGNAL_GetSample(signal, static_cast<int32_t>(s.channel), s.frame);
        return addSamples(inverse, op->sampleCount, present.data());
    }
    default:
        return false;
    }
}

bool runBlocks(AUDIOSIGNAL signal, TavoUndoOp *op)
{
    if (op->blocks == nullptr) return false;
    // Walk the channels of either side: the saved state may have more
    // channels than the signal has now, or fewer.
    bool differ = false;
    for (int32_t c = 0; c <= AUDIO_MAX_CHANNELS; ++c) {
        AUDIOBLOCKSLIST current = AUDIOSIGNAL_GetBlocksList(signal, c);
        AUDIOBLOCKSLIST saved = AUDIOSIGNAL_StateBlocksList(op->blocks, c);
        if (current == nullptr && saved == nullptr) break;
        if (!AUDIOBLOCKSLIST_Equal(current, saved)) differ = true;
        AUDIOBLOCKSLIST_Destroy(current);
        AUDIOBLOCKSLIST_Destroy(saved);
    }
    bool ok = true;
    if (differ) ok = AUDIOSIGNAL_RestoreState(signal, op->blocks);
    AUDIOSIGNAL_ClearState(op->blocks);
    op->blocks = nullptr;
    return ok;
}

bool runAllRegions(AUDIOSIGNAL signal, TavoUndoOp *op)
{
    bool ok = true;
    const int32_t count = AUDIOSIGNAL_CountRegions(signal, op->trackIndex, kAllRegions);
    std::vector<AUDIOREGION> regions(static_cast<size_t>(std::max(count, 0)));
    const int32_t got = count > 0 ? AUDIOSIGNAL_GetRegions(signal, op->trackIndex, kAllRegions, regions.data(), count) : 0;
    // Hold the present regions while some are deleted for good.
    for (int32_t i = 0; i < got; ++i) AUDIOREGION_GetReference(regions[static_cast<size_t>(i)]);
    for (int32_t i = 0; i < got; ++i) {
        AUDIOREGION region = regions[static_cast<size_t>(i)];
        const uint64_t id = AUDIOREGION_GetUniqId(region);
        bool kept = false;
        for (int32_t k = 0; k < op->pairCount && !kept; ++k) kept = AUDIOREGION_GetUniqId(op->pairs[k].copy) == id;
        if (!kept && !AUDIOREGION_DeleteEx(region, AUDIOSIGNAL_REPLACE_NO_NOTIFY)) ok = false;
    }
    for (int32_t i = 0; i < got; ++i) AUDIOREGION_Dispose(regions[static_cast<size_t>(i)]);
    for (int32_t k = 0; k < op->pairCount; ++k) {
        if (AUDIOREGION_Compare(op->pairs[k].region, op->pairs[k].copy) == 0 &&
            AUDIOREGION_GetTrackIndex(op->pairs[k].region) >= 0) {
            continue;
        }
        if (!AUDIOSIGNAL_ReplaceRegion(signal, op->pairs[k].region, op->pairs[k].copy)) ok = false;
    }
    AUDIOSIGNAL_AdjustRegionChildShares(signal);
    AUDIOSIGNAL_NotifyChange(signal, AUDIOSIGNAL_CHANGE_REGIONS);
    return ok;
}

// Runs one operation on the document. `audioChanged` is set when the samples
// may differ afterwards (the display caches must be rebuilt).
bool runOp(TavoDocument *doc, TavoUndoOp *op, bool &audioChanged)
{
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return false;
    switch (op->kind) {
    case TAVOUNDO_OP_NOACTION:
    case TAVOUNDO_OP_NOTHING:
        return true;
    case TAVOUNDO_OP_TIMES:
        for (int32_t i = 0; i < 3; ++i) {
            if (!AUDIOSIGNAL_SetTime(signal, i, op->times[i])) return false;
        }
        return true;
    case TAVOUNDO_OP_AUDIO_BLOCKS:
        audioChanged = true;
        return runBlocks(signal, op);
    case TAVOUNDO_OP_REGION:
        return AUDIOSIGNAL_ReplaceRegionEx(signal, op->region, op->regionCopy, op->flags);
    case TAVOUNDO_OP_CREATE_REGION:
        return AUDIOSIGNAL_DeleteRegion(signal, op->region, AUDIOSIGNAL_DELETE_FOR_GOOD);
    case TAVOUNDO_OP_ALL_REGIONS:
        return runAllRegions(signal, op);
    case TAVOUNDO_OP_SIGNAL: {
        if (op->signal == nullptr) return false;
        AUDIOSIGNAL replaced = TAVOAUDIO_SetAudioSignal(doc, op->signal);
        op->signal = nullptr;   // the document owns it now
        if (replaced != nullptr) AUDIOSIGNAL_Destroy(replaced);
        audioChanged = true;
        return true;
    }
    case TAVOUNDO_OP_SAMPLE_RATE:
        return _TAVOUNDO_ApplySampleRate(doc, static_cast<int32_t>(op->rate));
    case TAVOUNDO_OP_SWAP_CHANNELS:
        audioChanged = true;
        return AUDIOSIGNAL_SwapChannels(signal);
    case TAVOUNDO_OP_METADATA:
        return op->metadata != nullptr ? AUDIOSIGNAL_ReplaceMetadata(signal, op->metadata)
                                       : AUDIOSIGNAL_RemoveMetadata(signal);
    case TAVOUNDO_OP_TRACK:
        return AUDIOSIGNAL_RestoreRegionTrack(signal, op->trackCopy);
    case TAVOUNDO_OP_CREATE_TRACK:
        return AUDIOSIGNAL_RemoveCustomTrack(signal, op->uniqId, AUDIOSIGNAL_DELETE_FOR_GOOD);
    case TAVOUNDO_OP_TIMECODE:
        return _TAVOUNDO_SetTimecode(signal, op->timecode);
    case TAVOUNDO_OP_SAMPLES: {
        bool ok = true;
        for (uint32_t i = 0; i < op->sampleCount; ++i) {
            const TAVOUNDOSAMPLE &s = op->samples[i];
            if (!AUDIOSIGNAL_SetSample(signal, static_cast<int32_t>(s.channel), s.frame, s.value)) ok = false;
        }
        audioChanged = true;
        return ok;
    }
    default:
        // Kind 11 (a pasted signal of the visual paste tool) is recorded and
        // put back by the visual tools; this engine does not run it.
        BLDEBUG_Error("TAVOUNDO_ExecuteUndoScript: unknown operation kind %u", op->kind);
        return false;
    }
}

// Runs every operation of `script`, recording inverses in `inverse` when it
// is not null. Call with write access held.
bool runScript(TavoDocument *doc, TAVOUNDOSCRIPT script, TAVOUNDOSCRIPT inverse, bool &audioChanged)
{
    bool ok = true;
    for (TavoUndoOp *op = script->ops; op != nullptr; op = op->next) {
        if (inverse != nullptr && !addInverse(inverse, doc, op)) {
            BLDEBUG_Error("TAVOUNDO_ExecuteUndoScript: could not record the inverse of kind %u", op->kind);
        }
        if (!runOp(doc, op, audioChanged)) ok = false;
    }
    return ok;
}

TavoUndoStack *makeStack()
{
    // The stack lives on the heap rather than in the document's pool: it can
    // be destroyed and made again many times during a document's life.
    auto *stack = new (std::nothrow) TavoUndoStack{};
    if (stack == nullptr) return nullptr;
    stack->capacity = _TAVOUNDO_Capacity();
    stack->undo = new (std::nothrow) TAVOUNDOSCRIPT[stack->capacity]();
    stack->redo = new (std::nothrow) TAVOUNDOSCRIPT[stack->capacity]();
    if (stack->undo == nullptr || stack->redo == nullptr) {
        delete[] stack->undo;
        delete[] stack->redo;
        delete stack;
        return nullptr;
    }
    return stack;
}

// Appends to one of the stack's arrays, dropping its oldest step when full.
void appendBounded(TAVOAUDIO audio, TAVOUNDOSCRIPT *slots, uint32_t &count, uint32_t capacity, TAVOUNDOSCRIPT script)
{
    if (count == capacity) {
        TAVOUNDO_DestroyUndoScript(audio, slots[0]);
        std::memmove(slots, slots + 1, sizeof(TAVOUNDOSCRIPT) * (capacity - 1));
        count--;
    }
    slots[count++] = script;
}

// Pushes without the redo clearing and without the event; false for an empty
// script (destroyed) or no memory. Call with write access held.
bool pushUndo(TavoDocument *doc, TAVOUNDOSCRIPT script)
{
    if (script->count == 0) {
        TAVOUNDO_DestroyUndoScript(doc, script);
        return false;
    }
    if (doc->undo == nullptr) {
        doc->undo = makeStack();
        if (doc->undo == nullptr) return false;
    }
    TavoUndoStack *stack = doc->undo;
    appendBounded(doc, stack->undo, stack->undoCount, stack->capacity, script);
    return true;
}

bool pushRedo(TavoDocument *doc, TAVOUNDOSCRIPT script)
{
    if (script->count == 0 || doc->undo == nullptr) {
        TAVOUNDO_DestroyUndoScript(doc, script);
        return false;
    }
    TavoUndoStack *stack = doc->undo;
    appendBounded(doc, stack->redo, stack->redoCount, stack->capacity, script);
    return true;
}

bool clearRedo(TavoDocument *doc)
{
    TavoUndoStack *stack = doc->undo;
    if (stack == nullptr) return true;
    bool ok = true;
    while (stack->redoCount > 0) {
        TAVOUNDOSCRIPT script = stack->redo[stack->redoCount - 1];
        if (!TAVOUNDO_DestroyUndoScript(doc, script)) ok = false;
        stack->redo[--stack->redoCount] = nullptr;
    }
    return ok;
}

void sendStackChanged(TavoDocument *doc, int32_t times)
{
    for (int32_t i = 0; i < times; ++i) _TAVOAUDIO_Send(doc, TAVOAUDIO_UNDOSTACKCHANGED, nullptr, nullptr, nullptr);
}

// The shared tail of undo and redo, run with write access held: runs
// `script` recording its inverse in `inverse` (may be null), then restores
// the view state and zoom from the script's copy.
void applyStep(TavoDocument *doc, TAVOUNDOSCRIPT script, TAVOUNDOSCRIPT inverse, bool wasZoomed)
{
    bool audioChanged = false;
    runScript(doc, script, inverse, audioChanged);
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    TAVOAUDIO_SetChannelMask(doc, script->state->channelMask);
    // Mode 0 fits view, limits and cursor into a signal that became shorter
    // than the one the document's state was last assigned for.
    const int32_t mode = AUDIOSIGNAL_NumFrames(signal) < doc->state->numFrames ? 0 : 1;
    TAVOSTATE_AssignEx(script->state, doc->state, mode);
    if (audioChanged) doc->state->visualChange |= 0x2u;   // display caches are stale
    if (!wasZoomed) TAVOAUDIO_ZoomResetEx(doc, 0);
}

}  // namespace

// ---- internal helpers ----------------------------------------------------------

uint32_t _TAVOUNDO_Capacity(void)
{
    const int64_t size = BLSETTINGS_GetIntEx(nullptr, "libtavo.editoptions.undo_stack_size=[%d]",
                                             static_cast<int>(kStackDefault));
    return static_cast<uint32_t>(std::clamp<int64_t>(size, kStackMin, kStackMax));
}

bool _TAVOUNDO_ApplySampleRate(TavoDocument *doc, int32_t rate)
{
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    const int32_t old = AUDIOSIGNAL_SampleRate(signal);
    if (signal == nullptr || rate < 1) return false;
    if (old == rate) return true;
    if (!AUDIOSIGNAL_SetSampleRate(signal, rate)) return false;
    // The selections are stored in seconds: rescale them to keep their frames.
    TAVOSTATE_AdjustSampleRate(doc->state, old, rate);
    return true;
}

int64_t _TAVOUNDO_Timecode(AUDIOSIGNAL signal)
{
    AUDIOMETADATA metadata = AUDIOSIGNAL_Metadata(signal);
    return metadata != nullptr ? AUDIOMETADATA_GetIntegerMetaData(metadata, kTimecodeField, 0) : 0;
}

bool _TAVOUNDO_SetTimecode(AUDIOSIGNAL signal, int64_t timecode)
{
    if (timecode == _TAVOUNDO_Timecode(signal)) return true;
    AUDIOMETADATA metadata = AUDIOSIGNAL_CreateMetadata(signal);
    if (metadata == nullptr) return false;
    // Timecode 0 is the absence of a timecode: the field goes away.
    if (timecode == 0) return AUDIOMETADATA_SetMetaData(metadata, kTimecodeField, nullptr);
    return AUDIOMETADATA_SetIntegerMetaData(metadata, kTimecodeField, timecode);
}

// ---- scripts -------------------------------------------------------------------

TAVO_API TAVOUNDOSCRIPT TAVOUNDO_CreateUndoScript(TAVOAUDIO audio, const char *label, TAVOSTATE state)
{
    if (state == nullptr) return nullptr;
    TavoDocument *doc = nullptr;
    if (audio != nullptr) {
        doc = _TAVOAUDIO_Validate(audio);
        if (doc == nullptr) return nullptr;
        // Every step made while a group is open lands in the group.
        if (doc->pendingGroup != nullptr) return doc->pendingGroup;
    }
    char translated[TAVOUNDO_LABEL_SIZE];
    TAVOtranslate(label != nullptr ? label : "Undefined", translated, TAVOUNDO_LABEL_SIZE);
    TAVOUNDOSCRIPT script = makeScript(translated, state);
    if (script == nullptr) return nullptr;
    AUDIOSIGNAL signal = doc != nullptr ? _TAVOAUDIO_Signal(doc) : nullptr;
    if (signal != nullptr) {
        script->stamp = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT);
        if (!addTimes(script, signal)) {
            TAVOUNDO_DestroyUndoScript(audio, script);
            return nullptr;
        }
    }
    return script;
}

TAVO_API bool TAVOUNDO_ChangeUndoLabel(TAVOUNDOSCRIPT script, const char *label)
{
    if (script == nullptr || label == nullptr) return false;
    copyLabel(script->label, label);
    return true;
}

TAVO_API const char *TAVOUNDO_GetUndoLabel(TAVOUNDOSCRIPT script)
{
    return script != nullptr ? script->label : nullptr;
}

TAVO_API uint32_t TAVOUNDO_CountOperations(TAVOUNDOSCRIPT script)
{
    return script != nullptr ? script->count : 0;
}

TAVO_API bool TAVOUNDO_DestroyUndoScript(TAVOAUDIO audio, TAVOUNDOSCRIPT script)
{
    if (script == nullptr) return false;
    TavoDocument *doc = rawDocument(audio);
    // An operation that fails after CreateUndoScript handed it the open
    // group gives it back here: the group stays open and keeps what it has.
    if (doc != nullptr && doc->pendingGroup == script) return true;
    for (TavoUndoOp *op = script->ops; op != nullptr; op = op->next) releaseOp(op);
    if (script->state != nullptr) TAVOSTATE_Destroy(script->state);
    return BLMEM_DisposeMemDescr(script->pool);
}

TAVO_API bool TAVOUNDO_ExecuteUndoScript(TAVOAUDIO audio, TAVOUNDOSCRIPT script)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || script == nullptr || _TAVOAUDIO_Signal(doc) == nullptr) return false;
    bool audioChanged = false;
    return runScript(doc, script, nullptr, audioChanged);
}

TAVO_API bool TAVOUNDO_PushUndoScript(TAVOAUDIO audio, TAVOUNDOSCRIPT script)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || script == nullptr) return false;
    if (script == doc->pendingGroup) return true;   // pushed when the group closes
    if (script->count == 0) {
        TAVOUNDO_DestroyUndoScript(audio, script);
        return false;
    }
    // A new step makes the undone ones unreachable.
    if (!clearRedo(doc)) return false;
    if (!pushUndo(doc, script)) return false;
    sendStackChanged(doc, 1);
    return true;
}

TAVO_API TAVOUNDOSCRIPT TAVOUNDO_PopUndoScript(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->undo == nullptr || doc->undo->undoCount == 0) return nullptr;
    TavoUndoStack *stack = doc->undo;
    TAVOUNDOSCRIPT script = stack->undo[stack->undoCount - 1];
    stack->undo[--stack->undoCount] = nullptr;
    sendStackChanged(doc, 1);
    return script;
}

TAVO_API TAVOUNDOSCRIPT TAVOUNDO_NextUndoScript(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->undo == nullptr || doc->undo->undoCount == 0) return nullptr;
    return doc->undo->undo[doc->undo->undoCount - 1];
}

TAVO_API int32_t TAVOUNDO_CountUndoScripts(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->undo != nullptr ? static_cast<int32_t>(doc->undo->undoCount) : 0;
}

TAVO_API int32_t TAVOUNDO_CountRedoScripts(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->undo != nullptr ? static_cast<int32_t>(doc->undo->redoCount) : 0;
}

TAVO_API int32_t TAVOUNDO_StackCapacity(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->undo != nullptr ? static_cast<int32_t>(doc->undo->capacity) : 0;
}

namespace {

uint64_t scriptSize(TAVOUNDOSCRIPT script)
{
    uint64_t size = BLMEM_SizeInMemory(script->pool);
    for (TavoUndoOp *op = script->ops; op != nullptr; op = op->next) {
        if (op->signal != nullptr) size += AUDIOSIGNAL_SizeInMemory(op->signal);
    }
    return size;
}

}  // namespace

TAVO_API uint64_t TAVOUNDO_SizeInMemory(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->undo == nullptr) return 0;
    uint64_t size = sizeof(TavoUndoStack) + 2 * sizeof(TAVOUNDOSCRIPT) * doc->undo->capacity;
    for (uint32_t i = 0; i < doc->undo->undoCount; ++i) size += scriptSize(doc->undo->undo[i]);
    for (uint32_t i = 0; i < doc->undo->redoCount; ++i) size += scriptSize(doc->undo->redo[i]);
    return size;
}

TAVO_API bool TAVOUNDO_FreeMemory(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->undo == nullptr) return false;
    auto freeScript = [](TAVOUNDOSCRIPT script) {
        for (TavoUndoOp *op = script->ops; op != nullptr; op = op->next) {
            if (op->signal != nullptr) AUDIOSIGNAL_FreeDataMemory(op->signal, true);
        }
    };
    for (uint32_t i = 0; i < doc->undo->undoCount; ++i) freeScript(doc->undo->undo[i]);
    for (uint32_t i = 0; i < doc->undo->redoCount; ++i) freeScript(doc->undo->redo[i]);
    return true;
}

TAVO_API bool TAVOUNDO_DestroyStack(TAVOAUDIO audio)
{
    TavoDocument *doc = rawDocument(audio);
    if (doc == nullptr) return false;
    if (doc->pendingGroup != nullptr) {
        TAVOUNDOSCRIPT group = doc->pendingGroup;
        doc->pendingGroup = nullptr;
        TAVOUNDO_DestroyUndoScript(audio, group);
    }
    TavoUndoStack *stack = doc->undo;
    if (stack == nullptr) return true;
    doc->undo = nullptr;
    for (uint32_t i = 0; i < stack->undoCount; ++i) TAVOUNDO_DestroyUndoScript(audio, stack->undo[i]);
    for (uint32_t i = 0; i < stack->redoCount; ++i) TAVOUNDO_DestroyUndoScript(audio, stack->redo[i]);
    delete[] stack->undo;
    delete[] stack->redo;
    delete stack;
    return true;
}

// ---- operations ----------------------------------------------------------------

TAVO_API bool TAVOUNDO_AddNoAction(TAVOUNDOSCRIPT script)
{
    return script != nullptr && addSimple(script, TAVOUNDO_OP_NOACTION, 0, 0);
}

TAVO_API bool TAVOUNDO_AddRevertAudioBlocks(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal)
{
    if (script == nullptr || signal == nullptr) return false;
    AUDIOSIGNAL_STATE saved = AUDIOSIGNAL_SaveState(signal);
    TavoUndoOp *op = saved != nullptr ? newOp(script, TAVOUNDO_OP_AUDIO_BLOCKS) : nullptr;
    if (op == nullptr) {
        if (saved != nullptr) AUDIOSIGNAL_ClearState(saved);
        return false;
    }
    // Mark the saved lists as kept for undo only.
    for (int32_t c = 0;; ++c) {
        AUDIOBLOCKSLIST list = AUDIOSIGNAL_StateBlocksList(saved, c);
        if (list == nullptr) break;
        AUDIOBLOCKSLIST_Desactive(list);
        AUDIOBLOCKSLIST_Destroy(list);
    }
    op->blocks = saved;
    linkOp(script, op);
    return true;
}

TAVO_API bool TAVOUNDO_AddRevertRegion(TAVOUNDOSCRIPT script, AUDIOREGION region, uint32_t flags)
{
    return script != nullptr && region != nullptr && addRegionCopy(script, region, flags);
}

TAVO_API bool TAVOUNDO_AddRevertCreateRegion(TAVOUNDOSCRIPT script, AUDIOREGION region)
{
    if (script == nullptr || region == nullptr) return false;
    TavoUndoOp *op = newOp(script, TAVOUNDO_OP_CREATE_REGION);
    if (op == nullptr) return false;
    op->region = AUDIOREGION_GetReference(region);
    linkOp(script, op);
    return true;
}

TAVO_API bool TAVOUNDO_AddRevertCreateRegions(TAVOUNDOSCRIPT script, const AUDIOREGION *regions, int32_t count)
{
    if (script == nullptr || regions == nullptr || count <= 0) return false;
    for (int32_t i = 0; i < count; ++i) {
        if (!TAVOUNDO_AddRevertCreateRegion(script, regions[i])) return false;
    }
    return true;
}

TAVO_API bool TAVOUNDO_AddRevertAllRegions(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal)
{
    return script != nullptr && signal != nullptr && addAllRegions(script, signal, -1);
}

TAVO_API bool TAVOUNDO_AddRevertAllTrackRegions(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal, int32_t trackIndex)
{
    if (script == nullptr || signal == nullptr || trackIndex < 0) return false;
    return addAllRegions(script, signal, trackIndex);
}

TAVO_API bool TAVOUNDO_ReplaceSignal(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal)
{
    if (script == nullptr || signal == nullptr) return false;
    TavoUndoOp *op = newOp(script, TAVOUNDO_OP_SIGNAL);
    if (op == nullptr) return false;
    op->signal = AUDIOSIGNAL_GetReference(signal);
    linkOp(script, op);
    return true;
}

TAVO_API bool TAVOUNDO_AddSetSampleRate(TAVOUNDOSCRIPT script, uint32_t rate)
{
    return script != nullptr && rate >= 1 && addSimple(script, TAVOUNDO_OP_SAMPLE_RATE, rate, 0);
}

TAVO_API bool TAVOUNDO_AddSwapChannels(TAVOUNDOSCRIPT script)
{
    return script != nullptr && addSimple(script, TAVOUNDO_OP_SWAP_CHANNELS, 0, 0);
}

TAVO_API bool TAVOUNDO_AddRevertMetaData(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal)
{
    return script != nullptr && signal != nullptr && addMetadata(script, signal);
}

TAVO_API bool TAVOUNDO_AddRevertTrack(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal, int32_t index)
{
    if (script == nullptr || signal == nullptr) return false;
    AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, index);
    return track != nullptr && addTrackCopy(script, track);
}

TAVO_API bool TAVOUNDO_AddRevertTracks(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal, const int32_t *indices,
                                       int32_t count)
{
    if (script == nullptr || signal == nullptr || indices == nullptr || count <= 0) return false;
    for (int32_t i = 0; i < count; ++i) {
        if (!TAVOUNDO_AddRevertTrack(script, signal, indices[i])) return false;
    }
    return true;
}

TAVO_API bool TAVOUNDO_AddRevertAllTracks(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal)
{
    if (script == nullptr || signal == nullptr) return false;
    const int32_t count = AUDIOSIGNAL_NumRegionTracks(signal);
    for (int32_t i = 0; i < count; ++i) {
        if (!TAVOUNDO_AddRevertTrack(script, signal, i)) return false;
    }
    return true;
}

TAVO_API bool TAVOUNDO_AddRevertAllLinkedTracks(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal)
{
    if (script == nullptr || signal == nullptr) return false;
    const int32_t count = AUDIOSIGNAL_NumCustomTracks(signal);
    for (int32_t i = 0; i < count; ++i) {
        AUDIOCUSTOMTRACK track = AUDIOSIGNAL_GetCustomTrack(signal, i);
        const char *linkedTo = AUDIOCUSTOMTRACK_GetLinkedTo(track);
        if (linkedTo == nullptr || linkedTo[0] == '\0') continue;
        if (!addTrackCopy(script, AUDIOCUSTOMTRACK_RegionTrack(track))) return false;
    }
    return true;
}

TAVO_API bool TAVOUNDO_AddRevertCreateTrack(TAVOUNDOSCRIPT script, const char *uniqId)
{
    return script != nullptr && uniqId != nullptr && uniqId[0] != '\0' && addCreateTrack(script, uniqId);
}

TAVO_API bool TAVOUNDO_AddRevertTimecode(TAVOUNDOSCRIPT script, int64_t timecode)
{
    return script != nullptr && timecode >= 0 && addSimple(script, TAVOUNDO_OP_TIMECODE, 0, timecode);
}

TAVO_API bool TAVOUNDO_AddRevertSamples(TAVOUNDOSCRIPT script, uint32_t count, const TAVOUNDOSAMPLE *samples)
{
    if (script == nullptr || samples == nullptr || count == 0) return false;
    return addSamples(script, count, samples);
}

// ---- document level --------------------------------------------------------------

TAVO_API bool TAVOAUDIO_UndoCheckPastSaved(TAVOAUDIO audio)
{
    if (_TAVOAUDIO_Validate(audio) == nullptr) return false;
    return BLSETTINGS_GetBoolEx(nullptr, "libtavo.editoptions.confirm_undo_past_saved=[true]");
}

TAVO_API bool TAVOAUDIO_UndoEx(TAVOAUDIO audio, uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (!TAVOAUDIO_WaitUntilPipeClose(audio)) return false;

    if (!TAVOAUDIO_GetReadAccessEx(audio, false)) return false;
    if (doc->undo == nullptr || doc->undo->undoCount == 0) {
        TAVOAUDIO_ReleaseReadAccess(audio);
        return false;
    }
    TAVOUNDOSCRIPT next = doc->undo->undo[doc->undo->undoCount - 1];
    const AUDIO_FORMAT before = AUDIOSIGNAL_GetFormat(_TAVOAUDIO_Signal(doc));
    const bool wasZoomed = TAVOAUDIO_HasZoomEx(audio);
    // A step recorded before the last save or load goes back past the saved
    // version: the host may veto, and the document then stays changed for
    // good (redo cannot bring the saved version's stamp back).
    const bool pastSaved = next->stamp != 0 && next->stamp < doc->changeStamp;
    if (pastSaved && TAVOAUDIO_UndoCheckPastSaved(audio) &&
        _TAVOAUDIO_Send(doc, TAVOAUDIO_PASTSAVED_UNDO, next->label, nullptr, nullptr) == 0) {
        TAVOAUDIO_ReleaseReadAccess(audio);
        return false;
    }
    TAVOAUDIO_ReleaseReadAccess(audio);

    if (!TAVOAUDIO_GetWriteAccessEx(audio, false)) return false;
    TavoUndoStack *stack = doc->undo;
    if (stack == nullptr || stack->undoCount == 0) {   // emptied between the two locks
        TAVOAUDIO_ReleaseWriteAccess(audio);
        return false;
    }
    if (pastSaved) doc->changeStamp = 0;
    int32_t stackEvents = 0;
    TAVOUNDOSCRIPT script = stack->undo[stack->undoCount - 1];
    stack->undo[--stack->undoCount] = nullptr;
    stackEvents++;

    TAVOUNDOSCRIPT redo = nullptr;
    if ((flags & TAVOUNDO_FLAG_NO_REDO) == 0) redo = makeScript(script->label, doc->state);
    applyStep(doc, script, redo, wasZoomed);
    if (redo != nullptr && pushRedo(doc, redo)) stackEvents++;
    TAVOUNDO_DestroyUndoScript(audio, script);
    AUDIO_FORMAT after = AUDIOSIGNAL_GetFormat(_TAVOAUDIO_Signal(doc));
    TAVOAUDIO_ReleaseWriteAccess(audio);

    AUDIO_FORMAT formatBefore = before;
    sendStackChanged(doc, stackEvents);
    _TAVOAUDIO_Send(doc, TAVOAUDIO_WASUNDONE, &formatBefore, &after, nullptr);
    TAVOSTATE_NotifyChanges(audio, static_cast<int32_t>(flags), TAVOAUDIO_CHANGES_ALL);
    return _TAVOAUDIO_Send(doc, TAVOAUDIO_WAS_CHANGED, nullptr, nullptr, nullptr) != 0;
}

TAVO_API bool TAVOAUDIO_Redo(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (!TAVOAUDIO_WaitUntilPipeClose(audio)) return false;
    if (!TAVOAUDIO_GetWriteAccessEx(audio, false)) return false;
    TavoUndoStack *stack = doc->undo;
    if (stack == nullptr || stack->redoCount == 0) {
        TAVOAUDIO_ReleaseWriteAccess(audio);
        return false;
    }
    const AUDIO_FORMAT before = AUDIOSIGNAL_GetFormat(_TAVOAUDIO_Signal(doc));
    const bool wasZoomed = TAVOAUDIO_HasZoomEx(audio);
    int32_t stackEvents = 0;
    TAVOUNDOSCRIPT script = stack->redo[stack->redoCount - 1];
    stack->redo[--stack->redoCount] = nullptr;
    stackEvents++;

    TAVOUNDOSCRIPT undo = makeScript(script->label, doc->state);
    applyStep(doc, script, undo, wasZoomed);
    // The redo array is kept: the other undone steps can still be redone.
    if (undo != nullptr && pushUndo(doc, undo)) stackEvents++;
    TAVOUNDO_DestroyUndoScript(audio, script);
    AUDIO_FORMAT after = AUDIOSIGNAL_GetFormat(_TAVOAUDIO_Signal(doc));
    TAVOAUDIO_ReleaseWriteAccess(audio);

    AUDIO_FORMAT formatBefore = before;
    sendStackChanged(doc, stackEvents);
    _TAVOAUDIO_Send(doc, TAVOAUDIO_WASUNDONE, &formatBefore, &after, nullptr);
    TAVOSTATE_NotifyChanges(audio, 0, TAVOAUDIO_CHANGES_ALL);
    return _TAVOAUDIO_Send(doc, TAVOAUDIO_WAS_CHANGED, nullptr, nullptr, nullptr) != 0;
}

namespace {

bool nextLabel(TAVOAUDIO audio, bool redo, char *buffer, int32_t size)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (!TAVOAUDIO_GetReadAccessEx(audio, true)) return false;   // a menu update never waits
    bool found = false;
    if (doc->undo != nullptr) {
        const uint32_t count = redo ? doc->undo->redoCount : doc->undo->undoCount;
        TAVOUNDOSCRIPT *slots = redo ? doc->undo->redo : doc->undo->undo;
        if (count > 0) {
            found = true;
            if (buffer != nullptr && size >= 1) {
                std::snprintf(buffer, static_cast<size_t>(size), "%s", slots[count - 1]->label);
            }
        }
    }
    TAVOAUDIO_ReleaseReadAccess(audio);
    return found;
}

}  // namespace

TAVO_API bool TAVOAUDIO_NextUndoLabel(TAVOAUDIO audio, char *buffer, int32_t size)
{
    return nextLabel(audio, false, buffer, size);
}

TAVO_API bool TAVOAUDIO_NextRedoLabel(TAVOAUDIO audio, char *buffer, int32_t size)
{
    return nextLabel(audio, true, buffer, size);
}

TAVO_API bool TAVOAUDIO_SetNextUndoLabel(TAVOAUDIO audio, const char *label)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || label == nullptr) return false;
    if (!TAVOAUDIO_GetWriteAccessEx(audio, false)) return false;
    const bool found = doc->undo != nullptr && doc->undo->undoCount > 0;
    if (found) copyLabel(doc->undo->undo[doc->undo->undoCount - 1]->label, label);
    TAVOAUDIO_ReleaseWriteAccess(audio);
    if (found) sendStackChanged(doc, 1);
    return found;
}

namespace {

// Records the current state, and what `what` names, as one step.
bool createUndo(TAVOAUDIO audio, const char *label, uint32_t what, bool wholeSignal)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || (doc->flags & TAVOAUDIO_FLAG_EDITABLE) == 0) return false;
    if (!TAVOAUDIO_GetEditAccessEx(audio, false)) return false;
    TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(audio, label != nullptr ? label : "Undefined", doc->state);
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    bool ok = script != nullptr && TAVOUNDO_AddNoAction(script);
    if (ok && (what & TAVOUNDO_RECORD_AUDIO) != 0) ok = TAVOUNDO_AddRevertAudioBlocks(script, signal);
    if (ok && (what & TAVOUNDO_RECORD_REGIONS) != 0) ok = TAVOUNDO_AddRevertAllRegions(script, signal);
    if (ok && (what & TAVOUNDO_RECORD_METADATA) != 0) ok = TAVOUNDO_AddRevertMetaData(script, signal);
    if (ok && (what & TAVOUNDO_RECORD_TRACKS) != 0) ok = TAVOUNDO_AddRevertAllTracks(script, signal);
    if (ok && wholeSignal) {
        // A duplicate shares the samples: recording it costs the span lists.
        AUDIOSIGNAL copy = AUDIOSIGNAL_DuplicateEx(signal, 0);
        ok = copy != nullptr && TAVOUNDO_ReplaceSignal(script, copy);
        if (copy != nullptr) AUDIOSIGNAL_Destroy(copy);
    }
    if (ok) {
        ok = TAVOUNDO_PushUndoScript(audio, script);
    } else if (script != nullptr) {
        TAVOUNDO_DestroyUndoScript(audio, script);
    }
    TAVOAUDIO_ReleaseEditAccess(audio);
    if (ok) TAVOSTATE_NotifyChanges(audio, 0, 0);
    return ok;
}

}  // namespace

TAVO_API bool TAVOAUDIO_CreateUndo(TAVOAUDIO audio, const char *label)
{
    return createUndo(audio, label, 0, false);
}

TAVO_API bool TAVOAUDIO_CreateUndoEx(TAVOAUDIO audio, const char *label, uint32_t what)
{
    return createUndo(audio, label, what, false);
}

TAVO_API bool TAVOAUDIO_CreateSignalUndo(TAVOAUDIO audio, const char *label)
{
    return createUndo(audio, label, 0, true);
}

TAVO_API bool TAVOAUDIO_BeginUndoableOperation(TAVOAUDIO audio, const char *label)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (!TAVOAUDIO_GetWriteAccessEx(audio, false)) return false;
    bool ok = false;
    if (doc->pendingGroup == nullptr) {
        doc->pendingGroup = TAVOUNDO_CreateUndoScript(audio, label != nullptr ? label : "Undefined", doc->state);
        ok = doc->pendingGroup != nullptr;
    }
    TAVOAUDIO_ReleaseWriteAccess(audio);
    return ok;
}

TAVO_API bool TAVOAUDIO_PushUndoableOperation(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (!TAVOAUDIO_GetWriteAccessEx(audio, false)) return false;
    TAVOUNDOSCRIPT group = doc->pendingGroup;
    doc->pendingGroup = nullptr;
    const bool ok = group != nullptr && TAVOUNDO_PushUndoScript(audio, group);
    TAVOAUDIO_ReleaseWriteAccess(audio);
    if (ok) TAVOSTATE_NotifyChanges(audio, 1, 0);
    return ok;
}

TAVO_API bool TAVOAUDIO_CancelUndoableOperation(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (!TAVOAUDIO_GetWriteAccessEx(audio, false)) return false;
    TAVOUNDOSCRIPT group = doc->pendingGroup;
    doc->pendingGroup = nullptr;
    bool ok = false;
    if (group != nullptr) {
        bool audioChanged = false;
        ok = runScript(doc, group, nullptr, audioChanged);
        // The view goes back too: a cancelled group leaves no trace.
        TAVOSTATE_AssignEx(group->state, doc->state, 1);
        if (audioChanged) doc->state->visualChange |= 0x2u;
        // A script that failed to run is of no further use either.
        TAVOUNDO_DestroyUndoScript(audio, group);
    }
    TAVOAUDIO_ReleaseWriteAccess(audio);
    if (group != nullptr) TAVOSTATE_NotifyChanges(audio, 1, TAVOAUDIO_CHANGES_ALL);
    return ok;
}

TAVO_API bool TAVOAUDIO_HasUndoableOperation(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->pendingGroup != nullptr;
}

TAVO_API TAVOSTATE TAVOAUDIO_SaveState(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr ? TAVOSTATE_CreateCopy(doc->state) : nullptr;
}

TAVO_API bool TAVOAUDIO_RestoreState(TAVOAUDIO audio, TAVOSTATE copy)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || copy == nullptr) return false;
    const bool assigned = TAVOSTATE_AssignEx(copy, doc->state, 0);
    const bool destroyed = TAVOSTATE_Destroy(copy);
    return assigned && destroyed;
}

TAVO_API bool TAVOAUDIO_DestroyUndoStack(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (!TAVOAUDIO_GetWriteAccessEx(audio, false)) return false;
    const bool ok = TAVOUNDO_DestroyStack(audio);
    TAVOAUDIO_ReleaseWriteAccess(audio);
    if (ok) sendStackChanged(doc, 1);
    return ok;
}

// ---- rate and timecode -------------------------------------------------------------

TAVO_API bool TAVOAUDIO_SetSampleRateEx(TAVOAUDIO audio, int32_t rate, uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || rate < 1) return false;
    if (!TAVOAUDIO_GetEditAccessEx(audio, false)) return false;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    const int32_t old = AUDIOSIGNAL_SampleRate(signal);
    TAVOUNDOSCRIPT script = nullptr;
    bool ok = signal != nullptr && !AUDIOSIGNAL_IsReadOnly(signal);
    if (ok && (flags & 0x1u) != 0) {
        script = TAVOUNDO_CreateUndoScript(audio, "Set Sample Rate", doc->state);
        ok = script != nullptr && TAVOUNDO_AddSetSampleRate(script, static_cast<uint32_t>(old));
    }
    if (ok) ok = _TAVOUNDO_ApplySampleRate(doc, rate);
    if (script != nullptr) {
        if (ok) {
            TAVOUNDO_PushUndoScript(audio, script);
        } else {
            TAVOUNDO_DestroyUndoScript(audio, script);
        }
    }
    TAVOAUDIO_ReleaseEditAccess(audio);
    if (ok && (flags & 0x1u) != 0) TAVOSTATE_NotifyChanges(audio, 0, TAVOAUDIO_CHANGES_ALL);
    return ok;
}

TAVO_API int64_t TAVOAUDIO_GetTimecode(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return -1;
    if (!TAVOAUDIO_GetReadAccessEx(audio, false)) return -1;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    const int64_t timecode = signal != nullptr ? _TAVOUNDO_Timecode(signal) : -1;
    TAVOAUDIO_ReleaseReadAccess(audio);
    return timecode;
}

TAVO_API bool TAVOAUDIO_SetTimecode(TAVOAUDIO audio, int64_t timecode)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || timecode < 0) return false;
    if (!TAVOAUDIO_GetEditAccessEx(audio, false)) return false;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    bool ok = signal != nullptr && !AUDIOSIGNAL_IsReadOnly(signal);
    TAVOUNDOSCRIPT script = nullptr;
    if (ok) {
        script = TAVOUNDO_CreateUndoScript(audio, "Change Timecode", doc->state);
        ok = script != nullptr && TAVOUNDO_AddRevertTimecode(script, _TAVOUNDO_Timecode(signal));
    }
    if (ok) ok = _TAVOUNDO_SetTimecode(signal, timecode);
    if (script != nullptr) {
        if (ok) {
            TAVOUNDO_PushUndoScript(audio, script);
        } else {
            TAVOUNDO_DestroyUndoScript(audio, script);
        }
    }
    TAVOAUDIO_ReleaseEditAccess(audio);
    if (ok) TAVOSTATE_NotifyChanges(audio, 0, TAVOAUDIO_CHANGES_ALL);
    return ok;
}
