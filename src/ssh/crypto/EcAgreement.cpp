#include "ssh/crypto/KeyAgreement.h"

#include "ssh/crypto/EcCurve.h"
#include "ssh/crypto/Wire.h"

#include <algorithm>

namespace ssh {

namespace {

class NistAgreement : public KeyAgreement {
public:
    explicit NistAgreement(EcCurve curve) : curve_(std::move(curve)), secret_(curve_.randomScalar()) { }

    Bytes publicField() const override { return WireWriter().string(curve_.publicPoint(secret_)).take(); }

    Result<Bytes> sharedSecret(ByteView peer) override
    {
        Bytes secret = curve_.multiply(peer, secret_);
        if (secret.empty())
            return Error{"The server's key exchange value is no point of the curve."};
        return secret;
    }

private:
    EcCurve curve_;
    Mpi secret_;
};

constexpr std::size_t kX25519Size = 32;

class X25519Agreement : public KeyAgreement {
public:
    X25519Agreement() : secret_(kX25519Size), public_(kX25519Size)
    {
        randomBytes(secret_);
        gcry_ecc_mul_point(GCRY_ECC_CURVE25519, public_.data(), secret_.data(), nullptr);
    }

    Bytes publicField() const override { return WireWriter().string(public_).take(); }

    Result<Bytes> sharedSecret(ByteView peer) override
    {
        Bytes shared(kX25519Size);
        if (peer.size() != kX25519Size
            || gcry_ecc_mul_point(GCRY_ECC_CURVE25519, shared.data(), secret_.data(), peer.data()) != 0)
            return Error{"The server's key exchange value is no point of the curve."};
        // RFC 8731, section 3: a point of small order gives zero, whatever our secret is.
        if (equalInConstantTime(shared, Bytes(kX25519Size)))
            return Error{"The server's key exchange value makes the secret guessable."};
        return shared;
    }

private:
    Bytes secret_;
    Bytes public_;
};

} // namespace

std::unique_ptr<KeyAgreement> createNistAgreement(int bits)
{
    EcCurve curve(bits);
    return curve.usable() ? std::make_unique<NistAgreement>(std::move(curve)) : nullptr;
}

std::unique_ptr<KeyAgreement> createX25519Agreement()
{
    return std::make_unique<X25519Agreement>();
}

} // namespace ssh
