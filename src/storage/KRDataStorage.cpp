#include "storage/KRDataStorage.h"

#include "diagnostics/KRMessageCenter.h"
#include "storage/values/ElementConversion.h"

#include <fmt/format.h>

namespace {

// The name in the report of a reader or writer that a storage doesn't provide, by element type. Some name
// another function: users search logs for these words.
constexpr const char* kReadWords[kElementTypeCount] = {"readDoubleArray", "readFloatArray", "readIntArray",
    "readUShortArray", "readUShortArray", "readCharacterArray", "readUCharArray"};
constexpr const char* kWriteWords[kElementTypeCount] = {"writeDoubleArray", "writeFloatArray",
    "writeIntArray", "writeShortArray", "writeUShortArray", "writeCharacterArray", "writeCharacterArray"};

bool reportMissing(const char* function)
{
    KRMessageCenter::addMessage(fmt::format("Need to overwrite {}", function));
    return false;
}

} // namespace

bool KRDataStorage::contains(const std::optional<std::string>&)
{
    return reportMissing("contains");
}

bool KRDataStorage::isAString(const std::string&)
{
    return reportMissing("isAString");
}

bool KRDataStorage::isAFloatArray(const std::string&)
{
    return reportMissing("isAFloatArray");
}

bool KRDataStorage::isADoubleArray(const std::string&)
{
    return reportMissing("isADoubleArray");
}

bool KRDataStorage::isAnIntArray(const std::string&)
{
    return reportMissing("isAnIntArray");
}

bool KRDataStorage::isANumber(const std::string&)
{
    return reportMissing("isANumber");
}

std::vector<std::string> KRDataStorage::variablesWithPrefix(const std::string&)
{
    reportMissing("variablesWithPrefix");
    return {};
}

std::optional<std::string> KRDataStorage::resolveNameAllowingRedirection(const std::string& name)
{
    return name;
}

std::optional<KRDataStorage::Size> KRDataStorage::getSizeOfVariable(const std::string&)
{
    reportMissing("getSizeOfVariable");
    return {};
}

std::optional<StorageNumber> KRDataStorage::readNumber(const std::string&)
{
    reportMissing("readNumber");
    return StorageNumber(0.0);
}

KRAnyArray KRDataStorage::readArrayOfType(ElementType type, const std::string&)
{
    reportMissing(kReadWords[static_cast<int>(type)]);
    return {};
}

KRAnyArray KRDataStorage::readConverted(ElementType type, const std::string& name)
{
    KRAnyArray array = readArrayOfType(type, name);
    if (!array || array.type() == type)
        return array;
    KRAnyArray converted = KRAnyArray::make(type, array.m(), array.n(), array.o());
    if (converted)
        storage::convertElements(array.type(), array.elements(), static_cast<std::size_t>(array.length()),
            type, converted.mutableElements());
    return converted;
}

KRAnyArray KRDataStorage::readNativeArray(const std::string&)
{
    reportMissing("readNativeArray");
    return {};
}

std::optional<KRDataStorage::Bytes> KRDataStorage::readDataBlock(const std::string&)
{
    reportMissing("readDataBlock");
    return {};
}

std::optional<std::string> KRDataStorage::readRawString(const std::string&)
{
    reportMissing("readRawString");
    return "";
}

bool KRDataStorage::writeDoubleArray(const ArrayPointer<double>& array, const std::string& withName)
{
    return array && writeTypedArray(array, withName);
}

bool KRDataStorage::writeFloatArray(const ArrayPointer<float>& array, const std::string& withName)
{
    return array && writeTypedArray(array, withName);
}

bool KRDataStorage::writeIntArray(const ArrayPointer<std::int32_t>& array, const std::string& withName)
{
    return array && writeTypedArray(array, withName);
}

bool KRDataStorage::writeShortArray(const ArrayPointer<std::int16_t>& array, const std::string& withName)
{
    return array && writeTypedArray(array, withName);
}

bool KRDataStorage::writeUShortArray(const ArrayPointer<std::uint16_t>& array, const std::string& withName)
{
    return array && writeTypedArray(array, withName);
}

bool KRDataStorage::writeCharacterArray(const ArrayPointer<signed char>& array, const std::string& withName)
{
    return array && writeTypedArray(array, withName);
}

bool KRDataStorage::writeUCharArray(const ArrayPointer<unsigned char>& array, const std::string& withName)
{
    return array && writeTypedArray(array, withName);
}

bool KRDataStorage::writeArray(const KRAnyArray& array, const std::string& withName)
{
    if (array)
        return writeTypedArray(array, withName);
    KRMessageCenter::addMessage("Unrecognized array.  Could not write it (writeArray)");
    return false;
}

bool KRDataStorage::writeArray(const KRArrayHolder& array, const std::string& withName)
{
    return writeArray(array.numbersArray(), withName);
}

bool KRDataStorage::writeTypedArray(const KRAnyArray& array, const std::string&)
{
    return reportMissing(kWriteWords[static_cast<int>(array.type())]);
}

bool KRDataStorage::writeString(const std::string&, const std::string&)
{
    return reportMissing("writeString");
}

bool KRDataStorage::writeDataBlock(const Bytes&, const std::string&)
{
    return reportMissing("writeDataBlock:");
}

bool KRDataStorage::writeNumber(const StorageNumber& number, const std::string& withName)
{
    const auto array = KRDoubleArrayContainer::createArrayOfLength(1);
    if (!array)
        return false;
    array->setValue(number.doubleValue(), 0);
    return writeDoubleArray(array, withName);
}
