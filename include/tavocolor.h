/*
** tavocolor.h: colour arithmetic of libtavo (TAVOCOLOR_).
**
** A colour is a packed 32-bit value: byte 0 (lowest) red, byte 1 green,
** byte 2 blue, byte 3 alpha (255 opaque). Channels become fractions by
** dividing by 255.0; results are packed back by multiplying by 255 and
** truncating (a result above 1 packs as 255).
**
** Brightness work happens in the HSP model: hue and saturation in [0, 1]
** and perceived brightness P = sqrt(0.299 R^2 + 0.587 G^2 + 0.114 B^2).
** Converting a colour to HSP and back gives every channel within one unit.
**
** All functions are pure and thread-safe.
*/
#ifndef TAVOCOLOR_H
#define TAVOCOLOR_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "tavo_export.h"

TAVO_EXTERN_C_BEGIN

typedef uint32_t TAVOCOLOR;

/* Packs four channels of 0..255. */
#define TAVOCOLOR_RGBA(r, g, b, a) \
    ((TAVOCOLOR)(((uint32_t)(a) << 24) | ((uint32_t)(b) << 16) | ((uint32_t)(g) << 8) | (uint32_t)(r)))

/* ---- measures ---------------------------------------------------------- */

/* The HSP brightness P in [0, 1]. */
TAVO_API double TAVOCOLOR_Luminance(TAVOCOLOR color);
/* 0.2126 R + 0.7152 G + 0.0722 B: a second, linear weighting. */
TAVO_API double TAVOCOLOR_Lightness(TAVOCOLOR color);
/* HSP hue and saturation in [0, 1]; 0 and 0 for a grey. */
TAVO_API double TAVOCOLOR_Hue(TAVOCOLOR color);
TAVO_API double TAVOCOLOR_Saturation(TAVOCOLOR color);
/* Alpha / 255. */
TAVO_API double TAVOCOLOR_Alpha(TAVOCOLOR color);

/* ---- derived colours (alpha kept unless said) --------------------------- */

/* The colour with one HSP component replaced; values are clamped to
** [0, 1] (hue wraps around instead). */
TAVO_API TAVOCOLOR TAVOCOLOR_SetHue(TAVOCOLOR color, double hue);
TAVO_API TAVOCOLOR TAVOCOLOR_SetSaturation(TAVOCOLOR color, double saturation);
TAVO_API TAVOCOLOR TAVOCOLOR_SetLuminance(TAVOCOLOR color, double luminance);

/* The same hue and saturation with brightness P x factor (capped at 1, at
** least 0): factors above 1 lighten, below 1 darken. Black stays black. */
TAVO_API TAVOCOLOR TAVOCOLOR_Lighter(TAVOCOLOR color, double factor);

/* The same brightness and saturation with the hue moved by `step` (a
** fraction of the hue circle, either sign), wrapped into [0, 1). */
TAVO_API TAVOCOLOR TAVOCOLOR_NextColor(TAVOCOLOR color, double step);

/* Alpha set from a fraction: above 1 gives 255, below 0 gives 0, else
** alpha x 255 truncated. */
TAVO_API TAVOCOLOR TAVOCOLOR_SetAlpha(TAVOCOLOR color, double alpha);
/* Alpha multiplied by `factor`, clamped as in TAVOCOLOR_SetAlpha. */
TAVO_API TAVOCOLOR TAVOCOLOR_ChangeAlpha(TAVOCOLOR color, double factor);

/* Red, green and blue replaced by 255 minus themselves. */
TAVO_API TAVOCOLOR TAVOCOLOR_InvertedColor(TAVOCOLOR color);
/* Channel reorders: red and blue exchanged; red and green exchanged; and
** the rotation new red = green, new green = blue, new blue = red. */
TAVO_API TAVOCOLOR TAVOCOLOR_ToBGR(TAVOCOLOR color);
TAVO_API TAVOCOLOR TAVOCOLOR_ToGRB(TAVOCOLOR color);
TAVO_API TAVOCOLOR TAVOCOLOR_ToGBR(TAVOCOLOR color);

/* `foreground` over `background` with weight factor x foreground alpha /
** 255; the result is always opaque. */
TAVO_API TAVOCOLOR TAVOCOLOR_Blend(TAVOCOLOR foreground, TAVOCOLOR background, float factor);

/* ---- text form ----------------------------------------------------------- */

/* Parses "rgba(r,g,b,a)" (decimal 0..255 each, blanks allowed around the
** numbers, the word in any case); `fallback` for a null or malformed text. */
TAVO_API TAVOCOLOR TAVOCOLOR_FromString(const char *text, TAVOCOLOR fallback);

/* Writes "rgba(r,g,b,a)" into `buffer` (22 bytes hold every colour). False,
** with "" written when there is room for it, when it does not fit. */
TAVO_API bool TAVOCOLOR_ToString(TAVOCOLOR color, char *buffer, size_t size);

TAVO_EXTERN_C_END

#endif
