// file_test.cpp: opening (format detection, links, view defaults, events),
// saving in place and under a name, failed saves, revert, rename and the
// stamps of the file on disk.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <cstring>
#include <string>

#include "../../frame/document_p.h"
#include "../../view/state_p.h"
#include "audiometadata.h"
#include "blsettings.h"
#include "document_fixture.h"
#include "document_helpers.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "tavozoom.h"

namespace {

using doctest::ScratchDir;

TEST(TavoAudioOpen, AutoBecomesTheDetectedFormatWithItsExtraParameters)
{
    ScratchDir dir;
    const std::string plain = dir.file("plain.wav");
    const std::string wide = dir.file("wide.wav");
    ASSERT_TRUE(doctest::WriteWav(plain, 8000, 1, 0.2, 16));
    ASSERT_TRUE(doctest::WriteWav(wide, 8000, 2, 0.2, 24));
    // No vertical scale configured: wide audio gets the normalized scale.
    BLSETTINGS_ResetEx(nullptr, "libtavo.draw.vertscalekind");

    TAVOAUDIO a = TAVOAUDIO_OpenEx(plain.c_str(), "AUTO", 0);
    ASSERT_NE(a, nullptr);
    EXPECT_STREQ(TAVOAUDIO_GetFileFormatString(a), "WAV");
    EXPECT_TRUE(TAVOAUDIO_IsOpen(a));
    EXPECT_FALSE(TAVOAUDIO_HasChanges(a));
    EXPECT_STREQ(TAVOAUDIO_GetDisplayName(a), "plain.wav");
    EXPECT_DOUBLE_EQ(TAVOAUDIO_GetTempo(a), 15.0);   // no tempo tag

    TAVOAUDIO b = TAVOAUDIO_OpenEx(wide.c_str(), "AUTO", 0);
    ASSERT_NE(b, nullptr);
    EXPECT_STREQ(TAVOAUDIO_GetFileFormatString(b), "WAV[bits=24]");
    EXPECT_EQ(TAVOAUDIO_GetDrawProperty(b, 2), 3);

    EXPECT_TRUE(TAVOAUDIO_Close(a));
    EXPECT_TRUE(TAVOAUDIO_Close(b));
}

TEST(TavoAudioOpen, MissingFileGivesNullAndProbeReportsWhy)
{
    ScratchDir dir;
    EXPECT_EQ(TAVOAUDIO_OpenEx(dir.file("absent.wav").c_str(), "AUTO", 0), nullptr);
    uint32_t error = 0;
    EXPECT_FALSE(TAVOAUDIO_CanOpenEx(dir.file("absent.wav").c_str(), "AUTO", &error));
    EXPECT_EQ(error, 3u);   // file not found
    const std::string wav = dir.file("a.wav");
    ASSERT_TRUE(doctest::WriteWav(wav, 8000, 2, 0.5, 16));
    AUDIO_FORMAT format;
    int64_t frames = 0;
    EXPECT_TRUE(TAVOAUDIO_ProbeFileEx(wav.c_str(), "AUTO", &format, &frames, &error));
    EXPECT_EQ(frames, 4000);
    EXPECT_EQ(format.numChannels, 2);
}

TEST(TavoAudioOpen, DatabaseEventsFollowTheFinishInOrder)
{
    ScratchDir dir;
    const std::string wav = dir.file("a.wav");
    ASSERT_TRUE(doctest::WriteWav(wav, 8000, 1, 0.2, 16));
    doctest::EventLog log;
    struct FileIdFiller {
        static int32_t Handler(void *, const BLNOTIFY_EVENT *event)
        {
            *static_cast<int64_t *>(event->arg2) = 42;
            return 1;
        }
    };
    for (int32_t kind : {1153, 1069, 1067, 1068, 1070})
        ASSERT_TRUE(BLNOTIFY_AddDefaultHandler(kind, doctest::EventLog::Handler, &log));
    ASSERT_TRUE(BLNOTIFY_AddDefaultHandler(TAVODATABASE_GET_FILE_ID, FileIdFiller::Handler, nullptr));

    // The reading itself may report its own finish (1153) first; what
    // matters is the tail: the document's finish, then the database events.
    const auto tail = [&log](size_t count) {
        return std::vector<int32_t>(log.kinds.end() - static_cast<std::ptrdiff_t>(std::min(count, log.kinds.size())),
                                    log.kinds.end());
    };
    TAVOAUDIO doc = TAVOAUDIO_OpenEx(wav.c_str(), "AUTO", 0);
    ASSERT_NE(doc, nullptr);
    EXPECT_EQ(tail(5), (std::vector<int32_t>{1153, 1069, 1067, 1068, 1070}));
    EXPECT_EQ(TAVOAUDIO_GetState(doc)->fileId, 42);
    EXPECT_EQ(log.firstArgs[log.firstArgs.size() - 4], static_cast<void *>(doc));

    // Open flag 1 leaves out the recent-file event.
    log.kinds.clear();
    log.firstArgs.clear();
    TAVOAUDIO quiet = TAVOAUDIO_OpenEx(wav.c_str(), "AUTO", TAVOAUDIO_OPEN_NO_RECENT);
    ASSERT_NE(quiet, nullptr);
    EXPECT_EQ(tail(4), (std::vector<int32_t>{1153, 1069, 1067, 1068}));
    EXPECT_EQ(log.count(1070), 0);

    for (int32_t kind : {1153, 1069, 1067, 1068, 1070})
        BLNOTIFY_DelDefaultHandler(kind, doctest::EventLog::Handler, &log);
    BLNOTIFY_DelDefaultHandler(TAVODATABASE_GET_FILE_ID, FileIdFiller::Handler, nullptr);
    TAVOAUDIO_Close(doc);
    TAVOAUDIO_Close(quiet);
}

TEST(TavoAudioOpen, LinkFileOptionsDecideEditability)
{
    ScratchDir dir;
    ASSERT_TRUE(doctest::WriteWav(dir.file("a.wav"), 8000, 1, 0.2, 16));
    doctest::WriteText(dir.file("locked.tavolink"), "[tavo.link]\nfile = a.wav\noptions = no editable\n");
    doctest::WriteText(dir.file("free.tavolink"), "[tavo.link]\nfile = a.wav\n");
    doctest::WriteText(dir.file("relocked.tavolink"),
                       "[tavo.link]\nfile = a.wav\noptions = no_editable\ntavooptions = editable\n");

    TAVOAUDIO locked = TAVOAUDIO_OpenEx(dir.file("locked.tavolink").c_str(), "AUTO", 0);
    ASSERT_NE(locked, nullptr);
    EXPECT_FALSE(TAVOAUDIO_IsEditable(locked));
    EXPECT_FALSE(TAVOAUDIO_GetEditAccessEx(locked, false));
    EXPECT_STREQ(TAVOAUDIO_GetFileFormatString(locked), "LINK");
    // A link file is no audio file to write back into.
    EXPECT_FALSE(TAVOAUDIO_SaveEx(locked, 0));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(TAVOAUDIO_GetAudioSignal(locked)), 1600);

