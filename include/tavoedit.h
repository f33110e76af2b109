/*
** tavoedit.h: the edit commands of a document (TAVOAUDIO_): cut, clear and
** copy; paste and append; the signal transforms (silence, invert, reverse,
** gain, normalisation, effect texts, fades); trimming, channel swaps and
** format changes.
**
** Every command that changes the signal works on a duplicate made under
** read access (drawing and playback go on), then swaps the finished signal
** in under the write lock in one short step. The replaced signal becomes one
** undo step with the command's label (a null label takes the default named
** beside each function). A refused command leaves the document exactly as it
** was. Commands are refused while a visual tool is shown and on documents
** that are not editable.
**
** Selection lists: a `selections` argument is a list of caller-owned
** TAVOSELECTION records chained through `next` (seconds), for example a copy
** of the document's own list; null means "the document's selections" where a
** function says so. Signals returned (clipboards) belong to the caller, who
** destroys them with AUDIOSIGNAL_Destroy.
**
** Threads: the host's UI thread. The long part of every command runs with
** none of the document's locks held.
*/
#ifndef TAVOEDIT_H
#define TAVOEDIT_H

#include <stdbool.h>
#include <stdint.h>

#include "audiosignal.h"
#include "tavo_export.h"
#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* Paste flag: keep the existing selections (shifted past the insertion)
** and add the pasted stretch, instead of selecting only the pasted stretch. */
#define TAVOAUDIO_PASTE_KEEP_SELECTIONS 0x400000u

/* ---- cut, clear and copy ----------------------------------------------- */

/* Removes every selection of `selections` (positions in the coordinates of
** the unchanged signal) and returns the removed audio as one new signal, the
** pieces in list order; null when refused or failed. `flags` go to the
** signal library; a non-zero `regionFlags` also cuts the regions inside.
** Boundaries are smoothed when "libtavo.editoptions.smoothboundaries" is on.
** Default label "Cut". */
TAVO_API AUDIOSIGNAL TAVOAUDIO_CutSelectionsEx(TAVOAUDIO audio, const TAVOSELECTION *selections, uint32_t flags,
                                              uint32_t regionFlags, const char *label);

/* TAVOAUDIO_CutSelectionsEx over a copy of the document's own selections;
** null when there is none. */
TAVO_API AUDIOSIGNAL TAVOAUDIO_Cut(TAVOAUDIO audio, const char *label);

/* Removes the selections without keeping them. Default label "Clear". */
TAVO_API bool TAVOAUDIO_ClearEx(TAVOAUDIO audio, const TAVOSELECTION *selections, const char *label);

/* TAVOAUDIO_ClearEx over a copy of the document's own selections; false
** when there is none. */
TAVO_API bool TAVOAUDIO_Clear(TAVOAUDIO audio, const char *label);

/* A new signal with the audio of the document's selections, in order; the
** document is not changed. Null when it has no selection. */
TAVO_API AUDIOSIGNAL TAVOAUDIO_CopyEx(TAVOAUDIO audio, uint32_t flags);
TAVO_API AUDIOSIGNAL TAVOAUDIO_CopySelectionsEx(TAVOAUDIO audio, const TAVOSELECTION *selections, uint32_t flags,
                                               uint32_t regionFlags);
TAVO_API AUDIOSIGNAL TAVOAUDIO_CopySelectionEx(TAVOAUDIO audio, const TAVOSELECTION *selection, uint32_t flags);

/* ---- paste and append -------------------------------------------------- */

/* Inserts `source` at the cursor, or in place of the first selection; true
** when the document's signal was replaced. Default label "Paste". */
TAVO_API bool TAVOAUDIO_PasteEx(TAVOAUDIO audio, AUDIOSIGNAL source, uint32_t flags, const char *label);

/* Inserts `source` at frame `position`; the result of the selection of the
** pasted stretch (0 when refused). Default label "Paste". */
TAVO_API int32_t TAVOAUDIO_PasteToPositionEx(TAVOAUDIO audio, AUDIOSIGNAL source, int64_t position, uint32_t flags,
                                             const char *label);

/* Appends `source` after the last frame and selects it; `parent` receives
** the new signal's notifications (null: the document). Default "Append". */
TAVO_API int32_t TAVOAUDIO_AppendEx(TAVOAUDIO audio, AUDIOSIGNAL source, uint32_t flags, const char *label,
                                    void *parent);

/* The same with the audio of a file (format text as TAVOAUDIO_OpenEx). */
TAVO_API bool TAVOAUDIO_PasteFileEx(TAVOAUDIO audio, const char *fileName, const char *format, uint32_t flags,
                                    const char *label);
TAVO_API int32_t TAVOAUDIO_PasteFileToPositionEx(TAVOAUDIO audio, int64_t position, const char *fileName,
                                                 const char *format, uint32_t flags, const char *label);
TAVO_API int32_t TAVOAUDIO_AppendFromFile(TAVOAUDIO audio, const char *fileName, const char *format,
                                          const char *label);

/* Inserts (at the cursor or over the first selection) or appends `length`
** frames of silence in the document's format. */
TAVO_API bool TAVOAUDIO_PasteSilence(TAVOAUDIO audio, int64_t length, const char *label);
TAVO_API int32_t TAVOAUDIO_AppendSilence(TAVOAUDIO audio, int64_t length, const char *label);

/* Pastes `source` in place of the first selection, stretched or squeezed in
** time to the selection's length. Default label "Paste To Fit". */
TAVO_API bool TAVOAUDIO_PasteToFitEx(TAVOAUDIO audio, AUDIOSIGNAL source, uint32_t flags, const char *label);

