#pragma once

#include <string>
#include <vector>

// The command line of a program that is built on this library. The two values are process-wide and plain: set
// them once, at the start of main, before other threads exist.

extern std::vector<std::string> SVInputArgumentList; // Without the program's own name.
extern std::string SVApplicationName;

// Replaces both values. A missing argv[0] gives an empty name.
void SVSetArguments(int argc, const char** argv);

// Whether "-" + name is an entry of the list.
bool SVArgumentIncludesFlag(std::string name);

// The entry behind "-" + name. Empty if the flag isn't there, if it is the last entry, or if the next entry
// is empty or begins with "-" (so a negative number can't be given).
std::string SVArgumentFlagEntry(std::string name);

// The leading digits of SVArgumentFlagEntry(name) as a number; 0 if there are none.
int SVArgumentIntegerEntry(std::string name);

int SVHowManyArguments();

// The entry of that number, from 0. A number out of bounds is reported and gives an empty string.
std::string SVGetArgumentNumber(int number);
