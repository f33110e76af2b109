// metadata_test.cpp: the tags of a document: setters and their events, the
// metadata edition as one undo step, the whole-object steps and their undo,
// level guides, the save-format check and the ringtone export.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "../../frame/document_p.h"
#include "audiofile.h"
#include "audiometadata.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "blsettings.h"
#include "document_fixture.h"
#include "region_checks.h"
#include "tavometadata.h"
#include "tavonotify.h"
#include "tavoselection.h"

namespace {

using tavotest::NextUndo;

std::string Field(TAVOAUDIO doc, const char *name)
{
    char buffer[256] = "";
    return TAVOAUDIO_CopyMetaData(doc, name, buffer, sizeof buffer) >= 0 ? std::string(buffer) : std::string("<none>");
}

// The first bytes of a PNG file: enough for the library to know the type.
const unsigned char kPng[] = {0x89, 'P', 'N', 'G', 0x0d, 0x0a, 0x1a, 0x0a, 0, 0, 0, 0x0d, 'I', 'H', 'D', 'R'};

class TavoMetadata : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 2, 4.0);
    tavotest::EventLog events{doc};
    ~TavoMetadata() override
    {
        events.detach();
        TAVOAUDIO_Close(doc);
    }
    int32_t undoSteps() { return TAVOUNDO_CountUndoScripts(doc); }
};

TEST_F(TavoMetadata, SettersMakeTheObjectAndRefusalsChangeNothing)
{
    // A refused first tag takes the object it needed away again.
    EXPECT_EQ(TAVOAUDIO_SetMetaData(doc, "BAD=NAME", "x"), 0);
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, true), 0u);
    EXPECT_EQ(TAVOAUDIO_SetMetaDataI(doc, TAVOAUDIO_METADATA_INDEX_COUNT, "x"), 0);
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);

    EXPECT_EQ(TAVOAUDIO_SetTitle(doc, "Morning"), 1);
    ASSERT_NE(TAVOAUDIO_MetaData(doc), nullptr);
    EXPECT_EQ(Field(doc, "TITLE"), "Morning");
    ASSERT_EQ(events.count(TAVOAUDIO_METADATA_CHANGED), 1);
    EXPECT_EQ(events.events[events.indexOf(TAVOAUDIO_METADATA_CHANGED)].arg1, TAVOAUDIO_MetaData(doc));
    EXPECT_TRUE(TAVOAUDIO_HasMetadataChanges(doc));
    EXPECT_EQ(undoSteps(), 0);   // setters record no step of their own

    // Numbers are decimal text; the index setter reaches the named fields.
    EXPECT_EQ(TAVOAUDIO_SetYear(doc, 4294967295u), 1);
    EXPECT_EQ(Field(doc, "DATE"), "4294967295");
    EXPECT_EQ(TAVOAUDIO_SetMetaDataI(doc, TAVOAUDIO_METADATA_INDEX_DISCNUMBER, "3"), 1);
    EXPECT_EQ(TAVOAUDIO_GetDiscNum(doc), 3);

    // With an object, a refused tag leaves the others alone.
    EXPECT_EQ(TAVOAUDIO_SetMetaData(doc, "ARTWORK", "not an image"), 0);
    EXPECT_EQ(TAVOAUDIO_SetBinaryMetaData(doc, "DATA", nullptr, 4), 0);
    EXPECT_EQ(Field(doc, "TITLE"), "Morning");
    EXPECT_EQ(events.count(TAVOAUDIO_METADATA_CHANGED), 3);
}

