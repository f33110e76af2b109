/*
** blmem.h: memory pools of libfound (BLMEM_).
**
** A memory descriptor is a pool: everything taken from it is freed at once
** when the pool is reset or disposed of. Small allocations are carved from
** blocks of the pool and recycled through per-size free lists when deleted;
** large ones get memory of their own and go back to the system when deleted.
** BLMEM_SizeInMemory counts the real bytes the pool holds from the system.
**
** Every allocation is zero-filled and aligned to 16 bytes. All functions
** are thread-safe; a pool may be used from several threads at once.
** A null pool answers with the failure value (null, false, 0).
*/
#ifndef BLMEM_H
#define BLMEM_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

typedef struct BLMemDescr *BLMEM_DESCR;

/* Descriptor flags. Other bits are accepted and ignored. */
#define BLMEM_FLAG_TRACK_PEAK 0x2 /* keep the highest size for BLMEM_PeakSizeInMemory */

/* ---- pools ------------------------------------------------------------- */

/* Makes a pool named `name` (copied; null gives "unnamed"). `blockSize` is
** the size of the blocks small allocations are carved from; 0 chooses
** 64 KiB, smaller values are raised to 1 KiB. Null when out of memory.
** The caller disposes of it with BLMEM_DisposeMemDescr. */
FOUND_API BLMEM_DESCR BLMEM_CreateMemDescrEx(const char *name, size_t blockSize, uint32_t flags);

/* Frees everything taken from the pool and the pool itself. False for null. */
FOUND_API bool BLMEM_DisposeMemDescr(BLMEM_DESCR pool);

/* Frees everything taken from the pool; the pool stays usable. Pointers
** taken before are dead afterwards. False for null. */
FOUND_API bool BLMEM_ResetMemSpace(BLMEM_DESCR pool);

/* ---- allocations ------------------------------------------------------- */

/* Zero-filled memory of `size` bytes (0 is taken as 1) owned by the pool.
** `flags` is reserved (pass 0). Null when out of memory, for a null pool,
** or when a fault is injected (BLMEM_SetFailCountdown). */
FOUND_API void *BLMEM_NewEx(BLMEM_DESCR pool, size_t size, uint32_t flags);

/* Gives one allocation back to its pool. False for a null pool or pointer,
** or a pointer that this pool did not hand out (nothing is freed then). */
FOUND_API bool BLMEM_Delete(BLMEM_DESCR pool, void *pointer);

/* ---- accounting -------------------------------------------------------- */

/* Bytes the pool holds from the system (blocks and large allocations,
** bookkeeping included). 0 for null. */
FOUND_API uint64_t BLMEM_SizeInMemory(BLMEM_DESCR pool);

/* The highest BLMEM_SizeInMemory seen since the pool was made, when it was
** made with BLMEM_FLAG_TRACK_PEAK; else the current size. */
FOUND_API uint64_t BLMEM_PeakSizeInMemory(BLMEM_DESCR pool);

/* Number of live allocations. */
FOUND_API uint64_t BLMEM_CountAllocations(BLMEM_DESCR pool);

/* The pool's name (owned by the pool). "" for null. */
FOUND_API const char *BLMEM_Name(BLMEM_DESCR pool);

/* ---- fault injection (tests) ------------------------------------------- */

/* After `count` more successful BLMEM_NewEx calls in the process, the next
** one fails (returns null) and the countdown is switched off. A negative
** count switches it off. Returns the previous setting. */
FOUND_API int64_t BLMEM_SetFailCountdown(int64_t count);

FOUND_EXTERN_C_END

#endif
