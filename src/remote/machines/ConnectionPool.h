#pragma once

#include "remote/machines/SVSSHPasswordInfo.h"
#include "ssh/session/SharedConnection.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

// The logged-in connections that operations on clusters share: one for each address and credentials, more
// where a server takes no further channel. A connection ends a minute after its last use; one whose login
// needed a person stays as long as a batch of that login is open.
//
// Any thread. Each login is made by one thread, and the others that want the same one wait for it and share
// its outcome. The pool's lock is never held while a connection is made or a channel opened; it is taken
// before the lock of a SharedConnection.
class ConnectionPool : public std::enable_shared_from_this<ConnectionPool> {
public:
    static ConnectionPool& shared();

    struct Failure {
        std::string sentence; // For the user.
        std::string reason; // For the log.
        bool wasConnected = false; // The login failed, not the connection.
    };
    // Gives the operation a channel of a shared connection. Nothing on success. A channel that even a new
    // connection refuses is no failure here: the operation has words for it.
    std::optional<Failure> attach(
        const SVSSHPasswordInfo& login, ssh::CkoConnection& connection, const LoginLimits& limits);
    // The same with the usual limits, the first up to the file transfer subsystem. Nothing on success, else
    // the sentence for the user; the reason goes to the log.
    std::optional<std::string> authenticateFTP(const SVSSHPasswordInfo& login, ssh::CkoSFtp& connection);
    std::optional<std::string> authenticateSSH(const SVSSHPasswordInfo& login, ssh::CkoSsh& connection);
    // Logs in ahead of the operations. Whether there is a connection for them.
    bool signIn(const SVSSHPasswordInfo& login);

    // A batch of this login (user@host) is open as long as the result lives.
    [[nodiscard]] std::shared_ptr<void> openBatch(const std::string& login);

private:
    struct Key {
        MachineAddress address;
        std::string user;
        std::optional<std::string> password;
        MachineAccess access;
        bool operator==(const Key&) const = default;
    };
    struct Entry {
        Key key;
        std::string login;
        std::shared_ptr<ssh::SharedConnection> connection;
        bool neededPerson = false;
    };
    // A login that one thread makes and others wait for.
    struct Attempt {
        enum class Stage { Connecting, LoggingIn, Ended };
        Key key;
        std::chrono::milliseconds connectLimit;
        Stage stage = Stage::Connecting;
        std::optional<Failure> failure;
    };
    using Connection = std::shared_ptr<ssh::SharedConnection>;

    static Key keyOf(const SVSSHPasswordInfo& login);
    Connection find(const Key& key, const std::vector<Connection>& except);
    platform::Result<Connection, Failure> connect(
        const Key& key, const SVSSHPasswordInfo& login, const LoginLimits& limits);
    std::optional<Failure> awaitAttempt(std::unique_lock<std::mutex>& guard, const Attempt& attempt,
        const SVSSHPasswordInfo& login, std::chrono::milliseconds connectLimit);
    platform::Result<Entry, Failure> makeEntry(
        Attempt& attempt, const SVSSHPasswordInfo& login, const LoginLimits& limits);
    bool isBatchOpen(const std::string& login) const; // Under the lock.
    void closeBatch(const std::string& login);
    void holdWhatIsNeeded(const std::string& login); // Under the lock.

    std::mutex lock_;
    std::condition_variable attemptMoved_;
    std::vector<Entry> entries_;
    std::vector<std::shared_ptr<Attempt>> attempts_; // Under way.
    std::vector<std::string> batches_; // The logins of open batches.
};
