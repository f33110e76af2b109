/*
** tavocolormap.h: the spectrogram colour maps of libtavo (TAVOCOLORMAP_).
**
** A colour map turns a 16-bit spectral level (0 quietest .. 65535 loudest)
** into an opaque packed colour in the TAVOCOLOR layout (byte 0 red .. byte
** 3 alpha = 255). Schemes are numbered by the configuration's colour-scheme
** codes below. Each scheme is kept as 256 anchor colours (level 0 gets the
** first, level 65535 the last); a full 65536-entry table is built from
** them by linear interpolation of each channel, rounded to the nearest
** byte, the first time it is asked for, and then shared by the whole
** process (256 KiB per scheme and direction).
**
** Direction: every published map keeps the direction of its publication,
** so "matter", "bilbao", "lajolla" and "oceandeep" run from light to dark;
** the two halves of the diverging "delta" ("oceandeltagreen" and
** "oceandeltablue") run from its pale centre to their dark ends. The
** `inverted` flag reads a map backwards: inverted[i] == normal[65535 - i].
** The configuration's "invlineargrayscale" and "invgrayscale" are schemes
** 0 and 1 with `inverted` set.
**
** Threads: TAVOCOLORMAP_GetMap, TAVOCOLORMAP_Color and
** TAVOCOLORMAP_CountSchemes may be called from any thread at the same time
** (spectrogram columns are coloured on worker threads); each table is
** built once, under a lock of its own. TAVOCOLORMAP_Finalize frees the
** tables and must not run while any thread may still read one.
*/
#ifndef TAVOCOLORMAP_H
#define TAVOCOLORMAP_H

#include <stdbool.h>
#include <stdint.h>

#include "tavo_export.h"

TAVO_EXTERN_C_BEGIN

/* ---- scheme codes ----------------------------------------------------------- */

#define TAVOCOLORMAP_LINEARGRAYSCALE 0  /* black to white, equal byte steps */
#define TAVOCOLORMAP_GRAYSCALE 1        /* black to white, equal CIE L* steps */
#define TAVOCOLORMAP_CE2K 2             /* black, blue, magenta, orange, yellow, white */
#define TAVOCOLORMAP_VIRIDIS 3
#define TAVOCOLORMAP_MAGMA 4
#define TAVOCOLORMAP_PLASMA 5
#define TAVOCOLORMAP_INFERNO 6
#define TAVOCOLORMAP_CIVIDIS 7
#define TAVOCOLORMAP_MAKO 8
#define TAVOCOLORMAP_ROCKET 9
#define TAVOCOLORMAP_TURBO 10
#define TAVOCOLORMAP_COPPER 11
#define TAVOCOLORMAP_HOT 12
#define TAVOCOLORMAP_BONE 13
#define TAVOCOLORMAP_ICE 14
#define TAVOCOLORMAP_OXY 15
#define TAVOCOLORMAP_SOLAR 16
#define TAVOCOLORMAP_MATTER 17
#define TAVOCOLORMAP_BERLIN 18
#define TAVOCOLORMAP_BILBAO 19
#define TAVOCOLORMAP_LAJOLLA 20
#define TAVOCOLORMAP_ROMA 21
#define TAVOCOLORMAP_TOKYO 22
#define TAVOCOLORMAP_VIK 23
#define TAVOCOLORMAP_OCEANDELTAGREEN 24
#define TAVOCOLORMAP_OCEANDELTABLUE 25
#define TAVOCOLORMAP_OCEANTHERMAL 26
#define TAVOCOLORMAP_OCEANDEEP 27
#define TAVOCOLORMAP_SCHEME_COUNT 28

/* Entries of a table: one per 16-bit level. */
#define TAVOCOLORMAP_LEVELS 65536

/* ---- maps ------------------------------------------------------------------- */

/* The number of schemes: valid codes are 0 .. count - 1. Any thread. */
TAVO_API int32_t TAVOCOLORMAP_CountSchemes(void);

/* The 65536-entry table of `scheme` (read backwards when `inverted`),
** built on first use. Null for an unknown scheme or when memory for the
** table cannot be had. The table belongs to the library: read-only, valid
** until TAVOCOLORMAP_Finalize. Any thread. */
TAVO_API const uint32_t *TAVOCOLORMAP_GetMap(int32_t scheme, bool inverted);

/* The colour of one level, the same value TAVOCOLORMAP_GetMap's table
** holds at `level`, computed without building the table. 0 (transparent
** black, never a map colour) for an unknown scheme. Any thread. */
TAVO_API uint32_t TAVOCOLORMAP_Color(int32_t scheme, bool inverted, uint16_t level);

/* Frees every built table; a later TAVOCOLORMAP_GetMap builds again. Run
** by the library's finalisation. True. Call when no thread reads a table:
** pointers handed out before become invalid. */
TAVO_API bool TAVOCOLORMAP_Finalize(void);

TAVO_EXTERN_C_END

#endif
