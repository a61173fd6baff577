#include "arrays/containers/KRArrayContainer.h"

#include "arrays/containers/containers_testing.h"

#include <type_traits>

extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options()
{
    return "allocator_may_return_null=1";
}

using namespace containertest;
using platform::Value;

namespace {

KR_TYPED_TESTS(Containers, KR_CONTAINER_TYPES);

template <class T>
constexpr const KRContainerMember& row = KRContainerMemberOf<T>;
template <class T>
std::string stem()
{
    return row<T>.stem;
}
template <class T>
std::string className()
{
    return "KR" + stem<T>() + "ArrayContainer";
}

TYPED_TEST(Containers, HoldAMutableOrAReadOnlyArray)
{
    using T = TypeParam;
    using Container = KRArrayContainer<T>;
    const auto owned = container<T>(2, 3, 2);
    EXPECT_TRUE(owned->isMutable());
    EXPECT_EQ(owned->m() * 1000 + owned->n() * 100 + owned->o() * 10 + owned->length(), 2332);
    EXPECT_EQ(owned->memoryUsed(), 12 * static_cast<long>(sizeof(T)));
    EXPECT_EQ(owned->mutableArray().Pointer(), owned->mutablePointer());
    EXPECT_EQ(owned->mutableArrayPointer()->Pointer(), owned->constPointer());

    const auto readOnly = Container::createArrayWithConstObject(owned->array());
    EXPECT_FALSE(readOnly->isMutable());
    owned->setValue(T(77), 1, 2);
    EXPECT_EQ(readOnly->valueAtIndex(5), T(77)); // They share the elements.
    EXPECT_EQ(readOnly->arrayPointer()->Pointer(), owned->constPointer());
    EXPECT_THAT(messagesOf([&] {
        EXPECT_TRUE(readOnly->mutableArray().IsEmpty());
        EXPECT_FALSE(readOnly->mutableArrayPointer() || readOnly->mutablePointer());
        readOnly->setValue(T(1), 0);
        readOnly->setAllValues(T(1));
        EXPECT_FALSE(readOnly->copyFromArray(owned, 0, 12));
        if constexpr (KROrderedElement<T>)
            readOnly->sortInPlace();
        else
            KRMessageCenter::addMessage(className<T>() + " - sortInPlace: Requires a mutable array.");
    }),
        ElementsAre(
            "Internal error: " + className<T>() + "->mutable" + stem<T>() + "Array called for const array.",
            "Asking for a mutable pointer from an array that only contains a const array.",
            "Asking for a mutable pointer from an array that only contains a const array.",
            stem<T>() + "Array-setValue: Called for a const array.",
            stem<T>() + "Array-setAllValues: Called for a const array.",
            "copyFromArray:intoRangeFrom:to: requires a mutable array.",
            className<T>() + " - sortInPlace: Requires a mutable array."));
    EXPECT_EQ(readOnly->valueAtIndex(1), T(1));
}

TYPED_TEST(Containers, ReportMisuse)
{
    using T = TypeParam;
    using Container = KRArrayContainer<T>;
    EXPECT_THAT(messagesOf([] {
        EXPECT_FALSE(Container::createArrayByOvertakingPointer(nullptr)
            || Container::createArrayByOvertakingMutablePointer(nullptr));
        const Container none;
        EXPECT_EQ(none.description(), std::string("nil ") + row<T>.word + " array");
        EXPECT_TRUE(none.convertToRawFormat().isNull() && none.array().IsEmpty());
    }),
        ElementsAre(className<T>() + ": Creating an array with a NULL pointer.",
            className<T>() + ": Creating an array with a NULL pointer.",
            "should not use [" + className<T>() + " new].",
            std::string("When converting a ") + row<T>.word + " array to a dictionary, data==nil.",
            "No array stored in " + className<T>() + ", check if deleted twice."));
    const auto A = container<T>(2, 2);
    for (const auto& [i, j] : {std::pair(4, 0), {-1, 0}, {2, 0}, {0, 2}})
        EXPECT_THAT(messagesOf([&, row = i, column = j] {
            column == 0 && row != 2 ? A->setValue(T(1), row) : A->setValue(T(1), row, column);
        }),
            ElementsAre(stem<T>() + "Array-setValue: Out of bounds."));
    EXPECT_EQ(
        messagesOf([&] { EXPECT_TRUE(A->valueAtIndex(4) == T(0) && A->valueAtI(0, 2) == T(0)); }).size(), 2U);
    EXPECT_EQ(shown(A), "2x2x1: 0 1 2 3");
}

TYPED_TEST(Containers, TellWhatCouldNotBeAllocated)
{
    using T = TypeParam;
    using Container = KRArrayContainer<T>;
    const std::string words[] = {
        "double", "float", "int", "short int", "unsigned short int", "char", "", "complex"};
    const std::string word = words[KRContainerMemberNumber<T>];
    const auto expectTold = [&](const char* size, const std::function<void()>& action) {
        const auto messages = messagesOf(action);
        ASSERT_EQ(messages.size(), word.empty() ? 1U : 2U); // The array has reported, too.
        if (!word.empty()) {
            EXPECT_EQ(messages[1], "Can not allocate an array (" + word + ") of the size " + size);
        }
    };
    expectTold("1099511627776 x 1048576 x 1", [] {
        EXPECT_EQ(Container::createArrayOfSizeM(1L << 40, 1L << 20, 1), nullptr);
        EXPECT_TRUE(Container::createArrayOfSizeM(5, 0, 1)->isEmpty());
    });
    if (KRArrayMemberOf<T>.sizeLimit > 0)
        return;
    // A block of a byte stands for elements that leave no memory for others.
    const auto huge = [](long m, long n, long o = 1) {
        auto* const byte = static_cast<T*>(std::malloc(1));
        return Container::createArrayWithMutableObject(KRMutableArray<T>::TakeOver(byte, m, n, o));
    };
    expectTold("4 x 35184372088832 x 1", [&] { EXPECT_EQ(huge(1L << 45, 4)->transpose(), nullptr); });
    expectTold("2 x 4 x 35184372088832", [&] { EXPECT_EQ(huge(1L << 45, 4, 2)->transpose(), nullptr); });
    expectTold("35184372088832 x 3 x 1", [&] { EXPECT_EQ(huge(1L << 45, 4)->extractColumns(3), nullptr); });
}

TYPED_TEST(Containers, GiveNewContainersAndDescriptions)
{
    using T = TypeParam;
    const auto A = container<T>(2, 3);
    const auto indexes = containerOf<std::int32_t>({5, 0, 9, 1});
    const std::pair<typename KRArrayContainer<T>::Pointer, const char*> results[] = {
        {A->transpose(), "3x2x1: 0 2 4 1 3 5"}, {A->asAVector(), "6x1x1: 0 1 2 3 4 5"},
        {A->flipI(true, false), "2x3x1: 1 0 3 2 5 4"}, {A->flipI(false, true), "2x3x1: 4 5 2 3 0 1"},
        {A->flipI(true, true), "2x3x1: 5 4 3 2 1 0"}, {A->flipI(false, false), "2x3x1: 0 1 2 3 4 5"},
        {A->extractColumns(2), "2x2x1: 0 1 2 3"}, {A->numbersFrom(1, 4), "3x1x1: 1 2 3"},
        {A->numbersFrom(6, 6), "0x0x0:"}, {A->valuesAtIndexes(indexes, 2), "2x1x1: 5 0"}};
    for (const auto& [result, wanted] : results)
        EXPECT_EQ(shown(result), wanted);
    messagesOf([&] { EXPECT_EQ(shown(A->valuesAtIndexes(indexes)), "4x1x1: 5 0 0 1"); });
    messagesOf([&] { EXPECT_EQ(A->valuesAtIndexes(indexes, kMost)->length(), 4); });
    EXPECT_EQ(A->valuesAtIndexes(nullptr), nullptr);
    EXPECT_EQ(shown(A), "2x3x1: 0 1 2 3 4 5");
    EXPECT_THAT(messagesOf([&] {
        EXPECT_EQ(container<T>(2, 2, 2)->flipI(true, true), nullptr);
        EXPECT_EQ(A->extractColumns(4), nullptr);
        for (const auto& [from, to] : {std::pair{-1L, 2L}, {0L, 7L}, {3L, 2L}, {kMost, kMost}})
            EXPECT_EQ(A->numbersFrom(from, to), nullptr);
    }),
        testing::AllOf(testing::SizeIs(6), testing::Contains("Only works for 2D arrays.")));

    const std::pair<std::string, std::string> words[] = {{"Double array", "double"}, {"Float array", "float"},
        {"Integer array", "integer"}, {"Character array", "character"}, {"Unsigned short", "unsigned short"},
        {"Character array", "character"}, {"Character array", "character"}, {"Complex array", "complex"}};
    const auto& [begin, word] = words[KRContainerMemberNumber<T>];
    const char* const size =
        std::is_same_v<T, double> ? " (2 x 3 x 1). 0, 1, 2, 3, 4, 5." : " with dimensions 2 x 3 x 1.";
    EXPECT_EQ(A->description(), begin + size);
    EXPECT_EQ(A->copy()->description(), "Const " + word + " array" + size);
}

TYPED_TEST(Containers, ChangeInPlace)
{
    using T = TypeParam;
    const auto A = container<T>(2, 3);
    A->increaseLengthBy(2);
    EXPECT_EQ(A->n(), 4);
    A->cropLengthTo(3);
    EXPECT_EQ(shown(A), "3x1x1: 0 1 2");
    A->setValue(T(9), 2);
    EXPECT_EQ(A->array()(2), T(9)); // Through the pointer to the new elements.
    for (const long bad : {4L, -1L})
        EXPECT_THAT(messagesOf([&] { A->cropLengthTo(bad); }), ElementsAre("Illegal new length for array."));
    const auto readOnly = container<T>(4)->copy();
    readOnly->cropLengthTo(2);
    EXPECT_EQ(shown(readOnly), "2x1x1: 0 1");
    EXPECT_FALSE(readOnly->isMutable());

    EXPECT_TRUE(A->copyFromArray(readOnly, 1, 3));
    EXPECT_EQ(shown(A), "3x1x1: 0 0 1");
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(A->copyFromArray(nullptr, 0, 2)); }),
        ElementsAre("copyFromArray:intoRangeFrom:to: incorrect array type."));
    for (const auto& [from, to] : {std::pair{-1L, 1L}, {2L, 4L}, {0L, 1L}, {1L, -1L}})
        EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(A->copyFromArray(readOnly, from, to)); }),
            ElementsAre("copyFromArray:intoRangeFrom:to: incorrect length."));
    A->setAllValues(T(4));
    EXPECT_EQ(shown(A), "3x1x1: 4 4 4");
    EXPECT_EQ(A->findValue(T(4)), 0);
    EXPECT_EQ(A->findValue(T(5)), -1);
}

