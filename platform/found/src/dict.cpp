// JSON dictionaries on nlohmann-json. A handle is a view: its document and
// the path (keys and indices) from the root to its place, resolved on every
// call. Nothing holds a pointer into the tree between calls, so appending to
// a std::vector-backed array can never leave a handle dangling.
#include "found_p.h"
#include "bldict.h"

#include "bldebug.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using Json = nlohmann::json;

namespace {

// Template files are a few KiB; the limit refuses anything that is clearly
// not one before it is read into memory.
constexpr std::uintmax_t kMaxFileBytes = 16u * 1024u * 1024u;
// Templates nest a handful of levels. The writer and our walks recurse or
// grow with the depth, so deeper documents are refused on read and on build.
constexpr size_t kMaxDepth = 256;
// The C interface counts in int32_t. A 16 MiB file cannot hold more items,
// but a document built in memory could.
constexpr size_t kMaxCount = size_t(INT32_MAX);

struct DictDocument;

// One step from a container to a child.
struct PathStep {
    bool isIndex = false;
    size_t index = 0;
    std::string key;
};

} // namespace

struct BLDictValue {
    DictDocument *m_document = nullptr;
    std::vector<PathStep> m_path;
};

namespace {

struct DictDocument {
    Json m_json;
    BLDictValue m_root;
    // m_viewMutex guards m_views only, so that reads handing out views may
    // run on several threads. Nothing is called out while it is held.
    std::mutex m_viewMutex;
    // Views by encoded path: asking twice for one place gives one handle,
    // and a root holds at most one view per place it was asked about.
    std::unordered_map<std::string, std::unique_ptr<BLDictValue>> m_views;

    DictDocument() { m_root.m_document = this; }
};

std::string encodePath(const std::vector<PathStep> &path)
{
    std::string encoded;
    for (const PathStep &step : path) {
        if (step.isIndex) {
            encoded += 'i' + std::to_string(step.index) + ';';
        } else {
            encoded += 'k' + std::to_string(step.key.size()) + ':';
            encoded += step.key;
        }
    }
    return encoded;
}

BLDICT viewAt(const BLDictValue &parent, PathStep step)
{
    std::vector<PathStep> path = parent.m_path;
    path.push_back(std::move(step));
    std::string encoded = encodePath(path);
    DictDocument &document = *parent.m_document;
    const std::lock_guard lock(document.m_viewMutex);
    std::unique_ptr<BLDictValue> &slot = document.m_views[std::move(encoded)];
    if (!slot) slot = std::make_unique<BLDictValue>(BLDictValue{&document, std::move(path)});
    return slot.get();
}

BLDICT childView(BLDICT parent, const char *key)
{
    return viewAt(*parent, PathStep{false, 0, key});
}

// The value a handle names now, or null when that place is gone.
Json *resolve(BLDICT dict)
{
    if (dict == nullptr || dict->m_document == nullptr) return nullptr;
    Json *node = &dict->m_document->m_json;
    for (const PathStep &step : dict->m_path) {
        if (step.isIndex) {
            if (!node->is_array() || step.index >= node->size()) return nullptr;
            node = &(*node)[step.index];
        } else {
            if (!node->is_object()) return nullptr;
            const auto found = node->find(step.key);
            if (found == node->end()) return nullptr;
            node = &found.value();
        }
    }
    return node;
}

// object[key], or the value itself for a null key.
Json *member(BLDICT object, const char *key)
{
    Json *node = resolve(object);
    if (node == nullptr || key == nullptr) return node;
    if (!node->is_object()) return nullptr;
    const auto found = node->find(key);
    return found == node->end() ? nullptr : &found.value();
}

BLDICT_TYPE typeOf(const Json *node)
{
    if (node == nullptr) return BLDICT_TYPE_NONE;
    switch (node->type()) {
    case Json::value_t::null: return BLDICT_TYPE_NULL;
    case Json::value_t::string: return BLDICT_TYPE_STRING;
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned: return BLDICT_TYPE_INTEGER;
    case Json::value_t::number_float: return BLDICT_TYPE_REAL;
    case Json::value_t::boolean: return BLDICT_TYPE_BOOLEAN;
    case Json::value_t::object: return BLDICT_TYPE_OBJECT;
    case Json::value_t::array: return BLDICT_TYPE_ARRAY;
    case Json::value_t::binary:
    case Json::value_t::discarded: break;
    }
    return BLDICT_TYPE_NONE;
}

bool isUtf8(std::string_view text)
{
    size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        size_t length = 0;
        uint32_t codePoint = 0;
        if (lead < 0x80) { ++i; continue; }
        if ((lead & 0xE0) == 0xC0) { length = 2; codePoint = lead & 0x1F; }
        else if ((lead & 0xF0) == 0xE0) { length = 3; codePoint = lead & 0x0F; }
        else if ((lead & 0xF8) == 0xF0) { length = 4; codePoint = lead & 0x07; }
        else return false;
        if (i + length > text.size()) return false;
        for (size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) return false;
            codePoint = (codePoint << 6) | (next & 0x3F);
        }
        // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
        static constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (codePoint < kSmallest[length] || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF))
            return false;
        i += length;
    }
    return true;
}

