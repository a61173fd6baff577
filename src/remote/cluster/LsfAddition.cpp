#include "remote/cluster/LsfAddition.h"

namespace {

constexpr toolkit::Rect kPanelFrame{0, 0, 400, 220};

} // namespace

LsfAddition::LsfAddition()
{
    view.setLayout("LSF addition");
    view.setFrame(kPanelFrame);
    minutesBetween.setStringValue("15");
    minutesBetween.setAccessibleName("Minutes between looks");
    minutesBetween.setColumns(6);
    makeOutputView.setEditable(false);
    makeOutputView.setAccessibleName("Output of the compiler");
    for (toolkit::TextField* line :
        {&directoryNameField, &xCodeNameField, &sourceStatus, &inputStatus, &outputStatus})
        line->setEditable(false);
    for (toolkit::Button* button :
        {&checkWorkFolderButton, &checkAgainButton, &checkTaskUploadButton, &checkOutputButton})
        button->setHidden(true);
    checkWorkFolderButton.setTitle("Check Again");
    checkAgainButton.setTitle("Try Again");
    checkTaskUploadButton.setTitle("Upload Again");
    checkOutputButton.setTitle("Check Now");
    for (toolkit::View* part :
        std::initializer_list<toolkit::View*>{&directoryNameField, &checkWorkFolderButton, &xCodeNameField,
            &sourceStatus, &sourceProgress, &checkAgainButton, &makeOutputView, &inputStatus, &taskProgress,
            &checkTaskUploadButton, &outputStatus, &outputProgress, &checkOutputButton, &minutesBetween})
        view.addSubview(*part);
}
