#pragma once

#include "platform/loop/MainLoop.h"
#include "toolkit/Controls.h"
#include "toolkit/Table.h"
#include "toolkit/Window.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

class KRTrelkindApplication;

// The window that the program starts with: the wrappers that were opened last, with what their folders tell
// about their runs. The list is kept in "Recent Wrappers.plist" of the user's library. Main thread, except
// for the look into the folders. Must be owned by a shared pointer.
class StartWindow : public toolkit::TableDataSource, public std::enable_shared_from_this<StartWindow> {
public:
    // Takes the kept list over into the workspace. The application must outlive this.
    static std::shared_ptr<StartWindow> create(KRTrelkindApplication& application);
    ~StartWindow() override;

    void show();
    toolkit::Window window;
    toolkit::Table wrappers;
    toolkit::Button open; // The selected ones.
    toolkit::Button choose; // Another one.
    std::function<void()> whenChoosing; // Shows the panel for another wrapper.

    // What the folder of a wrapper tells: how many of its runs are done, run, or were aborted, and on which
    // machine. Any thread.
    static std::string stateOf(const std::string& wrapper);

    int numberOfRowsInTableView(const toolkit::Table&) override;
    toolkit::CellValue objectValueForTableColumn(
        const toolkit::Table&, std::string_view column, int row) override;

private:
    struct Look {
        std::vector<std::string> paths;
        std::vector<std::string> states;
    };

    explicit StartWindow(KRTrelkindApplication& application);
    void openSelected();
    void recentsChanged();
    void look();
    std::shared_ptr<Look> lookInto(std::shared_ptr<Look> look); // Worker.
    void looked(std::shared_ptr<Look> look);

    KRTrelkindApplication& application_;
    toolkit::Stack content_{toolkit::Direction::Down};
    toolkit::Stack foot_{toolkit::Direction::Across};
    Look shown_;
    bool isLooking_ = false;
    std::unique_ptr<platform::Timer> timer_;
};
