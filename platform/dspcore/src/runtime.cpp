// Library set-up and the process-wide FFTW planner lock.
//
// The set-up counter decides when FFTW's planner memory (accumulated plans
// and wisdom) may be released: fftwf_cleanup() invalidates every plan in the
// process, so it only runs when the last DSPB_Finalize has come AND no
// processor is alive. A caller that never initialises the library still gets
// a working planner (set up lazily) but never a cleanup: FFTW then keeps its
// memory until the process ends, which is FFTW's own default.
#include "dspb.h"
#include "dspcore_p.h"

#include <bldebug.h>
#include <blversion.h>
#include <fftw3.h>

#include <unordered_set>

namespace dspcore {
namespace {

struct Runtime {
    std::mutex mutex;
    int32_t initCount = 0;
    // The planner state exists (wisdom imported, plans may be cached).
    bool setUp = false;
    // The last DSPB_Finalize came while processors were alive.
    bool releasePending = false;
    std::unordered_set<const void *> liveProcessors;
};

// Deliberately never destroyed: a host may destroy processors from its own
// static destructors, after ours would have run.
Runtime &runtime()
{
    static Runtime *const instance = new Runtime;
    return *instance;
}

void releaseLocked(Runtime &rt)
{
    rt.releasePending = false;
    if (rt.setUp) {
        fftwf_cleanup();
        rt.setUp = false;
    }
    clearWindowCache();
}

} // namespace

std::unique_lock<std::mutex> lockPlanner()
{
    return std::unique_lock<std::mutex>(runtime().mutex);
}

void ensureSetUpLocked()
{
    Runtime &rt = runtime();
    if (rt.setUp) {
        return;
    }
    // Site-wide wisdom (/etc/fftw/wisdomf, made by fftwf-wisdom) gives tuned
    // plans even to FFTW_ESTIMATE planning; most systems have none, and then
    // this is a no-op.
    fftwf_import_system_wisdom();
    rt.setUp = true;
}

void rememberProcessorLocked(const void *proc)
{
    runtime().liveProcessors.insert(proc);
}

bool forgetProcessorLocked(const void *proc)
{
    return runtime().liveProcessors.erase(proc) == 1;
}

void releaseIfUnusedLocked()
{
    Runtime &rt = runtime();
    if (rt.releasePending && rt.initCount == 0 && rt.liveProcessors.empty()) {
        releaseLocked(rt);
    }
}

} // namespace dspcore

using namespace dspcore;

bool DSPB_Initialize(void)
{
    const auto lock = lockPlanner();
    Runtime &rt = runtime();
    if (rt.initCount == INT32_MAX) {
        BLDEBUG_Error("DSPB_Initialize: too many nested initialisations");
        return false;
    }
    if (++rt.initCount == 1) {
        rt.releasePending = false;
        ensureSetUpLocked();
        // Hosts list the libraries they run on through the version registry.
        BLVERSION_Register("libdspcore", DSPB_VERSION_MAJOR, DSPB_VERSION_MINOR, DSPB_VERSION_PATCH,
                           DSPB_VERSION_BUILD);
    }
    return true;
}

bool DSPB_Finalize(void)
{
    const auto lock = lockPlanner();
    Runtime &rt = runtime();
    if (rt.initCount == 0) {
        BLDEBUG_Error("DSPB_Finalize: called without a matching DSPB_Initialize");
        return false;
    }
    if (--rt.initCount == 0) {
        rt.releasePending = true;
        releaseIfUnusedLocked();
    }
    return true;
}
