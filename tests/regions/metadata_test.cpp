// metadata_test.cpp: the tags of a document: setters and their events, the
// metadata edition as one undo step, the whole-object steps and their undo,
// level guides, the save-format check and the ringtone export.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "../../frame/document_p.h"
#include "audiofile.h"
#include "audiometadata.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "blnotify.h"
#include "blsettings.h"
#include "document_fixture.h"
#include "tavoaudio.h"
#include "tavometadata.h"
#include "tavonotify.h"
#include "tavoselection.h"
#include "tavoundo.h"

namespace {

struct Recorder {
    std::vector<int32_t> kinds;
    std::vector<void *> firstArgs;
    static int32_t Handler(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<Recorder *>(user);
        self->kinds.push_back(event->kind);
        self->firstArgs.push_back(event->arg1);
        return 1;
    }
    int count(int32_t kind) const { return static_cast<int>(std::count(kinds.begin(), kinds.end(), kind)); }
};

std::string Field(TAVOAUDIO doc, const char *name)
{
    char buffer[256] = "";
    return TAVOAUDIO_CopyMetaData(doc, name, buffer, sizeof buffer) >= 0 ? std::string(buffer) : std::string("<none>");
}

std::string NextUndo(TAVOAUDIO doc)
{
    char label[TAVOUNDO_LABEL_SIZE] = "";
    return TAVOAUDIO_NextUndoLabel(doc, label, sizeof label) ? std::string(label) : std::string("<none>");
}

// The first bytes of a PNG file: enough for the library to know the type.
const unsigned char kPng[] = {0x89, 'P', 'N', 'G', 0x0d, 0x0a, 0x1a, 0x0a, 0, 0, 0, 0x0d, 'I', 'H', 'D', 'R'};

class TavoMetadata : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 2, 4.0);
    Recorder events;
    void SetUp() override
    {
        ASSERT_NE(doc, nullptr);
        TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_METADATA_CHANGED, Recorder::Handler, &events);
        TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_METADATA_REPLACED, Recorder::Handler, &events);
    }
    ~TavoMetadata() override { TAVOAUDIO_Close(doc); }
    int32_t undoSteps() { return TAVOUNDO_CountUndoScripts(doc); }
};

TEST_F(TavoMetadata, FirstTitleCreatesTheObjectAndSendsOneChange)
{
    ASSERT_EQ(TAVOAUDIO_MetaData(doc), nullptr);
    EXPECT_EQ(TAVOAUDIO_SetTitle(doc, "Morning"), 1);
    AUDIOMETADATA made = TAVOAUDIO_MetaData(doc);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(Field(doc, "TITLE"), "Morning");
    ASSERT_EQ(events.count(TAVOAUDIO_METADATA_CHANGED), 1);
    EXPECT_EQ(events.firstArgs[0], made);
    EXPECT_TRUE(TAVOAUDIO_HasMetatags(doc));
    EXPECT_TRUE(TAVOAUDIO_HasMetadataChanges(doc));
    // Setters record no undo step of their own.
    EXPECT_EQ(undoSteps(), 0);
}

