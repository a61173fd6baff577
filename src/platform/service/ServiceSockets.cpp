#include "platform/service/ServiceSockets.h"

#include "platform/Md5.h"
#include "platform/files/FileManager.h"
#include "platform/files/Places.h"
#include "platform/loop/Pace.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <optional>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace platform::servicesockets {

namespace {

constexpr std::size_t kLongestPlainName = 64;
constexpr int kBacklog = 16;
constexpr auto kConnectPause = std::chrono::milliseconds(10);

bool isPlain(const std::string& name)
{
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
    return !name.empty() && name.size() <= kLongestPlainName
        && name.find_first_not_of(kPlain) == std::string::npos;
}

// Empty when the name can't be made into one.
std::string fileNameFor(const std::string& name)
{
    if (isPlain(name))
        return name;
    Md5 digest;
    digest.update(name.data(), name.size());
    const auto text = digest.hexDigest();
    return text ? "." + *text : std::string(); // No plain name begins so.
}

// The folder, when it is this user's and nobody else can get into it.
Descriptor openFolder(bool create)
{
    const std::string path = Places::services();
    if (create)
        files::createDirectories(path, 0700);
    Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info { };
    const bool isOwn = folder && ::fstat(folder.get(), &info) == 0 && info.st_uid == ::geteuid();
    const bool isClosed = isOwn && ((info.st_mode & 077) == 0 || ::fchmod(folder.get(), 0700) == 0);
    if (!isClosed)
        folder.reset();
    return folder;
}

std::optional<sockaddr_un> addressOf(const Descriptor& folder, const std::string& fileName)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string path = Places::services() + "/" + fileName;
    if (path.size() >= sizeof address.sun_path) // A way around folders with long names.
        path = fmt::format("/proc/self/fd/{}/{}", folder.get(), fileName);
    if (path.size() >= sizeof address.sun_path)
        return std::nullopt;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

Descriptor makeSocket()
{
    return Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

bool isOfSameUser(const Descriptor& socket)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

const sockaddr* generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address); // NOLINT: the way of the socket interface.
}

} // namespace

Listener listen(const std::string& name)
{
    Listener listener{openFolder(true), {}, {}, fileNameFor(name)};
    if (!listener.folder || listener.fileName.empty())
        return listener;
    const int folder = listener.folder.get();
    const std::string lockName = listener.fileName + ".lock";
    listener.lock.reset(::openat(folder, lockName.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!listener.lock || ::flock(listener.lock.get(), LOCK_EX | LOCK_NB) != 0)
        return listener;

    // Bound under another name and moved when it listens: whoever finds the name can connect to it, and what
    // a dead process has left is replaced in the same step.
    const std::string newName = listener.fileName + ".new";
    ::unlinkat(folder, newName.c_str(), 0);
    const auto address = addressOf(listener.folder, newName);
    Descriptor socket = makeSocket();
    if (address && socket && ::bind(socket.get(), generic(*address), sizeof *address) == 0
        && ::listen(socket.get(), kBacklog) == 0
        && ::renameat(folder, newName.c_str(), folder, listener.fileName.c_str()) == 0)
        listener.socket = std::move(socket);
    return listener;
}

void stopListening(Listener& listener)
{
    if (listener.socket)
        ::unlinkat(listener.folder.get(), listener.fileName.c_str(), 0);
    listener.socket.reset();
    listener.lock
        .reset(); // Its file stays: removing it could take away a lock that another process just got.
}

Descriptor connect(const std::string& name, double limitInSeconds)
{
    const Descriptor folder = openFolder(false);
    const std::string fileName = fileNameFor(name);
    const auto address = folder && !fileName.empty() ? addressOf(folder, fileName) : std::nullopt;
    if (!address)
        return {};
    const double end = monotonicSeconds() + limitInSeconds;
    for (;;) {
        Descriptor socket = makeSocket();
        if (socket && ::connect(socket.get(), generic(*address), sizeof *address) == 0)
            return isOfSameUser(socket) ? std::move(socket) : Descriptor();
        // Too many are waiting to be let in; anything else means that nobody is there.
        if (!socket || (errno != EAGAIN && errno != EINTR) || monotonicSeconds() >= end)
            return {};
        std::this_thread::sleep_for(kConnectPause);
    }
}

Descriptor accept(const Listener& listener, bool& hasMore, bool& isOutOfDescriptors)
{
    Descriptor socket(::accept4(listener.socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    const int error = socket ? 0 : errno;
    hasMore = socket || error == EINTR || error == ECONNABORTED;
    isOutOfDescriptors = error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
    if (socket && !isOfSameUser(socket))
        socket.reset();
    return socket;
}

} // namespace platform::servicesockets
