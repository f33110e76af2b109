// The document methods of the Lua module, driven by the real lua5.3
// interpreter: edits checked sample by sample against a model the script
// keeps, undo and redo, regions and tags through a save and an open, closed
// documents and misuse.
#include <gtest/gtest.h>

#include <string>

#include "../cli/wav_file.h"
#include "lua_runner.h"

namespace {

using tavotest::LuaRun;

class TavoLuaDocument : public tavotest::LuaScriptTest {
protected:
    // Every script gets a settings file of its own, so that what it sets
    // reaches no other test; it must print "done" as its last act.
    void expectRuns(const std::string &script)
    {
        const LuaRun r = tavotest::runLua(folder, "local DIR = '" + folder.string() + "'\n" + script,
                                          "TAVO_SETTINGS=" + (folder / "settings.conf").string());
        EXPECT_EQ(r.status, 0) << r.output;
        EXPECT_NE(r.output.find("done"), std::string::npos) << r.output;
        output = r.output;
    }
    std::string output;
};

TEST_F(TavoLuaDocument, EditsMatchTheModelAndRegionsAndTagsSurviveSaveAndOpen)
{
    // Frame i holds ((i * 37) % 2001 - 1000) * 16: distinct from its
    // neighbours and an exact float once scaled, so a frame out of place shows.
    wavtest::Pcm signal{8000, 1, {}};
    for (int i = 0; i < 2000; ++i) signal.samples.push_back(static_cast<int16_t>(((i * 37) % 2001 - 1000) * 16));
    wavtest::writeWav(folder / "signal.wav", signal);
    expectRuns(R"(
local tavo = require "libtavo"
-- Cuts smooth their boundaries by default; the model cuts sharp.
assert(libfound.setsetting("libtavo.editoptions.smoothboundaries", false))
local N = 2000
local doc = assert(tavo.open(DIR .. "/signal.wav"))
assert(doc:rate() == 8000 and doc:channels() == 1 and math.abs(doc:duration() - 0.25) < 1e-12, "shape")
assert(doc:name() == DIR .. "/signal.wav" and not doc:changed(), "a file just opened is unchanged")

local function same(model, what, tolerance)
  local got = doc:samples(0, 0, N + 500)
  assert(#got == #model, what .. ": " .. #got .. " frames, expected " .. #model)
  for i = 1, #model do
    if math.abs(got[i] - model[i]) > (tolerance or 0) then
      error(what .. ": frame " .. (i - 1) .. " is " .. got[i] .. ", expected " .. model[i])
    end
  end
end
-- The concatenation of the slices {t, first, last} (1-based, inclusive).
local function join(...)
  local out = {}
  for _, s in ipairs({...}) do for i = s[2], s[3] do out[#out + 1] = s[1][i] end end
  return out
end

local original = {}
for i = 0, N - 1 do original[i + 1] = (((i * 37) % 2001) - 1000) * 16 / 32768 end
same(original, "opened")

assert(doc:select(300, 500))
local sel = doc:selections()
assert(#sel == 1 and sel[1][1] == 300 and sel[1][2] == 500 and sel[1].b == 300, "one selection")
local clip = assert(doc:cut())
assert(clip:frames() == 200 and clip:channels() == 1, "clipboard")
assert(doc:undo_label() == "Cut" and doc:changed())
local afterCut = join({original, 1, 300}, {original, 501, N})
same(afterCut, "after cut")

assert(doc:paste(clip, 1000))
local afterPaste = join({afterCut, 1, 1000}, {original, 301, 500}, {afterCut, 1001, #afterCut})
same(afterPaste, "after paste")

-- Two selections, each reversed in place.
assert(doc:select(100, 150) and doc:select(1200, 1260, true))
assert(#doc:selections() == 2 and doc:reverse())
local afterReverse = join({afterPaste, 1, #afterPaste})
for _, r in ipairs({{100, 150}, {1200, 1260}}) do
  for k = 0, r[2] - r[1] - 1 do afterReverse[r[1] + k + 1] = afterPaste[r[2] - k] end
end
same(afterReverse, "after reverse")

-- Invert and halve the whole signal (no selection).
assert(doc:clear_selection() and #doc:selections() == 0)
assert(doc:invert() and doc:gain(20 * math.log(0.5, 10)))
local inverted, halved = {}, {}
for i = 1, #afterReverse do inverted[i], halved[i] = -afterReverse[i], -afterReverse[i] * 0.5 end
same(halved, "after invert and gain", 1 / 32768)

-- Undo walks back one edit at a time, redo forward again; selection steps
-- ("Selection") in between are passed over.
local function walk(step, label, model)
  while doc[step .. "_label"](doc) ~= label do assert(doc[step](doc), "no step " .. label) end
  assert(doc[step](doc))
  if model then same(model, step .. " " .. label) end
end
walk("undo", "Gain/Offset Transform", inverted)
walk("undo", "Invert", afterReverse)
walk("undo", "Reverse", afterPaste)
walk("undo", "Paste", afterCut)
walk("undo", "Cut", original)
walk("redo", "Cut", afterCut)
walk("redo", "Paste")
walk("redo", "Reverse", afterReverse)

-- The clipboard outlives the document; append adds it at the end.
assert(doc:select(0, 10))
local head = assert(doc:copy())
assert(doc:close())
doc = assert(tavo.new(nil, "AUTO[sr=8000,nc=1]"))
assert(doc:append(clip) and doc:append(head))
same(join({original, 301, 500}, {afterReverse, 1, 10}), "appended clipboards")

-- Regions, markers and tags through a save and an open; a tag change is one
-- undo step of its own.
doc = assert(tavo.new(nil, "AUTO[sr=8000,nc=1]"))
assert(doc:insert_silence(8000) and doc:transform("gain[db=-6]") and doc:frames() == 8000)
assert(doc:add_region(1000, 3000, "verse") and doc:add_marker(5000, "drop"))
assert(doc:set_tag("title", "Take 1"))
assert(doc:undo_label() == "Change Metadata", doc:undo_label())
assert(doc:set_tag("ARTIST", "Someone") and doc:set_tag("genre", "Ambient") and doc:tag("GENRE") == "Ambient")
assert(doc:undo() and doc:tag("genre") == nil and doc:tag("artist") == "Someone")
assert(doc:set_tag("comment", "x") and doc:set_tag("comment", nil) and doc:tag("comment") == nil)
assert(doc:save(DIR .. "/tagged.wav", "WAV") and doc:close())
doc = assert(tavo.open(DIR .. "/tagged.wav"))
assert(doc:frames() == 8000 and doc:tag("title") == "Take 1" and doc:tag("artist") == "Someone")
local regions = doc:regions()
table.sort(regions, function(a, b) return a.b < b.b end)
assert(#regions == 2, #regions .. " regions")
local r, m = regions[1], regions[2]
assert(r.b == 1000 and r.e == 3000 and r.label == "verse" and not r.marker and r.track == 0, "region")
assert(m.b == 5000 and m.e == 5000 and m.label == "drop" and m.marker and m.track == 0, "marker")
print("done")
)");
}

TEST_F(TavoLuaDocument, MisuseRaisesRefusalsReturnAndClosedDocumentsRaise)
{
    expectRuns(R"(
local tavo = require "libtavo"
local function raises(text, f, ...)
  local ok, err = pcall(f, ...)
  assert(not ok and tostring(err):find(text, 1, true), tostring(err))
end
local doc = assert(tavo.new(nil, "AUTO[sr=8000,nc=1]"))
assert(doc:insert_silence(100))
for _, call in ipairs({{doc.select, doc, -1, 5}, {doc.insert_silence, doc, -5}, {doc.gain, doc, "loud"},
                       {doc.paste, doc, doc}, {doc.samples, doc, 1, 0, 1}, {doc.samples, doc, 0, 0, 10000001},
                       {doc.add_region, doc, 50, 10, "backwards"}, {doc.frames, 42}}) do
  raises("bad argument", table.unpack(call))
end

-- Refusals come back as nil and a message naming the method.
local function refused(prefix, ok, message)
  assert(ok == nil and message:sub(1, #prefix) == prefix, prefix .. " " .. tostring(message))
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
for _, f in ipairs({doc.frames, doc.save, doc.close}) do raises("attempt to use a closed document", f, doc) end
doc = nil
collectgarbage()
collectgarbage()
print("done")
)");
    // The closed document is collected once, before the end, without a second close.
    EXPECT_EQ(tavotest::countOf(output.substr(0, output.find("done")), "I have been collected!"), 1u) << output;
}

}  // namespace
