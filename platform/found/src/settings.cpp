// Settings store: keys to one-line texts, with registered defaults and the
// fallbacks callers write into their reads.
//
// Locking: each store has one shared_mutex for its maps; file reading,
// file writing and logging always happen outside it. Saves of the whole
// process go through one mutex because the temporary file name is per
// process.
#include "blsettings.h"

#include "bldebug.h"
#include "found_p.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Limits of the header's contract: keys fit a line of the file comfortably,
// values fit a log message with room for its prefix.
constexpr size_t kMaxKeyBytes = 255;
constexpr size_t kMaxValueBytes = 4095;
// A settings file holds a few thousand short lines at most; a file far
// larger is not ours and is refused rather than read into memory.
constexpr std::uintmax_t kMaxFileBytes = 16u * 1024u * 1024u;
// Keys quoted in log messages are cut so that a runaway key stays readable.
constexpr int kLoggedKeyBytes = 300;

} // namespace

struct BLSettingsStore {
    // m_mutex guards every member below; readers share it, changes take it
    // alone. Never held while logging or touching the file system.
    mutable std::shared_mutex m_mutex;
    std::string m_path;
    std::map<std::string, std::string> m_values;
    std::map<std::string, std::string> m_defaults;
    // Bumped by every change of m_values; the store is clean while the file
    // holds the state of m_savedCount.
    uint64_t m_changeCount = 0;
    uint64_t m_savedCount = 0;
};

namespace {

// Serializes every settings file write of the process, so that two saves of
// one file land in the order they were made. Taken before a store's
// m_mutex, never while holding it.
std::mutex g_writeMutex;

/* ---- texts ---- */

bool isKeyCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '_' || c == '-';
}

bool isWellFormedKey(std::string_view key)
{
    if (key.empty() || key.size() > kMaxKeyBytes) return false;
    for (const char c : key)
        if (!isKeyCharacter(c)) return false;
    return true;
}

bool isWellFormedValue(std::string_view value)
{
    if (value.size() > kMaxValueBytes) return false;
    return value.find_first_of(std::string_view("\n\r\0", 3)) == std::string_view::npos;
}



