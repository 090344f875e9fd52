// The requests of one client that have replies: their turns, their numbers, their limits and their ends.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include <json/value.h>

#include "client/caller_result.h"
#include "client/deadline.h"
#include "client/native_lock.h"
#include "foundation/handle.h"
#include "foundation/thread_annotations.h"

// What a request has to do with others than those of its line. Both are called with the line's lock held, and do not
// wait.
struct RequestRules {
    // Whether it may be sent; it is asked again and again until then. Empty: at once.
    std::function<bool()> mayBegin;
    // Told of the end, of which it gives the result. Empty: as it came.
    std::function<CallerResult(CallerResult result, const Json::Value& reply)> ends;
};

// One request. Any thread. It begins under way and ends once.
class CRequest {
  public:
    using Done = std::function<void(const CRequest& request)>;

    // done, when there is one, is called once, after the end, on a thread of the line.
    CRequest(int nType, Json::Value content, std::uint32_t timeoutMs, RequestRules rules, Done done = {})
        : m_nType(nType),
          m_deadline(timeoutMs),
          m_content(std::move(content)),
          m_rules(std::move(rules)),
          m_done(std::move(done)) {}

    int Type() const { return m_nType; }
    const CDeadline& Deadline() const { return m_deadline; }

    // Whether it has ended, after a wait of up to timeoutMs.
    bool WaitForEnd(std::uint32_t timeoutMs) const;
    // Signalled once it has ended; closed with the request. Null, with the reason in GetLastError, when the system
    // makes none.
    HANDLE EndEvent();

    // After the end: the result, with Ok the reply's content without the call's number, otherwise the reason, which may
    // be empty.
    CallerResult Result() const { return m_result; }
    const Json::Value& Reply() const { return m_reply; }
    const std::string& Reason() const { return m_strReason; }

  private:
    friend class CRequestLine;
    // The first end counts; false for a later one.
    bool End(CallerResult result, Json::Value reply, std::string reason);

    const int m_nType;
    const CDeadline m_deadline;
    Json::Value m_content;  // the line's
    const RequestRules m_rules;
    const Done m_done;

    // The last three are final after the end, and read without the lock then.
    mutable CNativeLock m_lock;
    mutable CNativeCondition m_changed;
    CKernelHandle m_hEnd NXL_GUARDED_BY(m_lock);
    bool m_bEnded NXL_GUARDED_BY(m_lock) = false;
    CallerResult m_result = CallerResult::Ok;
    Json::Value m_reply;
    std::string m_strReason;
};

// Sends requests in the order in which they began, one of a type at a time: a further one waits for its turn. A reply
// belongs to the request with its number. Any thread; no function but Wait, Close and the destructor waits.
//
// A thread of the line sends. Another calls the done of requests that have ended; it exists once a request began for
// which no thread waits. Each of them ends requests at their limits. So a helper that does not read does not keep a
// limit from being held, and a slow done does not, unless both happen at a time.
class CRequestLine {
  public:
    // Sends one envelope within its limit.
    using Sender = std::function<CallerResult(int nType, Json::Value content, std::uint32_t timeoutMs)>;

    explicit CRequestLine(Sender send) : m_send(std::move(send)) {}
    ~CRequestLine() { Close(); }
    CRequestLine(const CRequestLine&) = delete;
    CRequestLine& operator=(const CRequestLine&) = delete;

    // Ok: the request is under way. Anything else: it is not, and its done is not called. waited: somebody calls Wait
    // for it, and it has no done.
    CallerResult Begin(const std::shared_ptr<CRequest>& request, bool waited);
    // Waits for the end, which comes at the request's limit at the latest. Begun with waited.
    void Wait(CRequest& request);
    // Ends a request that is under way with Cancelled. One that was not sent yet is never sent; the reply of one that
    // was is dropped.
    void Cancel(CRequest& request);

    // A reply to the request of this number. False when no request of this number waits for a reply of this type.
    bool TakeReply(std::int64_t number, int nType, Json::Value& content);
    // The connection is lost: what was sent is never answered.
    void Lose();

    // Ends everything that is under way with Closed; nothing begins any more. May be called inside a done.
    void Shutdown();
    // Shutdown, and waits until every done has returned. Not inside a done.
    void Close();

  private:
    using Pointer = std::shared_ptr<CRequest>;

    static DWORD WINAPI SendEntry(void* self);
    static DWORD WINAPI TellEntry(void* self);
    void SendAll();
    void TellAll();

    bool StartThread(CKernelHandle& thread, LPTHREAD_START_ROUTINE entry) NXL_REQUIRES(m_lock);
    // heldUp: by something that does not wake the line.
    std::deque<Pointer>::iterator NextToSend(bool& heldUp) NXL_REQUIRES(m_lock);
    void End(Pointer request, CallerResult result, Json::Value reply = {}, std::string reason = {})
        NXL_REQUIRES(m_lock);
    void EndIfUnderWay(CRequest& request, CallerResult result, std::string reason) NXL_REQUIRES(m_lock);
    // Ends those whose limit is over and tells how long it is to the next limit.
    DWORD EndOverdue() NXL_REQUIRES(m_lock);

    const Sender m_send;

    CNativeLock m_lock;
    CNativeCondition m_changed;
    std::deque<Pointer> m_waiting NXL_GUARDED_BY(m_lock);               // for their turns
    std::map<std::int64_t, Pointer> m_inFlight NXL_GUARDED_BY(m_lock);  // by their numbers; being sent, or sent
    std::deque<Pointer> m_ended NXL_GUARDED_BY(m_lock);                 // whose done is to be called
    std::int64_t m_nLastNumber NXL_GUARDED_BY(m_lock) = 0;
    bool m_bClosed NXL_GUARDED_BY(m_lock) = false;
    CKernelHandle m_hSendThread NXL_GUARDED_BY(m_lock);
    CKernelHandle m_hTellThread NXL_GUARDED_BY(m_lock);
};
