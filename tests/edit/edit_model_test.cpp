// edit_model_test.cpp: randomised sequences of edits, undos and redos run
// in lockstep on a document and on a plain reference model (one vector of
// samples a channel, a selection list, a cursor and two label stacks),
// compared after every step.
//
// The normal test run plays a short version; TAVO_EDIT_MODEL_LONG=1 plays
// a long one (TAVO_EDIT_MODEL_START picks another first sequence).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "audiosignal.h"
#include "blsettings.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavoselection.h"
#include "tavoundo.h"
#include "tavozoom.h"

namespace {

// A power-of-two rate makes every frame position an exact number of
// seconds, so selections round-trip through seconds without rounding.
constexpr int32_t kRate = 8192;
constexpr size_t kUndoCapacity = 128;   // the stack's default size
constexpr float kTolerance = 1e-6f;     // gains are computed in double, stored as float

using Channels = std::vector<std::vector<float>>;
using Range = std::pair<int64_t, int64_t>;

struct Snapshot {
    Channels samples;
    std::vector<Range> selections;   // sorted, disjoint, not touching
    int64_t cursor = 0;
};

int64_t frames(const Channels &c)
{
    return static_cast<int64_t>(c[0].size());
}

// What the document should hold, with the undo history as whole snapshots.
struct Model {
    Snapshot now;
    std::vector<std::pair<std::string, Snapshot>> undo, redo;
    Channels clipboard;   // empty: none

    void record(const std::string &label, const Snapshot &before)
    {
        undo.emplace_back(label, before);
        if (undo.size() > kUndoCapacity) undo.erase(undo.begin());
        redo.clear();
    }
    void stepBack()
    {
        redo.emplace_back(undo.back().first, now);
        now = undo.back().second;
        undo.pop_back();
    }
    void stepForward()
    {
        undo.emplace_back(redo.back().first, now);
        now = redo.back().second;
        redo.pop_back();
    }
};

Channels cutRanges(Channels &samples, const std::vector<Range> &ranges)
{
    Channels removed(samples.size());
    // Later ranges first, so earlier positions stay valid; pieces collected
    // in list order.
    for (size_t c = 0; c < samples.size(); ++c) {
        for (const Range &r : ranges) {
            removed[c].insert(removed[c].end(), samples[c].begin() + r.first, samples[c].begin() + r.second);
        }
        for (auto it = ranges.rbegin(); it != ranges.rend(); ++it)
            samples[c].erase(samples[c].begin() + it->first, samples[c].begin() + it->second);
    }
    return removed;
}

void insertAt(Channels &samples, const Channels &source, int64_t at)
{
    for (size_t c = 0; c < samples.size(); ++c)
        samples[c].insert(samples[c].begin() + at, source[c].begin(), source[c].end());
}

// The selection list's add rule: a range that overlaps or touches existing
// selections merges with them.
void addSelection(std::vector<Range> &list, Range r)
{
    std::vector<Range> out;
    for (const Range &s : list) {
        if (s.second < r.first || r.second < s.first) {
            out.push_back(s);
        } else {
            r = {std::min(r.first, s.first), std::max(r.second, s.second)};
        }
    }
    out.push_back(r);
    std::sort(out.begin(), out.end());
    list = out;
}

template <typename F>
void forEachRangeOrAll(const Snapshot &s, F f)
{
    if (s.selections.empty()) {
        f(0, frames(s.samples));
    } else {
        for (const Range &r : s.selections) f(r.first, r.second);
    }
}

class Sequence {
public:
    Sequence(uint32_t number, int32_t channels) : m_rng(number), m_channels(channels)
    {
        const int64_t length = pick(500, 4000);
        m_model.now.samples.assign(static_cast<size_t>(channels), {});
        std::uniform_real_distribution<float> value(-0.9f, 0.9f);
        std::vector<float> interleaved;
        for (int64_t i = 0; i < length; ++i) {
            for (int32_t c = 0; c < channels; ++c) {
                const float v = value(m_rng);
                m_model.now.samples[static_cast<size_t>(c)].push_back(v);
                interleaved.push_back(v);
            }
        }
        // Float samples: what the model computes is what the signal stores.
        const std::string format =
            "AUTO[sr=" + std::to_string(kRate) + ",nc=" + std::to_string(channels) + ",bits=32,type=float]";
        AUDIOSIGNAL signal = AUDIOSIGNAL_New(format.c_str());
        AUDIOSIGNAL_AppendSamples(signal, interleaved.data(), length);
        m_doc = TAVOAUDIO_NewFromSignalEx(signal, false, 0);
        for (int32_t c = 0; c < channels; ++c)
            AUDIOSIGNAL_GetChannelSamplesEx(signal, c, 0, length, m_model.now.samples[static_cast<size_t>(c)].data());
        m_model.now.cursor = TAVOAUDIO_GetCursorPosition(m_doc);
    }
    ~Sequence()
    {
        if (m_clipboard != nullptr) AUDIOSIGNAL_Destroy(m_clipboard);
        TAVOAUDIO_Close(m_doc);
    }

