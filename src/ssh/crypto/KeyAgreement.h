#pragma once

#include "platform/Result.h"
#include "ssh/crypto/Bytes.h"
#include "ssh/crypto/Crypto.h"

#include <memory>
#include <string_view>

namespace ssh {

// One side's half of a key agreement, for either end: makes a secret of its own, gives the public value, and
// mixes in the peer's. Used once.
class KeyAgreement {
public:
    virtual ~KeyAgreement() = default;
    // As it goes over the wire and into the exchange hash, length field included: an mpint for
    // Diffie-Hellman, a string for elliptic curves.
    virtual Bytes publicField() const = 0;
    // The content of the peer's field in, the big-endian shared secret out. Values that would make the secret
    // guessable are refused.
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
const KexMethod* findKexMethod(std::string_view name); // Null for a name that isn't spoken.

// For all but the group exchange, whose group is known only later; null when out of memory or such.
std::unique_ptr<KeyAgreement> createAgreement(const KexMethod& method);

// A Diffie-Hellman group, RFC 4253, section 8: big-endian prime and generator.
struct DhGroup {
    Bytes prime;
    Bytes generator;
};
const DhGroup& fixedGroup(int number); // 1 (RFC 2409), 14 or 16 (RFC 3526).

// What we ask of a group exchange, in bits of the prime. RFC 8270 sets the least; the most is where a server
// would only make us wait.
constexpr unsigned kGexMinimum = 2048;
constexpr unsigned kGexPreferred = 3072;
constexpr unsigned kGexMaximum = 8192;

// Refuses sizes out of the range, an even prime and a generator out of range. Quick.
Status checkGroup(const DhGroup& group);
// Refuses a prime that isn't a safe one: p and (p - 1) / 2 both prime. Takes tens of milliseconds.
Status checkSafePrime(const DhGroup& group);

std::unique_ptr<KeyAgreement> createDhAgreement(const DhGroup& group);
std::unique_ptr<KeyAgreement> createNistAgreement(int bits); // RFC 5656
std::unique_ptr<KeyAgreement> createX25519Agreement(); // RFC 8731

} // namespace ssh
