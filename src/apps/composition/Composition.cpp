#include "apps/composition/Composition.h"

#include "arrays/geometry/KRBounds.h"
#include "arrays/legacy/KRArrayReports.h"
#include "diagnostics/KRMessageCenter.h"
#include "remote/project/XCodeProject.h"
#include "task/UploadPreparation.h"

void composeProgram()
{
    KRSetBoundsReporter([](const std::string& message) { KRMessageCenter::addMessage(message); });
    KRSetArrayReporter([](const std::string& message) { KRMessageCenter::addMessage(message); });
    KRSetArrayTraceReporter(KRMessageCenter::addToLog);
    ProjectToBuild::opener() = [](const std::string& path) { return XCodeProject::createWithFile(path); };
}
