#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

// The end of a line: where its text ends, and where the next line begins. Offsets from the start of the piece
// that was scanned.
struct LineEnd {
    std::uint32_t end;
    std::uint32_t next;
};

// Finds the line ends in a text that comes in pieces: LF, CR, and CR LF as one. A CR at the end of a piece
// ends its line at once; a LF at the start of the next piece then belongs to the same line end.
class LineScanner {
public:
    // Adds the line ends of the next piece, of less than 4 GiB, to the list. Returns true when the piece
    // begins with the LF of a line that has ended with the piece before: that line's successor begins at 1.
    bool scan(std::string_view piece, std::vector<LineEnd>& ends);
    void startAnew() { isBehindReturn_ = false; }

private:
    bool isBehindReturn_ = false;
};
