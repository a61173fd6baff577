#pragma once

#include <memory>
#include <string>
#include <vector>

// Where the program leaves its results. There are two implementations, of which a build takes one:
// results_datafile.cpp writes a data file with the library svdata, results_text.cpp a plain text file with
// the standard library alone. The second is what the development project names: it is built on machines that
// have nothing but a compiler.
class Results {
public:
    Results(double feed, double decay);
    ~Results();
    Results(const Results&) = delete;
    Results& operator=(const Results&) = delete;

    // The square at a time: `size` cells along an edge, row by row.
    void appendPattern(double time, std::size_t size, const std::vector<float>& v);
    // The share of it that v has taken.
    void appendCovered(double time, double share);

private:
    struct File;
    std::unique_ptr<File> file_;
};
