#pragma once

#include "arrays/legacy/KRArrayFamily.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

// The seven element types of the arrays in a storage. The numbers are those that index files and dictionaries
// of the native format use in memory: don't change them.
enum class ElementType : std::uint8_t { Double, Float, Int, Short, UShort, Character, UChar };
inline constexpr int kElementTypeCount = 7;

template <class T>
inline constexpr ElementType kElementTypeOf = [] {
    constexpr int place = KRPlaceOfType<T, double, float, std::int32_t, std::int16_t, std::uint16_t,
        signed char, unsigned char>;
    static_assert(place >= 0, "not an element of a stored array");
    return static_cast<ElementType>(place);
}();

// Calls work(std::type_identity<T>{}) with the C++ type of an element type.
template <class Work>
decltype(auto) withElementType(ElementType type, Work&& work)
{
    switch (type) {
    case ElementType::Float:
        return work(std::type_identity<float>{});
    case ElementType::Int:
        return work(std::type_identity<std::int32_t>{});
    case ElementType::Short:
        return work(std::type_identity<std::int16_t>{});
    case ElementType::UShort:
        return work(std::type_identity<std::uint16_t>{});
    case ElementType::Character:
        return work(std::type_identity<signed char>{});
    case ElementType::UChar:
        return work(std::type_identity<unsigned char>{});
    case ElementType::Double:
        break;
    }
    return work(std::type_identity<double>{});
}

// In bytes.
constexpr std::size_t sizeOfElement(ElementType type)
{
    constexpr std::size_t kSizes[kElementTypeCount] = {8, 4, 4, 2, 2, 1, 1};
    return kSizes[static_cast<std::size_t>(type)];
}
