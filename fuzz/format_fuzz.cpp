// Format texts from files, settings and the command line: decoding and
// parsing arbitrary text must never read or write out of bounds.
#include <audioformat.h>
#include <audiosignal.h>

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    char name[16], value[24];
    // Small buffers on purpose: long names and values must be cut cleanly.
    int items = 0;
    for (const char *item = text.c_str(); item != nullptr && *item != '\0' && items < 10000; ++items)
        item = AUDIO_DecodeParameter(item, name, sizeof name, value, sizeof value);
    AUDIO_FORMAT format = AUDIO_NullFormat();
    if (AUDIO_GetFormatFromString(text.c_str(), &format)) {
        char back[128];
        AUDIO_FormatToString(&format, back, sizeof back);
    }
    AUDIOSIGNAL signal = AUDIOSIGNAL_New(text.c_str());
    AUDIOSIGNAL_Destroy(signal);
    return 0;
}
