#pragma once

#include "ssh/transport/Algorithms.h"
#include "ssh/transport/PacketCodec.h"

namespace ssh {

// What a key exchange leaves behind: RFC 4253, section 7.2.
struct ExchangeSecrets {
    int hash; // A GCRY_MD_ number.
    ByteView secret;
    ByteView exchangeHash;
    ByteView sessionId; // The hash of the connection's first exchange.
};

// The keys of one direction, for either end of a connection. The names in `choice` are known ones.
Result<PacketCodec::Protection> deriveProtection(
    const AlgorithmChoice& choice, Way way, const ExchangeSecrets& secrets);

} // namespace ssh
