#include "task/application/MainMenu.h"

#include "diagnostics/KRMessageCenter.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/engine/SVTrelkindEngineLocal.h"
#include "toolkit/ColumnMenus.h"
#include "toolkit/Words.h"
#include "toolkit/Workspace.h"

#include <fmt/format.h>

namespace {

constexpr double kSecondsBetweenAsking = 0.1;

// menuNeedsUpdate() keeps the first two items of the cluster menu.
constexpr const char* kNewMachine = "New Machine";

toolkit::Window* frontWindow()
{
    const auto& windows = toolkit::ShownWindows::shared().frontToBack();
    return windows.empty() ? nullptr : windows.front();
}

toolkit::UndoManager* frontUndoManager()
{
    toolkit::Window* window = frontWindow();
    return window ? &window->undoManager() : nullptr;
}

} // namespace

MainMenu::MainMenu(KRTrelkindApplication& application) : application_(application), help_(application)
{
    menus_ = {fileMenu(), editMenu(), batchMenu(), taskMenu(), viewMenu(), windowMenu(), helpMenu()};
    for (const auto& menu : menus_)
        menu->validator = [this](const std::string& action) { return isEnabled(action); };
}

bool MainMenu::isEnabled(const std::string& action) const
{
    if (action == "openTask:" || action == "terminate:" || action == "showMachines:"
        || action == "showMessages:" || action == "showProgress:" || action == "showHelp:"
        || action == "showAbout:")
        return true;
    if (action == "performClose:")
        return frontWindow() != nullptr;
    if (action == "undo:" || action == "redo:") {
        const toolkit::UndoManager* undo = frontUndoManager();
        return undo && (action == "undo:" ? undo->canUndo() : undo->canRedo());
    }
    return application_.validateMenuItem(action);
}

std::shared_ptr<toolkit::Menu> MainMenu::fileMenu()
{
    auto menu = std::make_shared<toolkit::Menu>("File");
    menu->add({.title = "Open\u2026",
        .action = "openTask:",
        .perform = [this](const auto&) { open(); },
        .key = "Ctrl+O"});
    menu->add({.title = "Close",
        .action = "performClose:",
        .perform =
            [](const auto&) {
                if (toolkit::Window* window = frontWindow())
                    window->userCloses();
            },
        .key = "Ctrl+W"});
    menu->add(toolkit::MenuItem::separator());
    menu->add({.title = "Quit",
        .action = "terminate:",
        .perform = [this](const auto&) { quit(); },
        .key = "Ctrl+Q"});
    return menu;
}

std::shared_ptr<toolkit::Menu> MainMenu::editMenu()
{
    auto menu = std::make_shared<toolkit::Menu>("Edit");
    const auto add = [&menu](const char* verb, const char* action, const char* key,
                         void (toolkit::UndoManager::*perform)()) {
        menu->add({.title = verb,
            .action = action,
            .perform =
                [perform](const auto&) {
                    if (toolkit::UndoManager* undo = frontUndoManager())
                        (undo->*perform)();
                },
            .key = key});
    };
    add("Undo", "undo:", "Ctrl+Z", &toolkit::UndoManager::undo);
    add("Redo", "redo:", "Ctrl+Shift+Z", &toolkit::UndoManager::redo);
    menu->add(toolkit::MenuItem::separator());
    menu->add({.title = "Copy Tasks",
        .action = "copy:",
        .perform =
            [this](const auto&) {
                if (const auto controller = application_.frontController())
                    controller->copySelection();
            },
        .key = "Ctrl+C"});
    menu->needsUpdate = [](toolkit::Menu& shown) {
        const toolkit::UndoManager* undo = frontUndoManager();
        shown.change(0,
            [undo](toolkit::MenuItem& item) { item.title = "Undo " + (undo ? undo->undoActionName() : ""); });
        shown.change(1,
            [undo](toolkit::MenuItem& item) { item.title = "Redo " + (undo ? undo->redoActionName() : ""); });
    };
    return menu;
}

