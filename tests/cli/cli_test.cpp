// The `tavo` tool run as a user runs it: every test writes its input files
// itself, runs the built program and checks what it printed and wrote
// against facts computed here: the same cut, reverse or gain done on the raw
// samples, a brute-force min/max per pixel, the settings file as text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "cli_helpers.h"

using namespace clitest;

namespace {

class TavoCli : public ::testing::Test {
protected:
    void SetUp() override
    {
        const auto *info = ::testing::UnitTest::GetInstance()->current_test_info();
        dir = fs::path(CLI_WORK_DIR) / (std::string(info->test_suite_name()) + "." + info->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
        // Each test has a settings file of its own: runs never share state.
        env = "TAVO_SETTINGS=" + quote((dir / "settings.conf").string()) + " QT_QPA_PLATFORM=offscreen";
    }

    Result tavo(const std::vector<std::string> &args) { return run(dir, args, env); }

    Json json(const std::vector<std::string> &args)
    {
        const Result r = tavo(args);
        Json j;
        EXPECT_EQ(r.code, 0) << r.err;
        EXPECT_TRUE(parseJson(r.out, j)) << r.out;
        return j;
    }

    // Runs `edit in.wav -o out.wav` with boundary smoothing off (so that
    // cuts and pastes are exact sample copies) and reads the result back.
    Pcm edited(const Pcm &in, const std::vector<std::string> &steps)
    {
        writeWav(dir / "in.wav", in);
        std::vector<std::string> args = {"edit", "in.wav", "-o", "out.wav", "--set",
                                         "libtavo.editoptions.smoothboundaries=0"};
        args.insert(args.end(), steps.begin(), steps.end());
        const Result r = tavo(args);
        EXPECT_EQ(r.code, 0) << r.err;
        EXPECT_EQ(r.err, "");  // not a terminal: no progress bar, no chatter
        return readWav(dir / "out.wav");
    }

    fs::path dir;
    std::string env;
};

// `pcm` without the frames of the half-open ranges, given in ascending order.
Pcm without(Pcm pcm, const std::vector<std::pair<int64_t, int64_t>> &ranges)
{
    const int n = pcm.channels;
    for (auto r = ranges.rbegin(); r != ranges.rend(); ++r)
        pcm.samples.erase(pcm.samples.begin() + r->first * n, pcm.samples.begin() + r->second * n);
    return pcm;
}

Pcm reversed(const Pcm &pcm, int64_t begin, int64_t end)
{
    Pcm out = pcm;
    for (int64_t f = begin; f < end; ++f)
        for (int c = 0; c < pcm.channels; ++c)
            out.samples[static_cast<size_t>(f * pcm.channels + c)] = pcm.at(begin + end - 1 - f, c);
    return out;
}

// `source` frames [from, to) inserted into `pcm` before frame `at`.
Pcm inserted(const Pcm &pcm, int64_t at, const Pcm &source, int64_t from, int64_t to)
{
    Pcm out = pcm;
    out.samples.insert(out.samples.begin() + at * pcm.channels, source.samples.begin() + from * source.channels,
                       source.samples.begin() + to * source.channels);
    return out;
}

void expectSameAudio(const Pcm &actual, const Pcm &expected)
{
    ASSERT_EQ((std::vector<int64_t>{actual.rate, actual.channels, actual.frames()}),
              (std::vector<int64_t>{expected.rate, expected.channels, expected.frames()}));
    const auto differs = std::mismatch(actual.samples.begin(), actual.samples.end(), expected.samples.begin()).first;
    EXPECT_EQ(differs - actual.samples.begin(), actual.frames() * actual.channels) << "first differing sample";
}

// The numbers under `keys` of a JSON object, -1 for a missing key.
std::vector<double> fields(const Json &j, std::initializer_list<const char *> keys)
{
    std::vector<double> out;
    for (const char *key : keys) out.push_back(j.has(key) ? j[key].number : -1);
    return out;
}

TEST_F(TavoCli, HelpListsCommandsAndBadUsageExitsWith2)
{
    const Result help = tavo({"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("130"), std::string::npos);  // the exit codes are listed
    for (const char *command : {"info", "edit", "peaks", "settings", "lua", "generate"}) {
        EXPECT_NE(help.out.find(command), std::string::npos) << command;
        const Result r = tavo({command, "--help"});
        EXPECT_TRUE(r.code == 0 && r.out.find("usage: tavo") != std::string::npos) << command << ": " << r.out;
    }
    for (const auto &args : std::vector<std::vector<std::string>>{{"frobnicate"}, {}, {"info", "--bogus", "x.wav"}})
        EXPECT_EQ(tavo(args).code, 2) << ::testing::PrintToString(args);
}

TEST_F(TavoCli, InfoDescribesFilesTheEditStepsWroteInEachFormat)
{
    writeWav(dir / "three.wav", noise(22050, 3, 12345));
    Json j = json({"info", "three.wav", "--json"});
    EXPECT_EQ(j["format"].text, "WAV");
    EXPECT_EQ(fields(j, {"rate", "channels", "frames", "bits", "regions", "markers"}),
              (std::vector<double>{22050, 3, 12345, 16, 0, 0}));
    EXPECT_NEAR(j["duration"].number, 12345.0 / 22050.0, 1e-6);
    const Result text = tavo({"info", "three.wav"});
    EXPECT_NE(text.out.find("22050 Hz"), std::string::npos) << text.out;

    // Tags in FLAC; regions and markers in WAV, which keeps both kinds.
    const Pcm in = noise(8000, 1, 8000);
    writeWav(dir / "in.wav", in);
    for (const char *out : {"tagged.flac", "marked.wav"}) {
        const Result r = tavo({"edit", "in.wav", "-o", out, "tag:title=Morning Take", "tag:artist=Quartet",
                               "region:100-2000:Intro", "region:0.5s-0.75s:Middle", "marker:4000:Cue"});
        ASSERT_EQ(r.code, 0) << r.err;
    }
    j = json({"info", "tagged.flac", "--json"});
    EXPECT_EQ(j["format"].text, "FLAC");
    ASSERT_TRUE(j["tags"].has("TITLE") && j["tags"].has("ARTIST"));
    EXPECT_EQ(j["tags"]["TITLE"].text, "Morning Take");
    EXPECT_EQ(j["tags"]["ARTIST"].text, "Quartet");
    EXPECT_EQ(fields(json({"info", "marked.wav", "--json"}), {"regions", "markers"}), (std::vector<double>{2, 1}));

    // FLAC and AIFF, named by --format when the extension names none, keep
    // every sample; an unknown extension without --format is a usage error.
    ASSERT_EQ(tavo({"edit", "tagged.flac", "-o", "mid.data", "--format", "aiff"}).code, 0);
    EXPECT_EQ(json({"info", "mid.data", "--json"})["format"].text, "AIFF");
    ASSERT_EQ(tavo({"edit", "mid.data", "-o", "back.wav"}).code, 0);
    expectSameAudio(readWav(dir / "back.wav"), in);
    EXPECT_EQ(tavo({"edit", "in.wav", "-o", "out.xyz"}).code, 2);
    EXPECT_FALSE(fs::exists(dir / "out.xyz"));

    // A missing or non-audio file fails, naming it.
    std::ofstream(dir / "text.wav") << "this is not a sound\n";
    for (const char *name : {"nowhere.wav", "text.wav"}) {
        const Result r = tavo({"info", name, "--json"});
        EXPECT_EQ(r.code, 1);
        EXPECT_NE(r.err.find(name), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "");
    }
}

TEST_F(TavoCli, EditStepsMatchTheSameOperationOnTheRawSamples)
{
    const Pcm in = noise(10000, 2, 1000);
    const Pcm zeros{10000, 2, std::vector<int16_t>(500 * 2, 0)};
    const Pcm tail = noise(10000, 2, 77, 7u);
    writeWav(dir / "tail.wav", tail);
    const struct {
        std::vector<std::string> steps;
        Pcm expected;
    } cases[] = {
        {{"select:100-300,500-600", "cut"}, without(in, {{100, 300}, {500, 600}})},
        {{"select:0.01s-0.025s", "cut"}, without(in, {{100, 250}})},
        {{"select:0-10,990-1000", "clear"}, without(in, {{0, 10}, {990, 1000}})},
        {{"select:200-700", "reverse"}, reversed(in, 200, 700)},
        {{"reverse"}, reversed(in, 0, 1000)},
        {{"cursor:250", "insert-silence:100"}, inserted(in, 250, zeros, 0, 100)},
        {{"cursor:1000", "insert-silence:0.05s"}, inserted(in, 1000, zeros, 0, 500)},
        {{"select:100-200", "copy", "cursor:0", "paste"}, inserted(in, 0, in, 100, 200)},
        {{"select:300-350", "cut", "paste-at:10"}, inserted(without(in, {{300, 350}}), 10, in, 300, 350)},
        {{"append-file:tail.wav"}, inserted(in, 1000, tail, 0, 77)},
        {{"reverse", "undo"}, in},
        {{"reverse", "undo", "redo"}, reversed(in, 0, 1000)},
        {{"select:0-100", "cut", "reverse", "undo", "undo"}, in},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.steps));
        expectSameAudio(edited(in, c.steps), c.expected);
    }

    // Gain scales by the decibel factor, on the selection only when there is one.
    const double factor = std::pow(10.0, -3.5 / 20.0);
    for (const bool whole : {true, false}) {
        const Pcm out = whole ? edited(in, {"gain:-3.5"}) : edited(in, {"select:100-200", "gain:-3.5"});
        ASSERT_EQ(out.frames(), in.frames());
        for (size_t i = 0; i < in.samples.size(); ++i) {
            const bool scaled = whole || (i / 2 >= 100 && i / 2 < 200);
            ASSERT_NEAR(out.samples[i], in.samples[i] * (scaled ? factor : 1.0), scaled ? 1.0 : 0.0) << "sample " << i;
        }
    }
}

// A bad step, position or file fails with one line naming it and writes
// nothing: an existing OUT stays as it was, and no temporary file is left.
TEST_F(TavoCli, FailingStepsWriteNothing)
{
    writeWav(dir / "in.wav", noise(8000, 2, 1000));
    writeWav(dir / "out.wav", noise(8000, 1, 10, 3u));
    const std::string before = readFile(dir / "out.wav");
    const struct {
        std::vector<std::string> steps;
        int code;
        const char *named;
    } cases[] = {
        {{"select:0-100", "cut", "select:0-99999", "reverse"}, 1, "step 3"},  // past the end, once shortened
        {{"reverse", "wobble"}, 2, "wobble"},
        {{"select:5"}, 2, "select:5"},
        {{"gain:loud"}, 2, "gain:loud"},
        {{"cut"}, 1, "cut"},      // no selection
        {{"paste"}, 1, "paste"},  // empty clipboard
        {{"cursor:2000"}, 1, "cursor:2000"},
        {{"paste-file:missing.wav"}, 1, "missing.wav"},
        {{"select:0-10", "fade-in:No-Such-Curve"}, 1, "fade-in"},
        {{"undo"}, 1, "undo"},
        {{"channels:1", "swap-channels"}, 1, "swap-channels"},
    };
    for (const auto &c : cases) {
        std::vector<std::string> args = {"edit", "in.wav", "-o", "out.wav"};
        args.insert(args.end(), c.steps.begin(), c.steps.end());
        const Result r = tavo(args);
        EXPECT_EQ(r.code, c.code) << c.named << ": " << r.err;
        EXPECT_NE(r.err.find(c.named), std::string::npos) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
    EXPECT_EQ(readFile(dir / "out.wav"), before);
    std::set<std::string> left;
    for (const auto &entry : fs::directory_iterator(dir)) left.insert(entry.path().filename().string());
    EXPECT_EQ(left, (std::set<std::string>{"in.wav", "out.wav", "stderr.txt", "stdout.txt"}));
    EXPECT_EQ(tavo({"edit", "in.wav", "-o", "in.wav", "reverse"}).code, 2);  // the input is never the output
}

// min/max per pixel of `pixel` frames, per channel or merged, shifted
// right by `shift` bits (8 for 8-bit peaks).
std::vector<int> bruteForce(const Pcm &pcm, int64_t pixel, bool merged, int shift = 0)
{
    std::vector<int> out;
    for (int64_t begin = 0; begin < pcm.frames(); begin += pixel)
        for (int c = 0; c < (merged ? 1 : pcm.channels); ++c) {
            int mn = 32767, mx = -32768;
            for (int64_t f = begin; f < std::min(pcm.frames(), begin + pixel); ++f)
                for (int k = merged ? 0 : c; k < (merged ? pcm.channels : c + 1); ++k) {
                    mn = std::min<int>(mn, pcm.at(f, k));
                    mx = std::max<int>(mx, pcm.at(f, k));
                }
            out.insert(out.end(), {mn >> shift, mx >> shift});
        }
    return out;
}

// A .dat file: header {version, flags, rate, samples per pixel, length
// [, channels in version 2]} and the values.
std::pair<std::vector<int>, std::vector<int>> readDat(const std::string &s)
{
    std::vector<int> header, data;
    const size_t size = get(s, 0, 4) == 2 ? 24 : 20, width = (get(s, 4, 4) & 1) != 0 ? 1 : 2;
    for (size_t at = 0; at < size; at += 4) header.push_back(static_cast<int>(get(s, at, 4)));
    for (size_t at = size; at + width <= s.size(); at += width) {
        const uint32_t raw = get(s, at, static_cast<int>(width));
        data.push_back(width == 1 ? static_cast<int8_t>(raw) : static_cast<int16_t>(raw));
    }
    return {header, data};
}

std::vector<int> numbers(const Json &array)
{
    std::vector<int> out;
    for (const Json &item : array.items) out.push_back(static_cast<int>(item.number));
    return out;
}

TEST_F(TavoCli, PeaksMatchBruteForceMinMaxInJsonAndDat)
{
    const Pcm in = noise(8000, 2, 10007);
    writeWav(dir / "in.wav", in);
    ASSERT_EQ(tavo({"peaks", "in.wav", "-o", "w.json", "--samples-per-pixel", "100", "--channels", "all"}).code, 0);
    Json j;
    ASSERT_TRUE(parseJson(readFile(dir / "w.json"), j));
    // 101 pixels, the last one holding 7 frames.
    EXPECT_EQ(fields(j, {"version", "channels", "sample_rate", "samples_per_pixel", "bits", "length"}),
              (std::vector<double>{2, 2, 8000, 100, 16, 101}));
    EXPECT_EQ(numbers(j["data"]), bruteForce(in, 100, false));

    // Version 1: one merged channel, no version or channels keys.
    ASSERT_EQ(tavo({"peaks", "in.wav", "-o", "v1.json", "--version", "1", "--pixels-per-second", "80"}).code, 0);
    ASSERT_TRUE(parseJson(readFile(dir / "v1.json"), j = Json{}));
    EXPECT_FALSE(j.has("version") || j.has("channels"));
    EXPECT_EQ(j["samples_per_pixel"].number, 100);  // 8000 Hz / 80 pixels a second
    EXPECT_EQ(numbers(j["data"]), bruteForce(in, 100, true));

    const auto dat = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"peaks", "in.wav", "-o", "w.dat"});
        EXPECT_EQ(tavo(options).code, 0);
        return readDat(readFile(dir / "w.dat"));
    };
    auto [header, data] = dat({"--bits", "8", "--samples-per-pixel", "64"});
    EXPECT_EQ(header, (std::vector<int>{2, 1, 8000, 64, (10007 + 63) / 64, 1}));
    EXPECT_EQ(data, bruteForce(in, 64, true, 8));
    // --width 7 fits the whole sound in 7 pixels: ceil(10007 / 7) frames each.
    std::tie(header, data) = dat({"--width", "7", "--version", "1"});
    EXPECT_EQ(header, (std::vector<int>{1, 0, 8000, 1430, 7}));
    EXPECT_EQ(data, bruteForce(in, 1430, true));
    std::tie(header, data) = dat({"--channels", "all", "--samples-per-pixel", "1000"});
    EXPECT_EQ(header, (std::vector<int>{2, 0, 8000, 1000, 11, 2}));
    EXPECT_EQ(data, bruteForce(in, 1000, false));

