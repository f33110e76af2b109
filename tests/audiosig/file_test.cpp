// Audio files: opening, saving and probing, checked against files written
// and read by libsndfile directly and by sox, never against this library's
// own arithmetic.
#include <audiofile.h>
#include <blnotify.h>

#include "signal_p.h"

#include "noise_signal.h"

#include <gtest/gtest.h>

#include <sndfile.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

// libsndfile 1.2.0 does not free the Vorbis stream information of an Ogg
// file whose headers it fails to read; that leak is the library's, so
// LeakSanitizer (when linked) is told to pass over it.
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions()
{
    return "leak:vorbis_info_init\n";
}

namespace fs = std::filesystem;

namespace {

// ---- helpers -----------------------------------------------------------------------

class TempFolder {
public:
    TempFolder()
    {
        char pattern[] = "/tmp/audiofile-test-XXXXXX";
        m_path = ::mkdtemp(pattern);
    }
    ~TempFolder() { fs::remove_all(m_path); }
    std::string operator/(const std::string &name) const { return m_path + "/" + name; }
    const std::string &path() const { return m_path; }

private:
    std::string m_path;
};

std::vector<uint8_t> bytesOf(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void writeBytes(const std::string &path, const std::vector<uint8_t> &bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(bytes.data()), std::streamsize(bytes.size()));
}

// Random integers of `bits` bits, left-justified in 32 as libsndfile hands
// integers over, covering both extremes.
std::vector<int> randomInts(size_t count, int bits, unsigned start)
{
    std::mt19937 rng(start);
    const int64_t low = -(int64_t(1) << (bits - 1));
    const int64_t high = (int64_t(1) << (bits - 1)) - 1;
    std::uniform_int_distribution<int64_t> dist(low, high);
    std::vector<int> values(count);
    for (int &v : values) v = int(dist(rng) * (int64_t(1) << (32 - bits)));
    if (count >= 2) {
        values[0] = int(low * (int64_t(1) << (32 - bits)));
        values[1] = int(high * (int64_t(1) << (32 - bits)));
    }
    return values;
}

std::vector<double> randomDoubles(size_t count, unsigned start)
{
    std::mt19937_64 rng(start);
    std::uniform_real_distribution<double> dist(-1.0, 1.0);
    std::vector<double> values(count);
    for (double &v : values) v = dist(rng);
    return values;
}

// Writes interleaved samples with libsndfile itself.
bool writeWithSndfile(const std::string &path, int format, int rate, int channels, const std::vector<int> *ints,
                      const std::vector<double> *doubles)
{
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) return false;
    sf_count_t frames = 0;
    sf_count_t written = 0;
    if (ints != nullptr) {
        frames = sf_count_t(ints->size()) / channels;
        written = sf_writef_int(file, ints->data(), frames);
    } else {
        frames = sf_count_t(doubles->size()) / channels;
        written = sf_writef_double(file, doubles->data(), frames);
    }
    sf_close(file);
    return written == frames;
}

struct SndfileContents {
    SF_INFO info{};
    std::vector<int> ints;
    std::vector<double> doubles;
    std::vector<float> floats;
};

// Reads a whole file with libsndfile itself, in all three carriers.
bool readWithSndfile(const std::string &path, SndfileContents &out)
{
    SNDFILE *file = sf_open(path.c_str(), SFM_READ, &out.info);
    if (file == nullptr) return false;
    const size_t n = size_t(out.info.frames) * size_t(out.info.channels);
    out.ints.resize(n);
    out.doubles.resize(n);
    out.floats.resize(n);
    sf_readf_int(file, out.ints.data(), out.info.frames);
    sf_seek(file, 0, SEEK_SET);
    sf_readf_double(file, out.doubles.data(), out.info.frames);
    sf_seek(file, 0, SEEK_SET);
    sf_readf_float(file, out.floats.data(), out.info.frames);
    sf_close(file);
    return true;
}

std::vector<float> channelOf(AUDIOSIGNAL signal, int channel)
{
    std::vector<float> samples(size_t(AUDIOSIGNAL_NumFrames(signal)));
    AUDIOSIGNAL_GetChannelSamplesEx(signal, channel, 0, int64_t(samples.size()), samples.data());
    return samples;
}

// A sine of `frequency` Hz and peak `amplitude` on every channel, as floats.
AUDIOSIGNAL makeSine(int64_t frames, int32_t rate, int channels, double frequency, double amplitude)
{
    AUDIO_FORMAT format = AUDIO_NullFormat();
    format.sampleRate = rate;
    format.numChannels = int16_t(channels);
    format.bitsPerSample = 32;
    format.sampleKind = AUDIO_SAMPLE_FLOAT;
    std::vector<float> wave(static_cast<size_t>(frames));
    for (int64_t i = 0; i < frames; ++i)
        wave[size_t(i)] = float(amplitude * std::sin(2.0 * M_PI * frequency * double(i) / rate));
    std::vector<asig::SpanList> lists;
    for (int c = 0; c < channels; ++c) {
        asig::SpanBuilder builder(asig::SampleType::F32);
        builder.pushFloat(wave.data(), frames);
        lists.push_back(builder.finish());
    }
    return _AUDIOSIGNAL_Create(format, std::move(lists));
}

double rmsOf(const std::vector<float> &samples, size_t from, size_t to)
{
    double sum = 0.0;
    for (size_t i = from; i < to; ++i) sum += double(samples[i]) * samples[i];
    return std::sqrt(sum / double(to - from));
}

bool haveCommand(const char *name)
{
    const std::string probe = std::string("command -v ") + name + " >/dev/null 2>&1";
    return std::system(probe.c_str()) == 0;
}

std::string commandOutput(const std::string &command)
{
    std::string result;
    FILE *pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[256];
    while (std::fgets(buffer, sizeof(buffer), pipe) != nullptr) result += buffer;
    ::pclose(pipe);
    while (!result.empty() && (result.back() == '\n' || result.back() == ' ')) result.pop_back();
    return result;
}

bool anyTemporaryIn(const std::string &folder)
{
    for (const auto &entry : fs::directory_iterator(folder))
        if (entry.path().filename().string().find(".tmp-") != std::string::npos) return true;
    return false;
}

// Records the notifications of one parent object; answers `answer` to
// progress reports.
struct Recorder {
    void *parent = this;
    int32_t answer = 1;
    std::vector<int32_t> kinds;
    std::vector<double> fractions;

