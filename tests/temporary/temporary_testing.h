#pragma once

#include "diagnostics/KRMessageCenter.h"
#include "platform/AnotherProcess.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/FileManager.h"
#include "platform/loop/MainLoop.h"

#include <gmock/gmock.h>

namespace temporarytest {

namespace files = platform::files;
using platform::MainLoop;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct WithMessages : testing::Test {
    WithMessages() { KRMessageCenter::setSharedCenter(center_); }
    ~WithMessages() override { MainLoop::main().runPending(); }

    std::vector<std::string> messages()
    {
        MainLoop::main().runPending();
        std::vector<std::string> texts;
        for (const auto& entry : center_->messages())
            texts.push_back(entry->shortDescription());
        return texts;
    }

    TemporaryFolder folder_;
    std::shared_ptr<KRMessageCenter> center_ = KRMessageCenter::create();
};

} // namespace temporarytest
