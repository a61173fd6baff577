#include "task/KRDraggableViewsController.h"

#include "diagnostics/KRMessageCenter.h"

#include <fmt/format.h>

#include <algorithm>

void KRDraggableViewsController::fillFromPropertyList(const platform::Value& list)
{
    controllers_.clear();
    if (!list.array())
        return;
    for (const platform::Value& entry : *list.array())
        if (auto controller = controllerFor_(*this, entry))
            controllers_.push_back(std::move(controller));
}

platform::Value KRDraggableViewsController::propertyList() const
{
    platform::Value::Array list;
    for (const Controller& controller : controllers_) {
        platform::Value entry = controller->propertyList();
        if (entry.isNull())
            KRMessageCenter::addMessage(
                fmt::format("Could not get property from {}", controller->className()));
        else
            list.push_back(std::move(entry));
    }
    return list;
}

void KRDraggableViewsController::addControllerToEnd(Controller controller)
{
    if (controller)
        controllers_.push_back(std::move(controller));
}

void KRDraggableViewsController::moveController(std::size_t from, std::size_t to)
{
    if (from >= controllers_.size() || to >= controllers_.size())
        return;
    Controller moved = std::move(controllers_[from]);
    controllers_.erase(controllers_.begin() + static_cast<std::ptrdiff_t>(from));
    controllers_.insert(controllers_.begin() + static_cast<std::ptrdiff_t>(to), std::move(moved));
}
