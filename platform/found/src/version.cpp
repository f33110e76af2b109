// Version registry.
#include "blversion.h"

#include <cstring>
#include <mutex>
#include <string>
#include <vector>

namespace {

struct VersionEntry {
    std::string name;
    int32_t major, minor, patch, build;
};

// g_versionMutex guards g_versions.
std::mutex g_versionMutex;
std::vector<VersionEntry> g_versions;

} // namespace

bool BLVERSION_Register(const char *name, int32_t major, int32_t minor, int32_t patch, int32_t build)
{
    if (name == nullptr || name[0] == '\0') return false;
    const std::lock_guard<std::mutex> lock(g_versionMutex);
    for (VersionEntry &entry : g_versions) {
        if (entry.name == name) {
            entry = VersionEntry{name, major, minor, patch, build};
            return true;
        }
    }
    try {
        g_versions.push_back(VersionEntry{name, major, minor, patch, build});
    } catch (...) {
        return false;
    }
    return true;
}

bool BLVERSION_Get(const char *name, int32_t *major, int32_t *minor, int32_t *patch, int32_t *build)
{
    if (name == nullptr) return false;
    const std::lock_guard<std::mutex> lock(g_versionMutex);
    for (const VersionEntry &entry : g_versions) {
        if (entry.name != name) continue;
        if (major != nullptr) *major = entry.major;
        if (minor != nullptr) *minor = entry.minor;
        if (patch != nullptr) *patch = entry.patch;
        if (build != nullptr) *build = entry.build;
        return true;
    }
    return false;
}

int32_t BLVERSION_Count(void)
{
    const std::lock_guard<std::mutex> lock(g_versionMutex);
    return static_cast<int32_t>(g_versions.size());
}

bool BLVERSION_NameAt(int32_t index, char *buffer, size_t size)
{
    if (buffer == nullptr || size == 0) return false;
    buffer[0] = '\0';
    const std::lock_guard<std::mutex> lock(g_versionMutex);
    if (index < 0 || static_cast<size_t>(index) >= g_versions.size()) return false;
    const std::string &name = g_versions[static_cast<size_t>(index)].name;
    if (name.size() + 1 > size) return false;
    std::memcpy(buffer, name.c_str(), name.size() + 1);
    return true;
}
