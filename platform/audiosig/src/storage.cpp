// Sample storage: blocks, their summaries, span lists and the builder.
#include "storage.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace asig {

// ---- sample decoding --------------------------------------------------------

size_t bytesPerSample(SampleType type)
{
    switch (type) {
    case SampleType::Zero: return 0;
    case SampleType::U8: return 1;
    case SampleType::S16: return 2;
    case SampleType::S24: return 3;
    case SampleType::S32: return 4;
    case SampleType::F32: return 4;
    case SampleType::F64: return 8;
    }
    return 0;
}

namespace {

// Integer samples map to [-1, 1) by dividing by 2^(bits-1), so that a full
// scale negative sample is exactly -1 and writing back is exact.
constexpr float kScale8 = 1.0f / 128.0f;
constexpr float kScale16 = 1.0f / 32768.0f;
constexpr float kScale24 = 1.0f / 8388608.0f;
constexpr double kScale32 = 1.0 / 2147483648.0;

inline int32_t readS24(const uint8_t *p)
{
    const int32_t v = int32_t(p[0]) | (int32_t(p[1]) << 8) | (int32_t(p[2]) << 16);
    return (v ^ 0x800000) - 0x800000;  // sign-extend 24 bits
}

inline float decode(SampleType type, const uint8_t *p)
{
    switch (type) {
    case SampleType::Zero: return 0.0f;
    case SampleType::U8: return (float(*p) - 128.0f) * kScale8;
    case SampleType::S16: {
        int16_t v;
        std::memcpy(&v, p, 2);
        return float(v) * kScale16;
    }
    case SampleType::S24: return float(readS24(p)) * kScale24;
    case SampleType::S32: {
        int32_t v;
        std::memcpy(&v, p, 4);
        return float(double(v) * kScale32);
    }
    case SampleType::F32: {
        float v;
        std::memcpy(&v, p, 4);
        return v;
    }
    case SampleType::F64: {
        double v;
        std::memcpy(&v, p, 8);
        return float(v);
    }
    }
    return 0.0f;
}

// Reads `count` samples spaced `stride` bytes apart as floats. The common
// cases get loops of their own so that the compiler can vectorise them.
void decodeRun(SampleType type, const uint8_t *p, size_t stride, int64_t count, float *out)
{
    if (type == SampleType::Zero) {
        std::fill(out, out + count, 0.0f);
        return;
    }
    if (type == SampleType::S16 && stride == 2) {
        const auto *s = reinterpret_cast<const int16_t *>(p);
        for (int64_t i = 0; i < count; ++i) out[i] = float(s[i]) * kScale16;
        return;
    }
    if (type == SampleType::F32 && stride == 4) {
        std::memcpy(out, p, size_t(count) * 4);
        return;
    }
    for (int64_t i = 0; i < count; ++i) out[i] = decode(type, p + size_t(i) * stride);
}

#if defined(__SSE2__)
// Min, max and sum of squares of 16-bit samples, eight at a time. With
// `interleaved` the samples of this channel are every second one (a stereo
// file mapped from disk) and the others are masked out.
void summarizeS16(const int16_t *p, int64_t count, bool interleaved, int32_t &lo, int32_t &hi, uint64_t &sum)
{
    const int64_t perVector = interleaved ? 4 : 8;
    const __m128i keep = interleaved ? _mm_set1_epi32(0x0000ffff) : _mm_set1_epi32(-1);
    // Masked-out lanes hold values that change neither the min nor the max.
    const __m128i fillMin = _mm_andnot_si128(keep, _mm_set1_epi16(32767));
    const __m128i fillMax = _mm_andnot_si128(keep, _mm_set1_epi16(-32768));
    __m128i vmin = _mm_set1_epi16(32767), vmax = _mm_set1_epi16(-32768);
    __m128i acc = _mm_setzero_si128();  // two 64-bit sums
    const __m128i zero = _mm_setzero_si128();
    int64_t i = 0;
    for (; i + perVector <= count; i += perVector) {
        const __m128i v = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p + (interleaved ? 2 * i : i))), keep);
        vmin = _mm_min_epi16(vmin, _mm_or_si128(v, fillMin));
        vmax = _mm_max_epi16(vmax, _mm_or_si128(v, fillMax));
        // Pairs of squares: at most 2 * 2^30, which fits an unsigned 32-bit
        // lane; widened to 64 bits before adding up.
        const __m128i squares = _mm_madd_epi16(v, v);
        acc = _mm_add_epi64(acc, _mm_unpacklo_epi32(squares, zero));
        acc = _mm_add_epi64(acc, _mm_unpackhi_epi32(squares, zero));
    }
    alignas(16) int16_t mins[8], maxs[8];
    alignas(16) uint64_t sums[2];
    _mm_store_si128(reinterpret_cast<__m128i *>(mins), vmin);
    _mm_store_si128(reinterpret_cast<__m128i *>(maxs), vmax);
    _mm_store_si128(reinterpret_cast<__m128i *>(sums), acc);
    for (int k = 0; k < 8; ++k) {
        lo = std::min<int32_t>(lo, mins[k]);
        hi = std::max<int32_t>(hi, maxs[k]);
    }
    sum += sums[0] + sums[1];
    for (; i < count; ++i) {
        const int32_t v = p[interleaved ? 2 * i : i];
        lo = std::min(lo, v);
        hi = std::max(hi, v);
        sum += uint64_t(v * v);
    }
}
#endif

