// Fuzz target for JSON dictionaries: parse the input, walk every value
// through every reader, then change the document the way templates are
// written and walk it again.
#include <bldict.h>
#include <bldebug.h>

#include <cstdint>

namespace {

void quietSink(BLDEBUG_SEVERITY, int32_t, const char *, void *) {}

// Depth is bounded: documents nest at most 256 levels.
void walk(BLDICT value)
{
    BLDICT_Type(value);
    BLDICT_IsNumber(value, nullptr);
    BLDICT_GetString(value, nullptr, nullptr);
    BLDICT_GetInteger(value, nullptr, 0);
    BLDICT_GetReal(value, nullptr, 0.0);
    BLDICT_GetBoolean(value, nullptr, false);
    const int32_t keys = BLDICT_KeyCount(value);
    for (int32_t k = 0; k < keys; ++k) {
        const char *key = BLDICT_KeyAt(value, k);
        BLDICT_TypeOf(value, key);
        if (BLDICT_IsObject(value, key)) walk(BLDICT_GetObject(value, key));
        else if (BLDICT_IsArray(value, key)) walk(BLDICT_GetArray(value, key));
        else BLDICT_GetString(value, key, "");
    }
    const int32_t items = BLDICT_ArrayCount(value);
    for (int32_t i = 0; i < items; ++i) walk(BLDICT_ArrayItem(value, i));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Malformed documents are logged by design; printing them would drown the run.
    static const bool silenced = (BLDEBUG_SetSink(quietSink, nullptr, nullptr), true);
    (void)silenced;
    BLDICT root = BLDICT_ReadFromJSONText(reinterpret_cast<const char *>(data), size);
    if (root == nullptr) return 0;
    walk(root);
    if (BLDICT_IsObject(root, nullptr)) {
        BLDICT tracks = BLDICT_SetArray(root, "tracks");
        BLDICT_SetString(BLDICT_ArrayAppendObject(tracks), "name", "fuzz");
        BLDICT_SetReal(root, "gain", 0.5);
    } else if (BLDICT_IsArray(root, nullptr)) {
        BLDICT_ArrayAppendString(root, "fuzz");
        BLDICT_SetInteger(BLDICT_ArrayAppendObject(root), "index", 1);
    }
    walk(root);
    BLDICT_Destroy(root);
    return 0;
}
