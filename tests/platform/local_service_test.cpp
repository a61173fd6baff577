#include "platform/service/LocalService.h"

#include "platform/TemporaryFolder.h"
#include "platform/files/Descriptor.h"
#include "platform/files/Places.h"
#include "platform/loop/MainLoop.h"
#include "platform/process/Process.h"
#include "platform/service/ServiceConnection.h"
#include "platform/service/ServiceMessages.h"

#include <csignal>
#include <cstring>
#include <gmock/gmock.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <tuple>
#include <unistd.h>

namespace {

using platform::LocalService;
using platform::MainLoop;
using platform::Places;
using platform::Process;
using platform::ServiceConnection;
using platform::ServiceMessage;
using platform::ServiceMessageReader;
using platform::Value;
using testing::HasSubstr;
namespace files = platform::files;
using Failure = ServiceConnection::Failure;

Value textArgument(const std::string& text)
{
    return Value(Value::Dictionary{{"text", text}});
}

TEST(ServiceMessages, AnyPartOfAStreamMayComeAlone)
{
    const ServiceMessage sent[] = {{ServiceMessage::Kind::OneWay, 0, "tell", textArgument("é")},
        {ServiceMessage::Kind::Call, 7, "ask", Value()},
        {ServiceMessage::Kind::Reply, 7, "", Value(Value::Array{1, 2})}};
    std::string stream;
    for (const ServiceMessage& message : sent)
        stream += *platform::encode(message);
    ServiceMessageReader reader;
    std::size_t complete = 0;
    for (const char byte : stream) {
        ASSERT_TRUE(reader.append({&byte, 1}));
        while (const auto message = reader.next()) {
            ASSERT_LT(complete, std::size(sent));
            const ServiceMessage& wanted = sent[complete++];
            EXPECT_TRUE(message->kind == wanted.kind && message->number == wanted.number
                && message->operation == wanted.operation && message->content == wanted.content);
        }
    }
    EXPECT_EQ(complete, std::size(sent));
    EXPECT_EQ(reader.bytesWaiting(), 0U);
    for (const std::string& wrong :
        {std::string("\x04\0\0\1", 4), std::string("\0\0\0\1x", 5), std::string("\0\0\0\0", 4)})
        EXPECT_FALSE(ServiceMessageReader().append(wrong));
}

struct LocalServiceTest : testing::Test {
    void SetUp() override
    {
        Places::setRoot(folder.path());
        setenv("TRELKIND_PLACES", folder.path().c_str(), 1);
    }
    void TearDown() override
    {
        for (const auto& process : peers)
            process->terminate();
        Process::finishTerminations(20);
        Places::setRoot("");
        unsetenv("TRELKIND_PLACES");
    }
    // Connects until the queue of a stopped peer is full.
    static auto fillQueue()
    {
        std::vector<std::unique_ptr<ServiceConnection>> queue;
        while (auto waiting = ServiceConnection::connect("Peer", 0)) {
            queue.push_back(std::move(*waiting));
            if (queue.size() == 1000)
                throw std::runtime_error("the queue never fills");
        }
        return queue;
    }
    // Counts how often the peer of a connection dies.
    void countDeaths(ServiceConnection& connection)
    {
        deaths = 0;
        connection.whenPeerDies([this] { ++deaths; });
    }
    std::shared_ptr<Process> startPeer()
    {
        std::ignore = files::remove(folder / "told");
        const auto process = Process::launch({SERVICE_PEER, {"Peer", folder / "told"}, ""});
        EXPECT_TRUE(process) << process.error().reason;
        peers.push_back(*process);
        EXPECT_TRUE(told("ready")) << "the name can't be had";
        return *process;
    }
    // The same, whatever the peer tells of its connections in between.
    bool toldInOrder(const std::string& lines)
    {
        return loop.runUntil(
            [&] {
                std::istringstream told(files::readFile(folder / "told").value_or(""));
                std::string others = "\n";
                for (std::string line; std::getline(told, line);)
                    if (!line.starts_with("connections "))
                        others += line + "\n";
                return others.find("\n" + lines + "\n") != std::string::npos;
            },
            20);
    }
    bool told(const std::string& line)
    {
        return loop.runUntil(
            [&] {
                return ("\n" + files::readFile(folder / "told").value_or("")).find("\n" + line + "\n")
                    != std::string::npos;
            },
            20);
    }
    static std::unique_ptr<ServiceConnection> connect(const std::string& name)
    {
        return ServiceConnection::connect(name).value_or(nullptr);
    }
    static sockaddr_un addressOf(const std::string& name)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(
            address.sun_path, (Places::services() + "/" + name).c_str(), sizeof address.sun_path - 1);
        return address;
    }
    int connectPlainly(const std::string& name)
    {
        const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_un address = addressOf(name);
        EXPECT_EQ(::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return client;
    }

    MainLoop& loop = MainLoop::main();
    TemporaryFolder folder;
    std::vector<std::shared_ptr<Process>> peers;
    int deaths = 0;
};

TEST_F(LocalServiceTest, TellsAndAsksAnotherProcessUntilItIsKilled)
{
    EXPECT_FALSE(ServiceConnection::connect("Peer", 0.1));
    const auto peer = startPeer();
    const auto connection = connect("Peer");
    ASSERT_TRUE(connection);
    EXPECT_TRUE(told("connections 1"));
    connection->setTimeLimit(60);
    countDeaths(*connection);
    EXPECT_EQ(connection->send("first", textArgument("one")), Failure::None);
    EXPECT_EQ(connection->send("second", textArgument("two")), Failure::None);
    EXPECT_TRUE(told("first one\nsecond two")) << "the order is lost";
    const Value large = textArgument(std::string(3 << 20, 'x'));
    EXPECT_EQ(connection->call("echo", large), large);

    kill(peer->processIdentifier(), SIGKILL);
    EXPECT_TRUE(peer->waitUntilExit(20));
    EXPECT_NE(connection->send("third", Value()), Failure::None);
    EXPECT_EQ(deaths, 0) << "told from inside of another function";
    EXPECT_TRUE(loop.runUntil([&] { return deaths > 0; }, 20));
    EXPECT_FALSE(connection->isConnected());
    EXPECT_EQ(connection->send("fourth", Value()), Failure::NotConnected);
    EXPECT_EQ(connection->call("fifth", Value()).error(), Failure::NotConnected);
    EXPECT_FALSE(loop.runUntil([&] { return deaths > 1; }, 0.05));

    EXPECT_FALSE(ServiceConnection::connect("Peer", 0.1)) << "what a dead process left is nobody's service";
    startPeer(); // It takes the name over.
    EXPECT_TRUE(ServiceConnection::connect("Peer"));
}

TEST_F(LocalServiceTest, ALateReplyIsNotTakenForTheNextOne)
{
    startPeer();
    const auto connection = connect("Peer");
    ASSERT_TRUE(connection);
    connection->setTimeLimit(0.05);
    EXPECT_EQ(connection->call("slow", textArgument("late")).error(), Failure::TimeLimit);
    connection->setTimeLimit(20);
    EXPECT_EQ(connection->call("echo", textArgument("next")), textArgument("next"));
}

TEST_F(LocalServiceTest, APeerThatTakesNothingHoldsUpNobodyAndHearsItLater)
{
    const auto peer = startPeer();
    const auto connection = connect("Peer");
    ASSERT_TRUE(connection);
    connection->setTimeLimit(60);
    EXPECT_EQ(connection->send("huge", textArgument(std::string(65 << 20, 'x'))), Failure::TimeLimit);
    EXPECT_TRUE(connection->isConnected());
    kill(peer->processIdentifier(), SIGSTOP);
    const double before = platform::monotonicSeconds();
    const Value large = textArgument(std::string(1 << 20, 'x'));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(connection->send("large", large), Failure::None);
    EXPECT_EQ(connection->send("last", textArgument("one")), Failure::None);
    EXPECT_LT(platform::monotonicSeconds() - before, 30);
    kill(peer->processIdentifier(), SIGCONT);
    EXPECT_TRUE(told("last one"));

    countDeaths(*connection);
    kill(peer->processIdentifier(), SIGSTOP);
    auto failure = Failure::None;
    for (int i = 0; i < 100 && failure == Failure::None; ++i)
        failure = connection->send("large", large);
    EXPECT_EQ(failure, Failure::TimeLimit);
    EXPECT_EQ(connection->send("next", Value()), Failure::NotConnected) << "told once";
    EXPECT_TRUE(loop.runUntil([&] { return deaths == 1; }, 10));
}

// A stopped peer lets nobody in once its queue is full.
TEST_F(LocalServiceTest, ConnectingLaterNeverWaitsAndKeepsWhatIsSentMeanwhile)
{
    const auto peer = startPeer();
    kill(peer->processIdentifier(), SIGSTOP);
    auto queue = fillQueue();
    std::vector<platform::Status> outcomes;
    bool forgottenWasCalled = false;
    const double before = platform::monotonicSeconds();
    const auto later = ServiceConnection::connectLater(
        "Peer", [&](const platform::Status& status) { outcomes.push_back(status); }, 60);
    countDeaths(*later);
    auto forgotten = ServiceConnection::connectLater(
        "Peer", [&](const auto&) { forgottenWasCalled = true; }, 60);
    EXPECT_EQ(later->send("first", textArgument("one")), Failure::None);
    EXPECT_EQ(later->call("ask", Value()).error(), Failure::NotConnected);
    loop.runUntil([&] { return !outcomes.empty(); }, 0.05);
    EXPECT_TRUE(later->isConnecting() && !later->isConnected() && outcomes.empty());
    EXPECT_LT(platform::monotonicSeconds() - before, 3);
    const Value large = textArgument(std::string(9 << 20, 'x'));
    EXPECT_EQ(later->send("large", large), Failure::None);
    EXPECT_EQ(later->send("too large", large), Failure::TimeLimit) << "more than is kept";
    forgotten.reset();
    queue.clear();
    kill(peer->processIdentifier(), SIGCONT);
    EXPECT_EQ(later->send("last", textArgument("two")), Failure::None);
    EXPECT_TRUE(loop.runUntil([&] { return !outcomes.empty(); }, 20));
    EXPECT_TRUE(later->isConnected() && !later->isConnecting());
    EXPECT_TRUE(toldInOrder("first one\nlarge " + *large.textFor("text") + "\nlast two"));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_TRUE(outcomes.front()) << outcomes.front().error().text;
    EXPECT_FALSE(forgottenWasCalled);
    kill(peer->processIdentifier(), SIGKILL);
    EXPECT_TRUE(loop.runUntil([&] { return deaths == 1; }, 20));
}

TEST_F(LocalServiceTest, AConnectionThatCannotBeMadeSaysWhyOnce)
{
    std::string reason;
    int outcomes = 0;
    const auto note = [&](const platform::Status& status) {
        ++outcomes;
        reason = status ? "" : status.error().text;
    };
    auto connection = ServiceConnection::connectLater("Nobody", note);
    EXPECT_EQ(connection->send("lost", Value()), Failure::None);
    EXPECT_EQ(outcomes, 0) << "told from inside of the function";
    EXPECT_TRUE(loop.runUntil([&] { return outcomes > 0; }, 20));
    EXPECT_EQ(reason, "no program offers the service Nobody");
    EXPECT_EQ(connection->send("after", Value()), Failure::NotConnected);

    const auto peer = startPeer();
    kill(peer->processIdentifier(), SIGSTOP);
    const auto queue = fillQueue();
    EXPECT_EQ(ServiceConnection::connect("Peer", 0.02).error().text, "the service Peer lets nobody in");
    connection = ServiceConnection::connectLater("Peer", note, 0.02);
    EXPECT_TRUE(loop.runUntil([&] { return outcomes > 1; }, 20));
    EXPECT_EQ(reason, "the service Peer lets nobody in");
    kill(peer->processIdentifier(), SIGCONT);
    EXPECT_FALSE(loop.runUntil([&] { return outcomes > 2; }, 0.05));
}

TEST_F(LocalServiceTest, WhatIsSaidInPartsIsPutTogetherAndStallsNobody)
{
    std::vector<std::string> heard;
    int connections = -1;
    const auto service = LocalService::offer("Here", [&](const std::string& operation, const Value&) {
        heard.push_back(operation);
        return Value();
    });
    ASSERT_TRUE(service);
    (*service)->whenConnectionsChange([&](int count) { connections = count; });
    EXPECT_EQ(LocalService::offer("Here", {}).error().text, "another program offers the service Here");

    const int stalled = connectPlainly("Here");
    const std::string message = *platform::encode({ServiceMessage::Kind::OneWay, 0, "halves", Value()});
    ASSERT_EQ(write(stalled, message.data(), message.size() / 2), static_cast<ssize_t>(message.size() / 2));
    const auto other = connect("Here");
    ASSERT_TRUE(other);
    EXPECT_EQ(other->send("whole", Value()), Failure::None);
    EXPECT_TRUE(loop.runUntil([&] { return heard == std::vector<std::string>{"whole"}; }, 10));
    EXPECT_EQ(connections, 2);
    const std::string_view rest = std::string_view(message).substr(message.size() / 2);
    ASSERT_EQ(write(stalled, rest.data(), rest.size()), static_cast<ssize_t>(rest.size()));
    close(stalled); // What was said before the end still counts.
    EXPECT_TRUE(loop.runUntil([&] { return heard.size() == 2 && connections == 1; }, 10));

    const int liar = connectPlainly("Here");
    ASSERT_EQ(write(liar, "\xFF\xFF\xFF\xFF", 4), 4);
    char byte = 0;
    EXPECT_TRUE(loop.runUntil([&] { return recv(liar, &byte, 1, MSG_DONTWAIT) == 0; }, 10));
    close(liar);
}

TEST_F(LocalServiceTest, AHandlerMayLetGoOfItsOwnConnection)
{
    bool called = false;
    std::unique_ptr<LocalService> back;
    back = std::move(*LocalService::offer("Other", [&](const std::string&, const Value&) {
        called = true;
        back.reset();
        return Value();
    }));
    const auto client = connect("Other");
    countDeaths(*client);
    EXPECT_EQ(client->send("go", Value()), Failure::None);
    EXPECT_EQ(client->send("again", Value()), Failure::None);
    EXPECT_TRUE(loop.runUntil([&] { return called && deaths == 1; }, 10));
    EXPECT_FALSE(ServiceConnection::connect("Other", 0.1));
}

TEST_F(LocalServiceTest, AConnectionThatGoesInItsHandlerHearsNothingMore)
{
    ASSERT_TRUE(files::createDirectories(Places::services(), 0700));
    const platform::Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressOf("Plain");
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener.get(), 1), 0);
    auto connection = connect("Plain");
    ASSERT_TRUE(connection);
    int heard = 0;
    countDeaths(*connection);
    connection->setHandler([&](const std::string&, const Value&) {
        ++heard;
        connection.reset();
        return Value();
    });
    const platform::Descriptor peer(accept(listener.get(), nullptr, nullptr));
    const std::string message = *platform::encode({ServiceMessage::Kind::OneWay, 0, "go", Value()});
    ASSERT_TRUE(platform::writeAll(peer.get(), message + message));
    EXPECT_TRUE(loop.runUntil([&] { return heard > 0; }, 10));
    char byte = 0;
    EXPECT_EQ(recv(peer.get(), &byte, 1, 0), 0) << "the connection has ended";
    EXPECT_FALSE(loop.runUntil([&] { return heard > 1 || deaths > 0; }, 0.05));
}

TEST_F(LocalServiceTest, NamesOfAnyLengthAndFoldersOfAnyDepthWork)
{
    Places::setRoot(folder / std::string(150, 'd'));
    for (const std::string& name : {std::string(300, 'n'), std::string("a/b ü"), std::string("plain")}) {
        std::string heard;
        const auto service = LocalService::offer(name, [&](const std::string& operation, const Value&) {
            heard = operation;
            return Value();
        });
        ASSERT_TRUE(service) << name;
        const auto connection = connect(name);
        ASSERT_TRUE(connection) << name;
        EXPECT_EQ(connection->send("go", Value()), Failure::None);
        EXPECT_TRUE(loop.runUntil([&] { return heard == "go"; }, 10));
    }
    EXPECT_EQ(files::attributes(Places::services())->permissions, 0700U);
    EXPECT_TRUE(files::setPermissions(Places::services(), 0755) && LocalService::offer("again", {}));
    EXPECT_EQ(files::attributes(Places::services())->permissions, 0700U);
}

} // namespace
