#pragma once

#include "toolkit/Table.h"

#include <compare>
#include <cstdint>
#include <string>

namespace toolkit {

// A place in a text: a line, from 0, and a byte of that line as UTF-8.
struct TextPlace {
    std::int64_t line = 0;
    std::int64_t byte = 0;
    auto operator<=>(const TextPlace&) const = default;
};

// What the source of a text can offer beyond the rows of a table, which `int` counts. Main thread.
class LineSource {
public:
    virtual ~LineSource() = default;
    virtual std::int64_t howManyLines() const = 0;
    // A line as UTF-8, without its end; empty for one that isn't there.
    virtual std::string lineNumber(std::int64_t number) const = 0;
    // What stands from one place to another, with line feeds between the lines. A source may end a text that
    // is too large for a clipboard, with a message.
    virtual std::string textBetween(TextPlace start, TextPlace end) const = 0;
    // Takes in what the text has gained since. The table is told when that is done.
    virtual void updateFileContent() = 0;
};

// A table of one column, shown as one text: by lines of which there may be more than `int` counts, and with
// parts of lines that can be selected. A source that is no LineSource is asked for its rows.
class TextLines : public Table {
public:
    std::int64_t numberOfLines() const;
    std::string line(std::int64_t number) const;
    std::string textBetween(TextPlace start, TextPlace end) const;
    std::string everything() const;
    void lookForMore(); // Nothing happens with a source that tells of new lines itself.

    // Where a text is shown first: from its end on, which is then followed, or from its start on.
    bool startsAtEnd() const { return startsAtEnd_; }
    void setStartsAtEnd(bool startsAtEnd) { startsAtEnd_ = startsAtEnd; }

private:
    LineSource* lines() const;

    bool startsAtEnd_ = false;
};

} // namespace toolkit
