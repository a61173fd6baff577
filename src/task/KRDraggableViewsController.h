#pragma once

#include "platform/plist/Value.h"
#include "task/KRTrelkindMachine.h"
#include "toolkit/ViewList.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

class KRDraggableViewsController;

// Who is told of what the user does with the list.
class KRDraggableViewsDelegate {
public:
    using Controllers = std::vector<std::shared_ptr<KRTrelkindMachine>>;
    virtual ~KRDraggableViewsDelegate() = default;
    virtual void entriesWereAdded(const Controllers&, KRDraggableViewsController& /*toViewController*/) { }
    virtual void willRemoveFromController(KRDraggableViewsController&, KRTrelkindMachine& /*entry*/) { }
    virtual void userActionStartedForDragController(KRDraggableViewsController&) { }
    virtual void userActionEndedForDragController(KRDraggableViewsController&) { }
};

// The list of machine definitions, which the user reorders by dragging. Main thread.
class KRDraggableViewsController {
public:
    using Controller = std::shared_ptr<KRTrelkindMachine>;
    // Makes a definition from a stored entry, or answers null for one that isn't understood.
    using Factory = std::function<Controller(KRDraggableViewsController&, const platform::Value&)>;
    explicit KRDraggableViewsController(Factory controllerFor) : controllerFor_(std::move(controllerFor)) { }

    // Replaces the list by the entries of an array.
    void fillFromPropertyList(const platform::Value& list);
    // The entries as an array; one that can't be had is reported and left out.
    platform::Value propertyList() const;

    const std::vector<Controller>& controllers() const { return controllers_; }
    void addControllerToEnd(Controller controller);
    // What the user does: drags an entry to another place, or removes one.
    void moveController(std::size_t from, std::size_t to);
    void removeController(std::size_t index);
    void setDelegate(KRDraggableViewsDelegate* delegate) { delegate_ = delegate; } // Borrowed.
    void forceViewReset() { viewList_.needsDisplay = true; }
    toolkit::ViewList& viewList() { return viewList_; }
    void setAcceptableDragTypes(std::vector<std::string> types) { acceptableDragTypes_ = std::move(types); }
    const std::vector<std::string>& acceptableDragTypes() const { return acceptableDragTypes_; }

private:
    Factory controllerFor_;
    KRDraggableViewsDelegate* delegate_ = nullptr;
    std::vector<Controller> controllers_;
    toolkit::ViewList viewList_;
    std::vector<std::string> acceptableDragTypes_;
};
