// The Lua module, driven by the real lua5.3 interpreter: require, new, save,
// open, tostring and collection.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

struct LuaRun {
    int status = -1;
    std::string output;   // stdout and stderr together
};

// Runs `script` with package.cpath pointing at the freshly built library.
LuaRun runLua(const std::filesystem::path &folder, const std::string &script)
{
    const std::filesystem::path file = folder / "script.lua";
    std::ofstream(file) << "package.cpath = '" TAVO_LIBRARY_DIR "/?.so;' .. package.cpath\n" << script;
#ifdef TAVO_LUA_PRELOAD
    // The interpreter's own allocations at exit are not ours to report.
    const std::string prefix = "LD_PRELOAD=" TAVO_LUA_PRELOAD " ASAN_OPTIONS=detect_leaks=0 ";
#else
    const std::string prefix;
#endif
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

// Channels and sample rate from a canonical WAV header.
bool readWavShape(const std::filesystem::path &file, uint16_t &channels, uint32_t &rate)
{
    std::ifstream in(file, std::ios::binary);
    std::vector<unsigned char> header(28);
    if (!in.read(reinterpret_cast<char *>(header.data()), 28)) return false;
    if (std::string(header.begin(), header.begin() + 4) != "RIFF") return false;
    channels = static_cast<uint16_t>(header[22] | header[23] << 8);
    rate = header[24] | header[25] << 8 | header[26] << 16 | static_cast<uint32_t>(header[27]) << 24;
    return true;
}

size_t countOf(const std::string &text, const std::string &part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

class TavoLuaModule : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder = std::filesystem::temp_directory_path() / ("tavo_lua_" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::filesystem::path folder;
};

TEST_F(TavoLuaModule, CreateSaveAndOpen)
{
    const std::string dir = folder.string();
    const LuaRun run = runLua(folder, R"(
local tavo = require "libtavo"
assert(tavo == libtavo, "the module is also the global libtavo")
assert(libfound ~= nil, "the base module is loaded first")

local doc, err = tavo.new()
assert(doc ~= nil and err == nil, "new() gives a document and nil")
assert(tostring(doc):match("^TAVOAUDIO object at "), tostring(doc))
print("save1", doc:save(")" + dir + R"(/mono.wav", "WAV"))

local stereo = tavo.new("ignored.wav", "AUTO[sr=22050,nc=2]")
print("save2", stereo:save(")" + dir + R"(/stereo.wav", "WAV"))

local again, err2 = tavo.open(")" + dir + R"(/mono.wav")
assert(again ~= nil and err2 == nil, "open() gives a document and nil")
print("save3", again:save())

local none, why = tavo.open(")" + dir + R"(/missing.wav")
print("open", none, why)
local ok, bad = pcall(tavo.open)
print("badarg", ok, (bad:match("bad argument") ~= nil))
local ok2 = pcall(doc.save, 42)
print("badself", ok2)

doc, stereo, again = nil, nil, nil
collectgarbage()
collectgarbage()
print("done")
)");
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("save1\ttrue"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("save2\ttrue"), std::string::npos) << run.output;
    // The reopened file is unchanged: saving in place has nothing to do.
    EXPECT_NE(run.output.find("save3\ttrue"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("open\tnil\tUnable to open TAVOAUDIO."), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("badarg\tfalse\ttrue"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("badself\tfalse"), std::string::npos) << run.output;
    // Three documents, each collected (and closed) once, before the end.
    const size_t done = run.output.find("done");
    ASSERT_NE(done, std::string::npos) << run.output;
    EXPECT_EQ(countOf(run.output.substr(0, done), "I have been collected!"), 3u) << run.output;
    EXPECT_EQ(countOf(run.output, "I have been collected!"), 3u) << run.output;

    // new() is 8000 Hz mono; the second argument's format is taken.
    uint16_t channels = 0;
    uint32_t rate = 0;
    ASSERT_TRUE(readWavShape(folder / "mono.wav", channels, rate));
    EXPECT_EQ(channels, 1);
    EXPECT_EQ(rate, 8000u);
    ASSERT_TRUE(readWavShape(folder / "stereo.wav", channels, rate));
    EXPECT_EQ(channels, 2);
    EXPECT_EQ(rate, 22050u);
}

TEST_F(TavoLuaModule, SaveFailureIsReturnedNotRaised)
{
    const LuaRun run = runLua(folder, R"(
local tavo = require "libtavo"
local doc = tavo.new()
print("inplace", doc:save())
print("nofolder", doc:save(")" + folder.string() + R"(/no/such/folder/x.wav", "WAV"))
)");
    EXPECT_EQ(run.status, 0) << run.output;
    // A new document has no file of its own to save back to.
    EXPECT_NE(run.output.find("inplace\tnil\tUnable to save TAVOAUDIO"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("nofolder\tnil\tUnable to save TAVOAUDIO"), std::string::npos) << run.output;
    // The document left to the end is collected when the interpreter closes.
    EXPECT_EQ(countOf(run.output, "I have been collected!"), 1u) << run.output;
}

}  // namespace
