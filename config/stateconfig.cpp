// The view defaults a document's state takes from the settings: the
// spectrogram preset, the FFT engine, the power graph range, the scale kinds
// and the look of the annotation tracks; and the spectrogram dynamic range.
#include "config/config_p.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "blnotify.h"
#include "blsettings.h"
#include "tavoaudio.h"
#include "tavocolor.h"
#include "tavodefines.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "view/state_p.h"

namespace {

// A spectrogram preset. "narrow" is the narrow-band analysis (a long window,
// about 93 ms at 44.1 kHz, resolves harmonics 11 Hz apart); "wide" the
// wide-band one (a 256-frame window, under 6 ms, shows formants and onsets,
// with the usual 0.97 pre-emphasis of speech analysis). Any other preset
// name reads its keys with the narrow values as fallback.
struct SpectralPreset {
    const char *name;
    int32_t fftLength;
    int32_t windowSize;
    int32_t normalize;
    int32_t invert;
    double dynamicRange;    // dB
    double preemphasis;
    int32_t usePreemphasisFilter;
    const char *windowType;
    const char *colorScheme;
};

const SpectralPreset kPresets[] = {
    {"narrow", 4096, 4096, 1, 0, 100.0, 0.0, 0, "blackman-harris", "ce2k"},
    {"wide", 512, 256, 1, 0, 70.0, 0.97, 1, "hamming", "grayscale"},
};
const SpectralPreset &kFallbackPreset = kPresets[0];

// Power graph range in dB: -100 dB lies below the noise floor of 16-bit
// audio, 0 dB is full scale.
constexpr double kPowerMinDefault = -100.0;
constexpr double kPowerMaxDefault = 0.0;

// FFT sizes the analysis accepts: powers of two from 64 to 65536.
constexpr int32_t kMinFftLength = 64;
constexpr int32_t kMaxFftLength = 65536;
// Shortest useful analysis window, in frames.
constexpr int32_t kMinWindowSize = 16;

// Dynamic ranges offered to the user, in dB, ascending; the 10 dB steps
// below 100 dB match what the eye tells apart on a grey ramp, 120 dB covers
// 20-bit material.
const double kDynamicRanges[TAVOCONFIG_DYNAMIC_RANGE_COUNT] = {20, 30, 40, 50, 60, 70, 80, 90, 100, 120};

// Annotation-track palette: twelve hues far apart on the colour circle, dark
// enough for white labels. Channel c starts at entry (counter + c) mod 12,
// the counter being "libtavo.customtrack._color_seq", so that a host can
// rotate the colours a set of tracks gets.
const uint32_t kTrackPalette[] = {
    TAVOCOLOR_RGBA(0, 114, 178, 255),  TAVOCOLOR_RGBA(213, 94, 0, 255),  TAVOCOLOR_RGBA(0, 158, 115, 255),
    TAVOCOLOR_RGBA(204, 121, 167, 255), TAVOCOLOR_RGBA(86, 180, 233, 255), TAVOCOLOR_RGBA(230, 159, 0, 255),
    TAVOCOLOR_RGBA(120, 80, 200, 255),  TAVOCOLOR_RGBA(180, 40, 60, 255),  TAVOCOLOR_RGBA(60, 130, 60, 255),
    TAVOCOLOR_RGBA(150, 110, 40, 255),  TAVOCOLOR_RGBA(40, 120, 140, 255), TAVOCOLOR_RGBA(110, 110, 110, 255),
};
constexpr int32_t kTrackPaletteSize = int32_t(std::size(kTrackPalette));
// Tallest label font plus its padding: a track never draws shorter.
constexpr int32_t kTrackMinHeightDefault = 40;

struct TrackLook {
    uint32_t region, selected, border, text, font;
};

TrackLook trackLook(int32_t channel, int64_t counter)
{
    const int64_t index = ((counter + channel) % kTrackPaletteSize + kTrackPaletteSize) % kTrackPaletteSize;
    const uint32_t base = kTrackPalette[index];
    TrackLook look;
    // Fills are translucent so that the waveform under a track stays
    // visible; selected fills are lighter and more opaque, borders darker.
    look.region = TAVOCOLOR_SetAlpha(base, 0.6);
    look.selected = TAVOCOLOR_SetAlpha(TAVOCOLOR_Lighter(base, 1.3), 0.8);
    look.border = TAVOCOLOR_Lighter(base, 0.6);
    look.text = TAVOCOLOR_Luminance(base) > 0.55 ? TAVOCOLOR_RGBA(0, 0, 0, 255) : TAVOCOLOR_RGBA(255, 255, 255, 255);
    look.font = base;
    return look;
}

// A track colour is stored as a packed integer; "rgba(r,g,b,a)" texts are
// accepted as well, since that is how every other colour is written.
uint32_t readTrackColor(const char *track, const char *key, uint32_t fallback)
{
    char text[64];
    BLSETTINGS_GetStringEx(nullptr, text, sizeof text, "libtavo.customtrack.%s.%s=[%u]", track, key, fallback);
    if (std::strncmp(text, "rgba", 4) == 0 || std::strncmp(text, "RGBA", 4) == 0) {
        return TAVOCOLOR_FromString(text, fallback);
    }
    return uint32_t(BLSETTINGS_GetIntEx(nullptr, "libtavo.customtrack.%s.%s=[%u]", track, key, fallback));
}

void trackName(char *buffer, size_t size, int32_t channel)
{
    std::snprintf(buffer, size, "channel_%02d_track", int(channel));
}

const SpectralPreset *findPreset(const char *name)
{
    for (const SpectralPreset &preset : kPresets) {
        if (std::strcmp(preset.name, name) == 0) return &preset;
    }
    return nullptr;
}

bool isPowerOfTwo(int64_t value)
{
    return value > 0 && (value & (value - 1)) == 0;
}

void readSpectral(TavoSpectralConfig *spectral)
{
    char preset[sizeof spectral->preset];
    BLSETTINGS_GetStringEx(nullptr, preset, sizeof preset, "libtavo.spectral.preset=[narrow]");
    if (!_TAVOCONFIG_ValidProfileName(preset)) std::snprintf(preset, sizeof preset, "%s", kFallbackPreset.name);
    const SpectralPreset *known = findPreset(preset);
    const SpectralPreset &base = known != nullptr ? *known : kFallbackPreset;
    std::snprintf(spectral->preset, sizeof spectral->preset, "%s", preset);

    int64_t fft = BLSETTINGS_GetIntEx(nullptr, "libtavo.spectral.%s.fftlen=[%d]", preset, base.fftLength);
    if (!isPowerOfTwo(fft) || fft < kMinFftLength || fft > kMaxFftLength) fft = base.fftLength;
    int64_t window = BLSETTINGS_GetIntEx(nullptr, "libtavo.spectral.%s.winsize=[%d]", preset, base.windowSize);
    // A window longer than the transform cannot be analysed whole.
    if (window < kMinWindowSize || window > fft) window = std::min<int64_t>(base.windowSize, fft);
    spectral->fftLength = int32_t(fft);
    spectral->windowSize = int32_t(window);
    spectral->normalize = BLSETTINGS_GetIntEx(nullptr, "libtavo.spectral.%s.normalize=[%d]", preset, base.normalize) != 0;
    spectral->invert = BLSETTINGS_GetIntEx(nullptr, "libtavo.spectral.%s.invert=[%d]", preset, base.invert) != 0;
    double range = BLSETTINGS_GetFloatEx(nullptr, "libtavo.spectral.%s.dynrange=[%f]", preset, base.dynamicRange);
    if (!(range >= TAVOCONFIG_DYNAMIC_RANGE_MIN && range <= TAVOCONFIG_DYNAMIC_RANGE_MAX)) range = base.dynamicRange;
    spectral->dynamicRange = range;
    double coefficient = BLSETTINGS_GetFloatEx(nullptr, "libtavo.spectral.%s.preemphcoef=[%f]", preset, base.preemphasis);
    // A pre-emphasis coefficient outside [0, 1) would amplify instead of tilt.
    if (!(coefficient >= 0.0 && coefficient < 1.0)) coefficient = base.preemphasis;
    spectral->preemphasis = coefficient;
    spectral->usePreemphasisFilter =
        BLSETTINGS_GetIntEx(nullptr, "libtavo.spectral.%s.use_preenhp_filter=[%d]", preset, base.usePreemphasisFilter) != 0;

    char text[64];
    BLSETTINGS_GetStringEx(nullptr, text, sizeof text, "libtavo.spectral.%s.wintype", preset);
    spectral->windowType = TAVOCONFIG_DecodeWinType(text, TAVOCONFIG_DecodeWinType(base.windowType, 6));
    BLSETTINGS_GetStringEx(nullptr, text, sizeof text, "libtavo.spectral.%s.colorscheme", preset);
    spectral->colorScheme = TAVOCONFIG_DecodeColorScheme(text, TAVOCONFIG_DecodeColorScheme(base.colorScheme, 2));
    BLSETTINGS_GetStringEx(nullptr, spectral->fftEngine, sizeof spectral->fftEngine,
                           "libtavo.spectral.fft_engine=[auto]");
    if (spectral->fftEngine[0] == '\0') std::snprintf(spectral->fftEngine, sizeof spectral->fftEngine, "auto");
}

void readTracks(TavoState *state)
{
    const int64_t counter = BLSETTINGS_GetIntEx(nullptr, "libtavo.customtrack._color_seq=[0]");
    char track[32];
    char text[256];
    for (int32_t channel = 0; channel < TAVOSTATE_CUSTOM_TRACK_CHANNELS; ++channel) {
        trackName(track, sizeof track, channel);
        const TrackLook look = trackLook(channel, counter);
        TavoCustomTrackConfig &config = state->customTracks[channel];
        config.regionColor = readTrackColor(track, "region_color", look.region);
        config.regionSelectedColor = readTrackColor(track, "region_selected_color", look.selected);
        config.regionBorderColor = readTrackColor(track, "region_border_color", look.border);
        config.regionTextColor = readTrackColor(track, "region_text_color", look.text);
        config.fontColor = readTrackColor(track, "fontcolor", look.font);
        const int64_t height =
            BLSETTINGS_GetIntEx(nullptr, "libtavo.customtrack.%s.minheight=[%d]", track, kTrackMinHeightDefault);
        config.minHeight = height > 0 && height <= 10000 ? int32_t(height) : kTrackMinHeightDefault;
        const int64_t audioChannel =
            BLSETTINGS_GetIntEx(nullptr, "libtavo.customtrack.%s.audiochannel=[%d]", track, channel);
        config.audioChannel = audioChannel >= 0 && audioChannel < TAVOSTATE_CUSTOM_TRACK_CHANNELS ? int32_t(audioChannel)
                                                                                                  : channel;
        BLSETTINGS_GetStringEx(nullptr, text, sizeof text, "libtavo.customtrack.%s.drawoptions", track);
        config.drawOptions = TAVODEFINES_DecodeCustomTrackDrawOption(text);
    }
}

void applyTo(TavoState *state, bool reload)
{
    if (reload) state->drawConfig = *TAVOCONFIG_GetCurrentDrawConfig();
    readSpectral(&state->spectral);

    double low = BLSETTINGS_GetFloatEx(nullptr, "libtavo.tavocanvas.power_graph.min_value=[%f]", kPowerMinDefault);
    double high = BLSETTINGS_GetFloatEx(nullptr, "libtavo.tavocanvas.power_graph.max_value=[%f]", kPowerMaxDefault);
    if (!(high > low)) {
        low = kPowerMinDefault;
        high = kPowerMaxDefault;
    }
    state->powerMin = low;
    state->powerMax = high;

    char text[64];
    BLSETTINGS_GetStringEx(nullptr, text, sizeof text, "libtavo.draw.horzscalekind");
    state->horzScaleKind = TAVOCONFIG_DecodeHorzScaleKind(text, 2);
    BLSETTINGS_GetStringEx(nullptr, text, sizeof text, "libtavo.draw.vertscalekind");
    // An unset vertical scale kind leaves the state's own: opening a file
    // wider than 16 bits chooses the normalised scale exactly in that case.
    const int32_t vertical = TAVOCONFIG_DecodeVertScaleKind(text, -1);
    if (vertical >= 0) state->vertScaleKind = vertical;
    BLSETTINGS_GetStringEx(nullptr, text, sizeof text, "libtavo.draw.specscalekind");
    state->specScaleKind = TAVOCONFIG_DecodeSpecScaleKind(text, 0);
    readTracks(state);
}

// The preset a null argument means: the configured one.
bool presetName(const char *preset, char *buffer, size_t size)
{
    if (preset == nullptr) {
        BLSETTINGS_GetStringEx(nullptr, buffer, size, "libtavo.spectral.preset=[narrow]");
    } else {
        std::snprintf(buffer, size, "%s", preset);
    }
    return _TAVOCONFIG_ValidProfileName(buffer);
}

}  // namespace

