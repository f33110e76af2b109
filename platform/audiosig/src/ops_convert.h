// Rate and channel conversion of channel lists: used by paste, the visual
// paste, AUDIOSIGNAL_ConvertFormat and the "fmtconv" effect.
#ifndef AUDIOSIG_OPS_CONVERT_H
#define AUDIOSIG_OPS_CONVERT_H

#include "ops_common.h"

#include <cstdint>
#include <vector>

namespace asig::ops {

// Gains of a channel mix: one row per output channel, one gain per input
// channel.
using MixMatrix = std::vector<std::vector<double>>;

// The farthest apart two rates may be for the resampler: soxr stalls at
// extreme ratios (1 Hz to 768 kHz never finishes), while 8192:1 was seen to
// work; 4096 leaves a margin and is far beyond any real conversion
// (8 kHz to 768 kHz is 96).
constexpr double kMaxRateRatio = 4096.0;

// Converts `channels` (rate fromRate) to `toRate` and `toCount` channels:
// with `mix` (toCount rows of channels.size() gains) by that mix, else by
// the rule of AUDIOSIGNAL_ConvertFormat. Lists that need no work are shared.
// With `work`, starts one stage of it. Returns 0 or the AUDIO_ERROR_ bits
// (AUDIO_ERROR_INCOMPATIBLE for rates too far apart, AUDIO_ERROR_CANCELLED).
uint32_t convertChannels(const std::vector<SpanList> &channels, int32_t fromRate, int32_t toRate, int32_t toCount,
                         const MixMatrix *mix, Work *work, std::vector<SpanList> &out);

// Frames that a list of `frames` frames has at another rate (rounded to
// nearest).
int64_t resampledFrames(int64_t frames, int32_t fromRate, int32_t toRate);

// Converts the whole signal to `target` (rate, channels) for a paste or a
// mix into a signal of that format; shares the lists when nothing differs.
uint32_t convertSignalTo(AUDIOSIGNAL source, const AUDIO_FORMAT &target, Work *work, std::vector<SpanList> &out);

} // namespace asig::ops

#endif
