// Tags in files: written on save, read on open, rewritten in place by
// AUDIOSIGNAL_UpdateMetadata. What this library writes is checked with
// TagLib's own readers and, for Vorbis comments, with soxi; the audio with
// libsndfile directly.
#include <audiofile.h>
#include <audiometadata.h>

#include "noise_signal.h"

#include <gtest/gtest.h>

#include <sndfile.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

class TempFolder {
public:
    TempFolder()
    {
        char pattern[] = "/tmp/metadata-test-XXXXXX";
        m_path = ::mkdtemp(pattern);
    }
    ~TempFolder() { fs::remove_all(m_path); }
    std::string operator/(const std::string &name) const { return m_path + "/" + name; }
    size_t entries() const { return size_t(std::distance(fs::directory_iterator(m_path), fs::directory_iterator())); }

private:
    std::string m_path;
};

std::vector<char> bytesOf(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<char>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Every sample of a file as libsndfile decodes it.
std::vector<float> decoded(const std::string &path)
{
    SF_INFO info{};
    SNDFILE *file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) return {};
    std::vector<float> samples(size_t(info.frames) * size_t(info.channels));
    samples.resize(size_t(sf_readf_float(file, samples.data(), info.frames)) * size_t(info.channels));
    sf_close(file);
    return samples;
}

std::string text(AUDIOMETADATA metadata, const char *field)
{
    char buffer[256];
    return AUDIOMETADATA_CopyMetaData(metadata, field, buffer, sizeof(buffer)) < 0 ? "<absent>" : buffer;
}

std::string utf8(const TagLib::String &s)
{
    return s.to8Bit(true);
}

// A JPEG signature and then noise: TagLib stores pictures without decoding them.
std::string fakeJpeg(size_t size, unsigned start)
{
    std::string image("\xff\xd8\xff\xe0", 4);
    std::mt19937 rng(start);
    while (image.size() < size) image.push_back(char(rng() & 0xff));
    return image;
}

// soxi's Vorbis comment listing; empty when sox is missing or does not
// read the file.
std::string soxiComments(const std::string &path)
{
    const std::string command = "soxi -a '" + path + "' 2>/dev/null";
    FILE *pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return {};
    std::string out;
    char buffer[512];
    while (std::fgets(buffer, sizeof(buffer), pipe) != nullptr) out += buffer;
    ::pclose(pipe);
    return out;
}

// The picture TagLib finds in the file, read with the class of its format.
std::string pictureOf(const std::string &path, const std::string &format)
{
    const auto id3 = [](TagLib::ID3v2::Tag *tag) -> std::string {
        if (tag == nullptr) return {};
        const auto frames = tag->frameList("APIC");
        if (frames.isEmpty()) return {};
        const auto *apic = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame *>(frames.front());
        return apic != nullptr ? std::string(apic->picture().data(), apic->picture().size()) : std::string();
    };
    const auto xiph = [](const TagLib::List<TagLib::FLAC::Picture *> &pictures) -> std::string {
        if (pictures.isEmpty()) return {};
        return std::string(pictures.front()->data().data(), pictures.front()->data().size());
    };
    if (format == "WAV") return id3(TagLib::RIFF::WAV::File(path.c_str()).ID3v2Tag());
    if (format == "MP3") return id3(TagLib::MPEG::File(path.c_str()).ID3v2Tag());
    if (format == "FLAC") return xiph(TagLib::FLAC::File(path.c_str()).pictureList());
    // AIFF, Ogg and Opus: FileRef's tag is the ID3v2 tag or the Xiph comment.
    TagLib::FileRef ref(path.c_str());
    if (auto *tag = dynamic_cast<TagLib::ID3v2::Tag *>(ref.tag())) return id3(tag);
    if (auto *comment = dynamic_cast<TagLib::Ogg::XiphComment *>(ref.tag())) return xiph(comment->pictureList());
    return {};
}

struct TaggedFormat {
    const char *name;
    const char *ext;
    bool id3;  // numbers and totals share one frame
};

