// The content of the tables of a wrapper's window, and the reaction to a selection in them.

#include "platform/files/Paths.h"
#include "task/application/KRTrelkindController.h"
#include "task/engine/RunChecks.h"
#include "task/single/TaskState.h"
#include "text/files/KRBigTextFile.h"
#include "text/numbers/KRNumberFormatter.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

constexpr double kSecondsBetweenUpdates = 1;
constexpr double kSecondsBetweenOrders = 1;

// Pale, so that black words read well on them.
constexpr toolkit::Color kFailedTint{1, 0.80, 0.78};
constexpr toolkit::Color kAbortedTint{1, 0.93, 0.68};
constexpr toolkit::Color kRunningTint{0.80, 0.89, 1};
constexpr toolkit::Color kDoneTint{0.84, 0.95, 0.83};

std::optional<toolkit::Color> tintOf(const SVSingleTask& task)
{
    if (task.hasFailed())
        return kFailedTint;
    switch (stateOf(task)) {
    case TaskState::Done:
        return kDoneTint;
    case TaskState::Aborted:
        return kAbortedTint;
    case TaskState::Checking:
    case TaskState::Running:
        return kRunningTint;
    case TaskState::Waiting:
        break;
    }
    return std::nullopt;
}

} // namespace

std::shared_ptr<SVSingleTask> KRTrelkindController::taskForRow(int row) const
{
    const int index = rows_.taskAt(row);
    return index >= 0 ? taskInformation_[static_cast<std::size_t>(index)] : nullptr;
}

ShownTasks KRTrelkindController::shownTasks() const
{
    return views_ ? static_cast<ShownTasks>(views_->shownTasks.selectedIndex()) : ShownTasks::All;
}

void KRTrelkindController::showTasks(ShownTasks which)
{
    if (views_)
        views_->shownTasks.choose(static_cast<int>(which));
}

// Many tasks change together; sorting them in once a second is enough.
void KRTrelkindController::orderTasksSoon()
{
    if ((orderTimer_ && orderTimer_->isValid()) || !taskChoice().dependsOnTasks())
        return;
    orderTimer_ = platform::Timer::schedule(
        kSecondsBetweenOrders, platform::Timer::Repeats::No, [this] { orderTasks(); });
}

TaskRows::Choice KRTrelkindController::taskChoice() const
{
    return {shownTasks(), views_->taskFilter.displayedText(), views_->taskList.arrangement().sorting};
}

// The selection follows the tasks, so that only a selected task that isn't shown any more changes it.
void KRTrelkindController::orderTasks()
{
    if (!views_)
        return;
    const auto selected = selectedTasks();
    const auto shown = selectedTask();
    rows_.order(taskInformation_, taskChoice(),
        shownTasks() == ShownTasks::Lost ? lostTasks(*this) : std::vector<int>());
    std::set<int> rows;
    for (const auto& task : selected)
        rows.insert(rows_.rowOf(task->numberInProject()));
    isOrdering_ = true;
    views_->taskList.reloadData();
    views_->taskList.selectRows(rows);
    isOrdering_ = false;
    if (selectedTasks() != selected || selectedTask() != shown)
        selectionOfTasksChanged();
}

std::shared_ptr<SVSingleTask> KRTrelkindController::selectedTask() const
{
    return views_ ? taskForRow(views_->taskList.selectedRow()) : nullptr;
}

std::optional<std::string> KRTrelkindController::selectedFile() const
{
    const auto task = selectedTask();
    if (!task)
        return std::nullopt;
    const int row = views_->fileTable.selectedRow();
    const auto& names = task->fileList();
    const auto index = static_cast<std::size_t>(row);
    return row >= 0 && index < names.size() ? std::optional(names[index]) : std::nullopt;
}

std::shared_ptr<SVFileContent> KRTrelkindController::selectedContent() const
{
    const auto file = selectedFile();
    return file ? selectedTask()->contentForFile(*file) : nullptr;
}

TaskRows::Tasks KRTrelkindController::selectedTasks() const
{
    Tasks tasks;
    for (const int row : views_->taskList.selectedRows())
        if (auto task = taskForRow(row))
            tasks.push_back(std::move(task));
    std::sort(tasks.begin(), tasks.end(), [](const auto& left, const auto& right) {
        return left->numberInProject() < right->numberInProject();
    });
    return tasks;
}

