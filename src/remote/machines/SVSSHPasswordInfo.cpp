#include "remote/machines/SVSSHPasswordInfo.h"

#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/TildePaths.h"
#include "remote/machines/SignInAnswers.h"
#include "remote/machines/SshClientConfig.h"
#include "ssh/session/CkoSshKey.h"
#include "ssh/session/SshAgent.h"

#include <fmt/format.h>

namespace {

constexpr const char* kUsersKeyFile = "~/.ssh/id_dsa";
constexpr int kApprovalLimitMs = 180000; // A person finds a telephone and approves the login on it.
constexpr std::uint64_t kLongestKeyFile = 1 << 20; // Bytes.
constexpr int kMostJumps = 4; // Hosts in a row; a configuration may lead round in a circle.
constexpr std::size_t kMostKeysOfAgent = 5; // Servers count each offer, and usually end after six.

// Does nothing for a key that an agent doesn't hold.
bool isKeyOfFile(const ssh::CkoSshKey& key, const std::string& publicLine)
{
    return publicLine.find(ssh::toBase64(key.key()->publicBlob())) != std::string::npos;
}

std::vector<ssh::CkoSshKey> keysOfAgent()
{
    const std::string socket = ssh::sshagent::usualSocket();
    if (socket.empty())
        return {};
    auto keys = ssh::CkoSshKey::KeysOfAgent(socket);
    if (!keys.ok()) {
        platform::systemLog(keys.error().text);
        return {};
    }
    return std::move(*keys);
}

} // namespace

MachineAddress::Resolver& MachineAddress::resolver()
{
    static Resolver resolver;
    return resolver;
}

MachineAddress MachineAddress::of(const std::string& machineName, const MachineAccess& access)
{
    MachineAddress address;
    if (resolver()) {
        address = resolver()(machineName);
    } else {
        const SshClientConfig config = SshClientConfig::of(machineName);
        address = {config.hostName.value_or(machineName), config.port.value_or(kUsualPort), config.proxyJump};
    }
    if (access.port)
        address.port = *access.port;
    if (access.through)
        address.through = access.through;
    return address;
}

SVSSHPasswordInfo::Pointer SVSSHPasswordInfo::createWithHost(
    std::string host, std::string name, std::optional<std::string> password, MachineAccess access)
{
    std::shared_ptr<SVSSHPasswordInfo> info(new SVSSHPasswordInfo());
    info->hostName_ = std::move(host);
    info->userName_ = std::move(name);
    info->password_ = std::move(password);
    info->access_ = std::move(access);
    const bool takesKeyOfConfig = !info->access_.keyFile && info->password_ && info->password_->empty();
    if (MachineAddress::resolver() || (!takesKeyOfConfig && !info->userName_.empty()))
        return info;
    const SshClientConfig config = SshClientConfig::of(info->hostName_);
    if (info->userName_.empty())
        info->userName_ = config.user.value_or("");
    if (takesKeyOfConfig)
        info->access_.keyFile = config.identityFile;
    return info;
}

bool SVSSHPasswordInfo::connect(ssh::CkoConnection& connection, const LoginLimits& limits) const
{
    return connect(connection, limits, kMostJumps);
}

// The last of the names, which is reached through the others. Null when the connection or the login fails,
// whose questions then stand under this login.
std::unique_ptr<ssh::CkoSsh> SVSSHPasswordInfo::connectToJumpHost(
    const std::string& names, const LoginLimits& limits, int jumpsLeft) const
{
    MachineAccess access = access_;
    access.through.reset();
    access.port.reset();
    const std::size_t comma = names.rfind(',');
    if (comma != names.npos)
        access.through = names.substr(0, comma);
    const std::string name = comma == names.npos ? names : names.substr(comma + 1);
    const std::size_t at = name.rfind('@');
    const std::string user = at == name.npos ? userName_ : name.substr(0, at);
    std::string host = at == name.npos ? name : name.substr(at + 1);
    if (const std::size_t colon = host.rfind(':'); colon != host.npos) {
        access.port = std::atoi(host.c_str() + colon + 1); // A number that is no port can't be connected to.
        host.resize(colon);
    }
    // The password is the machine's alone.
    const auto login = createWithHost(host, user, "", std::move(access));
    auto jump = std::make_unique<ssh::CkoSsh>();
    if (jumpsLeft == 0)
        platform::systemLog(fmt::format("{} is behind too many other hosts.", hostName_));
    else if (login->connect(*jump, limits, jumpsLeft - 1) && !login->authenticate(*jump))
        return jump;
    SignInAnswers::shared().leaveTo(login->login(), this->login());
    return nullptr;
}

bool SVSSHPasswordInfo::connect(
    ssh::CkoConnection& connection, const LoginLimits& limits, int jumpsLeft) const
{
    if (limits.connectMs)
        connection.setConnectTimeoutMs(*limits.connectMs);
    connection.setIdleTimeoutMs(limits.idleMs);
    connection.setKeepAlive(true);
    connection.setRefuseWeak(!access_.allowsOldAlgorithms);
    connection.setApprovalTimeoutMs(kApprovalLimitMs);
    auto& answers = SignInAnswers::shared();
    const bool asks = SignInAnswers::hook() != nullptr;
    if (asks)
        connection.setTrustNewHosts(false, answers.trustedHostKey(login()));
    const MachineAddress address = MachineAddress::of(hostName_, access_);
    if (address.through) {
        auto jump = connectToJumpHost(*address.through, limits, jumpsLeft);
        if (!jump)
            return false;
        if (connection.ConnectThrough(std::move(jump), address.host, address.port))
            return true;
    } else if (connection.Connect(address.host, address.port)) {
        return true;
    }
    platform::systemLog(connection.LastErrorText());
    std::vector<SignInQuestion> questions;
    if (asks && connection.HostKeyIsNew())
        questions.push_back({SignInQuestion::Kind::HostKey, login(),
            fmt::format("{} is met for the first time. The fingerprint of its key is {}.", hostName_,
                connection.HostKeyFingerprint()),
            connection.HostKeyFingerprint(), true});
    answers.leave(login(), std::move(questions));
    return false;
}

