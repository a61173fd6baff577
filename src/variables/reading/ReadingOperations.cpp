#include "variables/reading/ReadingOperations.h"

#include <map>

namespace {

std::map<std::string_view, ReadingOperation>& table()
{
    static std::map<std::string_view, ReadingOperation> operations;
    return operations;
}

} // namespace

void ReadingOperations::add(const ReadingOperation& operation)
{
    table()[operation.type] = operation;
    if (operation.read)
        KRDataStorageSharedReadWrite::setReader(std::string(operation.type), operation.read);
}

const ReadingOperation* ReadingOperations::forType(std::string_view type)
{
    const auto place = table().find(type);
    return place == table().end() ? nullptr : &place->second;
}

ReadingOperations::Value ReadingOperations::read(
    std::string_view type, KRDataStorage& storage, const std::string& name)
{
    const ReadingOperation* const operation = forType(type);
    return operation && operation->read ? operation->read(storage, name) : nullptr;
}

ReadingOperations::Value ReadingOperations::createEmptyVariableWithType(std::string_view type)
{
    const ReadingOperation* const operation = forType(type);
    return operation && operation->createEmpty ? operation->createEmpty() : nullptr;
}

std::vector<std::string_view> ReadingOperations::types()
{
    std::vector<std::string_view> names;
    for (const auto& [type, operation] : table())
        names.push_back(type);
    return names;
}
