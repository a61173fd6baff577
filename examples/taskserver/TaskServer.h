#pragma once

#include "examples/taskserver/Misbehavior.h"
#include "examples/taskserver/ServedTask.h"
#include "platform/loop/MainLoop.h"
#include "platform/service/ServiceConnection.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

// Runs the tasks of its clients, a limited number at a time, in a folder for each client, and tells each
// client of its own. A client that goes away takes its tasks and its folder along. Main loop only.
//
// What a client sends is checked as much as what a server sends: it names no file outside of its folder.
class TaskServer {
public:
    TaskServer(std::string folder, int mostTasks, Misbehavior misbehavior);
    ~TaskServer(); // Ends all tasks and removes the folders of the clients.
    TaskServer(const TaskServer&) = delete;
    TaskServer& operator=(const TaskServer&) = delete;

    void add(std::unique_ptr<platform::ServiceConnection>);

private:
    using Value = platform::Value;
    using TaskKey = std::pair<std::int64_t, std::int64_t>; // Project and number.
    struct Client {
        std::unique_ptr<platform::ServiceConnection> connection;
        std::int64_t number = -1; // -1 before it has been set up.
        std::string folder;
        std::map<std::int64_t, std::string> wrapperOfProject;
        std::map<TaskKey, std::unique_ptr<ServedTask>> tasks;
    };
    using Operation = Value (TaskServer::*)(Client&, const Value& argument);
    static const std::map<std::string, Operation>& operations();

    Value serve(Client& client, const std::string& operation, const Value& argument);
    Value setUpConnection(Client& client, const Value&);
    Value setupProject(Client& client, const Value& project);
    Value addedTask(Client& client, const Value& job);
    Value abortTask(Client& client, const Value& ids);
    Value removeFilesInTaskOutput(Client& client, const Value& known);
    Value removeTask(Client& client, const Value& ids);
    Value removeProjectFolder(Client& client, const Value& ids);
    Value reportOutputForTask(Client& client, const Value& ids);
    Value stopReportingOutputForTask(Client& client, const Value& ids);
    Value getOutputLine(Client& client, const Value& line);
    Value checkHeartbeat(Client& client, const Value&);
    Value respondsToSelector(Client& client, const Value& name);
    Value removeConnection(Client& client, const Value&);

    static ServedTask* taskOf(Client& client, const Value& ids);
    void look(); // At all tasks; every 0.1 seconds.
    void lookAt(Client& client, ServedTask& task);
    void startTasks();
    int runningCount() const;
    void reportOutput(Client& client, ServedTask& task);
    void tell(Client& client, const std::string& operation, const ServedTask& task, const char* key = nullptr,
        Value value = {});
    void remove(const Client& client);
    static void clear(Client& client);

    const std::string folder_;
    const int mostTasks_;
    const Misbehavior misbehavior_;
    std::list<std::shared_ptr<Client>> clients_;
    std::int64_t nextClient_ = 1;
    std::unique_ptr<platform::Timer> timer_;
};
