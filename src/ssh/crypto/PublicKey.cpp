#include "ssh/crypto/PublicKey.h"

#include "platform/Gcrypt.h"
#include "ssh/crypto/EcCurve.h"
#include "ssh/crypto/Wire.h"

namespace ssh {

namespace {

constexpr SignatureInfo kSignatures[] = {
    {"ssh-dss", "ssh-dss", SignatureFamily::Dsa, GCRY_MD_SHA1, "sha1", 0},
    {"ssh-rsa", "ssh-rsa", SignatureFamily::Rsa, GCRY_MD_SHA1, "sha1", 0},
    {"rsa-sha2-512", "ssh-rsa", SignatureFamily::Rsa, GCRY_MD_SHA512, "sha512", 0},
    {"rsa-sha2-256", "ssh-rsa", SignatureFamily::Rsa, GCRY_MD_SHA256, "sha256", 0},
    {"ssh-ed25519", "ssh-ed25519", SignatureFamily::Ed25519, GCRY_MD_SHA512, "sha512", 0},
    {"ecdsa-sha2-nistp256", "ecdsa-sha2-nistp256", SignatureFamily::Ecdsa, GCRY_MD_SHA256, "sha256", 256},
    {"ecdsa-sha2-nistp384", "ecdsa-sha2-nistp384", SignatureFamily::Ecdsa, GCRY_MD_SHA384, "sha384", 384},
    {"ecdsa-sha2-nistp521", "ecdsa-sha2-nistp521", SignatureFamily::Ecdsa, GCRY_MD_SHA512, "sha512", 521},
};

// A shorter key can be broken; a longer one only costs time.
constexpr unsigned kLeastRsaBits = 1024;
constexpr unsigned kMostRsaBits = 16384;
constexpr unsigned kLeastDsaBits = 1024;
constexpr unsigned kMostDsaBits = 4096;

constexpr std::size_t kEd25519KeySize = 32;
constexpr std::size_t kEd25519SignatureSize = 64;

int sizeOf(ByteView bytes)
{
    return static_cast<int>(bytes.size());
}

Sexp rsaKey(WireReader& reader)
{
    const Mpi e(reader.mpint());
    const Mpi n(reader.mpint());
    if (!reader.okAndEmpty() || n.bits() < kLeastRsaBits || n.bits() > kMostRsaBits || !n.isOdd()
        || !e.isOdd() || e.bits() < 2 || e.bits() > 256)
        return {};
    return Sexp::build("(public-key (rsa (n %m) (e %m)))", n.get(), e.get());
}

Sexp dsaKey(WireReader& reader)
{
    const Mpi p(reader.mpint());
    const Mpi q(reader.mpint());
    const Mpi g(reader.mpint());
    const Mpi y(reader.mpint());
    // RFC 4253, section 6.6: q has the 160 bits of a SHA-1 hash.
    if (!reader.okAndEmpty() || p.bits() < kLeastDsaBits || p.bits() > kMostDsaBits || q.bits() != 160
        || !p.isOdd() || !q.isOdd())
        return {};
    for (const Mpi* value : {&g, &y})
        if (gcry_mpi_cmp_ui(value->get(), 1) <= 0 || gcry_mpi_cmp(value->get(), p.get()) >= 0)
            return {};
    return Sexp::build("(public-key (dsa (p %m) (q %m) (g %m) (y %m)))", p.get(), q.get(), g.get(), y.get());
}

Sexp ecdsaKey(WireReader& reader, const SignatureInfo& info)
{
    const std::string curve = reader.text();
    const ByteView point = reader.string();
    if (!reader.okAndEmpty() || curve != "nistp" + std::to_string(info.curveBits)
        || !EcCurve(info.curveBits).isPoint(point))
        return {};
    return Sexp::build("(public-key (ecc (curve %s) (q %b)))", EcCurve::cryptoName(info.curveBits),
        sizeOf(point), point.data());
}

Sexp ed25519Key(WireReader& reader)
{
    const ByteView point = reader.string();
    if (!reader.okAndEmpty() || point.size() != kEd25519KeySize)
        return {};
    return Sexp::build(
        "(public-key (ecc (curve Ed25519) (flags eddsa) (q %b)))", sizeOf(point), point.data());
}

Sexp signatureValue(const SignatureInfo& info, ByteView value)
{
    WireReader reader(value);
    switch (info.family) {
    case SignatureFamily::Rsa:
        return Sexp::build("(sig-val (rsa (s %m)))", Mpi(value).get());
    case SignatureFamily::Dsa:
        if (value.size() != 40)
            return {};
        return Sexp::build(
            "(sig-val (dsa (r %m) (s %m)))", Mpi(value.first(20)).get(), Mpi(value.last(20)).get());
    case SignatureFamily::Ecdsa: {
        const Mpi r(reader.mpint());
        const Mpi s(reader.mpint());
        return reader.okAndEmpty() ? Sexp::build("(sig-val (ecdsa (r %m) (s %m)))", r.get(), s.get())
                                   : Sexp();
    }
    case SignatureFamily::Ed25519:
        if (value.size() != kEd25519SignatureSize)
            return {};
        return Sexp::build("(sig-val (eddsa (r %b) (s %b)))", 32, value.data(), 32, value.data() + 32);
    }
    return {};
}

} // namespace

const SignatureInfo* findSignature(std::string_view name)
{
    for (const SignatureInfo& info : kSignatures)
        if (info.name == name)
            return &info;
    return nullptr;
}

Sexp signatureInput(const SignatureInfo& algorithm, ByteView data)
{
    if (algorithm.family == SignatureFamily::Ed25519)
        return Sexp::build("(data (flags eddsa) (hash-algo sha512) (value %b))", sizeOf(data), data.data());
    const Bytes digest = hash(algorithm.hash, {data});
    const char* format = algorithm.family == SignatureFamily::Rsa ? "(data (flags pkcs1) (hash %s %b))"
                                                                  : "(data (flags rfc6979) (hash %s %b))";
    return Sexp::build(format, algorithm.hashName, sizeOf(digest), digest.data());
}

Result<PublicKey> PublicKey::parse(ByteView blob)
{
    platform::setUpGcrypt();
    WireReader reader(blob);
    PublicKey key;
    key.type_ = reader.text();
    key.blob_ = copyOf(blob);
    const SignatureInfo* info = findSignature(key.type_);
    // "rsa-sha2-256" is a signature algorithm; no key has that type.
    if (!info || info->keyType != info->name)
        return Error{"A key of type \"" + printable(key.type_, 40) + "\" isn't understood."};
    switch (info->family) {
    case SignatureFamily::Rsa:
        key.key_ = rsaKey(reader);
        break;
    case SignatureFamily::Dsa:
        key.key_ = dsaKey(reader);
        break;
    case SignatureFamily::Ecdsa:
        key.key_ = ecdsaKey(reader, *info);
        break;
    case SignatureFamily::Ed25519:
        key.key_ = ed25519Key(reader);
        break;
    }
    if (!key.key_)
        return Error{"A key of type \"" + key.type_ + "\" is damaged or of an unsafe size."};
    return key;
}

Status PublicKey::verify(const SignatureInfo& algorithm, ByteView signature, ByteView data) const
{
    WireReader reader(signature);
    const std::string name = reader.text();
    const ByteView value = reader.string();
    // RFC 8332, section 3.2: the signature names its algorithm, so that SHA-1 can't be swapped in.
    if (!reader.okAndEmpty() || name != algorithm.name || type_ != algorithm.keyType)
        return Error{"The signature isn't of the agreed kind \"" + std::string(algorithm.name) + "\"."};
    const Sexp given = signatureValue(algorithm, value);
    const Sexp input = signatureInput(algorithm, data);
    if (!given || !input || gcry_pk_verify(given.get(), input.get(), key_.get()) != 0)
        return Error{"The signature is wrong."};
    return {};
}

std::string PublicKey::fingerprint() const
{
    std::string text = toBase64(hash(GCRY_MD_SHA256, {blob_}));
    while (text.ends_with('='))
        text.pop_back();
    return "SHA256:" + text;
}

} // namespace ssh
