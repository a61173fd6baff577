#pragma once

#include <cstdint>

// Numbers from text: the one place where the object layer reads them. Each comes out as the C library's
// reader of its type gives it in the C locale, to the last bit and whatever locale the program has set:
// doubles as strtod, floats as strtof, ints as the %d of scanf. Any thread.

template <class T>
struct KRNumberInText {
    T value{};
    const char* end = nullptr; // Behind the number; null if there is none.
    explicit operator bool() const { return end != nullptr; }
};

// The number at the start of the text. Nothing is skipped before it, and nothing at or behind `end` is read.
// For double, float and std::int32_t.
template <class T>
KRNumberInText<T> KRReadNumber(const char* text, const char* end);
template <>
KRNumberInText<double> KRReadNumber(const char* text, const char* end);
template <>
KRNumberInText<float> KRReadNumber(const char* text, const char* end);
template <>
KRNumberInText<std::int32_t> KRReadNumber(const char* text, const char* end);

// The characters that the C locale counts as white space.
inline bool KRIsBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}
