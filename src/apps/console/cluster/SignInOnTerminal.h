#pragma once

#include "remote/machines/SVSSHPasswordInfo.h"

#include <functional>
#include <string>

// Answers the questions of logins on the terminal from now on. Without a terminal a question has no answer,
// but a new host is trusted if the user has said so beforehand. Before the first connection.
void answerSignInOnTerminal(bool acceptsNewHostKeys);

// Asks what an encrypted key of the machine needs, before operations need it that can't ask.
// Asks the questions that the last attempt to sign in has left. Whether all are answered.
bool askOnTerminal(const std::string& login);
void openKeyFile(const SVSSHPasswordInfo& login);

// Makes attempts until one succeeds or a question has no answer. `attempt` tells whether it has succeeded.
void signInWithAnswers(const SVSSHPasswordInfo& login, const std::function<bool()>& attempt);
