// Takes the steps of a script.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include <json/value.h>

#include "client/caller.h"
#include "nexctl/exit_code.h"
#include "nexctl/script.h"

class CRunner {
  public:
    explicit CRunner(const Script& script) : m_script(script) {}

    // Takes the steps in order up to the first that does not end with Ok, and returns how that one ended.
    ExitCode Run();

  private:
    ExitCode RunStep(const Step& step);
    // Serves, starts and waits for the helper, once.
    ExitCode Connect(const Step& step, bool print);
    ExitCode Start(const Step& step);
    ExitCode Request(const Step& step, int type, Json::Value content, int replyType);
    ExitCode Poll(const Step& step);
    ExitCode Listen(const Step& step);
    ExitCode Exit(const Step& step);
    ExitCode Host(const Step& step);
    ExitCode Names();
    ExitCode Encode(const Step& step);
    ExitCode Decode(const Step& step);
    ExitCode Decrypt(const Step& step);
    ExitCode Demo(const Step& step);

    std::uint32_t TimeoutOf(const Step& step, std::uint32_t least = 0) const;
    // Prints the step's line and, when it did not end with Ok, a sentence for people.
    ExitCode Finish(const Step& step, ExitCode code, Json::Value line, std::string_view words = {});
    ExitCode Fail(const Step& step, CallerResult result);
    void ShowFrame(FrameDirection direction, std::string_view payload);
    void PrintLine(const Json::Value& line);

    const Script& m_script;
    std::unique_ptr<CCaller> m_caller;
    bool m_bConnected = false;
    bool m_bListening = false;
    bool m_bDemo = false;
    std::mutex m_lockOutput;  // frames are shown from the pipe's thread
};
