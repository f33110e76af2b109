// Effect texts: AUDIOSIGNAL_ApplyTransformEx2 parses a chain of effects,
// checks all of it, then runs it on the channel lists and puts the result
// into a duplicate of the signal. The signal itself is never changed.
#include "audioops.h"
#include "ops_common.h"
#include "ops_convert.h"

#include <blstring.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

using namespace asig;

namespace {

// The highest rate "fmtconv" accepts: 768 kHz, the top rate of audio
// interfaces. Resampling keeps the duration, so this also bounds how many
// frames a chain of conversions can make of a short signal.
constexpr int32_t kMaxEffectRate = 768000;

// Start of the dither noise of channel 0 (channel c starts at this + c): a
// fixed start makes the same text on the same audio give the same result.
constexpr uint32_t kDitherNoiseStart = 0x2545f491u;

enum class Kind { NoChanges, FormatConversion, Quantizer, Gain, Normalize, GainEnvelope };
enum class Dither { None, Rectangular, Triangular };

// One parsed item of the chain. Checks that need the audio (channel counts
// of a mix) are made when it runs.
struct Effect {
    Kind kind = Kind::NoChanges;
    // fmtconv
    std::optional<int32_t> rate;
    std::optional<int32_t> channels;
    std::optional<int32_t> bits;
    std::optional<int16_t> sampleKind;
    std::optional<ops::MixMatrix> mix;
    // quantizer (bits above too)
    Dither dither = Dither::Triangular;
    // gain and normalize: a factor; normalize: the target peak
    double factor = 1.0;
    // GAINENVELOPE: instants in seconds and gain factors
    std::vector<double> instants;
    std::vector<double> gains;
};

// The audio as it goes through the chain.
struct State {
    AUDIO_FORMAT format{};
    std::vector<SpanList> channels;
    uint64_t activeMask = 0;
    bool changed = false;
};

std::string lower(std::string_view text)
{
    std::string out(text);
    for (char &ch : out) {
        if (ch >= 'A' && ch <= 'Z') ch = static_cast<char>(ch - 'A' + 'a');
    }
    return out;
}

std::string_view trim(std::string_view text)
{
    const auto space = [](char ch) { return ch == ' ' || ch == '\t' || ch == '\n' || ch == '\r'; };
    while (!text.empty() && space(text.front())) text.remove_prefix(1);
    while (!text.empty() && space(text.back())) text.remove_suffix(1);
    return text;
}

// Splits the chain at the ':' outside brackets. False for unbalanced
// brackets or an empty item.
bool splitChain(std::string_view text, std::vector<std::string> &items)
{
    int depth = 0;
    size_t start = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        const char ch = i < text.size() ? text[i] : ':';
        if (ch == '[') {
            ++depth;
        } else if (ch == ']') {
            if (--depth < 0) return false;
        } else if (ch == ':' && depth == 0) {
            const std::string_view item = trim(text.substr(start, i - start));
            if (item.empty()) return false;
            items.emplace_back(item);
            start = i + 1;
        }
    }
    return depth == 0;
}

// An item is a name of letters, digits and '_', optionally followed by one
// bracketed parameter list that ends the item.
bool wellFormedItem(std::string_view item)
{
    size_t i = 0;
    while (i < item.size() && (std::isalnum(static_cast<unsigned char>(item[i])) || item[i] == '_')) ++i;
    if (i == 0) return false;
    if (i == item.size()) return true;
    return item[i] == '[' && item.back() == ']';
}

// A number in the C locale (the host's locale may use a decimal comma).
std::optional<double> parseReal(std::string_view text, bool allowMinusInfinity = false)
{
    text = trim(text);
    if (allowMinusInfinity && lower(text) == "-inf") return -INFINITY;
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    double value = 0.0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || failure != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<int32_t> parseInteger(std::string_view text, int32_t minimum, int32_t maximum)
{
    text = trim(text);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    int64_t value = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || failure != std::errc() || end != text.data() + text.size() || value < minimum ||
        value > maximum) {
        return std::nullopt;
    }
    return static_cast<int32_t>(value);
}

std::vector<std::string_view> splitList(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    size_t start = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        if (i == text.size() || text[i] == separator) {
            parts.push_back(trim(text.substr(start, i - start)));
            start = i + 1;
        }
    }
    return parts;
}

