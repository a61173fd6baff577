#pragma once

#include "diagnostics/KRProgressCPP.h"
#include "storage/KRDataFileEntry.h"
#include "storage/KRDataStorage.h"
#include "storage/OpenFiles.h"
#include "storage/bytes/DataFileStream.h"
#include "temporary/KRContainerFileName.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// A storage in one file. This class does all that the formats share: opening late and closing when the
// process has too many open files, the locks, the dictionary of the variables, keeping numbers and short
// texts, refusing names that are taken, writing that is checked, reporting what can't be read, and copying. A
// format is its scan, its entries and its bytes.
//
// Writing is complete or it doesn't happen: a failure cuts the file back to its old end, is reported, and
// answers false. Nothing is appended behind an incomplete entry.
//
// accessLock_ is taken before the lock of the list of open files.
class KRDataFile : public KRDataStorage, private ClosableFile {
public:
    using Pointer = std::shared_ptr<KRDataFile>;
    using FileName = std::shared_ptr<KRContainerFileName>;
    using Content = std::map<std::string, KRDataFileEntry, std::less<>>;
    using Listing = std::vector<std::pair<std::string, KRDataFileEntry>>;

    // Opens a file and reads its content. The class follows from the name's ending, else from the first
    // bytes. A name with a known ending is made an empty file where there is none. Null for an empty path, or
    // when the file can't be opened; an empty file without a known ending is not reported. The containers
    // keep a temporary file and its index alive as long as the object.
    static Pointer openFileName(const std::string& path, const FileName& fileContainer,
        const FileName& indexFile, const KRProgressCPP& progress = {});
    static Pointer openFileName(
        const std::string& path, const FileName& fileContainer, const KRProgressCPP& progress = {});
    static Pointer openFileName(const std::string& path, const KRProgressCPP& progress = {});
    static Pointer openFileContainer(const FileName& container, const KRProgressCPP& progress = {});
    static Pointer openFileContainer(
        const FileName& container, const FileName& indexFile, const KRProgressCPP& progress = {});
    // Makes a file, or empties one, and gives an object to write to it. Null on failure, which is reported.
    static Pointer openNewFileWithName(const std::string& path);
    // The object that structure() described, which may come from another process: each of its values is
    // tested, and entries that can't be right are left out. Null for an unknown type.
    static Pointer createFromStructure(const platform::Value& structure);

    // The path with its last extension replaced by "index".
    static std::string nameOfIndexFor(const std::string& path);
    // Starts the cap on the number of open files. Once, at the start of a program that wants it.
    static void keepTrackOfDataFiles();

    ~KRDataFile() override;

    // A word for structure().
    virtual std::optional<std::string> dataFileType() const;
    virtual platform::Value structure(); // Null without a type.
    virtual std::string description();
    // All variables with their entries, texts included, by name; of a stack member by member.
    virtual Listing theContent();

    // Reads the content anew, one file of the process at a time. False on failure.
    bool openFileWithProgress(const KRProgressCPP& progress = {});
    // Takes in what has been appended to the file since: 1 when there are new variables, 0 when there are
    // none, -1 on a failure: the file was cut or replaced, or can't be opened. With a location above 0 the
    // file is looked at only when its understood part ends before that offset.
    virtual int updateFile() { return 0; }
    virtual int updateFile(std::int64_t untilLocation);
    virtual bool removeVariables(const std::vector<std::string>& names, const KRProgressCPP& progress = {});
    virtual void createIndexFile(const FileName& container);
    virtual void addIndexBlock() { }

    // Opens it when it is closed.
    bool fileIsValid();
    bool fileIsOpen() const override { return isOpen_; }
    void closeFile(); // accessLock_ is held by the caller; the count of open files stays.
    void flush();
    double lastFileAccess() const override { return lastFileAccess_; } // Seconds, monotonic.
    // How far the file is understood, in bytes. With an incomplete entry at the end of the file it may lie
    // before a complete one.
    std::uint64_t fileSizeInBytes() const { return currentLengthOfFile_; }
    std::string fileName();
    KRDataFile* underlyingFile() { return this; }
    FileName fileContainer();
    void setFileContainer(const FileName& container);
    void setIndexFileContainer(const FileName& container);
    // The container of the index file; where there is none, one in a temporary file is made. Null without
    // temporary files.
    virtual FileName indexFileContainer();
    virtual FileName createIndexFileContainerIfNeeded();
    std::string nameOfIndexFile() { return nameOfIndexFor(fileName()); }
    bool indexFileUpToDate();
    void removeIndexFile();
    // The file alone; an index file stays. The object is empty then.
    void deleteFileFromDisk();

    // An independent object on a copy of the file as it is now; the original may go on growing. With a link
    // no bytes are copied, and both names are one file. Null on failure or when the user aborts, with an
    // incomplete file left behind.
    Pointer copyInto(const std::string& path, const KRProgressCPP& withProgress = {}, bool allowLink = false);

