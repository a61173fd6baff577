#include "arrays/containers/KRArrayContainer.h"

#include "arrays/containers/containers_testing.h"
#include "platform/plist/PropertyList.h"

#include <cstring>

using namespace containertest;
using platform::Value;

namespace {

KR_TYPED_TESTS(ContainerFormats, KR_CONTAINER_TYPES);

constexpr bool kEndian[] = {true, true, false, false, false, false, false, false};

Value sent(const Value& value)
{
    return *platform::propertylist::parse(platform::propertylist::toXml(value));
}

TYPED_TEST(ContainerFormats, APlainDictionaryComesBack)
{
    using T = TypeParam;
    using Container = KRArrayContainer<T>;
    const auto A = container<T>(2, 3, 2);
    const Value plain = A->convertToRawFormat();
    const char* types[] = {
        "Double", "Float", "Integer", nullptr, "UShort", "Character", "UCharacter", "Double"};
    const char* const type = types[KRContainerMemberNumber<T>];
    EXPECT_EQ(plain.textFor("KRType"), type ? std::optional<std::string>(type) : std::nullopt);
    EXPECT_EQ(
        plain.textFor("Endian").value_or("none"), kEndian[KRContainerMemberNumber<T>] ? "Little" : "none");
    ASSERT_EQ(plain.find("Data")->data()->size(), 12 * sizeof(T));
    EXPECT_EQ(std::memcmp(plain.find("Data")->data()->data(), A->constPointer(), 12 * sizeof(T)), 0);
    const auto back = Container::convertFromRawFormat(sent(plain));
    ASSERT_TRUE(back);
    EXPECT_TRUE(back->isEqualToArray(A));
    EXPECT_FALSE(back->isMutable());
    EXPECT_TRUE(Container::convertFromRawFormat(container<T>(0)->convertToRawFormat())->isEmpty());
}

TYPED_TEST(ContainerFormats, AnArchiveComesBack)
{
    using T = TypeParam;
    using Container = KRArrayContainer<T>;
    const auto A = container<T>(2, 2);
    const Value archive = A->encodeWithCoder();
    const char* keys[] = {"Double", "Float", "Int", "Short", "UShort", "Char", "UChar", nullptr};
    const char* const key = keys[KRContainerMemberNumber<T>];
    if (!key) {
        EXPECT_TRUE(archive.isNull());
        EXPECT_EQ(Container::initWithCoder(A->convertToRawFormat()), nullptr);
        return;
    }
    EXPECT_TRUE(archive.find(key)->data() && Container::initWithCoder(sent(archive))->isEqualToArray(A));
    Value renamed = archive;
    renamed.mutableDictionary()["Class"] = "KRContainerText";
    EXPECT_THAT(
        messagesOf([&] { EXPECT_EQ(Container::initWithCoder(renamed), nullptr); }), testing::SizeIs(1));
    renamed.mutableDictionary()["Class"] = *archive.textFor("Class");
    renamed.mutableDictionary()["n"] = 3;
    EXPECT_THAT(messagesOf([&] { EXPECT_EQ(Container::initWithCoder(renamed), nullptr); }),
        ElementsAre("Failed at converting an array (sizes did not match)."));
}

// What another process may send. The first failure is told, in the order of the tests.
TYPED_TEST(ContainerFormats, HostileDictionariesAreRefused)
{
    using T = TypeParam;
    const Value good = container<T>(2, 3)->convertToRawFormat();
    const auto with = [&](std::string key, Value value) {
        Value changed = good;
        changed.mutableDictionary()[key] = std::move(value);
        return changed;
    };
    const auto without = [&](const char* key) {
        Value changed = good;
        changed.mutableDictionary().erase(key);
        return changed;
    };
    const auto refusals = [](const Value& dictionary) {
        return messagesOf([&] { EXPECT_EQ(KRArrayContainer<T>::convertFromRawFormat(dictionary), nullptr); });
    };
    const auto is = [](const char* reason) {
        return ElementsAre(std::string("Failed at converting an array (") + reason + ").");
    };
    for (const Value& bad : {Value(), Value(3), Value("text"), without("Data"), with("Data", "text")})
        EXPECT_THAT(refusals(bad), is("no data"));
    for (const char* key : {"m", "n", "o"}) {
        for (const Value& bad : {without(key), with(key, "2"), with(key, 0.5)})
            EXPECT_THAT(refusals(bad), is("no size"));
        EXPECT_THAT(refusals(with(key, -1)), is("negative sizes"));
        for (const std::int64_t wrong : {std::int64_t(7), std::int64_t(0), std::int64_t(kMost)})
            EXPECT_THAT(refusals(with(key, wrong)), is("sizes did not match"));
    }
    Value wrapping = with("m", std::int64_t{1} << 62);
    wrapping.mutableDictionary()["n"] = 8;
    EXPECT_THAT(refusals(wrapping), is("sizes did not match"));
    wrapping.mutableDictionary()["Data"] = Value::Data(); // The product is 0 in 64 bits.
    EXPECT_THAT(refusals(wrapping), is("sizes did not match"));
}

TYPED_TEST(ContainerFormats, BigEndianBytesAreSwappedWhereTheOrderIsTold)
{
    using T = TypeParam;
    const auto A = container<T>(3);
    Value plain = A->convertToRawFormat();
    plain.mutableDictionary()["Endian"] = "Big";
    if (kEndian[KRContainerMemberNumber<T>]) {
        Value::Data bytes = *plain.find("Data")->data();
        for (std::size_t i = 0; i < bytes.size(); i += sizeof(T))
            std::reverse(
                bytes.begin() + static_cast<long>(i), bytes.begin() + static_cast<long>(i + sizeof(T)));
        plain.mutableDictionary()["Data"] = bytes;
    }
    EXPECT_TRUE(KRArrayContainer<T>::convertFromRawFormat(plain)->isEqualToArray(A));
}

} // namespace
