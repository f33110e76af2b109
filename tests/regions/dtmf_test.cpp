// dtmf_test.cpp: detecting telephone key presses in generated signals:
// order and place, one undo step, no false alarms, the duration, pause,
// twist and tolerance rules, active channels, blocks, tracks, cancelling.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "audioregion.h"
#include "audiosignal.h"
#include "region_checks.h"
#include "tavonotify.h"
#include "tavoproc.h"
#include "tavoregions.h"

namespace {

// The telephone keypad's tone pairs (ITU-T Q.23), the generator's own copy.
std::vector<double> KeyTones(char key)
{
    const size_t at = std::string("123A456B789C*0#D").find(key);
    static const double lows[4] = {697, 770, 852, 941};
    static const double highs[4] = {1209, 1336, 1477, 1633};
    return {lows[at / 4], highs[at % 4]};
}

// A piece of the generated signal: a key press, silence (key 0) or any
// sum of sines (`freqs`), each of amplitude `amp`; the high tone of a key
// gets `highAmp` when that is not negative.
struct Piece {
    char key;
    double seconds;
    std::vector<double> freqs = {};
    double amp = 0.3;
    double highAmp = -1.0;
};

// A press as a region: label and frames.
struct Found {
    std::string label;
    int64_t begin;
    int64_t end;
};

// Samples of the pieces one after the other, with a little deterministic
// noise (about -50 dBFS) under everything, as a recording would have.
std::vector<float> Render(int32_t rate, const std::vector<Piece> &pieces, std::vector<Found> *truth)
{
    std::vector<float> out;
    uint32_t lcg = 12345;
    for (const Piece &piece : pieces) {
        const int64_t frames = std::llround(piece.seconds * rate);
        const std::vector<double> freqs = piece.key != 0 ? KeyTones(piece.key) : piece.freqs;
        if (piece.key != 0 && truth != nullptr)
            truth->push_back({std::string("DTMF: ") + piece.key, static_cast<int64_t>(out.size()),
                              static_cast<int64_t>(out.size()) + frames});
        for (int64_t i = 0; i < frames; ++i) {
            double v = 0;
            for (size_t t = 0; t < freqs.size(); ++t) {
                const double a = piece.key != 0 && t == 1 && piece.highAmp >= 0 ? piece.highAmp : piece.amp;
                v += a * std::sin(2.0 * M_PI * freqs[t] * static_cast<double>(i) / rate);
            }
            lcg = lcg * 1664525u + 1013904223u;
            v += 0.003 * (static_cast<double>(lcg >> 8) / 8388608.0 - 1.0);
            out.push_back(static_cast<float>(v));
        }
    }
    return out;
}

std::vector<float> Mix(std::vector<float> a, const std::vector<float> &b)
{
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) a[i] += b[i];
    return a;
}

// A WAV document (regions kept: no host question) of `channels` channels,
// each with its own samples, or all with the only ones given.
TAVOAUDIO MakeDocument(int32_t rate, int32_t channels, const std::vector<std::vector<float>> &perChannel)
{
    const std::string format = "AUTO[sr=" + std::to_string(rate) + ",nc=" + std::to_string(channels) + "]";
    AUDIOSIGNAL signal = AUDIOSIGNAL_New(format.c_str());
    const size_t frames = perChannel[0].size();
    std::vector<float> interleaved(frames * static_cast<size_t>(channels));
    for (size_t i = 0; i < interleaved.size(); ++i)
        interleaved[i] = perChannel[perChannel.size() == 1 ? 0 : i % channels][i / channels];
    AUDIOSIGNAL_AppendSamples(signal, interleaved.data(), static_cast<int64_t>(frames));
    TAVOAUDIO doc = TAVOAUDIO_NewFromSignalEx(signal, false, 0);
    if (doc != nullptr) TAVOAUDIO_SetFileFormat(doc, "WAV");
    return doc;
}

std::vector<Found> RegionsOf(TAVOAUDIO doc, int32_t track)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    const double rate = AUDIOSIGNAL_SampleRate(signal);
    AUDIOREGION list[64];
    const int32_t n = AUDIOSIGNAL_GetRegions(signal, track, 0, list, 64);
    std::vector<Found> found;
    for (int32_t i = 0; i < n; ++i)
        found.push_back({AUDIOREGION_GetLabel(list[i]), std::llround(AUDIOREGION_GetBegin(list[i]) * rate),
                         std::llround(AUDIOREGION_GetEnd(list[i]) * rate)});
    return found;
}

