#pragma once

#include "platform/plist/Value.h"

#include <cstdint>
#include <optional>
#include <string>

// The messages between a task server and its client, and what may be believed of them. docs/task-server.md
// tells them to a person who writes a server.
namespace servermessages {

inline constexpr const char* kTaskNumber = "TaskNumber";
inline constexpr const char* kEngineNumber = "EngineNumberInServer";
inline constexpr const char* kProjectNumber = "ProjectNumber";
inline constexpr const char* kWrapperName = "WrapperName";
inline constexpr const char* kExecutable = "Executable";
inline constexpr const char* kArguments = "Arguments";
inline constexpr const char* kDirInfo = "DirInfo";
inline constexpr const char* kInfo = "Info";
inline constexpr const char* kLineNumber = "LineNumber";
inline constexpr const char* kLines = "Lines";
inline constexpr const char* kAborted = "Aborted";

// From the client.
inline constexpr const char* kSetUpConnection = "setUpConnection:";
inline constexpr const char* kSetupProject = "setupProject:wrapperName:forClientNumber:";
inline constexpr const char* kAddedTask = "addedTask:";
inline constexpr const char* kAbortTask = "abortTask:";
inline constexpr const char* kRemoveFilesInTaskOutput = "removeFilesInTaskOutput:";
inline constexpr const char* kRemoveTask = "removeTask:";
inline constexpr const char* kRemoveTransferredTask = "removeTransferredTask:";
inline constexpr const char* kRemoveProjectFolder = "removeProjectFolder:";
inline constexpr const char* kReportOutput = "reportOutputForTask:";
inline constexpr const char* kStopReportingOutput = "stopReportingOutputForTask:";
inline constexpr const char* kGetOutputLine = "getOutputLine:";
inline constexpr const char* kCheckHeartbeat = "checkHeartbeat:";
inline constexpr const char* kRespondsToSelector = "respondsToSelector:";
inline constexpr const char* kRemoveConnection = "removeConnection:";

// From the server.
inline constexpr const char* kStartedComputingTask = "startedComputingTask:";
inline constexpr const char* kNewOutputLength = "newOutputLength:";
inline constexpr const char* kFinishedRunningTask = "finishedRunningTask:";
inline constexpr const char* kThisMachineName = "thisMachineName";

// What the server tells about a task. The task is named by its number and its wrapper; whether there is such
// a task is for the engine to find out.
struct TaskNews {
    enum class Kind { Started, NewOutputLength, Finished };
    Kind kind = Kind::Started;
    std::int64_t taskNumber = 0;
    std::string wrapperName;
    int lines = 0; // Of a new output length; 0 to kMostLines.
    bool isAborted = false; // Of an end.
};
constexpr int kMostLines = 100'000'000; // More than a table could show; a higher count is cut to it.
constexpr std::size_t kLongestWrapperName = 4096;
constexpr std::size_t kLongestLine = std::size_t{64} << 10; // Bytes of an output line that are kept.

// Nothing for another operation, a missing key, or a number that can't be.
std::optional<TaskNews> readNews(const std::string& operation, const platform::Value& argument);
// The number that the server gave this client: 0 or more, and exact as a real number.
std::optional<std::int64_t> readClientNumber(const platform::Value& reply);
std::optional<double> readLoadLevel(const platform::Value& reply); // Finite, 0 or more.
// A line that is too long is cut at a whole character. Nothing for what is no text.
std::optional<std::string> readLine(const platform::Value& reply);

} // namespace servermessages
