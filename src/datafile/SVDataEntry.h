#pragma once

// Where a variable lies in a native binary file, and what it is.
struct SVDataEntry {
    int m = 0;
    int n = 0;
    int o = 0;
    int type = 0;
    long long location = -1; // File offset of the data; below 0: not found.
};
