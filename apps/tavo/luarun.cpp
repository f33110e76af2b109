// tavo lua SCRIPT [ARGS...]: runs a Lua 5.3 script the way the stand-alone
// interpreter does (the global table `arg`, the arguments also as `...`),
// with the engine's module already loaded: `libtavo` is a global and
// require "libtavo" answers the same table.
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "cli.h"

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>

// The module's entry point, exported by the engine library (the name Lua's
// require looks for).
int luaopen_libtavo(lua_State *L);
}

namespace tavocli {
namespace {

const char kHelp[] =
    "usage: tavo lua SCRIPT [ARGS...]\n"
    "\n"
    "Runs SCRIPT with Lua 5.3 and the libtavo module loaded (global 'libtavo',\n"
    "also require \"libtavo\"). arg[0] is SCRIPT, arg[1..n] the ARGS, which the\n"
    "script also receives as '...'. SCRIPT '-' reads the script from stdin.\n"
    "An error in the script exits with 1; os.exit(n) exits with n.\n"
    "\n"
    "Example: tavo lua convert.lua in.wav out.flac\n"
    "  -- convert.lua\n"
    "  local d = assert(libtavo.open(arg[1]))\n"
    "  assert(d:save(arg[2], \"FLAC\"))\n";

// Adds a traceback to the error message, as lua.c does.
int traceback(lua_State *L)
{
    const char *message = lua_tostring(L, 1);
    if (message == nullptr) {
        if (luaL_callmeta(L, 1, "__tostring") && lua_type(L, -1) == LUA_TSTRING) return 1;
        message = lua_pushfstring(L, "(error object is a %s value)", luaL_typename(L, 1));
    }
    luaL_traceback(L, L, message, 1);
    return 1;
}

// Checked every few thousand instructions: Ctrl-C stops a script that is
// looping in Lua, with an error the script may not catch by accident.
void interruptHook(lua_State *L, lua_Debug *)
{
    if (cancelRequested()) {
        lua_sethook(L, nullptr, 0, 0);
        luaL_error(L, "interrupted");
    }
}

}  // namespace

int runLua(const std::vector<std::string> &args)
{
    if (args.empty()) {
        std::fputs(kHelp, stderr);
        return kExitUsage;
    }
    if (isHelp(args[0])) {
        std::fputs(kHelp, stdout);
        return kExitOk;
    }
    const std::string &script = args[0];

    lua_State *L = luaL_newstate();
    if (L == nullptr) {
        fail("lua", "cannot create a Lua state (out of memory)");
        return kExitFailed;
    }
    luaL_openlibs(L);
    luaL_requiref(L, "libtavo", luaopen_libtavo, 1);
    lua_pop(L, 1);

    // arg[-1] is the program, arg[0] the script, as lua.c lays it out.
    lua_createtable(L, static_cast<int>(args.size()), 1);
    lua_pushstring(L, "tavo lua");
    lua_rawseti(L, -2, -1);
    for (size_t i = 0; i < args.size(); ++i) {
        lua_pushstring(L, args[i].c_str());
        lua_rawseti(L, -2, static_cast<lua_Integer>(i));
    }
    lua_setglobal(L, "arg");

    int status = luaL_loadfile(L, script == "-" ? nullptr : script.c_str());
    if (status != LUA_OK) {
        fail("lua", lua_tostring(L, -1) != nullptr ? lua_tostring(L, -1) : "cannot load the script");
        lua_close(L);
        return status == LUA_ERRFILE ? kExitUsage : kExitFailed;
    }
    lua_pushcfunction(L, traceback);
    lua_insert(L, -2);
    for (size_t i = 1; i < args.size(); ++i) lua_pushstring(L, args[i].c_str());
    lua_sethook(L, interruptHook, LUA_MASKCOUNT, 10000);
    status = lua_pcall(L, static_cast<int>(args.size() - 1), 0, -static_cast<int>(args.size()) - 1);
    int exitCode = kExitOk;
    if (status != LUA_OK) {
        const char *message = lua_tostring(L, -1);
        if (cancelRequested()) {
            fail("lua", "interrupted");
            exitCode = kExitCancelled;
        } else {
            fail("lua", message != nullptr ? message : "the script failed");
            exitCode = kExitFailed;
        }
    }
    // Closing collects the script's documents, which closes them.
    lua_close(L);
    return exitCode;
}

}  // namespace tavocli
