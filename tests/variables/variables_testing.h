#pragma once

#include "storage/memory/KRDataInMemory.h"
#include "storage/storage_testing.h"
#include "variables/structures/KRVariableStructure.h"

#include <initializer_list>
#include <utility>
#include <variant>

namespace variablestest {

using storagetest::doubles;
using storagetest::messagesOf;
using storagetest::Names;
using storagetest::numbersOf;
using storagetest::ScratchFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Structure = KRVariableStructure::Pointer;

// An entry of a data file: a name with a text, a number or an array of numbers.
using Entry = std::pair<std::string, std::variant<const char*, double, std::vector<double>>>;
using Entries = std::vector<Entry>;

inline void write(KRDataStorage& storage, const Entries& entries)
{
    for (const auto& [name, value] : entries) {
        if (const auto* text = std::get_if<const char*>(&value))
            EXPECT_TRUE(storage.writeString(*text, name));
        else if (const auto* number = std::get_if<double>(&value))
            EXPECT_TRUE(storage.writeNumber(StorageNumber(*number), name));
        else
            EXPECT_TRUE(storage.writeDoubleArray(doubles(std::get<std::vector<double>>(value)), name));
    }
}

inline std::shared_ptr<KRDataInMemory> memoryOf(const Entries& entries)
{
    auto storage = std::make_shared<KRDataInMemory>();
    write(*storage, entries);
    return storage;
}

inline std::string shown(const Structure& structure)
{
    return structure ? structure->description() : "null";
}

} // namespace variablestest
