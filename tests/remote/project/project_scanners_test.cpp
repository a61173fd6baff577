#include "remote/project/XCodeTextScanners.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

TEST(XCodeTextScanners, ReadAGroupAsItStandsInAProjectFile)
{
    const auto group =
        XCodeFileGroup::fromFileDescription("\t\t8A100000000000000000A002 /* Sources */ = {\n"
                                            "\t\t\tisa = PBXGroup;\n"
                                            "\t\t\tchildren = (\n"
                                            "\t\t\t\t8A10000000000000000000F1 /* main.cpp */,\n"
                                            "\t\t\t\t8A100000000000000000A005 /* Grid */,\n"
                                            "\t\t\t\t8A10000000000000000000F9,\n"
                                            "\t\t\t);\n"
                                            "\t\t\tname = \"All Sources\";\n"
                                            "\t\t\tpath = Sources;\n"
                                            "\t\t\tsourceTree = \"<group>\";\n"
                                            "\t\t};");
    ASSERT_TRUE(group);
    EXPECT_EQ(group->idName, "8A100000000000000000A002 /* Sources */");
    EXPECT_EQ(group->path, "Sources");
    EXPECT_EQ(group->name, "\"All Sources\"");
    EXPECT_EQ(group->type, 1);
    // An item of 24 characters alone is none: in this form a comment follows each.
    EXPECT_THAT(group->children, ElementsAre("8A10000000000000000000F1", "8A100000000000000000A005"));
}

TEST(XCodeTextScanners, ReadAFileReferenceOfEachKnownSourceTree)
{
    const struct {
        const char* sourceTree;
        int type;
    } cases[] = {{"\"<group>\"", 1}, {"\"<absolute>\"", 2}, {"SOURCE_ROOT", 3}, {"DEVELOPER_DIR", 4},
        {"BUILT_PRODUCTS_DIR", 5}, {"SDKROOT", 5}, {"<group>", 0}, {"\"SOURCE_ROOT\"", 0}, {"OTHER", 0}};
    for (const auto& one : cases) {
        SCOPED_TRACE(one.sourceTree);
        const auto entry = XCodeFileEntry::fromFileRefrence(
            std::string(
                "\t\t8A10000000000000000000F1 /* main.cpp */ = {isa = PBXFileReference; path = \"a b.cpp\"; "
                "sourceTree = ")
            + one.sourceTree + "; };");
        EXPECT_EQ(entry ? entry->type : 0, one.type);
        if (entry) {
            EXPECT_EQ(entry->idName, "8A10000000000000000000F1");
            EXPECT_EQ(entry->path, "\"a b.cpp\"");
            EXPECT_FALSE(entry->name);
        }
    }
}

TEST(XCodeTextScanners, GiveNothingForWhatIsNoObject)
{
    for (const char* text :
        {"", " = {", " = {}", "A = {\n};", "A = { sourceTree = SDKROOT; }", "no marker"}) {
        EXPECT_FALSE(XCodeFileGroup::fromFileDescription(text)) << text;
        EXPECT_FALSE(XCodeFileEntry::fromFileRefrence(text)) << text;
    }
}

} // namespace
