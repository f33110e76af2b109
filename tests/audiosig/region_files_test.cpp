// Region files and regions inside WAV files: write, read back, compare;
// broken files refused with the old regions kept; external tracks; SRT
// sidecars; and WAV cue points, labels and loops checked with libsndfile's
// own reader.
#include "ops_helpers.h"
#include "region_p.h"

#include <audiofile.h>
#include <audiometadata.h>
#include <audioregion.h>

#include <gtest/gtest.h>

#include <sndfile.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace opstest;

namespace {

constexpr int32_t kRate = 8000;

class TempFolder {
public:
    TempFolder()
    {
        char pattern[] = "/tmp/region-files-test-XXXXXX";
        m_path = ::mkdtemp(pattern);
    }
    ~TempFolder() { std::filesystem::remove_all(m_path); }
    std::string file(const std::string &name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

void writeText(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::string readText(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}

Signal silentSignal(int64_t frames)
{
    return makeSignal(Channels(1, std::vector<float>(size_t(frames), 0.0f)), kRate);
}

struct Expected {
    double begin;
    double end;
    std::string label;
};

std::vector<Expected> regionsOf(AUDIOSIGNAL signal, int32_t track)
{
    std::vector<AUDIOREGION> all(64);
    const int32_t n = AUDIOSIGNAL_GetRegions(signal, track, 0, all.data(), 64);
    std::vector<Expected> out;
    for (int32_t i = 0; i < n; ++i)
        out.push_back({AUDIOREGION_GetBegin(all[size_t(i)]), AUDIOREGION_GetEnd(all[size_t(i)]),
                       AUDIOREGION_GetLabel(all[size_t(i)])});
    return out;
}

void expectSame(const std::vector<Expected> &got, const std::vector<Expected> &want, double tolerance)
{
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_NEAR(got[i].begin, want[i].begin, tolerance) << i;
        EXPECT_NEAR(got[i].end, want[i].end, tolerance) << i;
        EXPECT_EQ(got[i].label, want[i].label) << i;
    }
}

void addRegions(AUDIOSIGNAL signal, int32_t track, const std::vector<Expected> &regions)
{
    for (const Expected &r : regions)
        ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal, 0, r.begin, r.end, "undef", r.label.c_str(), nullptr, track,
                                                   nullptr, 0),
                  1);
}

const std::vector<Expected> kSample = {
    {0.0, 1.25, "Intro"},
    {2.5, 2.5, "Cue"},
    {3725.042, 3727.5, "Line one\nLine two"},
};

} // namespace

TEST(AudioRegionFiles, TextFormatsRoundTrip)
{
    TempFolder folder;
    for (const char *format : {"SRT", "WEBVTT", "LABELS"}) {
        SCOPED_TRACE(format);
        Signal signal = silentSignal(kRate);
        addRegions(signal.get(), 0, kSample);
        const std::string path = folder.file(std::string("take.") + format);
        uint32_t error = 0;
        ASSERT_TRUE(AUDIOSIGNAL_SaveRegionsEx(signal.get(), path.c_str(), format, 0, 0, &error)) << error;
        Signal other = silentSignal(kRate);
        ASSERT_TRUE(AUDIOSIGNAL_ReadRegionsEx(other.get(), path.c_str(), format, 0));
        std::vector<Expected> want = kSample;
        // The tab-separated text keeps one line a label.
        if (std::string(format) == "LABELS") want[2].label = "Line one Line two";
        // SRT and WebVTT keep milliseconds, the label text microseconds.
        expectSame(regionsOf(other.get(), 0), want, std::string(format) == "LABELS" ? 1e-6 : 5e-4);
    }
}

