// Captures what libfound logs while the object lives.
#ifndef TESTS_LOG_CAPTURE_H
#define TESTS_LOG_CAPTURE_H

#include <bldebug.h>

#include <mutex>
#include <string>
#include <vector>

class LogCapture {
public:
    struct Message {
        BLDEBUG_SEVERITY severity;
        int32_t level;
        std::string text;
    };

    LogCapture() { m_previous = BLDEBUG_SetSink(&LogCapture::sink, this, &m_previousData); }
    ~LogCapture() { BLDEBUG_SetSink(m_previous, m_previousData, nullptr); }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    std::vector<Message> messages()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_messages;
    }

    bool contains(const std::string &part)
    {
        for (const Message &m : messages())
            if (m.text.find(part) != std::string::npos) return true;
        return false;
    }

private:
    static void sink(BLDEBUG_SEVERITY severity, int32_t level, const char *text, void *self)
    {
        auto *capture = static_cast<LogCapture *>(self);
        const std::lock_guard<std::mutex> lock(capture->m_mutex);
        capture->m_messages.push_back(Message{severity, level, text});
    }

    std::mutex m_mutex;
    std::vector<Message> m_messages;
    BLDEBUG_SINK m_previous = nullptr;
    void *m_previousData = nullptr;
};

#endif
