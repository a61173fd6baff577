#pragma once

#include "toolkit/TableArrangement.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

class SVSingleTask;

// The tasks that a table shows, by state. A failed task is done, too; a lost one is running, too.
enum class ShownTasks { All, Waiting, Running, Done, Failed, Aborted, Lost };
inline constexpr std::array kShownTasksWords{
    "All", "Waiting", "Running", "Done", "Failed", "Aborted", "Lost"}; // In the order of the enumeration.

// Which rows a table of tasks has, and in which order: the only place that maps a row to a task. Main thread.
class TaskRows {
public:
    using Tasks = std::vector<std::shared_ptr<SVSingleTask>>;
    struct Choice {
        ShownTasks state = ShownTasks::All;
        std::string text{}; // Part of the argument, description or state, in upper or lower case.
        toolkit::Sorting sorting{};
        // Whether a change in a task can change the rows.
        bool dependsOnTasks() const
        {
            return state != ShownTasks::All || !text.empty() || !sorting.column.empty();
        }
    };

    // Chooses and sorts the tasks. Tasks with equal cells keep their order; empty cells come last. `lost` are
    // the numbers (from 1) of lost tasks, in ascending order.
    void order(const Tasks& tasks, const Choice& choice, const std::vector<int>& lost = {});

    int count() const { return static_cast<int>(taskOfRow_.size()); }
    int taskAt(int row) const; // The place of the row's task in the list of tasks; -1 for no row.
    int rowOf(int task) const; // -1 for a task that isn't shown.

private:
    std::vector<int> taskOfRow_;
    std::vector<int> rowOfTask_;
};
