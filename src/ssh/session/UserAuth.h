#pragma once

#include "ssh/crypto/SigningKey.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ssh {

// What a login may show. One method alone is used: the first key if there is one, else the password. With
// `everyMethod`, whatever the server asks for is given, one after the other: keys, password, answers.
struct Credentials {
    std::string user;
    Bytes password;
    std::vector<std::shared_ptr<const SigningKey>> keys;
    bool everyMethod = false;
    // To the prompts of a keyboard-interactive login, by their text; each is used once.
    std::vector<std::pair<std::string, Bytes>> answers;
};

// A question of the server, for a person.
struct LoginPrompt {
    std::string text; // As the server wrote it: an answer is found by it.
    std::string instruction; // What the server says besides.
    bool shown = false; // The answer may be seen while it is typed.
    bool asksPassword = false; // That of the user, which isn't known or was refused.
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
    // The prompts that the last login had no answer to.
    const std::vector<LoginPrompt>& unanswered() const { return unanswered_; }
    bool passwordRefused() const { return passwordRefused_; } // In the last login.
    // The server may be waiting for a person who approves the login elsewhere.
    bool awaitsPerson() const { return state_ == State::Interactive; }

private:
    enum class State { Idle, None, Password, Interactive, KeyOffer, PublicKey, Done, Refused };

    Status receiveFailure(ByteView body);
    Status receiveInfoRequest(ByteView body);
    Status receiveKeyAccepted(ByteView body);
    Status chooseMethod(const std::vector<std::string>& methods);
    Status goOn(const std::vector<std::string>& methods, bool partial);
    Status chooseAnyMethod(const std::vector<std::string>& methods);
    Status sendPassword();
    Status sendInteractive();
    Status offerKey();
    Status sendPublicKey();
    const SigningKey& key() const { return *credentials_.keys[keyIndex_]; }
    Status answerPrompts(std::vector<LoginPrompt> prompts);
    std::optional<Bytes> answerTo(const LoginPrompt& prompt, bool isOnlyOne);
    void refuse(std::string reason);
    const SignatureInfo& signatureForKey() const;

    Send send_;
    Log log_;
    State state_ = State::Idle;
    bool serviceAccepted_ = false;
    int rounds_ = 0; // Rounds of questions in a keyboard-interactive login.
    int steps_ = 0; // Methods that have been tried in this login.
    std::size_t keyIndex_ = 0;
    bool passwordUsed_ = false;
    bool passwordRefused_ = false;
    std::vector<LoginPrompt> unanswered_;
    Credentials credentials_;
    Bytes sessionId_;
    std::vector<std::string> signatureAlgorithms_;
    std::string refusal_;
};

} // namespace ssh
