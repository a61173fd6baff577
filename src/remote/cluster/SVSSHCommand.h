#pragma once

#include "remote/cluster/ClusterOperation.h"

#include <cstdint>

// Runs one command on the cluster, in the login's home folder, and streams what it prints on both of its
// outputs. The callback comes only when the command has ended: an operation that fails before ends without
// it.
class SVSSHCommand : public ClusterOperation {
public:
    using Callback = std::function<void(SVSSHCommand&)>;
    // Gets the whole output so far, or its end with a line that tells how much was before. Main thread.
    using Output = std::function<void(const std::string&)>;
    // Gets the reason when the operation ends without its callback. Main thread.
    using Failed = std::function<void(const std::string&)>;

    SVSSHCommand(std::string createWithCommand, SVSSHPasswordInfo::Pointer access, Output sendOutput,
        Callback callback, Failed failed)
        : ClusterOperation(std::move(access)), cmdString_(std::move(createWithCommand)),
          output_(std::move(sendOutput)), callback_(std::move(callback)), failed_(std::move(failed))
    { }
    void main() override;

    std::string printed() const; // As it went to the output.
    int exitStatus() const { return exitStatus_; } // Negative while it is unknown.

private:
    platform::Status run(ssh::CkoSsh& connection);
    platform::Status takeOutput(ssh::CkoSsh& connection, int channel);
    void append(std::string text);

    const std::string cmdString_;
    const Output output_;
    const Callback callback_;
    const Failed failed_;
    std::string undecoded_; // The beginning of a character whose rest hasn't come yet.
    std::string tail_;
    int exitStatus_ = -1;
    std::uint64_t dropped_ = 0; // Bytes before the tail.
};
