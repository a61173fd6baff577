#include "platform/plist/Value.h"

#include "platform/loop/NotificationCenter.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

using platform::Notification;
using platform::NotificationCenter;
using platform::Value;

TEST(Value, ACopyKeepsItsContentWhenTheOtherChanges)
{
    Value original(Value::Dictionary{{"list", Value(Value::Array{1, 2})}});
    Value copy = original;
    EXPECT_EQ(copy.dictionary(), original.dictionary()) << "copies share";
    copy.mutableDictionary()["list"].mutableArray().emplace_back(3);
    EXPECT_EQ(original.find("list")->array()->size(), 2U);
    EXPECT_EQ(copy.find("list")->array()->size(), 3U);
    EXPECT_NE(copy, original);
    const auto* own = copy.dictionary();
    copy.mutableDictionary()["more"] = true;
    EXPECT_EQ(copy.dictionary(), own) << "what nobody shares is not copied";
}

TEST(Value, TheWrongKindAnswersAsIfItWereNotThere)
{
    const Value text("12");
    EXPECT_FALSE(text.number() || text.integer() || text.find("12") || text.array());
    EXPECT_TRUE(Value(static_cast<const char*>(nullptr)).isNull());
    const Value members(Value::Dictionary{{"number", 5}});
    EXPECT_FALSE(members.textFor("number") || members.textFor("absent"));
    EXPECT_EQ(Value(true).number(), 1.0);

    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Value(-3.0).integer(), -3);
    for (const double real : {0.5, 9223372036854775808.0, -1e300, infinity, -infinity, infinity - infinity})
        EXPECT_FALSE(Value(real).integer()) << real;
    EXPECT_EQ(Value(-9223372036854775808.0).integer(), std::numeric_limits<std::int64_t>::min());
}

TEST(NotificationCenter, TellsThoseWhoAreThereWhenTheirTurnComes)
{
    NotificationCenter center;
    std::string story;
    int object = 0;
    std::unique_ptr<NotificationCenter::Observation> second;
    std::unique_ptr<NotificationCenter::Observation> third;
    const auto first = center.observe("N", [&](const Notification&) {
        story += "1";
        second.reset();
        if (!third)
            third = center.observe("N", [&](const Notification&) { story += "3"; });
    });
    second = center.observe("N", [&](const Notification&) { story += "2"; });
    const auto other = center.observe("M", [&](const Notification&) { story += "M"; });
    const auto bound = center.observe(
        "N", [&](const Notification& told) { story += told.userInfo.textFor("key").value_or("-"); }, &object);
    center.post("N");
    EXPECT_EQ(story, "1");
    center.post("N", &object, Value(Value::Dictionary{{"key", "b"}}));
    EXPECT_EQ(story, "11b3");
}

} // namespace
