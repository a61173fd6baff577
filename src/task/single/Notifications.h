#pragma once

#include "platform/loop/NotificationCenter.h"
#include "task/single/SVTaskMachine.h"

// The names of the notifications that controllers, the application and machine definitions exchange.
namespace notifications {

inline constexpr const char* kEngineDisconnected = "SVEngineDisconnected"; // Object: the SVTaskMachine.
inline constexpr const char* kReloadMachineList = "SVReloadMachineList";
inline constexpr const char* kWindowClosed = "SVWindowClosed"; // Object: the controller.
inline constexpr const char* kCallMeIfYouDontWantToQuit = "SVCallMeIfYouDontWantToQuit";
inline constexpr const char* kConnectToServer = "SVConnectToServer";

// The object is sent as `void*` and cast back only here.
inline void postEngineDisconnected(SVTaskMachine& machine)
{
    platform::NotificationCenter::defaultCenter().post(kEngineDisconnected, &machine);
}
inline SVTaskMachine* disconnectedEngine(const platform::Notification& notification)
{
    return static_cast<SVTaskMachine*>(notification.object);
}

} // namespace notifications
