#include "sv_testing.h"

#include "arrays/sv/SVArguments.h"
#include "arrays/sv/SVIndex.h"
#include "arrays/sv/SVList.h"
#include "arrays/sv/SVPointer.h"
#include "arrays/sv/SVRange.h"

#include <memory>
#include <tuple>

using namespace svtest;

TEST(Reports, AreListedAndWrittenAsOneLine)
{
    const Outcome outcome = outcomeOf([] {
        SVErrorMessage("f(x)", "Too large.");
        SVErrorMessage("As it stands");
        SVWarningMessage("g", "Odd.");
    });
    EXPECT_THAT(outcome.reports, ElementsAre("f(x): Too large.", "As it stands", "g: Odd."));
    EXPECT_EQ(outcome.printed, "f(x): Too large.\nAs it stands\ng: Odd.\n");
    EXPECT_EQ(SVSize2String(-9223372036854775807L - 1), "-9223372036854775808");
}

TEST(Lists, ShareTheirElementsAndReportABadPosition)
{
    SVMutableList<std::string> list(3);
    SVList<std::string> seen = list, other;
    list(1) = "one";
    EXPECT_EQ(seen(1), "one");
    other = seen;
    list = SVMutableList<std::string>(1);
    seen = SVList<std::string>();
    EXPECT_EQ(other(1), "one") << "the last handle keeps the elements";
    EXPECT_EQ(other.Length(), 3);
    EXPECT_EQ(SVMutableList<std::string>(-4).Length(), 0);

    SVMutableList<std::string> two(2);
    const SVList<std::string> same = two;
    EXPECT_THAT(reportsOf([&] {
        two(2) = "lost";
        EXPECT_EQ(two(-1), "lost");
        EXPECT_EQ(same(2), "");
    }),
        ElementsAre("SVList<T>(2) is not valid, needs to be lie in [0,1].",
            "SVList<T>(-1) is not valid, needs to be lie in [0,1].",
            "SVList<T>(2) is not valid, needs to be lie in [0,1]."));
}

namespace {

struct Node {
    int number = 0;
    std::shared_ptr<SVMutableList<Node>> kids;
};

SVMutableList<Node> nodes(int number, std::shared_ptr<SVMutableList<Node>> kids)
{
    SVMutableList<Node> list(1);
    list(0) = {number, std::move(kids)};
    return list;
}

} // namespace

// Walks a tree by assigning the children of an element to the list that holds the element.
TEST(Lists, SurviveTheAssignmentFromWhatTheyHold)
{
    SVMutableList<Node> root = nodes(1, std::make_shared<SVMutableList<Node>>(nodes(2, nullptr)));
    root = *root(0).kids;
    EXPECT_EQ(root.Length(), 1);
    EXPECT_EQ(root(0).number, 2);
}

namespace {

struct Noted {
    explicit Noted(int& count) : alive(count) { ++alive; }
    virtual ~Noted() { --alive; }
    int& alive;
};

struct Derived : Noted {
    using Noted::Noted;
    SVPointer<Noted> next;
};

} // namespace

TEST(Pointers, DeleteTheObjectWithTheLastOfThem)
{
    int alive = 0;
    {
        SVMutablePointer<Noted> p(new Derived(alive));
        SVPointer<Noted> q = p, r;
        EXPECT_TRUE(r.IsNull() && !q.IsNull());
        EXPECT_TRUE(p.Pointer() == q.Pointer() && &*p == &*q && &p->alive == &q->alive);
        r = q;
        p = SVMutablePointer<Noted>(new Noted(alive));
        const SVPointer<Noted>& self = q;
        q = self;
        EXPECT_EQ(alive, 2);
        EXPECT_EQ(q.Pointer(), r.Pointer());
    }
    EXPECT_EQ(alive, 0);

    // Walks a list by assigning the next pointer of an element to the pointer that holds the element.
    auto* const first = new Derived(alive);
    first->next = SVPointer<Noted>(new Noted(alive));
    SVPointer<Noted> p(first);
    p = first->next;
    EXPECT_EQ(alive, 1);
}

TEST(Ranges, IntersectAndKeepTheTouchingPoint)
{
    const std::tuple<SVRange, SVRange, SVRange> cases[] = {{{0, 5}, {5, 5}, {5, 0}}, {{0, 4}, {5, 5}, {0, 0}},
        {{0, 10}, {2, 3}, {2, 3}}, {{0, 6}, {4, 6}, {4, 2}}, {{3, 4}, {3, 4}, {3, 4}},
        {{-5, 7}, {0, 1}, {0, 1}}};
    for (const auto& [a, b, wanted] : cases)
        for (const SVRange& common : {Intersection(a, b), Intersection(b, a)})
            EXPECT_TRUE(common.start == wanted.start && common.length == wanted.length) << wanted.start;
}

