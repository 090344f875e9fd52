// The three threads of an instance. They hold copies and the instance's stop, never the instance: they write what they
// find into the host's parameter table, by which the host decides when the instance ends.
//
// A thread that is told to stop ends at its next step without a log line: it neither changes the table nor asks nor
// fetches any more.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "foundation/shared_json.h"
#include "service/instance_param.h"
#include "service/service_host.h"
#include "service/stop_token.h"

// From the start to the first look at the caller's pipe, and between two looks.
inline constexpr std::uint32_t kPipeWatchPeriodMs = 60000;

// What the threads need of their surroundings. Any thread.
class IWatcherEdge : public IStopToken {
  public:
    // True when the whole time has passed, false as soon as a stop is requested.
    virtual bool Wait(std::uint32_t nMilliseconds) = 0;
    virtual bool DoesNamedPipeExist(const std::wstring& strPipeName) = 0;
    // Fetches a URL and drops what comes back; returns when it is done, also after a failure.
    virtual void Fetch(const std::wstring& strUrl) = 0;

  protected:
    ~IWatcherEdge() = default;
};

// Asks every kDelayCheckPeriodMs for the state of a started open until it has succeeded or param's nInterval has
// passed, fetches the caller's URLs for the outcome and takes itself off the count of delayed tasks. The caller has
// raised that count.
//
// An nInterval below 1 and a question that is not a JSON object end the thread with the count still raised, so that the
// instance is never erased. Callers rely on it.
// Tests: DelayCheckWndThreadTest.AnIntervalBelow1KeepsTheCountRaised and .ABrokenTextKeepsTheCountRaised.
void DelayCheckWndThread(IWatcherEdge& edge, IServiceHost& host, std::unique_ptr<InstanceParam> param,
                         const CSharedJson& question);

// Looks every kPipeWatchPeriodMs whether the caller's pipe exists and marks the instance when it is gone.
void CheckzoltDLLThread(IWatcherEdge& edge, IServiceHost& host, const std::string& serviceId);

// Marks the instance for destruction when the table's nInterval has passed. A negative one counts as the unsigned
// number of the same bits.
void DelayedDestroyThread(IWatcherEdge& edge, IServiceHost& host, const std::string& serviceId);

// What Fetch does with an answer: a line in the log, and the body is dropped. An HttpTransferCallback: 1 when there is
// no body, else 0.
std::uint32_t HttpResponseCallback(std::uint32_t status, const void* data, std::uint32_t size, void* context);
