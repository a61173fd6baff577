#include "variables/values/KRContainerShiftScale3D.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/values/FortranValues.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

KRContainer::Value readShiftScale3D(KRDataStorage& storage, const std::string& name)
{
    const auto stored = variables::storedNumbers<double>(storage, name);
    if (stored && stored.length() == 0)
        return KRContainerShiftScale3D::createEmpty();
    if (!stored || stored.length() != 6)
        return nullptr;
    const Point3D point{
        static_cast<float>(stored[0]), static_cast<float>(stored[1]), static_cast<float>(stored[2])};
    return variables::withParameters(
        KRContainerShiftScale3D::createWithPoint(point, stored[3], stored[4], stored[5]), storage,
        stored.name);
}

} // namespace

const ReadingOperation KRContainerShiftScale3D::kReading{.type = "ShiftScale3D",
    .read = readShiftScale3D,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream = variables::fromRecord<kReading>};

KRContainerShiftScale3D::Pointer KRContainerShiftScale3D::createWithPoint(
    const Point3D& point, double andScaleX, double scaleY, double scaleZ)
{
    return std::make_shared<KRContainerShiftScale3D>(Private(), point, andScaleX, scaleY, scaleZ);
}

KRContainerShiftScale3D::Pointer KRContainerShiftScale3D::createFromTextFile(
    std::FILE* stream, const TextFileInformation&)
{
    double read[6];
    if (!variables::readNumbers(stream, read))
        return nullptr;
    return createWithPoint(
        {static_cast<float>(read[0]), static_cast<float>(read[1]), static_cast<float>(read[2])}, read[3],
        read[4], read[5]);
}

double KRContainerShiftScale3D::scale() const
{
    if (!hasOneScale())
        KRMessageCenter::addMessage("Scale is not the same in each direction.");
    return scaleX_;
}

std::string KRContainerShiftScale3D::description() const
{
    const auto [x, y, z] = point_;
    if (x == 0 && y == 0 && z == 0) {
        if (!hasOneScale())
            return fmt::format("Scale x by {:g}, y by {:g}, z by {:g}.", scaleX_, scaleY_, scaleZ_);
        return scaleX_ == 1 ? "Identity mapping." : fmt::format("Scale by {:g}", scaleX_);
    }
    if (!hasOneScale())
        return fmt::format(
            "Scale by ({:g},{:g},{:g}) then shift by ({:g},{:g},{:g}).", scaleX_, scaleY_, scaleZ_, x, y, z);
    if (scaleX_ == 1)
        return fmt::format("Shift by ({:g},{:g},{:g}).", x, y, z);
    return fmt::format("Scale by {:g} then shift by ({:g},{:g},{:g}).", scaleX_, x, y, z);
}

KRAnyArray KRContainerShiftScale3D::storedArray() const
{
    return variables::arrayOf<double>({point_.x, point_.y, point_.z, scaleX_, scaleY_, scaleZ_});
}

bool KRContainerShiftScale3D::appendAsText(std::FILE* stream) const
{
    return variables::writeText(stream,
        fmt::format("{:.9g} {:.9g} {:.9g} {:.16g} {:.16g} {:.16g}", point_.x, point_.y, point_.z, scaleX_,
            scaleY_, scaleZ_));
}

KRContainerShiftScale3D::Pointer KRContainerShiftScale3D::inverse() const
{
    const auto back = [](float shift, double scale) { return static_cast<float>(-shift / scale); };
    return createWithPoint({back(point_.x, scaleX_), back(point_.y, scaleY_), back(point_.z, scaleZ_)},
        1 / scaleX_, 1 / scaleY_, 1 / scaleZ_);
}

Point3D KRContainerShiftScale3D::mapPoint(const Point3D& point) const
{
    return {static_cast<float>(point.x * scaleX_ + point_.x),
        static_cast<float>(point.y * scaleY_ + point_.y), static_cast<float>(point.z * scaleZ_ + point_.z)};
}

Point3D KRContainerShiftScale3D::mapVector(const Point3D& vector) const
{
    return {static_cast<float>(vector.x * scaleX_), static_cast<float>(vector.y * scaleY_),
        static_cast<float>(vector.z * scaleZ_)};
}

Box3D KRContainerShiftScale3D::mapBox(const Box3D& box) const
{
    const auto side = [](double min, double max, double scale, double shift) {
        return std::minmax({min * scale + shift, max * scale + shift});
    };
    const auto [xmin, xmax] = side(box.xmin, box.xmax, scaleX_, point_.x);
    const auto [ymin, ymax] = side(box.ymin, box.ymax, scaleY_, point_.y);
    const auto [zmin, zmax] = side(box.zmin, box.zmax, scaleZ_, point_.z);
    return {xmin, xmax, ymin, ymax, zmin, zmax, box.count};
}

KRBoundingBox3D KRContainerShiftScale3D::mapBoundingBox(const KRBoundingBox3D& box) const
{
    if (box.isEmpty || !box.couldBeFound)
        return box;
    const Box3D mapped = mapBox({box.xmin, box.xmax, box.ymin, box.ymax, box.zmin, box.zmax, 0});
    return {mapped.xmin, mapped.xmax, mapped.ymin, mapped.ymax, mapped.zmin, mapped.zmax, false, true};
}
