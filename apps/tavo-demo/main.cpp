// Starts the platform libraries and shows each at work: the version
// registry, how a setting's value is resolved, a vetoed notification, a
// spectrum of a test tone on both FFT back-ends, an edit of a sound saved
// and read back in two formats; then the engine: a document with
// selections, zoom, clock texts and undo, saved and opened again.
#include <blcore.h>
#include <blnotify.h>
#include <blsettings.h>
#include <blversion.h>
#include <audiofile.h>
#include <audioops.h>
#include <audiosignal.h>
#include <dspb.h>
#include <tavo.h>
#include <tavoaudio.h>
#include <tavoconfig.h>
#include <tavoselection.h>
#include <tavoundo.h>
#include <tavoutil.h>
#include <tavozoom.h>

#include <filesystem>
#include <string>

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

// Ten seconds of a 440 Hz stereo tone: fade in the first second, cut a
// second from the middle and paste it at the end, save as WAV and FLAC in a
// temporary folder and read both back.
void printEdit()
{
    AUDIOSIGNAL tone = AUDIOSIGNAL_New("AUTO[sr=44100,nc=2,bits=16]");
    std::vector<float> frames(2 * 441000);
    for (size_t i = 0; i < frames.size() / 2; ++i)
        frames[2 * i] = frames[2 * i + 1] = float(0.5 * std::sin(2.0 * M_PI * 440.0 * double(i) / 44100.0));
    AUDIOSIGNAL_AppendSamples(tone, frames.data(), 441000);
    AUDIOSIGNAL_FadeInEx(tone, nullptr, 0, 44100);
    AUDIOSIGNAL piece = AUDIOSIGNAL_CutEx(tone, nullptr, 0, 220500, 264600, 0.0);
    int64_t pasted = 0;
    uint32_t error = 0;
    AUDIOSIGNAL_PasteEx2(tone, piece, 0, INT64_MAX, INT64_MAX, &pasted, &error);
    std::printf("edit: %.1f s tone, faded in, %.1f s cut from the middle and pasted at the end\n",
                AUDIO_Sample2Time(AUDIOSIGNAL_GetFormatRef(tone), AUDIOSIGNAL_NumFrames(tone)),
                AUDIO_Sample2Time(AUDIOSIGNAL_GetFormatRef(tone), pasted));
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "tavo-demo";
    std::filesystem::create_directories(folder);
    for (const char *format : {"WAV", "FLAC[compression=5]"}) {
        const std::string name = (folder / (std::string("tone.") + (format[0] == 'W' ? "wav" : "flac"))).string();
        if (!AUDIOSIGNAL_SaveEx(tone, name.c_str(), format, AUDIO_SAVE_COPY, &error)) {
            std::printf("  %s: save failed (error bits 0x%x)\n", format, error);
            continue;
        }
        AUDIOSIGNAL back = AUDIOSIGNAL_OpenEx(name.c_str(), "AUTO", 0, nullptr, nullptr, &error);
        AUDIOPOINTER p;
        float lo = 0, hi = 0;
        AUDIOSIGNAL_InitAudioPointer(back, 0, 0, &p);
        AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&p, AUDIOSIGNAL_NumFrames(back), &lo, &hi);
        std::printf("  %-20s %lld bytes, read back %lld frames, peak %.3f / %.3f\n", format,
                    static_cast<long long>(AUDIOSIGNAL_SizeInDisk(back)),
                    static_cast<long long>(AUDIOSIGNAL_NumFrames(back)), lo, hi);
        AUDIOSIGNAL_Destroy(back);
    }
    AUDIOSIGNAL_Destroy(piece);
    AUDIOSIGNAL_Destroy(tone);
}


void printSelections(TAVOAUDIO doc, const char *what)
{
    std::printf("  %-34s", what);
    const int32_t count = TAVOAUDIO_CountSelections(doc);
    for (int32_t i = 0; i < count; ++i) {
        const TAVOSELECTION s = TAVOAUDIO_Selection(doc, i);
        std::printf(" [%.3f s, %.3f s]", s.begin, s.end);
    }
    std::printf("%s  (%lld frames selected)\n", count == 0 ? " none" : "",
                static_cast<long long>(TAVOAUDIO_SelectionLength(doc)));
}

