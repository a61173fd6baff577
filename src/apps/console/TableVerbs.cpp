// The verbs that show a table: status and files.

#include "apps/console/OpenWrapper.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/TaskTable.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"
#include "task/engine/BatchCount.h"
#include "task/engine/RunChecks.h"
#include "task/single/TaskState.h"
#include "task/wrapper/ShellWord.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
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
