#pragma once

#include "storage/KRDataFile.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class AsciiText;

// Makes the entries of the ascii format. Their types are 1 real, 2 integer and 3 string.
struct KRDataFileAsciiEntry {
    static constexpr std::uint8_t kReal = 1;
    static constexpr std::uint8_t kInteger = 2;
    static constexpr std::uint8_t kString = 3;
    static KRDataFileEntry createStringEntryAt(std::uint64_t offset, std::string value);
    static KRDataFileEntry createIntArrayEntryAt(
        std::uint64_t offset, std::uint32_t m, std::uint32_t n, std::uint32_t o);
    static KRDataFileEntry createRealArrayEntryAt(
        std::uint64_t offset, std::uint32_t m, std::uint32_t n, std::uint32_t o);
    // In a dictionary that is read, "F" 1 is an integer array and 2 a real one, the reverse of what is
    // written, and the third dimension is 1 or 0. Stored dictionaries count on both.
    static platform::Value dictionaryForm(const KRDataFileEntry& entry);
    static std::optional<KRDataFileEntry> createFromDictionary(const platform::Value& dictionary);
};

// Variables as readable text (docs/ascii-format.md), for data written by hand or by small programs. Numbers
// are kept to their printed digits. Arrays of doubles, floats, ints and characters, and texts of one line,
// can be written and read. The content is read once; updateFile() always answers 0.
class KRDataFileAscii final : public KRDataFile {
    struct Private { };

public:
    explicit KRDataFileAscii(Private) { }
    // As of KRDataFileBinary.
    static std::shared_ptr<KRDataFileAscii> createWithName(const std::string& name);
    static std::shared_ptr<KRDataFileAscii> createWithName(const std::string& name, bool forWriting);
    static std::shared_ptr<KRDataFileAscii> createWithStructure(const platform::Value& structure);

    static std::string standardizeVariableName(std::string_view name); // No blanks around underscores.

    std::optional<std::string> dataFileType() const override { return "Ascii"; }
    // The content from a property list with "Length", which must be the file's, and "Entries". False, with
    // nothing changed, when it doesn't fit; a bad entry leaves nothing.
    bool readInContentFromIndex(const std::string& path);
    void createIndexFile(const FileName&) override { } // There is none for this format.

    KRAnyArray readArrayOfType(ElementType type, const std::string& name) override;

protected:
    bool readInContentOfFile(const KRProgressCPP& progress) override;
    void catchUp() override; // Reads everything again: the format has no place to go on from.
    std::shared_ptr<KRDataFile> copyOn(Copied copied) override;
    std::optional<KRDataFileEntry> entryFromDictionary(const platform::Value& dictionary) const override;
    platform::Value dictionaryOf(const KRDataFileEntry& entry) const override;
    KRAnyArray readArray(const std::string& name, const KRDataFileEntry& entry, ElementType type) override;
    std::optional<StorageNumber> readStoredNumber(
        const std::string& name, const KRDataFileEntry& entry) override;
    std::optional<std::string> readText(const std::string& name, KRDataFileEntry& entry) override;
    bool writeTypedArray(const KRAnyArray& array, const std::string& withName) override;
    platform::Result<std::vector<NewVariable>> variablesFor(
        const std::string& name, const KRAnyArray& array) override;
    platform::Result<NewVariable> variableForText(const std::string& name, const std::string& text) override;

private:
    enum class Step { Record, End, Failed };
    Step readRecord(AsciiText& text, Content& content);
    template <class T>
    std::size_t scanNumbers(const KRDataFileEntry& entry, std::size_t count, T* into);
};
