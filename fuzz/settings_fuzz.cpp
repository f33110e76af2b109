// Fuzz target for the settings store: the input is read once as a settings
// file and then line by line as the formatted text of every call.
#include <blsettings.h>
#include <bldebug.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <unistd.h>

namespace {

void quietSink(BLDEBUG_SEVERITY, int32_t, const char *, void *) {}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Malformed input is logged by design; printing it all would drown the run.
    static const bool silenced = (BLDEBUG_SetSink(quietSink, nullptr, nullptr), true);
    (void)silenced;
    static const std::string path =
        (std::filesystem::temp_directory_path() / ("settings_fuzz-" + std::to_string(getpid()) + ".conf")).string();

    const std::string_view input(reinterpret_cast<const char *>(data), size);
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(input.data(), std::streamsize(input.size()));
    }
    BLSETTINGS store = BLSETTINGS_Create(path.c_str());
    if (store == nullptr) store = BLSETTINGS_Create(nullptr);

    size_t start = 0;
    while (start <= input.size()) {
        const size_t end = std::min(input.find('\n', start), input.size());
        // Passed through "%s" so that '%' in the input is never a directive.
        const std::string line(input.substr(start, end - start));
        const char *text = line.c_str();
        BLSETTINGS_ChangeEx(store, "%s", text);
        BLSETTINGS_GetIntEx(store, "%s", text);
        BLSETTINGS_GetBoolEx(store, "%s", text);
        BLSETTINGS_GetFloatEx(store, "%s", text);
        char small[8];
        BLSETTINGS_GetStringEx(store, small, sizeof small, "%s", text);
        BLSETTINGS_SetDefaultEx(store, "%s", text);
        BLSETTINGS_ExistsEx(store, "%s", text);
        if (line.size() % 3 == 0) BLSETTINGS_ResetEx(store, "%s", text);
        start = end + 1;
    }
    BLSETTINGS_Destroy(store);
    std::remove(path.c_str());
    return 0;
}
