#pragma once

// Puts the program together: fills in what the lower floors leave to higher ones, so that an opened wrapper
// knows projects, machines and data files. Called once by every front end, before it opens a wrapper. Main
// thread.
void composeProgram();
