#include "apps/composition/Composition.h"

#include "apps/composition/DataFileContent.h"
#include "arrays/geometry/KRBounds.h"
#include "arrays/legacy/KRArrayReports.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/loop/NotificationCenter.h"
#include "remote/cluster/SVSetupForLSFController.h"
#include "remote/cluster/SVTrelkindEngineLSF.h"
#include "remote/machines/KRTrelkindMachineLSF.h"
#include "remote/project/XCodeProject.h"
#include "remote/server/SVRemoteEngineController.h"
#include "storage/KRDataFile.h"
#include "task/application/KRTrelkindController.h"
#include "task/single/SVFileContent.h"
#include "task/wrapper/UploadPreparation.h"
#include "temporary/KRContainerFileName.h"
#include "toolkit/Workspace.h"
#include "variables/composites/ValueTypes.h"
#include "variables/files/KRVariableFile.h"
#include "variables/structures/KRVariableModulesPref.h"

#include <tuple>

namespace {

void fillMachines()
{
    KRTrelkindMachine::kinds()[KRTrelkindMachine::kClusterKind] = KRTrelkindMachineLSF::createFromNib;
    KRTrelkindMachineLSF::engineMaker() = [](SVTaskController& controller, const auto& machine,
                                              const std::string& queue) {
        return SVTrelkindEngineLSF::initWithTask(controller, machine, queue);
    };
    SVMachineDefinitionController::engineMaker() = [](const std::string& machine, const std::string& user,
                                                       SVMachineDefinitionController& parent) {
        return SVRemoteEngineController::machine(machine, user, &parent);
    };
    SVEngineController::remoteMaker() = [](const std::string& name) {
        return SVRemoteEngineController::machine(name, "", nullptr);
    };
    KRTrelkindController::setupMaker() =
        [](KRTrelkindController& newForTask,
            const std::any& forMachine) -> std::shared_ptr<SVSetupForLSFController> {
        const auto* target = std::any_cast<KRTrelkindController::RunTarget>(&forMachine);
        auto machine = target ? std::dynamic_pointer_cast<KRTrelkindMachineLSF>(target->machine) : nullptr;
        if (!machine)
            return nullptr;
        auto window = SVSetupForLSFController::newForTask(newForTask, std::move(machine));
        window->start();
        return window;
    };
}

} // namespace

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
    fillMachines();
    KRDataFile::keepTrackOfDataFiles();
    variables::addValueTypes();
    std::ignore = KRVariableModulesPref::shared(); // A broken resource is reported at the start.
    SVFileContent::scanner() = DataFileContent::open;
    KRVariableFile::setWarningSound([] {
        if (const auto& sound = toolkit::Workspace::shared().soundAlert)
            sound();
    });
}

Program::~Program()
{
    platform::NotificationCenter::defaultCenter().post(platform::kApplicationWillTerminate);
}
