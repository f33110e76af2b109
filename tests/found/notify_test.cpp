#include <blnotify.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

// A handler that records what it saw and answers a fixed value.
struct Recorder {
    explicit Recorder(std::string n, int32_t a = 1, std::vector<std::string> *l = nullptr)
        : name(std::move(n)), answer(a), log(l) {}

    std::string name;
    int32_t answer;
    std::vector<std::string> *log;
    std::vector<BLNOTIFY_EVENT> seen;

    static int32_t handle(void *self, const BLNOTIFY_EVENT *event)
    {
        auto *r = static_cast<Recorder *>(self);
        r->seen.push_back(*event);
        if (r->log != nullptr) r->log->push_back(r->name);
        return r->answer;
    }
};

class BlNotifyDispatcher : public ::testing::Test {
protected:
    int owner = 0;
    BLNOTIFY_DISPATCHER dispatcher = BLNOTIFY_CreateDispatcher(&owner);
    std::vector<std::string> order;
    ~BlNotifyDispatcher() override { BLNOTIFY_DestroyDispatcher(dispatcher); }
};

TEST_F(BlNotifyDispatcher, NoHandlerVetoesNothing)
{
    EXPECT_EQ(BLNOTIFY_DispatcherSendEventEx(dispatcher, 0, 1075, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(BLNOTIFY_DispatcherSendEventEx(nullptr, 0, 1075, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(BLNOTIFY_SendEvent(nullptr, 0, 4242, nullptr, nullptr, nullptr), 1);
}

TEST_F(BlNotifyDispatcher, HandlersRunInOrderAndTheFirstObjectionIsTheAnswer)
{
    Recorder a{"a", 1, &order}, b{"b", 0, &order}, c{"c", 2, &order};
    ASSERT_TRUE(BLNOTIFY_AddHandler(dispatcher, BLNOTIFY_ANY_KIND, &Recorder::handle, &a));
    ASSERT_TRUE(BLNOTIFY_AddHandler(dispatcher, BLNOTIFY_ANY_KIND, &Recorder::handle, &b));
    ASSERT_TRUE(BLNOTIFY_AddHandler(dispatcher, BLNOTIFY_ANY_KIND, &Recorder::handle, &c));
    int payload = 7;
    EXPECT_EQ(BLNOTIFY_DispatcherSendEventEx(dispatcher, 99, 1073, &payload, nullptr, nullptr), 0);
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c"}));  // a veto does not stop the others
    ASSERT_EQ(c.seen.size(), 1u);
    EXPECT_EQ(c.seen[0].source, &owner);
    EXPECT_EQ(c.seen[0].identifier, 99);
    EXPECT_EQ(c.seen[0].kind, 1073);
    EXPECT_EQ(c.seen[0].arg1, &payload);
    // Without b, c's 2 is the first answer that is not 1: a close would be refused.
    ASSERT_TRUE(BLNOTIFY_DelHandler(dispatcher, BLNOTIFY_ANY_KIND, &Recorder::handle, &b));
    EXPECT_EQ(BLNOTIFY_DispatcherSendEventEx(dispatcher, 0, 1073, nullptr, nullptr, nullptr), 2);
}

TEST_F(BlNotifyDispatcher, KindFilterAndDuplicateRegistration)
{
    Recorder only{"only", 0};
    ASSERT_TRUE(BLNOTIFY_AddHandler(dispatcher, 1084, &Recorder::handle, &only));
    EXPECT_FALSE(BLNOTIFY_AddHandler(dispatcher, 1084, &Recorder::handle, &only));
    EXPECT_EQ(BLNOTIFY_CountHandlers(dispatcher), 1);
    EXPECT_EQ(BLNOTIFY_DispatcherSendEventEx(dispatcher, 0, 1085, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(BLNOTIFY_DispatcherSendEventEx(dispatcher, 0, 1084, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(only.seen.size(), 1u);
    EXPECT_FALSE(BLNOTIFY_DelHandler(dispatcher, BLNOTIFY_ANY_KIND, &Recorder::handle, &only));
}

// Handlers that change the dispatcher while it sends.
struct Mutator {
    BLNOTIFY_DISPATCHER dispatcher;
    Recorder *victim = nullptr;     // removed on the first call
    Recorder *newcomer = nullptr;   // added on the first call
    bool destroy = false;
    int calls = 0;
    int nestedAnswer = -1;

    static int32_t handle(void *self, const BLNOTIFY_EVENT *event)
    {
        auto *m = static_cast<Mutator *>(self);
        if (++m->calls > 1) return 1;
        if (m->victim) BLNOTIFY_DelHandler(m->dispatcher, BLNOTIFY_ANY_KIND, &Recorder::handle, m->victim);
        if (m->newcomer) BLNOTIFY_AddHandler(m->dispatcher, BLNOTIFY_ANY_KIND, &Recorder::handle, m->newcomer);
        if (event->kind == 1) m->nestedAnswer = BLNOTIFY_DispatcherSendEventEx(m->dispatcher, 0, 2, nullptr, nullptr, nullptr);
        if (m->destroy) BLNOTIFY_DestroyDispatcher(m->dispatcher);
        return 1;
    }
};

TEST_F(BlNotifyDispatcher, HandlersMayChangeTheListAndSendWhileCalled)
{
    Recorder victim{"victim"}, newcomer{"newcomer"};
    Mutator mutator{dispatcher, &victim, &newcomer};
    ASSERT_TRUE(BLNOTIFY_AddHandler(dispatcher, BLNOTIFY_ANY_KIND, &Mutator::handle, &mutator));
    ASSERT_TRUE(BLNOTIFY_AddHandler(dispatcher, BLNOTIFY_ANY_KIND, &Recorder::handle, &victim));
    EXPECT_EQ(BLNOTIFY_DispatcherSendEventEx(dispatcher, 0, 1, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(victim.seen.empty());         // removed before its turn
    // The nested send already saw the newcomer; the outer one did not call it.
    ASSERT_EQ(newcomer.seen.size(), 1u);
    EXPECT_EQ(newcomer.seen[0].kind, 2);
    EXPECT_EQ(mutator.nestedAnswer, 1);
    BLNOTIFY_DispatcherSendEventEx(dispatcher, 0, 3, nullptr, nullptr, nullptr);
    EXPECT_EQ(newcomer.seen.size(), 2u);
}

TEST(BlNotifyTeardown, DestroyingTheDispatcherFromAHandlerStopsTheSend)
{
    BLNOTIFY_DISPATCHER dispatcher = BLNOTIFY_CreateDispatcher(nullptr);
    Mutator mutator{dispatcher};
    mutator.destroy = true;
    Recorder after{"after"};
    ASSERT_TRUE(BLNOTIFY_AddHandler(dispatcher, BLNOTIFY_ANY_KIND, &Mutator::handle, &mutator));
    ASSERT_TRUE(BLNOTIFY_AddHandler(dispatcher, BLNOTIFY_ANY_KIND, &Recorder::handle, &after));
    EXPECT_EQ(BLNOTIFY_DispatcherSendEventEx(dispatcher, 0, 5, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(after.seen.empty());
}

TEST(BlNotifyDefault, SendEventReachesDefaultHandlersOnly)
{
    Recorder global{"global", 1};
    Recorder local{"local", 1};
    BLNOTIFY_DISPATCHER dispatcher = BLNOTIFY_CreateDispatcher(nullptr);
    BLNOTIFY_AddHandler(dispatcher, BLNOTIFY_ANY_KIND, &Recorder::handle, &local);
    ASSERT_TRUE(BLNOTIFY_AddDefaultHandler(BLNOTIFY_ANY_KIND, &Recorder::handle, &global));
    int source = 0;
    EXPECT_EQ(BLNOTIFY_SendEvent(&source, 12, 1152, nullptr, nullptr, nullptr), 1);
    ASSERT_EQ(global.seen.size(), 1u);
    EXPECT_EQ(global.seen[0].source, &source);
    EXPECT_EQ(global.seen[0].identifier, 12);
    EXPECT_TRUE(local.seen.empty());
    ASSERT_TRUE(BLNOTIFY_DelDefaultHandler(BLNOTIFY_ANY_KIND, &Recorder::handle, &global));
    BLNOTIFY_SendEvent(&source, 12, 1152, nullptr, nullptr, nullptr);
    EXPECT_EQ(global.seen.size(), 1u);
    BLNOTIFY_DestroyDispatcher(dispatcher);
}

TEST(BlNotifyHandles, NullArgumentsFailQuietly)
{
    EXPECT_FALSE(BLNOTIFY_DestroyDispatcher(nullptr));
    EXPECT_FALSE(BLNOTIFY_AddHandler(nullptr, 1, &Recorder::handle, nullptr));
    EXPECT_FALSE(BLNOTIFY_DelHandler(nullptr, 1, &Recorder::handle, nullptr));
    EXPECT_EQ(BLNOTIFY_CountHandlers(nullptr), 0);
    EXPECT_FALSE(BLNOTIFY_AddDefaultHandler(1, nullptr, nullptr));
}

} // namespace
