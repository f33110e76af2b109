// The `tavo` tool run as a user runs it: every test writes its input files
// itself (WAV written here, byte by byte), runs the built program and checks
// what it printed and wrote against facts computed here: the same cut,
// reverse or gain done on the raw samples, a brute-force min/max per pixel,
// the settings file as text.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <set>
#include <thread>

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
        // Not a terminal: no progress bar, no chatter.
        EXPECT_EQ(r.err, "");
        Pcm out;
        EXPECT_TRUE(readWav(dir / "out.wav", out)) << "out.wav is no 16-bit WAV";
        return out;
    }

    // Files of the test folder other than the tool's captured output.
    std::set<std::string> files() const
    {
        std::set<std::string> names;
        for (const auto &entry : fs::directory_iterator(dir)) {
            const std::string name = entry.path().filename().string();
            if (name != "stdout.txt" && name != "stderr.txt") names.insert(name);
        }
        return names;
    }

    fs::path dir;
    std::string env;
};

// The frames of `pcm` outside the half-open ranges, in order.
Pcm without(const Pcm &pcm, const std::vector<std::pair<int64_t, int64_t>> &ranges)
{
    Pcm out = pcm;
    out.samples.clear();
    for (int64_t f = 0; f < pcm.frames(); ++f) {
        bool removed = false;
        for (const auto &[b, e] : ranges) removed = removed || (f >= b && f < e);
        if (removed) continue;
        for (int c = 0; c < pcm.channels; ++c) out.samples.push_back(pcm.at(f, c));
    }
    return out;
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
    out.samples.assign(pcm.samples.begin(), pcm.samples.begin() + at * pcm.channels);
    out.samples.insert(out.samples.end(), source.samples.begin() + from * source.channels,
                       source.samples.begin() + to * source.channels);
    out.samples.insert(out.samples.end(), pcm.samples.begin() + at * pcm.channels, pcm.samples.end());
    return out;
}

void expectSameAudio(const Pcm &actual, const Pcm &expected)
{
    ASSERT_EQ(actual.rate, expected.rate);
    ASSERT_EQ(actual.channels, expected.channels);
    ASSERT_EQ(actual.frames(), expected.frames());
    for (size_t i = 0; i < expected.samples.size(); ++i)
        ASSERT_EQ(actual.samples[i], expected.samples[i]) << "frame " << i / expected.channels << " channel "
                                                          << i % expected.channels;
}

// ---- help and exit codes ---------------------------------------------------------

TEST(TavoCliUsage, HelpListsCommandsAndExitCodesAndBadUsageExitsWith2)
{
    const fs::path dir = fs::path(CLI_WORK_DIR);
    fs::create_directories(dir);
    const Result help = run(dir, {"--help"});
    EXPECT_EQ(help.code, 0);
    for (const char *word : {"info", "edit", "peaks", "settings", "lua", "130"})
        EXPECT_NE(help.out.find(word), std::string::npos) << word;
    for (const char *command : {"info", "edit", "peaks", "settings", "lua", "generate"}) {
        const Result r = run(dir, {command, "--help"});
        EXPECT_EQ(r.code, 0) << command;
        EXPECT_NE(r.out.find("usage: tavo"), std::string::npos) << command;
    }
    EXPECT_EQ(run(dir, {"frobnicate"}).code, 2);
    EXPECT_EQ(run(dir, {}).code, 2);
    EXPECT_EQ(run(dir, {"info", "--bogus", "x.wav"}).code, 2);
}

// ---- info ----------------------------------------------------------------------

TEST_F(TavoCli, InfoJsonDescribesTheFileAsWritten)
{
    writeWav(dir / "three.wav", noise(22050, 3, 12345));
    const Result r = tavo({"info", "three.wav", "--json"});
    ASSERT_EQ(r.code, 0) << r.err;
    Json j;
    ASSERT_TRUE(parseJson(r.out, j)) << r.out;
    EXPECT_EQ(j["format"].text, "WAV");
    EXPECT_EQ(j["rate"].number, 22050);
    EXPECT_EQ(j["channels"].number, 3);
    EXPECT_EQ(j["frames"].number, 12345);
    EXPECT_NEAR(j["duration"].number, 12345.0 / 22050.0, 1e-6);
    EXPECT_EQ(j["bits"].number, 16);
    EXPECT_EQ(j["regions"].number, 0);
    EXPECT_EQ(j["markers"].number, 0);

    const Result text = tavo({"info", "three.wav"});
    ASSERT_EQ(text.code, 0);
    EXPECT_NE(text.out.find("12345"), std::string::npos);
    EXPECT_NE(text.out.find("22050 Hz"), std::string::npos);
}

