#pragma once

#include "arrays/containers/KRArrayContainer.h"
#include "arrays/legacy/legacy_testing.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/loop/MainLoop.h"

namespace containertest {

using legacytest::kInf;
using legacytest::kMost;
using legacytest::kNaN;
using testing::ElementsAre;
using testing::IsEmpty;

// Those of a center, each as "short" or "short|long".
inline std::vector<std::string> textsOf(KRMessageCenter& center)
{
    platform::MainLoop::main().runPending();
    std::vector<std::string> texts;
    for (const auto& entry : center.messages())
        texts.push_back(entry->shortDescription()
            + (entry->longDescription() ? "|" + *entry->longDescription() : std::string()));
    return texts;
}

inline std::vector<std::string> messagesOf(const std::function<void()>& action)
{
    platform::MainLoop::main();
    const auto center = KRMessageCenter::create();
    KRMessageCenter::setCenterOfThread(center);
    KRSetArrayReporter([](const std::string& text) { KRMessageCenter::addMessage(text); });
    action();
    KRSetArrayReporter(nullptr);
    KRMessageCenter::setCenterOfThread(nullptr);
    return textsOf(*center);
}

template <class T>
typename KRArrayContainer<T>::Pointer container(long m, long n = 1, long o = 1)
{
    return KRArrayContainer<T>::createArrayWithMutableObject(legacytest::counting<T>(m, n, o));
}

template <class T>
typename KRArrayContainer<T>::Pointer containerOf(const std::vector<T>& values)
{
    return KRArrayContainer<T>::createArrayWithMutableObject(legacytest::vectorOf(values));
}

template <class Pointer>
std::string shown(const Pointer& container)
{
    return container ? legacytest::shown(container->array()) : "null";
}

} // namespace containertest

#define KR_CONTAINER_TYPES                                                                                   \
    double, float, std::int32_t, std::int16_t, std::uint16_t, signed char, unsigned char, KRComplexNumber
