#include "remote/project/XCodeProject.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/FileManager.h"
#include "platform/process/Process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
namespace files = platform::files;

const std::string kProjects = PROJECTS;

std::string within(const std::string& path)
{
    return kProjects + "/" + path;
}

class ProjectReaderTest : public testing::Test {
protected:
    // A project of its own, with the given text; the bundle lies in the folder.
    std::unique_ptr<XCodeProject> projectWith(const std::string& text)
    {
        EXPECT_TRUE(files::createDirectories(folder / "P.xcodeproj"));
        EXPECT_TRUE(files::writeFile(folder / "P.xcodeproj/project.pbxproj", text));
        return XCodeProject::createWithFile(folder / "P.xcodeproj");
    }
    int messages() const
    {
        const auto center = KRMessageCenter::sharedMessageCenter();
        return center->waitingCount() + static_cast<int>(center->messages().size());
    }
    TemporaryFolder folder;
};

TEST_F(ProjectReaderTest, ResolvesTheFilesOfEverySourceTree)
{
    const auto project = XCodeProject::createWithFile(within("WaveSolver.xcodeproj"));
    EXPECT_EQ(project->fileName(), within("WaveSolver.xcodeproj"));
    EXPECT_EQ(project->projectRoot(), kProjects);
    const std::string sources = within("Sources/");
    const std::string shared = kProjects.substr(0, kProjects.rfind('/')) + "/shared/fft/fft.c";
    EXPECT_THAT(project->filesToCopy(),
        UnorderedElementsAre(sources + "main.cpp", sources + "Grid/Grid Tools.cpp", shared,
            sources + "Grid/Löser.cpp", sources + "Grid/grid.H", "/opt/units/../units/constants.hpp",
            sources + "viewer.cpp"));
    EXPECT_EQ(project->filesByID().at("8A10000000000000000000FD"), within("notes \"final\".txt"));
    EXPECT_EQ(project->filesByID().size(), 8U);
}

TEST_F(ProjectReaderTest, TheFirstTargetAndItsFirstPhaseCount)
{
    const auto project = XCodeProject::createWithFile(within("WaveSolver.xcodeproj"));
    EXPECT_EQ(project->programName(), "Wave_Solver_2");
    EXPECT_THAT(
        project->sourceFilesToCompile(), ElementsAre("fft.c", "main.cpp", "Grid Tools.cpp", "Löser.cpp"));
    EXPECT_EQ(project->compilerSettings().textFor("GCC_C_LANGUAGE_STANDARD"), "c11");
    const auto made = project->makefile("Solver");
    EXPECT_EQ(made.at("Makefile.sources"),
        "CXX_SRCS = \\\nmain.cpp\\\nGrid Tools.cpp\\\nLöser.cpp\n\nC_SRCS = \\\nfft.c\n\n");
    EXPECT_EQ(made.at("Makefile"), R"(include Makefile.sources
OBJS = $(C_SRCS:.c=.o) $(F_SRCS:.f=.o) $(CXX_SRCS:.cpp=.o)
PROGRAM = Solver
CC = cc
CXX =  c++

.SUFFIXES: .cpp .o
.cpp.o:
	$(CXX) -c $(CXXFLAGS) $< -o $@

CXXFLAGS = -std=c++11 -Os

LDLIBS = -lm

$(PROGRAM) : $(OBJS)
	$(CXX) $(CXXFLAGS) $(OBJS) -o $(PROGRAM) $(LDLIBS) -lpthread

# Remove targets that can be re-created
clean :
	rm -f $(OBJS) $(PROGRAM)
)");
    EXPECT_EQ(made.size(), 2U);
}

TEST_F(ProjectReaderTest, OtherEndingsAreReportedAndLeftOutAndTheLastConfigurationWins)
{
    const auto project = XCodeProject::createWithFile(within("Legacy.xcodeproj"));
    EXPECT_THAT(project->filesToCopy(),
        UnorderedElementsAre(within("src/ONE.CPP"), within("src/two.C"), within("src/deep/six.h")));
    EXPECT_EQ(project->programName(), "old_tool");
    const int before = messages();
    const auto made = project->makefile("old");
    EXPECT_EQ(messages(), before + 2);
    EXPECT_EQ(made.at("Makefile.sources"), "CXX_SRCS = \\\nONE.CPP\n\nC_SRCS = \\\ntwo.C\n\n");
    EXPECT_THAT(made.at("Makefile"), HasSubstr("\nCXXFLAGS = -Os\n"));
}

