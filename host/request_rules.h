// What the host does with a request before it hands it to the instance.
#pragma once

#include <string>

#include "ipc/protocol/request_table.h"

struct RequestRules {
    bool bReArmsExitTimer = false;
    bool bStartsStatusTimer = false;
    bool bNeedsP1 = false;
};

// The rules of the requests 2 to 8; any other type has none.
RequestRules RulesOfRequest(MessageType type);

// The start of the process and of a forwarded one dispatches the requests 2 to 8 of its /param:.
bool IsDispatchedAtStart(int type);

// Whether Init will dispatch a request of this command line. False also for a /type: that does not convert: Init ends
// the process then.
bool CarriesRequest(const std::wstring& commandLine);

// Reads the service id of a request's content into serviceId, which keeps its value when the request is refused: as
// ParseError when the content is not an object, as NotContainP1 when a request that needs p1 has none, as Silent when
// service_id is missing or not a text.
ContentStatus ReadRequestServiceId(const Json::Value& content, bool bNeedsP1, std::string& serviceId);
