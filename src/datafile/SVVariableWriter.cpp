#include "datafile/SVVariableWriter.h"

#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVVariableNames.h"
#include "datafile/SVVariableTimes.h"
#include "datafile/SVVariableTypeCodes.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

namespace {

int codeOfType(const std::string& type)
{
    for (const auto& row : kSVVariableTypeCodes)
        if (type == row.type)
            return row.code;
    return 0;
}

SVMutableDoubleArray arrayOf(const std::vector<double>& numbers)
{
    SVMutableDoubleArray array(static_cast<long>(numbers.size()));
    std::copy(numbers.begin(), numbers.end(), array.Pointer());
    return array;
}

// A variable that gets a value for each time.
struct Growing {
    SVVariableType type;
    bool hasConstantStep = false;
    std::vector<double> times; // One for each value that was written.
};

SVVariableType elementOf(const Growing& variable)
{
    const bool isSeries = variable.type.GetKind() == SVVariableType::Kind::Series;
    return isSeries ? variable.type.Parts().front().type : variable.type;
}

} // namespace

struct SVVariableWriter::State {
    State(const SVDataStorage& store, Flushing whenToFlush)
        : storage(store.AsPointer()), flushing(whenToFlush)
    {
        const std::string prefix = "Seq_";
        for (const std::string& entry : storage->AllVariableNamesWithPrefix(prefix))
            names.Add(entry.substr(prefix.size()), "", SVVariableNames::Values::One);
    }

    // Does the writing. False if the store reported something.
    template <class Writing>
    bool Save(const char* operation, const Writing& writing)
    {
        if (storage->IsReadOnly())
            return Refuse(operation, "The store is read only.");
        const long reports = SVHowManyErrors();
        writing(*storage.Pointer());
        if (flushing == Flushing::EachOperation)
            storage->Flush();
        return SVHowManyErrors() == reports;
    }

    static bool Refuse(const char* operation, const std::string& fault)
    {
        SVErrorMessage(std::string("SVVariableWriter::") + operation, fault);
        return false;
    }

    std::string FaultOfVariable(
        const std::string& name, const SVVariableType& type, SVVariableNames::Values values) const
    {
        std::string fault = type.Fault();
        return fault.empty() ? names.Fault(name, type, values) : fault;
    }

    // A null step stands for times that come with the values.
    bool Announce(const std::string& name, const SVVariableType& type, const double* timeStep)
    {
        constexpr auto kMany = SVVariableNames::Values::Many;
        if (const std::string fault = FaultOfVariable(name, type, kMany); !fault.empty())
            return Refuse("Announce", fault);
        const bool isWritten = Save("Announce", [&](SVDataStorage& store) {
            if (timeStep)
                store.Save(arrayOf({static_cast<double>(codeOfType(type.Name())), *timeStep}), "Seq_" + name);
            else
                SaveAnnouncement(store, name, type);
        });
        if (isWritten) {
            names.Add(name, type, kMany);
            growing.insert_or_assign(name, Growing{type, timeStep != nullptr, {}});
        }
        return isWritten;
    }

    // The description first: a reader that finds the announcement needs it.
    static void SaveAnnouncement(SVDataStorage& store, const std::string& name, const SVVariableType& type)
    {
        if (!type.IsPlain())
            type.SaveDescription(store, "SeqInfo_" + name);
        store.Save(type.Name(), "Seq_" + name);
    }

    // A null time stands for that of a constant step.
    bool Append(const std::string& name, const double* time, const SVVariableValue& value)
    {
        const auto place = growing.find(name);
        if (place == growing.end())
            return Refuse("Append", "The variable \"" + name + "\" was not announced, or is finished.");
        Growing& variable = place->second;
        if (const std::string fault = FaultOfValue(variable, time, value); !fault.empty())
            return Refuse("Append", fault + " The variable is \"" + name + "\".");
        const std::string step = name + "_" + std::to_string(variable.times.size());
        const bool isWritten = Save("Append", [&](SVDataStorage& store) {
            if (time)
                store.Save(*time, step + "_time");
            value.Save(store, step);
        });
        if (isWritten)
            variable.times.push_back(time ? *time : 0);
        return isWritten;
    }

