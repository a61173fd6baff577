#pragma once

#include "task/KRTrelkindController.h"

#include <memory>

// The pop-up cell of a row of the task table: it shows the menu of the task that stands there, and its own
// menu as long as it belongs to no controller.
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
