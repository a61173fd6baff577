#pragma once

#include "ssh/crypto/SigningKey.h"

namespace ssh {

// A private key of this process. Its secret numbers live in memory that is wiped.
class PrivateKey final : public SigningKey {
public:
    struct RsaNumbers {
        ByteView n, e, d, p, q;
    };
    struct DsaNumbers {
        ByteView p, q, g, y, x;
    };
    // Each refuses numbers that don't match.
    static Result<PrivateKey> fromRsa(const RsaNumbers& numbers);
    static Result<PrivateKey> fromDsa(const DsaNumbers& numbers);
    static Result<PrivateKey> fromEcdsa(int bits, ByteView point, ByteView scalar);
    static Result<PrivateKey> fromEd25519(ByteView point, ByteView seed);

    const std::string& type() const override { return type_; }
    const Bytes& publicBlob() const override { return publicBlob_; }
    Result<Bytes> sign(const SignatureInfo& algorithm, ByteView data) const override;

private:
    std::string type_;
    Bytes publicBlob_;
    Sexp key_;
};

// Reads a key file: "DSA PRIVATE KEY", "RSA PRIVATE KEY" (the PEM forms of PKCS #1 and its DSA sibling) or
// "OPENSSH PRIVATE KEY" (openssh-key-v1). The passphrase is used for an encrypted one, which may take a
// second to open. A failure says what is wrong.
Result<PrivateKey> readKeyFile(std::string_view text, std::string_view passphrase = {});
// Whether it takes a passphrase.
bool isEncryptedKey(std::string_view text);

} // namespace ssh
