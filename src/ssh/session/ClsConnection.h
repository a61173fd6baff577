#pragma once

#include "ssh/session/CkoSignIn.h"
#include "ssh/session/SshTransport.h"

#include <mutex>
#include <optional>

namespace ssh {

class ForwardHost;
class SharedConnection;
class SshForward;

// The common part of ClsSsh and ClsSFtp: settings, connecting, logging in, error text and log. A lock of the
// object serialises its calls; none throws.
class ClsConnection {
public:
    explicit ClsConnection(TransportSettings settings);
    virtual ~ClsConnection();
    ClsConnection(const ClsConnection&) = delete;
    ClsConnection& operator=(const ClsConnection&) = delete;

    // Changes settings; those of the algorithms take effect with the next `connect`.
    void configure(const std::function<void(TransportSettings&)>& change);
    bool connect(const std::string& hostname, int port);
    bool connectThrough(std::unique_ptr<ForwardHost> jump, const std::string& hostname, int port);
    bool connectShared(std::shared_ptr<SharedConnection> connection);
    bool authenticatePw(const std::string& login, const std::string& password);
    bool authenticatePk(const std::string& login, const CkoSshKey& privateKey);
    bool signIn(const std::string& login, const CkoSignIn& with);
    CkoRefusal refusal() const;
    bool reKey();
    void disconnect();

    std::string lastErrorText() const;
    std::string sessionLog() const; // The last few hundred lines.
    std::string hostKeyFingerprint() const; // "SHA256:...", empty before a connection.
    bool hostKeyIsNew() const;
    // The agreed algorithms, each empty before a connection: key exchange, host key, then cipher, MAC and
    // compression to the server and from it.
    std::vector<std::string> algorithms() const;

    SshTransport& transport() { return transport_; } // For what takes over the connection.

protected:
    // Runs `work` under the lock. After a failure or an exception, returns `failure` and keeps the reason for
    // lastErrorText.
    template <typename T, typename Work>
    T call(T failure, Work&& work)
    {
        const std::lock_guard lock(lock_);
        try {
            Result<T> result = work();
            if (result.ok())
                return std::move(*result);
            lastError_ = result.error().text;
        } catch (const std::exception& exception) {
            lastError_ = std::string("Out of resources: ") + exception.what();
        }
        return failure;
    }
    template <typename Work>
    bool check(Work&& work)
    {
        return call(false, [&]() -> Result<bool> {
            const Status status = work();
            return status.ok() ? Result<bool>(true) : Result<bool>(status.error());
        });
    }
    void log(const std::string& line);
    // Drops what uses the connection, before it is closed or made anew. Under the lock.
    virtual void letGo() { }
    virtual bool takesErrorOutput() const { return true; } // As a part of the output of a channel.
    // What the channels are on.
    ChannelHost& host() { return shared_ ? *shared_ : transport_; }
    bool isLoggedIn() const { return shared_ ? shared_->connected() : transport_.authenticated(); }

    mutable std::mutex lock_;
    std::unique_ptr<SshForward> forward_; // Below the transport, which it outlives.
    SshTransport transport_;

private:
    bool authenticate(Credentials credentials);
    void endConnection(); // Under the lock.

    std::unique_ptr<ChannelHost> shared_; // The channels of a shared connection, instead of the transport.

    std::string lastError_;
    std::deque<std::string> log_;
};

} // namespace ssh
