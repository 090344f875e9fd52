#include "client/request_line.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "client/caller.h"
#include "client/reason.h"
#include "ipc/protocol/request_table.h"

namespace {

// Between two looks at a turn that another line has.
constexpr DWORD kAgainMs = 20;

}  // namespace

bool CRequest::WaitForEnd(std::uint32_t timeoutMs) const {
    const CDeadline deadline(timeoutMs);
    CNativeHold lock(m_lock);
    while (!m_bEnded && !deadline.Passed()) {
        m_changed.Wait(lock, deadline.RemainingMs());
    }
    return m_bEnded;
}

HANDLE CRequest::EndEvent() {
    const CNativeGuard lock(m_lock);
    if (!m_hEnd) {
        m_hEnd.reset(CreateEventW(nullptr, /*bManualReset=*/TRUE, m_bEnded ? TRUE : FALSE, nullptr));
    }
    return m_hEnd.get();
}

bool CRequest::End(CallerResult result, Json::Value reply, std::string reason) {
    {
        const CNativeGuard lock(m_lock);
        if (m_bEnded) {
            return false;
        }
        m_result = result;
        m_reply.swap(reply);
        m_strReason.swap(reason);
        m_bEnded = true;
        if (m_hEnd) {
            SetEvent(m_hEnd.get());
        }
    }
    m_changed.NotifyAll();
    return true;
}

CallerResult CRequestLine::Begin(const Pointer& request, bool waited) {
    {
        const CNativeGuard lock(m_lock);
        if (m_bClosed) {
            return CallerResult::Closed;
        }
        if (!StartThread(m_hSendThread, SendEntry) || (!waited && !StartThread(m_hTellThread, TellEntry))) {
            return CallerResult::SystemError;
        }
        m_waiting.push_back(request);
    }
    m_changed.NotifyAll();
    return CallerResult::Ok;
}

bool CRequestLine::StartThread(CKernelHandle& thread, LPTHREAD_START_ROUTINE entry) {
    if (!thread) {
        thread.reset(CreateThread(nullptr, 0, entry, this, 0, nullptr));
    }
    return static_cast<bool>(thread);
}

void CRequestLine::Wait(CRequest& request) {
    if (!request.WaitForEnd(request.Deadline().RemainingMs())) {
        const CNativeGuard lock(m_lock);
        EndIfUnderWay(request, CallerResult::Timeout, {});
    }
    m_changed.NotifyAll();
}

void CRequestLine::Cancel(CRequest& request) {
    {
        const CNativeGuard lock(m_lock);
        EndIfUnderWay(request, CallerResult::Cancelled, {});
    }
    m_changed.NotifyAll();
}

bool CRequestLine::TakeReply(std::int64_t number, int nType, Json::Value& content) {
    {
        const CNativeGuard lock(m_lock);
        const auto found = m_inFlight.find(number);
        if (found == m_inFlight.end() || ReplyTypeOf(found->second->Type()) != nType) {
            return false;
        }
        const Pointer request = found->second;
        content.removeMember(kCallKey);
        End(request, CallerResult::Ok, std::move(content));
    }
    m_changed.NotifyAll();
    return true;
}

void CRequestLine::Lose() {
    {
        const CNativeGuard lock(m_lock);
        while (!m_inFlight.empty()) {
            End(m_inFlight.begin()->second, CallerResult::Gone);
        }
    }
    m_changed.NotifyAll();
}

void CRequestLine::Shutdown() {
    {
        const CNativeGuard lock(m_lock);
        m_bClosed = true;
        while (!m_inFlight.empty()) {
            End(m_inFlight.begin()->second, CallerResult::Closed);
        }
        while (!m_waiting.empty()) {
            End(m_waiting.front(), CallerResult::Closed);
        }
    }
    m_changed.NotifyAll();
}

void CRequestLine::Close() {
    Shutdown();
    CKernelHandle threads[2];
    {
        const CNativeGuard lock(m_lock);
        threads[0] = std::move(m_hSendThread);
        threads[1] = std::move(m_hTellThread);
    }
    for (const CKernelHandle& thread : threads) {
        if (thread) {
            WaitForSingleObject(thread.get(), INFINITE);
        }
    }
}

