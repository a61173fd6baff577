#include "arrays/sv/SVErrorMessage.h"

#include <iostream>
#include <utility>

namespace {

// Never destroyed: a file handle that a static object closes at the process's end may still report.
std::vector<std::string>& errorList()
{
    static auto& list = *new std::vector<std::string>;
    // A report of a bad index is hidden from the compiler (see SVArray.h), so the list is read afresh each
    // time.
    asm volatile("" : : : "memory");
    return list;
}

std::string upTo(long size)
{
    return "[0," + SVSize2String(size - 1) + "]";
}

} // namespace

void SVErrorMessage(std::string fcn, std::string msg)
{
    SVErrorMessage(fcn + ": " + msg);
}

void SVErrorMessage(std::string msg)
{
    // One write for each line, so that the lines of two processes on one terminal do not mix.
    std::cerr << msg + "\n" << std::flush;
    errorList().push_back(std::move(msg));
}

void SVWarningMessage(std::string fcn, std::string msg)
{
    SVErrorMessage(std::move(fcn), std::move(msg));
}

void SVErrorOutOfRange(std::string type, long i, long m)
{
    // "be lie" has been in this sentence for as long as programs have searched their logs for it; only the
    // one-index form has it.
    SVErrorMessage(type + "(" + SVSize2String(i) + ") is not valid, needs to be lie in " + upTo(m) + ".");
}

void SVErrorOutOfRange(std::string type, long i, long j, long m, long n)
{
    SVErrorMessage(type + "(" + SVSize2String(i) + "," + SVSize2String(j) + ") is not valid, needs to lie in "
        + upTo(m) + "x" + upTo(n) + ".");
}

void SVErrorOutOfRange(std::string type, long i, long j, long k, long m, long n, long o)
{
    SVErrorMessage(type + "(" + SVSize2String(i) + "," + SVSize2String(j) + "," + SVSize2String(k)
        + ") is not valid, needs to lie in " + upTo(m) + "x" + upTo(n) + "x" + upTo(o) + ".");
}

const std::vector<std::string>& SVErrorList()
{
    return errorList();
}

long SVHowManyErrors()
{
    return static_cast<long>(errorList().size());
}

std::string SVSize2String(long number)
{
    return std::to_string(number);
}
