// Audio files from anywhere: the input is written to a file and opened by
// content (copied and mapped), forced as WAV and as RAW, and probed; what
// opens is read, drawn and saved again. Nothing may crash, hang or read
// outside the file.
#include <audiofile.h>
#include <audiosignal.h>
#include <bldebug.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

// libsndfile 1.2.0 does not free the Vorbis stream information of an Ogg
// file whose headers it fails to read; that leak is the library's, so
// LeakSanitizer (when linked) is told to pass over it.
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions()
{
    return "leak:vorbis_info_init\n";
}

namespace {

void quietSink(BLDEBUG_SEVERITY, int32_t, const char *, void *) {}

const std::string &inputPath()
{
    static const std::string path = "/tmp/audiofile_fuzz-" + std::to_string(::getpid()) + ".in";
    return path;
}

void exercise(AUDIOSIGNAL signal)
{
    const int64_t frames = AUDIOSIGNAL_NumFrames(signal);
    float samples[256];
    for (int32_t c = 0; c < AUDIOSIGNAL_NumChannels(signal); ++c) {
        AUDIOSIGNAL_GetChannelSamplesEx(signal, c, frames / 2, 256, samples);
        AUDIOPOINTER pointer{};
        AUDIOSIGNAL_InitAudioPointer(signal, c, 0, &pointer);
        float lo = 0.0f, hi = 0.0f;
        for (int column = 0; column < 16; ++column)
            AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&pointer, frames / 16 + 1, &lo, &hi);
    }
    // Writing back what was read: at most a few seconds, to keep runs quick.
    if (frames <= 200000) {
        const std::string out = inputPath() + ".out.wav";
        AUDIOSIGNAL_SaveEx(signal, out.c_str(), "AUTO", AUDIO_SAVE_COPY, nullptr);
        std::remove(out.c_str());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Damaged files are logged by design; printing them would drown the run.
    static const bool silenced = (BLDEBUG_SetSink(quietSink, nullptr, nullptr), true);
    (void)silenced;
    const std::string &path = inputPath();
    FILE *file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return 0;
    const bool written = size == 0 || std::fwrite(data, 1, size, file) == size;
    std::fclose(file);
    if (!written) return 0;

    const struct {
        const char *format;
        uint32_t flags;
    } opens[] = {
        {"AUTO", AUDIO_OPEN_NO_MAP},
        {"AUTO", AUDIO_OPEN_MAP | AUDIO_OPEN_PROGRESS},
        {"WAV", AUDIO_OPEN_MAP},
        {"RAW[sr=8000,nc=3,bits=24]", AUDIO_OPEN_MAP},
    };
    for (const auto &open : opens) {
        uint32_t error = 0;
        AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(path.c_str(), open.format, open.flags, nullptr, nullptr, &error);
        if (signal != nullptr) exercise(signal);
        AUDIOSIGNAL_Destroy(signal);
    }
    AUDIO_FORMAT format{};
    int64_t frames = 0;
    AUDIOSIGNAL_ProbeFileEx(path.c_str(), "AUTO", &format, &frames, nullptr);
    std::remove(path.c_str());
    return 0;
}
