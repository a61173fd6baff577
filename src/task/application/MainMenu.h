#pragma once

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
    // Called when the user quits and no task objects.
    std::function<void()> whenQuitting;
    // Shows the window of work in progress; filled by the front end that has one.
    std::function<void()> showProgress;

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
    void quit();

    KRTrelkindApplication& application_;
    HelpWindows help_;
    std::vector<std::shared_ptr<toolkit::Menu>> menus_;
};
