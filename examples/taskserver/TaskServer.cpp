#include "examples/taskserver/TaskServer.h"

#include "platform/files/FileManager.h"
#include "platform/process/Process.h"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <optional>
#include <tuple>

namespace {

namespace files = platform::files;
using platform::Value;

constexpr double kSecondsBetweenLooks = 0.1;

// A number that may be part of a path.
std::optional<std::int64_t> countFor(const Value& dictionary, const char* key)
{
    const Value* value = dictionary.find(key);
    const auto number = value ? value->integer() : std::nullopt;
    return number && *number >= 0 ? number : std::nullopt;
}

// A name of one file, which leads nowhere else.
bool isFileName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos
        && name.find('\0') == name.npos;
}

} // namespace

const std::map<std::string, TaskServer::Operation>& TaskServer::operations()
{
    static const std::map<std::string, Operation> kOperations{
        {"setUpConnection:", &TaskServer::setUpConnection},
        {"setupProject:wrapperName:forClientNumber:", &TaskServer::setupProject},
        {"addedTask:", &TaskServer::addedTask}, {"abortTask:", &TaskServer::abortTask},
        {"removeFilesInTaskOutput:", &TaskServer::removeFilesInTaskOutput},
        {"removeTask:", &TaskServer::removeTask}, {"removeTransferredTask:", &TaskServer::removeTask},
        {"removeProjectFolder:", &TaskServer::removeProjectFolder},
        {"reportOutputForTask:", &TaskServer::reportOutputForTask},
        {"stopReportingOutputForTask:", &TaskServer::stopReportingOutputForTask},
        {"getOutputLine:", &TaskServer::getOutputLine}, {"checkHeartbeat:", &TaskServer::checkHeartbeat},
        {"respondsToSelector:", &TaskServer::respondsToSelector},
        {"removeConnection:", &TaskServer::removeConnection}};
    return kOperations;
}

TaskServer::TaskServer(std::string folder, int mostTasks, Misbehavior misbehavior)
    : folder_(std::move(folder)), mostTasks_(mostTasks), misbehavior_(std::move(misbehavior)),
      timer_(
          platform::Timer::schedule(kSecondsBetweenLooks, platform::Timer::Repeats::Yes, [this] { look(); }))
{ }

TaskServer::~TaskServer()
{
    for (const auto& client : clients_)
        clear(*client);
}

void TaskServer::add(std::unique_ptr<platform::ServiceConnection> connection)
{
    auto client = std::make_shared<Client>();
    client->connection = std::move(connection);
    client->connection->setHandler([this, raw = client.get()](const std::string& operation,
                                       const Value& argument) { return serve(*raw, operation, argument); });
    client->connection->whenPeerDies([this, raw = client.get()] { remove(*raw); });
    clients_.push_back(std::move(client));
}

Value TaskServer::serve(Client& client, const std::string& operation, const Value& argument)
{
    const auto found = operations().find(operation);
    if (found == operations().end())
        return {};
    if (client.number < 0 && operation != "setUpConnection:")
        return {};
    misbehavior_.happen(operation);
    if (misbehavior_.is(Misbehavior::Kind::Forget, operation))
        return {};
    Value reply = (this->*found->second)(client, argument);
    return misbehavior_.is(Misbehavior::Kind::Nonsense, operation) ? Misbehavior::nonsense() : reply;
}

Value TaskServer::setUpConnection(Client& client, const Value&)
{
    if (client.number >= 0)
        return client.number;
    // A number that another server has used may still have a folder.
    for (;; ++nextClient_) {
        client.folder = fmt::format("{}/{}", folder_, nextClient_);
        if (files::createDirectory(client.folder, files::kOwnersFolder))
            break;
        if (!files::exists(client.folder))
            return {}; // Nothing can be made here.
    }
    return client.number = nextClient_++;
}

Value TaskServer::setupProject(Client& client, const Value& project)
{
    const auto serial = countFor(project, "ProjectNumber");
    const auto wrapper = project.textFor("WrapperName");
    if (!serial || !wrapper)
        return {};
    client.wrapperOfProject[*serial] = *wrapper;
    std::ignore = files::createDirectories(fmt::format("{}/{}/Executable", client.folder, *serial));
    return {};
}

Value TaskServer::addedTask(Client& client, const Value& job)
{
    const auto serial = countFor(job, "ProjectNumber");
    const auto number = countFor(job, "TaskNumber");
    const auto executable = job.textFor("Executable");
    const auto wrapper = serial ? client.wrapperOfProject.find(*serial) : client.wrapperOfProject.end();
    if (!number || !executable || !isFileName(*executable) || wrapper == client.wrapperOfProject.end())
        return {};
    const std::string project = fmt::format("{}/{}", client.folder, *serial);
    client.tasks[{*serial, *number}] = std::make_unique<ServedTask>(
        ServedTask::Job{*serial, *number, wrapper->second, fmt::format("{}/{}", project, *number),
            fmt::format("{}/Executable/{}", project, *executable), job.textFor("Arguments").value_or("")});
    return {};
}

ServedTask* TaskServer::taskOf(Client& client, const Value& ids)
{
    const auto serial = countFor(ids, "ProjectNumber");
    const auto number = countFor(ids, "TaskNumber");
    const auto place = serial && number ? client.tasks.find({*serial, *number}) : client.tasks.end();
    return place == client.tasks.end() ? nullptr : place->second.get();
}

Value TaskServer::abortTask(Client& client, const Value& ids)
{
    if (ServedTask* task = taskOf(client, ids))
        task->abort();
    return {};
}

