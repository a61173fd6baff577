#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVErrorMessage.h"

#include <gmock/gmock.h>

#include <functional>
#include <iostream>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace svtest {

using testing::ElementsAre;
using testing::IsEmpty;

inline const double kNaN = std::numeric_limits<double>::quiet_NaN();
inline const double kInf = std::numeric_limits<double>::infinity();
inline const long kMost = std::numeric_limits<long>::max();

// The reports of an action, and its lines on the error stream.
struct Outcome {
    std::vector<std::string> reports;
    std::string printed;
};

inline Outcome outcomeOf(const std::function<void()>& action)
{
    const auto before = static_cast<std::ptrdiff_t>(SVHowManyErrors());
    std::ostringstream stream;
    std::streambuf* const old = std::cerr.rdbuf(stream.rdbuf());
    action();
    std::cerr.rdbuf(old);
    return {{SVErrorList().begin() + before, SVErrorList().end()}, stream.str()};
}

inline std::vector<std::string> reportsOf(const std::function<void()>& action)
{
    return outcomeOf(action).reports;
}

inline std::string printedBy(const std::function<void()>& action)
{
    return outcomeOf(action).printed;
}

// An array with the numbers 0, 1, 2, ... in the order of memory.
template <class T>
SVMutableArray<T> counting(long m, long n = 1, long o = 1)
{
    SVMutableArray<T> A(m, n, o);
    for (long i = 0; i < A.Length(); ++i)
        A(i) = static_cast<T>(i);
    return A;
}

// A vector, or a matrix with as many rows.
template <class T>
SVMutableArray<T> arrayOf(const std::vector<T>& values, long rows = 0)
{
    const auto length = static_cast<long>(values.size());
    SVMutableArray<T> A(rows > 0 ? rows : length, rows > 0 ? length / rows : 1);
    for (long i = 0; i < length; ++i)
        A(i) = values[static_cast<std::size_t>(i)];
    return A;
}

template <class T>
std::vector<T> valuesOf(const SVArray<T>& A)
{
    return std::vector<T>(A.Pointer(), A.Pointer() + A.Length());
}

template <class T>
std::vector<long> sizeOf(const SVArray<T>& A)
{
    return {A.m(), A.n(), A.o()};
}

// As the printers show a small array: "2x2x1: 0 1 2 3".
template <class T>
std::string shown(const SVArray<T>& A)
{
    std::ostringstream text;
    text << A.m() << "x" << A.n() << "x" << A.o() << ":";
    for (const T value : valuesOf(A))
        text << " " << +value;
    return text.str();
}

// The array that a function gives, or the report with which it fails and gives an empty one.
template <class Function>
std::string resultOf(Function function)
{
    std::string result;
    const auto reports = reportsOf([&] { result = shown(function()); });
    if (reports.empty())
        return result;
    EXPECT_EQ(result, "0x0x0:") << "a failure gives an empty array";
    EXPECT_EQ(reports.size(), 1U);
    return reports.front();
}

} // namespace svtest

#define SV_TYPED_TESTS(Suite, ...)                                                                           \
    template <class T>                                                                                       \
    class Suite : public testing::Test { };                                                                  \
    using Suite##Types = testing::Types<__VA_ARGS__>;                                                        \
    TYPED_TEST_SUITE(Suite, Suite##Types)

#define SV_ALL_TYPES double, float, std::int32_t, std::int16_t, std::uint16_t, signed char, unsigned char
