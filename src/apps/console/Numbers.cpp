#include "apps/console/Numbers.h"

#include "text/numbers/KRNumberFormatter.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace {

bool isReal(const StorageNumber& number)
{
    return number.type() == ElementType::Double || number.type() == ElementType::Float;
}

std::string wordFor(double number)
{
    return std::isnan(number) ? "NaN" : number > 0 ? "Infinity" : "-Infinity";
}

} // namespace

StorageNumber elementOf(const KRAnyArray& array, long index)
{
    return withElementType(array.type(), [&]<class T>(std::type_identity<T>) {
        return StorageNumber(static_cast<const T*>(array.elements())[index]);
    });
}

std::string exactText(const StorageNumber& number)
{
    if (!isReal(number))
        return fmt::format("{}", number.intValue());
    const double real = number.doubleValue();
    return std::isfinite(real) ? fmt::format("{}", real) : wordFor(real);
}

std::string shortText(const StorageNumber& number)
{
    if (!isReal(number) || !std::isfinite(number.doubleValue()))
        return exactText(number);
    return number.type() == ElementType::Float ? fmt::format("{}", number.floatValue())
                                               : KRNumberFormatter::convert(number.doubleValue());
}

nlohmann::ordered_json jsonNumber(const StorageNumber& number)
{
    if (!isReal(number))
        return number.intValue();
    const double real = number.doubleValue();
    if (!std::isfinite(real))
        return wordFor(real);
    return real;
}