    bool valid() const { return m_doc != nullptr; }

    // Plays one random step; returns its description.
    std::string step()
    {
        Snapshot &now = m_model.now;
        const int64_t n = frames(now.samples);
        const bool hasSelection = !now.selections.empty();
        const bool hasClip = !m_model.clipboard.empty() && !m_model.clipboard[0].empty();
        for (;;) {
            switch (pick(0, 14)) {
            case 0:
            case 1:
                if (n >= 40) return select(n);
                break;
            case 2:
                return placeCursor(n);
            case 3:
                if (hasSelection && n > 200) return cut(false);
                break;
            case 4:
                if (hasSelection && n > 200) return cut(true);
                break;
            case 5:
                if (hasSelection) return copy();
                break;
            case 6:
                if (hasClip && n < 30000) return paste();
                break;
            case 7:
                if (hasClip && n < 30000) return pasteAt(n, pick(0, 1) == 1);
                break;
            case 8:
                if (hasClip && n < 30000) return append();
                break;
            case 9:
                return transform("Silence", [](float) { return 0.0f; }, TAVOAUDIO_Silence);
            case 10:
                return transform("Invert", [](float v) { return -v; }, TAVOAUDIO_Invert);
            case 11:
                return reverse();
            case 12:
                return gain(pick(0, 1) == 1 ? 0.5 : 0.75);
            case 13:
                if (!m_model.undo.empty()) return undo();
                break;
            case 14:
                if (!m_model.redo.empty()) return redo();
                break;
            }
        }
    }

    // Compares the document with the model; empty when they agree.
    std::string compare() const
    {
        const Snapshot &now = m_model.now;
        AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(m_doc);
        const int64_t n = frames(now.samples);
        if (AUDIOSIGNAL_NumFrames(signal) != n)
            return "length " + std::to_string(AUDIOSIGNAL_NumFrames(signal)) + " != " + std::to_string(n);
        std::vector<float> got(static_cast<size_t>(n));
        for (int32_t c = 0; c < m_channels; ++c) {
            // An empty signal (everything cut) has nothing to read.
            if (n > 0 && AUDIOSIGNAL_GetChannelSamplesEx(signal, c, 0, n, got.data()) != n) return "read failed";
            const std::vector<float> &want = now.samples[static_cast<size_t>(c)];
            for (int64_t i = 0; i < n; ++i) {
                if (std::fabs(got[static_cast<size_t>(i)] - want[static_cast<size_t>(i)]) > kTolerance) {
                    return "channel " + std::to_string(c) + " frame " + std::to_string(i) + ": " +
                           std::to_string(got[static_cast<size_t>(i)]) + " != " +
                           std::to_string(want[static_cast<size_t>(i)]);
                }
            }
        }
        std::vector<Range> selections;
        const int32_t count = TAVOAUDIO_CountSelections(m_doc);
        for (int32_t i = 0; i < count; ++i) {
            TAVOSELECTION s = TAVOAUDIO_Selection(m_doc, i);
            selections.emplace_back(TAVOSELECTION_GetBegin(m_doc, &s), TAVOSELECTION_GetEnd(m_doc, &s));
        }
        if (selections != now.selections) return "selections " + describe(selections) + " != " + describe(now.selections);
        if (TAVOAUDIO_GetCursorPosition(m_doc) != now.cursor)
            return "cursor " + std::to_string(TAVOAUDIO_GetCursorPosition(m_doc)) + " != " + std::to_string(now.cursor);
        if (static_cast<size_t>(TAVOUNDO_CountUndoScripts(m_doc)) != m_model.undo.size() ||
            static_cast<size_t>(TAVOUNDO_CountRedoScripts(m_doc)) != m_model.redo.size()) {
            return "stack sizes " + std::to_string(TAVOUNDO_CountUndoScripts(m_doc)) + "/" +
                   std::to_string(TAVOUNDO_CountRedoScripts(m_doc)) + " != " + std::to_string(m_model.undo.size()) +
                   "/" + std::to_string(m_model.redo.size());
        }
        char label[256] = "";
        if (!m_model.undo.empty() && (!TAVOAUDIO_NextUndoLabel(m_doc, label, sizeof label) ||
                                      m_model.undo.back().first != label)) {
            return std::string("undo label ") + label + " != " + m_model.undo.back().first;
        }
        if (!m_model.redo.empty() && (!TAVOAUDIO_NextRedoLabel(m_doc, label, sizeof label) ||
                                      m_model.redo.back().first != label)) {
            return std::string("redo label ") + label + " != " + m_model.redo.back().first;
        }
        return {};
    }

private:
    int64_t pick(int64_t lo, int64_t hi) { return std::uniform_int_distribution<int64_t>(lo, hi)(m_rng); }

