// What a batch writes for the cluster, what it reads of its own file, and how it reads the scheduler's
// answers.

#include "remote/cluster/BatchFile.h"
#include "remote/cluster/JobScripts.h"
#include "remote/cluster/SchedulerJobs.h"
#include "remote/machines/ClusterCondition.h"
#include "remote/machines/ClusterNames.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

namespace {

using platform::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kUuid = "01234567-89AB-CDEF-0123-456789ABCDEF";

TEST(ClusterScripts, ReadLineByLineAsRunsUnderWayExpect)
{
    EXPECT_EQ(jobscripts::job("my_solver", 12),
        "#!/bin/sh\n\ntouch VTask_runStarted\ntouch ../Started/12\ntouch ../StartedLast\n"
        "../Executable/my_solver >& runOutput\necho machine > VTask_runCompleted\n"
        "touch ../Finished/12\ntouch ../FinishedLast\n");
    EXPECT_EQ(jobscripts::submitTasks("work", "ID", "p", {3, 7, 10}),
        "#!/bin/sh\n\ncd work/ID\n\ncd 3\nsbatch --time=240:00:00 ./p\ncd ../7\nsbatch --time=240:00:00 ./p\n"
        "cd ../10\nsbatch --time=240:00:00 ./p\n");
    EXPECT_EQ(jobscripts::submitTasks("work", "ID", "p", {}), "#!/bin/sh\n\ncd work/ID\n\n");
    const std::string begin = "#! /bin/sh\n\ncd w/ID/Sources\nrm -f p\nmake -j 8\n\nif [ -f p ]\nthen\n"
                              "    cp p ../Executable/\n";
    const std::string end = "else\n    rm p ../Executable/\nfi\n";
    EXPECT_EQ(jobscripts::compileExecutable("w/ID/Sources", "p", "0123"),
        begin + "    cp p ../../CachedExecutables/\n    echo 0123 > ../../CachedExecutables/p.md5\n" + end);
    EXPECT_EQ(jobscripts::compileExecutable("w/ID/Sources", "p", std::nullopt), begin + end);
}

// They stand unquoted in scripts and in "rm -r".
TEST(ClusterNames, RefuseWhatAShellWouldTakeApart)
{
    for (const char* folder : {"TrelkindWorkDirectory", "/scratch/a.b_c-d/e", ".", "w"})
        EXPECT_TRUE(clusternames::checkWorkFolder(folder).ok()) << folder;
    for (const char* folder : {"", "-rf", "a b", "~/w", "$HOME", "a;b", "a\nb", "a*", "a'b", "w\xc3\xa4"})
        EXPECT_FALSE(clusternames::checkWorkFolder(folder).ok()) << folder;
    for (const char* program : {"my_solver", "a.out", "s-1+2,3=4@5%6", "l\xc3\xb6ser"})
        EXPECT_TRUE(clusternames::checkProgram(program).ok()) << program;
    for (const char* program :
        {"", "-x", "a\"b", "a'b", "a`b", "$a", "a\nb", "a b", "a/b", "a;b", "~", "a&b"})
        EXPECT_FALSE(clusternames::checkProgram(program).ok()) << program;
    EXPECT_TRUE(clusternames::isUuid(kUuid));
    for (const char* uuid :
        {"", "01234567-89ab-CDEF-0123-456789ABCDEF", "01234567-89AB-CDEF-0123-456789ABCDE",
            "01234567-89AB-CDEF-0123-456789ABCDEFA", "012345678-9AB-CDEF-0123-456789ABCDEF",
            "0123456G-89AB-CDEF-0123-456789ABCDEF", "../../../../../../../../../../../home"})
        EXPECT_FALSE(clusternames::isUuid(uuid)) << uuid;
}

TEST(BatchFile, KeepsWhatReachedTheDiskAndRefusesWhatSomebodyElseWrote)
{
    const WrapperOnDisk wrapper;
    BatchFile file(wrapper.path());
    file.load();
    EXPECT_TRUE(file.saveIfChanged().ok()); // A missing file is made.
    EXPECT_TRUE(wrapper.has("Remote Machine.plist"));
    file.set(BatchFile::kHost, "h");
    EXPECT_THAT(wrapper.read("Remote Machine.plist"), testing::Not(HasSubstr("Host")));
    file.setFlag(BatchFile::kTasksCopied);
    const auto stored = platform::propertylist::readFile(wrapper / "Remote Machine.plist");
    ASSERT_TRUE(stored.ok());
    EXPECT_EQ(*stored, Value(Value::Dictionary{{"Host", "h"}, {"Tasks have been copied", "YES"}}));
    BatchFile again(wrapper.path());
    again.load();
    again.removeFlag(BatchFile::kTasksCopied);
    file.load();
    EXPECT_FALSE(file.has(BatchFile::kTasksCopied));
    EXPECT_TRUE(file.has(BatchFile::kHost));
    file.deleteFromDisk();
    file.deleteFromDisk();
    EXPECT_FALSE(wrapper.has("Remote Machine.plist"));

    struct Case {
        const char* key;
        Value value;
        const char* refusal; // Empty for a file that is taken.
    };
    for (const Case& edited :
        std::vector<Case>{{"UUID", kUuid, ""}, {"UUID", "../..", "is not the name of a"},
            {"UUID", 5, "is no text"}, {"UUID", "", "is not the name of a"}, {"Host", true, "is no text"},
            {"User Name", Value::Array{}, "is no text"}, {"Work Folder", "a; rm -r b", "other characters"},
            {"Work Folder", Value::Dictionary{}, "is no text"}, {"Runs have Started", 1, ""}}) {
        wrapper.plist("Remote Machine.plist", Value::Dictionary{{edited.key, edited.value}});
        BatchFile hostile(wrapper.path());
        hostile.load();
        const auto status = hostile.check();
        EXPECT_EQ(status.ok(), *edited.refusal == '\0') << edited.key;
        EXPECT_THAT(status.ok() ? "" : status.error().text, HasSubstr(edited.refusal));
    }
    for (const char* torn : {"<plist><dict><key>Host", "no list", "<plist><array/></plist>"}) {
        wrapper.write("Remote Machine.plist", torn);
        BatchFile unreadable(wrapper.path());
        unreadable.load();
        EXPECT_FALSE(unreadable.check().ok()) << torn;
        unreadable.setFlag(BatchFile::kRunsStarted);
        EXPECT_EQ(wrapper.read("Remote Machine.plist"), torn) << "it is never written over";
    }
}

TEST(SchedulerJobs, BelongToTheBatchByTheirWorkingFolder)
{
    const std::string folder = std::string("TrelkindWorkDirectory/") + kUuid;
    const std::string at = "|/home/u/" + folder + "/";
    std::string told;
    for (const auto& job : schedulerjobs::parse("7|PENDING|Resources" + at + "0\n8|RUNNING|None" + at
                 + "12\n"
                 // Of others, or without sense:
                 + "9|PENDING|x|/home/u/Other" + folder + "/1\nx|PENDING|y" + at + "1\n|A|B" + at + "1\n"
                 + "10|A|B" + at + "-1\n11|A|B" + at + "1x\n12|A|B" + at + "99999999999\n13|A|B" + at + "\n"
                 + "14\n|||||\n\n15|A|B|" + folder + "\n; rm -r *|A|B" + at + "1\n" + "16|A|B|" + folder
                 + "/3\n17_1|A|B" + at + "2\n18|CG|" + at + "4",
             folder))
        told += job.id + " " + std::to_string(job.run) + " " + job.state + " " + job.reason + "\n";
    EXPECT_EQ(told, "7 0 PENDING Resources\n8 12 RUNNING None\n16 3 A B\n18 4 CG \n");
    EXPECT_EQ(schedulerjobs::cancelCommand({{"7", 0, "", ""}, {"8", 1, "", ""}}), "scancel 7 8");

    const auto submission = schedulerjobs::parseSubmission(
        "Submitted batch job 1\nsbatch: error: no\nSubmitted batch job 2 on cluster c\n\nSubmitted");
    EXPECT_EQ(submission.accepted, 2u);
    EXPECT_THAT(submission.complaints, ElementsAre("sbatch: error: no", "Submitted"));
    std::string endless;
    for (int i = 0; i < 1000; ++i)
        endless += "refused\n";
    EXPECT_EQ(schedulerjobs::parseSubmission(endless).complaints.size(), 100);
}

TEST(ClusterCondition, TellsWhatWouldFailLater)
{
    struct Case {
        const char* answer;
        std::vector<const char*> remarks;
    };
    for (const Case& one : std::vector<Case>{{"", {}}, {"no sbatch\n", {"sbatch isn't found"}},
             {"no redirection\nno sbatch\n", {"doesn't understand \">&\"", "sbatch isn't found"}},
             {"partition short*|10:00:00\n", {"short that takes the jobs allows 10 hours"}},
             {"partition s*|2-00:00:00\npartition s*|2-00:00:00\n", {"allows 48 hours"}},
             {"partition s*|2-12:30\n", {"allows 60 hours"}}, {"partition s*|30:00\n", {"allows 0 hours"}},
             {"partition long*|10-00:00:00\npartition short|1:00:00\npartition x*|infinite\n", {}},
             {"partition *|\npartition\npartition s*|x:y:z\npartition s*|99999999999999999999-0:0\n", {}},
             {"room 99\n", {"Only 99 MB"}}, {"room 100\nroom Available\nroom -5\nroom \n", {}},
             {"quota /dev/x 102399 204800\n", {}},
             {"quota /dev/x 204000* 204800\n", {"Only 0 MB of the quota on /dev/x"}},
             {"quota /dev/x 900 800\n", {"Only 0 MB"}}, {"quota home: 153600 204800\n", {"Only 50 MB"}},
             {"quota /dev/x 5 0\nquota Filesystem blocks limit\nquota Disk\nquota x -5 7\nquota a \n", {}},
             {"Welcome!\n\n\0\nroom 1", {}}}) {
        const auto remarks = clustercondition::remarks(one.answer);
        ASSERT_EQ(remarks.size(), one.remarks.size()) << one.answer;
        for (std::size_t i = 0; i < remarks.size(); ++i)
            EXPECT_THAT(remarks[i], HasSubstr(one.remarks[i]));
    }
}

} // namespace
