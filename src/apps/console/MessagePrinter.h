#pragma once

#include "toolkit/Table.h"

#include <functional>
#include <string>

// Prints each message of the shared message center once to standard error. It takes the place of the message
// window.
class MessagePrinter {
public:
    MessagePrinter();
    ~MessagePrinter();
    MessagePrinter(const MessagePrinter&) = delete;
    MessagePrinter& operator=(const MessagePrinter&) = delete;

    bool showsLongTexts = true; // Below the short ones, where they differ.
    // `beforeWriting` is called before a group of messages, so that a live display can leave the screen;
    // `whenWritten` is called with the short text of each message.
    std::function<void()> beforeWriting;
    std::function<void(const std::string& sentence)> whenWritten;

    // Prints the messages that the main loop is still to bring, so that they come before what is printed
    // next.
    void writeNewMessages();

private:
    toolkit::Table table_;
    toolkit::Model::Observation observation_;
    std::size_t written_ = 0;
};

// Prints a sentence about a failure to standard error.
void complain(const std::string& sentence);
