// region_checks.h: helpers shared by the region, track and tag suites: the
// next undo label, an event log and a region maker.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "audiosignal.h"
#include "blnotify.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoundo.h"

namespace tavotest {

inline std::string NextUndo(TAVOAUDIO doc)
{
    char label[TAVOUNDO_LABEL_SIZE] = "";
    return TAVOAUDIO_NextUndoLabel(doc, label, sizeof label) ? std::string(label) : std::string("<none>");
}

// Every event the document sends while the log lives, in order; `reply`,
// when set, sees each event as it comes and gives the handler's answer.
struct EventLog {
    struct Seen {
        int32_t kind;
        void *arg1;
        void *arg2;
    };
    std::vector<Seen> events;
    std::function<int32_t(const BLNOTIFY_EVENT *)> reply;

    explicit EventLog(TAVOAUDIO doc) : m_doc(doc) { TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, &handle, this); }
    ~EventLog() { detach(); }
    // Stops listening; call before the document is closed when the log
    // outlives it.
    void detach()
    {
        if (m_doc != nullptr) TAVOAUDIO_DelEventHandler(m_doc, BLNOTIFY_ANY_KIND, &handle, this);
        m_doc = nullptr;
    }
    EventLog(const EventLog &) = delete;
    EventLog &operator=(const EventLog &) = delete;

    int count(int32_t kind) const
    {
        return static_cast<int>(std::count_if(events.begin(), events.end(), [&](const Seen &e) { return e.kind == kind; }));
    }
    // Index of the first event of `kind`, events.size() when none.
    size_t indexOf(int32_t kind) const
    {
        return static_cast<size_t>(
            std::find_if(events.begin(), events.end(), [&](const Seen &e) { return e.kind == kind; }) - events.begin());
    }
    std::vector<Seen> only(std::initializer_list<int32_t> kinds) const
    {
        std::vector<Seen> out;
        for (const Seen &e : events)
            if (std::find(kinds.begin(), kinds.end(), e.kind) != kinds.end()) out.push_back(e);
        return out;
    }

private:
    static int32_t handle(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<EventLog *>(user);
        self->events.push_back({event->kind, event->arg1, event->arg2});
        return self->reply ? self->reply(event) : 1;
    }
    TAVOAUDIO m_doc;
};

// One region (a marker when begin == end) on region track `track`.
inline AUDIOREGION AddRegion(AUDIOSIGNAL signal, int32_t track, double begin, double end, const char *label)
{
    AUDIOREGION out = nullptr;
    const char *kind = begin == end ? "undef" : "region";
    return AUDIOSIGNAL_CreateRegionsOnTrack(signal, 0, begin, end, kind, label, nullptr, track, &out, 1) == 1 ? out
                                                                                                              : nullptr;
}

}  // namespace tavotest
