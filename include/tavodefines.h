/*
** tavodefines.h: small decoders of option words, modifier keys and font
** names (TAVODEFINES_).
**
** Option texts are words separated by '|'; blanks and underscores inside
** them are ignored and case does not matter ("no editable", "NO_EDITABLE"
** and "NoEditable" are one word). All functions are pure and thread-safe.
*/
#ifndef TAVODEFINES_H
#define TAVODEFINES_H

#include <stdbool.h>
#include <stdint.h>

#include "tavo_export.h"

TAVO_EXTERN_C_BEGIN

/* Bit of a document's or track's options. */
#define TAVODEFINES_OPTION_EDITABLE 0x1u

/* Drawing options of an annotation track. */
#define TAVODEFINES_TRACK_NOHORZGRID 0x1u
#define TAVODEFINES_TRACK_NOSHOWAUDIOSELECTION 0x10u
#define TAVODEFINES_TRACK_RGNSQUARECORNER 0x20u
#define TAVODEFINES_TRACK_SHOWRGNLABEL 0x80u
#define TAVODEFINES_TRACK_SHOWRGNCOMMENT 0x100u
#define TAVODEFINES_TRACK_NOOFFSETONRGNMOVE 0x200u
#define TAVODEFINES_TRACK_NOOFFSETONRGNSELECTION 0x400u
#define TAVODEFINES_TRACK_ALIGNLABELLEFT 0x800u
#define TAVODEFINES_TRACK_ALIGNLABELRIGHT 0x1000u
#define TAVODEFINES_TRACK_ALIGNCOMMENTLEFT 0x2000u
#define TAVODEFINES_TRACK_ALIGNCOMMENTRIGHT 0x4000u
#define TAVODEFINES_TRACK_ALLOWPARTIALTEXT 0x8000u
#define TAVODEFINES_TRACK_USEPHONETICFONT 0x10000u

/* ---- options ----------------------------------------------------------- */

/* `flags` with the editable bit (0x1) cleared by the word NOEDITABLE, else
** set by EDITABLE; unchanged when neither word is there or `text` is null. */
TAVO_API uint32_t TAVODEFINES_DecodeTavoOptions(uint32_t flags, const char *text);

/* The drawing-option bits of an annotation track named by the words of
** `text` (NOHORZGRID, SHOWRGNLABEL, ALIGNLABELLEFT ...; ALIGNLABELCENTER and
** ALIGNCOMMENTCENTER set nothing). A text that starts with a non-zero
** number is taken as the bits themselves. 0 for null. */
TAVO_API uint32_t TAVODEFINES_DecodeCustomTrackDrawOption(const char *text);

/* Writes the words of `bits` into `buffer` as "|WORD|" one after the
** other, cut to fit `size` bytes (always terminated when size > 0); bits
** without a word are ignored. False only for a null buffer. */
TAVO_API bool TAVODEFINES_EncodeCustomTrackDrawOption(uint32_t bits, char *buffer, int32_t size);

/* ---- keys, fonts, text ------------------------------------------------- */

/* The library's modifier-key mask for a mask in the host's encoding. */
TAVO_API uint32_t TAVODEFINES_TranslateAccKeys(uint32_t keys);

/* Font weight 0 (normal) to 8 (black) of a name such as "bold", compared
** ignoring case; 0 for null or an unknown name. The reverse gives a static
** name, "normal" for any value outside 1..8. */
TAVO_API int32_t TAVODEFINES_toFontWeight(const char *name);
TAVO_API const char *TAVODEFINES_fromFontWeight(int32_t weight);

/* Font stretch 0 (unstretched) to 8 (ultraexpanded) of a name, compared
** ignoring case; 0 for an unknown name. The reverse gives a static name,
** "unstretched" for any value outside 1..8. */
TAVO_API int32_t TAVODEFINES_toFontStretch(const char *name);
TAVO_API const char *TAVODEFINES_fromFontStretch(int32_t stretch);

/* The text options of an alignment: 1 when bit 0x1 is set, else the
** alignment's bit 0x2. */
TAVO_API int32_t TAVODEFINES_FillTextOptionsfromTextAlignment(int32_t alignment);

TAVO_EXTERN_C_END

#endif
