// What the binding of the YYB SDK decides without the system: the SDK's start text and when its user counts as logged
// in.
#pragma once

#include <cstdint>
#include <string>

#include "open/probes/login_rules.h"
#include "open/record/channel_config.h"

namespace YYB_API_CLIENT {

// Every backslash twice.
std::string DoubleBackslashes(const std::string& text);

// The JSON text that starts the SDK; directory has its backslashes doubled already. The writer escapes them once more,
// so that the text has four for each one of the path: the SDK relies on it. Held by
// EachBackslashOfThePathIsWrittenFourTimes.
std::string YybInitializeText(const ChannelConfig& channel, const std::string& directory);

// What the login rule asks for and what it stores.
class IYybLoginFacts {
  public:
    // Makes the SDK ready if that is possible.
    virtual void Prepare() = 0;
    virtual std::uint32_t SecondsNow() = 0;
    virtual bool CheckPcyyb() = 0;
    // A process of the YYB host runs.
    virtual bool IsRunning() = 0;
    // The SDK says that its user is logged in; false without an SDK.
    virtual bool HasAppletLaunchSuccess() = 0;
    virtual LoginCache ReadCache() = 0;
    virtual void WriteCache(const LoginCache& cache) = 0;

  protected:
    ~IYybLoginFacts() = default;
};

// The login answer.
bool DecideYybLogin(IYybLoginFacts& facts);

}  // namespace YYB_API_CLIENT
