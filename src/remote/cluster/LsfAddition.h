#pragma once

#include "toolkit/Controls.h"

// The panel of a batch on a cluster: the lines and bars of its three strands. Its buttons appear when a step
// can be tried again.
struct LsfAddition {
    toolkit::Stack view{toolkit::Direction::Down};
    toolkit::Label directoryNameField; // The batch's folder.
    toolkit::Button checkWorkFolderButton;
    toolkit::Label xCodeNameField; // The project whose sources are compiled.
    toolkit::Label sourceStatus;
    toolkit::ProgressBar sourceProgress;
    toolkit::Button checkAgainButton;
    toolkit::Label inputStatus;
    toolkit::ProgressBar taskProgress;
    toolkit::Button checkTaskUploadButton;
    toolkit::Label outputStatus;
    toolkit::ProgressBar outputProgress;
    toolkit::Button checkOutputButton;
    toolkit::Label situation; // What a person should know besides: what stands still, and since when.
    toolkit::Button signInButton; // Shown while the login waits for a person.
    toolkit::Button withoutArgumentsButton; // Shown when the batch is refused because of its arguments.
    toolkit::TextField minutesBetween;
    toolkit::TextView makeOutputView; // What the compiler prints.

    LsfAddition();
};