void ExpectNear(const Found &found, const Found &truth, int64_t tolerance)
{
    EXPECT_EQ(found.label, truth.label);
    EXPECT_LE(std::abs(found.begin - truth.begin), tolerance) << truth.label << " begins at " << found.begin;
    EXPECT_LE(std::abs(found.end - truth.end), tolerance) << truth.label << " ends at " << found.end;
}

using tavotest::NextUndo;

class DtmfRates : public ::testing::TestWithParam<int32_t> {};

TEST_P(DtmfRates, SequenceFoundInOrderAsOneUndoStep)
{
    const int32_t rate = GetParam();
    // The first press starts at the very first frame.
    const std::vector<Piece> pieces = {{'1', 0.080}, {0, 0.060}, {'5', 0.100}, {0, 0.050}, {'9', 0.070},
                                       {0, 0.200},   {'#', 0.045}, {0, 0.080}, {'A', 0.120}, {0, 0.100}};
    std::vector<Found> truth;
    TAVOAUDIO doc = MakeDocument(rate, 2, {Render(rate, pieces, &truth)});
    ASSERT_NE(doc, nullptr);

    ASSERT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, -1, nullptr, 0, nullptr), 5);
    const std::vector<Found> found = RegionsOf(doc, 0);
    ASSERT_EQ(found.size(), truth.size());
    for (size_t i = 0; i < truth.size(); ++i) ExpectNear(found[i], truth[i], rate / 100);   // 10 ms
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(NextUndo(doc), "Detect DTMF");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_TRUE(RegionsOf(doc, 0).empty());
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_EQ(RegionsOf(doc, 0).size(), truth.size());
    TAVOAUDIO_Close(doc);
}

INSTANTIATE_TEST_SUITE_P(Rates, DtmfRates, ::testing::Values(8000, 44100, 96000));

TEST(Dtmf, WhatCountsAsAPress)
{
    const int32_t rate = 8000;
    const auto keys = [&](const std::vector<Piece> &pieces) { return Render(rate, pieces, nullptr); };
    // A buzz with 100 Hz harmonics falling 1/k: partials sit at 700 and 1200
    // Hz, on a row and a column, but carry a small share of its energy.
    std::vector<float> buzz(static_cast<size_t>(rate), 0.0f);
    for (size_t i = 0; i < buzz.size(); ++i)
        for (int k = 1; k <= 30; ++k) buzz[i] += static_cast<float>(0.5 / k * std::sin(2.0 * M_PI * 100.0 * k * i / rate));
    std::vector<float> noise(static_cast<size_t>(rate));
    uint32_t lcg = 99;
    for (float &v : noise) {
        lcg = lcg * 1664525u + 1013904223u;
        v = static_cast<float>(0.5 * (static_cast<double>(lcg >> 8) / 8388608.0 - 1.0));
    }
    struct Case {
        std::vector<float> samples;
        std::vector<std::string> labels;
    };
    const Case cases[] = {
        {noise, {}},
        {buzz, {}},
        {keys({{0, 1.0, {770.0}, 0.5}}), {}},
        {keys({{0, 1.0, {440.0, 1100.0}}}), {}},
        // Key 5 with a third tone on the next row, 3.5 dB below: no receiver
        // can tell which row was meant.
        {Mix(keys({{'5', 1.0}}), keys({{0, 1.0, {852.0}, 0.2}})), {}},
        // 20 ms is a click, not a press; 45 ms is a press.
        {keys({{0, 0.1}, {'5', 0.020}, {0, 0.1}}), {}},
        {keys({{0, 0.1}, {'5', 0.045}, {0, 0.1}}), {"DTMF: 5"}},
        // The same key twice with a 45 ms pause is two presses; a 6 ms drop
        // inside one tone is not a pause.
        {keys({{0, 0.1}, {'7', 0.060}, {0, 0.045}, {'7', 0.060}, {0, 0.1}}), {"DTMF: 7", "DTMF: 7"}},
        {keys({{0, 0.1}, {'7', 0.060}, {0, 0.006}, {'7', 0.060}, {0, 0.1}}), {"DTMF: 7"}},
        // Twist: the high tone may be 8 dB weaker or 4 dB stronger than the
        // low one (6 dB and 3 dB pass, 12 dB and 7 dB do not).
        {keys({{0, 0.1}, {'8', 0.06, {}, 0.3, 0.3 * 0.5}, {0, 0.1}}), {"DTMF: 8"}},
        {keys({{0, 0.1}, {'8', 0.06, {}, 0.3, 0.3 * 0.25}, {0, 0.1}}), {}},
        {keys({{0, 0.1}, {'8', 0.06, {}, 0.2, 0.2 * 1.41}, {0, 0.1}}), {"DTMF: 8"}},
        {keys({{0, 0.1}, {'8', 0.06, {}, 0.2, 0.2 * 2.24}, {0, 0.1}}), {}},
        // Frequencies 1.5% off are accepted, 3.5% off rejected.
        {keys({{0, 0.1}, {0, 0.06, {941 * 1.015, 1633 * 1.015}}, {0, 0.1}}), {"DTMF: D"}},
        {keys({{0, 0.1}, {0, 0.06, {941 * 1.035, 1633 * 1.035}}, {0, 0.1}}), {}},
        {keys({{0, 0.1}, {0, 0.06, {697 * 0.965, 1209 * 0.965}}, {0, 0.1}}), {}},
        // -55 dBFS tones are below what counts as a press.
        {keys({{0, 0.1}, {'8', 0.06, {}, 0.0018}, {0, 0.1}}), {}},
        // Two keys back to back without a pause.
        {keys({{0, 0.1}, {'3', 0.060}, {'D', 0.060}, {0, 0.1}}), {"DTMF: 3", "DTMF: D"}},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        TAVOAUDIO doc = MakeDocument(rate, 1, {cases[i].samples});
        ASSERT_NE(doc, nullptr);
        EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, -1, nullptr, 0, nullptr), static_cast<int32_t>(cases[i].labels.size()));
        std::vector<std::string> labels;
        for (const Found &f : RegionsOf(doc, 0)) labels.push_back(f.label);
        EXPECT_EQ(labels, cases[i].labels);
        EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), labels.empty() ? 0 : 1);
        TAVOAUDIO_Close(doc);
    }
}

