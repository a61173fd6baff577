#pragma once

#include "datafile/SVMatlabRecords.h"
#include "storage/formats/GrowingDataFile.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

// Makes the entries of a Level 4 file. Their types are 0 double, 1 float, 2 int, 3 short, 4 unsigned short
// and 5 unsigned char, of arrays and of texts alike.
struct KRDataFileMatBinaryEntry {
    static KRDataFileEntry createArrayAt(
        std::uint64_t offset, std::uint8_t type, std::uint32_t rows, std::uint32_t columns);
    static KRDataFileEntry createStringAt(
        std::uint64_t offset, std::uint8_t type, std::uint32_t rows, std::uint32_t columns);
    static KRDataFileEntry createSparseArrayAt(
        std::uint64_t offset, std::uint8_t type, std::uint32_t rows, std::uint32_t columns);
    // As of KRDataFileBinaryEntry, without "o".
    static platform::Value dictionaryForm(const KRDataFileEntry& entry);
    static std::optional<KRDataFileEntry> createFromDictionary(const platform::Value& dictionary);
};

// A Level 4 MAT-file (docs/matlab-format.md) as the application reads and writes it. Beside what the
// library's SVMatlabDataFile reads it passes over imaginary parts, reads texts of any element type, and lists
// sparse matrices, which no reader turns into arrays. Signed bytes are written as text: the format has no
// others.
//
// An array of three dimensions is a matrix of m*n rows, and "<name>_3D" holds m.
class KRDataFileMatBinary final : public GrowingDataFile {
    struct Private { };

public:
    explicit KRDataFileMatBinary(Private) { }
    // As of KRDataFileBinary, but the file is opened at once.
    static std::shared_ptr<KRDataFileMatBinary> createWithName(
        const std::string& name, bool forWriting = true);
    static std::shared_ptr<KRDataFileMatBinary> createNewFileWithName(const std::string& name);
    static std::shared_ptr<KRDataFileMatBinary> createWithStructure(const platform::Value& structure);

    // The elements of a text as characters, one each, up to the first NUL. `bytes` has `stringLength`
    // elements.
    static std::string convertBytes(
        std::string bytes, bool swapEndian, ElementType ofType, std::size_t toStringOfLength);

    std::optional<std::string> dataFileType() const override { return "MatBinary"; }
    platform::Value structure() override;
    void createIndexFile(const FileName& container) override;

protected:
    bool readInContentOfFile(const KRProgressCPP& progress) override;
    std::shared_ptr<KRDataFile> copyOn(Copied copied) override;
    std::optional<KRDataFileEntry> entryFromDictionary(const platform::Value& dictionary) const override;
    platform::Value dictionaryOf(const KRDataFileEntry& entry) const override;
    platform::Result<std::vector<NewVariable>> variablesFor(
        const std::string& name, const KRAnyArray& array) override;
    platform::Result<NewVariable> variableForText(const std::string& name, const std::string& text) override;
    void entered(const std::string& name) override;
    Size sizeOf(const std::string& name, const KRDataFileEntry& entry) override;

    Layout layout() const override;
    Header headerFrom(const unsigned char* bytes, std::uint64_t position) const override;
    void found(const std::string& name, KRDataFileEntry& entry, ScanWindow& window) override;
    std::optional<Scan> readContentFromFile(
        DataFileStream& file, const KRProgressCPP& progress, std::uint64_t startAtOffset) override;
    std::optional<KRDataFileEntry::Shape> shapeOf(
        const std::string& name, const KRDataFileEntry& entry) override;

private:
    bool findByteOrder(DataFileStream& file);
    std::optional<Scan> readIndexFile(); // Nothing without one that can be believed.
    bool takeIndexRecord(SVRecordReader& records, SVMatlabIndexRecord& record) const;
    std::optional<KRDataFileEntry::Shape> threeDimensionalShape(
        const std::string& name, const KRDataFileEntry& entry);
    static KRDataFileEntry entryOf(int type, std::uint64_t offset, std::uint32_t rows, std::uint32_t columns);
    static platform::Result<NewVariable> variable(
        const std::string& name, const KRDataFileEntry& entry, std::string_view data);

    bool littleEndian_ = true;
    std::set<std::string> variablesThatAre3D_; // Those with a companion "<name>_3D".
};
