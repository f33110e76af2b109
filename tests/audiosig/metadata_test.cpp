// The metadata object and the signal's hold on it: fields, numbers as text,
// artwork, the field listing, duplicate / compare / copy, and what a change
// does to the signal (pending change kind, stamps, notifications).
#include <audiometadata.h>
#include <blnotify.h>

#include "noise_signal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// A metadata object released at the end of the scope.
struct Meta {
    AUDIOMETADATA handle = AUDIOMETADATA_New();
    Meta() = default;
    explicit Meta(AUDIOMETADATA adopted) : handle(adopted) {}
    ~Meta() { AUDIOMETADATA_Destroy(handle); }
    Meta(const Meta &) = delete;
    Meta &operator=(const Meta &) = delete;
    operator AUDIOMETADATA() const { return handle; }
};

std::string text(AUDIOMETADATA metadata, const char *field)
{
    char buffer[256];
    return AUDIOMETADATA_CopyMetaData(metadata, field, buffer, sizeof(buffer)) < 0 ? "<absent>" : buffer;
}

std::vector<std::string> names(AUDIOMETADATA metadata)
{
    int32_t count = -1;
    char **list = AUDIOMETADATA_CopyFieldNames(metadata, &count);
    std::vector<std::string> out;
    if (list == nullptr) return out;
    for (char **at = list; *at != nullptr; ++at) out.emplace_back(*at);
    EXPECT_EQ(count, int32_t(out.size()));
    std::free(list);
    return out;
}

// The smallest valid PNG signature and header start; enough for the type.
const std::string kPng("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);

// Counts metadata-replaced notifications from one parent.
struct ReplacedRecorder {
    int parent = 0;
    std::vector<void *> objects;

    static int32_t handle(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<ReplacedRecorder *>(user);
        if (event->source == &self->parent && event->kind == AUDIO_NOTIFY_METADATA_REPLACED)
            self->objects.push_back(event->arg2);
        return 1;
    }
    ReplacedRecorder() { BLNOTIFY_AddDefaultHandler(BLNOTIFY_ANY_KIND, &ReplacedRecorder::handle, this); }
    ~ReplacedRecorder() { BLNOTIFY_DelDefaultHandler(BLNOTIFY_ANY_KIND, &ReplacedRecorder::handle, this); }
};

} // namespace

// ---- fields ----------------------------------------------------------------------------

TEST(AudioMetadataFields, NamedSettersUseTheSharedNamesWhateverTheCase)
{
    Meta m;
    EXPECT_TRUE(AUDIOMETADATA_SetTitle(m, "Song"));
    EXPECT_TRUE(AUDIOMETADATA_SetArtist(m, "Band"));
    EXPECT_TRUE(AUDIOMETADATA_SetAlbumArtist(m, "Various"));
    EXPECT_TRUE(AUDIOMETADATA_SetAlbumName(m, "Record"));
    EXPECT_TRUE(AUDIOMETADATA_SetComposer(m, "Writer"));
    EXPECT_TRUE(AUDIOMETADATA_SetGenre(m, "Jazz"));
    EXPECT_TRUE(AUDIOMETADATA_SetComments(m, "Live take"));
    EXPECT_TRUE(AUDIOMETADATA_SetReleaseDate(m, "2019-03-04"));
    EXPECT_EQ(text(m, "title"), "Song");
    EXPECT_EQ(text(m, "Artist"), "Band");
    EXPECT_EQ(text(m, AUDIOMETADATA_FIELD_ALBUMARTIST), "Various");
    EXPECT_EQ(text(m, AUDIOMETADATA_FIELD_ALBUM), "Record");
    EXPECT_EQ(text(m, AUDIOMETADATA_FIELD_COMPOSER), "Writer");
    EXPECT_EQ(text(m, AUDIOMETADATA_FIELD_GENRE), "Jazz");
    EXPECT_EQ(text(m, AUDIOMETADATA_FIELD_COMMENT), "Live take");
    EXPECT_EQ(AUDIOMETADATA_GetYear(m), 2019);  // from the release date while DATE is absent

    // Null or empty removes; the listing is sorted and counts the artwork once.
    EXPECT_TRUE(AUDIOMETADATA_SetComposer(m, ""));
    EXPECT_TRUE(AUDIOMETADATA_SetGenre(m, nullptr));
    EXPECT_TRUE(AUDIOMETADATA_SetArtwork(m, kPng.data(), int64_t(kPng.size()), nullptr));
    EXPECT_TRUE(AUDIOMETADATA_SetMetaData(m, "mood", "calm"));
    EXPECT_EQ(names(m), (std::vector<std::string>{"ALBUM", "ALBUMARTIST", "ARTIST", "ARTWORK", "COMMENT", "MOOD",
                                                   "RELEASEDATE", "TITLE"}));
    EXPECT_EQ(AUDIOMETADATA_NumFields(m), 8);
}

