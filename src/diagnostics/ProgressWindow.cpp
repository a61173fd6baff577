#include "diagnostics/ProgressWindow.h"

namespace {

constexpr toolkit::Size kSmallest{420, 160}; // Points; wide enough for a line with its bar and its button.

} // namespace

ProgressWindow::ProgressWindow()
{
    window.setTitle("Progress");
    window.setContent(&content);
    window.setSizeLimits(kSmallest, kSmallest);
    window.shouldClose = [this] { return controller_->windowShouldClose(); };
    content.addSubview(list);
    content.addSubview(count);
    list.setAccessibleName("Progress");
    count.setAccessibleName("Work count");
    controller_->setProgressView(&list);
    controller_->setHowManyProcesses(&count);
}

ProgressWindow::~ProgressWindow()
{
    controller_->setProgressView(nullptr);
    controller_->setHowManyProcesses(nullptr);
}
