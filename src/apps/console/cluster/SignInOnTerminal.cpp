#include "apps/console/cluster/SignInOnTerminal.h"

#include "apps/console/Question.h"
#include "remote/machines/ConnectionPool.h"
#include "remote/machines/SignInAnswers.h"

namespace {

constexpr int kMostAttempts = 6; // A host key, a passphrase, and a few wrong answers.

std::optional<std::string> answer(const SignInQuestion& question, bool acceptsNewHostKeys)
{
    if (question.kind == SignInQuestion::Kind::HostKey) {
        const bool accepted =
            acceptsNewHostKeys || askYesOrNo(question.text + " Trust it?", "--accept-new-host-key");
        return accepted ? std::optional<std::string>("yes") : std::nullopt;
    }
    return question.shown ? askLine(question.text + " ") : askSecret(question.text);
}

} // namespace

void answerSignInOnTerminal(bool acceptsNewHostKeys)
{
    SignInAnswers::hook() = [acceptsNewHostKeys](const SignInQuestion& question, const auto& answered) {
        answered(answer(question, acceptsNewHostKeys));
    };
}

bool askOnTerminal(const std::string& login)
{
    bool areAnswered = false;
    SignInAnswers::shared().ask(login, [&areAnswered](bool all) { areAnswered = all; });
    return areAnswered; // A terminal answers at once.
}

void openKeyFile(const SVSSHPasswordInfo& login)
{
    if (!login.access().keyFile)
        return;
    signInWithAnswers(login, [&login] { return ConnectionPool::shared().signIn(login); });
}

void signInWithAnswers(const SVSSHPasswordInfo& login, const std::function<bool()>& attempt)
{
    for (int left = kMostAttempts; !attempt() && --left > 0;)
        if (!askOnTerminal(login.login()))
            return;
}
