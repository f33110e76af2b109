/*
** audioops.h: the signal operations of libaudiosig (AUDIOSIGNAL_): cut,
** clear, copy and paste; sample transforms (silence, invert, smooth,
** reverse, gain and offset); format conversion; effect texts; fades and the
** visual tools.
**
** Every operation changes only the signal it is given, and only the frames
** it is asked to change: structural edits (cut, clear, paste) splice span
** lists, so their cost does not grow with the length of the audio; sample
** transforms write new blocks for their range only and share everything
** else with duplicates of the signal. A change advances the signal's
** content stamp. A failed call leaves the signal exactly as it was.
**
** Ranges are [begin, end) in frames. `begin` must lie in [0, length];
** `end` must not be below `begin` and is clamped to the length, so
** INT64_MAX reaches the end of the signal. An empty range succeeds without
** changing anything. Sample transforms work on the active channels only
** (AUDIOSIGNAL_SetActiveChannelMask); edits that change the length work on
** all channels, since every channel keeps the same length.
**
** Null handles, ranges out of order or outside the signal, and read-only
** signals are refused: false or null, and the AUDIO_ERROR_ bits in the
** error out-parameter where there is one. Changes of one signal come from
** one thread at a time (see audiosignal.h); the source signals that an
** operation only reads may be read by other threads meanwhile.
*/
#ifndef AUDIOOPS_H
#define AUDIOOPS_H

#include <stdbool.h>
#include <stdint.h>

#include "audioformat.h"
#include "audiosig_export.h"
#include "audiosignal.h"
#include "blcurves.h"

AUDIO_EXTERN_C_BEGIN

/* Option bits of AUDIOSIGNAL_CutEx and AUDIOSIGNAL_ClearEx. Other bits are
** ignored, so callers may pass their own flags through. */
#define AUDIOSIGNAL_EDIT_REGIONS 0x10000            /* regions of the range follow the audio (see CutEx) */
#define AUDIOSIGNAL_EDIT_SMOOTH_BOUNDARIES 0x800000 /* crossfade across the join (see CutEx) */

/* ---- cut, clear, copy, paste ------------------------------------------- */

/* Removes [begin, end) from `signal` (all channels) and returns the removed
** audio. Without `clipboard`, a new signal (one reference for the caller,
** no file tag) in the signal's format. With one, the removed audio is
** appended to it and the same handle comes back carrying the caller's
** reference (none is added), so cutting several ranges gathers them in
** order; on failure the caller keeps its reference and the clipboard is
** unchanged. A clipboard of another rate or channel count, or the signal
** itself, is refused.
** AUDIOSIGNAL_EDIT_SMOOTH_BOUNDARIES: with n = smoothSeconds × rate
** (rounded), limited to the frames before `begin` and to the removed
** length, the n frames ending at the join become a linear crossfade from
** the audio that stood there (weights (n - i) / (n + 1)) to the last n
** removed frames (weights (i + 1) / (n + 1)), so the audio runs on smoothly
** into the frames after the cut. Not done when the cut touches either end.
** The clipboard always gets the removed audio unsmoothed.
** Regions after the cut move left, regions across it shrink, regions
** inside it are marked deleted (the rule is written in region_edit.cpp).
** AUDIOSIGNAL_EDIT_REGIONS: copies of the regions of the cut range (and of
** the parts of regions across it) go to the clipboard with the audio. */
AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_CutEx(AUDIOSIGNAL signal, AUDIOSIGNAL clipboard, uint32_t options, int64_t begin,
                                        int64_t end, double smoothSeconds);

/* Removes [begin, end) (all channels) without keeping it; the options and
** smoothing are those of AUDIOSIGNAL_CutEx. False for a bad range or a
** read-only signal. */
AUDIO_API bool AUDIOSIGNAL_ClearEx(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end,
                                   double smoothSeconds);

