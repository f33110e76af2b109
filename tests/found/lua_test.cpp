// Lua helpers: the libfound module as scripts see it and the binding
// conventions seen from both sides.
#include <lfound.h>
#include <blsettings.h>

#include "log_capture.h"

#include <gtest/gtest.h>
#include <lua.hpp>

#include <string>

namespace {

class LFound : public ::testing::Test {
protected:
    void SetUp() override
    {
        L = luaL_newstate();
        ASSERT_NE(L, nullptr);
        luaL_openlibs(L);
        ASSERT_EQ(luaopen_libfound(L), 1);
        lua_pop(L, 1);
    }
    void TearDown() override { lua_close(L); }

    // Runs a chunk; on failure gives Lua's message.
    std::string run(const std::string &code)
    {
        if (luaL_dostring(L, code.c_str()) == LUA_OK) return "";
        std::string message = lua_tostring(L, -1);
        lua_pop(L, 1);
        return message;
    }

    lua_State *L = nullptr;
};

TEST_F(LFound, ModuleIsAGlobalAndTheSameTableWhenOpenedAgain)
{
    EXPECT_EQ(run(R"(
        assert(libfound.version() == "libfound 1.0.0")
        assert(package.loaded["libfound"] == libfound)
        assert(require("libfound") == libfound)
        local t = libfound.timestamp()
        assert(math.type(t) == "integer" and t > 1600000000000)
        libfound.sleep(1); libfound.sleep(-5); libfound.sleep(0/0)
        libfound.log("hello from lua")
    )"), "");
    const int top = lua_gettop(L);
    ASSERT_EQ(luaopen_libfound(L), 1);
    lua_getglobal(L, "libfound");
    EXPECT_TRUE(lua_rawequal(L, -1, -2));
    lua_pop(L, 2);
    EXPECT_EQ(lua_gettop(L), top);
}

TEST_F(LFound, SettingsRoundTripThroughTheGlobalStore)
{
    ASSERT_TRUE(BLSETTINGS_SetFileName(nullptr));
    BLSETTINGS_SetDefaultEx(nullptr, "lua.test.preset=%s", "from C");
    LogCapture log;
    EXPECT_EQ(run(R"(
        assert(libfound.getsetting("lua.test.absent") == nil)
        assert(libfound.getsetting("lua.test.preset") == "from C")
        assert(libfound.setsetting("lua.test.text", "hello world") == true)
        assert(libfound.getsetting("lua.test.text") == "hello world")
        assert(libfound.setsetting("lua.test.number", 42) == true)
        assert(libfound.setsetting("lua.test.flag", false) == true)

        local ok, message = libfound.setsetting("bad key", "x")
        assert(ok == nil and message:find("bad key"))
        ok, message = libfound.setsetting("lua.test.table", {})
        assert(ok == nil and type(message) == "string")
        ok, message = libfound.setsetting("lua.test.lines", "two\nlines")
        assert(ok == nil and type(message) == "string")
        local value, why = libfound.getsetting("lua.test.x=[fallback]")
        assert(value == nil and why:find("malformed"))
        value, why = libfound.getsetting("nul\0key")
        assert(value == nil and why)
    )"), "");
    EXPECT_EQ(BLSETTINGS_GetIntEx(nullptr, "lua.test.number"), 42);
    EXPECT_FALSE(BLSETTINGS_GetBoolEx(nullptr, "lua.test.flag=[true]"));
    EXPECT_NE(run("libfound.getsetting()"), "") << "a missing key is a Lua argument error";
}

int counterIncrement(lua_State *L)
{
    auto *value = static_cast<lua_Integer *>(luaL_checkudata(L, 1, "Test.Counter"));
    *value += luaL_optinteger(L, 2, 1);
    return L_Return_ReturnStatus(L, *value < 10, "counter full");
}

int counterGet(lua_State *L)
{
    lua_pushinteger(L, *static_cast<lua_Integer *>(luaL_checkudata(L, 1, "Test.Counter")));
    return 1;
}

int counterToString(lua_State *L)
{
    lua_pushfstring(L, "counter %d", int(*static_cast<lua_Integer *>(luaL_checkudata(L, 1, "Test.Counter"))));
    return 1;
}

TEST_F(LFound, RegisteredTypeGivesUserdataMethodsThroughIndexSelf)
{
    const luaL_Reg methods[] = {{"increment", counterIncrement},
                                {"get", counterGet},
                                {"__tostring", counterToString},
                                {nullptr, nullptr}};
    const int top = lua_gettop(L);
    L_RegisterType(L, "Test.Counter", methods);
    EXPECT_EQ(lua_gettop(L), top) << "the stack is left as it was";

    auto *value = static_cast<lua_Integer *>(lua_newuserdata(L, sizeof(lua_Integer)));
    *value = 7;
    luaL_setmetatable(L, "Test.Counter");
    lua_setglobal(L, "counter");

    EXPECT_EQ(run(R"(
        local mt = getmetatable(counter)
        assert(mt.__index == mt)
        assert(counter:get() == 7)
        assert(tostring(counter) == "counter 7")
        local ok, message = counter:increment()
        assert(ok == true and message == nil)
        assert(select("#", counter:increment()) == 1)
        local results = table.pack(counter:increment(5))
        assert(results.n == 2 and results[1] == nil and results[2] == "counter full")
        assert(counter:get() == 14)
    )"), "");

    L_RegisterType(nullptr, "Test.Counter", methods);
    L_RegisterType(L, nullptr, methods);
    L_RegisterType(L, "Test.Empty", nullptr);
    luaL_getmetatable(L, "Test.Empty");
    lua_getfield(L, -1, "__index");
    EXPECT_TRUE(lua_rawequal(L, -1, -2)) << "__index is set even without methods";
    lua_pop(L, 2);
}

TEST_F(LFound, ReturnStatusPushesOneOrTwoValues)
{
    const int top = lua_gettop(L);
    EXPECT_EQ(L_Return_ReturnStatus(L, true, "ignored"), 1);
    EXPECT_TRUE(lua_toboolean(L, -1));
    EXPECT_EQ(L_Return_ReturnStatus(L, false, "disk full"), 2);
    EXPECT_STREQ(lua_tostring(L, -1), "disk full");
    EXPECT_TRUE(lua_isnil(L, -2));
    EXPECT_EQ(L_Return_ReturnStatus(L, false, nullptr), 2);
    EXPECT_STREQ(lua_tostring(L, -1), "operation failed");
    EXPECT_EQ(lua_gettop(L), top + 5);
    EXPECT_EQ(L_Return_ReturnStatus(nullptr, true, nullptr), 0);
    EXPECT_EQ(luaopen_libfound(nullptr), 0);
}

} // namespace
