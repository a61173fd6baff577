// What is believed of a task server, and which names reach a script.

#include "platform/TemporaryFolder.h"
#include "remote/server/ScpTransfers.h"
#include "remote/server/ServerMessages.h"
#include "remote/server/ServerPlaces.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

using platform::Value;
using Direction = ScpRequest::Direction;

TEST(ServerNames, OnlyHarmlessOnesReachAScript)
{
    const TemporaryFolder folder;
    const std::string remote = "/var/tmp/TrelkindServer-u/1/0/3";
    struct Case {
        ScpRequest request;
        bool passes;
    };
    const auto there = [&](std::string from, std::string to, std::string user = "u", std::string host = "h") {
        return ScpRequest{Direction::ToServer, user, host, from, to, nullptr};
    };
    const auto here = [&](std::string from, std::string to) {
        return ScpRequest{Direction::FromServer, "u", "h", from, to, nullptr};
    };
    std::vector<Case> cases{{there("/a b/c d", remote), true}, {there("/a:b/c", remote), true},
        {there("/a\"$b/c", remote), true}, {there("/a/b:c", remote), false}, {there("/a/-rf", remote), false},
        {there("/a", remote, "u_1.x-"), true}, {there("/a", remote, "u", "10.0.0.1"), true},
        {there("/a", "h:x/y"), false}, {there("/a", "/x y/z:q"), true}, {here(remote, folder.path()), true},
        {here("", folder.path()), false}, {here(remote, "/no/such"), true}, {here(remote, "/no/-x"), false},
        {here(remote, folder / "a`b"), false}};
    for (const std::string odd : {"", "-u", "u v", "u;v", "ü", "u\n", "u@v", "u/v", "$u", "u:"}) {
        cases.push_back({there("/a", remote, odd), false});
        cases.push_back({there("/a", remote, "u", odd), false});
    }
    for (const char odd : std::string("\"'$`\\\n\r") + '\0') {
        cases.push_back({there(std::string("/a/b") + odd, remote), false});
        cases.push_back({there("/a/b", remote + odd), false});
        cases.push_back({here(remote + odd, folder.path()), false});
    }
    for (const char odd : std::string("*?[]{}~;&|<>()!#")) {
        cases.push_back({there(std::string("/a/b") + odd, remote), true});
        cases.push_back({there("/a/b", remote + odd), false});
    }
    for (const auto& [request, passes] : cases) {
        const auto status = request.check();
        EXPECT_EQ(status.ok(), passes) << request.scriptText("m");
        EXPECT_TRUE(status || status.error().text.ends_with('.')) << status.error().text;
    }

    const auto text = [](const ScpRequest& request) {
        return request.scriptText("/m") + " in " + request.workDirectory();
    };
    const std::string start = "#!/bin/sh\n\ntouch /m\nscp -rBpq ";
    EXPECT_EQ(text(there("/w x/3", remote)), start + "\"3\" u@h:\"" + remote + "\" in /w x");
    EXPECT_EQ(text(here(remote, folder.path())), start + "u@h:\"" + remote + "\" . in " + folder.path());
    EXPECT_EQ(
        text(here(remote, folder / "new")), start + "u@h:\"" + remote + "\" \"new\" in " + folder.path());
}

TEST(ServerNames, APortFileHoldsAPortAndMayHoldASecret)
{
    struct Case {
        std::string content;
        int port;
        std::string secret;
    };
    const std::string secret(32, 's');
    for (const auto& [content, port, wanted] : std::vector<Case>{{"1234\n" + secret + "\n", 1234, secret},
             {" 12x\n  " + secret + " \r\nmore", 12, secret}, {"1234", 1234, ""}, {"", 0, ""}, {"x", 0, ""},
             {"-5\n" + secret, -5, secret}, {"99999999999999999999", std::numeric_limits<int>::max(), ""},
             {"1\nshort", 1, ""}, {"1\n" + std::string(16, 's'), 1, std::string(16, 's')},
             {"1\n" + std::string(1025, 's'), 1, ""}, {"1\n" + secret + " " + secret, 1, ""},
             {std::string("1\n0123456789abcdef\0", 19), 1, ""}}) {
        const auto file = serverplaces::readPortFile(content);
        EXPECT_EQ(file.port, port) << content;
        EXPECT_EQ(file.secret.value_or(""), wanted) << content;
    }
}

TEST(ServerMessages, WhatCannotBeIsNotBelieved)
{
    using servermessages::readNews;
    const Value::Dictionary whole{{"TaskNumber", 3}, {"WrapperName", "/w"}, {"Lines", 7}};
    const auto changed = [&](const char* key, Value value) {
        auto dictionary = whole;
        dictionary[key] = std::move(value);
        return readNews("newOutputLength:", dictionary);
    };
    const auto news = readNews("newOutputLength:", whole);
    ASSERT_TRUE(news);
    EXPECT_TRUE(news->taskNumber == 3 && news->wrapperName == "/w" && news->lines == 7 && !news->isAborted);
    EXPECT_FALSE(readNews("somethingElse:", whole));
    EXPECT_FALSE(readNews("newOutputLength:", Value()));
    EXPECT_TRUE(changed("Aborted", "YES")->isAborted);
    EXPECT_EQ(changed("Lines", 4'000'000'000.0)->lines, servermessages::kMostLines);
    EXPECT_EQ(changed("Lines", 0)->lines, 0);
    EXPECT_EQ(changed("TaskNumber", 3.0)->taskNumber, 3);
    for (const Value& odd : {Value(-1), Value("3"), Value(), Value(0.5), Value(1e300),
             Value(std::numeric_limits<std::int64_t>::min()), Value(Value::Array{1})}) {
        EXPECT_FALSE(changed("TaskNumber", odd));
        EXPECT_FALSE(changed("Lines", odd));
        EXPECT_FALSE(servermessages::readClientNumber(odd));
    }
    EXPECT_TRUE(
        readNews("startedComputingTask:", Value::Dictionary{{"TaskNumber", 3}, {"WrapperName", "/w"}}))
        << "only an output has lines";
    EXPECT_FALSE(changed("WrapperName", 3));
    EXPECT_FALSE(changed("WrapperName", std::string(5000, 'w')));
    EXPECT_EQ(servermessages::readClientNumber(0), 0);
    EXPECT_FALSE(servermessages::readClientNumber(std::numeric_limits<std::int64_t>::max()));

    EXPECT_EQ(servermessages::readLoadLevel(0.5), 0.5);
    for (const Value& odd : {Value(-0.5), Value("1"), Value(), Value(std::numeric_limits<double>::infinity()),
             Value(std::numeric_limits<double>::quiet_NaN())})
        EXPECT_FALSE(servermessages::readLoadLevel(odd));

    EXPECT_EQ(servermessages::readLine("line"), "line");
    EXPECT_FALSE(servermessages::readLine(3));
    // Cut at a whole character.
    const std::string line = std::string(servermessages::kLongestLine - 1, 'x') + "\u00fc" + "more";
    EXPECT_EQ(servermessages::readLine(line)->size(), servermessages::kLongestLine - 1);
}

} // namespace