/* A new signal (one reference, no file tag) holding [begin, end) of all
** channels, sharing the samples: costs O(blocks). Regions stay with the
** signal, as they do for a cut without AUDIOSIGNAL_EDIT_REGIONS. Read-only
** signals may be copied. Null for a bad range. */
AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_CopyEx(AUDIOSIGNAL signal, int64_t begin, int64_t end);

/* Replaces [begin, end) of `target` by `source` (begin = end inserts;
** INT64_MAX for begin or end stands for the end of the target). A source of
** another rate or channel count is first converted to the target's, as
** AUDIOSIGNAL_ConvertFormat does; blocks of any sample width live side by
** side, so the sample kind needs no conversion (the target's format decides
** how it is saved). *pasted gets the frames inserted, *error the
** AUDIO_ERROR_ bits (either may be null). `flags` are the caller's; this
** library ignores them. The source may be the target itself. */
AUDIO_API bool AUDIOSIGNAL_PasteEx2(AUDIOSIGNAL target, AUDIOSIGNAL source, uint32_t flags, int64_t begin,
                                    int64_t end, int64_t *pasted, uint32_t *error);

/* ---- sample transforms ------------------------------------------------- */

/* Each works on [begin, end) of the active channels; `options` is reserved
** (pass 0; other bits are ignored). False for a bad range or a read-only
** signal.
** SilenceEx: zeros, held as silent blocks that cost no sample memory.
** InvertEx: every sample negated (twice gives the samples back exactly).
** ReverseEx: the frames of the range in reverse order.
** SmoothEx: a gentle low-pass, y[i] = x[i-1]/4 + x[i]/2 + x[i+1]/4 (the
** neighbours outside the range are the signal's own frames, and past the
** ends of the signal the end frame repeats): -6 dB at a quarter of the
** sample rate, nothing at half of it; constant levels pass unchanged. */
AUDIO_API bool AUDIOSIGNAL_SilenceEx(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end);
AUDIO_API bool AUDIOSIGNAL_InvertEx(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end);
AUDIO_API bool AUDIOSIGNAL_SmoothEx(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end);
AUDIO_API bool AUDIOSIGNAL_ReverseEx(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end);

/* y = gains[c] × x + offsets[c] on [begin, end) of each active channel c;
** both tables have AUDIO_MAX_CHANNELS slots. Null offsets count as 0; a
** channel with gain 1 and offset 0 is left as it is (no memory). False for
** null gains, a gain or offset that is not finite, a bad range or a
** read-only signal. */
AUDIO_API bool AUDIOSIGNAL_ApplyLinearTransform(AUDIOSIGNAL signal, const double *gains, const double *offsets,
                                                int64_t begin, int64_t end);

/* A gain and offset ramp: on [begin, end) of each active channel c, the
** gain moves linearly from startGains[c] at the first frame to endGains[c]
** at the last, and the offset likewise. Tables as for
** AUDIOSIGNAL_ApplyLinearTransform; a null end table repeats its start
** table, null start offsets count as 0. Failures as there. */
AUDIO_API bool AUDIOSIGNAL_ApplyLinearEffect(AUDIOSIGNAL signal, const double *startGains, const double *endGains,
                                             const double *startOffsets, const double *endOffsets, int64_t begin,
                                             int64_t end);

/* The gain that brings `peak` to `target`: target / peak; 1 for a peak of
** 0 or less (silence stays as it is) and for values that are not finite. */
AUDIO_API double AUDIOSIGNAL_NormalizationGain(double peak, double target);

/* Subtracts from [begin, end) of each active channel the mean of its
** samples in that range. False for a bad range or a read-only signal. */
AUDIO_API bool AUDIOSIGNAL_RemoveDC(AUDIOSIGNAL signal, int64_t begin, int64_t end);

/* ---- channels and format ----------------------------------------------- */

/* Swaps channels 0 and 1 (of a stereo signal, or the first two of more);
** doing it twice gives the signal back. Costs O(blocks). False for a
** signal of one channel or a read-only one. */
AUDIO_API bool AUDIOSIGNAL_SwapChannels(AUDIOSIGNAL signal);

