// tavo peaks: waveform min/max data in the two layouts that web waveform
// players read, binary (.dat) and JSON (.json).
//
// Binary layout, all little-endian: int32 version; uint32 flags (bit 0: the
// values are 8-bit); int32 sample rate; int32 samples per pixel; uint32
// length in pixels; in version 2 also int32 channels. Then, pixel after
// pixel and within a pixel channel after channel, a minimum and a maximum
// (int8 or int16). The JSON object carries the same fields ("version",
// "channels", "sample_rate", "samples_per_pixel", "bits", "length") and the
// values in "data" in the same order; version 1 has neither "version" nor
// "channels" and always one channel.
//
// The values come from the signal's block summaries
// (AUDIOSIGNAL_DisplayMinMaxFromAudioPointer), so a pixel costs the same
// whatever its number of samples.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "audiosignal.h"
#include "cli.h"
#include "tavoaudio.h"

namespace tavocli {
namespace {

const char kHelp[] =
    "usage: tavo peaks IN -o OUT.json|OUT.dat [--samples-per-pixel N | --pixels-per-second N | --width W]\n"
    "                  [--bits 8|16] [--channels merged|all] [--version 1|2]\n"
    "\n"
    "Writes the minimum and maximum of each run of N samples (a pixel) of IN as\n"
    "waveform data: .dat is the binary layout, .json the JSON one, both read by\n"
    "web waveform players. The zoom is one of:\n"
    "  --samples-per-pixel N   N frames a pixel (default 256)\n"
    "  --pixels-per-second N   N pixels a second of audio\n"
    "  --width W               the whole file in W pixels\n"
    "--bits 8|16       value width (default 16); 16-bit values are the samples scaled\n"
    "                  to -32768..32767, 8-bit ones those shifted right by 8 bits\n"
    "--channels merged one channel whose min/max span all channels (default)\n"
    "--channels all    every channel of IN (version 2 only)\n"
    "--version 1|2     layout version (default 2)\n"
    "\n"
    "Example: tavo peaks song.flac -o song.dat --pixels-per-second 20 --bits 8\n";

struct Request {
    std::string in;
    std::string out;
    int64_t samplesPerPixel = 0;
    int64_t pixelsPerSecond = 0;
    int64_t width = 0;
    int bits = 16;
    bool allChannels = false;
    int version = 2;
    bool json = false;
};

// Parses the command line; 0 when the request is complete, else the exit
// code (the message printed).
int parse(const std::vector<std::string> &args, Request &r)
{
    int zooms = 0;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &arg = args[i];
        if (isHelp(arg)) {
            std::fputs(kHelp, stdout);
            return -1;
        }
        auto value = [&](std::string &out) {
            if (i + 1 >= args.size()) {
                fail("peaks", "option " + arg + " needs a value");
                return false;
            }
            out = args[++i];
            return true;
        };
        auto positive = [&](int64_t &out) {
            std::string text;
            if (!value(text)) return false;
            if (!parseInt(text, out) || out < 1 || out > INT32_MAX) {
                fail("peaks", "option " + arg + " needs a whole number from 1 up, not '" + text + "'");
                return false;
            }
            ++zooms;
            return true;
        };
        std::string text;
        if (arg == "-o" || arg == "--output") {
            if (!value(r.out)) return kExitUsage;
        } else if (arg == "--samples-per-pixel" || arg == "-z") {
            if (!positive(r.samplesPerPixel)) return kExitUsage;
        } else if (arg == "--pixels-per-second") {
            if (!positive(r.pixelsPerSecond)) return kExitUsage;
        } else if (arg == "--width" || arg == "-w") {
            if (!positive(r.width)) return kExitUsage;
        } else if (arg == "--bits" || arg == "-b") {
            if (!value(text)) return kExitUsage;
            if (text != "8" && text != "16") {
                fail("peaks", "--bits is 8 or 16, not '" + text + "'");
                return kExitUsage;
            }
            r.bits = text == "8" ? 8 : 16;
        } else if (arg == "--channels") {
            if (!value(text)) return kExitUsage;
            if (text != "merged" && text != "all") {
                fail("peaks", "--channels is merged or all, not '" + text + "'");
                return kExitUsage;
            }
            r.allChannels = text == "all";
        } else if (arg == "--version") {
            if (!value(text)) return kExitUsage;
            if (text != "1" && text != "2") {
                fail("peaks", "--version is 1 or 2, not '" + text + "'");
                return kExitUsage;
            }
            r.version = text == "1" ? 1 : 2;
        } else if (!arg.empty() && arg[0] == '-') {
            fail("peaks", "unknown option '" + arg + "'");
            return kExitUsage;
        } else if (r.in.empty()) {
            r.in = arg;
        } else {
            fail("peaks", "one input only (got '" + arg + "' too)");
            return kExitUsage;
        }
    }
    if (r.in.empty() || r.out.empty()) {
        std::fputs(kHelp, stderr);
        return kExitUsage;
    }
    if (zooms > 1) {
        fail("peaks", "give one of --samples-per-pixel, --pixels-per-second and --width");
        return kExitUsage;
    }
    const std::string ext = extensionOf(r.out);
    if (ext != "json" && ext != "dat") {
        fail("peaks", "the output name ends in .json or .dat, not '" + r.out + "'");
        return kExitUsage;
    }
    r.json = ext == "json";
    if (r.version == 1 && r.allChannels) {
        fail("peaks", "--channels all needs version 2 (version 1 holds one channel)");
        return kExitUsage;
    }
    return 0;
}

// A float sample in [-1, 1] as the 16-bit value it came from: integer
// samples are read as value / 2^(bits-1), so 16-bit audio comes back exact.
int32_t toInt16(float value)
{
    const long scaled = std::lround(static_cast<double>(value) * 32768.0);
    return static_cast<int32_t>(std::clamp(scaled, -32768L, 32767L));
}

// 8-bit values are the 16-bit ones shifted right (rounded towards minus
// infinity), the way 8-bit data is derived from 16-bit samples.
int32_t narrow(int32_t value16, int bits)
{
    return bits == 8 ? (value16 >> 8) : value16;
}

void putLE(std::string &out, uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i) out += static_cast<char>((value >> (8 * i)) & 0xff);
}

}  // namespace

