#include "variables/values/KRContainerTransform2D.h"

#include "variables/values/FortranValues.h"

#include <fmt/format.h>

namespace {

KRContainer::Value readTransform2D(KRDataStorage& storage, const std::string& name)
{
    const auto stored = variables::storedNumbers<double>(storage, name);
    if (!stored)
        return nullptr;
    if (stored.length() == 0)
        return variables::withParameters(KRContainerTransform2D::createEmpty(), storage, stored.name);
    const bool withPerspective = stored.hasSize(3, 3);
    if (!withPerspective && !stored.hasSize(2, 3))
        return nullptr;
    Transform2D transform =
        CreateTransform2D(stored(0, 0), stored(0, 1), stored(0, 2), stored(1, 0), stored(1, 1), stored(1, 2));
    if (withPerspective) {
        transform.Px = stored(2, 0);
        transform.Py = stored(2, 1);
    }
    return variables::withParameters(
        KRContainerTransform2D::createTransform2D(transform), storage, stored.name);
}

} // namespace

const ReadingOperation KRContainerTransform2D::kReading{.type = "Transform2D",
    .read = readTransform2D,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream =
        variables::fromRecord<kReading, double, variables::RecordShape::Transform2D>};

KRContainerTransform2D::Pointer KRContainerTransform2D::createTransform2D(const Transform2D& transform)
{
    return std::make_shared<KRContainerTransform2D>(Private(), transform, false);
}

KRContainerTransform2D::Pointer KRContainerTransform2D::createEmpty()
{
    return std::make_shared<KRContainerTransform2D>(Private(), CreateIdentityTransform2D(), true);
}

std::string KRContainerTransform2D::description() const
{
    const Transform2D& T = theTransform_;
    if (isEmpty_)
        return "Empty";
    if (Transform2DIsIdentity(T))
        return "Identity";
    const bool turns = T.T12 != 0 || T.T21 != 0;
    if (T.S1 == 0 && T.S2 == 0)
        return turns ? "Rotation & scale" : T.T11 == T.T22 ? "Scale" : "Scale each dimension";
    if (T.Px != 0 || T.Py != 0)
        return "Perspective";
    if (turns)
        return "Rotation, scale and shift";
    return T.T11 != T.T22 || T.T11 != 1 ? "Scale and shift" : "Shift";
}

KRAnyArray KRContainerTransform2D::storedArray() const
{
    const Transform2D& T = theTransform_;
    if (isEmpty_)
        return variables::arrayOf<double>({});
    if (T.Px == 0 && T.Py == 0)
        return variables::arrayOf({T.T11, T.T21, T.T12, T.T22, T.S1, T.S2}, 2);
    return variables::arrayOf({T.T11, T.T21, T.Px, T.T12, T.T22, T.Py, T.S1, T.S2, 1.0}, 3);
}

bool KRContainerTransform2D::appendAsText(std::FILE* stream) const
{
    return variables::writeText(stream,
        fmt::format("{:.16g} {:.16g} {:.16g}\n", theTransform_.T11, theTransform_.T12, theTransform_.S1));
}
