#pragma once

#include "platform/Result.h"
#include "ssh/crypto/Bytes.h"
#include "ssh/crypto/Crypto.h"

#include <memory>
#include <string_view>

namespace ssh {

// One side of a key agreement, for client or server: makes its own secret, gives its public value, and
// computes the shared secret from the peer's. Used once.
class KeyAgreement {
public:
    virtual ~KeyAgreement() = default;
    // The public value as sent and hashed, with its length field: an mpint for Diffie-Hellman, a string for
    // elliptic curves.
    virtual Bytes publicField() const = 0;
    // Takes the peer's public value without its length field; gives the big-endian shared secret. Refuses
    // values that would make the secret guessable.
    virtual Result<Bytes> sharedSecret(ByteView peer) = 0;
};

enum class KexFamily { Group, GroupExchange, Nist, X25519 };

// How one method of the key exchange lists works.
struct KexMethod {
    std::string_view name;
    KexFamily family;
    int hash; // A GCRY_MD_ number.
    int parameter; // The number of the fixed group, or the bits of the curve.
};
const KexMethod* findKexMethod(std::string_view name); // Null for an unknown name.

// Not for the group exchange, whose group comes from the server. Null when libgcrypt fails.
std::unique_ptr<KeyAgreement> createAgreement(const KexMethod& method);

// A Diffie-Hellman group, RFC 4253, section 8: big-endian prime and generator.
struct DhGroup {
    Bytes prime;
    Bytes generator;
};
const DhGroup& fixedGroup(int number); // 1 (RFC 2409), 14 or 16 (RFC 3526).

// Bits of the prime in a group exchange. RFC 8270 sets the minimum; above the maximum, the computation would
// take seconds.
constexpr unsigned kGexMinimum = 2048;
constexpr unsigned kGexPreferred = 3072;
constexpr unsigned kGexMaximum = 8192;

// Refuses a prime of the wrong size, an even prime, and a generator out of range. Quick.
Status checkGroup(const DhGroup& group);
// Refuses a prime that isn't a safe one: p and (p - 1) / 2 both prime. Takes tens of milliseconds.
Status checkSafePrime(const DhGroup& group);

std::unique_ptr<KeyAgreement> createDhAgreement(const DhGroup& group);
std::unique_ptr<KeyAgreement> createNistAgreement(int bits); // RFC 5656
std::unique_ptr<KeyAgreement> createX25519Agreement(); // RFC 8731

} // namespace ssh
