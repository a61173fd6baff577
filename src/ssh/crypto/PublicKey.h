#pragma once

#include "platform/Result.h"
#include "ssh/crypto/Bytes.h"
#include "ssh/crypto/Crypto.h"

#include <string>
#include <string_view>

namespace ssh {

enum class SignatureFamily { Dsa, Rsa, Ecdsa, Ed25519 };

// How a signature algorithm signs: which key type it goes with, and over which hash.
struct SignatureInfo {
    std::string_view name;
    std::string_view keyType; // The name inside the key blob; differs from `name` for RSA with SHA-2.
    SignatureFamily family;
    int hash; // A GCRY_MD_ number.
    const char* hashName; // As libgcrypt calls it.
    int curveBits; // For ECDSA only.
};
const SignatureInfo* findSignature(std::string_view name); // Null for a name that isn't spoken.

// A public key in the form of RFC 4253, section 6.6 (ssh-dss, ssh-rsa), RFC 5656 (ecdsa) and RFC 8709
// (ssh-ed25519). Signatures with SHA-2 by RSA keys are those of RFC 8332.
class PublicKey {
public:
    // Refuses blobs that aren't whole, and sizes that are broken or absurd.
    static Result<PublicKey> parse(ByteView blob);

    const std::string& type() const { return type_; }
    const Bytes& blob() const { return blob_; }
    // The signature in its wire form must be made by `algorithm` and no other.
    Status verify(const SignatureInfo& algorithm, ByteView signature, ByteView data) const;
    std::string fingerprint() const; // "SHA256:" and base64 without padding, as other tools show it.

private:
    std::string type_;
    Bytes blob_;
    Sexp key_;
};

// What libgcrypt is to sign or verify: the data in the form that `algorithm` hashes it.
Sexp signatureInput(const SignatureInfo& algorithm, ByteView data);

} // namespace ssh
