#pragma once

#include "text/files/TextInput.h"
#include "text/strings/KRUTF8String.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

// Reads a text file forwards by lines: plain, compressed (a name that ends with "gz"), or in UTF-16 with a
// byte order mark. Lines end with LF, CR or CR LF and are counted from 0. The current line is the one that
// comes next; looking at it doesn't move. A line of more than 64 MB is cut there. One thread at a time.
class KRBigTextFileStream {
public:
    static constexpr std::size_t kLongestLine = 64'000'000; // Bytes.

    // A path, or a URL with the scheme "file" and its escapes ("%20"). Null for a file that can't be read,
    // for what is no regular file, and for a file of another machine.
    static std::unique_ptr<KRBigTextFileStream> createWithURL(const std::string& url);
    // Over a text in memory, which is taken as UTF-8.
    static std::unique_ptr<KRBigTextFileStream> createWithUTF8(std::string text);

    // A lock that streams on one disk share: held during each reading of the file.
    void setReadLock(std::shared_ptr<std::mutex> lock);

    bool invalidFile() const { return !input_ && !isInMemory_; }
    std::int64_t currentLineNumber() const { return currentLineNumber_; }
    bool isAtEndOfFile() { return !findLine(); } // There is no current line.

    // The line, which becomes the current one. Null beyond the end, and with a report for one before the
    // current line, unless it was the last one asked for.
    std::shared_ptr<const KRUTF8String> lineNumber(std::int64_t number);
    // The lines from `start` on, at most so many, with line feeds between. The line behind them becomes the
    // current one. Nothing, with a report, for a start before the current line.
    std::optional<std::string> groupOfLines(std::int64_t start, std::int64_t count);
    // Stops at the end. A negative count is reported and moves nothing.
    void skipNumberOfLines(std::int64_t count);
    // Moves to the first line, from the current one on, that holds the text, or begins with it. False at the
    // end without one.
    bool searchForNextMatch(std::string_view text, bool atBeginning);

    std::int64_t fileLength() const; // Bytes, as the file lies on disk.
    // Where the current line begins in the file. Of a compressed or converted file: how far it has been read.
    std::int64_t currentOffset() const;
    // Where it begins in the decompressed text, in UTF-8.
    std::int64_t currentOffsetInUncompressed() const
    {
        return overallStartOfBuffer_ + static_cast<std::int64_t>(startOfLine_);
    }

private:
    KRBigTextFileStream() = default;
    bool findLine();
    bool refill();
    void takeLine(std::size_t end, std::size_t next);
    void goOn();
    std::string_view currentLine() const
    {
        return std::string_view(buffer_).substr(startOfLine_, lengthOfLine_);
    }

    std::unique_ptr<TextInput> input_; // Null over a text in memory.
    bool isInMemory_ = false;
    std::string buffer_;
    std::int64_t overallStartOfBuffer_ = 0;
    std::int64_t dropped_ = 0; // Bytes of the current line that are beyond the longest.
    std::size_t startOfLine_ = 0;
    // Of the current line, once its end has been found.
    bool knowsLine_ = false;
    std::size_t lengthOfLine_ = 0;
    std::size_t nextLine_ = 0;
    std::int64_t currentLineNumber_ = 0;
    std::int64_t cachedLineNumber_ = -1;
    std::shared_ptr<const KRUTF8String> cachedLine_;
};
