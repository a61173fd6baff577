#pragma once

#include "platform/Result.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/OperationQueue.h"
#include "remote/machines/ConnectionPool.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

// A background operation on a cluster: it does its work on a thread of a queue, over a connection, and hands
// itself to its callback on the main thread. It is made on the main thread, runs once, and never tries again.
class ClusterOperation : public platform::Operation, public std::enable_shared_from_this<ClusterOperation> {
public:
    // Words for the user; nothing for success. After the operation has ended.
    const std::optional<std::string>& error() const { return error_; }

protected:
    explicit ClusterOperation(SVSSHPasswordInfo::Pointer access) : access_(std::move(access)) { }

    // A channel on a connection that operations share. Nothing, or the words for the user.
    std::optional<std::string> authenticateFTP(ssh::CkoSFtp& connection) const
    {
        return ConnectionPool::shared().authenticateFTP(*access_, connection);
    }
    std::optional<std::string> authenticateSSH(ssh::CkoSsh& connection) const
    {
        return ConnectionPool::shared().authenticateSSH(*access_, connection);
    }
    // Hands the derived operation to its callback on the main thread, and waits until it has returned.
    template <typename Derived>
    void callBack(const std::function<void(Derived&)>& callback)
    {
        platform::MainLoop::main().postAndWait([&] {
            if (callback)
                callback(static_cast<Derived&>(*this));
        });
    }
    static bool isThere(ssh::CkoSFtp& sftp, const std::string& path)
    {
        return sftp.GetFilePermissions(path, false, false) >= 0;
    }

    const SVSSHPasswordInfo::Pointer access_;
    std::optional<std::string> error_;
};
