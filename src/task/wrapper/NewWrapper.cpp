#include "task/wrapper/NewWrapper.h"

#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/TildePaths.h"
#include "platform/plist/PropertyList.h"
#include "task/wrapper/CsvTable.h"
#include "task/wrapper/ShellWord.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <set>
#include <string_view>
#include <tuple>

namespace {

namespace files = platform::files;
namespace paths = platform::paths;
using platform::Error;
using platform::Result;
using platform::Status;
using platform::Value;
using Words = std::vector<std::string>;

constexpr const char* kTimeColumn = "Time";
constexpr std::uint64_t kMostBytesOfText = std::uint64_t{64} << 20; // A larger input is copied unchanged.

bool isPartOfName(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// A "{name}" in a text: the name, the column of that name if there is one, and the length with braces.
struct Mark {
    std::string_view name;
    std::optional<std::size_t> column;
    std::size_t length = 0;
};
std::optional<Mark> markAt(std::string_view text, std::size_t place, const Words& columns)
{
    if (text[place] != '{')
        return std::nullopt;
    const std::size_t end = text.find('}', place);
    if (end == std::string_view::npos)
        return std::nullopt;
    Mark mark{text.substr(place + 1, end - place - 1), std::nullopt, end - place + 1};
    const auto column = std::find(columns.begin(), columns.end(), mark.name);
    if (column != columns.end())
        mark.column = static_cast<std::size_t>(column - columns.begin());
    return mark;
}

enum class Quote { None, Single, Double };

std::string forShell(const std::string& value, Quote quote)
{
    if (quote == Quote::None)
        return shellWord(value);
    if (quote == Quote::Single) { // The surrounding quotes are in the text already.
        const std::string word = shellWord(value + " ");
        return word.substr(1, word.size() - 3);
    }
    std::string text;
    for (const char c : value) {
        if (std::string_view("\"\\$`").find(c) != std::string_view::npos)
            text += '\\';
        text += c;
    }
    return text;
}

std::string inputForRow(std::string_view text, const Words& columns, const Words& row)
{
    std::string filled;
    for (std::size_t place = 0; place < text.size();) {
        const auto mark = markAt(text, place, columns);
        filled += mark && mark->column ? std::string_view(row[*mark->column]) : text.substr(place, 1);
        place += mark && mark->column ? mark->length : 1;
    }
    return filled;
}

Result<double> timeOf(const std::string& text)
{
    double time = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), time);
    if (error != std::errc() || end != text.data() + text.size())
        return Error{fmt::format("\"{}\" in the column {} is not a number.", text, kTimeColumn)};
    return time;
}

// Makes one wrapper, step by step.
class Maker {
public:
    Maker(const NewWrapper& wanted, std::string folder) : wanted_(wanted), folder_(std::move(folder)) { }

    Result<int> make()
    {
        for (const auto step : {&Maker::readTable, &Maker::checkInputs, &Maker::copyProgram, &Maker::makeRuns,
                 &Maker::writeInformation})
            if (auto status = (this->*step)(); !status)
                return status.error();
        return static_cast<int>(table_.rows.size());
    }

private:
    Status readTable()
    {
        table_.rows = {{}}; // One run without values.
        if (!wanted_.table)
            return {};
        const auto text = files::readFile(*wanted_.table, kMostBytesOfText);
        if (!text)
            return Error{text.error().text + "."};
        auto table = CsvTable::parse(*text);
        if (!table)
            return Error{fmt::format("{}, {}.", *wanted_.table, table.error().text)};
        table_ = std::move(*table);
        return {};
    }

    Status checkInputs()
    {
        std::set<std::string> names;
        for (const std::string& input : wanted_.inputs) {
            if (!files::exists(input) || files::isDirectory(input))
                return Error{fmt::format(
                    "The input {} {}.", input, files::exists(input) ? "is a folder" : "does not exist")};
            const std::string name = paths::lastComponent(input);
            if (!names.insert(name).second)
                return Error{fmt::format("Two inputs have the name {}; each run has one folder.", name)};
            if (name.starts_with("VTask_") || name == "runOutput" || name == "SVProgress")
                return Error{fmt::format("The name {} is reserved for the files of a run.", name)};
        }
        if (wanted_.project && !files::isDirectory(*wanted_.project))
            return Error{fmt::format("The project {} is not a folder.", *wanted_.project)};
        return {};
    }