// The parameters of one item: names checked against the ones the effect
// knows (each at most once), values read with the parameter getters.
class Parameters {
public:
    bool load(const std::string &text, std::initializer_list<const char *> known)
    {
        m_text = text;
        std::vector<std::string> seen;
        std::vector<char> name(text.size() + 1);
        std::vector<char> value(text.size() + 1);
        const char *next = text.empty() ? nullptr : text.c_str();
        while (next != nullptr && *next != '\0') {
            next = AUDIO_DecodeParameter(next, name.data(), name.size(), value.data(), value.size());
            const std::string key = lower(name.data());
            if (key.empty()) return false;
            const bool isKnown = std::any_of(known.begin(), known.end(), [&](const char *k) { return key == k; });
            if (!isKnown || std::find(seen.begin(), seen.end(), key) != seen.end()) return false;
            seen.push_back(key);
        }
        m_names = std::move(seen);
        return true;
    }

    bool has(const char *name) const { return std::find(m_names.begin(), m_names.end(), name) != m_names.end(); }

    // The value of a parameter that is present, without enclosing brackets.
    std::optional<std::string> get(const char *name) const
    {
        if (!has(name)) return std::nullopt;
        std::vector<char> buffer(m_text.size() + 1);
        if (!BLSTRING_GetStringValueFromString(m_text.c_str(), name, buffer.data(), buffer.size())) {
            return std::nullopt;
        }
        std::string_view value = trim(buffer.data());
        if (value.size() >= 2 && value.front() == '[' && value.back() == ']') {
            value = trim(value.substr(1, value.size() - 2));
        }
        if (value.empty()) return std::nullopt;
        return std::string(value);
    }

private:
    std::string m_text;
    std::vector<std::string> m_names;
};

std::optional<ops::MixMatrix> parseMix(std::string_view text)
{
    ops::MixMatrix mix;
    for (const std::string_view row : splitList(text, '|')) {
        std::vector<double> gains;
        for (const std::string_view entry : splitList(row, ';')) {
            const std::optional<double> gain = parseReal(entry);
            if (!gain) return std::nullopt;
            gains.push_back(*gain);
        }
        mix.push_back(std::move(gains));
    }
    if (mix.empty() || mix.size() > AUDIO_MAX_CHANNELS) return std::nullopt;
    return mix;
}

std::optional<double> decibelFactor(double decibels)
{
    const double factor = std::isinf(decibels) ? 0.0 : std::pow(10.0, decibels / 20.0);
    if (!std::isfinite(factor)) return std::nullopt;
    return factor;
}

