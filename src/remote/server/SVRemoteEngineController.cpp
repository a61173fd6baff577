// Finding a task server, its connection and its heartbeat.

#include "remote/server/SVRemoteEngineController.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"
#include "task/single/SVTaskApplication.h"

#include <algorithm>
#include <fmt/format.h>
#include <random>
#include <tuple>

namespace {

namespace files = platform::files;
using platform::ServiceConnection;
using platform::ServiceFailure;
using platform::Value;

constexpr double kSecondsBetweenHeartbeats = 30.0;
constexpr double kSecondsForCall = 4.0;
constexpr int kPortBits = 0xFFFF;
constexpr std::uint64_t kLargestPortFile = 4096; // Bytes.
// A server that tells more before it is heard says nothing of worth.
constexpr std::size_t kMostWaitingNews = 100'000;

// A number for the name of the local port file, which lies in a folder of all users: nobody may guess it, and
// no other program may have it.
std::int64_t nextPortFileNumber()
{
    static std::int64_t counter = [] {
        std::random_device device;
        return static_cast<std::int64_t>((static_cast<std::uint64_t>(device()) << 30) ^ device());
    }();
    return ++counter;
}

std::shared_ptr<KRCountLimiter> gateOfApp()
{
    const SVTaskApplication* application = SVTaskApplication::app();
    return application ? application->countLimiter() : nullptr;
}

} // namespace

std::string SVRemoteEngineController::Exception::text() const
{
    return fmt::format("Failed when talking to remote server ({}-{}).", name, reason);
}

std::shared_ptr<SVRemoteEngineController> SVRemoteEngineController::machine(
    const std::string& name, const std::string& user, SVMachineDefinitionController* parent)
{
    if (name.empty())
        return nullptr;
    std::shared_ptr<SVRemoteEngineController> engine(new SVRemoteEngineController(name, user, parent));
    KRComputationalThread::forObject(engine, &SVRemoteEngineController::fillInPortNumber,
        std::make_shared<std::int64_t>(nextPortFileNumber()),
        &SVRemoteEngineController::finishedFillingInPortNumber);
    engine->checkOnConnection_ = platform::Timer::schedule(
        kSecondsBetweenHeartbeats, platform::Timer::Repeats::Yes, [weak = std::weak_ptr(engine)] {
            if (const auto self = weak.lock())
                self->checkOnConnection();
        });
    return engine;
}

SVRemoteEngineController::SVRemoteEngineController(
    std::string host, std::string user, SVMachineDefinitionController* parent)
    : hostName_(std::move(host)), userName_(user.empty() ? platform::loginName() : std::move(user)),
      parent_(parent ? parent->weak_from_this() : std::weak_ptr<SVMachineDefinitionController>()),
      hadParent_(parent != nullptr), transfers_(gateOfApp())
{ }

SVRemoteEngineController::~SVRemoteEngineController()
{
    if (connection_)
        connection_->invalidate();
}

std::string SVRemoteEngineController::thisMachineName()
{
    return platform::hostName();
}

std::shared_ptr<serverplaces::PortFile> SVRemoteEngineController::fillInPortNumber(
    std::shared_ptr<std::int64_t> counter)
{
    auto found = std::make_shared<serverplaces::PortFile>();
    found->port = -1;
    const std::string local = fmt::format("/tmp/TrelkindPortNo{}", *counter);
    std::ignore = files::remove(local);
    if (scpFromOnMachineTo(serverplaces::portFileOf(userName_), hostName_, local, nullptr))
        *found = serverplaces::readPortFile(files::readFile(local, kLargestPortFile).value_or(""));
    else if (!parentHasGone())
        KRMessageCenter::addMessage("Could not get port number on remote machine",
            fmt::format(
                "Could not get the port number for TrelkindServer running on \"{}\".\nPossible causes "
                "are:\nTry to ssh to that machine, to make sure that the pass-key has been set up "
                "correctly.\nMake sure that TrelkindServer is running on that machine, and firewalls "
                "have been turned off for the port that TrelkindServer is communicating on.",
                hostName_));
    std::ignore = files::remove(local);
    return found;
}

void SVRemoteEngineController::finishedFillingInPortNumber(std::shared_ptr<serverplaces::PortFile> found)
{
    portNumber_ = found ? found->port : -1;
    const auto parent = parent_.lock();
    if (parentHasGone())
        return;
    const bool connected = portNumber_ > 0 && connectToServerAtPort(*found);
    if (!parent)
        return;
    if (connected)
        parent->remoteEngineConnected();
    else
        parent->remoteEngineFailed();
}

bool SVRemoteEngineController::connectToServerAtPort(const serverplaces::PortFile& found)
{
    const auto parent = parent_.lock();
    if (!found.secret && !(parent && parent->allowsServerWithoutSecret())) {
        KRMessageCenter::addMessage("The task server was refused.",
            fmt::format("The task server on \"{}\" wrote a port number without a secret, so that any program "
                        "at that port could pass for it.",
                hostName_));
        return false;
    }
    auto connected =
        ServiceConnection::connectTcp(hostName_, found.port & kPortBits, found.secret, kSecondsForCall);
    if (!connected) {
        KRMessageCenter::addMessage("Unable to connect to remote machine",
            fmt::format(
                "Unable to connect to the remote machine \"{}\".  The port number was given as {}, but "
                "a connection could not be established.\nPossible causes are:\nTrelkindServer is not "
                "running\nA firewall on the remote machine is blocking the port.",
                hostName_, found.port));
        if (connected.error().kind == ServiceConnection::TcpFailure::Kind::NotProved)
            KRMessageCenter::addMessage("The task server was refused.",
                fmt::format("{} port {}: {}.", hostName_, found.port & kPortBits, connected.error().text));
        KRMessageCenter::addToLog(connected.error().text);
        return false;
    }
    connection_ = std::move(*connected);
    connection_->setTimeLimit(kSecondsForCall);
    serveCallbacks();
    return setUpConnection();
}

