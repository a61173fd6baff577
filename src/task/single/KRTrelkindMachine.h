#pragma once

#include "platform/plist/Value.h"
#include "toolkit/KRDraggableViewsController.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class SVTaskController;
class SVTaskMachine;
class SVTrelkindEngine;

// The definition of a machine that takes whole batches, an entry of the machine list. Main thread.
class KRTrelkindMachine : public KRDraggableEntry {
public:
    virtual std::string machineName() const = 0;
    virtual std::string machineDescription() const = 0;
    // What the run menus offer of the machine. Null when its field of queues is empty.
    virtual std::optional<std::vector<std::string>> queuNames() const = 0;
    virtual std::shared_ptr<SVTrelkindEngine> createTaskFor(
        SVTaskController& controller, const std::string& queue) = 0;

    virtual void finishConnections() { }
    virtual void close() { }
    std::vector<std::string> draggingTypes() const override { return {kDragType}; }
    static constexpr const char* kDragType = "SV Machine Definition";

    // The kind of cluster machines, and of an entry without a kind.
    static constexpr const char* kClusterKind = "LSF";
    // The makers of machines by their kind in the machine list. Filled at start-up.
    using Maker = std::function<std::shared_ptr<KRTrelkindMachine>()>;
    static std::map<std::string, Maker>& kinds();
};

// A machine with a task server, as the application sees it.
class SVMachineDefinition {
public:
    virtual ~SVMachineDefinition() = default;
    virtual bool isConnected() const = 0;
    virtual SVTaskMachine* engineController() const = 0; // Null while it has no engine.
    virtual void removeControllerNumber(std::int64_t serialNumber) = 0;
    virtual void disconnectEngineFromServer() = 0;
};