TEST_F(TavoMetadata, FailingSettersChangeNothing)
{
    // A refused first tag takes the object it needed away again.
    EXPECT_EQ(TAVOAUDIO_SetMetaData(doc, "BAD=NAME", "x"), 0);
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, true), 0u);
    EXPECT_EQ(TAVOAUDIO_SetMetaDataI(doc, TAVOAUDIO_METADATA_INDEX_COUNT, "x"), 0);
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);
    EXPECT_EQ(events.count(TAVOAUDIO_METADATA_CHANGED), 0);

    // With an object, a refused tag leaves the others alone.
    ASSERT_EQ(TAVOAUDIO_SetArtist(doc, "Ana"), 1);
    EXPECT_EQ(TAVOAUDIO_SetMetaData(doc, "ARTWORK", "not an image"), 0);
    EXPECT_EQ(TAVOAUDIO_SetBinaryMetaData(doc, "DATA", nullptr, 4), 0);
    EXPECT_EQ(Field(doc, "ARTIST"), "Ana");
    EXPECT_EQ(events.count(TAVOAUDIO_METADATA_CHANGED), 1);

    EXPECT_EQ(TAVOAUDIO_SetTitle(nullptr, "x"), 0);
    EXPECT_EQ(TAVOAUDIO_BeginMetadataEdition(nullptr, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_RemoveAllMetadata(nullptr, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_MetaData(nullptr), nullptr);
}

TEST_F(TavoMetadata, NumbersAreStoredAsDecimalText)
{
    EXPECT_EQ(TAVOAUDIO_SetTrackNum(doc, 7), 1);
    EXPECT_EQ(Field(doc, "TRACKNUMBER"), "7");
    EXPECT_EQ(TAVOAUDIO_SetYear(doc, 4294967295u), 1);
    EXPECT_EQ(Field(doc, "DATE"), "4294967295");
    EXPECT_EQ(TAVOAUDIO_SetTotalAlbumDiscs(doc, 0), 1);
    EXPECT_EQ(Field(doc, "DISCTOTAL"), "0");
    // The index setter reaches the same fields as the named ones.
    EXPECT_EQ(TAVOAUDIO_SetMetaDataI(doc, TAVOAUDIO_METADATA_INDEX_DISCNUMBER, "3"), 1);
    EXPECT_EQ(TAVOAUDIO_GetDiscNum(doc), 3);
}

TEST_F(TavoMetadata, EditionIsOneUndoStepWithoutEventsFromTheSetters)
{
    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Old title"), 1);
    ASSERT_EQ(TAVOAUDIO_SetArtist(doc, "Old artist"), 1);
    events.kinds.clear();

    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, "Edit Tags"), 1);
    EXPECT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 0);   // one at a time
    EXPECT_EQ(TAVOAUDIO_SetTitle(doc, "New title"), 1);
    EXPECT_EQ(TAVOAUDIO_SetArtist(doc, "New artist"), 1);
    EXPECT_EQ(TAVOAUDIO_SetYear(doc, 1999), 1);
    EXPECT_EQ(events.count(TAVOAUDIO_METADATA_CHANGED), 0);
    EXPECT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 0);   // nothing open any more

    EXPECT_EQ(undoSteps(), 1);
    EXPECT_EQ(NextUndo(doc), "Edit Tags");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Field(doc, "TITLE"), "Old title");
    EXPECT_EQ(Field(doc, "ARTIST"), "Old artist");
    EXPECT_EQ(Field(doc, "DATE"), "<none>");
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_EQ(Field(doc, "TITLE"), "New title");
    EXPECT_EQ(TAVOAUDIO_GetYear(doc), 1999);
}

TEST_F(TavoMetadata, EditionOnBareSignalUndoesToNoMetadata)
{
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_SetGenre(doc, "Jazz"), 1);
    ASSERT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(NextUndo(doc), "Change Metadata");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);
}

TEST_F(TavoMetadata, EmptyOrFailedEditionLeavesNoStep)
{
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(undoSteps(), 0);

    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_SetMetaData(doc, "", "x"), 0);
    EXPECT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(undoSteps(), 0);
    EXPECT_EQ(events.count(TAVOAUDIO_METADATA_CHANGED), 0);
}

TEST_F(TavoMetadata, EditionInsideAnUndoGroupLandsInTheGroup)
{
    ASSERT_TRUE(TAVOAUDIO_BeginUndoableOperation(doc, "Group"));
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "In group"), 1);
    ASSERT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(undoSteps(), 0);   // the group is pushed by its opener
    ASSERT_TRUE(TAVOAUDIO_PushUndoableOperation(doc));
    EXPECT_EQ(undoSteps(), 1);
    EXPECT_EQ(NextUndo(doc), "Group");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);
}

TEST_F(TavoMetadata, ReplaceRemoveAndCombineAreUndoableSteps)
{
    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Old"), 1);

    AUDIOMETADATA other = AUDIOMETADATA_New();
    AUDIOMETADATA_SetTitle(other, "Replaced");
    ASSERT_EQ(TAVOAUDIO_ReplaceMetaData(doc, other, nullptr), 1);
    EXPECT_EQ(Field(doc, "TITLE"), "Replaced");
    EXPECT_EQ(NextUndo(doc), "Change Metadata");
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
    EXPECT_EQ(TAVOAUDIO_RemoveAllMetadata(doc, nullptr), 1);   // nothing left to remove
    EXPECT_EQ(undoSteps(), afterRemove);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Field(doc, "TITLE"), "Old");

    // Combine copies what differs, keeps what the source lacks.
    AUDIOMETADATA source = AUDIOMETADATA_New();
    AUDIOMETADATA_SetTitle(source, "Old");
    AUDIOMETADATA_SetAlbumName(source, "Album");
    AUDIOMETADATA_SetArtwork(source, kPng, sizeof kPng, nullptr);
    const int32_t before = undoSteps();
    ASSERT_EQ(TAVOAUDIO_CombineMetaData(doc, source, "Merge Tags"), 1);
    EXPECT_EQ(undoSteps(), before + 1);
    EXPECT_EQ(NextUndo(doc), "Merge Tags");
    EXPECT_EQ(Field(doc, "ALBUM"), "Album");
    EXPECT_EQ(Field(doc, "TITLE"), "Old");
    EXPECT_FALSE(TAVOAUDIO_HasArtwork(doc));   // the mixed-data field is skipped
    // The same source again brings nothing new: no step.
    ASSERT_EQ(TAVOAUDIO_CombineMetaData(doc, source, nullptr), 1);
    EXPECT_EQ(undoSteps(), before + 1);
    AUDIOMETADATA empty = AUDIOMETADATA_New();
    ASSERT_EQ(TAVOAUDIO_CombineMetaData(doc, empty, nullptr), 1);
    EXPECT_EQ(undoSteps(), before + 1);
    EXPECT_EQ(TAVOAUDIO_CombineMetaData(doc, nullptr, nullptr), 0);
    AUDIOMETADATA_Destroy(empty);
    AUDIOMETADATA_Destroy(source);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Field(doc, "ALBUM"), "<none>");
    EXPECT_EQ(Field(doc, "TITLE"), "Old");
}