// Parses one item. Returns 0 or the error bits.
uint32_t parseEffect(const std::string &item, Effect &effect)
{
    if (!wellFormedItem(item)) return AUDIO_ERROR_INVALID_ARGUMENT;
    std::vector<char> nameBuffer(item.size() + 1);
    std::vector<char> valueBuffer(item.size() + 1);
    AUDIO_DecodeParameter(item.c_str(), nameBuffer.data(), nameBuffer.size(), valueBuffer.data(),
                          valueBuffer.size());
    const std::string name = lower(nameBuffer.data());
    const std::string value = valueBuffer.data();
    Parameters params;

    if (name == "nochanges") {
        effect.kind = Kind::NoChanges;
        return value.empty() ? AUDIO_ERROR_NONE : AUDIO_ERROR_INVALID_ARGUMENT;
    }
    if (name == "fmtconv") {
        effect.kind = Kind::FormatConversion;
        if (!params.load(value, {"sr", "nc", "bits", "type", "mixergains"})) return AUDIO_ERROR_INVALID_ARGUMENT;
        if (const auto text = params.get("sr")) {
            if (!(effect.rate = parseInteger(*text, 1, kMaxEffectRate))) return AUDIO_ERROR_INVALID_ARGUMENT;
        } else if (params.has("sr")) {
            return AUDIO_ERROR_INVALID_ARGUMENT;
        }
        if (const auto text = params.get("nc")) {
            if (!(effect.channels = parseInteger(*text, 1, AUDIO_MAX_CHANNELS))) return AUDIO_ERROR_INVALID_ARGUMENT;
        } else if (params.has("nc")) {
            return AUDIO_ERROR_INVALID_ARGUMENT;
        }
        if (const auto text = params.get("bits")) {
            if (!(effect.bits = parseInteger(*text, 8, 64))) return AUDIO_ERROR_INVALID_ARGUMENT;
        } else if (params.has("bits")) {
            return AUDIO_ERROR_INVALID_ARGUMENT;
        }
        if (const auto text = params.get("type")) {
            const std::string kind = lower(*text);
            if (kind == "pcm") {
                effect.sampleKind = AUDIO_SAMPLE_PCM;
            } else if (kind == "float") {
                effect.sampleKind = AUDIO_SAMPLE_FLOAT;
            } else {
                return AUDIO_ERROR_INVALID_ARGUMENT;
            }
        } else if (params.has("type")) {
            return AUDIO_ERROR_INVALID_ARGUMENT;
        }
        if (const auto text = params.get("mixergains")) {
            if (!(effect.mix = parseMix(*text))) return AUDIO_ERROR_INVALID_ARGUMENT;
            if (effect.channels && static_cast<size_t>(*effect.channels) != effect.mix->size()) {
                return AUDIO_ERROR_INVALID_ARGUMENT;
            }
        } else if (params.has("mixergains")) {
            return AUDIO_ERROR_INVALID_ARGUMENT;
        }
        return AUDIO_ERROR_NONE;
    }
    if (name == "quantizer") {
        effect.kind = Kind::Quantizer;
        if (!params.load(value, {"type", "bits"})) return AUDIO_ERROR_INVALID_ARGUMENT;
        if (const auto text = params.get("type")) {
            const std::string type = lower(*text);
            if (type == "none") {
                effect.dither = Dither::None;
            } else if (type == "rect") {
                effect.dither = Dither::Rectangular;
            } else if (type == "tpdf") {
                effect.dither = Dither::Triangular;
            } else {
                return AUDIO_ERROR_INVALID_ARGUMENT;
            }
        } else if (params.has("type")) {
            return AUDIO_ERROR_INVALID_ARGUMENT;
        }
        if (const auto text = params.get("bits")) {
            if (!(effect.bits = parseInteger(*text, 2, 64))) return AUDIO_ERROR_INVALID_ARGUMENT;
        } else if (params.has("bits")) {
            return AUDIO_ERROR_INVALID_ARGUMENT;
        }
        return AUDIO_ERROR_NONE;
    }
    if (name == "gain") {
        effect.kind = Kind::Gain;
        if (!params.load(value, {"db"})) return AUDIO_ERROR_INVALID_ARGUMENT;
        const auto text = params.get("db");
        const std::optional<double> decibels = text ? parseReal(*text) : std::nullopt;
        const std::optional<double> factor = decibels ? decibelFactor(*decibels) : std::nullopt;
        if (!factor) return AUDIO_ERROR_INVALID_ARGUMENT;
        effect.factor = *factor;
        return AUDIO_ERROR_NONE;
    }
    if (name == "normalize") {
        effect.kind = Kind::Normalize;
        if (!params.load(value, {"level"})) return AUDIO_ERROR_INVALID_ARGUMENT;
        double level = 0.0;  // dB: full scale unless told otherwise
        if (const auto text = params.get("level")) {
            const std::optional<double> parsed = parseReal(*text);
            if (!parsed) return AUDIO_ERROR_INVALID_ARGUMENT;
            level = *parsed;
        } else if (params.has("level")) {
            return AUDIO_ERROR_INVALID_ARGUMENT;
        }
        const std::optional<double> target = decibelFactor(level);
        if (!target) return AUDIO_ERROR_INVALID_ARGUMENT;
        effect.factor = *target;
        return AUDIO_ERROR_NONE;
    }
    if (name == "gainenvelope") {
        effect.kind = Kind::GainEnvelope;
        if (!params.load(value, {"instants", "gains", "nsamples"})) return AUDIO_ERROR_INVALID_ARGUMENT;
        const auto instants = params.get("instants");
        const auto gains = params.get("gains");
        if (!instants || !gains) return AUDIO_ERROR_INVALID_ARGUMENT;
        for (const std::string_view entry : splitList(*instants, ';')) {
            const std::optional<double> t = parseReal(entry);
            if (!t || (!effect.instants.empty() && *t < effect.instants.back())) return AUDIO_ERROR_INVALID_ARGUMENT;
            effect.instants.push_back(*t);
        }
        for (const std::string_view entry : splitList(*gains, ';')) {
            const std::optional<double> decibels = parseReal(entry, true);
            const std::optional<double> factor = decibels ? decibelFactor(*decibels) : std::nullopt;
            if (!factor) return AUDIO_ERROR_INVALID_ARGUMENT;
            effect.gains.push_back(*factor);
        }
        if (effect.instants.size() != effect.gains.size()) return AUDIO_ERROR_INVALID_ARGUMENT;
        if (params.has("nsamples")) {
            const auto text = params.get("nsamples");
            const std::optional<int32_t> count = text ? parseInteger(*text, 1, INT32_MAX) : std::nullopt;
            if (!count || static_cast<size_t>(*count) != effect.instants.size()) return AUDIO_ERROR_INVALID_ARGUMENT;
        }
        return AUDIO_ERROR_NONE;
    }
    return AUDIO_ERROR_UNKNOWN_EFFECT;
}

