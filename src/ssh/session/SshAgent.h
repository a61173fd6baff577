#pragma once

#include "ssh/crypto/SigningKey.h"

#include <memory>
#include <string>
#include <vector>

namespace ssh {

// The client's side of a key agent, which holds private keys and signs with them. Each request has a
// connection of its own, so that the keys can be used on any thread for as long as the agent runs.
namespace sshagent {

// Of the user's own agent: $SSH_AUTH_SOCK. Empty without one.
std::string usualSocket();

// The keys of a kind that this client can log in with, in the agent's order. Waits for the agent's answer for
// some seconds; its signatures, which may ask the user, for a minute.
Result<std::vector<std::shared_ptr<const SigningKey>>> keys(const std::string& socketPath);

} // namespace sshagent
} // namespace ssh
