#include "world/helper/helper_scenario.h"

#include <algorithm>
#include <array>
#include <utility>

#include "foundation/json_text.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/request_table.h"
#include "ipc/transport/frame.h"
#include "tooling/frame_text.h"
#include "world/common/script_lines.h"

namespace {

using Kind = HelperStep::Kind;

constexpr char kCallKey[] = "nexlet_call";
constexpr int kExitRequest = static_cast<int>(MessageType::S_MT_ExitExeProcess);

// What a block is for: a type, or one of these.
constexpr int kNoBlock = -1;
constexpr int kConnect = -2;
constexpr int kOthers = -3;

struct StepName {
    std::string_view name;
    Kind kind;
};
constexpr std::array<StepName, 9> kSteps = {{{"notice", Kind::Notice},
                                             {"reply", Kind::Reply},
                                             {"send", Kind::Send},
                                             {"payload", Kind::Payload},
                                             {"bytes", Kind::Bytes},
                                             {"wait", Kind::Wait},
                                             {"silence", Kind::Silence},
                                             {"hangup", Kind::HangUp},
                                             {"exit", Kind::Exit}}};

bool HasFrame(Kind kind) {
    return kind == Kind::Notice || kind == Kind::Reply || kind == Kind::Send || kind == Kind::Payload;
}

std::optional<int> TypeIn(std::string_view word) {
    const std::optional<std::uint32_t> number = WholeNumber(word);
    return number && *number <= 0x7FFFFFFF ? std::optional(static_cast<int>(*number)) : std::nullopt;
}

// "on WHAT": the block's place, or kNoBlock.
int BlockIn(std::string_view rest) {
    if (rest == "connect") {
        return kConnect;
    }
    return rest == "other" ? kOthers : TypeIn(rest).value_or(kNoBlock);
}

// "cut N" and "magic N" in front of what is sent. An empty text, or what is wrong.
std::string TakePrefixes(std::string_view& rest, std::string_view& word, HelperStep& step) {
    while (word == "cut" || word == "magic") {
        std::optional<std::uint32_t>& target = word == "cut" ? step.cut : step.magic;
        const std::optional<std::uint32_t> number = WholeNumber(TakeWord(rest));
        if (!number || target) {
            return "\"" + std::string(word) + "\" needs one number, once in a line";
        }
        target = number;
        word = TakeWord(rest);
    }
    return {};
}

std::string TakeObject(std::string_view rest, Json::Value& value) {
    if (!ParseJson(rest, value) || !value.isObject()) {
        return "this is not a JSON object: " + std::string(rest);
    }
    return {};
}

std::string TakeNumber(std::string_view rest, std::uint32_t& number) {
    const std::optional<std::uint32_t> read = WholeNumber(rest);
    number = read.value_or(0);
    return read ? std::string() : "this is not a number from 0 to 4294967295: " + std::string(rest);
}

// Reads what follows the step's name. Returns an empty text, or what is wrong.
std::string TakeArguments(std::string_view rest, int block, HelperStep& step) {
    switch (step.kind) {
        case Kind::Reply:
            if (block == kConnect || (block >= 0 && ReplyTypeOf(block) == 0)) {
                return "there is no request here that has a reply; use \"send\"";
            }
            return TakeObject(rest, step.value);
        case Kind::Send: {
            const std::optional<int> type = TypeIn(TakeWord(rest));
            step.nType = type.value_or(0);
            return type ? TakeObject(rest, step.value) : "\"send\" needs a message type and a JSON object";
        }
        case Kind::Payload:
            step.strText = rest;
            return {};
        case Kind::Bytes:
            return ParseHex(rest, step.strText) ? std::string() : "these are not pairs of hexadecimal digits";
        case Kind::Wait:
        case Kind::Exit:
            return TakeNumber(rest, step.nNumber);
        default:
            return rest.empty() ? std::string() : "nothing may follow this word: " + std::string(rest);
    }
}

std::string TakeStep(std::string_view text, int block, HelperStep& step) {
    std::string_view rest = text;
    std::string_view word = TakeWord(rest);
    if (std::string wrong = TakePrefixes(rest, word, step); !wrong.empty()) {
        return wrong;
    }
    const auto* const found = std::ranges::find(kSteps, word, &StepName::name);
    if (found == kSteps.end()) {
        return "no step is called \"" + std::string(word) + "\"";
    }
    step.kind = found->kind;
    if ((step.cut || step.magic) && !HasFrame(step.kind)) {
        return "\"" + std::string(word) + "\" sends no frame to cut or to give another first word";
    }
    return TakeArguments(rest, block, step);
}

const HelperSteps& NthOf(const std::vector<HelperSteps>& blocks, std::size_t nth) {
    return blocks[std::min(nth, blocks.size() - 1)];
}

class CScenarioReader {
  public:
    explicit CScenarioReader(HelperScenario& scenario) : m_scenario(scenario) {}

