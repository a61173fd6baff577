#include "remote/machines/ConnectionPool.h"

#include "platform/ProcessInfo.h"
#include "platform/loop/Pace.h"
#include "remote/machines/SignInAnswers.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

using std::chrono::milliseconds;

constexpr double kUnusedSeconds = 60; // Before a connection that nobody holds ends.
constexpr double kProbeSeconds = 60;
constexpr LoginLimits kFileLimits{5000, 10000};
constexpr LoginLimits kCommandLimits{5000, 5000};
constexpr milliseconds kUsualConnectLimit{30000}; // Of a connection without a limit of its own.
constexpr std::chrono::seconds kNoProgramTakesSoLong{5}; // A login that did was approved by a person.

ssh::SharedLimits sharedLimits()
{
    const auto paced = [](double seconds) {
        return std::chrono::duration_cast<milliseconds>(platform::Pace::of(seconds));
    };
    return {paced(kUnusedSeconds), paced(kProbeSeconds)};
}

milliseconds connectLimitOf(const LoginLimits& limits)
{
    return limits.connectMs ? milliseconds(*limits.connectMs) : kUsualConnectLimit;
}

ConnectionPool::Failure couldNotConnect(const SVSSHPasswordInfo& login, std::string reason)
{
    return {fmt::format("Could not connect to {}", login.hostName()), std::move(reason), false};
}

} // namespace

ConnectionPool& ConnectionPool::shared()
{
    // Batches own it too, since they may outlive the end of main().
    static const auto pool = std::make_shared<ConnectionPool>();
    return *pool;
}

ConnectionPool::Key ConnectionPool::keyOf(const SVSSHPasswordInfo& login)
{
    return {MachineAddress::of(login.hostName(), login.access()), login.userName(), login.password(),
        login.access()};
}

// Also drops the connections that have ended.
ConnectionPool::Connection ConnectionPool::find(const Key& key, const std::vector<Connection>& except)
{
    std::vector<Connection> ended; // Released behind the lock: their threads are waited for.
    const std::lock_guard guard(lock_);
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        if (entry->connection->isAlive()) {
            ++entry;
            continue;
        }
        ended.push_back(std::move(entry->connection));
        entry = entries_.erase(entry);
    }
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.key == key && std::find(except.begin(), except.end(), entry.connection) == except.end();
    });
    return found == entries_.end() ? nullptr : found->connection;
}

std::optional<ConnectionPool::Failure> ConnectionPool::attach(
    const SVSSHPasswordInfo& login, ssh::CkoConnection& connection, const LoginLimits& limits)
{
    connection.setIdleTimeoutMs(limits.idleMs);
    connection.setKeepAlive(true);
    const Key key = keyOf(login);
    std::vector<Connection> refused;
    for (;;) {
        if (Connection known = find(key, refused)) {
            if (connection.ConnectShared(known))
                return std::nullopt;
            platform::systemLog(connection.LastErrorText());
            refused.push_back(std::move(known));
            continue;
        }
        const auto made = connect(key, login, limits);
        if (!made.ok())
            return made.error();
        if (!*made) // By another thread, which may have left a channel.
            continue;
        if (!connection.ConnectShared(*made))
            platform::systemLog(connection.LastErrorText());
        return std::nullopt;
    }
}

// Null when another thread has made a connection meanwhile.
platform::Result<ConnectionPool::Connection, ConnectionPool::Failure> ConnectionPool::connect(
    const Key& key, const SVSSHPasswordInfo& login, const LoginLimits& limits)
{
    const milliseconds connectLimit = connectLimitOf(limits);
    const auto attempt = std::make_shared<Attempt>();
    {
        std::unique_lock guard(lock_);
        for (;;) {
            const auto running = std::find_if(
                attempts_.begin(), attempts_.end(), [&](const auto& at) { return at->key == key; });
            if (running == attempts_.end())
                break;
            const std::shared_ptr<Attempt> theirs = *running;
            auto failure = awaitAttempt(guard, *theirs, login, connectLimit);
            if (!failure)
                return Connection();
            // A more patient caller may succeed where another gave up.
            if (failure->wasConnected || theirs->connectLimit >= connectLimit)
                return *failure;
        }
        attempt->key = key;
        attempt->connectLimit = connectLimit;
        attempts_.push_back(attempt);
    }
    auto entry = makeEntry(*attempt, login, limits);
    const std::lock_guard guard(lock_);
    std::erase(attempts_, attempt);
    attempt->stage = Attempt::Stage::Ended;
    attemptMoved_.notify_all();
    if (!entry.ok()) {
        attempt->failure = entry.error();
        return entry.error();
    }
    entries_.push_back(*entry);
    holdWhatIsNeeded(entry->login);
    return entry->connection;
}

