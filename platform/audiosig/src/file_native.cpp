// Native sample access for saving: each block answers in the width it
// holds, so 32-bit integers and 64-bit floats, which floats cannot hold,
// are written back as the very values that were read.
#include "file_p.h"

#include <cstring>

namespace asig::file {

void readSamplesAs(const SpanList &list, int64_t from, int64_t count, SampleType type, void *out)
{
    auto *bytes = static_cast<uint8_t *>(out);
    const size_t width = bytesPerSample(type);
    std::memset(bytes, 0, size_t(count) * width);
    // forEach clips spans to the range and gives them in order.
    list.forEach(from, from + count, [&](const Span &span) {
        span.block->readAs(type, span.offset, span.frames, bytes);
        bytes += size_t(span.frames) * width;
    });
}

} // namespace asig::file
