// Fuzz target for track templates: parse the input as a template, run every
// check with error buffers of several sizes, and read the information record
// of what passes. The checks must agree whatever the buffer, and a template
// that passes always has at least one track.
#include <bldebug.h>
#include <bldict.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "regions/template_check_p.h"

namespace {

void quietSink(BLDEBUG_SEVERITY, int32_t, const char *, void *) {}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Malformed documents are logged by design; printing them would drown the run.
    static const bool silenced = (BLDEBUG_SetSink(quietSink, nullptr, nullptr), true);
    (void)silenced;
    BLDICT root = BLDICT_ReadFromJSONText(reinterpret_cast<const char *>(data), size);
    if (root == nullptr) return 0;

    char full[256];
    const bool valid = _TAVOTRACKS_CheckTemplate(root, full, sizeof full);
    // A short buffer gets the start of the same message, terminated.
    char small[9];
    std::memset(small, 'x', sizeof small);
    if (_TAVOTRACKS_CheckTemplate(root, small, sizeof small) != valid) std::abort();
    if (!valid && (std::memchr(small, '\0', sizeof small) == nullptr || std::strncmp(small, full, 8) != 0))
        std::abort();
    if (_TAVOTRACKS_CheckTemplate(root, nullptr, 0) != valid) std::abort();

    if (valid) {
        TAVOTRACKTEMPLATEINFO info;
        _TAVOTRACKS_ReadTemplateInfo(root, &info);
        if (info.trackCount < 1 || info.name[sizeof info.name - 1] != '\0') std::abort();
    }
    BLDICT_Destroy(root);
    return 0;
}
