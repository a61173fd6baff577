// The verbs that show a table: tasks, files, variables.

#include "apps/console/OpenWrapper.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/TaskTable.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <charconv>

namespace {

int show(const TablePrinter& printer, bool json)
{
    const auto& output = terminal::Output::standard();
    const bool written = json ? writeJson(printer.json())
                              : terminal::write(printer.text(output.isTerminal ? output.size().columns : 0));
    return written ? kDone : kNotDone;
}

std::optional<int> taskNumber(const std::string& text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// Selects a file of a task in the window, which makes its variables show; answers whether there is one of
// that name.
bool selectFile(TrelkindWindow& views, const std::string& name)
{
    for (int row = 0; row < views.fileTable.numberOfRows(); ++row) {
        if (toolkit::cellText(views.fileTable.value("File Name", row)) != name)
            continue;
        views.fileTable.selectRows({row});
        return true;
    }
    return false;
}

int showVariablesOfRun(const VariablesOptions& options)
{
    const std::string& file = options.places[2];
    const auto number = taskNumber(options.places[1]);
    if (!number) {
        complain(fmt::format("\"{}\" is not the number of a task.", options.places[1]));
        return kWrongUse;
    }
    const auto wrapper = OpenWrapper::open(options.places[0]);
    if (!wrapper || !wrapper->selectTask(*number))
        return kWrongUse;
    if (!selectFile(wrapper->views(), file)) {
        complain(fmt::format("Task {} has no file {}.", *number, file));
        return kWrongUse;
    }
    return show(TablePrinter(wrapper->views().dataFileContent), options.json);
}

// A table of what one data file holds, without a wrapper around it.
class ContentOfFile : public toolkit::TableDataSource {
public:
    explicit ContentOfFile(SVFileContent content) : content_(std::move(content)) { }
    int numberOfRowsInTableView(const toolkit::Table&) override
    {
        return content_.names ? static_cast<int>(content_.names->size()) : 0;
    }
    toolkit::CellValue objectValueForTableColumn(
        const toolkit::Table&, std::string_view column, int row) override
    {
        return content_.cell(column, static_cast<std::size_t>(row));
    }

private:
    SVFileContent content_;
};

int showVariablesOfFile(const VariablesOptions& options)
{
    const std::string path = platform::paths::absolute(options.places[0]);
    if (!platform::files::exists(path) || platform::files::isDirectory(path)) {
        complain(fmt::format("{} is not a data file.", path));
        return kWrongUse;
    }
    ContentOfFile source(SVFileContent::ofFile(path));
    toolkit::Table table;
    table.setColumns(SVFileContent::columns());
    table.setDataSource(&source);
    const int status = show(TablePrinter(table), options.json);
    table.setDataSource(nullptr);
    return status;
}

} // namespace

int statusVerb(const WrapperOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    if (options.json)
        return writeTasksAsJson(*wrapper) ? kDone : kNotDone;
    return show(taskTable(*wrapper), false);
}

int filesVerb(const TaskOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper || !wrapper->selectTask(options.number))
        return kWrongUse;
    return show(TablePrinter(wrapper->views().fileTable), options.json);
}

int variablesVerb(const VariablesOptions& options)
{
    const int status =
        options.places.size() == 1 ? showVariablesOfFile(options) : showVariablesOfRun(options);
    if (status != kDone || SVFileContent::scanner())
        return status;
    complain("Variables can not be shown yet; \"svdata list FILE\" tells what a data file holds.");
    return kNotDone;
}
