// Names of files that the system takes for devices.
#pragma once

#include <string_view>

// Whether opening this path reaches a device and no file: its last part is a device's name (CON, NUL, COM1 ...), in any
// case, also with an extension, a stream or blanks after it, or the whole path is in the system's name space of devices
// and names no drive ("\\.\pipe\x"). Reading from a device, or writing to it, can last for ever.
bool IsDevicePath(std::wstring_view path);
