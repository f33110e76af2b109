// Fuzz target for the region chunks of WAV files (cue points, adtl labels
// and lengths, smpl loops): parse the input as a whole file; a refusal must
// leave the output as it was.
#include "region_p.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view file(reinterpret_cast<const char *>(data), size);
    // 8000 Hz, the rate of the corpus files; the rate only scales the times.
    std::vector<asig::PlainRegion> regions(1);
    if (!asig::parseWavRegions(file, 8000, regions)) {
        if (regions.size() != 1) std::abort();
        return 0;
    }
    for (size_t i = 1; i < regions.size(); ++i)
        if (!(regions[i].end >= regions[i].begin) || regions[i].begin < 0.0) std::abort();
    return 0;
}