TEST_F(TavoMetadata, WholeObjectStepsSendChangedAfterwardsAndReplacedFromTheSignal)
{
    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Old"), 1);
    events.kinds.clear();
    events.firstArgs.clear();
    AUDIOMETADATA other = AUDIOMETADATA_New();
    AUDIOMETADATA_SetTitle(other, "New");
    ASSERT_EQ(TAVOAUDIO_ReplaceMetaData(doc, other, nullptr), 1);
    AUDIOMETADATA_Destroy(other);
    EXPECT_EQ(events.count(TAVOAUDIO_METADATA_REPLACED), 1);
    ASSERT_EQ(events.count(TAVOAUDIO_METADATA_CHANGED), 1);
    // The changed event carries the object the signal holds now.
    const auto at = std::find(events.kinds.begin(), events.kinds.end(), TAVOAUDIO_METADATA_CHANGED);
    EXPECT_EQ(events.firstArgs[static_cast<size_t>(at - events.kinds.begin())], TAVOAUDIO_MetaData(doc));
}

TEST_F(TavoMetadata, WholeObjectStepsAreRefusedDuringAnEditionAndWithoutUndo)
{
    AUDIOMETADATA other = AUDIOMETADATA_New();
    AUDIOMETADATA_SetTitle(other, "X");
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_ReplaceMetaData(doc, other, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_CombineMetaData(doc, other, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_RemoveAllMetadata(doc, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_ClearArtwork(doc), 0);
    EXPECT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);
    EXPECT_EQ(undoSteps(), 0);

    auto *record = static_cast<TavoDocument *>(doc);
    record->flags &= ~TAVOAUDIO_FLAG_EDITABLE;
    EXPECT_EQ(TAVOAUDIO_ReplaceMetaData(doc, other, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_CombineMetaData(doc, other, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_SetArtwork(doc, kPng, sizeof kPng, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_MetaData(doc), nullptr);
    record->flags |= TAVOAUDIO_FLAG_EDITABLE;
    AUDIOMETADATA_Destroy(other);
}

TEST_F(TavoMetadata, ArtworkStepsAndTheirUndo)
{
    ASSERT_EQ(TAVOAUDIO_SetArtwork(doc, kPng, sizeof kPng, nullptr), 1);
    EXPECT_TRUE(TAVOAUDIO_HasArtwork(doc));
    EXPECT_FALSE(TAVOAUDIO_HasMetatags(doc));   // an image is no tag
    EXPECT_EQ(NextUndo(doc), "Change Artwork");
    ASSERT_EQ(TAVOAUDIO_ClearArtwork(doc), 1);
    EXPECT_FALSE(TAVOAUDIO_HasArtwork(doc));
    EXPECT_EQ(NextUndo(doc), "Clear Artwork");
    EXPECT_EQ(TAVOAUDIO_ClearArtwork(doc), 1);   // nothing to clear: no step
    EXPECT_EQ(undoSteps(), 2);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_TRUE(TAVOAUDIO_HasArtwork(doc));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_FALSE(TAVOAUDIO_HasArtwork(doc));

    // Inside an edition the artwork is one more change of the edition.
    ASSERT_EQ(TAVOAUDIO_BeginMetadataEdition(doc, nullptr), 1);
    ASSERT_EQ(TAVOAUDIO_SetArtwork(doc, kPng, sizeof kPng, "image/png"), 1);
    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Cover"), 1);
    ASSERT_EQ(TAVOAUDIO_EndMetadataEdition(doc), 1);
    EXPECT_EQ(NextUndo(doc), "Change Metadata");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_FALSE(TAVOAUDIO_HasArtwork(doc));
    EXPECT_EQ(Field(doc, "TITLE"), "<none>");
}

TEST_F(TavoMetadata, LevelGuidesAcceptFractionsOfFullScale)
{
    EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(doc, 0.5, 0), 1);
    EXPECT_DOUBLE_EQ(BLSETTINGS_GetFloatEx(nullptr, "libtavo.tavocanvas.levelguides.value=[0]"), 0.5);
    // -6.0206 dB is half of full scale.
    EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(doc, -20.0 * std::log10(4.0), TAVOAUDIO_LEVELGUIDES_DECIBELS), 1);
    EXPECT_NEAR(BLSETTINGS_GetFloatEx(nullptr, "libtavo.tavocanvas.levelguides.value=[0]"), 0.25, 1e-6);
    for (double bad : {0.0, -0.1, 1.0001, static_cast<double>(NAN), 1e-9})
        EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(doc, bad, 0), 0) << bad;
    EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(doc, 3.0, TAVOAUDIO_LEVELGUIDES_DECIBELS), 0);
    EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(doc, 0.5, 0x80), 0);
    EXPECT_NEAR(BLSETTINGS_GetFloatEx(nullptr, "libtavo.tavocanvas.levelguides.value=[0]"), 0.25, 1e-6);
    EXPECT_EQ(TAVOAUDIO_SetLevelGuidesValueEx(nullptr, 0.5, 0), 0);
}

