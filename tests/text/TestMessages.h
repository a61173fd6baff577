#pragma once

#include "diagnostics/KRMessageCenter.h"

#include <string>
#include <vector>

// Takes the messages of this thread until its end.
class TestMessages {
public:
    TestMessages() { KRMessageCenter::setCenterOfThread(center_); }
    ~TestMessages() { KRMessageCenter::setCenterOfThread(nullptr); }
    TestMessages(const TestMessages&) = delete;
    TestMessages& operator=(const TestMessages&) = delete;

    // The short texts since the last call.
    std::vector<std::string> take()
    {
        center_->updateIfNeccesary();
        std::vector<std::string> texts;
        for (const auto& message : center_->messages())
            texts.push_back(message->shortDescription());
        center_->clearMessages();
        return texts;
    }

private:
    std::shared_ptr<KRMessageCenter> center_ = KRMessageCenter::create();
};
