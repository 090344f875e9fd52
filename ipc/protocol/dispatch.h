// From the payload of a frame to the handler of its request: the one way for the caller's pipe and for the host's.
//
// A payload that is refused is a line in the log and nothing on the wire. operation is the name that the lines carry.
#pragma once

#include "ipc/protocol/request_handlers.h"

// Reads one payload, up to its first NUL; length serves only for the test whether it is empty. False when it is
// refused. For type 1 a content that does not convert to a text throws, and the process ends.
bool ReceiveRequest(const wchar_t* operation, const unsigned char* data, int length, Request& request);

// Calls the handler of the request's type and returns 1; 0 when an instance has none for it, type 1 included.
int DispatchRequest(const wchar_t* operation, Request& request, IRequestHandlers& handlers);
