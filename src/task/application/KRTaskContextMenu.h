#pragma once

#include "task/application/KRTrelkindController.h"

#include <memory>

// The pop-up cell of a row of the task table. It shows the context menu of the row's task, or its own menu
// while no controller is set.
class KRTaskContextMenu {
public:
    explicit KRTaskContextMenu(std::shared_ptr<toolkit::Menu> ownMenu) : ownMenu_(std::move(ownMenu)) { }

    // The controller is borrowed.
    void setTask(KRTrelkindController* task, int rowNumber)
    {
        task_ = task;
        rowNumber_ = rowNumber;
    }
    std::shared_ptr<toolkit::Menu> menu() const
    {
        return task_ ? task_->contextMenuForRow(rowNumber_) : ownMenu_;
    }

private:
    KRTrelkindController* task_ = nullptr;
    int rowNumber_ = 0;
    std::shared_ptr<toolkit::Menu> ownMenu_;
};
