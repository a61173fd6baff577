#pragma once

#include "platform/loop/MainLoop.h"
#include "platform/plist/Value.h"
#include "platform/service/ServiceConnection.h"
#include "remote/machines/SVMachineDefinitionController.h"
#include "remote/server/ScpTransfers.h"
#include "remote/server/ServerMessages.h"
#include "remote/server/ServerPlaces.h"
#include "task/single/SVTaskMachine.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The client of a task server: takes single tasks, copies each task's folder there with scp, lets the server
// run it, and brings the results back. The messages go over a TCP connection.
//
// A task goes from one list to the next: waits for its copy, is copied, is on the server, where it stays
// while it runs and until its output is fetched. tasksWaiting() and tasksRunning() of the base class tell
// besides whether the server has started it.
//
// A call that fails is reported and ends the connection: a server that has failed once isn't trusted again.
// Main thread, except for the operations that say otherwise; a call waits at most 4 seconds. What the server
// tells meanwhile is handled afterwards, never inside of a call.
class SVRemoteEngineController : public SVServerEngine, public SVRemoteOutputSource {
public:
    // Starts at once to look for the server. Null for an empty host name. Without a user it is the user of
    // this process. The parent, which may be null, is told of the outcome as long as it exists.
    static std::shared_ptr<SVRemoteEngineController> machine(
        const std::string& name, const std::string& user, SVMachineDefinitionController* parent);
    ~SVRemoteEngineController() override;

    void disconnectEngineFromServer() override;
    // A task controller goes away: its folder on the server goes, too.
    void removeControllerNumber(std::int64_t serialNumber) override;

    void addTask(const std::shared_ptr<SVSingleTask>& task) override;
    void abortJob(SVSingleTask& task) override;

    bool isConnected() const { return connection_ && numberAtRemoteLocation_; }
    bool isLocal() const override { return false; }
    bool isAwake() const { return true; }
    double loadLevel() const { return loadLevel_; } // As the server last told; 0 before.
    std::optional<std::string> machineName() const override { return hostName_; }
    static std::string thisMachineName();

    SVRemoteOutputSource* remoteOutputSource() override { return this; }
    void startListeningToOutput(SVSingleTask& task) override;
    void stopListeningToOutput(SVSingleTask& task) override;
    // Nothing when the line can't be had. A line beyond 64 KiB is cut.
    std::optional<std::string> getOutputLineNumber(int line, SVSingleTask& forTask) override;

    // The path of a project's program on the server.
    std::string remoteExecutableFor(const SVTaskController& controller) const;

    // Copies a file or a folder. Whether all of it arrived. Worker threads.
    bool scpFromToOnMachine(const std::string& from, const std::string& to, const std::string& onMachine,
        const std::shared_ptr<SVSingleTask>& delegate);
    bool scpFromOnMachineTo(const std::string& from, const std::string& onMachine, const std::string& to,
        const std::shared_ptr<SVSingleTask>& delegate);

    // Runs the program "ServerPath" on the machine through ssh. "Status" becomes "Failed" when it can't be
    // launched or doesn't detach within about 11 seconds. Returns the same dictionary. Worker threads.
    std::shared_ptr<platform::Value> launchServerThroughSSH(std::shared_ptr<platform::Value> dictionary);

    static std::string& sshProgram(); // /usr/bin/ssh, unless a test says otherwise.

    enum class TransferState { None, NotYet, UnderWay, OnServer };
    TransferState transferStateOf(const SVSingleTask& task) const;

private:
    using Task = std::shared_ptr<SVSingleTask>;
    using TaskList = std::vector<Task>;
    // A copy on a worker thread. What belongs to the controller is read before, on the main thread.
    struct Copy {
        Task task;
        ScpRequest request;
        bool failed = false; // Not set when it was ended for the task's sake.
    };
    // The exception of a message.
    struct Exception {
        std::string name;
        std::string reason;
        std::string text() const;
    };
    enum HeartbeatAnswer { Unknown = 0, Yes = 1, No = 2 };

    SVRemoteEngineController(std::string host, std::string user, SVMachineDefinitionController* parent);
    ScpRequest request(ScpRequest::Direction direction, std::string from, std::string to, Task task) const;

    // Finding the server.
    std::shared_ptr<serverplaces::PortFile> fillInPortNumber(std::shared_ptr<std::int64_t> counter);
    void finishedFillingInPortNumber(std::shared_ptr<serverplaces::PortFile> found);
    bool connectToServerAtPort(const serverplaces::PortFile& found);
    bool setUpConnection();
    void checkOnConnection();
    bool heartbeat();
    bool parentHasGone() const { return hadParent_ && parent_.expired(); }

    // Messages.
    platform::Result<platform::Value, Exception> call(const char* operation, const platform::Value& argument);
    // The same; reports an exception under the short text and disconnects.
    std::optional<platform::Value> ask(
        const char* operation, const platform::Value& argument, const char* shortText);
    bool hasConnectionNumber() const; // Reports when not.
    platform::Value::Dictionary taskIds(const SVSingleTask& task, const SVTaskController& controller) const;
    void serveCallbacks();
    void handle(const servermessages::TaskNews& news);

    // A task's way.
    void transferExecutableOver(const SVTaskController& controller, const Task& withTask);
    void transferTaskOver(const Task& task);
    void startCopy(
        std::shared_ptr<Copy> copy, void (SVRemoteEngineController::*ending)(std::shared_ptr<Copy>));
    std::shared_ptr<Copy> runCopy(std::shared_ptr<Copy> copy); // Worker.
    void finishedCopyingExecutable(std::shared_ptr<Copy> copy);
    void finishedTransferringTask(std::shared_ptr<Copy> copy);
    void transferredTaskWasAborted(const Task& task, const SVTaskController& controller);
    void startedComputingTask(const servermessages::TaskNews& news);
    void newOutputLength(const servermessages::TaskNews& news);
    void finishedRunningTask(const servermessages::TaskNews& news);
    void fetchOutput(const Task& task, SVTaskController& controller);
    void finishedCopyingOutput(std::shared_ptr<Copy> copy);
    // Removes what an aborted task has left, here and there.
    void cleanUpAborted(const Task& task, SVTaskController& controller);
    Task removeTask(const SVSingleTask& task, TaskList& from);
    void removeFromAllLists(const SVSingleTask& task);
    Task find(const servermessages::TaskNews& news, const TaskList& list) const;

    const std::string hostName_;
    const std::string userName_;
    std::weak_ptr<SVMachineDefinitionController> parent_;
    const bool hadParent_;
    int portNumber_ = -1; // -1 until known.
    TaskList tasksThatHaventBeenTransferred_;
    TaskList tasksThatAreBeingTransferred_;
    TaskList tasksThatAreOnRemoteMachine_;
    std::vector<std::int64_t> executableExistsFor_; // Serial numbers of task controllers.
    std::vector<std::int64_t> executableBeingTransferredFor_;
    std::shared_ptr<platform::ServiceConnection> connection_; // Null while there is no connection.
    HeartbeatAnswer respondsToHeartbeat_ = Unknown;
    std::string remoteFolder_;
    std::optional<std::int64_t> numberAtRemoteLocation_; // This client at the server.
    ScpTransfers transfers_;
    std::unique_ptr<platform::Timer> checkOnConnection_;
    double loadLevel_ = 0;
    std::size_t waitingNews_ = 0; // Told by the server and not yet handled.
};