    static int32_t handle(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<Recorder *>(user);
        if (event->source != self->parent) return 1;
        self->kinds.push_back(event->kind);
        const bool progress = event->kind == AUDIO_NOTIFY_READ_PROGRESS || event->kind == AUDIO_NOTIFY_WRITE_PROGRESS;
        if (progress) {
            self->fractions.push_back(*static_cast<double *>(event->arg2));
            return self->answer;
        }
        return 1;
    }
    Recorder() { BLNOTIFY_AddDefaultHandler(BLNOTIFY_ANY_KIND, &Recorder::handle, this); }
    ~Recorder() { BLNOTIFY_DelDefaultHandler(BLNOTIFY_ANY_KIND, &Recorder::handle, this); }
};

// ---- lossless round trips ------------------------------------------------------------

struct LosslessCase {
    const char *text;  // the format text of the save
    int sfFormat;      // how the source file is written by libsndfile
    const char *ext;
    bool isFloat;
    int bits;
};

std::string caseName(const testing::TestParamInfo<LosslessCase> &info)
{
    std::string name = info.param.text;
    for (char &c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

class AudioFileLossless : public testing::TestWithParam<LosslessCase> {};

// A file written by libsndfile, opened by us (copied and mapped), saved by
// us, and read back by libsndfile: every value must come back unchanged.
TEST_P(AudioFileLossless, SavedFileHoldsTheSameValues)
{
    const LosslessCase &param = GetParam();
    TempFolder folder;
    const std::string source = folder / (std::string("source.") + param.ext);
    const int channels = 3;  // an odd count catches interleaving slips
    const size_t frames = 70000;  // more than one block of 65536 frames
    const std::vector<int> ints = randomInts(frames * channels, param.bits == 64 ? 32 : param.bits, 17);
    const std::vector<double> doubles = randomDoubles(frames * channels, 18);
    ASSERT_TRUE(writeWithSndfile(source, param.sfFormat, 48000, channels, param.isFloat ? nullptr : &ints,
                                 param.isFloat ? &doubles : nullptr));
    SndfileContents original;
    ASSERT_TRUE(readWithSndfile(source, original));

    for (uint32_t flags : {uint32_t(AUDIO_OPEN_NO_MAP), uint32_t(AUDIO_OPEN_MAP)}) {
        SCOPED_TRACE(flags == AUDIO_OPEN_MAP ? "mapped" : "copied");
        uint32_t error = ~0u;
        AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(source.c_str(), "AUTO", flags, nullptr, nullptr, &error);
        ASSERT_NE(signal, nullptr) << std::hex << error;
        EXPECT_EQ(error, 0u);
        EXPECT_EQ(AUDIOSIGNAL_NumFrames(signal), int64_t(frames));
        EXPECT_EQ(AUDIOSIGNAL_NumChannels(signal), channels);
        EXPECT_EQ(AUDIOSIGNAL_GetFormat(signal).bitsPerSample, param.bits);
        // Little-endian PCM is used in place when mapped: its samples cost
        // no memory, only their summaries (about 1%) do.
        const uint64_t sampleBytes = uint64_t(frames) * channels * uint64_t(param.bits / 8);
        if (flags == AUDIO_OPEN_MAP && std::string(param.ext) == "wav")
            EXPECT_LT(AUDIOSIGNAL_SizeInMemory(signal), sampleBytes / 10);
        else
            EXPECT_GE(AUDIOSIGNAL_SizeInMemory(signal), sampleBytes);

        const std::string copy = folder / (std::string("copy.") + param.ext);
        ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, copy.c_str(), param.text, AUDIO_SAVE_COPY, &error)) << std::hex << error;
        SndfileContents saved;
        ASSERT_TRUE(readWithSndfile(copy, saved));
        EXPECT_EQ(saved.info.format, original.info.format);
        EXPECT_EQ(saved.info.frames, original.info.frames);
        if (param.isFloat)
            EXPECT_TRUE(saved.doubles == original.doubles);
        else
            EXPECT_TRUE(saved.ints == original.ints);

        // What the signal answers matches libsndfile's floats.
        for (int c = 0; c < channels; ++c) {
            const std::vector<float> ours = channelOf(signal, c);
            size_t differ = 0;
            for (size_t i = 0; i < frames; ++i)
                if (ours[i] != original.floats[i * channels + size_t(c)] &&
                    std::fabs(ours[i] - original.floats[i * channels + size_t(c)]) > 1e-6f)
                    ++differ;
            EXPECT_EQ(differ, 0u) << "channel " << c;
        }
        AUDIOSIGNAL_Destroy(signal);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, AudioFileLossless,
    testing::Values(LosslessCase{"WAV[bits=8]", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, "wav", false, 8},
                    LosslessCase{"WAV", SF_FORMAT_WAV | SF_FORMAT_PCM_16, "wav", false, 16},
                    LosslessCase{"WAV[bits=24]", SF_FORMAT_WAV | SF_FORMAT_PCM_24, "wav", false, 24},
                    LosslessCase{"WAV[bits=32]", SF_FORMAT_WAV | SF_FORMAT_PCM_32, "wav", false, 32},
                    LosslessCase{"WAV[bits=32,type=float]", SF_FORMAT_WAV | SF_FORMAT_FLOAT, "wav", true, 32},
                    LosslessCase{"WAV[bits=64,type=float]", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, "wav", true, 64},
                    LosslessCase{"AIFF[bits=8]", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, "aiff", false, 8},
                    LosslessCase{"AIFF", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, "aiff", false, 16},
                    LosslessCase{"AIFF[bits=24]", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, "aiff", false, 24},
                    LosslessCase{"AIFF[bits=32]", SF_FORMAT_AIFF | SF_FORMAT_PCM_32, "aiff", false, 32},
                    LosslessCase{"AIFF[type=float]", SF_FORMAT_AIFF | SF_FORMAT_FLOAT, "aiff", true, 32},
                    LosslessCase{"AIFF[bits=64]", SF_FORMAT_AIFF | SF_FORMAT_DOUBLE, "aiff", true, 64},
                    LosslessCase{"FLAC[bits=8]", SF_FORMAT_FLAC | SF_FORMAT_PCM_S8, "flac", false, 8},
                    LosslessCase{"FLAC[compression=8]", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, "flac", false, 16},
                    LosslessCase{"FLAC[bits=24,compression=0]", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, "flac", false, 24},
                    LosslessCase{"RF64[bits=24]", SF_FORMAT_RF64 | SF_FORMAT_PCM_24, "wav", false, 24}),
    caseName);

TEST(AudioFileSave, RawNeedsItsParametersAndKeepsTheBytes)
{
    TempFolder folder;
    AUDIOSIGNAL signal = makeNoise16(1000);
    const std::string raw = folder / "x.raw";
    uint32_t error = 0;
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, raw.c_str(), "RAW[endian=big]", AUDIO_SAVE_COPY, &error));
    EXPECT_EQ(fs::file_size(raw), 1000u * 2 * 2);  // no header at all
    EXPECT_EQ(AUDIOSIGNAL_OpenEx(raw.c_str(), "RAW", 0, nullptr, nullptr, &error), nullptr);
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_INVALID_ARGUMENT));
    AUDIOSIGNAL back =
        AUDIOSIGNAL_OpenEx(raw.c_str(), "RAW[sr=44100,nc=2,bits=16,endian=big]", 0, nullptr, nullptr, &error);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(channelOf(back, 1), channelOf(signal, 1));
    // The first sample's bytes are big endian.
    const std::vector<uint8_t> bytes = bytesOf(raw);
    const int16_t first = int16_t(bytes[0] << 8 | bytes[1]);
    EXPECT_EQ(float(first) / 32768.0f, AUDIOSIGNAL_GetSample(signal, 0, 0));
    AUDIOSIGNAL_Destroy(back);
    AUDIOSIGNAL_Destroy(signal);
}

