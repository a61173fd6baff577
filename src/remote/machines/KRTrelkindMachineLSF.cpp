#include "remote/machines/KRTrelkindMachineLSF.h"

#include "platform/ProcessInfo.h"
#include "platform/files/Places.h"
#include "platform/loop/MainLoop.h"
#include "remote/machines/ClusterCondition.h"
#include "remote/machines/ClusterNames.h"
#include "remote/machines/SignInAnswers.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/runs/RunTimes.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

namespace {

constexpr toolkit::Color kWindowBackground{0.93, 0.93, 0.93, 1};

// Keys of the machine list.
constexpr const char* kUserName = "User Name";
constexpr const char* kMachineName = "Machine Name";
constexpr const char* kQueue = "Queue";
constexpr const char* kType = "Type";
constexpr const char* kKeyFile = "Key File";
constexpr const char* kPort = "Port";
constexpr const char* kThrough = "Through";
constexpr const char* kCheckedFolder = "Checked Folder";
constexpr const char* kAllowOldAlgorithms = "Allow Old Algorithms";

platform::SecretStore secrets()
{
    return platform::SecretStore(platform::Places::library() + "/Secrets.plist");
}

std::string_view withoutBlanks(std::string_view text)
{
    constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";
    const auto first = text.find_first_not_of(kWhiteSpace);
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

MachineAccess accessFrom(const platform::Value& stored)
{
    MachineAccess access;
    access.keyFile = stored.textFor(kKeyFile);
    access.through = stored.textFor(kThrough);
    const platform::Value* port = stored.find(kPort);
    if (const auto number = port ? port->integer() : std::nullopt; number && *number > 0 && *number <= 65535)
        access.port = static_cast<int>(*number);
    const platform::Value* old = stored.find(kAllowOldAlgorithms);
    access.allowsOldAlgorithms = old && old->boolean().value_or(false);
    return access;
}

void store(const MachineAccess& access, platform::Value::Dictionary& entry)
{
    if (access.keyFile)
        entry[kKeyFile] = *access.keyFile;
    if (access.through)
        entry[kThrough] = *access.through;
    if (access.port)
        entry[kPort] = *access.port;
    if (access.allowsOldAlgorithms)
        entry[kAllowOldAlgorithms] = true;
}

class Background : public platform::Operation {
public:
    explicit Background(std::function<void()> work) : work_(std::move(work)) { }
    void main() override { work_(); }

private:
    std::function<void()> work_;
};

} // namespace

KRTrelkindMachineLSF::Definition::Definition()
{
    view.setLayout("Machine Definition LSF");
    checkButton.setTitle("Check");
    userNameField.setAccessibleName("User name");
    passwordField.setAccessibleName("Password");
    machineNameField.setAccessibleName("Machine name");
    queueNameField.setAccessibleName("Queues");
    workDirectoryNameField.setAccessibleName("Work folder");
    directoryContentView.setColumns(
        {{.identifier = "Directory", .title = "Name"}, {.identifier = "Date", .title = "Changed"},
            {.identifier = "File", .title = "File", .isHidden = true}});
    view.toggle().setAccessibleName("Details");
    descriptionField.setAccessibleName("Machine description");
    errorField.setAccessibleName("Result of the check");
    directoryContentView.setAccessibleName("Work folder's files");
    for (toolkit::View* part : std::initializer_list<toolkit::View*>{&descriptionField, &userNameField,
             &passwordField, &machineNameField, &queueNameField, &workDirectoryNameField, &checkButton,
             &errorField, &directoryContentView})
        view.addSubview(*part);
}

std::vector<toolkit::TextField*> KRTrelkindMachineLSF::Definition::entries()
{
    return {&userNameField, &passwordField, &machineNameField, &queueNameField, &workDirectoryNameField};
}

KRTrelkindMachineLSF::EngineMaker& KRTrelkindMachineLSF::engineMaker()
{
    static EngineMaker maker;
    return maker;
}

std::shared_ptr<KRTrelkindMachineLSF> KRTrelkindMachineLSF::createFromNib()
{
    std::shared_ptr<KRTrelkindMachineLSF> machine(new KRTrelkindMachineLSF());
    machine->finishConnections();
    return machine;
}

KRTrelkindMachineLSF::KRTrelkindMachineLSF() : form_(std::make_shared<Definition>())
{
    form_->userNameField.whenCommitted = [this] { nameChanged(); };
    form_->machineNameField.whenCommitted = [this] { machineChanged(); };
    form_->queueNameField.whenCommitted = [this] { queNameChanged(); };
    form_->workDirectoryNameField.whenCommitted = [this] { workDirectoryChanged(); };
    form_->passwordField.whenCommitted = [this] { passwordChanged(); };
    form_->checkButton.whenPressed = [this] {
        asksQuestions_ = true;
        checkConnectivity();
    };
    // The folder is listed when the table is first shown.
    form_->view.whenOpened = [this] { form_->directoryContentView.setDataSource(this); };
    form_->view.setBackgroundColor(kWindowBackground);
    form_->view.setHasBorder(true);
}

KRTrelkindMachineLSF::~KRTrelkindMachineLSF()
{
    // The list may show the form for longer.
    form_->directoryContentView.setDataSource(nullptr);
    for (toolkit::TextField* field : form_->entries())
        field->whenCommitted = nullptr;
    form_->checkButton.whenPressed = nullptr;
    form_->view.whenOpened = nullptr;
}

std::shared_ptr<toolkit::View> KRTrelkindMachineLSF::view()
{
    return {form_, &form_->view};
}

std::optional<std::vector<std::string>> KRTrelkindMachineLSF::queuNames() const
{
    const std::string text = queuName();
    if (text.empty())
        return std::nullopt;
    std::vector<std::string> names;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t comma = std::min(text.find(',', at), text.size());
        const std::string name(withoutBlanks(std::string_view(text).substr(at, comma - at)));
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
        at = comma + 1;
    }
    return names;
}

