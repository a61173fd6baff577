#pragma once

#include "storage/KRDataFile.h"
#include "text/fortran/KRUnformattedFortranStream.h"
#include "variables/structures/KRVariableStructure.h"

#include <optional>
#include <string>

// The variables of a stream of records, in a data file.
struct FortranGroup {
    KRDataFile::FileName file; // A temporary one.
    platform::Value fileStructure;
    KRVariableStructure::Pointer structure; // A group of what was found.
};

// Builds a group from the items of a stream, up to an empty name, "Group End" or the end. An item is
//
//   a plain value        name, type, value
//   a series             name, a type that begins with "Series"; no value follows
//   a step of a series   name, time, type, value
//
// where the value of a group is its items up to "Group End". With a structure, names outside of it are passed
// over. A stream that skips its data leaves no file behind. Nothing without a file to write to.
std::optional<FortranGroup> createFromUnformattedFortranStream(KRUnformattedFortranStream& stream,
    const std::optional<std::string>& baseName, const KRVariableStructure::Pointer& structure);