// Brackets outside strings, counted before parsing so that a hostile file
// cannot make the parser or later walks nest without bound.
bool nestingWithinLimit(std::string_view text)
{
    size_t depth = 0;
    bool inString = false;
    bool escaped = false;
    for (const char c : text) {
        if (inString) {
            if (escaped) escaped = false;
            else if (c == '\\') escaped = true;
            else if (c == '"') inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > kMaxDepth) return false;
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return true;
}

// Runs `body`, turning an exception (nlohmann or allocation) into `failure`.
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

BLDICT parseDocument(const char *function, std::string_view text)
{
    if (!nestingWithinLimit(text)) {
        BLDEBUG_Error("%s: nesting deeper than %zu levels", function, kMaxDepth);
        return nullptr;
    }
    auto document = std::make_unique<DictDocument>();
    try {
        document->m_json = Json::parse(text.begin(), text.end());
    } catch (const Json::parse_error &error) {
        BLDEBUG_Error("%s: malformed JSON: %s", function, error.what());
        return nullptr;
    }
    return &document.release()->m_root;
}

BLDICT createRoot(const char *function, Json::value_t kind)
{
    return guarded(function, BLDICT(nullptr), [&] {
        auto document = std::make_unique<DictDocument>();
        document->m_json = Json(kind);
        return &document.release()->m_root;
    });
}

// The object that `object` names, for a change of its member `key`.
Json *objectForChange(const char *function, BLDICT object, const char *key)
{
    Json *node = resolve(object);
    if (node == nullptr || !node->is_object()) {
        BLDEBUG_Error("%s: not an object", function);
        return nullptr;
    }
    if (key == nullptr || !isUtf8(key)) {
        BLDEBUG_Error("%s: %s key", function, key == nullptr ? "null" : "non-UTF-8");
        return nullptr;
    }
    return node;
}

Json *arrayForChange(const char *function, BLDICT array)
{
    Json *node = resolve(array);
    if (node == nullptr || !node->is_array()) {
        BLDEBUG_Error("%s: not an array", function);
        return nullptr;
    }
    return node;
}

// Checks what only some values need: UTF-8 text, finite reals.
bool acceptable(const char *function, const Json &value)
{
    if (value.is_string() && !isUtf8(value.get_ref<const std::string &>())) {
        BLDEBUG_Error("%s: text is not UTF-8", function);
        return false;
    }
    if (value.is_number_float() && !std::isfinite(value.get<double>())) {
        BLDEBUG_Error("%s: JSON has no infinities or NaN", function);
        return false;
    }
    return true;
}

template <typename Value>
bool setMember(const char *function, BLDICT object, const char *key, const Value &raw)
{
    return guarded(function, false, [&] {
        Json value(raw);
        Json *node = objectForChange(function, object, key);
        if (node == nullptr || !acceptable(function, value)) return false;
        (*node)[key] = std::move(value);
        return true;
    });
}

BLDICT setContainer(const char *function, BLDICT object, const char *key, Json::value_t kind)
{
    return guarded(function, BLDICT(nullptr), [&]() -> BLDICT {
        Json *node = objectForChange(function, object, key);
        if (node == nullptr) return nullptr;
        if (object->m_path.size() >= kMaxDepth) {
            BLDEBUG_Error("%s: deeper than %zu levels", function, kMaxDepth);
            return nullptr;
        }
        // The view is made first: should that fail, the document is unchanged.
        BLDICT view = childView(object, key);
        (*node)[key] = Json(kind);
        return view;
    });
}

template <typename Value>
bool append(const char *function, BLDICT array, const Value &raw)
{
    return guarded(function, false, [&] {
        Json value(raw);
        Json *node = arrayForChange(function, array);
        if (node == nullptr || !acceptable(function, value)) return false;
        node->push_back(std::move(value));
        return true;
    });
}

BLDICT appendContainer(const char *function, BLDICT array, Json::value_t kind)
{
    return guarded(function, BLDICT(nullptr), [&]() -> BLDICT {
        Json *node = arrayForChange(function, array);
        if (node == nullptr) return nullptr;
        if (array->m_path.size() >= kMaxDepth) {
            BLDEBUG_Error("%s: deeper than %zu levels", function, kMaxDepth);
            return nullptr;
        }
        BLDICT view = viewAt(*array, PathStep{true, node->size(), {}});
        node->push_back(Json(kind));
        return view;
    });
}


} // namespace