TEST(AudioRegionFiles, KnownTextsParseAsWritten)
{
    // Files as other programs write them: numbered SRT with CRLF and a BOM,
    // WebVTT with a header, a NOTE block, cue identifiers and settings, and
    // label text with a frequency line.
    std::vector<asig::PlainRegion> srt;
    ASSERT_TRUE(asig::parseSrt("\xEF\xBB\xBF" "1\r\n00:00:01,500 --> 00:00:02,000\r\nHello\r\n\r\n"
                               "2\r\n01:00:00,000 --> 01:00:00,001\r\n<i>x</i>\r\n",
                               srt));
    ASSERT_EQ(srt.size(), 2u);
    EXPECT_DOUBLE_EQ(srt[0].begin, 1.5);
    EXPECT_EQ(srt[0].label, "Hello");
    EXPECT_DOUBLE_EQ(srt[1].end, 3600.001);

    std::vector<asig::PlainRegion> vtt;
    ASSERT_TRUE(asig::parseWebVtt("WEBVTT - a title\nKind: captions\n\nNOTE a comment\nspanning lines\n\n"
                                  "intro\n00:01.000 --> 00:02.500 align:start\nHi\n\n"
                                  "01:00:00.000 --> 01:00:01.000\nBye\n",
                                  vtt));
    ASSERT_EQ(vtt.size(), 2u);
    EXPECT_DOUBLE_EQ(vtt[0].begin, 1.0);
    EXPECT_DOUBLE_EQ(vtt[0].end, 2.5);
    EXPECT_EQ(vtt[1].label, "Bye");

    std::vector<asig::PlainRegion> labels;
    ASSERT_TRUE(asig::parseLabels("0.5\t1.5\tone\n\\\t100.0\t2000.0\n2\t2\n", labels));
    ASSERT_EQ(labels.size(), 2u);
    EXPECT_EQ(labels[0].label, "one");
    EXPECT_EQ(labels[1].label, "");
}

TEST(AudioRegionFiles, BrokenFilesAreRefusedAndKeepTheRegions)
{
    TempFolder folder;
    const std::vector<std::pair<const char *, std::string>> broken = {
        {"SRT", "1\n00:00:01,000 -> 00:00:02,000\nno arrow\n"},
        {"SRT", "1\n00:00:02,000 --> 00:00:01,000\nends first\n"},
        {"SRT", "1\n00:61:00,000 --> 00:62:00,000\nminutes\n"},
        {"SRT", "one\n00:00:01,000 --> 00:00:02,000\nnot a number\n"},
        {"SRT", std::string("1\n00:00:01,000 --> 00:00:02,000\nnul\0byte\n", 41)},
        {"WEBVTT", "WEBVT\n\n00:01.000 --> 00:02.000\nx\n"},
        {"WEBVTT", "WEBVTT\n\n00:01,000 --> 00:02,000\ncomma\n"},
        {"WEBVTT", "WEBVTT\n\nidentifier only\n"},
        {"LABELS", "1.0\t2.0\tok\nabc\t2.0\tbad\n"},
        {"LABELS", "1,5\t2,0\tcomma\n"},
        {"LABELS", "-1\t2\tnegative\n"},
        {"LABELS", "nan\tinf\tx\n"},
        {"LABELS", "3\t2\tbackwards\n"},
    };
    Signal signal = silentSignal(kRate);
    addRegions(signal.get(), 0, {{0.1, 0.2, "kept"}});
    int i = 0;
    for (const auto &[format, text] : broken) {
        SCOPED_TRACE(text);
        const std::string path = folder.file("broken" + std::to_string(i++));
        writeText(path, text);
        EXPECT_FALSE(AUDIOSIGNAL_ReadRegionsEx(signal.get(), path.c_str(), format, AUDIOSIGNAL_REGIONS_REPLACE));
        EXPECT_FALSE(AUDIOSIGNAL_ReadRegionsEx(signal.get(), path.c_str(),
                                               (std::string(format) + "[track=new,linked=1]").c_str(), 0));
        expectSame(regionsOf(signal.get(), 0), {{0.1, 0.2, "kept"}}, 0.0);
        EXPECT_EQ(AUDIOSIGNAL_NumRegionTracks(signal.get()), 1);
    }
    EXPECT_FALSE(AUDIOSIGNAL_ReadRegionsEx(signal.get(), folder.file("missing.srt").c_str(), "AUTO", 0));
    EXPECT_FALSE(AUDIOSIGNAL_ReadRegionsEx(signal.get(), folder.file("x.srt").c_str(), "MP3", 0));
    EXPECT_FALSE(AUDIOSIGNAL_ReadRegionsEx(nullptr, folder.file("x.srt").c_str(), "SRT", 0));
}

