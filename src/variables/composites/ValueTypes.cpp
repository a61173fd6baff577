#include "variables/composites/ValueTypes.h"

#include "variables/composites/KRContainerGroup.h"
#include "variables/composites/KRContainerSeries.h"
#include "variables/composites/KRContainerTable.h"
#include "variables/values/KRContainerArray.h"
#include "variables/values/KRContainerFileNameValue.h"
#include "variables/values/KRContainerNumberList.h"
#include "variables/values/KRContainerPoint2D.h"
#include "variables/values/KRContainerPoint3D.h"
#include "variables/values/KRContainerRange.h"
#include "variables/values/KRContainerRegion2D.h"
#include "variables/values/KRContainerRegion3D.h"
#include "variables/values/KRContainerShiftScale2D.h"
#include "variables/values/KRContainerShiftScale3D.h"
#include "variables/values/KRContainerStringList.h"
#include "variables/values/KRContainerTransform2D.h"
#include "variables/values/KRContainerTransform3D.h"
#include "variables/values/KRPlainValue.h"

void variables::addValueTypes()
{
    for (const ReadingOperation& operation : {KRRealNumber::kReading, KRString::kReading, KRColor::kReading,
             KRContainerArray::kReading, KRContainerFileNameValue::kReading, KRContainerNumberList::kReading,
             KRContainerStringList::kReading, KRContainerPoint2D::kReading, KRContainerPoint3D::kReading,
             KRContainerRange::kReading, KRContainerRegion2D::kReading, KRContainerRegion3D::kReading,
             KRContainerShiftScale2D::kReading, KRContainerShiftScale3D::kReading,
             KRContainerTransform2D::kReading, KRContainerTransform3D::kReading, KRContainerGroup::kReading,
             KRContainerSeries::kReading, KRContainerTable::kReading})
        ReadingOperations::add(operation);
}
