#pragma once

// Answers the questions of logins in dialogs that name the login, from now on. Before the first connection.
void answerSignInInDialogs();
