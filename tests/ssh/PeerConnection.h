#pragma once

#include "ssh/Peer.h"

#include "ssh/crypto/Wire.h"
#include "ssh/sftp/SFtpFileAttr.h"
#include "ssh/transport/KeyDerivation.h"

namespace peer {

// The files that a peer's SFTP subsystem shows, in one of the versions 3 to 6 of the protocol.
class FileServer {
public:
    FileServer(const Options& options, Seen& seen) : options_(options), seen_(seen), files_(options.files) { }
    // Takes what came over the channel; adds the replies, each with its length in front.
    void receive(ssh::ByteView data, std::vector<ssh::Bytes>& replies);

private:
    ssh::Bytes answer(ssh::ByteView request);
    ssh::Bytes open(ssh::WireReader& reader, std::uint32_t id);
    ssh::Bytes read(ssh::WireReader& reader, std::uint32_t id);
    ssh::Bytes write(ssh::WireReader& reader, std::uint32_t id);
    ssh::Bytes attributes(const std::string& path, std::uint32_t id);
    ssh::Bytes names(const std::string& path, std::uint32_t id);
    ssh::Bytes status(std::uint32_t id, std::uint32_t code) const;
    ssh::SFtpFileAttr attr(const std::string& path) const;

    const Options& options_;
    Seen& seen_;
    std::map<std::string, std::string> files_;
    std::map<std::string, bool> listed_;
    ssh::Bytes waiting_;
};

// One connection of a peer, from the version line to its end.
class Connection {
public:
    Connection(Peer& peer, int socket)
        : peer_(peer), options_(peer.options_), socket_(socket), files_(options_, seen_)
    { }
    void run();

private:
    bool exchangeVersions();
    bool exchangeKeys(const ssh::Bytes& clientInit);
    bool agree(const ssh::KexMethod& method, const ssh::Bytes& clientInit, const ssh::Bytes& serverInit);
    void protect(const ssh::ExchangeSecrets& secrets);
    bool flood();
    bool sendReplies();
    bool authenticate(ssh::ByteView payload);
    bool receive(ssh::ByteView payload);
    bool receiveChannel(std::uint8_t number, ssh::WireReader& reader);
    bool runRequest(ssh::WireReader& reader);
    bool endCommand();
    bool sendData(ssh::ByteView data);
    bool fail();
    bool succeed();

    bool send(ssh::ByteView payload);
    bool flush();
    bool fill();
    std::optional<ssh::Bytes> next();

    Peer& peer_;
    const Options& options_;
    int socket_;
    Seen seen_;
    ssh::PacketCodec codec_;
    std::string clientVersion_;
    ssh::AlgorithmChoice choice_;
    ssh::Bytes sessionId_;
    bool loggedIn_ = false;
    FileServer files_;
    std::vector<ssh::Bytes> replies_; // Of the files.
    bool isSftp_ = false;
    bool echoes_ = false;
    std::uint32_t toRefill_ = 0;
};

} // namespace peer
