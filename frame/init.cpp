// Start and stop of the library: the libraries it imports, its settings
// defaults, its version and its process-wide modules.
//
// The nesting counter is a plain global without a lock: start and stop run
// on one thread (the loader's, or the host's main thread). Loading the
// library counts as one initialisation and unloading as one finalisation
// (the hooks at the end of this file). The load hook may run before another
// file's static objects are constructed, so every table the start and stop
// sequences touch is made on first use and never destroyed by the runtime.
#include <cstdlib>

#include "audioformat.h"
#include "blcore.h"
#include "blsettings.h"
#include "blversion.h"
#include "dspb.h"
#include "tavo.h"
#include "tavocolormap.h"
#include "tavoconfig.h"
#include "tavocurves.h"
#include "tavoproc.h"
#include "tavotoolcontrols.h"

namespace {

// 0 = not initialised. The first initialisation sets it to 1 at its very
// end, so a module that asks during the start sees the library as down.
uint32_t g_initCount = 0;

// Defaults of the library's own settings keys. Each is registered as the
// key with its value formatted into the text ("key=0.004000").
void registerSettingsDefaults()
{
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.editoptions.smoothboundaries=%d", 1);
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.editoptions.smoothduration=%f", 0.004);
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.editoptions.apply_gain_on_clear_selections=%d", 1);
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.saveoptions.keeporiginalfile=%d", 0);
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.zoom.normalized_factor=%f", 0.9);
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.zoom.normalized_on_open=%d", 0);
    BLSETTINGS_SetDefaultEx(nullptr, "libtavo.selection.select_effect=%s",
                            "ARO:MVAD[padding_begin=0.1,padding_end=0.1,min_part_duration=5.0,"
                            "max_part_duration=15.0,max_interval_duration=0.5]");
    // Annotation track n shows audio channel n unless the user says otherwise.
    for (int channel = 0; channel < 32; ++channel)
        BLSETTINGS_SetDefaultEx(nullptr, "libtavo.customtrack.channel_%02d_track.audiochannel=%d", channel,
                                channel);
}

int32_t initializeSequence()
{
    // The imported libraries count their own uses; their answers are not
    // checked because a failure there leaves nothing this library could do
    // differently, and the load must still succeed.
    BLCORE_Initialize();
    DSPB_Initialize();
    AUDIO_Initialize();
    registerSettingsDefaults();
    BLVERSION_Register("libtavo", TAVO_VERSION_MAJOR, TAVO_VERSION_MINOR, TAVO_VERSION_PATCH,
                       TAVO_VERSION_BUILD);
    TAVOCONFIG_ResetConfiguration();
    // The stand-alone graph widget keeps its defaults itself; it is not part
    // of this library.
    TAVOPROC_Initialize();
    TAVOTOOLCONTROLS_Initialize();
    const bool curves = TAVOCURVES_Initialize();
    g_initCount = 1;
    return curves ? 1 : 0;
}

int32_t finalizeSequence()
{
    // Not the mirror of the start: the colour maps have no start step, and
    // the curve catalogue goes after libaudiosig, whose effects may still
    // resolve curves while it stops.
    TAVOCOLORMAP_Finalize();
    TAVOTOOLCONTROLS_Finalize();
    TAVOPROC_Finalize();
    AUDIO_Finalize();
    TAVOCURVES_Finalize();
    DSPB_Finalize();
    return BLCORE_Finalize() ? 1 : 0;
}

}  // namespace

extern "C" {

int32_t TAVO_Initialize(void)
{
    if (g_initCount == 0) return initializeSequence();
    return static_cast<int32_t>(++g_initCount);
}

int32_t TAVO_Finalize(void)
{
    if (g_initCount == 0) return 0;
    if (--g_initCount > 0) return static_cast<int32_t>(g_initCount);
    return finalizeSequence();
}

}  // extern "C"

namespace {

void libraryUnloaded()
{
    TAVO_Finalize();
}

// A failed step does not fail the load: the host learns of it when it uses
// the library. The stop is registered with atexit rather than as an unload
// hook: the runtime destroys the static objects of the libraries below us
// (their handler lists, registries, stores) before it runs unload hooks,
// while atexit handlers run in reverse order of registration, so this one
// runs before the destructors of everything the start sequence made. When a
// host unloads the library with dlclose, the handler runs then.
__attribute__((constructor)) void libraryLoaded()
{
    TAVO_Initialize();
    std::atexit(libraryUnloaded);
}

}  // namespace
