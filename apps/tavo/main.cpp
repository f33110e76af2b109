// tavo: the command-line tool of libtavo. It dispatches to one command per
// source file (info, edit, peaks, settings, lua, generate) and owns what
// they share at process level: the engine's start and stop, the progress
// display and the exit codes.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bldebug.h"
#include "cli.h"
#include "tavo.h"

namespace {

// The libraries' own log lines name internal functions; a user of the tool
// gets the tool's one-line messages instead, and the log on request.
void quietSink(BLDEBUG_SEVERITY, int32_t, const char *, void *) {}

const char kUsage[] =
    "usage: tavo COMMAND [ARGS...]\n"
    "\n"
    "Commands:\n"
    "  info FILE [--json]           format, rate, channels, length, tags, regions of a file\n"
    "  edit IN -o OUT [--format FMT] [--set KEY=VALUE]... STEP...\n"
    "                               run edit steps on IN as document operations, save to OUT\n"
    "  peaks IN -o OUT.json|OUT.dat [--samples-per-pixel N | --pixels-per-second N | --width W]\n"
    "        [--bits 8|16] [--channels merged|all] [--version 1|2]\n"
    "                               waveform min/max data for web waveform players\n"
    "  settings [get KEY | set KEY VALUE | unset KEY | list [PREFIX]]\n"
    "                               read and change the persistent settings\n"
    "  lua SCRIPT [ARGS...]         run a Lua 5.3 script with the libtavo module loaded\n"
    "  generate OUT [--seconds S] [--rate R] [--channels N] [--bits B] [--tone HZ | --noise | --silence]\n"
    "                               write a test sound\n"
    "\n"
    "Run 'tavo COMMAND --help' for the details of a command.\n"
    "\n"
    "Long operations show a progress bar on stderr when it is a terminal.\n"
    "Ctrl-C cancels the running operation; no partial output file is left.\n"
    "\n"
    "Exit codes:\n"
    "  0    success\n"
    "  1    an operation failed (unreadable file, refused edit step, failed save)\n"
    "  2    usage error (unknown command or option, malformed argument)\n"
    "  130  cancelled with Ctrl-C\n"
    "\n"
    "Settings are kept in $TAVO_SETTINGS, else ~/.config/tavo/settings.conf.\n"
    "TAVO_LOG=N shows the libraries' log on stderr (N: debug level, 0 for errors only).\n";

}  // namespace

int main(int argc, char **argv)
{
    using namespace tavocli;
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        std::fputs(kUsage, stderr);
        return kExitUsage;
    }
    const std::string command = args.front();
    args.erase(args.begin());
    if (isHelp(command) || command == "help") {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    if (command == "--version") {
        std::printf("%s\n", TAVOVERSION_String());
        return kExitOk;
    }

    int (*run)(const std::vector<std::string> &) = nullptr;
    if (command == "info") run = runInfo;
    else if (command == "edit") run = runEdit;
    else if (command == "peaks") run = runPeaks;
    else if (command == "settings") run = runSettings;
    else if (command == "lua") run = runLua;
    else if (command == "generate") run = runGenerate;
    if (run == nullptr) {
        std::fprintf(stderr, "tavo: unknown command '%s' (see 'tavo --help')\n", command.c_str());
        return kExitUsage;
    }

    // Loading the engine started it (and the libraries below it); it stops
    // when the process ends. Each command decides what a Ctrl-C means for
    // its result: work that finished before the key was pressed stands.
    if (const char *log = std::getenv("TAVO_LOG"))
        BLDEBUG_SetLogLevel(static_cast<int32_t>(std::atoi(log)));
    else
        BLDEBUG_SetSink(quietSink, nullptr, nullptr);
    startProgress(isatty(STDERR_FILENO) == 1);
    const int status = run(args);
    stopProgress();
    return status;
}
