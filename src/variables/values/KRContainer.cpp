#include "variables/values/KRContainer.h"

#include "diagnostics/KRMessageCenter.h"
#include "storage/KRDataFile_StorageBasis.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/scan/ExtraParameters.h"
#include "variables/structures/EntryNames.h"

#include <algorithm>

namespace {

constexpr const char* kSerialNumberKey = "SN";

// A function that the kind of value should have.
void markMissing()
{
    KRMessageCenter::addMessage(nullptr);
}

} // namespace

bool KRContainer::isEmpty() const
{
    markMissing();
    return false;
}

std::uint64_t KRContainer::memoryUsed() const
{
    markMissing();
    return 0;
}

bool KRContainer::isEqualTo(const KRSharedValue& other) const
{
    markMissing();
    return this == &other;
}

std::uint64_t KRContainer::sharedSize() const
{
    markMissing();
    return 0;
}

const KRContainer* KRContainer::sharedPortion() const
{
    markMissing();
    return this;
}

const KRContainer* KRContainer::overwriteSharedPortion(const Value&)
{
    markMissing();
    return this;
}

KRContainer::Value KRContainer::returnParameter(const std::optional<std::string>& name) const
{
    if (!name) {
        KRMessageCenter::addMessage("Internal error for returnParameter: nil parameter name.");
        return nullptr;
    }
    const auto place = std::find_if(extraParameters_.begin(), extraParameters_.end(),
        [&name](const auto& parameter) { return parameter.first == *name; });
    if (place == extraParameters_.end()) {
        KRMessageCenter::addMessage("Missing parameters");
        return nullptr;
    }
    return place->second;
}

std::int64_t KRContainer::serialNumber() const
{
    std::int64_t number = serialNumber_;
    if (number == 0) {
        const std::int64_t fresh = KRDataFile_StorageBasis::newUniqueNumber();
        number = serialNumber_.compare_exchange_strong(number, fresh) ? fresh : number;
    }
    return number;
}

bool KRContainer::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    namespace names = variables::names;
    std::int64_t k = 0;
    for (const auto& [name, value] : extraParameters_) {
        const std::string kind = value ? value->typeWord() : std::string();
        if (kind.empty())
            continue;
        if (!file.writeString(kind + ":" + name, names::parameterInfo(withName, k))
            || !value->saveIntoFile(file, names::parameter(withName, k)))
            return false;
        ++k;
    }
    return k == 0 || file.writeNumber(StorageNumber(static_cast<double>(k)), names::parameterCount(withName));
}

bool KRContainer::saveIntoFile(
    KRDataStorage& file, const std::string& withName, KRDataStorageSharedReadWrite*) const
{
    return saveIntoFile(file, withName);
}

void KRContainer::readFromFile(KRDataStorage& file, const std::string& withName)
{
    Parameters parameters;
    for (const ExtraParameter& stored : extraParametersOf(withName, file))
        if (Value value = ReadingOperations::read(stored.kind, file, stored.entry))
            parameters.emplace_back(stored.name, std::move(value));
    if (!parameters.empty())
        setExtraParameters(std::move(parameters));
}

platform::Value KRContainer::convertToRawFormat() const
{
    KRMessageCenter::addMessage("Need to implement convertToRawFormat.");
    return {};
}

platform::Value KRContainer::encodeWithCoder() const
{
    if (typeWord().empty())
        markMissing();
    return encodeSerialNumber();
}

bool KRContainer::initWithCoder(const platform::Value& archive)
{
    if (typeWord().empty())
        markMissing();
    return initWithSerialNumberCoder(archive);
}

platform::Value KRContainer::encodeSerialNumber() const
{
    platform::Value::Dictionary archive;
    archive[kSerialNumberKey] = serialNumber();
    return archive;
}

bool KRContainer::initWithSerialNumberCoder(const platform::Value& archive)
{
    const platform::Value* const number = archive.find(kSerialNumberKey);
    if (!number || !number->integer())
        return false;
    serialNumber_ = *number->integer();
    return true;
}
