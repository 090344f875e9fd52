// The begun requests of this process by their handles.
#pragma once

#include <memory>

#include "client/include/nexlet_client.h"
#include "client/request_line.h"

struct RequestEntry {
    nexlet_client client = 0;
    std::shared_ptr<CRequest> pRequest;
    std::weak_ptr<CRequestLine> pLine;  // gone with its client
};

// A handle that was never used. Any thread, all of these.
nexlet_request ReserveRequest();
void AddRequest(nexlet_request handle, RequestEntry entry);
// An entry without a request when the handle is nobody's.
RequestEntry FindRequestEntry(nexlet_request handle);
// Takes the handle away.
RequestEntry RemoveRequest(nexlet_request handle);
