#pragma once

#include "ssh/crypto/SigningKey.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ssh {

// A login by key if there is one, else by password.
struct Credentials {
    std::string user;
    Bytes password;
    std::shared_ptr<const SigningKey> key;
};

// The client's side of user authentication: RFC 4252 (none, password, publickey) and RFC 4256
// (keyboard-interactive). Takes messages and sends answers through the given function; never waits.
class UserAuth {
public:
    using Send = std::function<Status(ByteView payload)>;
    using Log = std::function<void(const std::string&)>;
    UserAuth(Send send, Log log) : send_(std::move(send)), log_(std::move(log)) { }
    Status requestService(); // Sent as soon as there are keys, without waiting for the answer.
    // Starts a login with the method "none", to which the server answers with its list of methods. Can be
    // repeated after a refusal.
    Status begin(Credentials credentials, ByteView sessionId);
    Status receive(ByteView payload); // SERVICE_ACCEPT, or a message with a number from 50 to 79.
    // RFC 8308, section 3.1: the signature algorithms that the server accepts from users.
    void setSignatureAlgorithms(std::vector<std::string> names) { signatureAlgorithms_ = std::move(names); }

    bool pending() const
    {
        return state_ != State::Idle && state_ != State::Done && state_ != State::Refused;
    }
    bool done() const { return state_ == State::Done; }
    const std::string& refusal() const { return refusal_; } // Why the last login failed.

private:
    enum class State { Idle, None, Password, Interactive, PublicKey, Done, Refused };

    Status receiveFailure(ByteView body);
    Status receiveInfoRequest(ByteView body);
    Status chooseMethod(const std::vector<std::string>& methods);
    Status sendPassword();
    Status sendInteractive();
    Status sendPublicKey();
    void refuse(std::string reason);
    const SignatureInfo& signatureForKey() const;

    Send send_;
    Log log_;
    State state_ = State::Idle;
    bool serviceAccepted_ = false;
    int rounds_ = 0; // Rounds of questions in a keyboard-interactive login.
    Credentials credentials_;
    Bytes sessionId_;
    std::vector<std::string> signatureAlgorithms_;
    std::string refusal_;
};

} // namespace ssh
