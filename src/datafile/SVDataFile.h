#pragma once

#include "datafile/SVDataStorage.h"
#include "datafile/SVFile.h"

class SVDataFileContent;
struct SVDataListing;
class SVDataFile;
extern template class SVArrayStorageOf<SVDataFile>;

// A file of the native binary format ("svbin"): a sequence of named arrays and strings to which writers only
// append. If a name occurs twice, the last occurrence counts. Another process may append while it is read: an
// entry that isn't complete yet isn't seen. docs/native-format.md describes the bytes.
//
// Copies share the open file. The list of its variables is read once, at opening.
class SVDataFile : public SVArrayStorageOf<SVDataFile> {
public:
    SVDataFile(); // No file.
    SVDataFile(const std::string& name, SVFile::OpenType openType);
    // Adopts an open file; its declared byte order is the one that is written.
    explicit SVDataFile(const SVFile& file);
    SVDataFile(const SVDataFile& other);
    SVDataFile& operator=(const SVDataFile& other);
    ~SVDataFile() override;

    bool IsOpen() const;
    // Writes an index block, which makes opening fast, when the last copy is destroyed.
    void SaveIndex();
    // Flushes, and writes the length of the file to "<name>.sync" beside it: all entries up to there are
    // complete.
    void Sync();

    // What is known of a variable without reading it: its dimensions, its type code (docs/native-format.md),
    // and the offset of its data, below 0 if there is no such variable.
    struct Description {
        int type = 0;
        int m = 0;
        int n = 0;
        int o = 0;
        long long location = -1;
    };
    Description Describe(const std::string& name) const;
    // The listing that printInfo() writes: a line for each variable, in the order of the file.
    std::string Listing() const;
    // Writes the index file beside the data file, from a scan of the whole file. False, with a report, if the
    // file is damaged or has the other byte order, or if the index can't be written; an older index then
    // stays.
    bool WriteIndexFile();

    SVMutablePointer<SVDataStorage> AsPointer() const override;
    std::vector<std::string> AllVariableNames() const override;
    bool Contains(const std::string& name) const override;
    bool IsReadOnly() const override;

    using SVArrayStorageOf<SVDataFile>::Save;
    void Save(int value, const std::string& name) override;
    void Save(double value, const std::string& name) override;
    void Save(const std::string& text, const std::string& name) override;

    bool SavedAsCharacter(const std::string& name) const override;
    bool SavedAsShort(const std::string& name) const override;
    bool SavedAsInt(const std::string& name) const override;
    bool SavedAsDouble(const std::string& name) const override;
    bool SavedAsString(const std::string& name) const override;

    void Flush() override;

    std::string ReadString(const std::string& name) const override;

    void printInfo() const override;

private:
    friend class SVArrayStorageOf<SVDataFile>;
    template <class T>
    void SaveArray(const SVArray<T>& array, const std::string& name);
    template <class T>
    SVMutableArray<T> ReadArray(const std::string& name) const;
    SVDataListing EntriesToList() const;
    std::string ListedValue(const std::string& name) const;
    void Release();

    SVDataFileContent* Content;
};
