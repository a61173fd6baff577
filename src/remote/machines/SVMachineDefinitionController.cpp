#include "remote/machines/SVMachineDefinitionController.h"

#include "platform/loop/MainLoop.h"
#include "task/single/Notifications.h"

namespace {

constexpr toolkit::Rect kRow{0, 0, 400, 120};
constexpr toolkit::Rect kInlinePart{0, 91, 400, 29};

void postReload(void* definition)
{
    platform::NotificationCenter::defaultCenter().post(notifications::kReloadMachineList, definition);
}

} // namespace

SVMachineDefinitionController::MachineEntry::MachineEntry()
{
    view.setLayout("MachineEntry");
    view.setFrame(kRow);
    inlineView.setFrame(kInlinePart);
    connectionButton.setTitle("Connect");
    view.addSubview(inlineView);
    view.addSubview(togglePart);
    for (toolkit::View* part : {static_cast<toolkit::View*>(&toggleButton),
             static_cast<toolkit::View*>(&displayName), static_cast<toolkit::View*>(&connectionButton)})
        inlineView.addSubview(*part);
    togglePart.addSubview(machineName);
}

SVMachineDefinitionController::EngineMaker& SVMachineDefinitionController::engineMaker()
{
    static EngineMaker maker;
    return maker;
}

std::shared_ptr<SVMachineDefinitionController> SVMachineDefinitionController::readFromFile()
{
    std::shared_ptr<SVMachineDefinitionController> definition(new SVMachineDefinitionController());
    definition->awakeFromNib();
    return definition;
}

SVMachineDefinitionController::SVMachineDefinitionController()
    : connectObservation_(platform::NotificationCenter::defaultCenter().observe(
        notifications::kConnectToServer, [this](const auto&) { connectToServer(); }))
{
    entry_->connectionButton.whenPressed = [this] { connect(); };
    entry_->toggleButton.whenPressed = [this] { toggleState(); };
}

SVMachineDefinitionController::~SVMachineDefinitionController()
{
    connectObservation_.reset();
    if (const auto engine = std::move(engineController_))
        engine->disconnectEngineFromServer();
}

std::shared_ptr<SVServerEngine> SVMachineDefinitionController::makeEngine()
{
    connectionStatus_ = Connecting;
    return engineMaker() ? engineMaker()(storedMachineName_.value_or(""), storedUserName_.value_or(""), *this)
                         : nullptr;
}

void SVMachineDefinitionController::connect()
{
    if (!engineController_ && connectionStatus_ == NoConnection)
        engineController_ = makeEngine();
}

void SVMachineDefinitionController::connectToServer()
{
    if (engineController_)
        return;
    engineController_ = makeEngine();
    if (!engineController_)
        return;
    entry_->connectionButton.setEnabled(false);
    entry_->machineName.setEditable(false);
}

void SVMachineDefinitionController::disconnect()
{
    if (const auto engine = engineController_)
        engine->disconnectEngineFromServer();
}

void SVMachineDefinitionController::remoteEngineConnected()
{
    connectionStatus_ = Connected;
    postReload(this);
}

void SVMachineDefinitionController::remoteEngineFailed()
{
    // The engine may be the caller.
    platform::MainLoop::main().afterThisEvent([engine = std::move(engineController_)] {});
    engineController_.reset();
    connectionStatus_ = NoConnection;
    postReload(this);
}

void SVMachineDefinitionController::disconnectAndRemove()
{
    const auto engine = std::exchange(engineController_, nullptr);
    connectionStatus_ = NoConnection;
    if (engine)
        notifications::postEngineDisconnected(*engine);
    postReload(this);
    platform::MainLoop::main().afterThisEvent([engine] {}); // Observers still use it.
}

void SVMachineDefinitionController::removeControllerNumber(std::int64_t serialNumber)
{
    if (engineController_)
        engineController_->removeControllerNumber(serialNumber);
}

std::map<std::string, std::string> SVMachineDefinitionController::machineDescription() const
{
    std::map<std::string, std::string> description;
    if (storedDisplayName_)
        description["Display"] = *storedDisplayName_;
    if (storedMachineName_)
        description["Address"] = *storedMachineName_;
    if (storedUserName_)
        description["User"] = *storedUserName_;
    return description;
}

void SVMachineDefinitionController::setView(const toolkit::Rect& frame)
{
    entry_->view.setFrame(frame);
}

void SVMachineDefinitionController::setHeight(float height)
{
    toolkit::Rect frame = entry_->view.frame();
    frame.height = height;
    entry_->view.setFrame(frame);
}

void SVMachineDefinitionController::moveInlineView(float by)
{
    toolkit::Rect frame = entry_->inlineView.frame();
    frame.y += by;
    entry_->inlineView.setFrame(frame);
}

void SVMachineDefinitionController::awakeFromNib()
{
    if (readFromFile_)
        return;
    readFromFile_ = true;
    heightWhenOpen_ = static_cast<float>(entry_->view.frame().height);
    close();
}

void SVMachineDefinitionController::open()
{
    if (!toggleIsClosed_)
        return;
    toggleIsClosed_ = false;
    entry_->toggleButton.setState(1);
    setHeight(heightWhenOpen_);
    moveInlineView(heightWhenOpen_ - heightWhenClosed_);
    entry_->view.addSubview(entry_->togglePart);
}

void SVMachineDefinitionController::close()
{
    if (toggleIsClosed_)
        return;
    toggleIsClosed_ = true;
    entry_->toggleButton.setState(0);
    setHeight(heightWhenClosed_);
    moveInlineView(heightWhenClosed_ - heightWhenOpen_);
    entry_->togglePart.removeFromSuperview();
}

void SVMachineDefinitionController::toggleState()
{
    if (entry_->toggleButton.state() == 0)
        return close();
    open();
    if (auto* list = entry_->view.superview())
        list->setBounds(entry_->view.frame());
    entry_->view.setNeedsDisplay();
}