    Status copyProgram()
    {
        if (!files::exists(wanted_.program) || files::isDirectory(wanted_.program))
            return Error{fmt::format("The program {} does not exist.", wanted_.program)};
        const std::string name = paths::lastComponent(wanted_.program);
        if (auto status = files::createDirectories(folder_ + "/MacOSX"); !status)
            return status;
        if (auto status = files::copy(wanted_.program, folder_ + "/MacOSX/" + name); !status)
            return status;
        return platform::propertylist::writeAtomically(
            Value::Dictionary{{"Executable", name},
                {"OriginalExecutable", paths::abbreviatingWithTilde(paths::absolute(wanted_.program))}},
            folder_ + "/Executable.plist");
    }

    Status makeRuns()
    {
        for (std::size_t i = 0; i < table_.rows.size(); ++i) {
            const auto& row = table_.rows[i];
            const std::string folder = fmt::format("{}/{}", folder_, i);
            if (auto status = files::createDirectory(folder); !status)
                return status;
            auto arguments = argumentsForRow(wanted_.arguments, table_.columns, row);
            if (!arguments)
                return arguments.error();
            Value::Dictionary entry{{"Argument", std::move(*arguments)}};
            const auto time = std::find(table_.columns.begin(), table_.columns.end(), kTimeColumn);
            if (time != table_.columns.end()) {
                const auto value = timeOf(row[static_cast<std::size_t>(time - table_.columns.begin())]);
                if (!value)
                    return value.error();
                entry["Time Value"] = *value;
            }
            entries_.emplace_back(std::move(entry));
            for (const std::string& input : wanted_.inputs)
                if (auto status = makeInput(input, folder + "/" + paths::lastComponent(input), row); !status)
                    return status;
        }
        return {};
    }

    Status makeInput(const std::string& input, const std::string& target, const Words& row) const
    {
        const bool mayHoldMarks =
            !table_.columns.empty() && files::size(input).value_or(0) <= kMostBytesOfText;
        const auto text = mayHoldMarks ? files::readFile(input) : Result<std::string>(Error{});
        if (!text || text->find('\0') != std::string::npos)
            return files::copy(input, target);
        return files::writeFile(target, inputForRow(*text, table_.columns, row));
    }

    Status writeInformation()
    {
        Value::Dictionary information{{"Entry Description", std::move(entries_)}};
        Value::Array names;
        for (const std::string& input : wanted_.inputs)
            names.emplace_back(paths::lastComponent(input));
        information["InputFiles"] = std::move(names);
        if (wanted_.project)
            information["Project Name"] = paths::absolute(*wanted_.project);
        return platform::propertylist::writeAtomically(information, folder_ + "/Info.plist");
    }

    const NewWrapper& wanted_;
    std::string folder_;
    CsvTable table_;
    Value::Array entries_;
};

} // namespace

Result<std::string> argumentsForRow(const std::string& arguments, const Words& columns, const Words& row)
{
    std::string filled;
    Quote quote = Quote::None;
    for (std::size_t place = 0; place < arguments.size();) {
        const char c = arguments[place];
        if (const auto mark = markAt(arguments, place, columns)) {
            if (mark->column) {
                filled += forShell(row[*mark->column], quote);
                place += mark->length;
                continue;
            }
            const bool isName =
                !mark->name.empty() && std::all_of(mark->name.begin(), mark->name.end(), isPartOfName);
            if (isName && !columns.empty())
                return Error{
                    fmt::format("The arguments name {{{}}}, and the table has no such column.", mark->name)};
        }
        if (c == '\'' && quote != Quote::Double)
            quote = quote == Quote::Single ? Quote::None : Quote::Single;
        else if (c == '"' && quote != Quote::Single)
            quote = quote == Quote::Double ? Quote::None : Quote::Double;
        const bool isEscape = c == '\\' && quote != Quote::Single;
        filled += arguments.substr(place, isEscape ? 2 : 1);
        place += isEscape ? 2 : 1;
    }
    return filled;
}

Result<int> NewWrapper::make() const
{
    const std::string target = paths::absolute(path);
    if (paths::lowercaseExtension(target) != "vtask")
        return Error{fmt::format("{}: the name of a task wrapper ends in .vtask.", path)};
    if (files::exists(target))
        return Error{fmt::format("{} exists already and is not overwritten.", target)};
    const std::string unfinished =
        fmt::format("{}/.trelkind-{}", paths::deletingLastComponent(target), platform::uniqueString());
    if (auto status = files::createDirectory(unfinished); !status)
        return Error{status.error().text + "."};
    auto made = Maker(*this, unfinished).make();
    if (made)
        if (auto status = files::move(unfinished, target); !status)
            made = Error{status.error().text + "."};
    if (!made)
        std::ignore = files::remove(unfinished);
    return made;
}
