#include "toolkit/KRDraggableViewsController.h"

#include <algorithm>

KRDraggableViewsController::KRDraggableViewsController(KRDraggableViewsDelegate& delegate)
    : delegate_(delegate)
{
    viewList_.whenMoved = [this](std::size_t from, std::size_t to) { moveController(from, to); };
    viewList_.whenRemoved = [this] { removeSelectedControllers(); };
}

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

void KRDraggableViewsController::removeControllers(const std::set<std::size_t>& indices)
{
    std::vector<Controller> kept;
    std::vector<Controller> removed;
    for (std::size_t i = 0; i < controllers_.size(); ++i)
        (indices.contains(i) ? removed : kept).push_back(controllers_[i]);
    if (removed.empty())
        return;
    delegate_.userActionStartedForDragController(*this);
    for (const Controller& controller : removed)
        delegate_.willRemoveFromController(*this, *controller);
    controllers_ = std::move(kept);
    delegate_.userActionEndedForDragController(*this);
}

void KRDraggableViewsController::setControllers(std::vector<Controller> controllers)
{
    delegate_.userActionStartedForDragController(*this);
    controllers_ = std::move(controllers);
    delegate_.userActionEndedForDragController(*this);
}
