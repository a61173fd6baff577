// What the user does with selected tasks and files.

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/Paths.h"
#include "task/application/KRTrelkindController.h"
#include "task/engine/ClearTasks.h"
#include "task/engine/SVTrelkindEngineLocal.h"
#include "toolkit/Workspace.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

constexpr std::size_t kTasksReloadedInATurn = 200; // Some milliseconds.

bool wasRun(const std::shared_ptr<SVSingleTask>& task)
{
    return task->taskHasStarted() || task->taskWasAborted();
}

bool failedOrAborted(const std::shared_ptr<SVSingleTask>& task)
{
    return task->hasFailed() || task->taskWasAborted();
}

using Opener = std::function<platform::Status(const std::string& path)>;

void openWith(const Opener& opener, const std::string& path)
{
    if (!opener)
        return;
    if (const auto status = opener(path); !status.ok())
        KRMessageCenter::addMessage(fmt::format("Could not open {}.", path), status.error().text);
}

void copy(const std::string& text)
{
    if (const auto& setText = toolkit::Workspace::shared().setPasteboardText)
        setText(text);
}

} // namespace

const std::vector<KRTrelkindController::TaskAction>& KRTrelkindController::taskActions()
{
    using Self = KRTrelkindController;
    static const std::vector<TaskAction> actions{
        {"Run Selected Again", "runSelectedAgain:", "Ctrl+Shift+R", &Self::runSelectedAgain},
        {"Run Failed and Aborted Again", "runFailedAgain:", "", &Self::runFailedAndAbortedAgain},
        {"Clear Selected\u2026", "clearSelected:", "", &Self::clearSelected},
        {nullptr, nullptr, nullptr, nullptr},
        {"Open Run Folder", "openRunFolder:", "Ctrl+Shift+O", &Self::openRunFolder},
        {"Open in Terminal", "openInTerminal:", "Ctrl+Shift+T", &Self::openInTerminal},
    };
    return actions;
}

bool KRTrelkindController::canRunHere() const
{
    return !engine_ || (dynamic_cast<const SVTrelkindEngineLocal*>(engine_.get()) && !isRunningTasks());
}

bool KRTrelkindController::validateTaskAction(const std::string& action) const
{
    if (!views_)
        return false;
    const auto anySelected = [this](auto isMeant) {
        const auto selected = selectedTasks();
        return std::any_of(selected.begin(), selected.end(), isMeant);
    };
    const bool isAnySelected = !views_->taskList.selectedRows().empty();
    if (action == "runSelectedAgain:")
        return isAnySelected && canRunHere();
    if (action == "runFailedAgain:")
        return canRunHere() && std::any_of(taskInformation_.begin(), taskInformation_.end(), failedOrAborted);
    if (action == "clearSelected:")
        return !isRunningTasks() && anySelected(wasRun);
    if (action == "openRunFolder:" || action == "openInTerminal:" || action == "copy:")
        return isAnySelected;
    return action == "reload:" || action == "showTasks:" || action == "arrangeColumns:";
}

void KRTrelkindController::afterQuestion(
    const Tasks& tasks, void (KRTrelkindController::*action)(const Tasks&))
{
    const auto question = ClearTasks::questionBefore(wrapperName(), tasks);
    if (!question)
        return (this->*action)(tasks);
    if (const auto& show = toolkit::Workspace::shared().showAlert)
        show({.message = *question,
            .buttons = {"Clear", "Cancel"},
            .answered = [weak = weak_from_this(), tasks, action](int button) {
                if (const auto self = weak.lock(); self && button == 0)
                    ((*self).*action)(tasks);
            }});
}

void KRTrelkindController::runSelectedAgain()
{
    if (canRunHere())
        afterQuestion(selectedTasks(), &KRTrelkindController::runAgain);
}

void KRTrelkindController::runFailedAndAbortedAgain()
{
    Tasks tasks;
    std::copy_if(
        taskInformation_.begin(), taskInformation_.end(), std::back_inserter(tasks), failedOrAborted);
    if (canRunHere())
        afterQuestion(tasks, &KRTrelkindController::runAgain);
}

