#include "storage/memory/KRDataInMemory.h"

#include "diagnostics/KRMessageCenter.h"
#include "storage/memory/Handshake.h"
#include "storage/memory/StreamSocket.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <utility>

// The connection of a KRDataInMemory.

namespace {

constexpr int kLowestPort = 2000;
constexpr int kHighestPort = 65535;
constexpr int kBacklog = 5;
constexpr std::size_t kBytesThatEnd = 9; // What a peer may send in the place of closing.
constexpr auto kLongestWaitForAccept = std::chrono::milliseconds(1000);
constexpr auto kBetweenTries = std::chrono::milliseconds(10);

const char* reasonOfNoSocket(int reason)
{
    switch (reason) {
    case ENOMEM:
        return "Insufficient user memory is available.";
    case EACCES:
        return "Permission to create a socket of the specified type and/or protocol is denied.";
    case ENFILE:
        return "The system file table is full.";
    case EMFILE:
        return "The per-process descriptor table is full.";
    case EPROTONOSUPPORT:
        return "The protocol type or the specified protocol is not supported within this domain.";
    case ENOBUFS:
        return "Insufficient buffer space is available.  The socket cannot be created until sufficient "
               "resources are freed.";
    default:
        return "Unknown error condition.";
    }
}

constexpr const char* kTermination = "DataInMemory-terminateConnection";

void reportUnless(bool isDone, int number)
{
    if (!isDone)
        KRMessageCenter::addMessage(
            fmt::format("{}: Could not close connection ({}).", kTermination, number));
}

// The numbers tell the two steps apart in reports. A peer that has gone before needs no shutting down.
void shutDownAndClose(platform::Descriptor socket, int numberOfShutdown, int numberOfClose)
{
    if (!socket)
        return;
    reportUnless(::shutdown(socket.get(), SHUT_RDWR) == 0 || errno == ENOTCONN, numberOfShutdown);
    reportUnless(socket.close().ok(), numberOfClose);
}

bool lockWithin(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!lock.try_lock()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(kBetweenTries);
    }
    return true;
}

} // namespace

bool KRDataInMemory::sendPointer(const void* bytes, std::size_t length, int socket)
{
    return storage::SocketChannel(socket).send(bytes, length);
}

std::size_t KRDataInMemory::readIntoPointer(void* into, std::size_t length, int socket)
{
    return storage::SocketChannel(socket).receive(into, length);
}

int KRDataInMemory::communicationSocket() const
{
    const std::lock_guard state(stateLock_);
    return communicationSocket_ ? communicationSocket_.get() : 0;
}

std::string KRDataInMemory::nameOfSocket() const
{
    const std::lock_guard state(stateLock_);
    return nameOfSocket_;
}

bool KRDataInMemory::waitingForInitialConnection() const
{
    const std::lock_guard state(stateLock_);
    return waitingForAccept_;
}

bool KRDataInMemory::failedDuringSend() const
{
    const std::lock_guard state(stateLock_);
    return failedDuringSend_;
}

bool KRDataInMemory::connectToSocket(const std::string& path)
{
    const std::lock_guard content(accessToContent_);
    auto made = storage::connectToPath(path);
    if (!made) {
        KRMessageCenter::addMessage(made.error().text);
        return false;
    }
    const std::lock_guard state(stateLock_);
    nameOfSocket_ = path;
    communicationSocket_ = std::move(*made);
    return true;
}

bool KRDataInMemory::connectToMachine(const std::string& machine, int port, const std::string& magicCookie)
{
    if (port < kLowestPort || port > kHighestPort) {
        KRMessageCenter::addMessage("Could not create socket - invalid port.");
        return false;
    }
    auto made = storage::connectToHost(machine, port);
    if (!made) {
        const bool isName = made.error().text == storage::kInvalidHostName;
        KRMessageCenter::addMessage(made.error().text,
            isName ? MessageText(fmt::format("Invalid host name \"{}\".", machine)) : MessageText(nullptr));
        return false;
    }
    storage::SocketChannel channel(made->get());
    if (!storage::shakeHands(channel, storage::MagicCookie::parse(magicCookie)))
        return false;
    const std::lock_guard content(accessToContent_);
    const std::lock_guard state(stateLock_);
    communicationSocket_ = std::move(*made);
    portNumber_ = port;
    return true;
}

bool KRDataInMemory::registerWithSocket(const std::string& path)
{
    const std::lock_guard content(accessToContent_);
    platform::Descriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!made) {
        KRMessageCenter::addMessage(
            "Creating a socket: Failed to create a basesocket.", reasonOfNoSocket(errno));
        return false;
    }
    if (path.size() > storage::kLongestSocketName) {
        KRMessageCenter::addMessage("Creating a socket: Invalid socket name (too long).");
        return false;
    }
    {
        const std::lock_guard state(stateLock_);
        nameOfSocket_ = path;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    // The system would take an empty name for any name, and cut one at a NUL.
    if (path.empty() || path.find('\0') != std::string::npos
        || ::bind(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        KRMessageCenter::addMessage("sendDataOverSocket: Error when binding a socket.");
        return false;
    }
    const bool isListening = ::listen(made.get(), kBacklog) == 0;
    {
        const std::lock_guard state(stateLock_);
        createdTheSocket_ = true; // Only now: before, the file at the path is somebody else's.
        if (isListening)
            serverSocket_ = std::move(made);
    }
    if (!isListening)
        KRMessageCenter::addMessage("sendDataOverSocket: Error when listening on a socket.");
    return isListening;
}

bool KRDataInMemory::setUpCommunicationSocket()
{
    const std::lock_guard content(accessToContent_);
    int listening = -1;
    platform::Descriptor accepted;
    {
        const std::lock_guard duringAccept(lockDuringAccept_);
        {
            const std::lock_guard state(stateLock_);
            listening = serverSocket_.get();
            waitingForAccept_ = true;
            cancelAfterAccept_ = false;
        }
        accepted.reset(platform::retryInterrupted(
            [listening] { return ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC); }));
    }
    const bool isAccepted = static_cast<bool>(accepted);
    {
        const std::lock_guard state(stateLock_);
        waitingForAccept_ = false;
        if (isAccepted && !cancelAfterAccept_) {
            communicationSocket_ = std::move(accepted);
            return true;
        }
    }
    if (!isAccepted)
        KRMessageCenter::addMessage("DataInMemory-setUpCommunicationSocket: Connection failed.");
    else if (!accepted.close())
        KRMessageCenter::addMessage("DataInMemory-setUpCommunicationSocket: Could not close the connection.");
    return false;
}

