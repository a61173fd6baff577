#include "diagnostics/KRMessageCenter.h"

#include "OnThreads.h"
#include "platform/TemporaryFolder.h"
#include "platform/plist/PropertyList.h"
#include "toolkit/Workspace.h"

#include <gmock/gmock.h>

#include <fmt/format.h>
#include <regex>
#include <sstream>
#include <stdexcept>

// Outside of the namespace below, so that its name is known to the stack.
[[gnu::noinline]] void throwSomewhereElse()
{
    throw std::runtime_error("thrown");
}

namespace {

using testing::HasSubstr;

// A fresh center that everything goes to until the end of the test.
struct MessageCenter : testing::Test {
    MessageCenter()
    {
        platform::MainLoop::main(); // Belongs to this thread, not to the first worker that posts.
        KRMessageCenter::setSharedCenter(center);
    }
    ~MessageCenter() override { platform::MainLoop::main().runPending(); }

    void serve() { platform::MainLoop::main().runPending(); }
    std::vector<std::string> shorts() const
    {
        std::vector<std::string> texts;
        for (const auto& entry : center->messages())
            texts.push_back(entry->shortDescription());
        return texts;
    }

    std::shared_ptr<KRMessageCenter> center = KRMessageCenter::create();
};

TEST_F(MessageCenter, NullIsIgnoredAndAMissingShortTextIsEmpty)
{
    KRMessageCenter::addMessage(nullptr);
    KRMessageCenter::addMessage(nullptr, nullptr);
    KRMessageCenter::seriousErrorMessage(nullptr);
    EXPECT_EQ(center->waitingCount(), 0);

    KRMessageCenter::addMessage(nullptr, "a long text");
    KRMessageCenter::addMessage("short");
    serve();
    EXPECT_THAT(shorts(), testing::ElementsAre("empty", "short"));
    EXPECT_EQ(center->messages()[0]->longDescription(), "a long text");
    EXPECT_FALSE(center->messages()[1]->longDescription());
}

TEST_F(MessageCenter, TheFiveThousandAndFirstBecomesTheWarningAndLaterOnesAreLostUntilCleared)
{
    for (int i = 0; i < 5000; ++i)
        center->newMessage(fmt::format("message {}", i));
    center->newMessage("lost for the warning");
    center->newMessage("passes, for nothing was moved yet");
    serve();
    ASSERT_EQ(center->messages().size(), 5002U);
    EXPECT_EQ(shorts()[5000], "Too many error messages (5,000).  Blocking any further messages.");
    EXPECT_THAT(*center->messages()[5000]->longDescription(),
        testing::StartsWith("Most likely due to out of bounds error messages.  Please report to "));

    center->newMessage("lost");
    serve();
    EXPECT_EQ(center->messages().size(), 5002U);
    center->clearMessages();
    center->newMessage("heard again");
    center->clearMessages(); // Leaves what is on its way.
    serve();
    EXPECT_THAT(shorts(), testing::ElementsAre("heard again"));
}

TEST_F(MessageCenter, AnExceptionIsToldWithTheStackOfItsThrower)
{
    const diagnostics::Exception thrown{"Fault", "too deep",
        {"0   trelkind  0x0000000100001f5c main + 12", "1   ???  no address here", "2   lib 0xdead"}};
    KRMessageCenter::addMessage("Problem", thrown);
    serve();
    EXPECT_EQ(center->messages().at(0)->longDescription(),
        "Full stack trace\n\nname = Fault\nreason = too deep\n\nmain + 12\n0xdead\n");

    try {
        throwSomewhereElse();
    } catch (...) {
        const auto exception = diagnostics::currentException();
        EXPECT_THAT(testing::PrintToString(exception.callStackSymbols),
            testing::ContainsRegex("throwSomewhereElse\\(\\) \\+ [0-9]{1,4}\""));
    }
}

TEST_F(MessageCenter, OnlyTheFirstSeriousErrorsOfAProcessCarryAStack)
{
    for (int i = 0; i < 202; ++i)
        KRMessageCenter::seriousErrorMessage("serious");
    serve();
    const auto messages = center->messages();
    ASSERT_EQ(messages.size(), 202U);
    EXPECT_THAT(messages[0]->longDescription().value_or(""), HasSubstr("0x"));
    EXPECT_TRUE(messages[200]->longDescription() && !messages[201]->longDescription());
}

TEST_F(MessageCenter, AThreadMayHaveACenterOfItsOwn)
{
    const auto own = KRMessageCenter::create();
    std::thread([&own] {
        KRMessageCenter::setCenterOfThread(own);
        KRMessageCenter::addMessage("for the owner");
        KRMessageCenter::setCenterOfThread(nullptr);
        KRMessageCenter::addMessage("for all");
    }).join();
    serve();
    EXPECT_THAT(shorts(), testing::ElementsAre("for all"));
    ASSERT_EQ(own->messages().size(), 1U);
    EXPECT_EQ(own->messages()[0]->shortDescription(), "for the owner");
}

TEST_F(MessageCenter, ThreadsNeverSplitARecordOfTheLog)
{
    const TemporaryFolder folder;
    KRMessageCenter::keepLogInFolder([&folder] {
        KRMessageCenter::addMessage("short while the folder is made", "long while the folder is made");
        return folder.path();
    });
    KRMessageCenter::sharedMessageCenter();
    EXPECT_TRUE(platform::files::exists(folder / "Log"));
    onThreads(8, [](int t) {
        for (int i = 0; i < 100; ++i)
            KRMessageCenter::addMessage(fmt::format("short {} {}", t, i), fmt::format("long {} {}", t, i));
    });
    KRMessageCenter::addMessage("not UTF-8: \xFF");
    serve();

    std::istringstream log(platform::files::readFile(folder / "Log").value_or(""));
    const std::regex record(R"(\d\d/[1-9]\d? at \d\d:\d\d:\d\d : (Started|short(.*)))");
    std::smatch match;
    int records = 0;
    for (std::string line; std::getline(log, line); ++records) {
        ASSERT_TRUE(std::regex_match(line, match, record)) << line;
        ASSERT_EQ(match[1] == "Started", records == 0);
        const std::string text = match[2];
        EXPECT_TRUE(records == 0 || (std::getline(log, line) && line == "long" + text)) << line;
    }
    EXPECT_EQ(records, 802);
    EXPECT_EQ(center->messages().size(), 802U);
    KRMessageCenter::addToLog("for the log alone");
    serve();
    EXPECT_EQ(shorts().size(), 802U);
    EXPECT_THAT(
        platform::files::readFile(folder / "Log").value_or(""), testing::EndsWith(" : for the log alone\n"));
    // The next tests have no log, and nobody minds.
    KRMessageCenter::keepLogInFolder([] { return "/nonexistent"; });
}

TEST(MessageLog, WritesTheDayWithoutALeadingZero)
{
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(diagnostics::logDate(1772355907), "03/1 at 09:05:07");
    EXPECT_EQ(diagnostics::timeOfDay(1772355907), "09:05:07");
}

TEST_F(MessageCenter, CopiesAndMailsItsContent)
{
    auto& workspace = toolkit::Workspace::shared();
    std::string copied, url;
    workspace.setPasteboardText = [&](const std::string& text) { copied = text; };
    workspace.openUrl = [&](const std::string& opened) { url = opened; };
    KRMessageCenter::setDescriptionForApp("version 7");
    center->newMessage("50 % & <more>", "the \"long\" one");
    serve();

    center->copyMessages();
    const auto list = platform::propertylist::parse(copied);
    ASSERT_TRUE(list && list->array());
    const platform::Value& entry = list->array()->at(0);
    EXPECT_EQ(*entry.textFor("Short") + *entry.textFor("Long"), "50 % & <more>the \"long\" one");
    EXPECT_THAT(*entry.textFor("Date"), HasSubstr(" at "));

    center->emailMessages();
    EXPECT_THAT(url,
        testing::MatchesRegex(
            "mailto:.*\\?subject=Error%20Report&body=It%20would%20be%20really%20good%20to%20get"
            "[^&]*Error%20messages%20%3D%20----------%0A[^&]*%0Aversion%207%0A[^&]*"));

    url.clear();
    KRMessageCenter::setDescriptionForApp("\xFF");
    center->emailMessages();
    serve();
    EXPECT_EQ(url, "");
    EXPECT_EQ(shorts().back(), "Could not e-mail this message.  Ran into encoding difficulties");
    KRMessageCenter::setDescriptionForApp(nullptr);
    workspace = {};
}

TEST_F(MessageCenter, ReportingGoesOnWhileMessagesCome)
{
    center->setShouldEmailMessages(true);
    for (int i = 0; i < 50; ++i) {
        center->newMessage("reported");
        serve();
    }
    EXPECT_TRUE(platform::MainLoop::main().runUntil(
        [&] {
            center->newMessage("and more");
            return center->messages().size() > 100;
        },
        10));
    center->setShouldEmailMessages(false);
    EXPECT_TRUE(platform::MainLoop::main().runUntil([&] { return !center->isReporting(); }, 10));
}

} // namespace