    // Contradictory options and a missing input write nothing.
    fs::remove(dir / "w.dat");
    EXPECT_EQ(tavo({"peaks", "in.wav", "-o", "w.dat", "--version", "1", "--channels", "all"}).code, 2);
    EXPECT_EQ(tavo({"peaks", "in.wav", "-o", "w.txt"}).code, 2);
    EXPECT_EQ(tavo({"peaks", "in.wav", "-o", "w.dat", "--width", "5", "--samples-per-pixel", "3"}).code, 2);
    EXPECT_EQ(tavo({"peaks", "in.wav", "-o", "w.dat", "--bits", "12"}).code, 2);
    EXPECT_EQ(tavo({"peaks", "gone.wav", "-o", "w.dat"}).code, 1);
    EXPECT_FALSE(fs::exists(dir / "w.dat") || fs::exists(dir / "w.txt"));
}

// The settings file is the store's plain "key=value" text; `edit --set`
// changes a setting for the run only (boundary smoothing on changes the
// samples at a cut, off leaves a plain cut).
TEST_F(TavoCli, SettingsRoundTripThroughTheFileAndEditSetNeverPersists)
{
    ASSERT_EQ(tavo({"settings", "set", "cli.test.greeting", "hello world"}).code, 0);
    ASSERT_EQ(tavo({"settings", "set", "cli.test.count", "42"}).code, 0);
    ASSERT_EQ(tavo({"settings", "set", "other.key", "x"}).code, 0);
    EXPECT_EQ(tavo({"settings", "get", "cli.test.greeting"}).out, "hello world\n");
    EXPECT_NE(readFile(dir / "settings.conf").find("cli.test.greeting=hello world\n"), std::string::npos);
    EXPECT_EQ(tavo({"settings", "list", "cli.test"}).out, "cli.test.count=42\ncli.test.greeting=hello world\n");
    ASSERT_EQ(tavo({"settings", "unset", "cli.test.greeting"}).code, 0);
    const Result gone = tavo({"settings", "get", "cli.test.greeting"});
    EXPECT_EQ(gone.code, 1);
    EXPECT_NE(gone.err.find("cli.test.greeting"), std::string::npos);
    EXPECT_EQ(readFile(dir / "settings.conf").find("greeting"), std::string::npos);
    EXPECT_EQ(tavo({"settings", "get", "bad key!"}).code, 2);
    EXPECT_EQ(tavo({"settings", "set", "only.key"}).code, 2);

    ASSERT_EQ(tavo({"settings", "set", "libtavo.editoptions.smoothboundaries", "1"}).code, 0);
    const std::string before = readFile(dir / "settings.conf");
    const Pcm in = noise(8000, 1, 2000);
    const Pcm cut = without(in, {{500, 1500}});
    expectSameAudio(edited(in, {"select:500-1500", "cut"}), cut);  // with --set ...=0
    EXPECT_EQ(readFile(dir / "settings.conf"), before);
    ASSERT_EQ(tavo({"edit", "in.wav", "-o", "smooth.wav", "select:500-1500", "cut"}).code, 0);
    const Pcm smooth = readWav(dir / "smooth.wav");
    ASSERT_EQ(smooth.frames(), cut.frames());
    EXPECT_NE(smooth.samples, cut.samples);
}

