#include "diagnostics/ShownProgress.h"
#include "platform/loop/MainLoop.h"
#include "variables/composites/ValueTypes.h"
#include "variables/files/KRVariableFile.h"
#include "variables/values/KRContainer.h"
#include "variables_testing.h"

#include <cstdio>

namespace variablestest {
namespace {

using platform::MainLoop;

bool within(const std::function<bool()>& condition)
{
    return MainLoop::main().runUntil(condition, 30);
}

class Owner : public KRVariableFileOwner {
public:
    std::shared_ptr<KRMessageCenter> messageController() override { return center; }
    bool shouldSendChangeMessage() override { return sends; }
    bool currentlyReading() override { return reads; }
    void validityChanged() override { ++validityChanges; }
    void changesAreAgainAllowed() override { ++allowedAgain; }

    const std::shared_ptr<KRMessageCenter> center = KRMessageCenter::create();
    bool sends = true;
    bool reads = false;
    int validityChanges = 0;
    int allowedAgain = 0;
};

class VariableFile : public testing::Test {
protected:
    VariableFile()
    {
        MainLoop::main();
        KRVariableFile::setWarningSound([this] { ++sounds; });
        file->setVariableBin(owner);
        EXPECT_TRUE(file->addClient(client));
    }
    ~VariableFile() override
    {
        becomesIdle();
        KRVariableFile::setWarningSound(nullptr);
    }
    bool isBusy() const { return file->currentlyOpening() || file->currentlyUpdating(); }
    bool becomesIdle() const
    {
        return within([&] { return !isBusy(); });
    }
    // A file with one number, and further ones that are appended.
    KRDataFile::Pointer written(const std::string& name = "d.svbin") const
    {
        auto writer = KRDataFile::openNewFileWithName(folder / name);
        append(writer, "a");
        return writer;
    }
    static void append(const KRDataFile::Pointer& writer, const std::string& name)
    {
        write(*writer, name + " = 1; Seq_" + name + " = Real Number");
        writer->flush();
    }
    void open(const std::string& name)
    {
        file->openFile(folder / name);
        ASSERT_TRUE(becomesIdle());
    }
    void update()
    {
        file->updateFile();
        ASSERT_TRUE(becomesIdle());
    }
    std::size_t changes() const { return client->heardFrom.size(); }
    Names names() const { return file->variables().value_or(Names{"none"}); }

