// The input requester, its guard and events, the prompt text and the keyboard flag.
#include "qzservices/prompt/prompt.hpp"
#include "support/child_process.hpp"

#include <boost/make_shared.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>
#include <gtest/gtest.h>

using namespace services::prompt;
using services::PromptGuard;
using services::PromptHolder;

namespace {

// Collects the requesters of published input request events.
struct Announcements {
    std::vector<int> seen;
    std::unique_ptr<cxutil::eventmgr::Connection> conn;
    Announcements() {
        conn = cxutil::eventmgr::EventMgr::instance()->subscribe<InputRequestEvent>(
            [this](InputRequestEvent const& e) { seen.push_back(e.getRequester()); }, "InputRequestEvent");
    }
    ~Announcements() { conn->disconnect(); }
};

} // namespace

TEST(InputRequesterGuards, NestedGuardsRestoreInOrder) {
    InputRequester before = setInputRequester(COMMAND_LINE);
    {
        InputRequesterGuard outer(DEBUGGER, false);
        EXPECT_EQ(getInputRequester(), DEBUGGER);
        {
            InputRequesterGuard inner(MORE_PROMPT, false);
            EXPECT_EQ(getInputRequester(), MORE_PROMPT);
        }
        EXPECT_EQ(getInputRequester(), DEBUGGER);
    }
    EXPECT_EQ(getInputRequester(), COMMAND_LINE);
    setInputRequester(before);
}

TEST(InputRequesterGuards, PublishingGuardAnnouncesTheNewThenTheRestoredValue) {
    Announcements a;
    setInputRequester(PAUSE);
    { InputRequesterGuard g(INPUT_FUNCTION, true); }
    { InputRequesterGuard quiet(DIALOG, false); }
    EXPECT_EQ(a.seen, (std::vector<int>{INPUT_FUNCTION, PAUSE}));
    setInputRequester(COMMAND_LINE);
}

TEST(InputRequestEvents, EqualityNeedsTheSameRequester) {
    EXPECT_NE(InputRequestEvent(DEBUGGER), InputRequestEvent(PAUSE));
    EXPECT_EQ(InputRequestEvent(), InputRequestEvent(NO_REQUESTER));
    EXPECT_EQ(InputRequestEvent().getRequester(), NO_REQUESTER);
    std::unique_ptr<InputRequestEvent> copy(InputRequestEvent(MORE_PROMPT).clone());
    EXPECT_EQ(*copy, InputRequestEvent(MORE_PROMPT));
    // A subclass's list keeps its own name last, after this class's.
    InputRequestEvent sub(std::vector<std::string>{"SubRequestEvent"}, DEBUGGER);
    EXPECT_EQ(sub.getTypes(),
              (std::vector<std::string>{"BaseEvent", "InputRequestEvent", "SubRequestEvent"}));
    EXPECT_NE(sub, InputRequestEvent(DEBUGGER));
}

TEST(PromptText, ThreeStatesAndNoWayBackThroughTheGuard) {
    auto r = qztest::runInFreshProcess([] {
        QZ_CHILD_CHECK(std::string(PromptHolder::getString()) == ">>", 2);
        QZ_CHILD_CHECK(!PromptHolder::isEmergency() && !PromptHolder::isQuestion(), 3);
        {
            PromptGuard g;
            QZ_CHILD_CHECK(std::string(PromptHolder::getString()) == "Attempt to restart CALYX? [y or n]>>", 4);
            QZ_CHILD_CHECK(PromptHolder::isQuestion() && PromptHolder::isEmergency(), 5);
        }
        QZ_CHILD_CHECK(std::string(PromptHolder::getString()) == "[Please exit and restart CALYX]>>", 6);
        QZ_CHILD_CHECK(PromptHolder::isEmergency() && !PromptHolder::isQuestion(), 7);
        PromptHolder::setState(static_cast<PromptHolder::State>(3));  // unknown states read as normal
        QZ_CHILD_CHECK(std::string(PromptHolder::getString()) == ">>", 8);
        QZ_CHILD_CHECK(getInputRequester() == COMMAND_LINE, 9);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(KeyboardFlag, SetterReturnsThePreviousValue) {
    auto r = qztest::runInFreshProcess([] {
        QZ_CHILD_CHECK(!svIsReadingKeyboardInput(), 2);
        QZ_CHILD_CHECK(svSetReadingKeyboardInput(true) == false, 3);
        QZ_CHILD_CHECK(svSetReadingKeyboardInput(true) == true, 4);
        QZ_CHILD_CHECK(svIsReadingKeyboardInput(), 5);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}
