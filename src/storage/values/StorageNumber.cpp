#include "storage/values/StorageNumber.h"

#include "storage/values/ElementConversion.h"

#include <charconv>
#include <cstring>

StorageNumber StorageNumber::fromBytes(ElementType type, const void* bytes)
{
    return withElementType(type, [&]<class T>(std::type_identity<T>) {
        T number{};
        std::memcpy(&number, bytes, sizeof number);
        return StorageNumber(number);
    });
}

std::optional<StorageNumber> StorageNumber::fromValue(const platform::Value& value, ElementType type)
{
    const auto number = value.number();
    if (!number)
        return {};
    const StorageNumber general(*number);
    return withElementType(
        type, [&]<class T>(std::type_identity<T>) { return StorageNumber(general.as<T>()); });
}

double StorageNumber::doubleValue() const
{
    return as<double>();
}

void StorageNumber::convertTo(ElementType wanted, void* into) const
{
    std::visit(
        [&](const auto& number) { storage::convertElements(type(), &number, 1, wanted, into); }, content_);
}

platform::Value StorageNumber::value() const
{
    const bool isReal = type() == ElementType::Double || type() == ElementType::Float;
    return isReal ? platform::Value(doubleValue()) : platform::Value(static_cast<std::int64_t>(intValue()));
}

std::string StorageNumber::description() const
{
    char text[40];
    const bool isReal = type() == ElementType::Double || type() == ElementType::Float;
    const int digits = type() == ElementType::Double ? 16 : 7;
    const auto end = isReal
        ? std::to_chars(text, text + sizeof text, doubleValue(), std::chars_format::general, digits)
        : std::to_chars(text, text + sizeof text, intValue());
    return {text, end.ptr};
}
