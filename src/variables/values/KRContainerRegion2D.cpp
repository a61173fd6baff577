#include "variables/values/KRContainerRegion2D.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/values/FortranValues.h"
#include "variables/values/IntervalText.h"
#include "variables/values/KRContainerPoint2D.h"
#include "variables/values/KRContainerShiftScale2D.h"
#include "variables/values/KRPlainValue.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr long kBoundLength2D = 4;
constexpr long kLengthWithFlags2D = 6;

bool isANaN(double number)
{
    return std::isnan(number);
}

KRContainerRegion2D::Pointer region2DFrom(
    const variables::StoredNumbers<double>& stored, const std::string& name)
{
    if (stored.length() == 0)
        return KRContainerRegion2D::createEmpty();
    if (stored.length() != kBoundLength2D && stored.length() != kLengthWithFlags2D) {
        KRMessageCenter::addMessage("Error when reading a region, incorrect length stored in file.");
        return nullptr;
    }
    const double* const sidesEnd = stored.begin() + kBoundLength2D;
    if (std::any_of(stored.begin(), sidesEnd, isANaN)) {
        KRMessageCenter::addMessage("Error when reading a region, contained NaN.",
            fmt::format("One or more of the numbers in the variable \"{}\" had a NaN value", name));
        return nullptr;
    }
    if (std::any_of(stored.begin(), sidesEnd, [](double side) { return std::isinf(side); })) {
        KRMessageCenter::addMessage("Error when reading a region, contained Inf values.",
            fmt::format("One or more of the numbers in the variable \"{}\" had an Inf value", name));
        return nullptr;
    }
    if (stored.length() == kBoundLength2D)
        return KRContainerRegion2D::createWithRegion({stored[0], stored[1], stored[2], stored[3], 0});
    const KRBoundingBox2D box{stored[0], stored[1], stored[2], stored[3], stored[4] != 0, stored[5] != 0};
    return KRBoundingBox2DCheckValidity(box) ? KRContainerRegion2D::createWithBoundingBox(box) : nullptr;
}

KRContainer::Value readRegion2D(KRDataStorage& storage, const std::string& name)
{
    const auto stored = variables::storedNumbers<double>(storage, name);
    if (!stored)
        return nullptr;
    return variables::withParameters(region2DFrom(stored, stored.name), storage, stored.name);
}

} // namespace

const ReadingOperation KRContainerRegion2D::kReading{.type = "Region2D",
    .read = readRegion2D,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream = variables::fromRecord<kReading>};

KRContainerRegion2D::Pointer KRContainerRegion2D::createWithRegion(const Box2D& box)
{
    for (const double side : {box.xmin, box.xmax, box.ymin, box.ymax})
        if (std::isnan(side)) {
            KRMessageCenter::addMessage(
                "KRContainerRegion2D - (id)initWithBox: one or more of the entries in Box2D is a NaN");
            return nullptr;
        }
    if (box.xmin > box.xmax || box.ymin > box.ymax) {
        KRMessageCenter::seriousErrorMessage(
            "KRContainerRegion2D - (id)initWithBox: Invalid Box2D variable (empty).");
        return nullptr;
    }
    return createWithBoundingBox({box.xmin, box.xmax, box.ymin, box.ymax, false, true});
}

KRContainerRegion2D::Pointer KRContainerRegion2D::createWithBoundingBox(const KRBoundingBox2D& box)
{
    return std::make_shared<KRContainerRegion2D>(Private(), box);
}

KRContainerRegion2D::Pointer KRContainerRegion2D::createWithRect(
    double x, double y, double width, double height)
{
    if (!std::isfinite(x + width) || !std::isfinite(y + height) || width < 0 || height < 0) {
        KRMessageCenter::addMessage("Internal error, invalid rect");
        return nullptr;
    }
    return createWithBoundingBox({x, x + width, y, y + height, false, true});
}

KRContainerRegion2D::Pointer KRContainerRegion2D::createFromTextFile(
    std::FILE* stream, const TextFileInformation&)
{
    double read[4];
    if (!variables::readNumbers(stream, read))
        return nullptr;
    return createWithRegion({read[0], read[1], read[2], read[3], 0});
}

