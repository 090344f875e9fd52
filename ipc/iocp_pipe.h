// Both ends of the completion-port pipes.
#pragma once

#include "ipc/iocp_client.h"  // IWYU pragma: export
#include "ipc/iocp_server.h"  // IWYU pragma: export
