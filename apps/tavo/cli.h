// cli.h: what the commands of the `tavo` tool share: exit codes, argument
// helpers, positions, output files written whole or not at all, JSON text,
// and the progress display with its Ctrl-C cancellation.
//
// The tool reaches the engine and the platform libraries only through their
// public C headers, as any host would.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tavotypes.h"

namespace tavocli {

// Exit codes, the same for every command (listed by `tavo --help`).
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;     // an operation failed: a file, a step, a save
constexpr int kExitUsage = 2;      // the command line is wrong
constexpr int kExitCancelled = 130; // Ctrl-C (128 + SIGINT, as shells report it)

// ---- commands -------------------------------------------------------------

int runInfo(const std::vector<std::string> &args);
int runEdit(const std::vector<std::string> &args);
int runPeaks(const std::vector<std::string> &args);
int runSettings(const std::vector<std::string> &args);
int runLua(const std::vector<std::string> &args);
int runGenerate(const std::vector<std::string> &args);

// ---- messages -------------------------------------------------------------

// "tavo <command>: <text>" on stderr, one line.
void fail(const char *command, const std::string &text);

// True for "-h" and "--help".
bool isHelp(const std::string &arg);

// ---- numbers and positions ------------------------------------------------

// Whole decimal numbers and reals, the whole text or nothing.
bool parseInt(const std::string &text, int64_t &value);
bool parseReal(const std::string &text, double &value);

// A position as the command line writes it: frames ("44100") or seconds
// with a trailing 's' ("1.5s"). Seconds are converted at `rate`, rounded to
// the nearest frame. False for anything else or a negative position.
bool parsePosition(const std::string &text, double rate, int64_t &frame);

// Only the form of a position, before a rate is known (steps are checked
// before the input is opened).
bool isPositionText(const std::string &text);

// "B-E" as two positions; false when either is malformed or B >= E.
bool parseRange(const std::string &text, double rate, int64_t &begin, int64_t &end);
bool isRangeText(const std::string &text);

// ---- files ----------------------------------------------------------------

// Writes `bytes` to a temporary file beside `path`, then renames it over
// `path`: a failure leaves no partial file and any old one as it was.
bool writeFileWhole(const std::string &path, const std::string &bytes, std::string &error);

// The extension of a path without its dot, lower case; "" when none.
std::string extensionOf(const std::string &path);

// The save format text for `requested` (a --format value such as "flac" or
// "WAV[bits=24]"), or, when it is empty, for the extension of `path`. False
// with a message when it names no format this build can write.
bool resolveSaveFormat(const std::string &requested, const std::string &path, std::string &format,
                       std::string &error);

// The text of the AUDIO_ERROR_ bits that TAVOAUDIO_CanOpenEx reports.
std::string describeAudioError(uint32_t bits);

// Why a document refused or failed its last operation: its message when one
// is set, else the code.
std::string describeLastError(TAVOAUDIO audio);

// ---- JSON -----------------------------------------------------------------

// `text` as a JSON string literal, quotes included.
std::string jsonString(const std::string &text);

// ---- progress and cancellation ---------------------------------------------

// Installs the SIGINT handler and the notification handler that follows the
// engine's long operations. `showBar` draws the bar on stderr (callers pass
// isatty(2)). Call once, after the engine is started.
void startProgress(bool showBar);

// Removes the notification handler and clears the bar line.
void stopProgress();

// True once Ctrl-C was pressed.
bool cancelRequested();

// Opens a file into a document with the progress display; null on failure
// with the reason in `error`.
TAVOAUDIO openDocument(const std::string &path, std::string &error);

}  // namespace tavocli