// ---- lossy formats -------------------------------------------------------------------

struct LossyCase {
    const char *text;
    const char *ext;
    int32_t rate;
};

class AudioFileLossy : public testing::TestWithParam<LossyCase> {};

// A 1 kHz sine at half scale, 2 s, through each lossy encoder and back. The
// encoders keep a pure tone well within 0.5 dB of its level (they are
// built to keep what is audible, and a loud tone is); the length may grow by
// the encoder's padding, at most one MP3 frame set (2 x 1152 frames) or an
// Opus/Vorbis block, under 5% here.
TEST_P(AudioFileLossy, ToneKeepsItsLevelAndLength)
{
    const LossyCase &param = GetParam();
    AUDIO_FORMAT_DESCR descr{};
    ASSERT_TRUE(AUDIO_FindFormatDescr(param.ext, &descr));
    if ((descr.capabilities & AUDIO_CAP_WRITE) == 0) {
        // A libsndfile built without this encoder: the table must say so.
        EXPECT_FALSE(AUDIO_SupportFormat(1, param.text));
        return;
    }
    TempFolder folder;
    const int64_t frames = 2 * int64_t(param.rate);
    AUDIOSIGNAL tone = makeSine(frames, param.rate, 2, 1000.0, 0.5);
    const std::string path = folder / (std::string("tone.") + param.ext);
    uint32_t error = 0;
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(tone, path.c_str(), param.text, 0, &error)) << std::hex << error;
    AUDIOSIGNAL back = AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", 0, nullptr, nullptr, &error);
    ASSERT_NE(back, nullptr) << std::hex << error;
    EXPECT_EQ(AUDIOSIGNAL_GetFormat(back).formatTag, descr.formatTag);
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(back), param.rate);
    EXPECT_EQ(AUDIOSIGNAL_NumChannels(back), 2);
    const int64_t length = AUDIOSIGNAL_NumFrames(back);
    EXPECT_GE(length, frames - frames / 20);
    EXPECT_LE(length, frames + frames / 20);
    // Level over the middle second, clear of the encoders' start and end.
    const std::vector<float> left = channelOf(back, 0);
    const double level = rmsOf(left, size_t(param.rate / 2), size_t(param.rate * 3 / 2));
    const double expected = 0.5 / std::sqrt(2.0);
    EXPECT_NEAR(20.0 * std::log10(level / expected), 0.0, 0.5);
    AUDIOSIGNAL_Destroy(back);
    AUDIOSIGNAL_Destroy(tone);
}

INSTANTIATE_TEST_SUITE_P(Encoders, AudioFileLossy,
                         testing::Values(LossyCase{"OGG[quality=0.6]", "ogg", 44100},
                                         LossyCase{"OPUS[quality=0.8]", "opus", 48000},
                                         LossyCase{"MP3[bitrate=192]", "mp3", 44100}),
                         [](const testing::TestParamInfo<LossyCase> &info) { return std::string(info.param.ext); });

TEST(AudioFileLossyOptions, Mp3BitRateSetsTheFileSize)
{
    AUDIO_FORMAT_DESCR descr{};
    ASSERT_TRUE(AUDIO_FindFormatDescr("MP3", &descr));
    if ((descr.capabilities & AUDIO_CAP_WRITE) == 0) return;
    TempFolder folder;
    AUDIOSIGNAL tone = makeSine(10 * 44100, 44100, 2, 440.0, 0.5);
    for (int kbps : {96, 192, 320}) {
        const std::string path = folder / ("r" + std::to_string(kbps) + ".mp3");
        const std::string text = "MP3[bitrate=" + std::to_string(kbps) + "]";
        ASSERT_TRUE(AUDIOSIGNAL_SaveEx(tone, path.c_str(), text.c_str(), AUDIO_SAVE_COPY, nullptr));
        // Constant bit rate: 10 s of kbps kbit/s, give or take a frame and
        // the tags (1%).
        const double expected = kbps * 1000.0 / 8.0 * 10.0;
        EXPECT_NEAR(double(fs::file_size(path)), expected, expected * 0.01) << kbps;
    }
    AUDIOSIGNAL_Destroy(tone);
}

TEST(AudioFileLossyOptions, EncodersRefuseWhatTheyCannotHold)
{
    TempFolder folder;
    AUDIOSIGNAL tone = makeSine(4410, 44100, 3, 440.0, 0.5);
    uint32_t error = 0;
    // Opus runs at 48 kHz and its divisors, not 44.1 kHz.
    EXPECT_FALSE(AUDIOSIGNAL_SaveEx(tone, (folder / "x.opus").c_str(), "OPUS", 0, &error));
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_INCOMPATIBLE));
    // MPEG audio has one or two channels.
    EXPECT_FALSE(AUDIOSIGNAL_SaveEx(tone, (folder / "x.mp3").c_str(), "MP3", 0, &error));
    EXPECT_NE(error & (AUDIO_ERROR_INCOMPATIBLE | AUDIO_ERROR_UNSUPPORTED_FORMAT), 0u);
    // FLAC holds no floats and at most 24 bits: asked for, it is refused.
    EXPECT_FALSE(AUDIOSIGNAL_SaveEx(tone, (folder / "x.flac").c_str(), "FLAC[bits=32]", 0, &error));
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_INVALID_ARGUMENT));
    EXPECT_TRUE(fs::is_empty(folder.path()));
    // Inherited from a float signal, the width becomes FLAC's widest.
    const std::string flac = folder / "y.flac";
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(tone, flac.c_str(), "FLAC", AUDIO_SAVE_COPY, &error));
    SndfileContents saved;
    ASSERT_TRUE(readWithSndfile(flac, saved));
    EXPECT_EQ(saved.info.format, SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
    AUDIOSIGNAL_Destroy(tone);
}