void _TAVOCONFIG_RegisterStateDefaults(void)
{
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.preset=%s", kFallbackPreset.name);
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.fft_engine=%s", "auto");
    for (const SpectralPreset &preset : kPresets) {
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.%s.fftlen=%d", preset.name, preset.fftLength);
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.%s.winsize=%d", preset.name, preset.windowSize);
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.%s.normalize=%d", preset.name, preset.normalize);
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.%s.invert=%d", preset.name, preset.invert);
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.%s.dynrange=%f", preset.name, preset.dynamicRange);
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.%s.preemphcoef=%f", preset.name, preset.preemphasis);
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.%s.use_preenhp_filter=%d", preset.name,
                                preset.usePreemphasisFilter);
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.%s.wintype=%s", preset.name, preset.windowType);
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.spectral.%s.colorscheme=%s", preset.name, preset.colorScheme);
    }
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.tavocanvas.power_graph.min_value=%f", kPowerMinDefault);
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.tavocanvas.power_graph.max_value=%f", kPowerMaxDefault);
    // The vertical scale kind is deliberately left without a default: an
    // unset key lets the opening of a high-resolution file pick the
    // normalised scale on its own.
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.draw.horzscalekind=%s", TAVOCONFIG_EncodeHorzScaleKind(2));
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.draw.specscalekind=%s", TAVOCONFIG_EncodeSpecScaleKind(0));

    // The five track colours get no registered default: they depend on the
    // colour counter at the time they are read, so the reads carry them.
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.customtrack._color_seq=%d", 0);
    char track[32];
    for (int32_t channel = 0; channel < TAVOSTATE_CUSTOM_TRACK_CHANNELS; ++channel) {
        trackName(track, sizeof track, channel);
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.customtrack.%s.minheight=%d", track, kTrackMinHeightDefault);
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.customtrack.%s.drawoptions=%s", track, "");
    }
}

