// Start and stop, notification names, and the reports of long operations.
#include "signal_p.h"

#include <blnotify.h>
#include <blutils.h>
#include <blversion.h>

#include <atomic>
#include <mutex>

namespace {

// g_initMutex serialises start and stop.
std::mutex g_initMutex;
int32_t g_initCount = 0;

std::atomic<int64_t> g_nextOperation{1};

struct KindName {
    int32_t kind;
    const char *name;
};

const KindName kKindNames[] = {
    {AUDIO_NOTIFY_READ_PROGRESS, "AUDIO_NOTIFY_READ_PROGRESS"},
    {AUDIO_NOTIFY_READ_STARTED, "AUDIO_NOTIFY_READ_STARTED"},
    {AUDIO_NOTIFY_WRITE_STARTED, "AUDIO_NOTIFY_WRITE_STARTED"},
    {AUDIO_NOTIFY_WRITE_PROGRESS, "AUDIO_NOTIFY_WRITE_PROGRESS"},
    {AUDIO_NOTIFY_READ_FINISHED, "AUDIO_NOTIFY_READ_FINISHED"},
    {AUDIO_NOTIFY_WRITE_FINISHED, "AUDIO_NOTIFY_WRITE_FINISHED"},
    {AUDIO_NOTIFY_READ_CANCELLED, "AUDIO_NOTIFY_READ_CANCELLED"},
    {AUDIO_NOTIFY_PROCESS_STARTED, "AUDIO_NOTIFY_PROCESS_STARTED"},
    {AUDIO_NOTIFY_PROCESS_PROGRESS, "AUDIO_NOTIFY_PROCESS_PROGRESS"},
    {AUDIO_NOTIFY_PROCESS_FINISHED, "AUDIO_NOTIFY_PROCESS_FINISHED"},
    {AUDIO_NOTIFY_WRITE_CANCELLED, "AUDIO_NOTIFY_WRITE_CANCELLED"},
    {AUDIO_NOTIFY_STEP, "AUDIO_NOTIFY_STEP"},
    {AUDIO_NOTIFY_PROCESS_CANCELLED, "AUDIO_NOTIFY_PROCESS_CANCELLED"},
    {AUDIO_NOTIFY_METADATA_REPLACED, "AUDIO_NOTIFY_METADATA_REPLACED"},
    {AUDIO_NOTIFY_REGION_CHANGED, "AUDIO_NOTIFY_REGION_CHANGED"},
};

struct FamilyKinds {
    int32_t started, progress, finished, cancelled;
};

FamilyKinds kindsOf(ProgressReport::Family family)
{
    switch (family) {
    case ProgressReport::Family::Read:
        return {AUDIO_NOTIFY_READ_STARTED, AUDIO_NOTIFY_READ_PROGRESS, AUDIO_NOTIFY_READ_FINISHED,
                AUDIO_NOTIFY_READ_CANCELLED};
    case ProgressReport::Family::Write:
        return {AUDIO_NOTIFY_WRITE_STARTED, AUDIO_NOTIFY_WRITE_PROGRESS, AUDIO_NOTIFY_WRITE_FINISHED,
                AUDIO_NOTIFY_WRITE_CANCELLED};
    case ProgressReport::Family::Process: break;
    }
    return {AUDIO_NOTIFY_PROCESS_STARTED, AUDIO_NOTIFY_PROCESS_PROGRESS, AUDIO_NOTIFY_PROCESS_FINISHED,
            AUDIO_NOTIFY_PROCESS_CANCELLED};
}

} // namespace

bool AUDIO_Initialize(void)
{
    const std::lock_guard<std::mutex> lock(g_initMutex);
    if (g_initCount++ == 0) BLVERSION_Register("libaudiosig", 1, 0, 0, 1);
    return true;
}

bool AUDIO_Finalize(void)
{
    const std::lock_guard<std::mutex> lock(g_initMutex);
    if (g_initCount == 0) return false;
    --g_initCount;
    return true;
}

const char *AUDIONOTIFY_TranslateEventKind(int32_t kind)
{
    for (const KindName &entry : kKindNames)
        if (entry.kind == kind) return entry.name;
    return nullptr;
}

ProgressReport::ProgressReport(AUDIOSIGNAL signal, void *source, Family family)
    : m_signal(signal), m_source(source), m_family(family), m_identifier(g_nextOperation.fetch_add(1))
{
    m_lastTime = BLUTILS_MonotonicTime();
    BLNOTIFY_SendEvent(m_source, m_identifier, kindsOf(m_family).started, m_signal, nullptr, nullptr);
}

ProgressReport::~ProgressReport()
{
    if (!m_finished) finish(m_cancelled);
}

bool ProgressReport::update(double fraction)
{
    if (m_cancelled) return false;
    // At most one report per percent and per 50 ms: a handler repaints a
    // progress bar, which must not cost more than the work it reports.
    const int64_t now = BLUTILS_MonotonicTime();
    if (fraction < 1.0 && (fraction - m_lastFraction < 0.01 || now - m_lastTime < 50)) return true;
    m_lastFraction = fraction;
    m_lastTime = now;
    double value = fraction;
    if (BLNOTIFY_SendEvent(m_source, m_identifier, kindsOf(m_family).progress, m_signal, &value, nullptr) == 0)
        m_cancelled = true;
    return !m_cancelled;
}

void ProgressReport::step(const char *text)
{
    BLNOTIFY_SendEvent(m_source, m_identifier, AUDIO_NOTIFY_STEP, m_signal, const_cast<char *>(text), nullptr);
}

void ProgressReport::finish(bool cancelled)
{
    if (m_finished) return;
    m_finished = true;
    m_cancelled = m_cancelled || cancelled;
    const FamilyKinds kinds = kindsOf(m_family);
    BLNOTIFY_SendEvent(m_source, m_identifier, m_cancelled ? kinds.cancelled : kinds.finished, m_signal, nullptr,
                       nullptr);
}
