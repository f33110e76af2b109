// cli_helpers.h: what the tests of the `tavo` tool need to treat it as a
// user does: running the built program, WAV files, noise, a small JSON reader.
#pragma once

#include <sys/wait.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <map>

#include "wav_file.h"

namespace clitest {

using namespace wavtest;

struct Result {
    int code = -1;  // exit status; -1 when killed by a signal
    std::string out;
    std::string err;
};

inline std::string quote(const std::string &arg)
{
    std::string q = "'";
    for (char c : arg) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// Runs the shell command `before` + the tool with `args` (output to
// stdout.txt and stderr.txt of `folder`, no input) + `after`, in `folder`.
inline Result runShell(const fs::path &folder, const std::vector<std::string> &args, const std::string &before,
                       const std::string &after)
{
    const fs::path out = folder / "stdout.txt", err = folder / "stderr.txt";
    std::string command = "cd " + quote(folder.string()) + " && " + before + " " + quote(TAVO_TOOL);
    for (const std::string &arg : args) command += " " + quote(arg);
    command += " >" + quote(out.string()) + " 2>" + quote(err.string()) + " </dev/null" + after;
    const int status = std::system(command.c_str());
    Result r;
    if (WIFEXITED(status)) r.code = WEXITSTATUS(status);
    r.out = readFile(out);
    r.err = readFile(err);
    return r;
}

// Runs the tool with `args` in `folder`; `prefix` comes before the tool in
// the shell command ("NAME=value ...", or a wrapper command).
inline Result run(const fs::path &folder, const std::vector<std::string> &args, const std::string &prefix = "")
{
    return runShell(folder, args, prefix, "");
}

// Runs the tool in the background and presses Ctrl-C `delay` seconds after
// the program has installed its SIGINT handler (read from the caught-signal
// mask in /proc), so that a slow start never meets the default action, which
// would end the program silently. Gives up waiting after 30 s or when the
// program has already ended.
inline Result runInterrupted(const fs::path &folder, const std::vector<std::string> &args, const std::string &env,
                             const char *delay)
{
    return runShell(folder, args, "{ " + env,
                    " & p=$!; i=0; "
                    "until awk '/^SigCgt/ { exit !index(\"2367abef\", substr($2, length($2))) }' /proc/$p/status "
                    "2>/dev/null; do kill -0 $p 2>/dev/null && [ $i -lt 600 ] || break; sleep 0.05; i=$((i+1)); "
                    "done; sleep " + std::string(delay) + "; kill -INT $p 2>/dev/null; wait $p; }");
}

// Deterministic noise over most of the 16-bit range (xorshift32), different
// in each channel, so that any misplaced frame shows.
inline Pcm noise(int rate, int channels, int64_t frames, uint32_t x = 0x9e3779b9u)
{
    Pcm pcm{rate, channels, std::vector<int16_t>(static_cast<size_t>(frames * channels))};
    for (int16_t &v : pcm.samples) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        v = static_cast<int16_t>(static_cast<int32_t>(x % 60001u) - 30000);
    }
    return pcm;
}

struct Json {
    enum Kind { Null, Bool, Number, String, Array, Object } kind = Null;
    double number = 0;
    bool boolean = false;
    std::string text;
    std::vector<Json> items;
    std::map<std::string, Json> members;
    bool has(const std::string &key) const { return members.count(key) != 0; }
    const Json &operator[](const std::string &key) const { return members.at(key); }
};

// A strict reader of one JSON value filling the whole text: false for
// anything malformed.
struct JsonReader {
    const std::string &s;
    size_t at = 0;

    bool more()  // skips blanks; true while text is left
    {
        while (at < s.size() && (s[at] == ' ' || s[at] == '\n' || s[at] == '\r' || s[at] == '\t')) ++at;
        return at < s.size();
    }
    bool eat(char c) { return more() && s[at] == c && ++at; }
    bool string(std::string &out)
    {
        static const std::string escapes = "\"\"\\\\//b\bf\fn\nr\rt\t";  // each letter, then its meaning
        if (!eat('"')) return false;
        while (at < s.size() && s[at] != '"') {
            char c = s[at++];
            if (static_cast<unsigned char>(c) < 0x20) return false;
            if (c == '\\' && s.compare(at, 1, "u") == 0 && at + 5 <= s.size()) {
                c = static_cast<char>(std::strtol(s.substr(at + 1, 4).c_str(), nullptr, 16));
                at += 5;
            } else if (c == '\\') {
                const size_t e = at < s.size() ? escapes.find(s[at++]) : std::string::npos;
                if (e == std::string::npos || e % 2 != 0) return false;
                c = escapes[e + 1];
            }
            out += c;
        }
        return at++ < s.size();
    }
    template <class Item> bool list(char close, Item item)
    {
        if (eat(close)) return true;
        do
            if (!item()) return false;
        while (eat(','));
        return eat(close);
    }
    bool value(Json &out)
    {
        const auto member = [&] {
            std::string key;
            return string(key) && eat(':') && value(out.members[key]);
        };
        if (eat('{')) return out.kind = Json::Object, list('}', member);
        if (eat('[')) return out.kind = Json::Array, list(']', [&] { return value(out.items.emplace_back()); });
        if (more() && s[at] == '"') return out.kind = Json::String, string(out.text);
        for (const std::string word : {"true", "false", "null"}) {
            if (s.compare(at, word.size(), word) != 0) continue;
            at += word.size();
            out.kind = word == "null" ? Json::Null : Json::Bool;
            out.boolean = word == "true";
            return true;
        }
        const char *begin = s.c_str() + at;
        char *end = nullptr;
        out.number = std::strtod(begin, &end);
        at += static_cast<size_t>(end - begin);
        return out.kind = Json::Number, end != begin;
    }
};

inline bool parseJson(const std::string &text, Json &out)
{
    JsonReader reader{text};
    return reader.value(out) && !reader.more();
}

}  // namespace clitest
