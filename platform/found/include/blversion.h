/*
** blversion.h: the version registry of libfound (BLVERSION_).
**
** Each library registers its name and version once it starts, so that a
** host can list what it runs on. Thread-safe.
*/
#ifndef BLVERSION_H
#define BLVERSION_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

/* Registers (or replaces) the version of `name`. False for a null or empty
** name. The registry is kept until the process ends. */
FOUND_API bool BLVERSION_Register(const char *name, int32_t major, int32_t minor, int32_t patch, int32_t build);

/* Reads the version of `name` through the pointers that are not null.
** False when the name was never registered. */
FOUND_API bool BLVERSION_Get(const char *name, int32_t *major, int32_t *minor, int32_t *patch, int32_t *build);

/* Number of registered names, and the name at an index (in registration
** order) copied into `buffer`; false for an index out of range or a buffer
** too small. */
FOUND_API int32_t BLVERSION_Count(void);
FOUND_API bool BLVERSION_NameAt(int32_t index, char *buffer, size_t size);

FOUND_EXTERN_C_END

#endif
