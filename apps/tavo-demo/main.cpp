// Starts the platform libraries and shows each at work: the version
// registry, how a setting's value is resolved, a vetoed notification, and a
// spectrum of a test tone on both FFT back-ends.
#include <blcore.h>
#include <blnotify.h>
#include <blsettings.h>
#include <blversion.h>
#include <dspb.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

void printVersions()
{
    std::printf("libraries:\n");
    char name[64];
    for (int32_t i = 0; i < BLVERSION_Count(); ++i) {
        int32_t major = 0, minor = 0, patch = 0, build = 0;
        if (BLVERSION_NameAt(i, name, sizeof name) && BLVERSION_Get(name, &major, &minor, &patch, &build))
            std::printf("  %-12s %d.%d.%d (build %d)\n", name, major, minor, patch, build);
    }
}

void printSettings()
{
    std::printf("settings (file: %s):\n", BLSETTINGS_FileName()[0] ? BLSETTINGS_FileName() : "none");
    // What the engine registers at start-up; reads carry their own fallback.
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.editoptions.smoothduration=%f", 0.004);
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.editoptions.smoothboundaries=%d", 1);
    std::printf("  smoothduration    = %g s (registered default)\n",
                BLSETTINGS_GetFloatEx(nullptr, "libtavo.editoptions.smoothduration=[%f]", 0.01));
    std::printf("  undo_stack_size   = %lld (fallback of the read)\n",
                static_cast<long long>(BLSETTINGS_GetIntEx(nullptr, "libtavo.editoptions.undo_stack_size=[%d]", 128)));
    BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothboundaries=%s", "false");
    std::printf("  smoothboundaries  = %s (value set by the user)\n",
                BLSETTINGS_GetBoolEx(nullptr, "libtavo.editoptions.smoothboundaries=[1]") ? "true" : "false");
    BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.smoothboundaries");
}

int32_t refuseClose(void *, const BLNOTIFY_EVENT *event)
{
    return event->kind == 1073 ? 0 : 1;
}

void printNotification()
{
    BLNOTIFY_DISPATCHER dispatcher = BLNOTIFY_CreateDispatcher(nullptr);
    const int32_t before = BLNOTIFY_DispatcherSendEventEx(dispatcher, 0, 1073, nullptr, nullptr, nullptr);
    BLNOTIFY_AddHandler(dispatcher, BLNOTIFY_ANY_KIND, &refuseClose, nullptr);
    const int32_t after = BLNOTIFY_DispatcherSendEventEx(dispatcher, 0, 1073, nullptr, nullptr, nullptr);
    std::printf("notification: close request answered %d without a handler, %d with a refusing one\n", before,
                after);
    BLNOTIFY_DestroyDispatcher(dispatcher);
}

void printSpectrum(const char *backend)
{
    const int32_t length = 4096;
    const double rate = 44100.0, tone = 1000.0;
    std::vector<float> samples(length);
    for (int32_t i = 0; i < length; ++i)
        samples[static_cast<size_t>(i)] = static_cast<float>(0.5 * std::sin(2.0 * M_PI * tone * i / rate));
    DSPB_ApplyWindow(samples.data(), length, DSPB_WINDOW_HANN);
    char options[32];
    std::snprintf(options, sizeof options, "backend=%s", backend);
    DSPB_FFTPROC fft = DSPB_FFTProcCreateEx(length, options);
    std::vector<float> psd(length / 2 + 1);
    // Undo the window's amplitude loss so that a peak reads as the tone's
    // power, A^2/2 (-9.0 dB for A = 0.5, less the scalloping between bins).
    const double gain = length / DSPB_WindowSum(DSPB_WINDOW_HANN, length);
    const double scale = gain * gain;
    DSPB_FFTProcExecutePSDEx(fft, samples.data(), length, psd.data(), scale);
    DSPB_PSDtoDB(psd.data(), psd.data(), static_cast<int32_t>(psd.size()), 120.0);
    size_t peak = 0;
    for (size_t k = 1; k < psd.size(); ++k)
        if (psd[k] > psd[peak]) peak = k;
    std::printf("spectrum (%s): 1000 Hz tone of amplitude 0.5 peaks at %.1f Hz, %.1f dB\n",
                DSPB_FFTProcBackend(fft), peak * rate / length, psd[peak]);
    DSPB_FFTProcDestroy(fft);
}

} // namespace

int main()
{
    BLCORE_Initialize();
    DSPB_Initialize();
    std::printf("%s\n", BLCORE_Version());
    printVersions();
    printSettings();
    printNotification();
    printSpectrum("fftw");
    printSpectrum("kiss");
    DSPB_Finalize();
    BLCORE_Finalize();
    return 0;
}
