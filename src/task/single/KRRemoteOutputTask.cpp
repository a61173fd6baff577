#include "task/single/KRRemoteOutputTask.h"

KRRemoteOutputTask::~KRRemoteOutputTask()
{
    setTable(nullptr);
}

void KRRemoteOutputTask::setTable(toolkit::Table* table)
{
    toolkit::moveSource(*this, table_, table);
}

SVRemoteOutputSource* KRRemoteOutputTask::source() const
{
    SVTaskMachine* machine = runningOn_();
    return machine ? machine->remoteOutputSource() : nullptr;
}

void KRRemoteOutputTask::startMonitor()
{
    if (SVRemoteOutputSource* machine = source()) {
        hasBeenStarted_ = true;
        machine->startListeningToOutput(parent_);
    }
}

void KRRemoteOutputTask::stopMonitor()
{
    if (SVRemoteOutputSource* machine = source()) {
        hasBeenStarted_ = false;
        machine->stopListeningToOutput(parent_);
    }
}

// Whether the end of the table is visible, within two points.
bool KRRemoteOutputTask::followsEnd() const
{
    const toolkit::View* clip = table_->superview();
    return clip && clip->bounds().top() > table_->frame().height - 2.0;
}

void KRRemoteOutputTask::setNumberOfOutputLines(int count)
{
    if (count < howManyLines_)
        linesThatHaveBeenCopied_.clear();
    if (count == howManyLines_)
        return;
    const int earlier = howManyLines_;
    howManyLines_ = count;
    if (!table_)
        return;
    const bool following = earlier > 0 && followsEnd();
    table_->reloadData();
    if (following && count > 0)
        table_->scrollRowToVisible(count - 1);
}

toolkit::CellValue KRRemoteOutputTask::objectValueForTableColumn(
    const toolkit::Table&, std::string_view, int row)
{
    if (const auto line = linesThatHaveBeenCopied_.find(row); line != linesThatHaveBeenCopied_.end())
        return line->second;
    SVRemoteOutputSource* machine = source();
    if (!machine)
        return {};
    // The run may end during the call below; then the task drops its reference to this object.
    const auto self = weak_from_this().lock();
    // A line that can't be fetched is cached as an empty one, so that each line is requested once.
    std::string text = machine->getOutputLineNumber(row, parent_).value_or("");
    return linesThatHaveBeenCopied_[row] = std::move(text);
}