TEST_F(TavoCli, InfoOfMissingOrNonAudioFileFailsNamingIt)
{
    Result r = tavo({"info", "nowhere.wav"});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("nowhere.wav"), std::string::npos);
    EXPECT_EQ(r.out, "");

    std::ofstream(dir / "text.wav") << "this is not a sound\n";
    r = tavo({"info", "text.wav", "--json"});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("text.wav"), std::string::npos);
}

// Tags, regions and markers set by edit steps come back through info.
TEST_F(TavoCli, InfoCountsWhatEditStepsAdded)
{
    writeWav(dir / "in.wav", noise(8000, 1, 8000));
    const Result e = tavo({"edit", "in.wav", "-o", "tagged.flac", "tag:title=Morning Take", "tag:artist=Quartet",
                           "region:100-2000:Intro", "region:0.5s-0.75s:Middle", "marker:4000:Cue"});
    ASSERT_EQ(e.code, 0) << e.err;
    const Result r = tavo({"info", "tagged.flac", "--json"});
    ASSERT_EQ(r.code, 0) << r.err;
    Json j;
    ASSERT_TRUE(parseJson(r.out, j)) << r.out;
    EXPECT_EQ(j["format"].text, "FLAC");
    ASSERT_TRUE(j["tags"].has("TITLE"));
    EXPECT_EQ(j["tags"]["TITLE"].text, "Morning Take");
    EXPECT_EQ(j["tags"]["ARTIST"].text, "Quartet");
    // Regions and markers are counted on a WAV file, which keeps both kinds.
    const Result w = tavo({"edit", "in.wav", "-o", "marked.wav", "region:100-2000:Intro",
                           "region:0.5s-0.75s:Middle", "marker:4000:Cue"});
    ASSERT_EQ(w.code, 0) << w.err;
    const Result m = tavo({"info", "marked.wav", "--json"});
    ASSERT_TRUE(parseJson(m.out, j)) << m.out;
    EXPECT_EQ(j["regions"].number, 2);
    EXPECT_EQ(j["markers"].number, 1);
}

// ---- edit: samples against the same operation on the raw samples ------------------

TEST_F(TavoCli, CutOfSeveralSelectionsRemovesExactlyThoseFrames)
{
    const Pcm in = noise(10000, 2, 1000);
    expectSameAudio(edited(in, {"select:100-300,500-600", "cut"}), without(in, {{100, 300}, {500, 600}}));
    // Seconds: 0.01 s to 0.025 s at 10 kHz are frames 100 to 250.
    expectSameAudio(edited(in, {"select:0.01s-0.025s", "cut"}), without(in, {{100, 250}}));
    // Clear removes the same frames and keeps no clipboard.
    expectSameAudio(edited(in, {"select:0-10,990-1000", "clear"}), without(in, {{0, 10}, {990, 1000}}));
}

TEST_F(TavoCli, ReverseOfSelectionAndOfWholeSound)
{
    const Pcm in = noise(8000, 2, 900);
    expectSameAudio(edited(in, {"select:200-700", "reverse"}), reversed(in, 200, 700));
    const Pcm whole = edited(in, {"reverse"});
    expectSameAudio(whole, reversed(in, 0, 900));
    // sox, where installed, agrees as a second opinion.
    if (std::system("command -v sox >/dev/null 2>&1") == 0) {
        const std::string command = "sox " + quote((dir / "in.wav").string()) + " " +
                                    quote((dir / "sox.wav").string()) + " reverse";
        ASSERT_EQ(std::system(command.c_str()), 0);
        Pcm bySox;
        ASSERT_TRUE(readWav(dir / "sox.wav", bySox));
        expectSameAudio(whole, bySox);
    }
}

