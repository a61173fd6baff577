#pragma once

#include "platform/Result.h"
#include "toolkit/Table.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace toolkit {

// A place in a text: a line, from 0, and a byte of that line as UTF-8.
struct TextPlace {
    std::int64_t line = 0;
    std::int64_t byte = 0;
    auto operator<=>(const TextPlace&) const = default;
};

// What is looked for in a text. A hit lies in one line.
struct TextQuery {
    std::string text{}; // UTF-8.
    bool isCaseSensitive = true; // Otherwise a to z are the same as A to Z.
    // Takes the place of the text: the first hit in a line at a byte or behind it. Called on a worker.
    struct Match {
        std::size_t byte = 0;
        std::size_t size = 0;
    };
    std::function<std::optional<Match>(std::string_view line, std::size_t from)> match{};
    bool isBackward = false;
    // The nearest hit is wanted that begins here or later; backward, one that begins before. Where there is
    // none up to the end, the search goes on at the other end of the text.
    TextPlace from{};
};

struct TextHit {
    TextPlace start{}; // May lie behind what is shown of a long line.
    std::int64_t size = 0; // Bytes.
    bool hasWrapped = false; // The search has gone on at the other end of the text.
};

// A search under way. Destroying it ends it, and none of its functions is called any more.
class TextSearching {
public:
    virtual ~TextSearching() = default;
    using Progress = std::function<void(double fraction)>; // From 0 to 1.
    // A hit, or none in all of the text; a failure when the text has changed meanwhile.
    using Found = std::function<void(const platform::Result<std::optional<TextHit>>&)>;
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
    // Searches on a worker. The functions are called on the main thread, never from inside this call; `found`
    // once, at the end, unless the source shows another text by then. Null for a source that can't be
    // searched.
    virtual std::unique_ptr<TextSearching> search(TextQuery, TextSearching::Progress, TextSearching::Found)
    {
        return nullptr;
    }
};

// A table of one column, shown as one text: by lines of which there may be more than `int` counts, and with
// parts of lines that can be selected. A source that is no LineSource is asked for its rows.
class TextLines : public Table {
public:
    std::int64_t numberOfLines() const;
    std::string line(std::int64_t number) const;
    std::string textBetween(TextPlace start, TextPlace end) const;
    std::string everything() const;
    // As LineSource::search(); null also without such a source.
    std::unique_ptr<TextSearching> search(
        TextQuery query, TextSearching::Progress progress, TextSearching::Found found);
    void lookForMore(); // Nothing happens with a source that tells of new lines itself.

    // Where a text is shown first: from its end on, which is then followed, or from its start on.
    bool startsAtEnd() const { return startsAtEnd_; }
    void setStartsAtEnd(bool startsAtEnd) { startsAtEnd_ = startsAtEnd; }

private:
    LineSource* lines() const;

    bool startsAtEnd_ = false;
};

} // namespace toolkit
