// A program that writes a variable step by step: a step for each line of its input.

#include "datafile/SVDataFile.h"

#include <iostream>
#include <string>

int main(int, char** arguments)
{
    SVDataFile file(arguments[1], SVFile::NewReadWrite);
    file.Save("Real Number", "Seq_v");
    file.Flush();
    std::string line;
    for (int step = 0; std::getline(std::cin, line); ++step) {
        const std::string name = "v_" + std::to_string(step);
        file.Save(0.5 * step, name + "_time");
        file.Save(10.0 * step, name);
        file.Flush();
    }
    return 0;
}
