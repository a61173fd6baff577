#include "variables/values/KRContainerPoint3D.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/values/FortranValues.h"
#include "variables/values/KRPlainValue.h"

#include <fmt/format.h>

#include <cmath>

namespace {

KRContainer::Value readPoint3D(KRDataStorage& storage, const std::string& name)
{
    const auto stored = variables::storedNumbers<float>(storage, name);
    if (!stored)
        return nullptr;
    if (stored.length() == 0)
        return variables::withParameters(KRContainerPoint3D::createEmpty(), storage, stored.name);
    if (stored.length() != 3) {
        KRMessageCenter::addMessage("Error when reading a point, array in file had an incorrect length.");
        return nullptr;
    }
    return variables::withParameters(
        KRContainerPoint3D::pointX(stored[0], stored[1], stored[2]), storage, stored.name);
}

} // namespace

const ReadingOperation KRContainerPoint3D::kReading{.type = "Point3D",
    .read = readPoint3D,
    .descriptionFor = descriptionFor,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream = variables::fromRecord<kReading, float>};

KRContainerPoint3D::Pointer KRContainerPoint3D::pointX(float x, float y, float z)
{
    return std::make_shared<KRContainerPoint3D>(Private(), Point3D{x, y, z}, false);
}

KRContainerPoint3D::Pointer KRContainerPoint3D::createEmpty()
{
    return std::make_shared<KRContainerPoint3D>(Private(), Point3D{0, 0, 0}, true);
}

KRContainerPoint3D::Pointer KRContainerPoint3D::createFromTextFile(
    std::FILE* stream, const TextFileInformation&)
{
    double read[3];
    if (!variables::readNumbers(stream, read))
        return nullptr;
    return pointX(static_cast<float>(read[0]), static_cast<float>(read[1]), static_cast<float>(read[2]));
}

std::string KRContainerPoint3D::descriptionFor(const std::string& name, KRDataStorage& inFile)
{
    const auto end = inFile.resolveNameAllowingRedirection(name);
    const auto size = end ? inFile.getSizeOfVariable(*end) : std::nullopt;
    if (!size)
        return "(Empty)";
    if (static_cast<double>(size->m) * size->n * size->o != 3)
        return "Invalid";
    const auto read = std::dynamic_pointer_cast<const KRContainer>(readPoint3D(inFile, name));
    return read ? read->description() : "Invalid";
}

std::string KRContainerPoint3D::description() const
{
    return isEmpty_ ? "Empty" : fmt::format("({:g},{:g},{:g})", thePoint_.x, thePoint_.y, thePoint_.z);
}

KRContainer::Value KRContainerPoint3D::returnParameter(const std::optional<std::string>& name) const
{
    if (name != "X" && name != "Y" && name != "Z")
        return KRContainer::returnParameter(name);
    if (isEmpty_)
        return nullptr;
    return KRRealNumber::create(name == "X" ? thePoint_.x : name == "Y" ? thePoint_.y : thePoint_.z);
}

KRAnyArray KRContainerPoint3D::storedArray() const
{
    return isEmpty_ ? variables::arrayOf<float>({})
                    : variables::arrayOf({thePoint_.x, thePoint_.y, thePoint_.z});
}

bool KRContainerPoint3D::appendAsText(std::FILE* stream) const
{
    return variables::writeText(
        stream, fmt::format("{:.9f} {:.9f} {:.9f}\n", thePoint_.x, thePoint_.y, thePoint_.z));
}

Point3D KRContainerPoint3D::point3d(const char* askedFor) const
{
    if (!isEmpty_)
        return thePoint_;
    KRMessageCenter::addMessage(fmt::format("Internal error: Asking an empty 3D point for {}", askedFor));
    return {NAN, NAN, NAN};
}

void KRContainerPoint3D::setPoint(const Point3D& point)
{
    if (isEmpty_)
        KRMessageCenter::addMessage("Internal error: Overwriting an empty 3D Point");
    else
        thePoint_ = point;
}

double KRContainerPoint3D::numericalPropertyNamed(std::string_view name) const
{
    if (name == "x")
        return x();
    if (name == "y")
        return y();
    if (name == "z")
        return z();
    KRMessageCenter::seriousErrorMessage("Asking for an invalid extension");
    return NAN;
}

KRBoundingBox3D KRContainerPoint3D::boundingBox3D() const
{
    if (isEmpty_)
        return KRBoundingBox3DCreateEmpty();
    return KRBoundingBox3DCreate(
        thePoint_.x, thePoint_.x, thePoint_.y, thePoint_.y, thePoint_.z, thePoint_.z);
}
