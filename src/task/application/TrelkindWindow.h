#pragma once

#include "toolkit/Controls.h"
#include "toolkit/Menu.h"
#include "toolkit/Plot.h"
#include "toolkit/PlotValues.h"
#include "toolkit/Table.h"
#include "toolkit/TextLines.h"
#include "toolkit/Window.h"

// The window of one open wrapper and the views in it. A front end shows them.
//
//     content             one below the other:
//       heading             fields of the whole batch
//       fixedPartOfView     two tabs:
//         batchPage           tasks, with what chooses among them above, and below them:
//           filesAndContent     the files, and the text or the variables of the selected one
//           resultViews         output; the plot of the selected variable; its values
//         notesPage           the user's notes, the description of the set-up
//       an engine's panel   while an engine is attached
struct TrelkindWindow {
    toolkit::Window window;
    toolkit::Stack content{toolkit::Direction::Down};
    toolkit::Stack heading{toolkit::Direction::Across};
    toolkit::TabView fixedPartOfView; // Gives room to an engine's panel.
    toolkit::Split batchPage{toolkit::Direction::Down, {2, 3}};
    toolkit::Split filesAndResults{toolkit::Direction::Across, {2, 3}};
    toolkit::Split filesAndContent{toolkit::Direction::Down, {1, 1}};
    toolkit::Split notesPage{toolkit::Direction::Down};

    toolkit::Stack taskPart{toolkit::Direction::Down};
    toolkit::Stack taskChoice{toolkit::Direction::Across};
    toolkit::PopUp shownTasks; // In the order of kShownTasksWords.
    toolkit::TextField taskFilter; // Tasks without this text are not shown.
    toolkit::Table taskList;
    toolkit::Table fileTable;
    toolkit::TabView optionForFileDisplay; // "Nothing", which has the text of a file, or "DataFile".
    toolkit::TextLines fileText;
    toolkit::Table dataFileContent;
    toolkit::TabView resultViews; // "Output", "Plot" or "Values".
    toolkit::Plot plot;
    toolkit::PlotValues plotValues{plot};
    toolkit::View outputScroller;
    toolkit::TextLines outputFromProgram;
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

    TrelkindWindow();

    // Brings up the plot or, where the user has looked at those before, the values.
    void showVariable();
    // Moves the fixed part up by the height of an engine's panel below it. A negative height moves it back.
    void raiseFixedPart(double height);

private:
    void arrange();
    void name();

    std::string viewOfVariable_ = "Plot"; // The user's last choice.
};
