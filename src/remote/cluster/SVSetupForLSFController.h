#pragma once

#include "remote/cluster/BatchFile.h"
#include "remote/cluster/SVCopyUsingSCPFromLocal.h"
#include "remote/cluster/SVSSHCommand.h"
#include "remote/machines/KRTrelkindMachineLSF.h"
#include "toolkit/Controls.h"
#include "toolkit/Window.h"

#include <memory>

class SVTaskController;

// A window that uploads the sources and the input of a wrapper once, and compiles. It shares the batch's file
// with the engine, makes no work folder, tries nothing again and submits nothing. Main thread. It must go
// before the controller.
class SVSetupForLSFController : public toolkit::Window,
                                public std::enable_shared_from_this<SVSetupForLSFController> {
public:
    static std::shared_ptr<SVSetupForLSFController> newForTask(
        SVTaskController& task, std::shared_ptr<KRTrelkindMachineLSF> forMachine);
    void start();

    struct SetupWindow {
        toolkit::Stack view{toolkit::Direction::Down};
        toolkit::TextField sourceStatus;
        toolkit::ProgressBar sourceProgress;
        toolkit::TextView makeOutputView;
        toolkit::TextField inputStatus;
        toolkit::ProgressBar taskProgress;
        SetupWindow();
    };
    SetupWindow& parts() { return parts_; }

private:
    SVSetupForLSFController(SVTaskController& task, std::shared_ptr<KRTrelkindMachineLSF> machine);
    void uploadSources();
    void uploadTasks();
    void copyingSourcesFinished(SVCopyUsingSCPFromLocal& operation);
    void makeFinished(SVSSHCommand&) { }
    void copyingTasksFinished(SVCopyUsingSCPFromLocal& operation);
    std::string programName() const;
    std::string workDirectory() const;
    SVCopyUsingSCPFromLocal::Progress progressOf(toolkit::ProgressBar SetupWindow::*bar);

    // A callback that does nothing once the window is gone.
    template <typename Operation>
    std::function<void(Operation&)> callback(void (SVSetupForLSFController::*step)(Operation&))
    {
        return [window = weak_from_this(), step](Operation& operation) {
            if (const auto self = window.lock())
                ((*self).*step)(operation);
        };
    }

    SVTaskController& task_;
    const std::shared_ptr<KRTrelkindMachineLSF> machine_;
    BatchFile infoFile_;
    SetupWindow parts_;
};
