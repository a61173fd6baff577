#pragma once

#include "datafile/SVDataFileIndex.h"
#include "storage/formats/GrowingDataFile.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Makes the entries of the native format. Their types are the seven element types, 0 to 6, and 7 for a text
// that was written here or found through an index; a text that a scan found has 6.
struct KRDataFileBinaryEntry {
    static constexpr std::uint8_t kStringType = 7;
    static KRDataFileEntry createArrayAt(
        std::uint64_t offset, std::uint8_t type, std::uint32_t m, std::uint32_t n, std::uint32_t o);
    static KRDataFileEntry createStringAt(
        std::uint64_t offset, std::uint8_t type, std::uint32_t m, std::uint32_t n, std::uint32_t o);
    static KRDataFileEntry createSparseArrayAt( // The same as an array.
        std::uint64_t offset, std::uint8_t type, std::uint32_t m, std::uint32_t n, std::uint32_t o);
    // "O", "m", "n", "o", "F" and "V". An entry of type 7 can't come back from its dictionary.
    static platform::Value dictionaryForm(const KRDataFileEntry& entry);
    static std::optional<KRDataFileEntry> createFromDictionary(const platform::Value& dictionary);
};

// A file of the native format (docs/native-format.md) as the application reads and writes it. The library's
// SVDataFile reads and writes the same bytes; where the two differ stands in datafile/SVNativeDialect.h.
class KRDataFileBinary final : public GrowingDataFile {
    struct Private { };

public:
    explicit KRDataFileBinary(Private) { }
    // The content isn't read yet. Null when the file can't be made or opened; what has a report is told by
    // it.
    static std::shared_ptr<KRDataFileBinary> createWithName(const std::string& name);
    static std::shared_ptr<KRDataFileBinary> createWithName(const std::string& name, bool forWriting);
    // An old file and its index are removed.
    static std::shared_ptr<KRDataFileBinary> createNewFileWithName(const std::string& name);
    static std::shared_ptr<KRDataFileBinary> createWithStructure(const platform::Value& structure);

    static bool fileEndsWithAnIndex(const std::string& path);

    std::optional<std::string> dataFileType() const override { return "SVBinary"; }
    platform::Value structure() override;
    // Appends an index block, so that the file is listed with two reads as long as nothing follows it. A text
    // that a scan found becomes an array of unsigned bytes in it, and in an index file.
    void addIndexBlock() override;
    void createIndexFile(const FileName& container) override;

    std::uint64_t locationOfDataFor(const std::string& name); // In the file; 0 for a missing name.
    bool savedAsFloat(const std::string& name) { return isAFloatArray(name); }
    bool writeDataBlock(const Bytes& bytes, const std::string& withName) override;
    bool writeString(const std::string& text, const std::string& withName) override;

protected:
    bool readInContentOfFile(const KRProgressCPP& progress) override;
    std::shared_ptr<KRDataFile> copyOn(Copied copied) override;
    std::optional<KRDataFileEntry> entryFromDictionary(const platform::Value& dictionary) const override;
    platform::Value dictionaryOf(const KRDataFileEntry& entry) const override;
    platform::Result<std::vector<NewVariable>> variablesFor(
        const std::string& name, const KRAnyArray& array) override;
    platform::Result<NewVariable> variableForText(const std::string& name, const std::string& text) override;
    std::string headOfFile() const override;
    bool listingNamesContent() const override { return true; }

    Layout layout() const override;
    Header headerFrom(const unsigned char* bytes, std::uint64_t position) const override;
    std::optional<Scan> readContentFromFile(
        DataFileStream& file, const KRProgressCPP& progress, std::uint64_t startAtOffset) override;

private:
    struct Indexed { // What an index tells.
        Content content;
        std::uint64_t end = 0; // Just past the data of the last variable in the file.
    };
    Indexed readIndexFile();
    std::optional<Content> readIndexBlock();
    static KRDataFileEntry entryOf(const SVIndexRecord& record);
    // An index of all entries, behind its head.
    std::string records(
        std::string head, void (*appendRecord)(std::string& bytes, const SVIndexRecord& record)) const;
    bool findByteOrder(DataFileStream& file); // By the magic; false, and unchanged, when it is no such file.
    static platform::Result<NewVariable> variable(
        const std::string& name, const KRDataFileEntry& entry, std::string_view data);
};
