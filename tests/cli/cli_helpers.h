// cli_helpers.h: what the tests of the `tavo` tool need to treat it as a
// user does: running the built program, writing and reading WAV files
// without any of the project's libraries, and a small JSON reader.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace clitest {

namespace fs = std::filesystem;

// ---- running the tool ---------------------------------------------------------

struct Result {
    int code = -1;  // exit status; 128 + n when killed by signal n
    std::string out;
    std::string err;
};

inline std::string readFile(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::string quote(const std::string &arg)
{
    std::string q = "'";
    for (char c : arg) {
        if (c == '\'')
            q += "'\\''";
        else
            q += c;
    }
    return q + "'";
}

// Runs the tool with `args` in `folder`; `env` is prefixed ("NAME=value").
inline Result run(const fs::path &folder, const std::vector<std::string> &args, const std::string &env = "")
{
    const fs::path out = folder / "stdout.txt", err = folder / "stderr.txt";
    std::string command = "cd " + quote(folder.string()) + " && " + env + " " + quote(TAVO_TOOL);
    for (const std::string &arg : args) command += " " + quote(arg);
    command += " >" + quote(out.string()) + " 2>" + quote(err.string()) + " </dev/null";
    const int status = std::system(command.c_str());
    Result r;
    if (WIFEXITED(status)) r.code = WEXITSTATUS(status);
    r.out = readFile(out);
    r.err = readFile(err);
    return r;
}

// ---- WAV files ----------------------------------------------------------------

// 16-bit PCM audio: interleaved samples.
struct Pcm {
    int rate = 0;
    int channels = 0;
    std::vector<int16_t> samples;
    int64_t frames() const { return channels == 0 ? 0 : static_cast<int64_t>(samples.size()) / channels; }
    int16_t at(int64_t frame, int channel) const { return samples[static_cast<size_t>(frame * channels + channel)]; }
};

inline void put(std::string &s, uint32_t v, int bytes)
{
    for (int i = 0; i < bytes; ++i) s += static_cast<char>((v >> (8 * i)) & 0xff);
}

// A canonical 44-byte-header RIFF/WAVE file.
inline void writeWav(const fs::path &path, const Pcm &pcm)
{
    const uint32_t data = static_cast<uint32_t>(pcm.samples.size() * 2);
    std::string s = "RIFF";
    put(s, 36 + data, 4);
    s += "WAVEfmt ";
    put(s, 16, 4);
    put(s, 1, 2);  // PCM
    put(s, static_cast<uint32_t>(pcm.channels), 2);
    put(s, static_cast<uint32_t>(pcm.rate), 4);
    put(s, static_cast<uint32_t>(pcm.rate * pcm.channels * 2), 4);
    put(s, static_cast<uint32_t>(pcm.channels * 2), 2);
    put(s, 16, 2);
    s += "data";
    put(s, data, 4);
    for (int16_t v : pcm.samples) put(s, static_cast<uint16_t>(v), 2);
    std::ofstream(path, std::ios::binary) << s;
}

inline uint32_t get(const std::string &s, size_t at, int bytes)
{
    uint32_t v = 0;
    for (int i = 0; i < bytes; ++i) v |= static_cast<uint32_t>(static_cast<unsigned char>(s[at + i])) << (8 * i);
    return v;
}

// Reads 16-bit PCM WAV, walking the chunks (a writer may add LIST, fact,
// or use the extensible fmt layout). False for anything else.
inline bool readWav(const fs::path &path, Pcm &pcm)
{
    const std::string s = readFile(path);
    if (s.size() < 12 || s.compare(0, 4, "RIFF") != 0 || s.compare(8, 4, "WAVE") != 0) return false;
    size_t at = 12;
    int bits = 0;
    bool haveFormat = false;
    while (at + 8 <= s.size()) {
        const std::string id = s.substr(at, 4);
        const uint32_t size = get(s, at + 4, 4);
        const size_t body = at + 8;
        if (body + size > s.size()) return false;
        if (id == "fmt ") {
            pcm.channels = static_cast<int>(get(s, body + 2, 2));
            pcm.rate = static_cast<int>(get(s, body + 4, 4));
            bits = static_cast<int>(get(s, body + 14, 2));
            haveFormat = true;
        } else if (id == "data") {
            if (!haveFormat || bits != 16) return false;
            pcm.samples.resize(size / 2);
            for (size_t i = 0; i < pcm.samples.size(); ++i)
                pcm.samples[i] = static_cast<int16_t>(get(s, body + 2 * i, 2));
            return true;
        }
        at = body + size + (size & 1);
    }
    return false;
}

// Deterministic noise over most of the 16-bit range (xorshift32), different
// in each channel, so that any misplaced frame shows.
inline Pcm noise(int rate, int channels, int64_t frames, uint32_t start = 0x9e3779b9u)
{
    Pcm pcm;
    pcm.rate = rate;
    pcm.channels = channels;
    pcm.samples.resize(static_cast<size_t>(frames * channels));
    uint32_t x = start;
    for (int16_t &v : pcm.samples) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        v = static_cast<int16_t>(static_cast<int32_t>(x % 60001u) - 30000);
    }
    return pcm;
}

