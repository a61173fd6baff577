#include "storage/memory/KRDataInMemory.h"

#include "storage_testing.h"

#include "platform/Loopback.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/FileManager.h"
#include "storage/memory/Handshake.h"

#include <array>
#include <limits>

namespace storagetest {
namespace {

using platform::MainLoop;

struct Memory : testing::Test {
    Memory()
    {
        MainLoop::main();
        KRMessageCenter::setSharedCenter(center_);
    }
    ~Memory() override { MainLoop::main().runPending(); }

    // Those since the last call, of all threads.
    Names messages()
    {
        Names texts = containertest::textsOf(*center_);
        center_->clearMessages();
        return texts;
    }

    TemporaryFolder folder_;
    std::string path_ = folder_ / "socket";
    std::shared_ptr<KRMessageCenter> center_ = KRMessageCenter::create();
};

// A variable of each kind, an empty array and one that comes in many pieces.
void fill(KRDataInMemory& storage)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    storage.writeDoubleArray(shaped<double>({1.5, -0.0, kInfinity, 5e-324, 2, 3}, 1, 2, 3), "double");
    storage.writeFloatArray(containerOf<float>({1.5F, -2.25F}), "float");
    storage.writeIntArray(containerOf<std::int32_t>({INT32_MIN, 7, INT32_MAX}), "int");
    storage.writeShortArray(shaped<std::int16_t>({-2, 258}, 1, 2), "short");
    storage.writeUShortArray(containerOf<std::uint16_t>({65535, 1}), "ushort");
    storage.writeCharacterArray(containerOf<signed char>({-128, 5}), "character");
    storage.writeUCharArray(containerOf<unsigned char>({255, 0, 3}), "uchar");
    storage.writeIntArray(KRIntArrayContainer::createArrayOfLength(0), "empty");
    storage.writeString("\u00b5 text", "string");
    storage.writeString("", std::string(1024, 'n'));
    storage.writeDoubleArray(shaped(counted(700000, 0.5), 1000, 700), "large");
}

TEST_F(Memory, KeepsWhatIsWrittenByReference)
{
    KRDataInMemory storage;
    const auto array = containerOf<float>({1, 2});
    EXPECT_TRUE(storage.writeFloatArray(array, "a"));
    EXPECT_FALSE(storage.writeFloatArray(nullptr, "null"));
    EXPECT_EQ(storage.readFloatArray("a"), array);
    EXPECT_EQ(storage.getSizeOfVariable("a"), (KRDataStorage::Size{2, 1, 1}));
    EXPECT_TRUE(storage.isAFloatArray("a") && storage.contains("a"));
    EXPECT_FALSE(storage.isADoubleArray("a") || storage.isAnIntArray("a") || storage.isANumber("a")
        || storage.contains("null") || storage.readNumber("a"));
    EXPECT_TRUE(storage.writeIntArray(containerOf<std::int32_t>({-7}), "a") && storage.isANumber("a")
        && storage.isAnIntArray("a"));
    EXPECT_EQ(storage.readNumber("a")->intValue(), -7);
    EXPECT_TRUE(storage.writeDataBlock({1, 2, 3}, "bytes"));
    EXPECT_EQ(storage.readDataBlock("bytes"), (KRDataStorage::Bytes{1, 2, 3}));
    EXPECT_FALSE(storage.readDoubleArray("missing") || storage.readRawString("a"));
    EXPECT_THAT(messages(), IsEmpty());

    storage.writeString("b", "text");
    storage.writeString("a", "b");
    EXPECT_EQ(storage.resolveNameAllowingRedirection("text"), "a");
    storage.writeString("b", "a");
    EXPECT_FALSE(storage.resolveNameAllowingRedirection("text") || storage.contains(std::nullopt));
    EXPECT_THAT(messages(),
        ElementsAre("Circular reference inside datafile.", "KRDataFile contains:name : name==nil."));
    storage.removeAllData();
    EXPECT_THAT(storage.variablesWithPrefix(""), IsEmpty());
}

TEST_F(Memory, ReportsATypeThatWasNotStored)
{
    KRDataInMemory storage;
    storage.writeString("x", "s");
    const std::string words[] = {
        "double", "float", "int", "unsigned short", "unsigned short", "character", "character"};
    for (int type = 0; type < kElementTypeCount; ++type) {
        const std::string word = words[type];
        EXPECT_FALSE(storage.readArrayOfType(static_cast<ElementType>(type), "s"));
        EXPECT_THAT(messages(),
            ElementsAre("Data From stream not saved as a " + word + " array.|Entry s is not saved as a "
                + (word == "character" ? "char" : word) + " array"));
    }
}

TEST_F(Memory, CrossesToAnotherProcessAndBack)
{
    AnotherProcess echo([this](AnotherProcess::Channel& channel) {
        KRDataInMemory storage;
        channel.tell(storage.registerWithSocket(path_) ? "ready" : "failed");
        const bool isDone = storage.setUpCommunicationSocket() && storage.recieveDataFromSocket()
            && storage.sendDataThroughSocket();
        channel.tell(isDone ? "done" : "failed");
        storage.waitForTermination();
        channel.tell(storage.isConnected() ? "connected" : "closed");
    });
    ASSERT_EQ(echo.channel().hear(), "ready");
    KRDataInMemory sent;
    fill(sent);
    ASSERT_TRUE(sent.connectToSocket(path_));
    EXPECT_TRUE(sent.isConnected());
    EXPECT_EQ(sent.nameOfSocket(), path_);
    EXPECT_TRUE(sent.sendDataThroughSocket());
    KRDataInMemory copy;
    fill(copy);
    sent.removeAllData();
    EXPECT_TRUE(sent.recieveDataFromSocket());
    EXPECT_EQ(echo.channel().hear(), "done");
    ASSERT_EQ(sent.variablesWithPrefix(""), copy.variablesWithPrefix(""));
    for (const std::string& name : copy.variablesWithPrefix("")) {
        EXPECT_EQ(sent.readRawString(name), copy.readRawString(name)) << name;
        EXPECT_EQ(
            sent.readNativeArray(name).convertToRawFormat(), copy.readNativeArray(name).convertToRawFormat());
    }
    sent.terminateConnection();
    EXPECT_FALSE(sent.isConnected());
    EXPECT_EQ(echo.channel().hear(), "closed");
    EXPECT_FALSE(platform::files::exists(path_)); // Removed by the one that made it.
    EXPECT_FALSE(sent.sendDataThroughSocket() || sent.recieveDataFromSocket());
    EXPECT_THAT(messages(), IsEmpty());
}

// A message made by hand, in either byte order.
class HandMade {
public:
    explicit HandMade(bool isSwapped) : isSwapped_(isSwapped) { }
    template <class T>
    HandMade& add(T number)
    {
        bytes += isSwapped_ ? swapped(raw(number)) : raw(number);
        return *this;
    }
    HandMade& text(const std::string& text)
    {
        add(static_cast<std::int32_t>(text.size()));
        bytes += text;
        return *this;
    }
    template <class T>
    HandMade& array(const std::string& name, std::int32_t kind, const std::vector<T>& values)
    {
        text(name).add(kind).add(static_cast<std::int32_t>(values.size())).add(1).add(1);
        for (const T value : values)
            add(value);
        return *this;
    }
    std::string bytes;

private:
    bool isSwapped_;
};

// An array without elements has no dimensions when it is sent.
HandMade exampleMessage(bool isSwapped, int emptyRows = 3)
{
    HandMade made(isSwapped);
    made.add(9).array<unsigned char>("b", 9, {200, 1}).array<signed char>("c", 8, {-1});
    made.array<double>("d", 2, {1.5, -3}).array<float>("f", 3, {0.25F}).array<std::int32_t>("i", 4, {-5});
    made.text("none").add(4).add(emptyRows).add(0).add(emptyRows).array<std::int16_t>("s", 6, {-300});
    return made.text("text").add(1).text("\u00b5").array<std::uint16_t>("u", 7, {65000});
}

class TextChannel : public storage::ByteChannel {
public:
    explicit TextChannel(std::string incoming, std::size_t room = SIZE_MAX)
        : incoming_(std::move(incoming)), room_(room)
    { }
    bool send(const void* bytes, std::size_t count) override
    {
        if (count > room_)
            return false;
        room_ -= count;
        sent.append(static_cast<const char*>(bytes), count);
        return true;
    }
    std::size_t receive(void* into, std::size_t count) override
    {
        wanted = std::max(wanted, count);
        const std::size_t taken = incoming_.copy(static_cast<char*>(into), count, at_);
        at_ += taken;
        return taken;
    }
    std::string sent;
    std::size_t wanted = 0; // The most bytes that were asked for at once.

private:
    std::string incoming_;
    std::size_t at_ = 0;
    std::size_t room_;
};

std::optional<storage::MemoryContent> receive(const std::string& bytes, std::size_t* before = nullptr)
{
    TextChannel channel(bytes);
    storage::MemoryContent content;
    const bool isWhole = storage::receiveVariables(channel,
        [&](const std::string& name, storage::MemoryValue value) { content[name] = std::move(value); });
    if (before)
        *before = content.size();
    return isWhole ? std::optional(content) : std::nullopt;
}

TEST_F(Memory, ReadsBothByteOrdersInTheDocumentedFormAndStopsWhereThePeerGoes)
{
    for (const bool isSwapped : {false, true}) {
        SCOPED_TRACE(isSwapped);
        const std::string bytes = exampleMessage(isSwapped).bytes;
        const auto content = receive(bytes);
        ASSERT_TRUE(content && content->size() == 9);
        const auto array = [&](const std::string& name) { return std::get<KRAnyArray>(content->at(name)); };
        for (int type = 0; type < kElementTypeCount; ++type)
            EXPECT_EQ(array(std::string(1, "dfisucb"[type])).type(), static_cast<ElementType>(type));
        EXPECT_EQ(numbersOf(array("u").as<std::uint16_t>()), std::vector<std::uint16_t>{65000});
        EXPECT_FALSE(array("d").as<double>()->isMutable());
        TextChannel whole("");
        EXPECT_TRUE(storage::sendVariables(whole, *content));
        EXPECT_EQ(whole.sent, exampleMessage(false, 0).bytes);
        std::size_t most = 0;
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            std::size_t before = 0;
            EXPECT_FALSE(receive(bytes.substr(0, length), &before)) << length;
            EXPECT_GE(before, most);
            most = before;
            TextChannel out("", length);
            EXPECT_FALSE(storage::sendVariables(out, *content)) << length;
        }
        EXPECT_EQ(most, 8U);
    }

