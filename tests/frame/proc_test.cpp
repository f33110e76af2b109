// Long operations: progress, cancellation, times, the events they send and
// the registry that follows libaudiosig's operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "audiosignal.h"
#include "blnotify.h"
#include "blutils.h"
#include "document_fixture.h"
#include "log_capture.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoproc.h"

namespace {

// Records the process-wide events whose source is one document.
class ProcessEvents {
public:
    explicit ProcessEvents(TAVOAUDIO doc) : m_doc(doc) { BLNOTIFY_AddDefaultHandler(BLNOTIFY_ANY_KIND, record, this); }
    ~ProcessEvents() { BLNOTIFY_DelDefaultHandler(BLNOTIFY_ANY_KIND, record, this); }

    std::vector<std::pair<int32_t, int64_t>> events()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }
    int count(int32_t kind)
    {
        const auto all = events();
        return static_cast<int>(std::count_if(all.begin(), all.end(), [&](auto &e) { return e.first == kind; }));
    }

private:
    static int32_t record(void *self, const BLNOTIFY_EVENT *event)
    {
        auto *me = static_cast<ProcessEvents *>(self);
        if (event->source == me->m_doc && event->kind >= TAVOEVENT_PROCESS_STARTED &&
            event->kind <= TAVOEVENT_PROCESS_CANCEL_REQUESTED) {
            const std::lock_guard<std::mutex> lock(me->m_mutex);
            me->m_events.emplace_back(event->kind, event->identifier);
        }
        return 1;
    }
    TAVOAUDIO m_doc;
    std::mutex m_mutex;
    std::vector<std::pair<int32_t, int64_t>> m_events;
};

class TavoProcess : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.5);
    ~TavoProcess() override { TAVOAUDIO_Close(doc); }
};

TEST_F(TavoProcess, ProgressIsClampedToUnknownOrOne)
{
    ASSERT_NE(doc, nullptr);
    ASSERT_TRUE(TAVOAUDIO_ProcessStart(doc, true));
    EXPECT_DOUBLE_EQ(TAVOAUDIO_ProcessProgress(doc), -1.0);   // reset: unknown
    EXPECT_TRUE(TAVOAUDIO_ProcessUpdateProgress(doc, 1.7));
    EXPECT_DOUBLE_EQ(TAVOAUDIO_ProcessProgress(doc), 1.0);
    EXPECT_TRUE(TAVOAUDIO_SetProcessProgress(doc, -0.3));
    EXPECT_DOUBLE_EQ(TAVOAUDIO_ProcessProgress(doc), -1.0);
    EXPECT_TRUE(TAVOAUDIO_ProcessUpdateProgress(doc, 0.25));
    EXPECT_DOUBLE_EQ(TAVOAUDIO_ProcessProgress(doc), 0.25);
    EXPECT_TRUE(TAVOAUDIO_ProcessFinish(doc, false));
}

TEST_F(TavoProcess, CancelStopsTheWorkerOnceAndIsRememberedUntilTheNextStart)
{
    ASSERT_NE(doc, nullptr);
    ProcessEvents events(doc);
    ASSERT_TRUE(TAVOAUDIO_ProcessStart(doc, false));
    EXPECT_TRUE(TAVOAUDIO_ProcessInProgress(doc));
    EXPECT_FALSE(TAVOAUDIO_ProcessWasCanceled(doc));

    ASSERT_TRUE(TAVOAUDIO_ProcessCancel(doc));
    EXPECT_TRUE(TAVOAUDIO_ProcessWasCanceled(doc));
    // A running operation with a cancel pending cannot be started over.
    EXPECT_FALSE(TAVOAUDIO_ProcessStart(doc, false));
    EXPECT_FALSE(TAVOAUDIO_ProcessUpdateProgress(doc, 0.5));   // the worker must stop
    EXPECT_TRUE(TAVOAUDIO_ProcessUpdateProgress(doc, 0.6));    // the request was consumed
    EXPECT_TRUE(TAVOAUDIO_ProcessWasCanceled(doc));

    ASSERT_TRUE(TAVOAUDIO_ProcessFinish(doc, false));
    EXPECT_FALSE(TAVOAUDIO_ProcessInProgress(doc));
    EXPECT_TRUE(TAVOAUDIO_ProcessWasCanceled(doc));
    ASSERT_TRUE(TAVOAUDIO_ProcessStart(doc, false));
    EXPECT_FALSE(TAVOAUDIO_ProcessWasCanceled(doc));
    ASSERT_TRUE(TAVOAUDIO_ProcessFinish(doc, true));
    EXPECT_TRUE(TAVOAUDIO_ProcessWasCanceled(doc));

    // Host operations (identifier 0) have nobody to tell about the cancel.
    const std::vector<std::pair<int32_t, int64_t>> expected = {
        {TAVOEVENT_PROCESS_STARTED, 0}, {TAVOEVENT_PROCESS_FINISHED, 0},
        {TAVOEVENT_PROCESS_STARTED, 0}, {TAVOEVENT_PROCESS_CANCELED, 0}};
    EXPECT_EQ(events.events(), expected);
}