    TAVOAUDIO free = TAVOAUDIO_OpenEx(dir.file("free.tavolink").c_str(), "AUTO", 0);
    ASSERT_NE(free, nullptr);
    EXPECT_TRUE(TAVOAUDIO_IsEditable(free));
    // "tavooptions" is read after "options" and wins.
    TAVOAUDIO relocked = TAVOAUDIO_OpenEx(dir.file("relocked.tavolink").c_str(), "AUTO", 0);
    ASSERT_NE(relocked, nullptr);
    EXPECT_TRUE(TAVOAUDIO_IsEditable(relocked));

    TAVOAUDIO_Close(locked);
    TAVOAUDIO_Close(free);
    TAVOAUDIO_Close(relocked);
}

TEST(TavoAudioSave, SaveAsThenReopenGivesTheSameSamples)
{
    ScratchDir dir;
    const std::string path = dir.file("sine.wav");
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 2, 0.5);
    ASSERT_NE(doc, nullptr);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), "WAV[bits=32,type=float]", 0));
    EXPECT_FALSE(TAVOAUDIO_HasChanges(doc));
    EXPECT_STREQ(TAVOAUDIO_GetFileName(doc), path.c_str());
    EXPECT_FALSE(TAVOAUDIO_FileChangedExternally(doc));

    TAVOAUDIO again = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(again, nullptr);
    EXPECT_STREQ(TAVOAUDIO_GetFileFormatString(again), "WAV[bits=32,type=float]");
    for (int32_t c = 0; c < 2; ++c)
        EXPECT_EQ(doctest::Channel(TAVOAUDIO_GetAudioSignal(doc), c),
                  doctest::Channel(TAVOAUDIO_GetAudioSignal(again), c));

    // In place: an edit reaches the file.
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(again);
    ASSERT_TRUE(AUDIOSIGNAL_SetSample(signal, 0, 10, 0.75));
    EXPECT_TRUE(TAVOAUDIO_HasChanges(again));
    ASSERT_TRUE(TAVOAUDIO_SaveEx(again, 0));
    EXPECT_FALSE(TAVOAUDIO_HasChanges(again));
    TAVOAUDIO third = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(third, nullptr);
    EXPECT_FLOAT_EQ(static_cast<float>(AUDIOSIGNAL_GetSample(TAVOAUDIO_GetAudioSignal(third), 0, 10)), 0.75f);

    // The document that wrote the file first now sees it changed by another
    // (the rewrite may fall within the same millisecond: move its time on).
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + std::chrono::seconds(2));
    EXPECT_TRUE(TAVOAUDIO_FileChangedExternally(doc));
    char stamps[256];
    ASSERT_TRUE(TAVOAUDIO_GetExternalChangeStamps(doc, stamps, sizeof(stamps)));
    EXPECT_EQ(std::strncmp(stamps, "AudioLoadStamp: ", 16), 0);
    EXPECT_NE(std::strstr(stamps, " / AudioFileStamp: "), nullptr);
    EXPECT_TRUE(TAVOAUDIO_AcceptExternalChange(doc));
    EXPECT_FALSE(TAVOAUDIO_FileChangedExternally(doc));

    TAVOAUDIO_Close(doc);
    TAVOAUDIO_Close(again);
    TAVOAUDIO_Close(third);
}