// Min, max and sum of squares of a run, as floats in [-1, 1].
RunSummary summarizeRun(SampleType type, const uint8_t *p, size_t stride, int64_t count)
{
    if (type == SampleType::S16) {
        // Integer arithmetic: exact, and several times faster than floats.
        int32_t lo = 32767, hi = -32768;
        uint64_t sum = 0;
#if defined(__SSE2__)
        if (stride == 2 || stride == 4) {
            summarizeS16(reinterpret_cast<const int16_t *>(p), count, stride == 4, lo, hi, sum);
        } else
#endif
        {
            for (int64_t i = 0; i < count; ++i) {
                int16_t v16;
                std::memcpy(&v16, p + size_t(i) * stride, 2);
                const int32_t v = v16;
                lo = std::min(lo, v);
                hi = std::max(hi, v);
                sum += uint64_t(v * v);
            }
        }
        if (count == 0) lo = hi = 0;
        return RunSummary{float(lo) * kScale16, float(hi) * kScale16,
                          float(double(sum) * double(kScale16) * double(kScale16))};
    }
    float lo = std::numeric_limits<float>::max(), hi = std::numeric_limits<float>::lowest();
    double sum = 0.0;
    float buffer[kRun1];
    for (int64_t done = 0; done < count;) {
        const int64_t n = std::min<int64_t>(kRun1, count - done);
        decodeRun(type, p + size_t(done) * stride, stride, n, buffer);
        float runSum = 0.0f;
        for (int64_t i = 0; i < n; ++i) {
            lo = std::min(lo, buffer[i]);
            hi = std::max(hi, buffer[i]);
            runSum += buffer[i] * buffer[i];
        }
        sum += runSum;
        done += n;
    }
    if (count == 0) lo = hi = 0.0f;
    return RunSummary{lo, hi, float(sum)};
}

} // namespace

// ---- stats ----------------------------------------------------------------

void Stats::merge(const Stats &other)
{
    if (other.frames == 0) return;
    if (frames == 0) {
        *this = other;
        return;
    }
    min = std::min(min, other.min);
    max = std::max(max, other.max);
    sum2 += other.sum2;
    frames += other.frames;
}

void Stats::mergeRun(const RunSummary &run, int64_t runFrames)
{
    merge(Stats{run.min, run.max, double(run.sum2), runFrames});
}

// ---- blocks ---------------------------------------------------------------

Block::~Block() = default;

std::shared_ptr<const Block> Block::adopt(SampleType type, std::unique_ptr<uint8_t[]> data, int64_t frames)
{
    std::shared_ptr<Block> block(new Block);
    block->m_type = type;
    block->m_frames = frames;
    block->m_stride = bytesPerSample(type);
    block->m_owned = std::move(data);
    block->m_data = block->m_owned.get();
    block->summarize();
    return block;
}

std::shared_ptr<const Block> Block::fromFloat(const float *samples, int64_t frames)
{
    std::unique_ptr<uint8_t[]> data(new uint8_t[size_t(frames) * 4]);
    std::memcpy(data.get(), samples, size_t(frames) * 4);
    return adopt(SampleType::F32, std::move(data), frames);
}