TEST(AudioMetadataFields, NumbersAreKeptAsTheirTextAndReadBack)
{
    Meta m;
    EXPECT_TRUE(AUDIOMETADATA_SetTrackNumStr(m, "7"));
    EXPECT_TRUE(AUDIOMETADATA_SetTotalAlbumTracksStr(m, "12"));
    EXPECT_TRUE(AUDIOMETADATA_SetDiscNumStr(m, "1"));
    EXPECT_TRUE(AUDIOMETADATA_SetTotalAlbumDiscsStr(m, "2"));
    EXPECT_TRUE(AUDIOMETADATA_SetYearStr(m, "2021"));
    EXPECT_EQ(text(m, "TRACKNUMBER"), "7");
    EXPECT_EQ(AUDIOMETADATA_GetTrackNum(m), 7);
    EXPECT_EQ(AUDIOMETADATA_GetTotalAlbumTracks(m), 12);
    EXPECT_EQ(AUDIOMETADATA_GetDiscNum(m), 1);
    EXPECT_EQ(AUDIOMETADATA_GetTotalAlbumDiscs(m), 2);
    EXPECT_EQ(AUDIOMETADATA_GetYear(m), 2021);

    // Only whole numbers within 32 bits unsigned; a refused text keeps the old value.
    for (const char *bad : {"7a", "-1", " 7", "4294967296", "12345678901", "3/4"})
        EXPECT_FALSE(AUDIOMETADATA_SetTrackNumStr(m, bad)) << bad;
    EXPECT_EQ(text(m, "TRACKNUMBER"), "7");
    EXPECT_TRUE(AUDIOMETADATA_SetTrackNumStr(m, "4294967295"));
    EXPECT_EQ(AUDIOMETADATA_GetTrackNum(m), 0);  // beyond what the getter's type holds

    // Values written by other programs: "n/total", dates, junk.
    EXPECT_TRUE(AUDIOMETADATA_SetMetaData(m, "TRACKNUMBER", "3/9"));
    EXPECT_EQ(AUDIOMETADATA_GetTrackNum(m), 3);
    EXPECT_TRUE(AUDIOMETADATA_SetMetaData(m, "DATE", "1999-12-31"));
    EXPECT_EQ(AUDIOMETADATA_GetYear(m), 1999);
    EXPECT_TRUE(AUDIOMETADATA_SetMetaData(m, "DISCNUMBER", "one"));
    EXPECT_EQ(AUDIOMETADATA_GetDiscNum(m), 0);

    EXPECT_TRUE(AUDIOMETADATA_SetIntegerMetaData(m, "OFFSET", INT64_MIN));
    EXPECT_EQ(AUDIOMETADATA_GetIntegerMetaData(m, "offset", 5), INT64_MIN);
    EXPECT_EQ(text(m, "OFFSET"), "-9223372036854775808");
    EXPECT_EQ(AUDIOMETADATA_GetIntegerMetaData(m, "DISCNUMBER", 5), 5);
    EXPECT_EQ(AUDIOMETADATA_GetIntegerMetaData(m, "MISSING", -3), -3);
}