TEST(AudioRegionFiles, ExternalTracksRememberTheirFile)
{
    TempFolder folder;
    const std::string path = folder.file("words.vtt");
    writeText(path, "WEBVTT\n\n00:00.500 --> 00:01.000\nfirst\n");
    Signal signal = silentSignal(kRate);
    ASSERT_TRUE(AUDIOSIGNAL_ReadRegionsEx(signal.get(), path.c_str(), "AUTO", AUDIOSIGNAL_REGIONS_EXTERNAL));
    const int32_t index = AUDIOSIGNAL_FindRegionTrackIndex(signal.get(), "words");
    ASSERT_EQ(index, 1);
    AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal.get(), index);
    EXPECT_TRUE(AUDIOREGIONTRACK_IsExternal(track));
    EXPECT_EQ(std::string(AUDIOREGIONTRACK_GetExternalFile(track)), path);
    EXPECT_FALSE(AUDIOREGIONTRACK_HasExternalChanges(track));
    AUDIOREGION first = AUDIOSIGNAL_FindFirstRegion(signal.get(), index, 0);
    EXPECT_TRUE(AUDIOSIGNAL_IsRegionExternal(signal.get(), first));
    EXPECT_FALSE(AUDIOSIGNAL_IsRegionExternal(signal.get(), nullptr));

    ASSERT_TRUE(AUDIOSIGNAL_ChangeRegionLabel(signal.get(), first, "edited"));
    EXPECT_TRUE(AUDIOREGIONTRACK_HasExternalChanges(track));
    uint32_t error = 0;
    ASSERT_TRUE(AUDIOSIGNAL_SaveExternalRegions(signal.get(), &error));
    EXPECT_FALSE(AUDIOREGIONTRACK_HasExternalChanges(track));
    EXPECT_NE(readText(path).find("edited"), std::string::npos);
    EXPECT_EQ(readText(path).rfind("WEBVTT", 0), 0u);
}

TEST(AudioRegionFiles, FailedWriteLeavesTheOldFile)
{
    TempFolder folder;
    Signal signal = silentSignal(kRate);
    addRegions(signal.get(), 0, {{0.1, 0.2, "r"}});
    uint32_t error = 0;
    EXPECT_FALSE(AUDIOSIGNAL_SaveRegionsEx(signal.get(), folder.file("no/such/folder.srt").c_str(), "SRT", 0, 0,
                                           &error));
    EXPECT_NE(error, 0u);
    EXPECT_FALSE(AUDIOSIGNAL_SaveRegionsEx(signal.get(), folder.file("x.srt").c_str(), "SRT", 5, 0, &error));
    EXPECT_FALSE(AUDIOSIGNAL_SaveRegionsEx(signal.get(), folder.file("x.unknown").c_str(), "AUTO", 0, 0, &error));
    // A target that is a folder cannot be replaced: the folder stays.
    const std::string target = folder.file("taken.srt");
    std::filesystem::create_directory(target);
    EXPECT_FALSE(AUDIOSIGNAL_SaveRegionsEx(signal.get(), target.c_str(), "SRT", 0, 0, &error));
    EXPECT_TRUE(std::filesystem::is_directory(target));
    for (const auto &entry : std::filesystem::directory_iterator(folder.file("")))
        EXPECT_EQ(entry.path().filename().string().find(".tmp-"), std::string::npos);
}

TEST(AudioRegionFiles, SrtSidecarsOfAnnotationTracks)
{
    TempFolder folder;
    Signal signal = silentSignal(kRate);
    AUDIOCUSTOMTRACK words = AUDIOSIGNAL_AddCustomTrack(signal.get(), "words", "Words", nullptr);
    AUDIOCUSTOMTRACK gone = AUDIOSIGNAL_AddCustomTrack(signal.get(), "gone", "Gone", nullptr);
    AUDIOCUSTOMTRACK plain = AUDIOSIGNAL_AddCustomTrack(signal.get(), "plain", "Plain", nullptr);
    AUDIOCUSTOMTRACK_SetFileType(words, AUDIOCUSTOMTRACK_FILE_SRT);
    AUDIOCUSTOMTRACK_SetFileType(gone, AUDIOCUSTOMTRACK_FILE_SRT);
    addRegions(signal.get(), 1, {{0.25, 0.5, "hello"}});
    const std::string audio = folder.file("song.wav");
    ASSERT_TRUE(AUDIOSIGNAL_SaveSrtSidecars(signal.get(), audio.c_str()));
    EXPECT_TRUE(std::filesystem::exists(folder.file("song.words.srt")));
    EXPECT_TRUE(std::filesystem::exists(folder.file("song.gone.srt")));
    // A track without a file type is kept as SRT and keeps having none.
    EXPECT_TRUE(std::filesystem::exists(folder.file("song.plain.srt")));
    EXPECT_EQ(AUDIOCUSTOMTRACK_GetFileType(plain), AUDIOCUSTOMTRACK_FILE_NONE);
    EXPECT_TRUE(AUDIOREGIONTRACK_IsExternal(AUDIOCUSTOMTRACK_RegionTrack(words)));

    // Saving again keeps the previous sidecar as a backup and retires the
    // sidecar of a deleted track and the one of a format a track left.
    AUDIOSIGNAL_RemoveCustomTrack(signal.get(), "gone", 0);
    AUDIOCUSTOMTRACK_SetFileType(plain, AUDIOCUSTOMTRACK_FILE_LABELS);
    ASSERT_TRUE(AUDIOSIGNAL_SaveSrtSidecars(signal.get(), audio.c_str()));
    EXPECT_TRUE(std::filesystem::exists(folder.file("song.words.srt.bkp")));
    EXPECT_FALSE(std::filesystem::exists(folder.file("song.gone.srt")));
    EXPECT_TRUE(std::filesystem::exists(folder.file("song.gone.srt.bkp")));
    EXPECT_FALSE(std::filesystem::exists(folder.file("song.plain.srt")));
    EXPECT_TRUE(std::filesystem::exists(folder.file("song.plain.labels.txt")));

    Signal other = silentSignal(kRate);
    ASSERT_TRUE(AUDIOSIGNAL_ReadRegionsEx(other.get(), folder.file("song.words.srt").c_str(),
                                          "SRT[track=words,linked=1]", 0));
    expectSame(regionsOf(other.get(), AUDIOSIGNAL_FindRegionTrackIndex(other.get(), "words")),
               {{0.25, 0.5, "hello"}}, 5e-4);
}

