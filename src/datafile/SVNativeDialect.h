#pragma once

#include "datafile/SVDataFileFormat.h"

#include <cstddef>
#include <cstdint>

// The native format has two implementations, SVDataFile and the application's KRDataFileBinary. Each reads
// what the other wrote, but they don't decide every case alike, and existing files depend on each one's
// decisions. This table has the differences; code that serves both asks it.
struct SVNativeDialect {
    // Writing.
    bool refusesTakenNames; // Else a second entry is appended, and the last one counts.
    bool stringHasNul; // A string is (length + 1) x 1 x 1 with a NUL, else 1 x length x 1 without one.
    bool writesOrderOfFile; // Else the machine's order alone.
    bool keepsDimensionsOfEmpty; // Else an array without elements is 0 x 0 x 0.
    bool sortsIndexBlock; // By name. Else in the order of the dictionary, which happens to be the same here.

    // Finding the content.
    bool blockBeforeIndexFile; // Else the index file is first, if it reaches to the end of the file.
    bool replacesAnyExtension; // For the index file's name; else ".index" replaces ".svbin" alone.
    bool comparesIndexMagic;
    std::size_t smallestIndexFile; // Bytes.
    std::size_t largestIndexFile;
    int typeOfBlock; // That the entry of an index block must have; 0: any.
    bool blockIsShorterThanFile; // Its m must be below the length of the file.

    // Scanning.
    int shortestName; // With its NUL.
    bool refusesUnknownTypes; // Else all up to kSVLargestType pass.
    bool testsWholeSize; // Against the end of the file; else the low 32 bits of entrySize.
    bool sizeMustFit; // entrySize must be what the dimensions and the type make; else only 0 is damage.
};

inline constexpr SVNativeDialect kSVLibraryDialect = {
    /* refusesTakenNames      */ false,
    /* stringHasNul           */ true,
    /* writesOrderOfFile      */ true,
    /* keepsDimensionsOfEmpty */ true,
    /* sortsIndexBlock        */ true,
    /* blockBeforeIndexFile   */ true,
    /* replacesAnyExtension   */ false,
    /* comparesIndexMagic     */ true,
    /* smallestIndexFile      */ kSVIndexFileMagicLength,
    /* largestIndexFile       */ SIZE_MAX,
    /* typeOfBlock            */ 0,
    /* blockIsShorterThanFile */ false,
    /* shortestName           */ 0,
    /* refusesUnknownTypes    */ false,
    /* testsWholeSize         */ false,
    /* sizeMustFit            */ false,
};

inline constexpr SVNativeDialect kSVApplicationDialect = {
    /* refusesTakenNames      */ true,
    /* stringHasNul           */ false,
    /* writesOrderOfFile      */ false,
    /* keepsDimensionsOfEmpty */ false,
    /* sortsIndexBlock        */ false,
    /* blockBeforeIndexFile   */ false,
    /* replacesAnyExtension   */ true,
    /* comparesIndexMagic     */ false,
    /* smallestIndexFile      */ 20,
    /* largestIndexFile       */ 400000000,
    /* typeOfBlock            */ kSVCharType,
    /* blockIsShorterThanFile */ true,
    /* shortestName           */ 1,
    /* refusesUnknownTypes    */ true,
    /* testsWholeSize         */ true,
    /* sizeMustFit            */ true,
};

// Why an entry can't be right; None: as far as its header tells, it can.
enum class SVEntryFault { None, Name, Type, Size };
SVEntryFault SVFaultOf(const SVDataFileStructure& header, const SVNativeDialect& dialect);
