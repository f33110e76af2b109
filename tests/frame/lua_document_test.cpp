// The document methods of the Lua module, driven by the real lua5.3
// interpreter: edits checked sample by sample against a model the script
// keeps, undo and redo, regions and tags through a save and an open, closed
// documents and misuse.
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

// The test signal: 2000 frames of 16-bit mono at 8000 Hz, frame i holding
// ((i * 37) % 2001 - 1000) * 16. Every value is distinct from its
// neighbours and an exact float once scaled by 1/32768, so a frame out of
// place shows. The scripts compute the same formula.
constexpr int kFrames = 2000;
const char kSampleFormula[] = "local function v(i) return (((i * 37) % 2001) - 1000) * 16 / 32768 end\n";

int16_t sampleAt(int i)
{
    return static_cast<int16_t>(((i * 37) % 2001 - 1000) * 16);
}

void put16(std::ofstream &out, uint16_t v)
{
    const char bytes[2] = {static_cast<char>(v & 0xff), static_cast<char>(v >> 8)};
    out.write(bytes, 2);
}

void put32(std::ofstream &out, uint32_t v)
{
    put16(out, static_cast<uint16_t>(v & 0xffff));
    put16(out, static_cast<uint16_t>(v >> 16));
}

// A canonical 16-bit PCM WAV file of the test signal.
void writeTestWav(const std::filesystem::path &file)
{
    std::ofstream out(file, std::ios::binary);
    const uint32_t dataBytes = kFrames * 2;
    out.write("RIFF", 4);
    put32(out, 36 + dataBytes);
    out.write("WAVEfmt ", 8);
    put32(out, 16);
    put16(out, 1);      // PCM
    put16(out, 1);      // channels
    put32(out, 8000);   // rate
    put32(out, 8000 * 2);
    put16(out, 2);      // block align
    put16(out, 16);     // bits
    out.write("data", 4);
    put32(out, dataBytes);
    for (int i = 0; i < kFrames; ++i) put16(out, static_cast<uint16_t>(sampleAt(i)));
}

class TavoLuaDocument : public tavotest::LuaScriptTest {
protected:
    // Every script gets a settings file of its own, so that what it sets
    // reaches no other test.
    LuaRun run(const std::string &script)
    {
        return tavotest::runLua(folder, "local DIR = '" + folder.string() + "'\n" + script,
                                "TAVO_SETTINGS=" + (folder / "settings.conf").string());
    }
};