bool KRDataInMemory::fitsIntoAMessage()
{
    {
        const std::lock_guard lock(accessLock_);
        if (storage::fitsIntoAMessage(theContent_))
            return true;
    }
    KRMessageCenter::addMessage("Could not send the variables.",
        "A message carries at most 65536 variables, names of at most 1024 bytes, and texts and dimensions "
        "below "
        "2147483648.");
    return false;
}

bool KRDataInMemory::sendDataThroughSocket()
{
    const std::lock_guard content(accessToContent_);
    storage::SocketChannel channel(communicationSocket());
    if (!isConnected() || !fitsIntoAMessage()
        || !channel.send(storage::kMessageStart.data(), storage::kMessageStart.size()))
        return false;
    bool isSent = false;
    {
        const std::lock_guard lock(accessLock_);
        // Another thread may have added to it.
        isSent = storage::fitsIntoAMessage(theContent_) && storage::sendVariables(channel, theContent_);
    }
    const std::lock_guard state(stateLock_);
    failedDuringSend_ = failedDuringSend_ || !isSent;
    return isSent;
}

bool KRDataInMemory::recieveDataFromSocket()
{
    const std::lock_guard content(accessToContent_);
    if (!isConnected())
        return false;
    storage::SocketChannel channel(communicationSocket());
    std::array<char, storage::kMessageStart.size()> start{};
    if (channel.receive(start.data(), start.size()) != start.size())
        return false;
    if (std::string_view(start.data(), start.size()) != storage::kMessageStart) {
        KRMessageCenter::addMessage("recieveDataFromSocket: Invalid response from server.");
        return false;
    }
    const std::lock_guard lock(accessLock_);
    return storage::receiveVariables(channel, [this](const std::string& name, storage::MemoryValue value) {
        theContent_.insert_or_assign(name, std::move(value));
    });
}

void KRDataInMemory::waitForTermination()
{
    const std::lock_guard content(accessToContent_);
    const std::string path = nameOfSocket();
    if (path.empty())
        return;
    std::array<char, kBytesThatEnd> ignored{};
    if (isConnected())
        readIntoPointer(ignored.data(), ignored.size(), communicationSocket());
    closeSockets(path);
}

// A thread that waits for bytes, or for room, goes on, and gives the lock back.
void KRDataInMemory::shutDownCommunication()
{
    const std::lock_guard state(stateLock_);
    if (communicationSocket_)
        ::shutdown(communicationSocket_.get(), SHUT_RDWR);
}

void KRDataInMemory::terminateConnection()
{
    std::unique_lock content(accessToContent_, std::defer_lock);
    // A client may come while this waits: its connection is shut down with the next turn.
    for (shutDownCommunication(); !lockWithin(content, kBetweenTries); shutDownCommunication()) {
        std::unique_lock duringAccept(lockDuringAccept_, std::defer_lock);
        if (!lockWithin(duringAccept, kLongestWaitForAccept))
            break; // A thread waits for a client, and holds both locks.
    }
    std::string path;
    int port = 0;
    bool isWaiting = false;
    {
        const std::lock_guard state(stateLock_);
        path = std::exchange(nameOfSocket_, std::string());
        port = std::exchange(portNumber_, 0);
        isWaiting = waitingForAccept_;
        cancelAfterAccept_ = isWaiting;
    }
    if (path.empty() && port == 0)
        return;
    if (isWaiting)
        wakeAccept(path, port);
    closeSockets(path);
}

// Makes the client that the waiting thread waits for.
void KRDataInMemory::wakeAccept(const std::string& path, int port)
{
    auto made = path.empty() ? storage::connectToHost("localhost", port) : storage::connectToPath(path);
    if (made)
        shutDownAndClose(std::move(*made), 1, 2);
    else
        KRMessageCenter::addMessage(fmt::format("{}: {}", kTermination, made.error().text));
}

void KRDataInMemory::closeSockets(const std::string& path)
{
    platform::Descriptor communication;
    platform::Descriptor server;
    bool hasFile = false;
    {
        const std::lock_guard state(stateLock_);
        communication = std::exchange(communicationSocket_, platform::Descriptor());
        server = std::exchange(serverSocket_, platform::Descriptor());
        hasFile = std::exchange(createdTheSocket_, false);
        nameOfSocket_.clear();
    }
    shutDownAndClose(std::move(communication), 3, 4);
    shutDownAndClose(std::move(server), 5, 6);
    if (hasFile)
        reportUnless(::unlink(path.c_str()) == 0, 7);
}