    bool contains(const std::optional<std::string>& name) override;
    bool isAString(const std::string& name) override;
    bool isAFloatArray(const std::string& name) override;
    bool isADoubleArray(const std::string& name) override;
    bool isAnIntArray(const std::string& name) override;
    bool isANumber(const std::string& name) override;
    std::vector<std::string> variablesWithPrefix(const std::string& prefix) override;
    std::vector<std::string> variablesNames() { return variablesWithPrefix(""); }
    std::optional<std::string> resolveNameAllowingRedirection(const std::string& name) override;
    std::optional<Size> getSizeOfVariable(const std::string& name) override;
    std::optional<StorageNumber> readNumber(const std::string& name) override;
    std::optional<StorageNumber> readNumberInsideLock(const std::string& name);
    KRAnyArray readArrayOfType(ElementType type, const std::string& name) override;
    std::optional<std::string> readRawString(const std::string& name) override;
    bool writeString(const std::string& text, const std::string& withName) override;

protected:
    struct Copied { // What a copy takes over.
        std::unique_ptr<DataFileStream> stream;
        std::string fileName;
        std::uint64_t fileLength = 0;
        std::uint64_t endOfEntries = 0;
        Content content;
    };
    // A variable on its way into the file: its entry, and its bytes as head, data and tail. Elements are
    // borrowed as data; what was made for the file is the tail.
    struct NewVariable {
        std::string name;
        KRDataFileEntry entry; // The offset, behind the head, is set by append().
        std::string head;
        std::string_view data;
        std::string tail{};
    };

    KRDataFile();

    // The first steps of making an object; false when there is none.
    bool initWithName(const std::string& name, bool forWriting);
    bool initNewFileWithName(const std::string& name);
    void initWithStructure(const platform::Value& structure);
    void initWithFile(Copied copied);
    // Opens the stream at once, for reading alone where it can't be written; a failure is reported.
    bool openAtOnce(DataFileStream::Access access);

    // What a format provides. accessLock_ is held, but not for copyOn().
    virtual bool readInContentOfFile(const KRProgressCPP& progress);
    virtual std::shared_ptr<KRDataFile> copyOn(Copied copied);
    virtual std::optional<KRDataFileEntry> entryFromDictionary(const platform::Value& dictionary) const;
    virtual platform::Value dictionaryOf(const KRDataFileEntry& entry) const;
    virtual KRAnyArray readArray(const std::string& name, const KRDataFileEntry& entry, ElementType type);
    virtual std::optional<StorageNumber> readStoredNumber(
        const std::string& name, const KRDataFileEntry& entry);
    virtual std::optional<std::string> readText(const std::string& name, KRDataFileEntry& entry);
    virtual Size sizeOf(const std::string& name, const KRDataFileEntry& entry);
    // The variables that writing this one makes: itself, perhaps with a companion before it.
    virtual platform::Result<std::vector<NewVariable>> variablesFor(
        const std::string& name, const KRAnyArray& array);
    virtual platform::Result<NewVariable> variableForText(const std::string& name, const std::string& text);
    virtual std::string headOfFile() const { return {}; } // The first bytes of a file.
    virtual bool listingNamesContent() const { return false; } // In description().
    virtual void entered(const std::string&) { } // A variable was written.
    // The file goes on behind the entries: reads what is new, if the format can.
    virtual void catchUp() { }
    // Why nothing may be written now, other than what this class finds.
    virtual platform::Status mayAppend() { return {}; }

    bool writeTypedArray(const KRAnyArray& array, const std::string& withName) override;
    // The variables as a whole, or none of them, with the report. Takes the lock.
    using MakeVariables = std::function<platform::Result<std::vector<NewVariable>>()>;
    bool write(const std::string& name, const MakeVariables& make);

    // accessLock_ is held.
    platform::Status placeIsSound(); // For appending.
    platform::Status append(std::vector<NewVariable>& variables);
    bool reportedWriting(const platform::Status& status, const std::string& name) const; // Whether it's ok.
    bool makeSureFileIsOpen();
    KRDataFileEntry* find(const std::string& name);
    void setStream(std::unique_ptr<DataFileStream> stream);
    void dropStream();
    void reportFailedReading(const std::string& name) const;
    std::string lastComponent() const;
    platform::Value structureInsideLock(platform::Value content);

    std::string fileName_;
    std::unique_ptr<DataFileStream> theFile_;
    Content theContent_;
    FileName fileContainer_;
    FileName indexFileContainer_;
    bool currentlyCopying_ = false;
    bool indexFileUpToDate_ = false; // Nothing sets it.
    bool allowWriting_ = true;
    std::atomic<std::uint64_t> currentLengthOfFile_ = 0;
    // Just past the last complete entry: where the next one goes. currentLengthOfFile_ may lie before it.
    std::uint64_t endOfEntries_ = 0;
    std::optional<DataFileStream::Identity> identity_; // Of the file that the content is from.

private:
    void closeIfUnusedFor(double age, double now) override;
    bool hasEntryThat(const std::string& name, bool (KRDataFileEntry::*answers)() const);
    FileName temporaryIndexFile();
    static std::recursive_mutex& lockForDataFileAccess();

    std::atomic<bool> isOpen_ = false;
    std::atomic<double> lastFileAccess_;
};
