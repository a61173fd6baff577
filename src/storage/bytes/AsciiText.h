#pragma once

#include "storage/bytes/DataFileStream.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The text of an ascii data file, from any position on. Holds a block of the file at a time.
class AsciiText {
public:
    explicit AsciiText(DataFileStream& file, std::uint64_t position = 0)
        : file_(file), length_(file.length()), position_(position)
    { }

    std::uint64_t position() const { return position_; }
    std::uint64_t length() const { return length_; } // Of the file, as it was at the start.

    // A line without blanks at its ends; a line that is longer than 254 bytes is taken in parts. LF, CR or
    // both end a line. Nothing at the end of the file.
    std::optional<std::string> readString();
    // A number on a line of its own, with "D" and "d" as exponents, too: 0 for what is no number, and nothing
    // at the end of the file.
    std::optional<double> readNumberFromFile();
    // The next integer, behind white space; 0 and no further when there is none.
    std::int32_t readInt();
    void skipByte() { position_ += 1; }
    // To the line behind the next "*", as far as that line ends with a single byte; false, and to the end of
    // the file, without one.
    bool searchForNextAsterix();
    bool endsWithLine(); // The last byte of the file ends a line.
    // Scans so many numbers and answers how many there are.
    template <class T>
    std::size_t readNumbers(std::size_t count, T* into);

private:
    std::string_view peek(std::size_t count); // Fewer at the end of the file.
    std::optional<std::string> readLine(std::size_t mostBytes);
    std::string_view peekWholeNumbers();

    DataFileStream& file_;
    std::uint64_t length_;
    std::uint64_t position_;
    std::uint64_t blockStart_ = 0;
    std::vector<char> block_;
};

extern template std::size_t AsciiText::readNumbers(std::size_t, double*);
extern template std::size_t AsciiText::readNumbers(std::size_t, float*);
extern template std::size_t AsciiText::readNumbers(std::size_t, std::int32_t*);
