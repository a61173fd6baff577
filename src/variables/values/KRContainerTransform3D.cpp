#include "variables/values/KRContainerTransform3D.h"

#include "variables/values/FortranValues.h"

#include <fmt/format.h>

namespace {

KRContainer::Value readTransform3D(KRDataStorage& storage, const std::string& name)
{
    const auto stored = variables::storedNumbers<double>(storage, name);
    if (!stored)
        return nullptr;
    if (stored.length() == 0)
        return variables::withParameters(KRContainerTransform3D::createEmpty(), storage, stored.name);
    if (!stored.hasSize(3, 4))
        return nullptr;
    const auto transform =
        CreateTransform3D(stored(0, 0), stored(0, 1), stored(0, 2), stored(0, 3), stored(1, 0), stored(1, 1),
            stored(1, 2), stored(1, 3), stored(2, 0), stored(2, 1), stored(2, 2), stored(2, 3));
    return variables::withParameters(
        KRContainerTransform3D::createTransform3D(transform), storage, stored.name);
}

} // namespace

const ReadingOperation KRContainerTransform3D::kReading{.type = "Transform3D",
    .read = readTransform3D,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream =
        variables::fromRecord<kReading, double, variables::RecordShape::Transform3D>};

KRContainerTransform3D::Pointer KRContainerTransform3D::createTransform3D(const Transform3D& transform)
{
    return std::make_shared<KRContainerTransform3D>(Private(), transform, false);
}

KRContainerTransform3D::Pointer KRContainerTransform3D::createEmpty()
{
    return std::make_shared<KRContainerTransform3D>(Private(), CreateIdentityTransform3D(), true);
}

std::string KRContainerTransform3D::description() const
{
    const Transform3D& T = theTransform_;
    if (isEmpty_)
        return "Empty";
    if (Transform3DIsIdentity(T))
        return "Identity";
    return T.S1 == 0 && T.S2 == 0 && T.S3 == 0 ? "Rotation & Scale" : "Rotation, Scale and Shift";
}

KRAnyArray KRContainerTransform3D::storedArray() const
{
    const Transform3D& T = theTransform_;
    if (isEmpty_)
        return variables::arrayOf<double>({});
    return variables::arrayOf(
        {T.T11, T.T21, T.T31, T.T12, T.T22, T.T32, T.T13, T.T23, T.T33, T.S1, T.S2, T.S3}, 3);
}

bool KRContainerTransform3D::appendAsText(std::FILE* stream) const
{
    const Transform3D& T = theTransform_;
    return variables::writeText(stream,
        fmt::format("{:.16g} {:.16g} {:.16g} {:.16g}\n{:.16g} {:.16g} {:.16g} {:.16g}\n"
                    "{:.16g} {:.16g} {:.16g} {:.16g}\n",
            T.T11, T.T12, T.T13, T.S1, T.T21, T.T22, T.T23, T.S2, T.T31, T.T32, T.T33, T.S3));
}
