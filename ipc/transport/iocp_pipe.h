// Both ends of the completion-port pipes.
#pragma once

#include "ipc/transport/iocp_client.h"  // IWYU pragma: export
#include "ipc/transport/iocp_server.h"  // IWYU pragma: export
