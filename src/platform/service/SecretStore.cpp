#include "platform/service/SecretStore.h"

#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/plist/PropertyList.h"

namespace platform {

namespace {

// A dictionary of servers, each a dictionary of accounts, each the secret's bytes. Nothing when there is a
// file that isn't this.
std::optional<Value> readSecrets(const std::string& path)
{
    auto file = propertylist::readFile(path);
    if (file.status == propertylist::ReadResult::Status::Missing)
        return Value(Value::Dictionary());
    if (!file.value.dictionary())
        return std::nullopt;
    return std::move(file.value);
}

bool writeSecrets(const Value& secrets, const std::string& path)
{
    files::createDirectories(paths::deletingLastComponent(path), 0700);
    // The new file takes over the permissions of the old one, which somebody may have opened up.
    const auto existing = files::attributes(path);
    if (existing && existing->permissions != files::kOwnersFile
        && !files::setPermissions(path, files::kOwnersFile))
        return false;
    return propertylist::writeAtomically(secrets, path, files::kOwnersFile);
}

} // namespace

SecretStore::SecretStore(std::string path) : path_(std::move(path)) { }

std::optional<std::string> SecretStore::find(const std::string& server, const std::string& account) const
{
    const auto secrets = readSecrets(path_);
    const Value* accounts = secrets ? secrets->find(server) : nullptr;
    const Value* secret = accounts ? accounts->find(account) : nullptr;
    const Value::Data* bytes = secret ? secret->data() : nullptr;
    return bytes ? std::optional(std::string(bytes->begin(), bytes->end())) : std::nullopt;
}

bool SecretStore::store(const std::string& server, const std::string& account, const std::string& secret)
{
    auto secrets = readSecrets(path_);
    if (!secrets)
        return false;
    // As bytes, for a password may hold what no text of a property list can.
    secrets->mutableDictionary()[server].mutableDictionary()[account] =
        Value(Value::Data(secret.begin(), secret.end()));
    return writeSecrets(*secrets, path_);
}

bool SecretStore::remove(const std::string& server, const std::string& account)
{
    auto secrets = readSecrets(path_);
    if (!secrets || !secrets->find(server) || !secrets->find(server)->find(account))
        return false;
    auto& accounts = secrets->mutableDictionary()[server].mutableDictionary();
    accounts.erase(account);
    if (accounts.empty())
        secrets->mutableDictionary().erase(server);
    return writeSecrets(*secrets, path_);
}

} // namespace platform
