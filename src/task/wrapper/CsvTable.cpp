#include "task/wrapper/CsvTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace {

using platform::Error;
using platform::Result;
using Record = std::vector<std::string>;

class Reader {
public:
    explicit Reader(std::string_view text) : text_(text)
    {
        if (text_.starts_with("\xEF\xBB\xBF")) // Byte order mark.
            text_.remove_prefix(3);
    }

    bool atEnd() const { return text_.empty(); }
    int line() const { return line_; } // Of the next record, from 1.

    Result<Record> readRecord()
    {
        Record record;
        for (bool goesOn = true; goesOn;) {
            auto value = text_.starts_with('"') ? readQuoted() : Result<std::string>(readPlain());
            if (!value)
                return value.error();
            record.push_back(std::move(*value));
            goesOn = text_.starts_with(',');
            if (goesOn)
                text_.remove_prefix(1);
        }
        if (!text_.empty() && !takeLineEnd())
            return Error{fmt::format("line {}: text after a closing quote", line_)};
        return record;
    }

private:
    bool takeLineEnd()
    {
        const std::size_t length = text_.starts_with("\r\n")     ? 2
            : text_.starts_with('\n') || text_.starts_with('\r') ? 1
                                                                 : 0;
        text_.remove_prefix(length);
        line_ += length > 0;
        return length > 0;
    }

    std::string readPlain()
    {
        const std::size_t end = std::min(text_.find_first_of(",\r\n"), text_.size());
        std::string value(text_.substr(0, end));
        text_.remove_prefix(end);
        return value;
    }

    Result<std::string> readQuoted()
    {
        const int first = line_;
        std::string value;
        for (text_.remove_prefix(1);;) {
            const std::size_t quote = text_.find('"');
            if (quote == std::string_view::npos)
                return Error{fmt::format("line {}: a quote is not closed", first)};
            value += text_.substr(0, quote);
            line_ +=
                static_cast<int>(std::count(text_.begin(), text_.begin() + static_cast<long>(quote), '\n'));
            text_.remove_prefix(quote + 1);
            if (!text_.starts_with('"'))
                return value;
            value += '"';
            text_.remove_prefix(1);
        }
    }

    std::string_view text_; // The unread rest.
    int line_ = 1;
};

std::optional<Error> whatIsWrongWith(const Record& columns)
{
    for (auto column = columns.begin(); column != columns.end(); ++column) {
        if (column->empty())
            return Error{"line 1: a column has no name"};
        if (std::find(columns.begin(), column, *column) != column)
            return Error{fmt::format("line 1: there are two columns \"{}\"", *column)};
    }
    return std::nullopt;
}

} // namespace

Result<CsvTable> CsvTable::parse(std::string_view text)
{
    Reader reader(text);
    CsvTable table;
    auto columns = reader.readRecord();
    if (!columns)
        return columns.error();
    if (auto error = whatIsWrongWith(*columns))
        return *error;
    table.columns = std::move(*columns);
    while (!reader.atEnd()) {
        const int line = reader.line();
        auto record = reader.readRecord();
        if (!record)
            return record.error();
        if (*record == Record{""} && table.columns.size() > 1)
            continue;
        if (record->size() != table.columns.size())
            return Error{
                fmt::format("line {}: {} values for {} columns", line, record->size(), table.columns.size())};
        table.rows.push_back(std::move(*record));
    }
    return table;
}
