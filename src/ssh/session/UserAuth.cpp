#include "ssh/session/UserAuth.h"

#include "ssh/crypto/Wire.h"
#include "ssh/transport/Algorithms.h"
#include "ssh/transport/Messages.h"

namespace ssh {

namespace {

constexpr std::string_view kService = "ssh-connection";
constexpr int kMostRounds = 16;
constexpr std::uint32_t kMostPrompts = 64;

Error malformedLogin()
{
    return Error{"The server sent a damaged login message."};
}
Error unexpectedLogin()
{
    return Error{"The server sent a login message out of turn."};
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
    rounds_ = 0;
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
        return chooseMethod(methods);
    const std::string offered = printable(joinNames(methods));
    if (partial)
        refuse("The server accepted the login but wants another one on top (" + offered + ").");
    else if (state_ == State::PublicKey)
        refuse("The server refused the key for user " + credentials_.user + ". It offers: " + offered + ".");
    else
        refuse("The server refused the password for user " + credentials_.user + ". It offers: " + offered
            + ".");
    return {};
}

Status UserAuth::chooseMethod(const std::vector<std::string>& methods)
{
    const bool interactive = contains(methods, "keyboard-interactive");
    if (credentials_.key) {
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
    refuse(std::string("The server doesn't take ") + (credentials_.key ? "keys" : "passwords") + " from user "
        + credentials_.user + ". It offers: " + printable(joinNames(methods)) + ".");
    return {};
}

Status UserAuth::sendPassword()
{
    state_ = State::Password;
    return send_(request(credentials_.user, "password").boolean(false).string(credentials_.password));
}

Status UserAuth::sendInteractive()
{
    state_ = State::Interactive;
    return send_(request(credentials_.user, "keyboard-interactive")
                     .string(std::string_view())
                     .string(std::string_view()));
}

Status UserAuth::receiveInfoRequest(ByteView body)
{
    WireReader reader(body);
    reader.string(); // Name, instruction and language, meant for a person.
    reader.string();
    reader.string();
    const std::uint32_t count = reader.uint32();
    if (++rounds_ > kMostRounds || count > kMostPrompts) {
        refuse("The server asks too many questions.");
        return {};
    }
    WireWriter answer(message::kUserauthInfoResponse);
    answer.uint32(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        reader.string();
        // A question whose answer may be shown doesn't ask for a password.
        const bool shown = reader.boolean();
        answer.string(shown ? ByteView() : ByteView(credentials_.password));
    }
    return reader.ok() ? send_(answer) : malformedLogin();
}

// RFC 8332, section 3.3: SHA-2 if the server says that it accepts it, else SHA-1.
const SignatureInfo& UserAuth::signatureForKey() const
{
    if (credentials_.key->type() == "ssh-rsa")
        for (const char* name : {"rsa-sha2-512", "rsa-sha2-256"})
            if (contains(signatureAlgorithms_, name))
                return *findSignature(name);
    return *findSignature(credentials_.key->type());
}

Status UserAuth::sendPublicKey()
{
    state_ = State::PublicKey;
    const SignatureInfo& algorithm = signatureForKey();
    WireWriter writer = request(credentials_.user, "publickey");
    writer.boolean(true).string(algorithm.name).string(credentials_.key->publicBlob());
    const Bytes signedData = WireWriter().string(sessionId_).raw(writer).take();
    const Result<Bytes> signature = credentials_.key->sign(algorithm, signedData);
    if (!signature.ok()) {
        refuse(signature.error().text);
        return {};
    }
    return send_(writer.string(*signature));
}

} // namespace ssh
