#include "variables/values/KRContainerRange.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/values/FortranValues.h"
#include "variables/values/IntervalText.h"
#include "variables/values/KRPlainValue.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace {

// The extra parameters of a range are written but never read back.
KRContainer::Value readRange(KRDataStorage& storage, const std::string& name)
{
    const auto stored = variables::storedNumbers<double>(storage, name);
    if (!stored)
        return nullptr;
    if (stored.length() != 0 && stored.length() != 2) {
        KRMessageCenter::addMessage("Error when reading a range, incorrect length stored in file.");
        return nullptr;
    }
    if (stored.length() == 0 || std::isnan(stored[0]) || std::isnan(stored[1]))
        return KRContainerRange::createEmpty();
    return KRContainerRange::createWithMin(stored[0], stored[1]);
}

} // namespace

const ReadingOperation KRContainerRange::kReading{.type = "Range",
    .read = readRange,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream = variables::fromRecord<kReading>};

KRContainerRange::Pointer KRContainerRange::createWithMin(double min, double max)
{
    if (std::isnan(min) || std::isnan(max)) {
        KRMessageCenter::addMessage(
            "Internal error", "+ (KRContainerRange *)createWithMin:max: called with NaN arguments.");
        return nullptr;
    }
    return std::make_shared<KRContainerRange>(Private(), min, max, false);
}

KRContainerRange::Pointer KRContainerRange::createWithBoundingRange(const KRBoundingRange& range)
{
    return range.couldBeFound && !range.isEmpty ? createWithMin(range.minV, range.maxV) : createEmpty();
}

KRContainerRange::Pointer KRContainerRange::createEmpty()
{
    return std::make_shared<KRContainerRange>(Private(), 0, 0, true);
}

KRContainerRange::Pointer KRContainerRange::createFromTextFile(std::FILE* stream, const TextFileInformation&)
{
    double read[2];
    return variables::readNumbers(stream, read) ? createWithMin(read[0], read[1]) : nullptr;
}

std::string KRContainerRange::description() const
{
    return isEmpty_ ? "Empty" : variables::intervalText(minV_, maxV_);
}

KRContainer::Value KRContainerRange::returnParameter(const std::optional<std::string>& name) const
{
    if (name == "Left")
        return KRRealNumber::create(minV_);
    if (name == "Right")
        return KRRealNumber::create(maxV_);
    if (name == "Width")
        return KRRealNumber::create(maxV_ - minV_);
    return KRContainer::returnParameter(name);
}

KRAnyArray KRContainerRange::storedArray() const
{
    return isEmpty_ ? variables::arrayOf<double>({}) : variables::arrayOf({minV_, maxV_});
}

bool KRContainerRange::appendAsText(std::FILE* stream) const
{
    return variables::writeText(stream, fmt::format("{:.16g} {:.16g}\n", minV_, maxV_));
}

KRContainerRange::Pointer KRContainerRange::unionWithMin(double min, double max) const
{
    return isEmpty_ ? createWithMin(min, max) : createWithMin(std::min(min, minV_), std::max(max, maxV_));
}

std::shared_ptr<const KRContainerRange> KRContainerRange::cropWith1D(
    const std::shared_ptr<const KRContainerRange>& other) const
{
    if (!other || other->isEmpty_)
        return other;
    if (isEmpty_)
        return std::static_pointer_cast<const KRContainerRange>(shared_from_this());
    const double min = std::max(minV_, other->minV_), max = std::min(maxV_, other->maxV_);
    return min > max ? createEmpty() : createWithMin(min, max);
}
