#include "storage/memory/KRDataInMemory.h"

#include "diagnostics/KRMessageCenter.h"
#include "storage/Redirection.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace {

// What a report calls the type that was asked for, short and long.
struct TypeWords {
    const char* shortWord;
    const char* longWord;
};
constexpr TypeWords kTypeWords[kElementTypeCount] = {{"double", "double"}, {"float", "float"}, {"int", "int"},
    {"unsigned short", "unsigned short"}, {"unsigned short", "unsigned short"}, {"character", "char"},
    {"character", "char"}};

} // namespace

KRDataInMemory::~KRDataInMemory()
{
    terminateConnection();
}

const storage::MemoryValue* KRDataInMemory::find(const std::string& name) const
{
    const auto found = theContent_.find(name);
    return found == theContent_.end() ? nullptr : &found->second;
}

const KRAnyArray* KRDataInMemory::findArray(const std::string& name) const
{
    const storage::MemoryValue* const value = find(name);
    return value ? std::get_if<KRAnyArray>(value) : nullptr;
}

bool KRDataInMemory::contains(const std::optional<std::string>& name)
{
    if (!name) {
        KRMessageCenter::addMessage("KRDataFile contains:name : name==nil.");
        return false;
    }
    const std::lock_guard lock(accessLock_);
    return find(*name) != nullptr;
}

bool KRDataInMemory::isAString(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const storage::MemoryValue* const value = find(name);
    return value && std::holds_alternative<std::string>(*value);
}

bool KRDataInMemory::isOfType(ElementType type, const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const KRAnyArray* const array = findArray(name);
    return array && array->type() == type;
}

bool KRDataInMemory::isAFloatArray(const std::string& name)
{
    return isOfType(ElementType::Float, name);
}

bool KRDataInMemory::isADoubleArray(const std::string& name)
{
    return isOfType(ElementType::Double, name);
}

bool KRDataInMemory::isAnIntArray(const std::string& name)
{
    return isOfType(ElementType::Int, name);
}

bool KRDataInMemory::isANumber(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const KRAnyArray* const array = findArray(name);
    return array && array->length() == 1;
}

std::vector<std::string> KRDataInMemory::variablesWithPrefix(const std::string& prefix)
{
    const std::lock_guard lock(accessLock_);
    std::vector<std::string> names;
    for (const auto& [name, value] : theContent_)
        if (name.starts_with(prefix))
            names.push_back(name);
    return names;
}

std::optional<std::string> KRDataInMemory::resolveNameAllowingRedirection(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    return storage::endOfRedirections(name, [this](const std::string& current) -> std::optional<std::string> {
        const storage::MemoryValue* const value = find(current);
        const auto* text = value ? std::get_if<std::string>(value) : nullptr;
        return text ? std::optional(*text) : std::nullopt;
    });
}

std::optional<KRDataStorage::Size> KRDataInMemory::getSizeOfVariable(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const storage::MemoryValue* const value = find(name);
    if (!value)
        return std::nullopt;
    if (const auto* text = std::get_if<std::string>(value))
        return Size{static_cast<std::uint32_t>(text->size()), 1, 1};
    const auto& array = std::get<KRAnyArray>(*value);
    return Size{static_cast<std::uint32_t>(array.m()), static_cast<std::uint32_t>(array.n()),
        static_cast<std::uint32_t>(array.o())};
}

std::optional<StorageNumber> KRDataInMemory::readNumber(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const KRAnyArray* const array = findArray(name);
    if (!array || array->length() != 1)
        return std::nullopt;
    return StorageNumber::fromBytes(array->type(), array->elements());
}

KRAnyArray KRDataInMemory::readArrayOfType(ElementType type, const std::string& name)
{
    {
        const std::lock_guard lock(accessLock_);
        const storage::MemoryValue* const value = find(name);
        if (!value)
            return {};
        const auto* array = std::get_if<KRAnyArray>(value);
        if (array && array->type() == type)
            return *array;
    }
    const TypeWords& words = kTypeWords[static_cast<std::size_t>(type)];
    KRMessageCenter::addMessage(fmt::format("Data From stream not saved as a {} array.", words.shortWord),
        fmt::format("Entry {} is not saved as a {} array", name, words.longWord));
    return {};
}

KRAnyArray KRDataInMemory::readNativeArray(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const KRAnyArray* const array = findArray(name);
    return array ? *array : KRAnyArray();
}

std::optional<KRDataStorage::Bytes> KRDataInMemory::readDataBlock(const std::string& name)
{
    const KRAnyArray array = readNativeArray(name);
    if (!array)
        return std::nullopt;
    const auto* first = static_cast<const std::uint8_t*>(array.elements());
    return Bytes(first, first + array.memoryUsed());
}

std::optional<std::string> KRDataInMemory::readRawString(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const storage::MemoryValue* const value = find(name);
    const auto* text = value ? std::get_if<std::string>(value) : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

bool KRDataInMemory::store(storage::MemoryValue value, const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    theContent_.insert_or_assign(name, std::move(value));
    return true;
}

bool KRDataInMemory::writeString(const std::string& text, const std::string& withName)
{
    return store(text, withName);
}

bool KRDataInMemory::writeTypedArray(const KRAnyArray& array, const std::string& withName)
{
    return store(array, withName);
}

bool KRDataInMemory::writeDataBlock(const Bytes& bytes, const std::string& withName)
{
    const auto array = KRUCharArrayContainer::createArrayOfLength(static_cast<long>(bytes.size()));
    if (!array)
        return false;
    std::copy(bytes.begin(), bytes.end(), array->mutablePointer());
    return store(KRAnyArray(array), withName);
}

void KRDataInMemory::removeAllData()
{
    const std::lock_guard lock(accessLock_);
    theContent_.clear();
}