    static std::string describe(const std::vector<Range> &list)
    {
        std::string text = "[";
        for (const Range &r : list) text += " " + std::to_string(r.first) + "-" + std::to_string(r.second);
        return text + " ]";
    }

    // One to four ranges with gaps between them (touching ranges would merge).
    std::string select(int64_t n)
    {
        const int64_t count = pick(1, 4);
        std::vector<int64_t> cuts;
        while (static_cast<int64_t>(cuts.size()) < count * 2) {
            const int64_t p = pick(0, n);
            if (std::find(cuts.begin(), cuts.end(), p) == cuts.end()) cuts.push_back(p);
        }
        std::sort(cuts.begin(), cuts.end());
        std::vector<Range> ranges;
        for (size_t i = 0; i < cuts.size(); i += 2) {
            // Neighbours share no frame: a gap of at least one.
            if (!ranges.empty() && ranges.back().second >= cuts[i]) continue;
            ranges.emplace_back(cuts[i], cuts[i + 1]);
        }
        TAVOAUDIO_ClearSelectionEx2(m_doc, nullptr, 0);
        for (const Range &r : ranges) TAVOAUDIO_AddSelectionEx(m_doc, r.first, r.second, -1, 0);
        m_model.now.selections = ranges;
        m_model.now.cursor = ranges.back().second;
        return "select " + describe(ranges);
    }

    std::string placeCursor(int64_t n)
    {
        const int64_t p = pick(0, n);
        TAVOAUDIO_ClearSelectionEx2(m_doc, nullptr, 0);
        TAVOAUDIO_SetCursorPositionEx2(m_doc, p, 0);
        m_model.now.selections.clear();
        m_model.now.cursor = p;
        return "cursor " + std::to_string(p);
    }

    void takeClipboard(AUDIOSIGNAL clip)
    {
        if (m_clipboard != nullptr) AUDIOSIGNAL_Destroy(m_clipboard);
        m_clipboard = clip;
    }

    std::string cut(bool keep)
    {
        const Snapshot before = m_model.now;
        Snapshot &now = m_model.now;
        Channels removed = cutRanges(now.samples, now.selections);
        now.cursor = before.selections.front().first;
        now.selections.clear();
        if (keep) {
            AUDIOSIGNAL clip = TAVOAUDIO_Cut(m_doc, nullptr);
            if (clip == nullptr) return "cut refused";
            takeClipboard(clip);
            m_model.clipboard = removed;
            m_model.record("Cut", before);
            return "cut " + describe(before.selections);
        }
        if (!TAVOAUDIO_Clear(m_doc, nullptr)) return "clear refused";
        m_model.record("Clear", before);
        return "clear " + describe(before.selections);
    }

    std::string copy()
    {
        AUDIOSIGNAL clip = TAVOAUDIO_CopyEx(m_doc, 0);
        if (clip == nullptr) return "copy refused";
        takeClipboard(clip);
        Channels samples = m_model.now.samples;
        m_model.clipboard = cutRanges(samples, m_model.now.selections);
        return "copy " + describe(m_model.now.selections);
    }

