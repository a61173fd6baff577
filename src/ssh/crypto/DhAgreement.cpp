#include "ssh/crypto/KeyAgreement.h"

#include "ssh/crypto/Wire.h"

#include <algorithm>
#include <string>

namespace ssh {

namespace {

// RFC 2409, section 6.2, and RFC 3526, sections 3 and 5; the generator of each is 2.
constexpr std::string_view kGroup1 =
    "ffffffffffffffffc90fdaa22168c234c4c6628b80dc1cd129024e088a67cc74020bbea63b139b22514a08798e3404dd"
    "ef9519b3cd3a431b302b0a6df25f14374fe1356d6d51c245e485b576625e7ec6f44c42e9a637ed6b0bff5cb6f406b7ed"
    "ee386bfb5a899fa5ae9f24117c4b1fe649286651ece65381ffffffffffffffff";

constexpr std::string_view kGroup14 =
    "ffffffffffffffffc90fdaa22168c234c4c6628b80dc1cd129024e088a67cc74020bbea63b139b22514a08798e3404dd"
    "ef9519b3cd3a431b302b0a6df25f14374fe1356d6d51c245e485b576625e7ec6f44c42e9a637ed6b0bff5cb6f406b7ed"
    "ee386bfb5a899fa5ae9f24117c4b1fe649286651ece45b3dc2007cb8a163bf0598da48361c55d39a69163fa8fd24cf5f"
    "83655d23dca3ad961c62f356208552bb9ed529077096966d670c354e4abc9804f1746c08ca18217c32905e462e36ce3b"
    "e39e772c180e86039b2783a2ec07a28fb5c55df06f4c52c9de2bcbf6955817183995497cea956ae515d2261898fa0510"
    "15728e5a8aacaa68ffffffffffffffff";

constexpr std::string_view kGroup16 =
    "ffffffffffffffffc90fdaa22168c234c4c6628b80dc1cd129024e088a67cc74020bbea63b139b22514a08798e3404dd"
    "ef9519b3cd3a431b302b0a6df25f14374fe1356d6d51c245e485b576625e7ec6f44c42e9a637ed6b0bff5cb6f406b7ed"
    "ee386bfb5a899fa5ae9f24117c4b1fe649286651ece45b3dc2007cb8a163bf0598da48361c55d39a69163fa8fd24cf5f"
    "83655d23dca3ad961c62f356208552bb9ed529077096966d670c354e4abc9804f1746c08ca18217c32905e462e36ce3b"
    "e39e772c180e86039b2783a2ec07a28fb5c55df06f4c52c9de2bcbf6955817183995497cea956ae515d2261898fa0510"
    "15728e5a8aaac42dad33170d04507a33a85521abdf1cba64ecfb850458dbef0a8aea71575d060c7db3970f85a6e1e4c7"
    "abf5ae8cdb0933d71e8c94e04a25619dcee3d2261ad2ee6bf12ffa06d98a0864d87602733ec86a64521f2b18177b200c"
    "bbe117577a615d6c770988c0bad946e208e24fa074e5ab3143db5bfce0fd108e4b82d120a92108011a723c12a787e6d7"
    "88719a10bdba5b2699c327186af4e23c1a946834b6150bda2583e9ca2ad44ce8dbbbc2db04de8ef92e8efc141fbecaa6"
    "287c59474e6bc05d99b2964fa090c3a2233ba186515be7ed1f612970cee2d7afb81bdd762170481cd0069127d5b05aa9"
    "93b4ea988d8fddc186ffb7dc90a6c08f4df435c934063199ffffffffffffffff";

Bytes fromHex(std::string_view digits)
{
    const auto value = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(value(digits[i]) << 4 | value(digits[i + 1])));
    return bytes;
}

// Twice the bits of the longest key derived from the secret, so that the exponent is never easier to find
// than the key. A longer one only costs time.
constexpr unsigned kExponentBits = 512;

// RFC 4253, section 8: 1 < e, f < p - 1 excludes the values that reveal the secret.
bool inRange(const Mpi& value, const Mpi& primeMinusOne)
{
    return gcry_mpi_cmp_ui(value.get(), 1) > 0 && gcry_mpi_cmp(value.get(), primeMinusOne.get()) < 0;
}

class DhAgreement : public KeyAgreement {
public:
    explicit DhAgreement(const DhGroup& group)
        : prime_(group.prime), primeMinusOne_(Mpi::zero()), secret_(Mpi::secret()), public_(Mpi::zero())
    {
        gcry_mpi_sub_ui(primeMinusOne_.get(), prime_.get(), 1);
        const Mpi generator(group.generator);
        // In a bogus group, no value may be in range; sharedSecret then fails.
        for (int attempt = 0; attempt < 16 && !inRange(public_, primeMinusOne_); ++attempt) {
            secret_ = Mpi::random(std::min(kExponentBits, prime_.bits() - 1));
            gcry_mpi_powm(public_.get(), generator.get(), secret_.get(), prime_.get());
        }
    }

    Bytes publicField() const override { return WireWriter().mpint(public_.bytes()).take(); }

    Result<Bytes> sharedSecret(ByteView peer) override
    {
        const Mpi value(peer);
        if ((!peer.empty() && peer[0] & 0x80) || !inRange(value, primeMinusOne_)
            || !inRange(public_, primeMinusOne_))
            return Error{"The server's key exchange value is out of range."};
        const Mpi shared = Mpi::secret();
        gcry_mpi_powm(shared.get(), value.get(), secret_.get(), prime_.get());
        if (!inRange(shared, primeMinusOne_))
            return Error{"The server's key exchange value makes the secret guessable."};
        return shared.bytes();
    }

private:
    Mpi prime_;
    Mpi primeMinusOne_;
    Mpi secret_;
    Mpi public_;
};

} // namespace

const DhGroup& fixedGroup(int number)
{
    static const DhGroup group1{fromHex(kGroup1), {2}};
    static const DhGroup group14{fromHex(kGroup14), {2}};
    static const DhGroup group16{fromHex(kGroup16), {2}};
    return number == 1 ? group1 : number == 14 ? group14 : group16;
}

Status checkGroup(const DhGroup& group)
{
    const Mpi prime(group.prime);
    if (prime.bits() < kGexMinimum || prime.bits() > kGexMaximum)
        return Error{"The server's Diffie-Hellman group has a prime of " + std::to_string(prime.bits())
            + " bits; only " + std::to_string(kGexMinimum) + " to " + std::to_string(kGexMaximum)
            + " are accepted."};
    const Mpi minusOne = Mpi::zero();
    gcry_mpi_sub_ui(minusOne.get(), prime.get(), 1);
    if (!prime.isOdd())
        return Error{"The server's Diffie-Hellman group isn't built on a prime."};
    if (!inRange(Mpi(group.generator), minusOne))
        return Error{"The server's Diffie-Hellman group has an unusable generator."};
    return {};
}

Status checkSafePrime(const DhGroup& group)
{
    const Mpi prime(group.prime);
    const Mpi half = Mpi::zero();
    gcry_mpi_rshift(half.get(), prime.get(), 1);
    // Few rounds do: the server can't predict the bases, and only the owner of the host key gets to try.
    constexpr int kRounds = 2;
    if (!isProbablyPrime(prime, kRounds) || !isProbablyPrime(half, kRounds))
        return Error{"The server's Diffie-Hellman group isn't built on a safe prime."};
    return {};
}

std::unique_ptr<KeyAgreement> createDhAgreement(const DhGroup& group)
{
    return std::make_unique<DhAgreement>(group);
}

} // namespace ssh