/* Adds `source` to the audio from the cursor (or the first selection's
** begin) on, the length unchanged unless the source runs past the end.
** Default label "Mix Paste". */
TAVO_API bool TAVOAUDIO_MixPaste(TAVOAUDIO audio, AUDIOSIGNAL source, const char *label);

/* ---- transforms -------------------------------------------------------- */

/* Each on every selection of the document, or on the whole signal when it
** has none; one undo step. Defaults "Silence", "Invert", "Smooth". */
TAVO_API bool TAVOAUDIO_Silence(TAVOAUDIO audio, const char *label);
TAVO_API bool TAVOAUDIO_Invert(TAVOAUDIO audio, const char *label);
TAVO_API bool TAVOAUDIO_Smooth(TAVOAUDIO audio, const char *label);

/* Reverses each of `selections` (null: the document's). With
** `takeSelections` the library takes the caller's list, allocated with
** malloc node by node, and frees it. Default label "Reverse". */
TAVO_API bool TAVOAUDIO_ReverseEx2(TAVOAUDIO audio, const char *label, TAVOSELECTION *selections,
                                   bool takeSelections);

/* Replaces the signal by the result of an effect text (see
** AUDIOSIGNAL_ApplyTransformEx2); on failure the translated error is the
** document's last error. Default label "FX Trasnform". */
TAVO_API bool TAVOAUDIO_Transform(TAVOAUDIO audio, const char *effect, const char *label);

/* sample := sample * gains[c] + offsets[c] on every active channel c of the
** whole signal; tables of 32 entries, a null table meaning gain 1 / offset 0.
** Default label "Change Gain/Offset". */
TAVO_API bool TAVOAUDIO_LinearTransform(TAVOAUDIO audio, const double *gains, const double *offsets,
                                        const char *label);

/* The same on each of `selections` (null: the document's, or the whole
** signal without any). `flag` bit 0x1: each selection ramps from unity at
** its first frame to the given gain and offset at its last. Default label
** "Gain/Offset Transform". */
TAVO_API bool TAVOAUDIO_LinearTransformSelectionEx2(TAVOAUDIO audio, const double *gains, const double *offsets,
                                                    const char *label, const TAVOSELECTION *selections,
                                                    uint32_t flag);

/* Scales the selections (null: the document's) so that their peak reaches
** full scale, one gain for all channels. Silence: true, nothing changed.
** Default label "Normalize". */
TAVO_API bool TAVOAUDIO_NormalizeEx2(TAVOAUDIO audio, const char *label, const TAVOSELECTION *selections);

/* Minimum and maximum of `channel` inside `selections` (null: the
** document's, or the whole signal without any). Call with read access or
** none. False for a bad channel. */
TAVO_API bool TAVOAUDIO_GetChannelSelectionMinMaxEx(TAVOAUDIO audio, int32_t channel,
                                                    const TAVOSELECTION *selections, double *minimum,
                                                    double *maximum);

/* Subtracts each active channel's mean. Default label "Remove DC". */
TAVO_API bool TAVOAUDIO_RemoveDC(TAVOAUDIO audio, const char *label);

/* Fades each selection (or the whole signal) in or out with a curve of the
** fade-curve catalogue named by `curve` (null or "linear": a straight
** ramp). False for an unknown name. Defaults "Fade In", "Fade Out". */
TAVO_API bool TAVOAUDIO_FadeIn(TAVOAUDIO audio, const char *curve, const char *label);
TAVO_API bool TAVOAUDIO_FadeOut(TAVOAUDIO audio, const char *curve, const char *label);

/* ---- trimming, channels and format ------------------------------------- */

/* Keeps only the selected audio. Default label "Trim". */
TAVO_API bool TAVOAUDIO_Trim(TAVOAUDIO audio, const char *label);
/* Removes the audio before the first selection (or the cursor). "Trim Left". */
TAVO_API bool TAVOAUDIO_TrimLeft(TAVOAUDIO audio, const char *label);
/* Removes the audio after the last selection (or the cursor). "Trim Right". */
TAVO_API bool TAVOAUDIO_TrimRight(TAVOAUDIO audio, const char *label);
/* Removes silence at both ends, quieter than `thresholdDb` (dBFS), tuned by
** the "libtavo.edgesilence." settings. Default label "Trim Edge Silence". */
TAVO_API bool TAVOAUDIO_TrimEdgeSilence(TAVOAUDIO audio, double thresholdDb, const char *label);

/* Swaps the two channels of a stereo signal, whole or within `selections`
** (null: the document's). Default label "Swap Channels". */
TAVO_API bool TAVOAUDIO_SwapChannels(TAVOAUDIO audio, const char *label);
TAVO_API bool TAVOAUDIO_SwapChannelsFromSelectionsEx(TAVOAUDIO audio, const TAVOSELECTION *selections,
                                                     const char *label);

/* Converts the signal to `sampleRate` and `channels` (0: keep), with an
** optional channel mix (`mixerGains`, see AUDIOSIGNAL_ApplyTransformEx2) and
** quantiser type ("none", "rect", "tpdf"; null: none). Nothing to change is
** true with no undo step. Default label "Change Audio Format". */
TAVO_API bool TAVOAUDIO_ChangeAudioFormat(TAVOAUDIO audio, int32_t sampleRate, int32_t channels,
                                          const char *mixerGains, const char *quantizer, const char *label);

TAVO_EXTERN_C_END

#endif
