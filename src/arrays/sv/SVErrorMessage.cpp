#include "arrays/sv/SVErrorMessage.h"

#include <cstddef>
#include <iostream>
#include <utility>

namespace {

using svinternal::ErrorLists;
using svinternal::outOfRangeText;

// Never destroyed: a static object that closes a file at the end of the process may still report.
ErrorLists& errorLists()
{
    static auto& lists = *new ErrorLists;
    // Link-time optimisation must not assume that the lists are unchanged (see SVArray.h).
    asm volatile("" : : : "memory");
    return lists;
}

void print(const std::string& msg)
{
    // One write for each line, so that the lines of two processes on one terminal do not mix.
    std::cerr << msg + "\n" << std::flush;
}

std::string upTo(long size)
{
    return "[0," + SVSize2String(size - 1) + "]";
}

} // namespace

namespace svinternal {

ErrorLists& prepareErrorMessage(std::string msg)
{
    print(msg);
    ErrorLists& lists = errorLists();
    const auto known = static_cast<std::ptrdiff_t>(lists.prepared.size());
    lists.prepared.insert(lists.prepared.end(), lists.shown.begin() + known, lists.shown.end());
    lists.prepared.push_back(std::move(msg));
    return lists;
}

std::string outOfRangeText(const std::string& type, long i, long m)
{
    // "be lie" is part of the sentence that users search logs for; only the one-index form has it.
    return type + "(" + SVSize2String(i) + ") is not valid, needs to be lie in " + upTo(m) + ".";
}

std::string outOfRangeText(const std::string& type, long i, long j, long m, long n)
{
    return type + "(" + SVSize2String(i) + "," + SVSize2String(j) + ") is not valid, needs to lie in "
        + upTo(m) + "x" + upTo(n) + ".";
}

std::string outOfRangeText(const std::string& type, long i, long j, long k, long m, long n, long o)
{
    return type + "(" + SVSize2String(i) + "," + SVSize2String(j) + "," + SVSize2String(k)
        + ") is not valid, needs to lie in " + upTo(m) + "x" + upTo(n) + "x" + upTo(o) + ".";
}

} // namespace svinternal

void SVErrorMessage(std::string fcn, std::string msg)
{
    SVErrorMessage(fcn + ": " + msg);
}

void SVErrorMessage(std::string msg)
{
    print(msg);
    errorLists().shown.push_back(std::move(msg));
}

void SVWarningMessage(std::string fcn, std::string msg)
{
    SVErrorMessage(std::move(fcn), std::move(msg));
}

void SVErrorOutOfRange(std::string type, long i, long m)
{
    SVErrorMessage(outOfRangeText(type, i, m));
}

void SVErrorOutOfRange(std::string type, long i, long j, long m, long n)
{
    SVErrorMessage(outOfRangeText(type, i, j, m, n));
}

void SVErrorOutOfRange(std::string type, long i, long j, long k, long m, long n, long o)
{
    SVErrorMessage(outOfRangeText(type, i, j, k, m, n, o));
}

const std::vector<std::string>& SVErrorList()
{
    return errorLists().shown;
}

long SVHowManyErrors()
{
    return static_cast<long>(errorLists().shown.size());
}

std::string SVSize2String(long number)
{
    return std::to_string(number);
}
