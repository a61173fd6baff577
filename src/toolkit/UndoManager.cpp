#include "toolkit/UndoManager.h"

#include <utility>

namespace toolkit {

void UndoManager::registerUndo(std::string actionName, std::function<void()> takeBack)
{
    if (state_ == State::Recording)
        redoable_.clear();
    (state_ == State::Undoing ? redoable_ : undoable_)
        .push_back({std::move(actionName), std::move(takeBack)});
}

void UndoManager::perform(std::vector<Step>& steps, State state)
{
    if (steps.empty() || state_ != State::Recording)
        return;
    const Step step = std::move(steps.back());
    steps.pop_back();
    state_ = state;
    if (step.takeBack)
        step.takeBack();
    state_ = State::Recording;
}

void UndoManager::undo()
{
    perform(undoable_, State::Undoing);
}

void UndoManager::redo()
{
    perform(redoable_, State::Redoing);
}

void UndoManager::removeAllActions()
{
    undoable_.clear();
    redoable_.clear();
}

} // namespace toolkit
