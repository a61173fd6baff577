#include "datafile/SVVariableValue.h"

#include "arrays/sv/SVArrayConversion.h"
#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVMatlabDataFile.h"
#include "datafile/SVVariableTimes.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>
#include <type_traits>
#include <utility>

namespace {

using Part = SVVariableValue::Part;

// The ways in which values are stored. All types but a few are one array.
enum class Form { Number, Text, Strings, Array, Parts };

Form formOf(const SVVariableType& type)
{
    if (!type.IsPlain())
        return Form::Parts;
    if (type.Name() == "Real Number")
        return Form::Number;
    if (type.Name() == "String" || type.Name() == "FileName")
        return Form::Text;
    return type.Name() == "StringList" ? Form::Strings : Form::Array;
}

// That format has no layers of small integers. Its signed bytes are text, and a text in the place of a value
// is a reference.
bool isMatlab(SVDataStorage& storage)
{
    return dynamic_cast<SVMatlabDataFile*>(&storage) != nullptr;
}

// What a value is made of, without its type.
class StoredValue {
public:
    virtual ~StoredValue() = default;
    virtual Form HasForm() const = 0;
    virtual bool Fits(const SVVariableType& type) const { return formOf(type) == HasForm(); }
    virtual std::string Fault() const { return {}; }
    virtual void Save(SVDataStorage& storage, const std::string& name) const = 0;
};

template <Form form, class Value>
class StoredEntry final : public StoredValue {
public:
    explicit StoredEntry(Value stored) : value(std::move(stored)) { }
    Form HasForm() const override { return form; }
    void Save(SVDataStorage& storage, const std::string& name) const override { storage.Save(value, name); }

private:
    Value value;
};

template <class T>
class StoredArray final : public StoredValue {
public:
    explicit StoredArray(const SVArray<T>& stored) : array(stored) { }
    Form HasForm() const override { return Form::Array; }
    bool Fits(const SVVariableType& type) const override
    {
        return formOf(type) == Form::Array && (type.Name() != "NumberList" || IsList());
    }
    bool IsList() const { return array.n() < 2 && array.o() < 2; }
    long Rows() const { return array.Length(); }
    void Save(SVDataStorage& storage, const std::string& name) const override
    {
        if (!isMatlab(storage))
            storage.Save(array, name);
        else if (sizeof(T) < sizeof(std::int32_t) && array.o() > 1) // Readers would lose what follows.
            SVErrorMessage("SVVariableValue::Save",
                "Arrays of small integers can have two dimensions at most in this format.");
        else if constexpr (std::is_same_v<T, signed char>)
            storage.Save(SVConvertedArray<std::int16_t>(array), name);
        else
            storage.Save(array, name);
    }

private:
    SVArray<T> array;
};

template <class Byte>
SVMutableArray<Byte> bytesOf(const std::string& text)
{
    SVMutableArray<Byte> bytes(static_cast<long>(text.size()));
    if (!text.empty())
        std::memcpy(bytes.Pointer(), text.data(), text.size());
    return bytes;
}

class StoredStrings final : public StoredValue {
public:
    explicit StoredStrings(std::vector<std::string> stored) : strings(std::move(stored)) { }
    Form HasForm() const override { return Form::Strings; }
    std::string Fault() const override
    {
        const bool fits = Bytes() <= static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
        return fits ? std::string() : "The list of strings has more than 2 GB.";
    }
    void Save(SVDataStorage& storage, const std::string& name) const override
    {
        SVMutableIntArray starts(static_cast<long>(strings.size()));
        std::string block;
        block.reserve(Bytes());
        for (std::size_t k = 0; k < strings.size(); ++k) {
            starts.Pointer()[k] = static_cast<std::int32_t>(block.size());
            block.append(strings[k]).push_back('\0');
        }
        storage.Save("UTF8", name + "_T");
        storage.Save(starts, name + "_offs");
        if (isMatlab(storage))
            storage.Save(bytesOf<unsigned char>(block), name);
        else
            storage.Save(bytesOf<signed char>(block), name);
    }
    std::size_t Rows() const { return strings.size(); }

private:
    std::size_t Bytes() const
    {
        std::size_t bytes = strings.size();
        for (const std::string& text : strings)
            bytes += text.size();
        return bytes;
    }