// ---- running the effects ----------------------------------------------------

bool isActive(const State &state, size_t channel)
{
    return channel < 64 && ((state.activeMask >> channel) & 1u) != 0;
}

int64_t framesOf(const State &state)
{
    return state.channels.empty() ? 0 : state.channels.front().frames();
}

uint32_t runFormatConversion(const Effect &effect, State &state, ops::Work &work)
{
    AUDIO_FORMAT format = state.format;
    if (effect.rate) format.sampleRate = *effect.rate;
    if (effect.mix) format.numChannels = static_cast<int16_t>(effect.mix->size());
    if (effect.channels) format.numChannels = static_cast<int16_t>(*effect.channels);
    if (effect.sampleKind) {
        format.sampleKind = *effect.sampleKind;
        // A kind without a width: the usual width of that kind.
        if (!effect.bits && !AUDIO_IsValidFormat(&format)) {
            format.bitsPerSample = *effect.sampleKind == AUDIO_SAMPLE_FLOAT ? 32 : 16;
        }
    }
    if (effect.bits) format.bitsPerSample = static_cast<int16_t>(*effect.bits);
    if (!AUDIO_IsValidFormat(&format)) return AUDIO_ERROR_INVALID_ARGUMENT;
    if (effect.mix) {
        for (const auto &row : *effect.mix) {
            if (row.size() != state.channels.size()) return AUDIO_ERROR_INVALID_ARGUMENT;
        }
    }

    const bool sameShape = format.sampleRate == state.format.sampleRate &&
                           format.numChannels == static_cast<int16_t>(state.channels.size()) && !effect.mix;
    if (!sameShape) {
        std::vector<SpanList> converted;
        const uint32_t failed =
            ops::convertChannels(state.channels, state.format.sampleRate, format.sampleRate, format.numChannels,
                                 effect.mix ? &*effect.mix : nullptr, &work, converted);
        if (failed != AUDIO_ERROR_NONE) return failed;
        state.channels = std::move(converted);
        // A new channel count makes every channel active, as the signal
        // does when its channels change.
        if (format.numChannels != state.format.numChannels) {
            state.activeMask = (uint64_t{1} << format.numChannels) - 1;
        }
    }
    state.changed = state.changed || !sameShape || std::memcmp(&format, &state.format, sizeof format) != 0;
    state.format = format;
    return AUDIO_ERROR_NONE;
}

// Packs quantized levels as the native samples of `type`.
void packLevels(SampleType type, const std::vector<int32_t> &levels, std::vector<uint8_t> &bytes)
{
    const size_t width = bytesPerSample(type);
    bytes.resize(levels.size() * width);
    for (size_t i = 0; i < levels.size(); ++i) {
        uint8_t *at = bytes.data() + i * width;
        const int32_t level = levels[i];
        switch (type) {
        case SampleType::U8:
            at[0] = static_cast<uint8_t>(level + 128);
            break;
        case SampleType::S16: {
            const auto value = static_cast<int16_t>(level);
            std::memcpy(at, &value, sizeof value);
            break;
        }
        case SampleType::S24: {
            const auto value = static_cast<uint32_t>(level);
            at[0] = static_cast<uint8_t>(value & 0xffu);
            at[1] = static_cast<uint8_t>((value >> 8) & 0xffu);
            at[2] = static_cast<uint8_t>((value >> 16) & 0xffu);
            break;
        }
        default:
            break;
        }
    }
}

// Uniform noise in [0, 1) from 24 bits of the generator, the same on every
// standard library (the distributions of <random> are not).
double uniform(std::mt19937 &noise)
{
    return static_cast<double>(noise() >> 8) / 16777216.0;  // 2^24
}

