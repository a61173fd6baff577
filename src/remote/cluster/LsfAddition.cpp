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
    for (toolkit::Button* button : {&checkWorkFolderButton, &checkAgainButton, &checkTaskUploadButton,
             &checkOutputButton, &signInButton, &withoutArgumentsButton})
        button->setHidden(true);
    directoryNameField.setAccessibleName("Batch folder");
    xCodeNameField.setAccessibleName("Sources");
    sourceStatus.setAccessibleName("Source");
    sourceProgress.setAccessibleName("Source progress");
    inputStatus.setAccessibleName("Input");
    taskProgress.setAccessibleName("Input progress");
    outputStatus.setAccessibleName("Output");
    outputProgress.setAccessibleName("Output progress");
    situation.setAccessibleName("Situation");
    signInButton.setTitle("Sign In");
    withoutArgumentsButton.setTitle("Run Without Arguments");
    checkWorkFolderButton.setTitle("Check Again");
    checkAgainButton.setTitle("Try Again");
    checkTaskUploadButton.setTitle("Upload Again");
    checkOutputButton.setTitle("Check Now");
    for (toolkit::View* part :
        std::initializer_list<toolkit::View*>{&directoryNameField, &checkWorkFolderButton, &xCodeNameField,
            &sourceStatus, &sourceProgress, &checkAgainButton, &makeOutputView, &inputStatus, &taskProgress,
            &checkTaskUploadButton, &outputStatus, &outputProgress, &checkOutputButton, &situation,
            &signInButton, &withoutArgumentsButton, &minutesBetween})
        view.addSubview(*part);
}