std::shared_ptr<toolkit::Menu> MainMenu::batchMenu()
{
    auto menu = std::make_shared<toolkit::Menu>("Batch");
    const auto add = [&](const char* title, const char* action, const char* key,
                         void (KRTrelkindController::*perform)()) {
        menu->add({.title = title,
            .action = action,
            .perform =
                [this, perform](const auto&) {
                    if (const auto controller = application_.frontController())
                        ((*controller).*perform)();
                },
            .key = key});
    };
    add("Run on this computer", "startLocalTask:", "Ctrl+R", &KRTrelkindController::startLocalTask);

    auto clusters = std::make_shared<toolkit::Menu>("Run on cluster");
    clusters->add({.title = kNewMachine, .action = "addLSFMachine:", .perform = [this](const auto&) {
                       application_.addLSFMachine(true);
                   }});
    clusters->add(toolkit::MenuItem::separator());
    clusters->needsUpdate = [this](toolkit::Menu& shown) { application_.menuNeedsUpdate(shown); };
    clusters->validator = [this](const std::string& action) { return isEnabled(action); };
    menu->add({.title = clusters->title(), .submenu = clusters});

    add("End all tasks", "endAllTasks:", "", &KRTrelkindController::endAllTasks);
    menu->add(toolkit::MenuItem::separator());
    add("Clear aborted tasks", "clearAbortedTasks:", "", &KRTrelkindController::clearAbortedTasks);
    add("Prepare for upload", "prepareForUpload:", "", &KRTrelkindController::prepareForUpload);
    return menu;
}

std::shared_ptr<toolkit::Menu> MainMenu::taskMenu()
{
    auto menu = std::make_shared<toolkit::Menu>("Task");
    for (const auto& action : KRTrelkindController::taskActions())
        if (action.title)
            menu->add({.title = action.title,
                .action = action.action,
                .perform =
                    [this, perform = action.perform](const auto&) {
                        if (const auto controller = application_.frontController())
                            ((*controller).*perform)();
                    },
                .key = action.key});
        else
            menu->add(toolkit::MenuItem::separator());
    return menu;
}

toolkit::Table* MainMenu::frontTaskList() const
{
    const auto controller = application_.frontController();
    return controller && controller->views() ? &controller->views()->taskList : nullptr;
}

std::shared_ptr<toolkit::Menu> MainMenu::showMenu()
{
    auto menu = std::make_shared<toolkit::Menu>("Show");
    for (std::size_t i = 0; i < kShownTasksWords.size(); ++i)
        menu->add({.title = kShownTasksWords[i], .action = "showTasks:", .perform = [this, i](const auto&) {
                       if (const auto controller = application_.frontController())
                           controller->showTasks(static_cast<ShownTasks>(i));
                   }});
    menu->needsUpdate = [this](toolkit::Menu& shown) {
        const auto controller = application_.frontController();
        const int chosen = controller ? static_cast<int>(controller->shownTasks()) : -1;
        for (int i = 0; i < shown.count(); ++i)
            shown.change(i, [&](toolkit::MenuItem& item) { item.isChecked = i == chosen; });
    };
    return menu;
}

std::shared_ptr<toolkit::Menu> MainMenu::viewMenu()
{
    auto menu = std::make_shared<toolkit::Menu>("View");
    const auto lookup = [this] { return frontTaskList(); };
    for (const auto& submenu : {showMenu(), toolkit::sortingMenu(lookup), toolkit::columnsMenu(lookup),
             toolkit::columnOrderMenu(lookup)}) {
        submenu->validator = [this](const std::string& action) { return isEnabled(action); };
        menu->add({.title = submenu->title(), .submenu = submenu});
    }
    menu->add(toolkit::MenuItem::separator());
    menu->add({.title = "Reload",
        .action = "reload:",
        .perform =
            [this](const auto&) {
                if (const auto controller = application_.frontController())
                    controller->reload();
            },
        .key = "F5"});
    return menu;
}

