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

void Block::readAs(SampleType type, int64_t from, int64_t count, void *out) const
{
    auto *dst = static_cast<uint8_t *>(out);
    const size_t width = bytesPerSample(type);
    if (type == m_type && m_data != nullptr) {
        for (int64_t i = 0; i < count; ++i)
            std::memcpy(dst + size_t(i) * width, m_data + size_t(from + i) * m_stride, width);
        return;
    }
    float buffer[kRun1];
    for (int64_t done = 0; done < count;) {
        const int64_t n = std::min<int64_t>(kRun1, count - done);
        readFloat(from + done, n, buffer);
        for (int64_t i = 0; i < n; ++i) encodeFloat(type, buffer[i], dst + size_t(done + i) * width);
        done += n;
    }
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

using Chunk = SpanList::Chunk;
using ChunkRef = SpanList::ChunkRef;
using Page = SpanList::Page;
using PageRef = SpanList::PageRef;

std::shared_ptr<Page> makePage(std::vector<ChunkRef> chunks)
{
    auto page = std::make_shared<Page>();
    page->chunks = std::move(chunks);
    page->starts.resize(page->chunks.size());
    for (size_t i = 0; i < page->chunks.size(); ++i) {
        page->starts[i] = page->frames;
        page->frames += page->chunks[i]->frames;
    }
    return page;
}

// Assembles a list from pieces in order: single spans, whole chunks and
// whole pages. Shared chunks and pages are kept as they are; the pieces
// around them are packed so that repeated edits leave no trail of tiny
// chunks or pages: a short chunk or page is merged with its neighbour
// whenever both fit in one.
class Assembler {
public:
    void addSpan(const Span &span)
    {
        if (span.frames <= 0) return;
        if (!m_spans.empty() && continues(m_spans.back(), span)) {
            m_spans.back().frames += span.frames;
            return;
        }
        if (m_spans.size() == SpanList::kChunkSpans) flushSpans();
        m_spans.push_back(span);
    }

    void addChunk(const ChunkRef &chunk)
    {
        if (chunk->spans.empty()) return;
        // A chunk is taken apart only to fill a short chunk being built (or
        // when it is tiny itself); otherwise it is shared as it is.
        if ((!m_spans.empty() && m_spans.size() + chunk->spans.size() <= SpanList::kChunkSpans / 2) ||
            chunk->spans.size() < 4) {
            for (const Span &span : chunk->spans) addSpan(span);
            return;
        }
        flushSpans();
        if (!m_chunks.empty() && m_chunks.back()->spans.size() + chunk->spans.size() <= SpanList::kChunkSpans / 2) {
            // Two short chunks side by side become one.
            auto merged = std::make_shared<Chunk>(*m_chunks.back());
            for (const Span &span : chunk->spans) {
                if (!merged->spans.empty() && continues(merged->spans.back(), span)) merged->spans.back().frames += span.frames;
                else merged->spans.push_back(span);
                merged->frames += span.frames;
            }
            m_chunks.back() = std::move(merged);
            return;
        }
        m_chunks.push_back(chunk);
        if (m_chunks.size() == SpanList::kPageChunks) flushChunks();
    }

    void addPage(const PageRef &page)
    {
        if (page->chunks.empty()) return;
        // Pending spans become a chunk of their own first: a shared page is
        // never taken apart because a partial chunk stands before it, so the
        // pages after an edit point are kept whole and an edit costs the
        // same on a long list as on a short one.
        flushSpans();
        if (!m_chunks.empty() && m_chunks.size() + page->chunks.size() <= SpanList::kPageChunks / 2) {
            for (const ChunkRef &chunk : page->chunks) addChunk(chunk);
            return;
        }
        flushChunks();
        if (!m_pages.empty() && m_pages.back()->chunks.size() + page->chunks.size() <= SpanList::kPageChunks / 2) {
            std::vector<ChunkRef> chunks = m_pages.back()->chunks;
            chunks.insert(chunks.end(), page->chunks.begin(), page->chunks.end());
            m_pages.back() = makePage(std::move(chunks));
            return;
        }
        m_pages.push_back(page);
    }

    std::vector<PageRef> finish()
    {
        flushChunks();
        return std::move(m_pages);
    }

private:
    void flushSpans()
    {
        if (m_spans.empty()) return;
        auto chunk = std::make_shared<Chunk>();
        chunk->spans = std::move(m_spans);
        m_spans.clear();
        for (const Span &span : chunk->spans) chunk->frames += span.frames;
        m_chunks.push_back(std::move(chunk));
        if (m_chunks.size() == SpanList::kPageChunks) flushChunks();
    }

    void flushChunks()
    {
        flushSpans();
        if (m_chunks.empty()) return;
        if (!m_pages.empty() && m_pages.back()->chunks.size() + m_chunks.size() <= SpanList::kPageChunks) {
            std::vector<ChunkRef> chunks = m_pages.back()->chunks;
            chunks.insert(chunks.end(), m_chunks.begin(), m_chunks.end());
            m_pages.back() = makePage(std::move(chunks));
        } else {
            m_pages.push_back(makePage(std::move(m_chunks)));
        }
        m_chunks.clear();
    }

    std::vector<Span> m_spans;     // the chunk being packed
    std::vector<ChunkRef> m_chunks; // the page being packed
    std::vector<PageRef> m_pages;
};

} // namespace

