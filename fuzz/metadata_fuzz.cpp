// Tags of files from anywhere: the input is read as each format that holds
// tags; what is read is written back into the same damaged file, as a
// metadata update writes into its copy, and read again. Nothing may crash,
// hang or touch bytes outside the file.
#include <bldebug.h>

#include "metadata_p.h"

#include <fcntl.h>
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
    static const std::string path = "/tmp/metadata_fuzz-" + std::to_string(::getpid()) + ".in";
    return path;
}

bool writeInput(const uint8_t *data, size_t size)
{
    FILE *file = std::fopen(inputPath().c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = size == 0 || std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool silenced = (BLDEBUG_SetSink(quietSink, nullptr, nullptr), true);
    (void)silenced;
    const int16_t tags[] = {AUDIO_FORMATTAG_WAV,  AUDIO_FORMATTAG_AIFF, AUDIO_FORMATTAG_MP3,
                            AUDIO_FORMATTAG_FLAC, AUDIO_FORMATTAG_OGG,  AUDIO_FORMATTAG_OPUS};
    for (const int16_t tag : tags) {
        if (!writeInput(data, size)) return 0;
        const int fd = ::open(inputPath().c_str(), O_RDWR | O_CLOEXEC);
        if (fd < 0) return 0;
        asig::FieldTable fields;
        if (asig::readFileTags(fd, tag, fields)) {
            // A field more, so that the tag changes size and the file moves.
            fields.values.insert_or_assign("FUZZ", std::make_shared<const std::string>(std::string(700, 'f')));
            uint32_t error = 0;
            asig::writeFileTags(fd, tag, fields, error);
            asig::FieldTable again;
            asig::readFileTags(fd, tag, again);
        }
        ::close(fd);
    }
    std::remove(inputPath().c_str());
    return 0;
}
