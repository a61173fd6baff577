#include "ssh/crypto/PrivateKey.h"

#include "ssh/crypto/EcCurve.h"
#include "ssh/crypto/Wire.h"

namespace ssh {

namespace {

constexpr unsigned kMostBits = 16384;

const Error kInconsistent{"The numbers of the private key don't belong together; the file may be damaged."};

bool consistent(const Sexp& key)
{
    return key && gcry_pk_testkey(key.get()) == 0;
}

// RFC 4253, section 6.6: a DSA signature is two numbers of 20 bytes each.
Bytes dsaValue(const Sexp& signature)
{
    const Bytes r = Mpi(signature.field("r")).bytes(20);
    const Bytes s = Mpi(signature.field("s")).bytes(20);
    return r.empty() || s.empty() ? Bytes() : WireWriter().raw(r).raw(s).take();
}

Bytes signatureBytes(const SignatureInfo& info, const Sexp& signature, std::size_t modulusSize)
{
    switch (info.family) {
    case SignatureFamily::Rsa:
        return Mpi(signature.field("s")).bytes(modulusSize);
    case SignatureFamily::Dsa:
        return dsaValue(signature);
    case SignatureFamily::Ecdsa:
        return WireWriter().mpint(signature.field("r")).mpint(signature.field("s")).take();
    case SignatureFamily::Ed25519:
        return WireWriter().raw(signature.field("r")).raw(signature.field("s")).take();
    }
    return {};
}

} // namespace

Result<PrivateKey> PrivateKey::fromRsa(const RsaNumbers& numbers)
{
    const Mpi n(numbers.n);
    const Mpi e(numbers.e);
    const Mpi d = Mpi::secretFrom(numbers.d);
    Mpi p = Mpi::secretFrom(numbers.p);
    Mpi q = Mpi::secretFrom(numbers.q);
    if (n.bits() > kMostBits || p.bits() < 2 || q.bits() < 2 || d.bits() > n.bits())
        return kInconsistent;
    if (gcry_mpi_cmp(p.get(), q.get()) > 0)
        std::swap(p, q); // libgcrypt wants the smaller one first, with its inverse modulo the other.
    const Mpi u = Mpi::secret();
    const Mpi product = Mpi::secret();
    gcry_mpi_mul(product.get(), p.get(), q.get());
    if (gcry_mpi_cmp(product.get(), n.get()) != 0 || !gcry_mpi_invm(u.get(), p.get(), q.get()))
        return kInconsistent;
    PrivateKey key;
    key.type_ = "ssh-rsa";
    key.publicBlob_ = WireWriter().string(key.type_).mpint(numbers.e).mpint(numbers.n).take();
    key.key_ = Sexp::build("(private-key (rsa (n %m) (e %m) (d %m) (p %m) (q %m) (u %m)))", n.get(), e.get(),
        d.get(), p.get(), q.get(), u.get());
    if (!PublicKey::parse(key.publicBlob_).ok() || !consistent(key.key_))
        return kInconsistent;
    return key;
}

Result<PrivateKey> PrivateKey::fromDsa(const DsaNumbers& numbers)
{
    const Mpi p(numbers.p);
    const Mpi q(numbers.q);
    const Mpi g(numbers.g);
    const Mpi y(numbers.y);
    const Mpi x = Mpi::secretFrom(numbers.x);
    PrivateKey key;
    key.type_ = "ssh-dss";
    key.publicBlob_ = WireWriter()
                          .string(key.type_)
                          .mpint(numbers.p)
                          .mpint(numbers.q)
                          .mpint(numbers.g)
                          .mpint(numbers.y)
                          .take();
    if (!PublicKey::parse(key.publicBlob_).ok() || x.bits() == 0 || gcry_mpi_cmp(x.get(), q.get()) >= 0)
        return kInconsistent;
    key.key_ = Sexp::build("(private-key (dsa (p %m) (q %m) (g %m) (y %m) (x %m)))", p.get(), q.get(),
        g.get(), y.get(), x.get());
    // libgcrypt's own check leaves q out.
    const Mpi power = Mpi::zero();
    gcry_mpi_powm(power.get(), g.get(), q.get(), p.get());
    if (!consistent(key.key_) || gcry_mpi_cmp_ui(power.get(), 1) != 0)
        return kInconsistent;
    return key;
}

Result<PrivateKey> PrivateKey::fromEcdsa(int bits, ByteView point, ByteView scalar)
{
    const EcCurve curve(bits);
    const Mpi secret = Mpi::secretFrom(scalar);
    if (!curve.usable() || !curve.isScalar(secret) || !equal(curve.publicPoint(secret), point))
        return kInconsistent;
    const std::string name = "nistp" + std::to_string(bits);
    PrivateKey key;
    key.type_ = "ecdsa-sha2-" + name;
    key.publicBlob_ = WireWriter().string(key.type_).string(name).string(point).take();
    key.key_ = Sexp::build("(private-key (ecc (curve %s) (q %b) (d %m)))", EcCurve::cryptoName(bits),
        static_cast<int>(point.size()), point.data(), secret.get());
    if (!key.key_)
        return kInconsistent;
    return key;
}

Result<PrivateKey> PrivateKey::fromEd25519(ByteView point, ByteView seed)
{
    PrivateKey key;
    key.type_ = "ssh-ed25519";
    key.publicBlob_ = WireWriter().string(key.type_).string(point).take();
    if (point.size() != 32 || seed.size() != 32)
        return kInconsistent;
    const SecretCopy secret(seed);
    key.key_ = Sexp::build("(private-key (ecc (curve Ed25519) (flags eddsa) (q %b) (d %b)))", 32,
        point.data(), 32, secret.data());
    // Signing with a public half that doesn't match the seed would reveal the seed to whoever sees the
    // signature. libgcrypt's own check leaves the seed out; such a signature doesn't verify.
    const SignatureInfo& algorithm = *findSignature(key.type_);
    const ByteView text = viewOf("Do the halves match?");
    const auto signature = consistent(key.key_) ? key.sign(algorithm, text) : Result<Bytes>(kInconsistent);
    const auto half = PublicKey::parse(key.publicBlob_);
    if (!signature.ok() || !half.ok() || !half->verify(algorithm, *signature, text).ok())
        return kInconsistent;
    return key;
}

Result<Bytes> PrivateKey::sign(const SignatureInfo& algorithm, ByteView data) const
{
    if (algorithm.keyType != type_)
        return Error{"The key can't make signatures of the kind \"" + std::string(algorithm.name) + "\"."};
    const Sexp input = signatureInput(algorithm, data);
    gcry_sexp_t made = nullptr;
    const gcry_error_t error =
        input ? gcry_pk_sign(&made, input.get(), key_.get()) : gpg_error(GPG_ERR_INV_OBJ);
    const Sexp signature(made);
    const std::size_t modulusSize = (gcry_pk_get_nbits(key_.get()) + 7) / 8;
    const Bytes value = error ? Bytes() : signatureBytes(algorithm, signature, modulusSize);
    if (value.empty())
        return Error{std::string("Signing with the private key failed: ") + gcry_strerror(error)};
    return WireWriter().string(algorithm.name).string(value).take();
}

} // namespace ssh
