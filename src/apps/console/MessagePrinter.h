#pragma once

#include "toolkit/Table.h"

#include <functional>
#include <string>

// Writes each message of the shared message center to standard error, once. It stands in for the message
// window.
class MessagePrinter {
public:
    MessagePrinter();
    ~MessagePrinter();
    MessagePrinter(const MessagePrinter&) = delete;
    MessagePrinter& operator=(const MessagePrinter&) = delete;

    // Called before each burst of messages, so that a live display can make room, and with each short text.
    std::function<void()> beforeWriting;
    std::function<void(const std::string& sentence)> whenWritten;

private:
    void writeNewMessages();

    toolkit::Table table_;
    toolkit::Model::Observation observation_;
    std::size_t written_ = 0;
};

// Tells what keeps a verb from doing its work, on standard error.
void complain(const std::string& sentence);
