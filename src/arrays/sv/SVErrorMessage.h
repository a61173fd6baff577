#pragma once

#include <string>
#include <vector>

// The report layer of the computational library. A report is appended to one process-wide list and written as
// a line on the standard error stream; the program goes on. The list has no limit and is never cleared here.
// Nothing in this file is safe for two threads that report at the same moment.

// Reports "<fcn>: <msg>".
void SVErrorMessage(std::string fcn, std::string msg);

// Reports msg as it stands.
void SVErrorMessage(std::string msg);

// Reports exactly as SVErrorMessage(fcn, msg) does: same list, same stream, same words.
void SVWarningMessage(std::string fcn, std::string msg);

// Reports of an access outside of an array, type being the word for its class. The sizes are those of the
// dimensions that the indices run over; an empty array shows as [0,-1].
void SVErrorOutOfRange(std::string type, long i, long m);
void SVErrorOutOfRange(std::string type, long i, long j, long m, long n);
void SVErrorOutOfRange(std::string type, long i, long j, long k, long m, long n, long o);

// Every report since the start of the process, in order. The reference stays valid until the process ends.
const std::vector<std::string>& SVErrorList();
long SVHowManyErrors();

// The number in decimal.
std::string SVSize2String(long number);

namespace svinternal {

// The list that SVErrorList() gives, and one with a report that the program doesn't see yet. See
// ReportBadIndex() in SVArray.h.
struct ErrorLists {
    std::vector<std::string> shown;
    std::vector<std::string> prepared;
};

// Writes the line of a report and adds it to the prepared list.
ErrorLists& prepareErrorMessage(std::string msg);

// The texts of SVErrorOutOfRange().
std::string outOfRangeText(const std::string& type, long i, long m);
std::string outOfRangeText(const std::string& type, long i, long j, long m, long n);
std::string outOfRangeText(const std::string& type, long i, long j, long k, long m, long n, long o);

} // namespace svinternal