bool KRContainerRegion2D::contains(const Point2D& point) const
{
    return isBound() && point.x >= theBox_.xmin && point.x <= theBox_.xmax && point.y >= theBox_.ymin
        && point.y <= theBox_.ymax;
}

std::string KRContainerRegion2D::description() const
{
    if (theBox_.isEmpty)
        return "Empty";
    if (!theBox_.couldBeFound)
        return "Invalid";
    return fmt::format("{}x{}", variables::openIntervalText(theBox_.xmin, theBox_.xmax),
        variables::openIntervalText(theBox_.ymin, theBox_.ymax));
}

bool KRContainerRegion2D::isEqualTo(const KRSharedValue& other) const
{
    const auto* region = dynamic_cast<const KRContainerRegion2D*>(&other);
    if (!region) {
        KRMessageCenter::addMessage(
            "Internal Error: isEqualTo called for a KRContainerRegion2D with an invalid argument");
        return false;
    }
    const KRBoundingBox2D &a = theBox_, &b = region->theBox_;
    if (a.isEmpty || b.isEmpty)
        return a.isEmpty == b.isEmpty;
    return a.couldBeFound == b.couldBeFound && a.xmin == b.xmin && a.xmax == b.xmax && a.ymin == b.ymin
        && a.ymax == b.ymax;
}

KRContainer::Value KRContainerRegion2D::returnParameter(const std::optional<std::string>& name) const
{
    const KRBoundingBox2D& box = theBox_;
    const std::pair<const char*, Point2D> points[] = {{"Origin", {box.xmin, box.ymin}},
        {"Center", {box.xmin / 2 + box.xmax / 2, box.ymin / 2 + box.ymax / 2}},
        {"Maximum Point", {box.xmax, box.ymax}}};
    for (const auto& [known, point] : points)
        if (name == known)
            return isBound() ? KRContainerPoint2D::createWithPoint(point) : nullptr;
    const std::pair<const char*, double> numbers[] = {{"Width", box.xmax - box.xmin},
        {"Height", box.ymax - box.ymin}, {"xmin", box.xmin}, {"xmax", box.xmax}, {"ymin", box.ymin},
        {"ymax", box.ymax}};
    for (const auto& [known, number] : numbers)
        if (name == known)
            return isBound() ? KRRealNumber::create(number) : nullptr;
    return KRContainer::returnParameter(name);
}

KRAnyArray KRContainerRegion2D::storedArray() const
{
    const KRBoundingBox2D& box = theBox_;
    if (isBound())
        return variables::arrayOf({box.xmin, box.xmax, box.ymin, box.ymax});
    return variables::arrayOf(
        {box.xmin, box.xmax, box.ymin, box.ymax, box.isEmpty ? 1.0 : 0.0, box.couldBeFound ? 1.0 : 0.0});
}

bool KRContainerRegion2D::appendAsText(std::FILE* stream) const
{
    return variables::writeText(stream,
        fmt::format(
            "{:.16g} {:.16g} {:.16g} {:.16g}", theBox_.xmin, theBox_.xmax, theBox_.ymin, theBox_.ymax));
}

KRContainerRegion2D::Pointer KRContainerRegion2D::padBox(double by) const
{
    KRBoundingBox2D box = theBox_;
    if (isBound())
        box = {box.xmin - by, box.xmax + by, box.ymin - by, box.ymax + by, false, true};
    return createWithBoundingBox(box);
}

KRContainerRegion2D::Pointer KRContainerRegion2D::scaleWith2D(
    const std::shared_ptr<const KRContainerShiftScale2D>& scale) const
{
    if (!scale)
        return nullptr;
    KRBoundingBox2D box = theBox_;
    if (isBound()) {
        box.xmin = box.xmin * scale->scaleX() + scale->point().x;
        box.xmax = box.xmax * scale->scaleY() + scale->point().x;
        box.ymin = box.ymin * scale->scaleX() + scale->point().y;
        box.ymax = box.ymax * scale->scaleY() + scale->point().y;
        if (box.xmin > box.xmax)
            std::swap(box.xmin, box.xmax);
        if (box.ymin > box.ymax)
            std::swap(box.ymin, box.ymax);
    }
    return createWithBoundingBox(box);
}