    static std::string FaultOfValue(const Growing& variable, const double* time, const SVVariableValue& value)
    {
        if (variable.hasConstantStep != (time == nullptr))
            return time ? "The times follow from a constant step." : "The value needs a time.";
        if (time)
            if (std::string fault = SVFaultOfTime(*time, variable.times); !fault.empty())
                return fault;
        if (!value.Fits(elementOf(variable)))
            return "The value is of another type than was announced.";
        return value.Fault();
    }

    // A null time writes none.
    bool Write(
        const char* operation, const std::string& name, const double* time, const SVVariableValue& value)
    {
        constexpr auto kOne = SVVariableNames::Values::One;
        std::string fault = value.Fault();
        if (fault.empty())
            fault = FaultOfVariable(name, value.Type(), kOne);
        if (fault.empty() && time)
            fault = SVFaultOfTime(*time, {});
        if (!fault.empty())
            return Refuse(operation, fault);
        const bool isSaved = Save(operation, [&](SVDataStorage& store) {
            if (time)
                store.Save(*time, name + "_time");
            value.Save(store, name);
        });
        // Announced only when it is whole.
        const bool isWritten = isSaved
            && Save(operation, [&](SVDataStorage& store) { SaveAnnouncement(store, name, value.Type()); });
        if (isWritten)
            names.Add(name, value.Type(), kOne);
        return isWritten;
    }

    SVMutablePointer<SVDataStorage> storage;
    Flushing flushing;
    SVVariableNames names;
    std::map<std::string, Growing> growing;
};

SVVariableWriter::SVVariableWriter(const SVDataStorage& storage, Flushing whenToFlush)
    : state(std::make_unique<State>(storage, whenToFlush))
{ }

SVVariableWriter::~SVVariableWriter() = default;

bool SVVariableWriter::Announce(const std::string& name, const SVVariableType& type)
{
    return state->Announce(name, type, nullptr);
}

bool SVVariableWriter::Announce(const std::string& name, const std::string& type, double timeStep)
{
    if (codeOfType(type) == 0)
        return State::Refuse("Announce", "The type \"" + type + "\" has no code: write the times instead.");
    if (!std::isfinite(timeStep) || timeStep <= 0)
        return State::Refuse("Announce", "The time step of \"" + name + "\" is not above 0.");
    return state->Announce(name, type, &timeStep);
}

bool SVVariableWriter::Append(const std::string& name, double time, const SVVariableValue& value)
{
    return state->Append(name, &time, value);
}

bool SVVariableWriter::Append(const std::string& name, const SVVariableValue& value)
{
    return state->Append(name, nullptr, value);
}

bool SVVariableWriter::Finish()
{
    const bool isWritten = state->Save("Finish", [this](SVDataStorage& store) {
        for (const auto& [name, variable] : state->growing) {
            if (variable.hasConstantStep || variable.times.empty())
                continue;
            store.Save(arrayOf(variable.times), "SeqInfo_" + name + "_TimeValues");
            // Only now: where an entry has the bare name, readers look for the first time at <name>_time,
            // unless there is a list.
            if (variable.type.GetKind() == SVVariableType::Kind::Series)
                variable.type.SaveDescription(store, name);
        }
    });
    state->growing.clear();
    return isWritten;
}

bool SVVariableWriter::Write(const std::string& name, const SVVariableValue& value)
{
    return state->Write("Write", name, nullptr, value);
}

bool SVVariableWriter::WriteAt(const std::string& name, double time, const SVVariableValue& value)
{
    return state->Write("WriteAt", name, &time, value);
}

bool SVVariableWriter::Flush()
{
    const long reports = SVHowManyErrors();
    state->storage->Flush();
    return SVHowManyErrors() == reports;
}