TEST_F(TavoCli, LuaRunsScriptsWithArgAndTheModuleAndReportsErrors)
{
    const Pcm in = noise(16000, 2, 1234);
    writeWav(dir / "in.wav", in);
    std::ofstream(dir / "copy.lua") << "print(arg[0], select('#', ...), arg[1], arg[2])\n"
                                       "assert(require('libtavo') == libtavo)\n"
                                       "assert(assert(libtavo.open(arg[1])):save(arg[2], 'WAV'))\n"
                                       "local bad, message = libtavo.open('missing.wav')\n"
                                       "print(bad, type(message))\n";
    const Result r = tavo({"lua", "copy.lua", "in.wav", "copy.wav"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "copy.lua\t2\tin.wav\tcopy.wav\nnil\tstring\n");
    expectSameAudio(readWav(dir / "copy.wav"), in);

    std::ofstream(dir / "bad.lua") << "local x = 1\nerror('boom')\n";
    const Result bad = tavo({"lua", "bad.lua"});
    EXPECT_EQ(bad.code, 1);
    EXPECT_NE(bad.err.find("bad.lua:2: boom"), std::string::npos) << bad.err;
    EXPECT_EQ(tavo({"lua", "nowhere.lua"}).code, 2);
    std::ofstream(dir / "exit.lua") << "os.exit(7)\n";
    EXPECT_EQ(tavo({"lua", "exit.lua"}).code, 7);
}

// Ctrl-C: the tool catches SIGINT, says so and exits with 130 (a death by
// the signal itself would print nothing); an interrupted edit writes no OUT.
TEST_F(TavoCli, CtrlCStopsAScriptAndAnEditWithoutOutput)
{
    std::ofstream(dir / "loop.lua") << "while true do end\n";
    Result r = runInterrupted(dir, {"lua", "loop.lua"}, env, "0.3");
    EXPECT_EQ(r.code, 130);
    EXPECT_NE(r.err.find("interrupted"), std::string::npos) << r.err;

    // Thousands of steps keep the edit busy for seconds (a small undo stack
    // keeps its memory flat; the shell's command stays under the length of
    // one argument); the key press comes long before the end.
    writeWav(dir / "in.wav", noise(44100, 2, 3 * 44100));
    std::vector<std::string> args = {"edit", "in.wav", "-o", "out.wav", "--set",
                                     "libtavo.editoptions.undo_stack_size=2"};
    args.insert(args.end(), 8000, "reverse");
    r = runInterrupted(dir, args, env, "0.5");
    EXPECT_EQ(r.code, 130);
    EXPECT_NE(r.err.find("not written"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(dir / "out.wav"));
}

TEST_F(TavoCli, GenerateWritesTheAskedLengthAndFormat)
{
    ASSERT_EQ(tavo({"generate", "tone.wav", "--seconds", "1.5", "--rate", "16000", "--channels", "1"}).code, 0);
    const Pcm tone = readWav(dir / "tone.wav");
    EXPECT_EQ((std::vector<int64_t>{tone.rate, tone.channels, tone.frames()}), (std::vector<int64_t>{16000, 1, 24000}));
    // A 440 Hz sine of amplitude 0.5: peaks near half scale.
    const auto [lo, hi] = std::minmax_element(tone.samples.begin(), tone.samples.end());
    EXPECT_NEAR(*hi, 16384, 40);
    EXPECT_NEAR(*lo, -16384, 40);
    ASSERT_EQ(tavo({"generate", "quiet.flac", "--silence", "--seconds", "0.5"}).code, 0);
    const Json j = json({"info", "quiet.flac", "--json"});
    EXPECT_EQ(j["format"].text, "FLAC");
    EXPECT_EQ(fields(j, {"frames"}), std::vector<double>{22050});
}

}  // namespace
