// The process-wide count of open pipes per signal. A pipe (a playback or
// recording stream of the host) reads or fills a signal while the engine
// may want to replace or undo it; the engine waits here until the streams
// let go.
#include "audiofile.h"

#include <condition_variable>
#include <mutex>
#include <unordered_map>

namespace {

// m_mutex guards m_open; m_closed is signalled whenever a count drops to 0.
// Signals are released only after the mutex is let go: their destruction
// may notify.
class PipeTable {
public:
    bool open(AUDIOSIGNAL signal)
    {
        bool first = false;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            first = ++m_open[signal] == 1;
        }
        // The table holds a reference while a pipe is open, so that the
        // address cannot be reused by another signal meanwhile.
        if (first) AUDIOSIGNAL_GetReference(signal);
        return true;
    }

    bool close(AUDIOSIGNAL signal)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto it = m_open.find(signal);
            if (it == m_open.end()) return false;
            if (--it->second > 0) return true;
            m_open.erase(it);
        }
        m_closed.notify_all();
        AUDIOSIGNAL_Destroy(signal);
        return true;
    }

    void waitUntilClosed(AUDIOSIGNAL signal)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_closed.wait(lock, [&] { return m_open.find(signal) == m_open.end(); });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_closed;
    std::unordered_map<AUDIOSIGNAL, int64_t> m_open;
};

PipeTable &pipes()
{
    // Never destroyed: pipes may still close from threads that outlive
    // static destruction.
    static PipeTable *table = new PipeTable;
    return *table;
}

} // namespace

// ---- pipes ------------------------------------------------------------------------------

AUDIO_API bool AUDIOSIGNAL_OpenPipe(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return false;
    try {
        return pipes().open(signal);
    } catch (const std::bad_alloc &) {
        return false;
    }
}

AUDIO_API bool AUDIOSIGNAL_ClosePipe(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return false;
    return pipes().close(signal);
}

AUDIO_API bool AUDIOSIGNAL_WaitUntilPipeClose(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return false;
    pipes().waitUntilClosed(signal);
    return true;
}