// ---- files of other programs ---------------------------------------------------------

TEST(AudioFileSox, SineWrittenBySoxReadsAsTheFormula)
{
    ASSERT_TRUE(haveCommand("sox")) << "sox is installed by scripts/setup.sh";
    TempFolder folder;
    const std::string path = folder / "sine.wav";
    // -D: no dither, so that the samples are the rounded sine itself; the
    // rate goes before -n so that the tone is made at 44.1 kHz rather than
    // made at 48 kHz and resampled.
    const std::string make = "sox -D -r 44100 -c 2 -n -b 16 " + path + " synth 1 sine 1000 vol 0.5";
    ASSERT_EQ(std::system(make.c_str()), 0);
    uint32_t error = 0;
    AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", 0x2 | 0x4, nullptr, nullptr, &error);
    ASSERT_NE(signal, nullptr) << std::hex << error;
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(signal), 44100);
    EXPECT_EQ(AUDIOSIGNAL_GetFormat(signal).bitsPerSample, 16);
    const std::vector<float> right = channelOf(signal, 1);
    double worst = 0.0;
    for (size_t i = 0; i < right.size(); ++i) {
        const double expected = 0.5 * std::sin(2.0 * M_PI * 1000.0 * double(i) / 44100.0);
        worst = std::max(worst, std::fabs(right[i] - expected));
    }
    // Rounding to 16 bits: half a step, and a little for sox's own float
    // synthesis.
    EXPECT_LT(worst, 1.0 / 32768.0);
    AUDIOSIGNAL_Destroy(signal);
}

TEST(AudioFileSox, WhatWeWriteSoxReadsAsWritten)
{
    ASSERT_TRUE(haveCommand("soxi"));
    TempFolder folder;
    AUDIOSIGNAL signal = makeNoise16(48000, 48000);
    const struct {
        const char *text;
        const char *ext;
        const char *bits;
        const char *encoding;
    } cases[] = {
        {"WAV[bits=24]", "wav", "24", "Signed Integer PCM"},
        {"WAV[bits=32,type=float]", "wav", "32", "Floating Point PCM"},
        {"AIFF[bits=8]", "aiff", "8", "Signed Integer PCM"},
        {"FLAC", "flac", "16", "FLAC"},
    };
    for (const auto &c : cases) {
        const std::string path = folder / (std::string("n.") + c.ext);
        ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, path.c_str(), c.text, AUDIO_SAVE_COPY, nullptr)) << c.text;
        EXPECT_EQ(commandOutput("soxi -r " + path), "48000") << c.text;
        EXPECT_EQ(commandOutput("soxi -c " + path), "2") << c.text;
        EXPECT_EQ(commandOutput("soxi -s " + path), "48000") << c.text;
        EXPECT_EQ(commandOutput("soxi -b " + path), c.bits) << c.text;
        EXPECT_NE(commandOutput("soxi -e " + path).find(c.encoding), std::string::npos) << c.text;
    }
    AUDIOSIGNAL_Destroy(signal);
}

// ---- detection and errors -----------------------------------------------------------

class AudioFileErrors : public testing::Test {
protected:
    TempFolder folder;
    std::string wav = folder / "a.wav";
    std::string flac = folder / "a.flac";
    std::vector<int> samples = randomInts(2 * 40000, 16, 3);

    void SetUp() override
    {
        ASSERT_TRUE(writeWithSndfile(wav, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2, &samples, nullptr));
        ASSERT_TRUE(writeWithSndfile(flac, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 44100, 2, &samples, nullptr));
    }

    uint32_t openError(const std::string &path, const char *format = "AUTO")
    {
        uint32_t error = 0;
        AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(path.c_str(), format, 0, nullptr, nullptr, &error);
        EXPECT_EQ(signal, nullptr) << path;
        AUDIOSIGNAL_Destroy(signal);
        uint32_t canError = 0;
        EXPECT_FALSE(AUDIOSIGNAL_CanOpenEx(path.c_str(), format, &canError));
        EXPECT_EQ(canError, error);
        return error;
    }
};

TEST_F(AudioFileErrors, ContentDecidesNotTheName)
{
    const std::string disguised = folder / "really-flac.wav";
    fs::copy_file(flac, disguised);
    uint32_t error = 0;
    AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(disguised.c_str(), "AUTO", 0, nullptr, nullptr, &error);
    ASSERT_NE(signal, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_GetFormat(signal).formatTag, AUDIO_FORMATTAG_FLAC);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(signal), 40000);
    AUDIOSIGNAL_Destroy(signal);
    // Forced as WAV, it is not one.
    EXPECT_EQ(openError(disguised, "WAV"), uint32_t(AUDIO_ERROR_CORRUPT_DATA));
    // Forced as FLAC, it is.
    signal = AUDIOSIGNAL_OpenEx(disguised.c_str(), "FLAC", 0, nullptr, nullptr, &error);
    EXPECT_NE(signal, nullptr);
    AUDIOSIGNAL_Destroy(signal);
}

TEST_F(AudioFileErrors, MissingFoldersAndBadArguments)
{
    EXPECT_EQ(openError(folder / "nothing.wav"), uint32_t(AUDIO_ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(openError(folder.path()), uint32_t(AUDIO_ERROR_CANNOT_OPEN));
    EXPECT_EQ(openError(wav, "NOSUCH"), uint32_t(AUDIO_ERROR_UNSUPPORTED_FORMAT));
    EXPECT_EQ(openError(wav, "WAV[bits=12]"), uint32_t(AUDIO_ERROR_INVALID_ARGUMENT));
    EXPECT_EQ(openError(wav, "STREAM"), uint32_t(AUDIO_ERROR_UNSUPPORTED_FORMAT));
    uint32_t error = 0;
    EXPECT_EQ(AUDIOSIGNAL_OpenEx(nullptr, "AUTO", 0, nullptr, nullptr, &error), nullptr);
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_INVALID_ARGUMENT));
    EXPECT_FALSE(AUDIOSIGNAL_ProbeFileEx(wav.c_str(), nullptr, nullptr, nullptr, &error));
    EXPECT_FALSE(AUDIOSIGNAL_SaveEx(nullptr, wav.c_str(), "WAV", 0, &error));
}