std::optional<std::string> formatText(const char *format, va_list args)
{
    va_list measure;
    va_copy(measure, args);
    const int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length < 0) return std::nullopt;
    std::string text(size_t(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    return text;
}

/* ---- typed parsing ---- */




std::optional<std::string> parseText(std::string_view text)
{
    return std::string(text);
}

/* ---- requests ---- */

// A call's formatted text split at its first '='.
struct Request {
    std::string key;
    bool hasRest = false;
    std::string rest;
};

// Formats and splits; logs and answers nothing for a null format or a
// malformed key.
std::optional<Request> makeRequest(const char *function, const char *format, va_list args)
{
    if (format == nullptr) {
        BLDEBUG_Error("%s: null format", function);
        return std::nullopt;
    }
    std::optional<std::string> text = formatText(format, args);
    if (!text) {
        BLDEBUG_Error("%s: cannot format '%s'", function, format);
        return std::nullopt;
    }
    Request request;
    const size_t equals = text->find('=');
    if (equals == std::string::npos) {
        request.key = std::move(*text);
    } else {
        request.key = text->substr(0, equals);
        request.hasRest = true;
        request.rest = text->substr(equals + 1);
    }
    if (!isWellFormedKey(request.key)) {
        BLDEBUG_Error("%s: malformed key '%.*s'", function, kLoggedKeyBytes, request.key.c_str());
        return std::nullopt;
    }
    return request;
}

/* ---- files ---- */

struct FileContents {
    std::map<std::string, std::string> values;
    std::vector<std::string> warnings;
};

// Reads a settings file. Missing: empty contents. Unreadable: nullopt with
// the reason in `error`.
std::optional<FileContents> readSettingsFile(const std::string &path, std::string &error)
{
    FileContents contents;
    std::error_code code;
    const auto status = std::filesystem::status(path, code);
    if (status.type() == std::filesystem::file_type::not_found) return contents;
    if (code) {
        error = code.message();
        return std::nullopt;
    }
    if (!std::filesystem::is_regular_file(status)) {
        error = "not a regular file";
        return std::nullopt;
    }
    const auto size = std::filesystem::file_size(path, code);
    if (code || size > kMaxFileBytes) {
        error = code ? code.message() : "larger than 16 MiB";
        return std::nullopt;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = std::strerror(errno);
        return std::nullopt;
    }
    std::string line;
    int lineNumber = 0;
    while (std::getline(in, line)) {
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const std::string_view trimmed = _BLSTRING_TrimBlanks(line);
        if (trimmed.empty() || trimmed.front() == '#') continue;
        const size_t equals = line.find('=');
        const std::string_view key = equals == std::string::npos
                                         ? std::string_view()
                                         : _BLSTRING_TrimBlanks(std::string_view(line).substr(0, equals));
        // Values are kept byte for byte so that what was set reads back.
        const std::string_view value =
            equals == std::string::npos ? std::string_view() : std::string_view(line).substr(equals + 1);
        if (!isWellFormedKey(key) || !isWellFormedValue(value)) {
            contents.warnings.push_back(path + ":" + std::to_string(lineNumber) + ": malformed line skipped");
            continue;
        }
        contents.values[std::string(key)] = std::string(value);
    }
    if (in.bad()) {
        error = "read error";
        return std::nullopt;
    }
    return contents;
}


std::string defaultFilePath()
{
    const char *explicitPath = std::getenv("TAVO_SETTINGS");
    if (explicitPath != nullptr && explicitPath[0] != '\0') return explicitPath;
    const char *configHome = std::getenv("XDG_CONFIG_HOME");
    // The XDG rules ignore a relative XDG_CONFIG_HOME.
    if (configHome != nullptr && configHome[0] == '/') return std::string(configHome) + "/tavo/settings.conf";
    const char *home = std::getenv("HOME");
    if (home != nullptr && home[0] != '\0') return std::string(home) + "/.config/tavo/settings.conf";
    return {};
}

/* ---- the global store ---- */

BLSettingsStore &globalStoreObject()
{
    // Never destroyed: code running in static destructors may still read
    // settings, and the values were saved by BLCORE_Finalize.
    static BLSettingsStore *const store = new BLSettingsStore();
    return *store;
}

// Loading of the global store happens once, on first use or when the host
// names the file before that.
std::once_flag g_globalLoadOnce;
std::atomic<bool> g_globalLoaded{false};

BLSettingsStore *globalStore()
{
    BLSettingsStore &store = globalStoreObject();
    std::vector<std::string> messages;
    std::call_once(g_globalLoadOnce, [&] {
        const std::string path = defaultFilePath();
        std::string error;
        std::optional<FileContents> contents;
        if (!path.empty()) contents = readSettingsFile(path, error);
        if (path.empty()) messages.push_back("no HOME: settings are kept in memory only");
        else if (!contents)
            messages.push_back("cannot read " + path + " (" + error + "): settings are kept in memory only");
        {
            const std::unique_lock lock(store.m_mutex);
            // A file we could not read is never overwritten with our values.
            if (contents) {
                store.m_path = path;
                store.m_values = std::move(contents->values);
            }
        }
        if (contents) messages.insert(messages.end(), contents->warnings.begin(), contents->warnings.end());
        g_globalLoaded.store(true);
    });
    for (const std::string &message : messages) BLDEBUG_Warning("BLSETTINGS: %s", message.c_str());
    return &store;
}

BLSettingsStore *resolve(BLSETTINGS store)
{
    return store != nullptr ? store : globalStore();
}

/* ---- operations ---- */

// Runs `body`, turning an exception (allocation failure) into `failure`.
template <typename T, typename Body>
T guarded(const char *function, T failure, Body &&body)
{
    try {
        return body();
    } catch (const std::exception &exception) {
        BLDEBUG_Error("%s: %s", function, exception.what());
    } catch (...) {
        BLDEBUG_Error("%s: unexpected failure", function);
    }
    return failure;
}

enum class Target { Value, Default };

bool storeText(const char *function, BLSETTINGS handle, Target target, const char *format, va_list args)
{
    return guarded(function, false, [&] {
        std::optional<Request> request = makeRequest(function, format, args);
        if (!request) return false;
        if (!request->hasRest) {
            BLDEBUG_Error("%s: no '=' after key '%s'", function, request->key.c_str());
            return false;
        }
        if (!isWellFormedValue(request->rest)) {
            BLDEBUG_Error("%s: the value of '%s' is not one line of at most 4095 bytes", function,
                          request->key.c_str());
            return false;
        }
        BLSettingsStore *store = resolve(handle);
        const std::unique_lock lock(store->m_mutex);
        if (target == Target::Default) {
            store->m_defaults[request->key] = std::move(request->rest);
            return true;
        }
        auto [slot, inserted] = store->m_values.try_emplace(request->key);
        if (inserted || slot->second != request->rest) {
            slot->second = std::move(request->rest);
            ++store->m_changeCount;
        }
        return true;
    });
}

// The texts that may answer a read, in the order they are asked.
struct Candidates {
    std::optional<std::string> value;
    std::optional<std::string> preset;
};

Candidates lookUp(const BLSettingsStore &store, const std::string &key)
{
    Candidates candidates;
    const std::shared_lock lock(store.m_mutex);
    if (const auto found = store.m_values.find(key); found != store.m_values.end())
        candidates.value = found->second;
    if (const auto found = store.m_defaults.find(key); found != store.m_defaults.end())
        candidates.preset = found->second;
    return candidates;
}

// Resolves a read: set value, registered default, the read's fallback,
// zero. A source that does not parse is skipped with a warning.
template <typename T, typename Parser>
std::optional<T> readTyped(const char *function, BLSETTINGS handle, const char *format, va_list args,
                           Parser parse, const char *typeName, T zero)
{
    std::optional<Request> request = makeRequest(function, format, args);
    if (!request) return std::nullopt;
    std::optional<std::string> fallback;
    if (request->hasRest && !request->rest.empty()) {
        const std::string &rest = request->rest;
        if (rest.front() == '[') {
            if (rest.size() < 2 || rest.back() != ']') {
                BLDEBUG_Error("%s: malformed fallback '%s' of key '%s'", function, rest.c_str(), request->key.c_str());
                return std::nullopt;
            }
            fallback = rest.substr(1, rest.size() - 2);
        } else {
            fallback = rest;
        }
    }
    const Candidates candidates = lookUp(*resolve(handle), request->key);
    const std::pair<const std::optional<std::string> *, const char *> sources[] = {
        {&candidates.value, "value"}, {&candidates.preset, "default"}, {&fallback, "fallback"}};
    for (const auto &[text, sourceName] : sources) {
        if (!*text) continue;
        if (std::optional<T> parsed = parse(**text)) return parsed;
        BLDEBUG_Warning("%s: the %s '%s' of '%s' is not %s", function, sourceName, (*text)->c_str(),
                        request->key.c_str(), typeName);
    }
    return zero;
}

} // namespace