TEST_F(TavoCli, GainScalesEverySampleByTheDecibelFactor)
{
    const Pcm in = noise(8000, 2, 700);
    const double db = -3.5;
    const double factor = std::pow(10.0, db / 20.0);
    const Pcm out = edited(in, {"gain:-3.5"});
    ASSERT_EQ(out.frames(), in.frames());
    for (size_t i = 0; i < in.samples.size(); ++i)
        ASSERT_NEAR(out.samples[i], in.samples[i] * factor, 1.0) << "sample " << i;
    // On a selection only: the frames outside stay bit for bit.
    const Pcm part = edited(in, {"select:100-200", "gain:-3.5"});
    for (int64_t f = 0; f < in.frames(); ++f)
        for (int c = 0; c < 2; ++c) {
            if (f >= 100 && f < 200)
                ASSERT_NEAR(part.at(f, c), in.at(f, c) * factor, 1.0);
            else
                ASSERT_EQ(part.at(f, c), in.at(f, c)) << "frame " << f;
        }
}

TEST_F(TavoCli, InsertSilenceAtTheCursor)
{
    const Pcm in = noise(8000, 2, 600);
    Pcm zeros = in;
    zeros.samples.assign(static_cast<size_t>(100 * 2), 0);
    expectSameAudio(edited(in, {"cursor:250", "insert-silence:100"}), inserted(in, 250, zeros, 0, 100));
    // Seconds: 0.05 s at 8 kHz is 400 frames, here at the very end.
    zeros.samples.assign(static_cast<size_t>(400 * 2), 0);
    expectSameAudio(edited(in, {"cursor:600", "insert-silence:0.05s"}), inserted(in, 600, zeros, 0, 400));
}

TEST_F(TavoCli, CopyPasteAndPasteAtInsertTheClipboard)
{
    const Pcm in = noise(8000, 1, 500);
    expectSameAudio(edited(in, {"select:100-200", "copy", "cursor:0", "paste"}), inserted(in, 0, in, 100, 200));
    // Cut then paste at a position of the shortened sound.
    const Pcm shortened = without(in, {{300, 350}});
    expectSameAudio(edited(in, {"select:300-350", "cut", "paste-at:10"}), inserted(shortened, 10, in, 300, 350));
    // Appending a file adds its frames at the end.
    writeWav(dir / "tail.wav", noise(8000, 1, 77, 7u));
    Pcm tail;
    ASSERT_TRUE(readWav(dir / "tail.wav", tail));
    expectSameAudio(edited(in, {"append-file:tail.wav"}), inserted(in, 500, tail, 0, 77));
}

TEST_F(TavoCli, UndoAndRedoWalkTheSteps)
{
    const Pcm in = noise(8000, 2, 400);
    expectSameAudio(edited(in, {"reverse", "undo"}), in);
    expectSameAudio(edited(in, {"reverse", "undo", "redo"}), reversed(in, 0, 400));
    expectSameAudio(edited(in, {"select:0-100", "cut", "reverse", "undo", "undo"}), in);
}

TEST_F(TavoCli, LosslessFormatsRoundTripThroughTheExtensionAndFormat)
{
    const Pcm in = noise(11025, 2, 3000);
    writeWav(dir / "in.wav", in);
    ASSERT_EQ(tavo({"edit", "in.wav", "-o", "mid.flac"}).code, 0);
    ASSERT_EQ(tavo({"edit", "mid.flac", "-o", "mid.data", "--format", "aiff"}).code, 0);
    const Result info = tavo({"info", "mid.data", "--json"});
    Json j;
    ASSERT_TRUE(parseJson(info.out, j)) << info.out << info.err;
    EXPECT_EQ(j["format"].text, "AIFF");
    ASSERT_EQ(tavo({"edit", "mid.data", "-o", "back.wav"}).code, 0);
    Pcm back;
    ASSERT_TRUE(readWav(dir / "back.wav", back));
    expectSameAudio(back, in);
    // An extension that names no format, without --format, is a usage error.
    EXPECT_EQ(tavo({"edit", "in.wav", "-o", "out.xyz"}).code, 2);
    EXPECT_FALSE(fs::exists(dir / "out.xyz"));
}

// ---- edit: failures leave OUT alone ---------------------------------------------

