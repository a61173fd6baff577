#pragma once

#include "toolkit/Controls.h"

// The panel of a batch on a cluster: the lines and bars of its three strands. Its buttons appear when a step
// can be tried again.
struct LsfAddition {
    toolkit::Stack view{toolkit::Direction::Down};
    toolkit::TextField directoryNameField; // The batch's folder.
    toolkit::Button checkWorkFolderButton;
    toolkit::TextField xCodeNameField; // The project whose sources are compiled.
    toolkit::TextField sourceStatus;
    toolkit::ProgressBar sourceProgress;
    toolkit::Button checkAgainButton;
    toolkit::TextField inputStatus;
    toolkit::ProgressBar taskProgress;
    toolkit::Button checkTaskUploadButton;
    toolkit::TextField outputStatus;
    toolkit::ProgressBar outputProgress;
    toolkit::Button checkOutputButton;
    toolkit::TextField minutesBetween;
    toolkit::TextView makeOutputView; // What the compiler prints.

    LsfAddition();
};
