// Fuzz target for ini files: parse the input, then read every key of every
// section as each type, under its own name and a case-changed one.
#include <blinifile.h>
#include <bldebug.h>

#include <cstdint>
#include <string>

namespace {

void quietSink(BLDEBUG_SEVERITY, int32_t, const char *, void *) {}

std::string upper(const char *text)
{
    std::string result(text);
    for (char &c : result)
        if (c >= 'a' && c <= 'z') c = char(c - 'a' + 'A');
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Malformed values are logged by design; printing them would drown the run.
    static const bool silenced = (BLDEBUG_SetSink(quietSink, nullptr, nullptr), true);
    (void)silenced;
    BLINIFILE ini = BLINIFILE_OpenFromText(reinterpret_cast<const char *>(data), size);
    if (ini == nullptr) return 0;
    const int32_t sections = BLINIFILE_SectionCount(ini);
    for (int32_t s = 0; s <= sections; ++s) {
        const char *section = BLINIFILE_SectionName(ini, s);
        if (section == nullptr) continue;
        const std::string loud = upper(section);
        BLINIFILE_HasSection(ini, loud.c_str());
        const int32_t keys = BLINIFILE_KeyCount(ini, section);
        for (int32_t k = 0; k <= keys; ++k) {
            const char *key = BLINIFILE_KeyName(ini, section, k);
            if (key == nullptr) continue;
            BLINIFILE_HasKey(ini, loud.c_str(), upper(key).c_str());
            BLINIFILE_ReadString(ini, section, key, nullptr);
            BLINIFILE_ReadInteger(ini, section, key, 0);
            BLINIFILE_ReadFloat(ini, section, key, 0.0);
            BLINIFILE_ReadBoolean(ini, section, key, false);
        }
    }
    BLINIFILE_ReadString(ini, "tavo.link", "options", "");
    BLINIFILE_Close(ini);
    return 0;
}
