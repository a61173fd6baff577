#include "ssh/session/SshProtocol.h"

#include "platform/Gcrypt.h"
#include "ssh/crypto/Wire.h"
#include "ssh/transport/Messages.h"

#include <algorithm>

namespace ssh {

namespace {

// RFC 4253, section 4.2: the longest version line, line end included.
constexpr std::size_t kLongestVersion = 255;

// A peer that sends requests and never reads the answers must not fill our memory.
constexpr std::size_t kMostUnread = std::size_t{16} * 1024 * 1024;
// Memory of a held message beside its bytes.
constexpr std::size_t kHeldOverhead = 64;

} // namespace

SshProtocol::SshProtocol(Setup setup)
    : setup_(std::move(setup)), auth_([this](ByteView payload) { return send(payload, {}); }, setup_.log),
      channels_([this](ByteView head, ByteView body) { return send(head, body); })
{
    platform::setUpGcrypt();
}

Status SshProtocol::start()
{
    outgoing().append(viewOf(setup_.clientVersion + "\r\n"));
    return {};
}

Result<bool> SshProtocol::takeVersionLine()
{
    const std::string_view text = textOf(incoming().view());
    const auto end = text.find('\n');
    const std::string_view start = text.substr(0, 4);
    if (start != std::string_view("SSH-").substr(0, start.size()))
        return Error{
            "The server's first line doesn't begin with \"SSH-\": " + printable(text.substr(0, end), 60)};
    if (std::min(end, text.size()) >= kLongestVersion)
        return Error{"The server's version line is too long."};
    if (end == std::string_view::npos)
        return false;
    serverVersion_ = text.substr(0, end);
    if (serverVersion_.ends_with('\r'))
        serverVersion_.pop_back();
    incoming().consume(end + 1);
    setup_.log("The server is " + printable(serverVersion_));
    // RFC 4253, section 5.1: a server of version 1.99 speaks 2.0 too.
    if (!serverVersion_.starts_with("SSH-2.0-") && !serverVersion_.starts_with("SSH-1.99-"))
        return Error{"The server speaks another version of the protocol: " + printable(serverVersion_, 60)};
    kex_ = std::make_unique<KeyExchange>(codec_,
        KeyExchange::Setup{
            setup_.clientVersion, serverVersion_, setup_.algorithms, setup_.acceptHostKey, setup_.log});
    const Status started = kex_->start();
    return started.ok() ? Result<bool>(true) : Result<bool>(started.error());
}

Status SshProtocol::process()
{
    if (!kex_) {
        const auto complete = takeVersionLine();
        if (!complete.ok())
            return complete.error();
        if (!*complete)
            return {};
    }
    for (;;) {
        const auto packet = codec_.next();
        if (!packet.ok())
            return packet.error();
        if (!*packet)
            return {};
        if ((*packet)->empty())
            return Error{"The server sent an empty packet."};
        Status status = receive(**packet);
        if (status.ok())
            status = flushHeld();
        if (!status.ok())
            return status;
        if (unsent() > kMostUnread)
            return Error{"The server sends requests but doesn't read the answers."};
    }
}

Status SshProtocol::receive(ByteView payload)
{
    const std::uint8_t number = payload[0];
    if (message::isKeyExchange(number)) {
        Status status = kex_->receive(payload);
        if (!status.ok() || serviceRequested_ || kex_->holdsBackOthers() || kex_->sessionId().empty())
            return status;
        // Our new keys are in use: the request can follow at once.
        serviceRequested_ = true;
        return auth_.requestService();
    }
    if (number != message::kDisconnect && kex_->forbidsOthers())
        return Error{"The server sent message " + std::to_string(number)
            + " within its first key exchange, which the strict form forbids."};
    // RFC 8308, section 2.4: extension info comes after the first keys. Earlier, an attacker could have
    // written it.
    const bool needsKeys =
        number >= message::kKexInit || number == message::kServiceAccept || number == message::kExtInfo;
    if (needsKeys && !kex_->established())
        return Error{"The server sent message " + std::to_string(number) + " before its first key exchange."};
    if (number < message::kKexInit && number != message::kServiceAccept)
        return receiveTransport(payload);
    if (message::isConnection(number))
        return loggedIn_ ? channels_.receive(payload)
                         : Status(Error{"The server sent a channel message before the login."});
    if (message::isUserauth(number) || number == message::kServiceAccept) {
        if (loggedIn_ && number != message::kUserauthBanner)
            return {}; // RFC 4252, section 5.1: ignored after the login.
        Status status = auth_.receive(payload);
        if (status.ok() && auth_.done() && !loggedIn_) {
            loggedIn_ = true;
            kex_->authenticated();
        }
        return status;
    }
    return send(WireWriter(message::kUnimplemented).uint32(codec_.lastSequence()), {});
}

Status SshProtocol::sendKeepAlive()
{
    // RFC 4254, section 4: a request that the server doesn't know is answered too.
    return loggedIn_
        ? send(WireWriter(message::kGlobalRequest).string("keepalive@openssh.com").boolean(true), {})
        : Status();
}

Status SshProtocol::receiveTransport(ByteView payload)
{
    WireReader reader(payload.subspan(1));
    switch (payload[0]) {
    case message::kDisconnect: {
        const std::uint32_t reason = reader.uint32();
        const std::string text = printable(reader.text());
        return Error{
            "The server ended the connection: " + (text.empty() ? "reason " + std::to_string(reason) : text)};
    }
    case message::kIgnore:
    case message::kDebug:
        return {};
    case message::kUnimplemented:
        return Error{"The server didn't understand a message of the protocol."};
    case message::kExtInfo:
        return receiveExtensions(payload.subspan(1));
    default:
        return send(WireWriter(message::kUnimplemented).uint32(codec_.lastSequence()), {});
    }
}

Status SshProtocol::receiveExtensions(ByteView body)
{
    WireReader reader(body);
    const std::uint32_t count = reader.uint32();
    for (std::uint32_t i = 0; i < count && reader.ok(); ++i) {
        const std::string name = reader.text();
        const std::string value = reader.text();
        if (name == "server-sig-algs" && !setup_.algorithms.settledOnly)
            auth_.setSignatureAlgorithms(splitNames(value));
    }
    return reader.ok() ? Status() : Status(Error{"The server sent damaged extension info."});
}

Status SshProtocol::authenticate(Credentials credentials)
{
    if (!established())
        return Error{"There is no connection to log in on."};
    return auth_.begin(std::move(credentials), kex_->sessionId());
}

Status SshProtocol::send(ByteView head, ByteView body)
{
    const bool transport = !head.empty() && head[0] < message::kServiceRequest;
    if (!kex_ || !kex_->holdsBackOthers() || transport)
        return codec_.seal(head, body);
    Bytes whole = copyOf(head);
    append(whole, body);
    heldBytes_ += whole.size() + kHeldOverhead;
    held_.push_back(std::move(whole));
    return {};
}

Status SshProtocol::flushHeld()
{
    while (!held_.empty() && !kex_->holdsBackOthers()) {
        const Bytes payload = std::move(held_.front());
        held_.pop_front();
        heldBytes_ -= payload.size() + kHeldOverhead;
        Status status = codec_.seal(payload);
        if (!status.ok())
            return status;
    }
    return {};
}

void SshProtocol::disconnect()
{
    constexpr std::uint32_t kByApplication = 11;
    if (established())
        (void)codec_.seal(WireWriter(message::kDisconnect)
                              .uint32(kByApplication)
                              .string("Done.")
                              .string(std::string_view()));
}

} // namespace ssh
