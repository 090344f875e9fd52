// What a scripted helper does for each request, read from a file. world/README.md shows the format to its writers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

#include "tooling/exchange.h"
#include "world/helper/scripted_request.h"

struct HelperStep {
    enum class Kind {
        Notice,   // the ready notice
        Reply,    // the reply of the request, with the keys of value
        Send,     // an envelope of type nType with the content value
        Payload,  // a frame around strText
        Bytes,    // strText unchanged, without a frame
        Wait,     // nNumber milliseconds
        Silence,  // nothing
        HangUp,   // the end of the connection
        Exit,     // the end of the process, with the exit code nNumber
    };
    Kind kind = Kind::Silence;
    int nType = 0;
    std::uint32_t nNumber = 0;
    std::string strText{};
    Json::Value value{};
    // Of what is sent in a frame: the frame's first word, and how many of its bytes are sent.
    std::optional<std::uint32_t> magic{};
    std::optional<std::uint32_t> cut{};

    bool operator==(const HelperStep&) const = default;
};

using HelperSteps = std::vector<HelperStep>;

struct HelperScenario {
    HelperSteps connect;
    // The blocks of a request's type, in the order of the file. The n-th request of the type gets the n-th block, and
    // every one after the last block the last.
    std::map<int, std::vector<HelperSteps>> requests;
    std::vector<HelperSteps> others;  // for types without a block, the same
    std::string strExchange;          // the file that answers what no block does; empty for none
};

// Reads a file's text. False, with a sentence that names the line in problem, when it is not one.
bool ReadHelperScenario(std::string_view text, HelperScenario& scenario, std::string& problem);

// What the step sends: nothing when it sends none.
std::string StepBytes(const HelperStep& step, const ScriptedRequest& request);

// Plays a scenario: which steps belong to the request that has come.
class CHelperPlay {
  public:
    // exchange is empty when the scenario names none.
    CHelperPlay(HelperScenario scenario, Exchange exchange)
        : m_scenario(std::move(scenario)), m_exchange(std::move(exchange)) {}

    const HelperSteps& OnConnect() const { return m_scenario.connect; }
    HelperSteps OnRequest(const ScriptedRequest& request);

  private:
    // The helper's frames after the next frame of the recorded caller that has the request's type.
    HelperSteps FromExchange(const ScriptedRequest& request);

    const HelperScenario m_scenario;
    const Exchange m_exchange;
    std::map<int, std::size_t> m_seen;  // how many requests of a type have come
    std::size_t m_nOthers = 0;
    std::size_t m_nAt = 0;  // in the exchange
};
