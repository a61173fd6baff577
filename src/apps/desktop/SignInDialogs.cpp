#include "apps/desktop/SignInDialogs.h"

#include "remote/machines/SignInAnswers.h"
#include "toolkit/Workspace.h"

namespace {

std::string titleOf(const SignInQuestion& question)
{
    switch (question.kind) {
    case SignInQuestion::Kind::HostKey:
        return "New machine: " + question.login;
    case SignInQuestion::Kind::Passphrase:
        return "Private key for " + question.login;
    case SignInQuestion::Kind::Password:
    case SignInQuestion::Kind::Code:
        break;
    }
    return "Sign in to " + question.login;
}

} // namespace

void answerSignInInDialogs()
{
    SignInAnswers::hook() = [](const SignInQuestion& question, const SignInAnswers::Answered& answered) {
        const toolkit::Workspace& workspace = toolkit::Workspace::shared();
        if (question.kind == SignInQuestion::Kind::HostKey && workspace.showAlert)
            workspace.showAlert({.message = titleOf(question),
                .informative = question.text,
                .buttons = {"Trust", "Cancel"},
                .answered = [answered](int button) {
                    answered(button == 0 ? std::optional<std::string>("yes") : std::nullopt);
                }});
        else if (workspace.askForText)
            workspace.askForText({titleOf(question), question.text, !question.shown, answered});
        else
            answered(std::nullopt);
    };
}
