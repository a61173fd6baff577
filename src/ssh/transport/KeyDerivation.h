#pragma once

#include "ssh/transport/Algorithms.h"
#include "ssh/transport/PacketCodec.h"

namespace ssh {

// The results of a key exchange: RFC 4253, section 7.2.
struct ExchangeSecrets {
    int hash; // A GCRY_MD_ number.
    ByteView secret;
    ByteView exchangeHash;
    ByteView sessionId; // The hash of the connection's first exchange.
};

// The keys of one direction, for client or server. All names in `choice` must be known.
Result<PacketCodec::Protection> deriveProtection(
    const AlgorithmChoice& choice, Way way, const ExchangeSecrets& secrets);

} // namespace ssh
