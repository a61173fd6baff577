#include "platform/plist/Value.h"

#include "OnThreads.h"

#include <gtest/gtest.h>

namespace {

using platform::Value;

TEST(SharedValues, ThreadsMayChangeTheirOwnCopiesOfSharedContent)
{
    const Value shared(Value::Dictionary{{"list", Value(Value::Array(100, Value("entry")))}});
    onThreads(4, [&shared](int thread) {
        Value copy = shared;
        for (int round = 0; round < 200; ++round)
            copy.mutableDictionary()["list"].mutableArray()[0] = thread;
        EXPECT_EQ(copy.find("list")->array()->front(), Value(thread));
    });
    EXPECT_EQ(shared.find("list")->array()->front(), Value("entry"));
}

} // namespace