TEST_F(TavoMetadata, EditionIsOneUndoStepWithoutEventsFromTheSetters)
{
    // An empty edition, or one whose only setter failed, leaves no step.
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_SetMetaData(doc, "", "x"), 0);
    EXPECT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(undoSteps(), 0);

    // On a bare signal the step undoes to no metadata at all; inside an undo
    // group it lands in the group, pushed by its opener.
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Old title"), 1);
    ASSERT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(NextUndo(doc), "Change Metadata");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);
    ASSERT_TRUE(TAVOAUDIO_BeginUndoableOperation(doc, "Group"));
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "In group"), 1);
    ASSERT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(undoSteps(), 0);
    ASSERT_TRUE(TAVOAUDIO_PushUndoableOperation(doc));
    EXPECT_EQ(NextUndo(doc), "Group");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);

    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Old title"), 1);
    ASSERT_EQ(TAVOAUDIO_SetArtist(doc, "Old artist"), 1);
    events.events.clear();
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, "Edit Tags"), 1);
    EXPECT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 0);   // one at a time
    EXPECT_EQ(TAVOAUDIO_SetTitle(doc, "New title"), 1);
    EXPECT_EQ(TAVOAUDIO_SetArtist(doc, "New artist"), 1);
    EXPECT_EQ(TAVOAUDIO_SetYear(doc, 1999), 1);
    EXPECT_EQ(TAVOAUDIO_SetArtwork(doc, kPng, sizeof kPng, "image/png"), 1);   // one more change
    EXPECT_EQ(events.count(TAVOAUDIO_METADATA_CHANGED), 0);
    EXPECT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 0);   // nothing open any more

    EXPECT_EQ(undoSteps(), 1);
    EXPECT_EQ(NextUndo(doc), "Edit Tags");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Field(doc, "TITLE"), "Old title");
    EXPECT_EQ(Field(doc, "ARTIST"), "Old artist");
    EXPECT_EQ(Field(doc, "DATE"), "<none>");
    EXPECT_FALSE(TAVOAUDIO_HasArtwork(doc));
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_EQ(Field(doc, "TITLE"), "New title");
    EXPECT_EQ(TAVOAUDIO_GetYear(doc), 1999);
    EXPECT_TRUE(TAVOAUDIO_HasArtwork(doc));
}

TEST_F(TavoMetadata, ReplaceRemoveAndCombineAreUndoableStepsRefusedInAnEdition)
{
    AUDIOMETADATA other = AUDIOMETADATA_New();
    AUDIOMETADATA_SetTitle(other, "Replaced");
    // Refused during an edition, and when the document may not be edited.
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_ReplaceMetaData(doc, other, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_RemoveAllMetadata(doc, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    static_cast<TavoDocument *>(doc)->flags &= ~TAVOAUDIO_FLAG_EDITABLE;
    EXPECT_EQ(TAVOAUDIO_CombineMetaData(doc, other, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_SetArtwork(doc, kPng, sizeof kPng, nullptr), 0);
    static_cast<TavoDocument *>(doc)->flags |= TAVOAUDIO_FLAG_EDITABLE;
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);
    EXPECT_EQ(undoSteps(), 0);

    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Old"), 1);
    events.events.clear();
    ASSERT_EQ(TAVOAUDIO_ReplaceMetaData(doc, other, nullptr), 1);
    EXPECT_EQ(NextUndo(doc), "Change Metadata");
    // Replaced is sent, then changed with the object the signal holds now.
    EXPECT_EQ(events.count(TAVOAUDIO_METADATA_REPLACED), 1);
    ASSERT_EQ(events.count(TAVOAUDIO_METADATA_CHANGED), 1);
    EXPECT_EQ(events.events[events.indexOf(TAVOAUDIO_METADATA_CHANGED)].arg1, TAVOAUDIO_MetaData(doc));
    // The document holds a copy: changing the caller's object changes nothing.
    AUDIOMETADATA_SetTitle(other, "Later");
    EXPECT_EQ(Field(doc, "TITLE"), "Replaced");
    AUDIOMETADATA_Destroy(other);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Field(doc, "TITLE"), "Old");

    ASSERT_EQ(TAVOAUDIO_RemoveAllMetadata(doc, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);
    EXPECT_EQ(NextUndo(doc), "Remove Metadata");
    const int32_t afterRemove = undoSteps();
    EXPECT_EQ(TAVOAUDIO_RemoveAllMetadata(doc, nullptr), 1);   // nothing left: no step
    EXPECT_EQ(undoSteps(), afterRemove);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Field(doc, "TITLE"), "Old");

    // Combine copies what differs, keeps what the source lacks, skips artwork.
    AUDIOMETADATA source = AUDIOMETADATA_New();
    AUDIOMETADATA_SetTitle(source, "Old");
    AUDIOMETADATA_SetAlbumName(source, "Album");
    AUDIOMETADATA_SetArtwork(source, kPng, sizeof kPng, nullptr);
    const int32_t before = undoSteps();
    ASSERT_EQ(TAVOAUDIO_CombineMetaData(doc, source, "Merge Tags"), 1);
    EXPECT_EQ(NextUndo(doc), "Merge Tags");
    EXPECT_EQ(Field(doc, "ALBUM"), "Album");
    EXPECT_EQ(Field(doc, "TITLE"), "Old");
    EXPECT_FALSE(TAVOAUDIO_HasArtwork(doc));
    ASSERT_EQ(TAVOAUDIO_CombineMetaData(doc, source, nullptr), 1);   // nothing new: no step
    EXPECT_EQ(undoSteps(), before + 1);
    EXPECT_EQ(TAVOAUDIO_CombineMetaData(doc, nullptr, nullptr), 0);
    AUDIOMETADATA_Destroy(source);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Field(doc, "ALBUM"), "<none>");
}

