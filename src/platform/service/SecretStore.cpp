#include "platform/service/SecretStore.h"

#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/plist/PropertyList.h"

namespace platform {

namespace {

// A dictionary of servers, each a dictionary of accounts, each the secret's bytes.
Result<Value> readSecrets(const std::string& path)
{
    auto secrets = propertylist::readFile(path);
    if (secrets && secrets->isNull())
        return Value(Value::Dictionary());
    if (secrets && !secrets->dictionary())
        return Error{path + " holds no passwords"};
    return secrets;
}

Status writeSecrets(const Value& secrets, const std::string& path)
{
    const Status made = files::createDirectories(paths::deletingLastComponent(path), 0700);
    if (!made)
        return made;
    // The new file takes over the permissions of the old one, which somebody may have opened up.
    const auto existing = files::attributes(path);
    if (existing && existing->permissions != files::kOwnersFile)
        if (const Status closed = files::setPermissions(path, files::kOwnersFile); !closed)
            return closed;
    return propertylist::writeAtomically(secrets, path, files::kOwnersFile);
}

} // namespace

SecretStore::SecretStore(std::string path) : path_(std::move(path)) { }

Result<std::optional<std::string>> SecretStore::find(
    const std::string& server, const std::string& account) const
{
    const auto secrets = readSecrets(path_);
    if (!secrets)
        return secrets.error();
    const Value* accounts = secrets->find(server);
    const Value* secret = accounts ? accounts->find(account) : nullptr;
    const Value::Data* bytes = secret ? secret->data() : nullptr;
    return bytes ? std::optional(std::string(bytes->begin(), bytes->end())) : std::nullopt;
}

Status SecretStore::store(const std::string& server, const std::string& account, const std::string& secret)
{
    auto secrets = readSecrets(path_);
    if (!secrets)
        return secrets.error();
    // As data: a password may hold bytes that no text of a property list can.
    secrets->mutableDictionary()[server].mutableDictionary()[account] =
        Value(Value::Data(secret.begin(), secret.end()));
    return writeSecrets(*secrets, path_);
}

Status SecretStore::remove(const std::string& server, const std::string& account)
{
    auto secrets = readSecrets(path_);
    if (!secrets)
        return secrets.error();
    if (!secrets->find(server) || !secrets->find(server)->find(account))
        return Error{"no password is kept for " + account + " on " + server};
    auto& accounts = secrets->mutableDictionary()[server].mutableDictionary();
    accounts.erase(account);
    if (accounts.empty())
        secrets->mutableDictionary().erase(server);
    return writeSecrets(*secrets, path_);
}

} // namespace platform
