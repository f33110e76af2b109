// The Lua 5.3 module "libtavo": two constructors (open, new) and one method
// (save) on audio documents. Expected failures come back as nil and a
// message; misuse (a wrong argument type) raises the usual Lua error.
#include <cstdio>

#include "lfound.h"
#include "lua/luadocument_p.h"
#include "tavo.h"
#include "tavo_export.h"
#include "tavoaudio.h"

#include <lauxlib.h>

namespace {

// Registry name of the document type's metatable.
constexpr const char *kAudioType = "KORVA.libtavo.TAVOAUDIO";

// A document value is a full userdata holding the handle; the handle is
// null once the value has been collected.
TAVOAUDIO *checkAudio(lua_State *L)
{
    return static_cast<TAVOAUDIO *>(luaL_checkudata(L, 1, kAudioType));
}

// Pushes the document and nil, or nil and the failure text: a script
// always receives two values, the document first.
int pushAudio(lua_State *L, TAVOAUDIO audio)
{
    if (audio == nullptr) {
        lua_pushnil(L);
        lua_pushstring(L, "Unable to open TAVOAUDIO.");
        return 2;
    }
    auto *slot = static_cast<TAVOAUDIO *>(lua_newuserdata(L, sizeof(TAVOAUDIO)));
    *slot = audio;
    luaL_setmetatable(L, kAudioType);
    lua_pushnil(L);
    return 2;
}

// libtavo.open(file [, format = "AUTO"])
int l_open(lua_State *L)
{
    const char *file = luaL_checkstring(L, 1);
    const char *format = luaL_optstring(L, 2, "AUTO");
    return pushAudio(L, TAVOAUDIO_OpenEx(file, format, 0));
}

// libtavo.new([ignored [, format = "AUTO[sr=8000,nc=1]"]]). The format is
// the second argument, so that scripts written as new(name, format) keep
// working; the first is not read.
int l_new(lua_State *L)
{
    const char *format = luaL_optstring(L, 2, "AUTO[sr=8000,nc=1]");
    return pushAudio(L, TAVOAUDIO_New(format));
}

// doc:save() saves in place; doc:save(name [, format = "FROM_FORMAT"])
// saves under a name.
int l_save(lua_State *L)
{
    TAVOAUDIO *slot = checkAudio(L);
    if (*slot == nullptr) return luaL_error(L, "attempt to use a closed document");
    bool ok;
    if (lua_isnoneornil(L, 2)) {
        ok = TAVOAUDIO_SaveEx(*slot, 0);
    } else {
        const char *name = luaL_checkstring(L, 2);
        const char *format = luaL_optstring(L, 3, "FROM_FORMAT");
        ok = TAVOAUDIO_SaveAsEx(*slot, name, format, 0);
    }
    return L_Return_ReturnStatus(L, ok, "Unable to save TAVOAUDIO");
}

int l_gc(lua_State *L)
{
    TAVOAUDIO *slot = checkAudio(L);
    // The line lets a script's author see when the collector closed a
    // document they forgot about.
    std::fputs("I have been collected!\n", stderr);
    if (*slot != nullptr) {
        TAVOAUDIO_Close(*slot);
        *slot = nullptr;
    }
    return 0;
}

int l_tostring(lua_State *L)
{
    TAVOAUDIO *slot = checkAudio(L);
    lua_pushfstring(L, "TAVOAUDIO object at %p", static_cast<void *>(*slot));
    return 1;
}

const luaL_Reg kModuleFunctions[] = {
    {"open", l_open},
    {"new", l_new},
    {nullptr, nullptr},
};

const luaL_Reg kAudioMethods[] = {
    {"save", l_save},
    {"__gc", l_gc},
    {"__tostring", l_tostring},
    {nullptr, nullptr},
};

}  // namespace

extern "C" TAVO_API int luaopen_libtavo(lua_State *L)
{
    // The base module first, so that scripts always find it loaded.
    lua_pushcfunction(L, luaopen_libfound);
    lua_call(L, 0, 0);
    // LUAL_NUMSIZES is 136 here: 8-byte integers and 8-byte reals.
    luaL_checkversion_(L, LUA_VERSION_NUM, LUAL_NUMSIZES);
    lua_createtable(L, 0, 2);
    luaL_setfuncs(L, kModuleFunctions, 0);
    lua_pushvalue(L, -1);
    lua_setglobal(L, "libtavo");
    L_RegisterType(L, kAudioType, kAudioMethods);
    _TAVOLUA_RegisterDocumentMethods(L);
    return 1;
}
