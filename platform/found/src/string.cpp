// Text helpers.
#include "blstring.h"

#include "found_p.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

char upper(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }
char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }


struct Parameter {
    std::string_view name;
    std::string_view value;
    size_t begin;  // offset of the item in the text
    size_t end;    // offset just past the item
};

// Splits a parameter text at the commas that are outside brackets.
std::vector<Parameter> splitParameters(std::string_view text)
{
    std::vector<Parameter> items;
    size_t start = 0;
    int depth = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        const char c = i < text.size() ? text[i] : ',';
        if (c == '[' || c == '(') ++depth;
        else if ((c == ']' || c == ')') && depth > 0) --depth;
        else if (c == ',' && (depth == 0 || i == text.size())) {
            const std::string_view item = text.substr(start, i - start);
            const size_t eq = item.find('=');
            Parameter p{_BLSTRING_TrimBlanks(item.substr(0, eq)),
                        eq == std::string_view::npos ? std::string_view() : _BLSTRING_TrimBlanks(item.substr(eq + 1)), start, i};
            if (!p.name.empty()) items.push_back(p);
            start = i + 1;
        }
    }
    return items;
}

bool findParameter(const char *text, const char *name, std::string_view &value)
{
    if (text == nullptr || name == nullptr || name[0] == '\0') return false;
    for (const Parameter &p : splitParameters(text)) {
        if (_BLSTRING_EqualsIgnoringCase(p.name, name)) {
            value = p.value;
            return true;
        }
    }
    return false;
}

bool setParameter(char *buffer, size_t size, const char *name, const std::string &value)
{
    if (buffer == nullptr || size == 0 || name == nullptr || name[0] == '\0') return false;
    const std::string text(buffer, strnlen(buffer, size));
    std::string result;
    bool replaced = false;
    for (const Parameter &p : splitParameters(text)) {
        if (!replaced && _BLSTRING_EqualsIgnoringCase(p.name, name)) {
            result = text.substr(0, p.begin) + std::string(p.name) + "=" + value + text.substr(p.end);
            replaced = true;
            break;
        }
    }
    if (!replaced) result = text.empty() ? std::string(name) + "=" + value : text + "," + name + "=" + value;
    if (result.size() + 1 > size) return false;
    std::memcpy(buffer, result.c_str(), result.size() + 1);
    return true;
}

} // namespace

char *BLSTRING_Strupr(char *text)
{
    if (text == nullptr) return nullptr;
    for (char *p = text; *p != '\0'; ++p) *p = upper(*p);
    return text;
}

char *BLSTRING_Strlwr(char *text)
{
    if (text == nullptr) return nullptr;
    for (char *p = text; *p != '\0'; ++p) *p = lower(*p);
    return text;
}

bool BLSTRING_Contains(const char *text, const char *part)
{
    if (text == nullptr || part == nullptr) return false;
    return std::strstr(text, part) != nullptr;
}

int32_t BLSTRING_CompareInsensitiveN(const char *a, const char *b, size_t count)
{
    if (a == nullptr || b == nullptr) return (a == nullptr ? 0 : 1) - (b == nullptr ? 0 : 1);
    for (size_t i = 0; i < count; ++i) {
        const unsigned char ca = static_cast<unsigned char>(lower(a[i]));
        const unsigned char cb = static_cast<unsigned char>(lower(b[i]));
        if (ca != cb) return ca < cb ? -1 : 1;
        if (ca == '\0') return 0;
    }
    return 0;
}

char *BLSTRING_DuplicateString(BLMEM_DESCR pool, const char *text)
{
    if (pool == nullptr || text == nullptr) return nullptr;
    const size_t length = std::strlen(text);
    auto *copy = static_cast<char *>(BLMEM_NewEx(pool, length + 1, 0));
    if (copy != nullptr) std::memcpy(copy, text, length + 1);
    return copy;
}

bool BLSTRING_AddIntegerValueToString(char *buffer, size_t size, const char *name, int64_t value)
{
    return setParameter(buffer, size, name, std::to_string(value));
}

bool BLSTRING_AddStringValueToString(char *buffer, size_t size, const char *name, const char *value)
{
    return setParameter(buffer, size, name, value != nullptr ? value : "");
}

int64_t BLSTRING_GetIntegerValueFromString(const char *text, const char *name, int64_t fallback)
{
    std::string_view value;
    if (!findParameter(text, name, value)) return fallback;
    return _BLSTRING_ParseInteger(value).value_or(fallback);
}

double BLSTRING_GetFloatValueFromString(const char *text, const char *name, double fallback)
{
    std::string_view value;
    if (!findParameter(text, name, value)) return fallback;
    return _BLSTRING_ParseReal(value).value_or(fallback);
}

bool BLSTRING_GetStringValueFromString(const char *text, const char *name, char *buffer, size_t size)
{
    if (buffer == nullptr || size == 0) return false;
    buffer[0] = '\0';
    std::string_view value;
    if (!findParameter(text, name, value) || value.size() + 1 > size) return false;
    if (!value.empty()) std::memcpy(buffer, value.data(), value.size());  // an empty view may hold null
    buffer[value.size()] = '\0';
    return true;
}

// ---- parsing shared with the settings store and ini files ------------------

std::string_view _BLSTRING_TrimBlanks(std::string_view text)
{
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    const size_t last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

bool _BLSTRING_EqualsIgnoringCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (lower(a[i]) != lower(b[i])) return false;
    return true;
}

std::optional<int64_t> _BLSTRING_ParseInteger(std::string_view text)
{
    text = _BLSTRING_TrimBlanks(text);
    bool negative = false;
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    // from_chars takes no sign of its own here: a second sign is malformed.
    if (text.empty() || text.front() == '-' || text.front() == '+') return std::nullopt;
    uint64_t magnitude = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    constexpr uint64_t kMaxPositive = uint64_t(INT64_MAX);
    if (negative) {
        if (magnitude > kMaxPositive + 1) return std::nullopt;
        return magnitude == kMaxPositive + 1 ? INT64_MIN : -int64_t(magnitude);
    }
    if (magnitude > kMaxPositive) return std::nullopt;
    return int64_t(magnitude);
}

std::optional<double> _BLSTRING_ParseReal(std::string_view text)
{
    text = _BLSTRING_TrimBlanks(text);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    if (text.empty() || text.front() == '+') return std::nullopt;
    double value = 0.0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::general);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
    return value;
}

std::optional<bool> _BLSTRING_ParseBoolean(std::string_view text)
{
    text = _BLSTRING_TrimBlanks(text);
    for (const char *word : {"true", "yes", "on"})
        if (_BLSTRING_EqualsIgnoringCase(text, word)) return true;
    for (const char *word : {"false", "no", "off"})
        if (_BLSTRING_EqualsIgnoringCase(text, word)) return false;
    if (const auto number = _BLSTRING_ParseInteger(text)) return *number != 0;
    return std::nullopt;
}
