// Colour arithmetic in the HSP model.
#include "tavocolor.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

// Weights of perceived brightness.
constexpr double kPr = 0.299;
constexpr double kPg = 0.587;
constexpr double kPb = 0.114;

struct Rgb {
    double r, g, b;  // fractions; may exceed 1 before packing
};

struct Hsp {
    double h, s, p;
};

Rgb unpack(TAVOCOLOR c)
{
    return Rgb{double(c & 0xff) / 255.0, double((c >> 8) & 0xff) / 255.0, double((c >> 16) & 0xff) / 255.0};
}

uint32_t channelOf(double fraction)
{
    if (!(fraction > 0.0)) return 0;
    if (fraction >= 1.0) return 255;
    return uint32_t(fraction * 255.0);  // truncated
}

TAVOCOLOR pack(const Rgb &rgb, TAVOCOLOR alphaFrom)
{
    return TAVOCOLOR_RGBA(channelOf(rgb.r), channelOf(rgb.g), channelOf(rgb.b), alphaFrom >> 24);
}

double brightness(const Rgb &c)
{
    return std::sqrt(kPr * c.r * c.r + kPg * c.g * c.g + kPb * c.b * c.b);
}

// Hue and saturation by the sector of the largest channel; each sector
// spans one sixth of the hue circle.
Hsp toHsp(const Rgb &c)
{
    Hsp out{0.0, 0.0, brightness(c)};
    const double r = c.r, g = c.g, b = c.b;
    if (r == g && r == b) return out;  // grey: no hue, no saturation
    if (r >= g && r >= b) {
        if (b >= g) {
            out.h = 1.0 - (b - g) / 6.0 / (r - g);
            out.s = 1.0 - g / r;
        } else {
            out.h = (g - b) / 6.0 / (r - b);
            out.s = 1.0 - b / r;
        }
    } else if (g >= r && g >= b) {
        if (r >= b) {
            out.h = 1.0 / 3.0 - (r - b) / 6.0 / (g - b);
            out.s = 1.0 - b / g;
        } else {
            out.h = 1.0 / 3.0 + (b - r) / 6.0 / (g - r);
            out.s = 1.0 - r / g;
        }
    } else {
        if (r > g) {
            out.h = 2.0 / 3.0 + (r - g) / 6.0 / (b - g);
            out.s = 1.0 - g / b;
        } else {
            out.h = 2.0 / 3.0 - (g - r) / 6.0 / (b - r);
            out.s = 1.0 - r / b;
        }
    }
    if (out.h >= 1.0) out.h -= 1.0;  // a hue of exactly 1 is the same as 0
    return out;
}

// The inverse of toHsp for the same weights. In each sixth of the circle one
// channel is the largest (max), one the smallest (min = max x (1 - s)) and
// the third lies between them in proportion to the position in the sector;
// the brightness equation then fixes the scale.
Rgb fromHsp(Hsp in)
{
    const double h = in.h - std::floor(in.h);  // wrap into [0, 1)
    const double s = std::clamp(in.s, 0.0, 1.0);
    const double p = std::max(in.p, 0.0);
    const double minOverMax = 1.0 - s;
    // Per sector: which channel is largest, which smallest, which between,
    // and how far the between one lies from the smallest toward the largest.
    int sector = int(h * 6.0);
    if (sector > 5) sector = 5;
    double t = h * 6.0 - sector;  // position in the sector, 0..1
    // Sectors alternate direction: in odd ones the between channel falls.
    if (sector % 2 == 1) t = 1.0 - t;
    // Largest, between, smallest channel per sector (0 r, 1 g, 2 b).
    static const int kOrder[6][3] = {{0, 1, 2}, {1, 0, 2}, {1, 2, 0}, {2, 1, 0}, {2, 0, 1}, {0, 2, 1}};
    const double weights[3] = {kPr, kPg, kPb};
    const int hi = kOrder[sector][0], mid = kOrder[sector][1], lo = kOrder[sector][2];
    // With max = 1: min = 1 - s, between = min + t (1 - min).
    const double between = minOverMax + t * (1.0 - minOverMax);
    const double unit = std::sqrt(weights[hi] + weights[mid] * between * between
                                  + weights[lo] * minOverMax * minOverMax);
    const double max = unit > 0.0 ? p / unit : 0.0;
    double channels[3];
    channels[hi] = max;
    channels[mid] = max * between;
    channels[lo] = max * minOverMax;
    return Rgb{channels[0], channels[1], channels[2]};
}

TAVOCOLOR withHsp(TAVOCOLOR color, const Hsp &hsp)
{
    return pack(fromHsp(hsp), color);
}

TAVOCOLOR withAlpha(TAVOCOLOR color, double alpha)
{
    uint32_t a;
    if (alpha > 1.0) a = 255;
    else if (!(alpha > 0.0)) a = 0;  // also NaN
    else a = uint32_t(alpha * 255.0);
    return (color & 0x00ffffffu) | (a << 24);
}

} // namespace

double TAVOCOLOR_Luminance(TAVOCOLOR color)
{
    return brightness(unpack(color));
}

double TAVOCOLOR_Lightness(TAVOCOLOR color)
{
    const Rgb c = unpack(color);
    return 0.2126 * c.r + 0.7152 * c.g + 0.0722 * c.b;
}

double TAVOCOLOR_Hue(TAVOCOLOR color)
{
    return toHsp(unpack(color)).h;
}

