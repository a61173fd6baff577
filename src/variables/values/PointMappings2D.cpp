// What points do with regions and mappings, which in turn know points.

#include "variables/values/KRContainerPoint2D.h"
#include "variables/values/KRContainerRegion2D.h"
#include "variables/values/KRContainerShiftScale2D.h"
#include "variables/values/KRContainerTransform2D.h"

KRContainerPoint2D::Pointer KRContainerPoint2D::scaleWith2D(
    const std::shared_ptr<const KRContainerShiftScale2D>& scale) const
{
    if (!scale)
        return nullptr;
    return isEmpty_ ? createEmpty() : createWithPoint(scale->mapPoint(mPoint_));
}

KRContainerPoint2D::Pointer KRContainerPoint2D::transform2D(
    const std::shared_ptr<const KRContainerTransform2D>& transform) const
{
    if (!transform)
        return nullptr;
    return isEmpty_ ? createEmpty() : createWithPoint(transform->transformPoint(mPoint_));
}

std::shared_ptr<const KRContainerPoint2D> KRContainerPoint2D::cropWith2D(
    const std::shared_ptr<const KRContainerRegion2D>& region) const
{
    if (!region)
        return nullptr;
    if (isEmpty_ || !region->contains(mPoint_))
        return createEmpty();
    return std::static_pointer_cast<const KRContainerPoint2D>(shared_from_this());
}
