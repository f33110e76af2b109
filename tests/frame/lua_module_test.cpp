// The Lua module, driven by the real lua5.3 interpreter: require, new, save,
// open, tostring and collection.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "lua_runner.h"

namespace {

using tavotest::countOf;
using tavotest::LuaRun;
using tavotest::runLua;

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

class TavoLuaModule : public tavotest::LuaScriptTest {};

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
