// Parameter texts of format strings ("sr=44100,nc=2,type=[a,b]"): reading
// and setting parameters of arbitrary text must never read or write out of
// bounds. The first byte picks the buffer size for the setters.
#include <blstring.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0) return 0;
    const size_t bufferSize = 1 + data[0] % 96;
    const std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    const char *names[] = {"sr", "nc", "type", "mixergains", "", "a=b"};
    char value[32];
    for (const char *name : names) {
        BLSTRING_GetIntegerValueFromString(text.c_str(), name, 0);
        BLSTRING_GetFloatValueFromString(text.c_str(), name, 0.0);
        BLSTRING_GetStringValueFromString(text.c_str(), name, value, sizeof value);
        std::vector<char> buffer(bufferSize, '\0');
        std::strncpy(buffer.data(), text.c_str(), bufferSize - 1);
        BLSTRING_AddIntegerValueToString(buffer.data(), bufferSize, name, -42);
        BLSTRING_AddStringValueToString(buffer.data(), bufferSize, name, text.c_str());
    }
    return 0;
}
