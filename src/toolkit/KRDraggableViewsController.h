#pragma once

#include "platform/plist/Value.h"
#include "toolkit/ViewList.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

class KRDraggableViewsController;

// An entry of a list that the user reorders: its stored form, and the view that shows it.
class KRDraggableEntry {
public:
    virtual ~KRDraggableEntry() = default;

    virtual void fillFromPropertyList(const platform::Value&) = 0;
    // What is stored of it; null when that can't be had.
    virtual platform::Value propertyList() const = 0;
    virtual std::string className() const = 0;
    virtual std::shared_ptr<toolkit::View> view() = 0; // Null for an entry that isn't shown.
    virtual std::vector<std::string> draggingTypes() const = 0;
};

// The owner of a list. It is notified of what the user does with the list.
class KRDraggableViewsDelegate {
public:
    using Controller = std::shared_ptr<KRDraggableEntry>;
    virtual ~KRDraggableViewsDelegate() = default;
    // Makes an entry from what was stored, or answers null for one that isn't understood.
    virtual Controller controllerFor(KRDraggableViewsController&, const platform::Value& propertyList) = 0;
    // What is stored of an entry can't be had; it is left out of the list's.
    virtual void couldNotGetPropertyFrom(const std::string& /*className*/) { }
    virtual void entriesWereAdded(
        const std::vector<Controller>&, KRDraggableViewsController& /*toViewController*/)
    { }
    virtual void willRemoveFromController(KRDraggableViewsController&, KRDraggableEntry&) { }
    virtual void userActionStartedForDragController(KRDraggableViewsController&) { }
    virtual void userActionEndedForDragController(KRDraggableViewsController&) { }
};

// A list of entries with one view each, which the user reorders by dragging. Main thread.
class KRDraggableViewsController {
public:
    using Controller = std::shared_ptr<KRDraggableEntry>;
    explicit KRDraggableViewsController(KRDraggableViewsDelegate& delegate);

    // Replaces the list by the entries of an array.
    void fillFromPropertyList(const platform::Value& list);
    // The entries as an array.
    platform::Value propertyList() const;

    const std::vector<Controller>& controllers() const { return controllers_; }
    void addControllerToEnd(Controller controller);
    // Shows the views of the entries that there are now, in their order.
    void forceViewReset();
    toolkit::ViewList& viewList() { return viewList_; }
    void setAcceptableDragTypes(std::vector<std::string> types) { acceptableDragTypes_ = std::move(types); }
    const std::vector<std::string>& acceptableDragTypes() const { return acceptableDragTypes_; }
    // Whether an entry that is dragged from elsewhere may be dropped here.
    bool accepts(const KRDraggableEntry& entry) const;

    // The user: drags an entry to another place, removes one or the selected ones, or takes such a change
    // back.
    void moveController(std::size_t from, std::size_t to);
    void removeController(std::size_t index) { removeControllers({index}); }
    void removeSelectedControllers() { removeControllers(viewList_.selectedRows()); }
    void setControllers(std::vector<Controller> controllers);

private:
    void removeControllers(const std::set<std::size_t>& indices);

    KRDraggableViewsDelegate& delegate_; // Must outlive this.
    std::vector<Controller> controllers_;
    toolkit::ViewList viewList_;
    std::vector<std::string> acceptableDragTypes_;
};