/* ---- stores ---- */

BLSETTINGS BLSETTINGS_Create(const char *path)
{
    return guarded("BLSETTINGS_Create", BLSETTINGS(nullptr), [&]() -> BLSETTINGS {
        FileContents contents;
        if (path != nullptr && path[0] != '\0') {
            std::string error;
            std::optional<FileContents> read = readSettingsFile(path, error);
            if (!read) {
                BLDEBUG_Error("BLSETTINGS_Create: cannot read '%s': %s", path, error.c_str());
                return nullptr;
            }
            contents = std::move(*read);
        }
        auto store = std::make_unique<BLSettingsStore>();
        store->m_path = path != nullptr ? path : "";
        store->m_values = std::move(contents.values);
        for (const std::string &warning : contents.warnings)
            BLDEBUG_Warning("BLSETTINGS_Create: %s", warning.c_str());
        return store.release();
    });
}

bool BLSETTINGS_Destroy(BLSETTINGS store)
{
    if (store == nullptr) {
        BLDEBUG_Error("BLSETTINGS_Destroy: null store (the global store is never destroyed)");
        return false;
    }
    const bool saved = BLSETTINGS_Save(store);
    delete store;
    return saved;
}

bool BLSETTINGS_SetFileName(const char *path)
{
    return guarded("BLSETTINGS_SetFileName", false, [&] {
        BLSettingsStore &store = globalStoreObject();
        // Named before the first use: the default file is never read.
        std::call_once(g_globalLoadOnce, [] { g_globalLoaded.store(true); });
        globalStore();
        const std::string newPath = path != nullptr ? path : "";
        FileContents contents;
        if (!newPath.empty()) {
            std::string error;
            std::optional<FileContents> read = readSettingsFile(newPath, error);
            if (!read) {
                BLDEBUG_Error("BLSETTINGS_SetFileName: cannot read '%s': %s", newPath.c_str(), error.c_str());
                return false;
            }
            contents = std::move(*read);
        }
        {
            const std::unique_lock lock(store.m_mutex);
            // Values the new file lacks are pending for it; the rest match it.
            bool pending = false;
            for (const auto &entry : store.m_values)
                if (contents.values.count(entry.first) == 0) pending = true;
            for (auto &entry : contents.values) store.m_values[entry.first] = std::move(entry.second);
            store.m_path = newPath;
            store.m_savedCount = store.m_changeCount;
            if (pending && !newPath.empty()) ++store.m_changeCount;
        }
        for (const std::string &warning : contents.warnings)
            BLDEBUG_Warning("BLSETTINGS_SetFileName: %s", warning.c_str());
        return true;
    });
}

const char *BLSETTINGS_FileName(void)
{
    return guarded("BLSETTINGS_FileName", "", [] {
        BLSettingsStore *store = globalStore();
        const std::shared_lock lock(store->m_mutex);
        return store->m_path.c_str();
    });
}

