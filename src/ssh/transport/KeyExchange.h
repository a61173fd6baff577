#pragma once

#include "ssh/crypto/KeyAgreement.h"
#include "ssh/crypto/PublicKey.h"
#include "ssh/transport/Algorithms.h"
#include "ssh/transport/PacketCodec.h"

#include <functional>
#include <memory>

namespace ssh {

// The client's side of the key exchange: RFC 4253, sections 7 and 8, RFC 4419 (group exchange), RFC 5656 and
// RFC 8731 (elliptic curves), in the strict form where the server knows it. Takes messages; answers go into
// the codec. Serves the first exchange and all later ones.
class KeyExchange {
public:
    struct Setup {
        std::string clientVersion; // Without line end.
        std::string serverVersion;
        AlgorithmSettings algorithms;
        // Called once, when the first exchange's signature has been verified. A failure ends the connection.
        std::function<Status(const PublicKey&)> acceptHostKey;
        std::function<void(const std::string&)> log;
    };
    KeyExchange(PacketCodec& codec, Setup setup);

    Status start(); // Sends our KEXINIT. No effect during an exchange.
    Status receive(ByteView payload); // A message with a number from 20 to 49.

    bool going() const { return state_ != State::Idle; }
    // RFC 4253, section 7.1: between our KEXINIT and our NEWKEYS, only key exchange messages may be sent.
    bool holdsBackOthers() const { return state_ != State::Idle && state_ != State::AwaitsNewKeys; }
    bool established() const { return established_; } // The first exchange is complete in both directions.
    // In the strict form, the server may only send key exchange messages before the first keys are in use.
    bool forbidsOthers() const { return choice_.strict && !established_; }
    // Slow checks, to be called when everything is sent: the server works on its answer meanwhile.
    Status idleWork();
    // To be called after the login: starts the compression that waits for it.
    void authenticated();

    const Bytes& sessionId() const { return sessionId_; }
    const AlgorithmChoice& choice() const { return choice_; }
    const std::string& fingerprint() const { return fingerprint_; }

private:
    enum class State { Idle, AwaitsInit, AwaitsGroup, AwaitsReply, AwaitsNewKeys };

    Status receiveInit(ByteView payload);
    Status receiveGroup(ByteView payload);
    Status receiveReply(ByteView payload);
    Status receiveNewKeys(ByteView payload);
    Status checkHostKey(ByteView blob, ByteView signature, const Bytes& exchangeHash);
    Bytes exchangeHash(ByteView hostKey, ByteView serverValue, ByteView secret) const;

    PacketCodec& codec_;
    Setup setup_;
    AlgorithmOffer offer_;
    AlgorithmChoice choice_;
    const KexMethod* method_ = nullptr;
    State state_ = State::Idle;
    bool established_ = false;
    bool authenticated_ = false;
    bool skipsNext_ = false; // The next message is the server's wrong guess.
    bool primeChecked_ = true;
    Bytes clientInit_;
    Bytes serverInit_;
    DhGroup group_;
    std::unique_ptr<KeyAgreement> agreement_;
    Bytes clientField_;
    PacketCodec::Protection incoming_;
    Bytes sessionId_;
    Bytes hostKey_;
    std::string fingerprint_;
};

} // namespace ssh
