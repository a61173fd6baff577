#pragma once

#include "platform/files/Descriptor.h"
#include "text/files/GrowingFile.h"
#include "text/files/LineIndex.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

// A text file that may grow, be cut or be replaced, with the index of its lines. One thread at a time may
// read what is new; any thread may ask for lines meanwhile, since the lock isn't held during the reading.
class IndexedTextFile {
public:
    static constexpr std::int64_t kLongestLine = 40000; // Bytes; what follows isn't shown.
    static constexpr std::int64_t kBlockSize = GrowingFile::kBlockSize;

    // Another number of lines to keep is for tests.
    explicit IndexedTextFile(std::string path, std::int64_t linesKept = LineIndex::kLinesKept)
        : path_(path), index_(linesKept), file_(std::move(path))
    { }

    // Takes at most so many blocks of new bytes into the index. Refused: `goOn` answered false, which is
    // asked after each block.
    GrowingFile::Read readNew(int mostBlocks, const std::function<bool()>& goOn);

    std::int64_t howManyLines() const;
    std::int64_t size() const; // Bytes that are indexed.
    // How often the lines were read anew because the file was cut or replaced.
    int timesStartedAnew() const;
    // A line as UTF-8, without its end; empty for one that isn't there. Bytes that aren't UTF-8 are taken as
    // the western Mac character set.
    std::string line(std::int64_t number);
    // Appends lines as line() gives them, each with a line feed behind it: from `first` on, up to `end` or to
    // where one reading of the file ends. Returns the number of the next line, `end` when there are no more.
    std::int64_t appendLines(std::int64_t first, std::int64_t end, std::string& text);
    // For a search: bytes as they are in the file, less than so many at its end; the line that has a byte,
    // and where the line begins.
    std::string bytes(std::int64_t start, std::int64_t count);
    struct LineStart {
        std::int64_t line = 0;
        std::int64_t start = 0;
    };
    LineStart lineAt(std::int64_t offset);
    std::int64_t startOf(std::int64_t line); // Of the file's end for a line beyond the last one.
    const std::string& path() const { return path_; }
    // Gives back the descriptors until something is read again.
    void closeFiles();

private:
    void take(std::string_view block);
    std::string lineInsideLock(std::int64_t number);
    std::string bytesAt(std::int64_t start, std::int64_t count);
    std::string bytesBehind(LineIndex::Place place);
    LineStart lineBehind(LineStart kept, std::int64_t offset);

    std::string path_;
    mutable std::mutex accessLock_; // Guards the index and the reader.
    LineIndex index_;
    platform::Descriptor reader_;
    int generation_ = 0;
    // Of the thread that reads what is new.
    std::mutex scanLock_;
    GrowingFile file_;
    LineScanner scanner_;
    std::vector<LineEnd> ends_;
};