int runPeaks(const std::vector<std::string> &args)
{
    Request r;
    const int status = parse(args, r);
    if (status == -1) return kExitOk;
    if (status != 0) return status;

    std::string error;
    TAVOAUDIO audio = openDocument(r.in, error);
    if (audio == nullptr) {
        fail("peaks", error);
        return cancelRequested() ? kExitCancelled : kExitFailed;
    }
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(audio);
    if (signal == nullptr || !TAVOAUDIO_GetReadAccessEx(audio, false)) {
        TAVOAUDIO_Close(audio);
        fail("peaks", "'" + r.in + "' holds no audio");
        return kExitFailed;
    }
    const int64_t frames = AUDIOSIGNAL_NumFrames(signal);
    const int32_t rate = AUDIOSIGNAL_SampleRate(signal);
    const int32_t channels = AUDIOSIGNAL_NumChannels(signal);
    // 256 frames a pixel by default, the zoom web players expect when none
    // is named. The layouts store a whole number of frames a pixel, so a
    // rate in pixels a second is rounded to the nearest one, and a width is
    // met with the smallest count that fits the sound into it.
    int64_t spp = 256;
    if (r.samplesPerPixel > 0) spp = r.samplesPerPixel;
    if (r.pixelsPerSecond > 0) spp = std::max<int64_t>(1, std::llround(static_cast<double>(rate) / r.pixelsPerSecond));
    if (r.width > 0) spp = std::max<int64_t>(1, (frames + r.width - 1) / r.width);
    // The last pixel may hold fewer frames: it still gets its own values.
    const int64_t length = (frames + spp - 1) / spp;
    if (spp > INT32_MAX || length > UINT32_MAX) {
        TAVOAUDIO_ReleaseReadAccess(audio);
        TAVOAUDIO_Close(audio);
        fail("peaks", "too many pixels for the format; choose a larger --samples-per-pixel");
        return kExitUsage;
    }
    const int32_t outChannels = r.allChannels ? channels : 1;

    // Values as they go out: pixel after pixel, channel after channel, min
    // then max. Merged values are the envelope of the channels (the lowest
    // minimum and the highest maximum): the summaries hold each channel's
    // extremes, not the samples a mix would need, and the envelope never
    // hides a peak of one channel.
    std::vector<int32_t> values(static_cast<size_t>(length) * outChannels * 2);
    std::vector<AUDIOPOINTER> pointers(static_cast<size_t>(channels));
    for (int32_t c = 0; c < channels; ++c) AUDIOSIGNAL_InitAudioPointer(signal, c, 0, &pointers[c]);
    bool cancelled = false;
    for (int64_t px = 0; px < length && !cancelled; ++px) {
        int32_t mergedMin = 32767, mergedMax = -32768;
        for (int32_t c = 0; c < channels; ++c) {
            float lo = 0, hi = 0;
            AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&pointers[c], spp, &lo, &hi);
            const int32_t mn = toInt16(lo), mx = toInt16(hi);
            if (r.allChannels) {
                const size_t at = (static_cast<size_t>(px) * outChannels + c) * 2;
                values[at] = narrow(mn, r.bits);
                values[at + 1] = narrow(mx, r.bits);
            } else {
                mergedMin = std::min(mergedMin, mn);
                mergedMax = std::max(mergedMax, mx);
            }
        }
        if (!r.allChannels) {
            values[static_cast<size_t>(px) * 2] = narrow(mergedMin, r.bits);
            values[static_cast<size_t>(px) * 2 + 1] = narrow(mergedMax, r.bits);
        }
        // Summaries make a pixel cheap; looking every 4096 pixels is often
        // enough for Ctrl-C to feel immediate on any file.
        if ((px & 4095) == 0 && cancelRequested()) cancelled = true;
    }
    TAVOAUDIO_ReleaseReadAccess(audio);
    TAVOAUDIO_Close(audio);
    if (cancelled) {
        fail("peaks", "cancelled; nothing written");
        return kExitCancelled;
    }

    std::string bytes;
    if (r.json) {
        bytes = "{";
        if (r.version == 2) bytes += "\"version\":2,\"channels\":" + std::to_string(outChannels) + ",";
        bytes += "\"sample_rate\":" + std::to_string(rate);
        bytes += ",\"samples_per_pixel\":" + std::to_string(spp);
        bytes += ",\"bits\":" + std::to_string(r.bits);
        bytes += ",\"length\":" + std::to_string(length);
        bytes += ",\"data\":[";
        for (size_t i = 0; i < values.size(); ++i) {
            if (i > 0) bytes += ',';
            bytes += std::to_string(values[i]);
        }
        bytes += "]}\n";
    } else {
        putLE(bytes, static_cast<uint32_t>(r.version), 4);
        putLE(bytes, r.bits == 8 ? 1u : 0u, 4);
        putLE(bytes, static_cast<uint32_t>(rate), 4);
        putLE(bytes, static_cast<uint32_t>(spp), 4);
        putLE(bytes, static_cast<uint32_t>(length), 4);
        if (r.version == 2) putLE(bytes, static_cast<uint32_t>(outChannels), 4);
        bytes.reserve(bytes.size() + values.size() * (r.bits / 8));
        for (int32_t v : values) putLE(bytes, static_cast<uint32_t>(v), r.bits / 8);
    }
    if (!writeFileWhole(r.out, bytes, error)) {
        fail("peaks", error);
        return kExitFailed;
    }
    return kExitOk;
}

}  // namespace tavocli
