#pragma once

#include "diagnostics/SVTaskAddition.h"
#include "platform/loop/OperationQueue.h"

#include <memory>
#include <string>
#include <vector>

class SVCopyFileTask;

class SVCopyFileTaskCallback {
public:
    virtual ~SVCopyFileTaskCallback() = default;
    virtual void taskFinished(SVCopyFileTask&) { }
};

// Copies a list of files or folders one after the other. It replaces existing targets and stops at the first
// failure. Every 0.2 seconds it reports the increase of the percentage to a view. At the end it calls the
// callback on the main thread and waits for it.
class SVCopyFileTask : public platform::Operation,
                       public SVCopyFileTaskCallback,
                       public std::enable_shared_from_this<SVCopyFileTask> {
public:
    struct CopyAction {
        std::string from;
        std::string to;
    };
    static std::shared_ptr<SVCopyFileTask> createWithList(std::vector<CopyAction> listOfCopyActions,
        std::shared_ptr<SVTaskAddition> progress, double fraction,
        std::shared_ptr<SVCopyFileTaskCallback> callback);

    bool success() const { return success_; }
    void main() override;

private:
    SVCopyFileTask() = default;
    void report(double increase);

    std::shared_ptr<SVTaskAddition> progress_;
    std::vector<CopyAction> listOfCopyActions_;
    double fractionForList_ = 0; // Kept for the view; nothing reads it.
    std::shared_ptr<SVCopyFileTaskCallback> callback_;
    bool success_ = false;
};
