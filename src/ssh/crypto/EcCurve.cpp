#include "ssh/crypto/EcCurve.h"

#include "ssh/crypto/Wire.h"

namespace ssh {

namespace {

class Point {
public:
    Point() : value_(gcry_mpi_point_new(0)) { }
    explicit Point(gcry_mpi_point_t value) : value_(value) { }
    Point(const Point&) = delete;
    Point& operator=(const Point&) = delete;
    ~Point() { gcry_mpi_point_release(value_); }
    gcry_mpi_point_t get() const { return value_; }

private:
    gcry_mpi_point_t value_;
};

constexpr std::uint8_t kUncompressed = 4;

bool decode(gcry_ctx_t context, std::size_t width, ByteView bytes, const Point& point)
{
    if (bytes.size() != 1 + 2 * width || bytes[0] != kUncompressed)
        return false;
    const Mpi encoded(bytes);
    return gcry_mpi_ec_decode_point(point.get(), encoded.get(), context) == 0
        && gcry_mpi_ec_curve_point(point.get(), context);
}

} // namespace

const char* EcCurve::cryptoName(int bits)
{
    return bits == 256 ? "NIST P-256" : bits == 384 ? "NIST P-384" : "NIST P-521";
}

EcCurve::EcCurve(int bits) : width_(static_cast<std::size_t>(bits + 7) / 8)
{
    if (gcry_mpi_ec_new(&context_, nullptr, cryptoName(bits)) != 0)
        context_ = nullptr;
}

bool EcCurve::isScalar(const Mpi& scalar) const
{
    const Mpi order(gcry_mpi_ec_get_mpi("n", context_, 1));
    return gcry_mpi_cmp_ui(scalar.get(), 0) > 0 && gcry_mpi_cmp(scalar.get(), order.get()) < 0;
}

Mpi EcCurve::randomScalar() const
{
    const Mpi order(gcry_mpi_ec_get_mpi("n", context_, 1));
    Mpi scalar = Mpi::random(order.bits());
    while (!isScalar(scalar))
        scalar = Mpi::random(order.bits());
    return scalar;
}

Bytes EcCurve::publicPoint(const Mpi& scalar) const
{
    const Point generator(gcry_mpi_ec_get_point("g", context_, 1));
    const Point point;
    gcry_mpi_ec_mul(point.get(), scalar.get(), generator.get(), context_);
    const Mpi x = Mpi::zero();
    const Mpi y = Mpi::zero();
    if (gcry_mpi_ec_get_affine(x.get(), y.get(), point.get(), context_) != 0)
        return {};
    return WireWriter(kUncompressed).raw(x.bytes(width_)).raw(y.bytes(width_)).take();
}

Bytes EcCurve::multiply(ByteView bytes, const Mpi& scalar) const
{
    const Point point;
    if (!decode(context_, width_, bytes, point))
        return {};
    const Point product;
    gcry_mpi_ec_mul(product.get(), scalar.get(), point.get(), context_);
    const Mpi x = Mpi::secret();
    if (gcry_mpi_ec_get_affine(x.get(), nullptr, product.get(), context_) != 0)
        return {};
    return x.bytes(width_);
}

bool EcCurve::isPoint(ByteView bytes) const
{
    const Point point;
    return decode(context_, width_, bytes, point);
}

} // namespace ssh
