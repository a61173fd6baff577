// Reaction and diffusion of two substances on a square that wraps around: u is fed in, v eats it (u + 2v ->
// 3v) and decays. Depending on feed and decay rate the same equations make spots that divide, stripes, mazes
// or waves. (P. Gray and S. K. Scott, Chem. Eng. Sci. 39 (1984) 1087; J. E. Pearson, Science 261 (1993) 189.)
//
//   patterns [--steps N] [--seed N]
//
// It is an example of a program for a task wrapper. It reads "input.txt" in its working directory, prints as
// it goes, appends one byte to "SVProgress" for each percent, and leaves "pattern.pgm", a picture of v, and a
// file of results (see Results.h): as a rule the data file "pattern.svbin" with v as it formed, how much of
// the square it covered, what the run was given, and a table of how it grew.

#include "Results.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// Lines of "name = value"; "#" begins a comment.
std::map<std::string, double> readInput(const std::string& path)
{
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("can not open " + path);
    std::map<std::string, double> values;
    for (std::string line; std::getline(file, line);) {
        line.erase(std::find(line.begin(), line.end(), '#'), line.end());
        const auto equals = line.find('=');
        if (equals == std::string::npos)
            continue;
        std::string name = line.substr(0, equals);
        name.erase(std::remove_if(name.begin(), name.end(), [](char c) { return c == ' ' || c == '\t'; }),
            name.end());
        values[name] = std::stod(line.substr(equals + 1));
    }
    return values;
}

Parameters parametersFrom(const std::map<std::string, double>& input, int argc, char** argv)
{
    Parameters parameters;
    const auto take = [&input](const char* name, auto& value) {
        const auto entry = input.find(name);
        if (entry == input.end())
            return;
        if (!(std::abs(entry->second) < 1e9))
            throw std::runtime_error(std::string(name) + " is out of range");
        value = static_cast<std::remove_reference_t<decltype(value)>>(entry->second);
    };
    take("size", parameters.size);
    take("steps", parameters.steps);
    take("feed", parameters.feed);
    take("decay", parameters.decay);
    take("diffusion_u", parameters.diffusionU);
    take("diffusion_v", parameters.diffusionV);
    if (argc % 2 == 0)
        throw std::runtime_error("each option needs a value");
    for (int i = 1; i < argc; i += 2) {
        const std::string option = argv[i];
        if (option == "--steps")
            parameters.steps = std::atoi(argv[i + 1]);
        else if (option == "--seed")
            parameters.seed = static_cast<unsigned>(std::atoi(argv[i + 1]));
        else
            throw std::runtime_error("unknown option " + option);
    }
    if (parameters.size < 8 || parameters.size > 4096 || parameters.steps < 1)
        throw std::runtime_error("size must be from 8 to 4096 and steps at least 1");
    return parameters;
}

class Field {
public:
    explicit Field(const Parameters& parameters)
        : parameters_(parameters), size_(static_cast<std::size_t>(parameters.size)), u_(size_ * size_, 1.0F),
          v_(size_ * size_, 0.0F), nextU_(u_), nextV_(v_)
    {
        // A few square seeds in an even sea; where they stand is all that chance decides.
        std::mt19937 random(parameters.seed);
        std::uniform_int_distribution<std::size_t> place(0, size_ - 1);
        const std::size_t edge = std::max<std::size_t>(4, size_ / 20);
        for (int seed = 0; seed < 12; ++seed)
            plant(place(random), place(random), edge);
    }