// Readings of files that are no longer selected are dropped. The selected file of each selected task is
// updated as long as the task runs; whether it does is asked each time.
void KRTrelkindController::followSelectedContent()
{
    const auto file = selectedFile();
    const auto& rows = views_->taskList.selectedRows();
    for (const auto& task : taskInformation_)
        task->dropReadingsExceptOf(rows.contains(rows_.rowOf(task->numberInProject())) ? file : std::nullopt);
    contentTimer_.reset();
    if (!file || !SVFileContent::isDataFile(*file))
        return;
    contentTimer_ = platform::Timer::schedule(kSecondsBetweenUpdates, platform::Timer::Repeats::Yes, [this] {
        const auto name = selectedFile();
        if (!name)
            return;
        const auto shown = selectedTask();
        for (const auto& task : selectedTasks())
            if (task->isUnderWay() && (task == shown || !plottedVariable_.empty()))
                if (const auto content = task->contentForFile(*name))
                    content->update();
    });
}

std::shared_ptr<toolkit::Menu> KRTrelkindController::contextMenuForRow(int row) const
{
    const auto task = taskForRow(row);
    return task ? task->contextMenu() : nullptr;
}

std::shared_ptr<toolkit::Menu> KRTrelkindController::contextMenuForTableRow(toolkit::Table& table, int row)
{
    if (!views_)
        return nullptr;
    return &table == &views_->taskList ? menuForTask(row)
        : &table == &views_->fileTable ? menuForFile(row)
                                       : nullptr;
}

void KRTrelkindController::willDisplayCell(
    toolkit::Table& table, toolkit::CellStyle& style, std::string_view column, int row)
{
    if (!views_ || &table != &views_->taskList || (column != "Status" && column != "Exit"))
        return;
    if (const auto task = taskForRow(row))
        style.background = column == "Status" || task->hasFailed() ? tintOf(*task) : std::nullopt;
}

int KRTrelkindController::numberOfRowsInTableView(const toolkit::Table& table)
{
    if (!views_)
        return 0;
    if (&table == &views_->taskList)
        return rows_.count();
    if (&table == &views_->fileTable) {
        const auto task = selectedTask();
        return task ? static_cast<int>(task->fileList().size()) : 0;
    }
    if (&table == &views_->dataFileContent) {
        const auto content = selectedContent();
        return content ? static_cast<int>(content->count()) : 0;
    }
    return 0;
}

toolkit::CellValue KRTrelkindController::objectValueForTableColumn(
    const toolkit::Table& table, std::string_view column, int row)
{
    if (!views_)
        return std::string();
    if (&table == &views_->taskList)
        return taskCell(column, row);
    if (&table == &views_->fileTable)
        return fileCell(column, row);
    if (&table == &views_->dataFileContent)
        return dataFileCell(column, row);
    return std::string();
}

toolkit::CellValue KRTrelkindController::taskCell(std::string_view column, int row) const
{
    const auto task = taskForRow(row);
    if (!task)
        return std::string();
    if (column == "Number")
        return fmt::format("{}", task->numberInProject() + 1);
    if (column == "Time")
        return fmt::format("{:g}", task->timeValue());
    if (column == "Description")
        return task->entryDescription().value_or("");
    if (column == "Status")
        return std::string(task->taskHasFinished() ? "Done"
                : task->taskWasAborted()           ? "Aborted"
                : task->beingChecked()             ? "Checking"
                : task->taskHasStarted()           ? "Running"
                                                   : "");
    if (column == "Progress")
        return task->taskFraction();
    if (column == "Started")
        return task->times().started ? momentText(*task->times().started) : std::string();
    if (column == "Duration")
        return task->times().started ? elapsedText(*task->times().seconds()) : std::string();
    if (column == "Exit")
        return task->exitStatus() ? task->exitStatus()->text() : std::string();
    if (column == "Argument")
        return task->argument();
    if (column == "Try")
        return 0.0;
    return task->statusString();
}

toolkit::CellValue KRTrelkindController::fileCell(std::string_view column, int row) const
{
    const auto task = selectedTask();
    const auto index = static_cast<std::size_t>(row);
    if (!task || row < 0 || index >= task->fileList().size())
        return std::string();
    const std::string& name = task->fileList()[index];
    if (column == "File Name")
        return name;
    const auto information = task->informationForFile(name);
    return information ? KRNumberFormatter::sizeString(information->size) : std::string();
}

toolkit::CellValue KRTrelkindController::dataFileCell(std::string_view column, int row) const
{
    const auto content = selectedContent();
    return content && row >= 0 ? content->cell(column, static_cast<std::size_t>(row)) : std::string();
}

