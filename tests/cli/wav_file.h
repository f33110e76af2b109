// wav_file.h: 16-bit PCM WAV files written and read byte by byte, without
// the project's libraries, for tests that check the audio a program wrote.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace wavtest {

namespace fs = std::filesystem;

// Interleaved 16-bit samples.
struct Pcm {
    int rate = 0;
    int channels = 0;
    std::vector<int16_t> samples;
    int64_t frames() const { return channels == 0 ? 0 : static_cast<int64_t>(samples.size()) / channels; }
    int16_t at(int64_t frame, int channel) const { return samples[static_cast<size_t>(frame * channels + channel)]; }
};

inline std::string readFile(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void put(std::string &s, uint32_t v, int bytes)
{
    for (int i = 0; i < bytes; ++i) s += static_cast<char>((v >> (8 * i)) & 0xff);
}

inline uint32_t get(const std::string &s, size_t at, int bytes)
{
    uint32_t v = 0;
    for (int i = 0; i < bytes; ++i) v |= static_cast<uint32_t>(static_cast<unsigned char>(s[at + i])) << (8 * i);
    return v;
}

// A canonical 44-byte-header RIFF/WAVE file.
inline void writeWav(const fs::path &path, const Pcm &pcm)
{
    const auto data = static_cast<uint32_t>(pcm.samples.size() * 2);
    const auto channels = static_cast<uint32_t>(pcm.channels), rate = static_cast<uint32_t>(pcm.rate);
    std::string s = "RIFF";
    put(s, 36 + data, 4);
    s += "WAVEfmt ";
    // fmt size, PCM, channels, rate, byte rate, block align, bits.
    const std::pair<uint32_t, int> format[] = {{16, 4},   {1, 2}, {channels, 2}, {rate, 4}, {rate * channels * 2, 4},
                                               {channels * 2, 2}, {16, 2}};
    for (const auto &[v, bytes] : format) put(s, v, bytes);
    s += "data";
    put(s, data, 4);
    for (int16_t v : pcm.samples) put(s, static_cast<uint16_t>(v), 2);
    std::ofstream(path, std::ios::binary) << s;
}

// Reads 16-bit PCM WAV, walking the chunks (a writer may add LIST or fact,
// or use the extensible fmt layout). An empty Pcm for anything else.
inline Pcm readWav(const fs::path &path)
{
    const std::string s = readFile(path);
    Pcm pcm;
    if (s.size() < 12 || s.compare(0, 4, "RIFF") != 0 || s.compare(8, 4, "WAVE") != 0) return {};
    int bits = 0;
    for (size_t at = 12; at + 8 <= s.size();) {
        const uint32_t size = get(s, at + 4, 4);
        const size_t body = at + 8;
        if (body + size > s.size()) return {};
        if (s.compare(at, 4, "fmt ") == 0) {
            pcm.channels = static_cast<int>(get(s, body + 2, 2));
            pcm.rate = static_cast<int>(get(s, body + 4, 4));
            bits = static_cast<int>(get(s, body + 14, 2));
        } else if (s.compare(at, 4, "data") == 0) {
            if (bits != 16) return {};
            pcm.samples.resize(size / 2);
            for (size_t i = 0; i < pcm.samples.size(); ++i)
                pcm.samples[i] = static_cast<int16_t>(get(s, body + 2 * i, 2));
            return pcm;
        }
        at = body + size + (size & 1);
    }
    return {};
}

}  // namespace wavtest
