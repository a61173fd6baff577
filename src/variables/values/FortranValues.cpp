#include "variables/values/FortranValues.h"

#include "storage/memory/KRDataInMemory.h"

#include <algorithm>

namespace variables {

namespace {

// Rows of a transform; a vector for another count.
long rowsOf(RecordShape shape, long count)
{
    if (shape == RecordShape::Transform2D && (count == 6 || count == 9))
        return count / 3;
    return shape == RecordShape::Transform3D && count == 12 ? 3 : count;
}

} // namespace

template <class T>
ReadingOperation::Value valueFromRecord(
    KRUnformattedFortranStream& stream, const ReadingOperation& operation, RecordShape shape)
{
    constexpr const char* kName = "value";
    const auto numbers = [&stream] {
        if constexpr (std::is_same_v<T, float>)
            return stream.readFloatArray();
        else
            return stream.readDoubleArray();
    }();
    if (!numbers)
        return nullptr;
    if (stream.shouldSkipData())
        return operation.createEmpty ? operation.createEmpty() : nullptr;
    const auto count = static_cast<long>(numbers->size());
    const long rows = rowsOf(shape, count);
    const auto array = KRArrayContainer<T>::createArrayOfSizeM(rows, rows > 0 ? count / rows : 0, 1);
    if (!array)
        return nullptr;
    std::ranges::copy(*numbers, array->mutablePointer());
    const auto memory = std::make_shared<KRDataInMemory>();
    return memory->writeArray(array, kName) ? operation.read(*memory, kName) : nullptr;
}

template ReadingOperation::Value valueFromRecord<double>(
    KRUnformattedFortranStream& stream, const ReadingOperation& operation, RecordShape shape);
template ReadingOperation::Value valueFromRecord<float>(
    KRUnformattedFortranStream& stream, const ReadingOperation& operation, RecordShape shape);

} // namespace variables