/* ---- documents ---- */

BLDICT BLDICT_ReadFromJSON(const char *path)
{
    if (path == nullptr) {
        BLDEBUG_Error("BLDICT_ReadFromJSON: null path");
        return nullptr;
    }
    return guarded("BLDICT_ReadFromJSON", BLDICT(nullptr), [&]() -> BLDICT {
        std::error_code code;
        if (!std::filesystem::is_regular_file(path, code)) {
            BLDEBUG_Error("BLDICT_ReadFromJSON: '%s' is not a readable file", path);
            return nullptr;
        }
        const auto size = std::filesystem::file_size(path, code);
        if (code || size > kMaxFileBytes) {
            BLDEBUG_Error("BLDICT_ReadFromJSON: '%s' is larger than 16 MiB or unreadable", path);
            return nullptr;
        }
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            BLDEBUG_Error("BLDICT_ReadFromJSON: cannot read '%s': %s", path, std::strerror(errno));
            return nullptr;
        }
        const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (text.size() > kMaxFileBytes) {
            BLDEBUG_Error("BLDICT_ReadFromJSON: '%s' is larger than 16 MiB", path);
            return nullptr;
        }
        return parseDocument("BLDICT_ReadFromJSON", text);
    });
}

BLDICT BLDICT_ReadFromJSONText(const char *text, size_t length)
{
    if (text == nullptr || length > kMaxFileBytes) {
        BLDEBUG_Error("BLDICT_ReadFromJSONText: %s", text == nullptr ? "null text" : "text larger than 16 MiB");
        return nullptr;
    }
    return guarded("BLDICT_ReadFromJSONText", BLDICT(nullptr),
                   [&] { return parseDocument("BLDICT_ReadFromJSONText", std::string_view(text, length)); });
}

