// Effect texts (AUDIOSIGNAL_ApplyTransformEx2): any text on a small stereo
// signal must end in a new signal or an error, never a crash, and must
// leave the signal it was given exactly as it was.
#include <audioops.h>
#include <audiosignal.h>

#include "signal_p.h"
#include "storage.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Inputs are cut to this many bytes: longer chains only repeat the work of
// shorter ones (each "fmtconv" may resample the whole signal).
constexpr size_t kMaxText = 512;

// A quarter second of stereo at 8 kHz, a falling ramp on the left and a
// square wave on the right, made once.
AUDIOSIGNAL smallSignal()
{
    static AUDIOSIGNAL signal = [] {
        constexpr int64_t frames = 2000;
        std::vector<float> left(frames), right(frames);
        for (int64_t i = 0; i < frames; ++i) {
            left[size_t(i)] = 0.9f - 1.8f * float(i) / float(frames);
            right[size_t(i)] = (i / 40) % 2 == 0 ? 0.5f : -0.5f;
        }
        std::vector<asig::SpanList> lists;
        for (const auto *samples : {&left, &right}) {
            asig::SpanBuilder builder(asig::SampleType::F32);
            builder.pushFloat(samples->data(), frames);
            lists.push_back(builder.finish());
        }
        AUDIO_FORMAT format = AUDIO_NullFormat();
        format.sampleRate = 8000;
        format.numChannels = 2;
        return _AUDIOSIGNAL_Create(format, std::move(lists));
    }();
    return signal;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    AUDIOSIGNAL signal = smallSignal();
    const std::string text(reinterpret_cast<const char *>(data), size < kMaxText ? size : kMaxText);
    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT);
    double timeFactor = 1.0;
    uint32_t error = 0;
    AUDIOSIGNAL result = AUDIOSIGNAL_ApplyTransformEx2(signal, text.c_str(), &timeFactor, 0, &error);
    if (result != nullptr) {
        // A result is a whole signal: its frames can be read.
        float first = 0.0f;
        AUDIOSIGNAL_GetChannelSamplesEx(result, 0, 0, 1, &first);
        if (error != AUDIO_ERROR_NONE || !(timeFactor >= 0.0)) std::abort();
        AUDIOSIGNAL_Destroy(result);
    } else if (error == AUDIO_ERROR_NONE) {
        std::abort();  // a failure always says why
    }
    if (AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT) != stamp ||
        AUDIOSIGNAL_NumFrames(signal) != 2000 || AUDIOSIGNAL_NumChannels(signal) != 2) {
        std::abort();
    }
    return 0;
}
