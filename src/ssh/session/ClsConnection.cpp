#include "ssh/session/ClsConnection.h"

#include "ssh/session/CkoSshKey.h"
#include "ssh/session/SharedSession.h"
#include "ssh/session/SshForward.h"

namespace ssh {

namespace {

constexpr std::size_t kLogLines = 500;

} // namespace

ClsConnection::ClsConnection(TransportSettings settings)
    : transport_(std::move(settings), [this](const std::string& line) { log(line); })
{ }

ClsConnection::~ClsConnection() = default;

void ClsConnection::log(const std::string& line)
{
    log_.push_back(line);
    if (log_.size() > kLogLines)
        log_.pop_front();
}

void ClsConnection::configure(const std::function<void(TransportSettings&)>& change)
{
    const std::lock_guard lock(lock_);
    change(transport_.settings());
}

bool ClsConnection::connect(const std::string& hostname, int port)
{
    return check([&] {
        endConnection();
        return transport_.connect(hostname, port);
    });
}

bool ClsConnection::connectThrough(std::unique_ptr<ForwardHost> jump, const std::string& hostname, int port)
{
    return check([&] {
        endConnection();
        return transport_.connect(hostname, port, [&](Deadline) -> Result<Socket> {
            auto opened = SshForward::open(std::move(jump), hostname, port);
            if (!opened.ok())
                return opened.error();
            forward_ = std::move(opened->forward);
            return std::move(opened->socket);
        });
    });
}

bool ClsConnection::connectShared(std::shared_ptr<SharedConnection> connection)
{
    return check([&]() -> Status {
        endConnection();
        auto session = SharedSession::open(std::move(connection), transport_.settings(), takesErrorOutput());
        if (!session.ok())
            return session.error();
        shared_ = std::move(*session);
        return {};
    });
}

bool ClsConnection::authenticate(Credentials credentials)
{
    return check([&] { return transport_.authenticate(std::move(credentials)); });
}

bool ClsConnection::authenticatePw(const std::string& login, const std::string& password)
{
    return authenticate({login, copyOf(viewOf(password)), {}, false, {}});
}

bool ClsConnection::authenticatePk(const std::string& login, const CkoSshKey& privateKey)
{
    if (!privateKey.key())
        return check([] { return Status(Error{"No private key has been loaded."}); });
    return authenticate({login, {}, {privateKey.key()}, false, {}});
}

bool ClsConnection::signIn(const std::string& login, const CkoSignIn& with)
{
    Credentials credentials{login, copyOf(viewOf(with.password)), {}, true, {}};
    for (const CkoSshKey& key : with.keys)
        if (key.key())
            credentials.keys.push_back(key.key());
    for (const CkoAnswer& answer : with.answers)
        credentials.answers.emplace_back(answer.prompt, copyOf(viewOf(answer.answer)));
    return authenticate(std::move(credentials));
}

CkoRefusal ClsConnection::refusal() const
{
    const std::lock_guard lock(lock_);
    CkoRefusal refusal;
    if (const UserAuth* auth = transport_.auth()) {
        refusal.passwordRefused = auth->passwordRefused();
        for (const LoginPrompt& prompt : auth->unanswered())
            refusal.unanswered.push_back(
                {prompt.text, prompt.instruction, prompt.shown, prompt.asksPassword});
    }
    return refusal;
}

bool ClsConnection::reKey()
{
    return check([&] { return transport_.exchangeKeys(); });
}

void ClsConnection::disconnect()
{
    const std::lock_guard lock(lock_);
    endConnection();
}

void ClsConnection::endConnection()
{
    letGo();
    shared_.reset();
    transport_.disconnect();
    forward_.reset();
}

std::string ClsConnection::lastErrorText() const
{
    const std::lock_guard lock(lock_);
    return lastError_;
}

std::string ClsConnection::sessionLog() const
{
    const std::lock_guard lock(lock_);
    std::string text;
    for (const std::string& line : log_)
        text += line + "\n";
    return text;
}

std::string ClsConnection::hostKeyFingerprint() const
{
    const std::lock_guard lock(lock_);
    return transport_.keyExchange() ? transport_.keyExchange()->fingerprint() : std::string();
}

bool ClsConnection::hostKeyIsNew() const
{
    const std::lock_guard lock(lock_);
    return transport_.hostKeyIsNew();
}

std::vector<std::string> ClsConnection::algorithms() const
{
    const std::lock_guard lock(lock_);
    const AlgorithmChoice choice =
        transport_.keyExchange() ? transport_.keyExchange()->choice() : AlgorithmChoice();
    return {choice.keyExchange, choice.hostKey, choice.cipher[kToServer], choice.mac[kToServer],
        choice.compression[kToServer], choice.cipher[kToClient], choice.mac[kToClient],
        choice.compression[kToClient]};
}

} // namespace ssh