TEST_F(AudioFileErrors, UnknownContentIsUnsupportedUnlessNamedAsAudio)
{
    std::vector<uint8_t> noise(5000);
    std::mt19937 rng(9);
    for (uint8_t &b : noise) b = uint8_t(rng() & 0x7f);
    writeBytes(folder / "noise.bin", noise);
    writeBytes(folder / "noise.flac", noise);
    writeBytes(folder / "empty.bin", {});
    EXPECT_EQ(openError(folder / "noise.bin"), uint32_t(AUDIO_ERROR_UNSUPPORTED_FORMAT));
    EXPECT_EQ(openError(folder / "noise.flac"), uint32_t(AUDIO_ERROR_CORRUPT_DATA));
    EXPECT_EQ(openError(folder / "empty.bin"), uint32_t(AUDIO_ERROR_UNSUPPORTED_FORMAT));
}

// A header cut short is an error; data cut short gives the whole frames
// that are there, with CORRUPT_DATA beside the signal.
TEST_F(AudioFileErrors, TruncatedFiles)
{
    const std::vector<uint8_t> whole = bytesOf(wav);
    const std::string cut = folder / "cut.wav";
    writeBytes(cut, std::vector<uint8_t>(whole.begin(), whole.begin() + 30));
    EXPECT_EQ(openError(cut), uint32_t(AUDIO_ERROR_CORRUPT_DATA));

    // 44 header bytes, then 1000 frames and a half.
    writeBytes(cut, std::vector<uint8_t>(whole.begin(), whole.begin() + 44 + 4 * 1000 + 2));
    for (uint32_t flags : {uint32_t(AUDIO_OPEN_NO_MAP), uint32_t(AUDIO_OPEN_MAP)}) {
        uint32_t error = 0;
        AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(cut.c_str(), "AUTO", flags, nullptr, nullptr, &error);
        ASSERT_NE(signal, nullptr);
        EXPECT_EQ(error, uint32_t(AUDIO_ERROR_CORRUPT_DATA));
        ASSERT_EQ(AUDIOSIGNAL_NumFrames(signal), 1000);
        EXPECT_EQ(AUDIOSIGNAL_GetSample(signal, 1, 999), float(samples[2 * 999 + 1]) / 2147483648.0f);
        AUDIOSIGNAL_Destroy(signal);
    }

    // FLAC cut in its audio frames: the frames decoded before the cut.
    const std::vector<uint8_t> flacBytes = bytesOf(flac);
    const std::string flacCut = folder / "cut.flac";
    writeBytes(flacCut, std::vector<uint8_t>(flacBytes.begin(), flacBytes.begin() + flacBytes.size() / 2));
    uint32_t error = 0;
    AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(flacCut.c_str(), "AUTO", 0, nullptr, nullptr, &error);
    ASSERT_NE(signal, nullptr);
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_CORRUPT_DATA));
    const int64_t kept = AUDIOSIGNAL_NumFrames(signal);
    EXPECT_GT(kept, 0);
    EXPECT_LT(kept, 40000);
    const std::vector<float> left = channelOf(signal, 0);
    for (int64_t i = 0; i < kept; i += 97) ASSERT_EQ(left[size_t(i)], float(samples[size_t(2 * i)]) / 2147483648.0f);
    AUDIOSIGNAL_Destroy(signal);
}

// Every prefix and a scatter of damaged bytes, in every format we write:
// an error or a signal, never a crash or a hang.
TEST_F(AudioFileErrors, EveryPrefixOpensOrFailsCleanly)
{
    AUDIOSIGNAL tone = makeSine(3000, 48000, 2, 440.0, 0.5);
    for (const char *text : {"WAV", "AIFF[bits=24]", "FLAC", "OGG", "OPUS", "MP3", "RF64"}) {
        if (!AUDIO_SupportFormat(1, text)) continue;
        const std::string path = folder / "whole";
        ASSERT_TRUE(AUDIOSIGNAL_SaveEx(tone, path.c_str(), text, AUDIO_SAVE_COPY, nullptr)) << text;
        const std::vector<uint8_t> whole = bytesOf(path);
        const std::string part = folder / "part";
        const size_t step = std::max<size_t>(1, whole.size() / 150);
        for (size_t length = 0; length < whole.size(); length += step) {
            writeBytes(part, std::vector<uint8_t>(whole.begin(), whole.begin() + length));
            uint32_t error = 0;
            AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(part.c_str(), "AUTO", 0, nullptr, nullptr, &error);
            if (signal != nullptr) {
                EXPECT_LE(AUDIOSIGNAL_NumFrames(signal), 3000 + 4000) << text << " " << length;
            } else {
                EXPECT_NE(error, 0u) << text << " " << length;
            }
            AUDIOSIGNAL_Destroy(signal);
        }
        std::mt19937 rng(4);
        for (int round = 0; round < 40; ++round) {
            std::vector<uint8_t> damaged = whole;
            for (int k = 0; k < 8; ++k) damaged[rng() % damaged.size()] = uint8_t(rng());
            writeBytes(part, damaged);
            uint32_t error = 0;
            AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(part.c_str(), "AUTO", AUDIO_OPEN_MAP, nullptr, nullptr, &error);
            AUDIOSIGNAL_Destroy(signal);
        }
    }
    AUDIOSIGNAL_Destroy(tone);
}

// ---- probing -------------------------------------------------------------------------

TEST_F(AudioFileErrors, ProbeReadsTheHeaderOnly)
{
    AUDIO_FORMAT format{};
    int64_t frames = 0;
    uint32_t error = 0;
    ASSERT_TRUE(AUDIOSIGNAL_ProbeFileEx(flac.c_str(), "AUTO", &format, &frames, &error));
    EXPECT_EQ(format.formatTag, AUDIO_FORMATTAG_FLAC);
    EXPECT_EQ(format.sampleRate, 44100);
    EXPECT_EQ(format.numChannels, 2);
    EXPECT_EQ(format.bitsPerSample, 16);
    EXPECT_EQ(frames, 40000);
    // Audio frames overwritten after the header: probing does not look at
    // them, opening does.
    std::vector<uint8_t> bytes = bytesOf(flac);
    for (size_t i = 8500; i < bytes.size(); ++i) bytes[i] = 0;
    const std::string damaged = folder / "damaged.flac";
    writeBytes(damaged, bytes);
    EXPECT_TRUE(AUDIOSIGNAL_ProbeFileEx(damaged.c_str(), "AUTO", &format, &frames, &error));
    EXPECT_EQ(frames, 40000);
    AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(damaged.c_str(), "AUTO", 0, nullptr, nullptr, &error);
    EXPECT_NE(error & AUDIO_ERROR_CORRUPT_DATA, 0u);
    if (signal != nullptr) {
        EXPECT_LT(AUDIOSIGNAL_NumFrames(signal), 40000);
    }
    AUDIOSIGNAL_Destroy(signal);
}