TEST_F(ProjectReaderTest, AProjectThatCannotBeReadIsAnEmptyOne)
{
    std::vector<std::unique_ptr<XCodeProject>> projects;
    projects.push_back(XCodeProject::createWithFile(folder / "absent.xcodeproj"));
    for (const char* text : {"", "{", "( a, b )", "{ objects = ( a ); rootObject = a; }",
             "{ rootObject = a; }", "{ objects = { a = b; }; rootObject = a; }",
             "{ objects = { a = { targets = (); }; }; rootObject = a; }",
             "{ objects = { a = { targets = (a); buildPhases = a; mainGroup = (a); }; }; rootObject = a; }"})
        projects.push_back(projectWith(text));
    for (const auto& project : projects) {
        EXPECT_THAT(project->filesToCopy(), IsEmpty());
        EXPECT_THAT(project->sourceFilesToCompile(), IsEmpty());
        EXPECT_FALSE(project->programName());
        EXPECT_TRUE(project->compilerSettings().isNull());
        const auto made = project->makefile("x");
        EXPECT_EQ(made.at("Makefile.sources"), "CXX_SRCS = \n\nC_SRCS = \n\n");
        EXPECT_THAT(made.at("Makefile"), HasSubstr("\nCXXFLAGS = -Os\n"));
    }
}

// Groups below groups with long names would make paths of gigabytes out of a file of some hundred kilobytes.
TEST_F(ProjectReaderTest, ADeepTreeOfGroupsStaysInProportion)
{
    std::string text = "{ rootObject = R; objects = { R = { mainGroup = G0; };\n";
    for (int group = 0; group < 20000; ++group) {
        const std::string number = std::to_string(group);
        text.append("G").append(number).append(
            " = { isa = PBXGroup; sourceTree = \"<group>\"; path = p; children = (F");
        text.append(number).append(", G").append(std::to_string(group + 1)).append("); };\nF").append(number);
        text.append(" = { isa = PBXFileReference; sourceTree = \"<group>\"; path = f.c; };\n");
    }
    const auto project = projectWith(text + "}; }");
    EXPECT_EQ(project->filesByID().at("F2"), folder / "p/p/p/f.c");
    EXPECT_LT(project->filesByID().size(), 3000U);
}

TEST_F(ProjectReaderTest, AGroupMayLieInTwoOthersAndADamagedOneInItself)
{
    const auto project = projectWith(R"({ rootObject = R; objects = {
        R = { mainGroup = G; };
        G = { isa = PBXGroup; sourceTree = "<group>"; children = (A, B); };
        A = { isa = PBXGroup; sourceTree = "<group>"; path = a; children = (S); };
        B = { isa = PBXGroup; sourceTree = "<group>"; path = b; children = (S); };
        S = { isa = PBXGroup; sourceTree = "<group>"; children = (F, A); };
        F = { isa = PBXFileReference; sourceTree = "<group>"; path = f.c; }; }; })");
    EXPECT_EQ(project->filesByID().at("F"), folder / "b/f.c") << "the last place counts";
}

TEST_F(ProjectReaderTest, WhatItWritesIsBuiltByMake)
{
    if (!files::exists("/usr/bin/make"))
        GTEST_SKIP() << "no make on this machine";
    const auto project = projectWith(R"({ rootObject = R; objects = {
        R = { mainGroup = G; targets = (T); };
        G = { isa = PBXGroup; sourceTree = "<group>"; children = (A, B); };
        A = { isa = PBXFileReference; sourceTree = "<group>"; path = main.cpp; };
        B = { isa = PBXFileReference; sourceTree = "<group>"; path = half.c; };
        T = { productName = "my program"; buildPhases = (P); };
        P = { files = (X, Y); }; X = { fileRef = A; }; Y = { fileRef = B; }; }; })");
    EXPECT_TRUE(files::writeFile(folder / "main.cpp",
        "extern \"C\" double half(double);\nint main() { return static_cast<int>(half(14)); }\n"));
    EXPECT_TRUE(files::writeFile(folder / "half.c", "double half(double x) { return x / 2; }\n"));
    for (const auto& [name, text] : project->makefile(*project->programName()))
        ASSERT_TRUE(files::writeFile(folder / name, text));
    for (const auto& [program, status] :
        {std::pair{std::string("/usr/bin/make"), 0}, {folder / "my_program", 7}}) {
        const auto process = platform::Process::launch({program, {}, folder.path()});
        ASSERT_TRUE(process) << process.error().reason;
        ASSERT_TRUE((*process)->waitUntilExit(60));
        EXPECT_EQ((*process)->terminationStatus(), status) << program;
    }
}

} // namespace
