#pragma once

#include "apps/console/MessagePrinter.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/application/KRTrelkindController.h"

#include <memory>
#include <optional>
#include <string>

// The exit status of every verb.
enum ExitStatus { kDone = 0, kNotDone = 1, kWrongUse = 2, kInterrupted = 130 };

// The application with one wrapper open.
class OpenWrapper {
public:
    // Null when the path is not a wrapper; the reason is already printed. A batch that the wrapper has on a
    // cluster isn't gone on with.
    static std::unique_ptr<OpenWrapper> open(const std::string& path);

    ~OpenWrapper(); // Sends pending changes to the companion.
    OpenWrapper(const OpenWrapper&) = delete;
    OpenWrapper& operator=(const OpenWrapper&) = delete;

    KRTrelkindApplication& application() { return application_; }
    KRTrelkindController& controller() { return *controller_; }
    TrelkindWindow& views() { return *controller_->views(); }
    MessagePrinter& messages() { return messages_; }

    // A task by its number in the table, from 1. Null when there is none; the reason is already printed.
    std::shared_ptr<SVSingleTask> task(int numberShown);
    // The same, and selects the task in the window, so that the other tables show its content.
    std::shared_ptr<SVSingleTask> selectTask(int numberShown);

private:
    OpenWrapper() = default;

    MessagePrinter messages_;
    KRTrelkindApplication application_;
    std::shared_ptr<KRTrelkindController> controller_;
};

// Returns why a path can't be opened as a wrapper, as a sentence; nothing when it can.
std::optional<std::string> whyNoWrapper(const std::string& path);
