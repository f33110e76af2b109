// coords.cpp: frames, pixels and seconds of a document's drawing areas.
//
// Area 0 is the main audio area showing the view; area 1 is the navigator
// showing the whole limited range. The pixels of an area are aligned to a
// global grid (pixel k shows the frames [k * spp, (k + 1) * spp)), so that a
// scroll by whole pixels moves the picture without re-sampling columns.

#include <cmath>
#include <cstdint>

#include "audiosignal.h"
#include "frame/document_p.h"
#include "tavoutil.h"
#include "tavozoom.h"
#include "view/state_p.h"

namespace {

constexpr int32_t kAreaCount = 2;

// Guards floor/trunc of quotients that are whole numbers in exact
// arithmetic but land a hair below in binary (d / spp with spp = 1/3).
constexpr double kGridEpsilon = 1e-9;

struct Area {
    int64_t begin = 0;
    int64_t end = 0;
    int32_t width = 0;
};

bool areaOf(TAVOAUDIO audio, int32_t area, Area &out)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || area < 0 || area >= kAreaCount) return false;
    const TavoState *s = doc->state;
    if (area == 0) {
        out.begin = s->viewBegin;
        out.end = s->viewEnd;
    } else {
        out.begin = TAVOAUDIO_LimitedBegin(audio);
        out.end = TAVOAUDIO_LimitedEnd(audio);
    }
    // The renderer (doc->draw) lays out the areas once the document is
    // drawn and its area widths are the ones on screen; the host keeps the
    // state's widths in step with its view through TAVOAUDIO_SetAreaWidth,
    // which is what the conversions read.
    out.width = s->areaWidth[area];
    return true;
}

// Frames per pixel, 1.0 when the area cannot be measured.
double framesPerPixel(const Area &a)
{
    if (a.width < 2 || a.end <= a.begin) return 1.0;
    return static_cast<double>(a.end - a.begin) / static_cast<double>(a.width - 1);
}

}  // namespace

TAVO_API double TAVOAUDIO_GetSamplesPerPixel(TAVOAUDIO audio, int32_t area)
{
    Area a;
    if (!areaOf(audio, area, a)) return 1.0;
    return framesPerPixel(a);
}

TAVO_API int64_t TAVOAUDIO_PixelToSample(TAVOAUDIO audio, int32_t area, int32_t x)
{
    Area a;
    if (!areaOf(audio, area, a) || a.end <= a.begin) return 0;
    const double spp = framesPerPixel(a);
    const double origin = std::trunc(static_cast<double>(a.begin) / spp + kGridEpsilon);
    double px = x;
    // Zoomed in past one frame per pixel, a click picks the frame whose
    // span of pixels it hits.
    if (spp < 1.0) px += std::trunc(0.5 / spp);
    const int64_t frame = static_cast<int64_t>(std::trunc(spp * px + origin * spp + kGridEpsilon));
    return frame > a.end ? a.end : frame;
}

// Rounds towards minus infinity on both sides of the area's first pixel, so
// frames left of the area get negative pixels (the frame just before the
// first pixel's span is -1) and the mapping stays monotonic across 0.
TAVO_API int32_t TAVOAUDIO_SampleToPixel(TAVOAUDIO audio, int32_t area, int64_t frame)
{
    Area a;
    if (!areaOf(audio, area, a)) return 0;
    const double spp = framesPerPixel(a);
    const double origin = std::trunc(static_cast<double>(a.begin) / spp + kGridEpsilon);
    const double d = static_cast<double>(frame) - origin * spp;
    double pixel = std::floor(d / spp + kGridEpsilon);
    if (spp < 1.0) pixel -= std::trunc(0.5 / spp);
    // Beyond the range of a pixel coordinate the answer saturates.
    if (pixel > 2147483647.0) return INT32_MAX;
    if (pixel < -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(pixel);
}

TAVO_API bool TAVOAUDIO_SetAreaWidth(TAVOAUDIO audio, int32_t area, int32_t width)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || area < 0 || area >= kAreaCount || width < 0) return false;
    doc->state->areaWidth[area] = width;
    return true;
}

TAVO_API int32_t TAVOAUDIO_GetAreaWidth(TAVOAUDIO audio, int32_t area)
{
    Area a;
    if (!areaOf(audio, area, a)) return 0;
    return a.width;
}

TAVO_API double TAVOAUDIO_SampleToTime(TAVOAUDIO audio, int64_t frame)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0.0;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return 0.0;
    return AUDIO_Sample2Time(AUDIOSIGNAL_GetFormatRef(signal), frame);
}

TAVO_API int64_t TAVOAUDIO_TimeToSample(TAVOAUDIO audio, double seconds)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return 0;
    return AUDIO_Time2Sample(AUDIOSIGNAL_GetFormatRef(signal), seconds);
}
