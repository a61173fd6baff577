#include "examples/taskserver/Misbehavior.h"

#include <csignal>
#include <limits>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using platform::Value;

constexpr unsigned kSlowSeconds = 5; // A client waits for 4.

constexpr std::pair<const char*, Misbehavior::Kind> kNames[] = {{"silent", Misbehavior::Kind::Silent},
    {"slow", Misbehavior::Kind::Slow}, {"die", Misbehavior::Kind::Die},
    {"nonsense", Misbehavior::Kind::Nonsense}, {"forget", Misbehavior::Kind::Forget},
    {"wrong-port", Misbehavior::Kind::WrongPort}};

} // namespace

platform::Result<Misbehavior> Misbehavior::parse(const std::string& text)
{
    const auto at = text.find('@');
    const std::string word = text.substr(0, at);
    for (const auto& [name, kind] : kNames)
        if (word == name)
            return Misbehavior{kind, at == text.npos ? "" : text.substr(at + 1)};
    return platform::Error{"\"" + word + "\" is no misbehavior: " + kKinds};
}

void Misbehavior::happen(const std::string& at) const
{
    if (is(Kind::Silent, at))
        ::raise(SIGSTOP);
    else if (is(Kind::Slow, at))
        ::sleep(kSlowSeconds);
    else if (is(Kind::Die, at))
        ::_exit(1);
}

Value Misbehavior::nonsense()
{
    static const std::vector<Value> kValues{Value("three"), Value(-1),
        Value(std::numeric_limits<std::int64_t>::max()), Value(), Value(1e300),
        Value(std::numeric_limits<double>::quiet_NaN()), Value(Value::Array{1, "x"}),
        Value(Value::Dictionary{{"a", 1}}), Value(std::string(100'000, 'x')), Value(4'000'000'000.0),
        Value(std::numeric_limits<std::int64_t>::min()), Value(0.5)};
    static std::size_t next = 0;
    return kValues[next++ % kValues.size()];
}

Value Misbehavior::corrupted(const Value& dictionary)
{
    static std::size_t next = 0;
    Value changed = dictionary;
    auto& members = changed.mutableDictionary();
    if (members.empty())
        return nonsense();
    auto member = members.begin();
    std::advance(member, static_cast<std::ptrdiff_t>(next++ % members.size()));
    member->second = nonsense();
    return changed;
}
