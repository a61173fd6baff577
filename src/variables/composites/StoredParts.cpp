#include "variables/composites/StoredParts.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/structures/EntryNames.h"

namespace variables {

std::shared_ptr<KRDataStorage> StoredParts::reader() const
{
    if (storage)
        return storage;
    if (!structureOfFile.isNull())
        return KRDataFile::createFromStructure(structureOfFile);
    KRMessageCenter::addMessage("Internal error, Group Container - valueForEntry - no data file information");
    return file ? KRDataFile::openFileContainer(file) : nullptr;
}

std::string StoredParts::nameOf(std::string_view part) const
{
    return base ? names::part(*base, part) : std::string(part);
}

StoredParts StoredParts::within(std::string_view part) const
{
    StoredParts parts = *this;
    parts.base = nameOf(part);
    return parts;
}

} // namespace variables
