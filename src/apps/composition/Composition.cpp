#include "apps/composition/Composition.h"

#include "arrays/geometry/KRBounds.h"
#include "arrays/legacy/KRArrayReports.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/loop/NotificationCenter.h"
#include "remote/project/XCodeProject.h"
#include "task/wrapper/UploadPreparation.h"
#include "temporary/KRContainerFileName.h"

Program::Program()
{
    KRMessageCenter::keepLogInFolder([] {
        KRContainerFileName::initializeTemporary();
        return KRContainerFileName::nameOfGlobalTemporaryDirectory();
    });
    KRSetBoundsReporter([](const std::string& message) { KRMessageCenter::addMessage(message); });
    KRSetArrayReporter([](const std::string& message) { KRMessageCenter::addMessage(message); });
    KRSetArrayTraceReporter(KRMessageCenter::addToLog);
    ProjectToBuild::opener() = [](const std::string& path) { return XCodeProject::createWithFile(path); };
}

Program::~Program()
{
    platform::NotificationCenter::defaultCenter().post(platform::kApplicationWillTerminate);
}
