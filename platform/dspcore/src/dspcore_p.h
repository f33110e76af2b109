// Internal interfaces shared by libdspcore's sources; never installed.
#ifndef DSPCORE_P_H
#define DSPCORE_P_H

#include <mutex>

namespace dspcore {

// ---- planner state (runtime.cpp) -----------------------------------------

// FFTW's planner and its plan destruction share global tables and are not
// thread-safe, so every such call in the process goes through this one lock.
// The same lock guards the set-up counter and the set of live processors.
std::unique_lock<std::mutex> lockPlanner();

// Sets up the planner state if it is not (first DSPB_Initialize, or the
// first processor of a caller that never initialised). Lock held.
void ensureSetUpLocked();

// Records a new processor / forgets one. forgetProcessorLocked answers
// false for a pointer that is not a live processor. Lock held; remembering
// may throw std::bad_alloc.
void rememberProcessorLocked(const void *proc);
bool forgetProcessorLocked(const void *proc);

// Releases the planner state when a DSPB_Finalize asked for it and the last
// processor (and so the last plan) is gone. Lock held.
void releaseIfUnusedLocked();

// ---- windows (window.cpp) --------------------------------------------------

// Empties the window cache (the library's last DSPB_Finalize).
void clearWindowCache();

} // namespace dspcore

#endif
