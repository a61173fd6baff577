#include "remote/machines/SignInAnswers.h"

#include "platform/ProcessInfo.h"
#include "platform/files/Paths.h"
#include "platform/files/Places.h"
#include "platform/service/SecretStore.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const char* kPassphraseAccount = "passphrase"; // Of a key's file, in the place of a server.

platform::SecretStore passphraseStore()
{
    return platform::SecretStore(platform::paths::appending(platform::Places::library(), "Secrets.plist"));
}

std::optional<std::string> keptPassphrase(const std::string& keyFile)
{
    const auto kept = passphraseStore().find(keyFile, kPassphraseAccount);
    return kept.ok() ? *kept : std::nullopt;
}

} // namespace

SignInAnswers& SignInAnswers::shared()
{
    static SignInAnswers answers;
    return answers;
}

SignInAnswers::Hook& SignInAnswers::hook()
{
    static Hook hook;
    return hook;
}

std::string SignInAnswers::trustedHostKey(const std::string& login)
{
    const std::lock_guard guard(lock_);
    return known_[login].trustedFingerprint;
}

SignInAnswers::Known SignInAnswers::takeFor(const std::string& login)
{
    const std::lock_guard guard(lock_);
    Known& kept = known_[login];
    Known known = kept;
    kept.answers.clear();
    return known;
}

void SignInAnswers::leave(const std::string& login, std::vector<SignInQuestion> questions)
{
    const std::lock_guard guard(lock_);
    questions_[login] = std::move(questions);
}

void SignInAnswers::leaveTo(const std::string& from, const std::string& to)
{
    const std::lock_guard guard(lock_);
    questions_[to] = questions_[from];
}

void SignInAnswers::noteRefusedPassword(const std::string& login, const std::string& password)
{
    const std::lock_guard guard(lock_);
    Known& known = known_[login];
    known.refusedPassword = password;
    if (known.password == password)
        known.password.reset();
}

void SignInAnswers::noteSignedIn(const std::string& login)
{
    const std::lock_guard guard(lock_);
    known_[login].hasSignedIn = true;
}

bool SignInAnswers::isNotSentAgain(const std::string& login, const std::string& password) const
{
    const std::lock_guard guard(lock_);
    const auto found = known_.find(login);
    return found != known_.end() && !found->second.hasSignedIn && found->second.refusedPassword == password;
}

bool SignInAnswers::isWaiting(const std::string& login) const
{
    const std::lock_guard guard(lock_);
    const auto found = questions_.find(login);
    return found != questions_.end() && !found->second.empty();
}

bool SignInAnswers::wereGiven(const std::string& login) const
{
    const std::lock_guard guard(lock_);
    return given_.contains(login);
}

// The questions of one login, asked one after the other.
struct SignInAnswers::Round {
    std::string login;
    std::vector<SignInQuestion> questions;
    std::size_t next = 0;
    std::function<void(bool)> done;
};

void SignInAnswers::ask(const std::string& login, std::function<void(bool)> done)
{
    const auto round = std::make_shared<Round>();
    round->login = login;
    round->done = std::move(done);
    {
        const std::lock_guard guard(lock_);
        round->questions = std::exchange(questions_[login], {});
    }
    if (round->questions.empty() || !hook())
        return round->done(false);
    askNext(round);
}

void SignInAnswers::askNext(const std::shared_ptr<Round>& round)
{
    while (round->next < round->questions.size() && takeKeptPassphrase(round->questions[round->next]))
        ++round->next;
    if (round->next == round->questions.size())
        return round->done(true);
    hook()(round->questions[round->next], [this, round](const std::optional<std::string>& answer) {
        const SignInQuestion& question = round->questions[round->next++];
        if (!answer || (question.kind == SignInQuestion::Kind::HostKey && *answer != "yes")) {
            leave(round->login, std::move(round->questions));
            return round->done(false);
        }
        take(question, *answer);
        noteGiven(round->login);
        if (question.kind == SignInQuestion::Kind::Passphrase)
            if (auto kept = passphraseStore().store(question.subject, kPassphraseAccount, *answer);
                !kept.ok())
                platform::systemLog(kept.error().text);
        askNext(round);
    });
}

void SignInAnswers::noteGiven(const std::string& login)
{
    const std::lock_guard guard(lock_);
    given_.insert(login);
}

bool SignInAnswers::hasTried(const SignInQuestion& question, const std::string& passphrase) const
{
    const std::lock_guard guard(lock_);
    const auto known = known_.find(question.login);
    if (known == known_.end())
        return false;
    const auto tried = known->second.passphrases.find(question.subject);
    return tried != known->second.passphrases.end() && tried->second == passphrase;
}

// One that didn't open the key isn't taken again.
bool SignInAnswers::takeKeptPassphrase(const SignInQuestion& question)
{
    if (question.kind != SignInQuestion::Kind::Passphrase)
        return false;
    const auto kept = keptPassphrase(question.subject);
    if (!kept || hasTried(question, *kept))
        return false;
    take(question, *kept);
    return true;
}

void SignInAnswers::take(const SignInQuestion& question, const std::string& answer)
{
    const std::lock_guard guard(lock_);
    Known& known = known_[question.login];
    switch (question.kind) {
    case SignInQuestion::Kind::HostKey:
        known.trustedFingerprint = question.subject;
        break;
    case SignInQuestion::Kind::Passphrase:
        known.passphrases[question.subject] = answer;
        break;
    case SignInQuestion::Kind::Password:
        known.password = answer;
        known.refusedPassword.reset(); // A person may want the same one tried again.
        break;
    case SignInQuestion::Kind::Code:
        std::erase_if(known.answers, [&](const auto& kept) { return kept.prompt == question.subject; });
        known.answers.push_back({question.subject, answer});
        break;
    }
}
