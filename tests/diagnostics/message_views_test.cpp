#include "diagnostics/KRMessageCenter.h"
#include "diagnostics/MessageWindow.h"
#include "toolkit/Noted.h"
#include "toolkit/Workspace.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

// A center with a main table in a window, its detail view and its count field.
struct Shown {
    Shown()
    {
        KRMessageCenter::setSharedCenter(center);
        window.setContent(&table);
        center->setScrollView(&table);
        center->setDescriptionField(&detail);
        center->setHowManyErrorsField(&count);
    }
    ~Shown() { center->setScrollView(nullptr); }

    void add(const MessageText& text, const MessageText& longVersion = nullptr)
    {
        center->newMessage(text, longVersion);
        platform::MainLoop::main().runPending();
    }

    std::shared_ptr<KRMessageCenter> center = KRMessageCenter::create();
    toolkit::Window window;
    toolkit::Table table;
    toolkit::TextView detail;
    toolkit::TextField count;
};

struct CountingDelegate : KRMessageCenterDelegate {
    void messagesCountChanged(int now) override { last = now; }
    int last = -1;
};

TEST(MessageViews, EveryNewMessageRaisesTheWindowAndIsCounted)
{
    Shown shown;
    EXPECT_FALSE(shown.window.isVisible());
    shown.add("one");
    EXPECT_TRUE(shown.window.isVisible());
    EXPECT_EQ(shown.count.stringValue(), "1 message");
    toolkit::Window other;
    other.orderFront();
    shown.add("two");
    EXPECT_EQ(toolkit::ShownWindows::shared().frontToBack().front(), &shown.window);
    EXPECT_EQ(shown.count.stringValue(), "2 messages");
    EXPECT_EQ(toolkit::cellText(shown.table.value("Text", 1)), "two");
    EXPECT_EQ(toolkit::cellText(shown.table.value("Date", 1)).size(), 8U);
    toolkit::Noted list(shown.table);
    shown.count.setStringValue("");
    shown.center->refreshList();
    EXPECT_TRUE(list.takeReload());
    EXPECT_EQ(shown.count.stringValue(), "2 messages");
    shown.center->clearMessages();
    EXPECT_EQ(shown.count.stringValue(), "");
    EXPECT_EQ(shown.table.numberOfRows(), 0);
    shown.add("three");
    shown.table.selectRows({0});
    EXPECT_EQ(shown.detail.string(), "three");
    shown.center->clearMessages();
    EXPECT_EQ(shown.detail.string(), "");

    shown.center->setScrollView(nullptr);
    shown.add("shown nowhere");
    EXPECT_EQ(shown.count.stringValue(), "");
    EXPECT_EQ(shown.table.numberOfRows(), 0);
}

TEST(MessageViews, ASelectionShowsTheDetailOfItsOwnTable)
{
    Shown shown;
    toolkit::Table second;
    toolkit::TextView secondDetail;
    CountingDelegate delegate;
    shown.add("short", "and long");
    shown.center->setAdditionalScrollView(&second, &secondDetail, &delegate);
    EXPECT_EQ(delegate.last, 1);
    shown.add("without");
    EXPECT_EQ(delegate.last, 2);

    shown.table.selectRows({0});
    EXPECT_EQ(shown.detail.string(), "and long");
    EXPECT_EQ(secondDetail.string(), "");
    second.selectRows({1});
    EXPECT_EQ(secondDetail.string(), "without");
    shown.table.selectRows({0, 1});
    EXPECT_EQ(shown.detail.string(), "");
    toolkit::Table third;
    shown.center->setAdditionalScrollView(&third, &secondDetail, &delegate);
    EXPECT_EQ(second.dataSource(), nullptr);
    third.selectRows({0});
    second.setDataSource(shown.center.get());
    second.selectRows({1});
    EXPECT_EQ(secondDetail.string(), "and long") << "the former table tells its selection to nobody";
    second.setDataSource(nullptr);
    shown.center->setAdditionalScrollView(nullptr, nullptr, nullptr);
    EXPECT_EQ(third.dataSource(), nullptr);
}

TEST(MessageViews, TheWindowShowsCopiesAndClearsTheMessages)
{
    const auto center = KRMessageCenter::create();
    KRMessageCenter::setSharedCenter(center);
    MessageWindow messages;
    EXPECT_EQ(messages.table.accessibleName() + ", " + messages.detail.accessibleName() + ", "
            + messages.count.accessibleName(),
        "Messages, Message detail, Message count");
    EXPECT_EQ(messages.table.columns().size(), 2U);
    EXPECT_TRUE(messages.table.column("Date") && messages.table.column("Text"));
    center->newMessage("short", "and long");
    platform::MainLoop::main().runPending();
    EXPECT_TRUE(messages.window.isVisible());
    EXPECT_EQ(messages.count.stringValue(), "1 message");
    EXPECT_NEAR(center->messages()[0]->date(), static_cast<double>(std::time(nullptr)), 60);
    messages.table.selectRows({0});
    EXPECT_EQ(messages.detail.string(), "and long");
    std::string copied;
    toolkit::Workspace::shared().setPasteboardText = [&](const std::string& text) { copied = text; };
    messages.copy.press();
    EXPECT_NE(copied.find("and long"), std::string::npos);
    EXPECT_FALSE(messages.detail.isEditable());
    EXPECT_EQ(messages.clear.window(), &messages.window);
    toolkit::Noted list(messages.table);
    messages.clear.press();
    EXPECT_EQ(messages.table.numberOfRows(), 0);
    EXPECT_TRUE(list.takeReload() && messages.window.userCloses());
    EXPECT_FALSE(center->windowVisible());
    center->updateIfNeccesaryFromTimer();
    EXPECT_FALSE(messages.window.isVisible()) << "nothing new";
    toolkit::Workspace::shared() = {};
}

TEST(MessageViews, RecentRowsAreTintedUntilNoneIsDrawn)
{
    Shown shown;
    shown.add("new");
    EXPECT_FALSE(shown.center->needToRedrawMessageColor() || shown.table.styleForDisplay("Text", 7).font);
    KRMessageCenter::setMessageTableFont("Mono");
    EXPECT_EQ(shown.table.styleForDisplay("Text", 7).font, "Mono");
    KRMessageCenter::setMessageTableFont(std::nullopt);
    const auto style = shown.table.styleForDisplay("Text", 0);
    ASSERT_TRUE(style.background);
    EXPECT_NEAR(style.background->red, 237.0 / 255, 1e-6);
    EXPECT_NEAR(style.background->green, 243.0 / 255, 1e-6);
    EXPECT_NEAR(style.background->blue, 254.0 / 255, 1e-6);
    EXPECT_TRUE(shown.center->needToRedrawMessageColor());

    toolkit::Noted table(shown.table);
    platform::Pace::setFactor(0.01);
    shown.table.styleForDisplay("Text", 0);
    platform::Pace::setFactor(1);
    EXPECT_TRUE(platform::MainLoop::main().runUntil([&] { return table.all.data; }, 10));
    EXPECT_FALSE(shown.center->needToRedrawMessageColor());
    EXPECT_FALSE(shown.table.styleForDisplay("Text", 7).background);
}

} // namespace
