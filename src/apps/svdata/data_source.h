#pragma once

#include "datafile/SVDataFile.h"
#include "datafile/SVMatlabDataFile.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

// Whether the path has the extension, in small or capital letters. `small` is in small letters.
bool hasExtension(const std::string& path, const std::string& small);

// A data file of either format, told apart by its extension: "mat" in small or capital letters, or else the
// native one.
class DataSource {
public:
    // In a MAT-file, "<name>_3D" holds the shape of <name>.
    static constexpr const char* kCompanionEnding = "_3D";

    struct Variable {
        std::string name;
        int type = 0; // The format's code.
        long m = 0;
        long n = 0;
        long o = 0; // In a MAT-file the companion changes the shape: this is the shape as read.
        long stored = 0; // Elements in the file. A companion that doesn't fit leaves some of them out.
        long bytes = 0; // Of these elements.
        long long location = -1;
    };

    // Empty when the file can't be opened.
    static std::optional<DataSource> open(const std::string& path);
    static bool isMatlab(const std::string& path);
    // Writes an index file anew, from what is in the file now. If none can be made it reports the reason,
    // removes an old index and returns false.
    static bool writeIndex(const std::string& path);

    const SVDataStorage& storage() const;
    std::string listing() const;
    Variable describe(const std::string& name) const;
    std::vector<Variable> variables() const; // Sorted by name.
    // Whether the variable is part of the format and not of the data: an index block, a companion.
    bool isInternal(const std::string& name) const;

    // Whether a MAT-file would take the variable for the shape of another one.
    bool isTakenForShape(const Variable& variable) const;

    // Reads a variable with the type that it is stored with and calls `use(array, isWhole)`, or `use(text,
    // isWhole)` for a std::string. A value that isn't whole has lost elements: the file ends before them, or
    // their type is unknown.
    template <class Use>
    void read(const Variable& variable, Use use) const;

private:
    enum class Stored { Text, Double, Float, Int, ShortInt, UShortInt, Char, UChar };

    using File = std::variant<SVDataFile, SVMatlabDataFile>;
    explicit DataSource(File file) : file_(std::move(file)) { }
    Stored storedAs(const Variable& variable) const;
    bool isText(const Variable& variable) const;
    bool hasKnownType(const Variable& variable) const;
    // The variable whose shape this one would hold, by its name; empty if there is none.
    std::string nameOfShaped(const std::string& name) const;
    std::string readText(const Variable& variable, bool& isWhole) const;
    template <class T, class Use>
    void readArray(const Variable& variable, Use use) const
    {
        const SVArray<T> array = SVReadArray<T>(storage(), variable.name);
        use(array, hasKnownType(variable) && array.Length() == variable.stored);
    }

    File file_;
};

template <class Use>
void DataSource::read(const Variable& variable, Use use) const
{
    switch (storedAs(variable)) {
    case Stored::Text: {
        bool isWhole = false;
        const std::string text = readText(variable, isWhole);
        return use(text, isWhole);
    }
    case Stored::Double:
        return readArray<double>(variable, use);
    case Stored::Float:
        return readArray<float>(variable, use);
    case Stored::Int:
        return readArray<std::int32_t>(variable, use);
    case Stored::ShortInt:
        return readArray<std::int16_t>(variable, use);
    case Stored::UShortInt:
        return readArray<std::uint16_t>(variable, use);
    case Stored::Char:
        return readArray<signed char>(variable, use);
    case Stored::UChar:
        return readArray<unsigned char>(variable, use);
    }
}
