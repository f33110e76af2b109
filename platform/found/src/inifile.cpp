// Ini files: parsed whole into sections of keys, read-only afterwards, so
// reads need no lock.
#include "found_p.h"
#include "blinifile.h"

#include "bldebug.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Link and option files are a few KiB; anything this large is not an ini
// file and is refused instead of parsed.
constexpr size_t kMaxIniBytes = 1024u * 1024u;

char lowerAscii(char c)
{
    return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c;
}

// Orders names without regard to ASCII case; transparent so that lookups
// take the caller's text without copying it.
struct CaseInsensitiveLess {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const
    {
        const size_t common = std::min(a.size(), b.size());
        for (size_t i = 0; i < common; ++i) {
            const char x = lowerAscii(a[i]);
            const char y = lowerAscii(b[i]);
            if (x != y) return static_cast<unsigned char>(x) < static_cast<unsigned char>(y);
        }
        return a.size() < b.size();
    }
};

using NameIndex = std::map<std::string, size_t, CaseInsensitiveLess>;


struct IniEntry {
    std::string key;
    std::string value;
};

struct IniSection {
    std::string name;
    std::vector<IniEntry> entries;
    NameIndex byKey;
};

/* ---- typed parsing ---- */




} // namespace

struct BLIniFile {
    // Immutable after parse(): the texts handed out stay where they are.
    std::vector<IniSection> m_sections;
    NameIndex m_sectionByName;

    // Sections are addressed by index while parsing: m_sections grows.
    size_t sectionNamed(std::string_view name)
    {
        const auto found = m_sectionByName.find(name);
        if (found != m_sectionByName.end()) return found->second;
        m_sections.push_back(IniSection{std::string(name), {}, {}});
        m_sectionByName.emplace(std::string(name), m_sections.size() - 1);
        return m_sections.size() - 1;
    }

    const IniSection *findSection(const char *name) const
    {
        if (name == nullptr) return nullptr;
        const auto found = m_sectionByName.find(std::string_view(name));
        return found == m_sectionByName.end() ? nullptr : &m_sections[found->second];
    }

    const IniEntry *findEntry(const char *section, const char *key) const
    {
        const IniSection *owner = findSection(section);
        if (owner == nullptr || key == nullptr) return nullptr;
        const auto found = owner->byKey.find(std::string_view(key));
        return found == owner->byKey.end() ? nullptr : &owner->entries[found->second];
    }

    void parse(std::string_view text)
    {
        static constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
        if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) text.remove_prefix(kByteOrderMark.size());
        static constexpr size_t kNoSection = SIZE_MAX;
        size_t current = kNoSection;
        bool skipping = false;
        while (!text.empty()) {
            const size_t newline = text.find('\n');
            std::string_view line = text.substr(0, newline);
            text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
            if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
            line = _BLSTRING_TrimBlanks(line);
            if (line.empty() || line.front() == ';' || line.front() == '#') continue;
            if (line.front() == '[') {
                skipping = line.back() != ']' || line.size() < 2;
                if (!skipping) current = sectionNamed(_BLSTRING_TrimBlanks(line.substr(1, line.size() - 2)));
                continue;
            }
            const size_t equals = line.find('=');
            if (skipping || equals == std::string_view::npos) continue;
            const std::string_view key = _BLSTRING_TrimBlanks(line.substr(0, equals));
            std::string_view value = _BLSTRING_TrimBlanks(line.substr(equals + 1));
            if (key.empty()) continue;
            if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
                value = value.substr(1, value.size() - 2);
            if (current == kNoSection) current = sectionNamed("");
            IniSection &owner = m_sections[current];
            const auto found = owner.byKey.find(key);
            if (found != owner.byKey.end()) {
                owner.entries[found->second].value = std::string(value);
                continue;
            }
            owner.entries.push_back(IniEntry{std::string(key), std::string(value)});
            owner.byKey.emplace(std::string(key), owner.entries.size() - 1);
        }
    }
};

namespace {

BLINIFILE parseText(const char *function, std::string_view text)
{
    try {
        auto ini = std::make_unique<BLIniFile>();
        ini->parse(text);
        return ini.release();
    } catch (const std::exception &exception) {
        BLDEBUG_Error("%s: %s", function, exception.what());
    }
    return nullptr;
}

// Looks a value up and parses it; a present value that does not parse is
// worth a warning since a hand-edited file is the likely cause.
template <typename T, typename Parser>
T readTyped(const char *function, BLINIFILE ini, const char *section, const char *key, T fallback,
            Parser parse, const char *typeName)
{
    if (ini == nullptr) return fallback;
    const IniEntry *entry = ini->findEntry(section, key);
    if (entry == nullptr) return fallback;
    if (const std::optional<T> parsed = parse(entry->value)) return *parsed;
    BLDEBUG_Warning("%s: [%s] %s = '%s' is not %s", function, section, key, entry->value.c_str(), typeName);
    return fallback;
}

} // namespace