TEST(AudioMetadataFields, TempoIsKeptShortAndFallsBackWhenUnusable)
{
    Meta m;
    EXPECT_EQ(AUDIOMETADATA_GetBeatsPerMinuteEx(nullptr, 90.0), 90.0);
    EXPECT_EQ(AUDIOMETADATA_GetBeatsPerMinuteEx(m, 90.0), 90.0);
    EXPECT_TRUE(AUDIOMETADATA_SetBeatsPerMinute(m, 120.0));
    EXPECT_EQ(text(m, "BPM"), "120");
    EXPECT_TRUE(AUDIOMETADATA_SetBeatsPerMinute(m, 98.5));
    EXPECT_EQ(text(m, "BPM"), "98.5");
    EXPECT_DOUBLE_EQ(AUDIOMETADATA_GetBeatsPerMinuteEx(m, 0.0), 98.5);
    for (double bad : {0.0, -10.0, 1000.5, std::nan("")}) EXPECT_FALSE(AUDIOMETADATA_SetBeatsPerMinute(m, bad));
    EXPECT_EQ(text(m, "BPM"), "98.5");
    for (const char *bad : {"fast", "0", "-80"}) {
        AUDIOMETADATA_SetMetaData(m, "BPM", bad);
        EXPECT_EQ(AUDIOMETADATA_GetBeatsPerMinuteEx(m, 60.0), 60.0) << bad;
    }
}

TEST(AudioMetadataFields, MalformedNamesAndTextsAreRefusedAndChangeNothing)
{
    Meta m;
    ASSERT_TRUE(AUDIOMETADATA_SetTitle(m, "kept"));
    const std::string longName(256, 'A');
    for (const char *name : {"", "A=B", "TAB\tNAME", "ARTWORK", "artwork", "~", longName.c_str()})
        EXPECT_FALSE(AUDIOMETADATA_SetMetaData(m, name, "x")) << name;
    EXPECT_FALSE(AUDIOMETADATA_SetMetaData(m, nullptr, "x"));
    // Overlong '/', a lone surrogate, a cut sequence, a stray continuation byte.
    for (const char *bad : {"\xc0\xaf", "\xed\xa0\x80", "ab\xe2\x82", "\x80", "\xf4\x90\x80\x80"})
        EXPECT_FALSE(AUDIOMETADATA_SetTitle(m, bad));
    EXPECT_FALSE(AUDIOMETADATA_SetTitle(m, std::string((1 << 20) + 1, 'x').c_str()));
    EXPECT_EQ(text(m, "TITLE"), "kept");
    EXPECT_EQ(AUDIOMETADATA_NumFields(m), 1);
    EXPECT_TRUE(AUDIOMETADATA_SetTitle(m, "Caf\xc3\xa9 \xf0\x9f\x8e\xb5"));  // two- and four-byte characters
}

TEST(AudioMetadataFields, TextCopiesCutAtCharacterBoundaries)
{
    Meta m;
    ASSERT_TRUE(AUDIOMETADATA_SetTitle(m, "h\xc3\xa9llo"));  // 6 bytes
    char buffer[8];
    EXPECT_EQ(AUDIOMETADATA_CopyMetaData(m, "TITLE", buffer, 3), 6);
    EXPECT_STREQ(buffer, "h");  // "h\xc3" would be half a character
    EXPECT_EQ(AUDIOMETADATA_CopyMetaData(m, "TITLE", buffer, 4), 6);
    EXPECT_STREQ(buffer, "h\xc3\xa9");
    EXPECT_EQ(AUDIOMETADATA_CopyMetaData(m, "TITLE", nullptr, 0), 6);
    EXPECT_EQ(AUDIOMETADATA_CopyMetaData(m, "ABSENT", buffer, sizeof(buffer)), -1);
}