class AudioMetadataFiles : public ::testing::TestWithParam<TaggedFormat> {
protected:
    TempFolder folder;
    std::string path = folder / (std::string("tagged.") + GetParam().ext);
    // 48 kHz: the one rate every encoder here takes (Opus has no 44.1 kHz).
    AUDIOSIGNAL signal = makeNoise16(48000, 48000);
    std::string cover = fakeJpeg(3000, 11);

    ~AudioMetadataFiles() override { AUDIOSIGNAL_Destroy(signal); }

    bool writable()
    {
        AUDIO_FORMAT_DESCR descr{};
        return AUDIO_FindFormatDescr(GetParam().name, &descr) && (descr.capabilities & AUDIO_CAP_WRITE) != 0;
    }

    void tagSignal()
    {
        AUDIOMETADATA m = AUDIOSIGNAL_CreateMetadata(signal);
        AUDIOMETADATA_SetTitle(m, "Caf\xc3\xa9 \xc3\x91");
        AUDIOMETADATA_SetArtist(m, "The Band");
        AUDIOMETADATA_SetAlbumName(m, "First");
        AUDIOMETADATA_SetAlbumArtist(m, "Various");
        AUDIOMETADATA_SetComposer(m, "Someone");
        AUDIOMETADATA_SetGenre(m, "Jazz");
        AUDIOMETADATA_SetComments(m, "take two");
        AUDIOMETADATA_SetYearStr(m, "2020");
        AUDIOMETADATA_SetTrackNumStr(m, "3");
        AUDIOMETADATA_SetTotalAlbumTracksStr(m, "12");
        AUDIOMETADATA_SetDiscNumStr(m, "1");
        AUDIOMETADATA_SetTotalAlbumDiscsStr(m, "2");
        AUDIOMETADATA_SetBeatsPerMinute(m, 128);
        AUDIOMETADATA_SetMetaData(m, "MOOD", "calm");
        AUDIOMETADATA_SetArtwork(m, cover.data(), int64_t(cover.size()), nullptr);
    }
};

TEST_P(AudioMetadataFiles, SavedTagsAreWhatOtherReadersSeeAndReadBack)
{
    if (!writable()) return;  // this libsndfile does not encode the format
    tagSignal();
    uint32_t error = 0;
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, path.c_str(), GetParam().name, 0, &error)) << error;

    {
        TagLib::FileRef ref(path.c_str());
        ASSERT_FALSE(ref.isNull());
        EXPECT_EQ(utf8(ref.tag()->title()), "Caf\xc3\xa9 \xc3\x91");
        EXPECT_EQ(utf8(ref.tag()->artist()), "The Band");
        EXPECT_EQ(utf8(ref.tag()->album()), "First");
        EXPECT_EQ(ref.tag()->year(), 2020u);
        EXPECT_EQ(ref.tag()->track(), 3u);
        const TagLib::PropertyMap properties = ref.file()->properties();
        EXPECT_EQ(utf8(properties["MOOD"].toString()), "calm");
        EXPECT_EQ(utf8(properties["ALBUMARTIST"].toString()), "Various");
        if (GetParam().id3) {
            EXPECT_EQ(utf8(properties["TRACKNUMBER"].toString()), "3/12");
            EXPECT_EQ(utf8(properties["DISCNUMBER"].toString()), "1/2");
        } else {
            EXPECT_EQ(utf8(properties["TRACKTOTAL"].toString()), "12");
            EXPECT_EQ(utf8(properties["DISCTOTAL"].toString()), "2");
        }
    }
    EXPECT_EQ(pictureOf(path, GetParam().name), cover);
    const std::string format = GetParam().name;
    if (format == "WAV") {
        // RIFF INFO carries the text too, for programs that read only it.
        TagLib::RIFF::WAV::File wav(path.c_str());
        EXPECT_EQ(utf8(wav.InfoTag()->artist()), "The Band");
    }
    if (format == "FLAC" || format == "OGG") {
        const std::string listing = soxiComments(path);
        if (!listing.empty()) {
            EXPECT_NE(listing.find("TITLE=Caf\xc3\xa9 \xc3\x91"), std::string::npos) << listing;
            EXPECT_NE(listing.find("TRACKNUMBER=3"), std::string::npos) << listing;
        }
    }

    AUDIOSIGNAL opened = AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", AUDIO_OPEN_READ_TAGS, nullptr, nullptr, &error);
    ASSERT_NE(opened, nullptr);
    AUDIOMETADATA original = AUDIOSIGNAL_Metadata(signal);
    AUDIOMETADATA read = AUDIOSIGNAL_Metadata(opened);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(AUDIOMETADATA_NumFields(read), AUDIOMETADATA_NumFields(original));
    int32_t count = 0;
    char **names = AUDIOMETADATA_CopyFieldNames(original, &count);
    for (int32_t i = 0; i < count; ++i)
        EXPECT_TRUE(AUDIOMETADATA_CompareField(original, read, names[i])) << names[i] << ": " << text(read, names[i]);
    std::free(names);
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(opened, 7));  // what the file holds is no change
    AUDIOSIGNAL_Destroy(opened);

    opened = AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", 0, nullptr, nullptr, &error);
    EXPECT_EQ(AUDIOSIGNAL_Metadata(opened), nullptr);  // tags only when asked for
    AUDIOSIGNAL_Destroy(opened);
}

