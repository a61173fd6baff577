#include "variables/values/StoredNumbers.h"

#include "datafile/SVCLocale.h"

#include <cstring>

namespace variables {

bool readNumbers(std::FILE* stream, std::span<double> numbers)
{
    const SVCLocale locale;
    return std::ranges::all_of(
        numbers, [stream](double& number) { return stream && std::fscanf(stream, "%lg", &number) == 1; });
}

bool writeText(std::FILE* stream, const std::string& text)
{
    return stream && std::fwrite(text.data(), 1, text.size(), stream) == text.size();
}

} // namespace variables

std::uint64_t KRContainerOfNumbers::memoryUsed() const
{
    return static_cast<std::uint64_t>(storedArray().memoryUsed());
}

bool KRContainerOfNumbers::isEqualTo(const KRSharedValue& other) const
{
    const auto* value = dynamic_cast<const KRContainerOfNumbers*>(&other);
    if (!value || value->typeWord() != typeWord())
        return false;
    const KRAnyArray mine = storedArray(), others = value->storedArray();
    if (mine.m() != others.m() || mine.n() != others.n() || mine.memoryUsed() != others.memoryUsed())
        return false;
    const auto size = static_cast<std::size_t>(mine.memoryUsed());
    // Empty arrays have no elements to point to.
    return size == 0 || std::memcmp(mine.elements(), others.elements(), size) == 0;
}

bool KRContainerOfNumbers::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return KRContainer::saveIntoFile(file, withName) && file.writeArray(storedArray(), withName);
}
