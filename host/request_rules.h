// What the host does with a request before it hands it to the instance.
#pragma once

#include <string>

#include "ipc/message_type.h"

struct RequestRules {
    bool bReArmsExitTimer = false;
    bool bStartsStatusTimer = false;
    bool bNeedsP1 = false;
};

// The rules of the requests 2 to 8; any other type has none.
RequestRules RulesOfRequest(MessageType type);

// The start of the process and of a forwarded one dispatches the requests 2 to 8 of its /param:.
bool IsDispatchedAtStart(int type);

enum class RequestStatus {
    Ok,
    ParseError,   // not JSON, or the root is no object
    NoP1,         // a request that needs p1 has none
    NoServiceId,  // service_id is missing or no text
};

// Reads the service id of a request's body into serviceId, which is left alone by a refusal.
RequestStatus ReadRequestServiceId(const std::string& body, bool bNeedsP1, std::string& serviceId);
