// track_helpers.h: annotation tracks read back as texts, for the region
// suites.
#pragma once

#include <string>

#include "tavotracks.h"

namespace tavotest {

inline std::string TrackIdAt(TAVOAUDIO doc, int32_t index)
{
    char id[128] = "";
    return TAVOAUDIO_GetCustomTrackUniqId(doc, index, id, sizeof id) ? std::string(id) : std::string("<none>");
}

inline std::string TrackLabel(TAVOAUDIO doc, const char *id)
{
    char label[256] = "";
    return TAVOAUDIO_GetTrackLabel(doc, id, label, sizeof label) ? std::string(label) : std::string("<no track>");
}

inline std::string TrackLink(TAVOAUDIO doc, const char *id)
{
    char link[128] = "";
    return TAVOAUDIO_GetTrackLinkedTo(doc, id, link, sizeof link) ? std::string(link) : std::string("<no track>");
}

}  // namespace tavotest
