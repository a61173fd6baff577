#include "apps/console/MessagePrinter.h"

#include "apps/console/TerminalText.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/loop/MainLoop.h"

#include <fmt/format.h>

#include <cstdio>

namespace {

// A failure to write is ignored: the terminal may be closed.
void writeError(const std::string& text)
{
    std::fputs(terminal::printable(text).c_str(), stderr);
}

} // namespace

MessagePrinter::MessagePrinter()
{
    observation_ = table_.observe([this](const toolkit::Change&) { writeNewMessages(); });
    KRMessageCenter::sharedMessageCenter()->setScrollView(&table_);
}

MessagePrinter::~MessagePrinter()
{
    // The last messages may still be queued on the main loop.
    platform::MainLoop::main().runPending();
    writeNewMessages();
    KRMessageCenter::sharedMessageCenter()->setScrollView(nullptr);
}

void MessagePrinter::writeNewMessages()
{
    const auto messages = KRMessageCenter::sharedMessageCenter()->messages();
    if (written_ >= messages.size())
        return;
    if (beforeWriting)
        beforeWriting();
    for (; written_ < messages.size(); ++written_) {
        const auto& message = *messages[written_];
        complain(message.shortDescription());
        if (whenWritten)
            whenWritten(message.shortDescription());
        if (showsLongTexts && message.longDescription()
            && *message.longDescription() != message.shortDescription())
            writeError(fmt::format("    {}\n", *message.longDescription()));
    }
}

void complain(const std::string& sentence)
{
    writeError(fmt::format("trelkind: {}\n", sentence));
}
