// Spectrogram colour maps: 256 anchor colours per scheme expanded on demand
// into process-wide 65536-entry tables.
#include "tavocolormap.h"

#include "canvas/colormap_p.h"
#include "tavocolor.h"

#include <atomic>
#include <mutex>
#include <new>

namespace {

constexpr uint32_t kLastLevel = TAVOCOLORMAP_LEVELS - 1;
constexpr uint32_t kLastAnchor = 255;
constexpr int kSlotCount = TAVOCOLORMAP_SCHEME_COUNT * 2;  // normal and inverted of each scheme

// One lazily built table. `table` is published with release order only once
// fully written, so a reader that sees it non-null with acquire order sees
// every entry; `mutex` serialises building and freeing of this slot alone,
// so workers asking for different schemes never wait for one another.
struct Slot {
    std::mutex mutex;
    std::atomic<uint32_t *> table{nullptr};
};

Slot slots[kSlotCount];

// Level -> colour: the level's position among the anchors is
// level x 255 / 65535; the two anchors around it are mixed per channel in
// exact integer arithmetic, rounded to the nearest byte. Anchors land
// exactly on levels k x 257, so level 0 and level 65535 are the first and
// last anchor unchanged.
TAVOCOLOR levelColor(const uint8_t *anchors, uint32_t level)
{
    const uint32_t pos = level * kLastAnchor;  // at most 16711425: no overflow
    const uint32_t k = pos / kLastLevel;
    const uint32_t frac = pos % kLastLevel;
    const uint8_t *a = anchors + 3 * k;
    if (frac == 0) return TAVOCOLOR_RGBA(a[0], a[1], a[2], 255);
    const uint8_t *b = a + 3;  // k < 255 here, so the next anchor exists
    auto mix = [frac](uint32_t x, uint32_t y) { return (x * (kLastLevel - frac) + y * frac + kLastLevel / 2) / kLastLevel; };
    return TAVOCOLOR_RGBA(mix(a[0], b[0]), mix(a[1], b[1]), mix(a[2], b[2]), 255);
}

uint32_t directed(uint32_t level, bool inverted)
{
    return inverted ? kLastLevel - level : level;
}

}  // namespace

TAVO_API int32_t TAVOCOLORMAP_CountSchemes(void)
{
    return TAVOCOLORMAP_SCHEME_COUNT;
}

TAVO_API const uint32_t *TAVOCOLORMAP_GetMap(int32_t scheme, bool inverted)
{
    const uint8_t *anchors = _TAVOCOLORMAP_Anchors(scheme);
    if (anchors == nullptr) return nullptr;
    Slot &slot = slots[scheme * 2 + (inverted ? 1 : 0)];
    if (uint32_t *ready = slot.table.load(std::memory_order_acquire)) return ready;

    const std::lock_guard<std::mutex> lock(slot.mutex);
    // Another thread may have built it while this one waited for the lock.
    if (uint32_t *ready = slot.table.load(std::memory_order_relaxed)) return ready;
    uint32_t *table = new (std::nothrow) uint32_t[TAVOCOLORMAP_LEVELS];
    if (table == nullptr) return nullptr;
    for (uint32_t level = 0; level <= kLastLevel; ++level) table[level] = levelColor(anchors, directed(level, inverted));
    slot.table.store(table, std::memory_order_release);
    return table;
}

TAVO_API uint32_t TAVOCOLORMAP_Color(int32_t scheme, bool inverted, uint16_t level)
{
    const uint8_t *anchors = _TAVOCOLORMAP_Anchors(scheme);
    if (anchors == nullptr) return 0;
    return levelColor(anchors, directed(level, inverted));
}

TAVO_API bool TAVOCOLORMAP_Finalize(void)
{
    for (Slot &slot : slots) {
        const std::lock_guard<std::mutex> lock(slot.mutex);
        delete[] slot.table.exchange(nullptr, std::memory_order_acq_rel);
    }
    return true;
}
