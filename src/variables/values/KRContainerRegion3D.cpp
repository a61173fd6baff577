#include "variables/values/KRContainerRegion3D.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/values/FortranValues.h"
#include "variables/values/IntervalText.h"
#include "variables/values/KRContainerPoint3D.h"
#include "variables/values/KRContainerShiftScale3D.h"
#include "variables/values/KRPlainValue.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr long kBoundLength3D = 6;
constexpr long kLengthWithFlags3D = 8;

KRContainerRegion3D::Pointer region3DFrom(const variables::StoredNumbers<double>& stored)
{
    if (stored.length() == 0)
        return KRContainerRegion3D::createEmpty();
    if (stored.length() != kBoundLength3D && stored.length() != kLengthWithFlags3D) {
        KRMessageCenter::addMessage("Error when reading a region, incorrect length stored in file.");
        return nullptr;
    }
    if (std::any_of(stored.begin(), stored.end(), [](double number) { return std::isnan(number); })) {
        KRMessageCenter::addMessage(
            "Error when reading a region, incorrect length stored in file (contained NaN).");
        return nullptr;
    }
    if (stored.length() == kBoundLength3D)
        return KRContainerRegion3D::createWithRegion(
            {stored[0], stored[1], stored[2], stored[3], stored[4], stored[5], 0});
    const KRBoundingBox3D box{
        stored[0], stored[1], stored[2], stored[3], stored[4], stored[5], stored[6] != 0, stored[7] != 0};
    return KRBoundingBox3DCheckValidity(box) ? KRContainerRegion3D::createWithBoundingBox(box) : nullptr;
}

KRContainer::Value readRegion3D(KRDataStorage& storage, const std::string& name)
{
    const auto stored = variables::storedNumbers<double>(storage, name);
    return stored ? variables::withParameters(region3DFrom(stored), storage, stored.name) : nullptr;
}

float middle(double a, double b)
{
    return static_cast<float>(a / 2 + b / 2);
}

} // namespace

const ReadingOperation KRContainerRegion3D::kReading{.type = "Region3D",
    .read = readRegion3D,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream = variables::fromRecord<kReading>};

KRContainerRegion3D::Pointer KRContainerRegion3D::createWithRegion(const Box3D& box)
{
    for (const double side : {box.xmin, box.xmax, box.ymin, box.ymax, box.zmin, box.zmax})
        if (std::isnan(side)) {
            KRMessageCenter::addMessage("Internal error",
                "KRContainerRegion3D - (id)initWithBox: one or more of the entries in Box3D is a NaN");
            return nullptr;
        }
    if (box.xmin > box.xmax || box.ymin > box.ymax || box.zmin > box.zmax) {
        KRMessageCenter::seriousErrorMessage(
            "KRContainerRegion3D - (id)initWithBox: Invalid Box3D variable (empty).");
        return nullptr;
    }
    return createWithBoundingBox({box.xmin, box.xmax, box.ymin, box.ymax, box.zmin, box.zmax, false, true});
}

KRContainerRegion3D::Pointer KRContainerRegion3D::createWithBoundingBox(const KRBoundingBox3D& box)
{
    return std::make_shared<KRContainerRegion3D>(Private(), box);
}

KRContainerRegion3D::Pointer KRContainerRegion3D::createFromTextFile(
    std::FILE* stream, const TextFileInformation&)
{
    double read[6];
    if (!variables::readNumbers(stream, read))
        return nullptr;
    return createWithRegion({read[0], read[1], read[2], read[3], read[4], read[5], 0});
}

bool KRContainerRegion3D::contains(const Point3D& point) const
{
    const auto inside = [](double min, double number, double max) { return min <= number && number <= max; };
    return isBound() && inside(theBox_.xmin, point.x, theBox_.xmax)
        && inside(theBox_.ymin, point.y, theBox_.ymax) && inside(theBox_.zmin, point.z, theBox_.zmax);
}

std::string KRContainerRegion3D::description() const
{
    if (!theBox_.couldBeFound)
        return "Invalid";
    if (theBox_.isEmpty)
        return "Empty";
    return fmt::format("{}x{}x{}", variables::intervalText(theBox_.xmin, theBox_.xmax),
        variables::intervalText(theBox_.ymin, theBox_.ymax),
        variables::intervalText(theBox_.zmin, theBox_.zmax));
}

KRContainer::Value KRContainerRegion3D::returnParameter(const std::optional<std::string>& name) const
{
    const KRBoundingBox3D& box = theBox_;
    const auto single = [](double number) { return static_cast<float>(number); };
    const std::pair<const char*, Point3D> points[] = {
        {"Origin", {single(box.xmin), single(box.ymin), single(box.zmin)}},
        {"Center", {middle(box.xmin, box.xmax), middle(box.ymin, box.ymax), middle(box.zmin, box.zmax)}},
        {"Maximum Point", {single(box.xmax), single(box.ymax), single(box.zmax)}}};
    for (const auto& [known, point] : points)
        if (name == known)
            return isBound() ? KRContainerPoint3D::createWithPoint(point) : nullptr;
    const std::pair<const char*, double> numbers[] = {{"xmin", box.xmin}, {"xmax", box.xmax},
        {"ymin", box.ymin}, {"ymax", box.ymax}, {"zmin", box.zmin}, {"zmax", box.zmax}};
    for (const auto& [known, number] : numbers)
        if (name == known)
            return isBound() ? KRRealNumber::create(number) : nullptr;
    return KRContainer::returnParameter(name);
}

KRAnyArray KRContainerRegion3D::storedArray() const
{
    const KRBoundingBox3D& box = theBox_;
    if (isBound())
        return variables::arrayOf({box.xmin, box.xmax, box.ymin, box.ymax, box.zmin, box.zmax});
    return variables::arrayOf({box.xmin, box.xmax, box.ymin, box.ymax, box.zmin, box.zmax,
        box.isEmpty ? 1.0 : 0.0, box.couldBeFound ? 1.0 : 0.0});
}

bool KRContainerRegion3D::appendAsText(std::FILE* stream) const
{
    return variables::writeText(stream,
        fmt::format("{:.16g} {:.16g} {:.16g} {:.16g} {:.16g} {:.16g}\n", theBox_.xmin, theBox_.xmax,
            theBox_.ymin, theBox_.ymax, theBox_.zmin, theBox_.zmax));
}

KRContainerRegion3D::Pointer KRContainerRegion3D::padBox(double by) const
{
    KRBoundingBox3D box = theBox_;
    if (isBound())
        box = {box.xmin - by, box.xmax + by, box.ymin - by, box.ymax + by, box.zmin - by, box.zmax + by,
            false, true};
    return createWithBoundingBox(box);
}

KRContainerRegion3D::Pointer KRContainerRegion3D::scaleWith3D(
    const std::shared_ptr<const KRContainerShiftScale3D>& scale) const
{
    if (!scale)
        return nullptr;
    return createWithBoundingBox(scale->mapBoundingBox(theBox_));
}