    void step()
    {
        const auto feed = static_cast<float>(parameters_.feed);
        const auto decay = static_cast<float>(parameters_.decay);
        const auto du = static_cast<float>(parameters_.diffusionU);
        const auto dv = static_cast<float>(parameters_.diffusionV);
        const auto dt = static_cast<float>(parameters_.timeStep);
        for (std::size_t j = 0; j < size_; ++j) {
            const std::size_t here = j * size_;
            const std::size_t above = (j == 0 ? size_ - 1 : j - 1) * size_;
            const std::size_t below = (j + 1 == size_ ? 0 : j + 1) * size_;
            for (std::size_t i = 0; i < size_; ++i) {
                const std::size_t left = i == 0 ? size_ - 1 : i - 1;
                const std::size_t right = i + 1 == size_ ? 0 : i + 1;
                const float u = u_[here + i];
                const float v = v_[here + i];
                const float spreadU =
                    u_[here + left] + u_[here + right] + u_[above + i] + u_[below + i] - 4 * u;
                const float spreadV =
                    v_[here + left] + v_[here + right] + v_[above + i] + v_[below + i] - 4 * v;
                const float reaction = u * v * v;
                nextU_[here + i] = u + dt * (du * spreadU - reaction + feed * (1 - u));
                nextV_[here + i] = v + dt * (dv * spreadV + reaction - (feed + decay) * v);
            }
        }
        u_.swap(nextU_);
        v_.swap(nextV_);
    }

    // The share of the square that v has taken.
    double covered() const
    {
        const auto taken = std::count_if(v_.begin(), v_.end(), [](float value) { return value > 0.1F; });
        return static_cast<double>(taken) / static_cast<double>(v_.size());
    }

    std::size_t size() const { return size_; }
    const std::vector<float>& v() const { return v_; }

    // A portable graymap, which every viewer of pictures opens.
    void writePicture(const std::string& path) const
    {
        const float largest = std::max(1e-6F, *std::max_element(v_.begin(), v_.end()));
        std::ofstream file(path, std::ios::binary);
        file << "P5\n" << size_ << " " << size_ << "\n255\n";
        for (const float value : v_)
            file.put(static_cast<char>(std::lround(255 * std::max(0.0F, std::min(1.0F, value / largest)))));
        if (!file.flush())
            throw std::runtime_error("can not write " + path);
    }

private:
    void plant(std::size_t row, std::size_t column, std::size_t edge)
    {
        for (std::size_t j = 0; j < edge; ++j)
            for (std::size_t i = 0; i < edge; ++i) {
                const std::size_t cell = ((row + j) % size_) * size_ + (column + i) % size_;
                u_[cell] = 0.5F;
                v_[cell] = 0.25F;
            }
    }

    Parameters parameters_;
    std::size_t size_;
    std::vector<float> u_;
    std::vector<float> v_;
    std::vector<float> nextU_;
    std::vector<float> nextV_;
};

// One byte for each percent that is done.
void reportProgress(int percent, int& reported)
{
    std::ofstream file("SVProgress", std::ios::binary | std::ios::app);
    for (; reported < percent; ++reported)
        file.put('.');
}

void run(const Parameters& parameters)
{
    std::cout << "Reaction and diffusion on " << parameters.size << " x " << parameters.size << " cells, "
              << parameters.steps << " steps\n"
              << "feed " << parameters.feed << ", decay " << parameters.decay << ", seed " << parameters.seed
              << std::endl;
    Field field(parameters);
    Results results(parameters);
    results.appendPattern(0, field.size(), field.v());
    int reported = 0;
    for (int step = 1; step <= parameters.steps; ++step) {
        field.step();
        const int percent = static_cast<int>(100LL * step / parameters.steps);
        if (percent == reported)
            continue;
        reportProgress(percent, reported);
        const double time = step * parameters.timeStep;
        results.appendCovered(time, field.covered());
        if (percent % 10 != 0)
            continue;
        results.appendPattern(time, field.size(), field.v());
        std::cout << "step " << step << ": v covers " << 100 * field.covered() << " % of the square"
                  << std::endl;
    }
    results.finish();
    field.writePicture("pattern.pgm");
    std::cout << "The pattern is in pattern.pgm" << std::endl;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        run(parametersFrom(readInput("input.txt"), argc, argv));
    } catch (const std::exception& problem) {
        std::cerr << "patterns: " << problem.what() << std::endl;
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