TEST(Dtmf, ActiveChannelsOnlyAndPressAcrossReadBlocks)
{
    const int32_t rate = 8000;
    // A press from 8.15 s to 8.25 s straddles frame 65536 (8.192 s).
    std::vector<Found> truth;
    const std::vector<float> keys = Render(rate, {{0, 8.15}, {'0', 0.100}, {0, 0.5}}, &truth);
    TAVOAUDIO doc = MakeDocument(rate, 2, {Render(rate, {{0, 8.75}}, nullptr), keys});
    ASSERT_NE(doc, nullptr);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);

    ASSERT_TRUE(AUDIOSIGNAL_SetActiveChannelMask(signal, 0x1));
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, -1, nullptr, 0, nullptr), 0);
    ASSERT_TRUE(AUDIOSIGNAL_SetActiveChannelMask(signal, 0x3));
    ASSERT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, -1, nullptr, 0, nullptr), 1);
    const std::vector<Found> found = RegionsOf(doc, 0);
    ASSERT_EQ(found.size(), 1u);
    ExpectNear(found[0], truth[0], rate / 100);
    TAVOAUDIO_Close(doc);
}

TEST(Dtmf, RangeTracksFlagsAndRefusals)
{
    const int32_t rate = 8000;
    std::vector<Found> truth;
    TAVOAUDIO doc = MakeDocument(
        rate, 1, {Render(rate, {{0, 0.1}, {'1', 0.08}, {0, 0.1}, {'2', 0.08}, {0, 0.1}, {'3', 0.08}, {0, 0.1}}, &truth)});
    ASSERT_NE(doc, nullptr);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);

    // Only the presses inside the range; the undo label is the caller's.
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, truth[1].begin - 400, truth[2].end + 400, nullptr, 0, "Find keys"), 2);
    EXPECT_EQ(NextUndo(doc), "Find keys");
    ASSERT_EQ(RegionsOf(doc, 0).size(), 2u);
    EXPECT_EQ(RegionsOf(doc, 0)[0].label, "DTMF: 2");
    // A range cutting a press in half ends the region at the range's end.
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, truth[0].begin + 480, nullptr, TAVOREGION_CREATE_NO_UNDO, nullptr), 1);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(RegionsOf(doc, 0).front().end, truth[0].begin + 480);

    // Refusals change nothing and say why.
    const int64_t length = AUDIOSIGNAL_NumFrames(signal);
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(nullptr, 0, -1, nullptr, 0, nullptr), -1);
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 200, 100, nullptr, 0, nullptr), -1);
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, length + 1, nullptr, 0, nullptr), -1);
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, -1, "nosuchtrack", 0, nullptr), -1);
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, -1, nullptr, TAVOREGION_CREATE_PER_CHANNEL, nullptr), -1);
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, true), 0u);
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 100, 100, nullptr, 0, nullptr), 0);
    EXPECT_EQ(RegionsOf(doc, 0).size(), 3u);

    // A read-only annotation track refuses unless the caller insists.
    AUDIOCUSTOMTRACK track = AUDIOSIGNAL_AddCustomTrack(signal, "keys", "Keys", nullptr);
    ASSERT_NE(track, nullptr);
    AUDIOCUSTOMTRACK_SetReadOnly(track, true);
    const int32_t index = AUDIOSIGNAL_FindRegionTrackIndex(signal, "keys");
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, -1, "keys", 0, nullptr), -1);
    EXPECT_TRUE(RegionsOf(doc, index).empty());
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, -1, "keys", TAVOREGION_CREATE_ON_READ_ONLY, nullptr), 3);
    EXPECT_EQ(RegionsOf(doc, index).size(), 3u);
    TAVOAUDIO_Close(doc);
}