/* ---- opening and closing ---- */

BLINIFILE BLINIFILE_Open(const char *path)
{
    if (path == nullptr) {
        BLDEBUG_Error("BLINIFILE_Open: null path");
        return nullptr;
    }
    try {
        std::error_code code;
        if (!std::filesystem::is_regular_file(path, code)) {
            BLDEBUG_Error("BLINIFILE_Open: '%s' is not a readable file", path);
            return nullptr;
        }
        const auto size = std::filesystem::file_size(path, code);
        if (code || size > kMaxIniBytes) {
            BLDEBUG_Error("BLINIFILE_Open: '%s' is larger than 1 MiB or unreadable", path);
            return nullptr;
        }
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            BLDEBUG_Error("BLINIFILE_Open: cannot read '%s': %s", path, std::strerror(errno));
            return nullptr;
        }
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        // A file that grew past the limit since file_size() is refused too.
        if (text.size() > kMaxIniBytes) {
            BLDEBUG_Error("BLINIFILE_Open: '%s' is larger than 1 MiB", path);
            return nullptr;
        }
        return parseText("BLINIFILE_Open", text);
    } catch (const std::exception &exception) {
        BLDEBUG_Error("BLINIFILE_Open: %s", exception.what());
    }
    return nullptr;
}

BLINIFILE BLINIFILE_OpenFromText(const char *text, size_t length)
{
    if (text == nullptr || length > kMaxIniBytes) {
        BLDEBUG_Error("BLINIFILE_OpenFromText: %s", text == nullptr ? "null text" : "text larger than 1 MiB");
        return nullptr;
    }
    return parseText("BLINIFILE_OpenFromText", std::string_view(text, length));
}

bool BLINIFILE_Close(BLINIFILE ini)
{
    if (ini == nullptr) return false;
    delete ini;
    return true;
}

/* ---- sections and keys ---- */

bool BLINIFILE_HasSection(BLINIFILE ini, const char *section)
{
    return ini != nullptr && ini->findSection(section) != nullptr;
}

bool BLINIFILE_HasKey(BLINIFILE ini, const char *section, const char *key)
{
    return ini != nullptr && ini->findEntry(section, key) != nullptr;
}

int32_t BLINIFILE_SectionCount(BLINIFILE ini)
{
    // 1 MiB of text holds far fewer than INT32_MAX sections.
    return ini == nullptr ? 0 : int32_t(ini->m_sections.size());
}

const char *BLINIFILE_SectionName(BLINIFILE ini, int32_t index)
{
    if (ini == nullptr || index < 0 || size_t(index) >= ini->m_sections.size()) return nullptr;
    return ini->m_sections[size_t(index)].name.c_str();
}

int32_t BLINIFILE_KeyCount(BLINIFILE ini, const char *section)
{
    const IniSection *owner = ini == nullptr ? nullptr : ini->findSection(section);
    return owner == nullptr ? 0 : int32_t(owner->entries.size());
}

const char *BLINIFILE_KeyName(BLINIFILE ini, const char *section, int32_t index)
{
    const IniSection *owner = ini == nullptr ? nullptr : ini->findSection(section);
    if (owner == nullptr || index < 0 || size_t(index) >= owner->entries.size()) return nullptr;
    return owner->entries[size_t(index)].key.c_str();
}

/* ---- values ---- */

const char *BLINIFILE_ReadString(BLINIFILE ini, const char *section, const char *key, const char *fallback)
{
    const IniEntry *entry = ini == nullptr ? nullptr : ini->findEntry(section, key);
    return entry == nullptr ? fallback : entry->value.c_str();
}

int64_t BLINIFILE_ReadInteger(BLINIFILE ini, const char *section, const char *key, int64_t fallback)
{
    return readTyped("BLINIFILE_ReadInteger", ini, section, key, fallback, _BLSTRING_ParseInteger, "an integer");
}

double BLINIFILE_ReadFloat(BLINIFILE ini, const char *section, const char *key, double fallback)
{
    return readTyped("BLINIFILE_ReadFloat", ini, section, key, fallback, _BLSTRING_ParseReal, "a number");
}

bool BLINIFILE_ReadBoolean(BLINIFILE ini, const char *section, const char *key, bool fallback)
{
    return readTyped("BLINIFILE_ReadBoolean", ini, section, key, fallback, _BLSTRING_ParseBoolean, "a boolean");
}