// ---- link files -----------------------------------------------------------------------

TEST_F(AudioFileErrors, LinkOpensTheFileItNames)
{
    fs::create_directory(folder / "links");
    const std::string link = folder / "links/a.tavolink";
    std::ofstream(link) << "; a link\n[tavo.link]\nfile = ../a.wav\noptions = readonly\n";
    uint32_t error = 0;
    AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(link.c_str(), "AUTO", 0x6, nullptr, nullptr, &error);
    ASSERT_NE(signal, nullptr) << std::hex << error;
    EXPECT_EQ(AUDIOSIGNAL_GetFormat(signal).formatTag, AUDIO_FORMATTAG_LINK);
    EXPECT_EQ(std::string(AUDIOSIGNAL_SignalLabel(signal)), link);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(signal), 40000);
    EXPECT_EQ(AUDIOSIGNAL_SizeInDisk(signal), int64_t(fs::file_size(link)));
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(signal, 7));
    AUDIOSIGNAL_Destroy(signal);
    AUDIO_FORMAT format{};
    int64_t frames = 0;
    ASSERT_TRUE(AUDIOSIGNAL_ProbeFileEx(link.c_str(), "LINK", &format, &frames, &error));
    EXPECT_EQ(format.formatTag, AUDIO_FORMATTAG_LINK);
    EXPECT_EQ(frames, 40000);
    // Link files are read, never written.
    EXPECT_TRUE(AUDIO_SupportFormat(0, "LINK"));
    EXPECT_FALSE(AUDIO_SupportFormat(1, "LINK"));

    const std::string broken = folder / "links/broken.tavolink";
    std::ofstream(broken) << "[tavo.link]\nfile = nowhere.wav\n";
    EXPECT_EQ(openError(broken), uint32_t(AUDIO_ERROR_FILE_NOT_FOUND));
    const std::string loop = folder / "links/loop.tavolink";
    std::ofstream(loop) << "[tavo.link]\nfile = loop.tavolink\n";
    EXPECT_EQ(openError(loop), uint32_t(AUDIO_ERROR_CORRUPT_DATA));
    const std::string empty = folder / "links/empty.tavolink";
    std::ofstream(empty) << "[tavo.link]\noptions = x\n";
    EXPECT_EQ(openError(empty), uint32_t(AUDIO_ERROR_CORRUPT_DATA));
}

// ---- mapping ---------------------------------------------------------------------------

TEST_F(AudioFileErrors, MappedSignalSurvivesItsFileBeingSavedOver)
{
    uint32_t error = 0;
    AUDIOSIGNAL mapped = AUDIOSIGNAL_OpenEx(wav.c_str(), "AUTO", AUDIO_OPEN_MAP, nullptr, nullptr, &error);
    AUDIOSIGNAL copied = AUDIOSIGNAL_OpenEx(wav.c_str(), "AUTO", AUDIO_OPEN_NO_MAP, nullptr, nullptr, &error);
    ASSERT_NE(mapped, nullptr);
    ASSERT_NE(copied, nullptr);
    // Mapped samples are the file's: only summaries and spans are in memory.
    const uint64_t sampleBytes = 40000u * 2 * 2;
    EXPECT_LT(AUDIOSIGNAL_SizeInMemory(mapped), sampleBytes / 10);
    EXPECT_GE(AUDIOSIGNAL_SizeInMemory(copied), sampleBytes);
    // Saving in place writes a new file and renames it: the mapping keeps
    // reading the old one.
    AUDIOSIGNAL_SetSample(mapped, 0, 5, 0.25);
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(mapped, wav.c_str(), "WAV", 0, &error));
    EXPECT_EQ(channelOf(mapped, 1), channelOf(copied, 1));
    AUDIOSIGNAL reread = AUDIOSIGNAL_OpenEx(wav.c_str(), "AUTO", AUDIO_OPEN_MAP, nullptr, nullptr, &error);
    ASSERT_NE(reread, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_GetSample(reread, 0, 5), 0.25);
    EXPECT_EQ(channelOf(reread, 1), channelOf(copied, 1));
    AUDIOSIGNAL_Destroy(reread);
    AUDIOSIGNAL_Destroy(mapped);
    AUDIOSIGNAL_Destroy(copied);
}

// Large enough for the summaries to be made by two threads (32 rows of
// 65536 frames and more); the halves must join up seamlessly, and a cancel
// must stop both.
TEST(AudioFileMapping, LargeMappedFileMatchesCopiedOne)
{
    TempFolder folder;
    const std::string path = folder / "long.wav";
    const size_t frames = 40 * 65536 + 123;
    const std::vector<int> samples = randomInts(frames, 16, 21);
    ASSERT_TRUE(writeWithSndfile(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 1, &samples, nullptr));
    uint32_t error = 0;
    AUDIOSIGNAL mapped = AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", AUDIO_OPEN_MAP, nullptr, nullptr, &error);
    AUDIOSIGNAL copied = AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", AUDIO_OPEN_NO_MAP, nullptr, nullptr, &error);
    ASSERT_NE(mapped, nullptr);
    ASSERT_NE(copied, nullptr);
    EXPECT_LT(AUDIOSIGNAL_SizeInMemory(mapped), frames * 2 / 10);
    EXPECT_TRUE(channelOf(mapped, 0) == channelOf(copied, 0));
    float lo = 0, hi = 0;
    AUDIOPOINTER pointer{};
    AUDIOSIGNAL_InitAudioPointer(mapped, 0, 0, &pointer);
    ASSERT_TRUE(AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&pointer, int64_t(frames), &lo, &hi));
    EXPECT_EQ(lo, -1.0f);  // randomInts puts both extremes first
    EXPECT_EQ(hi, 32767.0f / 32768.0f);
    AUDIOSIGNAL_Destroy(mapped);
    AUDIOSIGNAL_Destroy(copied);

    Recorder recorder;
    recorder.answer = 0;
    EXPECT_EQ(AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", AUDIO_OPEN_MAP | AUDIO_OPEN_PROGRESS, recorder.parent, nullptr,
                                 &error),
              nullptr);
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_CANCELLED));
    ASSERT_FALSE(recorder.kinds.empty());
    EXPECT_EQ(recorder.kinds.back(), AUDIO_NOTIFY_READ_CANCELLED);
}

