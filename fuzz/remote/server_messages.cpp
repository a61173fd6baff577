// What a task server may send: its port file, its proof of the secret, and messages, as whole streams.

#include "platform/service/SecretProof.h"
#include "platform/service/ServiceMessages.h"
#include "remote/server/ServerMessages.h"
#include "remote/server/ServerPlaces.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace {

void check(bool holds)
{
    if (!holds)
        std::abort();
}

void readMessage(const platform::ServiceMessage& message)
{
    if (const auto news = servermessages::readNews(message.operation, message.content))
        check(news->taskNumber >= 0 && news->lines >= 0 && news->lines <= servermessages::kMostLines
            && news->wrapperName.size() <= servermessages::kLongestWrapperName);
    if (const auto number = servermessages::readClientNumber(message.content))
        check(
            *number >= 0 && serverplaces::checkRemotePath(serverplaces::clientFolder("user", *number)).ok());
    if (const auto load = servermessages::readLoadLevel(message.content))
        check(std::isfinite(*load) && *load >= 0);
    if (const auto line = servermessages::readLine(message.content))
        check(line->size() <= servermessages::kLongestLine);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto file = serverplaces::readPortFile(bytes);
    check(!file.secret || file.secret->find_first_of(" \n") == std::string::npos);
    platform::SecretProof proof(platform::SecretProof::Side::Connecting, "a secret that nobody knows");
    check(!proof.take(bytes.substr(0, std::min(size, proof.bytesWanted()))));
    platform::ServiceMessageReader reader;
    if (!reader.append(bytes))
        return 0;
    while (const auto message = reader.next())
        readMessage(*message);
    return 0;
}
