// The definition of a task server: its one engine, what it tells the windows, and its row.

#include "remote/machines/SVMachineDefinitionController.h"
#include "task/WrapperOnDisk.h"
#include "task/single/Notifications.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Ends its connection at once.
class Engine : public SVServerEngine {
public:
    Engine(SVMachineDefinitionController& parent, std::vector<std::string>& calls)
        : parent_(parent), calls_(calls)
    { }
    ~Engine() override { calls_.emplace_back("gone"); }
    void disconnectEngineFromServer() override
    {
        calls_.emplace_back("disconnect");
        parent_.disconnectAndRemove();
    }
    void removeControllerNumber(std::int64_t serialNumber) override
    {
        calls_.push_back("remove " + std::to_string(serialNumber));
    }
    std::optional<std::string> machineName() const override { return "m"; }
    bool isLocal() const override { return false; }
    void abortJob(SVSingleTask&) override { }

private:
    SVMachineDefinitionController& parent_;
    std::vector<std::string>& calls_;
};

class ServerDefinition : public testing::Test {
protected:
    ServerDefinition()
    {
        SVMachineDefinitionController::engineMaker() =
            [this](const std::string& machine, const std::string& user,
                SVMachineDefinitionController& parent) -> std::shared_ptr<SVServerEngine> {
            calls.push_back("make " + user + "@" + machine);
            return makes ? std::make_shared<Engine>(parent, calls) : nullptr;
        };
        for (const char* name : {notifications::kReloadMachineList, notifications::kEngineDisconnected})
            observations.push_back(
                platform::NotificationCenter::defaultCenter().observe(name, [this](const auto& notification) {
                    calls.push_back(notification.name
                        + (notification.object == definition.get() ? " of it"
                                : notification.object == engine    ? " of engine"
                                                                   : ""));
                }));
        definition->setName("m");
        definition->setUser("u");
    }
    ~ServerDefinition() override { SVMachineDefinitionController::engineMaker() = nullptr; }
    std::vector<std::string> taken()
    {
        platform::MainLoop::main().runPending();
        return std::exchange(calls, {});
    }

    WrapperOnDisk places;
    std::vector<std::string> calls;
    bool makes = true;
    void* engine = nullptr;
    std::shared_ptr<SVMachineDefinitionController> definition = SVMachineDefinitionController::readFromFile();
    std::vector<std::unique_ptr<platform::NotificationCenter::Observation>> observations;
};

TEST_F(ServerDefinition, GoesThroughTheStatesOfItsConnection)
{
    const std::string reload = "SVReloadMachineList of it";
    EXPECT_EQ(definition->connectionStatus(), 0);
    makes = false;
    definition->connect();
    definition->connect(); // Not again while the status isn't 0.
    EXPECT_EQ(definition->connectionStatus(), 1);
    EXPECT_FALSE(definition->connected());
    EXPECT_THAT(taken(), ElementsAre("make u@m"));
    // The notification connects whatever the status; the form is locked only when an engine came.
    platform::NotificationCenter::defaultCenter().post("SVConnectToServer");
    EXPECT_TRUE(definition->entry().connectionButton.isEnabled());
    makes = true;
    platform::NotificationCenter::defaultCenter().post("SVConnectToServer");
    platform::NotificationCenter::defaultCenter().post("SVConnectToServer");
    EXPECT_THAT(taken(), ElementsAre("make u@m", "make u@m"));
    EXPECT_FALSE(definition->entry().connectionButton.isEnabled());
    EXPECT_FALSE(definition->entry().machineName.isEditable());
    engine = static_cast<SVTaskMachine*>(definition->engineController());
    ASSERT_NE(engine, nullptr);
    definition->remoteEngineConnected();
    EXPECT_EQ(definition->connectionStatus(), 2);
    definition->removeControllerNumber(7);
    definition->disconnect();
    EXPECT_EQ(definition->connectionStatus(), 0);
    EXPECT_THAT(taken(),
        ElementsAre(reload, "remove 7", "disconnect", "SVEngineDisconnected of engine", reload, "gone"))
        << "observers still use the engine";
    definition->disconnect();
    definition->removeControllerNumber(7);
    definition->connect();
    definition->remoteEngineFailed();
    EXPECT_EQ(definition->connectionStatus(), 0);
    EXPECT_FALSE(definition->connected());
    EXPECT_THAT(taken(), ElementsAre("make u@m", reload, "gone"));
    definition->connect();
    EXPECT_THAT(taken(), ElementsAre("make u@m"));
    definition.reset();
    EXPECT_THAT(taken(), testing::Contains("disconnect"));
    platform::NotificationCenter::defaultCenter().post("SVConnectToServer");
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(ServerDefinition, DescribesWhatItKnows)
{
    using Description = std::map<std::string, std::string>;
    EXPECT_EQ(definition->machineDescription(), (Description{{"Address", "m"}, {"User", "u"}}));
    definition->setDisplayName("d");
    EXPECT_EQ(definition->machineDescription().at("Display"), "d");
    EXPECT_THAT(SVMachineDefinitionController::readFromFile()->machineDescription(), IsEmpty());
}

TEST_F(ServerDefinition, OpensAndClosesItsRow)
{
    auto& row = definition->entry();
    const auto shape = [&] {
        return std::to_string(static_cast<int>(row.view.frame().height)) + " "
            + std::to_string(static_cast<int>(row.inlineView.frame().y)) + " "
            + std::to_string(row.toggleButton.state()) + (row.togglePart.superview() ? " whole" : " part")
            + (definition->isClosed() ? " closed" : "");
    };
    EXPECT_EQ(shape(), "29 0 0 part closed");
    definition->close(); // Twice changes nothing.
    definition->awakeFromNib();
    EXPECT_EQ(shape(), "29 0 0 part closed");
    definition->open();
    EXPECT_EQ(shape(), "120 91 1 whole");
    definition->open();
    EXPECT_EQ(shape(), "120 91 1 whole");
    row.toggleButton.setState(0);
    definition->toggleState();
    EXPECT_EQ(shape(), "29 0 0 part closed");
    row.toggleButton.setState(1);
    definition->toggleState();
    EXPECT_EQ(shape(), "120 91 1 whole");
}

} // namespace
