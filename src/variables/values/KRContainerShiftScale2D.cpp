#include "variables/values/KRContainerShiftScale2D.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/values/FortranValues.h"
#include "variables/values/KRContainerTransform2D.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

KRContainer::Value readShiftScale2D(KRDataStorage& storage, const std::string& name)
{
    const auto stored = variables::storedNumbers<double>(storage, name);
    if (stored && stored.length() == 0)
        return KRContainerShiftScale2D::createEmpty();
    if (!stored || stored.length() != 4)
        return nullptr;
    return variables::withParameters(
        KRContainerShiftScale2D::createWithX(stored[0], stored[1], stored[2], stored[3]), storage,
        stored.name);
}

} // namespace

const ReadingOperation KRContainerShiftScale2D::kReading{.type = "ShiftScale2D",
    .read = readShiftScale2D,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream = variables::fromRecord<kReading>};

KRContainerShiftScale2D::Pointer KRContainerShiftScale2D::create(
    const Point2D& point, double scaleX, double scaleY)
{
    return std::make_shared<KRContainerShiftScale2D>(Private(), point, scaleX, scaleY);
}

KRContainerShiftScale2D::Pointer KRContainerShiftScale2D::createFromTextFile(
    std::FILE* stream, const TextFileInformation&)
{
    double read[4];
    return variables::readNumbers(stream, read) ? createWithX(read[0], read[1], read[2], read[3]) : nullptr;
}

double KRContainerShiftScale2D::scale() const
{
    if (scaleX_ != scaleY_)
        KRMessageCenter::addMessage("For a shift and scale2D: scaleX!=scaleY, but asking for scale.");
    return scaleX_;
}

std::string KRContainerShiftScale2D::description() const
{
    const auto [x, y] = point_;
    if (x == 0 && y == 0) {
        if (scaleX_ != scaleY_)
            return fmt::format("Scale x by {:g}, y by {:g}.", scaleX_, scaleY_);
        return scaleX_ == 1 ? "Identity mapping." : fmt::format("Scale by {:g}", scaleX_);
    }
    if (scaleX_ != scaleY_)
        return fmt::format("Scale by ({:g},{:g}) then shift by ({:g},{:g}).", scaleX_, scaleY_, x, y);
    if (scaleX_ == 1)
        return fmt::format("Shift by ({:g},{:g}).", x, y);
    return fmt::format("Scale by {:g} then shift by ({:g},{:g}).", scaleX_, x, y);
}

KRAnyArray KRContainerShiftScale2D::storedArray() const
{
    return variables::arrayOf({point_.x, point_.y, scaleX_, scaleY_});
}

bool KRContainerShiftScale2D::appendAsText(std::FILE* stream) const
{
    return variables::writeText(
        stream, fmt::format("{:.16g} {:.16g} {:.16g} {:.16g}", point_.x, point_.y, scaleX_, scaleY_));
}

std::shared_ptr<KRContainerTransform2D> KRContainerShiftScale2D::transform2D() const
{
    return KRContainerTransform2D::createTransform2D(
        CreateTransform2D(scaleX_, 0, point_.x, 0, scaleY_, point_.y));
}

KRContainerShiftScale2D::Pointer KRContainerShiftScale2D::inverse() const
{
    return create({-point_.x / scaleX_, -point_.y / scaleY_}, 1 / scaleX_, 1 / scaleY_);
}

Point2D KRContainerShiftScale2D::mapPoint(const Point2D& point) const
{
    return {point.x * scaleX_ + point_.x, point.y * scaleY_ + point_.y};
}

Point2D KRContainerShiftScale2D::mapVector(const Point2D& vector) const
{
    return {vector.x * scaleX_, vector.y * scaleY_};
}

Box2D KRContainerShiftScale2D::mapBox(const Box2D& box) const
{
    const Point2D a = mapPoint({box.xmin, box.ymin}), b = mapPoint({box.xmax, box.ymax});
    return {std::min(a.x, b.x), std::max(a.x, b.x), std::min(a.y, b.y), std::max(a.y, b.y), box.count};
}

KRBoundingBox2D KRContainerShiftScale2D::mapBoundingBox(const KRBoundingBox2D& box) const
{
    if (box.isEmpty || !box.couldBeFound)
        return box;
    const Box2D mapped = mapBox({box.xmin, box.xmax, box.ymin, box.ymax, 0});
    return {mapped.xmin, mapped.xmax, mapped.ymin, mapped.ymax, false, true};
}
