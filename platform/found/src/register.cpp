// Object registry.
#include "blregister.h"

#include "bldebug.h"
#include "found_p.h"

#include <cstring>
#include <mutex>
#include <vector>

namespace {

struct Registered {
    void *object;
    const BLREGISTER_DESCR *descriptor;
};

// g_registryMutex guards g_objects; destroy functions run outside it.
std::mutex g_registryMutex;
std::vector<Registered> g_objects;  // in registration order

} // namespace

bool BLREGISTER_AddObject(void *object, const BLREGISTER_DESCR *descriptor)
{
    if (object == nullptr || descriptor == nullptr) return false;
    const std::lock_guard<std::mutex> lock(g_registryMutex);
    for (const Registered &entry : g_objects)
        if (entry.object == object) return false;
    try {
        g_objects.push_back(Registered{object, descriptor});
    } catch (...) {
        return false;
    }
    return true;
}

bool BLREGISTER_DelObject(void *object)
{
    if (object == nullptr) return false;
    const std::lock_guard<std::mutex> lock(g_registryMutex);
    for (auto it = g_objects.begin(); it != g_objects.end(); ++it) {
        if (it->object == object) {
            g_objects.erase(it);
            return true;
        }
    }
    return false;
}

bool BLREGISTER_HasObject(const void *object)
{
    if (object == nullptr) return false;
    const std::lock_guard<std::mutex> lock(g_registryMutex);
    for (const Registered &entry : g_objects)
        if (entry.object == object) return true;
    return false;
}

int32_t BLREGISTER_CountObjects(const char *typeName)
{
    const std::lock_guard<std::mutex> lock(g_registryMutex);
    int32_t count = 0;
    for (const Registered &entry : g_objects) {
        if (typeName == nullptr
            || (entry.descriptor->typeName != nullptr && std::strcmp(entry.descriptor->typeName, typeName) == 0))
            ++count;
    }
    return count;
}

void _BLREGISTER_DestroyAll()
{
    for (;;) {
        Registered last;
        {
            const std::lock_guard<std::mutex> lock(g_registryMutex);
            if (g_objects.empty()) return;
            last = g_objects.back();
            g_objects.pop_back();
        }
        const char *type = last.descriptor->typeName != nullptr ? last.descriptor->typeName : "?";
        BLDEBUG_Log(1, "BLCORE_Finalize: destroying a %s left registered", type);
        if (last.descriptor->destroy != nullptr && !last.descriptor->destroy(last.object))
            BLDEBUG_Warning("BLCORE_Finalize: a %s left registered could not be destroyed", type);
    }
}