TEST(AudioMetadataFields, BinaryValuesPassThroughButAreNoText)
{
    Meta m;
    const std::string bytes("a\0b\xff", 4);
    ASSERT_TRUE(AUDIOMETADATA_SetBinaryMetaData(m, "blob", bytes.data(), int64_t(bytes.size())));
    char buffer[16];
    EXPECT_EQ(AUDIOMETADATA_CopyMetaData(m, "BLOB", buffer, sizeof(buffer)), -1);
    EXPECT_EQ(AUDIOMETADATA_CopyBinaryMetaData(m, "BLOB", nullptr, 0), 4);
    EXPECT_EQ(AUDIOMETADATA_CopyBinaryMetaData(m, "BLOB", buffer, 2), 4);  // cut to the buffer
    EXPECT_EQ(std::string(buffer, 2), bytes.substr(0, 2));
    // A text field reads as bytes too: this is how whole fields are copied.
    ASSERT_TRUE(AUDIOMETADATA_SetTitle(m, "T"));
    EXPECT_EQ(AUDIOMETADATA_CopyBinaryMetaData(m, "TITLE", buffer, sizeof(buffer)), 1);
    EXPECT_FALSE(AUDIOMETADATA_SetBinaryMetaData(m, "BLOB", nullptr, 3));
    EXPECT_FALSE(AUDIOMETADATA_SetBinaryMetaData(m, "ARTWORK", "x", 1));
    EXPECT_TRUE(AUDIOMETADATA_SetBinaryMetaData(m, "BLOB", nullptr, 0));  // removes
    EXPECT_EQ(AUDIOMETADATA_CopyBinaryMetaData(m, "BLOB", buffer, sizeof(buffer)), -1);
}

TEST(AudioMetadataFields, ArtworkKeepsImageAndTypeAndIsTheMixedField)
{
    Meta m;
    EXPECT_FALSE(AUDIOMETADATA_HasArtwork(m));
    EXPECT_EQ(AUDIOMETADATA_CopyArtwork(m, nullptr, 0), -1);
    const std::string unknown = "not an image";
    EXPECT_FALSE(AUDIOMETADATA_SetArtwork(m, unknown.data(), int64_t(unknown.size()), nullptr));
    EXPECT_FALSE(AUDIOMETADATA_SetArtwork(m, unknown.data(), int64_t(unknown.size()), "png"));
    EXPECT_FALSE(AUDIOMETADATA_SetArtwork(m, kPng.data(), 0, nullptr));
    const std::string huge(size_t(1) << 24, '\xff');  // a FLAC picture cannot hold it
    EXPECT_FALSE(AUDIOMETADATA_SetArtwork(m, huge.data(), int64_t(huge.size()), "image/jpeg"));
    EXPECT_FALSE(AUDIOMETADATA_HasArtwork(m));

    ASSERT_TRUE(AUDIOMETADATA_SetArtwork(m, kPng.data(), int64_t(kPng.size()), nullptr));
    char type[32];
    ASSERT_TRUE(AUDIOMETADATA_CopyArtworkMimeType(m, type, sizeof(type)));
    EXPECT_STREQ(type, "image/png");
    EXPECT_FALSE(AUDIOMETADATA_CopyArtworkMimeType(m, type, 5));
    std::string image(kPng.size(), '\0');
    EXPECT_EQ(AUDIOMETADATA_CopyArtwork(m, image.data(), int64_t(image.size())), int64_t(kPng.size()));
    EXPECT_EQ(image, kPng);
    const std::string jpeg("\xff\xd8\xff\xe0", 4);
    ASSERT_TRUE(AUDIOMETADATA_SetArtwork(m, jpeg.data(), 4, nullptr));
    ASSERT_TRUE(AUDIOMETADATA_CopyArtworkMimeType(m, type, sizeof(type)));
    EXPECT_STREQ(type, "image/jpeg");

    EXPECT_TRUE(AUDIOMETADATA_IsMixedDataField(m, "artwork"));
    EXPECT_FALSE(AUDIOMETADATA_IsMixedDataField(m, "TITLE"));
    EXPECT_EQ(AUDIOMETADATA_CopyBinaryMetaData(m, "ARTWORK", nullptr, 0), -1);
    EXPECT_TRUE(AUDIOMETADATA_ClearArtwork(m));
    EXPECT_TRUE(AUDIOMETADATA_ClearArtwork(m));
    EXPECT_EQ(AUDIOMETADATA_NumFields(m), 0);
}