/* The same for the frames [begin, end) only. */
AUDIO_API bool AUDIOSIGNAL_SwapChannelsEx(AUDIOSIGNAL signal, int64_t begin, int64_t end);

/* Relabels the signal's rate without touching a sample (the audio plays
** faster or slower). False for a rate below 1, a read-only or null signal. */
AUDIO_API bool AUDIOSIGNAL_SetSampleRate(AUDIOSIGNAL signal, int32_t rate);

/* A new signal (one reference) in `target`'s format: resampled with soxr at
** high quality when the rates differ (rates at most 4096 times apart);
** channels mapped by the rule: same count kept, mono to n copies, n to mono
** the average, otherwise channel c from source channel c and silence for
** channels the source lacks. Sample kind, bits and tag are taken from
** `target` (blocks keep their width; saving writes the target's). Label and
** metadata come with it. Reports progress (AUDIO_NOTIFY_PROCESS_...); a
** handler answering 0 stops it: null and AUDIO_ERROR_CANCELLED. Null with
** AUDIO_ERROR_INVALID_ARGUMENT for an invalid format, AUDIO_ERROR_INCOMPATIBLE
** for rates too far apart. */
AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_ConvertFormat(AUDIOSIGNAL signal, const AUDIO_FORMAT *target, uint32_t *error);

/* ---- effect texts ------------------------------------------------------ */

/* A new signal (one reference; label and metadata of `signal`) made by the
** effects of `effect`, a chain of items joined by ':' and run left to right.
** Names ignore case; parameters are "name=value" lists in brackets:
**   NOCHANGES                         a duplicate
**   fmtconv[sr=R,nc=N,bits=B,type=T,mixergains=M]  format conversion as
**       AUDIOSIGNAL_ConvertFormat; each parameter optional. mixergains
**       gives the channel mix instead of the rule: N rows separated by '|',
**       each with one gain per source channel separated by ';' (stereo to
**       mono "0.5;0.5", mono to stereo "1|1", swapped stereo "0;1|1;0")
**   quantizer[type=none|rect|tpdf,bits=B]  rounds to B bits (default the
**       format's) with no, rectangular (1 LSB) or triangular (2 LSB) dither
**       (default tpdf); float formats without bits, and 32 bits or more,
**       pass unchanged
**   gain[db=G]                        active channels times 10^(G/20)
**   normalize[level=L]                active channels scaled so that their
**       largest absolute sample is L dB (default 0)
**   GAINENVELOPE[instants=t0;t1;..,gains=g0;g1;..,nsamples=K]  a gain
**       envelope: instants in seconds, ascending; gains in dB at those
**       instants, joined by straight lines of the gain factor and held flat
**       before the first and after the last; nsamples, when given, is the
**       number of points and must match both lists
** Example: "fmtconv[sr=22050,nc=1]:quantizer[type=tpdf]".
** *timeFactor gets new length / old length in frames, the factor that maps
** a frame position onto the same moment of the result (the rate ratio after
** a resampling, whose duration stays the same; 1 when nothing changes the
** length). `flags` are reserved (pass 0). Failures give null and *error:
** AUDIO_ERROR_UNKNOWN_EFFECT for a name no effect has,
** AUDIO_ERROR_INVALID_ARGUMENT for a malformed text or parameter,
** AUDIO_ERROR_CANCELLED when a progress handler answered 0. The signal is
** never changed, so read-only signals may be transformed. */
AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_ApplyTransformEx2(AUDIOSIGNAL signal, const char *effect, double *timeFactor,
                                                    uint32_t flags, uint32_t *error);

/* ---- fades and visual tools -------------------------------------------- */

/* Gain curves are BLCURVE records (null: the linear ramp). A fade over n
** frames evaluates its curve at progress i / (n - 1) for frame i (0 for a
** single frame): a fade in has gain curve(x), so its first frame gets 0 and
** its last exactly 1; a fade out has gain curve(1 - x), the fade in
** mirrored in time. Monotone curves give monotone fades. Fades work on the
** active channels. False for a bad range or a read-only signal. */

