#include "variables/reading/ReadingOperations.h"

#include "diagnostics/KRMessageCenter.h"

#include <algorithm>
#include <map>
#include <utility>

namespace {

std::map<std::string_view, ReadingOperation>& table()
{
    static std::map<std::string_view, ReadingOperation> operations;
    return operations;
}

// The readings of this thread inside of one that was asked for. Parameters, groups and redirections of a file
// can lead back to a value that is being read, or to the same value over and over. A sound file has an entry
// for each value, so that its readings are no more than its entries.
class NestedReading {
public:
    explicit NestedReading(KRDataStorage& storage)
    {
        if (depth_++ == 0)
            state_ = {};
        ++state_.count;
        if (state_.count == kMostUncheckedReadings)
            state_.most = std::max(state_.most, storage.variablesWithPrefix("").size());
        isAllowed_ = depth_ <= kMostNesting && state_.count <= state_.most;
        if (!isAllowed_ && !std::exchange(state_.isReported, true))
            KRMessageCenter::addMessage("A value is nested too deeply, or contains itself.");
    }
    ~NestedReading() { --depth_; }
    NestedReading(const NestedReading&) = delete;
    NestedReading& operator=(const NestedReading&) = delete;

    bool isAllowed() const { return isAllowed_; }

private:
    static constexpr int kMostNesting = 128;
    static constexpr std::size_t kMostUncheckedReadings = 10000;
    struct State {
        std::size_t count = 0;
        std::size_t most = kMostUncheckedReadings;
        bool isReported = false;
    };
    static thread_local int depth_;
    static thread_local State state_;
    bool isAllowed_ = false;
};
thread_local int NestedReading::depth_ = 0;
thread_local NestedReading::State NestedReading::state_;

} // namespace

void ReadingOperations::add(const ReadingOperation& operation)
{
    table()[operation.type] = operation;
    if (operation.read)
        KRDataStorageSharedReadWrite::setReader(std::string(operation.type), operation.read);
}

const ReadingOperation* ReadingOperations::forType(std::string_view type)
{
    const auto place = table().find(type);
    return place == table().end() ? nullptr : &place->second;
}

ReadingOperations::Value ReadingOperations::read(
    std::string_view type, KRDataStorage& storage, const std::string& name)
{
    const ReadingOperation* const operation = forType(type);
    if (!operation || !operation->read)
        return nullptr;
    const NestedReading reading(storage);
    return reading.isAllowed() ? operation->read(storage, name) : nullptr;
}

ReadingOperations::Value ReadingOperations::createEmptyVariableWithType(std::string_view type)
{
    const ReadingOperation* const operation = forType(type);
    return operation && operation->createEmpty ? operation->createEmpty() : nullptr;
}

std::vector<std::string_view> ReadingOperations::types()
{
    std::vector<std::string_view> names;
    for (const auto& [type, operation] : table())
        names.push_back(type);
    return names;
}