TEST_F(TavoMetadata, SaveFormatCheckNamesWhatWouldBeLost)
{
    uint32_t losses = 0xffu;
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "WAV", &losses), 1);
    EXPECT_EQ(losses, 0u);

    ASSERT_EQ(TAVOAUDIO_SetTitle(doc, "Tagged"), 1);
    ASSERT_EQ(TAVOAUDIO_SetArtwork(doc, kPng, sizeof kPng, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "FLAC[compression=5]", &losses), 1);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "RAW", &losses), 0);
    EXPECT_EQ(losses, TAVOAUDIO_FORMAT_LOSES_TAGS | TAVOAUDIO_FORMAT_LOSES_ARTWORK);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "WAV[bits=8]", &losses), 0);
    EXPECT_EQ(losses, TAVOAUDIO_FORMAT_LOSES_PRECISION);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "WAV[nc=1]", &losses), 0);
    EXPECT_EQ(losses, TAVOAUDIO_FORMAT_LOSES_CHANNELS);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "NOSUCHFORMAT", &losses), 0);
    EXPECT_EQ(losses, TAVOAUDIO_FORMAT_LOSES_UNWRITABLE);

    // A marker only some formats keep.
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal, 0, 1.0, 1.0, "undef", "mark", nullptr, 0, nullptr, 0), 1);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "AIFF", &losses), 0);
    EXPECT_EQ(losses, TAVOAUDIO_FORMAT_LOSES_MARKERS);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, "WAV", nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_CheckSaveFormatCompability(doc, nullptr, &losses), 0);
}

// A document whose every sample is `level`, so that a gain shows directly.
TAVOAUDIO ConstantDocument(int32_t rate, double seconds, float level)
{
    AUDIOSIGNAL signal = AUDIOSIGNAL_New(("AUTO[sr=" + std::to_string(rate) + ",nc=1]").c_str());
    std::vector<float> samples(static_cast<size_t>(std::llround(seconds * rate)), level);
    AUDIOSIGNAL_AppendSamples(signal, samples.data(), static_cast<int64_t>(samples.size()));
    return TAVOAUDIO_NewFromSignalEx(signal, false, 0);
}

std::string TempFile(const std::string &name)
{
    return (std::filesystem::temp_directory_path() / ("tavo-meta-" + std::to_string(getpid()) + "-" + name)).string();
}

std::vector<float> ReadChannel(AUDIOSIGNAL signal)
{
    std::vector<float> out(static_cast<size_t>(AUDIOSIGNAL_NumFrames(signal)));
    AUDIOSIGNAL_GetChannelSamplesEx(signal, 0, 0, static_cast<int64_t>(out.size()), out.data());
    return out;
}