    // An empty text, or what is wrong with the line.
    std::string Take(const ScriptLine& line) {
        std::string_view rest = line.strText;
        const std::string_view word = TakeWord(rest);
        if (word == "on") {
            return BeginBlock(rest);
        }
        if (word == "exchange") {
            const bool taken = !rest.empty() && m_scenario.strExchange.empty();
            m_scenario.strExchange = rest;
            return taken ? std::string() : "\"exchange\" needs a file, and may be given once";
        }
        if (m_pSteps == nullptr) {
            return "a step must follow \"on connect\", \"on TYPE\" or \"on other\"";
        }
        return TakeStep(line.strText, m_nBlock, m_pSteps->emplace_back());
    }

    bool BlockIsEmpty() const { return m_pSteps != nullptr && m_pSteps->empty(); }
    bool HasConnect() const { return m_bConnect; }

  private:
    std::string BeginBlock(std::string_view rest) {
        if (BlockIsEmpty()) {
            return "the block above has no step; \"silence\" is one";
        }
        m_nBlock = BlockIn(rest);
        if (m_nBlock == kNoBlock) {
            return "\"on\" needs \"connect\", a message type or \"other\"";
        }
        if (m_nBlock == kConnect) {
            m_pSteps = &m_scenario.connect;
            return std::exchange(m_bConnect, true) ? "\"on connect\" is given twice" : std::string();
        }
        m_pSteps =
            m_nBlock == kOthers ? &m_scenario.others.emplace_back() : &m_scenario.requests[m_nBlock].emplace_back();
        return {};
    }

    HelperScenario& m_scenario;
    HelperSteps* m_pSteps = nullptr;
    int m_nBlock = kNoBlock;
    bool m_bConnect = false;
};

}  // namespace

bool ReadHelperScenario(std::string_view text, HelperScenario& scenario, std::string& problem) {
    scenario = HelperScenario();
    CScenarioReader reader(scenario);
    ScriptLine last;
    for (const ScriptLine& line : ReadScriptLines(text)) {
        if (const std::string wrong = reader.Take(line); !wrong.empty()) {
            problem = LineProblem(line, wrong);
            return false;
        }
        last = line;
    }
    if (reader.BlockIsEmpty()) {
        problem = LineProblem(last, "the block has no step; \"silence\" is one");
        return false;
    }
    if (!reader.HasConnect()) {
        scenario.connect.push_back({.kind = Kind::Notice});
    }
    return true;
}

std::string StepBytes(const HelperStep& step, const ScriptedRequest& request) {
    std::string payload;
    switch (step.kind) {
        case Kind::Notice:
            payload = kReadyNotice;
            break;
        case Kind::Reply: {
            const int type = ReplyTypeOf(request.nType);
            if (type == 0) {
                return {};  // a block for others may meet a request that has none
            }
            payload = ScriptedReply(type, request, step.value);
            break;
        }
        case Kind::Send:
            payload = WriteEnvelope(step.nType, step.value);
            break;
        case Kind::Payload:
            payload = step.strText;
            break;
        case Kind::Bytes:
            return step.strText;
        default:
            return {};
    }
    const std::string frame = BuildFrame(payload, step.magic.value_or(PIPE_FRAME_MAGIC));
    return frame.substr(0, step.cut.value_or(static_cast<std::uint32_t>(frame.size())));
}

HelperSteps CHelperPlay::OnRequest(const ScriptedRequest& request) {
    const auto found = m_scenario.requests.find(request.nType);
    if (found != m_scenario.requests.end()) {
        return NthOf(found->second, m_seen[request.nType]++);
    }
    if (!m_exchange.frames.empty()) {
        HelperSteps steps = FromExchange(request);
        if (!steps.empty()) {
            return steps;
        }
    }
    if (!m_scenario.others.empty()) {
        return NthOf(m_scenario.others, m_nOthers++);
    }
    if (request.nType == kExitRequest) {
        return {{.kind = Kind::Exit}};
    }
    return {};
}

HelperSteps CHelperPlay::FromExchange(const ScriptedRequest& request) {
    const auto& frames = m_exchange.frames;
    for (std::size_t at = m_nAt; at < frames.size(); ++at) {
        if (frames[at].direction != FrameDirection::Sent ||
            ReadScriptedRequest(frames[at].payload).nType != request.nType) {
            continue;
        }
        HelperSteps steps;
        for (++at; at < frames.size() && frames[at].direction == FrameDirection::Received; ++at) {
            ScriptedRequest recorded = ReadScriptedRequest(frames[at].payload);
            if (recorded.content.isObject() && request.content.isObject() && request.content.isMember(kCallKey)) {
                // The reply of a call carries the number of this one.
                recorded.content[kCallKey] = request.content[kCallKey];
                steps.push_back({.kind = Kind::Send, .nType = recorded.nType, .value = recorded.content});
            } else {
                steps.push_back({.kind = Kind::Payload, .strText = frames[at].payload});
            }
        }
        m_nAt = at;
        return steps;
    }
    return {};
}