    std::string paste()
    {
        const Snapshot before = m_model.now;
        Snapshot &now = m_model.now;
        const int64_t length = frames(m_model.clipboard);
        int64_t at = now.cursor;
        if (!now.selections.empty()) {
            at = now.selections.front().first;
            cutRanges(now.samples, {now.selections.front()});
        }
        insertAt(now.samples, m_model.clipboard, at);
        now.selections = {{at, at + length}};
        now.cursor = at + length;
        if (!TAVOAUDIO_PasteEx(m_doc, m_clipboard, 0, nullptr)) return "paste refused";
        m_model.record("Paste", before);
        return "paste " + std::to_string(length) + " at " + std::to_string(at);
    }

    std::string pasteAt(int64_t n, bool keepSelections)
    {
        const Snapshot before = m_model.now;
        Snapshot &now = m_model.now;
        const int64_t length = frames(m_model.clipboard);
        const int64_t at = pick(0, n);
        insertAt(now.samples, m_model.clipboard, at);
        if (keepSelections) {
            // Selections after the position move with the audio; one that the
            // position cuts grows at its end; one ending there stays.
            for (Range &s : now.selections) {
                if (s.first < at && at < s.second) {
                    s.second += length;
                } else if (s.first >= at) {
                    s.first += length;
                    s.second += length;
                }
            }
            addSelection(now.selections, {at, at + length});
        } else {
            now.selections = {{at, at + length}};
        }
        now.cursor = at + length;
        const uint32_t flags = keepSelections ? TAVOAUDIO_PASTE_KEEP_SELECTIONS : 0u;
        if (TAVOAUDIO_PasteToPositionEx(m_doc, m_clipboard, at, flags, nullptr) == 0) return "paste-at refused";
        m_model.record("Paste", before);
        return std::string("paste-at ") + std::to_string(at) + (keepSelections ? " keep" : "");
    }

    std::string append()
    {
        const Snapshot before = m_model.now;
        Snapshot &now = m_model.now;
        const int64_t n = frames(now.samples);
        const int64_t length = frames(m_model.clipboard);
        insertAt(now.samples, m_model.clipboard, n);
        now.selections = {{n, n + length}};
        now.cursor = n + length;
        if (TAVOAUDIO_AppendEx(m_doc, m_clipboard, 0, nullptr, nullptr) == 0) return "append refused";
        m_model.record("Append", before);
        return "append " + std::to_string(length);
    }

    template <typename F>
    std::string transform(const char *label, F f, bool (*command)(TAVOAUDIO, const char *))
    {
        const Snapshot before = m_model.now;
        forEachRangeOrAll(before, [&](int64_t b, int64_t e) {
            for (auto &channel : m_model.now.samples)
                for (int64_t i = b; i < e; ++i) channel[static_cast<size_t>(i)] = f(channel[static_cast<size_t>(i)]);
        });
        if (!command(m_doc, nullptr)) return std::string(label) + " refused";
        m_model.record(label, before);
        return std::string(label) + " " + describe(before.selections);
    }

    std::string reverse()
    {
        const Snapshot before = m_model.now;
        forEachRangeOrAll(before, [&](int64_t b, int64_t e) {
            for (auto &channel : m_model.now.samples) std::reverse(channel.begin() + b, channel.begin() + e);
        });
        if (!TAVOAUDIO_ReverseEx2(m_doc, nullptr, nullptr, false)) return "reverse refused";
        m_model.record("Reverse", before);
        return "reverse " + describe(before.selections);
    }

    std::string gain(double g)
    {
        const Snapshot before = m_model.now;
        forEachRangeOrAll(before, [&](int64_t b, int64_t e) {
            for (auto &channel : m_model.now.samples)
                for (int64_t i = b; i < e; ++i)
                    channel[static_cast<size_t>(i)] = static_cast<float>(channel[static_cast<size_t>(i)] * g);
        });
        double gains[32];
        std::fill(std::begin(gains), std::end(gains), g);
        if (!TAVOAUDIO_LinearTransformSelectionEx2(m_doc, gains, nullptr, nullptr, nullptr, 0)) return "gain refused";
        m_model.record("Gain/Offset Transform", before);
        return "gain " + std::to_string(g) + " " + describe(before.selections);
    }

