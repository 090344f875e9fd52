// The proxy that programs of this user use, as a world sets it. The journal keeps what was set before.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

inline constexpr char kInternetSettings[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";

// Keys and names of the user's registry values that SetUserProxy changes, or the system after it.
std::vector<std::pair<std::string, std::string>> UserProxyValues();

// Every host but this machine itself is then reached through the port of this machine. False when it cannot be set.
bool SetUserProxy(std::uint32_t port);

// Tells running programs that the values have changed.
void AnnounceUserProxy();