// ---- JSON ---------------------------------------------------------------------

struct Json {
    enum Kind { Null, Bool, Number, String, Array, Object } kind = Null;
    double number = 0;
    bool boolean = false;
    std::string text;
    std::vector<Json> items;
    std::map<std::string, Json> members;

    bool has(const std::string &key) const { return kind == Object && members.count(key) != 0; }
    const Json &operator[](const std::string &key) const { return members.at(key); }
};

// A strict reader of one JSON value filling the whole text (blanks around
// it allowed); false for anything malformed.
class JsonReader {
public:
    explicit JsonReader(const std::string &text) : m_s(text) {}
    bool read(Json &out)
    {
        if (!value(out)) return false;
        blanks();
        return m_at == m_s.size();
    }

private:
    void blanks()
    {
        while (m_at < m_s.size() && (m_s[m_at] == ' ' || m_s[m_at] == '\n' || m_s[m_at] == '\r' || m_s[m_at] == '\t'))
            ++m_at;
    }
    bool literal(const char *word)
    {
        const std::string w(word);
        if (m_s.compare(m_at, w.size(), w) != 0) return false;
        m_at += w.size();
        return true;
    }
    bool string(std::string &out)
    {
        if (m_at >= m_s.size() || m_s[m_at] != '"') return false;
        ++m_at;
        while (m_at < m_s.size() && m_s[m_at] != '"') {
            char c = m_s[m_at++];
            if (static_cast<unsigned char>(c) < 0x20) return false;
            if (c == '\\') {
                if (m_at >= m_s.size()) return false;
                const char e = m_s[m_at++];
                switch (e) {
                case '"': case '\\': case '/': out += e; break;
                case 'n': out += '\n'; break;
                case 't': out += '\t'; break;
                case 'r': out += '\r'; break;
                case 'b': out += '\b'; break;
                case 'f': out += '\f'; break;
                case 'u':
                    if (m_at + 4 > m_s.size()) return false;
                    out += static_cast<char>(std::strtol(m_s.substr(m_at, 4).c_str(), nullptr, 16));
                    m_at += 4;
                    break;
                default: return false;
                }
            } else {
                out += c;
            }
        }
        if (m_at >= m_s.size()) return false;
        ++m_at;
        return true;
    }
    bool value(Json &out)
    {
        blanks();
        if (m_at >= m_s.size()) return false;
        const char c = m_s[m_at];
        if (c == '{') {
            out.kind = Json::Object;
            ++m_at;
            blanks();
            if (m_at < m_s.size() && m_s[m_at] == '}') return ++m_at, true;
            while (true) {
                blanks();
                std::string key;
                if (!string(key)) return false;
                blanks();
                if (m_at >= m_s.size() || m_s[m_at++] != ':') return false;
                Json item;
                if (!value(item)) return false;
                out.members[key] = item;
                blanks();
                if (m_at >= m_s.size()) return false;
                if (m_s[m_at] == ',') { ++m_at; continue; }
                if (m_s[m_at] == '}') return ++m_at, true;
                return false;
            }
        }
        if (c == '[') {
            out.kind = Json::Array;
            ++m_at;
            blanks();
            if (m_at < m_s.size() && m_s[m_at] == ']') return ++m_at, true;
            while (true) {
                Json item;
                if (!value(item)) return false;
                out.items.push_back(item);
                blanks();
                if (m_at >= m_s.size()) return false;
                if (m_s[m_at] == ',') { ++m_at; continue; }
                if (m_s[m_at] == ']') return ++m_at, true;
                return false;
            }
        }
        if (c == '"') {
            out.kind = Json::String;
            return string(out.text);
        }
        if (literal("true")) { out.kind = Json::Bool; out.boolean = true; return true; }
        if (literal("false")) { out.kind = Json::Bool; return true; }
        if (literal("null")) return true;
        const char *begin = m_s.c_str() + m_at;
        char *end = nullptr;
        out.number = std::strtod(begin, &end);
        if (end == begin) return false;
        out.kind = Json::Number;
        m_at += static_cast<size_t>(end - begin);
        return true;
    }

    const std::string &m_s;
    size_t m_at = 0;
};

inline bool parseJson(const std::string &text, Json &out)
{
    return JsonReader(text).read(out);
}

}  // namespace clitest