    ScratchFolder folder;
    std::shared_ptr<Owner> owner = std::make_shared<Owner>();
    std::shared_ptr<Node> client = std::make_shared<Node>();
    KRVariableFile::Pointer file = KRVariableFile::create();
    int sounds = 0;
};

TEST_F(VariableFile, OpensOnAWorkerAndTellsItsClients)
{
    written();
    ShownProgress shown;
    const auto progress = shown.addEntry();
    EXPECT_FALSE(file->isValid());
    file->openFile(folder / "d.svbin", progress);
    EXPECT_TRUE(file->currentlyOpening());
    EXPECT_FALSE(file->isValid());
    EXPECT_EQ(file->fileSizeInBytes(), 0U);
    EXPECT_EQ(changes(), 0U);
    ASSERT_TRUE(becomesIdle());
    EXPECT_TRUE(file->isValid() && file->hasBeenOpened());
    EXPECT_TRUE(shown.reaches(1));
    EXPECT_EQ(changes(), 1U);
    EXPECT_EQ(owner->validityChanges, 1);
    EXPECT_EQ(owner->allowedAgain, 1);
    EXPECT_THAT(names(), ElementsAre("a"));
    EXPECT_EQ(file->fileName(), folder / "d.svbin");
    EXPECT_EQ(file->fileSizeInBytes(), std::filesystem::file_size(folder / "d.svbin"));
    EXPECT_EQ(file->informationFor("a")->type(), "Real Number");
    EXPECT_FALSE(file->informationFor("b"));
    EXPECT_THAT(file->dataStorage()->variableNames(), ElementsAre("a"));

    const auto record = file->informationFor("a");
    file->closeTheFile();
    EXPECT_EQ(record->name(), "a") << "a record outlives its file";
    EXPECT_FALSE(file->isValid() || file->dataFile() || file->dataStorage() || file->fileName());
    EXPECT_THAT(names(), ElementsAre("none"));
    EXPECT_EQ(owner->validityChanges, 2);
}

TEST_F(VariableFile, IsInvalidWithoutAReadableFile)
{
    storagetest::store(folder / "bad", std::string(40, '\1'));
    open("bad");
    EXPECT_FALSE(file->isValid() || file->hasBeenOpened());
    EXPECT_THAT(names(), ElementsAre("none"));
    MainLoop::main().runPending();
    owner->center->updateIfNeccesary();
    ASSERT_EQ(owner->center->messages().size(), 1U) << "workers report to the owner's center";
    EXPECT_THAT(owner->center->messages()[0]->shortDescription(), HasSubstr("has an invalid format."));
    written();
    open("d.svbin");
    EXPECT_EQ(owner->validityChanges, 1);
    file->openFile(std::nullopt);
    EXPECT_FALSE(file->isValid() || file->fileName());
    EXPECT_EQ(changes(), 3U);
    written("other.svbin");
    open("other.svbin");
    file->deleteTheFile();
    EXPECT_FALSE(std::filesystem::exists(folder / "other.svbin"));
    EXPECT_FALSE(file->isValid());
}

TEST_F(VariableFile, RefusesWhatWouldRunTwice)
{
    const auto writer = written();
    EXPECT_EQ(messagesOf([&] {
        file->updateFile();
        file->openFile(folder / "d.svbin");
        file->openFile(folder / "other.svbin");
        file->updateFile();
        ASSERT_TRUE(becomesIdle());
        append(writer, "b");
        file->updateFile();
        file->updateFile();
        file->openFile(folder / "other.svbin");
        file->setDataFile(nullptr);
        ASSERT_TRUE(becomesIdle());
    }),
        (Names{"No data file to update.", "already opening a file",
            "Currently opening a file, can't update it.", "Still updating the file.",
            "Currently updating the file, can't open a new one right now.",
            "Currently updating the file, can't open a new one right now."}));
    EXPECT_EQ(sounds, 6);
    EXPECT_THAT(names(), ElementsAre("a", "b"));
    EXPECT_EQ(changes(), 2U);
}

TEST_F(VariableFile, HoldsAnUpdateBackUntilItIsAllowed)
{
    const auto writer = written();
    open("d.svbin");
    const auto storage = file->dataStorage();
    const auto number = storage->serialNumberForVariable("a");
    update();
    EXPECT_EQ(changes(), 1U) << "nothing is new";
    client->allows = false;
    append(writer, "B");
    update();
    owner->sends = false;
    client->allows = true;
    append(writer, "c");
    update();
    file->changesMightBeAllowed();
    EXPECT_THAT(names(), ElementsAre("a"));
    EXPECT_THAT(storage->variableNames(), ElementsAre("a"));
    EXPECT_EQ(changes(), 1U);
    owner->sends = true;
    owner->reads = true;
    file->changesMightBeAllowed();
    EXPECT_EQ(changes(), 1U);
    owner->reads = false;
    client->allowsChangesAgain();
    file->changesMightBeAllowed();
    EXPECT_EQ(changes(), 2U);
    client->allows = false;
    append(writer, "d");
    update();
    EXPECT_EQ(names().size(), 3U);
    file->removeClient(client);
    EXPECT_THAT(names(), ElementsAre("B", "a", "c", "d")) << "the one that refused has gone";
    EXPECT_THAT(storage->variablesWithType("Real Number"), ElementsAre("a", "B", "c", "d"));
    EXPECT_NE(storage->serialNumberForVariable("a"), number);
    EXPECT_TRUE(storage->serialNumberForVariable("x").isNull());
}

TEST_F(VariableFile, HoldsAnOpeningBackAndDropsWhatWasClosed)
{
    const auto writer = written();
    client->allows = false;
    open("d.svbin");
    EXPECT_EQ(changes(), 0U);
    client->allows = false;
    append(writer, "w");
    update();
    client->allows = true;
    append(writer, "x");
    update();
    EXPECT_EQ(changes(), 1U);
    client->allowsChangesAgain();
    EXPECT_EQ(changes(), 1U) << "the update has told it";
    EXPECT_THAT(messagesOf([&] { open("d.svbin"); }), IsEmpty());
    // A change that waits when another file is opened is a mistake, and is told.
    client->allows = false;
    append(writer, "b");
    update();
    client->allows = true;
    EXPECT_THAT(messagesOf([&] { open("d.svbin"); }), ElementsAre("Internal error: Unexpected state"));
    // Work on a file that has been closed has no effect.
    append(writer, "c");
    file->updateFile();
    file->closeTheFile();
    ASSERT_TRUE(becomesIdle());
    EXPECT_THAT(names(), ElementsAre("none"));
    file->openFile(folder / "d.svbin");
    file->closeTheFile();
    ASSERT_TRUE(becomesIdle());
    EXPECT_THAT(names(), ElementsAre("none"));
    EXPECT_FALSE(file->isValid());
}

TEST_F(VariableFile, TakesAFileThatIsOpen)
{
    write(*written(),
        "SeqInfo_a_VRange = [1 3]; SeqInfo_b_VRange = 1; Seq_b = Group; SeqInfo_b_N = 1; "
        "SeqInfo_b_1N = x; SeqInfo_b_1T = Path2D; Seq_p = Point2D; p_0 = [1 2]; p_1 = [3 4]; Seq_q = "
        "Point2D; "
        "q = [7 8]; Seq_s = Series; SeqInfo_s_type = Point2D; s_0 = [5 6]");
    variables::addValueTypes();
    const auto open = storagetest::opened(folder / "d.svbin");
    file->setDataFile(open);
    EXPECT_TRUE(file->isValid());
    EXPECT_EQ(owner->validityChanges, 1);
    ASSERT_TRUE(within([&] { return changes() == 1U; }));
    const auto storage = file->dataStorage();
    EXPECT_EQ(file->dataFile(), open);
    EXPECT_THAT(storage->timeValuesForVariable("a"), ElementsAre(0));
    EXPECT_THAT(storage->timeValuesForVariable("x"), IsEmpty());
    EXPECT_EQ(shown(storage->structureFor("b")), "Group\n    x = Path2D\n");
    EXPECT_FALSE(storage->structureFor("a") || storage->structureFor("x"));
    const auto value = [&](const std::string& name, int number) {
        const auto read = storage->readVariable(name, number);
        return read ? read->description() : "null";
    };
    EXPECT_THAT((Names{value("p", 0), value("p", 1), value("q", 0), value("s", 0)}),
        ElementsAre("(1,2)", "(3,4)", "(7,8)", "(5,6)"));
    EXPECT_THAT((Names{value("p", 2), value("p", -1), value("x", 0), value("a", 0)}), testing::Each("null"));
    EXPECT_EQ(messagesOf([&] {
        EXPECT_THAT(storage->valueRangeFor("a"), ElementsAre(1, 3));
        EXPECT_THAT(storage->valueRangeFor("b"), IsEmpty());
        EXPECT_THAT(storage->valueRangeFor("c"), IsEmpty());
    }),
        (Names{"Format error in \"" + folder / "d.svbin"
            + "\", the variable \"SeqInfo_b_VRange\" needs to have 2 numbers (min,max)"}));
    file->setDataFile(nullptr);
    EXPECT_FALSE(file->isValid() || file->dataFile());
    EXPECT_EQ(changes(), 2U);
    file->setDataFile(open);
    file->closeTheFile();
    ASSERT_TRUE(within([&] { return owner->allowedAgain == 3; }));
    EXPECT_THAT(names(), ElementsAre("none"));
}

TEST_F(VariableFile, FollowsARunningProgram)
{
    const std::string path = folder / "run.svbin";
    std::FILE* const program = popen(("'" VARIABLE_WRITER "' '" + path + "'").c_str(), "w");
    ASSERT_TRUE(program);
    ASSERT_TRUE(
        within([&] { return std::filesystem::exists(path) && std::filesystem::file_size(path) > 60; }));
    open("run.svbin");
    EXPECT_EQ(file->informationFor("v")->times().count(), 0);
    for (int steps = 1; steps <= 20; ++steps) {
        SCOPED_TRACE(steps);
        std::fputs("\n", program);
        std::fflush(program);
        const auto arrived = [&] {
            if (!isBusy() && file->informationFor("v")->times().count() < steps)
                file->updateFile();
            return file->informationFor("v")->times().count() == steps;
        };
        ASSERT_TRUE(within(arrived));
        EXPECT_EQ(file->informationFor("v")->times().asNumbers().back(), 0.5 * (steps - 1));
    }
    EXPECT_EQ(pclose(program), 0);
    EXPECT_EQ(file->dataFile()->readNumber("v_19")->doubleValue(), 190);
    EXPECT_EQ(file->dataStorage()->timeValuesForVariable("v").size(), 20U);
    EXPECT_GT(changes(), 19U);
    EXPECT_EQ(client->change, "Change at -1");
}

TEST_F(VariableFile, AnswersForSingleVariables)
{
    const auto memory = memoryOf("Seq_v = [1 0.25]; v_0 = 1; v_1 = 1");
    EXPECT_THAT(numbersOf(KRVariableFile::getTimeValuesFor("v", *memory)), ElementsAre(0, 0.25));
    EXPECT_EQ(KRVariableFile::getTimeValuesFor("w", *memory)->length(), 0);
    EXPECT_EQ(KRVariableFile::countVariables("v", *memory), 2);
    EXPECT_EQ(KRVariableFile::timeStepForVariable("w", *memory), -1);
    EXPECT_EQ(KRVariableFile::convertNumberToType(12), "Point2D");
    EXPECT_TRUE(KRVariableFile::computeInformationFromFile(memory)->informationFor("v"));
    EXPECT_THAT(messagesOf([&] { EXPECT_EQ(KRVariableFile::countVariables(std::nullopt, *memory), 0); }),
        ElementsAre("Internal error: Passing in nil as the basename."));
}

} // namespace
} // namespace variablestest