bool BLDICT_WriteToJSON(BLDICT dict, const char *path)
{
    if (dict == nullptr || path == nullptr) {
        BLDEBUG_Error("BLDICT_WriteToJSON: null %s", dict == nullptr ? "document" : "path");
        return false;
    }
    return guarded("BLDICT_WriteToJSON", false, [&] {
        // Texts were checked on the way in; replacing stays a last resort so
        // that a write never throws half way.
        const std::string text =
            dict->m_document->m_json.dump(4, ' ', false, Json::error_handler_t::replace) + "\n";
        std::string error;
        if (!_BLIO_WriteFileAtomically(path, text, error)) {
            BLDEBUG_Error("BLDICT_WriteToJSON: cannot write '%s': %s", path, error.c_str());
            return false;
        }
        return true;
    });
}

BLDICT BLDICT_CreateObject(void)
{
    return createRoot("BLDICT_CreateObject", Json::value_t::object);
}

BLDICT BLDICT_CreateArray(void)
{
    return createRoot("BLDICT_CreateArray", Json::value_t::array);
}

bool BLDICT_Destroy(BLDICT root)
{
    if (root == nullptr) return false;
    if (&root->m_document->m_root != root) {
        BLDEBUG_Error("BLDICT_Destroy: a view is borrowed from its root and is not destroyed");
        return false;
    }
    delete root->m_document;
    return true;
}

/* ---- types ---- */

BLDICT_TYPE BLDICT_Type(BLDICT dict)
{
    return typeOf(resolve(dict));
}

BLDICT_TYPE BLDICT_TypeOf(BLDICT object, const char *key)
{
    return typeOf(member(object, key));
}

bool BLDICT_IsString(BLDICT object, const char *key)
{
    return BLDICT_TypeOf(object, key) == BLDICT_TYPE_STRING;
}

bool BLDICT_IsInteger(BLDICT object, const char *key)
{
    return BLDICT_TypeOf(object, key) == BLDICT_TYPE_INTEGER;
}

bool BLDICT_IsReal(BLDICT object, const char *key)
{
    return BLDICT_TypeOf(object, key) == BLDICT_TYPE_REAL;
}

bool BLDICT_IsNumber(BLDICT object, const char *key)
{
    const BLDICT_TYPE type = BLDICT_TypeOf(object, key);
    return type == BLDICT_TYPE_INTEGER || type == BLDICT_TYPE_REAL;
}

bool BLDICT_IsBoolean(BLDICT object, const char *key)
{
    return BLDICT_TypeOf(object, key) == BLDICT_TYPE_BOOLEAN;
}

bool BLDICT_IsObject(BLDICT object, const char *key)
{
    return BLDICT_TypeOf(object, key) == BLDICT_TYPE_OBJECT;
}

bool BLDICT_IsArray(BLDICT object, const char *key)
{
    return BLDICT_TypeOf(object, key) == BLDICT_TYPE_ARRAY;
}

/* ---- reads ---- */

const char *BLDICT_GetString(BLDICT object, const char *key, const char *fallback)
{
    const Json *node = member(object, key);
    return node != nullptr && node->is_string() ? node->get_ref<const std::string &>().c_str() : fallback;
}

int64_t BLDICT_GetInteger(BLDICT object, const char *key, int64_t fallback)
{
    const Json *node = member(object, key);
    if (node == nullptr) return fallback;
    if (node->is_number_unsigned()) {
        const auto value = node->get<uint64_t>();
        return value > uint64_t(INT64_MAX) ? fallback : int64_t(value);
    }
    return node->is_number_integer() ? node->get<int64_t>() : fallback;
}

double BLDICT_GetReal(BLDICT object, const char *key, double fallback)
{
    const Json *node = member(object, key);
    return node != nullptr && node->is_number() ? node->get<double>() : fallback;
}

bool BLDICT_GetBoolean(BLDICT object, const char *key, bool fallback)
{
    const Json *node = member(object, key);
    return node != nullptr && node->is_boolean() ? node->get<bool>() : fallback;
}

