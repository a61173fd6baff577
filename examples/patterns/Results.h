#pragma once

#include <memory>
#include <string>
#include <vector>

// What a run is given.
struct Parameters {
    int size = 128; // Cells along an edge.
    int steps = 5000;
    double feed = 0.037; // Per unit of time, as is the next.
    double decay = 0.06;
    double diffusionU = 0.16; // Cells squared per unit of time.
    double diffusionV = 0.08;
    double timeStep = 1.0;
    unsigned seed = 1;
};

// Where the program leaves its results. There are two implementations, of which a build takes one:
// results_datafile.cpp writes a data file with the library svdata, results_text.cpp a plain text file with
// the standard library alone. The second is what the development project names: it is built on machines that
// have nothing but a compiler.
class Results {
public:
    explicit Results(const Parameters& parameters);
    ~Results();
    Results(const Results&) = delete;
    Results& operator=(const Results&) = delete;

    // The square at a time: `size` cells along an edge, row by row.
    void appendPattern(double time, std::size_t size, const std::vector<float>& v);
    // The share of it that v has taken.
    void appendCovered(double time, double share);
    // Called once, when nothing more will be appended.
    void finish();

private:
    struct File;
    std::unique_ptr<File> file_;
};
