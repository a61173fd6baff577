#pragma once

#include "platform/Result.h"
#include "ssh/crypto/Bytes.h"
#include "ssh/crypto/Crypto.h"

#include <string>
#include <string_view>

namespace ssh {

enum class SignatureFamily { Dsa, Rsa, Ecdsa, Ed25519 };

// A signature algorithm: the key type that it needs and the hash that it signs.
struct SignatureInfo {
    std::string_view name;
    std::string_view keyType; // The name inside the key blob; differs from `name` for RSA with SHA-2.
    SignatureFamily family;
    int hash; // A GCRY_MD_ number.
    const char* hashName; // libgcrypt's name for it.
    int curveBits; // For ECDSA only.
};
const SignatureInfo* findSignature(std::string_view name); // Null for an unknown name.

// A public key in the form of RFC 4253, section 6.6 (ssh-dss, ssh-rsa), RFC 5656 (ecdsa) and RFC 8709
// (ssh-ed25519). Signatures with SHA-2 by RSA keys are those of RFC 8332.
class PublicKey {
public:
    // Refuses incomplete blobs, and keys that are too short to be safe or absurdly long.
    static Result<PublicKey> parse(ByteView blob);

    const std::string& type() const { return type_; }
    const Bytes& blob() const { return blob_; }
    // Takes the signature in its wire form. It must name `algorithm`.
    Status verify(const SignatureInfo& algorithm, ByteView signature, ByteView data) const;
    std::string fingerprint() const; // "SHA256:" and base64 without padding, as other tools show it.

private:
    std::string type_;
    Bytes blob_;
    Sexp key_;
};

// The data as libgcrypt needs it for signing or verifying with `algorithm`.
Sexp signatureInput(const SignatureInfo& algorithm, ByteView data);

} // namespace ssh
