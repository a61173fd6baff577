// KRDataFile's writing: a variable is in the file as a whole, or the file is as it was.

#include "diagnostics/KRMessageCenter.h"
#include "storage/KRDataFile.h"

#include <fmt/format.h>

#include <algorithm>

bool KRDataFile::writeTypedArray(const KRAnyArray& array, const std::string& withName)
{
    return write(withName, [&] { return variablesFor(withName, array); });
}

bool KRDataFile::writeString(const std::string& text, const std::string& withName)
{
    return write(withName, [&]() -> platform::Result<std::vector<NewVariable>> {
        auto variable = variableForText(withName, text);
        if (!variable)
            return variable.error();
        std::vector<NewVariable> variables;
        variables.push_back(std::move(*variable));
        return variables;
    });
}

platform::Result<std::vector<KRDataFile::NewVariable>> KRDataFile::variablesFor(
    const std::string&, const KRAnyArray&)
{
    return platform::Error{"this kind of file can't hold arrays"};
}

platform::Result<KRDataFile::NewVariable> KRDataFile::variableForText(const std::string&, const std::string&)
{
    return platform::Error{"this kind of file can't hold texts"};
}

bool KRDataFile::write(const std::string& name, const MakeVariables& make)
{
    const std::lock_guard lock(accessLock_);
    const auto isTaken = [&](const std::string& wanted) {
        if (!find(wanted))
            return false;
        KRMessageCenter::addMessage("Entry already exists, can't overwrite it.");
        return true;
    };
    if (isTaken(name))
        return false;
    auto status = placeIsSound();
    if (status) {
        auto variables = make();
        // Another process may have written the name meanwhile, and a companion has a name of its own.
        if (variables && std::any_of(variables->begin(), variables->end(), [&](const NewVariable& variable) {
                return isTaken(variable.name);
            }))
            return false;
        status = variables ? append(*variables) : platform::Status(variables.error());
    }
    return reportedWriting(status, name);
}

bool KRDataFile::reportedWriting(const platform::Status& status, const std::string& name) const
{
    if (!status)
        KRMessageCenter::addMessage("Could not write the variable.",
            fmt::format("The variable \"{}\" was not written into the file \"{}\": {}.", name, fileName_,
                status.error().text));
    return status.ok();
}

// The place of a new entry is the end of the file itself: another process may have written to it.
platform::Status KRDataFile::placeIsSound()
{
    if (!makeSureFileIsOpen())
        return platform::Error{"it can't be opened"};
    if (!allowWriting_ || !theFile_->isWritable())
        return platform::Error{"it is open for reading alone"};
    // A file without its name would take the entry along when it is closed.
    if (!DataFileStream::isNamed(fileName_, theFile_->identity()))
        return platform::Error{"it was removed or replaced"};
    if (theFile_->length() != endOfEntries_)
        catchUp();
    if (theFile_->length() < endOfEntries_)
        return platform::Error{"it was cut by another program"};
    if (theFile_->length() > endOfEntries_)
        return platform::Error{fmt::format("the bytes from {} on are no complete entry, and nothing that is "
                                           "written behind them could be read",
            endOfEntries_)};
    return mayAppend();
}

platform::Status KRDataFile::append(std::vector<NewVariable>& variables)
{
    const std::string magic = endOfEntries_ == 0 ? headOfFile() : "";
    std::vector<std::string_view> parts{magic};
    std::uint64_t end = endOfEntries_ + magic.size();
    for (NewVariable& variable : variables) {
        parts.insert(parts.end(), {variable.head, variable.data, variable.tail});
        variable.entry.setOffsetInFile(end + variable.head.size());
        end += variable.head.size() + variable.data.size() + variable.tail.size();
    }
    const auto written = theFile_->append(endOfEntries_, parts);
    if (!written)
        return written;
    endOfEntries_ = end;
    currentLengthOfFile_ = end;
    for (NewVariable& variable : variables) {
        theContent_.insert_or_assign(variable.name, std::move(variable.entry));
        entered(variable.name);
    }
    removeIndexFile();
    return {};
}
