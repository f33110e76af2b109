/*
** blinifile.h: read-only ini files of libfound (BLINIFILE_).
**
** Used for link files: an ini file whose section "tavo.link" names an audio
** file and holds its "options" and "tavooptions" texts. Relative paths in
** values are returned as written; the caller resolves them.
**
** Syntax, one item a line:
**   [section]          starts a section; blanks inside the brackets trimmed
**   key = value        blanks around key and value trimmed; a value wholly
**                      enclosed in double quotes loses them
**   ; text   # text    comment lines (no comments after a value: ';' and
**                      '#' are ordinary characters there)
** Section and key names compare without regard to ASCII case. Lines ending
** in CR LF and a leading UTF-8 byte order mark are accepted. A repeated key
** takes its last value; a repeated section adds to the first one. Keys before
** the first section belong to the section "". A line without '=' that is not
** a section or a comment is ignored, and so are the keys after a malformed
** section line (one without its closing bracket) up to the next section.
**
** A file is parsed whole when opened and never changes afterwards: any
** number of threads may read one at the same time; Close must not race with
** them.
*/
#ifndef BLINIFILE_H
#define BLINIFILE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

typedef struct BLIniFile *BLINIFILE;

/* ---- opening and closing ---------------------------------------------- */

/* Reads and parses the file at `path`. Null (and an error logged) for a
** missing or unreadable file or one over 1 MiB. The caller owns the result
** and frees it with BLINIFILE_Close. */
FOUND_API BLINIFILE BLINIFILE_Open(const char *path);

/* Parses `length` bytes of `text` (no terminator needed; copied, so the text
** may go away at once). Null for null text or over 1 MiB. Caller owns. */
FOUND_API BLINIFILE BLINIFILE_OpenFromText(const char *text, size_t length);

/* Frees the file and every text it returned. False for null. */
FOUND_API bool BLINIFILE_Close(BLINIFILE ini);

/* ---- sections and keys ------------------------------------------------- */

/* True when the section exists (even without keys). False for a null ini or
** null section. */
FOUND_API bool BLINIFILE_HasSection(BLINIFILE ini, const char *section);

/* True when the section holds the key. False for any null argument. */
FOUND_API bool BLINIFILE_HasKey(BLINIFILE ini, const char *section, const char *key);

/* Number of distinct sections in file order; 0 for null. */
FOUND_API int32_t BLINIFILE_SectionCount(BLINIFILE ini);

/* Name of section `index` as first written; null when out of range or for a
** null ini. Owned by the ini, valid until Close. */
FOUND_API const char *BLINIFILE_SectionName(BLINIFILE ini, int32_t index);

/* Number of distinct keys of a section; 0 when absent or for null. */
FOUND_API int32_t BLINIFILE_KeyCount(BLINIFILE ini, const char *section);

/* Name of key `index` of a section in file order, as first written; null
** when out of range. Owned by the ini, valid until Close. */
FOUND_API const char *BLINIFILE_KeyName(BLINIFILE ini, const char *section, int32_t index);

/* ---- values ------------------------------------------------------------ */

/* The value's text, owned by the ini and valid until Close; `fallback` itself
** when the key is absent or an argument is null. */
FOUND_API const char *BLINIFILE_ReadString(BLINIFILE ini, const char *section, const char *key,
                                           const char *fallback);

/* Decimal or 0x-hexadecimal integer; `fallback` when absent or not a whole
** integer (a warning is logged for the latter). */
FOUND_API int64_t BLINIFILE_ReadInteger(BLINIFILE ini, const char *section, const char *key,
                                        int64_t fallback);

/* Finite real with a dot; `fallback` when absent or malformed (warned). */
FOUND_API double BLINIFILE_ReadFloat(BLINIFILE ini, const char *section, const char *key,
                                     double fallback);

/* 0/1, true/false, yes/no, on/off in any case, or an integer (not 0 is
** true); `fallback` when absent or malformed (warned). */
FOUND_API bool BLINIFILE_ReadBoolean(BLINIFILE ini, const char *section, const char *key,
                                     bool fallback);

FOUND_EXTERN_C_END

#endif
