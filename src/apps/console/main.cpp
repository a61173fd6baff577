// The console front end: the command line, and nothing else.

#include "apps/composition/Composition.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"
#include "platform/loop/MainLoop.h"

#include <CLI/CLI.hpp>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <optional>
#include <unistd.h>

namespace {

constexpr int kWrongUseOfCommandLine = 2;
constexpr int kMostConcurrency = 32;

constexpr const char* kDescription =
    "Runs batches of a computational program and keeps track of what each run left.\n"
    "A task wrapper is a folder whose name ends in .vtask: it holds the program, the list of its\n"
    "input sets and one numbered folder for each run.";

constexpr const char* kAcceptNewHostKey =
    "Trust the key of a host that is met for the first time without asking";

constexpr const char* kExitStatus =
    "Exit status: 0 done, 1 something is not done or failed, 2 wrong use, 130 interrupted.";

class CommandLine {
public:
    CommandLine()
    {
        app_.require_subcommand(1);
        app_.set_version_flag("--version", "trelkind " TRELKIND_VERSION);
        app_.get_formatter()->label("SUBCOMMAND", "VERB");
        app_.footer(kExitStatus);
        addNew();
        addRun();
        addStatus();
        addFiles();
        addOutput();
        addVariables();
        addValue();
        addClear();
        addPrepare();
        addMachines();
        addCheck();
        addEnd();
    }

    // Reads the command line. Nothing else is done: what it asks for, work() does afterwards. Returns the
    // exit status when the program ends here, as after --help and a wrong use.
    std::optional<int> parse(int argc, char** argv)
    {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::Success& wanted) {
            return app_.exit(wanted) == 0 ? EXIT_SUCCESS : kWrongUseOfCommandLine;
        } catch (const CLI::ParseError& error) {
            const bool isNoVerb = argc > 1 && argv[1][0] != '-' && !isVerb(argv[1]);
            const std::string sentence = argc == 1 ? "a verb is missing"
                : isNoVerb                         ? "there is no verb \"" + std::string(argv[1]) + "\""
                                                   : error.what();
            std::cerr << "trelkind: " << sentence << ". Run with --help for more information.\n";
            return kWrongUseOfCommandLine;
        }
        return std::nullopt;
    }
    int work() { return work_(); } // Returns the exit status.

private:
    bool isVerb(const std::string& word) const
    {
        return !app_.get_subcommands([&word](const CLI::App* verb) { return verb->get_name() == word; })
                    .empty();
    }

    CLI::App* add(const char* name, const char* summary, const char* more)
    {
        CLI::App* verb = app_.add_subcommand(name, summary)->group("Verbs");
        verb->footer(std::string(more) + "\n\n" + kExitStatus);
        return verb;
    }

    static void addWrapper(CLI::App* verb, std::string& wrapper)
    {
        verb->add_option("WRAPPER", wrapper, "The task wrapper, a folder whose name ends in .vtask")
            ->required();
    }
    static void addNumber(CLI::App* verb, int& number)
    {
        verb->add_option("NUMBER", number, "The number of the task as the task table shows it, from 1")
            ->required();
    }
    static CLI::Option* addTasks(CLI::App* verb, std::vector<std::string>& tasks, const char* what)
    {
        return verb->add_option(
            "TASKS", tasks, std::string(what) + ": numbers from 1, and ranges such as 8-12");
    }
    static void addJson(CLI::App* verb, bool& json)
    {
        verb->add_flag("--json", json, "Write JSON: an array of objects keyed by the column names");
    }

    void addNew()
    {
        CLI::App* verb = add("new", "Make a wrapper around a program",
            R"(Makes one run for each row of the table, or a single run without a table. {column} in the arguments
and in the input files is replaced by the row's value. A column Time gives the run's time value.
The table is a file of comma-separated values; its first line holds the column names.
Existing files are not overwritten. Example:
  trelkind new Sweep.vtask --program ./solver --input setup.txt --arguments '--seed {seed}' --table runs.csv)");
        verb->add_option("WRAPPER", new_.path, "The new wrapper; its name ends in .vtask")->required();
        verb->add_option("--program", new_.program, "The compiled program, which is copied into the wrapper")
            ->required();
        verb->add_option(
                "--input", new_.inputs, "A file that every run gets a copy of; may be given several times")
            ->allow_extra_args(false);
        verb->add_option("--arguments", new_.arguments, "The arguments of the program, as shell text");
        verb->add_option("--table", new_.table, "A file of comma-separated values with a row for each run");
        verb->add_option(
            "--project", new_.project, "The project from which the program can be built elsewhere");
        verb->callback([this] { work_ = [this] { return newVerb(new_); }; });
    }