TEST_F(TavoCli, FailingStepLeavesExistingOutputUntouchedAndNamesTheStep)
{
    writeWav(dir / "in.wav", noise(8000, 2, 1000));
    writeWav(dir / "out.wav", noise(8000, 1, 10, 3u));
    const std::string before = readFile(dir / "out.wav");
    const Result r = tavo({"edit", "in.wav", "-o", "out.wav", "select:0-100", "cut", "select:0-99999", "reverse"});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("step 3"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("select:0-99999"), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "one line: " << r.err;
    EXPECT_EQ(readFile(dir / "out.wav"), before);
    // No temporary file is left beside it either.
    EXPECT_EQ(files(), (std::set<std::string>{"in.wav", "out.wav"}));
}

TEST_F(TavoCli, BadStepsPositionsAndFilesWriteNothing)
{
    writeWav(dir / "in.wav", noise(8000, 2, 1000));
    struct Case {
        std::vector<std::string> steps;
        int code;
        const char *named;  // what the message must name
    };
    const Case cases[] = {
        {{"reverse", "wobble"}, 2, "wobble"},                      // unknown step
        {{"select:5"}, 2, "select:5"},                             // malformed range
        {{"gain:loud"}, 2, "gain:loud"},                           // malformed number
        {{"cut"}, 1, "cut"},                                       // no selection
        {{"paste"}, 1, "paste"},                                   // empty clipboard
        {{"cursor:2000"}, 1, "cursor:2000"},                       // past the end
        {{"paste-file:missing.wav"}, 1, "missing.wav"},            // no such file
        {{"select:0-10", "fade-in:No-Such-Curve"}, 1, "fade-in"},  // unknown curve
        {{"undo"}, 1, "undo"},                                     // nothing to undo
        {{"channels:1", "swap-channels"}, 1, "swap-channels"},     // needs stereo
    };
    for (const Case &c : cases) {
        std::vector<std::string> args = {"edit", "in.wav", "-o", "out.wav"};
        args.insert(args.end(), c.steps.begin(), c.steps.end());
        const Result r = tavo(args);
        EXPECT_EQ(r.code, c.code) << c.named << ": " << r.err;
        EXPECT_NE(r.err.find(c.named), std::string::npos) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "one line: " << r.err;
        EXPECT_FALSE(fs::exists(dir / "out.wav")) << c.named;
    }
    EXPECT_EQ(files(), (std::set<std::string>{"in.wav"}));
    // The input is never the output.
    EXPECT_EQ(tavo({"edit", "in.wav", "-o", "in.wav", "reverse"}).code, 2);
}

// ---- peaks: against a brute-force min/max per pixel ----------------------------------

struct Peaks {
    int version = 0, channels = 0, rate = 0, spp = 0, bits = 0;
    int64_t length = 0;
    std::vector<int> data;
};

// min/max per pixel of `pixel` frames, per channel or merged, scaled to bits.
std::vector<int> bruteForce(const Pcm &pcm, int64_t pixel, bool merged, int bits)
{
    std::vector<int> out;
    for (int64_t p = 0; p * pixel < pcm.frames(); ++p) {
        const int64_t end = std::min(pcm.frames(), (p + 1) * pixel);
        int mergedMin = 32767, mergedMax = -32768;
        for (int c = 0; c < pcm.channels; ++c) {
            int mn = 32767, mx = -32768;
            for (int64_t f = p * pixel; f < end; ++f) {
                mn = std::min<int>(mn, pcm.at(f, c));
                mx = std::max<int>(mx, pcm.at(f, c));
            }
            mergedMin = std::min(mergedMin, mn);
            mergedMax = std::max(mergedMax, mx);
            if (!merged) {
                out.push_back(bits == 8 ? mn >> 8 : mn);
                out.push_back(bits == 8 ? mx >> 8 : mx);
            }
        }
        if (merged) {
            out.push_back(bits == 8 ? mergedMin >> 8 : mergedMin);
            out.push_back(bits == 8 ? mergedMax >> 8 : mergedMax);
        }
    }
    return out;
}

Peaks readDat(const std::string &s)
{
    Peaks p;
    p.version = static_cast<int>(get(s, 0, 4));
    p.bits = (get(s, 4, 4) & 1) != 0 ? 8 : 16;
    p.rate = static_cast<int>(get(s, 8, 4));
    p.spp = static_cast<int>(get(s, 12, 4));
    p.length = get(s, 16, 4);
    size_t at = 20;
    p.channels = 1;
    if (p.version == 2) {
        p.channels = static_cast<int>(get(s, 20, 4));
        at = 24;
    }
    const int width = p.bits / 8;
    for (; at + width <= s.size(); at += width) {
        const uint32_t raw = get(s, at, width);
        p.data.push_back(width == 1 ? static_cast<int8_t>(raw) : static_cast<int16_t>(raw));
    }
    return p;
}

TEST_F(TavoCli, PeaksJsonMatchesBruteForcePerChannel)
{
    const Pcm in = noise(8000, 2, 10007);
    writeWav(dir / "in.wav", in);
    const Result r = tavo({"peaks", "in.wav", "-o", "w.json", "--samples-per-pixel", "100", "--channels", "all"});
    ASSERT_EQ(r.code, 0) << r.err;
    Json j;
    ASSERT_TRUE(parseJson(readFile(dir / "w.json"), j));
    EXPECT_EQ(j["version"].number, 2);
    EXPECT_EQ(j["channels"].number, 2);
    EXPECT_EQ(j["sample_rate"].number, 8000);
    EXPECT_EQ(j["samples_per_pixel"].number, 100);
    EXPECT_EQ(j["bits"].number, 16);
    EXPECT_EQ(j["length"].number, 101);  // the last pixel holds 7 frames
    const std::vector<int> expected = bruteForce(in, 100, false, 16);
    ASSERT_EQ(j["data"].items.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(j["data"].items[i].number, expected[i]) << "value " << i;

    // Version 1: one merged channel, no version or channels keys.
    ASSERT_EQ(tavo({"peaks", "in.wav", "-o", "v1.json", "--version", "1", "--pixels-per-second", "80"}).code, 0);
    Json v1;
    ASSERT_TRUE(parseJson(readFile(dir / "v1.json"), v1));
    EXPECT_FALSE(v1.has("version"));
    EXPECT_FALSE(v1.has("channels"));
    EXPECT_EQ(v1["samples_per_pixel"].number, 100);  // 8000 Hz / 80 pixels a second
    const std::vector<int> merged = bruteForce(in, 100, true, 16);
    ASSERT_EQ(v1["data"].items.size(), merged.size());
    for (size_t i = 0; i < merged.size(); ++i) ASSERT_EQ(v1["data"].items[i].number, merged[i]) << "value " << i;
}

TEST_F(TavoCli, PeaksDatHeaderAndValuesIn8And16Bits)
{
    const Pcm in = noise(44100, 2, 10007, 11u);
    writeWav(dir / "in.wav", in);
    ASSERT_EQ(tavo({"peaks", "in.wav", "-o", "w8.dat", "--bits", "8", "--samples-per-pixel", "64"}).code, 0);
    const std::string bytes8 = readFile(dir / "w8.dat");
    Peaks p = readDat(bytes8);
    EXPECT_EQ(p.version, 2);
    EXPECT_EQ(p.bits, 8);
    EXPECT_EQ(p.rate, 44100);
    EXPECT_EQ(p.spp, 64);
    EXPECT_EQ(p.channels, 1);
    EXPECT_EQ(p.length, (10007 + 63) / 64);
    EXPECT_EQ(bytes8.size(), 24 + static_cast<size_t>(p.length) * 2);
    EXPECT_EQ(p.data, bruteForce(in, 64, true, 8));

    // --width 7 fits the whole sound in 7 pixels: ceil(10007 / 7) frames each.
    ASSERT_EQ(tavo({"peaks", "in.wav", "-o", "w16.dat", "--width", "7", "--version", "1"}).code, 0);
    p = readDat(readFile(dir / "w16.dat"));
    EXPECT_EQ(p.version, 1);
    EXPECT_EQ(p.bits, 16);
    EXPECT_EQ(p.spp, 1430);
    EXPECT_EQ(p.length, 7);
    EXPECT_EQ(p.data, bruteForce(in, 1430, true, 16));

    ASSERT_EQ(tavo({"peaks", "in.wav", "-o", "all.dat", "--channels", "all", "--samples-per-pixel", "1000"}).code, 0);
    p = readDat(readFile(dir / "all.dat"));
    EXPECT_EQ(p.channels, 2);
    EXPECT_EQ(p.data, bruteForce(in, 1000, false, 16));
}

TEST_F(TavoCli, PeaksRefusesContradictoryOptions)
{
    writeWav(dir / "in.wav", noise(8000, 2, 100));
    EXPECT_EQ(tavo({"peaks", "in.wav", "-o", "w.dat", "--version", "1", "--channels", "all"}).code, 2);
    EXPECT_EQ(tavo({"peaks", "in.wav", "-o", "w.txt"}).code, 2);
    EXPECT_EQ(tavo({"peaks", "in.wav", "-o", "w.dat", "--width", "5", "--samples-per-pixel", "3"}).code, 2);
    EXPECT_EQ(tavo({"peaks", "in.wav", "-o", "w.dat", "--bits", "12"}).code, 2);
    EXPECT_EQ(tavo({"peaks", "gone.wav", "-o", "w.dat"}).code, 1);
    EXPECT_EQ(files(), (std::set<std::string>{"in.wav"}));
}

// ---- settings ---------------------------------------------------------------------

TEST_F(TavoCli, SettingsSetGetListUnsetRoundTripThroughTheFile)
{
    ASSERT_EQ(tavo({"settings", "set", "cli.test.greeting", "hello world"}).code, 0);
    ASSERT_EQ(tavo({"settings", "set", "cli.test.count", "42"}).code, 0);
    ASSERT_EQ(tavo({"settings", "set", "other.key", "x"}).code, 0);
    EXPECT_EQ(tavo({"settings", "get", "cli.test.greeting"}).out, "hello world\n");
    // The file is the store's plain "key=value" text.
    const std::string file = readFile(dir / "settings.conf");
    EXPECT_NE(file.find("cli.test.greeting=hello world\n"), std::string::npos) << file;
    EXPECT_EQ(tavo({"settings", "list", "cli.test"}).out, "cli.test.count=42\ncli.test.greeting=hello world\n");

    ASSERT_EQ(tavo({"settings", "unset", "cli.test.greeting"}).code, 0);
    const Result gone = tavo({"settings", "get", "cli.test.greeting"});
    EXPECT_EQ(gone.code, 1);
    EXPECT_NE(gone.err.find("cli.test.greeting"), std::string::npos);
    EXPECT_EQ(readFile(dir / "settings.conf").find("greeting"), std::string::npos);
    EXPECT_EQ(tavo({"settings", "get", "bad key!"}).code, 2);
    EXPECT_EQ(tavo({"settings", "set", "only.key"}).code, 2);
}

// --set changes a setting for the run only: the file is not written, and the
// edit sees the value (boundary smoothing on changes the samples at a cut).
TEST_F(TavoCli, EditSetAppliesForTheRunAndNeverPersists)
{
    ASSERT_EQ(tavo({"settings", "set", "libtavo.editoptions.smoothboundaries", "1"}).code, 0);
    const std::string before = readFile(dir / "settings.conf");
    const Pcm in = noise(8000, 1, 2000);
    const Pcm cut = without(in, {{500, 1500}});
    expectSameAudio(edited(in, {"select:500-1500", "cut"}), cut);  // run with smoothboundaries=0
    EXPECT_EQ(readFile(dir / "settings.conf"), before);
    EXPECT_EQ(tavo({"settings", "get", "libtavo.editoptions.smoothboundaries"}).out, "1\n");

    // Without --set the file's value (smoothing on) is in force: the frames
    // at the joint differ from a plain cut.
    ASSERT_EQ(tavo({"edit", "in.wav", "-o", "smooth.wav", "select:500-1500", "cut"}).code, 0);
    Pcm smooth;
    ASSERT_TRUE(readWav(dir / "smooth.wav", smooth));
    ASSERT_EQ(smooth.frames(), cut.frames());
    EXPECT_NE(smooth.samples, cut.samples);
}

// ---- lua ------------------------------------------------------------------------

TEST_F(TavoCli, LuaRunsScriptWithArgAndTheModule)
{
    const Pcm in = noise(16000, 2, 1234);
    writeWav(dir / "in.wav", in);
    std::ofstream(dir / "copy.lua") << "print(arg[0], select('#', ...), arg[1], arg[2])\n"
                                       "assert(require('libtavo') == libtavo)\n"
                                       "local d = assert(libtavo.open(arg[1]))\n"
                                       "assert(d:save(arg[2], 'WAV'))\n"
                                       "local bad, message = libtavo.open('missing.wav')\n"
                                       "print(bad, type(message))\n";
    const Result r = tavo({"lua", "copy.lua", "in.wav", "copy.wav"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "copy.lua\t2\tin.wav\tcopy.wav\nnil\tstring\n");
    Pcm copy;
    ASSERT_TRUE(readWav(dir / "copy.wav", copy));
    expectSameAudio(copy, in);
}

TEST_F(TavoCli, LuaErrorsAndMissingScriptsFail)
{
    std::ofstream(dir / "bad.lua") << "local x = 1\nerror('boom')\n";
    const Result r = tavo({"lua", "bad.lua"});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("bad.lua:2: boom"), std::string::npos) << r.err;
    EXPECT_EQ(tavo({"lua", "nowhere.lua"}).code, 2);
    std::ofstream(dir / "exit.lua") << "os.exit(7)\n";
    EXPECT_EQ(tavo({"lua", "exit.lua"}).code, 7);
}

// ---- Ctrl-C ---------------------------------------------------------------------

// Starts the tool in `dir` and sends SIGINT after `delay`; the exit status,
// or 1000 + the signal's number when a signal ended the process.
int interruptAfter(const fs::path &dir, const std::vector<std::string> &args, std::chrono::milliseconds delay)
{
    const pid_t pid = fork();
    if (pid == 0) {
        if (chdir(dir.c_str()) != 0) _exit(99);
        setenv("TAVO_SETTINGS", (dir / "settings.conf").c_str(), 1);
        std::vector<char *> argv;
        std::string tool = TAVO_TOOL;
        argv.push_back(tool.data());
        std::vector<std::string> copies = args;
        for (std::string &a : copies) argv.push_back(a.data());
        argv.push_back(nullptr);
        freopen("/dev/null", "w", stdout);
        freopen((dir / "stderr.txt").c_str(), "w", stderr);
        execv(TAVO_TOOL, argv.data());
        _exit(98);
    }
    std::this_thread::sleep_for(delay);
    kill(pid, SIGINT);
    int status = 0;
    waitpid(pid, &status, 0);
    // A death by the signal itself is told apart from the tool's own exit 130.
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

TEST_F(TavoCli, CtrlCStopsAScriptAndAnEditWithoutOutput)
{
    std::ofstream(dir / "loop.lua") << "while true do end\n";
    EXPECT_EQ(interruptAfter(dir, {"lua", "loop.lua"}, std::chrono::milliseconds(500)), 130);
    EXPECT_NE(readFile(dir / "stderr.txt").find("interrupted"), std::string::npos);

    // Thousands of steps keep the edit busy for many seconds (a small undo
    // stack keeps its memory flat); the key press comes long before the end.
    writeWav(dir / "in.wav", noise(44100, 2, 44100));
    std::vector<std::string> args = {"edit", "in.wav", "-o", "out.wav", "--set",
                                     "libtavo.editoptions.undo_stack_size=2"};
    for (int i = 0; i < 20000; ++i) args.push_back("reverse");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(interruptAfter(dir, args, std::chrono::milliseconds(700)), 130);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_FALSE(fs::exists(dir / "out.wav"));
    EXPECT_NE(readFile(dir / "stderr.txt").find("not written"), std::string::npos);
}

// ---- generate -------------------------------------------------------------------

TEST_F(TavoCli, GenerateWritesTheAskedLengthAndFormat)
{
    ASSERT_EQ(tavo({"generate", "tone.wav", "--seconds", "1.5", "--rate", "16000", "--channels", "1"}).code, 0);
    Pcm tone;
    ASSERT_TRUE(readWav(dir / "tone.wav", tone));
    EXPECT_EQ(tone.rate, 16000);
    EXPECT_EQ(tone.channels, 1);
    EXPECT_EQ(tone.frames(), 24000);
    // A 440 Hz sine of amplitude 0.5: peaks near half scale.
    const auto [lo, hi] = std::minmax_element(tone.samples.begin(), tone.samples.end());
    EXPECT_NEAR(*hi, 16384, 40);
    EXPECT_NEAR(*lo, -16384, 40);
    ASSERT_EQ(tavo({"generate", "quiet.flac", "--silence", "--seconds", "0.5"}).code, 0);
    Json j;
    ASSERT_TRUE(parseJson(tavo({"info", "quiet.flac", "--json"}).out, j));
    EXPECT_EQ(j["format"].text, "FLAC");
    EXPECT_EQ(j["frames"].number, 22050);
}

}  // namespace