std::shared_ptr<const Block> Block::fromNative(SampleType type, const void *first, int64_t frames, size_t strideBytes)
{
    if (type == SampleType::Zero) return zeros(frames);
    const size_t width = bytesPerSample(type);
    std::unique_ptr<uint8_t[]> data(new uint8_t[size_t(frames) * width]);
    const auto *src = static_cast<const uint8_t *>(first);
    if (strideBytes == width) {
        std::memcpy(data.get(), src, size_t(frames) * width);
    } else if (type == SampleType::S16) {
        auto *dst = reinterpret_cast<int16_t *>(data.get());
        for (int64_t i = 0; i < frames; ++i) std::memcpy(dst + i, src + size_t(i) * strideBytes, 2);
    } else {
        for (int64_t i = 0; i < frames; ++i) std::memcpy(data.get() + size_t(i) * width, src + size_t(i) * strideBytes, width);
    }
    return adopt(type, std::move(data), frames);
}

std::shared_ptr<const Block> Block::mapped(std::shared_ptr<const Mapping> mapping, SampleType type, const void *first,
                                           int64_t frames, size_t strideBytes)
{
    std::shared_ptr<Block> block(new Block);
    block->m_type = type;
    block->m_frames = frames;
    block->m_stride = strideBytes;
    block->m_mapping = std::move(mapping);
    block->m_data = static_cast<const uint8_t *>(first);
    block->summarize();
    return block;
}

std::shared_ptr<const Block> Block::zeros(int64_t frames)
{
    std::shared_ptr<Block> block(new Block);
    block->m_type = SampleType::Zero;
    block->m_frames = frames;
    block->m_total = Stats{0.0f, 0.0f, 0.0, frames};
    return block;
}

void Block::summarize()
{
    m_total = Stats{};
    if (m_type == SampleType::Zero || m_frames == 0) {
        m_total.frames = m_frames;
        return;
    }
    const int64_t runs1 = (m_frames + kRun1 - 1) / kRun1;
    m_level1.resize(size_t(runs1));
    for (int64_t r = 0; r < runs1; ++r) {
        const int64_t from = r * kRun1;
        const int64_t n = std::min(kRun1, m_frames - from);
        m_level1[size_t(r)] = summarizeRun(m_type, m_data + size_t(from) * m_stride, m_stride, n);
    }
    constexpr int64_t kPer2 = kRun2 / kRun1;
    const int64_t runs2 = (runs1 + kPer2 - 1) / kPer2;
    m_level2.resize(size_t(runs2));
    for (int64_t r = 0; r < runs2; ++r) {
        Stats s;
        for (int64_t i = r * kPer2; i < std::min(runs1, (r + 1) * kPer2); ++i)
            s.mergeRun(m_level1[size_t(i)], std::min(kRun1, m_frames - i * kRun1));
        m_level2[size_t(r)] = RunSummary{s.min, s.max, float(s.sum2)};
        m_total.merge(s);
    }
}

float Block::sample(int64_t index) const
{
    if (index < 0 || index >= m_frames) return 0.0f;
    return decode(m_type, m_data + size_t(index) * m_stride);
}

void Block::readFloat(int64_t from, int64_t count, float *out) const
{
    decodeRun(m_type, m_data == nullptr ? nullptr : m_data + size_t(from) * m_stride, m_stride, count, out);
}

Stats Block::scan(int64_t from, int64_t count) const
{
    if (count <= 0) return Stats{};
    const RunSummary run = summarizeRun(m_type, m_data + size_t(from) * m_stride, m_stride, count);
    return Stats{run.min, run.max, double(run.sum2), count};
}