double TAVOCOLOR_Saturation(TAVOCOLOR color)
{
    return toHsp(unpack(color)).s;
}

double TAVOCOLOR_Alpha(TAVOCOLOR color)
{
    return double(color >> 24) / 255.0;
}

TAVOCOLOR TAVOCOLOR_SetHue(TAVOCOLOR color, double hue)
{
    Hsp hsp = toHsp(unpack(color));
    hsp.h = std::isfinite(hue) ? hue : 0.0;
    return withHsp(color, hsp);
}

TAVOCOLOR TAVOCOLOR_SetSaturation(TAVOCOLOR color, double saturation)
{
    Hsp hsp = toHsp(unpack(color));
    hsp.s = std::clamp(std::isfinite(saturation) ? saturation : 0.0, 0.0, 1.0);
    return withHsp(color, hsp);
}

TAVOCOLOR TAVOCOLOR_SetLuminance(TAVOCOLOR color, double luminance)
{
    Hsp hsp = toHsp(unpack(color));
    hsp.p = std::clamp(std::isfinite(luminance) ? luminance : 0.0, 0.0, 1.0);
    return withHsp(color, hsp);
}

TAVOCOLOR TAVOCOLOR_Lighter(TAVOCOLOR color, double factor)
{
    Hsp hsp = toHsp(unpack(color));
    hsp.p = std::clamp(hsp.p * (std::isfinite(factor) ? factor : 1.0), 0.0, 1.0);
    return withHsp(color, hsp);
}

TAVOCOLOR TAVOCOLOR_NextColor(TAVOCOLOR color, double step)
{
    Hsp hsp = toHsp(unpack(color));
    double hue = std::fmod(hsp.h + (std::isfinite(step) ? step : 0.0), 1.0);
    if (hue < 0.0) hue += 1.0;
    hsp.h = hue;
    return withHsp(color, hsp);
}

TAVOCOLOR TAVOCOLOR_SetAlpha(TAVOCOLOR color, double alpha)
{
    return withAlpha(color, alpha);
}

TAVOCOLOR TAVOCOLOR_ChangeAlpha(TAVOCOLOR color, double factor)
{
    return withAlpha(color, TAVOCOLOR_Alpha(color) * factor);
}

TAVOCOLOR TAVOCOLOR_InvertedColor(TAVOCOLOR color)
{
    return color ^ 0x00ffffffu;
}

TAVOCOLOR TAVOCOLOR_ToBGR(TAVOCOLOR color)
{
    return (color & 0xff00ff00u) | ((color & 0xffu) << 16) | ((color >> 16) & 0xffu);
}

TAVOCOLOR TAVOCOLOR_ToGRB(TAVOCOLOR color)
{
    return (color & 0xffff0000u) | ((color & 0xffu) << 8) | ((color >> 8) & 0xffu);
}

TAVOCOLOR TAVOCOLOR_ToGBR(TAVOCOLOR color)
{
    const uint32_t r = color & 0xff, g = (color >> 8) & 0xff, b = (color >> 16) & 0xff;
    return (color & 0xff000000u) | (r << 16) | (b << 8) | g;
}

TAVOCOLOR TAVOCOLOR_Blend(TAVOCOLOR foreground, TAVOCOLOR background, float factor)
{
    // Single precision for the weight, as the drawing code computes it.
    const float w = factor * float(foreground >> 24) / 255.0f;
    const Rgb f = unpack(foreground), b = unpack(background);
    const Rgb mixed{b.r * (1.0 - w) + f.r * w, b.g * (1.0 - w) + f.g * w, b.b * (1.0 - w) + f.b * w};
    return pack(mixed, 0xff000000u);
}

TAVOCOLOR TAVOCOLOR_FromString(const char *text, TAVOCOLOR fallback)
{
    if (text == nullptr) return fallback;
    std::string_view rest(text);
    const auto skipBlanks = [&rest] {
        while (!rest.empty() && (rest.front() == ' ' || rest.front() == '\t')) rest.remove_prefix(1);
    };
    skipBlanks();
    if (rest.size() < 5) return fallback;
    for (size_t i = 0; i < 4; ++i)
        if ((rest[i] | 0x20) != "rgba"[i]) return fallback;
    rest.remove_prefix(4);
    skipBlanks();
    if (rest.empty() || rest.front() != '(') return fallback;
    rest.remove_prefix(1);
    uint32_t channels[4];
    for (int i = 0; i < 4; ++i) {
        skipBlanks();
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), channels[i]);
        if (error != std::errc() || channels[i] > 255) return fallback;
        rest.remove_prefix(size_t(end - rest.data()));
        skipBlanks();
        const char expected = i < 3 ? ',' : ')';
        if (rest.empty() || rest.front() != expected) return fallback;
        rest.remove_prefix(1);
    }
    skipBlanks();
    if (!rest.empty()) return fallback;
    return TAVOCOLOR_RGBA(channels[0], channels[1], channels[2], channels[3]);
}

bool TAVOCOLOR_ToString(TAVOCOLOR color, char *buffer, size_t size)
{
    if (buffer == nullptr || size == 0) return false;
    const int n = std::snprintf(buffer, size, "rgba(%u,%u,%u,%u)", color & 0xff, (color >> 8) & 0xff,
                                (color >> 16) & 0xff, color >> 24);
    if (n < 0 || size_t(n) >= size) {
        buffer[0] = '\0';
        return false;
    }
    return true;
}
