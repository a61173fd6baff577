#pragma once

#include "ssh/crypto/Crypto.h"

namespace ssh {

// One of the three NIST curves of RFC 5656, with points in the uncompressed form of SEC 1, section 2.3.
class EcCurve {
public:
    explicit EcCurve(int bits); // 256, 384 or 521.
    EcCurve(EcCurve&& other) noexcept : context_(other.context_), width_(other.width_)
    {
        other.context_ = nullptr;
    }
    ~EcCurve() { gcry_ctx_release(context_); }

    static const char* cryptoName(int bits); // libgcrypt's name for it.
    bool usable() const { return context_ != nullptr; }
    Mpi randomScalar() const; // From 1 to the order minus 1.
    bool isScalar(const Mpi& scalar) const;
    Bytes publicPoint(const Mpi& scalar) const;
    // The x coordinate of scalar times point; empty when the point isn't on the curve or is the point at
    // infinity.
    Bytes multiply(ByteView point, const Mpi& scalar) const;
    bool isPoint(ByteView point) const;

private:
    gcry_ctx_t context_ = nullptr;
    std::size_t width_ = 0; // Bytes of a coordinate.
};

} // namespace ssh
