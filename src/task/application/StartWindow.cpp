#include "task/application/StartWindow.h"

#include "diagnostics/KRComputationalThread.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/Places.h"
#include "platform/plist/PropertyList.h"
#include "task/application/KRTrelkindApplication.h"
#include "toolkit/Workspace.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

namespace {

namespace files = platform::files;
using platform::Value;
using platform::paths::appending;

constexpr double kSecondsBetweenLooks = 10;

std::string listPath()
{
    return appending(platform::Places::library(), "Recent Wrappers.plist");
}

bool isRunFolder(const std::string& name)
{
    return !name.empty()
        && std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

std::shared_ptr<StartWindow> StartWindow::create(KRTrelkindApplication& application)
{
    std::shared_ptr<StartWindow> made(new StartWindow(application));
    auto& workspace = toolkit::Workspace::shared();
    const auto kept = platform::propertylist::readFile(listPath());
    if (kept && kept->array())
        for (auto path = kept->array()->rbegin(); path != kept->array()->rend(); ++path)
            if (path->text())
                workspace.noteRecentDocument(*path->text());
    workspace.recentDocumentsChanged = [weak = std::weak_ptr(made)] {
        if (const auto self = weak.lock())
            self->recentsChanged();
    };
    made->shown_.paths = workspace.recentDocuments();
    return made;
}

StartWindow::StartWindow(KRTrelkindApplication& application) : application_(application)
{
    window.setTitle("Trelkind");
    window.setContent(&content_);
    content_.addSubview(wrappers);
    content_.addSubview(foot_);
    foot_.addSubview(open);
    foot_.addSubview(choose);

    wrappers.setAccessibleName("Recent wrappers");
    wrappers.setColumns({{.identifier = "Name", .title = "Name"}, {.identifier = "State", .title = "State"},
        {.identifier = "Folder", .title = "Folder"}});
    wrappers.setPlaceholder("No wrapper was opened yet.");
    wrappers.setDataSource(this);
    wrappers.whenActivated = [this](int) { openSelected(); };
    open.setTitle("Open");
    open.whenPressed = [this] { openSelected(); };
    choose.setTitle("Open Another\u2026");
    choose.whenPressed = [this] {
        if (whenChoosing)
            whenChoosing();
    };
}

StartWindow::~StartWindow()
{
    wrappers.setDataSource(nullptr);
    toolkit::Workspace::shared().recentDocumentsChanged = nullptr;
}

void StartWindow::show()
{
    window.orderFront();
    look();
    timer_ = platform::Timer::schedule(kSecondsBetweenLooks, platform::Timer::Repeats::Yes, [this] {
        if (window.isVisible())
            look();
    });
}

void StartWindow::openSelected()
{
    std::vector<std::string> paths; // Opening changes the list.
    for (const int row : wrappers.selectedRows())
        paths.push_back(shown_.paths[static_cast<std::size_t>(row)]);
    for (const std::string& path : paths)
        application_.openTaskWithName(path);
    if (!paths.empty())
        window.close();
}

void StartWindow::recentsChanged()
{
    Value::Array list;
    for (const std::string& path : toolkit::Workspace::shared().recentDocuments())
        list.emplace_back(path);
    std::ignore = platform::propertylist::writeAtomically(list, listPath());
    shown_ = {toolkit::Workspace::shared().recentDocuments(), {}};
    wrappers.reloadData();
    if (window.isVisible())
        look();
}

void StartWindow::look()
{
    if (std::exchange(isLooking_, true))
        return;
    KRComputationalThread::forObject(shared_from_this(), &StartWindow::lookInto,
        std::make_shared<Look>(Look{toolkit::Workspace::shared().recentDocuments(), {}}),
        &StartWindow::looked);
}

std::shared_ptr<StartWindow::Look> StartWindow::lookInto(std::shared_ptr<Look> look)
{
    for (const std::string& path : look->paths)
        look->states.push_back(stateOf(path));
    return look;
}

void StartWindow::looked(std::shared_ptr<Look> look)
{
    isLooking_ = false;
    if (!look || look->paths != toolkit::Workspace::shared().recentDocuments())
        return;
    shown_ = std::move(*look);
    wrappers.reloadData();
}

std::string StartWindow::stateOf(const std::string& wrapper)
{
    const auto names = files::contentsOfDirectory(wrapper);
    if (!names)
        return "not there";
    std::size_t runs = 0;
    std::size_t done = 0;
    std::size_t running = 0;
    std::size_t aborted = 0;
    for (const std::string& name : *names) {
        if (!isRunFolder(name))
            continue;
        const auto has = [folder = appending(wrapper, name)](
                             const char* mark) { return files::exists(appending(folder, mark)); };
        ++runs;
        if (has("VTask_runCompleted"))
            ++done;
        else if (has("VTask_aborted"))
            ++aborted;
        else if (has("VTask_runStarted"))
            ++running;
    }
    std::string state = fmt::format("{} of {} done", done, runs);
    if (running > 0)
        state += fmt::format(", {} running", running);
    if (aborted > 0)
        state += fmt::format(", {} aborted", aborted);
    const auto batch = platform::propertylist::readFile(appending(wrapper, "Remote Machine.plist"));
    if (const auto host = batch ? batch->textFor("Host") : std::nullopt)
        state += fmt::format("; on {}", *host);
    return state;
}

int StartWindow::numberOfRowsInTableView(const toolkit::Table&)
{
    return static_cast<int>(shown_.paths.size());
}

toolkit::CellValue StartWindow::objectValueForTableColumn(
    const toolkit::Table&, std::string_view column, int row)
{
    const auto index = static_cast<std::size_t>(row);
    if (row < 0 || index >= shown_.paths.size())
        return {};
    if (column == "State")
        return index < shown_.states.size() ? shown_.states[index] : std::string();
    const std::string& path = shown_.paths[index];
    return column == "Name" ? platform::paths::lastComponent(path)
                            : platform::paths::deletingLastComponent(path);
}