Stats Block::stats(int64_t from, int64_t count) const
{
    from = std::max<int64_t>(0, from);
    count = std::min(count, m_frames - from);
    if (count <= 0) return Stats{};
    if (m_type == SampleType::Zero) return Stats{0.0f, 0.0f, 0.0, count};
    if (from == 0 && count == m_frames) return m_total;

    // The samples up to the first level-1 boundary, level-1 runs up to a
    // level-2 boundary, level-2 runs, level-1 runs, and the samples after
    // the last whole run: a few dozen entries plus the two edges, whatever
    // the length. The last run of a block may be short.
    const int64_t end = from + count;
    const auto runEnd = [this](int64_t pos, int64_t run) { return std::min(pos + run, m_frames); };
    Stats s;
    int64_t pos = from;
    const int64_t headEnd = std::min(end, (pos + kRun1 - 1) / kRun1 * kRun1);
    if (headEnd > pos) {
        s.merge(scan(pos, headEnd - pos));
        pos = headEnd;
    }
    while (pos < end && pos % kRun2 != 0 && runEnd(pos, kRun1) <= end) {
        s.mergeRun(m_level1[size_t(pos / kRun1)], runEnd(pos, kRun1) - pos);
        pos = runEnd(pos, kRun1);
    }
    while (pos < end && pos % kRun2 == 0 && runEnd(pos, kRun2) <= end) {
        s.mergeRun(m_level2[size_t(pos / kRun2)], runEnd(pos, kRun2) - pos);
        pos = runEnd(pos, kRun2);
    }
    while (pos < end && runEnd(pos, kRun1) <= end) {
        s.mergeRun(m_level1[size_t(pos / kRun1)], runEnd(pos, kRun1) - pos);
        pos = runEnd(pos, kRun1);
    }
    if (pos < end) s.merge(scan(pos, end - pos));
    return s;
}

size_t Block::memoryBytes() const
{
    size_t bytes = sizeof(Block) + (m_level1.capacity() + m_level2.capacity()) * sizeof(RunSummary);
    if (m_owned != nullptr) bytes += size_t(m_frames) * bytesPerSample(m_type);
    return bytes;
}

// ---- span lists -------------------------------------------------------------

namespace {

bool continues(const Span &a, const Span &b)
{
    return a.block == b.block && a.offset + a.frames == b.offset;
}

} // namespace

size_t SpanList::spanCount() const
{
    size_t n = 0;
    for (const ChunkRef &chunk : m_chunks) n += chunk->spans.size();
    return n;
}

void SpanList::rebuildStarts()
{
    m_starts.resize(m_chunks.size());
    int64_t at = 0;
    for (size_t i = 0; i < m_chunks.size(); ++i) {
        m_starts[i] = at;
        at += m_chunks[i]->frames;
    }
    m_frames = at;
}

void SpanList::setChunks(std::vector<ChunkRef> chunks)
{
    m_chunks = std::move(chunks);
    rebuildStarts();
}

size_t SpanList::findChunk(int64_t frame, int64_t &chunkStart) const
{
    // The last chunk whose start is at or before `frame`.
    auto it = std::upper_bound(m_starts.begin(), m_starts.end(), frame);
    const size_t index = it == m_starts.begin() ? 0 : size_t(it - m_starts.begin()) - 1;
    chunkStart = m_starts.empty() ? 0 : m_starts[index];
    return index;
}

void SpanList::append(const Span &span)
{
    if (span.frames <= 0) return;
    if (!m_chunks.empty()) {
        // The last chunk may be changed in place when this list is its only
        // owner; otherwise it is copied first.
        ChunkRef &last = m_chunks.back();
        if (last.use_count() != 1) last = std::make_shared<const Chunk>(*last);
        auto *chunk = const_cast<Chunk *>(last.get());
        if (!chunk->spans.empty() && continues(chunk->spans.back(), span)) {
            chunk->spans.back().frames += span.frames;
            chunk->frames += span.frames;
            m_frames += span.frames;
            return;
        }
        if (chunk->spans.size() < kChunkSpans) {
            chunk->spans.push_back(span);
            chunk->frames += span.frames;
            m_frames += span.frames;
            return;
        }
    }
    auto chunk = std::make_shared<Chunk>();
    chunk->spans.reserve(kChunkSpans);
    chunk->spans.push_back(span);
    chunk->frames = span.frames;
    m_chunks.push_back(std::move(chunk));
    m_starts.push_back(m_frames);
    m_frames += span.frames;
}

void SpanList::append(const SpanList &other)
{
    insert(m_frames, other);
}

void SpanList::forEach(int64_t from, int64_t to, const std::function<void(const Span &)> &visit) const
{
    from = std::max<int64_t>(0, from);
    to = std::min(to, m_frames);
    if (from >= to) return;
    int64_t chunkStart;
    for (size_t c = findChunk(from, chunkStart); c < m_chunks.size() && chunkStart < to; ++c) {
        int64_t spanStart = chunkStart;
        for (const Span &span : m_chunks[c]->spans) {
            const int64_t spanEnd = spanStart + span.frames;
            if (spanEnd > from && spanStart < to) {
                const int64_t a = std::max(from, spanStart), b = std::min(to, spanEnd);
                visit(Span{span.block, span.offset + (a - spanStart), b - a});
            }
            if (spanEnd >= to) return;
            spanStart = spanEnd;
        }
        chunkStart += m_chunks[c]->frames;
    }
}

