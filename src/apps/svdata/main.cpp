#include "apps/svdata/commands.h"

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

constexpr const char* kUsage = R"(svdata: looks into data files

  svdata list FILE [--json]        the variables of a file
  svdata show FILE NAME [--json]   the values of a variable
  svdata copy FROM TO              copies between native files (.svbin) and Level 4
                                   MAT-files (.mat), by the endings of their names
  svdata index FILE                writes the index file beside a data file, which
                                   makes opening fast; for a file that is complete.
                                   A damaged file, or one in the other byte order,
                                   gets none
  svdata --help, --version         this text, or the version of the program

A FILE that ends in .mat (or .MAT) is a Level 4 MAT-file, any other is a native one.

With --json, list prints an array of objects with name, type (the format's code), m,
n, o and location (the offset of the data), sorted by name; show prints an object
with name, type, m, n, o and values: the numbers column by column, with NaN and
infinities as strings, or a text as one string; null if there is no such variable.

Without it, show prints a row on a line, and an empty line between layers.

Exit status: 0 if the file could be opened (what is wrong inside is told on the
standard error stream), 1 if it couldn't or the result couldn't be written, 2 for a
wrong use. A copy that leaves something out names it, copies the rest, and ends with
1, and so does a copy of a damaged file.
)";

int wrongUse()
{
    std::fputs("svdata: wrong use; see svdata --help\n", stderr);
    return kWrongUse;
}

int run(const std::vector<std::string>& words, bool asJson)
{
    const std::string command = words.empty() ? "" : words[0];
    if (command == "list" && words.size() == 2)
        return listVariables(words[1], asJson);
    if (command == "show" && words.size() == 3)
        return showVariable(words[1], words[2], asJson);
    if (command == "copy" && words.size() == 3 && !asJson)
        return copyFile(words[1], words[2]);
    if (command == "index" && words.size() == 2 && !asJson)
        return writeIndexFile(words[1]);
    return wrongUse();
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> words;
    bool asJson = false;
    bool optionsEnded = false; // By "--", for names that begin with a dash.
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (optionsEnded || word.empty() || word[0] != '-')
            words.push_back(word);
        else if (word == "--")
            optionsEnded = true;
        else if (word == "--json")
            asJson = true;
        else if (word == "--help" || word == "-h")
            return std::fputs(kUsage, stdout) < 0 ? 1 : 0;
        else if (word == "--version")
            return std::puts("svdata " SVDATA_VERSION) < 0 ? 1 : 0;
        else
            return wrongUse();
    }
    try {
        const int status = run(words, asJson);
        return std::fflush(stdout) == 0 ? status : 1;
    } catch (const std::exception& failure) { // A variable larger than the memory.
        std::fprintf(stderr, "svdata: %s\n", failure.what());
        return 1;
    }
}
