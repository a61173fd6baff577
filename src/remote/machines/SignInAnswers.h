#pragma once

#include "ssh/session/CkoSignIn.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

// What only a person can answer before a login succeeds.
struct SignInQuestion {
    enum class Kind {
        HostKey, // Whether the key of a host that is met for the first time is the right one: "yes".
        Passphrase, // Of a private key's file.
        Password, // Of the user on the machine.
        Code, // Whatever else the server asks for.
    };
    Kind kind;
    std::string login; // user@host
    std::string text; // For the person. Prompts come from the server, and may hold anything.
    std::string subject; // The key's fingerprint, the key's file, or the server's prompt.
    bool shown = false; // The answer may be seen while it is typed.
};

// The answers that persons have given in this process, by login. An attempt to log in takes what it needs
// from here and never asks: it fails and leaves its questions, and a front end asks them when a person has
// asked for something, and not when a timer has. Any thread unless told otherwise. The lock is the last to be
// taken: nothing is called while it is held.
class SignInAnswers {
public:
    static SignInAnswers& shared();

    // What answers questions; empty when a front end has nobody to ask. To be set before other threads run.
    // Called on the main thread, and answers there, at once or later, with nothing for a question that a
    // person doesn't want to answer.
    using Answered = std::function<void(const std::optional<std::string>& answer)>;
    using Hook = std::function<void(const SignInQuestion&, Answered)>;
    static Hook& hook();

    struct Known {
        std::string trustedFingerprint;
        std::map<std::string, std::string> passphrases; // By the path of the key's file.
        std::optional<std::string> password;
        std::optional<std::string> refusedPassword;
        bool hasSignedIn = false; // In this process, with whatever password.
        std::vector<ssh::CkoAnswer> answers;
    };
    std::string trustedHostKey(const std::string& login); // The fingerprint that a person has confirmed.
    // Codes are handed out once: a server takes each only once.
    Known takeFor(const std::string& login);
    void leave(const std::string& login, std::vector<SignInQuestion> questions); // In place of earlier ones.
    void leaveTo(const std::string& from, const std::string& to); // One login needs another's answers.
    void noteRefusedPassword(const std::string& login, const std::string& password);
    void noteSignedIn(const std::string& login);
    // Whether the server has refused this password and never taken another: who sends it again and again gets
    // the account locked. One that was taken before is tried again, since directories of users fail, too.
    bool isNotSentAgain(const std::string& login, const std::string& password) const;

    // Whether a person has answered a question that an attempt for this login has left.
    bool wereGiven(const std::string& login) const;
    // Whether the last attempt has left questions: the machine waits for a sign-in.
    bool isWaiting(const std::string& login) const;
    // Asks the questions that the last attempt has left. Passphrases are kept in the secret store, and asked
    // for only when there is none or it doesn't open the key. Then calls `done`, with whether all have an
    // answer now, so that another attempt makes sense; false when there are none. Main thread.
    void ask(const std::string& login, std::function<void(bool areAnswered)> done);

private:
    struct Round;
    void askNext(const std::shared_ptr<Round>& round);
    void noteGiven(const std::string& login);
    bool takeKeptPassphrase(const SignInQuestion& question);
    bool hasTried(const SignInQuestion& question, const std::string& passphrase) const;
    void take(const SignInQuestion& question, const std::string& answer);

    mutable std::mutex lock_;
    std::map<std::string, Known> known_;
    std::map<std::string, std::vector<SignInQuestion>> questions_;
    std::set<std::string> given_; // Logins for which a person has answered.
};
