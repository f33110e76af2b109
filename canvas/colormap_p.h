// Internal link between the colour-map code and its generated anchor data.
#ifndef TAVO_CANVAS_COLORMAP_P_H
#define TAVO_CANVAS_COLORMAP_P_H

#include <cstdint>

// The 256 anchor colours of a scheme as 768 bytes (red, green, blue per
// anchor, level 0 first), or null for a code outside 0 .. 27. The data is
// static and generated (canvas/colormap_data.cpp); never freed.
const uint8_t *_TAVOCOLORMAP_Anchors(int32_t scheme);

#endif