TEST_F(TavoLuaDocument, EditsMatchTheModelAndUndoRedoRestoreIt)
{
    writeTestWav(folder / "signal.wav");
    const LuaRun result = run(std::string(kSampleFormula) + R"(
local tavo = require "libtavo"
-- Cuts smooth their boundaries by default; the model cuts sharp.
assert(libfound.setsetting("libtavo.editoptions.smoothboundaries", false))

local N = 2000
local doc = assert(tavo.open(DIR .. "/signal.wav"))
assert(doc:frames() == N and doc:rate() == 8000 and doc:channels() == 1, "shape")
assert(math.abs(doc:duration() - 0.25) < 1e-12, "duration")
assert(doc:name() == DIR .. "/signal.wav", doc:name())
assert(not doc:changed(), "a file just opened is unchanged")

local function same(model, what, tolerance)
  local got = doc:samples(0, 0, N + 500)
  assert(#got == #model, what .. ": " .. #got .. " frames, expected " .. #model)
  for i = 1, #model do
    if math.abs(got[i] - model[i]) > (tolerance or 0) then
      error(what .. ": frame " .. (i - 1) .. " is " .. got[i] .. ", expected " .. model[i])
    end
  end
end

local original = {}
for i = 0, N - 1 do original[#original + 1] = v(i) end
same(original, "opened")

-- Cut [300, 500).
assert(doc:select(300, 500))
local sel = doc:selections()
assert(#sel == 1 and sel[1][1] == 300 and sel[1][2] == 500 and sel[1].b == 300, "one selection")
local clip = assert(doc:cut())
assert(clip:frames() == 200 and clip:channels() == 1, "clipboard")
assert(doc:undo_label() == "Cut" and doc:changed())
local afterCut = {}
for i = 1, N do
  if i - 1 < 300 or i - 1 >= 500 then afterCut[#afterCut + 1] = original[i] end
end
same(afterCut, "after cut")

-- Paste the clipboard at frame 1000 of the shorter document.
assert(doc:paste(clip, 1000))
local afterPaste = {}
for i = 1, 1000 do afterPaste[#afterPaste + 1] = afterCut[i] end
for i = 301, 500 do afterPaste[#afterPaste + 1] = original[i] end
for i = 1001, #afterCut do afterPaste[#afterPaste + 1] = afterCut[i] end
same(afterPaste, "after paste")

-- Reverse two selections, each in place.
assert(doc:select(100, 150))
assert(doc:select(1200, 1260, true))
assert(#doc:selections() == 2, "two selections")
assert(doc:reverse())
local afterReverse = {}
for i = 1, #afterPaste do afterReverse[i] = afterPaste[i] end
for _, r in ipairs({{100, 150}, {1200, 1260}}) do
  for k = 0, r[2] - r[1] - 1 do afterReverse[r[1] + k + 1] = afterPaste[r[2] - k] end
end
same(afterReverse, "after reverse")

-- Invert and halve the whole signal (no selection).
assert(doc:clear_selection())
assert(#doc:selections() == 0)
assert(doc:invert())
assert(doc:gain(20 * math.log(0.5, 10)))
local afterGain = {}
for i = 1, #afterReverse do afterGain[i] = -afterReverse[i] * 0.5 end
same(afterGain, "after invert and gain", 1 / 32768)

-- Undo walks back one edit at a time, redo forward again. Selection changes
-- that replace a selection are steps of their own ("Selection"), passed over.
local function undoEdit(label)
  while doc:undo_label() ~= label do assert(doc:undo(), "no step " .. label) end
  assert(doc:undo())
end
local function redoEdit(label)
  while doc:redo_label() ~= label do assert(doc:redo(), "no step " .. label) end
  assert(doc:redo())
end
undoEdit("Gain/Offset Transform")
local inverted = {}
for i = 1, #afterReverse do inverted[i] = -afterReverse[i] end
same(inverted, "undo gain")
undoEdit("Invert"); same(afterReverse, "undo invert")
undoEdit("Reverse"); same(afterPaste, "undo reverse")
undoEdit("Paste"); same(afterCut, "undo paste")
undoEdit("Cut"); same(original, "undo cut")
redoEdit("Cut"); same(afterCut, "redo cut")
redoEdit("Paste"); redoEdit("Reverse")
same(afterReverse, "redo reverse")

-- The clipboard outlives the document; append adds it at the end.
assert(doc:select(0, 10))
local head = assert(doc:copy())
assert(doc:close())
local other = assert(tavo.new(nil, "AUTO[sr=8000,nc=1]"))
assert(other:append(clip) and other:append(head))
local expected = {}
for i = 301, 500 do expected[#expected + 1] = original[i] end
for i = 1, 10 do expected[#expected + 1] = afterReverse[i] end
doc = other
same(expected, "appended clipboards")
print("done")
)");
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(result.output.find("done"), std::string::npos) << result.output;
}

TEST_F(TavoLuaDocument, RegionsAndTagsSurviveSaveAndOpen)
{
    const LuaRun result = run(R"(
local tavo = require "libtavo"
local doc = assert(tavo.new(nil, "AUTO[sr=8000,nc=1]"))
assert(doc:insert_silence(8000))
assert(doc:transform("gain[db=-6]"))
assert(doc:frames() == 8000)
assert(doc:add_region(1000, 3000, "verse"))
assert(doc:add_marker(5000, "drop"))

-- A tag change is one undo step of its own.
assert(doc:set_tag("title", "Take 1"))
assert(doc:undo_label() == "Change Metadata", doc:undo_label())
assert(doc:set_tag("ARTIST", "Someone"))
assert(doc:set_tag("genre", "Ambient"))
assert(doc:tag("GENRE") == "Ambient")
assert(doc:undo())
assert(doc:tag("genre") == nil and doc:tag("artist") == "Someone")
assert(doc:set_tag("comment", "x") and doc:set_tag("comment", nil) and doc:tag("comment") == nil)

assert(doc:save(DIR .. "/tagged.wav", "WAV"))
assert(doc:close())

local again = assert(tavo.open(DIR .. "/tagged.wav"))
assert(again:frames() == 8000 and again:rate() == 8000)
assert(again:tag("title") == "Take 1", tostring(again:tag("title")))
assert(again:tag("artist") == "Someone", tostring(again:tag("artist")))
local regions = again:regions()
table.sort(regions, function(a, b) return a.b < b.b end)
assert(#regions == 2, #regions .. " regions")
local r, m = regions[1], regions[2]
assert(r.b == 1000 and r.e == 3000 and r.label == "verse" and not r.marker and r.track == 0,
       "region " .. r.b .. " " .. r.e .. " " .. r.label)
assert(m.b == 5000 and m.e == 5000 and m.label == "drop" and m.marker and m.track == 0,
       "marker " .. m.b .. " " .. m.e .. " " .. m.label)
print("done")
)");
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(result.output.find("done"), std::string::npos) << result.output;
}

TEST_F(TavoLuaDocument, MisuseRaisesRefusalsReturnAndClosedDocumentsRaise)
{
    const LuaRun result = run(R"(
local tavo = require "libtavo"
local function raises(text, f, ...)
  local ok, err = pcall(f, ...)
  assert(not ok, "expected an error: " .. text)
  assert(tostring(err):find(text, 1, true), tostring(err))
end

local doc = assert(tavo.new(nil, "AUTO[sr=8000,nc=1]"))
assert(doc:insert_silence(100))

raises("bad argument", doc.select, doc, -1, 5)
raises("bad argument", doc.insert_silence, doc, -5)
raises("bad argument", doc.gain, doc, "loud")
raises("bad argument", doc.paste, doc, doc)
raises("bad argument", doc.samples, doc, 1, 0, 1)
raises("bad argument", doc.samples, doc, 0, 0, 10000001)
raises("bad argument", doc.add_region, doc, 50, 10, "backwards")
raises("bad argument", doc.frames, 42)

-- Refusals come back as nil and a message naming the method.
local function refused(prefix, ok, message)
  assert(ok == nil, prefix .. " was not refused")
  assert(message:sub(1, #prefix) == prefix, message)
  return message
end
assert(doc:clear_selection())
refused("cut: ", doc:cut())
refused("swap_channels: ", doc:swap_channels())
refused("transform: ", doc:transform("nosucheffect[x=1]"))
assert(refused("fade_in: ", doc:fade_in("no such curve")):find("no such curve", 1, true))
refused("redo: ", doc:redo())
assert(doc:undo())
refused("undo: ", doc:undo())

-- Reads stop at the end of the signal.
assert(doc:redo())
assert(#doc:samples(0, 90, 50) == 10 and #doc:samples(0, 500, 5) == 0)

assert(doc:close() == true)
raises("attempt to use a closed document", doc.frames, doc)
raises("attempt to use a closed document", doc.save, doc)
raises("attempt to use a closed document", doc.close, doc)
doc = nil
collectgarbage()
collectgarbage()
print("done")
)");
    EXPECT_EQ(result.status, 0) << result.output;
    const size_t done = result.output.find("done");
    ASSERT_NE(done, std::string::npos) << result.output;
    // The closed document is collected once, before the end, without a
    // second close.
    EXPECT_EQ(countOf(result.output.substr(0, done), "I have been collected!"), 1u) << result.output;
}

}  // namespace