// A password that nobody can be asked about goes the old way.
bool SVSSHPasswordInfo::usesEveryMethod() const
{
    return access_.keyFile || SignInAnswers::hook()
        || (password_ && password_->empty() && !ssh::sshagent::usualSocket().empty());
}

// The key of the file, if it can be opened; else the agent's copy of it. Without a key file, the agent's
// keys.
std::optional<std::string> SVSSHPasswordInfo::findKeys(
    ssh::CkoSignIn& with, const std::map<std::string, std::string>& passphrases) const
{
    if (!access_.keyFile && password_) {
        with.keys = password_->empty() ? keysOfAgent() : std::vector<ssh::CkoSshKey>();
        with.keys.resize(std::min(with.keys.size(), kMostKeysOfAgent));
        return std::nullopt;
    }
    const std::string path = platform::paths::expandingTilde(access_.keyFile.value_or(kUsersKeyFile));
    const auto text = platform::files::readFile(path, kLongestKeyFile);
    ssh::CkoSshKey key;
    const auto passphrase = passphrases.find(path);
    if (passphrase != passphrases.end())
        key.setPassphrase(passphrase->second);
    if (text && key.FromOpenSshPrivateKey(*text)) {
        with.keys = {std::move(key)};
        return std::nullopt;
    }
    platform::systemLog(text ? key.LastErrorText() : text.error().text);
    if (text && key.NeedsPassphrase()) {
        const std::string publicLine = platform::files::readFile(path + ".pub", kLongestKeyFile).value_or("");
        for (ssh::CkoSshKey& offered : keysOfAgent())
            if (isKeyOfFile(offered, publicLine))
                with.keys.push_back(std::move(offered));
        if (!with.keys.empty())
            return std::nullopt;
        SignInAnswers::shared().leave(login(),
            {{SignInQuestion::Kind::Passphrase, login(), fmt::format("Passphrase of {}: ", path), path}});
    }
    return "Could not read the private key";
}

std::optional<std::string> SVSSHPasswordInfo::signIn(ssh::CkoConnection& connection) const
{
    auto& answers = SignInAnswers::shared();
    SignInAnswers::Known known = answers.takeFor(login());
    ssh::CkoSignIn with;
    if (auto failure = findKeys(with, known.passphrases))
        return failure;
    with.password = known.password.value_or(password_.value_or(""));
    if (with.password == known.refusedPassword)
        with.password.clear();
    with.answers = std::move(known.answers);
    if (connection.SignIn(userName_, with)) {
        answers.leave(login(), {});
        return std::nullopt;
    }
    platform::systemLog(connection.LastErrorText());
    const ssh::CkoRefusal refusal = connection.Refusal();
    std::vector<SignInQuestion> questions;
    if (refusal.passwordRefused)
        answers.noteRefusedPassword(login(), with.password);
    const std::string passwordText = fmt::format("Password of {}: ", login());
    if (refusal.passwordRefused && refusal.unanswered.empty())
        questions.push_back({SignInQuestion::Kind::Password, login(), passwordText, ""});
    for (const ssh::CkoPrompt& prompt : refusal.unanswered) {
        if (prompt.asksPassword)
            questions.push_back({SignInQuestion::Kind::Password, login(), passwordText, ""});
        else
            questions.push_back({SignInQuestion::Kind::Code, login(),
                prompt.instruction.empty() ? prompt.text : prompt.instruction + "\n" + prompt.text,
                prompt.text, prompt.shown});
    }
    answers.leave(login(), std::move(questions));
    return fmt::format("Could not connect as user {}", userName_);
}

std::optional<std::string> SVSSHPasswordInfo::authenticate(ssh::CkoConnection& connection) const
{
    if (usesEveryMethod())
        return signIn(connection);
    const bool byPassword = password_ && !access_.keyFile;
    ssh::CkoSshKey key;
    if (!byPassword) {
        const auto text = platform::files::readFile(
            platform::paths::expandingTilde(access_.keyFile.value_or(kUsersKeyFile)), kLongestKeyFile);
        if (!text || !key.FromOpenSshPrivateKey(*text)) {
            platform::systemLog(text ? key.LastErrorText() : text.error().text);
            return "Could not read the private key";
        }
    }
    auto& answers = SignInAnswers::shared();
    const std::string failure = fmt::format("Could not connect as user {}", userName_);
    if (byPassword && answers.isNotSentAgain(login(), *password_)) {
        platform::systemLog(fmt::format("The password of {} was refused; it isn't sent again.", login()));
        return failure;
    }
    if (byPassword ? connection.AuthenticatePw(userName_, *password_)
                   : connection.AuthenticatePk(userName_, key)) {
        answers.noteSignedIn(login());
        return std::nullopt;
    }
    platform::systemLog(connection.LastErrorText());
    if (byPassword && connection.Refusal().passwordRefused)
        answers.noteRefusedPassword(login(), *password_);
    return failure;
}

std::optional<std::string> SVSSHPasswordInfo::logIn(
    ssh::CkoConnection& connection, const LoginLimits& limits) const
{
    if (!connect(connection, limits))
        return fmt::format("Could not connect to {}", hostName_);
    return authenticate(connection);
}
