// tavo generate OUT: a test sound (tone, noise or silence) written through a
// document, so that a demonstration or a test needs no audio file to start
// from.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "audiosignal.h"
#include "cli.h"
#include "tavoaudio.h"

namespace tavocli {
namespace {

const char kHelp[] =
    "usage: tavo generate OUT [--seconds S] [--rate R] [--channels N] [--bits 8|16|24|32]\n"
    "                         [--tone HZ | --noise | --silence] [--amplitude A] [--format FMT]\n"
    "\n"
    "Writes S seconds (default 2) of a sine tone of HZ Hz (default 440), of white\n"
    "noise, or of silence, at R Hz (default 44100) with N channels (default 2) of\n"
    "B-bit samples (default 16), peak amplitude A (0..1, default 0.5). In stereo\n"
    "and more, channel c is a tone of HZ * (1 + c / 2) so that channels differ.\n"
    "The format comes from --format or the extension of OUT.\n"
    "\n"
    "Example: tavo generate tone.wav --seconds 3 --tone 1000 --channels 1\n";

}  // namespace

int runGenerate(const std::vector<std::string> &args)
{
    std::string out, format;
    double seconds = 2.0, tone = 440.0, amplitude = 0.5;
    int64_t rate = 44100, channels = 2, bits = 16;
    enum { Tone, Noise, Silence } kind = Tone;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &arg = args[i];
        if (isHelp(arg)) {
            std::fputs(kHelp, stdout);
            return kExitOk;
        }
        const bool hasValue = i + 1 < args.size();
        auto real = [&](double &v, double lo, double hi) {
            if (!hasValue || !parseReal(args[i + 1], v) || v < lo || v > hi) {
                fail("generate", "option " + arg + " needs a number from " + std::to_string(lo) + " to " +
                                     std::to_string(hi));
                return false;
            }
            ++i;
            return true;
        };
        auto whole = [&](int64_t &v, int64_t lo, int64_t hi) {
            if (!hasValue || !parseInt(args[i + 1], v) || v < lo || v > hi) {
                fail("generate", "option " + arg + " needs a whole number from " + std::to_string(lo) + " to " +
                                     std::to_string(hi));
                return false;
            }
            ++i;
            return true;
        };
        if (arg == "--seconds") {
            if (!real(seconds, 0.0, 86400.0)) return kExitUsage;
        } else if (arg == "--rate") {
            if (!whole(rate, 1, 768000)) return kExitUsage;
        } else if (arg == "--channels") {
            if (!whole(channels, 1, 32)) return kExitUsage;
        } else if (arg == "--bits") {
            if (!whole(bits, 8, 32) || (bits != 8 && bits != 16 && bits != 24 && bits != 32)) {
                if (bits != 8 && bits != 16 && bits != 24 && bits != 32) fail("generate", "--bits is 8, 16, 24 or 32");
                return kExitUsage;
            }
        } else if (arg == "--tone") {
            if (!real(tone, 0.0, 1.0e6)) return kExitUsage;
            kind = Tone;
        } else if (arg == "--amplitude") {
            if (!real(amplitude, 0.0, 1.0)) return kExitUsage;
        } else if (arg == "--noise") {
            kind = Noise;
        } else if (arg == "--silence") {
            kind = Silence;
        } else if (arg == "--format") {
            if (!hasValue) {
                fail("generate", "option --format needs a value");
                return kExitUsage;
            }
            format = args[++i];
        } else if (!arg.empty() && arg[0] == '-') {
            fail("generate", "unknown option '" + arg + "'");
            return kExitUsage;
        } else if (out.empty()) {
            out = arg;
        } else {
            fail("generate", "one OUT only (got '" + arg + "' too)");
            return kExitUsage;
        }
    }
    if (out.empty()) {
        std::fputs(kHelp, stderr);
        return kExitUsage;
    }
    std::string saveFormat, error;
    if (!resolveSaveFormat(format, out, saveFormat, error)) {
        fail("generate", error);
        return kExitUsage;
    }

    char text[96];
    std::snprintf(text, sizeof text, "AUTO[sr=%lld,nc=%lld,bits=%lld]", static_cast<long long>(rate),
                  static_cast<long long>(channels), static_cast<long long>(bits));
    AUDIOSIGNAL signal = AUDIOSIGNAL_New(text);
    if (signal == nullptr) {
        fail("generate", std::string("cannot make a signal of ") + text);
        return kExitFailed;
    }
    const int64_t frames = std::llround(seconds * static_cast<double>(rate));
    // One second at a time keeps the buffer small for long sounds.
    const int64_t chunk = rate;
    std::vector<float> buffer(static_cast<size_t>(chunk * channels));
    uint32_t noise = 0x12345678u;  // xorshift32: the same noise on every run
    for (int64_t at = 0; at < frames; at += chunk) {
        const int64_t count = std::min(chunk, frames - at);
        for (int64_t i = 0; i < count; ++i) {
            for (int64_t c = 0; c < channels; ++c) {
                double v = 0;
                if (kind == Tone) {
                    const double hz = tone * (1.0 + 0.5 * static_cast<double>(c));
                    v = amplitude * std::sin(2.0 * M_PI * hz * static_cast<double>(at + i) / static_cast<double>(rate));
                } else if (kind == Noise) {
                    noise ^= noise << 13;
                    noise ^= noise >> 17;
                    noise ^= noise << 5;
                    v = amplitude * (static_cast<double>(noise) / 2147483648.0 - 1.0);
                }
                buffer[static_cast<size_t>(i * channels + c)] = static_cast<float>(v);
            }
        }
        if (!AUDIOSIGNAL_AppendSamples(signal, buffer.data(), count)) {
            AUDIOSIGNAL_Destroy(signal);
            fail("generate", "cannot add samples (out of memory?)");
            return kExitFailed;
        }
    }
    TAVOAUDIO audio = TAVOAUDIO_NewFromSignalEx(signal, false, 0);
    if (audio == nullptr) {
        AUDIOSIGNAL_Destroy(signal);
        fail("generate", "cannot make a document");
        return kExitFailed;
    }
    const bool saved = TAVOAUDIO_SaveAsEx(audio, out.c_str(), saveFormat.c_str(), TAVOAUDIO_SAVE_COPY);
    if (!saved) error = describeLastError(audio);
    TAVOAUDIO_Close(audio);
    if (!saved) {
        if (cancelRequested()) {
            fail("generate", "cancelled; nothing written");
            return kExitCancelled;
        }
        fail("generate", "cannot write '" + out + "': " + error);
        return kExitFailed;
    }
    return kExitOk;
}

}  // namespace tavocli