// The engine at work on one document: the same tone as printEdit, held by a
// document that a host would show.
void printDocument()
{
    std::printf("engine: %s\n", TAVOVERSION_String());
    char profile[64] = "";
    TAVOCONFIG_CurrentProfile(profile, sizeof profile);
    std::printf("  colour profile \"%s\"\n", profile);

    AUDIOSIGNAL tone = AUDIOSIGNAL_New("AUTO[sr=44100,nc=2,bits=16]");
    std::vector<float> frames(2 * 441000);
    for (size_t i = 0; i < frames.size() / 2; ++i)
        frames[2 * i] = frames[2 * i + 1] = float(0.5 * std::sin(2.0 * M_PI * 440.0 * double(i) / 44100.0));
    AUDIOSIGNAL_AppendSamples(tone, frames.data(), 441000);
    TAVOAUDIO doc = TAVOAUDIO_NewFromSignalEx(tone, false, 0);
    std::printf("  document \"%s\", %lld frames in view\n", TAVOAUDIO_GetDisplayName(doc),
                static_cast<long long>(TAVOAUDIO_ViewLength(doc)));

    TAVOAUDIO_AddSelectionEx(doc, 44100, 88200, -1, 1);
    TAVOAUDIO_AddSelectionEx(doc, 88200, 132300, -1, 1);
    printSelections(doc, "add 1-2 s, then 2-3 s (touching):");
    TAVOAUDIO_AddSelectionEx(doc, 220500, 264600, -1, 1);
    TAVOAUDIO_DelSelection(doc, 100000, 110000);
    printSelections(doc, "add 5-6 s, subtract a gap:");
    TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 1 | 4);
    printSelections(doc, "clear (recorded for undo):");
    char label[64] = "";
    TAVOAUDIO_NextUndoLabel(doc, label, sizeof label);
    TAVOAUDIO_UndoEx(doc, 0);
    printSelections(doc, (std::string("undo \"") + label + "\":").c_str());

    TAVOAUDIO_ZoomIn(doc);
    const int64_t in = TAVOAUDIO_ViewLength(doc);
    TAVOAUDIO_ZoomOut(doc);
    std::printf("  zoom in, then out: %lld, then %lld frames in view\n", static_cast<long long>(in),
                static_cast<long long>(TAVOAUDIO_ViewLength(doc)));
    char text[64];
    TAVOUTIL_SamplesToTimeString(TAVOAUDIO_ViewLength(doc), 441000, 44100.0, text, sizeof text);
    std::printf("  view length as a clock text: %s\n", text);

    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "tavo-demo";
    std::filesystem::create_directories(folder);
    const std::string name = (folder / "document.wav").string();
    if (TAVOAUDIO_SaveAsEx(doc, name.c_str(), "WAV", 0)) {
        TAVOAUDIO again = TAVOAUDIO_OpenEx(name.c_str(), "AUTO", 0);
        std::printf("  saved and opened again as \"%s\", format \"%s\"\n", TAVOAUDIO_GetDisplayName(again),
                    TAVOAUDIO_GetFileFormatString(again));
        TAVOAUDIO_Close(again);
    } else {
        std::printf("  save failed: error %u\n", TAVOAUDIO_GetLastError(doc, true));
    }
    const bool refused = !TAVOAUDIO_SaveAsEx(doc, "/nonexistent-folder/x.wav", "WAV", 0);
    std::printf("  saving into a missing folder is refused: %s (error %u)\n", refused ? "yes" : "no",
                TAVOAUDIO_GetLastError(doc, true));
    TAVOAUDIO_Close(doc);
}

} // namespace

int main()
{
    BLCORE_Initialize();
    DSPB_Initialize();
    AUDIO_Initialize();
    std::printf("%s\n", BLCORE_Version());
    printVersions();
    printSettings();
    printNotification();
    printSpectrum("fftw");
    printSpectrum("kiss");
    printEdit();
    printDocument();
    AUDIO_Finalize();
    DSPB_Finalize();
    BLCORE_Finalize();
    return 0;
}
