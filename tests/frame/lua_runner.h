// lua_runner.h: runs a script with the real lua5.3 interpreter on the
// library just built, for the tests of the Lua module. The test suite's
// CMakeLists gives TAVO_LIBRARY_DIR and TAVO_LUA_INTERPRETER (and, under
// the sanitizers, TAVO_LUA_PRELOAD).
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace tavotest {

struct LuaRun {
    int status = -1;
    std::string output;   // stdout and stderr together
};

// Writes `script` to folder/script.lua, with package.cpath pointing at the
// freshly built library, and runs it. `environment` ("NAME=value ..."), when
// given, is set for the interpreter only.
inline LuaRun runLua(const std::filesystem::path &folder, const std::string &script,
                     const std::string &environment = "")
{
    const std::filesystem::path file = folder / "script.lua";
    std::ofstream(file) << "package.cpath = '" TAVO_LIBRARY_DIR "/?.so;' .. package.cpath\n" << script;
#ifdef TAVO_LUA_PRELOAD
    // The interpreter's own allocations at exit are not ours to report.
    std::string prefix = "LD_PRELOAD=" TAVO_LUA_PRELOAD " ASAN_OPTIONS=detect_leaks=0 ";
#else
    std::string prefix;
#endif
    if (!environment.empty()) prefix += environment + " ";
    const std::string command = prefix + TAVO_LUA_INTERPRETER + " " + file.string() + " 2>&1";
    LuaRun run;
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return run;
    char chunk[512];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0) run.output.append(chunk, n);
    run.status = pclose(pipe);
    return run;
}

inline size_t countOf(const std::string &text, const std::string &part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

// A fixture with a fresh temporary folder for the script and its files.
class LuaScriptTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder = std::filesystem::temp_directory_path() / ("tavo_lua_" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::filesystem::path folder;
};

}  // namespace tavotest