    TextChannel example("");
    ASSERT_TRUE(
        storage::sendVariables(example, {{"t", "Hi"}, {"x", KRAnyArray(containerOf<double>({1, 0.5}))}}));
    EXPECT_EQ(std::string(storage::kMessageStart) + example.sent,
        svtest::exampleOf(DATAFILE_DOCS "/socket-messages.md"));
}

TEST_F(Memory, RefusesWhatNoSenderMeans)
{
    const auto one = [] { return HandMade(false).add(1); };
    // The kind, three dimensions; the last ones have nothing behind them.
    for (const auto& [kind, m, n, o] : std::vector<std::array<int, 4>>{{5, 1, 1, 1}, {10, 1, 1, 1},
             {2, -1, 1, 1}, {2, 1, 1, -1}, {2, INT_MAX, INT_MAX, INT_MAX}, {9, INT_MAX, 1000, 1}})
        EXPECT_FALSE(receive(one().text("n").add(kind).add(m).add(n).add(o).add(1.0).bytes)) << kind << m;
    for (const std::string& bytes : {one().add(-1).bytes,
             one().text(std::string(1025, 'n')).add(1).text("").bytes, one().text("n").add(0).text("").bytes,
             one().text("n").add(1).add(-4).add(0).bytes, one().text("n").add(1).add(INT32_MAX).add(0).bytes})
        EXPECT_FALSE(receive(bytes)) << bytes;
    // Above its member's limit an array would become an empty one: not even its elements are waited for.
    TextChannel tooLarge(one().text("n").add(4).add(50000).add(50001).add(1).bytes);
    EXPECT_FALSE(storage::receiveVariables(tooLarge, [](const auto&, const auto&) { ADD_FAILURE(); }));
    EXPECT_EQ(tooLarge.wanted, 4U);
    EXPECT_TRUE(receive(one().text(std::string(1024, 'n')).add(1).text("").bytes)
        && receive(one().text("").add(1).text("").bytes) && receive(HandMade(false).add(0).bytes));

    // The count tells the byte order: 65537, seen from the other order, is one more than 65536 tells.
    HandMade most(false);
    most.add(65536);
    for (int count = 0; count < 65536; ++count)
        most.text(std::to_string(count)).add(1).text("");
    EXPECT_EQ(receive(most.bytes)->size(), 65536U);
    EXPECT_FALSE(receive(HandMade(false).add(65537).text("n").add(1).text("").bytes));
    storage::MemoryContent tooMany = *receive(most.bytes);
    EXPECT_TRUE(storage::fitsIntoAMessage(tooMany));
    tooMany["one more"] = "";
    EXPECT_FALSE(
        storage::fitsIntoAMessage(tooMany) || storage::fitsIntoAMessage({{std::string(1025, 'n'), ""}}));
}

