#pragma once

#include "toolkit/Menu.h"

#include <functional>
#include <memory>
#include <vector>

class KRTrelkindApplication;

// The menus at the top of every window, in order. Their actions act on the frontmost wrapper window, and an
// item is enabled when its action is possible there.
class MainMenu {
public:
    // The application must outlive the menus.
    explicit MainMenu(KRTrelkindApplication& application);

    const std::vector<std::shared_ptr<toolkit::Menu>>& menus() const { return menus_; }
    // Called when the user quits and no task objects.
    std::function<void()> whenQuitting;

private:
    std::shared_ptr<toolkit::Menu> fileMenu();
    std::shared_ptr<toolkit::Menu> batchMenu();
    std::shared_ptr<toolkit::Menu> windowMenu();
    bool isEnabled(const std::string& action) const;
    void open();
    void quit();

    KRTrelkindApplication& application_;
    std::vector<std::shared_ptr<toolkit::Menu>> menus_;
};