TEST(TavoRingtone, FadesFromSilenceTitlesAndLeavesTheDocumentAlone)
{
    TAVOAUDIO doc = ConstantDocument(1000, 4.0, 0.5f);
    ASSERT_NE(doc, nullptr);
    ASSERT_EQ(TAVOAUDIO_SetArtist(doc, "Ana"), 1);
    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(TAVOAUDIO_GetAudioSignal(doc), AUDIOSIGNAL_STAMP_CONTENT);
    const std::string file = TempFile("ring.wav");
    ASSERT_EQ(TAVOAUDIO_ExportAsIphoneRingtoneEx(doc, file.c_str(), nullptr, 0), 1);

    uint32_t error = 0;
    AUDIOSIGNAL ring = AUDIOSIGNAL_OpenEx(file.c_str(), "AUTO", AUDIO_OPEN_READ_TAGS | AUDIO_OPEN_NO_MAP, nullptr,
                                          nullptr, &error);
    ASSERT_NE(ring, nullptr);
    const std::vector<float> s = ReadChannel(ring);
    ASSERT_EQ(s.size(), 4000u);
    // A 4 s ringtone fades over 1 s each way: a straight ramp of the gain
    // from 0 at the first frame to 1 at frame 1000, back to 0 at 4 s.
    const float lsb = 1.0f / 32768.0f;
    EXPECT_NEAR(s[0], 0.0f, lsb);
    EXPECT_NEAR(s[250], 0.125f, 2 * lsb);
    EXPECT_NEAR(s[500], 0.25f, 2 * lsb);
    EXPECT_NEAR(s[2000], 0.5f, 2 * lsb);
    EXPECT_NEAR(s[3500], 0.25f, 2 * lsb);
    EXPECT_LT(s[3999], 0.001f);
    char text[64] = "";
    EXPECT_GE(AUDIOMETADATA_CopyMetaData(AUDIOSIGNAL_Metadata(ring), "TITLE", text, sizeof text), 0);
    EXPECT_STREQ(text, "Ringtone");
    EXPECT_GE(AUDIOMETADATA_CopyMetaData(AUDIOSIGNAL_Metadata(ring), "ARTIST", text, sizeof text), 0);
    EXPECT_STREQ(text, "Ana");
    AUDIOSIGNAL_Destroy(ring);

    AUDIOSIGNAL own = TAVOAUDIO_GetAudioSignal(doc);
    EXPECT_EQ(AUDIOSIGNAL_GetTimeStamp(own, AUDIOSIGNAL_STAMP_CONTENT), stamp);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(own), 4000);
    EXPECT_FLOAT_EQ(ReadChannel(own)[0], 0.5f);
    char title[16] = "";
    EXPECT_EQ(TAVOAUDIO_CopyMetaData(doc, "TITLE", title, sizeof title), -1);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    std::filesystem::remove(file);
    TAVOAUDIO_Close(doc);
}

TEST(TavoRingtone, TakesTheSelectionAndStopsAfterThirtySeconds)
{
    TAVOAUDIO doc = ConstantDocument(1000, 40.0, 0.5f);
    ASSERT_NE(doc, nullptr);
    const std::string whole = TempFile("long.flac");
    ASSERT_EQ(TAVOAUDIO_ExportAsIphoneRingtoneEx(doc, whole.c_str(), nullptr, 0), 1);
    AUDIO_FORMAT format;
    int64_t frames = 0;
    uint32_t error = 0;
    ASSERT_TRUE(AUDIOSIGNAL_ProbeFileEx(whole.c_str(), "AUTO", &format, &frames, &error));
    EXPECT_EQ(format.formatTag, AUDIO_FORMATTAG_FLAC);
    EXPECT_EQ(frames, 30000);

    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 5000, 7000, -1, 0), 1);
    const std::string part = TempFile("part.wav");
    ASSERT_EQ(TAVOAUDIO_ExportAsIphoneRingtoneEx(doc, part.c_str(), "WAV", 0), 1);
    ASSERT_TRUE(AUDIOSIGNAL_ProbeFileEx(part.c_str(), "AUTO", nullptr, &frames, &error));
    EXPECT_EQ(frames, 2000);
    ASSERT_EQ(TAVOAUDIO_ExportAsIphoneRingtoneEx(doc, part.c_str(), "WAV", TAVOAUDIO_RINGTONE_FROM_START), 1);
    ASSERT_TRUE(AUDIOSIGNAL_ProbeFileEx(part.c_str(), "AUTO", nullptr, &frames, &error));
    EXPECT_EQ(frames, 30000);

    // No writer for the name's extension: refused, and no file appears.
    const std::string m4r = TempFile("phone.m4r");
    EXPECT_EQ(TAVOAUDIO_ExportAsIphoneRingtoneEx(doc, m4r.c_str(), nullptr, 0), 0);
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, true), 0u);
    EXPECT_FALSE(std::filesystem::exists(m4r));
    std::filesystem::remove(whole);
    std::filesystem::remove(part);
    TAVOAUDIO_Close(doc);
}

}  // namespace