TEST_F(Memory, ShakesHandsOnlyWithTheExpectedServer)
{
    const auto greeting = [](const std::string& text) { return HandMade(false).text(text).bytes; };
    const std::string none = HandMade(false).add(0).bytes;
    const std::string reply = "okay";
    const std::string invalid =
        "Invalid response from remote task.|Remote task needs to return \"abc\" before "
        "being sent a password.";
    const std::tuple<const char*, std::string, bool, std::string, Names> meetings[] = {
        {"abc:def", greeting("abc") + reply, true, greeting("def"), {}},
        {"abc:d:f", greeting("abc") + reply, true, greeting("d:f"), {}},
        {"def", HandMade(false).add(-5).bytes + reply, true, greeting("def"), {}},
        {":def", none + reply, true, greeting(":def"), {}},
        {"abc:def", none + reply, false, "", {}},
        {"abc:def", greeting("abd") + reply, false, "", {invalid}},
        {"abc:def", greeting(std::string(1001, 'a')) + reply, false, "", {}},
        {"abc:def", greeting("abc").substr(0, 6), false, "", {}},
        {"abc:def", "ab", false, "", {}},
        {"abc:def", greeting("abc") + "oka", false, greeting("def"), {"Password rejected."}},
    };
    for (const auto& [cookie, fromServer, isAccepted, sent, reports] : meetings) {
        SCOPED_TRACE(cookie);
        TextChannel channel(fromServer);
        EXPECT_EQ(storage::shakeHands(channel, storage::MagicCookie::parse(cookie)), isAccepted);
        EXPECT_EQ(channel.sent, sent);
        EXPECT_EQ(messages(), reports);
    }
    const std::string longest(1000, 'g');
    TextChannel channel(greeting(longest) + reply);
    EXPECT_TRUE(storage::shakeHands(channel, storage::MagicCookie::parse(longest + ":p")));
    TextChannel full(greeting("abc") + reply, 5);
    EXPECT_FALSE(storage::shakeHands(full, storage::MagicCookie::parse("abc:def")));
}

