// Blocks, summaries and span lists against plain arrays.
#include "storage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace {

using namespace asig;

std::vector<int16_t> randomPcm(size_t n, unsigned stream)
{
    std::mt19937 rng(stream);
    std::uniform_int_distribution<int> dist(-32768, 32767);
    std::vector<int16_t> out(n);
    for (auto &v : out) v = int16_t(dist(rng));
    return out;
}

// Brute force over floats: the reference the summaries must agree with.
Stats bruteForce(const std::vector<float> &x, int64_t from, int64_t count)
{
    Stats s;
    for (int64_t i = std::max<int64_t>(0, from); i < std::min<int64_t>(int64_t(x.size()), from + count); ++i) {
        const float v = x[size_t(i)];
        s.merge(Stats{v, v, double(v) * v, 1});
    }
    return s;
}

std::vector<float> toFloat(const std::vector<int16_t> &pcm)
{
    std::vector<float> out(pcm.size());
    for (size_t i = 0; i < pcm.size(); ++i) out[i] = float(pcm[i]) / 32768.0f;
    return out;
}

TEST(AudioBlock, DecodesEveryWidthExactly)
{
    const uint8_t u8[] = {0, 128, 255};
    auto b8 = Block::fromNative(SampleType::U8, u8, 3, 1);
    EXPECT_EQ(b8->sample(0), -1.0f);
    EXPECT_EQ(b8->sample(1), 0.0f);
    EXPECT_EQ(b8->sample(2), 127.0f / 128.0f);

    const uint8_t s24[] = {0x00, 0x00, 0x80, 0xff, 0xff, 0x7f, 0x01, 0x00, 0x00};  // min, max, 1
    auto b24 = Block::fromNative(SampleType::S24, s24, 3, 3);
    EXPECT_EQ(b24->sample(0), -1.0f);
    EXPECT_FLOAT_EQ(b24->sample(1), 8388607.0f / 8388608.0f);
    EXPECT_FLOAT_EQ(b24->sample(2), 1.0f / 8388608.0f);

    const int32_t s32[] = {INT32_MIN, 1 << 30};
    auto b32 = Block::fromNative(SampleType::S32, s32, 2, 4);
    EXPECT_EQ(b32->sample(0), -1.0f);
    EXPECT_EQ(b32->sample(1), 0.5f);

    const double f64[] = {0.25, -0.75};
    EXPECT_EQ(Block::fromNative(SampleType::F64, f64, 2, 8)->sample(1), -0.75f);
}

TEST(AudioBlock, InterleavedSourceKeepsTwoBytesASample)
{
    // Stereo interleaved 16-bit: the right channel is every second sample.
    const auto pcm = randomPcm(2 * 70000, 1);
    auto right = Block::fromNative(SampleType::S16, pcm.data() + 1, 70000, 4);
    EXPECT_EQ(right->type(), SampleType::S16);
    EXPECT_LT(right->memoryBytes(), size_t(70000 * 2 * 1.02 + 512));  // samples plus at most 2% summaries
    std::vector<float> out(70000);
    right->readFloat(0, 70000, out.data());
    for (size_t i = 0; i < out.size(); i += 997) EXPECT_EQ(out[i], float(pcm[2 * i + 1]) / 32768.0f);
}

TEST(AudioBlock, StatsEqualABruteForceScanForEveryRange)
{
    // A block length that is no multiple of any run, so the short last runs
    // are exercised too.
    const int64_t n = 3 * kRun2 + 5 * kRun1 + 77;
    const auto pcm = randomPcm(size_t(n), 2);
    const auto ref = toFloat(pcm);
    auto block = Block::fromNative(SampleType::S16, pcm.data(), n, 2);
    std::mt19937 rng(3);
    std::vector<std::pair<int64_t, int64_t>> ranges = {{0, n}, {0, 1}, {n - 1, 1}, {kRun1 - 1, 2},
                                                       {kRun2, kRun2}, {kRun2 - 3, kRun2 + 6}, {5, n - 10}};
    for (int i = 0; i < 300; ++i) {
        const int64_t from = std::uniform_int_distribution<int64_t>(0, n - 1)(rng);
        const int64_t count = std::uniform_int_distribution<int64_t>(1, n - from)(rng);
        ranges.emplace_back(from, count);
    }
    for (const auto &[from, count] : ranges) {
        const Stats got = block->stats(from, count);
        const Stats want = bruteForce(ref, from, count);
        ASSERT_EQ(got.frames, want.frames) << from << "+" << count;
        ASSERT_EQ(got.min, want.min) << from << "+" << count;
        ASSERT_EQ(got.max, want.max) << from << "+" << count;
        // Sums of squares add float partial sums: relative error of float
        // accumulation over at most a few thousand terms.
        ASSERT_NEAR(got.sum2, want.sum2, 1e-5 * want.sum2 + 1e-9) << from << "+" << count;
    }
}

TEST(AudioBlock, SilenceHoldsNoSamples)
{
    auto zeros = Block::zeros(1 << 20);
    EXPECT_LT(zeros->memoryBytes(), 1024u);
    const Stats s = zeros->stats(100, 5000);
    EXPECT_EQ(s.frames, 5000);
    EXPECT_EQ(s.min, 0.0f);
    EXPECT_EQ(s.max, 0.0f);
}

// A span list and the plain array it must always equal.
struct Model {
    SpanList list;
    std::vector<float> ref;

    void check() const
    {
        ASSERT_EQ(list.frames(), int64_t(ref.size()));
        std::vector<float> got(ref.size());
        list.readFloat(0, int64_t(ref.size()), got.data());
        ASSERT_EQ(got, ref);
    }
};