void KRTrelkindController::reloadFileTables()
{
    views_->fileTable.reloadData();
    reloadVariables();
}

// What can't be shown leaves its room to the files.
void KRTrelkindController::showSelectedFile()
{
    const auto file = selectedFile();
    const bool isDataFile = file && SVFileContent::isDataFile(*file);
    const bool isText =
        fileText_->show(file ? std::optional(selectedTask()->folderName() + "/" + *file) : std::nullopt);
    views_->optionForFileDisplay.select(isDataFile ? "DataFile" : "Nothing");
    views_->optionForFileDisplay.setHidden(!isDataFile && !isText);
    if (isDataFile)
        reloadVariables();
}

void KRTrelkindController::reloadVariables()
{
    const auto content = selectedContent();
    views_->dataFileContent.setPlaceholder(
        content && !content->hasBeenRead() ? fmt::format("Reading {}\u2026", *selectedFile()) : "");
    const std::string plotted = plottedVariable_;
    views_->dataFileContent.reloadData();
    plottedVariable_ = plotted; // A table with less rows drops a selection that isn't the user's to drop.
    keepVariableSelected();
}

// The user has selected a variable or none. Without rows there is nothing to select: then it isn't his doing.
void KRTrelkindController::selectVariable()
{
    const toolkit::Table& table = views_->dataFileContent;
    if (table.numberOfRows() == 0)
        return;
    const int row = table.selectedRow();
    const std::string before = plottedVariable_;
    plottedVariable_ = row >= 0 ? toolkit::cellText(dataFileCell("Name", row)) : "";
    plotVariable();
    if (!plottedVariable_.empty() && plottedVariable_ != before)
        views_->showVariable();
}

// Another file, or one that has grown, has the variable in another row.
void KRTrelkindController::keepVariableSelected()
{
    toolkit::Table& table = views_->dataFileContent;
    if (plottedVariable_.empty()
        || toolkit::cellText(dataFileCell("Name", table.selectedRow())) == plottedVariable_)
        return;
    const std::string wanted = plottedVariable_;
    for (int row = 0; row < table.numberOfRows(); ++row)
        if (toolkit::cellText(dataFileCell("Name", row)) == wanted) {
            table.selectRows({row});
            return;
        }
    table.selectRows({});
    plottedVariable_ = wanted; // The next file may have it.
}

void KRTrelkindController::plotVariable()
{
    const auto file = selectedFile();
    const bool isPlotted = !plottedVariable_.empty() && file && SVFileContent::isDataFile(*file);
    if (!isPlotted)
        return variablePlot_->clear();
    std::vector<VariablePlot::Source> sources;
    for (const auto& task : selectedTasks())
        if (const auto content = task->contentForFile(*file); content && content->hasBeenRead())
            sources.push_back(
                {platform::paths::lastComponent(task->folderName()), task->timeValue(), content});
    variablePlot_->show(plottedVariable_, std::move(sources));
}

void KRTrelkindController::showOutputOfSelection()
{
    for (const auto& task : taskInformation_)
        task->deselectFromView();
    toolkit::Table& output = views_->outputFromProgram;
    if (views_->taskList.selectedRows().size() == 1) {
        if (const auto task = selectedTask())
            task->selectedInView(&output);
        return;
    }
    if (output.dataSource() != this)
        output.setDataSource(this);
    output.reloadData();
}

void KRTrelkindController::readInStandardOut()
{
    if (!views_)
        return;
    toolkit::Table& output = views_->outputFromProgram;
    if (views_->taskList.selectedRows().size() != 1)
        if (auto* file = dynamic_cast<KRBigTextFile*>(output.dataSource()))
            file->setTable(nullptr);
    showOutputOfSelection();
}

void KRTrelkindController::selectionOfTasksChanged()
{
    showOutputOfSelection();
    reloadFileTables();
    showSelectedFile();
    followSelectedContent();
    plotVariable();
}

void KRTrelkindController::tableViewSelectionDidChange(toolkit::Table& table)
{
    if (!views_)
        return;
    if (&table == &views_->taskList) {
        if (!isOrdering_)
            selectionOfTasksChanged();
    } else if (&table == &views_->fileTable) {
        followSelectedContent();
        showSelectedFile();
        plotVariable();
    } else if (&table == &views_->dataFileContent) {
        selectVariable();
    }
}