TEST(TavoAudioSave, FailedSaveKeepsTheOldFileAndReportsWhy)
{
    ScratchDir dir;
    const std::string path = dir.file("keep.wav");
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.2);
    ASSERT_NE(doc, nullptr);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), "WAV", 0));
    const std::string before = doctest::ReadBytes(path);
    ASSERT_FALSE(before.empty());
    ASSERT_TRUE(AUDIOSIGNAL_SetSample(TAVOAUDIO_GetAudioSignal(doc), 0, 0, -0.5));

    // A folder that does not exist, a file standing where a folder should
    // be, and a format that cannot hold the request.
    const std::string missing = dir.file("no/such/folder/x.wav");
    const std::string underFile = path + "/x.wav";
    for (const std::string &target : {missing, underFile}) {
        EXPECT_FALSE(TAVOAUDIO_SaveAsEx(doc, target.c_str(), "WAV", 0)) << target;
        const uint32_t code = TAVOAUDIO_GetLastError(doc, true);
        EXPECT_NE(code, 0u) << target;
        EXPECT_NE(code, 13u) << target;
    }
    EXPECT_FALSE(TAVOAUDIO_SaveAsEx(doc, path.c_str(), "FLAC[bits=32]", 0));
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, true), 0u);

    EXPECT_EQ(doctest::ReadBytes(path), before);
    EXPECT_STREQ(TAVOAUDIO_GetFileName(doc), path.c_str());   // still its own file
    EXPECT_TRUE(TAVOAUDIO_HasChanges(doc));
    EXPECT_FALSE(TAVOAUDIO_SaveAsEx(doc, nullptr, "WAV", 0));
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, true), 0u);
    TAVOAUDIO_Close(doc);
}

TEST(TavoAudioSave, DocumentWithoutFileIsSavedUnderANameOnly)
{
    TAVOAUDIO doc = TAVOAUDIO_New("AUTO[sr=8000,nc=1]");
    ASSERT_NE(doc, nullptr);
    EXPECT_FALSE(TAVOAUDIO_SaveEx(doc, 0));
    EXPECT_FALSE(TAVOAUDIO_RevertToSaved(doc));
    TAVOAUDIO_Close(doc);
}

TEST(TavoAudioSave, CopyLeavesTheDocumentAsItWas)
{
    ScratchDir dir;
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.2);
    ASSERT_NE(doc, nullptr);
    const std::string name = TAVOAUDIO_GetFileName(doc);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, dir.file("copy.wav").c_str(), "WAV", TAVOAUDIO_SAVE_COPY));
    EXPECT_EQ(name, TAVOAUDIO_GetFileName(doc));
    EXPECT_TRUE(TAVOAUDIO_HasChanges(doc));
    EXPECT_FALSE(doctest::ReadBytes(dir.file("copy.wav")).empty());
    TAVOAUDIO_Close(doc);
}

