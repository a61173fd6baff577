#include "Results.h"

#include <fstream>

struct Results::File {
    std::ofstream file{"covered.txt"};
};

Results::Results(const Parameters& parameters) : file_(new File)
{
    file_->file << "# feed " << parameters.feed << ", decay " << parameters.decay
                << "\n# time, share of the square\n";
}

Results::~Results() = default;

// A text of all the cells would be of use to nobody; the picture shows the last of them.
void Results::appendPattern(double, std::size_t, const std::vector<float>&) { }

void Results::appendCovered(double time, double share)
{
    file_->file << time << " " << share << std::endl; // A reader sees whole lines while the program runs.
}

void Results::finish() { }