TAVO_API bool TAVOCONFIG_ApplyStateConfigurationEx(TAVOAUDIO audio, TAVOSTATE state, bool reload)
{
    if (state != nullptr) {
        // A state handed in directly is one being built or a copy the
        // caller holds: nobody else reads it yet.
        applyTo(state, reload);
        return true;
    }
    TAVOSTATE own = TAVOAUDIO_GetState(audio);
    if (own == nullptr) return false;
    if (!TAVOAUDIO_GetWriteAccessEx(audio, false)) return false;
    applyTo(own, reload);
    TAVOAUDIO_ReleaseWriteAccess(audio);
    return true;
}

TAVO_API bool TAVOCONFIG_SetDynamicRange(const char *preset, double dB)
{
    char name[TAVOCONFIG_PROFILE_NAME_SIZE];
    if (!presetName(preset, name, sizeof name)) return false;
    if (!(dB >= TAVOCONFIG_DYNAMIC_RANGE_MIN && dB <= TAVOCONFIG_DYNAMIC_RANGE_MAX)) return false;
    if (!BLSETTINGS_ChangeEx(nullptr, "libtavo.spectral.%s.dynrange=%f", name, dB)) return false;
    double value = dB;
    BLNOTIFY_SendEvent(nullptr, 0, TAVOEVENT_DYNAMIC_RANGE_CHANGED, &value, name, nullptr);
    return true;
}

