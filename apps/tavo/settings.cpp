// tavo settings: reads and changes the persistent settings store of
// libfound, the one the engine and every host read their options from.
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "blsettings.h"
#include "cli.h"

namespace tavocli {
namespace {

const char kHelp[] =
    "usage: tavo settings [get KEY | set KEY VALUE | unset KEY | list [PREFIX]]\n"
    "\n"
    "  get KEY          prints the value of KEY: the one set, else its default\n"
    "  set KEY VALUE    stores VALUE for KEY in the settings file\n"
    "  unset KEY        removes the value stored for KEY (its default answers again)\n"
    "  list [PREFIX]    prints KEY=VALUE for every stored key that starts with PREFIX\n"
    "With no arguments: the settings file and every stored key.\n"
    "\n"
    "The file is $TAVO_SETTINGS, else $XDG_CONFIG_HOME/tavo/settings.conf\n"
    "(~/.config/tavo/settings.conf). 'get' exits with 1 for a key that has neither a\n"
    "value nor a default.\n"
    "\n"
    "Example: tavo settings set libtavo.editoptions.smoothboundaries 0\n";

// Keys as the store accepts them: letters, digits and . _ - (at most 255
// bytes). Checked here so that a bad key is a usage error with its own
// message rather than an empty answer.
bool isKey(const std::string &key)
{
    if (key.empty() || key.size() > 255) return false;
    for (char c : key) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                        c == '_' || c == '-';
        if (!ok) return false;
    }
    return true;
}

std::string valueOf(const std::string &key)
{
    // Values hold at most 4095 bytes.
    char buffer[4096] = "";
    BLSETTINGS_GetStringEx(nullptr, buffer, sizeof buffer, "%s", key.c_str());
    return buffer;
}

// The store lists no keys itself; the stored ones are the lines of its
// file ("key=value", '#' comments), written sorted by key. Values set in
// this process but not yet saved are not in the file: `list` runs alone, so
// there are none.
std::map<std::string, std::string> storedKeys(const std::string &prefix)
{
    std::map<std::string, std::string> keys;
    const std::string file = BLSETTINGS_FileName();
    if (file.empty()) return keys;
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        const size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        std::string key = line.substr(0, equals);
        while (!key.empty() && (key.back() == ' ' || key.back() == '\t')) key.pop_back();
        if (!isKey(key) || key.compare(0, prefix.size(), prefix) != 0) continue;
        keys[key] = valueOf(key);
    }
    return keys;
}

bool save()
{
    if (BLSETTINGS_Save(nullptr)) return true;
    const std::string file = BLSETTINGS_FileName();
    fail("settings", "cannot write the settings file '" + file + "'");
    return false;
}

}  // namespace

int runSettings(const std::vector<std::string> &args)
{
    for (const std::string &arg : args)
        if (isHelp(arg)) {
            std::fputs(kHelp, stdout);
            return kExitOk;
        }
    const std::string action = args.empty() ? "list" : args[0];
    const size_t operands = args.empty() ? 0 : args.size() - 1;
    auto badKey = [](const std::string &key) {
        fail("settings", "malformed key '" + key + "' (letters, digits and . _ - only)");
        return kExitUsage;
    };

    if (action == "get" && operands == 1) {
        const std::string &key = args[1];
        if (!isKey(key)) return badKey(key);
        if (!BLSETTINGS_ExistsEx(nullptr, "%s", key.c_str())) {
            fail("settings", "'" + key + "' has no value and no default");
            return kExitFailed;
        }
        std::printf("%s\n", valueOf(key).c_str());
        return kExitOk;
    }
    if (action == "set" && operands == 2) {
        const std::string &key = args[1];
        const std::string &value = args[2];
        if (!isKey(key)) return badKey(key);
        if (value.find('\n') != std::string::npos || value.size() > 4095) {
            fail("settings", "a value is one line of at most 4095 bytes");
            return kExitUsage;
        }
        if (!BLSETTINGS_ChangeEx(nullptr, "%s=%s", key.c_str(), value.c_str())) {
            fail("settings", "the store refused '" + key + "'");
            return kExitFailed;
        }
        return save() ? kExitOk : kExitFailed;
    }
    if (action == "unset" && operands == 1) {
        const std::string &key = args[1];
        if (!isKey(key)) return badKey(key);
        BLSETTINGS_ResetEx(nullptr, "%s", key.c_str());
        return save() ? kExitOk : kExitFailed;
    }
    if (action == "list" && operands <= 1) {
        const std::string prefix = operands == 1 ? args[1] : "";
        if (args.empty()) {
            const std::string file = BLSETTINGS_FileName();
            std::printf("# %s\n", file.empty() ? "(memory only)" : file.c_str());
        }
        for (const auto &[key, value] : storedKeys(prefix)) std::printf("%s=%s\n", key.c_str(), value.c_str());
        return kExitOk;
    }
    std::fputs(kHelp, stderr);
    return kExitUsage;
}

}  // namespace tavocli
