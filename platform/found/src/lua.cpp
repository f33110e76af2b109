// Lua helpers: the libfound module and the binding conventions.
//
// Lua reports errors with longjmp, which skips C++ destructors: the
// functions called from Lua keep no object with a destructor alive across a
// Lua call that may raise (argument checks, pushes).
#include "lfound.h"

#include "bldebug.h"
#include "blsettings.h"

#include <lua.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cmath>
#include <cstring>
#include <thread>

namespace {

constexpr const char *kModuleName = "libfound";
constexpr const char *kVersion = "libfound 1.0.0";
// The store's longest value (4095 bytes) and its terminator.
constexpr size_t kSettingBufferBytes = 4096;
// A script has no reason to block a thread longer than a day; the cap also
// keeps the conversion to clock ticks far from overflowing.
constexpr double kMaxSleepMilliseconds = 24.0 * 60.0 * 60.0 * 1000.0;

// A settings key given by a script: text without '=' (which would start a
// fallback or a value) and without embedded zero bytes.
bool isPlainKey(const char *key, size_t length)
{
    return std::strlen(key) == length && std::strchr(key, '=') == nullptr;
}

/* ---- module functions ---- */

int moduleVersion(lua_State *L)
{
    lua_pushstring(L, kVersion);
    return 1;
}

int moduleGetSetting(lua_State *L)
{
    size_t length = 0;
    const char *key = luaL_checklstring(L, 1, &length);
    char value[kSettingBufferBytes];
    if (!isPlainKey(key, length) || !BLSETTINGS_GetStringEx(nullptr, value, sizeof value, "%s", key)) {
        lua_pushnil(L);
        lua_pushfstring(L, "malformed settings key '%s'", key);
        return 2;
    }
    if (!BLSETTINGS_ExistsEx(nullptr, "%s", key)) {
        lua_pushnil(L);
        return 1;
    }
    lua_pushstring(L, value);
    return 1;
}

int moduleSetSetting(lua_State *L)
{
    size_t keyLength = 0;
    const char *key = luaL_checklstring(L, 1, &keyLength);
    const char *text = nullptr;
    size_t textLength = 0;
    switch (lua_type(L, 2)) {
    case LUA_TBOOLEAN:
        text = lua_toboolean(L, 2) ? "true" : "false";
        textLength = std::strlen(text);
        break;
    case LUA_TSTRING:
    case LUA_TNUMBER:
        text = lua_tolstring(L, 2, &textLength);
        break;
    default:
        lua_pushnil(L);
        lua_pushstring(L, "the value must be a string, number or boolean");
        return 2;
    }
    if (!isPlainKey(key, keyLength)) {
        lua_pushnil(L);
        lua_pushfstring(L, "malformed settings key '%s'", key);
        return 2;
    }
    const bool ok = std::strlen(text) == textLength && BLSETTINGS_ChangeEx(nullptr, "%s=%s", key, text);
    if (!ok) {
        lua_pushnil(L);
        lua_pushfstring(L, "cannot set '%s': the value must be one line of at most 4095 bytes", key);
        return 2;
    }
    lua_pushboolean(L, 1);
    return 1;
}

int moduleLog(lua_State *L)
{
    const char *text = luaL_tolstring(L, 1, nullptr);
    BLLOG_Log("%s", text);
    return 0;
}

int moduleTimestamp(lua_State *L)
{
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    lua_pushinteger(L, lua_Integer(std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count()));
    return 1;
}

int moduleSleep(lua_State *L)
{
    const double milliseconds = luaL_checknumber(L, 1);
    // Negative, zero and NaN return at once.
    if (!(milliseconds > 0.0)) return 0;
    const double capped = std::min(milliseconds, kMaxSleepMilliseconds);
    std::this_thread::sleep_for(std::chrono::microseconds(int64_t(std::llround(capped * 1000.0))));
    return 0;
}

const luaL_Reg kModuleFunctions[] = {
    {"version", moduleVersion},
    {"getsetting", moduleGetSetting},
    {"setsetting", moduleSetSetting},
    {"log", moduleLog},
    {"timestamp", moduleTimestamp},
    {"sleep", moduleSleep},
    {nullptr, nullptr},
};

} // namespace

/* ---- the libfound module ---- */

int luaopen_libfound(lua_State *L)
{
    if (L == nullptr) return 0;
    luaL_getsubtable(L, LUA_REGISTRYINDEX, LUA_LOADED_TABLE);
    if (lua_getfield(L, -1, kModuleName) != LUA_TTABLE) {
        lua_pop(L, 1);
        luaL_newlib(L, kModuleFunctions);
        lua_pushvalue(L, -1);
        lua_setfield(L, -3, kModuleName);
    }
    lua_remove(L, -2);
    lua_pushvalue(L, -1);
    lua_setglobal(L, kModuleName);
    return 1;
}

/* ---- bindings ---- */

void L_RegisterType(lua_State *L, const char *typeName, const luaL_Reg *methods)
{
    if (L == nullptr || typeName == nullptr) {
        BLDEBUG_Error("L_RegisterType: null %s", L == nullptr ? "state" : "type name");
        return;
    }
    luaL_newmetatable(L, typeName);
    if (methods != nullptr) luaL_setfuncs(L, methods, 0);
    if (lua_getfield(L, -1, "__index") == LUA_TNIL) {
        lua_pop(L, 1);
        lua_pushvalue(L, -1);
        lua_setfield(L, -2, "__index");
    } else {
        lua_pop(L, 1);
    }
    lua_pop(L, 1);
}

int L_Return_ReturnStatus(lua_State *L, bool ok, const char *message)
{
    if (L == nullptr) return 0;
    if (ok) {
        lua_pushboolean(L, 1);
        return 1;
    }
    lua_pushnil(L);
    lua_pushstring(L, message != nullptr ? message : "operation failed");
    return 2;
}