bool SVRemoteEngineController::setUpConnection()
{
    const auto reply = call(servermessages::kSetUpConnection, Value::Dictionary{});
    const auto number = reply ? servermessages::readClientNumber(*reply) : std::nullopt;
    if (!number) {
        const Exception exception =
            reply ? Exception{"BadReply", "the client number is missing"} : reply.error();
        KRMessageCenter::addMessage("Internal Error", exception.text());
        if (connection_)
            connection_->invalidate();
        connection_.reset();
        return false;
    }
    numberAtRemoteLocation_ = *number;
    remoteFolder_ = serverplaces::clientFolder(userName_, *number);
    return true;
}

void SVRemoteEngineController::serveCallbacks()
{
    const auto weak = std::weak_ptr(std::static_pointer_cast<SVRemoteEngineController>(shared_from_this()));
    connection_->setHandler([weak](const std::string& operation, const Value& argument) -> Value {
        const auto self = weak.lock();
        if (!self)
            return {};
        if (operation == servermessages::kThisMachineName)
            return thisMachineName();
        auto news = servermessages::readNews(operation, argument);
        if (!news || self->waitingNews_ >= kMostWaitingNews)
            return {};
        // Posted: this may be inside of a call, in the middle of a change of the lists.
        ++self->waitingNews_;
        platform::MainLoop::main().post([weak, news = std::move(*news)] {
            if (const auto engine = weak.lock()) {
                --engine->waitingNews_;
                engine->handle(news);
            }
        });
        return {};
    });
}

void SVRemoteEngineController::handle(const servermessages::TaskNews& news)
{
    using Kind = servermessages::TaskNews::Kind;
    // It may have waited while the connection ended, and the tasks are somewhere else by now.
    if (!connection_ && news.kind != Kind::Finished)
        return;
    switch (news.kind) {
    case Kind::Started:
        return startedComputingTask(news);
    case Kind::NewOutputLength:
        return newOutputLength(news);
    case Kind::Finished:
        return finishedRunningTask(news);
    }
}

platform::Result<Value, SVRemoteEngineController::Exception> SVRemoteEngineController::call(
    const char* operation, const Value& argument)
{
    const auto held = connection_; // It may be dropped meanwhile.
    if (!held)
        return Exception{"NotConnected", "there is no connection"};
    auto reply = held->call(operation, argument);
    if (reply)
        return std::move(*reply);
    switch (reply.error()) {
    case ServiceFailure::TimeLimit:
        return Exception{"TimeLimit", "no reply within 4 seconds"};
    case ServiceFailure::PeerGone:
        return Exception{"PeerGone", "the server has ended the connection"};
    default:
        return Exception{"NotConnected", "the connection has ended"};
    }
}

std::optional<Value> SVRemoteEngineController::ask(
    const char* operation, const Value& argument, const char* shortText)
{
    const auto self = shared_from_this(); // The parent lets go of it at the disconnection.
    auto reply = call(operation, argument);
    if (reply)
        return std::move(*reply);
    KRMessageCenter::addMessage(shortText, reply.error().text());
    disconnectEngineFromServer();
    return std::nullopt;
}

bool SVRemoteEngineController::heartbeat()
{
    const Value argument = Value::Dictionary{{servermessages::kEngineNumber, *numberAtRemoteLocation_}};
    if (respondsToHeartbeat_ == Unknown) {
        const auto responds = call(servermessages::kRespondsToSelector, servermessages::kCheckHeartbeat);
        if (!responds) {
            KRMessageCenter::addToLog(responds.error().text());
            return false;
        }
        respondsToHeartbeat_ = responds->boolean().value_or(false) ? Yes : No;
    }
    if (respondsToHeartbeat_ == No)
        return true;
    const auto reply = call(servermessages::kCheckHeartbeat, argument);
    if (!reply) {
        KRMessageCenter::addToLog(reply.error().text());
        return false;
    }
    loadLevel_ = servermessages::readLoadLevel(*reply).value_or(loadLevel_);
    return true;
}

void SVRemoteEngineController::checkOnConnection()
{
    if (parentHasGone())
        transfers_.stop();
    if (!isConnected() || respondsToHeartbeat_ == No || heartbeat())
        return;
    KRMessageCenter::addMessage("Remote server didn't respond",
        fmt::format(
            "The TrelkindServer application on \"{}\" is not responding.  Possible causes are a remote "
            "crash, the program was terminated or the machine is no long available.",
            hostName_));
    disconnectEngineFromServer();
}

void SVRemoteEngineController::disconnectEngineFromServer()
{
    if (parentHasGone())
        transfers_.stop();
    if (!connection_)
        return;
    const auto self = shared_from_this();
    const auto connection = connection_;
    // One way: a server that doesn't answer has cost its 4 seconds already.
    if (numberAtRemoteLocation_)
        connection->send(servermessages::kRemoveConnection, *numberAtRemoteLocation_);
    connection_.reset();
    if (const auto parent = parent_.lock())
        parent->disconnectAndRemove();
    connection->invalidate();
}