namespace {

std::string bound(SVIndex index, long length)
{
    std::string result;
    const Outcome outcome = outcomeOf([&] { result = index.SetLength(length) ? "" : "false "; });
    return result + (outcome.reports.empty() ? shown(index.IndicesAsArray()) : outcome.reports.front());
}

} // namespace

TEST(Indices, ShiftAndBindToALength)
{
    const long last = SVIndex::FromEnd;
    const SVIndex listed(arrayOf<std::int32_t>({2, 0, 2}));
    SVIndex twice(0);
    twice.SetLength(5);
    // What descends is empty, and a small negative start isn't tested. Of a shifted one the end still counts
    // from the last index.
    const std::tuple<SVIndex, long, const char*> cases[] = {{SVIndex::All, 4, "4x1x1: 0 1 2 3"},
        {SVIndex(3), 4, "1x1x1: 3"}, {SVIndex(1, 2, last), 6, "3x1x1: 1 3 5"},
        {SVIndex(last - 2, last - 1), 6, "2x1x1: 3 4"}, {SVIndex(3, -1, 0), 6, "0x0x0:"},
        {SVIndex(4), 4, "false SVIndex(info): Index out of range"}, {SVIndex(-2, 1), 4, "4x1x1: -2 -1 0 1"},
        {listed, 3, "3x1x1: 2 0 2"}, {listed, 2, "false SVIndex(Array): Array element out of bounds"},
        {twice, 5, "false Index.SetLength(Len): Already set the length"},
        {SVIndex(1, 2, 5) + 1, 9, "3x1x1: 2 4 6"}, {SVIndex::All - 1, 4, "4x1x1: -1 0 1 2"},
        {SVIndex(arrayOf<std::int32_t>({5, 7})) - 5, 9, "2x1x1: 0 2"}};
    for (const auto& [index, length, shownAs] : cases)
        EXPECT_EQ(bound(index, length), shownAs);
}

TEST(Indices, TellWhatTheyAre)
{
    EXPECT_EQ(SVIndex().Length(), 0);
    EXPECT_EQ(SVIndex(2, 3, 11).Length(), 4);
    EXPECT_EQ(SVIndex::All.IndicesAsArray().Length(), 0) << "not bound yet";
    EXPECT_THAT(reportsOf([] { EXPECT_TRUE(SVIndex(-1).IsEmpty()); }),
        ElementsAre("Subscript error: The subscript was negative."));
    const SVIntArray positions = arrayOf<std::int32_t>({5, 7});
    EXPECT_EQ(SVIndex(positions).SpecifiedArray().Pointer(), positions.Pointer());
    EXPECT_EQ((SVIndex(positions) - 5).SpecifiedArray()(1), 2);
    EXPECT_EQ(shown(positions), "2x1x1: 5 7") << "the shared array isn't touched";
    EXPECT_TRUE(SVIndex(SVIntArray()).IsEmpty());
}

TEST(Arguments, AreFoundByFlag)
{
    const char* const arguments[] = {"program", "-x", "-y", "3", "-name", "a b", "-empty", "", "-z"};
    SVSetArguments(1, const_cast<const char**>(arguments));
    SVSetArguments(9, const_cast<const char**>(arguments));
    EXPECT_EQ(SVApplicationName, "program");
    EXPECT_EQ(SVHowManyArguments(), 8);
    EXPECT_TRUE(SVArgumentIncludesFlag("z"));
    EXPECT_EQ(SVArgumentFlagEntry("name"), "a b");
    for (const char* const flag : {"x", "empty", "z", "missing"})
        EXPECT_EQ(SVArgumentFlagEntry(flag), "") << flag;
    EXPECT_EQ(SVArgumentIntegerEntry("y"), 3);
    EXPECT_EQ(SVArgumentIntegerEntry("name"), 0);
    for (const int number : {-1, 8})
        EXPECT_THAT(reportsOf([&] { EXPECT_EQ(SVGetArgumentNumber(number), ""); }),
            ElementsAre("SVGetArgumentNumber(number): number out of bounds."));
    SVSetArguments(0, nullptr);
    EXPECT_EQ(SVApplicationName, "");
}