namespace {

// Appends spans to a chunk sequence: continuing spans are merged, a short
// last chunk is topped up (copied, since chunks may be shared), and new
// chunks are cut at kChunkSpans.
void pushSpans(std::vector<std::shared_ptr<const SpanList::Chunk>> &chunks, const std::vector<Span> &spans)
{
    using Chunk = SpanList::Chunk;
    size_t i = 0;
    if (spans.empty()) return;
    // Top up a short last chunk so that repeated edits do not leave a trail
    // of tiny chunks.
    if (!chunks.empty() && chunks.back()->spans.size() < SpanList::kChunkSpans) {
        auto merged = std::make_shared<Chunk>(*chunks.back());
        while (i < spans.size()) {
            if (!merged->spans.empty() && continues(merged->spans.back(), spans[i])) {
                merged->spans.back().frames += spans[i].frames;
            } else if (merged->spans.size() < SpanList::kChunkSpans) {
                merged->spans.push_back(spans[i]);
            } else {
                break;
            }
            merged->frames += spans[i].frames;
            ++i;
        }
        chunks.back() = std::move(merged);
    }
    while (i < spans.size()) {
        auto chunk = std::make_shared<Chunk>();
        const size_t n = std::min(SpanList::kChunkSpans, spans.size() - i);
        chunk->spans.assign(spans.begin() + std::ptrdiff_t(i), spans.begin() + std::ptrdiff_t(i + n));
        for (const Span &s : chunk->spans) chunk->frames += s.frames;
        chunks.push_back(std::move(chunk));
        i += n;
    }
}

} // namespace

void SpanList::replace(int64_t from, int64_t to, const SpanList &other)
{
    from = std::clamp<int64_t>(from, 0, m_frames);
    to = std::clamp<int64_t>(to, from, m_frames);
    if (from == to && other.empty()) return;

    std::vector<ChunkRef> out;
    out.reserve(m_chunks.size() + other.m_chunks.size() + 2);

    // Chunks wholly before `from` are kept; the chunk holding `from`
    // contributes the spans before it.
    int64_t firstStart = 0;
    size_t first = m_chunks.empty() ? 0 : findChunk(from, firstStart);
    if (from == m_frames) {
        first = m_chunks.size();
        firstStart = m_frames;
    }
    out.assign(m_chunks.begin(), m_chunks.begin() + std::ptrdiff_t(first));
    std::vector<Span> left;
    if (first < m_chunks.size()) {
        int64_t at = firstStart;
        for (const Span &span : m_chunks[first]->spans) {
            if (at >= from) break;
            left.push_back(Span{span.block, span.offset, std::min(span.frames, from - at)});
            at += span.frames;
        }
    }

    // The chunk holding `to` contributes the spans after it; later chunks
    // are kept.
    std::vector<Span> right;
    size_t after = m_chunks.size();
    if (to < m_frames) {
        int64_t lastStart;
        const size_t last = findChunk(to, lastStart);
        int64_t at = lastStart;
        for (const Span &span : m_chunks[last]->spans) {
            const int64_t end = at + span.frames;
            if (end > to) {
                const int64_t skip = std::max<int64_t>(0, to - at);
                right.push_back(Span{span.block, span.offset + skip, span.frames - skip});
            }
            at = end;
        }
        after = last + 1;
    }

    pushSpans(out, left);
    if (!other.m_chunks.empty()) {
        // The inserted list's chunks are shared as they are, except that a
        // short first chunk joins what comes before.
        size_t k = 0;
        if (!out.empty() && out.back()->spans.size() + other.m_chunks[0]->spans.size() <= kChunkSpans) {
            pushSpans(out, other.m_chunks[0]->spans);
            k = 1;
        }
        out.insert(out.end(), other.m_chunks.begin() + std::ptrdiff_t(k), other.m_chunks.end());
    }
    pushSpans(out, right);
    // A short chunk before the kept tail joins it when both fit in one.
    if (after < m_chunks.size() && !out.empty()
        && out.back()->spans.size() + m_chunks[after]->spans.size() <= kChunkSpans) {
        pushSpans(out, m_chunks[after]->spans);
        ++after;
    }
    out.insert(out.end(), m_chunks.begin() + std::ptrdiff_t(after), m_chunks.end());
    setChunks(std::move(out));
}

