#include "task/application/HelpWindows.h"

#include "task/application/KRTrelkindApplication.h"

HelpWindows::HelpWindows(KRTrelkindApplication& application)
{
    const std::pair<const char*, toolkit::TextView*> pages[kPages] = {
        {"Overview", &application.helpOverview},
        {"Making a task wrapper", &application.helpCreateTask},
        {"Running tasks", &application.helpRunningJobs},
        {"Setting up machines", &application.helpSettingMachines},
    };
    for (std::size_t i = 0; i < kPages; ++i) {
        const auto& [title, page] = pages[i];
        page->setEditable(false);
        page->setAccessibleName(title);
        windows_[i].setTitle(title);
        windows_[i].setContent(page);
    }
}
