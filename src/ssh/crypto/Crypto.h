#pragma once

#include "ssh/crypto/Bytes.h"

#include <gcrypt.h>

#include <initializer_list>

namespace ssh {

// Numbers and S-expressions need libgcrypt set up (platform/Gcrypt.h). Everything that a program can call
// first does that: random bytes, hashes, ciphers, keys and SshProtocol.

void randomBytes(std::span<std::uint8_t> out); // Good enough for keys.
void nonceBytes(std::span<std::uint8_t> out); // Unpredictable but cheaper, for cookies and padding.

// Over the concatenated parts. The algorithm is a GCRY_MD_ number. Throws std::bad_alloc when out of memory.
Bytes hash(int algorithm, std::initializer_list<ByteView> parts);
Bytes hmac(int algorithm, ByteView key, std::initializer_list<ByteView> parts);

// A copy of secret bytes in libgcrypt's secure memory. Objects that libgcrypt builds from it live there too.
class SecretCopy {
public:
    explicit SecretCopy(ByteView bytes);
    SecretCopy(const SecretCopy&) = delete;
    SecretCopy& operator=(const SecretCopy&) = delete;
    ~SecretCopy() { gcry_free(memory_); }
    const void* data() const { return memory_; }

private:
    void* memory_;
};

// Owns a big number of libgcrypt. Secret numbers live in libgcrypt's secure memory.
class Mpi {
public:
    Mpi() = default;
    explicit Mpi(gcry_mpi_t value) : value_(value) { }
    explicit Mpi(ByteView magnitude);
    static Mpi zero() { return Mpi(gcry_mpi_new(0)); }
    static Mpi secret() { return Mpi(gcry_mpi_snew(0)); }
    static Mpi secretFrom(ByteView magnitude);
    static Mpi random(unsigned bits); // A secret number of at most so many bits.
    Mpi(Mpi&& other) noexcept : value_(other.value_) { other.value_ = nullptr; }
    Mpi& operator=(Mpi&& other) noexcept
    {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Mpi() { gcry_mpi_release(value_); }

    gcry_mpi_t get() const { return value_; }
    unsigned bits() const { return gcry_mpi_get_nbits(value_); }
    bool isOdd() const { return gcry_mpi_test_bit(value_, 0) != 0; }
    Bytes bytes() const; // Big-endian magnitude; zero is empty.
    Bytes bytes(std::size_t width) const; // With leading zeros; empty when it doesn't fit.

private:
    gcry_mpi_t value_ = nullptr;
};

// A Miller-Rabin test with random bases: any composite number passes with a probability below 4^-rounds.
bool isProbablyPrime(const Mpi& number, int rounds);

// Owns an S-expression of libgcrypt; null when it couldn't be built. It is in secure memory when one of
// its parts is.
class Sexp {
public:
    Sexp() = default;
    explicit Sexp(gcry_sexp_t value) : value_(value) { }
    Sexp(Sexp&& other) noexcept : value_(other.value_) { other.value_ = nullptr; }
    Sexp& operator=(Sexp&& other) noexcept
    {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Sexp() { gcry_sexp_release(value_); }
    gcry_sexp_t get() const { return value_; }
    explicit operator bool() const { return value_ != nullptr; }
    Bytes field(const char* name) const; // The bytes of the first "(name bytes)" inside.

    template <typename... Args>
    static Sexp build(const char* format, Args... args)
    {
        gcry_sexp_t value = nullptr;
        if (gcry_sexp_build(&value, nullptr, format, args...) != 0)
            return Sexp();
        return Sexp(value);
    }

private:
    gcry_sexp_t value_ = nullptr;
};

} // namespace ssh
