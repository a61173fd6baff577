#pragma once

#include "arrays/containers/KRArrayContainer.h"
#include "diagnostics/KRProgressEntry.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

// Arrays from text. Numbers are read as KRNumberText.h tells, between white space and commas. A carriage
// return, a line feed, the two together, and a semicolon end a line. Failures are reported to the message
// center. Any thread; each call shows a line of progress, named after the file or the variable `inside`, and
// gives null if the user aborts it there.
//
// For double, float and std::int32_t.
template <class T>
class KRArrayTextInput {
public:
    using Pointer = std::shared_ptr<KRArrayContainer<T>>;
    using Variable = std::optional<KRProgressVariable>;

    // A table: element (i,j) is number j of line i. The first line with numbers tells how many a line has;
    // lines without any are passed over. Before a line with fewer, or one with something else than numbers,
    // the table ends, with a report. What a line has behind its last number is not looked at. Null if the
    // file can't be read; empty if it has no numbers.
    static Pointer readInContentFromFile(
        const std::string& file, long skipLines, const Variable& inside = std::nullopt);

    // The same without the last lines of the file. Behind a line with more numbers than the
    // first one the table ends, with a report.
    static Pointer readInContentFromFileNew(
        const std::string& file, long skipLines, long skipLinesAtEnd, const Variable& inside = std::nullopt);

    // All numbers of the file, whatever its lines, up to something else, which is reported.
    static Pointer readInListFromFile(
        const std::string& file, long skipLeadingLines, const Variable& inside = std::nullopt);

    // Exactly m*n*o numbers from the stream, as fscanf reads them. Null, with a report, if there are fewer.
    // Without a progress entry it makes one.
    static Pointer readFromFile(
        std::FILE* stream, long m, long n, long o, std::shared_ptr<KRProgressEntry> progress = nullptr);
};