// Holds the detection between its start and its first read: the start
// handler waits until the test holds the write lock, so the cancel lands
// while the scan cannot have finished.
struct CancelGate {
    TAVOAUDIO doc = nullptr;
    std::mutex mutex;
    std::condition_variable changed;
    bool started = false;
    bool locked = false;
    static int32_t OnStarted(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *gate = static_cast<CancelGate *>(user);
        if (event->source != gate->doc) return 1;
        std::unique_lock<std::mutex> lock(gate->mutex);
        gate->started = true;
        gate->changed.notify_all();
        gate->changed.wait(lock, [gate] { return gate->locked; });
        return 1;
    }
};

TEST(Dtmf, CancelledScanMakesNothing)
{
    const int32_t rate = 8000;
    TAVOAUDIO doc = MakeDocument(rate, 1, {Render(rate, {{'4', 0.1}, {0, 0.1}, {'6', 0.1}, {0, 20.0}}, nullptr)});
    ASSERT_NE(doc, nullptr);
    CancelGate gate;
    gate.doc = doc;
    ASSERT_TRUE(BLNOTIFY_AddDefaultHandler(TAVOEVENT_PROCESS_STARTED, &CancelGate::OnStarted, &gate));
    TAVOAUDIO_SetProcessProgress(doc, -1.0);

    std::atomic<int32_t> result{0};
    std::thread worker([&] { result = TAVOAUDIO_DetectDtmfEx(doc, 0, -1, nullptr, 0, nullptr); });
    {
        std::unique_lock<std::mutex> lock(gate.mutex);
        gate.changed.wait(lock, [&] { return gate.started; });
    }
    ASSERT_TRUE(TAVOAUDIO_GetWriteAccessEx(doc, false));
    {
        std::lock_guard<std::mutex> lock(gate.mutex);
        gate.locked = true;
    }
    gate.changed.notify_all();
    // The detection reports 0 just before it waits for its first block.
    while (TAVOAUDIO_ProcessProgress(doc) < 0.0) std::this_thread::yield();
    EXPECT_TRUE(TAVOAUDIO_ProcessCancel(doc));
    TAVOAUDIO_ReleaseWriteAccess(doc);
    worker.join();
    BLNOTIFY_DelDefaultHandler(TAVOEVENT_PROCESS_STARTED, &CancelGate::OnStarted, &gate);

    EXPECT_EQ(result.load(), -1);
    EXPECT_TRUE(TAVOAUDIO_ProcessWasCanceled(doc));
    EXPECT_TRUE(RegionsOf(doc, 0).empty());
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    // The next run starts afresh and finds both presses.
    EXPECT_EQ(TAVOAUDIO_DetectDtmfEx(doc, 0, -1, nullptr, 0, nullptr), 2);
    TAVOAUDIO_Close(doc);
}

}  // namespace