TEST(AudioRegionFiles, WavCuesLabelsAndLoopsRoundTrip)
{
    TempFolder folder;
    const std::string path = folder.file("cues.wav");
    Signal signal = silentSignal(4 * kRate);
    AUDIOREGION made[1] = {};
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 0.5, 0.5, "undef", "Marker A", "a note", 0, made, 1),
              1);
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 1.0, 1.5, "undef", "Verse", nullptr, 0, made, 1), 1);
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 2.0, 3.0, "loop", "Loop", nullptr, 0, made, 1), 1);
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), AUDIOSIGNAL_CREATE_TEMPORARY, 3.5, 3.5, "undef", "temp",
                                               nullptr, 0, made, 1),
              1);
    // Annotation tracks stay out of the audio file.
    AUDIOSIGNAL_AddCustomTrack(signal.get(), "words", "Words", nullptr);
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 0.1, 0.2, "undef", "word", nullptr, 1, made, 1), 1);
    uint32_t error = 0;
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal.get(), path.c_str(), "WAV", 0, &error)) << error;
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(signal.get(), AUDIOSIGNAL_CHANGE_REGIONS));

    // libsndfile's reader sees the cue points and the loop.
    SF_INFO info{};
    SNDFILE *file = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(info.frames, 4 * kRate);
    uint32_t count = 0;
    ASSERT_EQ(sf_command(file, SFC_GET_CUE_COUNT, &count, sizeof(count)), SF_TRUE);
    ASSERT_EQ(count, 3u);
    SF_CUES cues{};
    ASSERT_EQ(sf_command(file, SFC_GET_CUE, &cues, sizeof(cues)), SF_TRUE);
    EXPECT_EQ(cues.cue_points[0].sample_offset, 4000u);
    EXPECT_EQ(cues.cue_points[1].sample_offset, 8000u);
    EXPECT_EQ(cues.cue_points[2].sample_offset, 16000u);
    SF_INSTRUMENT instrument{};
    ASSERT_EQ(sf_command(file, SFC_GET_INSTRUMENT, &instrument, sizeof(instrument)), SF_TRUE);
    ASSERT_EQ(instrument.loop_count, 1);
    EXPECT_EQ(instrument.loops[0].start, 16000u);
    // libsndfile reports the loop end one past the last sample, as here.
    EXPECT_EQ(instrument.loops[0].end, 24000u);
    sf_close(file);

    uint32_t openError = 0;
    Signal back(AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", 0, nullptr, nullptr, &openError));
    ASSERT_NE(back, nullptr) << openError;
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(back.get(), AUDIOSIGNAL_CHANGE_REGIONS));
    expectSame(regionsOf(back.get(), 0), {{0.5, 0.5, "Marker A"}, {1.0, 1.5, "Verse"}, {2.0, 3.0, "Loop"}}, 0.0);
    AUDIOREGION loop = AUDIOSIGNAL_FindLastRegion(back.get(), 0, 0);
    EXPECT_TRUE(AUDIOREGION_IsLoop(loop));
    EXPECT_STREQ(AUDIOREGION_GetComment(AUDIOSIGNAL_FindFirstRegion(back.get(), 0, 0)), "a note");
    EXPECT_TRUE(AUDIOREGION_IsMarker(AUDIOSIGNAL_FindFirstRegion(back.get(), 0, 0)));
    EXPECT_EQ(AUDIOSIGNAL_NumRegionTracks(back.get()), 1);
}

