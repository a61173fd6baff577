// The verbs that show a table: status, files and variables.

#include "apps/console/OpenWrapper.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/TaskTable.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "task/engine/BatchCount.h"
#include "task/engine/RunChecks.h"
#include "task/single/TaskState.h"
#include "task/wrapper/ShellWord.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <numeric>

namespace {

int show(const TablePrinter& printer, bool json)
{
    const auto& output = terminal::Output::standard();
    const bool written = json ? writeJson(printer.json())
                              : terminal::write(printer.text(output.isTerminal ? output.size().columns : 0));
    return written ? kDone : kNotDone;
}

// Numeric order: "out2" before "out10".
bool comesBefore(const std::string& a, const std::string& b)
{
    return ::strverscmp(a.c_str(), b.c_str()) < 0;
}

std::optional<int> taskNumber(const std::string& text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// Selects a file of a task in the window, which shows its variables. False when there is no such file.
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

// The table of a data file outside of a wrapper.
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
    if (!platform::files::exists(path)) {
        complain(fmt::format("{} does not exist.", path));
        return kWrongUse;
    }
    if (platform::files::isDirectory(path)) {
        complain(fmt::format("{} is a folder, not a data file.", path));
        return kWrongUse;
    }
    ContentOfFile source(SVFileContent::ofFile(path));
    toolkit::Table table;
    table.setColumns(SVFileContent::columns());
    table.setDataSource(&source);
    return show(TablePrinter(table), options.json);
}

} // namespace

int statusVerb(const StatusOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    const TaskFilter filter = [&options](const SVSingleTask& task) {
        if (!options.failed && !options.running && !options.waiting)
            return true;
        const TaskState state = stateOf(task);
        return (options.failed && (task.hasFailed() || state == TaskState::Aborted))
            || (options.running && state == TaskState::Running)
            || (options.waiting && state == TaskState::Waiting);
    };
    const KRTrelkindController& controller = wrapper->controller();
    const int readable = controller.informationIsUnreadable() ? kNotDone : kDone;
    if (options.json)
        return writeTasksAsJson(*wrapper, filter) ? readable : kNotDone;
    if (const int shown = show(taskTable(*wrapper, filter), false); shown != kDone)
        return shown;
    if (!terminal::write(BatchCount::of(controller).sentence() + "\n"))
        return kNotDone;
    for (const int number : lostTasks(controller))
        complain(fmt::format("Task {} is lost: it was started, but no process runs it. \"trelkind clear {} "
                             "{}\" lets it be run again.",
            number, shellWord(controller.wrapperName()), number));
    return readable;
}

int filesVerb(const TaskOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    const auto task = wrapper ? wrapper->selectTask(options.number) : nullptr;
    if (!task)
        return kWrongUse;
    const auto& table = wrapper->views().fileTable;
    std::vector<int> rows(static_cast<std::size_t>(table.numberOfRows()));
    std::iota(rows.begin(), rows.end(), 0);
    const auto nameOf = [&table](int row) { return toolkit::cellText(table.value("File Name", row)); };
    std::stable_sort(
        rows.begin(), rows.end(), [&](int a, int b) { return comesBefore(nameOf(a), nameOf(b)); });
    TablePrinter printer(table);
    printer.showRows(rows);
    if (!options.json)
        return show(printer, false);
    auto json = printer.json();
    for (auto& row : json) {
        const auto attributes = task->informationForFile(row["File Name"].get<std::string>());
        row["Bytes"] = attributes ? nlohmann::ordered_json(attributes->size) : nlohmann::ordered_json();
    }
    return writeJson(json) ? kDone : kNotDone;
}

int variablesVerb(const VariablesOptions& options)
{
    const int status =
        options.places.size() == 1 ? showVariablesOfFile(options) : showVariablesOfRun(options);
    if (status != kDone || SVFileContent::scanner())
        return status;
    complain("Variables can not be shown yet; \"svdata list FILE\" shows what a data file holds.");
    return kNotDone;
}