bool BLSETTINGS_Save(BLSETTINGS handle)
{
    return guarded("BLSETTINGS_Save", false, [&] {
        BLSettingsStore *store = resolve(handle);
        std::string path;
        std::string error;
        {
            const std::lock_guard writeLock(g_writeMutex);
            std::string text;
            uint64_t snapshot = 0;
            {
                const std::shared_lock lock(store->m_mutex);
                if (store->m_changeCount == store->m_savedCount || store->m_path.empty()) return true;
                path = store->m_path;
                snapshot = store->m_changeCount;
                text = "# tavo settings: one key=value per line, sorted by key\n";
                for (const auto &[key, value] : store->m_values) text += key + "=" + value + "\n";
            }
            if (_BLIO_WriteFileAtomically(path, text, error)) {
                const std::unique_lock lock(store->m_mutex);
                // Changes made while writing stay pending for the next save.
                if (store->m_path == path) store->m_savedCount = snapshot;
                return true;
            }
        }
        BLDEBUG_Error("BLSETTINGS_Save: cannot write '%s': %s", path.c_str(), error.c_str());
        return false;
    });
}

/* ---- defaults and values ---- */

bool BLSETTINGS_SetDefaultEx(BLSETTINGS store, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const bool ok = storeText("BLSETTINGS_SetDefaultEx", store, Target::Default, format, args);
    va_end(args);
    return ok;
}

bool BLSETTINGS_ChangeEx(BLSETTINGS store, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const bool ok = storeText("BLSETTINGS_ChangeEx", store, Target::Value, format, args);
    va_end(args);
    return ok;
}

bool BLSETTINGS_ResetEx(BLSETTINGS handle, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const bool ok = guarded("BLSETTINGS_ResetEx", false, [&] {
        const std::optional<Request> request = makeRequest("BLSETTINGS_ResetEx", format, args);
        if (!request) return false;
        BLSettingsStore *store = resolve(handle);
        const std::unique_lock lock(store->m_mutex);
        if (store->m_values.erase(request->key) != 0) ++store->m_changeCount;
        return true;
    });
    va_end(args);
    return ok;
}

bool BLSETTINGS_ExistsEx(BLSETTINGS handle, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const bool exists = guarded("BLSETTINGS_ExistsEx", false, [&] {
        const std::optional<Request> request = makeRequest("BLSETTINGS_ExistsEx", format, args);
        if (!request) return false;
        const Candidates candidates = lookUp(*resolve(handle), request->key);
        return candidates.value.has_value() || candidates.preset.has_value();
    });
    va_end(args);
    return exists;
}

/* ---- reads ---- */

int64_t BLSETTINGS_GetIntEx(BLSETTINGS store, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const int64_t value = guarded("BLSETTINGS_GetIntEx", int64_t(0), [&] {
        return readTyped<int64_t>("BLSETTINGS_GetIntEx", store, format, args, _BLSTRING_ParseInteger, "an integer", 0)
            .value_or(0);
    });
    va_end(args);
    return value;
}

bool BLSETTINGS_GetBoolEx(BLSETTINGS store, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const bool value = guarded("BLSETTINGS_GetBoolEx", false, [&] {
        return readTyped<bool>("BLSETTINGS_GetBoolEx", store, format, args, _BLSTRING_ParseBoolean, "a boolean", false)
            .value_or(false);
    });
    va_end(args);
    return value;
}

double BLSETTINGS_GetFloatEx(BLSETTINGS store, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const double value = guarded("BLSETTINGS_GetFloatEx", 0.0, [&] {
        return readTyped<double>("BLSETTINGS_GetFloatEx", store, format, args, _BLSTRING_ParseReal, "a number", 0.0)
            .value_or(0.0);
    });
    va_end(args);
    return value;
}

bool BLSETTINGS_GetStringEx(BLSETTINGS store, char *buffer, size_t size, const char *format, ...)
{
    if (buffer == nullptr || size == 0) {
        BLDEBUG_Error("BLSETTINGS_GetStringEx: no buffer to copy into");
        return false;
    }
    buffer[0] = '\0';
    va_list args;
    va_start(args, format);
    const bool ok = guarded("BLSETTINGS_GetStringEx", false, [&] {
        const std::optional<std::string> text = readTyped<std::string>(
            "BLSETTINGS_GetStringEx", store, format, args, parseText, "a text", std::string());
        if (!text) return false;
        const size_t length = std::min(text->size(), size - 1);
        std::memcpy(buffer, text->data(), length);
        buffer[length] = '\0';
        return true;
    });
    va_end(args);
    return ok;
}

/* ---- start-up and shut-down ---- */

void _BLSETTINGS_Initialize()
{
    guarded("BLCORE_Initialize", false, [] { return globalStore() != nullptr; });
}

void _BLSETTINGS_Finalize()
{
    // A store nobody used has nothing pending; reading it now would only
    // cost a file read at exit.
    if (g_globalLoaded.load()) BLSETTINGS_Save(nullptr);
}
