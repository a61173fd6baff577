#pragma once

#include "storage/KRDataStorage.h"
#include "storage/KRDataStorageSharedReadWrite.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class KRUnformattedFortranStream;

// What can be done with the stored values of one type. Each value type has one of these in its own file; a
// function that a type doesn't have stays null.
struct ReadingOperation {
    using Value = KRDataStorageSharedReadWrite::Value;

    std::string_view type; // The type name, such as "Point2D" or "Real Number". Borrowed for good: a literal.
    // The value under a name, following redirections as the type does. Null, with the type's report, for what
    // can't be read.
    Value (*read)(KRDataStorage& storage, const std::string& name) = nullptr;
    // Describes the value under a name from its size or kind, without reading it.
    std::string (*descriptionFor)(const std::string& name, KRDataStorage& inFile) = nullptr;
    Value (*createEmpty)() = nullptr;
    // The value as it comes next in a stream of records. Null for what isn't there or is of another form.
    Value (*createFromUnformattedFortranStream)(KRUnformattedFortranStream& stream) = nullptr;
};

// The table of the types that can be read. It is filled once at start, before other threads run, by
// apps/composition with one line for each type; any thread reads it afterwards.
class ReadingOperations {
public:
    using Value = ReadingOperation::Value;

    // A type that comes again replaces the one before. The shared reading and writing of a storage
    // (KRDataStorageSharedReadWrite) gets the same reader.
    static void add(const ReadingOperation& operation);
    // Null for a type without an entry. It stays valid until that type is added again.
    static const ReadingOperation* forType(std::string_view type);
    // The value under a name; null also for a type that can't be read, and, with a report, for a value that
    // contains itself.
    static Value read(std::string_view type, KRDataStorage& storage, const std::string& name);
    // An empty value; null for a type that has none.
    static Value createEmptyVariableWithType(std::string_view type);
    static std::vector<std::string_view> types(); // In alphabetical order.
};
