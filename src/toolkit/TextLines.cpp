#include "toolkit/TextLines.h"

#include <algorithm>
#include <limits>

namespace toolkit {

LineSource* TextLines::lines() const
{
    return dynamic_cast<LineSource*>(dataSource());
}

std::int64_t TextLines::numberOfLines() const
{
    const LineSource* source = lines();
    return source ? source->howManyLines() : numberOfRows();
}

std::string TextLines::line(std::int64_t number) const
{
    if (const LineSource* source = lines())
        return source->lineNumber(number);
    if (number < 0 || number >= numberOfRows() || columns().empty())
        return {};
    return cellText(value(columns().front().identifier, static_cast<int>(number)));
}

std::string TextLines::textBetween(TextPlace start, TextPlace end) const
{
    if (const LineSource* source = lines())
        return source->textBetween(start, end);
    std::string text;
    for (std::int64_t number = start.line; number <= std::min(end.line, numberOfLines() - 1); ++number) {
        const std::string whole = line(number);
        const auto size = static_cast<std::int64_t>(whole.size());
        const std::int64_t first = number == start.line ? std::min(start.byte, size) : 0;
        const std::int64_t behind = number == end.line ? std::min(end.byte, size) : size;
        text.append(whole, static_cast<std::size_t>(first),
            static_cast<std::size_t>(std::max(behind - first, std::int64_t{0})));
        if (number < end.line)
            text += '\n';
    }
    return text;
}

std::string TextLines::everything() const
{
    const std::int64_t last = numberOfLines() - 1;
    return last < 0 ? std::string() : textBetween({}, {last, std::numeric_limits<std::int64_t>::max()});
}

std::unique_ptr<TextSearching> TextLines::search(
    TextQuery query, TextSearching::Progress progress, TextSearching::Found found)
{
    LineSource* source = lines();
    return source ? source->search(std::move(query), std::move(progress), std::move(found)) : nullptr;
}

void TextLines::lookForMore()
{
    if (LineSource* source = lines())
        source->updateFileContent();
}

} // namespace toolkit
