#include "apps/svdata/commands.h"

#include "apps/svdata/data_source.h"
#include "apps/svdata/json_text.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace {

void print(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
}

// Without the closing brace: more may follow.
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

void save(SVDataStorage& target, bool, const std::string& name, const std::string& text)
{
    target.Save(text, name);
}

// The elements of three dimensions in two.
template <class T>
SVArray<T> asMatrix(const SVArray<T>& array)
{
    SVMutableArray<T> matrix(array.m() * array.n(), array.o());
    std::copy_n(array.Pointer(), array.Length(), matrix.Pointer());
    return matrix;
}

template <class T>
void save(SVDataStorage& target, bool toMatlab, const std::string& name, const SVArray<T>& array)
{
    if (toMatlab && sizeof(T) < sizeof(std::int32_t) && array.o() > 1) {
        // The library writes no companion for the narrow types; its readers take one from any of them.
        target.Save(static_cast<double>(array.m()), name + DataSource::kCompanionEnding);
        target.Save(asMatrix(array), name);
    } else {
        target.Save(array, name);
    }
}

void copyVariables(const DataSource& source, SVDataStorage& target, bool toMatlab)
{
    std::vector<DataSource::Variable> variables = source.variables();
    std::sort(variables.begin(), variables.end(),
        [](const auto& a, const auto& b) { return a.location < b.location; });
    for (const DataSource::Variable& variable : variables)
        if (variable.location >= 0 && !source.isInternal(variable.name))
            source.read(variable, [&](const auto& value) { save(target, toMatlab, variable.name, value); });
}

bool hasKnownEnding(const std::string& path)
{
    return DataSource::isMatlab(path) || std::filesystem::path(path).extension() == ".svbin";
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
    source->read(
        variable, [asJson](const auto& value) { asJson ? printJsonValues(value) : printValues(value); });
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
    const auto source = DataSource::open(from);
    if (!source)
        return kFailed;
    SVFile file(to, SVFile::NewReadWrite);
    if (!file.IsOpen())
        return kFailed;
    if (DataSource::isMatlab(to)) {
        SVMatlabDataFile target(file);
        copyVariables(*source, target, true);
    } else {
        SVDataFile target(file);
        copyVariables(*source, target, false);
    }
    if (std::fflush(file.FILEForWriting()) == 0 && std::ferror(file.FILEForReading()) == 0)
        return kDone;
    std::fprintf(stderr, "svdata: %s could not be written whole\n", to.c_str());
    return kFailed;
}

int writeIndexFile(const std::string& path)
{
    if (!SVFile::CanOpen(path, SVFile::ReadOnly)) {
        std::fprintf(stderr, "svdata: %s can't be opened\n", path.c_str());
        return kFailed;
    }
    return DataSource::writeIndex(path) ? kDone : kFailed;
}
