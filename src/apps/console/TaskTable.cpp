#include "apps/console/TaskTable.h"

#include "task/engine/RunChecks.h"
#include "task/single/TaskState.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>

namespace {

using Json = nlohmann::ordered_json;

std::vector<int> chosenRows(OpenWrapper& wrapper, const TaskFilter& filter)
{
    std::vector<int> rows;
    for (const auto& task : wrapper.controller().taskInformation())
        if (!filter || filter(*task))
            rows.push_back(task->numberInProject());
    return rows;
}

template <class Value>
Json numberOrNull(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json();
}

// The state in lower case, for programs. "lost" is a running task without a process.
std::string stateWord(const SVSingleTask& task, const std::vector<int>& lost)
{
    if (std::binary_search(lost.begin(), lost.end(), task.numberInProject() + 1))
        return "lost";
    std::string word = wordFor(stateOf(task));
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::tolower(c); });
    return word;
}

void addNumbers(Json& row, const SVSingleTask& task, const std::vector<int>& lost)
{
    row["State"] = stateWord(task, lost);
    row["Argument"] = task.argument();
    row["Started"] = numberOrNull(task.times().started);
    row["Seconds"] = numberOrNull(task.times().seconds());
    const auto& end = task.exitStatus();
    row["Exit Status"] = end ? Json(end->status) : Json();
    const auto signal = end ? end->signal() : std::nullopt;
    row["Signal"] = signal ? Json(*signal) : Json();
    row["Folder"] = task.folderName();
}

} // namespace

TablePrinter taskTable(OpenWrapper& wrapper, const TaskFilter& filter)
{
    TablePrinter printer(wrapper.views().taskList,
        {"Number", "Time", "Status", "Progress", "Started", "Duration", "Exit", "Argument"});
    printer.showRows(chosenRows(wrapper, filter));
    return printer;
}

bool writeTasksAsJson(OpenWrapper& wrapper, const TaskFilter& filter)
{
    TablePrinter printer(
        wrapper.views().taskList, {"Number", "Time", "Description", "Status", "Progress", "Try"});
    const auto chosen = chosenRows(wrapper, filter);
    printer.showRows(chosen);
    auto rows = printer.json();
    const auto lost = lostTasks(wrapper.controller());
    for (std::size_t i = 0; i < rows.size(); ++i)
        addNumbers(
            rows[i], *wrapper.controller().taskInformation()[static_cast<std::size_t>(chosen[i])], lost);
    return writeJson(rows);
}
