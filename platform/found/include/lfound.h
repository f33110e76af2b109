/*
** lfound.h: Lua 5.3 helpers of libfound: the "libfound" module for scripts
** and the conventions the engine's own Lua bindings follow.
**
** A lua_State is used by one thread at a time; these functions add no
** locking of their own.
*/
#ifndef LFOUND_H
#define LFOUND_H

#include <stdbool.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

/* Lua is a C library: its declarations keep C linkage in C++ callers. */
#include <lua.h>

/* Declared in lauxlib.h; named here so that this header needs only lua.h. */
struct luaL_Reg;

/* ---- the libfound module ----------------------------------------------- */

/* Opens the module: a table with
**   version()            "libfound 1.0.0"
**   getsetting(key)      the text of a key of the global settings store
**                        (value or registered default); nil when absent;
**                        nil and a message for a malformed key
**   setsetting(key, v)   sets a string, number or boolean; true, or nil
**                        and a message
**   log(text)            an information message (any value, as tostring)
**   timestamp()          milliseconds since 1970-01-01 UTC, an integer
**   sleep(ms)            blocks the calling thread (at most a day)
** stored as the global "libfound" and in package.loaded["libfound"], and
** pushed. Opening it again pushes the same table. Returns 1 (0, pushing
** nothing, for a null state). */
FOUND_API int luaopen_libfound(lua_State *L);

/* ---- bindings ---------------------------------------------------------- */

/* Registers the metatable `typeName` in the registry (luaL_newmetatable;
** an existing one is updated), puts `methods` on it (null-terminated list,
** metamethods such as __gc and __tostring included; null: none), and makes
** its __index the metatable itself unless `methods` set __index. Leaves the
** stack as it found it. Does nothing for a null state or name. */
FOUND_API void L_RegisterType(lua_State *L, const char *typeName, const struct luaL_Reg *methods);

/* The result convention of the engine's Lua functions: on success pushes
** true and returns 1; on failure pushes nil and `message` ("operation
** failed" when null) and returns 2. Returns 0, pushing nothing, for a null
** state. Use as: return L_Return_ReturnStatus(L, ok, "why"); */
FOUND_API int L_Return_ReturnStatus(lua_State *L, bool ok, const char *message);

FOUND_EXTERN_C_END

#endif
