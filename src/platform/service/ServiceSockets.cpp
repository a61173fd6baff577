#include "platform/service/ServiceSockets.h"

#include "platform/Md5.h"
#include "platform/SystemError.h"
#include "platform/files/FileManager.h"
#include "platform/files/Places.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <tuple>
#include <unistd.h>

namespace platform::servicesockets {

namespace {

constexpr std::size_t kLongestPlainName = 64;
constexpr int kBacklog = 16;

bool isPlain(const std::string& name)
{
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
    return !name.empty() && name.size() <= kLongestPlainName
        && name.find_first_not_of(kPlain) == std::string::npos;
}

Result<std::string> fileNameFor(const std::string& name)
{
    if (isPlain(name))
        return name;
    Md5 digest;
    digest.update(name.data(), name.size());
    const auto text = digest.hexDigest();
    if (!text)
        return Error{"there is no MD5 on this machine for the name of a service"};
    return "." + *text; // No plain name begins so.
}

// The folder, when it is this user's and nobody else can get into it.
Result<Descriptor> openFolder()
{
    const std::string path = Places::services();
    Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info { };
    if (!folder || ::fstat(folder.get(), &info) != 0)
        return systemError(path);
    if (info.st_uid != ::geteuid())
        return Error{path + " belongs to another user"};
    if ((info.st_mode & 077) != 0 && ::fchmod(folder.get(), 0700) != 0)
        return systemError(path);
    return folder;
}

Result<sockaddr_un> addressOf(const Descriptor& folder, const std::string& fileName)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string path = Places::services() + "/" + fileName;
    if (path.size()
        >= sizeof address.sun_path) // A socket's path is short; this one is independent of the folder.
        path = fmt::format("/proc/self/fd/{}/{}", folder.get(), fileName);
    if (path.size() >= sizeof address.sun_path)
        return Error{fileName + " is too long for the name of a service"};
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
    return reinterpret_cast<const sockaddr*>(&address); // NOLINT: as the socket interface wants it.
}

} // namespace

Result<Listener> listen(const std::string& name)
{
    // What fails here shows when the folder is opened.
    std::ignore = files::createDirectories(Places::services(), 0700);
    auto folder = openFolder();
    auto fileName = fileNameFor(name);
    if (!folder || !fileName)
        return !folder ? folder.error() : fileName.error();
    Listener listener{std::move(*folder), {}, {}, std::move(*fileName)};
    const int place = listener.folder.get();
    const std::string lockName = listener.fileName + ".lock";
    listener.lock.reset(::openat(place, lockName.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!listener.lock)
        return systemError(lockName);
    if (::flock(listener.lock.get(), LOCK_EX | LOCK_NB) != 0)
        return Error{"another program offers the service " + name};

    // Bound under another name and moved once it listens: a program that finds the name can connect to it,
    // and what a dead process has left is replaced in the same step.
    const std::string newName = listener.fileName + ".new";
    ::unlinkat(place, newName.c_str(), 0);
    const auto address = addressOf(listener.folder, newName);
    if (!address)
        return address.error();
    Descriptor socket = makeSocket();
    if (!socket || ::bind(socket.get(), generic(*address), sizeof *address) != 0
        || ::listen(socket.get(), kBacklog) != 0
        || ::renameat(place, newName.c_str(), place, listener.fileName.c_str()) != 0)
        return systemError(name);
    listener.socket = std::move(socket);
    return listener;
}

void stopListening(Listener& listener)
{
    if (listener.socket)
        ::unlinkat(listener.folder.get(), listener.fileName.c_str(), 0);
    listener.socket.reset();
    // The lock's file stays: removing it could take away a lock that another process just got.
    listener.lock.reset();
}

Result<Descriptor> connect(const std::string& name)
{
    const Error nobody{"no program offers the service " + name};
    if (!files::isDirectory(Places::services()))
        return nobody;
    const auto folder = openFolder();
    const auto fileName = fileNameFor(name);
    if (!folder || !fileName)
        return !folder ? folder.error() : fileName.error();
    const auto address = addressOf(*folder, *fileName);
    if (!address)
        return address.error();
    Descriptor socket = makeSocket();
    if (!socket)
        return systemError(name);
    if (::connect(socket.get(), generic(*address), sizeof *address) != 0) {
        if (errno == EAGAIN || errno == EINTR)
            return Descriptor();
        return nobody;
    }
    if (!isOfSameUser(socket))
        return Error{"the service " + name + " belongs to another user"};
    return socket;
}

Accepted accept(const Listener& listener)
{
    Accepted accepted = acceptAnybody(listener.socket);
    if (accepted.socket && !isOfSameUser(accepted.socket))
        accepted.socket.reset();
    return accepted;
}

Accepted acceptAnybody(const Descriptor& listening)
{
    using Next = Accepted::Next;
    Accepted accepted;
    accepted.socket.reset(::accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    const int error = accepted.socket ? 0 : errno;
    if (accepted.socket || error == EINTR || error == ECONNABORTED)
        accepted.next = Next::AskAgain;
    else if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM)
        accepted.next = Next::OutOfDescriptors;
    return accepted;
}

} // namespace platform::servicesockets
