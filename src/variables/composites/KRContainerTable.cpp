#include "variables/composites/KRContainerTable.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/StoredWords.h"
#include "variables/values/KRContainerNumberList.h"
#include "variables/values/KRContainerStringList.h"
#include "variables/values/StoredNumbers.h"

#include <fmt/format.h>

namespace names = variables::names;

namespace {

// The type of a column in memory, the word that stands for it in a file, and the type of what is read back.
struct ColumnKind {
    std::string_view type;
    std::string_view word;
    std::string_view typeWhenRead;
    const ReadingOperation& reading;
};
const ColumnKind kColumnKinds[] = {
    {"NumberList", "Number", "List of Numbers", KRContainerNumberList::kReading},
    {"StringList", "UTF8", "List of Strings", KRContainerStringList::kReading},
};

// A table that was read and saved again has the type for the word.
const ColumnKind* kindForWord(std::string_view word)
{
    for (const ColumnKind& kind : kColumnKinds)
        if (word == kind.word || word == kind.typeWhenRead)
            return &kind;
    return nullptr;
}

std::string wordForType(const std::string& type)
{
    for (const ColumnKind& kind : kColumnKinds)
        if (type == kind.type)
            return std::string(kind.word);
    KRMessageCenter::addMessage(nullptr);
    return type;
}

KRContainer::Value readTable(KRDataStorage& storage, const std::string& name)
{
    const auto count = storage.readNumber(name);
    if (!count || !(count->doubleValue() >= 1))
        return nullptr;
    KRVariableStructure::Names columns;
    KRVariableStructure::Types types;
    std::vector<KRContainer::Value> values;
    for (std::int64_t k = 0; static_cast<double>(k) < count->doubleValue(); ++k) {
        const std::string place = names::column(name, k);
        const auto column = variables::wordUnder(storage, names::columnName(name, k));
        const auto word = variables::wordUnder(storage, names::listKind(place));
        if (!column || !word) {
            KRMessageCenter::addMessage(nullptr);
            break;
        }
        const ColumnKind* const kind = kindForWord(*word);
        const auto value = kind ? kind->reading.read(storage, place) : nullptr;
        if (!kind)
            KRMessageCenter::addMessage(nullptr);
        if (!value)
            continue;
        columns.push_back(*column);
        types.push_back(KRVariableStructure::createWithType(kind->typeWhenRead));
        values.push_back(value);
    }
    return variables::withParameters(
        KRContainerTable::createWithNames(columns, types, values), storage, name);
}

} // namespace

const ReadingOperation KRContainerTable::kReading{
    .type = "Table", .read = readTable, .createEmpty = [] { return Value(createEmpty()); }};

KRContainerTable::KRContainerTable(Private, Structure structure, std::map<std::string, Value> values)
    : myStructure_(std::move(structure)), values_(std::move(values))
{
    for (const auto& [name, value] : values_)
        if (const auto* container = dynamic_cast<const KRContainer*>(value.get()))
            memUsed_ += container->memoryUsed();
}

KRContainerTable::Pointer KRContainerTable::createWithNames(const KRVariableStructure::Names& names,
    const KRVariableStructure::Types& types, const std::vector<Value>& values)
{
    const bool fits = names.size() == types.size() && names.size() == values.size();
    const Structure structure = fits ? KRVariableStructure::createWithTableNames(names, types) : nullptr;
    if (!structure) {
        KRMessageCenter::addMessage("Internal error: Can not create a table, invalid structure");
        return nullptr;
    }
    std::map<std::string, Value> columns;
    for (std::size_t k = 0; k < names.size(); ++k)
        columns[names[k]] = values[k];
    return std::make_shared<KRContainerTable>(Private(), structure, std::move(columns));
}

KRContainerTable::Pointer KRContainerTable::createEmpty()
{
    return createWithNames({}, {}, {});
}

KRContainerTable::Pointer KRContainerTable::createEmptyWithStructure(const Structure& structure)
{
    if (!structure || !structure->isATable()) {
        KRMessageCenter::addMessage("Internal error: Can not create a table, invalid structure");
        return nullptr;
    }
    std::vector<Value> values;
    for (const Structure& type : structure->tableTypes()) {
        const ColumnKind* const kind = kindForWord(type->type()); // Of a table that was read.
        values.push_back(ReadingOperations::createEmptyVariableWithType(kind ? kind->type : type->type()));
    }
    return createWithNames(structure->tableNames(), structure->tableTypes(), values);
}

long KRContainerTable::numberOfRows() const
{
    if (myStructure_->tableNames().empty())
        return 0;
    const Value first = valueNamed(myStructure_->tableNames().front());
    if (const auto* numbers = dynamic_cast<const KRContainerArray*>(first.get()))
        return numbers->length();
    const auto* strings = dynamic_cast<const KRContainerStringList*>(first.get());
    return strings ? static_cast<long>(strings->count()) : 0;
}

KRContainer::Value KRContainerTable::valueNamed(const std::string& column) const
{
    const auto place = values_.find(column);
    return place == values_.end() ? nullptr : place->second;
}

std::string KRContainerTable::description() const
{
    const std::size_t columns = myStructure_->tableNames().size();
    return columns == 0 ? "Empty" : fmt::format("{} columns, {} rows", columns, numberOfRows());
}

bool KRContainerTable::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return saveIntoFile(file, withName, nullptr);
}

bool KRContainerTable::saveIntoFile(
    KRDataStorage& file, const std::string& withName, KRDataStorageSharedReadWrite*) const
{
    if (!KRContainer::saveIntoFile(file, withName))
        return false;
    const auto& columns = myStructure_->tableNames();
    for (std::size_t k = 0; k < columns.size(); ++k) {
        const std::string place = names::column(withName, static_cast<std::int64_t>(k));
        const Value value = valueNamed(columns[k]);
        if (!file.writeString(columns[k], names::columnName(withName, static_cast<std::int64_t>(k))))
            return false;
        // A list of strings writes the word itself, under the same name.
        const bool writesWord = dynamic_cast<const KRContainerStringList*>(value.get()) != nullptr;
        const std::string word = wordForType(myStructure_->tableTypes()[k]->type());
        if ((!writesWord && !file.writeString(word, names::listKind(place)))
            || (value && !value->saveIntoFile(file, place)))
            return false;
    }
    return file.writeNumber(StorageNumber(static_cast<double>(columns.size())), withName);
}