uint32_t runQuantizer(const Effect &effect, State &state, ops::Work &work)
{
    const bool floatFormat = state.format.sampleKind == AUDIO_SAMPLE_FLOAT;
    const int32_t bits = effect.bits ? *effect.bits : state.format.bitsPerSample;
    // Floats are not quantized unless asked for a width; 32 bits and more
    // are finer than a float's 24-bit mantissa, so rounding changes nothing.
    if ((floatFormat && !effect.bits) || bits >= 32) return AUDIO_ERROR_NONE;

    // Stored at the format's own width when that is the width rounded to
    // (half the memory of floats for 16-bit audio); as floats otherwise.
    const SampleType native = _AUDIO_SampleTypeOf(state.format);
    const bool packNative = !floatFormat && bits == state.format.bitsPerSample &&
                            (native == SampleType::U8 || native == SampleType::S16 || native == SampleType::S24);
    const double scale = std::ldexp(1.0, bits - 1);
    const double lowest = -scale;
    const double highest = scale - 1.0;
    const int64_t frames = framesOf(state);
    work.beginStage(static_cast<double>(frames) * static_cast<double>(state.channels.size()));

    std::vector<float> samples(static_cast<size_t>(std::min(frames, kBlockFrames)));
    std::vector<int32_t> levels(samples.size());
    std::vector<uint8_t> bytes;
    for (size_t c = 0; c < state.channels.size(); ++c) {
        std::mt19937 noise(kDitherNoiseStart + static_cast<uint32_t>(c));
        const SpanList &source = state.channels[c];
        SpanBuilder builder(packNative ? native : SampleType::F32);
        for (int64_t position = 0; position < frames; position += kBlockFrames) {
            const int64_t count = std::min(kBlockFrames, frames - position);
            source.readFloat(position, count, samples.data());
            levels.resize(static_cast<size_t>(count));
            for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
                double dither = 0.0;
                if (effect.dither == Dither::Rectangular) dither = uniform(noise) - 0.5;
                if (effect.dither == Dither::Triangular) dither = uniform(noise) + uniform(noise) - 1.0;
                const double level = std::floor(samples[i] * scale + dither + 0.5);
                levels[i] = static_cast<int32_t>(std::clamp(level, lowest, highest));
            }
            if (packNative) {
                packLevels(native, levels, bytes);
                builder.pushNative(bytes.data(), count, bytesPerSample(native));
            } else {
                for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
                    samples[i] = static_cast<float>(levels[i] / scale);
                }
                builder.pushNative(samples.data(), count, sizeof(float));
            }
            if (!work.advance(static_cast<double>(count))) return AUDIO_ERROR_CANCELLED;
        }
        state.channels[c] = builder.finish();
    }
    state.changed = true;
    return AUDIO_ERROR_NONE;
}

// Multiplies the active channels by gainAt(frame).
template <typename GainAt>
uint32_t runGains(State &state, ops::Work &work, GainAt &&gainAt)
{
    const int64_t frames = framesOf(state);
    work.beginStage(static_cast<double>(frames) * static_cast<double>(state.channels.size()));
    for (size_t c = 0; c < state.channels.size(); ++c) {
        if (!isActive(state, c)) continue;
        const bool done = ops::mapRange(
            state.channels[c], 0, frames,
            [&](int64_t position, int64_t count, float *samples) {
                for (int64_t i = 0; i < count; ++i) {
                    samples[i] = static_cast<float>(gainAt(position + i) * samples[i]);
                }
            },
            &work);
        if (!done) return AUDIO_ERROR_CANCELLED;
    }
    state.changed = true;
    return AUDIO_ERROR_NONE;
}

uint32_t runNormalize(const Effect &effect, State &state, ops::Work &work)
{
    // The peak comes from the block summaries: no sample is read for it.
    double peak = 0.0;
    for (size_t c = 0; c < state.channels.size(); ++c) {
        if (!isActive(state, c)) continue;
        const Stats stats = state.channels[c].stats(0, state.channels[c].frames());
        if (stats.frames > 0) peak = std::max({peak, std::fabs(double{stats.min}), std::fabs(double{stats.max})});
    }
    const double gain = AUDIOSIGNAL_NormalizationGain(peak, effect.factor);
    if (gain == 1.0) return AUDIO_ERROR_NONE;
    return runGains(state, work, [gain](int64_t) { return gain; });
}