std::string KRTrelkindMachineLSF::machineDescription() const
{
    return fmt::format("{}@{}", userName(), machineName());
}

std::string KRTrelkindMachineLSF::workDirectory() const
{
    const std::string& typed = form_->workDirectoryNameField.stringValue();
    return typed.empty() ? kUsualWorkDirectory : typed;
}

SVSSHPasswordInfo::Pointer KRTrelkindMachineLSF::passwordInfo() const
{
    return SVSSHPasswordInfo::createWithHost(machineName(), userName(), password(), access_);
}

std::shared_ptr<SVTrelkindEngine> KRTrelkindMachineLSF::createTaskFor(
    SVTaskController& controller, const std::string& queue)
{
    return engineMaker() ? engineMaker()(controller, shared_from_this(), queue) : nullptr;
}

void KRTrelkindMachineLSF::updateDescription()
{
    form_->descriptionField.setStringValue(machineDescription());
}

void KRTrelkindMachineLSF::fillFromPropertyList(const platform::Value& stored)
{
    if (!stored.dictionary())
        return;
    const auto fill = [&stored](const char* key, toolkit::TextField& field) {
        if (auto text = stored.textFor(key))
            field.setStringValue(std::move(*text));
    };
    fill(kUserName, form_->userNameField);
    fill(kMachineName, form_->machineNameField);
    fill(kQueue, form_->queueNameField);
    access_ = accessFrom(stored);
    checkedFolder_ = stored.textFor(kCheckedFolder);
    fillInPassword();
    updateDescription();
}

platform::Value KRTrelkindMachineLSF::propertyList() const
{
    platform::Value::Dictionary entry{
        {kUserName, userName()}, {kMachineName, machineName()}, {kQueue, queuName()}, {kType, kClusterKind}};
    store(access_, entry);
    if (checkedFolder_)
        entry[kCheckedFolder] = *checkedFolder_;
    return entry;
}

std::string KRTrelkindMachineLSF::account() const
{
    return userName().empty() ? platform::loginName() : userName();
}

void KRTrelkindMachineLSF::fillInPassword()
{
    if (machineName().empty())
        return;
    if (const auto found = secrets().find(machineName(), account()); found && *found)
        form_->passwordField.setStringValue(**found);
}

void KRTrelkindMachineLSF::savePasswordIfNeeded()
{
    if (machineName().empty() || password().empty())
        return;
    auto store = secrets();
    if (const auto kept = store.find(machineName(), account()); kept && *kept != password())
        std::ignore = store.store(machineName(), account(), password());
}