// A server in its own words, which sends in the other byte order.
TEST_F(Memory, ReachesAMachineByTcp)
{
    int listeningPort = 0;
    const platform::Descriptor listening = listenOnLoopback(listeningPort);
    std::thread server([&] {
        const platform::Descriptor client(::accept(listening.get(), nullptr, nullptr));
        const std::string greeting = HandMade(false).text("abc").bytes;
        EXPECT_TRUE(KRDataInMemory::sendPointer(greeting.data(), greeting.size(), client.get()));
        std::string password(7, '\0');
        EXPECT_EQ(KRDataInMemory::readIntoPointer(password.data(), 7, client.get()), 7U);
        EXPECT_EQ(password, HandMade(false).text("def").bytes);
        const std::string answer =
            "okaySVDataContainerStart" + exampleMessage(true).bytes + "no message at all...";
        EXPECT_TRUE(KRDataInMemory::sendPointer(answer.data(), answer.size(), client.get()));
        std::string rest(1000, '\0');
        EXPECT_GT(KRDataInMemory::readIntoPointer(rest.data(), rest.size(), client.get()), 20U);
    });
    {
        KRDataInMemory client;
        ASSERT_TRUE(client.connectToMachine("127.0.0.1", listeningPort, "abc:def"));
        EXPECT_TRUE(client.recieveDataFromSocket());
        EXPECT_EQ(client.readNumber("i")->intValue(), -5);
        EXPECT_EQ(client.variablesWithPrefix("").size(), 9U);
        EXPECT_FALSE(client.recieveDataFromSocket());
        EXPECT_THAT(messages(), ElementsAre("recieveDataFromSocket: Invalid response from server."));
        EXPECT_TRUE(client.sendDataThroughSocket());
    }
    server.join();

    KRDataInMemory client;
    for (const int port : {1999, 65536, -1}) {
        EXPECT_FALSE(client.connectToMachine("127.0.0.1", port, ""));
        EXPECT_THAT(messages(), ElementsAre("Could not create socket - invalid port."));
    }
    EXPECT_FALSE(client.connectToMachine("no such name.invalid", 2000, ""));
    EXPECT_THAT(messages(), ElementsAre("Invalid host name.|Invalid host name \"no such name.invalid\"."));
    EXPECT_FALSE(client.connectToMachine("127.0.0.1", 65535, "") || client.connectToSocket(path_));
    EXPECT_THAT(messages(), ElementsAre("Error connecting.", "Error connecting."));
}