BLDICT BLDICT_GetObject(BLDICT object, const char *key)
{
    const Json *node = member(object, key);
    if (node == nullptr || !node->is_object()) return nullptr;
    return key == nullptr ? object : guarded("BLDICT_GetObject", BLDICT(nullptr), [&] { return childView(object, key); });
}

BLDICT BLDICT_GetArray(BLDICT object, const char *key)
{
    const Json *node = member(object, key);
    if (node == nullptr || !node->is_array()) return nullptr;
    return key == nullptr ? object : guarded("BLDICT_GetArray", BLDICT(nullptr), [&] { return childView(object, key); });
}

int32_t BLDICT_ArrayCount(BLDICT array)
{
    const Json *node = resolve(array);
    return node != nullptr && node->is_array() ? int32_t(std::min(node->size(), kMaxCount)) : 0;
}

BLDICT BLDICT_ArrayItem(BLDICT array, int32_t index)
{
    const Json *node = resolve(array);
    if (node == nullptr || !node->is_array() || index < 0 || size_t(index) >= node->size()) return nullptr;
    return guarded("BLDICT_ArrayItem", BLDICT(nullptr),
                   [&] { return viewAt(*array, PathStep{true, size_t(index), {}}); });
}

int32_t BLDICT_KeyCount(BLDICT object)
{
    const Json *node = resolve(object);
    return node != nullptr && node->is_object() ? int32_t(std::min(node->size(), kMaxCount)) : 0;
}

const char *BLDICT_KeyAt(BLDICT object, int32_t index)
{
    const Json *node = resolve(object);
    if (node == nullptr || !node->is_object() || index < 0 || size_t(index) >= node->size()) return nullptr;
    const auto &items = node->get_ref<const Json::object_t &>();
    return std::next(items.begin(), index)->first.c_str();
}

/* ---- writes ---- */

bool BLDICT_SetString(BLDICT object, const char *key, const char *value)
{
    if (value == nullptr) {
        BLDEBUG_Error("BLDICT_SetString: null text");
        return false;
    }
    return setMember("BLDICT_SetString", object, key, value);
}

bool BLDICT_SetInteger(BLDICT object, const char *key, int64_t value)
{
    return setMember("BLDICT_SetInteger", object, key, value);
}

bool BLDICT_SetReal(BLDICT object, const char *key, double value)
{
    return setMember("BLDICT_SetReal", object, key, value);
}

bool BLDICT_SetBoolean(BLDICT object, const char *key, bool value)
{
    return setMember("BLDICT_SetBoolean", object, key, value);
}

BLDICT BLDICT_SetObject(BLDICT object, const char *key)
{
    return setContainer("BLDICT_SetObject", object, key, Json::value_t::object);
}

BLDICT BLDICT_SetArray(BLDICT object, const char *key)
{
    return setContainer("BLDICT_SetArray", object, key, Json::value_t::array);
}

bool BLDICT_ArrayAppendString(BLDICT array, const char *value)
{
    if (value == nullptr) {
        BLDEBUG_Error("BLDICT_ArrayAppendString: null text");
        return false;
    }
    return append("BLDICT_ArrayAppendString", array, value);
}

bool BLDICT_ArrayAppendInteger(BLDICT array, int64_t value)
{
    return append("BLDICT_ArrayAppendInteger", array, value);
}

bool BLDICT_ArrayAppendReal(BLDICT array, double value)
{
    return append("BLDICT_ArrayAppendReal", array, value);
}

bool BLDICT_ArrayAppendBoolean(BLDICT array, bool value)
{
    return append("BLDICT_ArrayAppendBoolean", array, value);
}

BLDICT BLDICT_ArrayAppendObject(BLDICT array)
{
    return appendContainer("BLDICT_ArrayAppendObject", array, Json::value_t::object);
}

BLDICT BLDICT_ArrayAppendArray(BLDICT array)
{
    return appendContainer("BLDICT_ArrayAppendArray", array, Json::value_t::array);
}
