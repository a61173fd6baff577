#include "variables/graph/KRDependencyBase.h"
#include "variables_testing.h"

namespace variablestest {
namespace {

#ifdef __SANITIZE_THREAD__
constexpr std::size_t kDeep = 20'000; // Each lock is slow there.
#else
constexpr std::size_t kDeep = 100'000;
#endif

using Nodes = std::vector<std::shared_ptr<Node>>;

Nodes nodes(std::size_t count)
{
    Nodes all(count);
    for (auto& node : all)
        node = std::make_shared<Node>();
    return all;
}

// Diamonds on top of each other, of a source, two in the middle and an end.
Nodes tower(std::size_t levels)
{
    auto all = nodes(levels * 3 + 1);
    for (std::size_t level = 0; level < levels; ++level)
        for (const std::size_t side : {1U, 2U}) {
            EXPECT_TRUE(all[level * 3]->addClient(all[level * 3 + side]));
            EXPECT_TRUE(all[level * 3 + 3]->addSupplier(all[level * 3 + side]));
        }
    return all;
}

TEST(DependencyGraph, RefusesCirclesAndDoubledEdges)
{
    const auto chain = nodes(3);
    EXPECT_TRUE(chain[0]->addClient(chain[1]));
    EXPECT_TRUE(chain[2]->addSupplier(chain[1]));
    EXPECT_EQ(messagesOf([&] {
        EXPECT_FALSE(chain[2]->addClient(chain[0]));
        EXPECT_FALSE(chain[0]->addSupplier(chain[2]));
        EXPECT_FALSE(chain[0]->addClient(chain[0]));
        EXPECT_FALSE(chain[0]->addClient(chain[1]));
        EXPECT_FALSE(chain[1]->addSupplier(chain[0]));
        chain[0]->addClientInternal(chain[1]);
        chain[1]->addSupplierInternal(chain[0]);
        EXPECT_FALSE(chain[0]->addClient(nullptr));
        EXPECT_FALSE(chain[0]->addSupplier(nullptr));
        chain[0]->removeClient(nullptr);
        chain[0]->removeSupplier(nullptr);
        chain[0]->removeConnectionTo(nullptr);
        chain[0]->removeConnectionTo(chain[2]);
    }),
        (Names{"Debug: addClient: Trying to create an infinite loop.",
            "Debug: addSupplier: Trying to create an infinite loop.",
            "Debug: addClient: Trying to create an infinite loop.",
            "Debug: addClient: Trying to add an object twice.",
            "Internal error: Trying to connect an object twice to an object of type "
            "\"variablestest::Node\"",
            "Internal error: Trying to add a client twice.",
            "Internal error: Trying to add a supplier twice.",
            "Told to remove something that wasn't connected."}));
    EXPECT_THAT(chain[0]->allClients(), ElementsAre(chain[1], chain[2]));
}

TEST(DependencyGraph, ForgetsEdgesOnBothSides)
{
    auto all = tower(1);
    EXPECT_THAT(all[0]->allClients(), ElementsAre(all[1], all[3], all[2]));
    EXPECT_THAT(all[3]->allSuppliers(), ElementsAre(all[1], all[0], all[2]));
    all[3]->removeConnectionTo(all[1]);
    EXPECT_THAT(all[1]->clients(), IsEmpty());
    EXPECT_THAT(all[3]->suppliers(), ElementsAre(all[2]));
    all[1]->removeClient(all[3]);
    all[1]->removeSupplier(all[0]);
    EXPECT_THAT(all[0]->clients(), ElementsAre(all[2]));
    all[2]->removeAllConnections();
    for (const auto& node : all)
        EXPECT_TRUE(node->clients().empty() && node->suppliers().empty());
    all = tower(1);
    const auto source = all[0];
    all.clear();
    EXPECT_THAT(source->clients(), IsEmpty()) << "clients live as long as somebody else keeps them";
}

TEST(DependencyGraph, SpreadsAChangeOnceThroughDiamonds)
{
    const auto all = tower(1);
    const auto times = doubles({1, 2});
    all[0]->own = times;
    EXPECT_EQ(all[3]->timeValues(), times);
    all[0]->own = doubles({5});
    EXPECT_EQ(all[3]->timeValues(), times) << "cached";
    all[0]->thisControllerChangedFor(Change::changesAt(1, 2.5));
    EXPECT_THAT(all[3]->heardFrom, ElementsAre(all[1].get(), all[2].get()));
    EXPECT_EQ(all[3]->change, "Change at 1 until 2.5");
    EXPECT_EQ(all[3]->timeValues(), all[0]->own);

    const auto high = tower(120);
    high[0]->thisControllerChanged();
    EXPECT_EQ(high.back()->heardFrom.size(), 2U);
    EXPECT_EQ(high.back()->change, "Change at -1");
    EXPECT_TRUE(high.back()->isValid());
    EXPECT_EQ(high[0]->validityAsked, 1);
    high[0]->valid = false;
    EXPECT_TRUE(high.back()->isValid()) << "cached";
    KRDependencyBase::Known known;
    high[0]->structureChanged(known);
    EXPECT_FALSE(high.back()->isValid());
}

TEST(DependencyGraph, AsksEveryObjectOnce)
{
    const auto all = tower(120);
    EXPECT_TRUE(all[0]->allowChange());
    EXPECT_TRUE(all[0]->allowComputation() && all[1]->allowComputation());
    EXPECT_EQ(all.back()->asked, 1);
    all.back()->allows = false;
    EXPECT_FALSE(all[0]->allowChange() || all[1]->allowChange() || all[1]->allowComputation());
    EXPECT_TRUE(all.back()->existsAsSupplier(*all[0]));
    EXPECT_TRUE(all[0]->existsAsClient(*all.back()));
    EXPECT_FALSE(all[0]->existsAsSupplier(*all.back()));
    KRDependencyBase::Known known;
    known.insert(all[0].get());
    EXPECT_FALSE(all[0]->existsAsClient(*all.back(), known)) << "has answered";
    EXPECT_EQ(all[0]->allClients().size(), 360U);

    all[0]->asked = 0;
    EXPECT_FALSE(all.back()->timeValues());
    EXPECT_LE(all[0]->asked, 2) << "what has no times isn't cached, and still isn't asked on each way";
    all[0]->own = doubles({1});
    EXPECT_EQ(all.back()->timeValues(), all[0]->own);
    EXPECT_FALSE(all.back()->changesFrom(0, 1));
    all[0]->changes = true;
    EXPECT_TRUE(all.back()->changesFrom(0, 1));
    EXPECT_FALSE(std::make_shared<Node>()->changesFrom(1, 1));
}

TEST(DependencyGraph, MayBeOfAnyDepth)
{
    auto chain = nodes(kDeep);
    for (std::size_t i = chain.size(); --i > 0;)
        EXPECT_TRUE(chain[i - 1]->addClient(chain[i]));
    Node &first = *chain.front(), &last = *chain.back();
    EXPECT_FALSE(last.timeValues());
    first.own = doubles({3});
    first.latest = 3;
    first.thisControllerChanged();
    EXPECT_EQ(last.change, "Change at -1");
    EXPECT_EQ(last.timeValues(), first.own);
    EXPECT_EQ(last.maximumTimeValue(), 3);
    KRDependencyBase::Known known;
    first.structureChanged(known);
    EXPECT_TRUE(first.allowChange() && first.allowComputation() && last.isValid());
    EXPECT_FALSE(last.changesFrom(0, 1));
    first.changes = true;
    last.allows = false;
    EXPECT_TRUE(last.changesFrom(0, 1));
    EXPECT_FALSE(first.allowChange() || first.allowComputation());
    EXPECT_FALSE(messagesOf([&] { last.addClient(chain.front()); }).empty()) << "a circle";
    EXPECT_EQ(first.allClients().size() + last.allSuppliers().size(), 2 * chain.size() - 2);
    std::shared_ptr<Node> end = chain.back();
    chain.clear();
    end.reset();
}

TEST(DependencyGraph, CombinesTheTimesOfSuppliers)
{
    const auto all = nodes(4);
    for (const std::size_t i : {0U, 1U, 2U})
        EXPECT_TRUE(all[3]->addSupplier(all[i]));
    all[0]->own = doubles({1, 3});
    all[2]->own = doubles({2});
    const auto numbers = [](const KRDependencyBase::Times& times) {
        return std::vector<double>(times->constPointer(), times->constPointer() + times->length());
    };
    EXPECT_THAT(numbers(all[3]->timeValues()), ElementsAre(1, 2, 3));
    all[1]->own = KRDependencyBase::continuousDependenceOnTime();
    all[1]->thisControllerChanged();
    EXPECT_EQ(all[3]->timeValues(), KRDependencyBase::continuousDependenceOnTime());
    EXPECT_THAT(numbers(all[3]->timeValuesIgnoringContinuous()), ElementsAre(1, 2, 3));

    EXPECT_EQ(all[3]->maximumTimeValue(), 0);
    all[0]->latest = 7;
    all[2]->latest = 9;
    all[2]->valid = false;
    all[0]->thisControllerChanged();
    all[2]->thisControllerChanged();
    EXPECT_EQ(all[3]->maximumTimeValue(), 7);
    EXPECT_FALSE(all[3]->isValid());
    all[2]->valid = true;
    EXPECT_EQ(all[3]->maximumTimeValue(), 7) << "cached";
    all[2]->updateValidity();
    all[3]->updateValidity();
    EXPECT_TRUE(all[3]->isValid());
    all[3]->justFinishedReading();
    EXPECT_EQ(all[3]->maximumTimeValue(), 9);
    EXPECT_THAT(messagesOf([] { KRDependencyBase::changesAreAgainAllowed(); }),
        ElementsAre("Internal|Obsolete use of changesAreAgainAllowed : please report"));
}

TEST(DependencyTimeChange, TouchesTheTimesItSays)
{
    const struct {
        Change change;
        const char* description;
        std::vector<double> touched; // Of these five.
    } cases[] = {
        {Change::changeEverything(), "Change at -1", {0, 1, 1.5, 2, 5}},
        {Change::changeAt(0), "Change at 0", {0, 1, 1.5, 2, 5}},
        {Change::changeAt(1.5), "Change at 1.5", {1.5, 2, 5}},
        {Change::changesAt(1, 2), "Change at 1 until 2", {1, 1.5}},
        {Change::changesAt(0, 0.5), "Change at 0 until 0.5", {0}},
        {Change::nothingChanged(), "Change at inf until inf", {}},
    };
    for (auto [change, description, touched] : cases) {
        EXPECT_EQ(change.description(), description);
        EXPECT_EQ(change.allTimesChange(), touched.size() == 5) << description;
        std::vector<double> found;
        for (const double t : {0.0, 1.0, 1.5, 2.0, 5.0})
            if (change.changesAt(t))
                found.push_back(t);
        EXPECT_EQ(found, touched) << description;
        const auto times = doubles({1});
        change.setTimeValues(times, &found);
        EXPECT_EQ(change.timeValueForObject(&found), times);
        EXPECT_EQ(change.timeValueForObject(&change), nullptr);
    }
}

} // namespace
} // namespace variablestest
