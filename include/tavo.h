/*
** tavo.h: start and stop of libtavo, its version and the application-state
** word of the host (TAVO_, TAVOVERSION_, TAVOAPP_).
**
** Loading the library initialises it once (it counts as one
** TAVO_Initialize) and unloading it finalises it. A host that calls
** TAVO_Initialize itself balances each call with TAVO_Finalize; the library
** is taken down when the last of these, or the unload, brings the count to
** 0. Start and stop are not locked: call them from one thread, the host's
** main thread.
*/
#ifndef TAVO_H
#define TAVO_H

#include <stdbool.h>
#include <stdint.h>

#include "tavo_export.h"

TAVO_EXTERN_C_BEGIN

#define TAVO_VERSION_MAJOR 3
#define TAVO_VERSION_MINOR 22
#define TAVO_VERSION_PATCH 0
#define TAVO_VERSION_BUILD 1

/* ---- start and stop ---------------------------------------------------- */

/* Brings up libfound, libdspcore and libaudiosig, registers the library's
** settings defaults and version and starts its process-wide modules, the
** first time; returns the last start step's answer (1 = it worked). Later
** calls only count: they return the new nesting count. Main thread only. */
TAVO_API int32_t TAVO_Initialize(void);

/* Undoes one TAVO_Initialize. Returns the remaining count while it is above
** 0; the call that brings it to 0 takes the library and the libraries it
** started down and returns 1 when that worked; at 0 already it returns 0
** and does nothing. Main thread only. */
TAVO_API int32_t TAVO_Finalize(void);

/* ---- version ----------------------------------------------------------- */

/* "libtavo version 3.22.0.1 (built in Oct  5 2026)": a static buffer that
** the next call overwrites (not reentrant). Never null. */
TAVO_API const char *TAVOVERSION_String(void);

/* Writes major, minor, patch and build through each pointer that is not
** null. Any thread. */
TAVO_API void TAVOVERSION_Number(int32_t *major, int32_t *minor, int32_t *patch, int32_t *build);

/* ---- application state ------------------------------------------------- */

/* The host's application-state word (initially 0). Bit value 1 marks one
** toolbar control as unavailable when a document's controls are updated;
** the other bits mean what the host wants. Any thread; no ordering with
** other calls is promised. */
TAVO_API uint32_t TAVOAPP_ApplicationState(void);

/* Sets the given bits; returns the new word. */
TAVO_API uint32_t TAVOAPP_SetState(uint32_t bits);

/* Clears the given bits; returns the new word. */
TAVO_API uint32_t TAVOAPP_ClrState(uint32_t bits);

TAVO_EXTERN_C_END

#endif