TEST_P(AudioMetadataFiles, UpdateRewritesTagsAndKeepsTheAudio)
{
    if (!writable()) return;
    tagSignal();
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, path.c_str(), GetParam().name, 0, nullptr));
    AUDIOSIGNAL opened = AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", AUDIO_OPEN_READ_TAGS, nullptr, nullptr, nullptr);
    ASSERT_NE(opened, nullptr);
    const std::vector<float> before = decoded(path);
    ASSERT_FALSE(before.empty());

    AUDIOMETADATA m = AUDIOSIGNAL_Metadata(opened);
    ASSERT_TRUE(AUDIOMETADATA_SetTitle(m, "Renamed"));
    ASSERT_TRUE(AUDIOMETADATA_SetArtist(m, nullptr));
    ASSERT_TRUE(AUDIOMETADATA_ClearArtwork(m));
    // Longer than before, so the tag grows and the audio has to move.
    ASSERT_TRUE(AUDIOMETADATA_SetComments(m, std::string(5000, 'c').c_str()));
    ASSERT_TRUE(AUDIOSIGNAL_HasChangesEx(opened, AUDIOSIGNAL_CHANGE_METADATA));
    ASSERT_TRUE(AUDIOSIGNAL_UpdateMetadata(opened, path.c_str(), "AUTO"));

    EXPECT_EQ(decoded(path), before);
    TagLib::FileRef ref(path.c_str());
    EXPECT_EQ(utf8(ref.tag()->title()), "Renamed");
    EXPECT_TRUE(ref.tag()->artist().isEmpty());
    EXPECT_EQ(ref.tag()->comment().size(), 5000u);
    EXPECT_EQ(pictureOf(path, GetParam().name), "");
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(opened, 7));
    EXPECT_EQ(AUDIOSIGNAL_SizeInDisk(opened), int64_t(fs::file_size(path)));

    // Without metadata the file keeps no tags at all.
    ASSERT_TRUE(AUDIOSIGNAL_RemoveMetadata(opened));
    ASSERT_TRUE(AUDIOSIGNAL_UpdateMetadata(opened, path.c_str(), GetParam().name));
    EXPECT_EQ(decoded(path), before);
    TagLib::FileRef stripped(path.c_str());
    EXPECT_TRUE(stripped.file()->properties().isEmpty()) << utf8(stripped.file()->properties().toString());
    AUDIOSIGNAL_Destroy(opened);
}

INSTANTIATE_TEST_SUITE_P(Formats, AudioMetadataFiles,
                         ::testing::Values(TaggedFormat{"WAV", "wav", true}, TaggedFormat{"AIFF", "aiff", true},
                                           TaggedFormat{"FLAC", "flac", false}, TaggedFormat{"OGG", "ogg", false},
                                           TaggedFormat{"OPUS", "opus", false}, TaggedFormat{"MP3", "mp3", true}),
                         [](const auto &info) { return std::string(info.param.name); });

// ---- failures and other files -----------------------------------------------------------

class AudioMetadataUpdate : public ::testing::Test {
protected:
    TempFolder folder;
    std::string path = folder / "song.wav";
    AUDIOSIGNAL signal = nullptr;

