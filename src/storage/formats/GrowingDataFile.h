#pragma once

#include "storage/KRDataFile.h"
#include "storage/bytes/ScanWindow.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The two binary formats: a sequence of entries, each a header, a name and data, that another program may
// still be appending to. This class reads the data, and follows the file: it remembers how far the file is
// understood and looks at what is new alone. An entry counts when all of it is there.
class GrowingDataFile : public KRDataFile {
public:
    int updateFile() override { return updateFile(-1); }
    int updateFile(std::int64_t untilLocation) override;
    // Nothing can be removed from these formats: true for an empty list.
    bool removeVariables(const std::vector<std::string>& names, const KRProgressCPP& progress = {}) override;
    KRAnyArray readNativeArray(const std::string& name) override;
    std::shared_ptr<const StoredArray> openArray(const std::string& name) override;
    std::optional<Bytes> readDataBlock(const std::string& name) override;

    // The entries of a part of the file.
    struct Scan {
        Content content;
        std::uint64_t until = 0; // The part is understood up to here.
        std::uint64_t endOfEntries = 0; // Just past the last complete entry.
    };

protected:
    // What the scan has to know about a format.
    struct Layout {
        std::uint64_t windowSize;
        std::uint64_t headerLength;
    };
    struct Header { // As an entry's header tells it, or why it can't be right.
        enum class Fault { None, Format, Type };
        Fault fault = Fault::None;
        std::string faultText; // Behind the message of a format error.
        std::uint64_t nameLength = 0; // With its NUL.
        std::uint64_t dataSize = 0;
        bool mayHoldNumber = false; // A real number, when there is a single element.
        // Of an unknown type too, unless its shape can't be right.
        std::optional<KRDataFileEntry> entry;
    };
    virtual Layout layout() const = 0;
    virtual Header headerFrom(const unsigned char* bytes, std::uint64_t position) const = 0;
    // Called for each entry that is stored.
    virtual void found(const std::string&, KRDataFileEntry&, ScanWindow&) { }
    // The scan from an offset to the end of the file; nothing when there is nothing to scan.
    virtual std::optional<Scan> readContentFromFile(
        DataFileStream& file, const KRProgressCPP& progress, std::uint64_t startAtOffset) = 0;
    Scan scanEntries(DataFileStream& file, const KRProgressCPP& progress, std::uint64_t start);

    // Null when the shape can't be had, which is reported.
    virtual std::optional<KRDataFileEntry::Shape> shapeOf(
        const std::string& name, const KRDataFileEntry& entry);

    KRAnyArray readArray(const std::string& name, const KRDataFileEntry& entry, ElementType type) override;
    std::optional<StorageNumber> readStoredNumber(
        const std::string& name, const KRDataFileEntry& entry) override;
    std::optional<std::string> readText(const std::string& name, KRDataFileEntry& entry) override;
    void catchUp() override;
    platform::Status mayAppend() override;
    // Whether an entry may be written: of a size and a name that readers take.
    static platform::Status isWritable(const std::string& name, std::uint64_t entrySize);

    // The bytes of the index file, when there is one of a sensible size; the one beside the data file when no
    // other was given.
    std::optional<std::string> bytesOfIndexFile(std::size_t atLeast, std::size_t below);
    void takeScan(Scan scan); // In the place of all that was known.
    void writeIndexFile(const FileName& container, const std::string& bytes);
    // A fault of the file's format at an offset. It lasts, and is not reported at each look.
    void reportFormat(std::uint64_t position, const std::string& text);

    bool needToSwap_ = false; // The file's byte order isn't the machine's.

private:
    bool keepNumber(KRDataFileEntry& entry, std::uint64_t size, ScanWindow& window); // False: unreadable.
    bool readBytes(const std::string& name, const KRDataFileEntry& entry, std::uint64_t size, void* into);
    bool holds(const KRDataFileEntry& entry, std::uint64_t size);
    bool readConverted(const KRDataFileEntry& entry, ElementType stored, KRAnyArray& array);
    int followInsideLock(std::int64_t untilLocation);
    bool takeNew(Content content);

    std::optional<std::pair<std::uint64_t, std::string>> reported_; // The last fault: its place and its text.
    bool caughtUp_ = false; // New variables have come in without updateFile().
};
