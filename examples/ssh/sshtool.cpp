// A small tool on top of the SSH and SFTP interface: runs a command on another machine, and moves files.

#include "ssh/crypto/Bytes.h"
#include "ssh/session/CkoSsh.h"
#include "ssh/session/CkoSshKey.h"
#include "ssh/sftp/CkoSFtp.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <span>
#include <sstream>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* kUsage = R"(sshtool [OPTIONS] VERB HOST USER ARGUMENTS...

Verbs
  exec HOST USER COMMAND...        runs a command with our input; its output and exit status are ours
  get HOST USER REMOTE [LOCAL]     downloads a file
  resume HOST USER REMOTE [LOCAL]  downloads what the local file doesn't have yet
  put HOST USER LOCAL [REMOTE]     uploads a file
  ls HOST USER [DIRECTORY]         lists a directory
  stat HOST USER PATH              shows what is known of a file
  mkdir HOST USER PATH             makes a directory

Options
  --key FILE            log in with this private key (unencrypted)
  --password-fd N       read the password from this file descriptor, else from the terminal
  --known-hosts FILE    where host keys are remembered (~/Library/Trelkind/known_hosts)
  --port N              another port than 22
  --settled-only        offer the algorithms that this client has always offered and nothing newer, also the
                        weak ones: a group of 1024 bits, arcfour, MD5, no MAC. Else these are refused
  --no-compression      offer no compression, for lines that are faster than it
  --verbose             show the session's log and the agreed algorithms

HOST may be written with brackets, as in [::1]. A host that is met for the first time is trusted, and its key's
fingerprint shown: compare it with what the host's administrator says. The exit status is 1 for a failure, 2 for wrong use.
)";

struct Options {
    std::string key;
    std::string knownHosts;
    int passwordFd = -1;
    int port = 22;
    bool settledOnly = false;
    bool compression = true;
    bool verbose = false;
    std::vector<std::string> words; // The verb and what follows.
};

int wrongUse(const std::string& what)
{
    std::fprintf(stderr, "sshtool: %s\n\n%s", what.c_str(), kUsage);
    return 2;
}

bool number(const char* text, int& value)
{
    char* end = nullptr;
    const long parsed = std::strtol(text, &end, 10);
    value = static_cast<int>(parsed);
    return *text && !*end && parsed >= 0 && parsed <= 65535;
}

// Options may stand before the verb only, so that a command may have options of its own.
bool parse(int argc, char** argv, Options& options, std::string& error)
{
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        const std::string name = argv[i];
        const bool hasValue = i + 1 < argc;
        const char* value = hasValue ? argv[i + 1] : "";
        const bool takesValue =
            name == "--key" || name == "--password-fd" || name == "--known-hosts" || name == "--port";
        if (takesValue && !hasValue) {
            error = name + " needs a value";
            return false;
        }
        bool good = true;
        if (name == "--key")
            options.key = value;
        else if (name == "--known-hosts")
            options.knownHosts = value;
        else if (name == "--password-fd")
            good = number(value, options.passwordFd);
        else if (name == "--port")
            good = number(value, options.port);
        else if (name == "--settled-only")
            options.settledOnly = true;
        else if (name == "--no-compression")
            options.compression = false;
        else if (name == "--verbose")
            options.verbose = true;
        else
            good = false;
        if (!good) {
            error = takesValue ? name + ": " + value + " isn't a number that fits" : "unknown option " + name;
            return false;
        }
        i += takesValue ? 1 : 0;
    }
    options.words.assign(argv + i, argv + argc);
    return true;
}

// Up to the first line end.
bool readLine(int descriptor, std::string& line)
{
    char c = 0;
    ssize_t got = 0;
    while ((got = read(descriptor, &c, 1)) == 1 && c != '\n')
        line += c;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return got >= 0;
}

bool askPassword(const std::string& user, const std::string& host, std::string& password)
{
    const int terminal = open("/dev/tty", O_RDWR | O_CLOEXEC);
    if (terminal < 0)
        return false;
    const std::string prompt = "Password of " + user + " on " + host + ": ";
    termios before{};
    tcgetattr(terminal, &before);
    termios silent = before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(terminal, TCSAFLUSH, &silent);
    const bool asked = write(terminal, prompt.data(), prompt.size()) >= 0 && readLine(terminal, password);
    tcsetattr(terminal, TCSAFLUSH, &before);
    (void)!write(terminal, "\n", 1);
    close(terminal);
    return asked;
}

