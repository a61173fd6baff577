// Trees of values in a storage: KRDataStorage's readObject() and writeObject().

#include "diagnostics/KRMessageCenter.h"
#include "storage/KRDataStorage.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int kDeepestTree = 6;
constexpr int kMostLevels = 255; // Of a tree that is read.

platform::Value valueOf(KRDataStorage& storage, const std::string& name)
{
    if (storage.isAString(name)) {
        const auto text = storage.readRawString(name);
        return text ? platform::Value(*text) : platform::Value();
    }
    if (storage.isANumber(name)) {
        const auto number = storage.readNumber(name);
        return number ? number->value() : platform::Value();
    }
    KRAnyArray array;
    if (storage.isAnIntArray(name))
        array = storage.readIntArray(name);
    else if (storage.isAFloatArray(name))
        array = storage.readFloatArray(name);
    else
        array = storage.readDoubleArray(name);
    return array.convertToRawFormat();
}

bool isTooDeep(int depth)
{
    if (depth == kDeepestTree)
        KRMessageCenter::addMessage("Reached the recursive depth.");
    return depth == kDeepestTree;
}

bool reportUnknownType()
{
    KRMessageCenter::addMessage("Unknown saving type for saving a dictionary.");
    return false;
}

// The names that are `base` or begin with "<base>_" leave the list.
std::vector<std::string> takeNamesBelow(const std::string& base, std::vector<std::string>& names)
{
    const auto isBelow = [&](const std::string& name) {
        return name == base || name.starts_with(base + "_");
    };
    const auto first = std::stable_partition(names.begin(), names.end(), std::not_fn(isBelow));
    std::vector<std::string> below(first, names.end());
    names.erase(first, names.end());
    return below;
}

} // namespace

platform::Value KRDataStorage::readObject(const std::string& name)
{
    std::vector<std::string> names = variablesWithPrefix(name + "_");
    if (contains(name))
        names.push_back(name);
    return readObjectRecursively(std::move(names), name);
}

platform::Value KRDataStorage::readObjectRecursively(
    std::vector<std::string> names, const std::string& baseName)
{
    // Each level adds a "_". No name that a file can hold has so many.
    if (std::count(baseName.begin(), baseName.end(), '_') > kMostLevels)
        return {};
    platform::Value value;
    const auto base = std::find(names.begin(), names.end(), baseName);
    if (base != names.end()) {
        value = valueOf(*this, baseName);
        if (names.size() < 2)
            return value;
        names.erase(base);
    }
    KRMessageCenter::addMessage("Unknown if this works.");
    platform::Value::Dictionary tree;
    if (!value.isNull())
        tree[""] = value;
    while (!names.empty()) {
        // "<base>_<key>" or "<base>_<key>_...".
        const std::string name = names.back();
        const std::size_t keyStart = std::min(baseName.size() + 1, name.size());
        const std::size_t keyEnd = std::min(name.find('_', keyStart), name.size());
        const std::string branch = name.substr(0, keyEnd);
        platform::Value part = readObjectRecursively(takeNamesBelow(branch, names), branch);
        if (part.isNull())
            return {};
        tree[name.substr(keyStart, keyEnd - keyStart)] = std::move(part);
    }
    return tree;
}

bool KRDataStorage::writeObject(const platform::Value& value, const std::string& withBaseName)
{
    return saveRecursively(value, withBaseName, 0);
}

bool KRDataStorage::writeObject(const KRAnyArray& array, const std::string& withBaseName)
{
    return saveRecursively(array, withBaseName, 0);
}

bool KRDataStorage::saveRecursively(const KRAnyArray& array, const std::string& baseName, int currentDepth)
{
    using enum ElementType;
    constexpr ElementType kSaved[] = {Double, Float, Int, Character};
    if (isTooDeep(currentDepth))
        return false;
    if (array && std::find(std::begin(kSaved), std::end(kSaved), array.type()) != std::end(kSaved))
        return writeArray(array, baseName);
    return reportUnknownType();
}

bool KRDataStorage::saveRecursively(
    const platform::Value& value, const std::string& baseName, int currentDepth)
{
    if (isTooDeep(currentDepth))
        return false;
    if (const std::string* text = value.text())
        return writeString(*text, baseName);
    if (const auto number = value.number())
        return writeNumber(StorageNumber(*number), baseName);
    if (const auto* data = value.data())
        return writeDataBlock(*data, baseName);
    const auto* dictionary = value.dictionary();
    const platform::Value* type = value.find("KRType");
    if (type && *type == platform::Value("Float"))
        return writeFloatArray(KRFloatArrayContainer::convertFromRawFormat(value), baseName);
    if (type && *type == platform::Value("Double"))
        return writeDoubleArray(KRDoubleArrayContainer::convertFromRawFormat(value), baseName);
    if (type && *type == platform::Value("Integer"))
        return writeIntArray(KRIntArrayContainer::convertFromRawFormat(value), baseName);
    if (type || !dictionary)
        return reportUnknownType();
    return std::all_of(dictionary->begin(), dictionary->end(), [&](const auto& member) {
        const std::string name = member.first.empty() ? baseName : baseName + "_" + member.first;
        return saveRecursively(member.second, name, currentDepth + 1);
    });
}
