#include "ssh/session/UserAuth.h"

#include "ssh/crypto/Wire.h"
#include "ssh/transport/Algorithms.h"
#include "ssh/transport/Messages.h"

#include <algorithm>

namespace ssh {

namespace {

constexpr std::string_view kService = "ssh-connection";
constexpr int kMostRounds = 16;
constexpr std::uint32_t kMostPrompts = 64;
constexpr int kMostSteps = 12; // Servers end after six refused keys.

Error malformedLogin()
{
    return Error{"The server sent a damaged login message."};
}
Error unexpectedLogin()
{
    return Error{"The server sent a login message out of turn."};
}

bool namesPassword(const std::string& prompt)
{
    std::string lower = prompt;
    std::transform(lower.begin(), lower.end(), lower.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower.find("password") != std::string::npos;
}

WireWriter request(const std::string& user, std::string_view method)
{
    WireWriter writer(message::kUserauthRequest);
    writer.string(user).string(kService).string(method);
    return writer;
}

} // namespace

Status UserAuth::requestService()
{
    return send_(WireWriter(message::kServiceRequest).string("ssh-userauth"));
}

Status UserAuth::begin(Credentials credentials, ByteView sessionId)
{
    credentials_ = std::move(credentials);
    sessionId_ = copyOf(sessionId);
    refusal_.clear();
    unanswered_.clear();
    rounds_ = steps_ = 0;
    keyIndex_ = 0;
    passwordUsed_ = passwordRefused_ = false;
    state_ = State::None;
    return send_(request(credentials_.user, "none"));
}

void UserAuth::refuse(std::string reason)
{
    refusal_ = std::move(reason);
    state_ = State::Refused;
    credentials_ = {};
}

Status UserAuth::receive(ByteView payload)
{
    const ByteView body = payload.subspan(1);
    switch (payload[0]) {
    case message::kServiceAccept:
        if (serviceAccepted_ || WireReader(body).text() != "ssh-userauth")
            return unexpectedLogin();
        serviceAccepted_ = true;
        return {};
    case message::kUserauthBanner: {
        WireReader reader(body);
        log_("The server says: " + printable(reader.text(), 2000));
        return {};
    }
    default:
        break;
    }
    if (!serviceAccepted_ || !pending())
        return unexpectedLogin();
    switch (payload[0]) {
    case message::kUserauthSuccess:
        state_ = State::Done;
        credentials_ = {};
        return {};
    case message::kUserauthFailure:
        return receiveFailure(body);
    case message::kUserauthInfoRequest: // Its meaning depends on the method.
        if (state_ == State::Interactive)
            return receiveInfoRequest(body);
        if (state_ == State::KeyOffer)
            return receiveKeyAccepted(body);
        if (state_ == State::Password) {
            refuse("The server wants the password changed before it lets the user in.");
            return {};
        }
        return unexpectedLogin();
    default:
        return unexpectedLogin();
    }
}

Status UserAuth::receiveFailure(ByteView body)
{
    WireReader reader(body);
    const std::vector<std::string> methods = reader.nameList();
    const bool partial = reader.boolean();
    if (!reader.ok())
        return malformedLogin();
    if (state_ == State::None)
        return credentials_.everyMethod ? chooseAnyMethod(methods) : chooseMethod(methods);
    if (credentials_.everyMethod)
        return goOn(methods, partial);
    const std::string offered = printable(joinNames(methods));
    if (partial)
        refuse("The server accepted the login but wants another one on top (" + offered + ").");
    else if (state_ == State::PublicKey)
        refuse("The server refused the key for user " + credentials_.user + ". It offers: " + offered + ".");
    else {
        passwordRefused_ = passwordUsed_;
        refuse("The server refused the password for user " + credentials_.user + ". It offers: " + offered
            + ".");
    }
    return {};
}

Status UserAuth::chooseMethod(const std::vector<std::string>& methods)
{
    const bool interactive = contains(methods, "keyboard-interactive");
    if (!credentials_.keys.empty()) {
        if (contains(methods, "publickey"))
            return sendPublicKey();
    } else if (interactive && credentials_.password.empty()) {
        log_("Password is empty. Choosing keyboard-interactive login instead.");
        return sendInteractive();
    } else if (contains(methods, "password")) {
        return sendPassword();
    } else if (interactive) {
        return sendInteractive();
    }
    refuse(std::string("The server doesn't take ") + (credentials_.keys.empty() ? "passwords" : "keys")
        + " from user " + credentials_.user + ". It offers: " + printable(joinNames(methods)) + ".");
    return {};
}

Status UserAuth::goOn(const std::vector<std::string>& methods, bool partial)
{
    if (partial) {
        log_("The server accepted the login and wants another one on top: " + printable(joinNames(methods)));
        keyIndex_ += state_ == State::PublicKey ? 1 : 0; // A second login by key takes another key.
    } else if (state_ == State::KeyOffer || state_ == State::PublicKey) {
        log_("The server refused the key " + key().type() + ".");
        ++keyIndex_;
    } else {
        passwordRefused_ = passwordUsed_;
        refuse("The server refused the " + std::string(state_ == State::Password ? "password" : "answers")
            + " for user " + credentials_.user + ". It offers: " + printable(joinNames(methods)) + ".");
        return {};
    }
    return chooseAnyMethod(methods);
}

Status UserAuth::chooseAnyMethod(const std::vector<std::string>& methods)
{
    if (++steps_ > kMostSteps) {
        refuse("The server wants too many logins.");
        return {};
    }
    if (contains(methods, "publickey") && keyIndex_ < credentials_.keys.size())
        return credentials_.keys.size() > 1 ? offerKey() : sendPublicKey();
    if (contains(methods, "password") && !passwordUsed_ && !credentials_.password.empty())
        return sendPassword();
    if (contains(methods, "keyboard-interactive"))
        return sendInteractive();
    if (contains(methods, "password") && !passwordUsed_) {
        unanswered_.push_back({"Password", "", false, true});
        refuse("The server asks for the password of user " + credentials_.user + ".");
        return {};
    }
    refuse("The server wants a login that there is nothing for. It offers user " + credentials_.user + ": "
        + printable(joinNames(methods)) + ".");
    return {};
}

Status UserAuth::sendPassword()
{
    state_ = State::Password;
    passwordUsed_ = true;
    return send_(request(credentials_.user, "password").boolean(false).string(credentials_.password));
}

Status UserAuth::sendInteractive()
{
    state_ = State::Interactive;
    rounds_ = 0;
    return send_(request(credentials_.user, "keyboard-interactive")
                     .string(std::string_view())
                     .string(std::string_view()));
}

Status UserAuth::receiveInfoRequest(ByteView body)
{
    WireReader reader(body);
    std::string instruction = reader.text(); // A name, then the instruction, both for a person.
    const std::string more = reader.text();
    instruction += (instruction.empty() || more.empty() ? "" : "\n") + more;
    reader.string(); // The language.
    const std::uint32_t count = reader.uint32();
    if (++rounds_ > kMostRounds || count > kMostPrompts) {
        refuse("The server asks too many questions.");
        return {};
    }
    std::vector<LoginPrompt> prompts;
    for (std::uint32_t i = 0; i < count && reader.ok(); ++i) {
        LoginPrompt prompt{reader.text(), instruction, false, false};
        prompt.shown = reader.boolean();
        prompts.push_back(std::move(prompt));
    }
    return reader.ok() ? answerPrompts(std::move(prompts)) : malformedLogin();
}

Status UserAuth::answerPrompts(std::vector<LoginPrompt> prompts)
{
    WireWriter answer(message::kUserauthInfoResponse);
    answer.uint32(static_cast<std::uint32_t>(prompts.size()));
    for (LoginPrompt& prompt : prompts) {
        const auto given = answerTo(prompt, prompts.size() == 1);
        if (given) {
            answer.string(*given);
            continue;
        }
        prompt.asksPassword = !prompt.shown && namesPassword(prompt.text);
        unanswered_.push_back(std::move(prompt));
    }
    if (unanswered_.empty())
        return send_(answer);
    refuse("The server asks: " + printable(unanswered_.front().text));
    return {};
}

std::optional<Bytes> UserAuth::answerTo(const LoginPrompt& prompt, bool isOnlyOne)
{
    if (!credentials_.everyMethod) // A question whose answer may be shown doesn't ask for a password.
        return prompt.shown ? Bytes() : credentials_.password;
    auto& answers = credentials_.answers;
    const auto found = std::find_if(
        answers.begin(), answers.end(), [&](const auto& answer) { return answer.first == prompt.text; });
    if (found != answers.end()) {
        Bytes answer = std::move(found->second);
        answers.erase(found); // A server that asks again has refused it.
        return answer;
    }
    // The first hidden question of a login without anything before it is for the password, whatever its
    // words.
    const bool isFirst = isOnlyOne && rounds_ == 1 && steps_ == 1;
    if (prompt.shown || passwordUsed_ || credentials_.password.empty()
        || !(isFirst || namesPassword(prompt.text)))
        return std::nullopt;
    passwordUsed_ = true;
    return credentials_.password;
}

// RFC 8332, section 3.3: SHA-2 if the server says that it accepts it, else SHA-1.
const SignatureInfo& UserAuth::signatureForKey() const
{
    if (key().type() == "ssh-rsa")
        for (const char* name : {"rsa-sha2-512", "rsa-sha2-256"})
            if (contains(signatureAlgorithms_, name))
                return *findSignature(name);
    return *findSignature(key().type());
}

// RFC 4252, section 7: asks whether the key would do, before something is signed with it.
Status UserAuth::offerKey()
{
    state_ = State::KeyOffer;
    return send_(request(credentials_.user, "publickey")
                     .boolean(false)
                     .string(signatureForKey().name)
                     .string(key().publicBlob()));
}

Status UserAuth::receiveKeyAccepted(ByteView body)
{
    WireReader reader(body);
    reader.string();
    if (!equal(reader.string(), key().publicBlob()))
        return malformedLogin();
    return sendPublicKey();
}

Status UserAuth::sendPublicKey()
{
    state_ = State::PublicKey;
    const SignatureInfo& algorithm = signatureForKey();
    WireWriter writer = request(credentials_.user, "publickey");
    writer.boolean(true).string(algorithm.name).string(key().publicBlob());
    const Bytes signedData = WireWriter().string(sessionId_).raw(writer).take();
    const Result<Bytes> signature = key().sign(algorithm, signedData);
    if (!signature.ok()) {
        refuse(signature.error().text);
        return {};
    }
    return send_(writer.string(*signature));
}

} // namespace ssh
