// A long random run of edits on a signal and, side by side, on plain float
// arrays: after every step every sample of the signal, and of the
// duplicates kept along the way (as undo steps keep them), must match.
#include "ops_helpers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <deque>
#include <random>
#include <string>
#include <vector>

using namespace opstest;

namespace {

// Fixed start of the random run, so that a failure repeats.
constexpr uint32_t kRunStart = 20240611u;

// Some 300,000 frames: several blocks per channel, so that edits cross
// block boundaries; the length is steered to stay between these limits.
constexpr size_t kStartFrames = 300000;
constexpr size_t kFewestFrames = 100000;
constexpr size_t kMostFrames = 600000;

struct Reference {
    Channels channels;
    uint64_t activeMask = 0x3;

    size_t frames() const { return channels[0].size(); }
    bool active(size_t c) const { return ((activeMask >> c) & 1u) != 0; }
};

void expectSame(AUDIOSIGNAL signal, const Reference &model, const std::string &where)
{
    ASSERT_EQ(static_cast<size_t>(AUDIOSIGNAL_NumFrames(signal)), model.frames()) << where;
    for (size_t c = 0; c < model.channels.size(); ++c) {
        const std::vector<float> got = readChannel(signal, static_cast<int32_t>(c));
        const std::vector<float> &want = model.channels[c];
        for (size_t i = 0; i < want.size(); ++i) {
            // Gains are rounded to float once per step, as the arrays are;
            // allow one rounding either way.
            ASSERT_NEAR(got[i], want[i], 1e-6f * std::max(1.0f, std::fabs(want[i])))
                << where << ", channel " << c << ", frame " << i;
        }
    }
}

} // namespace

