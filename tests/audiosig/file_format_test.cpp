// The format table and the format texts of the file layer: what the engine
// reads back from them after an open (description, capability bits, the
// extra format text it stores) and what it asks before a save.
#include <audiofile.h>

#include <gtest/gtest.h>

#include <sndfile.h>

#include <cstring>
#include <set>
#include <string>

namespace {

AUDIO_FORMAT formatOf(int16_t tag, int16_t bits, int16_t kind = AUDIO_SAMPLE_PCM)
{
    AUDIO_FORMAT f = AUDIO_NullFormat();
    f.formatTag = tag;
    f.bitsPerSample = bits;
    f.sampleKind = kind;
    f.numChannels = 2;
    f.sampleRate = 48000;
    return f;
}

TEST(AudioFileFormats, LookupsAgreeAndAreConsistent)
{
    const int32_t count = AUDIO_CountFormats();
    ASSERT_GT(count, 0);
    std::set<int16_t> tags;
    for (int32_t i = 0; i < count; ++i) {
        AUDIO_FORMAT_DESCR at{};
        ASSERT_TRUE(AUDIO_GetFormatDescrAt(i, &at));
        EXPECT_TRUE(tags.insert(at.formatTag).second) << at.name;  // one entry per tag
        // By tag, by name and by index all find the same entry.
        AUDIO_FORMAT format = formatOf(at.formatTag, 16);
        AUDIO_FORMAT_DESCR byTag{};
        int32_t index = -5;
        ASSERT_TRUE(AUDIO_GetFormatDescrEx(&format, &index, AUDIO_DESCR_BY_TAG, &byTag));
        EXPECT_EQ(index, i);
        EXPECT_STREQ(byTag.name, at.name);
        AUDIO_FORMAT_DESCR byName{};
        ASSERT_TRUE(AUDIO_FindFormatDescr(at.name, &byName));
        EXPECT_EQ(byName.formatTag, at.formatTag);
        AUDIO_FORMAT_DESCR byIndex{};
        index = i;
        ASSERT_TRUE(AUDIO_GetFormatDescrEx(nullptr, &index, AUDIO_DESCR_BY_INDEX, &byIndex));
        EXPECT_EQ(byIndex.formatTag, at.formatTag);
        // What the table says this build can do, AUDIO_SupportFormat says too.
        EXPECT_EQ(AUDIO_SupportFormat(0, at.name), (at.capabilities & AUDIO_CAP_READ) != 0) << at.name;
        EXPECT_EQ(AUDIO_SupportFormat(1, at.name), (at.capabilities & AUDIO_CAP_WRITE) != 0) << at.name;
    }
    AUDIO_FORMAT_DESCR descr{};
    EXPECT_FALSE(AUDIO_GetFormatDescrAt(count, &descr));
    AUDIO_FORMAT none = formatOf(AUDIO_FORMATTAG_NONE, 16);
    int32_t index = 3;
    EXPECT_FALSE(AUDIO_GetFormatDescrEx(&none, &index, AUDIO_DESCR_BY_TAG, &descr));
    EXPECT_EQ(index, -1);
    EXPECT_FALSE(AUDIO_GetFormatDescrEx(nullptr, &index, AUDIO_DESCR_BY_TAG, &descr));
    EXPECT_FALSE(AUDIO_FindFormatDescr(nullptr, &descr));
}

// The core formats are always there; MP3 writing follows the libsndfile
// the process runs with.
TEST(AudioFileFormats, CapabilitiesFollowTheLibrary)
{
    for (const char *name : {"WAV", "RF64", "AIFF", "FLAC", "OGG", "RAW"}) {
        AUDIO_FORMAT_DESCR descr{};
        ASSERT_TRUE(AUDIO_FindFormatDescr(name, &descr));
        EXPECT_EQ(descr.capabilities & (AUDIO_CAP_READ | AUDIO_CAP_WRITE), uint32_t(AUDIO_CAP_READ | AUDIO_CAP_WRITE))
            << name;
    }
    SF_INFO mp3{};
    mp3.samplerate = 44100;
    mp3.channels = 2;
    mp3.format = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
    AUDIO_FORMAT_DESCR descr{};
    ASSERT_TRUE(AUDIO_FindFormatDescr("MP3", &descr));
    EXPECT_EQ((descr.capabilities & AUDIO_CAP_WRITE) != 0, sf_format_check(&mp3) != 0);
    EXPECT_NE(descr.capabilities & AUDIO_CAP_LOSSY, 0u);
    ASSERT_TRUE(AUDIO_FindFormatDescr("RF64", &descr));
    EXPECT_NE(descr.capabilities & AUDIO_CAP_LARGE, 0u);
}

TEST(AudioFileFormats, SupportFormatWeighsTheParameters)
{
    EXPECT_TRUE(AUDIO_SupportFormat(1, "WAV[bits=24]"));
    EXPECT_TRUE(AUDIO_SupportFormat(1, "WAV[bits=64,type=float]"));
    EXPECT_TRUE(AUDIO_SupportFormat(1, "FLAC[bits=24,compression=5]"));
    EXPECT_FALSE(AUDIO_SupportFormat(1, "FLAC[bits=32]"));
    EXPECT_FALSE(AUDIO_SupportFormat(1, "FLAC[type=float]"));
    EXPECT_TRUE(AUDIO_SupportFormat(0, "FLAC[bits=32]"));  // reading ignores the width
    EXPECT_TRUE(AUDIO_SupportFormat(1, "AUTO"));
    EXPECT_TRUE(AUDIO_SupportFormat(0, "AUTO[sr=8000,nc=1]"));
    EXPECT_FALSE(AUDIO_SupportFormat(1, "STREAM"));
    EXPECT_FALSE(AUDIO_SupportFormat(0, "NOSUCH"));
    EXPECT_FALSE(AUDIO_SupportFormat(1, "WAV[bits=12]"));
    EXPECT_FALSE(AUDIO_SupportFormat(1, "OGG[quality=2]"));
    EXPECT_FALSE(AUDIO_SupportFormat(2, "WAV"));
    EXPECT_FALSE(AUDIO_SupportFormat(0, nullptr));
}

// The extra format is what the engine appends to the format's name after
// an open, so that saving in place keeps the sample encoding.
TEST(AudioFileFormats, ExtraFormatKeepsTheEncoding)
{
    const struct {
        AUDIO_FORMAT format;
        const char *extra;  // null: none
    } cases[] = {
        {formatOf(AUDIO_FORMATTAG_WAV, 16), nullptr},
        {formatOf(AUDIO_FORMATTAG_WAV, 24), "bits=24"},
        {formatOf(AUDIO_FORMATTAG_WAV, 8), "bits=8"},
        {formatOf(AUDIO_FORMATTAG_WAV, 32, AUDIO_SAMPLE_FLOAT), "bits=32,type=float"},
        {formatOf(AUDIO_FORMATTAG_AIFF, 64, AUDIO_SAMPLE_FLOAT), "bits=64,type=float"},
        {formatOf(AUDIO_FORMATTAG_FLAC, 24), "bits=24"},
        {formatOf(AUDIO_FORMATTAG_MP3, 32, AUDIO_SAMPLE_FLOAT), nullptr},
        {formatOf(AUDIO_FORMATTAG_OGG, 32, AUDIO_SAMPLE_FLOAT), nullptr},
        {formatOf(AUDIO_FORMATTAG_RAW, 16), "sr=48000,nc=2,bits=16"},
        {formatOf(AUDIO_FORMATTAG_LINK, 16), nullptr},
    };
    for (const auto &c : cases) {
        char buffer[64];
        const bool has = AUDIO_GetExtraFormat(&c.format, buffer, sizeof(buffer));
        EXPECT_EQ(AUDIO_HasExtraFormat(&c.format), c.extra != nullptr);
        if (c.extra == nullptr) {
            EXPECT_FALSE(has) << buffer;
            EXPECT_STREQ(buffer, "");
        } else {
            EXPECT_TRUE(has) << c.extra;
            EXPECT_STREQ(buffer, c.extra);
            // The text is one AUDIO_GetFormatFromString reads back.
            AUDIO_FORMAT parsed = AUDIO_NullFormat();
            ASSERT_TRUE(AUDIO_GetFormatFromString(buffer, &parsed));
            EXPECT_EQ(parsed.bitsPerSample, c.format.bitsPerSample);
            EXPECT_EQ(parsed.sampleKind, c.format.sampleKind);
        }
    }
    AUDIO_FORMAT wide = formatOf(AUDIO_FORMATTAG_WAV, 32, AUDIO_SAMPLE_FLOAT);
    char tiny[8];
    EXPECT_FALSE(AUDIO_GetExtraFormat(&wide, tiny, sizeof(tiny)));  // does not fit
    EXPECT_FALSE(AUDIO_HasExtraFormat(nullptr));
}

} // namespace
