// document_helpers.h: scratch folders, handlers and sample comparisons for
// the document lifecycle tests.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include "audiofile.h"
#include "audiosignal.h"
#include "blnotify.h"
#include "tavoaudio.h"
#include "tavonotify.h"

namespace doctest {

// A fresh folder under the system's temporary folder, removed at the end.
class ScratchDir {
public:
    ScratchDir()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tavo-doc-XXXXXX").string();
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        char *made = mkdtemp(buffer.data());
        m_path = made != nullptr ? std::filesystem::path(made) : std::filesystem::path();
    }
    ~ScratchDir()
    {
        std::error_code ignored;
        if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
    }
    std::string file(const std::string &name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

inline std::string ReadBytes(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteText(const std::string &path, const std::string &text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
}

// Writes `seconds` of a sine at `rate` with `bits` per sample as a WAV file
// through the signal library alone.
inline bool WriteWav(const std::string &path, int32_t rate, int32_t channels, double seconds, int32_t bits)
{
    std::string format = "AUTO[sr=" + std::to_string(rate) + ",nc=" + std::to_string(channels) +
                         ",bits=" + std::to_string(bits) + "]";
    AUDIOSIGNAL signal = AUDIOSIGNAL_New(format.c_str());
    if (signal == nullptr) return false;
    const int64_t frames = static_cast<int64_t>(seconds * rate);
    std::vector<float> samples(static_cast<size_t>(frames * channels));
    for (int64_t i = 0; i < frames; ++i)
        for (int32_t c = 0; c < channels; ++c)
            samples[static_cast<size_t>(i * channels + c)] = 0.25f * static_cast<float>((i % 50) - 25) / 25.0f;
    bool ok = AUDIOSIGNAL_AppendSamples(signal, samples.data(), frames);
    const std::string target = bits == 16 ? "WAV" : "WAV[bits=" + std::to_string(bits) + "]";
    uint32_t error = 0;
    ok = ok && AUDIOSIGNAL_SaveEx(signal, path.c_str(), target.c_str(), 0, &error);
    AUDIOSIGNAL_Destroy(signal);
    return ok;
}

inline std::vector<float> Channel(AUDIOSIGNAL signal, int32_t channel)
{
    std::vector<float> out(static_cast<size_t>(AUDIOSIGNAL_NumFrames(signal)));
    AUDIOSIGNAL_GetChannelSamplesEx(signal, channel, 0, static_cast<int64_t>(out.size()), out.data());
    return out;
}

// Records the kinds (and first arguments) of the events it receives.
struct EventLog {
    std::mutex mutex;
    std::vector<int32_t> kinds;
    std::vector<void *> firstArgs;
    int32_t answer = 1;
    void *fillSlot = nullptr;   // for TAVODATABASE_GET_FILE_ID: the slot seen

    static int32_t Handler(void *userData, const BLNOTIFY_EVENT *event)
    {
        auto *log = static_cast<EventLog *>(userData);
        std::lock_guard<std::mutex> guard(log->mutex);
        log->kinds.push_back(event->kind);
        log->firstArgs.push_back(event->arg1);
        if (event->kind == TAVODATABASE_GET_FILE_ID) log->fillSlot = event->arg2;
        return log->answer;
    }
    int count(int32_t kind)
    {
        std::lock_guard<std::mutex> guard(mutex);
        int n = 0;
        for (int32_t k : kinds) n += k == kind ? 1 : 0;
        return n;
    }
};

} // namespace doctest
