#pragma once

#include "platform/Result.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

// Two sides of a stream prove to each other that they know the same secret, without sending it. Passive: the
// caller moves the bytes. Each side sends a nonce; each proof is an HMAC-SHA256 over both nonces and a label
// of its side, so that no proof can be sent back or used again. What follows on the stream isn't protected.
//
// docs/task-server.md has the bytes.
class SecretProof {
public:
    enum class Side { Connecting, Listening };
    SecretProof(Side side, std::string secret);
    ~SecretProof(); // Wipes the secret.
    SecretProof(const SecretProof&) = delete;
    SecretProof& operator=(const SecretProof&) = delete;

    // What is to be sent now; empty when nothing is.
    std::string takeBytesToSend();
    // How many bytes of the other side take() wants next; 0 once both sides have proved it. Never read more:
    // what follows belongs to the messages.
    std::size_t bytesWanted() const { return wanted_; }
    // Takes exactly that many bytes. A failure is final.
    Status take(std::string_view bytes);

    static constexpr std::size_t kShortestSecret = 16; // Characters.
    static constexpr std::size_t kLongestSecret = 1024;
    // A new secret: 64 hexadecimal digits.
    static std::string makeSecret();

private:
    Status takeHello(std::string_view bytes);
    bool isProofOf(Side side, std::string_view proof) const;
    std::string proofOf(Side side) const;

    Side side_;
    std::string secret_;
    std::string nonceOfConnecting_;
    std::string nonceOfListening_;
    std::string toSend_;
    std::size_t wanted_ = 0;
    bool hasHello_ = false;
};

} // namespace platform
