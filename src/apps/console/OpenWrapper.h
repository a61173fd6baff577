#pragma once

#include "apps/console/MessagePrinter.h"
#include "task/KRTrelkindApplication.h"
#include "task/KRTrelkindController.h"

#include <memory>
#include <optional>
#include <string>

// The exit status of every verb.
enum ExitStatus { kDone = 0, kNotDone = 1, kWrongUse = 2, kInterrupted = 130 };

// The application with one wrapper open, as every verb that names a wrapper needs it.
class OpenWrapper {
public:
    // Null when the path is no wrapper; the reason is already printed.
    static std::unique_ptr<OpenWrapper> open(const std::string& path);

    ~OpenWrapper(); // Tells the companion what it hasn't heard yet.
    OpenWrapper(const OpenWrapper&) = delete;
    OpenWrapper& operator=(const OpenWrapper&) = delete;

    KRTrelkindApplication& application() { return application_; }
    KRTrelkindController& controller() { return *controller_; }
    TrelkindWindow& views() { return *controller_->views(); }
    MessagePrinter& messages() { return messages_; }

    // A task by its number as shown, from 1; null when there is none, with the reason printed.
    std::shared_ptr<SVSingleTask> task(int numberShown);
    // The same, selected in the window, so that the other tables show what belongs to it.
    std::shared_ptr<SVSingleTask> selectTask(int numberShown);

private:
    OpenWrapper() = default;

    MessagePrinter messages_;
    KRTrelkindApplication application_;
    std::shared_ptr<KRTrelkindController> controller_;
};

// Why a path can't be opened as a wrapper, as a sentence; nothing when it can.
std::optional<std::string> whyNoWrapper(const std::string& path);