int failed(const std::string& reason)
{
    std::fprintf(stderr, "sshtool: %s\n", ssh::printable(reason, reason.size()).c_str());
    return 1;
}

bool logIn(
    ssh::CkoConnection& connection, const Options& options, const std::string& user, std::string& reason)
{
    if (!options.key.empty()) {
        std::ifstream file(options.key);
        std::stringstream text;
        text << file.rdbuf();
        ssh::CkoSshKey key;
        if (!key.FromOpenSshPrivateKey(file ? std::optional(text.str()) : std::nullopt)) {
            reason = options.key + ": " + key.LastErrorText();
            return false;
        }
        if (connection.AuthenticatePk(user, key))
            return true;
        reason = connection.LastErrorText();
        return false;
    }
    std::string password;
    const bool have = options.passwordFd >= 0 ? readLine(options.passwordFd, password)
                                              : askPassword(user, options.words[1], password);
    const bool granted = have && connection.AuthenticatePw(user, password);
    explicit_bzero(password.data(), password.size());
    if (!granted)
        reason = have ? connection.LastErrorText() : "There is no terminal to ask for the password at.";
    return granted;
}

bool connect(ssh::CkoConnection& connection, const Options& options, std::string& reason)
{
    connection.setSettledOnly(options.settledOnly);
    connection.setRefuseWeak(!options.settledOnly);
    connection.setCompression(options.compression);
    if (!options.knownHosts.empty())
        connection.setKnownHostsFile(options.knownHosts);
    std::string host = options.words[1];
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    bool done = connection.Connect(host, options.port);
    if (connection.HostKeyIsNew())
        std::fprintf(stderr, "sshtool: %s is met for the first time; its key is now trusted: %s\n",
            host.c_str(), connection.HostKeyFingerprint().c_str());
    if (done)
        done = logIn(connection, options, options.words[2], reason);
    else
        reason = connection.LastErrorText();
    if (options.verbose) {
        std::fputs(connection.SessionLog().c_str(), stderr);
        for (const std::string& name : connection.Algorithms())
            std::fprintf(stderr, "%s ", name.c_str());
        std::fprintf(stderr, "\n%s\n", connection.HostKeyFingerprint().c_str());
    }
    return done;
}

// Hands our standard input on to a command, as fast as the server takes it.
class Input {
public:
    Input(ssh::CkoSsh& connection, int channel) : connection_(connection), channel_(channel) { }

    // Does what can be done without waiting; false when the connection fails.
    bool forward()
    {
        moved_ = false;
        pollfd entry{STDIN_FILENO, POLLIN, 0};
        if (open_ && left_.empty() && poll(&entry, 1, 0) > 0) {
            const ssize_t got = read(STDIN_FILENO, buffer_, sizeof buffer_);
            if (got <= 0) {
                open_ = false;
                return connection_.ChannelSendClose(channel_);
            }
            left_ = std::span(buffer_).first(static_cast<std::size_t>(got));
        }
        if (left_.empty())
            return true;
        const int sent = connection_.ChannelSendData(channel_, left_);
        if (sent < 0)
            return false;
        left_ = left_.subspan(static_cast<std::size_t>(sent));
        moved_ = sent > 0;
        return true;
    }
    // How long the command's output may be waited for before the next call.
    int pauseMs() const { return moved_ ? 0 : open_ ? 50 : 2000; }

private:
    ssh::CkoSsh& connection_;
    int channel_;
    bool open_ = true;
    bool moved_ = false;
    std::uint8_t buffer_[65536];
    std::span<const std::uint8_t> left_;
};

