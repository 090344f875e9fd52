// Exchanges between a caller and the helper, kept as files: recorded, shown, played again and compared.
//
// A file is JSON lines in UTF-8. The first names the format and where the exchange took place; each further one is a
// frame, in the order in which they passed:
//
//   {"exchange":1,"mark":"demo","service":"svc-1"}
//   {"from":"helper","message":{"content":{"p1":"1"},"message_type":12},"note":"The helper is ready."}
//   {"from":"caller","payload":"no json"}
//   {"from":"caller","hex":"ff fe"}
//   {"any":["result"],"from":"helper","message":{...}}
//
// A payload that is compact JSON is given as "message"; any other as a "payload" text, or, when it is not a text, as
// "hex". "any" names keys of the content whose values differ from run to run; "note" is for readers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

#include "tooling/frame_text.h"

struct ExchangeFrame {
    FrameDirection direction = FrameDirection::Sent;
    std::string payload;
    std::vector<std::string> any;
    std::string note;

    bool operator==(const ExchangeFrame&) const = default;
};

struct Exchange {
    std::string mark;
    std::string service;
    std::vector<ExchangeFrame> frames;

    bool operator==(const Exchange&) const = default;
};

// Reads a file's text. False with a sentence in problem, which names the line, when it is none.
bool ReadExchange(std::string_view text, Exchange& exchange, std::string& problem);
// The file's text; ReadExchange gives the same exchange back.
std::string WriteExchange(const Exchange& exchange);

// Makes a recorded exchange one that can be played again: of several same polls in a row whose answers are "Loading"
// the last is left, and what a run draws by chance is marked in "any".
void SettleExchange(Exchange& exchange);

// The same exchange for another mark and service id.
Exchange MoveExchange(const Exchange& exchange, const std::string& mark, const std::string& service);

// Whether frame is a poll's answer that the open is under way.
bool IsLoading(std::string_view payload);

// Empty when payload is what expected says, else one sentence.
std::string ExchangeDifference(const ExchangeFrame& expected, std::string_view payload);

// The frames for people: note, direction, type, name, size, and the bytes as a hexadecimal dump.
std::string ShowExchange(const Exchange& exchange);
