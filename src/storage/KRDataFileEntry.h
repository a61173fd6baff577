#pragma once

#include "platform/plist/Value.h"
#include "storage/values/StorageNumber.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

class KRDataFileEntry;

// What a format knows about its entries: a row for each value of KRDataFileEntry::type(), and the form of the
// dictionary. The formats' own tables stand with their classes.
struct KREntryRow {
    std::optional<ElementType> element; // Nothing: texts alone.
    bool isFloat = false;
    bool isDouble = false;
    bool isInt = false;
    const char* numberWord = nullptr; // "%@ (<word>)" of a cached number.
    const char* arrayWords = nullptr; // "A <words> array" of any other one.
};
struct KREntryFormat {
    const KREntryRow* rows;
    std::uint8_t rowCount;
    bool hasThirdDimension;
    const char* oddWords; // Describes an entry of a type that has no row.
};

// Where a variable lies in a data file and what it is. A number and a short text can be kept in the entry, so
// that they need not be read again. A value of at most 56 bytes: a file may have millions of them.
//
// The entries of the formats differ in their tables alone: KRDataFileBinaryEntry, KRDataFileMatBinaryEntry
// and KRDataFileAsciiEntry make entries of this class and read them from dictionaries.
class KRDataFileEntry {
public:
    struct Shape {
        std::uint32_t m = 0;
        std::uint32_t n = 0;
        std::uint32_t o = 1;
        bool operator==(const Shape&) const = default;
    };
    KRDataFileEntry(const KREntryFormat& format, std::uint64_t offset, std::uint8_t type, bool isAString,
        bool isSparse, Shape shape)
        : format_(&format), offsetInFile_(offset), shape_(shape), type_(type), isAString_(isAString),
          isSparse_(isSparse)
    { }

    bool isAString() const { return isAString_; }
    bool isAFloatArray() const { return !isAString_ && row() && row()->isFloat; }
    bool isADoubleArray() const { return !isAString_ && row() && row()->isDouble; }
    bool isAnIntArray() const { return !isAString_ && row() && row()->isInt; }
    bool isANumber() const { return !isAString_ && elementCount() == 1; }
    bool isSparse() const { return isSparse_; }

    std::uint64_t offsetInFile() const { return offsetInFile_; } // Of the data.
    void setOffsetInFile(std::uint64_t offset) { offsetInFile_ = offset; }
    const Shape& shape() const { return shape_; }
    std::uint32_t m() const { return shape_.m; }
    std::uint32_t n() const { return shape_.n; }
    std::uint32_t o() const { return shape_.o; }
    std::uint8_t type() const { return type_; } // By the format's table.
    std::optional<ElementType> element() const; // Of the stored data; nothing for an unknown type.
    std::uint64_t elementCount() const; // m*n*o; the largest number where that doesn't fit.
    // The bytes of the data, the largest number where that doesn't fit. An unknown type is reported and
    // counts as 8 bytes.
    std::uint64_t requiredSize() const;

    // A number is kept for arrays alone, and a text for texts alone.
    void setNumberValue(const StorageNumber& number);
    void setStringValue(std::string text);
    // Null for none. Asking a text for a number, or an array for a text, is reported.
    const StorageNumber* numberValue() const;
    const std::string* stringValue() const;
    platform::Value cachedEntry() const; // Either one; null for none.

    std::string description() const;
    // The variable itself is the same one: data, type and shape, whatever is kept of it.
    bool isSameAs(const KRDataFileEntry& other) const;

private:
    const KREntryRow* row() const { return type_ < format_->rowCount ? &format_->rows[type_] : nullptr; }
    std::string shapeText() const;

    const KREntryFormat* format_;
    std::uint64_t offsetInFile_;
    Shape shape_;
    std::uint8_t type_;
    bool isAString_;
    bool isSparse_;
    std::variant<std::monostate, StorageNumber, std::shared_ptr<const std::string>> cachedValue_;
};
static_assert(sizeof(KRDataFileEntry) <= 56);
