#pragma once

#include "task/single/SVTaskMachine.h"
#include "toolkit/Table.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

class SVSingleTask;

// The source of the output table while a task runs on a machine that reports output over the network. It
// knows how many lines there are and fetches each line once. Main thread.
class KRRemoteOutputTask : public toolkit::TableDataSource,
                           public std::enable_shared_from_this<KRRemoteOutputTask> {
public:
    // The parent owns this object; the function returns the machine that the task runs on now.
    KRRemoteOutputTask(SVSingleTask& parent, std::function<SVTaskMachine*()> runningOn)
        : parent_(parent), runningOn_(std::move(runningOn))
    { }
    ~KRRemoteOutputTask() override;

    void setTable(toolkit::Table* table);
    void startMonitor();
    void stopMonitor();
    bool hasBeenStarted() const { return hasBeenStarted_; }
    // Sets the current number of lines. A smaller number than before means that the output was replaced.
    void setNumberOfOutputLines(int count);

    int numberOfRowsInTableView(const toolkit::Table&) override { return howManyLines_; }
    toolkit::CellValue objectValueForTableColumn(
        const toolkit::Table&, std::string_view column, int row) override;

private:
    SVRemoteOutputSource* source() const;
    bool followsEnd() const;

    toolkit::Table* table_ = nullptr;
    SVSingleTask& parent_;
    std::function<SVTaskMachine*()> runningOn_;
    int howManyLines_ = 0;
    std::map<int, std::string> linesThatHaveBeenCopied_;
    bool hasBeenStarted_ = false;
};