size_t SpanList::spanCount() const
{
    size_t n = 0;
    for (const PageRef &page : m_pages)
        for (const ChunkRef &chunk : page->chunks) n += chunk->spans.size();
    return n;
}

void SpanList::setPages(std::vector<PageRef> pages)
{
    m_pages = std::move(pages);
    m_pageStarts.resize(m_pages.size());
    int64_t at = 0;
    for (size_t i = 0; i < m_pages.size(); ++i) {
        m_pageStarts[i] = at;
        at += m_pages[i]->frames;
    }
    m_frames = at;
}

SpanList::Place SpanList::locate(int64_t frame) const
{
    // The last page, then the last chunk in it, that starts at or before
    // `frame`.
    Place place;
    if (m_pages.empty()) return place;
    auto pageIt = std::upper_bound(m_pageStarts.begin(), m_pageStarts.end(), frame);
    place.page = pageIt == m_pageStarts.begin() ? 0 : size_t(pageIt - m_pageStarts.begin()) - 1;
    const Page &page = *m_pages[place.page];
    auto chunkIt = std::upper_bound(page.starts.begin(), page.starts.end(), frame - m_pageStarts[place.page]);
    place.chunk = chunkIt == page.starts.begin() ? 0 : size_t(chunkIt - page.starts.begin()) - 1;
    place.chunkStart = m_pageStarts[place.page] + page.starts[place.chunk];
    return place;
}

void SpanList::append(const Span &span)
{
    if (span.frames <= 0) return;
    // Building a list span by span (reading a file) changes its last chunk
    // and page in place while this list is their only owner.
    if (!m_pages.empty() && m_pages.back().use_count() == 1) {
        auto *page = const_cast<Page *>(m_pages.back().get());
        ChunkRef &last = page->chunks.back();
        if (last.use_count() == 1) {
            auto *chunk = const_cast<Chunk *>(last.get());
            if (continues(chunk->spans.back(), span)) chunk->spans.back().frames += span.frames;
            else if (chunk->spans.size() < kChunkSpans) chunk->spans.push_back(span);
            else chunk = nullptr;
            if (chunk != nullptr) {
                chunk->frames += span.frames;
                page->frames += span.frames;
                m_frames += span.frames;
                return;
            }
        }
        if (page->chunks.size() < kPageChunks) {
            auto chunk = std::make_shared<Chunk>();
            chunk->spans.reserve(kChunkSpans);
            chunk->spans.push_back(span);
            chunk->frames = span.frames;
            page->starts.push_back(page->frames);
            page->chunks.push_back(std::move(chunk));
            page->frames += span.frames;
            m_frames += span.frames;
            return;
        }
    }
    auto chunk = std::make_shared<Chunk>();
    chunk->spans.reserve(kChunkSpans);
    chunk->spans.push_back(span);
    chunk->frames = span.frames;
    auto page = std::make_shared<Page>();
    page->chunks.reserve(kPageChunks);
    page->chunks.push_back(std::move(chunk));
    page->starts.push_back(0);
    page->frames = span.frames;
    m_pageStarts.push_back(m_frames);
    m_pages.push_back(std::move(page));
    m_frames += span.frames;
}

void SpanList::append(const SpanList &other)
{
    insert(m_frames, other);
}

template <typename Visit>
void SpanList::walk(int64_t from, int64_t to, Visit &&visit) const
{
    from = std::max<int64_t>(0, from);
    to = std::min(to, m_frames);
    if (from >= to) return;
    const Place place = locate(from);
    int64_t spanStart = place.chunkStart;
    size_t c = place.chunk;
    for (size_t p = place.page; p < m_pages.size(); ++p, c = 0) {
        const Page &page = *m_pages[p];
        for (; c < page.chunks.size(); ++c) {
            for (const Span &span : page.chunks[c]->spans) {
                const int64_t spanEnd = spanStart + span.frames;
                if (spanEnd > from) {
                    const int64_t a = std::max(from, spanStart), b = std::min(to, spanEnd);
                    visit(span, span.offset + (a - spanStart), b - a);
                    if (spanEnd >= to) return;
                }
                spanStart = spanEnd;
            }
        }
    }
}

void SpanList::forEach(int64_t from, int64_t to, const std::function<void(const Span &)> &visit) const
{
    walk(from, to, [&](const Span &span, int64_t offset, int64_t frames) {
        visit(Span{span.block, offset, frames});
    });
}