    std::string undo()
    {
        m_model.stepBack();
        if (!TAVOAUDIO_UndoEx(m_doc, 0)) return "undo refused";
        return "undo";
    }

    std::string redo()
    {
        m_model.stepForward();
        if (!TAVOAUDIO_Redo(m_doc)) return "redo refused";
        return "redo";
    }

    std::mt19937 m_rng;
    int32_t m_channels;
    Model m_model;
    TAVOAUDIO m_doc = nullptr;
    AUDIOSIGNAL m_clipboard = nullptr;
};

class EditModelTest : public ::testing::Test {
protected:
    void SetUp() override { BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothboundaries=0"); }
    void TearDown() override { BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.smoothboundaries"); }
};

TEST_F(EditModelTest, RandomSequencesMatchTheReferenceModel)
{
    const bool longRun = std::getenv("TAVO_EDIT_MODEL_LONG") != nullptr;
    const char *startText = std::getenv("TAVO_EDIT_MODEL_START");
    const uint32_t firstSequence = startText != nullptr ? static_cast<uint32_t>(std::strtoul(startText, nullptr, 10)) : 1u;
    const int sequences = longRun ? 20000 : 1000;
    const int steps = longRun ? 60 : 30;
    for (int s = 0; s < sequences; ++s) {
        const uint32_t number = firstSequence + static_cast<uint32_t>(s);
        Sequence sequence(number, 1 + static_cast<int32_t>(number % 2));
        ASSERT_TRUE(sequence.valid());
        std::vector<std::string> history;
        for (int i = 0; i < steps; ++i) {
            history.push_back(sequence.step());
            const std::string difference = sequence.compare();
            if (!difference.empty()) {
                std::string trail;
                for (const std::string &h : history) trail += "\n  " + h;
                FAIL() << "sequence " << number << " step " << i << ": " << difference << "\nsteps:" << trail;
            }
        }
    }
}

// With smoothing on, the frames just before a join crossfade into the end
// of the removed audio, so the audio runs on smoothly into what follows the
// cut; the audio away from the join is untouched.
TEST(EditSmoothing, CutBoundaryIsSmoothedOnlyNearTheJoin)
{
    BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothboundaries=1");
    BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothduration=%f", 0.004);
    // +0.5 up to the middle of the removed range, -0.5 from there on: the
    // raw join is a step of 1.0, the removed tail continues the audio after.
    const int64_t n = kRate / 2;
    const int64_t b = n / 2 - 400, e = n / 2;
    std::vector<float> samples(static_cast<size_t>(n));
    for (int64_t i = 0; i < n; ++i) samples[static_cast<size_t>(i)] = i < b + 200 ? 0.5f : -0.5f;
    AUDIOSIGNAL signal = AUDIOSIGNAL_New("AUTO[sr=8192,nc=1]");
    AUDIOSIGNAL_AppendSamples(signal, samples.data(), n);
    TAVOAUDIO doc = TAVOAUDIO_NewFromSignalEx(signal, false, 0);
    ASSERT_NE(doc, nullptr);
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, b, e, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_Clear(doc, nullptr));

    AUDIOSIGNAL result = TAVOAUDIO_GetAudioSignal(doc);
    const int64_t m = AUDIOSIGNAL_NumFrames(result);
    ASSERT_EQ(m, n - (e - b));
    std::vector<float> got(static_cast<size_t>(m));
    ASSERT_EQ(AUDIOSIGNAL_GetChannelSamplesEx(result, 0, 0, m, got.data()), m);
    const int64_t window = std::llround(0.004 * kRate);
    for (int64_t i = 0; i < b - window; ++i) ASSERT_FLOAT_EQ(got[static_cast<size_t>(i)], 0.5f) << i;
    for (int64_t i = b; i < m; ++i) ASSERT_FLOAT_EQ(got[static_cast<size_t>(i)], -0.5f) << i;
    // The window before the join falls steadily, in small steps.
    for (int64_t i = b - window; i <= b; ++i) {
        const double step = double(got[size_t(i - 1)]) - double(got[size_t(i)]);
        EXPECT_GT(step, 0.0) << i;
        EXPECT_LT(step, 0.1) << i;
    }
    TAVOAUDIO_Close(doc);
    BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.smoothboundaries");
    BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.smoothduration");
}

}  // namespace
