#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVPoints.h"
#include "arrays/sv/SVTransform2D.h"
#include "arrays/sv/SVTransform3D.h"
#include "datafile/SVVariableType.h"

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

class SVDataStorage;

// A value of a variable of a data file, with its type (docs/variables.md). It is made from numbers, texts,
// arrays and the like without a cast, and it is immutable: copies share it. An array isn't copied, so that a
// change of its elements shows. One thread at a time.
class SVVariableValue {
public:
    struct Part; // A name and a value.

    SVVariableValue(); // No value: the place of a value that is missing, of any type.
    template <class Number, std::enable_if_t<std::is_arithmetic<Number>::value, int> = 0>
    SVVariableValue(Number number); // A "Real Number", as is every number.
    SVVariableValue(const char* text); // A "String". Null counts as an empty text.
    SVVariableValue(const std::string& text);
    // An "Array", or a "NumberList" if there is one column.
    SVVariableValue(const SVDoubleArray& array);
    SVVariableValue(const SVFloatArray& array);
    SVVariableValue(const SVIntArray& array);
    SVVariableValue(const SVShortIntArray& array);
    SVVariableValue(const SVUShortIntArray& array);
    SVVariableValue(const SVCharArray& array);
    SVVariableValue(const SVUCharArray& array);
    SVVariableValue(const std::vector<double>& numbers); // A "NumberList".
    SVVariableValue(std::vector<std::string> strings); // A "StringList".
    SVVariableValue(const SVPoint2D& point); // A "Point2D".
    SVVariableValue(const SVPoint3D& point); // A "Point3D", which is stored with single precision.
    SVVariableValue(const SVTransform2D& transform); // A "Transform2D".
    SVVariableValue(const SVTransform3D& transform); // A "Transform3D".

    static SVVariableValue Range(double smallest, double largest);
    static SVVariableValue Region2D(double xmin, double xmax, double ymin, double ymax);
    static SVVariableValue Region3D(
        double xmin, double xmax, double ymin, double ymax, double zmin, double zmax);
    static SVVariableValue Group(std::vector<Part> entries); // In the order in which they are listed.
    static SVVariableValue Table(std::vector<Part> columns); // Lists of numbers or strings of equal length.
    // A value for each time; the times rise from 0 or above. The type of the elements is that of the first
    // value that isn't missing.
    static SVVariableValue Series(std::vector<double> times, std::vector<SVVariableValue> values);

    // The same entries under another plain type: an array as "Path2D", a text as "FileName".
    SVVariableValue As(const std::string& typeName) const;
    // The value with one more parameter, which is stored beside it. Its type is plain.
    SVVariableValue WithParameter(const std::string& name, const SVVariableValue& parameter) const;

    const SVVariableType& Type() const;
    // Whether the value can stand where that type was announced: its own type, or an array where the type is
    // stored as one.
    bool Fits(const SVVariableType& type) const;
    // A sentence about why no reader would take the value; empty if it is good.
    std::string Fault() const;
    // Writes the entries of the value under a name, without announcing it. What a reader looks for first
    // comes last.
    void Save(SVDataStorage& storage, const std::string& name) const;

private:
    struct Content;
    enum class NumberTag {};
    SVVariableValue(NumberTag, double number);
    explicit SVVariableValue(Content made);
    bool IsMissing() const;

    std::shared_ptr<const Content> content;
};

struct SVVariableValue::Part {
    std::string name;
    SVVariableValue value;
};

template <class Number, std::enable_if_t<std::is_arithmetic<Number>::value, int>>
SVVariableValue::SVVariableValue(Number number) : SVVariableValue(NumberTag(), static_cast<double>(number))
{ }