TEST(AudioOpsModel, RandomEditsMatchPlainArrays)
{
    std::mt19937 random(kRunStart);
    auto below = [&](size_t n) { return n == 0 ? size_t{0} : std::uniform_int_distribution<size_t>(0, n - 1)(random); };

    Reference model;
    model.channels = {noise(kStartFrames, 1), noise(kStartFrames, 2)};
    Signal signal = makeSignal(model.channels);
    std::deque<std::pair<Signal, Reference>> kept;  // duplicates, as undo steps hold them

    for (int step = 0; step < 200; ++step) {
        const size_t n = model.frames();
        size_t begin = below(n + 1);
        size_t end = std::min(n, begin + below(120000));
        // The engine's "to the end" for some steps.
        const bool toEnd = below(8) == 0;
        if (toEnd) end = n;
        const int64_t endArg = toEnd ? INT64_MAX : static_cast<int64_t>(end);
        size_t op = below(10);
        if (n < kFewestFrames && (op == 0 || op == 1)) op = 2;
        if (n > kMostFrames && op == 2) op = 1;
        std::string where = "step " + std::to_string(step) + " op " + std::to_string(op) + " [" +
                            std::to_string(begin) + ", " + std::to_string(end) + ")";

        switch (op) {
        case 0: {  // cut
            Signal clip(AUDIOSIGNAL_CutEx(signal.get(), nullptr, 0, static_cast<int64_t>(begin), endArg, 0.004));
            ASSERT_NE(clip, nullptr) << where;
            Reference removed;
            for (auto &channel : model.channels) {
                removed.channels.emplace_back(channel.begin() + static_cast<long>(begin),
                                              channel.begin() + static_cast<long>(end));
                channel.erase(channel.begin() + static_cast<long>(begin), channel.begin() + static_cast<long>(end));
            }
            expectSame(clip.get(), removed, where + " clipboard");
            break;
        }
        case 1:  // clear
            ASSERT_TRUE(AUDIOSIGNAL_ClearEx(signal.get(), 0, static_cast<int64_t>(begin), endArg, 0.004)) << where;
            for (auto &channel : model.channels) {
                channel.erase(channel.begin() + static_cast<long>(begin), channel.begin() + static_cast<long>(end));
            }
            break;
        case 2: {  // paste fresh audio, inserting or replacing
            const size_t length = below(90000);
            const Channels piece = {noise(length, 1000u + static_cast<uint32_t>(step)),
                                    noise(length, 2000u + static_cast<uint32_t>(step))};
            Signal source = makeSignal(piece);
            if (below(2) == 0) end = begin;
            int64_t pasted = -1;
            uint32_t error = 1;
            ASSERT_TRUE(AUDIOSIGNAL_PasteEx2(signal.get(), source.get(), 0, static_cast<int64_t>(begin),
                                             static_cast<int64_t>(end), &pasted, &error))
                << where;
            ASSERT_EQ(pasted, static_cast<int64_t>(length)) << where;
            for (size_t c = 0; c < 2; ++c) {
                auto &channel = model.channels[c];
                channel.erase(channel.begin() + static_cast<long>(begin), channel.begin() + static_cast<long>(end));
                channel.insert(channel.begin() + static_cast<long>(begin), piece[c].begin(), piece[c].end());
            }
            break;
        }
        case 3:  // silence
            ASSERT_TRUE(AUDIOSIGNAL_SilenceEx(signal.get(), 0, static_cast<int64_t>(begin), endArg)) << where;
            for (size_t c = 0; c < 2; ++c) {
                if (!model.active(c)) continue;
                std::fill(model.channels[c].begin() + static_cast<long>(begin),
                          model.channels[c].begin() + static_cast<long>(end), 0.0f);
            }
            break;
        case 4:  // invert
            ASSERT_TRUE(AUDIOSIGNAL_InvertEx(signal.get(), 0, static_cast<int64_t>(begin), endArg)) << where;
            for (size_t c = 0; c < 2; ++c) {
                if (!model.active(c)) continue;
                for (size_t i = begin; i < end; ++i) model.channels[c][i] = -model.channels[c][i];
            }
            break;
        case 5:  // reverse
            ASSERT_TRUE(AUDIOSIGNAL_ReverseEx(signal.get(), 0, static_cast<int64_t>(begin), endArg)) << where;
            for (size_t c = 0; c < 2; ++c) {
                if (!model.active(c)) continue;
                std::reverse(model.channels[c].begin() + static_cast<long>(begin),
                             model.channels[c].begin() + static_cast<long>(end));
            }
            break;
        case 6: {  // gain
            const double gain = 0.5 + static_cast<double>(below(1001)) / 1000.0;
            double gains[AUDIO_MAX_CHANNELS];
            std::fill(std::begin(gains), std::end(gains), gain);
            ASSERT_TRUE(AUDIOSIGNAL_ApplyLinearTransform(signal.get(), gains, nullptr, static_cast<int64_t>(begin),
                                                         endArg))
                << where;
            for (size_t c = 0; c < 2; ++c) {
                if (!model.active(c)) continue;
                for (size_t i = begin; i < end; ++i) {
                    model.channels[c][i] = static_cast<float>(gain * model.channels[c][i]);
                }
            }
            break;
        }
        case 7: {  // keep a duplicate, as an undo step does
            kept.emplace_back(Signal(AUDIOSIGNAL_DuplicateEx(signal.get(), 0)), model);
            ASSERT_NE(kept.back().first, nullptr) << where;
            if (kept.size() > 3) kept.pop_front();
            break;
        }
        case 8:  // swap the channels
            ASSERT_TRUE(AUDIOSIGNAL_SwapChannels(signal.get())) << where;
            std::swap(model.channels[0], model.channels[1]);
            break;
        case 9: {  // change the active channels
            model.activeMask = 1 + below(3);
            ASSERT_TRUE(AUDIOSIGNAL_SetActiveChannelMask(signal.get(), model.activeMask)) << where;
            break;
        }
        default:
            break;
        }
        expectSame(signal.get(), model, where);
        for (size_t k = 0; k < kept.size(); ++k) {
            expectSame(kept[k].first.get(), kept[k].second, where + " duplicate " + std::to_string(k));
        }
    }
}
