/*
** blregister.h: the object registry of libfound (BLREGISTER_).
**
** Long-lived objects that a host may forget to destroy (documents, for one)
** enter the registry with a descriptor naming their type and how to destroy
** them. BLCORE_Finalize destroys every object still registered, the most
** recent first. Thread-safe; destroy functions run with no registry lock
** held and may call BLREGISTER_DelObject.
*/
#ifndef BLREGISTER_H
#define BLREGISTER_H

#include <stdbool.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

/* A type's descriptor; it must outlive every object registered with it
** (keep it static). */
typedef struct BLREGISTER_DESCR {
    const char *typeName;            /* e.g. "LPTAVOAUDIO" */
    bool (*destroy)(void *object);   /* frees the object; may be null */
} BLREGISTER_DESCR;

/* Registers `object`. False for null arguments or an object already
** registered. */
FOUND_API bool BLREGISTER_AddObject(void *object, const BLREGISTER_DESCR *descriptor);

/* Takes `object` out of the registry without destroying it; false when it
** was not registered. */
FOUND_API bool BLREGISTER_DelObject(void *object);

FOUND_API bool BLREGISTER_HasObject(const void *object);

/* Objects registered under `typeName` (all objects for null). */
FOUND_API int32_t BLREGISTER_CountObjects(const char *typeName);

FOUND_EXTERN_C_END

#endif