void SpanList::replace(int64_t from, int64_t to, const SpanList &other)
{
    from = std::clamp<int64_t>(from, 0, m_frames);
    to = std::clamp<int64_t>(to, from, m_frames);
    if (from == to && other.empty()) return;

    Assembler out;
    // Before `from`: whole pages, then whole chunks of its page, then the
    // spans of its chunk up to `from`.
    if (from < m_frames) {
        const Place place = locate(from);
        for (size_t p = 0; p < place.page; ++p) out.addPage(m_pages[p]);
        const Page &page = *m_pages[place.page];
        for (size_t c = 0; c < place.chunk; ++c) out.addChunk(page.chunks[c]);
        int64_t at = place.chunkStart;
        for (const Span &span : page.chunks[place.chunk]->spans) {
            if (at >= from) break;
            out.addSpan(Span{span.block, span.offset, std::min(span.frames, from - at)});
            at += span.frames;
        }
    } else {
        for (const PageRef &page : m_pages) out.addPage(page);
    }
    for (const PageRef &page : other.m_pages) out.addPage(page);
    // After `to`: the rest of its chunk, the later chunks of its page, the
    // later pages.
    if (to < m_frames) {
        const Place place = locate(to);
        const Page &page = *m_pages[place.page];
        int64_t at = place.chunkStart;
        for (const Span &span : page.chunks[place.chunk]->spans) {
            const int64_t end = at + span.frames;
            if (end > to) {
                const int64_t skip = std::max<int64_t>(0, to - at);
                out.addSpan(Span{span.block, span.offset + skip, span.frames - skip});
            }
            at = end;
        }
        for (size_t c = place.chunk + 1; c < page.chunks.size(); ++c) out.addChunk(page.chunks[c]);
        for (size_t p = place.page + 1; p < m_pages.size(); ++p) out.addPage(m_pages[p]);
    }
    setPages(out.finish());
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
    SpanList result;
    from = std::max<int64_t>(0, from);
    to = std::min(to, m_frames);
    if (from >= to) return result;
    if (from == 0 && to == m_frames) return *this;
    // Pages and chunks wholly inside the range are shared; the partial ones
    // at the two ends contribute their spans.
    Assembler out;
    const Place place = locate(from);
    int64_t chunkStart = place.chunkStart;
    size_t c = place.chunk;
    for (size_t p = place.page; p < m_pages.size() && chunkStart < to; ++p, c = 0) {
        const Page &page = *m_pages[p];
        const int64_t pageEnd = m_pageStarts[p] + page.frames;
        if (c == 0 && m_pageStarts[p] >= from && pageEnd <= to) {
            out.addPage(m_pages[p]);
            chunkStart = pageEnd;
            continue;
        }
        for (; c < page.chunks.size() && chunkStart < to; ++c) {
            const ChunkRef &chunk = page.chunks[c];
            const int64_t chunkEnd = chunkStart + chunk->frames;
            if (chunkStart >= from && chunkEnd <= to) {
                out.addChunk(chunk);
            } else {
                int64_t at = chunkStart;
                for (const Span &span : chunk->spans) {
                    const int64_t end = at + span.frames;
                    if (end > from && at < to) {
                        const int64_t a = std::max(from, at), b = std::min(to, end);
                        out.addSpan(Span{span.block, span.offset + (a - at), b - a});
                    }
                    at = end;
                }
            }
            chunkStart = chunkEnd;
        }
    }
    result.setPages(out.finish());
    return result;
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
    // The display's hot path: the walker is inlined here, where forEach's
    // callback would cost more than the work for short columns.
    Stats s;
    walk(from, from + count, [&s](const Span &span, int64_t offset, int64_t frames) {
        s.merge(span.block->stats(offset, frames));
    });
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
    if (m_pages == other.m_pages) return true;
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
    size_t bytes = m_pages.capacity() * sizeof(PageRef) + m_pageStarts.capacity() * sizeof(int64_t);
    for (const PageRef &page : m_pages) {
        bytes += sizeof(Page) + page->chunks.capacity() * sizeof(ChunkRef) + page->starts.capacity() * sizeof(int64_t);
        for (const ChunkRef &chunk : page->chunks) {
            bytes += sizeof(Chunk) + chunk->spans.capacity() * sizeof(Span);
            for (const Span &span : chunk->spans) blocks.push_back(span.block.get());
        }
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

void SpanBuilder::pushFloat(const float *samples, int64_t frames)
{
    const size_t width = bytesPerSample(m_type);
    uint8_t tmp[8];
    for (int64_t i = 0; i < frames; ++i) {
        encodeFloat(m_type, samples[i], tmp);
        pushNative(tmp, 1, width);
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

void encodeFloat(SampleType type, float v, uint8_t *tmp)
{
    {
        switch (type) {
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
