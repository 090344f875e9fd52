// The one table of the request types: whatever needs to know one of them reads it here.
#pragma once

#include <span>

#include "ipc/protocol/message_type.h"
#include "ipc/protocol/request_handlers.h"

// What the content of a request must hold under "p1".
enum class RequestP1 {
    NotAsked,
    Any,           // it must be there
    Text,          // a JSON text
    ObjectOrNull,  // and "service_id" a JSON text
};

// How a content that lacks it is refused. A content that is null is always refused with "parse error".
enum class RequestRefusal {
    ParseError,    // "parse error" in the log
    NotContainP1,  // "not contain p1" in the log
    Silent,
};

struct RequestRow {
    MessageType nType;
    MessageType nReplyType;    // kNoReply when it has none
    const char* szName;        // in tools and documents
    const wchar_t* szArrival;  // logged when it arrives
    RequestP1 p1;
    RequestRefusal refusal;
    void (IRequestHandlers::*pHandler)(Request& request);  // null: no request of an instance
};

inline constexpr MessageType kNoReply{0};

// In the order of their numbers.
std::span<const RequestRow> RequestTable();

// Null for a number that is not a request.
const RequestRow* FindRequest(int nType);

enum class ContentStatus { Ok, ParseError, NotContainP1, Silent };

// Whether the content of a request holds what its row asks for.
ContentStatus CheckContent(const RequestRow& row, const Json::Value& content);

// The name of a message type, requests and replies, or "unknown". A static text.
const char* MessageTypeName(int nType);

// The type of the reply to a request of this type, 0 when it has none.
int ReplyTypeOf(int nType);
