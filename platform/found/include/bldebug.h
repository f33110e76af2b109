/*
** bldebug.h: logging of libfound (BLDEBUG_, BLLOG_).
**
** Every message has a severity and, for debug messages, a level. Errors,
** warnings and terminal errors are always delivered; info messages
** (BLLOG_Log) are delivered unless the host silences them; debug messages
** (BLDEBUG_Log) only when their level is at most the threshold the host set
** (0 by default: none). A terminal error reports a broken invariant; it is
** logged, never aborts the process.
**
** Messages go to the sink the host installs, or to stderr when none is
** installed. The sink is called on the thread that logged, with no lock of
** libfound held; it must be thread-safe. Texts longer than 4095 bytes are
** cut.
*/
#ifndef BLDEBUG_H
#define BLDEBUG_H

#include <stdbool.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

typedef enum BLDEBUG_SEVERITY {
    BLDEBUG_SEVERITY_DEBUG = 0,
    BLDEBUG_SEVERITY_INFO = 1,
    BLDEBUG_SEVERITY_WARNING = 2,
    BLDEBUG_SEVERITY_ERROR = 3,
    BLDEBUG_SEVERITY_TERMINAL = 4
} BLDEBUG_SEVERITY;

/* Receives each delivered message: severity, the debug level (0 for
** other severities), the formatted text without a trailing newline, and the
** user pointer given to BLDEBUG_SetSink. */
typedef void (*BLDEBUG_SINK)(BLDEBUG_SEVERITY severity, int32_t level,
                             const char *text, void *userData);

/* ---- sink and threshold ------------------------------------------------ */

/* Installs the sink (null restores stderr). Returns the previous sink; its
** user pointer goes to *previousUserData when that is not null. */
FOUND_API BLDEBUG_SINK BLDEBUG_SetSink(BLDEBUG_SINK sink, void *userData,
                                       void **previousUserData);

/* Debug messages of a level up to `level` are delivered; 0 delivers none.
** Returns the previous threshold. */
FOUND_API int32_t BLDEBUG_SetLogLevel(int32_t level);
FOUND_API int32_t BLDEBUG_LogLevel(void);

/* Info messages (BLLOG_Log) are delivered while enabled (the default). */
FOUND_API bool BLDEBUG_SetInfoEnabled(bool enabled);

/* ---- messages ---------------------------------------------------------- */

/* A debug message of the given level (printf format). */
FOUND_API void BLDEBUG_Log(int32_t level, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

FOUND_API void BLDEBUG_Warning(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

FOUND_API void BLDEBUG_Error(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/* A broken invariant: logged with the highest severity; the caller carries
** on and fails the operation. */
FOUND_API void BLDEBUG_TerminalError(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/* An information message. */
FOUND_API void BLLOG_Log(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

FOUND_EXTERN_C_END

#endif
