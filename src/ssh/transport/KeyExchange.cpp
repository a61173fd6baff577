#include "ssh/transport/KeyExchange.h"

#include "ssh/crypto/Wire.h"
#include "ssh/transport/KeyDerivation.h"
#include "ssh/transport/Messages.h"

namespace ssh {

namespace {

Error unexpectedKex()
{
    return Error{"The server sent a key exchange message out of turn."};
}
Error malformedKex()
{
    return Error{"The server sent a damaged key exchange message."};
}

} // namespace

KeyExchange::KeyExchange(PacketCodec& codec, Setup setup) : codec_(codec), setup_(std::move(setup)) { }

Status KeyExchange::start()
{
    if (state_ != State::Idle)
        return {};
    offer_ = offerFor(setup_.algorithms, setup_.serverVersion);
    if (offer_.cipher.empty())
        return Error{
            "The cipher \"" + setup_.algorithms.forceCipher + "\" is weak, and weak ones are refused."};
    for (const std::string& cipher : offer_.cipher)
        if (!findCipher(cipher))
            return Error{"The cipher \"" + cipher + "\" isn't one that can be used."};
    clientInit_ = buildKexInit(offer_);
    state_ = State::AwaitsInit;
    return codec_.seal(clientInit_);
}

Status KeyExchange::receive(ByteView payload)
{
    const std::uint8_t number = payload[0];
    if (number == message::kKexInit)
        return receiveInit(payload);
    if (number == message::kNewKeys)
        return receiveNewKeys(payload);
    if (skipsNext_) {
        skipsNext_ = false;
        return {};
    }
    if (state_ == State::AwaitsGroup && number == message::kKexGexGroup)
        return receiveGroup(payload);
    const bool gex = method_ && method_->family == KexFamily::GroupExchange;
    if (state_ == State::AwaitsReply && number == (gex ? message::kKexGexReply : message::kKexDhReply))
        return receiveReply(payload);
    return unexpectedKex();
}

Status KeyExchange::receiveInit(ByteView payload)
{
    if (state_ == State::Idle) {
        Status started = start(); // The server wants new keys.
        if (!started.ok())
            return started;
    }
    if (state_ != State::AwaitsInit)
        return unexpectedKex();
    const auto lists = parseKexInit(payload);
    if (!lists)
        return malformedKex();
    const bool wasStrict = choice_.strict;
    Result<AlgorithmChoice> chosen = choose(offer_, *lists);
    if (!chosen.ok())
        return chosen.error();
    choice_ = std::move(*chosen);
    if (const std::string weak = weakParts(choice_); !weak.empty())
        setup_.log("The server's best choice is weak: " + weak + ".");
    if (established_)
        choice_.strict = wasStrict; // The first exchange decides for the whole connection.
    else if (choice_.strict && codec_.lastSequence() != 0)
        return Error{"The server sent something before its key exchange, which the strict form forbids."};
    skipsNext_ = choice_.guessedWrong;
    serverInit_ = copyOf(payload);
    method_ = findKexMethod(choice_.keyExchange);
    if (method_->family == KexFamily::GroupExchange) {
        state_ = State::AwaitsGroup;
        return codec_.seal(WireWriter(message::kKexGexRequest)
                               .uint32(kGexMinimum)
                               .uint32(kGexPreferred)
                               .uint32(kGexMaximum));
    }
    agreement_ = createAgreement(*method_);
    if (!agreement_)
        return Error{"The key exchange could not be set up."};
    clientField_ = agreement_->publicField();
    state_ = State::AwaitsReply;
    return codec_.seal(WireWriter(message::kKexDhInit).raw(clientField_));
}

Status KeyExchange::receiveGroup(ByteView payload)
{
    WireReader reader(payload.subspan(1));
    group_.prime = copyOf(reader.mpint());
    group_.generator = copyOf(reader.mpint());
    if (!reader.okAndEmpty())
        return malformedKex();
    Status checked = checkGroup(group_);
    if (!checked.ok())
        return checked;
    primeChecked_ = false;
    agreement_ = createDhAgreement(group_);
    clientField_ = agreement_->publicField();
    state_ = State::AwaitsReply;
    return codec_.seal(WireWriter(message::kKexGexInit).raw(clientField_));
}

Status KeyExchange::idleWork()
{
    if (primeChecked_)
        return {};
    primeChecked_ = true;
    return checkSafePrime(group_);
}

Bytes KeyExchange::exchangeHash(ByteView hostKey, ByteView serverValue, ByteView secret) const
{
    WireWriter all;
    all.string(setup_.clientVersion).string(setup_.serverVersion).string(clientInit_).string(serverInit_);
    all.string(hostKey);
    if (method_->family == KexFamily::GroupExchange)
        all.uint32(kGexMinimum)
            .uint32(kGexPreferred)
            .uint32(kGexMaximum)
            .mpint(group_.prime)
            .mpint(group_.generator);
    all.raw(clientField_).string(serverValue).mpint(secret);
    return hash(method_->hash, {all});
}

Status KeyExchange::checkHostKey(ByteView blob, ByteView signature, const Bytes& exchangeHash)
{
    const SignatureInfo& algorithm = *findSignature(choice_.hostKey);
    Result<PublicKey> key = PublicKey::parse(blob);
    if (!key.ok())
        return Error{"The server's host key can't be used. " + key.error().text};
    const Status verified = key->verify(algorithm, signature, exchangeHash);
    if (!verified.ok())
        return Error{"The server didn't prove that it owns its host key. " + verified.error().text};
    if (established_)
        return equal(blob, hostKey_) ? Status()
                                     : Error{"The server changed its host key within the connection."};
    fingerprint_ = key->fingerprint();
    hostKey_ = copyOf(blob);
    return setup_.acceptHostKey(*key);
}

Status KeyExchange::receiveReply(ByteView payload)
{
    WireReader reader(payload.subspan(1));
    const ByteView hostKey = reader.string();
    const ByteView serverValue = reader.string();
    const ByteView signature = reader.string();
    if (!reader.okAndEmpty())
        return malformedKex();
    Status prime = idleWork();
    if (!prime.ok())
        return prime;
    const Result<Bytes> secret = agreement_->sharedSecret(serverValue);
    if (!secret.ok())
        return secret.error();
    const Bytes all = exchangeHash(hostKey, serverValue, *secret);
    Status trusted = checkHostKey(hostKey, signature, all);
    if (!trusted.ok())
        return trusted;
    if (sessionId_.empty())
        sessionId_ = all;
    agreement_.reset();

    const ExchangeSecrets secrets{method_->hash, *secret, all, sessionId_};
    Result<PacketCodec::Protection> outgoing = deriveProtection(choice_, kToServer, secrets);
    Result<PacketCodec::Protection> incoming = deriveProtection(choice_, kToClient, secrets);
    if (!outgoing.ok() || !incoming.ok())
        return outgoing.ok() ? incoming.error() : outgoing.error();
    incoming_ = std::move(*incoming);
    Status sent = codec_.seal(WireWriter(message::kNewKeys));
    codec_.protectOutgoing(std::move(*outgoing), choice_.strict);
    codec_.compressOutgoing(compresses(choice_, kToServer, authenticated_));
    state_ = State::AwaitsNewKeys;
    return sent;
}

Status KeyExchange::receiveNewKeys(ByteView payload)
{
    if (state_ != State::AwaitsNewKeys || payload.size() != 1)
        return unexpectedKex();
    codec_.protectIncoming(std::move(incoming_), choice_.strict);
    codec_.decompressIncoming(compresses(choice_, kToClient, authenticated_));
    incoming_ = {};
    state_ = State::Idle;
    established_ = true;
    return {};
}

void KeyExchange::authenticated()
{
    authenticated_ = true;
    if (choice_.compression[kToServer] == "zlib@openssh.com")
        codec_.compressOutgoing(true);
    if (choice_.compression[kToClient] == "zlib@openssh.com")
        codec_.decompressIncoming(true);
}

} // namespace ssh
