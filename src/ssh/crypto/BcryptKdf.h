#pragma once

#include "ssh/crypto/Bytes.h"

namespace ssh {

// The key derivation of encrypted OpenSSH key files: a variant of bcrypt in place of the hash of PBKDF2.
// Takes about 2 ms for each round. Empty for a key of no bytes, no rounds or an empty passphrase or salt.
Bytes bcryptKdf(ByteView passphrase, ByteView salt, std::size_t size, std::uint32_t rounds);

} // namespace ssh
