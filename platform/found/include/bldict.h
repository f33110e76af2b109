/*
** bldict.h: JSON dictionaries of libfound (BLDICT_), used to read, check
** and write track-template files.
**
** Roots and views. A root is a whole document: BLDICT_ReadFromJSON,
** BLDICT_ReadFromJSONText, BLDICT_CreateObject and BLDICT_CreateArray make
** one, the caller owns it and frees it with BLDICT_Destroy. Every other
** BLDICT (from GetObject, GetArray, ArrayItem, SetObject, SetArray,
** ArrayAppendObject, ArrayAppendArray) is a view borrowed from its root:
** never destroyed by the caller, valid until the root is destroyed. A view
** names a place in the document (this key of that object, this index of
** that array), so adding keys or appending to arrays never invalidates a
** view handed out earlier. When the place later holds another type (its
** key was set again), the view answers for what is there now; when nothing
** is there, the view reads as BLDICT_TYPE_NONE.
**
** Texts returned (GetString, KeyAt) belong to the document and stay valid
** until the document is next changed or destroyed.
**
** Numbers: JSON 1 and -1 are INTEGER, 1.0 and 1e2 are REAL. GetReal also
** reads integers; GetInteger reads only integers (within int64_t).
**
** Wherever a function takes `key`, a null key means the value itself:
** BLDICT_GetString(item, NULL, "") reads a string array item.
**
** Object keys are kept and written in byte order, not in file order.
** Documents deeper than 256 levels are refused.
**
** Threads: reads of one document from several threads at once are safe; a
** change (Set..., ArrayAppend...) must not overlap any other call on the
** same document.
*/
#ifndef BLDICT_H
#define BLDICT_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

typedef struct BLDictValue *BLDICT;

typedef enum BLDICT_TYPE {
    BLDICT_TYPE_NONE = 0, /* absent: no such key, index or handle */
    BLDICT_TYPE_NULL = 1,
    BLDICT_TYPE_STRING = 2,
    BLDICT_TYPE_INTEGER = 3,
    BLDICT_TYPE_REAL = 4,
    BLDICT_TYPE_BOOLEAN = 5,
    BLDICT_TYPE_OBJECT = 6,
    BLDICT_TYPE_ARRAY = 7
} BLDICT_TYPE;

/* ---- documents --------------------------------------------------------- */

/* Reads a JSON file into a new root. Null (error logged) for a missing or
** unreadable file, one over 16 MiB, malformed JSON or nesting over 256. */
FOUND_API BLDICT BLDICT_ReadFromJSON(const char *path);

/* Parses `length` bytes of JSON text (no terminator needed) into a new root.
** Null for null text and the failures of ReadFromJSON. */
FOUND_API BLDICT BLDICT_ReadFromJSONText(const char *text, size_t length);

/* Writes the document holding `dict` (any view writes its whole root),
** indented by 4 spaces, through a temporary file renamed over `path`; the
** folder is created when missing. On failure (false) the old file stays. */
FOUND_API bool BLDICT_WriteToJSON(BLDICT dict, const char *path);

/* New empty roots; null only when out of memory. Caller owns. */
FOUND_API BLDICT BLDICT_CreateObject(void);
FOUND_API BLDICT BLDICT_CreateArray(void);

/* Frees a root and all its views and texts. False (nothing freed) for null
** or a view. */
FOUND_API bool BLDICT_Destroy(BLDICT root);

/* ---- types ------------------------------------------------------------- */

/* The type of the value; NONE for null or a view of a vanished place. */
FOUND_API BLDICT_TYPE BLDICT_Type(BLDICT dict);

/* The type of object[key]; NONE when `object` is no object or lacks key. */
FOUND_API BLDICT_TYPE BLDICT_TypeOf(BLDICT object, const char *key);

/* Type tests of object[key] (null key: the value itself); false when
** absent. IsNumber accepts INTEGER and REAL. */
FOUND_API bool BLDICT_IsString(BLDICT object, const char *key);
FOUND_API bool BLDICT_IsInteger(BLDICT object, const char *key);
FOUND_API bool BLDICT_IsReal(BLDICT object, const char *key);
FOUND_API bool BLDICT_IsNumber(BLDICT object, const char *key);
FOUND_API bool BLDICT_IsBoolean(BLDICT object, const char *key);
FOUND_API bool BLDICT_IsObject(BLDICT object, const char *key);
FOUND_API bool BLDICT_IsArray(BLDICT object, const char *key);

/* ---- reads ------------------------------------------------------------- */

/* object[key] when it has the type asked for, else `fallback` (returned as
** is). GetString's text belongs to the document (see above). */
FOUND_API const char *BLDICT_GetString(BLDICT object, const char *key, const char *fallback);
FOUND_API int64_t BLDICT_GetInteger(BLDICT object, const char *key, int64_t fallback);
FOUND_API double BLDICT_GetReal(BLDICT object, const char *key, double fallback);
FOUND_API bool BLDICT_GetBoolean(BLDICT object, const char *key, bool fallback);

/* A view of object[key] when it is an object (an array); null otherwise. */
FOUND_API BLDICT BLDICT_GetObject(BLDICT object, const char *key);
FOUND_API BLDICT BLDICT_GetArray(BLDICT object, const char *key);

/* Number of items; 0 for null or a value that is no array. */
FOUND_API int32_t BLDICT_ArrayCount(BLDICT array);

/* A view of item `index`; null when out of range or not an array. */
FOUND_API BLDICT BLDICT_ArrayItem(BLDICT array, int32_t index);

/* Number of keys; 0 for null or a value that is no object. */
FOUND_API int32_t BLDICT_KeyCount(BLDICT object);

/* Key `index` in byte order; null when out of range or not an object.
** Walks the object: meant for template-sized objects. */
FOUND_API const char *BLDICT_KeyAt(BLDICT object, int32_t index);

/* ---- writes ------------------------------------------------------------ */

/* Sets object[key], replacing any value of any type there. False for a null
** argument, a value that is no object, a key or text that is not UTF-8, or
** a non-finite real. */
FOUND_API bool BLDICT_SetString(BLDICT object, const char *key, const char *value);
FOUND_API bool BLDICT_SetInteger(BLDICT object, const char *key, int64_t value);
FOUND_API bool BLDICT_SetReal(BLDICT object, const char *key, double value);
FOUND_API bool BLDICT_SetBoolean(BLDICT object, const char *key, bool value);

/* Sets object[key] to a new empty object (array) and returns its view; null
** on the failures of SetString or past 256 levels. */
FOUND_API BLDICT BLDICT_SetObject(BLDICT object, const char *key);
FOUND_API BLDICT BLDICT_SetArray(BLDICT object, const char *key);

/* Appends to an array; false (null) when `array` is no array, for text that
** is not UTF-8 or a non-finite real. Earlier views stay valid. */
FOUND_API bool BLDICT_ArrayAppendString(BLDICT array, const char *value);
FOUND_API bool BLDICT_ArrayAppendInteger(BLDICT array, int64_t value);
FOUND_API bool BLDICT_ArrayAppendReal(BLDICT array, double value);
FOUND_API bool BLDICT_ArrayAppendBoolean(BLDICT array, bool value);
FOUND_API BLDICT BLDICT_ArrayAppendObject(BLDICT array);
FOUND_API BLDICT BLDICT_ArrayAppendArray(BLDICT array);

FOUND_EXTERN_C_END

#endif
