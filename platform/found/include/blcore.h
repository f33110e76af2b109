/*
** blcore.h: start and stop of libfound (BLCORE_).
**
** BLCORE_Initialize counts nested uses; the first one remembers the calling
** thread as the main thread, loads the global settings store and registers
** "libfound" in the version registry. The matching last BLCORE_Finalize
** destroys every object left in the object registry, saves changed
** settings, drops calls still queued for the main thread and removes the
** curve provider. Call both from the main thread.
*/
#ifndef BLCORE_H
#define BLCORE_H

#include <stdbool.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

#define BLCORE_VERSION_MAJOR 1
#define BLCORE_VERSION_MINOR 0
#define BLCORE_VERSION_PATCH 0
#define BLCORE_VERSION_BUILD 1

/* True on success (always, once the process has memory to run). */
FOUND_API bool BLCORE_Initialize(void);

/* False when libfound was not initialised; true otherwise. */
FOUND_API bool BLCORE_Finalize(void);

/* Current nesting count (0 = not initialised). */
FOUND_API int32_t BLCORE_InitCount(void);

/* "libfound 1.0.0" (static text). */
FOUND_API const char *BLCORE_Version(void);

FOUND_EXTERN_C_END

#endif
