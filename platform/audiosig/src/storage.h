// Sample storage: immutable blocks with summaries, and span lists over them.
//
// A Block holds the samples of one channel in the width they were made
// with, or refers to interleaved samples of a mapped file, or stands for
// silence without any data. Blocks never change after they are built; they
// are shared through std::shared_ptr<const Block>.
//
// A SpanList is one channel of a signal: a sequence of spans (block, offset,
// length). It is a value: copying it copies a short vector of pointers to
// chunks of at most kChunkSpans spans, and every change replaces only the
// chunks it touches, so duplicates of a signal share almost all of their
// structure.
#ifndef AUDIOSIG_STORAGE_H
#define AUDIOSIG_STORAGE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace asig {

enum class SampleType : uint8_t {
    Zero,  // silence: no data at all
    U8,    // unsigned 8-bit, 128 = 0
    S16,   // signed 16-bit, native endian
    S24,   // signed 24-bit packed in 3 bytes, little endian
    S32,   // signed 32-bit, native endian
    F32,
    F64,
};

size_t bytesPerSample(SampleType type);

// Writes one float in [-1, 1] as a sample of `type` at `out` (integers
// rounded to nearest and clipped to their range).
void encodeFloat(SampleType type, float value, uint8_t *out);

// Frames of the blocks this library makes: small enough that a short edit
// copies little (a 1 s gain change of 44.1 kHz audio touches at most two
// blocks), large enough that a 10-hour channel needs some 24,000 blocks.
constexpr int64_t kBlockFrames = 65536;

// Summary runs. Level 1 covers kRun1 frames, level 2 kRun2 frames (kRun2 /
// kRun1 level-1 runs). An entry is 12 bytes, so level 1 costs 12 / 1024 =
// 1.2% of 16-bit samples and level 2 a further 0.04%.
constexpr int64_t kRun1 = 512;
constexpr int64_t kRun2 = 16384;

struct RunSummary {
    float min;
    float max;
    float sum2;  // sum of squares of the run's samples (as floats in [-1, 1])
};

// What a stretch of samples adds up to. Mergeable: min of mins, max of
// maxes, sums added.
struct Stats {
    float min = 0.0f;
    float max = 0.0f;
    double sum2 = 0.0;
    int64_t frames = 0;

    void merge(const Stats &other);
    void mergeRun(const RunSummary &run, int64_t frames);
};

// Keeps a mapped file alive while blocks refer into it.
class Mapping {
public:
    virtual ~Mapping() = default;
};

class Block {
public:
    // Builders. Each computes the summaries; the returned block is shared.
    static std::shared_ptr<const Block> fromFloat(const float *samples, int64_t frames);
    // Copies `frames` samples of `type` spaced `strideBytes` apart (the
    // interleaved samples of one channel) into a block of the same type.
    static std::shared_ptr<const Block> fromNative(SampleType type, const void *first, int64_t frames,
                                                   size_t strideBytes);
    // Refers to samples inside a mapping without copying them.
    static std::shared_ptr<const Block> mapped(std::shared_ptr<const Mapping> mapping, SampleType type,
                                               const void *first, int64_t frames, size_t strideBytes);
    static std::shared_ptr<const Block> zeros(int64_t frames);
    // Takes over `frames` contiguous samples of `type` in `data`.
    static std::shared_ptr<const Block> adopt(SampleType type, std::unique_ptr<uint8_t[]> data, int64_t frames);

    Block(const Block &) = delete;
    Block &operator=(const Block &) = delete;
    ~Block();

    int64_t frames() const { return m_frames; }
    SampleType type() const { return m_type; }
    bool isMapped() const { return m_mapping != nullptr; }

    float sample(int64_t index) const;
    // Reads frames [from, from + count) as floats in [-1, 1].
    void readFloat(int64_t from, int64_t count, float *out) const;
    // Reads frames [from, from + count) as samples of `type`: the stored
    // values themselves when the block holds that type (bit-exact also for
    // 32-bit integers and 64-bit floats, which floats cannot hold), else
    // converted from floats with rounding and clipping. `out` holds `count`
    // samples of `type` side by side.
    void readAs(SampleType type, int64_t from, int64_t count, void *out) const;
    // Min, max and sum of squares of frames [from, from + count), from the
    // summaries plus the samples at the two edges.
    Stats stats(int64_t from, int64_t count) const;
    Stats total() const { return m_total; }

    // Bytes this block holds from the system: its own samples (not mapped
    // file data) and its summaries.
    size_t memoryBytes() const;

private:
    Block() = default;
    void summarize();
    Stats scan(int64_t from, int64_t count) const;

    SampleType m_type = SampleType::Zero;
    int64_t m_frames = 0;
    const uint8_t *m_data = nullptr;     // first sample; null for Zero
    size_t m_stride = 0;                 // bytes from one frame to the next
    std::unique_ptr<uint8_t[]> m_owned;  // the data, when the block owns it
    std::shared_ptr<const Mapping> m_mapping;
    std::vector<RunSummary> m_level1;    // one per kRun1 frames (the last may be short)
    std::vector<RunSummary> m_level2;    // one per kRun2 frames
    Stats m_total;
};