    std::vector<std::string> strings;
};

std::string faultOfParts(const std::vector<Part>& parts)
{
    for (const auto& part : parts)
        if (std::string fault = part.value.Fault(); !fault.empty())
            return fault;
    return {};
}

bool partsFit(const std::vector<Part>& parts, const SVVariableType& type)
{
    return std::equal(parts.begin(), parts.end(), type.Parts().begin(), type.Parts().end(),
        [](const Part& part, const SVVariableType::Part& wanted) {
            return part.name == wanted.name && part.value.Fits(wanted.type);
        });
}

std::vector<SVVariableType::Part> typesOf(const std::vector<Part>& parts)
{
    std::vector<SVVariableType::Part> types;
    for (const Part& part : parts)
        types.push_back({part.name, part.value.Type()});
    return types;
}

class StoredGroup final : public StoredValue {
public:
    explicit StoredGroup(std::vector<Part> stored) : parts(std::move(stored)) { }
    Form HasForm() const override { return Form::Parts; }
    bool Fits(const SVVariableType& type) const override
    {
        return type.GetKind() == SVVariableType::Kind::Group && partsFit(parts, type);
    }
    std::string Fault() const override { return faultOfParts(parts); }
    void Save(SVDataStorage& storage, const std::string& name) const override
    {
        for (const Part& part : parts)
            part.value.Save(storage, name + "_" + part.name);
        storage.Save(SVDoubleArray(), name);
    }

private:
    std::vector<Part> parts;
};

class StoredTable final : public StoredValue {
public:
    StoredTable(std::vector<Part> stored, std::vector<long> rowsOfColumns)
        : columns(std::move(stored)), rows(std::move(rowsOfColumns))
    { }
    Form HasForm() const override { return Form::Parts; }
    bool Fits(const SVVariableType& type) const override
    {
        return type.GetKind() == SVVariableType::Kind::Table && partsFit(columns, type);
    }
    std::string Fault() const override
    {
        const bool isEven = std::adjacent_find(rows.begin(), rows.end(), std::not_equal_to<>()) == rows.end();
        return isEven ? faultOfParts(columns) : "The columns of the table differ in length.";
    }
    void Save(SVDataStorage& storage, const std::string& name) const override
    {
        for (std::size_t k = 0; k < columns.size(); ++k) {
            const std::string column = name + "_" + std::to_string(k);
            storage.Save(columns[k].name, column + "N");
            if (columns[k].value.Type().Name() != "StringList") // Such a list writes this entry itself.
                storage.Save("Number", column + "V_T");
            columns[k].value.Save(storage, column + "V");
        }
        storage.Save(static_cast<double>(columns.size()), name);
    }

private:
    std::vector<Part> columns;
    std::vector<long> rows;
};

class StoredSeries final : public StoredValue {
public:
    StoredSeries(std::vector<double> ofValues, std::vector<SVVariableValue> stored)
        : times(std::move(ofValues)), values(std::move(stored))
    { }
    Form HasForm() const override { return Form::Parts; }
    bool Fits(const SVVariableType& type) const override
    {
        return type.GetKind() == SVVariableType::Kind::Series
            && std::all_of(values.begin(), values.end(),
                [&](const SVVariableValue& value) { return value.Fits(type.Parts().front().type); });
    }
    SVVariableType ElementType() const
    {
        for (const SVVariableValue& value : values)
            if (!value.Type().Name().empty())
                return value.Type();
        return SVVariableType("");
    }
    std::string Fault() const override
    {
        if (times.size() != values.size())
            return "The series needs a time for each value.";
        std::vector<double> before;
        for (const double time : times) {
            if (std::string fault = SVFaultOfTime(time, before); !fault.empty())
                return fault;
            before.assign(1, time);
        }
        const SVVariableType element = ElementType();
        if (element.Name().empty())
            return "The series has no value that tells the type of its elements.";
        for (const SVVariableValue& value : values) {
            if (!value.Fits(element))
                return "The values of the series differ in type.";
            if (std::string fault = value.Fault(); !fault.empty())
                return fault;
        }
        return {};
    }
    void Save(SVDataStorage& storage, const std::string& name) const override
    {
        SVVariableType::Series(ElementType()).SaveDescription(storage, name);
        SVMutableDoubleArray all(static_cast<long>(times.size()));
        std::copy(times.begin(), times.end(), all.Pointer());
        for (std::size_t k = 0; k < values.size(); ++k) {
            const std::string step = name + "_" + std::to_string(k);
            storage.Save(times[k], step + "_time");
            values[k].Save(storage, step);
        }
        storage.Save(all, "SeqInfo_" + name + "_TimeValues");
    }

private:
    std::vector<double> times;
    std::vector<SVVariableValue> values;
};

} // namespace

