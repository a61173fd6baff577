#pragma once

#include "arrays/containers/KRNumberBuffer.h"
#include "diagnostics/KRMessageCenter.h"
#include "diagnostics/KRProgressEntry.h"

#include <memory>
#include <string>
#include <string_view>

// The lines of a table of numbers, given in pieces of whole lines. For KRArrayTextInput.
template <class T>
class KRTableText {
public:
    enum class LongLine { EndsTheTable, IsCut };

    // `guess` is for the count of numbers.
    KRTableText(std::string file, long skipLines, LongLine longLine, long guess)
        : file_(std::move(file)), linesToSkip_(skipLines), longLine_(longLine), numbers_(guess)
    { }

    // Told after each 3000 lines the part of `total` that has been read.
    void reportTo(std::shared_ptr<KRProgressEntry> progress, long total)
    {
        progress_ = std::move(progress);
        total_ = total;
    }

    // Reads whole lines; the last one may lack its end. False if the table has ended.
    bool read(std::string_view lines);
    bool wasAborted() const { return wasAborted_; }

    long rows() const { return rows_; }
    long columns() const { return columns_; }
    // Lines by rows; empty without memory to turn them.
    KRMutableArray<T> table();

private:
    const char* readLine(const char* line, const char* end);
    void endLine(const char* line, const char* end, long count);
    void reportLongLine();
    void endWith(const MessageText& text, const MessageText& longText = nullptr);
    void tellProgress(long size);

    std::string file_;
    long linesToSkip_;
    LongLine longLine_;
    KRNumberBuffer<T> numbers_;
    long columns_ = 0; // 0 until a line has numbers.
    long rows_ = 0;
    long line_ = 0; // Of the file, from 1.
    bool hasEnded_ = false;
    bool wasAborted_ = false;
    std::shared_ptr<KRProgressEntry> progress_;
    long total_ = 0;
    long done_ = 0; // Bytes of earlier pieces.
};

namespace krcontainers {

inline bool endsALine(char c)
{
    return c == '\n' || c == '\r' || c == ';';
}

// Behind the end of the line, where \r\n ends one line.
const char* behindLineEnd(const char* lineEnd, const char* end);

// The start of the last `count` lines. An end of line at the end of the text begins no line.
const char* startOfLastLines(std::string_view text, long count);

} // namespace krcontainers
