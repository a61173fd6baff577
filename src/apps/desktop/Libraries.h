#pragma once

#include "task/application/AboutWindow.h"

#include <vector>

// The libraries of this program, with the versions it was built with; Qt's is that of the running library.
std::vector<AboutWindow::Library> librariesOfThisProgram();