TYPED_TEST(Containers, AreCopiedAndCompared)
{
    using T = TypeParam;
    const auto A = container<T>(2, 2);
    const auto copy = A->copy();
    const auto again = copy->copy();
    const auto writable = copy->mutableCopy();
    EXPECT_FALSE(copy->isMutable());
    EXPECT_TRUE(writable->isMutable());
    EXPECT_EQ(again->constPointer(), copy->constPointer()); // A read-only one needs no second block.
    EXPECT_TRUE(A->isEqualToArray(copy) && A->isEqualToArray(writable));
    EXPECT_EQ(A->checksum(), writable->checksum());
    writable->setValue(T(9), 3);
    EXPECT_FALSE(A->isEqualToArray(writable));
    EXPECT_NE(A->checksum(), writable->checksum());
    EXPECT_NE(A->checksum(), A->asAVector()->checksum()); // The dimensions count.
    EXPECT_FALSE(A->isEqualToArray(nullptr));
    EXPECT_EQ(shown(copy), "2x2x1: 0 1 2 3");
}

TEST(DoubleContainer, DescribesItsFirstValuesAndHasNamesWithItsType)
{
    EXPECT_EQ(containerOf<double>({0.5, kNaN, -kInf, kNaN, 1e100})->description(),
        "Double array (5 x 1 x 1). 2 NaN's 1 Inf's 0.5, nan, -inf, nan, 1e+100.");
    EXPECT_EQ(
        container<double>(11)->description(), "Double array (11 x 1 x 1). 0, 1, 2, 3, 4, 5, 6, 7, 8, 9...");
    EXPECT_EQ(container<double>(0)->description(), "Double array (0 x 0 x 0).");
    EXPECT_EQ(shown(containerOf<double>({0.1, 1e300, kInf})->convertToFloat()), "3x1x1: 0.1 inf inf");

    const auto A = container<double>(2);
    for (const double* const pointer : std::vector<const double*>{A->doubleArray().Pointer(),
             A->mutableDoubleArray().Pointer(), A->doubleArrayPointer()->Pointer(),
             A->mutableDoubleArrayPointer()->Pointer(), A->constDoublePointer()})
        EXPECT_EQ(pointer, A->mutableDoublePointer());
    EXPECT_TRUE(A->isEqualToDoubleArray(A->copy()));
    EXPECT_EQ(container<unsigned char>(3)->ucharArray().Length(), 3);
    EXPECT_EQ(container<KRComplexNumber>(3)->complexArray().Length(), 3);
}