TEST_F(TavoProcess, CancelOfASignalOperationIsAnnouncedWithItsIdentifier)
{
    ASSERT_NE(doc, nullptr);
    ProcessEvents events(doc);
    ASSERT_TRUE(TAVOAUDIO_ProcessStartEx(doc, true, 4711));
    ASSERT_TRUE(TAVOAUDIO_ProcessCancel(doc));
    ASSERT_TRUE(TAVOAUDIO_ProcessFinish(doc, true));
    const std::vector<std::pair<int32_t, int64_t>> expected = {{TAVOEVENT_PROCESS_STARTED, 4711},
                                                                {TAVOEVENT_PROCESS_CANCEL_REQUESTED, 4711},
                                                                {TAVOEVENT_PROCESS_CANCELED, 4711}};
    EXPECT_EQ(events.events(), expected);
}

// Cancels asked by a handler of the start event are dropped by a host start.
int32_t cancelOnStart(void *doc, const BLNOTIFY_EVENT *event)
{
    if (event->source == doc && event->kind == TAVOEVENT_PROCESS_STARTED) TAVOAUDIO_ProcessCancel(static_cast<TAVOAUDIO>(doc));
    return 1;
}

TEST_F(TavoProcess, CancelFromTheStartEventIsDropped)
{
    ASSERT_NE(doc, nullptr);
    ASSERT_TRUE(BLNOTIFY_AddDefaultHandler(TAVOEVENT_PROCESS_STARTED, cancelOnStart, doc));
    EXPECT_TRUE(TAVOAUDIO_ProcessStart(doc, false));
    EXPECT_TRUE(TAVOAUDIO_ProcessUpdateProgress(doc, 0.1));
    // libaudiosig's starts keep it: the operation learns at its next report.
    EXPECT_TRUE(TAVOAUDIO_ProcessFinish(doc, false));
    EXPECT_TRUE(TAVOAUDIO_ProcessStarted(doc, 99));
    EXPECT_FALSE(TAVOAUDIO_ProcessUpdateProgress(doc, 0.1));
    BLNOTIFY_DelDefaultHandler(TAVOEVENT_PROCESS_STARTED, cancelOnStart, doc);
    TAVOAUDIO_ProcessFinish(doc, true);
}

TEST_F(TavoProcess, RemainingTimeAfterHalfTheWorkInOneSecond)
{
    ASSERT_NE(doc, nullptr);
    ASSERT_TRUE(TAVOAUDIO_ProcessStart(doc, true));
    ASSERT_TRUE(TAVOAUDIO_ProcessUpdateProgress(doc, 0.5));
    EXPECT_EQ(TAVOAUDIO_ProcessRemainingTime(doc), -1);   // far too early
    BLUTILS_sleep_msec(400);
    EXPECT_EQ(TAVOAUDIO_ProcessRemainingTime(doc), -1);   // still within the first half second
    BLUTILS_sleep_msec(600);

    // Half done after `elapsed` ms: as long again to go, plus the fixed 500
    // ms of slack. The first estimate is the raw one.
    const int32_t low = TAVOAUDIO_ProcessTime(doc);
    const int32_t first = TAVOAUDIO_ProcessRemainingTime(doc);
    const int32_t high = TAVOAUDIO_ProcessTime(doc);
    ASSERT_GE(low, 1000);
    EXPECT_GE(first, low + 500);
    EXPECT_LE(first, high + 500);

    // Later estimates move a tenth of the way towards the raw value: at 0.9
    // the raw value is about elapsed / 9 + 500, far below the first.
    ASSERT_TRUE(TAVOAUDIO_ProcessUpdateProgress(doc, 0.9));
    const int32_t second = TAVOAUDIO_ProcessRemainingTime(doc);
    const int32_t elapsed = TAVOAUDIO_ProcessTime(doc);
    const double raw = elapsed / 0.9 - elapsed + 500;
    EXPECT_NEAR(second, first * 0.9 + raw * 0.1, 10.0);

    // Below 1% there is nothing to extrapolate from.
    ASSERT_TRUE(TAVOAUDIO_ProcessUpdateProgress(doc, 0.005));
    EXPECT_EQ(TAVOAUDIO_ProcessRemainingTime(doc), -1);
    TAVOAUDIO_ProcessFinish(doc, false);
}