// AIFF is big endian and is copied; AIFF-C with little-endian samples
// ("sowt", as libsndfile writes AIFF with SF_ENDIAN_LITTLE) can be mapped.
TEST(AudioFileMapping, ByteOrderDecidesWhetherAiffIsMapped)
{
    TempFolder folder;
    const std::vector<int> samples = randomInts(2 * 100000, 16, 8);
    for (int endian : {SF_ENDIAN_BIG, SF_ENDIAN_LITTLE}) {
        const std::string path = folder / (endian == SF_ENDIAN_BIG ? "big.aiff" : "little.aifc");
        ASSERT_TRUE(writeWithSndfile(path, SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | endian, 44100, 2, &samples, nullptr));
        uint32_t error = 0;
        AUDIOSIGNAL signal = AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", AUDIO_OPEN_MAP, nullptr, nullptr, &error);
        ASSERT_NE(signal, nullptr) << path;
        EXPECT_EQ(AUDIOSIGNAL_GetFormat(signal).formatTag, AUDIO_FORMATTAG_AIFF);
        const bool mapped = AUDIOSIGNAL_SizeInMemory(signal) < 100000u * 2 * 2 / 10;
        EXPECT_EQ(mapped, endian == SF_ENDIAN_LITTLE) << path;
        const std::vector<float> right = channelOf(signal, 1);
        for (size_t i = 0; i < right.size(); ++i)
            ASSERT_EQ(right[i], float(samples[2 * i + 1]) / 2147483648.0f) << path << " frame " << i;
        AUDIOSIGNAL_Destroy(signal);
    }
}

// ---- saving ----------------------------------------------------------------------------

class AudioFileSaving : public testing::Test {
protected:
    TempFolder folder;
    std::string target = folder / "song.wav";
    AUDIOSIGNAL signal = makeNoise16(100000);
    std::vector<uint8_t> before;

    void SetUp() override
    {
        ASSERT_NE(signal, nullptr);
        ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, target.c_str(), "WAV", AUDIO_SAVE_COPY, nullptr));
        before = bytesOf(target);
        AUDIOSIGNAL_SetSample(signal, 0, 0, 0.5);  // differ from the file
    }
    ~AudioFileSaving() override { AUDIOSIGNAL_Destroy(signal); }

    void expectOldFileIntact()
    {
        EXPECT_TRUE(bytesOf(target) == before);
        EXPECT_FALSE(anyTemporaryIn(folder.path()));
    }
};

TEST_F(AudioFileSaving, SuccessMakesTheFileTheSignals)
{
    const std::string flac = folder / "song.flac";
    uint32_t error = ~0u;
    ASSERT_TRUE(AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_AUDIO));
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, flac.c_str(), "AUTO", 0, &error));
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(std::string(AUDIOSIGNAL_SignalLabel(signal)), flac);
    EXPECT_EQ(AUDIOSIGNAL_GetFormat(signal).formatTag, AUDIO_FORMATTAG_FLAC);
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(signal, 7));
    EXPECT_EQ(AUDIOSIGNAL_SizeInDisk(signal), int64_t(fs::file_size(flac)));
    struct stat info {};
    ASSERT_EQ(::stat(flac.c_str(), &info), 0);
    EXPECT_EQ(AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_FILE),
              uint64_t(info.st_mtim.tv_sec) * 1000 + uint64_t(info.st_mtim.tv_nsec) / 1000000);
    // "AUTO" now means the signal's own format, whatever the extension.
    const std::string other = folder / "other.wav";
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, other.c_str(), "FROM_FORMAT", AUDIO_SAVE_COPY, &error));
    SndfileContents contents;
    ASSERT_TRUE(readWithSndfile(other, contents));
    EXPECT_EQ(contents.info.format & SF_FORMAT_TYPEMASK, SF_FORMAT_FLAC);
    // A copy leaves the signal as it was.
    EXPECT_EQ(std::string(AUDIOSIGNAL_SignalLabel(signal)), flac);
    expectOldFileIntact();
}

TEST_F(AudioFileSaving, DiskFullLeavesTheOldFile)
{
    // The file size limit stands in for a full disk: writes past it fail
    // with EFBIG once SIGXFSZ is ignored.
    struct rlimit old {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    void (*previous)(int) = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = old;
    small.rlim_cur = 64 * 1024;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    uint32_t error = 0;
    const bool saved = AUDIOSIGNAL_SaveEx(signal, target.c_str(), "WAV", 0, &error);
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, previous);
    EXPECT_FALSE(saved);
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_DISK_FULL));
    expectOldFileIntact();
    EXPECT_TRUE(AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_AUDIO));
}

TEST_F(AudioFileSaving, UnwritableTargetsFail)
{
    uint32_t error = 0;
    fs::create_directory(folder / "dir.wav");
    EXPECT_FALSE(AUDIOSIGNAL_SaveEx(signal, (folder / "dir.wav").c_str(), "WAV", 0, &error));
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_CANNOT_WRITE));
    EXPECT_FALSE(AUDIOSIGNAL_SaveEx(signal, (folder / "no/such/folder.wav").c_str(), "WAV", 0, &error));
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_CANNOT_WRITE));
    EXPECT_FALSE(AUDIOSIGNAL_SaveEx(signal, target.c_str(), "LINK", 0, &error));
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_UNSUPPORTED_FORMAT));
    // No format of its own and an extension that names none.
    EXPECT_FALSE(AUDIOSIGNAL_SaveEx(signal, (folder / "x.unknown").c_str(), "AUTO", 0, &error));
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_UNSUPPORTED_FORMAT));
    expectOldFileIntact();
}

TEST_F(AudioFileSaving, BackupKeepsTheReplacedFile)
{
    uint32_t error = 0;
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, target.c_str(), "WAV", AUDIO_SAVE_KEEP_BACKUP, &error));
    EXPECT_TRUE(bytesOf(target + ".bak") == before);
    EXPECT_FALSE(bytesOf(target) == before);
    EXPECT_FALSE(anyTemporaryIn(folder.path()));
}

