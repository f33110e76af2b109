// Internal hooks between libfound's own files. Nothing here is exported.
#ifndef FOUND_P_H
#define FOUND_P_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Settings store (settings.cpp): loads the global store's file on first use
// or at start-up, saves pending values at shut-down.
void _BLSETTINGS_Initialize();
void _BLSETTINGS_Finalize();

// Threads (thread.cpp): remembers the calling thread as the main thread.
void _BLTHREAD_Initialize();
// Drops the poster and whatever is still queued for the main thread (the
// objects those calls name may be gone by now).
void _BLTHREAD_Finalize();

// Object registry (register.cpp): destroys every object still registered.
void _BLREGISTER_DestroyAll();

// Curves (curves.cpp): forgets the provider.
void _BLCURVES_Finalize();

// Text parsing shared by the settings store, ini files and parameter texts
// (string.cpp). Blanks and tabs around the text are ignored; the process
// locale is not consulted, so a host that switches LC_NUMERIC changes
// nothing. Integers are decimal or 0x-hexadecimal with an optional sign;
// booleans are true/yes/on, false/no/off in any case, or an integer (not 0
// is true); reals must be finite.
std::string_view _BLSTRING_TrimBlanks(std::string_view text);
bool _BLSTRING_EqualsIgnoringCase(std::string_view a, std::string_view b);
std::optional<int64_t> _BLSTRING_ParseInteger(std::string_view text);
std::optional<double> _BLSTRING_ParseReal(std::string_view text);
std::optional<bool> _BLSTRING_ParseBoolean(std::string_view text);

// Writes `text` to `path` through a uniquely named temporary file beside it,
// flushed to disk and renamed over the target, so that the file is either
// the old one or the new one, never half written (io.cpp). Creates missing
// folders. On failure removes the temporary, sets `error` and returns false.
bool _BLIO_WriteFileAtomically(const std::string &path, const std::string &text, std::string &error);

#endif
