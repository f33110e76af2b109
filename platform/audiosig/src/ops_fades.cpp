// Fades and the operations behind the visual tools: gain envelopes shaped
// by curve records, written over the range they cover and nowhere else.
#include "audioops.h"
#include "ops_common.h"
#include "ops_convert.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

using namespace asig;

namespace {

// Gain of frame `i` of an envelope, for frames counted from its start.
using Envelope = std::function<double(int64_t i)>;

// Multiplies [from, to) of `list` by the envelope (frame `from` is i = 0).
bool applyEnvelope(SpanList &list, int64_t from, int64_t to, const Envelope &gainAt)
{
    return ops::mapRange(list, from, to, [&](int64_t position, int64_t count, float *samples) {
        for (int64_t k = 0; k < count; ++k) {
            samples[k] = static_cast<float>(gainAt(position + k - from) * samples[k]);
        }
    });
}

double fadeInGain(const BLCURVE *curve, int64_t i, int64_t frames)
{
    return BLCURVES_Evaluate(curve, ops::fadeProgress(i, frames));
}

double fadeOutGain(const BLCURVE *curve, int64_t i, int64_t frames)
{
    return BLCURVES_Evaluate(curve, 1.0 - ops::fadeProgress(i, frames));
}

// Moves between `low` and 1 along a curve value c: low at c = 0, exactly 1
// at c = 1.
double between(double low, double c)
{
    return low * (1.0 - c) + c;
}

} // namespace

// ---- fades ------------------------------------------------------------------

AUDIO_API bool AUDIOSIGNAL_FadeInEx(AUDIOSIGNAL signal, const BLCURVE *curve, int64_t begin, int64_t end)
{
    return ops::editActiveChannels(signal, begin, end, [&](SpanList &list, int32_t, int64_t from, int64_t to) {
        return applyEnvelope(list, from, to, [&](int64_t i) { return fadeInGain(curve, i, to - from); });
    });
}

AUDIO_API bool AUDIOSIGNAL_FadeOutEx(AUDIOSIGNAL signal, const BLCURVE *curve, int64_t begin, int64_t end)
{
    return ops::editActiveChannels(signal, begin, end, [&](SpanList &list, int32_t, int64_t from, int64_t to) {
        return applyEnvelope(list, from, to, [&](int64_t i) { return fadeOutGain(curve, i, to - from); });
    });
}

AUDIO_API bool AUDIOSIGNAL_FadeOutFadeInEx(AUDIOSIGNAL signal, const BLCURVE *fadeOut, const BLCURVE *fadeIn,
                                           int64_t begin, int64_t middle, int64_t end)
{
    if (middle < begin || middle > end) return false;
    return ops::editActiveChannels(signal, begin, end, [&](SpanList &list, int32_t, int64_t from, int64_t to) {
        // `to` may have been clamped to the signal; the dip keeps its shape.
        const int64_t turn = std::min(middle, to);
        const int64_t outFrames = middle - from;
        const int64_t inFrames = end - middle;
        return applyEnvelope(list, from, to, [&](int64_t i) {
            return from + i < turn ? fadeOutGain(fadeOut, i, outFrames) : fadeInGain(fadeIn, from + i - middle, inFrames);
        });
    });
}

AUDIO_API bool AUDIOSIGNAL_CrossfadeEx(AUDIOSIGNAL signal, const BLCURVE *fadeOut, const BLCURVE *fadeIn,
                                       int64_t begin, int64_t end)
{
    if (ops::checkWritable(signal) != AUDIO_ERROR_NONE) return false;
    std::vector<SpanList> channels = _AUDIOSIGNAL_Channels(signal);
    if (channels.empty()) return false;
    if (ops::clampRange(channels.front().frames(), begin, end) != AUDIO_ERROR_NONE) return false;
    const int64_t half = (end - begin) / 2;
    if (half == 0) return true;  // fewer than two frames: nothing to cross
    std::vector<float> incoming;
    for (SpanList &list : channels) {
        const SpanList leaving = list.slice(begin, begin + half);
        const SpanList coming = list.slice(end - half, end);
        const SpanList mixed = ops::produceList(half, [&](int64_t position, int64_t count, float *out) {
            leaving.readFloat(position, count, out);
            incoming.resize(static_cast<size_t>(count));
            coming.readFloat(position, count, incoming.data());
            for (int64_t k = 0; k < count; ++k) {
                const int64_t i = position + k;
                out[k] = static_cast<float>(fadeOutGain(fadeOut, i, half) * out[k] +
                                            fadeInGain(fadeIn, i, half) * incoming[static_cast<size_t>(k)]);
            }
        });
        list.replace(begin, end, mixed);
    }
    return ops::commit(signal, std::move(channels));
}

// ---- visual tools -----------------------------------------------------------