TEST(AudioMetadataFields, CompareAndDuplicate)
{
    Meta a;
    Meta b;
    EXPECT_TRUE(AUDIOMETADATA_CompareField(a, b, "TITLE"));  // absent in both
    AUDIOMETADATA_SetTitle(a, "x");
    EXPECT_FALSE(AUDIOMETADATA_CompareField(a, b, "TITLE"));
    AUDIOMETADATA_SetTitle(b, "x");
    EXPECT_TRUE(AUDIOMETADATA_CompareField(a, b, "title"));
    AUDIOMETADATA_SetArtwork(a, kPng.data(), int64_t(kPng.size()), "image/png");
    AUDIOMETADATA_SetArtwork(b, kPng.data(), int64_t(kPng.size()), "image/x-png");
    EXPECT_FALSE(AUDIOMETADATA_CompareField(a, b, "ARTWORK"));  // same bytes, other type
    EXPECT_FALSE(AUDIOMETADATA_CompareField(a, nullptr, "TITLE"));
    AUDIOMETADATA_SetBinaryMetaData(a, "BLOB", "\0\1", 2);

    Meta texts(AUDIOMETADATA_DuplicateEx(a, 0));
    Meta whole(AUDIOMETADATA_DuplicateEx(a, AUDIOMETADATA_DUPLICATE_BINARY));
    EXPECT_EQ(names(texts), (std::vector<std::string>{"TITLE"}));
    EXPECT_EQ(names(whole), (std::vector<std::string>{"ARTWORK", "BLOB", "TITLE"}));
    for (const char *field : {"TITLE", "ARTWORK", "BLOB"}) EXPECT_TRUE(AUDIOMETADATA_CompareField(a, whole, field));
    // The copy is independent of its source.
    AUDIOMETADATA_SetTitle(whole, "y");
    AUDIOMETADATA_ClearArtwork(whole);
    EXPECT_EQ(text(a, "TITLE"), "x");
    EXPECT_TRUE(AUDIOMETADATA_HasArtwork(a));
}

TEST(AudioMetadataFields, NullHandlesFailQuietly)
{
    char buffer[8];
    int32_t count = 0;
    EXPECT_EQ(AUDIOMETADATA_DuplicateEx(nullptr, 1), nullptr);
    EXPECT_FALSE(AUDIOMETADATA_Destroy(nullptr));
    EXPECT_FALSE(AUDIOMETADATA_SetMetaData(nullptr, "TITLE", "x"));
    EXPECT_FALSE(AUDIOMETADATA_SetIntegerMetaData(nullptr, "N", 1));
    EXPECT_FALSE(AUDIOMETADATA_SetBinaryMetaData(nullptr, "B", "x", 1));
    EXPECT_FALSE(AUDIOMETADATA_SetTitle(nullptr, "x"));
    EXPECT_FALSE(AUDIOMETADATA_SetYearStr(nullptr, "1"));
    EXPECT_FALSE(AUDIOMETADATA_SetBeatsPerMinute(nullptr, 100));
    EXPECT_FALSE(AUDIOMETADATA_SetArtwork(nullptr, kPng.data(), int64_t(kPng.size()), nullptr));
    EXPECT_FALSE(AUDIOMETADATA_ClearArtwork(nullptr));
    EXPECT_FALSE(AUDIOMETADATA_HasArtwork(nullptr));
    EXPECT_FALSE(AUDIOMETADATA_CopyArtworkMimeType(nullptr, buffer, sizeof(buffer)));
    EXPECT_EQ(AUDIOMETADATA_CopyArtwork(nullptr, buffer, sizeof(buffer)), -1);
    EXPECT_EQ(AUDIOMETADATA_CopyMetaData(nullptr, "TITLE", buffer, sizeof(buffer)), -1);
    EXPECT_EQ(AUDIOMETADATA_CopyBinaryMetaData(nullptr, "TITLE", buffer, sizeof(buffer)), -1);
    EXPECT_EQ(AUDIOMETADATA_GetIntegerMetaData(nullptr, "N", 4), 4);
    EXPECT_EQ(AUDIOMETADATA_GetTrackNum(nullptr), 0);
    EXPECT_EQ(AUDIOMETADATA_GetYear(nullptr), 0);
    EXPECT_EQ(AUDIOMETADATA_NumFields(nullptr), 0);
    EXPECT_EQ(AUDIOMETADATA_CopyFieldNames(nullptr, &count), nullptr);
    EXPECT_FALSE(AUDIOMETADATA_IsMixedDataField(nullptr, "ARTWORK"));
    EXPECT_EQ(AUDIOSIGNAL_Metadata(nullptr), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_MetadataRef(nullptr), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_CreateMetadata(nullptr), nullptr);
    EXPECT_FALSE(AUDIOSIGNAL_ReplaceMetadata(nullptr, nullptr));
    EXPECT_FALSE(AUDIOSIGNAL_RemoveMetadata(nullptr));
}

