#pragma once

#include "platform/loop/OperationQueue.h"
#include "platform/service/SecretStore.h"
#include "remote/machines/MachineFolder.h"
#include "task/single/KRTrelkindMachine.h"
#include "toolkit/KRDragViewWithToggle.h"
#include "toolkit/Table.h"

// The definition of a cluster login: who logs in where, the queue names to offer, and the folder that holds
// the work there. Its values live in the fields of its form. Main thread; what it asks the machine runs on
// threads of its own.
class KRTrelkindMachineLSF : public KRTrelkindMachine,
                             public toolkit::TableDataSource,
                             public std::enable_shared_from_this<KRTrelkindMachineLSF> {
public:
    // The form.
    struct Definition {
        KRDragViewWithToggle view;
        toolkit::Label descriptionField;
        toolkit::TextField userNameField;
        toolkit::SecureField passwordField; // Kept in the secret store alone.
        toolkit::TextField machineNameField;
        toolkit::TextField queueNameField; // Separated by commas.
        toolkit::TextField workDirectoryNameField; // Empty for the usual one.
        toolkit::Label errorField; // The result of the check.
        toolkit::Button checkButton;
        toolkit::Table directoryContentView;
        Definition();
        std::vector<toolkit::TextField*> entries(); // The fields that the user fills in.
    };

    static std::shared_ptr<KRTrelkindMachineLSF> createFromNib();
    ~KRTrelkindMachineLSF() override;

    std::string machineName() const override { return form_->machineNameField.stringValue(); }
    std::string name() const { return machineName(); }
    std::string userName() const { return form_->userNameField.stringValue(); }
    std::string password() const { return form_->passwordField.stringValue(); } // Empty, but never missing.
    std::string queuName() const { return form_->queueNameField.stringValue(); }
    std::optional<std::vector<std::string>> queuNames() const override; // Each once.
    std::string machineDescription() const override; // user@machine
    std::string workDirectory() const;
    static constexpr const char* kUsualWorkDirectory = "TrelkindWorkDirectory";
    // How the machine is reached; stored in the machine list.
    const MachineAccess& access() const { return access_; }
    void setAccess(MachineAccess access) { access_ = std::move(access); }
    SVSSHPasswordInfo::Pointer passwordInfo() const; // Of what the form holds now.
    // Whether a check has found, or made, the work folder; stored in the machine list.
    bool hasBeenChecked() const { return checkedFolder_ == workDirectory(); }
    // What the user wants of the engines that are made from now on.
    struct Wishes {
        std::optional<double> minutesBetweenLooks; // The panel's own unless set.
        bool withoutArguments = false; // Run tasks although their arguments don't reach them.
    };
    Wishes wishes;

    // Makes the engine of a batch. Filled at start-up.
    using EngineMaker = std::function<std::shared_ptr<SVTrelkindEngine>(SVTaskController& controller,
        const std::shared_ptr<KRTrelkindMachineLSF>& machine, const std::string& queue)>;
    static EngineMaker& engineMaker();
    std::shared_ptr<SVTrelkindEngine> createTaskFor(
        SVTaskController& controller, const std::string& queue) override;

    void updateDescription();
    void fillFromPropertyList(const platform::Value&) override;
    platform::Value propertyList() const override;
    std::string className() const override { return "KRTrelkindMachineLSF"; }
    std::shared_ptr<toolkit::View> view() override;
    void close() override { form_->view.setOpen(false); }
    Definition& form() { return *form_; }

    // Looks whether the login works, and makes the work folder where there is none. The form is locked until
    // the result stands in its error field.
    void checkConnectivity();
    bool isBeingChecked() const { return isBeingChecked_; }
    void checked(const std::string& words, const std::string& workFolder); // Takes the result of a check.

    // The user has changed a field.
    void nameChanged();
    void machineChanged() { nameChanged(); }
    void workDirectoryChanged();
    void queNameChanged() { workDirectoryChanged(); }
    void passwordChanged() { savePasswordIfNeeded(); }

    int numberOfRowsInTableView(const toolkit::Table&) override;
    toolkit::CellValue objectValueForTableColumn(
        const toolkit::Table&, std::string_view column, int row) override;

private:
    KRTrelkindMachineLSF();
    std::string account() const; // Of the password in the secret store.
    void fillInPassword();
    void savePasswordIfNeeded();
    void askAndCheckAgain();
    void setFormEditable(bool isEditable);
    // Runs the work on a thread of this machine and hands its result to the main thread.
    template <typename Work, typename Done>
    void inBackground(Work work, Done done);

    std::shared_ptr<Definition> form_; // Shared with the list that shows it.
    MachineAccess access_;
    std::optional<std::string> checkedFolder_; // The work folder of the last check that worked.
    std::vector<machinefolder::Entry> directoryContent_;
    bool directoryContentUpToDate_ = false; // Never cleared: the folder is listed once.
    bool directoryContentIsBeingChecked_ = false;
    bool isBeingChecked_ = false;
    bool asksQuestions_ = false; // The user has pressed the button of the check.
    platform::OperationQueue background_; // Destroyed first: its operations post to this object.
};