// By value: the containers may hold the last other pointer to it.
void CRequestLine::End(Pointer request, CallerResult result, Json::Value reply, std::string reason) {
    std::erase(m_waiting, request);
    const bool sent = std::erase_if(m_inFlight, [&](const auto& one) { return one.second == request; }) != 0;
    if (sent && request->m_rules.ends) {
        result = request->m_rules.ends(result, reply);
    }
    if (request->End(result, std::move(reply), std::move(reason)) && request->m_done) {
        m_ended.push_back(std::move(request));
    }
}

void CRequestLine::EndIfUnderWay(CRequest& request, CallerResult result, std::string reason) {
    const auto same = [&](const Pointer& one) { return one.get() == &request; };
    if (const auto waiting = std::find_if(m_waiting.begin(), m_waiting.end(), same); waiting != m_waiting.end()) {
        End(*waiting, result, {}, reason.empty() ? "it was not sent: its turn had not come" : std::move(reason));
        return;
    }
    const auto sent =
        std::find_if(m_inFlight.begin(), m_inFlight.end(), [&](const auto& one) { return same(one.second); });
    if (sent != m_inFlight.end()) {
        End(sent->second, result, {}, std::move(reason));
    }
}

std::deque<CRequestLine::Pointer>::iterator CRequestLine::NextToSend(bool& heldUp) {
    // The first of a type keeps the others of it waiting.
    std::set<int> types;
    for (const auto& one : m_inFlight) {
        types.insert(one.second->Type());
    }
    for (auto next = m_waiting.begin(); next != m_waiting.end(); ++next) {
        if (!types.insert((*next)->Type()).second) {
            continue;
        }
        if (!(*next)->m_rules.mayBegin || (*next)->m_rules.mayBegin()) {
            return next;
        }
        heldUp = true;
    }
    return m_waiting.end();
}

DWORD WINAPI CRequestLine::SendEntry(void* self) {
    static_cast<CRequestLine*>(self)->SendAll();
    return 0;
}

void CRequestLine::SendAll() {
    CNativeHold lock(m_lock);
    while (!m_bClosed) {
        // The other thread may be inside a done.
        const DWORD left = EndOverdue();
        bool heldUp = false;
        const auto next = NextToSend(heldUp);
        if (next == m_waiting.end()) {
            m_changed.Wait(lock, heldUp ? std::min(kAgainMs, left) : left);
            continue;
        }
        const Pointer request = std::move(*next);
        m_waiting.erase(next);
        const std::int64_t number = ++m_nLastNumber;
        // Before it is sent: the reply may be quicker than the return of the send.
        m_inFlight[number] = request;
        lock.Release();
        Json::Value content;
        content.swap(request->m_content);
        content[kCallKey] = Json::Value::Int64(number);
        SetReason({});
        const CallerResult result = m_send(request->Type(), std::move(content), request->Deadline().RemainingMs());
        std::string reason = TakeReason();
        lock.Take();
        if (result != CallerResult::Ok) {
            EndIfUnderWay(*request, result, std::move(reason));
            m_changed.NotifyAll();
        }
    }
}

DWORD CRequestLine::EndOverdue() {
    std::vector<Pointer> overdue;
    DWORD left = INFINITE;
    const auto look = [&](const Pointer& one) {
        if (one->Deadline().Passed()) {
            overdue.push_back(one);
        } else {
            left = std::min<DWORD>(left, one->Deadline().RemainingMs());
        }
    };
    std::for_each(m_waiting.begin(), m_waiting.end(), look);
    std::for_each(m_inFlight.begin(), m_inFlight.end(), [&](const auto& one) { look(one.second); });
    for (const Pointer& one : overdue) {
        EndIfUnderWay(*one, CallerResult::Timeout, {});
    }
    if (!overdue.empty()) {
        // Turns have come free, and there may be a done to call.
        m_changed.NotifyAll();
    }
    return left;
}

DWORD WINAPI CRequestLine::TellEntry(void* self) {
    static_cast<CRequestLine*>(self)->TellAll();
    return 0;
}

void CRequestLine::TellAll() {
    CNativeHold lock(m_lock);
    for (;;) {
        const DWORD left = EndOverdue();
        if (!m_ended.empty()) {
            const Pointer request = std::move(m_ended.front());
            m_ended.pop_front();
            lock.Release();
            request->m_done(*request);
            lock.Take();
        } else if (m_bClosed) {
            return;
        } else {
            m_changed.Wait(lock, left);
        }
    }
}
