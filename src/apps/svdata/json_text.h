#pragma once

#include <charconv>
#include <cmath>
#include <string>
#include <type_traits>

// Values in the form that the tool prints.

// A text in quotes. Each byte that isn't UTF-8 becomes U+FFFD.
std::string jsonString(const std::string& text);

// The shortest text that gives the number again when it is read as its type.
template <class Number>
std::string numberText(Number number)
{
    char digits[64];
    char* end = digits;
    if constexpr (std::is_floating_point_v<Number>)
        end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    else
        end = std::to_chars(digits, digits + sizeof digits, static_cast<long long>(number)).ptr;
    return {digits, end};
}

// The same as JSON. Numbers that are not finite become the strings "NaN", "Infinity" and "-Infinity".
template <class Number>
std::string jsonNumber(Number number)
{
    if constexpr (std::is_floating_point_v<Number>) {
        if (std::isnan(number))
            return "\"NaN\"";
        if (std::isinf(number))
            return number > 0 ? "\"Infinity\"" : "\"-Infinity\"";
    }
    return numberText(number);
}
