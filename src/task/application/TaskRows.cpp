#include "task/application/TaskRows.h"

#include "task/single/SVSingleTask.h"
#include "task/single/TaskState.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>

namespace {

// What the cell of a column is sorted by: numbers come before words, and nothing comes last.
struct Key {
    enum class Kind { Number, Text, Nothing };
    Kind kind = Kind::Nothing;
    double number = 0;
    std::string text{};
};

Key keyOf(double number)
{
    return std::isnan(number) ? Key() : Key{Key::Kind::Number, number};
}

Key keyOf(const std::optional<double>& number)
{
    return number ? keyOf(*number) : Key();
}

Key keyOf(std::string text)
{
    if (text.empty())
        return {};
    double number = 0;
    const char* end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    if (read.ec == std::errc() && read.ptr == end)
        return keyOf(number);
    return {Key::Kind::Text, 0, std::move(text)};
}

struct SortColumn {
    std::string_view identifier;
    Key (*key)(const SVSingleTask&);
};

constexpr SortColumn kSortColumns[] = {
    {"Time", [](const SVSingleTask& task) { return keyOf(task.timeValue()); }},
    {"Description", [](const SVSingleTask& task) { return keyOf(task.entryDescription().value_or("")); }},
    {"Status",
        [](const SVSingleTask& task) {
            const TaskState state = stateOf(task);
            return state == TaskState::Waiting ? Key() : keyOf(static_cast<double>(state));
        }},
    {"Progress", [](const SVSingleTask& task) { return keyOf(task.taskFraction()); }},
    {"Started", [](const SVSingleTask& task) { return keyOf(task.times().started); }},
    {"Duration",
        [](const SVSingleTask& task) {
            return task.times().started ? keyOf(task.times().seconds()) : Key();
        }},
    {"Exit",
        [](const SVSingleTask& task) {
            return task.exitStatus() ? keyOf(static_cast<double>(task.exitStatus()->status)) : Key();
        }},
    {"Argument", [](const SVSingleTask& task) { return keyOf(task.argument()); }},
};

// Numbers inside a text count as such: "out2" before "out10".
int compared(const Key& a, const Key& b)
{
    if (a.kind != b.kind)
        return a.kind < b.kind ? -1 : 1;
    if (a.kind == Key::Kind::Text)
        return ::strverscmp(a.text.c_str(), b.text.c_str());
    return a.number < b.number ? -1 : b.number < a.number ? 1 : 0;
}

void sort(std::vector<int>& rows, const TaskRows::Tasks& tasks, const toolkit::Sorting& sorting)
{
    if (sorting.column == "Number") { // The order of the tasks.
        if (sorting.isDescending)
            std::reverse(rows.begin(), rows.end());
        return;
    }
    const auto* const column = std::find_if(std::begin(kSortColumns), std::end(kSortColumns),
        [&sorting](const SortColumn& known) { return known.identifier == sorting.column; });
    if (column == std::end(kSortColumns))
        return;
    std::vector<Key> keys(tasks.size()); // Made once for each task, not for each comparison.
    for (const int task : rows)
        keys[static_cast<std::size_t>(task)] = column->key(*tasks[static_cast<std::size_t>(task)]);
    std::stable_sort(rows.begin(), rows.end(), [&](int left, int right) {
        const Key& a = keys[static_cast<std::size_t>(left)];
        const Key& b = keys[static_cast<std::size_t>(right)];
        if (a.kind == Key::Kind::Nothing || b.kind == Key::Kind::Nothing)
            return a.kind != Key::Kind::Nothing && b.kind == Key::Kind::Nothing;
        return sorting.isDescending ? compared(b, a) < 0 : compared(a, b) < 0;
    });
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool contains(const std::string& text, const std::string& part)
{
    return std::search(text.begin(), text.end(), part.begin(), part.end(), [](char a, char b) {
        return lower(a) == lower(b);
    }) != text.end();
}

bool isShown(const SVSingleTask& task, ShownTasks wanted, const std::vector<int>& lost)
{
    switch (wanted) {
    case ShownTasks::All:
        return true;
    case ShownTasks::Waiting:
        return stateOf(task) == TaskState::Waiting;
    case ShownTasks::Running:
        return task.isUnderWay();
    case ShownTasks::Done:
        return stateOf(task) == TaskState::Done;
    case ShownTasks::Failed:
        return task.hasFailed();
    case ShownTasks::Aborted:
        return stateOf(task) == TaskState::Aborted;
    case ShownTasks::Lost:
        return std::binary_search(lost.begin(), lost.end(), task.numberInProject() + 1);
    }
    return false;
}

bool hasText(const SVSingleTask& task, const std::string& text)
{
    return text.empty() || contains(task.argument(), text)
        || contains(task.entryDescription().value_or(""), text) || contains(wordFor(stateOf(task)), text);
}

} // namespace

void TaskRows::order(const Tasks& tasks, const Choice& choice, const std::vector<int>& lost)
{
    taskOfRow_.clear();
    for (std::size_t i = 0; i < tasks.size(); ++i)
        if (isShown(*tasks[i], choice.state, lost) && hasText(*tasks[i], choice.text))
            taskOfRow_.push_back(static_cast<int>(i));
    sort(taskOfRow_, tasks, choice.sorting);
    rowOfTask_.assign(tasks.size(), -1);
    for (std::size_t row = 0; row < taskOfRow_.size(); ++row)
        rowOfTask_[static_cast<std::size_t>(taskOfRow_[row])] = static_cast<int>(row);
}

int TaskRows::taskAt(int row) const
{
    return row >= 0 && row < count() ? taskOfRow_[static_cast<std::size_t>(row)] : -1;
}

int TaskRows::rowOf(int task) const
{
    const auto index = static_cast<std::size_t>(task);
    return task >= 0 && index < rowOfTask_.size() ? rowOfTask_[index] : -1;
}