std::shared_ptr<toolkit::Menu> MainMenu::windowMenu()
{
    auto menu = std::make_shared<toolkit::Menu>("Window");
    menu->add({.title = "Machines", .action = "showMachines:", .perform = [this](const auto&) {
                   application_.machineWindow().orderFront();
               }});
    menu->add({.title = "Messages", .action = "showMessages:", .perform = [](const auto&) {
                   KRMessageCenter::sharedMessageCenter()->showMessageWindow();
               }});
    menu->add({.title = "Progress", .action = "showProgress:", .perform = [this](const auto&) {
                   if (showProgress)
                       showProgress();
               }});
    return menu;
}

std::shared_ptr<toolkit::Menu> MainMenu::helpMenu()
{
    auto menu = std::make_shared<toolkit::Menu>("Help");
    for (std::size_t page = 0; page < HelpWindows::kPages; ++page)
        menu->add({.title = help_.title(page),
            .action = "showHelp:",
            .perform = [this, page](const auto&) { help_.show(page); },
            .key = page == 0 ? "F1" : ""});
    menu->add(toolkit::MenuItem::separator());
    menu->add(
        {.title = toolkit::words("About Trelkind"), .action = "showAbout:", .perform = [this](const auto&) {
             if (showAbout)
                 showAbout();
         }});
    return menu;
}

void MainMenu::open()
{
    if (const auto& show = toolkit::Workspace::shared().showFilePanel)
        show({.kind = toolkit::FilePanel::Kind::OpenFolders,
            .title = "Open a task wrapper",
            .answered = [this](int returnCode, const std::vector<std::string>& chosen) {
                application_.openTask(returnCode, chosen);
            }});
}

void MainMenu::quit()
{
    if (isAsking_ || ending_)
        return;
    if (!application_.applicationShouldTerminate()) {
        if (whenStaying)
            whenStaying();
        return;
    }
    const auto work = SVTrelkindEngineLocal::allWork();
    if (work.running + work.waiting == 0)
        return end(Ending::WithAll);
    askAboutRuns();
}

void MainMenu::askAboutRuns()
{
    const auto& show = toolkit::Workspace::shared().showAlert;
    if (!show)
        return endRuns();
    isAsking_ = true;
    const auto work = SVTrelkindEngineLocal::allWork();
    std::string informative =
        "Runs that are left go on by themselves; the next start shows what became of them.";
    if (work.waiting > 0)
        informative += work.waiting == 1
            ? " 1 task has not been started; it stays waiting."
            : fmt::format(" {} tasks have not been started; they stay waiting.", work.waiting);
    show({.message = fmt::format("{} still running on this computer.",
              work.running == 1 ? "1 task is" : fmt::format("{} tasks are", work.running)),
        .informative = std::move(informative),
        .buttons = {"Leave Running", "End Tasks", "Stay"},
        .answered = [this](int button) {
            isAsking_ = false;
            if (button == 1)
                return endRuns();
            if (button == 0) {
                SVTrelkindEngineLocal::dropAllWaiting();
                return end(Ending::LeavingRuns);
            }
            if (whenStaying)
                whenStaying();
        }});
}

// Programs that are asked to end may take a moment.
void MainMenu::endRuns()
{
    SVTrelkindEngineLocal::endAllWork();
    ending_ = platform::Timer::schedule(kSecondsBetweenAsking, platform::Timer::Repeats::Yes, [this] {
        const auto work = SVTrelkindEngineLocal::allWork();
        if (work.running + work.waiting == 0)
            end(Ending::WithAll);
    });
}

void MainMenu::end(Ending ending)
{
    const auto timer = std::move(ending_); // Its own action may be the caller.
    application_.applicationWillTerminate();
    if (whenQuitting)
        whenQuitting(ending);
}