TEST_F(TavoProcess, LabelsAreCopied)
{
    ASSERT_NE(doc, nullptr);
    char buffer[8];
    EXPECT_FALSE(TAVOAUDIO_ProcessLabel(doc, buffer, sizeof buffer));
    std::string label = "Saving file";
    ASSERT_TRUE(TAVOAUDIO_SetProcessLabel(doc, label.c_str()));
    label = "changed";
    ASSERT_TRUE(TAVOAUDIO_ProcessLabel(doc, buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "Saving ");                      // cut to the buffer
    ASSERT_TRUE(TAVOAUDIO_SetProcessStateLabel(doc, "step 2"));
    ASSERT_TRUE(TAVOAUDIO_ProcessStateLabel(doc, buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "step 2");
    ASSERT_TRUE(TAVOAUDIO_SetProcessLabel(doc, nullptr));
    EXPECT_FALSE(TAVOAUDIO_ProcessLabel(doc, buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "");
}

TEST(TavoProcessHandles, NullDocumentsFailQuietly)
{
    char buffer[4];
    EXPECT_FALSE(TAVOAUDIO_ProcessStart(nullptr, true));
    EXPECT_FALSE(TAVOAUDIO_ProcessStartEx(nullptr, true, 1));
    EXPECT_FALSE(TAVOAUDIO_ProcessStarted(nullptr, 1));
    EXPECT_FALSE(TAVOAUDIO_ProcessFinish(nullptr, false));
    EXPECT_FALSE(TAVOAUDIO_ProcessFinished(nullptr, true));
    EXPECT_FALSE(TAVOAUDIO_ProcessUpdateProgress(nullptr, 0.5));
    EXPECT_EQ(TAVOAUDIO_ProcessProgress(nullptr), 0.0);
    EXPECT_FALSE(TAVOAUDIO_ProcessCancel(nullptr));
    EXPECT_FALSE(TAVOAUDIO_ProcessInProgress(nullptr));
    EXPECT_FALSE(TAVOAUDIO_ProcessWasCanceled(nullptr));
    EXPECT_FALSE(TAVOAUDIO_SetProcessLabel(nullptr, "x"));
    EXPECT_FALSE(TAVOAUDIO_ProcessStateLabel(nullptr, buffer, sizeof buffer));
    EXPECT_EQ(TAVOAUDIO_ProcessTime(nullptr), -1);
    EXPECT_EQ(TAVOAUDIO_ProcessRemainingTime(nullptr), -1);
    EXPECT_FALSE(TAVOAUDIO_WaitUntilPipeClose(nullptr));
    EXPECT_FALSE(TAVOPROC_CancelOperation(-12345));
    EXPECT_EQ(TAVOPROC_FindAudio(-12345), nullptr);
    EXPECT_FALSE(TAVOPROC_AudioDestroyed(nullptr));
}

// Notifications as libaudiosig sends them: source = the signal's parent
// (the document), identifier = the operation, arg2 = the fraction.
TEST_F(TavoProcess, RegistryFollowsSignalNotifications)
{
    ASSERT_NE(doc, nullptr);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    const int64_t id = 0x7A0001;
    BLNOTIFY_SendEvent(doc, id, AUDIO_NOTIFY_PROCESS_STARTED, signal, nullptr, nullptr);
    EXPECT_EQ(TAVOPROC_FindAudio(id), doc);
    EXPECT_TRUE(TAVOAUDIO_ProcessInProgress(doc));

    double fraction = 0.4;
    EXPECT_EQ(BLNOTIFY_SendEvent(doc, id, AUDIO_NOTIFY_PROCESS_PROGRESS, signal, &fraction, nullptr), 1);
    EXPECT_DOUBLE_EQ(TAVOAUDIO_ProcessProgress(doc), 0.4);
    BLNOTIFY_SendEvent(doc, id, AUDIO_NOTIFY_STEP, signal, const_cast<char *>("Writing"), nullptr);
    char step[16];
    ASSERT_TRUE(TAVOAUDIO_ProcessStateLabel(doc, step, sizeof step));
    EXPECT_STREQ(step, "Writing");

    // A cancel through the registry is answered at the next report: the
    // progress notification answers 0, which stops libaudiosig's operation.
    EXPECT_TRUE(TAVOPROC_CancelOperation(id));
    fraction = 0.5;
    EXPECT_EQ(BLNOTIFY_SendEvent(doc, id, AUDIO_NOTIFY_PROCESS_PROGRESS, signal, &fraction, nullptr), 0);
    BLNOTIFY_SendEvent(doc, id, AUDIO_NOTIFY_PROCESS_CANCELLED, signal, nullptr, nullptr);
    EXPECT_EQ(TAVOPROC_FindAudio(id), nullptr);
    EXPECT_FALSE(TAVOAUDIO_ProcessInProgress(doc));
    EXPECT_TRUE(TAVOAUDIO_ProcessWasCanceled(doc));

    // Notifications for something that is not a live document are ignored.
    BLNOTIFY_SendEvent(nullptr, id + 1, AUDIO_NOTIFY_PROCESS_STARTED, nullptr, nullptr, nullptr);
    EXPECT_EQ(TAVOPROC_FindAudio(id + 1), nullptr);
}

TEST_F(TavoProcess, MetadataAndRegionNotificationsReachTheDocument)
{
    ASSERT_NE(doc, nullptr);
    std::vector<int32_t> kinds;
    auto record = [](void *data, const BLNOTIFY_EVENT *event) -> int32_t {
        static_cast<std::vector<int32_t> *>(data)->push_back(event->kind);
        return 1;
    };
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, record, &kinds));
    BLNOTIFY_SendEvent(doc, 0, AUDIO_NOTIFY_METADATA_REPLACED, TAVOAUDIO_GetAudioSignal(doc), nullptr, nullptr);
    BLNOTIFY_SendEvent(doc, 0, AUDIO_NOTIFY_REGION_CHANGED, TAVOAUDIO_GetAudioSignal(doc), nullptr, nullptr);
    EXPECT_EQ(kinds, (std::vector<int32_t>{TAVOAUDIO_METADATA_REPLACED, TAVOAUDIO_REGION_CHANGED}));
}

TEST(TavoProcessRegistry, DestroyedDocumentDropsItsOperations)
{
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.1);
    ASSERT_NE(doc, nullptr);
    for (int64_t id : {0x7B0001, 0x7B0002, 0x7B0003})
        BLNOTIFY_SendEvent(doc, id, 105, nullptr, nullptr, nullptr);   // registered only
    EXPECT_EQ(TAVOPROC_FindAudio(0x7B0002), doc);
    EXPECT_FALSE(TAVOAUDIO_ProcessInProgress(doc));   // registering starts nothing

    {
        LogCapture log;
        EXPECT_TRUE(TAVOPROC_LogActiveOperations("test"));
        EXPECT_TRUE(log.contains("TAVOPROC [test]:   op 8060929  <kind 105>  running for "));
    }
    LogCapture log;
    ASSERT_TRUE(TAVOAUDIO_Close(doc));
    EXPECT_TRUE(log.contains("TAVOPROC: dropped 3 operation(s) still registered for a destroyed audio"));
    EXPECT_EQ(TAVOPROC_FindAudio(0x7B0001), nullptr);
    EXPECT_EQ(TAVOPROC_FindAudio(0x7B0003), nullptr);
}

// A real save runs libaudiosig's write operation through the default
// handler: it is registered while it runs and gone afterwards.
TEST_F(TavoProcess, SaveLeavesNoOperationBehind)
{
    ASSERT_NE(doc, nullptr);
    ProcessEvents events(doc);
    const std::filesystem::path file = std::filesystem::temp_directory_path() / "tavo_frame_proc_save.wav";
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(doc, file.c_str(), "WAV", 0));
    EXPECT_FALSE(TAVOAUDIO_ProcessInProgress(doc));
    const auto all = events.events();
    ASSERT_FALSE(all.empty());
    // Every start the document saw was followed by its end.
    EXPECT_EQ(events.count(TAVOEVENT_PROCESS_STARTED),
              events.count(TAVOEVENT_PROCESS_FINISHED) + events.count(TAVOEVENT_PROCESS_CANCELED));
    for (const auto &event : all)
        if (event.second > 0) {
            EXPECT_EQ(TAVOPROC_FindAudio(event.second), nullptr);
        }
    std::filesystem::remove(file);
}

}  // namespace
