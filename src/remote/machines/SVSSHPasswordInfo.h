#pragma once

#include "ssh/session/CkoSsh.h"
#include "ssh/sftp/CkoSFtp.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

// How a machine is reached and signed in to, beyond host, user and password.
struct MachineAccess {
    std::optional<std::string> keyFile; // Path of a private key; takes the place of the password.
    std::optional<int> port; // The usual one unless set.
    std::optional<std::string> through; // user@host of a machine that forwards the connection, or several.
    bool allowsOldAlgorithms = false; // Takes algorithms that are known to be weak.
    bool operator==(const MachineAccess&) const = default;
};

// The network address that a machine's name stands for.
struct MachineAddress {
    static constexpr int kUsualPort = 22;
    std::string host;
    int port = kUsualPort;
    std::optional<std::string> through = std::nullopt; // As SshClientConfig::proxyJump.
    bool operator==(const MachineAddress&) const = default;

    // Turns the name of every machine into its address; unless set, names are looked up in the configuration
    // of the user's SSH client, and are addresses by themselves if it doesn't have them. Any thread; to be
    // set before other threads run.
    using Resolver = std::function<MachineAddress(const std::string& machineName)>;
    static Resolver& resolver();
    static MachineAddress of(const std::string& machineName, const MachineAccess& access);
};

// The time limits of a connection. See CkoConnection.
struct LoginLimits {
    std::optional<int> connectMs; // The connection's own default unless set.
    int idleMs;
};

// The credentials of one login, and how to log in with them. Immutable; any thread.
class SVSSHPasswordInfo {
public:
    using Pointer = std::shared_ptr<const SVSSHPasswordInfo>;
    // Without a password the key file of the access is used, else the user's own key. An empty password is
    // sent as such, unless the configuration of the user's SSH client has a key for the host.
    static Pointer createWithHost(
        std::string host, std::string name, std::optional<std::string> password, MachineAccess access = {});

    const std::string& hostName() const { return hostName_; }
    const std::string& userName() const { return userName_; }
    const std::optional<std::string>& password() const { return password_; }
    const MachineAccess& access() const { return access_; }
    std::string login() const { return userName_ + "@" + hostName_; } // As SignInAnswers names it.

    // Connects and logs in on a connection that nobody else uses; operations share theirs (ConnectionPool).
    // Nothing on success, else the sentence for the user; the reason goes to the log. A login that needs a
    // person fails, and leaves its questions to SignInAnswers.
    std::optional<std::string> logIn(ssh::CkoConnection& connection, const LoginLimits& limits) const;

    // The two steps of it. Whether the connection stands; and nothing, or the sentence for the user.
    bool connect(ssh::CkoConnection& connection, const LoginLimits& limits) const;
    std::optional<std::string> authenticate(ssh::CkoConnection& connection) const;

private:
    SVSSHPasswordInfo() = default;
    bool connect(ssh::CkoConnection& connection, const LoginLimits& limits, int jumpsLeft) const;
    std::unique_ptr<ssh::CkoSsh> connectToJumpHost(
        const std::string& names, const LoginLimits& limits, int jumpsLeft) const;
    bool usesEveryMethod() const;
    std::optional<std::string> signIn(ssh::CkoConnection& connection) const;
    std::optional<std::string> findKeys(
        ssh::CkoSignIn& with, const std::map<std::string, std::string>& passphrases) const;

    std::string hostName_;
    std::string userName_;
    std::optional<std::string> password_;
    MachineAccess access_;
};