TEST_F(TavoMetadata, ArtworkStepsAndTheirUndo)
{
    ASSERT_EQ(TAVOAUDIO_SetArtwork(doc, kPng, sizeof kPng, nullptr), 1);
    EXPECT_TRUE(TAVOAUDIO_HasArtwork(doc));
    EXPECT_FALSE(TAVOAUDIO_HasMetatags(doc));   // an image is no tag
    EXPECT_EQ(NextUndo(doc), "Change Artwork");
    ASSERT_EQ(TAVOAUDIO_ClearArtwork(doc), 1);
    EXPECT_EQ(NextUndo(doc), "Clear Artwork");
    EXPECT_EQ(TAVOAUDIO_ClearArtwork(doc), 1);   // nothing to clear: no step
    EXPECT_EQ(undoSteps(), 2);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_TRUE(TAVOAUDIO_HasArtwork(doc));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_FALSE(TAVOAUDIO_HasArtwork(doc));
}

TEST_F(TavoMetadata, LevelGuidesAcceptFractionsOfFullScale)
{
    const char *key = "libtavo.tavocanvas.levelguides.value=[0]";
    EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(doc, 0.5, 0), 1);
    EXPECT_DOUBLE_EQ(BLSETTINGS_GetFloatEx(nullptr, key), 0.5);
    // -12.04 dB is a quarter of full scale.
    EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(doc, -20.0 * std::log10(4.0), TAVOAUDIO_LEVELGUIDES_DECIBELS), 1);
    EXPECT_NEAR(BLSETTINGS_GetFloatEx(nullptr, key), 0.25, 1e-6);
    for (double bad : {0.0, 1.0001, static_cast<double>(NAN)}) EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(doc, bad, 0), 0);
    EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(doc, 3.0, TAVOAUDIO_LEVELGUIDES_DECIBELS), 0);
    EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(doc, 0.5, 0x80), 0);   // unknown flag
    EXPECT_NEAR(BLSETTINGS_GetFloatEx(nullptr, key), 0.25, 1e-6);
}

TEST_F(TavoMetadata, SaveFormatCheckNamesWhatWouldBeLost)
{
    uint32_t losses = 0xffu;
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "WAV", &losses), 1);
    EXPECT_EQ(losses, 0u);

    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Tagged"), 1);
    ASSERT_EQ(TAVOAUDIO_SetArtwork(doc, kPng, sizeof kPng, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "FLAC[compression=5]", &losses), 1);
    const std::pair<const char *, uint32_t> rows[] = {
        {"RAW", TAVOAUDIO_FORMAT_LOSES_TAGS | TAVOAUDIO_FORMAT_LOSES_ARTWORK},
        {"WAV[bits=8]", TAVOAUDIO_FORMAT_LOSES_PRECISION},
        {"WAV[nc=1]", TAVOAUDIO_FORMAT_LOSES_CHANNELS},
        {"NOSUCHFORMAT", TAVOAUDIO_FORMAT_LOSES_UNWRITABLE},
    };
    for (const auto &[format, expected] : rows) {
        EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, format, &losses), 0) << format;
        EXPECT_EQ(losses, expected) << format;
    }

    // A marker only some formats keep.
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal, 0, 1.0, 1.0, "undef", "mark", nullptr, 0, nullptr, 0), 1);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "AIFF", &losses), 0);
    EXPECT_EQ(losses, TAVOAUDIO_FORMAT_LOSES_MARKERS);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "WAV", nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, nullptr, &losses), 0);
}

