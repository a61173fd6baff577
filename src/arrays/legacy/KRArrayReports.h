#pragma once

#include <string>

// The report layer of the object layer's arrays. An application gives the two receivers at its start, before
// it starts threads; they are called on the thread that reports.

using KRArrayReporter = void (*)(const std::string& text);

// Receives the reports of failures. Null, the default, means SVErrorMessage.
void KRSetArrayReporter(KRArrayReporter reporter);
// Receives the trace of a rising use of memory, which is for the log alone. Null, the default, drops it.
void KRSetArrayTraceReporter(KRArrayReporter reporter);

// Any thread.
void KRPutErrorMessage(const std::string& text);
void KRPutTraceMessage(const std::string& text);

// The position i isn't in a block of n entries.
void KRPutOutOfRangeError1D(long i, long n);

// As SVErrorOutOfRange(): type is the word for the class, the sizes are those of the dimensions.
void KRErrorOutOfRange(const std::string& type, long i, long m);
void KRErrorOutOfRange(const std::string& type, long i, long j, long m, long n);
void KRErrorOutOfRange(const std::string& type, long i, long j, long k, long m, long n, long o);