TEST(AudioRegionFiles, DamagedRegionChunksStillOpenTheAudio)
{
    TempFolder folder;
    const std::string path = folder.file("damaged.wav");
    Signal signal = silentSignal(kRate);
    addRegions(signal.get(), 0, {{0.25, 0.5, "r"}});
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal.get(), path.c_str(), "WAV", 0, nullptr));
    // Claim more cue points than the chunk holds.
    std::string bytes = readText(path);
    const size_t cue = bytes.find("cue ");
    ASSERT_NE(cue, std::string::npos);
    bytes[cue + 8] = char(0x7f);
    writeText(path, bytes);
    std::vector<asig::PlainRegion> parsed = {asig::PlainRegion{}};
    EXPECT_FALSE(asig::parseWavRegions(bytes, kRate, parsed));
    EXPECT_EQ(parsed.size(), 1u);
    Signal back(AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", 0, nullptr, nullptr, nullptr));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(back.get()), kRate);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(back.get(), -1, AUDIOREGION_SEARCH_DELETED), 0);
}

TEST(AudioRegionFiles, FlacAndOggKeepRegionsAsComments)
{
    TempFolder folder;
    for (const char *format : {"FLAC", "OGG"}) {
        const std::string path = folder.file(std::string("regions.") + (format[0] == 'F' ? "flac" : "ogg"));
        Signal signal = silentSignal(4 * kRate);
        AUDIOREGION made[1] = {};
        ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 0.5, 0.5, "undef", "Marker A",
                                                   "tab\there, line\nthere, back\\slash", 0, made, 1),
                  1);
        ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 1.0, 1.5, "undef", "Verse", nullptr, 0, made, 1),
                  1);
        ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal.get(), 0, 2.0, 3.0, "loop", "Loop", nullptr, 0, made, 1), 1);
        uint32_t error = 0;
        ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal.get(), path.c_str(), format, 0, &error)) << format << " " << error;

        // Without the tags asked for, the regions come back all the same.
        Signal back(AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", 0, nullptr, nullptr, &error));
        ASSERT_NE(back, nullptr) << format << " " << error;
        EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(back.get(), AUDIOSIGNAL_CHANGE_REGIONS));
        expectSame(regionsOf(back.get(), 0), {{0.5, 0.5, "Marker A"}, {1.0, 1.5, "Verse"}, {2.0, 3.0, "Loop"}}, 0.0);
        EXPECT_TRUE(AUDIOREGION_IsMarker(AUDIOSIGNAL_FindFirstRegion(back.get(), 0, 0)));
        EXPECT_STREQ(AUDIOREGION_GetComment(AUDIOSIGNAL_FindFirstRegion(back.get(), 0, 0)),
                     "tab\there, line\nthere, back\\slash");
        EXPECT_TRUE(AUDIOREGION_IsLoop(AUDIOSIGNAL_FindLastRegion(back.get(), 0, 0)));
        // And they are no tags of the file.
        Signal tagged(AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", AUDIO_OPEN_READ_TAGS, nullptr, nullptr, &error));
        ASSERT_NE(tagged, nullptr);
        EXPECT_EQ(AUDIOSIGNAL_Metadata(tagged.get()), nullptr) << format;
    }
}

TEST(AudioRegionFiles, RegionCommentsRefuseMalformedTexts)
{
    asig::PlainRegion region;
    region.kind = AUDIOREGION_KIND_LOOP;
    region.begin = 0.1;
    region.end = 1.0 / 3.0;
    region.label = "a\\b";
    asig::PlainRegion back;
    ASSERT_TRUE(asig::decodeCommentRegion(asig::encodeCommentRegion(region), back));
    EXPECT_EQ(back.begin, region.begin);  // shortest text that reads back exactly
    EXPECT_EQ(back.end, region.end);
    EXPECT_EQ(back.label, "a\\b");
    for (const char *bad : {"", "1\t2\tregion\tx", "1\t2\tregion\tx\ty\tz", "2\t1\tregion\t\t", "1\t2\tsong\t\t",
                            "-1\t2\tregion\t\t", "1\tnan\tregion\t\t", "1\t2\tregion\tbad\\q\t"})
        EXPECT_FALSE(asig::decodeCommentRegion(bad, back)) << bad;
}