    void SetUp() override
    {
        AUDIOSIGNAL source = makeNoise16(48000, 48000);
        AUDIOMETADATA_SetTitle(AUDIOSIGNAL_CreateMetadata(source), "old");
        ASSERT_TRUE(AUDIOSIGNAL_SaveEx(source, path.c_str(), "WAV", 0, nullptr));
        AUDIOSIGNAL_Destroy(source);
        signal = AUDIOSIGNAL_OpenEx(path.c_str(), "AUTO", AUDIO_OPEN_READ_TAGS, nullptr, nullptr, nullptr);
        ASSERT_NE(signal, nullptr);
    }
    ~AudioMetadataUpdate() override { AUDIOSIGNAL_Destroy(signal); }
};

TEST_F(AudioMetadataUpdate, DiskFullLeavesTheFileAsItWas)
{
    const std::vector<char> original = bytesOf(path);
    const std::string cover = fakeJpeg(256 * 1024, 3);
    AUDIOMETADATA m = AUDIOSIGNAL_Metadata(signal);
    ASSERT_TRUE(AUDIOMETADATA_SetTitle(m, "new"));
    ASSERT_TRUE(AUDIOMETADATA_SetArtwork(m, cover.data(), int64_t(cover.size()), nullptr));

    // A file size limit plays the full disk: writes past it fail with EFBIG
    // once SIGXFSZ is ignored. Below the file's size the copy fails; just
    // above it the copy succeeds and the growing tag fails.
    for (const rlim_t limit : {rlim_t(original.size() / 2), rlim_t(original.size() + 16 * 1024)}) {
        struct rlimit old {};
        ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
        void (*previous)(int) = std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit small = old;
        small.rlim_cur = limit;
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
        const bool updated = AUDIOSIGNAL_UpdateMetadata(signal, path.c_str(), "WAV");
        ::setrlimit(RLIMIT_FSIZE, &old);
        std::signal(SIGXFSZ, previous);
        EXPECT_FALSE(updated) << limit;
        EXPECT_EQ(bytesOf(path), original) << limit;
        EXPECT_EQ(folder.entries(), 1u) << "the copy was left behind";
        EXPECT_TRUE(AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_METADATA));
    }
    ASSERT_TRUE(AUDIOSIGNAL_UpdateMetadata(signal, path.c_str(), "WAV"));
    EXPECT_EQ(pictureOf(path, "WAV"), cover);
}

TEST_F(AudioMetadataUpdate, SaveWhoseTagsDoNotFitFailsAndKeepsTheOldFile)
{
    const std::vector<char> original = bytesOf(path);
    const std::string cover = fakeJpeg(256 * 1024, 5);
    ASSERT_TRUE(AUDIOMETADATA_SetArtwork(AUDIOSIGNAL_Metadata(signal), cover.data(), int64_t(cover.size()), nullptr));
    // Room for the samples, not for the artwork that follows them.
    struct rlimit old {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    void (*previous)(int) = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = old;
    small.rlim_cur = rlim_t(original.size() + 16 * 1024);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    uint32_t error = 0;
    const bool saved = AUDIOSIGNAL_SaveEx(signal, path.c_str(), "WAV", 0, &error);
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, previous);
    EXPECT_FALSE(saved);
    EXPECT_EQ(error, uint32_t(AUDIO_ERROR_DISK_FULL));
    EXPECT_EQ(bytesOf(path), original);
    EXPECT_EQ(folder.entries(), 1u);
    EXPECT_TRUE(AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_METADATA));
}

TEST_F(AudioMetadataUpdate, RefusedWhereThereIsNoFileToUpdate)
{
    AUDIOMETADATA_SetTitle(AUDIOSIGNAL_Metadata(signal), "new");
    const std::string sub = folder / "folder.wav";
    fs::create_directory(sub);
    EXPECT_FALSE(AUDIOSIGNAL_UpdateMetadata(signal, sub.c_str(), "AUTO"));
    EXPECT_TRUE(fs::is_directory(sub));
    EXPECT_TRUE(fs::is_empty(sub));
    EXPECT_FALSE(AUDIOSIGNAL_UpdateMetadata(signal, path.c_str(), "FLAC"));  // not what the file is
    EXPECT_TRUE(AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_METADATA));
    EXPECT_EQ(utf8(TagLib::FileRef(path.c_str()).tag()->title()), "old");
}

