#pragma once

#include "arrays/legacy/KRArray.h"
#include "arrays/legacy/KRArrayReports.h"

#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <locale>
#include <mutex>
#include <string>
#include <vector>

namespace legacytest {

using testing::ElementsAre;
using testing::IsEmpty;

inline const double kNaN = std::numeric_limits<double>::quiet_NaN();
inline const double kInf = std::numeric_limits<double>::infinity();
inline const long kMost = std::numeric_limits<long>::max();

// What the two receivers have heard. Any thread may report.
struct Heard {
    std::mutex lock;
    std::vector<std::string> errors;
    std::vector<std::string> traces;

    static Heard& all()
    {
        static Heard heard;
        return heard;
    }
    void add(std::vector<std::string> Heard::*list, const std::string& text)
    {
        const std::lock_guard guard(lock);
        (this->*list).push_back(text);
    }
};

inline std::vector<std::string> heardDuring(
    std::vector<std::string> Heard::*list, const std::function<void()>& action)
{
    Heard& heard = Heard::all();
    heard.errors.clear();
    heard.traces.clear();
    KRSetArrayReporter([](const std::string& text) { Heard::all().add(&Heard::errors, text); });
    KRSetArrayTraceReporter([](const std::string& text) { Heard::all().add(&Heard::traces, text); });
    action();
    KRSetArrayReporter(nullptr);
    KRSetArrayTraceReporter(nullptr);
    return heard.*list;
}
inline std::vector<std::string> reportsOf(const std::function<void()>& action)
{
    return heardDuring(&Heard::errors, action);
}
inline std::vector<std::string> tracesOf(const std::function<void()>& action)
{
    return heardDuring(&Heard::traces, action);
}

// An array with the numbers 0, 1, 2, ... in the order of memory.
template <class T>
KRMutableArray<T> counting(long m, long n = 1, long o = 1)
{
    KRMutableArray<T> A(m, n, o);
    for (long i = 0; i < A.Length(); ++i)
        A.Pointer()[i] = static_cast<T>(static_cast<double>(i));
    return A;
}

template <class T>
KRMutableArray<T> vectorOf(const std::vector<T>& values)
{
    KRMutableArray<T> A(static_cast<long>(values.size()));
    std::copy(values.begin(), values.end(), A.Pointer());
    return A;
}

template <class T>
std::vector<T> valuesOf(const KRArray<T>& A)
{
    return std::vector<T>(A.Pointer(), A.Pointer() + A.Length());
}

template <class T>
std::vector<long> sizeOf(const KRArray<T>& A)
{
    return {A.m(), A.n(), A.o()};
}

// Dimensions and numbers, as "2x2x1: 0 1 2 3".
template <class T>
std::string shown(const KRArray<T>& A)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << A.m() << "x" << A.n() << "x" << A.o() << ":";
    for (const T& value : valuesOf(A)) {
        if constexpr (KROrderedElement<T>)
            text << " " << +value;
        else
            text << " " << value.real();
    }
    return text.str();
}

} // namespace legacytest

#define KR_ALL_TYPES                                                                                         \
    double, float, std::int32_t, std::int64_t, std::uint64_t, std::int16_t, std::uint16_t, signed char,      \
        unsigned char, KRComplexNumber

#define KR_TYPED_TESTS(Suite, ...)                                                                           \
    template <class T>                                                                                       \
    class Suite : public testing::Test { };                                                                  \
    using Suite##Types = testing::Types<__VA_ARGS__>;                                                        \
    TYPED_TEST_SUITE(Suite, Suite##Types)
