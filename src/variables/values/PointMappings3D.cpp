// What points do with regions and mappings, which in turn know points.

#include "variables/values/KRContainerPoint3D.h"
#include "variables/values/KRContainerRegion3D.h"
#include "variables/values/KRContainerShiftScale3D.h"
#include "variables/values/KRContainerTransform3D.h"

KRContainerPoint3D::Pointer KRContainerPoint3D::scaleWith3D(
    const std::shared_ptr<const KRContainerShiftScale3D>& scale) const
{
    if (!scale)
        return nullptr;
    return isEmpty_ ? createEmpty() : createWithPoint(scale->mapPoint(thePoint_));
}

KRContainerPoint3D::Pointer KRContainerPoint3D::transform3D(
    const std::shared_ptr<const KRContainerTransform3D>& transform) const
{
    if (!transform)
        return nullptr;
    return isEmpty_ ? createEmpty() : createWithPoint(transform->transformPoint(thePoint_));
}

std::shared_ptr<const KRContainerPoint3D> KRContainerPoint3D::cropWith3D(
    const std::shared_ptr<const KRContainerRegion3D>& region) const
{
    if (!region)
        return nullptr;
    if (isEmpty_ || !region->contains(thePoint_))
        return createEmpty();
    return std::static_pointer_cast<const KRContainerPoint3D>(shared_from_this());
}
