#pragma once

#include "platform/plist/Value.h"
#include "storage/values/ElementType.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

// A single number of any of the seven element types. A value: copied freely, any thread.
class StorageNumber {
public:
    template <class T>
    explicit StorageNumber(T number) : content_(number)
    { }
    // From the bytes of one element, in the machine's order and not aligned.
    static StorageNumber fromBytes(ElementType type, const void* bytes);
    // From a property list, as the given type; nothing for what is no number.
    static std::optional<StorageNumber> fromValue(const platform::Value& value, ElementType type);

    ElementType type() const { return static_cast<ElementType>(content_.index()); }
    double doubleValue() const;
    float floatValue() const { return as<float>(); }
    std::int32_t intValue() const { return as<std::int32_t>(); }
    // By a plain cast.
    template <class T>
    T as() const
    {
        T result{};
        convertTo(kElementTypeOf<T>, &result);
        return result;
    }
    void convertTo(ElementType type, void* into) const;
    platform::Value value() const; // An integer or a real of a property list.
    std::string description() const; // Its shortest common form, such as "1.5" and "-3".

    bool operator==(const StorageNumber&) const = default; // Of the same type, too.

private:
    // In the order of ElementType.
    std::variant<double, float, std::int32_t, std::int16_t, std::uint16_t, signed char, unsigned char>
        content_;
};
