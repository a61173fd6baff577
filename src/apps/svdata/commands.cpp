#include "apps/svdata/commands.h"

#include "apps/svdata/data_source.h"
#include "apps/svdata/json_text.h"
#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVPrintableText.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace {

void print(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
}

// Without the closing brace, so that the caller can add members.
std::string jsonHead(const DataSource::Variable& variable)
{
    std::string json = "{\"name\": ";
    json += jsonString(variable.name) + ", \"type\": " + numberText(variable.type);
    json += ", \"m\": " + numberText(variable.m) + ", \"n\": " + numberText(variable.n);
    return json + ", \"o\": " + numberText(variable.o);
}

void printJsonValues(const std::string& text)
{
    print(jsonString(text));
}

template <class T>
void printJsonValues(const SVArray<T>& array)
{
    print("[");
    for (long i = 0; i < array.Length(); ++i) {
        if (i > 0)
            print(", ");
        print(jsonNumber(array(i)));
    }
    print("]");
}

void printValues(const std::string& text)
{
    print(text + "\n");
}

// A line for each row, an empty line between the layers.
template <class T>
void printValues(const SVArray<T>& array)
{
    for (long k = 0; k < array.o(); ++k) {
        if (k > 0)
            print("\n");
        for (long i = 0; i < array.m(); ++i)
            for (long j = 0; j < array.n(); ++j)
                print(numberText(array(i, j, k)) + (j + 1 < array.n() ? " " : "\n"));
    }
}

// The elements of an m x n x o array as a matrix of m*n rows.
template <class T>
SVArray<T> asMatrix(const SVArray<T>& array)
{
    SVMutableArray<T> matrix(array.m() * array.n(), array.o());
    std::copy_n(array.Pointer(), array.Length(), matrix.Pointer());
    return matrix;
}

// Copies the variables of a file to another one and names those that it can't.
class Copying {
public:
    Copying(const DataSource& source, SVDataStorage& target, bool toMatlab)
        : source_(source), target_(target), toMatlab_(toMatlab)
    { }

    bool copyAll() // False if something was left out.
    {
        std::vector<DataSource::Variable> variables = source_.variables();
        std::sort(variables.begin(), variables.end(),
            [](const auto& a, const auto& b) { return a.location < b.location; });
        for (const DataSource::Variable& variable : variables)
            if (!source_.isInternal(variable.name))
                copy(variable);
        return isComplete_;
    }

private:
    void copy(const DataSource::Variable& variable)
    {
        if (variable.location < 0)
            return leaveOut(variable.name, "its place in the file is not known");
        if (toMatlab_ && source_.isTakenForShape(variable))
            return leaveOut(variable.name, "a MAT-file would take it for the shape of another variable");
        if (!toMatlab_ && variable.bytes > kLargestNativeData)
            return leaveOut(variable.name, "a native file has no room for 2 GiB in one variable");
        source_.read(variable, [&](const auto& value, bool isWhole) {
            if (isWhole)
                save(variable.name, value);
            else
                leaveOut(variable.name, "it can't be read whole");
        });
    }

    void leaveOut(const std::string& name, const char* reason)
    {
        std::fprintf(stderr, "svdata: \"%s\" is not copied: %s\n", SVPrintable(name).c_str(), reason);
        isComplete_ = false;
    }

    void save(const std::string& name, const std::string& text) { target_.Save(text, name); }

    template <class T>
    void save(const std::string& name, const SVArray<T>& array)
    {
        if (toMatlab_ && sizeof(T) < sizeof(std::int32_t) && array.o() > 1) {
            // The library writes no companion for the narrow types, but reads one for all types.
            target_.Save(static_cast<double>(array.m()), name + DataSource::kCompanionEnding);
            target_.Save(asMatrix(array), name);
        } else {
            target_.Save(array, name);
        }
    }

    // The size of an entry, with its header and its name, has 31 bits.
    static constexpr long kLargestNativeData = (1L << 31) - 1 - 28 - 255;

    const DataSource& source_;
    SVDataStorage& target_;
    bool toMatlab_;
    bool isComplete_ = true;
};

bool hasKnownEnding(const std::string& path)
{
    return hasExtension(path, ".mat") || hasExtension(path, ".svbin");
}

} // namespace

int listVariables(const std::string& path, bool asJson)
{
    const auto source = DataSource::open(path);
    if (!source)
        return kFailed;
    if (!asJson) {
        print(source->listing());
        return kDone;
    }
    const char* before = "[\n  ";
    for (const DataSource::Variable& variable : source->variables()) {
        print(before + jsonHead(variable) + ", \"location\": " + numberText(variable.location) + "}");
        before = ",\n  ";
    }
    print(*before == '[' ? "[]\n" : "\n]\n");
    return kDone;
}

int showVariable(const std::string& path, const std::string& name, bool asJson)
{
    const auto source = DataSource::open(path);
    if (!source)
        return kFailed;
    const DataSource::Variable variable = source->describe(name);
    if (variable.location < 0) {
        source->storage().ReadDoubleArray(name); // Reports that there is none.
        print(asJson ? "null\n" : "");
        return kDone;
    }
    if (asJson)
        print(jsonHead(variable) + ", \"values\": ");
    source->read(variable,
        [asJson](const auto& value, bool) { asJson ? printJsonValues(value) : printValues(value); });
    print(asJson ? "}\n" : "");
    return kDone;
}

int copyFile(const std::string& from, const std::string& to)
{
    std::error_code failure;
    if (!hasKnownEnding(from) || !hasKnownEnding(to)) {
        std::fprintf(stderr, "svdata: copy knows files by their endings, .svbin and .mat\n");
        return kWrongUse;
    }
    if (std::filesystem::equivalent(from, to, failure)) {
        std::fprintf(stderr, "svdata: %s and %s are one file\n", from.c_str(), to.c_str());
        return kWrongUse;
    }
    const long reportsBefore = SVHowManyErrors();
    const auto source = DataSource::open(from);
    if (!source)
        return kFailed;
    const bool isSound = SVHowManyErrors() == reportsBefore;
    if (!isSound)
        std::fprintf(stderr, "svdata: %s is damaged; what was found in it is copied\n", from.c_str());
    SVFile file(to, SVFile::NewReadWrite);
    if (!file.IsOpen())
        return kFailed;
    bool isComplete = false;
    if (DataSource::isMatlab(to)) {
        SVMatlabDataFile target(file);
        isComplete = Copying(*source, target, true).copyAll();
    } else {
        SVDataFile target(file);
        isComplete = Copying(*source, target, false).copyAll();
    }
    if (std::fflush(file.FILEForWriting()) == 0 && std::ferror(file.FILEForReading()) == 0)
        return isSound && isComplete ? kDone : kFailed;
    std::fprintf(stderr, "svdata: %s could not be written whole\n", to.c_str());
    return kFailed;
}

int writeIndexFile(const std::string& path)
{
    if (!SVFile::CanOpen(path, SVFile::ReadOnly)) {
        std::fprintf(stderr, "svdata: %s can't be opened\n", path.c_str());
        return kFailed;
    }
    if (DataSource::writeIndex(path))
        return kDone;
    std::fprintf(stderr, "svdata: %s has no index now\n", path.c_str());
    return kFailed;
}