TAVO_API double TAVOCONFIG_DynamicRangeValueEx(const char *preset, int32_t steps)
{
    char name[TAVOCONFIG_PROFILE_NAME_SIZE];
    if (!presetName(preset, name, sizeof name)) std::snprintf(name, sizeof name, "%s", kFallbackPreset.name);
    const SpectralPreset *known = findPreset(name);
    const double fallback = known != nullptr ? known->dynamicRange : kFallbackPreset.dynamicRange;
    double current = BLSETTINGS_GetFloatEx(nullptr, "libtavo.spectral.%s.dynrange=[%f]", name, fallback);
    if (!(current >= TAVOCONFIG_DYNAMIC_RANGE_MIN && current <= TAVOCONFIG_DYNAMIC_RANGE_MAX)) current = fallback;
    if (steps == 0) return current;
    int32_t nearest = 0;
    for (int32_t i = 1; i < TAVOCONFIG_DYNAMIC_RANGE_COUNT; ++i) {
        if (std::fabs(kDynamicRanges[i] - current) < std::fabs(kDynamicRanges[nearest] - current)) nearest = i;
    }
    const int64_t target = int64_t(nearest) + steps;
    if (target < 0) return kDynamicRanges[0];
    if (target >= TAVOCONFIG_DYNAMIC_RANGE_COUNT) return kDynamicRanges[TAVOCONFIG_DYNAMIC_RANGE_COUNT - 1];
    return kDynamicRanges[target];
}
