/*
** blio.h: file queries of libfound (BLIO_).
**
** Paths are UTF-8 texts. Output buffers are always terminated; a result that
** does not fit fails and leaves the buffer as an empty text. All functions
** are thread-safe.
*/
#ifndef BLIO_H
#define BLIO_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "blutils.h"
#include "found_export.h"

FOUND_EXTERN_C_BEGIN

/* Bits of BLIO_FileKind. Exactly one of the first four is set. */
#define BLIO_FILEKIND_NONE 0x0u        /* nothing there, or a null path */
#define BLIO_FILEKIND_FILE 0x1u        /* a regular file */
#define BLIO_FILEKIND_DIRECTORY 0x2u
#define BLIO_FILEKIND_OTHER 0x4u       /* pipe, device, socket */
#define BLIO_FILEKIND_LINK 0x10u       /* the path itself is a symbolic link */
#define BLIO_FILEKIND_READABLE 0x100u  /* the process may read it */
#define BLIO_FILEKIND_WRITABLE 0x200u  /* the process may write it */

/* ---- queries ----------------------------------------------------------- */

/* What lies at `path` (links followed; see the bits above). */
FOUND_API uint32_t BLIO_FileKind(const char *path);

/* The last modification time of the file, in UTC. False (and a zeroed
** record) when the file cannot be examined or `time` is null. */
FOUND_API bool BLIO_GetFileTime(const char *path, BLtime *time);

/* The length of the file in bytes; -1 when it cannot be examined. */
FOUND_API int64_t BLIO_FileSizeOnDiskEx(const char *path);

/* ---- names ------------------------------------------------------------- */

/* The absolute form of `path`, with "." and ".." resolved and the links of
** the part that exists followed (the file itself need not exist). */
FOUND_API bool BLIO_ExtractCanonicalFileName(const char *path, char *buffer, size_t size);

/* The last component of `path` ("b.wav" of "/a/b.wav"; "" when the path
** ends with a separator). */
FOUND_API bool BLIO_ExtractFileName(const char *path, char *buffer, size_t size);

FOUND_EXTERN_C_END

#endif