/* Fades [begin, end) in: gain 0 at begin up to 1 at end - 1. */
AUDIO_API bool AUDIOSIGNAL_FadeInEx(AUDIOSIGNAL signal, const BLCURVE *curve, int64_t begin, int64_t end);

/* Fades [begin, end) out: gain 1 at begin down to 0 at end - 1. */
AUDIO_API bool AUDIOSIGNAL_FadeOutEx(AUDIOSIGNAL signal, const BLCURVE *curve, int64_t begin, int64_t end);

/* A dip: fades [begin, middle) out with `fadeOut` and [middle, end) in with
** `fadeIn` (the fade-out/fade-in tool: begin its start, middle its start +
** fade-out share × duration). False unless begin <= middle <= end. */
AUDIO_API bool AUDIOSIGNAL_FadeOutFadeInEx(AUDIOSIGNAL signal, const BLCURVE *fadeOut, const BLCURVE *fadeIn,
                                           int64_t begin, int64_t middle, int64_t end);

/* Crossfades the audio before the middle of [begin, end) into the audio
** after it (the crossfade tool: its left and right boundary). With
** h = (end - begin) / 2, the h frames from begin, fading out along
** `fadeOut`, and the h frames before end, fading in along `fadeIn`, are
** mixed and replace the whole range: the signal gets end - begin - h frames
** shorter (all channels), and the audio runs from the frames before begin
** through the crossfade into the frames from end on. */
AUDIO_API bool AUDIOSIGNAL_CrossfadeEx(AUDIOSIGNAL signal, const BLCURVE *fadeOut, const BLCURVE *fadeIn,
                                       int64_t begin, int64_t end);

/* Lowers [begin, end) to `gain` (the ducking tool: its left boundary and
** left boundary + its frames): over the first fadeOutFrames the gain goes
** from 1 down to `gain` along `fadeOut`, over the last fadeInFrames back up
** to 1 along `fadeIn`, and stays at `gain` between. Fade lengths are
** clipped to the range, the fade-out first. False for negative fade
** lengths or a gain that is not finite. */
AUDIO_API bool AUDIOSIGNAL_AudioDuckingEx(AUDIOSIGNAL signal, const BLCURVE *fadeOut, const BLCURVE *fadeIn,
                                          int64_t begin, int64_t end, int64_t fadeOutFrames, int64_t fadeInFrames,
                                          double gain);

/* Mixes `pasted` into `signal` from frame `position` on (the visual paste
** tool; duck the audio underneath first with AUDIOSIGNAL_AudioDuckingEx).
** `pasted` is converted to the signal's format first (as PasteEx2 does);
** of it, the frames from startOffset to its length - endOffset are used,
** fading in over their first fadeInFrames along `fadeIn` and out over their
** last fadeOutFrames along `fadeOut` (clipped as for ducking), scaled by
** `gain` and added to the active channels. The signal grows with silence
** when the pasted audio reaches past its end. *error gets the AUDIO_ERROR_
** bits (may be null). False for negative counts or offsets, a position
** outside [0, length], or a read-only signal. */
AUDIO_API bool AUDIOSIGNAL_VisualPasteEx(AUDIOSIGNAL signal, AUDIOSIGNAL pasted, const BLCURVE *fadeIn,
                                         const BLCURVE *fadeOut, int64_t position, int64_t startOffset,
                                         int64_t endOffset, int64_t fadeInFrames, int64_t fadeOutFrames,
                                         double gain, uint32_t *error);

/* A level ramp over [begin, end): the gain goes from startGain at the first
** frame to endGain at the last along `curve`: start × (1 - c) + end × c
** with c the curve's value, so both ends are exact. False for gains that
** are not finite. */
AUDIO_API bool AUDIOSIGNAL_LevelRampEx(AUDIOSIGNAL signal, const BLCURVE *curve, int64_t begin, int64_t end,
                                       double startGain, double endGain);

AUDIO_EXTERN_C_END

#endif