void KRTrelkindController::runAgain(const Tasks& tasks)
{
    if (!views_ || tasks.empty() || !canRunHere()) // The user may have answered late.
        return;
    if (!engine_)
        attachLocalEngine();
    Tasks ran;
    RunChoice choice{.tasks = std::set<int>()};
    for (const auto& task : tasks) {
        choice.tasks->insert(task->numberInProject());
        if (wasRun(task))
            ran.push_back(task);
    }
    clear(ran);
    const auto engine = engine_; // It is released when nothing is left to be run.
    static_cast<SVTrelkindEngineLocal&>(*engine).startAndReport(std::move(choice));
    reloadTaskList();
}

void KRTrelkindController::clearSelected()
{
    Tasks tasks = selectedTasks();
    std::erase_if(tasks, [](const auto& task) { return !wasRun(task); });
    if (!isRunningTasks())
        afterQuestion(tasks, &KRTrelkindController::clear);
}

void KRTrelkindController::clear(const Tasks& tasks)
{
    for (const std::string& complaint : ClearTasks::clear(wrapperName(), tasks).complaints)
        KRMessageCenter::addMessage(complaint);
}

void KRTrelkindController::openRunFolder()
{
    if (const auto task = selectedTask())
        openWith(toolkit::Workspace::shared().openFile, task->folderName());
}

void KRTrelkindController::openInTerminal()
{
    if (const auto task = selectedTask())
        openWith(toolkit::Workspace::shared().openTerminal, task->folderName());
}

void KRTrelkindController::copySelection()
{
    if (views_ && !views_->taskList.selectedRows().empty())
        copy(views_->taskList.selectionAsText());
}

void KRTrelkindController::reload()
{
    for (const auto& task : selectedTasks())
        task->forgetFiles();
    reloadFrom(0);
    if (views_)
        reloadFileTables();
}

void KRTrelkindController::reloadFrom(std::size_t first)
{
    if (!views_)
        return;
    const std::size_t end = std::min(first + kTasksReloadedInATurn, taskInformation_.size());
    for (std::size_t i = first; i < end; ++i)
        taskInformation_[i]->updateBasedOnContent();
    if (end < taskInformation_.size())
        platform::MainLoop::main().post([weak = weak_from_this(), end] {
            if (const auto self = weak.lock())
                self->reloadFrom(end);
        });
    else
        reloadTaskList();
}

// The task's own menu, then what can be done with all selected tasks.
std::shared_ptr<toolkit::Menu> KRTrelkindController::menuForTask(int row)
{
    auto menu = contextMenuForRow(row);
    if (!menu)
        return nullptr;
    if (menu->count() == 1 && !menu->isEnabled(0)) // "Nothing", which is no longer true.
        menu->remove(0);
    else
        menu->add(toolkit::MenuItem::separator());
    const auto add = [&](const char* title, const std::string& action,
                         void (KRTrelkindController::*perform)()) {
        menu->add({.title = title,
            .action = action,
            .perform =
                [weak = weak_from_this(), perform](const auto&) {
                    if (const auto self = weak.lock())
                        ((*self).*perform)();
                },
            .isEnabled = validateMenuItem(action)});
    };
    for (const TaskAction& action : taskActions())
        if (action.title)
            add(action.title, action.action, action.perform);
        else
            menu->add(toolkit::MenuItem::separator());
    add("Copy", "copy:", &KRTrelkindController::copySelection);
    return menu;
}

std::shared_ptr<toolkit::Menu> KRTrelkindController::menuForFile(int row) const
{
    const auto task = selectedTask();
    const auto index = static_cast<std::size_t>(row);
    if (!task || row < 0 || index >= task->fileList().size())
        return nullptr;
    const std::string path = platform::paths::appending(task->folderName(), task->fileList()[index]);
    auto menu = std::make_shared<toolkit::Menu>();
    const auto add = [&menu](const char* title, std::function<void()> action) {
        menu->add({.title = title, .perform = [action = std::move(action)](const auto&) { action(); }});
    };
    add("Open", [path] { openWith(toolkit::Workspace::shared().openFile, path); });
    add("Open Folder",
        [folder = task->folderName()] { openWith(toolkit::Workspace::shared().openFile, folder); });
    add("Copy Path", [path] { copy(path); });
    return menu;
}
