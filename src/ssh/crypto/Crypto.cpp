#include "ssh/crypto/Crypto.h"

#include "platform/Gcrypt.h"

#include <algorithm>
#include <new>

namespace ssh {

void randomBytes(std::span<std::uint8_t> out)
{
    platform::setUpGcrypt();
    gcry_randomize(out.data(), out.size(), GCRY_STRONG_RANDOM);
}

void nonceBytes(std::span<std::uint8_t> out)
{
    platform::setUpGcrypt();
    gcry_create_nonce(out.data(), out.size());
}

namespace {

Bytes digest(int algorithm, unsigned flags, ByteView key, std::initializer_list<ByteView> parts)
{
    platform::setUpGcrypt();
    gcry_md_hd_t handle = nullptr;
    // An empty result would compare equal to another failed hash.
    if (gcry_md_open(&handle, algorithm, flags | GCRY_MD_FLAG_SECURE) != 0)
        throw std::bad_alloc();
    if (flags & GCRY_MD_FLAG_HMAC)
        gcry_md_setkey(handle, key.data(), key.size());
    for (const ByteView part : parts)
        gcry_md_write(handle, part.data(), part.size());
    const std::uint8_t* value = gcry_md_read(handle, algorithm);
    Bytes result(value, value + gcry_md_get_algo_dlen(algorithm));
    gcry_md_close(handle);
    return result;
}

} // namespace

Bytes hash(int algorithm, std::initializer_list<ByteView> parts)
{
    return digest(algorithm, 0, {}, parts);
}

Bytes hmac(int algorithm, ByteView key, std::initializer_list<ByteView> parts)
{
    return digest(algorithm, GCRY_MD_FLAG_HMAC, key, parts);
}

SecretCopy::SecretCopy(ByteView bytes) : memory_(gcry_malloc_secure(bytes.size() + 1))
{
    if (!memory_)
        throw std::bad_alloc();
    std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(memory_));
}

Mpi::Mpi(ByteView magnitude)
{
    if (gcry_mpi_scan(&value_, GCRYMPI_FMT_USG, magnitude.data(), magnitude.size(), nullptr) != 0)
        value_ = gcry_mpi_new(0);
}

Mpi Mpi::secretFrom(ByteView magnitude)
{
    const SecretCopy copy(magnitude);
    gcry_mpi_t value = nullptr;
    if (gcry_mpi_scan(&value, GCRYMPI_FMT_USG, copy.data(), magnitude.size(), nullptr) != 0)
        value = gcry_mpi_snew(0);
    return Mpi(value);
}

Mpi Mpi::random(unsigned bits)
{
    Mpi result = secret();
    gcry_mpi_randomize(result.get(), bits, GCRY_STRONG_RANDOM);
    gcry_mpi_clear_highbit(result.get(), bits);
    return result;
}

Bytes Mpi::bytes() const
{
    std::size_t size = 0;
    gcry_mpi_print(GCRYMPI_FMT_USG, nullptr, 0, &size, value_);
    Bytes result(size);
    if (size)
        gcry_mpi_print(GCRYMPI_FMT_USG, result.data(), result.size(), &size, value_);
    return result;
}

Bytes Mpi::bytes(std::size_t width) const
{
    const Bytes magnitude = bytes();
    if (magnitude.size() > width)
        return {};
    Bytes result(width - magnitude.size());
    append(result, magnitude);
    return result;
}

bool isProbablyPrime(const Mpi& number, int rounds)
{
    const gcry_mpi_t n = number.get();
    if (gcry_mpi_cmp_ui(n, 5) < 0 || !number.isOdd())
        return false;
    const Mpi minusOne = Mpi::zero();
    gcry_mpi_sub_ui(minusOne.get(), n, 1);
    unsigned twos = 0;
    while (!gcry_mpi_test_bit(minusOne.get(), twos))
        ++twos;
    const Mpi odd = Mpi::zero();
    gcry_mpi_rshift(odd.get(), minusOne.get(), twos);
    const Mpi base = Mpi::zero();
    const Mpi power = Mpi::zero();
    for (int round = 0; round < rounds; ++round) {
        do {
            gcry_mpi_randomize(base.get(), number.bits(), GCRY_WEAK_RANDOM);
            gcry_mpi_mod(base.get(), base.get(), minusOne.get());
        } while (gcry_mpi_cmp_ui(base.get(), 2) < 0);
        gcry_mpi_powm(power.get(), base.get(), odd.get(), n);
        bool passed = gcry_mpi_cmp_ui(power.get(), 1) == 0 || gcry_mpi_cmp(power.get(), minusOne.get()) == 0;
        for (unsigned i = 1; i < twos && !passed; ++i) {
            gcry_mpi_mulm(power.get(), power.get(), power.get(), n);
            passed = gcry_mpi_cmp(power.get(), minusOne.get()) == 0;
        }
        if (!passed)
            return false;
    }
    return true;
}

Bytes Sexp::field(const char* name) const
{
    const Sexp token(gcry_sexp_find_token(value_, name, 0));
    std::size_t size = 0;
    const char* data = token ? gcry_sexp_nth_data(token.get(), 1, &size) : nullptr;
    return data ? copyOf(viewOf({data, size})) : Bytes();
}

} // namespace ssh