TEST_F(AudioMetadataUpdate, FormatsWithoutTagsHaveNothingToWrite)
{
    const std::string raw = folder / "song.raw";
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(signal, raw.c_str(), "RAW", 0, nullptr));  // the tags stay behind
    EXPECT_EQ(fs::file_size(raw), 48000u * 2 * 2);
    AUDIOMETADATA_SetTitle(AUDIOSIGNAL_Metadata(signal), "new");
    EXPECT_TRUE(AUDIOSIGNAL_UpdateMetadata(signal, raw.c_str(), "RAW[sr=48000,nc=2,bits=16]"));
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_METADATA));
    EXPECT_EQ(fs::file_size(raw), 48000u * 2 * 2);
}

TEST_F(AudioMetadataUpdate, OtherProgramsConventionsAreReadIntoTheSharedFields)
{
    // ID3: "number/total" frames and a field with two values.
    const std::string mp3 = folder / "other.mp3";
    AUDIO_FORMAT_DESCR descr{};
    if (AUDIO_FindFormatDescr("MP3", &descr) && (descr.capabilities & AUDIO_CAP_WRITE) != 0) {
        AUDIOSIGNAL plain = makeNoise16(4800, 48000);
        ASSERT_TRUE(AUDIOSIGNAL_SaveEx(plain, mp3.c_str(), "MP3", 0, nullptr));
        AUDIOSIGNAL_Destroy(plain);
        {
            TagLib::MPEG::File file(mp3.c_str());
            TagLib::PropertyMap properties;
            properties.insert("TRACKNUMBER", TagLib::StringList("7/12"));
            properties.insert("DISCNUMBER", TagLib::StringList("2/3"));
            TagLib::StringList artists("A");
            artists.append("B");
            properties.insert("ARTIST", artists);
            file.ID3v2Tag(true)->setProperties(properties);
            ASSERT_TRUE(file.save());
        }
        AUDIOSIGNAL opened = AUDIOSIGNAL_OpenEx(mp3.c_str(), "AUTO", AUDIO_OPEN_READ_TAGS, nullptr, nullptr, nullptr);
        AUDIOMETADATA m = AUDIOSIGNAL_Metadata(opened);
        EXPECT_EQ(text(m, "TRACKNUMBER"), "7");
        EXPECT_EQ(text(m, "TRACKTOTAL"), "12");
        EXPECT_EQ(AUDIOMETADATA_GetDiscNum(m), 2);
        EXPECT_EQ(AUDIOMETADATA_GetTotalAlbumDiscs(m), 3);
        EXPECT_EQ(text(m, "ARTIST"), "A; B");
        AUDIOSIGNAL_Destroy(opened);
    }

    // Vorbis comments: the other spelling of the total.
    const std::string ogg = folder / "other.ogg";
    AUDIOSIGNAL plain = makeNoise16(4800, 48000);
    ASSERT_TRUE(AUDIOSIGNAL_SaveEx(plain, ogg.c_str(), "OGG", 0, nullptr));
    AUDIOSIGNAL_Destroy(plain);
    {
        TagLib::Ogg::Vorbis::File file(ogg.c_str());
        file.tag()->addField("TOTALTRACKS", "9");
        file.tag()->addField("ARTWORK", "a comment this library keeps its name for");
        ASSERT_TRUE(file.save());
    }
    AUDIOSIGNAL opened = AUDIOSIGNAL_OpenEx(ogg.c_str(), "AUTO", AUDIO_OPEN_READ_TAGS, nullptr, nullptr, nullptr);
    AUDIOMETADATA m = AUDIOSIGNAL_Metadata(opened);
    EXPECT_EQ(AUDIOMETADATA_GetTotalAlbumTracks(m), 9);
    EXPECT_EQ(text(m, "TOTALTRACKS"), "<absent>");
    EXPECT_FALSE(AUDIOMETADATA_HasArtwork(m));
    EXPECT_EQ(text(m, "ENCODER"), "libsndfile");  // what libsndfile writes stays a field
    AUDIOSIGNAL_Destroy(opened);
}

} // namespace
