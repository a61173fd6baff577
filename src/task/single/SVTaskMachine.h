#pragma once

#include <optional>
#include <string>

class SVSingleTask;

// A machine that reports the output of its tasks line by line over the network.
class SVRemoteOutputSource {
public:
    virtual ~SVRemoteOutputSource() = default;
    virtual void startListeningToOutput(SVSingleTask& task) = 0;
    virtual void stopListeningToOutput(SVSingleTask& task) = 0;
    virtual std::optional<std::string> getOutputLineNumber(int line, SVSingleTask& forTask) = 0;
};

// A machine that takes single tasks, as a task sees it.
class SVTaskMachine {
public:
    virtual ~SVTaskMachine() = default;
    virtual std::optional<std::string> machineName() const = 0;
    virtual bool isLocal() const = 0;
    virtual void abortJob(SVSingleTask& task) = 0;
    // Null unless the machine reports output over the network.
    virtual SVRemoteOutputSource* remoteOutputSource() { return nullptr; }
};