using BlockRef = std::shared_ptr<const Block>;

struct Span {
    BlockRef block;
    int64_t offset = 0;  // first frame of the block that the span uses
    int64_t frames = 0;
};

// Produces the samples of frames [position, position + count) of a rewritten
// range into `out`.
using Producer = std::function<void(int64_t position, int64_t count, float *out)>;

class SpanList {
public:
    // Spans per chunk and chunks per page. An edit copies the chunk and the
    // page it touches and the list of pages; a duplicate copies the list of
    // pages only. A 10-hour channel of 44.1 kHz audio (24,000 blocks) has
    // about 380 chunks in 12 pages, so both stay a few dozen pointers.
    static constexpr size_t kChunkSpans = 64;
    static constexpr size_t kPageChunks = 32;

    SpanList() = default;

    int64_t frames() const { return m_frames; }
    bool empty() const { return m_frames == 0; }
    size_t spanCount() const;

    // Appends a span (merged with the last span when it continues it).
    void append(const Span &span);
    void append(const SpanList &other);

    // Frames [from, to) as a new list sharing the blocks. Clamped to the list.
    SpanList slice(int64_t from, int64_t to) const;
    // Removes frames [from, to) (clamped).
    void erase(int64_t from, int64_t to);
    // Inserts `other` before frame `at` (clamped to [0, frames()]).
    void insert(int64_t at, const SpanList &other);
    // Replaces frames [from, to) by `other`.
    void replace(int64_t from, int64_t to, const SpanList &other);

    // Calls `visit(span)` for each piece of a span inside [from, to), in
    // order, with offset and frames clipped to the range.
    void forEach(int64_t from, int64_t to, const std::function<void(const Span &)> &visit) const;

    // Reads frames [from, from + count) as floats; frames outside read as 0.
    void readFloat(int64_t from, int64_t count, float *out) const;
    float sample(int64_t frame) const;

    // Stats of frames [from, from + count) clipped to the list.
    Stats stats(int64_t from, int64_t count) const;

    // Replaces frames [from, to) by new float blocks whose samples come from
    // `produce` (called with absolute positions, at most kBlockFrames at a
    // time). Blocks outside the range are kept as they are.
    void rewrite(int64_t from, int64_t to, const Producer &produce);

    // True when both lists hold the same spans (same blocks, offsets,
    // lengths).
    bool sameSpans(const SpanList &other) const;
    // True when both share their structure (cheap identity test).
    bool sharesStructureWith(const SpanList &other) const { return m_pages == other.m_pages; }

    // Adds the distinct blocks to `blocks` and returns the bytes of the span
    // structure that this list holds.
    size_t collect(std::vector<const Block *> &blocks) const;

    // The structure: pages of chunks of spans, shared between lists and
    // never changed once shared.
    struct Chunk {
        std::vector<Span> spans;
        int64_t frames = 0;
    };
    using ChunkRef = std::shared_ptr<const Chunk>;
    struct Page {
        std::vector<ChunkRef> chunks;
        std::vector<int64_t> starts;  // first frame of each chunk, from the page's start
        int64_t frames = 0;
    };
    using PageRef = std::shared_ptr<const Page>;

private:
    struct Place {
        size_t page = 0;
        size_t chunk = 0;
        int64_t chunkStart = 0;  // in list frames
    };
    // The page and chunk holding `frame` (the first ones for an empty list).
    Place locate(int64_t frame) const;
    // Calls visit(span, offset, frames) for each piece of a span inside
    // [from, to), clipped, in order.
    template <typename Visit>
    void walk(int64_t from, int64_t to, Visit &&visit) const;
    void setPages(std::vector<PageRef> pages);

    std::vector<PageRef> m_pages;
    std::vector<int64_t> m_pageStarts;  // first frame of each page
    int64_t m_frames = 0;
};

// Collects samples in arrival order into blocks of kBlockFrames of one
// sample type.
class SpanBuilder {
public:
    explicit SpanBuilder(SampleType type) : m_type(type == SampleType::Zero ? SampleType::F32 : type) {}
    // Samples of the builder's type spaced `strideBytes` apart.
    void pushNative(const void *first, int64_t frames, size_t strideBytes);
    // Floats, converted to the builder's type (integers rounded and clipped).
    void pushFloat(const float *samples, int64_t frames);
    void pushZeros(int64_t frames);
    void pushBlock(const BlockRef &block);
    SpanList finish();

private:
    void flush();

    SampleType m_type;
    std::unique_ptr<uint8_t[]> m_pending;  // room for one block of native samples
    int64_t m_pendingFrames = 0;
    SpanList m_list;
};

} // namespace asig

#endif
