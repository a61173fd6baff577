#include "ssh/session/CkoSshKey.h"

#include "ssh/crypto/PrivateKey.h"

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

} // namespace ssh
