#include "task/application/TrelkindWindow.h"

#include "task/application/TaskRows.h"
#include "task/single/SVFileContent.h"
#include "toolkit/Words.h"

namespace {

constexpr toolkit::Rect kContentFrame{0, 0, 900, 600};
constexpr toolkit::Rect kOutputFrame{0, 0, 400, 200};

} // namespace

TrelkindWindow::TrelkindWindow()
{
    arrange();
    name();
}

void TrelkindWindow::arrange()
{
    window.setLayout("TrelkindWindow");
    window.setContent(&content);
    content.setFrame(kContentFrame);
    content.setBounds(kContentFrame);
    fixedPartOfView.setFrame(kContentFrame);
    outputScroller.setBounds(kOutputFrame);

    content.addSubview(heading);
    content.addSubview(fixedPartOfView);
    for (toolkit::TextField* field : {&executable, &xCodeProjectLocation, &howMuchIsDoneField})
        heading.addSubview(*field);
    executable.setEditable(false);
    howMuchIsDoneField.setEditable(false);

    fixedPartOfView.addTab({"Tasks", "Tasks", &batchPage});
    fixedPartOfView.addTab({"Notes", "Notes", &notesPage});
    batchPage.addSubview(taskPart);
    taskPart.addSubview(taskChoice);
    taskPart.addSubview(taskList);
    taskChoice.addSubview(shownTasks);
    taskChoice.addSubview(taskFilter);
    shownTasks.setItems({kShownTasksWords.begin(), kShownTasksWords.end()});
    batchPage.addSubview(filesAndResults);
    filesAndResults.addSubview(filesAndContent);
    filesAndResults.addSubview(resultViews);
    filesAndContent.addSubview(fileTable);
    filesAndContent.addSubview(optionForFileDisplay);
    optionForFileDisplay.addTab({"Nothing", toolkit::words("Text"), &fileText});
    optionForFileDisplay.addTab({"DataFile", "Variables", &dataFileContent});
    optionForFileDisplay.setHidden(true);
    resultViews.willSelect = [this] {
        if (resultViews.selectedIdentifier() != "Output")
            viewOfVariable_ = resultViews.selectedIdentifier();
    };
    resultViews.addTab({"Output", "Output", &outputScroller});
    resultViews.addTab({"Plot", "Plot", &plot});
    resultViews.addTab({"Values", "Values", &plotValues});
    outputScroller.addSubview(outputFromProgram);
    notesPage.addSubview(writeUp);
    notesPage.addSubview(setupDescription);
    writeUp.setRich(true);
    setupDescription.setEditable(false);
    setupDescription.setRich(true);
}

void TrelkindWindow::name()
{
    using toolkit::Column;
    shownTasks.setAccessibleName("Show");
    taskFilter.setAccessibleName("With text");
    taskList.setAccessibleName("Tasks");
    taskList.setColumns({{.identifier = "Number", .title = "Number", .alignment = Column::Alignment::Right},
        {.identifier = "Time", .title = "Time", .alignment = Column::Alignment::Right},
        {.identifier = "Description", .title = "Description"}, {.identifier = "Status", .title = "Status"},
        {.identifier = "Progress", .title = "Progress", .cell = Column::Cell::Progress},
        {.identifier = "Started", .title = "Started", .alignment = Column::Alignment::Right},
        {.identifier = "Duration", .title = "Duration", .alignment = Column::Alignment::Right},
        {.identifier = "Exit", .title = "Exit", .alignment = Column::Alignment::Right},
        {.identifier = "Argument", .title = "Argument"},
        {.identifier = "Try", .title = "Try", .isHidden = true}});
    fileTable.setAccessibleName("Files");
    fileTable.setColumns({{.identifier = "File Name", .title = "File Name"},
        {.identifier = "Size", .title = "Size", .alignment = Column::Alignment::Right}});
    fileText.setAccessibleName(toolkit::words("Text"));
    fileText.setColumns({{.identifier = "Text", .title = toolkit::words("Text")}});
    dataFileContent.setAccessibleName("Variables");
    dataFileContent.setColumns(SVFileContent::columns());
    plot.setAccessibleName("Plot");
    plotValues.setAccessibleName("Values");
    outputFromProgram.setAccessibleName("Output");
    outputFromProgram.setStartsAtEnd(true);
    outputFromProgram.setColumns({{.identifier = "Output", .title = "Output"}});
    executable.setAccessibleName("Executable");
    xCodeProjectLocation.setAccessibleName("Project");
    howMuchIsDoneField.setAccessibleName("Done");
    writeUp.setAccessibleName("Notes");
    setupDescription.setAccessibleName("Description");
}

void TrelkindWindow::showVariable()
{
    if (resultViews.selectedIdentifier() == "Output")
        resultViews.select(viewOfVariable_);
}

void TrelkindWindow::raiseFixedPart(double height)
{
    toolkit::Rect frame = fixedPartOfView.frame();
    frame.y += height;
    frame.height -= height;
    fixedPartOfView.setFrame(frame);
}