// ---- the signal's metadata ------------------------------------------------------------------

class AudioMetadataSignal : public ::testing::Test {
protected:
    AUDIOSIGNAL signal = makeNoise16(100);
    ~AudioMetadataSignal() override { AUDIOSIGNAL_Destroy(signal); }

    void markSaved() { AUDIOSIGNAL_MarkSaved(signal, 1, 1); }
    bool metadataPending() { return AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_METADATA); }
};

TEST_F(AudioMetadataSignal, ChangesOfTheSignalsObjectArePendingAndMoveTheStamp)
{
    markSaved();
    EXPECT_EQ(AUDIOSIGNAL_Metadata(signal), nullptr);
    AUDIOMETADATA m = AUDIOSIGNAL_CreateMetadata(signal);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_CreateMetadata(signal), m);
    EXPECT_FALSE(metadataPending());  // an empty object writes nothing

    const uint64_t before = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT);
    ASSERT_TRUE(AUDIOMETADATA_SetTitle(m, "x"));
    EXPECT_TRUE(metadataPending());
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_AUDIO));
    EXPECT_GT(AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT), before);

    markSaved();
    ASSERT_TRUE(AUDIOMETADATA_SetTitle(m, "x"));  // the same value: nothing to save
    EXPECT_FALSE(metadataPending());
    ASSERT_TRUE(AUDIOMETADATA_SetArtwork(m, kPng.data(), int64_t(kPng.size()), nullptr));
    EXPECT_TRUE(metadataPending());
}

TEST_F(AudioMetadataSignal, ReadOnlySignalRefusesEveryMetadataChange)
{
    AUDIOMETADATA m = AUDIOSIGNAL_CreateMetadata(signal);
    ASSERT_TRUE(AUDIOMETADATA_SetTitle(m, "kept"));
    Meta other;
    AUDIOMETADATA_SetTitle(other, "new");
    AUDIOSIGNAL_SetReadOnly(signal, true);
    EXPECT_FALSE(AUDIOMETADATA_SetTitle(m, "changed"));
    EXPECT_FALSE(AUDIOMETADATA_SetArtwork(m, kPng.data(), int64_t(kPng.size()), nullptr));
    EXPECT_FALSE(AUDIOSIGNAL_ReplaceMetadata(signal, other));
    EXPECT_FALSE(AUDIOSIGNAL_RemoveMetadata(signal));
    EXPECT_EQ(AUDIOSIGNAL_Metadata(signal), m);
    EXPECT_EQ(text(m, "TITLE"), "kept");

    AUDIOSIGNAL fresh = makeNoise16(10);
    AUDIOSIGNAL_SetReadOnly(fresh, true);
    EXPECT_EQ(AUDIOSIGNAL_CreateMetadata(fresh), nullptr);
    AUDIOSIGNAL_Destroy(fresh);
}

TEST_F(AudioMetadataSignal, DuplicateGetsItsOwnObject)
{
    AUDIOMETADATA m = AUDIOSIGNAL_CreateMetadata(signal);
    AUDIOMETADATA_SetTitle(m, "original");
    markSaved();
    AUDIOSIGNAL copy = AUDIOSIGNAL_DuplicateEx(signal, 0);
    AUDIOMETADATA copied = AUDIOSIGNAL_Metadata(copy);
    ASSERT_NE(copied, nullptr);
    EXPECT_NE(copied, m);
    EXPECT_EQ(text(copied, "TITLE"), "original");
    ASSERT_TRUE(AUDIOMETADATA_SetTitle(copied, "edited"));
    EXPECT_EQ(text(m, "TITLE"), "original");
    EXPECT_FALSE(metadataPending());
    EXPECT_TRUE(AUDIOSIGNAL_HasChangesEx(copy, AUDIOSIGNAL_CHANGE_METADATA));
    AUDIOSIGNAL_Destroy(copy);

    AUDIOSIGNAL bare = AUDIOSIGNAL_DuplicateEx(signal, AUDIOSIGNAL_DUPLICATE_NO_METADATA);
    EXPECT_EQ(AUDIOSIGNAL_Metadata(bare), nullptr);
    AUDIOSIGNAL_Destroy(bare);
}

