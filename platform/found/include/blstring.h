/*
** blstring.h: text helpers of libfound (BLSTRING_).
**
** Case changes and comparisons work on ASCII letters only; other bytes
** (UTF-8 sequences included) are left as they are. Parameter texts are
** comma-separated "name=value" lists, as in the format text
** "WAV[sr=44100,nc=2]"; a comma inside brackets belongs to its value.
** All functions are thread-safe and take null texts harmlessly.
*/
#ifndef BLSTRING_H
#define BLSTRING_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "blmem.h"
#include "found_export.h"

FOUND_EXTERN_C_BEGIN

/* ---- case -------------------------------------------------------------- */

/* Turns `text` to upper (lower) case in place and returns it; null for null. */
FOUND_API char *BLSTRING_Strupr(char *text);
FOUND_API char *BLSTRING_Strlwr(char *text);

/* ---- comparison -------------------------------------------------------- */

/* Does `text` contain `part` (case-sensitive)? An empty part is contained
** in every text; a null one in none. */
FOUND_API bool BLSTRING_Contains(const char *text, const char *part);

/* Compares at most `count` bytes ignoring case: negative, 0 or positive as
** strncmp. A null text sorts before every other; two nulls are equal. */
FOUND_API int32_t BLSTRING_CompareInsensitiveN(const char *a, const char *b, size_t count);

/* ---- copies ------------------------------------------------------------ */

/* A copy of `text` allocated from `pool` (freed with BLMEM_Delete or with
** the pool). Null for a null text or pool, or when out of memory. */
FOUND_API char *BLSTRING_DuplicateString(BLMEM_DESCR pool, const char *text);

/* ---- parameter texts --------------------------------------------------- */

/* Sets "name=value" in the parameter text held in `buffer` (of `size`
** bytes): replaces the value of the first parameter of that name (names
** compared ignoring case; the text keeps its own spelling of the name) or
** appends the parameter, with a comma when the text is not empty. False, with the buffer unchanged, when the name is
** empty or null, or the result does not fit. */
FOUND_API bool BLSTRING_AddIntegerValueToString(char *buffer, size_t size, const char *name, int64_t value);
FOUND_API bool BLSTRING_AddStringValueToString(char *buffer, size_t size, const char *name, const char *value);

/* The value of parameter `name` as an integer; `fallback` when absent or
** not an integer. */
FOUND_API int64_t BLSTRING_GetIntegerValueFromString(const char *text, const char *name, int64_t fallback);
/* The value of parameter `name` as a real; `fallback` when absent or not a
** number. */
FOUND_API double BLSTRING_GetFloatValueFromString(const char *text, const char *name, double fallback);
/* Copies the value of parameter `name` into `buffer`; false (buffer "")
** when absent or when it does not fit. */
FOUND_API bool BLSTRING_GetStringValueFromString(const char *text, const char *name, char *buffer, size_t size);

FOUND_EXTERN_C_END

#endif
