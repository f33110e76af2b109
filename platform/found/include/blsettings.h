/*
** blsettings.h: the settings store of libfound (BLSETTINGS_).
**
** A store maps keys to texts. Keys are made of letters, digits and the
** characters . _ - (at most 255 bytes); values are one line of text (at most
** 4095 bytes). Every call takes a printf-style format and its arguments; the
** formatted text is then split at its first '=' into the key and the rest:
**
**   BLSETTINGS_SetDefaultEx(NULL, "libtavo.editoptions.smoothduration=%f", 0.004);
**   BLSETTINGS_GetIntEx(NULL, "libtavo.draw.hovertime=[500]");
**   BLSETTINGS_GetIntEx(NULL, "libtavo.editoptions.undo_stack_size=[%d]", 128);
**
** A read answers, in this order: the value set with ChangeEx; the default
** registered with SetDefaultEx; the fallback written in square brackets after
** the '=' of the read's own key text; the type's zero ("" for texts). Only the
** outer bracket pair is taken, so a fallback may hold brackets itself:
** "key=[ARO:MVAD[padding_begin=0.1]]" falls back to "ARO:MVAD[padding_begin=0.1]".
** A read's text after the '=' without brackets is taken whole as the fallback;
** an opening bracket without its closing one is malformed.
** A stored value that does not parse as the asked type answers the next
** source in that order, and a warning is logged.
**
** Integers are decimal or 0x-hexadecimal; booleans accept 0/1, true/false,
** yes/no, on/off in any case (an integer other than 0 is true); reals use
** the C locale's dot. Blanks around a number or boolean are ignored; texts
** are kept byte for byte. A default is registered as plain text (no
** brackets): SetDefaultEx "key=%d" with 5 registers "5".
**
** A null store means the process-wide global store. Its values (not its
** defaults) persist in a text file of "key=value" lines: the path set with
** BLSETTINGS_SetFileName, else the environment variable TAVO_SETTINGS, else
** $XDG_CONFIG_HOME/tavo/settings.conf (~/.config/tavo/settings.conf). The file
** is read when the store is first used and written, atomically (temporary
** file beside it, then rename), by BLSETTINGS_Save and at BLCORE_Finalize
** when a value changed. A missing file is an empty store; an unreadable one
** leaves the global store in memory only, so that it is never overwritten.
** Malformed lines are skipped with a warning, '#' lines are comments. The
** file is written sorted by key; the folder is created when missing.
**
** All functions are thread-safe. A malformed key (empty, a bad character,
** too long) or a null format gives the failure value (false, 0, 0.0, "")
** and logs an error; nothing is stored.
*/
#ifndef BLSETTINGS_H
#define BLSETTINGS_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

typedef struct BLSettingsStore *BLSETTINGS;

/* Lets the compiler check the arguments against the format. */
#if defined(__GNUC__)
#define BLSETTINGS_PRINTF(formatIndex, firstArgument) \
    __attribute__((format(printf, formatIndex, firstArgument)))
#else
#define BLSETTINGS_PRINTF(formatIndex, firstArgument)
#endif

/* ---- stores ------------------------------------------------------------ */

/* A private store, persisted to `path` (null or "": memory only); an
** existing file there is read now. Null when that file cannot be read (a
** folder, no permission, over 16 MiB). The caller owns the store. */
FOUND_API BLSETTINGS BLSETTINGS_Create(const char *path);
/* Saves pending values, then frees the store (even when the save failed).
** False for a null store (the global store is never destroyed) or a failed
** save. No other call on the store may run at the same time. */
FOUND_API bool BLSETTINGS_Destroy(BLSETTINGS store);

/* Changes the file of the global store: its current values are kept and the
** file at `path` is read over them (a missing file adds nothing). Null or "":
** memory only from now on. Called before the first use, the default file is
** never read. False, and nothing changes, when an existing file cannot be
** read. */
FOUND_API bool BLSETTINGS_SetFileName(const char *path);
/* The global store's file path, "" when memory only. Static text, valid
** until the next SetFileName. */
FOUND_API const char *BLSETTINGS_FileName(void);

/* Writes pending values to the store's file; true when nothing was pending
** or the write succeeded. A failed write leaves the old file as it was. */
FOUND_API bool BLSETTINGS_Save(BLSETTINGS store);

/* ---- defaults and values ----------------------------------------------- */

/* Registers the default of a key: "key=value format", arguments. Later
** registrations replace earlier ones. Defaults are never saved. False for a
** malformed key, a missing '=' or a value that is not one line of at most
** 4095 bytes. */
FOUND_API bool BLSETTINGS_SetDefaultEx(BLSETTINGS store, const char *format, ...)
    BLSETTINGS_PRINTF(2, 3);

/* Sets a value: "key=value format", arguments. Same failures as
** SetDefaultEx. The value is saved by the next Save. */
FOUND_API bool BLSETTINGS_ChangeEx(BLSETTINGS store, const char *format, ...)
    BLSETTINGS_PRINTF(2, 3);

/* Removes the value set for a key ("key" format; a "=..." part is ignored),
** so that its default answers again. True when the key was well formed. */
FOUND_API bool BLSETTINGS_ResetEx(BLSETTINGS store, const char *format, ...)
    BLSETTINGS_PRINTF(2, 3);

/* True when the key ("key" format; a "=..." part is ignored) has a value or
** a registered default. */
FOUND_API bool BLSETTINGS_ExistsEx(BLSETTINGS store, const char *format, ...)
    BLSETTINGS_PRINTF(2, 3);

/* ---- reads ------------------------------------------------------------- */

/* Typed reads of "key" or "key=[fallback]": the answer in the order given
** above; the type's zero for a malformed key or fallback. */
FOUND_API int64_t BLSETTINGS_GetIntEx(BLSETTINGS store, const char *format, ...)
    BLSETTINGS_PRINTF(2, 3);
FOUND_API bool BLSETTINGS_GetBoolEx(BLSETTINGS store, const char *format, ...)
    BLSETTINGS_PRINTF(2, 3);
FOUND_API double BLSETTINGS_GetFloatEx(BLSETTINGS store, const char *format, ...)
    BLSETTINGS_PRINTF(2, 3);

/* Copies the text into `buffer` (always terminated, cut at size - 1 bytes).
** Returns false for a malformed key, a null buffer or a size of 0; the
** buffer then holds "" when it can. */
FOUND_API bool BLSETTINGS_GetStringEx(BLSETTINGS store, char *buffer, size_t size,
                                      const char *format, ...) BLSETTINGS_PRINTF(4, 5);

FOUND_EXTERN_C_END

#endif
