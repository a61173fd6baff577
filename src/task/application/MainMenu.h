#pragma once

#include "platform/loop/MainLoop.h"
#include "task/application/HelpWindows.h"
#include "toolkit/Table.h"

#include <functional>
#include <memory>
#include <vector>

class KRTrelkindApplication;

// The menus at the top of every window, in order. Those of File and Edit act on the frontmost window, those
// of Batch, Task and View on the frontmost wrapper. An item is enabled when its action is possible there.
class MainMenu {
public:
    // The application must outlive the menus.
    explicit MainMenu(KRTrelkindApplication& application);

    const std::vector<std::shared_ptr<toolkit::Menu>>& menus() const { return menus_; }
    // The user quits: from the menu, or because he has closed the last window. No task may object. While runs
    // go on on this computer he is asked what becomes of them.
    void quit();
    enum class Ending {
        WithAll, // Nothing is at work here any more.
        LeavingRuns, // Runs go on without the program, which must not wait for them.
    };
    std::function<void(Ending)> whenQuitting;
    std::function<void()> whenStaying; // The user has been asked, or refused, and the program goes on.
    // Shows the window of work in progress; filled by the front end that has one.
    std::function<void()> showProgress;
    std::function<void()> showAbout; // The same of the window of versions and licences.

private:
    std::shared_ptr<toolkit::Menu> fileMenu();
    std::shared_ptr<toolkit::Menu> editMenu();
    std::shared_ptr<toolkit::Menu> batchMenu();
    std::shared_ptr<toolkit::Menu> taskMenu();
    std::shared_ptr<toolkit::Menu> viewMenu();
    std::shared_ptr<toolkit::Menu> showMenu();
    std::shared_ptr<toolkit::Menu> windowMenu();
    std::shared_ptr<toolkit::Menu> helpMenu();
    toolkit::Table* frontTaskList() const; // Null when no wrapper is open.
    bool isEnabled(const std::string& action) const;
    void open();
    void askAboutRuns();
    void endRuns();
    void end(Ending ending);

    KRTrelkindApplication& application_;
    HelpWindows help_;
    std::vector<std::shared_ptr<toolkit::Menu>> menus_;
    std::unique_ptr<platform::Timer> ending_; // While the runs end that the user doesn't want to go on.
    bool isAsking_ = false;
};
