#pragma once

#include "datafile/SVDataFile.h"
#include "datafile/SVMatlabDataFile.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

// A data file of either format, told apart by its extension: "mat", or else the native one.
class DataSource {
public:
    // In a MAT-file, of the variable that tells the shape of the one named before it.
    static constexpr const char* kCompanionEnding = "_3D";

    struct Variable {
        std::string name;
        int type = 0; // The format's code.
        long m = 0;
        long n = 0;
        long o = 0; // As it is read: of a MAT-file with what its companion tells.
        long long location = -1;
    };

    // Empty when the file can't be opened.
    static std::optional<DataSource> open(const std::string& path);
    static bool isMatlab(const std::string& path);
    // Writes an index file anew, from what is in the file now.
    static bool writeIndex(const std::string& path);

    const SVDataStorage& storage() const;
    std::string listing() const;
    Variable describe(const std::string& name) const;
    std::vector<Variable> variables() const; // Sorted by name.
    // Whether the variable belongs to the format and not to its user: an index block, a companion.
    bool isInternal(const std::string& name) const;

    // Reads a variable with the type that it is stored with and calls `use(array)`, or `use(text)` for a
    // std::string.
    template <class Use>
    void read(const Variable& variable, Use use) const;

private:
    enum class Stored { Text, Double, Float, Int, ShortInt, UShortInt, Char, UChar };

    using File = std::variant<SVDataFile, SVMatlabDataFile>;
    explicit DataSource(File file) : file_(std::move(file)) { }
    Stored storedAs(const Variable& variable) const;
    template <class T>
    SVArray<T> readArray(const std::string& name) const
    {
        return SVReadArray<T>(storage(), name);
    }

    File file_;
};

template <class Use>
void DataSource::read(const Variable& variable, Use use) const
{
    const std::string& name = variable.name;
    switch (storedAs(variable)) {
    case Stored::Text:
        return use(storage().ReadString(name));
    case Stored::Double:
        return use(readArray<double>(name));
    case Stored::Float:
        return use(readArray<float>(name));
    case Stored::Int:
        return use(readArray<std::int32_t>(name));
    case Stored::ShortInt:
        return use(readArray<std::int16_t>(name));
    case Stored::UShortInt:
        return use(readArray<std::uint16_t>(name));
    case Stored::Char:
        return use(readArray<signed char>(name));
    case Stored::UChar:
        return use(readArray<unsigned char>(name));
    }
}
