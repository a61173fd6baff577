#include "toolkit/KRDraggableViewsController.h"

#include <algorithm>

void KRDraggableViewsController::fillFromPropertyList(const platform::Value& list)
{
    controllers_.clear();
    if (!list.array())
        return;
    for (const platform::Value& entry : *list.array())
        if (auto controller = delegate_.controllerFor(*this, entry))
            controllers_.push_back(std::move(controller));
}

platform::Value KRDraggableViewsController::propertyList() const
{
    platform::Value::Array list;
    for (const Controller& controller : controllers_) {
        platform::Value entry = controller->propertyList();
        if (entry.isNull())
            delegate_.couldNotGetPropertyFrom(controller->className());
        else
            list.push_back(std::move(entry));
    }
    return list;
}

void KRDraggableViewsController::addControllerToEnd(Controller controller)
{
    if (!controller)
        return;
    controllers_.push_back(std::move(controller));
    delegate_.entriesWereAdded({controllers_.back()}, *this);
}

void KRDraggableViewsController::forceViewReset()
{
    viewList_.removeAll();
    for (const Controller& controller : controllers_)
        viewList_.add(controller->view());
    viewList_.setNeedsDisplay();
}

bool KRDraggableViewsController::accepts(const KRDraggableEntry& entry) const
{
    const auto types = entry.draggingTypes();
    return std::find_first_of(
               types.begin(), types.end(), acceptableDragTypes_.begin(), acceptableDragTypes_.end())
        != types.end();
}

void KRDraggableViewsController::moveController(std::size_t from, std::size_t to)
{
    if (from >= controllers_.size() || to >= controllers_.size())
        return;
    delegate_.userActionStartedForDragController(*this);
    Controller moved = std::move(controllers_[from]);
    controllers_.erase(controllers_.begin() + static_cast<std::ptrdiff_t>(from));
    controllers_.insert(controllers_.begin() + static_cast<std::ptrdiff_t>(to), std::move(moved));
    delegate_.userActionEndedForDragController(*this);
}

void KRDraggableViewsController::removeController(std::size_t index)
{
    if (index >= controllers_.size())
        return;
    const Controller removed = controllers_[index];
    delegate_.userActionStartedForDragController(*this);
    delegate_.willRemoveFromController(*this, *removed);
    controllers_.erase(controllers_.begin() + static_cast<std::ptrdiff_t>(index));
    delegate_.userActionEndedForDragController(*this);
}
