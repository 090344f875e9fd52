// What a line of a helper's log says about the requests of its timeline.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "nexctl/log/log_lines.h"
#include "nexctl/log/log_timeline.h"

// A known type of request that the helper does not reply to.
bool NeedsNoReply(int nType);

// The first line of every message.
bool IsArrival(const LogLine& line);

// The payload in "ReceiveIPCMessage szMessage=...", null for other lines.
std::optional<std::string> ReceivedMessage(const LogLine& line);

// The library's number of a call in a payload, as the text after its key; empty without one.
std::string CallOf(std::string_view payload);

// The type of the requests that a handler serves, by the last name of its function; 0 for all other functions.
int TypeOfHandler(std::string_view function);

// The type in "Type=13, Message=...", 0 for other lines.
int SentType(const LogLine& line);

// The type of an arrival line such as "receive MessageType::S_MT_GetWxAppStatus", 0 for other lines.
int ReceivedType(const LogLine& line);

// How a page marks the line.
MarkKind KindOf(const LogLine& line);

// The word in front of " begin" or of " end", when the text is made like that.
std::string WordBefore(const std::string& text, std::string_view what);