void SpanList::erase(int64_t from, int64_t to)
{
    replace(from, to, SpanList());
}

void SpanList::insert(int64_t at, const SpanList &other)
{
    at = std::clamp<int64_t>(at, 0, m_frames);
    replace(at, at, other);
}

SpanList SpanList::slice(int64_t from, int64_t to) const
{
    SpanList out;
    from = std::max<int64_t>(0, from);
    to = std::min(to, m_frames);
    if (from >= to) return out;
    if (from == 0 && to == m_frames) return *this;
    // Whole chunks inside the range are shared; the partial ones at the two
    // ends are rebuilt.
    int64_t chunkStart;
    size_t c = findChunk(from, chunkStart);
    std::vector<ChunkRef> chunks;
    std::vector<Span> pending;
    for (; c < m_chunks.size() && chunkStart < to; ++c) {
        const int64_t chunkEnd = chunkStart + m_chunks[c]->frames;
        if (chunkStart >= from && chunkEnd <= to) {
            pushSpans(chunks, pending);
            pending.clear();
            chunks.push_back(m_chunks[c]);
        } else {
            int64_t at = chunkStart;
            for (const Span &span : m_chunks[c]->spans) {
                const int64_t end = at + span.frames;
                if (end > from && at < to) {
                    const int64_t a = std::max(from, at), b = std::min(to, end);
                    pending.push_back(Span{span.block, span.offset + (a - at), b - a});
                }
                at = end;
            }
        }
        chunkStart = chunkEnd;
    }
    pushSpans(chunks, pending);
    out.setChunks(std::move(chunks));
    return out;
}

void SpanList::readFloat(int64_t from, int64_t count, float *out) const
{
    if (count <= 0) return;
    const int64_t to = from + count;
    // Frames before 0 and after the end read as silence.
    const int64_t inFrom = std::max<int64_t>(from, 0), inTo = std::min(to, m_frames);
    if (inFrom >= inTo) {
        std::fill(out, out + count, 0.0f);
        return;
    }
    std::fill(out, out + (inFrom - from), 0.0f);
    float *dst = out + (inFrom - from);
    forEach(inFrom, inTo, [&](const Span &piece) {
        piece.block->readFloat(piece.offset, piece.frames, dst);
        dst += piece.frames;
    });
    std::fill(out + (inTo - from), out + count, 0.0f);
}

float SpanList::sample(int64_t frame) const
{
    float value = 0.0f;
    forEach(frame, frame + 1, [&](const Span &piece) { value = piece.block->sample(piece.offset); });
    return value;
}

Stats SpanList::stats(int64_t from, int64_t count) const
{
    // The display's hot path: walks the spans directly rather than through
    // forEach, whose callback costs more than the work for short columns.
    Stats s;
    from = std::max<int64_t>(0, from);
    const int64_t to = std::min(from + count, m_frames);
    if (from >= to) return s;
    int64_t chunkStart;
    for (size_t c = findChunk(from, chunkStart); c < m_chunks.size() && chunkStart < to; ++c) {
        int64_t spanStart = chunkStart;
        for (const Span &span : m_chunks[c]->spans) {
            const int64_t spanEnd = spanStart + span.frames;
            if (spanEnd > from) {
                const int64_t a = std::max(from, spanStart), b = std::min(to, spanEnd);
                s.merge(span.block->stats(span.offset + (a - spanStart), b - a));
                if (spanEnd >= to) return s;
            }
            spanStart = spanEnd;
        }
        chunkStart += m_chunks[c]->frames;
    }
    return s;
}

void SpanList::rewrite(int64_t from, int64_t to, const Producer &produce)
{
    from = std::clamp<int64_t>(from, 0, m_frames);
    to = std::clamp<int64_t>(to, from, m_frames);
    if (from == to) return;
    SpanList fresh;
    std::unique_ptr<float[]> buffer(new float[size_t(std::min(kBlockFrames, to - from))]);
    for (int64_t pos = from; pos < to;) {
        const int64_t n = std::min(kBlockFrames, to - pos);
        produce(pos, n, buffer.get());
        fresh.append(Span{Block::fromFloat(buffer.get(), n), 0, n});
        pos += n;
    }
    replace(from, to, fresh);
}