uint32_t runGainEnvelope(const Effect &effect, State &state, ops::Work &work)
{
    const double rate = static_cast<double>(state.format.sampleRate);
    const std::vector<double> &times = effect.instants;
    const std::vector<double> &gains = effect.gains;
    return runGains(state, work, [&](int64_t frame) {
        const double t = static_cast<double>(frame) / rate;
        // The first point after t; equal instants make a step.
        const size_t next = static_cast<size_t>(std::upper_bound(times.begin(), times.end(), t) - times.begin());
        if (next == 0) return gains.front();
        if (next == times.size()) return gains.back();
        const double span = times[next] - times[next - 1];
        const double w = (t - times[next - 1]) / span;
        return gains[next - 1] * (1.0 - w) + gains[next] * w;
    });
}

uint32_t runEffect(const Effect &effect, State &state, ops::Work &work)
{
    switch (effect.kind) {
    case Kind::NoChanges:
        work.beginStage(1.0);
        return AUDIO_ERROR_NONE;
    case Kind::FormatConversion:
        return runFormatConversion(effect, state, work);
    case Kind::Quantizer:
        return runQuantizer(effect, state, work);
    case Kind::Gain:
        return runGains(state, work, [factor = effect.factor](int64_t) { return factor; });
    case Kind::Normalize:
        return runNormalize(effect, state, work);
    case Kind::GainEnvelope:
        return runGainEnvelope(effect, state, work);
    }
    return AUDIO_ERROR_UNKNOWN_EFFECT;
}

// Parses the whole chain. Unknown names win over malformed parameters, so
// that a caller can tell "no such effect" from "wrong use of one".
uint32_t parseChain(const char *text, std::vector<Effect> &effects)
{
    std::vector<std::string> items;
    if (!splitChain(text, items) || items.empty()) return AUDIO_ERROR_INVALID_ARGUMENT;
    uint32_t failed = AUDIO_ERROR_NONE;
    for (const std::string &item : items) {
        Effect effect;
        const uint32_t result = parseEffect(item, effect);
        if (result == AUDIO_ERROR_UNKNOWN_EFFECT) return result;
        if (result != AUDIO_ERROR_NONE) failed = result;
        effects.push_back(std::move(effect));
    }
    return failed;
}

} // namespace

// ---- effect texts -----------------------------------------------------------

AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_ApplyTransformEx2(AUDIOSIGNAL signal, const char *effect, double *timeFactor,
                                                    uint32_t flags, uint32_t *error)
{
    (void)flags;  // reserved
    ops::setError(error, AUDIO_ERROR_NONE);
    if (signal == nullptr || effect == nullptr) {
        ops::setError(error, AUDIO_ERROR_INVALID_ARGUMENT);
        return nullptr;
    }
    std::vector<Effect> effects;
    const uint32_t malformed = parseChain(effect, effects);
    if (malformed != AUDIO_ERROR_NONE) {
        ops::setError(error, malformed);
        return nullptr;
    }

    State state;
    state.format = AUDIOSIGNAL_GetFormat(signal);
    state.channels = _AUDIOSIGNAL_Channels(signal);
    state.activeMask = AUDIOSIGNAL_GetActiveChannelMask(signal);
    if (state.channels.empty()) {
        ops::setError(error, AUDIO_ERROR_INVALID_ARGUMENT);
        return nullptr;
    }
    const int64_t oldFrames = framesOf(state);
    {
        ops::Work work(signal, static_cast<int32_t>(effects.size()));
        for (const Effect &item : effects) {
            const uint32_t failed = runEffect(item, state, work);
            if (failed != AUDIO_ERROR_NONE) {
                ops::setError(error, failed);
                return nullptr;
            }
        }
        if (!work.complete()) {
            ops::setError(error, AUDIO_ERROR_CANCELLED);
            return nullptr;
        }
    }

    AUDIOSIGNAL result;
    if (state.changed) {
        result = ops::duplicateWith(signal, std::move(state.channels), &state.format, error);
    } else {
        // "NOCHANGES" and the like: a writable duplicate of the signal.
        result = AUDIOSIGNAL_DuplicateEx(signal, 0);
        if (result == nullptr) ops::setError(error, AUDIO_ERROR_OUT_OF_MEMORY);
        else AUDIOSIGNAL_SetReadOnly(result, false);
    }
    if (result == nullptr) return nullptr;
    if (timeFactor != nullptr) {
        const int64_t newFrames = AUDIOSIGNAL_NumFrames(result);
        *timeFactor = oldFrames > 0 ? static_cast<double>(newFrames) / static_cast<double>(oldFrames) : 1.0;
    }
    return result;
}
