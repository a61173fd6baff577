#include "ssh/session/CkoSshKey.h"

#include "ssh/crypto/PrivateKey.h"
#include "ssh/session/SshAgent.h"

#include <exception>

namespace ssh {

bool CkoSshKey::FromOpenSshPrivateKey(const std::optional<std::string>& keyStr)
{
    key_.reset();
    needsPassphrase_ = false;
    if (!keyStr) {
        lastError_ = "There is no private key to read.";
        return false;
    }
    try {
        Result<PrivateKey> key = readKeyFile(*keyStr, textOf(passphrase_));
        if (key.ok())
            key_ = std::make_shared<const PrivateKey>(std::move(*key));
        else
            lastError_ = key.error().text;
        needsPassphrase_ = !key_ && isEncryptedKey(*keyStr);
    } catch (const std::exception& exception) {
        lastError_ = std::string("Out of resources: ") + exception.what();
    }
    return key_ != nullptr;
}

Result<std::vector<CkoSshKey>> CkoSshKey::KeysOfAgent(const std::string& socketPath)
{
    try {
        const auto found = sshagent::keys(socketPath);
        if (!found.ok())
            return found.error();
        std::vector<CkoSshKey> keys(found->size());
        for (std::size_t i = 0; i < keys.size(); ++i)
            keys[i].key_ = (*found)[i];
        return keys;
    } catch (const std::exception& exception) {
        return Error{std::string("Out of resources: ") + exception.what()};
    }
}

} // namespace ssh