void KRTrelkindMachineLSF::nameChanged()
{
    updateDescription();
    savePasswordIfNeeded();
    if (auto* app = KRTrelkindApplication::app())
        app->updateMachineInformation();
}

void KRTrelkindMachineLSF::workDirectoryChanged()
{
    updateDescription();
    if (auto* app = KRTrelkindApplication::app())
        app->updateMachineInformation();
}

template <typename Work, typename Done>
void KRTrelkindMachineLSF::inBackground(Work work, Done done)
{
    background_.addOperation(std::make_shared<Background>(
        [self = weak_from_this(), work = std::move(work), done = std::move(done)] {
            platform::MainLoop::main().post([self, done, result = work()]() mutable {
                if (const auto machine = self.lock())
                    done(*machine, std::move(result));
            });
        }));
}

void KRTrelkindMachineLSF::setFormEditable(bool isEditable)
{
    for (toolkit::TextField* field : form_->entries())
        field->setEditable(isEditable);
    form_->checkButton.setEnabled(isEditable);
}

void KRTrelkindMachineLSF::checkConnectivity()
{
    if (isBeingChecked_)
        return;
    if (auto* app = KRTrelkindApplication::app())
        app->saveMachineInformation();
    isBeingChecked_ = true;
    setFormEditable(false);
    const std::string folder = workDirectory();
    struct Outcome {
        std::string words;
        std::vector<std::string> remarks;
    };
    inBackground(
        [login = passwordInfo(), folder] {
            Outcome outcome{machinefolder::check(*login, folder), {}};
            if (outcome.words == machinefolder::kWorked && clusternames::checkWorkFolder(folder).ok())
                outcome.remarks = clustercondition::ask(*login, folder);
            return outcome;
        },
        [folder](KRTrelkindMachineLSF& machine, const Outcome& outcome) {
            machine.setFormEditable(true);
            machine.isBeingChecked_ = false;
            machine.checked(outcome.words, folder);
            clustercondition::report(machine.machineName(), outcome.remarks);
            machine.askAndCheckAgain();
        });
}

// A check is what a person has asked for, so that its questions are asked at once.
void KRTrelkindMachineLSF::askAndCheckAgain()
{
    const std::string login = machineDescription();
    if (asksQuestions_ && SignInAnswers::shared().isWaiting(login))
        SignInAnswers::shared().ask(login, [weak = weak_from_this()](bool areAnswered) {
            if (const auto machine = weak.lock(); machine && areAnswered)
                machine->checkConnectivity();
        });
}

void KRTrelkindMachineLSF::checked(const std::string& words, const std::string& workFolder)
{
    form_->errorField.setStringValue(words);
    if (words != machinefolder::kWorked || checkedFolder_ == workFolder)
        return;
    checkedFolder_ = workFolder;
    if (auto* app = KRTrelkindApplication::app())
        app->saveMachineInformation();
}

int KRTrelkindMachineLSF::numberOfRowsInTableView(const toolkit::Table&)
{
    if (!directoryContentUpToDate_ && !directoryContentIsBeingChecked_) {
        directoryContentIsBeingChecked_ = true;
        inBackground([login = passwordInfo(),
                         folder = workDirectory()] { return machinefolder::list(*login, folder).entries; },
            [](KRTrelkindMachineLSF& machine, std::vector<machinefolder::Entry> entries) {
                machine.directoryContent_ = std::move(entries);
                machine.directoryContentUpToDate_ = true;
                machine.directoryContentIsBeingChecked_ = false;
                machine.form_->directoryContentView.reloadData();
            });
    }
    return static_cast<int>(directoryContent_.size());
}

toolkit::CellValue KRTrelkindMachineLSF::objectValueForTableColumn(
    const toolkit::Table&, std::string_view column, int row)
{
    const auto index = static_cast<std::size_t>(row);
    if (row < 0 || index >= directoryContent_.size() || (column != "Directory" && column != "Date"))
        return std::string();
    const machinefolder::Entry& entry = directoryContent_[index];
    if (column == "Directory")
        return entry.name;
    return momentText(std::chrono::duration<double>(entry.modified.time_since_epoch()).count());
}
