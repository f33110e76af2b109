// Notification dispatchers.
//
// A dispatcher's state lives in a shared HandlerList so that a send in
// progress keeps it alive when a handler destroys the dispatcher. A send
// copies the list of entries under the list's mutex and calls them without
// it; each entry carries a removed mark checked just before its call.
#include "blnotify.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace {

struct HandlerEntry {
    int32_t kind;
    BLNOTIFY_HANDLER handler;
    void *userData;
    std::atomic<bool> removed{false};

    HandlerEntry(int32_t k, BLNOTIFY_HANDLER h, void *u) : kind(k), handler(h), userData(u) {}
};

struct HandlerList {
    // m_mutex guards m_entries; never held while a handler runs.
    std::mutex m_mutex;
    std::vector<std::shared_ptr<HandlerEntry>> m_entries;
    std::atomic<bool> m_dead{false};

    bool add(int32_t kind, BLNOTIFY_HANDLER handler, void *userData)
    {
        if (handler == nullptr) return false;
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto &entry : m_entries)
            if (entry->kind == kind && entry->handler == handler && entry->userData == userData) return false;
        try {
            m_entries.push_back(std::make_shared<HandlerEntry>(kind, handler, userData));
        } catch (const std::bad_alloc &) {
            return false;
        }
        return true;
    }

    bool remove(int32_t kind, BLNOTIFY_HANDLER handler, void *userData)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (auto it = m_entries.begin(); it != m_entries.end(); ++it) {
            if ((*it)->kind == kind && (*it)->handler == handler && (*it)->userData == userData) {
                (*it)->removed.store(true);
                m_entries.erase(it);
                return true;
            }
        }
        return false;
    }

    int32_t count()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<int32_t>(m_entries.size());
    }

    int32_t send(const BLNOTIFY_EVENT &event)
    {
        std::vector<std::shared_ptr<HandlerEntry>> snapshot;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            snapshot.reserve(m_entries.size());
            for (const auto &entry : m_entries)
                if (entry->kind == event.kind || entry->kind == BLNOTIFY_ANY_KIND) snapshot.push_back(entry);
        }
        int32_t answer = 1;
        bool objected = false;
        for (const auto &entry : snapshot) {
            if (m_dead.load()) break;
            if (entry->removed.load()) continue;
            const int32_t result = entry->handler(entry->userData, &event);
            if (result != 1 && !objected) {
                answer = result;
                objected = true;
            }
        }
        return answer;
    }
};

// Made on first use and never destroyed: libraries above us remove their
// default handlers while the process exits, which may be after the runtime
// has run the destructors of static objects.
HandlerList &defaultHandlers()
{
    static auto *list = new HandlerList();
    return *list;
}

} // namespace

struct BLNotifyDispatcher {
    void *m_owner;
    std::shared_ptr<HandlerList> m_list;
};

BLNOTIFY_DISPATCHER BLNOTIFY_CreateDispatcher(void *owner)
{
    try {
        return new BLNotifyDispatcher{owner, std::make_shared<HandlerList>()};
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

bool BLNOTIFY_DestroyDispatcher(BLNOTIFY_DISPATCHER dispatcher)
{
    if (dispatcher == nullptr) return false;
    dispatcher->m_list->m_dead.store(true);
    delete dispatcher;
    return true;
}

bool BLNOTIFY_AddHandler(BLNOTIFY_DISPATCHER dispatcher, int32_t kind, BLNOTIFY_HANDLER handler, void *userData)
{
    return dispatcher != nullptr && dispatcher->m_list->add(kind, handler, userData);
}

bool BLNOTIFY_DelHandler(BLNOTIFY_DISPATCHER dispatcher, int32_t kind, BLNOTIFY_HANDLER handler, void *userData)
{
    return dispatcher != nullptr && dispatcher->m_list->remove(kind, handler, userData);
}

int32_t BLNOTIFY_CountHandlers(BLNOTIFY_DISPATCHER dispatcher)
{
    return dispatcher != nullptr ? dispatcher->m_list->count() : 0;
}

int32_t BLNOTIFY_DispatcherSendEventEx(BLNOTIFY_DISPATCHER dispatcher, int64_t identifier, int32_t kind,
                                       void *arg1, void *arg2, void *arg3)
{
    if (dispatcher == nullptr) return 1;
    // Keeps the list alive while handlers run, even if one destroys the
    // dispatcher.
    const std::shared_ptr<HandlerList> list = dispatcher->m_list;
    const BLNOTIFY_EVENT event{dispatcher->m_owner, identifier, kind, arg1, arg2, arg3};
    return list->send(event);
}

bool BLNOTIFY_AddDefaultHandler(int32_t kind, BLNOTIFY_HANDLER handler, void *userData)
{
    return defaultHandlers().add(kind, handler, userData);
}

bool BLNOTIFY_DelDefaultHandler(int32_t kind, BLNOTIFY_HANDLER handler, void *userData)
{
    return defaultHandlers().remove(kind, handler, userData);
}

int32_t BLNOTIFY_SendEvent(void *source, int64_t identifier, int32_t kind, void *arg1, void *arg2, void *arg3)
{
    const BLNOTIFY_EVENT event{source, identifier, kind, arg1, arg2, arg3};
    return defaultHandlers().send(event);
}