std::optional<ConnectionPool::Failure> ConnectionPool::awaitAttempt(std::unique_lock<std::mutex>& guard,
    const Attempt& attempt, const SVSSHPasswordInfo& login, milliseconds connectLimit)
{
    if (!attemptMoved_.wait_for(
            guard, connectLimit, [&] { return attempt.stage != Attempt::Stage::Connecting; }))
        return couldNotConnect(login, "Another operation has been connecting for too long.");
    attemptMoved_.wait(guard, [&] { return attempt.stage == Attempt::Stage::Ended; });
    return attempt.failure;
}

platform::Result<ConnectionPool::Entry, ConnectionPool::Failure> ConnectionPool::makeEntry(
    Attempt& attempt, const SVSSHPasswordInfo& login, const LoginLimits& limits)
{
    auto connection = std::make_unique<ssh::CkoSsh>();
    if (!login.connect(*connection, limits))
        return couldNotConnect(login, connection->LastErrorText());
    {
        const std::lock_guard guard(lock_);
        attempt.stage = Attempt::Stage::LoggingIn;
        attemptMoved_.notify_all();
    }
    const auto begin = std::chrono::steady_clock::now();
    if (auto sentence = login.authenticate(*connection))
        return Failure{std::move(*sentence), connection->LastErrorText(), true};
    const bool wasApproved = std::chrono::steady_clock::now() - begin > kNoProgramTakesSoLong;
    auto shared = ssh::CkoSsh::Share(std::move(connection), sharedLimits());
    if (!shared.ok())
        return couldNotConnect(login, shared.error().text);
    return Entry{attempt.key, login.login(), std::move(*shared),
        wasApproved || SignInAnswers::shared().wereGiven(login.login())};
}

std::optional<std::string> ConnectionPool::authenticateFTP(
    const SVSSHPasswordInfo& login, ssh::CkoSFtp& connection)
{
    if (auto failure = attach(login, connection, kFileLimits))
        return std::move(failure->sentence);
    if (connection.InitializeSftp())
        return std::nullopt;
    platform::systemLog(connection.LastErrorText());
    return "Initialization failed";
}

std::optional<std::string> ConnectionPool::authenticateSSH(
    const SVSSHPasswordInfo& login, ssh::CkoSsh& connection)
{
    auto failure = attach(login, connection, kCommandLimits);
    return failure ? std::optional(std::move(failure->sentence)) : std::nullopt;
}

bool ConnectionPool::signIn(const SVSSHPasswordInfo& login)
{
    const Key key = keyOf(login);
    return find(key, {}) || connect(key, login, kCommandLimits).ok();
}

bool ConnectionPool::isBatchOpen(const std::string& login) const
{
    return std::find(batches_.begin(), batches_.end(), login) != batches_.end();
}

void ConnectionPool::holdWhatIsNeeded(const std::string& login)
{
    const bool isOpen = isBatchOpen(login);
    for (const Entry& entry : entries_)
        if (entry.login == login && entry.neededPerson)
            entry.connection->setHeld(isOpen);
}

std::shared_ptr<void> ConnectionPool::openBatch(const std::string& login)
{
    {
        const std::lock_guard guard(lock_);
        batches_.push_back(login);
        holdWhatIsNeeded(login);
    }
    return {this, [pool = shared_from_this(), login](void*) { pool->closeBatch(login); }};
}

void ConnectionPool::closeBatch(const std::string& login)
{
    const std::lock_guard guard(lock_);
    const auto found = std::find(batches_.begin(), batches_.end(), login);
    if (found != batches_.end())
        batches_.erase(found);
    holdWhatIsNeeded(login);
}