struct SVVariableValue::Content {
    SVVariableType type{""};
    bool typeIsGiven = false; // By As(): the value stands for no other type.
    std::shared_ptr<const StoredValue> stored; // Null for a missing value.
    std::vector<Part> parameters;
    long rows = -1; // As a column of a table; below 0 for what is none.
};

namespace {

template <class T>
SVMutableArray<T> vectorOf(const std::vector<double>& numbers)
{
    SVMutableArray<T> array(static_cast<long>(numbers.size()));
    std::transform(numbers.begin(), numbers.end(), array.Pointer(),
        [](double number) { return static_cast<T>(number); });
    return array;
}

template <class Content, class T>
Content contentOf(const SVArray<T>& array)
{
    const auto stored = std::make_shared<const StoredArray<T>>(array);
    const bool isList = stored->IsList();
    return Content{isList ? "NumberList" : "Array", false, stored, {}, isList ? stored->Rows() : -1};
}

} // namespace

SVVariableValue::SVVariableValue(Content made) : content(std::make_shared<const Content>(std::move(made))) { }

SVVariableValue::SVVariableValue() : SVVariableValue(Content()) { }

SVVariableValue::SVVariableValue(NumberTag, double number)
    : SVVariableValue(
        Content{"Real Number", false, std::make_shared<const StoredEntry<Form::Number, double>>(number), {}})
{ }

SVVariableValue::SVVariableValue(const char* text) : SVVariableValue(std::string(text ? text : "")) { }

SVVariableValue::SVVariableValue(const std::string& text)
    : SVVariableValue(
        Content{"String", false, std::make_shared<const StoredEntry<Form::Text, std::string>>(text), {}})
{ }

SVVariableValue::SVVariableValue(const SVDoubleArray& array) : SVVariableValue(contentOf<Content>(array)) { }
SVVariableValue::SVVariableValue(const SVFloatArray& array) : SVVariableValue(contentOf<Content>(array)) { }
SVVariableValue::SVVariableValue(const SVIntArray& array) : SVVariableValue(contentOf<Content>(array)) { }
SVVariableValue::SVVariableValue(const SVShortIntArray& array)
    : SVVariableValue(contentOf<Content>(array)) { }
SVVariableValue::SVVariableValue(const SVUShortIntArray& array) : SVVariableValue(contentOf<Content>(array))
{ }
SVVariableValue::SVVariableValue(const SVCharArray& array) : SVVariableValue(contentOf<Content>(array)) { }
SVVariableValue::SVVariableValue(const SVUCharArray& array) : SVVariableValue(contentOf<Content>(array)) { }

SVVariableValue::SVVariableValue(const std::vector<double>& numbers)
    : SVVariableValue(contentOf<Content>(vectorOf<double>(numbers)))
{ }

SVVariableValue::SVVariableValue(std::vector<std::string> strings)
    : SVVariableValue([&] {
          const auto stored = std::make_shared<const StoredStrings>(std::move(strings));
          return Content{"StringList", false, stored, {}, static_cast<long>(stored->Rows())};
      }())
{ }

SVVariableValue::SVVariableValue(const SVPoint2D& point)
    : SVVariableValue(SVVariableValue(vectorOf<double>({point.x, point.y})).As("Point2D"))
{ }

SVVariableValue::SVVariableValue(const SVPoint3D& point)
    : SVVariableValue(SVVariableValue(vectorOf<float>({point.x, point.y, point.z})).As("Point3D"))
{ }

