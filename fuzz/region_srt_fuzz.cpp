// Fuzz target for SRT region files: parse the input; what parses must
// survive being written and parsed again with as many regions, in order.
#include "region_p.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    std::vector<asig::PlainRegion> regions;
    if (!asig::parseSrt(text, regions)) return 0;
    std::vector<asig::PlainRegion> again;
    if (!asig::parseSrt(asig::writeSrt(regions), again) || again.size() != regions.size()) std::abort();
    for (size_t i = 0; i < regions.size(); ++i)
        if (again[i].end < again[i].begin) std::abort();
    return 0;
}