AUDIO_API bool AUDIOSIGNAL_AudioDuckingEx(AUDIOSIGNAL signal, const BLCURVE *fadeOut, const BLCURVE *fadeIn,
                                          int64_t begin, int64_t end, int64_t fadeOutFrames, int64_t fadeInFrames,
                                          double gain)
{
    if (fadeOutFrames < 0 || fadeInFrames < 0 || !std::isfinite(gain)) return false;
    return ops::editActiveChannels(signal, begin, end, [&](SpanList &list, int32_t, int64_t from, int64_t to) {
        const int64_t frames = to - from;
        const int64_t down = std::min(fadeOutFrames, frames);
        const int64_t up = std::min(fadeInFrames, frames - down);
        return applyEnvelope(list, from, to, [&](int64_t i) {
            if (i < down) return between(gain, fadeOutGain(fadeOut, i, down));
            if (i >= frames - up) return between(gain, fadeInGain(fadeIn, i - (frames - up), up));
            return gain;
        });
    });
}

AUDIO_API bool AUDIOSIGNAL_VisualPasteEx(AUDIOSIGNAL signal, AUDIOSIGNAL pasted, const BLCURVE *fadeIn,
                                         const BLCURVE *fadeOut, int64_t position, int64_t startOffset,
                                         int64_t endOffset, int64_t fadeInFrames, int64_t fadeOutFrames,
                                         double gain, uint32_t *error)
{
    ops::setError(error, AUDIO_ERROR_NONE);
    if (pasted == nullptr || startOffset < 0 || endOffset < 0 || fadeInFrames < 0 || fadeOutFrames < 0 ||
        !std::isfinite(gain)) {
        ops::setError(error, AUDIO_ERROR_INVALID_ARGUMENT);
        return false;
    }
    const uint32_t writable = ops::checkWritable(signal);
    if (writable != AUDIO_ERROR_NONE) {
        ops::setError(error, writable);
        return false;
    }
    const AUDIO_FORMAT format = AUDIOSIGNAL_GetFormat(signal);
    std::vector<SpanList> channels = _AUDIOSIGNAL_Channels(signal);
    if (channels.empty()) {
        ops::setError(error, AUDIO_ERROR_INVALID_ARGUMENT);
        return false;
    }
    const int64_t length = channels.front().frames();
    if (position < 0 || position > length) {
        ops::setError(error, AUDIO_ERROR_OUT_OF_RANGE);
        return false;
    }

    std::vector<SpanList> source;
    uint32_t failed = AUDIO_ERROR_NONE;
    if (AUDIOSIGNAL_SampleRate(pasted) == format.sampleRate && AUDIOSIGNAL_NumChannels(pasted) == format.numChannels) {
        source = _AUDIOSIGNAL_Channels(pasted);
    } else {
        ops::Work work(signal);
        failed = ops::convertSignalTo(pasted, format, &work, source);
        if (failed == AUDIO_ERROR_NONE && !work.complete()) failed = AUDIO_ERROR_CANCELLED;
    }
    if (failed == AUDIO_ERROR_NONE && source.size() != channels.size()) failed = AUDIO_ERROR_INVALID_ARGUMENT;
    if (failed != AUDIO_ERROR_NONE) {
        ops::setError(error, failed);
        return false;
    }

    const int64_t available = source.front().frames();
    if (startOffset >= available || endOffset >= available - startOffset) return true;  // nothing left to mix
    const int64_t frames = available - startOffset - endOffset;
    const int64_t up = std::min(fadeInFrames, frames);
    const int64_t down = std::min(fadeOutFrames, frames - up);
    if (position + frames > length) {
        for (SpanList &list : channels) list.append(ops::silentList(position + frames - length));
    }
    std::vector<float> incoming;
    for (const int32_t c : ops::activeChannels(signal, static_cast<int32_t>(channels.size()))) {
        const SpanList &from = source[static_cast<size_t>(c)];
        ops::mapRange(channels[static_cast<size_t>(c)], position, position + frames,
                      [&](int64_t at, int64_t count, float *samples) {
                          incoming.resize(static_cast<size_t>(count));
                          from.readFloat(startOffset + at - position, count, incoming.data());
                          for (int64_t k = 0; k < count; ++k) {
                              const int64_t i = at + k - position;
                              double envelope = 1.0;
                              if (i < up) {
                                  envelope = fadeInGain(fadeIn, i, up);
                              } else if (i >= frames - down) {
                                  envelope = fadeOutGain(fadeOut, i - (frames - down), down);
                              }
                              samples[k] = static_cast<float>(samples[k] +
                                                              gain * envelope * incoming[static_cast<size_t>(k)]);
                          }
                      });
    }
    if (!ops::commit(signal, std::move(channels))) {
        ops::setError(error, AUDIO_ERROR_READ_ONLY);
        return false;
    }
    return true;
}

AUDIO_API bool AUDIOSIGNAL_LevelRampEx(AUDIOSIGNAL signal, const BLCURVE *curve, int64_t begin, int64_t end,
                                       double startGain, double endGain)
{
    if (!std::isfinite(startGain) || !std::isfinite(endGain)) return false;
    return ops::editActiveChannels(signal, begin, end, [&](SpanList &list, int32_t, int64_t from, int64_t to) {
        return applyEnvelope(list, from, to, [&](int64_t i) {
            const double c = fadeInGain(curve, i, to - from);
            return startGain * (1.0 - c) + endGain * c;
        });
    });
}
