#pragma once

#include "toolkit/Controls.h"
#include "toolkit/Menu.h"
#include "toolkit/Table.h"

// The window of one open wrapper and the views in it. A front end shows them.
struct TrelkindWindow {
    toolkit::Window window;
    toolkit::View content;
    toolkit::View fixedPartOfView; // Gives up room to an engine's panel.
    toolkit::Table taskList;
    toolkit::Table fileTable;
    toolkit::TabView optionForFileDisplay; // "Nothing" or "DataFile".
    toolkit::Table dataFileContent;
    toolkit::View outputScroller;
    toolkit::Table outputFromProgram;
    toolkit::TextField xCodeProjectLocation;
    toolkit::TextField arguments;
    toolkit::TextField executable;
    toolkit::Button startButton;
    toolkit::Button stopButton;
    toolkit::TextField howMuchIsDoneField;
    toolkit::Button useLocalMachine;
    toolkit::Button useRemoteMachines;
    toolkit::Menu runOptions;
    toolkit::TextView writeUp;
    toolkit::TextView setupDescription;

    TrelkindWindow()
    {
        window.layout = "TrelkindWindow";
        content.frame = content.bounds = fixedPartOfView.frame = {0, 0, 900, 600};
        outputScroller.bounds = {0, 0, 400, 200};
        content.setWindow(&window);
        content.addSubview(fixedPartOfView);
        outputScroller.addSubview(outputFromProgram);
        for (toolkit::View* part : {static_cast<toolkit::View*>(&taskList),
                 static_cast<toolkit::View*>(&fileTable), static_cast<toolkit::View*>(&optionForFileDisplay),
                 static_cast<toolkit::View*>(&dataFileContent), &outputScroller})
            fixedPartOfView.addSubview(*part);
    }
};