Model makeModel(int64_t frames, unsigned stream)
{
    Model m;
    std::mt19937 rng(stream);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    m.ref.resize(size_t(frames));
    for (auto &v : m.ref) v = dist(rng);
    SpanBuilder builder(SampleType::F32);
    // Uneven pushes: blocks must come out whole regardless.
    for (int64_t at = 0; at < frames;) {
        const int64_t n = std::min<int64_t>(frames - at, 1 + at % 40000);
        builder.pushNative(m.ref.data() + at, n, 4);
        at += n;
    }
    m.list = builder.finish();
    return m;
}

TEST(AudioSpanList, SpliceOperationsMatchAPlainArray)
{
    Model m = makeModel(5 * kBlockFrames + 123, 4);
    m.check();
    std::mt19937 rng(5);
    for (int step = 0; step < 200; ++step) {
        const int64_t frames = m.list.frames();
        const int64_t a = std::uniform_int_distribution<int64_t>(0, frames)(rng);
        const int64_t b = std::uniform_int_distribution<int64_t>(a, std::min(frames, a + 3 * kBlockFrames))(rng);
        switch (step % 4) {
        case 0: {  // cut and paste somewhere else
            SpanList piece = m.list.slice(a, b);
            std::vector<float> refPiece(m.ref.begin() + a, m.ref.begin() + b);
            m.list.erase(a, b);
            m.ref.erase(m.ref.begin() + a, m.ref.begin() + b);
            const int64_t at = std::uniform_int_distribution<int64_t>(0, m.list.frames())(rng);
            m.list.insert(at, piece);
            m.ref.insert(m.ref.begin() + at, refPiece.begin(), refPiece.end());
            break;
        }
        case 1: {  // gain through copy on write
            m.list.rewrite(a, b, [&](int64_t pos, int64_t n, float *out) {
                for (int64_t i = 0; i < n; ++i) out[i] = m.ref[size_t(pos + i)] * 0.5f;
            });
            for (int64_t i = a; i < b; ++i) m.ref[size_t(i)] *= 0.5f;
            break;
        }
        case 2: {  // replace by a copy of another stretch
            const int64_t c = std::uniform_int_distribution<int64_t>(0, frames)(rng);
            const int64_t d = std::min(frames, c + (b - a) / 2);
            SpanList piece = m.list.slice(c, d);
            std::vector<float> refPiece(m.ref.begin() + c, m.ref.begin() + d);
            m.list.replace(a, b, piece);
            m.ref.erase(m.ref.begin() + a, m.ref.begin() + b);
            m.ref.insert(m.ref.begin() + a, refPiece.begin(), refPiece.end());
            break;
        }
        case 3: {  // append a slice of itself
            SpanList piece = m.list.slice(a, b);
            std::vector<float> refPiece(m.ref.begin() + a, m.ref.begin() + b);
            m.list.append(piece);
            m.ref.insert(m.ref.end(), refPiece.begin(), refPiece.end());
            break;
        }
        }
        ASSERT_NO_FATAL_FAILURE(m.check()) << "step " << step;
    }
    // Many edits must not leave a trail of tiny chunks: the structure stays
    // in proportion to the spans it holds.
    std::vector<const Block *> blocks;
    const size_t structure = m.list.collect(blocks);
    EXPECT_LT(structure, blocks.size() * sizeof(Span) * 4 + 4096);
}

TEST(AudioSpanList, CopiesShareStructureAndEditsLeaveTheOriginalAlone)
{
    Model m = makeModel(40 * kBlockFrames, 6);
    const SpanList copy = m.list;
    EXPECT_TRUE(copy.sharesStructureWith(m.list));
    m.list.erase(10 * kBlockFrames + 5, 11 * kBlockFrames);
    m.list.rewrite(0, 100, [](int64_t, int64_t n, float *out) { std::fill(out, out + n, 0.25f); });
    // The copy still reads the original samples.
    std::vector<float> got(copy.frames());
    copy.readFloat(0, copy.frames(), got.data());
    EXPECT_EQ(got, m.ref);
    EXPECT_FALSE(copy.sameSpans(m.list));
    // Only the chunks near the edits were copied.
    std::vector<const Block *> blocks;
    EXPECT_LT(m.list.collect(blocks), copy.collect(blocks) + 4 * SpanList::kChunkSpans * sizeof(Span));
}

TEST(AudioSpanList, ReadsOutsideAreSilentAndStatsClip)
{
    Model m = makeModel(1000, 7);
    std::vector<float> got(20, 9.0f);
    m.list.readFloat(-10, 20, got.data());
    for (int i = 0; i < 10; ++i) EXPECT_EQ(got[size_t(i)], 0.0f);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(got[size_t(10 + i)], m.ref[size_t(i)]);
    const Stats s = m.list.stats(990, 100);
    EXPECT_EQ(s.frames, 10);
    const Stats want = bruteForce(m.ref, 990, 10);
    EXPECT_EQ(s.min, want.min);
    EXPECT_EQ(s.max, want.max);
}

TEST(AudioSpanBuilder, FloatsAreQuantizedToTheBuilderType)
{
    SpanBuilder builder(SampleType::S16);
    const float in[] = {-1.0f, 0.5f, 1.0f, 2.0f, 1.0f / 32768.0f};
    builder.pushFloat(in, 5);
    SpanList list = builder.finish();
    std::vector<float> out(5);
    list.readFloat(0, 5, out.data());
    EXPECT_EQ(out[0], -1.0f);
    EXPECT_EQ(out[1], 0.5f);
    EXPECT_EQ(out[2], 32767.0f / 32768.0f);  // clipped to the largest 16-bit value
    EXPECT_EQ(out[3], 32767.0f / 32768.0f);
    EXPECT_EQ(out[4], 1.0f / 32768.0f);
}

} // namespace