TEST(TavoAudioFile, RevertDropsUnsavedEdits)
{
    ScratchDir dir;
    const std::string path = dir.file("r.wav");
    ASSERT_TRUE(doctest::WriteWav(path, 8000, 1, 0.2, 16));
    TAVOAUDIO doc = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(doc, nullptr);
    const std::vector<float> original = doctest::Channel(TAVOAUDIO_GetAudioSignal(doc), 0);
    ASSERT_TRUE(AUDIOSIGNAL_SetSample(TAVOAUDIO_GetAudioSignal(doc), 0, 5, 0.9));
    ASSERT_TRUE(TAVOAUDIO_HasChanges(doc));
    ASSERT_TRUE(TAVOAUDIO_RevertToSaved(doc));
    EXPECT_FALSE(TAVOAUDIO_HasChanges(doc));
    EXPECT_EQ(doctest::Channel(TAVOAUDIO_GetAudioSignal(doc), 0), original);

    // A file that went away cannot be reverted to; the document stays.
    std::remove(path.c_str());
    AUDIOSIGNAL kept = TAVOAUDIO_GetAudioSignal(doc);
    EXPECT_FALSE(TAVOAUDIO_RevertToSaved(doc));
    EXPECT_EQ(TAVOAUDIO_GetLastError(doc, true), 3u);
    EXPECT_EQ(TAVOAUDIO_GetAudioSignal(doc), kept);
    EXPECT_TRUE(TAVOAUDIO_FileChangedExternally(doc));
    TAVOAUDIO_Close(doc);
}

TEST(TavoAudioFile, RenameMovesTheFileButNeverOverAnother)
{
    ScratchDir dir;
    const std::string a = dir.file("a.wav");
    const std::string b = dir.file("b.wav");
    const std::string c = dir.file("c.wav");
    ASSERT_TRUE(doctest::WriteWav(a, 8000, 1, 0.1, 16));
    ASSERT_TRUE(doctest::WriteWav(c, 8000, 1, 0.1, 16));
    TAVOAUDIO doc = TAVOAUDIO_OpenEx(a.c_str(), "AUTO", 0);
    ASSERT_NE(doc, nullptr);
    doctest::EventLog log;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_FILENAME_CHANGED, doctest::EventLog::Handler, &log));

    ASSERT_TRUE(TAVOAUDIO_RenameEx(doc, b.c_str(), 0));
    EXPECT_STREQ(TAVOAUDIO_GetFileName(doc), b.c_str());
    EXPECT_STREQ(TAVOAUDIO_GetDisplayName(doc), "b.wav");
    EXPECT_TRUE(doctest::ReadBytes(a).empty());
    EXPECT_FALSE(doctest::ReadBytes(b).empty());
    EXPECT_EQ(log.count(TAVOAUDIO_FILENAME_CHANGED), 1);
    EXPECT_FALSE(TAVOAUDIO_FileChangedExternally(doc));

    const std::string cBefore = doctest::ReadBytes(c);
    EXPECT_FALSE(TAVOAUDIO_RenameEx(doc, c.c_str(), 0));
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, true), 0u);
    EXPECT_EQ(doctest::ReadBytes(c), cBefore);
    EXPECT_STREQ(TAVOAUDIO_GetFileName(doc), b.c_str());
    TAVOAUDIO_Close(doc);
}

TEST(TavoAudioFile, CloseModeOneKeepsALinkThatOpensAgain)
{
    ScratchDir dir;
    const std::string path = dir.file("l.wav");
    ASSERT_TRUE(doctest::WriteWav(path, 8000, 1, 0.2, 16));
    TAVOAUDIO doc = TAVOAUDIO_OpenEx(path.c_str(), "AUTO", 0);
    ASSERT_NE(doc, nullptr);
    const std::vector<float> samples = doctest::Channel(TAVOAUDIO_GetAudioSignal(doc), 0);

    // Not while the host must be asked first.
    TAVOAUDIO_GetState(doc)->fileFlags |= 0x2;
    EXPECT_FALSE(TAVOAUDIO_CloseEx(doc, 1));
    EXPECT_TRUE(TAVOAUDIO_IsOpen(doc));
    TAVOAUDIO_GetState(doc)->fileFlags &= ~0x2u;

    EXPECT_FALSE(TAVOAUDIO_CloseEx(doc, 1));   // answers false, and did it
    EXPECT_TRUE(TAVOAUDIO_IsValid(doc));
    EXPECT_TRUE(TAVOAUDIO_IsLink(doc));
    EXPECT_FALSE(TAVOAUDIO_IsOpen(doc));
    EXPECT_EQ(TAVOAUDIO_GetAudioSignal(doc), nullptr);
    EXPECT_EQ(TAVOAUDIO_GetState(doc)->fileFlags, 0x14u);
    EXPECT_FALSE(TAVOAUDIO_SaveEx(doc, 0));

    ASSERT_TRUE(TAVOAUDIO_OpenLinkEx(doc, nullptr, 0));
    EXPECT_TRUE(TAVOAUDIO_IsOpen(doc));
    EXPECT_FALSE(TAVOAUDIO_OpenLinkEx(doc, nullptr, 0));   // has audio again
    EXPECT_EQ(doctest::Channel(TAVOAUDIO_GetAudioSignal(doc), 0), samples);
    TAVOAUDIO_Close(doc);
}

} // namespace
