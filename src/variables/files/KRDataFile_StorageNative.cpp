#include "variables/files/KRDataFile_StorageNative.h"
#include "variables/composites/PartValues.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/IgnoringCase.h"
#include "variables/values/KRContainer.h"

#include <fmt/format.h>

#include <algorithm>

KRDataFile_StorageNative::Pointer KRDataFile_StorageNative::createWithFile(
    const KRDataFile::Pointer& file, const std::shared_ptr<KRProgressEntry>& progress)
{
    return createWithFile(file, KRVariableInformation::computeInformationFromFile(file, progress));
}

KRDataFile_StorageNative::Pointer KRDataFile_StorageNative::createWithFile(
    const KRDataFile::Pointer& file, KRVariableInformation::Pointer information)
{
    auto storage = std::make_shared<KRDataFile_StorageNative>(Private(), file);
    storage->renew(std::move(information));
    return storage;
}

void KRDataFile_StorageNative::renew(KRVariableInformation::Pointer information)
{
    std::vector<std::int64_t> numbers(information ? information->records().size() : 0);
    std::generate(numbers.begin(), numbers.end(), newUniqueNumber);
    const std::lock_guard lock(lock_);
    information_ = std::move(information);
    serialNumbers_ = std::move(numbers);
}

KRVariableInformation::Pointer KRDataFile_StorageNative::information()
{
    const std::lock_guard lock(lock_);
    return information_;
}

std::shared_ptr<const KRVariableStructure> KRDataFile_StorageNative::structureFor(const std::string& name)
{
    const auto all = information();
    const auto* const record = all ? all->informationFor(name) : nullptr;
    return record ? record->structure() : nullptr;
}

std::vector<std::string> KRDataFile_StorageNative::variableNames()
{
    std::vector<std::string> names;
    if (const auto all = information())
        for (const auto& record : all->records())
            names.push_back(record.name());
    return names;
}

std::vector<std::string> KRDataFile_StorageNative::variablesWithType(const std::string& type)
{
    std::vector<std::string> names;
    if (const auto all = information())
        for (const auto& record : all->records())
            if (record.type() == type)
                names.push_back(record.name());
    std::sort(names.begin(), names.end(), variables::lessIgnoringCase);
    return names;
}

KRDataFile_StorageNative::Numbers KRDataFile_StorageNative::valueRangeFor(const std::string& name)
{
    const std::string entry = variables::names::valueRange(name);
    if (!underlyingFile_ || !underlyingFile_->contains(entry))
        return {};
    const auto size = underlyingFile_->getSizeOfVariable(entry);
    const bool fits = size && static_cast<double>(size->m) * size->n * size->o == 2;
    const auto range = fits ? underlyingFile_->readDoubleArray(entry) : nullptr;
    if (!range || range->length() != 2) {
        KRMessageCenter::addMessage(
            fmt::format("Format error in \"{}\", the variable \"{}\" needs to have 2 numbers (min,max)",
                underlyingFile_->fileName(), entry));
        return {};
    }
    return {range->valueAtIndex(0), range->valueAtIndex(1)};
}

KRDataFile_StorageNative::Numbers KRDataFile_StorageNative::timeValuesForVariable(const std::string& name)
{
    const auto all = information();
    const auto* const record = all ? all->informationFor(name) : nullptr;
    return record ? record->times().asNumbers() : Numbers();
}

std::shared_ptr<const KRContainer> KRDataFile_StorageNative::readVariable(const std::string& name, int number)
{
    const auto all = information();
    const auto* const record = all ? all->informationFor(name) : nullptr;
    if (!record || number < 0 || number >= record->times().count())
        return nullptr;
    auto type =
        record->structure() ? record->structure() : KRVariableStructure::createWithType(record->type());
    if (type->isASeries() && type->seriesType())
        type = type->seriesType();
    const std::string numbered = variables::names::value(name, number);
    const std::string place = underlyingFile_->contains(numbered) ? numbered : name;
    // An older group tells its entries by itself, behind their number.
    const bool isStored = type->isAGroup() && !underlyingFile_->isANumber(place);
    return std::dynamic_pointer_cast<const KRContainer>(isStored
            ? variables::storedValue(type, {underlyingFile_, nullptr, {}, place})
            : ReadingOperations::read(type->type(), *underlyingFile_, place));
}

platform::Value KRDataFile_StorageNative::serialNumberForVariable(const std::string& name)
{
    const std::lock_guard lock(lock_);
    const auto* const record = information_ ? information_->informationFor(name) : nullptr;
    if (!record)
        return {};
    return serialNumbers_[static_cast<std::size_t>(record - information_->records().data())];
}