TEST(TavoRingtone, ThirtySecondsOrTheSelectionFadedAndTitledDocumentUnchanged)
{
    // Every sample is 0.5, so that the fade gain shows directly.
    AUDIOSIGNAL own = AUDIOSIGNAL_New("AUTO[sr=1000,nc=1]");
    const std::vector<float> samples(40000, 0.5f);
    AUDIOSIGNAL_AppendSamples(own, samples.data(), 40000);
    TAVOAUDIO doc = TAVOAUDIO_NewFromSignalEx(own, false, 0);
    ASSERT_NE(doc, nullptr);
    ASSERT_EQ(TAVOAUDIO_SetArtist(doc, "Ana"), 1);
    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(own, AUDIOSIGNAL_STAMP_CONTENT);
    const auto temp = [](const char *name) {
        return (std::filesystem::temp_directory_path() / ("tavo-meta-" + std::to_string(getpid()) + name)).string();
    };
    const std::string whole = temp("long.flac"), part = temp("part.wav"), m4r = temp("phone.m4r");
    AUDIO_FORMAT format;
    int64_t frames = 0;
    uint32_t error = 0;
    ASSERT_EQ(TAVOAUDIO_ExportAsIphoneRingtoneEx(doc, whole.c_str(), nullptr, 0), 1);
    ASSERT_TRUE(AUDIOSIGNAL_ProbeFileEx(whole.c_str(), "AUTO", &format, &frames, &error));
    EXPECT_EQ(format.formatTag, AUDIO_FORMATTAG_FLAC);
    EXPECT_EQ(frames, 30000);

    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 5000, 9000, -1, 0), 1);
    ASSERT_EQ(TAVOAUDIO_ExportAsIphoneRingtoneEx(doc, part.c_str(), "WAV", TAVOAUDIO_RINGTONE_FROM_START), 1);
    ASSERT_TRUE(AUDIOSIGNAL_ProbeFileEx(part.c_str(), "AUTO", nullptr, &frames, &error));
    EXPECT_EQ(frames, 30000);
    ASSERT_EQ(TAVOAUDIO_ExportAsIphoneRingtoneEx(doc, part.c_str(), nullptr, 0), 1);
    AUDIOSIGNAL ring = AUDIOSIGNAL_OpenEx(part.c_str(), "AUTO", AUDIO_OPEN_READ_TAGS | AUDIO_OPEN_NO_MAP, nullptr,
                                          nullptr, &error);
    ASSERT_NE(ring, nullptr);
    std::vector<float> s(static_cast<size_t>(AUDIOSIGNAL_NumFrames(ring)));
    ASSERT_EQ(s.size(), 4000u);
    AUDIOSIGNAL_GetChannelSamplesEx(ring, 0, 0, 4000, s.data());
    // A 4 s ringtone fades over 1 s each way: the gain ramps from 0 at the
    // first frame to 1 at frame 1000, and back to 0 at 4 s.
    const float lsb = 1.0f / 32768.0f;
    EXPECT_NEAR(s[0], 0.0f, lsb);
    EXPECT_NEAR(s[250], 0.125f, 2 * lsb);
    EXPECT_NEAR(s[2000], 0.5f, 2 * lsb);
    EXPECT_NEAR(s[3500], 0.25f, 2 * lsb);
    EXPECT_LT(s[3999], 0.001f);
    char text[64] = "";
    EXPECT_GE(AUDIOMETADATA_CopyMetaData(AUDIOSIGNAL_Metadata(ring), "TITLE", text, sizeof text), 0);
    EXPECT_STREQ(text, "Ringtone");
    EXPECT_GE(AUDIOMETADATA_CopyMetaData(AUDIOSIGNAL_Metadata(ring), "ARTIST", text, sizeof text), 0);
    EXPECT_STREQ(text, "Ana");
    AUDIOSIGNAL_Destroy(ring);

    // No writer for the name's extension: refused, and no file appears.
    EXPECT_EQ(TAVOAUDIO_ExportAsIphoneRingtoneEx(doc, m4r.c_str(), nullptr, 0), 0);
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, true), 0u);
    EXPECT_FALSE(std::filesystem::exists(m4r));

    EXPECT_EQ(AUDIOSIGNAL_GetTimeStamp(own, AUDIOSIGNAL_STAMP_CONTENT), stamp);
    EXPECT_EQ(Field(doc, "TITLE"), "<none>");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    std::filesystem::remove(whole);
    std::filesystem::remove(part);
    TAVOAUDIO_Close(doc);
}

}  // namespace
