#pragma once

#include "ssh/crypto/Bytes.h"

#include <string_view>

namespace ssh {

// Open what a passphrase protects in a key file. A wrong passphrase gives bytes that make no sense, or a
// failure. An empty passphrase opens nothing.

// The private section of an "OPENSSH PRIVATE KEY": bcrypt, and AES in counter or CBC mode.
struct OpenSshEncryption {
    std::string_view cipher;
    std::string_view derivation;
    ByteView options; // Of the derivation: the salt and the number of rounds.
};
Result<Bytes> decryptSection(
    const OpenSshEncryption& encryption, ByteView section, std::string_view passphrase);

// The body of an older PEM file. `info` is the value of its header "DEK-Info": a cipher and its first block.
Result<Bytes> decryptPem(std::string_view info, ByteView body, std::string_view passphrase);

} // namespace ssh