SVVariableValue::SVVariableValue(const SVTransform2D& transform)
    : SVVariableValue(SVVariableValue(ConvertToArray(transform)).As("Transform2D"))
{ }

SVVariableValue::SVVariableValue(const SVTransform3D& transform)
    : SVVariableValue(SVVariableValue(ConvertToArray(transform)).As("Transform3D"))
{ }

SVVariableValue SVVariableValue::Range(double smallest, double largest)
{
    return SVVariableValue(vectorOf<double>({smallest, largest})).As("Range");
}

SVVariableValue SVVariableValue::Region2D(double xmin, double xmax, double ymin, double ymax)
{
    return SVVariableValue(vectorOf<double>({xmin, xmax, ymin, ymax})).As("Region2D");
}

SVVariableValue SVVariableValue::Region3D(
    double xmin, double xmax, double ymin, double ymax, double zmin, double zmax)
{
    return SVVariableValue(vectorOf<double>({xmin, xmax, ymin, ymax, zmin, zmax})).As("Region3D");
}

SVVariableValue SVVariableValue::Group(std::vector<Part> entries)
{
    auto type = SVVariableType::Group(typesOf(entries));
    return SVVariableValue(
        Content{std::move(type), false, std::make_shared<const StoredGroup>(std::move(entries)), {}});
}

SVVariableValue SVVariableValue::Table(std::vector<Part> columns)
{
    auto type = SVVariableType::Table(typesOf(columns));
    std::vector<long> rows;
    for (const Part& column : columns)
        rows.push_back(column.value.content->rows);
    return SVVariableValue(Content{std::move(type), false,
        std::make_shared<const StoredTable>(std::move(columns), std::move(rows)), {}});
}

SVVariableValue SVVariableValue::Series(std::vector<double> times, std::vector<SVVariableValue> values)
{
    const auto stored = std::make_shared<const StoredSeries>(std::move(times), std::move(values));
    return SVVariableValue(Content{SVVariableType::Series(stored->ElementType()), false, stored, {}});
}

SVVariableValue SVVariableValue::As(const std::string& typeName) const
{
    Content renamed = *content;
    renamed.type = SVVariableType(typeName);
    renamed.typeIsGiven = true;
    return SVVariableValue(std::move(renamed));
}

SVVariableValue SVVariableValue::WithParameter(
    const std::string& name, const SVVariableValue& parameter) const
{
    Content longer = *content;
    longer.parameters.push_back({name, parameter});
    return SVVariableValue(std::move(longer));
}

const SVVariableType& SVVariableValue::Type() const
{
    return content->type;
}

bool SVVariableValue::IsMissing() const
{
    return content->stored == nullptr;
}

bool SVVariableValue::Fits(const SVVariableType& type) const
{
    if (content->typeIsGiven)
        return type.IsPlain() && type.Name() == content->type.Name();
    return IsMissing() || content->stored->Fits(type);
}

std::string SVVariableValue::Fault() const
{
    for (const Part& parameter : content->parameters) {
        if (!parameter.value.Type().IsPlain() || parameter.value.IsMissing() || parameter.name.empty())
            return "The parameter \"" + parameter.name + "\" needs a name and a value of a plain type.";
        if (std::string fault = parameter.value.Fault(); !fault.empty())
            return fault;
    }
    if (IsMissing())
        return {};
    if (formOf(content->type) != content->stored->HasForm())
        return "The value isn't stored as a \"" + content->type.Name() + "\" is.";
    return content->stored->Fault();
}

void SVVariableValue::Save(SVDataStorage& storage, const std::string& name) const
{
    for (std::size_t k = 0; k < content->parameters.size(); ++k) {
        const auto& [parameterName, value] = content->parameters[k];
        const std::string entry = name + "_prmtrs_" + std::to_string(k);
        storage.Save(value.Type().Name() + ":" + parameterName, entry + "_info");
        value.Save(storage, entry);
    }
    if (!content->parameters.empty())
        storage.Save(static_cast<double>(content->parameters.size()), name + "_prmtrs");
    if (IsMissing())
        storage.Save(SVDoubleArray(), name);
    else
        content->stored->Save(storage, name);
}
