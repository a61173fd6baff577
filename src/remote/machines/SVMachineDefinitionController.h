#pragma once

#include "platform/loop/NotificationCenter.h"
#include "task/engine/SVEngineController.h"
#include "task/single/KRTrelkindMachine.h"
#include "toolkit/Controls.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

class SVMachineDefinitionController;

// An engine that works through a task server, as its definition sees it.
class SVServerEngine : public SVEngineController {
public:
    // Ends the connection, and calls disconnectAndRemove() of the definition afterwards.
    virtual void disconnectEngineFromServer() = 0;
    virtual void removeControllerNumber(std::int64_t serialNumber) = 0;
};

// The definition of a machine on which a task server can be started. It owns at most one engine and shows its
// state in a row that can be collapsed. Main thread.
class SVMachineDefinitionController : public SVMachineDefinition,
                                      public std::enable_shared_from_this<SVMachineDefinitionController> {
public:
    enum ConnectionStatus { NoConnection = 0, Connecting = 1, Connected = 2 };
    static constexpr float kHeightWhenClosed = 29.0F;

    // The row.
    struct MachineEntry {
        toolkit::View view;
        toolkit::TextField displayName;
        toolkit::TextField machineName;
        toolkit::Button connectionButton;
        toolkit::CheckBox toggleButton;
        toolkit::View togglePart; // In the row only while it is open.
        toolkit::View inlineView;
        MachineEntry();
    };

    // A new definition with its row.
    static std::shared_ptr<SVMachineDefinitionController> readFromFile();
    ~SVMachineDefinitionController() override;

    // Makes the engine for a machine and a user. Null when that isn't possible. Filled at start-up.
    using EngineMaker = std::function<std::shared_ptr<SVServerEngine>(
        const std::string& machine, const std::string& user, SVMachineDefinitionController& parent)>;
    static EngineMaker& engineMaker();

    void connect(); // The user.
    void disconnect();
    void connectToServer(); // Every definition at once.
    void disconnectEngineFromServer() override { disconnect(); }

    // Called by the engine.
    void remoteEngineFailed();
    void remoteEngineConnected();
    void disconnectAndRemove();

    bool connected() const { return engineController_ != nullptr; }
    bool isConnected() const override { return connected(); }
    int connectionStatus() const { return connectionStatus_; }
    SVServerEngine* engineController() const override { return engineController_.get(); }
    void removeControllerNumber(std::int64_t serialNumber) override;

    void setName(std::string name) { storedMachineName_ = std::move(name); }
    void setUser(std::string user) { storedUserName_ = std::move(user); }
    void setDisplayName(std::string name) { storedDisplayName_ = std::move(name); }
    // Whether a server is trusted that writes no secret beside its port. Not unless the user says so.
    void setAllowsServerWithoutSecret(bool allows) { allowsServerWithoutSecret_ = allows; }
    bool allowsServerWithoutSecret() const { return allowsServerWithoutSecret_; }
    const std::optional<std::string>& name() const { return storedMachineName_; }
    const std::optional<std::string>& user() const { return storedUserName_; }
    // "Display", "Address" and "User", as far as they are known.
    std::map<std::string, std::string> machineDescription() const;

    MachineEntry& entry() { return *entry_; }
    toolkit::View& view() { return entry_->view; }
    void setView(const toolkit::Rect& frame); // The place of the row, before it is first prepared.
    void awakeFromNib(); // Prepares the row, once.
    void open();
    void close();
    void toggleState();
    bool isClosed() const { return toggleIsClosed_; }

private:
    SVMachineDefinitionController();
    std::shared_ptr<SVServerEngine> makeEngine();
    void setHeight(float height);
    void moveInlineView(float by);

    std::unique_ptr<MachineEntry> entry_ = std::make_unique<MachineEntry>();
    std::optional<std::string> storedDisplayName_;
    std::optional<std::string> storedMachineName_;
    std::optional<std::string> storedUserName_;
    bool allowsServerWithoutSecret_ = false;
    bool toggleIsClosed_ = false;
    bool readFromFile_ = false;
    int connectionStatus_ = NoConnection;
    float heightWhenClosed_ = kHeightWhenClosed;
    float heightWhenOpen_ = 0;
    std::shared_ptr<SVServerEngine> engineController_;
    std::unique_ptr<platform::NotificationCenter::Observation> connectObservation_;
};
