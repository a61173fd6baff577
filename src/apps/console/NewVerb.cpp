#include "apps/console/OpenWrapper.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"
#include "platform/files/Paths.h"
#include "task/wrapper/ExecutableCheck.h"
#include "task/wrapper/NewWrapper.h"
#include "task/wrapper/ShellWord.h"

#include <fmt/format.h>

int newVerb(const NewWrapper& wanted)
{
    const auto made = wanted.make();
    if (!made) {
        complain(made.error().text);
        return kNotDone;
    }
    // A program for another machine is only a warning: it may be run there.
    const std::string program = fmt::format("{}/MacOSX/{}", platform::paths::absolute(wanted.path),
        platform::paths::lastComponent(wanted.program));
    if (const auto status = checkExecutable(program); !status)
        complain(status.error().text);
    return terminal::write(fmt::format("Made {} with {} task{}. \"trelkind run {}\" runs {}.\n", wanted.path,
               *made, *made == 1 ? "" : "s", shellWord(wanted.path), *made == 1 ? "it" : "them"))
        ? kDone
        : kNotDone;
}