int runExec(ssh::CkoSsh& connection, const Options& options)
{
    std::string command;
    for (std::size_t i = 3; i < options.words.size(); ++i)
        command += (i > 3 ? " " : "") + options.words[i];
    const int channel = connection.OpenSessionChannel();
    if (channel < 0 || !connection.SendReqExec(channel, command))
        return failed(connection.LastErrorText());
    Input input(connection, channel);
    for (bool closed = false; !closed;) {
        closed = connection.ChannelReceivedClose(channel);
        if (!closed && !input.forward())
            return failed(connection.LastErrorText());
        const int waiting = connection.ChannelReadAndPoll(channel, closed ? 0 : input.pauseMs());
        if (waiting < 0)
            return failed(connection.LastErrorText());
        const auto data = connection.GetReceivedDataN(channel, waiting);
        if (!data.empty()
            && (std::fwrite(data.data(), 1, data.size(), stdout) != data.size() || std::fflush(stdout) != 0))
            return failed("The output can't be written.");
    }
    const int status = connection.GetChannelExitStatus(channel);
    return status < 0 ? failed(connection.LastErrorText()) : status;
}

std::string dateText(const std::optional<ssh::CkoDate>& date)
{
    if (!date)
        return "-";
    const std::time_t seconds = std::chrono::system_clock::to_time_t(*date);
    std::tm parts{};
    char text[32];
    localtime_r(&seconds, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

int runList(ssh::CkoSFtp& connection, const std::string& path)
{
    const auto handle = connection.OpenDir(path);
    const auto listing = connection.ReadDir(handle);
    if (!listing)
        return failed(connection.LastErrorText());
    for (int i = 0; i < listing->NumFilesAndDirs(); ++i) {
        const auto file = listing->GetFileObject(i);
        const std::string name = file->Filename();
        std::printf("%c%04o %12lld %s %s\n",
            file->IsDirectory()     ? 'd'
                : file->IsSymLink() ? 'l'
                                    : '-',
            static_cast<unsigned>(file->Permissions()), static_cast<long long>(file->Size64()),
            dateText(file->LastModifiedTime()).c_str(), ssh::printable(name, name.size()).c_str());
    }
    connection.CloseHandle(*handle);
    return 0;
}

int runStat(ssh::CkoSFtp& connection, const std::string& path)
{
    const int permissions = connection.GetFilePermissions(path, false, false);
    if (permissions < 0)
        return failed(connection.LastErrorText());
    std::printf("permissions %04o\nsize %lld\nmodified %s\n", static_cast<unsigned>(permissions),
        static_cast<long long>(connection.GetFileSize64(path, false, false)),
        dateText(connection.GetFileLastModified(path, false, false)).c_str());
    return 0;
}

std::string baseName(const std::string& path)
{
    return path.substr(path.find_last_of('/') + 1);
}

int runFiles(ssh::CkoSFtp& connection, const Options& options)
{
    if (!connection.InitializeSftp())
        return failed(connection.LastErrorText());
    const std::string& verb = options.words[0];
    const std::string first = options.words.size() > 3 ? options.words[3] : ".";
    const std::string second = options.words.size() > 4 ? options.words[4] : baseName(first);
    if (verb == "ls")
        return runList(connection, first);
    if (verb == "stat")
        return runStat(connection, first);
    const bool done = verb == "get" ? connection.DownloadFileByName(first, second)
        : verb == "resume"          ? connection.ResumeDownloadFileByName(first, second)
        : verb == "put"             ? connection.UploadFileByName(second, first)
                                    : connection.CreateDir(first);
    return done ? 0 : failed(connection.LastErrorText());
}

struct Verb {
    const char* name;
    std::size_t least; // Words, the verb included.
    std::size_t most;
};
constexpr Verb kVerbs[] = {
    {"exec", 4, 10000},
    {"get", 4, 5},
    {"resume", 4, 5},
    {"put", 4, 5},
    {"ls", 3, 4},
    {"stat", 4, 4},
    {"mkdir", 4, 4},
};

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    Options options;
    std::string error;
    if (!parse(argc, argv, options, error))
        return wrongUse(error);
    const Verb* verb = nullptr;
    for (const Verb& at : kVerbs)
        if (!options.words.empty() && options.words[0] == at.name)
            verb = &at;
    if (!verb)
        return wrongUse(options.words.empty() ? "a verb is missing" : "unknown verb " + options.words[0]);
    if (options.words.size() < verb->least || options.words.size() > verb->most)
        return wrongUse(options.words[0] + " has another number of arguments");

    if (options.words[0] == "exec") {
        ssh::CkoSsh connection;
        return connect(connection, options, error) ? runExec(connection, options) : failed(error);
    }
    ssh::CkoSFtp connection;
    return connect(connection, options, error) ? runFiles(connection, options) : failed(error);
}
