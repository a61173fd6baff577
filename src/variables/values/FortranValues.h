#pragma once

#include "text/fortran/KRUnformattedFortranStream.h"
#include "variables/reading/ReadingOperations.h"

namespace variables {

// The dimensions of the array that a count of numbers makes.
enum class RecordShape { Vector, Transform2D, Transform3D };

// A value whose record holds the numbers that lie in a file, T being double or float, in column order: read
// from it as from a file. Null for what the type refuses.
template <class T>
ReadingOperation::Value valueFromRecord(
    KRUnformattedFortranStream& stream, const ReadingOperation& operation, RecordShape shape);

// As a function for the table of a type.
template <const ReadingOperation& operation, class T = double, RecordShape shape = RecordShape::Vector>
ReadingOperation::Value fromRecord(KRUnformattedFortranStream& stream)
{
    return valueFromRecord<T>(stream, operation, shape);
}

} // namespace variables
