// Writes a data file as a computing program does, reads it back as another program does, and hands it on as a
// Level 4 MAT-file. Builds with the installed library alone:
//     c++ -std=c++17 main.cpp $(pkg-config --cflags --libs svdata)

#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVDataFile.h"
#include "datafile/SVMatlabDataFile.h"

#include <cmath>
#include <cstdio>
#include <string>

namespace {

// A wave on a grid of 40 x 30 points at a time.
SVMutableDoubleArray waveAt(double time)
{
    SVMutableDoubleArray wave(40, 30);
    for (long j = 0; j < wave.n(); ++j)
        for (long i = 0; i < wave.m(); ++i)
            wave(i, j) = std::sin(0.2 * static_cast<double>(i + j) - time);
    return wave;
}

void write(const std::string& name)
{
    SVDataFile file(name, SVFile::NewReadWrite);
    WriteOne(file, "Grid spacing", 0.25);
    WriteOne(file, "Comment", std::string("A wave that runs over a grid"));
    for (int step = 0; step < 4; ++step) {
        const double time = 0.5 * step;
        const std::string variable = "Wave_" + std::to_string(step);
        file.Save(waveAt(time), variable);
        file.Save(time, variable + "_time");
        // If this program is killed now, the steps up to here can be read.
        file.Sync();
    }
    file.SaveIndex(); // Opening the file then needs one small read.
}

bool readBack(const std::string& name, const std::string& matlabName)
{
    const SVDataFile file(name, SVFile::ReadOnly);
    file.printInfo();
    const SVDoubleArray wave = file.ReadDoubleArray("Wave_3");
    SVMatlabDataFile matlab(matlabName, SVFile::NewReadWrite);
    matlab.Save(wave, "wave");
    matlab.Save(file.ReadString("Comment"), "comment");
    return wave == waveAt(1.5) && file.ReadNumber("Wave_3_time") == 1.5;
}

} // namespace

int main()
{
    write("wave.svbin");
    const bool same = readBack("wave.svbin", "wave.mat");
    std::puts(same ? "The last step is the one that was written." : "The last step differs.");
    return same && SVHowManyErrors() == 0 ? 0 : 1;
}