bool SpanList::sameSpans(const SpanList &other) const
{
    if (m_frames != other.m_frames) return false;
    if (m_chunks == other.m_chunks) return true;
    std::vector<Span> a, b;
    forEach(0, m_frames, [&](const Span &s) { a.push_back(s); });
    other.forEach(0, other.m_frames, [&](const Span &s) { b.push_back(s); });
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i].block != b[i].block || a[i].offset != b[i].offset || a[i].frames != b[i].frames) return false;
    return true;
}

size_t SpanList::collect(std::vector<const Block *> &blocks) const
{
    size_t bytes = m_chunks.capacity() * sizeof(ChunkRef) + m_starts.capacity() * sizeof(int64_t);
    for (const ChunkRef &chunk : m_chunks) {
        bytes += sizeof(Chunk) + chunk->spans.capacity() * sizeof(Span);
        for (const Span &span : chunk->spans) blocks.push_back(span.block.get());
    }
    return bytes;
}

// ---- builder ----------------------------------------------------------------

void SpanBuilder::flush()
{
    if (m_pendingFrames == 0) return;
    m_list.append(Span{Block::adopt(m_type, std::move(m_pending), m_pendingFrames), 0, m_pendingFrames});
    m_pendingFrames = 0;
}

void SpanBuilder::pushNative(const void *first, int64_t frames, size_t strideBytes)
{
    const size_t width = bytesPerSample(m_type);
    const auto *src = static_cast<const uint8_t *>(first);
    while (frames > 0) {
        if (m_pending == nullptr) m_pending.reset(new uint8_t[size_t(kBlockFrames) * width]);
        const int64_t n = std::min(frames, kBlockFrames - m_pendingFrames);
        uint8_t *dst = m_pending.get() + size_t(m_pendingFrames) * width;
        if (strideBytes == width) {
            std::memcpy(dst, src, size_t(n) * width);
        } else {
            for (int64_t i = 0; i < n; ++i) std::memcpy(dst + size_t(i) * width, src + size_t(i) * strideBytes, width);
        }
        src += size_t(n) * strideBytes;
        frames -= n;
        m_pendingFrames += n;
        if (m_pendingFrames == kBlockFrames) flush();
    }
}

namespace {

template <typename T>
T quantize(float v, double scale, double lo, double hi)
{
    const double x = std::nearbyint(double(v) * scale);
    return T(std::clamp(x, lo, hi));
}

} // namespace

void SpanBuilder::pushFloat(const float *samples, int64_t frames)
{
    const size_t width = bytesPerSample(m_type);
    uint8_t tmp[8];
    for (int64_t i = 0; i < frames; ++i) {
        const float v = samples[i];
        switch (m_type) {
        case SampleType::U8: tmp[0] = uint8_t(quantize<int32_t>(v, 128.0, -128.0, 127.0) + 128); break;
        case SampleType::S16: {
            const int16_t x = quantize<int16_t>(v, 32768.0, -32768.0, 32767.0);
            std::memcpy(tmp, &x, 2);
            break;
        }
        case SampleType::S24: {
            const int32_t x = quantize<int32_t>(v, 8388608.0, -8388608.0, 8388607.0);
            tmp[0] = uint8_t(x);
            tmp[1] = uint8_t(x >> 8);
            tmp[2] = uint8_t(x >> 16);
            break;
        }
        case SampleType::S32: {
            const int32_t x = quantize<int32_t>(v, 2147483648.0, -2147483648.0, 2147483647.0);
            std::memcpy(tmp, &x, 4);
            break;
        }
        case SampleType::F64: {
            const double x = v;
            std::memcpy(tmp, &x, 8);
            break;
        }
        case SampleType::F32:
        case SampleType::Zero: std::memcpy(tmp, &v, 4); break;
        }
        pushNative(tmp, 1, width);
    }
}

void SpanBuilder::pushZeros(int64_t frames)
{
    if (frames <= 0) return;
    flush();
    m_list.append(Span{Block::zeros(frames), 0, frames});
}

void SpanBuilder::pushBlock(const BlockRef &block)
{
    flush();
    if (block && block->frames() > 0) m_list.append(Span{block, 0, block->frames()});
}

SpanList SpanBuilder::finish()
{
    flush();
    SpanList out = std::move(m_list);
    m_list = SpanList();
    return out;
}

} // namespace asig
