#pragma once

// The names of the notifications that controllers, the application and machine definitions exchange.
namespace notifications {

inline constexpr const char* kEngineDisconnected = "SVEngineDisconnected"; // Object: the SVTaskMachine.
inline constexpr const char* kReloadMachineList = "SVReloadMachineList";
inline constexpr const char* kWindowClosed = "SVWindowClosed"; // Object: the controller.
inline constexpr const char* kCallMeIfYouDontWantToQuit = "SVCallMeIfYouDontWantToQuit";
inline constexpr const char* kConnectToServer = "SVConnectToServer";

} // namespace notifications