TEST_F(AudioFileSaving, ProgressArrivesInOrderAndCancelStops)
{
    Recorder recorder;
    AUDIOSIGNAL_SetParentObject(signal, recorder.parent, nullptr);
    uint32_t error = 0;
    const std::string other = folder / "other.wav";
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, other.c_str(), "WAV", AUDIO_SAVE_COPY, &error));
    ASSERT_GE(recorder.kinds.size(), 3u);
    EXPECT_EQ(recorder.kinds.front(), AUDIO_NOTIFY_WRITE_STARTED);
    EXPECT_EQ(recorder.kinds.back(), AUDIO_NOTIFY_WRITE_FINISHED);
    for (size_t i = 1; i + 1 < recorder.kinds.size(); ++i) EXPECT_EQ(recorder.kinds[i], AUDIO_NOTIFY_WRITE_PROGRESS);
    EXPECT_TRUE(std::is_sorted(recorder.fractions.begin(), recorder.fractions.end()));
    EXPECT_EQ(recorder.fractions.back(), 1.0);

    // Reading: with AUDIO_OPEN_PROGRESS, to the parent given to the open.
    recorder.kinds.clear();
    recorder.fractions.clear();
    AUDIOSIGNAL opened = AUDIOSIGNAL_OpenEx(other.c_str(), "AUTO", AUDIO_OPEN_PROGRESS, recorder.parent, nullptr, &error);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_GetParentObject(opened), recorder.parent);
    ASSERT_GE(recorder.kinds.size(), 3u);
    EXPECT_EQ(recorder.kinds.front(), AUDIO_NOTIFY_READ_STARTED);
    EXPECT_EQ(recorder.kinds.back(), AUDIO_NOTIFY_READ_FINISHED);
    EXPECT_EQ(recorder.fractions.back(), 1.0);
    AUDIOSIGNAL_Destroy(opened);
    recorder.kinds.clear();
    AUDIOSIGNAL_Destroy(AUDIOSIGNAL_OpenEx(other.c_str(), "AUTO", 0, recorder.parent, nullptr, &error));
    EXPECT_TRUE(recorder.kinds.empty());  // no progress unless asked for

    // A handler answering 0 cancels both.
    recorder.answer = 0;
    recorder.kinds.clear();
    EXPECT_FALSE(AUDIOSIGNAL_SaveEx(signal, target.c_str(), "WAV", 0, &error));
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_CANCELLED));
    ASSERT_FALSE(recorder.kinds.empty());
    EXPECT_EQ(recorder.kinds.back(), AUDIO_NOTIFY_WRITE_CANCELLED);
    expectOldFileIntact();
    for (uint32_t flags : {uint32_t(AUDIO_OPEN_NO_MAP), uint32_t(AUDIO_OPEN_MAP)}) {
        recorder.kinds.clear();
        EXPECT_EQ(AUDIOSIGNAL_OpenEx(other.c_str(), "AUTO", flags | AUDIO_OPEN_PROGRESS, recorder.parent, nullptr,
                                     &error),
                  nullptr);
        EXPECT_EQ(error, uint32_t(AUDIO_ERROR_CANCELLED));
        ASSERT_FALSE(recorder.kinds.empty());
        EXPECT_EQ(recorder.kinds.back(), AUDIO_NOTIFY_READ_CANCELLED);
    }
}

TEST_F(AudioFileSaving, ChangingRateOrChannelsConverts)
{
    uint32_t error = 0;
    const std::string mono = folder / "mono.wav";
    const bool saved = AUDIOSIGNAL_SaveEx(signal, mono.c_str(), "WAV[FMTCONV=[sr=22050,nc=1]]", 0, &error);
#if __has_include("audioops.h")
    ASSERT_TRUE(saved) << std::hex << error;
    SndfileContents contents;
    ASSERT_TRUE(readWithSndfile(mono, contents));
    EXPECT_EQ(contents.info.samplerate, 22050);
    EXPECT_EQ(contents.info.channels, 1);
    EXPECT_NEAR(double(contents.info.frames), 50000.0, 100.0);
#else
    EXPECT_FALSE(saved);
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_INCOMPATIBLE));
    EXPECT_FALSE(fs::exists(mono));
#endif
}

TEST_F(AudioFileSaving, UpdateMetadataChecksFileAndChanges)
{
    AUDIOSIGNAL opened = AUDIOSIGNAL_OpenEx(target.c_str(), "AUTO", 0, nullptr, nullptr, nullptr);
    ASSERT_NE(opened, nullptr);
    EXPECT_TRUE(AUDIOSIGNAL_UpdateMetadata(opened, target.c_str(), "WAV"));
    EXPECT_TRUE(AUDIOSIGNAL_UpdateMetadata(opened, target.c_str(), "AUTO"));
    EXPECT_FALSE(AUDIOSIGNAL_UpdateMetadata(opened, target.c_str(), "FLAC"));
    EXPECT_FALSE(AUDIOSIGNAL_UpdateMetadata(opened, (folder / "gone.wav").c_str(), "WAV"));
    AUDIOSIGNAL_SetSample(opened, 0, 1, 0.5);
    EXPECT_FALSE(AUDIOSIGNAL_UpdateMetadata(opened, target.c_str(), "WAV"));
    EXPECT_FALSE(AUDIOSIGNAL_UpdateMetadata(nullptr, target.c_str(), "WAV"));
    AUDIOSIGNAL_Destroy(opened);
}

// ---- pipes -------------------------------------------------------------------------------

TEST(AudioFilePipes, WaitReturnsWhenTheLastPipeCloses)
{
    AUDIOSIGNAL signal = makeNoise16(10);
    EXPECT_TRUE(AUDIOSIGNAL_WaitUntilPipeClose(signal));  // none open
    EXPECT_FALSE(AUDIOSIGNAL_ClosePipe(signal));
    EXPECT_TRUE(AUDIOSIGNAL_OpenPipe(signal));
    EXPECT_TRUE(AUDIOSIGNAL_OpenPipe(signal));
    // The table's reference keeps the signal alive past its owner's.
    AUDIOSIGNAL_Destroy(signal);
    std::atomic<bool> returned{false};
    std::thread waiter([&] {
        AUDIOSIGNAL_WaitUntilPipeClose(signal);
        returned = true;
    });
    EXPECT_TRUE(AUDIOSIGNAL_ClosePipe(signal));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(returned.load());  // one pipe is still open
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(signal), 10);
    EXPECT_TRUE(AUDIOSIGNAL_ClosePipe(signal));
    waiter.join();
    EXPECT_TRUE(returned.load());
    EXPECT_FALSE(AUDIOSIGNAL_OpenPipe(nullptr));
    EXPECT_FALSE(AUDIOSIGNAL_ClosePipe(nullptr));
    EXPECT_FALSE(AUDIOSIGNAL_WaitUntilPipeClose(nullptr));
}

} // namespace
