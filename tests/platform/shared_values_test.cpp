#include "platform/plist/Value.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using platform::Value;

TEST(SharedValues, ThreadsMayChangeTheirOwnCopiesOfSharedContent)
{
    const Value shared(Value::Dictionary{{"list", Value(Value::Array(100, Value("entry")))}});
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([copy = shared, thread]() mutable {
            for (int round = 0; round < 200; ++round)
                copy.mutableDictionary()["list"].mutableArray()[0] = thread;
            EXPECT_EQ(copy.find("list")->array()->front(), Value(thread));
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(shared.find("list")->array()->front(), Value("entry"));
}

} // namespace
