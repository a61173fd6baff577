#pragma once

#include "datafile/SVDataStorage.h"
#include "datafile/SVFile.h"

class SVMatlabDataFileContent;
class SVMatlabDataFile;
extern template class SVArrayStorageOf<SVMatlabDataFile>;

// A Level 4 MAT-file as a store of named arrays. It has matrices only: a double, float or int array of three
// dimensions is stored as a matrix of m*n rows with a companion "<name>_3D" that holds m. The other types
// must not have a third dimension; a program can write such a companion and matrix for them itself, and then
// reads them back whole. docs/matlab-format.md describes the bytes.
//
// A saved variable is found when the file is opened again, not through the handle that saved it. Copies share
// the open file. One thread at a time.
class SVMatlabDataFile : public SVArrayStorageOf<SVMatlabDataFile> {
public:
    SVMatlabDataFile(); // No file.
    SVMatlabDataFile(const std::string& name, SVFile::OpenType openType);
    explicit SVMatlabDataFile(const SVFile& file); // Adopts an open file.
    SVMatlabDataFile(const SVMatlabDataFile& other);
    SVMatlabDataFile& operator=(const SVMatlabDataFile& other);
    ~SVMatlabDataFile() override;

    bool IsOpen() const;
    // Writes the index file beside the data file, once; or when the last copy is destroyed. No index is made
    // for a file that is damaged or has the other byte order.
    void SaveIndex();
    void ShouldSaveIndexWhenClosing();

    // What is known of a variable without reading it: rows, columns, type modulo 1000, and the offset of its
    // data, below 0 if there is no such variable.
    struct Description {
        int type = 0;
        int m = 0;
        int n = 0;
        long long location = -1;
    };
    Description Describe(const std::string& name) const;
    // The listing that printInfo() writes: a line for each variable, in the order of the file.
    std::string Listing() const;

    SVMutablePointer<SVDataStorage> AsPointer() const override;
    std::vector<std::string> AllVariableNames() const override;
    bool Contains(const std::string& name) const override;
    bool IsReadOnly() const override;

    using SVArrayStorageOf<SVMatlabDataFile>::Save;
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
    friend class SVArrayStorageOf<SVMatlabDataFile>;
    bool MayWrite(const std::string& name) const;
    template <class T>
    void SaveArray(const SVArray<T>& array, const std::string& name);
    template <class T>
    SVMutableArray<T> ReadArray(const std::string& name) const;
    std::string ListedValue(const std::string& name) const;
    void Release();

    SVMatlabDataFileContent* Content;
};
