#pragma once

#include "datafile/SVDataStorage.h"
#include "datafile/SVVariableType.h"
#include "datafile/SVVariableValue.h"

#include <memory>
#include <string>

// Writes typed variables into a data file, so that programs that read it list them by name, type and times
// (docs/variables.md). The entries come in the order in which a reader of the growing file needs them:
// nothing is listed before it is complete, and the time of a value is there before the value.
//
//     SVDataFile file("results.svbin", SVFile::NewReadWrite);
//     SVVariableWriter writer(file);
//     writer.Write("viscosity", 0.01);
//     writer.Announce("energy", "Real Number");
//     writer.Append("energy", 0.5, 12.25);
//
// An operation that is refused, or during which the store reports something, gives false and is reported
// through SVErrorMessage. What is refused has written nothing. The data files don't check all their writes,
// so that a full disk can go unnoticed. One thread at a time uses a writer and its store. A store has one
// writer at a time: two don't know of each other's names.
class SVVariableWriter {
public:
    // Whether each operation ends with a flush, or the program calls Flush() when it likes.
    enum class Flushing { EachOperation, ByProgram };

    // Keeps a handle of its own on the store. The variables that are announced in it already keep their
    // names.
    explicit SVVariableWriter(const SVDataStorage& storage, Flushing whenToFlush = Flushing::EachOperation);
    ~SVVariableWriter();
    SVVariableWriter(const SVVariableWriter&) = delete;
    SVVariableWriter& operator=(const SVVariableWriter&) = delete;

    // Announces a variable with a value for each of several times, which Append() adds. Refused are types
    // that no reader takes, a name that is taken, that is too long for what is appended to it (220 bytes at
    // most, less for a group), or whose entries would collide with those of another variable: beside V there
    // can't be V_0, V_time, or, if V is a group, the name of one of its entries; and names that begin with
    // "Seq_", "SeqInfo_" or "SeqSeriesInfo_".
    bool Announce(const std::string& name, const SVVariableType& type);
    // The same with the times 0, timeStep, 2 timeStep and so on, for the types that have a code. The step is
    // above 0.
    bool Announce(const std::string& name, const std::string& type, double timeStep);

    // Adds the next value of an announced variable. Its time is finite, not negative and above the one
    // before.
    bool Append(const std::string& name, double time, const SVVariableValue& value);
    bool Append(const std::string& name, const SVVariableValue& value); // With a constant time step.
    // Writes the list of all times of each variable, by which files with many times are read faster. No value
    // can be added after this.
    bool Finish();

    // Writes and announces a variable with one value, under the same rules for names and times.
    bool Write(const std::string& name, const SVVariableValue& value);
    bool WriteAt(const std::string& name, double time, const SVVariableValue& value);

    bool Flush();

private:
    struct State;
    std::unique_ptr<State> state;
};