TEST_F(Memory, RegistersOnlyWhereItCan)
{
    const std::string longest = folder_ / std::string(102 - folder_.path().size(), 's');
    ASSERT_EQ(longest.size(), 103U);
    KRDataInMemory server;
    EXPECT_FALSE(server.registerWithSocket(longest + "s"));
    EXPECT_THAT(messages(), ElementsAre("Creating a socket: Invalid socket name (too long)."));
    EXPECT_FALSE(server.registerWithSocket("") || server.setUpCommunicationSocket());
    EXPECT_THAT(messages(),
        ElementsAre("sendDataOverSocket: Error when binding a socket.",
            "DataInMemory-setUpCommunicationSocket: Connection failed."));
    EXPECT_TRUE(server.registerWithSocket(longest));
    KRDataInMemory second;
    EXPECT_FALSE(second.registerWithSocket(longest));
    EXPECT_THAT(messages(), ElementsAre("sendDataOverSocket: Error when binding a socket."));
    EXPECT_EQ(second.nameOfSocket(), longest);
    second.terminateConnection();
    EXPECT_TRUE(platform::files::exists(longest)); // It isn't the second one's.
    server.terminateConnection();
    EXPECT_FALSE(platform::files::exists(longest));
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Memory, EndsWhileAThreadWaits)
{
    {
        KRDataInMemory server;
        ASSERT_TRUE(server.registerWithSocket(path_));
        std::thread waiting([&] { EXPECT_FALSE(server.setUpCommunicationSocket()); });
        EXPECT_TRUE(MainLoop::main().runUntil([&] { return server.waitingForInitialConnection(); }, 10));
        server.terminateConnection();
        waiting.join();
        EXPECT_FALSE(server.isConnected() || platform::files::exists(path_));
    }
    KRDataInMemory server;
    ASSERT_TRUE(server.registerWithSocket(path_));
    std::thread serving([&] {
        EXPECT_TRUE(server.setUpCommunicationSocket());
        EXPECT_FALSE(server.recieveDataFromSocket());
    });
    KRDataInMemory client;
    ASSERT_TRUE(client.connectToSocket(path_));
    EXPECT_TRUE(MainLoop::main().runUntil([&] { return server.isConnected(); }, 10));
    std::thread reading([&] { EXPECT_FALSE(client.recieveDataFromSocket()); });
    client.terminateConnection();
    reading.join();
    serving.join();
    server.terminateConnection();
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Memory, TellsAPeerThatVanishesWhileSending)
{
    KRDataInMemory server, client;
    fill(client);
    ASSERT_TRUE(server.registerWithSocket(path_) && client.connectToSocket(path_));
    EXPECT_TRUE(server.setUpCommunicationSocket()); // The client waits in the queue of the socket.
    std::thread sending([&] { EXPECT_FALSE(client.sendDataThroughSocket()); });
    char first = 0;
    EXPECT_EQ(KRDataInMemory::readIntoPointer(&first, 1, server.communicationSocket()), 1U);
    server.terminateConnection();
    sending.join();
    EXPECT_TRUE(client.failedDuringSend());
    EXPECT_THAT(messages(), IsEmpty());
}

} // namespace
} // namespace storagetest