    void addRun()
    {
        CLI::App* verb = add("run", "Run the tasks of a wrapper on this computer",
            R"(Runs all tasks that were not started before, or the named ones, a limited number at a time, and waits
until they have ended. The status is 1 when a task is not done or its program failed.
On a terminal a live table shows status and progress; otherwise each change is a line.
An interrupt (Ctrl-C) ends the running tasks and starts no others; a second one kills them.
Closing the terminal does not end the batch.
With --json nothing is shown until the end, and then the task table with each task's Folder.)");
        addWrapper(verb, run_.wrapper);
        CLI::Option* tasks = addTasks(verb, run_.tasks, "Run only these tasks");
        verb->add_option("-j,--concurrency", run_.concurrency, "How many tasks run at a time (4 by default)")
            ->check(CLI::Range(1, kMostConcurrency));
        verb->add_flag("--failed", run_.failed, "Clear the tasks whose program failed, and run them again")
            ->excludes(tasks);
        verb->add_flag("--halt", run_.halt, "Start no more tasks after a program has failed");
        verb->add_flag("--dry-run", run_.dryRun, "Show what would be started without starting it");
        verb->add_flag("--quiet,-q", run_.quiet, "Show only errors");
        addJson(verb, run_.json);
        addCluster(verb);
        tasks->excludes("--on");
        addServer(verb);
        verb->callback([this] {
            if (run_.withoutArguments && !run_.on && !run_.server)
                throw CLI::RequiresError("--without-arguments", "--on or --server");
            work_ = [this] { return runVerb(run_); };
        });
    }

    void addCluster(CLI::App* verb)
    {
        CLI::Option* on = verb->add_option("--on", run_.on,
            "Run on a machine of the list instead: USER@HOST, or USER@HOST:QUEUE (the queue's name doesn't "
            "reach the scheduler)");
        verb->add_option("--work-folder", run_.workFolder, "The folder for batches on the cluster")
            ->needs(on);
        verb->add_option("--minutes", run_.minutes, "Minutes between looks at the cluster (15 by default)");
        verb->add_flag("--accept-new-host-key", run_.acceptNewHostKey, kAcceptNewHostKey);
        verb->add_flag("--detach", run_.detach, "End when the jobs are submitted");
        verb->add_flag("--without-arguments", run_.withoutArguments,
            "Run tasks elsewhere although their arguments don't reach them there");
        for (const char* local : {"--concurrency", "--failed", "--halt", "--dry-run"})
            on->excludes(local);
    }

    void addServer(CLI::App* verb)
    {
        CLI::Option* server = verb->add_option("--server", run_.server,
            "Run through the task server of USER@HOST instead, which gets the program from the top of the "
            "wrapper. The files go by scp, with a key that needs no password");
        verb->add_option("--watch", run_.watch, "Show the output of this task while it runs there")
            ->needs(server);
        verb->add_flag("--allow-server-without-secret", run_.allowServerWithoutSecret,
                "Trust a task server that can't prove that it is the one that wrote the port file")
            ->needs(server);
        for (const char* other : {"--on", "--concurrency", "--failed", "--halt", "--dry-run", "--detach"})
            server->excludes(other);
    }

    void addCheck()
    {
        CLI::App* verb = add("check", "Look once at a batch on a cluster",
            "Brings what has appeared or grown, shows the tasks, and removes the batch when all have ended.");
        addWrapper(verb, check_.wrapper);
        addJson(verb, check_.json);
        verb->callback([this] { work_ = [this] { return checkVerb(check_); }; });
    }

    void addEnd()
    {
        CLI::App* verb = add("end", "Give up a batch on a cluster",
            R"(Forgets the batch of this wrapper, and says what stays on the cluster: its folder, and its jobs, which
go on there. What has been brought from it stays here.)");
        addWrapper(verb, end_.wrapper);
        verb->add_flag("--cancel-jobs", end_.cancelJobs, "Cancel its jobs first");
        verb->add_flag("--remove", end_.remove, "Remove its folder on the cluster");
        verb->add_flag("--yes,-y", end_.yes, "Do it without asking");
        verb->callback([this] { work_ = [this] { return endVerb(end_); }; });
    }

    CLI::App* addMachinesAction(
        CLI::App* verb, const char* name, const char* summary, MachinesOptions::Action action)
    {
        CLI::App* part = verb->add_subcommand(name, summary);
        part->add_option("MACHINE", machines_.machine, "USER@HOST")->required();
        part->callback([this, action] { machines_.action = action; });
        return part;
    }

    void addMachines()
    {
        using Action = MachinesOptions::Action;
        CLI::App* verb = add("machines", "Show and change the list of cluster machines",
            R"(Without an action it lists the machines. "add" only writes the list; "password" keeps a password in the
secret store, "check" signs in and makes the work folder, and "files" lists that folder.)");
        verb->require_subcommand(0, 1);
        addJson(verb, machines_.json);
        CLI::App* added = addMachinesAction(verb, "add", "Add a machine", Action::Add);
        added->add_option("--queue", machines_.queue,
            "Queue names, separated by commas, for the run menus; they don't reach the scheduler");
        added->add_option("--key", machines_.key, "A private key to sign in with");
        added->add_option("--port", machines_.port, "The port, where it isn't 22")
            ->check(CLI::Range(1, 65535));
        added->add_option("--through", machines_.through, "USER@HOST that forwards the connection");
        added->add_flag("--allow-weak", machines_.allowWeak, "Accept algorithms that are known to be weak");
        CLI::App* removed = addMachinesAction(verb, "remove", "Remove a machine", Action::Remove);
        removed->add_flag("--yes,-y", machines_.yes, "Do it without asking");
        CLI::App* password = addMachinesAction(verb, "password", "Keep a password", Action::Password);
        password->add_option("--password-fd", machines_.passwordDescriptor,
            "Read it from this descriptor instead of the terminal");
        CLI::App* checked =
            addMachinesAction(verb, "check", "Sign in and make the work folder", Action::Check);
        CLI::App* files = addMachinesAction(verb, "files", "List the work folder", Action::Files);
        addJson(files, machines_.json);
        for (CLI::App* part : {checked, files}) {
            part->add_option("--work-folder", machines_.workFolder, "Another work folder");
            part->add_flag("--accept-new-host-key", machines_.acceptNewHostKey, kAcceptNewHostKey);
        }
        verb->callback([this] { work_ = [this] { return machinesVerb(machines_); }; });
    }

    void addStatus()
    {
        CLI::App* verb = add("status", "Show the tasks of a wrapper",
            R"(Done means that the program ended; the column Exit shows its exit status, or the signal that ended it.
A task that died with its machine is reported as lost; "trelkind clear" lets it be run again.
With --json each object also has State (waiting, running, done, aborted, lost), Started (seconds
since 1970), Seconds, Argument, Exit Status, Signal and Folder.)");
        addWrapper(verb, statusOptions_.wrapper);
        verb->add_flag("--failed", statusOptions_.failed, "Only tasks that failed or were aborted");
        verb->add_flag("--running", statusOptions_.running, "Only tasks that run");
        verb->add_flag("--waiting", statusOptions_.waiting, "Only tasks that wait");
        addJson(verb, statusOptions_.json);
        verb->callback([this] { work_ = [this] { return statusVerb(statusOptions_); }; });
    }

    void addFiles()
    {
        CLI::App* verb =
            add("files", "Show the files of a task", "The files that mark a run's state are left out.");
        addWrapper(verb, task_.wrapper);
        addNumber(verb, task_.number);
        addJson(verb, task_.json);
        verb->callback([this] { work_ = [this] { return filesVerb(task_); }; });
    }

    void addOutput()
    {
        CLI::App* verb = add("output", "Show what a task has printed",
            "With --follow it waits for more output until the run has ended; interrupt it to stop earlier.");
        addWrapper(verb, task_.wrapper);
        addNumber(verb, task_.number);
        CLI::Option* follow = verb->add_flag("--follow,-f", task_.follow, "Continue until the run has ended");
        verb->add_flag("--json", task_.json, "Write JSON: an array of objects with Number and Line")
            ->excludes(follow);
        verb->callback([this] { work_ = [this] { return outputVerb(task_); }; });
    }

    // Words of one option in one of two counts.
    static void addPlaces(CLI::App* verb, std::vector<std::string>& words, std::size_t few, const char* forms)
    {
        const std::size_t many = few + 2; // A wrapper and a number in front.
        verb->add_option("PLACE", words, forms)
            ->required()
            ->check([count = std::size_t{0}, many](
                        const std::string&) mutable { return ++count > many ? "Too many arguments" : ""; });
        verb->parse_complete_callback([&words, few, many, forms] {
            if (words.size() != few && words.size() != many)
                throw CLI::ValidationError("PLACE", std::string("give ") + forms);
        });
    }

    void addVariables()
    {
        CLI::App* verb = add("variables", "Show the variables of a data file",
            R"(Either:  trelkind variables FILE
or:      trelkind variables WRAPPER NUMBER FILE, with a file name as "trelkind files" shows it.
Shows the name and type of each variable, and how many time values it has, or a single number itself.
The files may be .svbin, .mat (level 4), .ascii, .svascii and folders .svdata; docs/variables.md tells how
a program announces variables in them.
With --follow the file is read again while it grows, and what is new or has changed is shown: until the
run has ended, or, for a FILE, until an interrupt (Ctrl-C), after which the status is 130.
With --json each object has Name, Type, Information, Time Values (numbers; "NaN", "Infinity" and
"-Infinity" are texts) and Structure (a text, or null for a plain type).)");
        addPlaces(verb, variables_.places, 1, "FILE, or WRAPPER NUMBER FILE");
        CLI::Option* follow =
            verb->add_flag("--follow,-f", variables_.follow, "Continue while the file grows");
        verb->add_flag("--json", variables_.json, "Write JSON: an array of objects")->excludes(follow);
        verb->callback([this] { work_ = [this] { return variablesVerb(variables_); }; });
    }

    void addValue()
    {
        CLI::App* verb = add("value", "Show a value of a variable of a data file",
            R"(Either:  trelkind value FILE NAME
or:      trelkind value WRAPPER NUMBER FILE NAME
Shows the last value of the variable, or that of a time or a step: its description, and as many of its
numbers as fit on the screen. Without an option a series is shown as a whole, by its times.
--csv writes a line for each row; layers of an array are separated by an empty line.
--json writes an object with Name, Type, Time, Description and Value. Value is a number; a text; an array
for lists; m, n, o and values (column by column) for arrays, points, ranges, regions, shifts and
transforms; an object from column name to array for tables; an object from entry name to Type and
Description for groups; times for series; null where there is no value.
Numbers of --csv and --json read back to the same bits; NaN, Infinity and -Infinity are words.
The status is 1 when the file has no variable of the name. Example:
  trelkind value Sweep.vtask 3 results.svbin velocity --time 0.5 --csv > velocity.csv)");
        addPlaces(verb, value_.places, 2, "FILE NAME, or WRAPPER NUMBER FILE NAME");
        CLI::Option* time = verb->add_option("--time", value_.time, "The value that has begun at this time");
        verb->add_option("--step", value_.step, "The value of this step, from 0")->excludes(time);
        CLI::Option* json = verb->add_flag("--json", value_.json, "Write a JSON object");
        verb->add_flag("--csv", value_.csv, "Write rows of comma-separated values")->excludes(json);
        verb->callback([this] { work_ = [this] { return valueVerb(value_); }; });
    }

    void addClear()
    {
        CLI::App* verb = add("clear", "Remove the data of tasks, so that they can be run again",
            R"(Removes everything in the tasks' folders except the input files. Running tasks are skipped.
Asks before it removes the results of a task that is done.)");
        addWrapper(verb, clear_.wrapper);
        CLI::Option* aborted =
            verb->add_flag("--aborted", clear_.aborted, "Clear all tasks that were aborted");
        addTasks(verb, clear_.tasks, "Clear these tasks")->excludes(aborted);
        verb->add_flag("--yes,-y", clear_.yes, "Remove the results of tasks that are done without asking");
        verb->callback([this] {
            if (!clear_.aborted && clear_.tasks.empty())
                throw CLI::ValidationError("clear", "name the tasks: --aborted, or their numbers");
            work_ = [this] { return clearVerb(clear_); };
        });
    }

    void addPrepare()
    {
        CLI::App* verb = add("prepare", "Prepare a wrapper for building on another machine",
            R"(Writes the folder Project into the wrapper: the sources of the project that Info.plist names,
make files for them, and the scripts compile and submit.)");
        addWrapper(verb, prepare_.wrapper);
        verb->callback([this] { work_ = [this] { return prepareVerb(prepare_); }; });
    }

    CLI::App app_{kDescription, "trelkind"};
    std::function<int()> work_; // Set by the verb.
    NewWrapper new_;
    RunOptions run_;
    CheckOptions check_;
    EndOptions end_;
    MachinesOptions machines_;
    StatusOptions statusOptions_;
    PrepareOptions prepare_;
    TaskOptions task_;
    VariablesOptions variables_;
    ValueOptions value_;
    ClearOptions clear_;
};

// Opens missing standard descriptors on /dev/null, so that no data file gets one of their numbers.
void openStandardDescriptors()
{
    int descriptor = ::open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = ::open("/dev/null", O_RDWR);
    if (descriptor > STDERR_FILENO)
        ::close(descriptor);
}

} // namespace

int main(int argc, char** argv)
{
    openStandardDescriptors();
    // The user's locale tells which characters the terminal can show. Everything else uses UTF-8 and a
    // decimal point.
    std::setlocale(LC_CTYPE, "");
    terminal::Output::standard();
    std::setlocale(LC_CTYPE, "C.UTF-8");
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL); // An inherited SIG_IGN would lose the exits of runs.
    std::signal(SIGXFSZ, SIG_IGN); // Exceeding the limit of a file's size becomes an error of write().
    platform::MainLoop::main();
    CommandLine commandLine;
    if (const auto status = commandLine.parse(argc, argv))
        return *status;
    const Program program;
    return commandLine.work();
}