Value TaskServer::removeFilesInTaskOutput(Client& client, const Value& known)
{
    const Value* names = known.find("DirInfo");
    const Value* ids = known.find("Info");
    ServedTask* task = ids ? taskOf(client, *ids) : nullptr;
    if (!task || !names || !names->array())
        return {};
    for (const Value& name : *names->array())
        if (name.text() && isFileName(*name.text()))
            std::ignore = files::remove(task->job().folder + "/" + *name.text());
    return {};
}

// Also for a task that was only transferred.
Value TaskServer::removeTask(Client& client, const Value& ids)
{
    const auto serial = countFor(ids, "ProjectNumber");
    const auto number = countFor(ids, "TaskNumber");
    if (!serial || !number)
        return {};
    client.tasks.erase({*serial, *number});
    std::ignore = files::remove(fmt::format("{}/{}/{}", client.folder, *serial, *number));
    return {};
}

Value TaskServer::removeProjectFolder(Client& client, const Value& ids)
{
    const auto serial = countFor(ids, "ProjectNumber");
    if (!serial)
        return {};
    std::erase_if(client.tasks, [&](const auto& entry) { return entry.first.first == *serial; });
    client.wrapperOfProject.erase(*serial);
    std::ignore = files::remove(fmt::format("{}/{}", client.folder, *serial));
    return {};
}

Value TaskServer::reportOutputForTask(Client& client, const Value& ids)
{
    if (ServedTask* task = taskOf(client, ids)) {
        task->isReported = true;
        task->linesReported = 0;
    }
    return {};
}

Value TaskServer::stopReportingOutputForTask(Client& client, const Value& ids)
{
    if (ServedTask* task = taskOf(client, ids))
        task->isReported = false;
    return {};
}

Value TaskServer::getOutputLine(Client& client, const Value& line)
{
    ServedTask* task = taskOf(client, line);
    const auto number = countFor(line, "LineNumber");
    const auto text = task && number ? task->output().line(*number) : std::nullopt;
    return text ? Value(*text) : Value();
}

Value TaskServer::checkHeartbeat(Client&, const Value&)
{
    double load = 0;
    return ::getloadavg(&load, 1) == 1 ? load : 0.0;
}

Value TaskServer::respondsToSelector(Client&, const Value& name)
{
    return name.text() && operations().contains(*name.text());
}

Value TaskServer::removeConnection(Client& client, const Value&)
{
    remove(client);
    return {};
}

void TaskServer::clear(Client& client)
{
    const bool hadTasks = !client.tasks.empty();
    client.tasks.clear();
    // Nothing may write there any more.
    if (hadTasks)
        platform::Process::finishTerminations(10);
    if (!client.folder.empty())
        std::ignore = files::remove(client.folder);
}

void TaskServer::remove(const Client& client)
{
    const auto place = std::find_if(
        clients_.begin(), clients_.end(), [&client](const auto& one) { return one.get() == &client; });
    if (place == clients_.end())
        return;
    const auto held = *place;
    clients_.erase(place);
    held->connection->invalidate();
    clear(*held);
    platform::MainLoop::main().afterThisEvent([held] {}); // Its handler may be the caller.
}

int TaskServer::runningCount() const
{
    int count = 0;
    for (const auto& client : clients_)
        for (const auto& [key, task] : client->tasks)
            count += task->isStarted() && !task->hasEnded() ? 1 : 0;
    return count;
}

void TaskServer::look()
{
    const auto clients = clients_;
    for (const auto& client : clients) {
        std::vector<TaskKey> keys;
        for (const auto& [key, task] : client->tasks)
            keys.push_back(key);
        for (const TaskKey& key : keys)
            if (const auto place = client->tasks.find(key); place != client->tasks.end())
                lookAt(*client, *place->second);
    }
    startTasks();
}

void TaskServer::lookAt(Client& client, ServedTask& task)
{
    if (task.isOver)
        return;
    reportOutput(client, task);
    if (!task.hasEnded() && !(task.isAborted() && !task.isStarted()))
        return;
    task.isOver = true;
    if (task.isAborted())
        tell(client, "finishedRunningTask:", task, "Aborted", "YES");
    else
        tell(client, "finishedRunningTask:", task);
}

void TaskServer::startTasks()
{
    int running = runningCount();
    for (const auto& client : clients_)
        for (const auto& [key, task] : client->tasks) {
            if (running >= mostTasks_ || task->isStarted() || task->isOver || task->isAborted())
                continue;
            tell(*client, "startedComputingTask:", *task);
            if (task->start()) {
                ++running;
            } else {
                task->isOver = true;
                tell(*client, "finishedRunningTask:", *task);
            }
        }
}

void TaskServer::reportOutput(Client& client, ServedTask& task)
{
    if (!task.isReported)
        return;
    const std::int64_t lines = task.output().update();
    if (lines == std::exchange(task.linesReported, lines))
        return;
    tell(client, "newOutputLength:", task, "Lines", lines);
}

void TaskServer::tell(
    Client& client, const std::string& operation, const ServedTask& task, const char* key, Value value)
{
    misbehavior_.happen(operation);
    if (misbehavior_.is(Misbehavior::Kind::Forget, operation))
        return;
    Value::Dictionary news{{"TaskNumber", task.job().number}, {"WrapperName", task.job().wrapperName}};
    if (key)
        news[key] = std::move(value);
    if (misbehavior_.is(Misbehavior::Kind::Nonsense, operation))
        client.connection->send(operation, Misbehavior::corrupted(news));
    client.connection->send(operation, news);
}