TEST_F(AudioMetadataSignal, ReplaceStoresACopyAndNotifiesTheParent)
{
    ReplacedRecorder recorder;
    AUDIOSIGNAL_SetParentObject(signal, &recorder.parent, nullptr);
    AUDIOSIGNAL_CreateMetadata(signal);
    AUDIOMETADATA old = AUDIOSIGNAL_MetadataRef(signal);
    markSaved();

    Meta given;
    AUDIOMETADATA_SetTitle(given, "given");
    ASSERT_TRUE(AUDIOSIGNAL_ReplaceMetadata(signal, given));
    AUDIOMETADATA now = AUDIOSIGNAL_Metadata(signal);
    EXPECT_NE(now, given.handle);
    EXPECT_EQ(text(now, "TITLE"), "given");
    EXPECT_TRUE(metadataPending());
    ASSERT_EQ(recorder.objects.size(), 1u);
    EXPECT_EQ(recorder.objects[0], now);

    // Neither the caller's object nor the one let go reach the signal any more.
    markSaved();
    AUDIOMETADATA_SetTitle(given, "later");
    EXPECT_TRUE(AUDIOMETADATA_SetTitle(old, "stale"));
    EXPECT_EQ(text(now, "TITLE"), "given");
    EXPECT_FALSE(metadataPending());
    AUDIOMETADATA_Destroy(old);
}

TEST_F(AudioMetadataSignal, RemoveCountsAsChangeOnlyWhenFieldsWentAway)
{
    ReplacedRecorder recorder;
    AUDIOSIGNAL_SetParentObject(signal, &recorder.parent, nullptr);
    EXPECT_TRUE(AUDIOSIGNAL_RemoveMetadata(signal));  // nothing there
    EXPECT_TRUE(recorder.objects.empty());

    AUDIOSIGNAL_CreateMetadata(signal);
    markSaved();
    EXPECT_TRUE(AUDIOSIGNAL_RemoveMetadata(signal));  // the object of a failed first setter
    EXPECT_FALSE(metadataPending());
    EXPECT_EQ(recorder.objects.size(), 1u);

    AUDIOMETADATA_SetGenre(AUDIOSIGNAL_CreateMetadata(signal), "Pop");
    markSaved();
    EXPECT_TRUE(AUDIOSIGNAL_ReplaceMetadata(signal, nullptr));  // null removes
    EXPECT_EQ(AUDIOSIGNAL_Metadata(signal), nullptr);
    EXPECT_TRUE(metadataPending());
    ASSERT_EQ(recorder.objects.size(), 2u);
    EXPECT_EQ(recorder.objects[1], nullptr);
}

TEST_F(AudioMetadataSignal, UndoCopyPutsEverythingBack)
{
    // What undo keeps of the metadata, and how it restores it.
    AUDIOMETADATA m = AUDIOSIGNAL_CreateMetadata(signal);
    AUDIOMETADATA_SetTitle(m, "before");
    AUDIOMETADATA_SetArtwork(m, kPng.data(), int64_t(kPng.size()), nullptr);
    Meta kept(AUDIOMETADATA_DuplicateEx(m, AUDIOMETADATA_DUPLICATE_BINARY));
    AUDIOMETADATA_SetTitle(m, "after");
    AUDIOMETADATA_ClearArtwork(m);
    AUDIOMETADATA_SetArtist(m, "added");

    ASSERT_TRUE(AUDIOSIGNAL_ReplaceMetadata(signal, kept));
    AUDIOMETADATA restored = AUDIOSIGNAL_Metadata(signal);
    EXPECT_EQ(names(restored), (std::vector<std::string>{"ARTWORK", "TITLE"}));
    EXPECT_TRUE(AUDIOMETADATA_CompareField(restored, kept, "ARTWORK"));
    EXPECT_EQ(text(restored, "TITLE"), "before");
}
