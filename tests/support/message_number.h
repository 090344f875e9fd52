// The numbers of message types, for calls that take a number as it is on the wire.
#pragma once

#include "ipc/protocol/message_type.h"

constexpr int Number(MessageType type) {
    return static_cast<int>(type);
}
