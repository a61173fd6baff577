#pragma once

#include "ssh/crypto/PublicKey.h"

namespace ssh {

// A key that a user logs in with: it can sign, wherever its secret is. One thread at a time.
class SigningKey {
public:
    virtual ~SigningKey() = default;
    virtual const std::string& type() const = 0; // "ssh-rsa" and so on.
    virtual const Bytes& publicBlob() const = 0;
    // The signature in its wire form. `algorithm` must suit the key's type.
    virtual Result<Bytes> sign(const SignatureInfo& algorithm, ByteView data) const = 0;
};

} // namespace ssh
