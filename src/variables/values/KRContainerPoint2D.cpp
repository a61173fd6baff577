#include "variables/values/KRContainerPoint2D.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/values/FortranValues.h"
#include "variables/values/KRPlainValue.h"

#include <fmt/format.h>

#include <cmath>

namespace {

KRContainer::Value readPoint2D(KRDataStorage& storage, const std::string& name)
{
    const auto stored = variables::storedNumbers<double>(storage, name);
    if (!stored)
        return nullptr;
    if (stored.length() == 0)
        return variables::withParameters(KRContainerPoint2D::createEmpty(), storage, stored.name);
    if (stored.length() != 2) {
        KRMessageCenter::addMessage("Error when reading a point, incorrect length stored in file.");
        return nullptr;
    }
    return variables::withParameters(KRContainerPoint2D::pointX(stored[0], stored[1]), storage, stored.name);
}

} // namespace

const ReadingOperation KRContainerPoint2D::kReading{.type = "Point2D",
    .read = readPoint2D,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream = variables::fromRecord<kReading>};

KRContainerPoint2D::Pointer KRContainerPoint2D::pointX(double x, double y)
{
    return std::make_shared<KRContainerPoint2D>(Private(), Point2D{x, y}, false);
}

KRContainerPoint2D::Pointer KRContainerPoint2D::createEmpty()
{
    return std::make_shared<KRContainerPoint2D>(Private(), Point2D{0, 0}, true);
}

KRContainerPoint2D::Pointer KRContainerPoint2D::createFromTextFile(
    std::FILE* stream, const TextFileInformation&)
{
    double read[2];
    return variables::readNumbers(stream, read) ? pointX(read[0], read[1]) : nullptr;
}

std::string KRContainerPoint2D::description() const
{
    return isEmpty_ ? "Empty" : fmt::format("({:g},{:g})", mPoint_.x, mPoint_.y);
}

KRContainer::Value KRContainerPoint2D::returnParameter(const std::optional<std::string>& name) const
{
    if (name != "X" && name != "Y")
        return KRContainer::returnParameter(name);
    return isEmpty_ ? nullptr : KRRealNumber::create(name == "X" ? mPoint_.x : mPoint_.y);
}

KRAnyArray KRContainerPoint2D::storedArray() const
{
    return isEmpty_ ? variables::arrayOf<double>({}) : variables::arrayOf({mPoint_.x, mPoint_.y});
}

bool KRContainerPoint2D::appendAsText(std::FILE* stream) const
{
    return variables::writeText(stream, fmt::format("{:.16g} {:.16g}\n", mPoint_.x, mPoint_.y));
}

double KRContainerPoint2D::x() const
{
    if (isEmpty_)
        KRMessageCenter::addMessage("Internal error: Asking an empty 2D point for x coordinate");
    return isEmpty_ ? NAN : mPoint_.x;
}

double KRContainerPoint2D::y() const
{
    if (isEmpty_)
        KRMessageCenter::addMessage("Internal error: Asking an empty 2D point for y coordinate");
    return isEmpty_ ? NAN : mPoint_.y;
}

Point2D KRContainerPoint2D::point2d() const
{
    if (isEmpty_)
        KRMessageCenter::addMessage("Internal error: Asking an empty 2D point for the point value");
    return isEmpty_ ? Point2D{NAN, NAN} : mPoint_;
}

bool KRContainerPoint2D::mayChange() const
{
    if (isEmpty_)
        KRMessageCenter::addMessage("Internal error: Overwriting an empty 2D Point");
    return !isEmpty_;
}

void KRContainerPoint2D::setPoint(const Point2D& point)
{
    if (mayChange())
        mPoint_ = point;
}

void KRContainerPoint2D::setX(double x)
{
    if (mayChange())
        mPoint_.x = x;
}

void KRContainerPoint2D::setY(double y)
{
    if (mayChange())
        mPoint_.y = y;
}

double KRContainerPoint2D::numericalPropertyNamed(std::string_view name) const
{
    if (name == "x")
        return x();
    if (name == "z")
        return y();
    KRMessageCenter::seriousErrorMessage("Asking for an invalid extension");
    return NAN;
}

KRBoundingBox2D KRContainerPoint2D::boundingBox2D() const
{
    return isEmpty_ ? KRBoundingBox2DCreateEmpty() : KRBoundingBox2DCreateFromPoint(mPoint_);
}