TEST(ContainerNumbers, AreMeasuredAndSorted)
{
    const auto A = containerOf<double>({3, kNaN, -7, 5});
    EXPECT_EQ(A->calculateMinAndMax(), (std::pair<double, double>{-7, 5}));
    EXPECT_TRUE(A->containsNonFiniteNumbers());
    A->sortInPlace();
    EXPECT_EQ(shown(A), "4x1x1: -7 3 5 nan");
    EXPECT_EQ(container<double>(0)->minValue(), 0);
    EXPECT_EQ(containerOf<std::int32_t>({3, -7})->minValue(), -7);
    EXPECT_EQ(containerOf<std::uint16_t>({3, 65535})->maxValue(), 65535);
    EXPECT_FALSE(container<double>(9)->containsNonFiniteNumbers()
        || container<signed char>(9)->containsNonFiniteNumbers());
    EXPECT_TRUE(containerOf<KRComplexNumber>({{1, 2}, {1, kInf}})->containsNonFiniteNumbers());
    EXPECT_EQ(containerOf<std::uint16_t>({1, 2})->NSArrayFormat(), Value(Value::Array{1, 2}));
    EXPECT_TRUE(containerOf<float>({1, 2})->NSArrayFormat().array()->at(0).isReal());
}

TEST(ContainerRecord, ListsWhatWasMadeWhileRecording)
{
    using Container = KRIntArrayContainer;
    const auto before = container<std::int32_t>(1);
    Container::recordAllArrays();
    const auto kept = container<std::int32_t>(2, 3, 4);
    container<std::int32_t>(5).reset();
    const auto alsoKept = container<std::int32_t>(6);
    Container::stopRecordingArrays();
    const auto after = container<std::int32_t>(7);
    testing::internal::CaptureStderr();
    Container::currentArrays();
    Container::flushArrayList();
    Container::currentArrays();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
        testing::MatchesRegex("0x[0-9a-f]+ : 2 x 3 x 4\n0x[0-9a-f]+ : 6 x 1 x 1\n"));
}

} // namespace
