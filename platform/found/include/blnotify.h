/*
** blnotify.h: notifications of libfound (BLNOTIFY_).
**
** A dispatcher holds handlers; sending an event calls them at once, on the
** sending thread, in the order they were added. The process-wide default
** handlers receive what is sent with BLNOTIFY_SendEvent (no dispatcher).
**
** Answers. A handler returns an int. The send returns 1 when every handler
** called answered 1, or when no handler was called at all; otherwise it
** returns the first answer, in calling order, that was not 1. Every handler
** is called whatever the others answered. So handlers that have no
** objection answer 1; a "before" event is vetoed by any handler answering 0;
** a dispatcher without handlers vetoes nothing.
**
** Re-entrance. A handler may add and remove handlers, send events and
** destroy the dispatcher it is called from. A handler added during a send is
** first called by the next send; one removed during a send is not called
** after its removal; a dispatcher destroyed during a send calls no further
** handler for that send.
**
** All functions are thread-safe; no lock is held while a handler runs.
*/
#ifndef BLNOTIFY_H
#define BLNOTIFY_H

#include <stdbool.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

typedef struct BLNotifyDispatcher *BLNOTIFY_DISPATCHER;

/* Handlers added for this kind receive every event. */
#define BLNOTIFY_ANY_KIND (-1)

/* What a handler receives. `source` is the dispatcher's owner for
** dispatcher sends and the sender's source for BLNOTIFY_SendEvent. */
typedef struct BLNOTIFY_EVENT {
    void *source;
    int64_t identifier;
    int32_t kind;
    void *arg1;
    void *arg2;
    void *arg3;
} BLNOTIFY_EVENT;

typedef int32_t (*BLNOTIFY_HANDLER)(void *userData, const BLNOTIFY_EVENT *event);

/* ---- dispatchers ------------------------------------------------------- */

/* A dispatcher whose events carry `owner` as their source. The caller
** destroys it with BLNOTIFY_DestroyDispatcher. Null when out of memory. */
FOUND_API BLNOTIFY_DISPATCHER BLNOTIFY_CreateDispatcher(void *owner);
FOUND_API bool BLNOTIFY_DestroyDispatcher(BLNOTIFY_DISPATCHER dispatcher);

/* Adds a handler for one event kind (or BLNOTIFY_ANY_KIND). The same
** (kind, handler, userData) may be added once; a second add fails. */
FOUND_API bool BLNOTIFY_AddHandler(BLNOTIFY_DISPATCHER dispatcher, int32_t kind,
                                   BLNOTIFY_HANDLER handler, void *userData);
/* Removes the handler added with the same three values; false when absent. */
FOUND_API bool BLNOTIFY_DelHandler(BLNOTIFY_DISPATCHER dispatcher, int32_t kind,
                                   BLNOTIFY_HANDLER handler, void *userData);
FOUND_API int32_t BLNOTIFY_CountHandlers(BLNOTIFY_DISPATCHER dispatcher);

/* Calls the dispatcher's handlers for `kind` and returns the combined
** answer (see above). A null dispatcher answers 1: nothing objects. */
FOUND_API int32_t BLNOTIFY_DispatcherSendEventEx(BLNOTIFY_DISPATCHER dispatcher, int64_t identifier,
                                                 int32_t kind, void *arg1, void *arg2, void *arg3);

/* ---- process-wide default handlers ------------------------------------- */

FOUND_API bool BLNOTIFY_AddDefaultHandler(int32_t kind, BLNOTIFY_HANDLER handler, void *userData);
FOUND_API bool BLNOTIFY_DelDefaultHandler(int32_t kind, BLNOTIFY_HANDLER handler, void *userData);

/* Calls the default handlers with `source` as the event's source and returns
** the combined answer (1 when there is none). */
FOUND_API int32_t BLNOTIFY_SendEvent(void *source, int64_t identifier, int32_t kind,
                                     void *arg1, void *arg2, void *arg3);

FOUND_EXTERN_C_END

#endif
