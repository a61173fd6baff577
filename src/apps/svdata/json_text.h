#pragma once

#include <charconv>
#include <cmath>
#include <string>
#include <type_traits>

// Values as the tool prints them.

// A text in quotes. What isn't UTF-8 becomes U+FFFD, a character for each byte.
std::string jsonString(const std::string& text);

// A number with as many digits as tell it from every other one of its type.
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

// The same as JSON, which has no numbers that aren't finite: "NaN", "Infinity" and "-Infinity" are strings.
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
