// gen_audio: writes test audio of any length without holding it in memory.
//
//   gen_audio [--kind tone|noise|silence] [--seconds S] [--rate R]
//             [--channels C] [--bits 8|16|24|32|f32|f64] [--frequency HZ]
//             [--amplitude A] OUT.(wav|rf64|aiff|flac|ogg|opus|mp3|raw)
//
// The format follows the extension; a WAV whose samples pass 4 GiB is
// written as RF64. A tone of a whole number of hertz repeats every second,
// so one second is computed and written over and over: ten hours of audio
// cost the time of writing them. Noise comes from a fixed xorshift
// generator, so two runs give the same file.
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Options {
    std::string kind = "tone";
    double seconds = 10.0;
    int rate = 44100;
    int channels = 2;
    std::string bits = "16";
    double frequency = 1000.0;
    double amplitude = 0.5;
    std::string out;
};

void usage()
{
    std::fprintf(stderr,
                 "usage: gen_audio [--kind tone|noise|silence] [--seconds S] [--rate R] [--channels C]\n"
                 "                 [--bits 8|16|24|32|f32|f64] [--frequency HZ] [--amplitude A] OUT\n");
}

bool parse(int argc, char **argv, Options &o)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const auto value = [&](void) -> const char * { return i + 1 < argc ? argv[++i] : nullptr; };
        const char *v = nullptr;
        if (arg == "--kind" && (v = value())) o.kind = v;
        else if (arg == "--seconds" && (v = value())) o.seconds = std::atof(v);
        else if (arg == "--rate" && (v = value())) o.rate = std::atoi(v);
        else if (arg == "--channels" && (v = value())) o.channels = std::atoi(v);
        else if (arg == "--bits" && (v = value())) o.bits = v;
        else if (arg == "--frequency" && (v = value())) o.frequency = std::atof(v);
        else if (arg == "--amplitude" && (v = value())) o.amplitude = std::atof(v);
        else if (!arg.empty() && arg[0] != '-' && o.out.empty()) o.out = arg;
        else return false;
    }
    return !o.out.empty() && o.rate > 0 && o.channels > 0 && o.seconds >= 0.0 &&
           (o.kind == "tone" || o.kind == "noise" || o.kind == "silence");
}

std::string extensionOf(const std::string &path)
{
    const size_t dot = path.find_last_of('.');
    std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
    for (char &c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

int subFormat(const std::string &bits, bool signed8)
{
    if (bits == "8") return signed8 ? SF_FORMAT_PCM_S8 : SF_FORMAT_PCM_U8;
    if (bits == "24") return SF_FORMAT_PCM_24;
    if (bits == "32") return SF_FORMAT_PCM_32;
    if (bits == "f32") return SF_FORMAT_FLOAT;
    if (bits == "f64") return SF_FORMAT_DOUBLE;
    return SF_FORMAT_PCM_16;
}

int bytesOf(const std::string &bits)
{
    if (bits == "8") return 1;
    if (bits == "24") return 3;
    if (bits == "32" || bits == "f32") return 4;
    if (bits == "f64") return 8;
    return 2;
}

// libsndfile's format of the output, 0 for an unknown extension.
int formatOf(const Options &o, int64_t frames)
{
    const std::string ext = extensionOf(o.out);
    if (ext == "wav") {
        // RIFF sizes are 32 bits; 4 KiB stay free for the header chunks.
        const uint64_t bytes = uint64_t(frames) * uint64_t(o.channels) * uint64_t(bytesOf(o.bits));
        return (bytes > 0xffffffffULL - 4096 ? SF_FORMAT_RF64 : SF_FORMAT_WAV) | subFormat(o.bits, false);
    }
    if (ext == "rf64") return SF_FORMAT_RF64 | subFormat(o.bits, false);
    if (ext == "aif" || ext == "aiff") return SF_FORMAT_AIFF | subFormat(o.bits, true);
    if (ext == "flac") return SF_FORMAT_FLAC | subFormat(o.bits == "8" || o.bits == "24" ? o.bits : "16", true);
    if (ext == "raw") return SF_FORMAT_RAW | subFormat(o.bits, false);
    if (ext == "ogg") return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    if (ext == "opus") return SF_FORMAT_OGG | SF_FORMAT_OPUS;
    if (ext == "mp3") return SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
    return 0;
}

uint64_t xorshift(uint64_t &state)
{
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
}

} // namespace

int main(int argc, char **argv)
{
    Options o;
    if (!parse(argc, argv, o)) {
        usage();
        return 2;
    }
    const int64_t frames = int64_t(std::llround(o.seconds * o.rate));
    SF_INFO info{};
    info.samplerate = o.rate;
    info.channels = o.channels;
    info.format = formatOf(o, frames);
    if (info.format == 0 || !sf_format_check(&info)) {
        std::fprintf(stderr, "gen_audio: cannot write %s with these settings\n", o.out.c_str());
        return 1;
    }
    SNDFILE *file = sf_open(o.out.c_str(), SFM_WRITE, &info);
    if (file == nullptr) {
        std::fprintf(stderr, "gen_audio: %s: %s\n", o.out.c_str(), sf_strerror(nullptr));
        return 1;
    }
    sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);

    // One second of interleaved samples (the channels a few degrees apart,
    // so that they differ), rewritten for noise and reused for a tone.
    const int64_t block = o.rate;
    std::vector<double> samples(size_t(block) * size_t(o.channels), 0.0);
    const bool periodic = o.kind != "noise" && o.frequency == std::floor(o.frequency);
    const auto fillTone = [&](int64_t first) {
        for (int64_t i = 0; i < block; ++i)
            for (int c = 0; c < o.channels; ++c)
                samples[size_t(i * o.channels + c)] =
                    o.amplitude * std::sin(2.0 * M_PI * o.frequency * double(first + i) / o.rate + 0.1 * c);
    };
    if (o.kind == "tone") fillTone(0);
    uint64_t state = 0x9e3779b97f4a7c15ULL;
    int64_t done = 0;
    while (done < frames) {
        const int64_t n = std::min(block, frames - done);
        if (o.kind == "noise") {
            for (double &v : samples) v = o.amplitude * (double(xorshift(state) >> 11) / 4503599627370496.0 - 1.0);
        } else if (o.kind == "tone" && !periodic) {
            fillTone(done);
        }
        if (sf_writef_double(file, samples.data(), n) != n) {
            std::fprintf(stderr, "gen_audio: write failed: %s\n", sf_strerror(file));
            sf_close(file);
            return 1;
        }
        done += n;
    }
    if (sf_close(file) != 0) {
        std::fprintf(stderr, "gen_audio: closing %s failed\n", o.out.c_str());
        return 1;
    }
    return 0;
}
