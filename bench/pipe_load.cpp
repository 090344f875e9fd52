#include "bench/pipe_load.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "bench/bench_record.h"

namespace {

constexpr DWORD kReplyLimitMs = 20000;

double Percentile(std::vector<double>& values, double share) {
    const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + at, values.end());
    return values[static_cast<std::size_t>(at)];
}

}  // namespace

void Require(bool bGood, const char* what) {
    if (!bGood) {
        std::fprintf(stderr, "%s failed, error %lu\n", what, GetLastError());
        std::exit(1);
    }
}

double NowMicroseconds() {
    static const double frequency = [] {
        LARGE_INTEGER value;
        QueryPerformanceFrequency(&value);
        return static_cast<double>(value.QuadPart);
    }();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) * 1e6 / frequency;
}

CPipeLoad::CPipeLoad() : m_hPort(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 0)) {
    Require(m_hPort.valid(), "making the callers' port");
}

void CPipeLoad::Add(CRawPipe pipe, CKernelHandle gate, std::string request, std::string reply) {
    auto pEnd = std::make_unique<End>();
    pEnd->pipe = std::move(pipe);
    pEnd->gate = std::move(gate);
    pEnd->request = std::move(request);
    pEnd->reply = std::move(reply);
    Require(
        CreateIoCompletionPort(pEnd->pipe.get(), m_hPort.get(), reinterpret_cast<ULONG_PTR>(pEnd.get()), 0) != nullptr,
        "adding a pipe to the callers' port");
    m_idle.push_back(pEnd.get());
    m_vecEnds.push_back(std::move(pEnd));
}

void CPipeLoad::Run(int nRequests, std::size_t nUnderWay, std::vector<double>& latencies) {
    int nSent = 0;
    for (; nSent < nRequests && nSent < static_cast<int>(std::min(nUnderWay, m_vecEnds.size())); ++nSent) {
        SendNext();
    }
    for (int nDone = 0; nDone < nRequests;) {
        DWORD nBytes = 0;
        ULONG_PTR key = 0;
        OVERLAPPED* pDone = nullptr;
        Require(GetQueuedCompletionStatus(m_hPort.get(), &nBytes, &key, &pDone, kReplyLimitMs), "the wait for a reply");
        End& end = *reinterpret_cast<End*>(key);
        if (pDone != &end.read) {
            continue;
        }
        end.nGot += nBytes;
        if (end.nGot < end.reply.size()) {
            Read(end);
            continue;
        }
        latencies.push_back(NowMicroseconds() - end.sent);
        Require(end.nGot == end.reply.size() && std::memcmp(end.buffer, end.reply.data(), end.nGot) == 0,
                "the comparison of a reply");
        ++nDone;
        m_idle.push_back(&end);
        if (nSent < nRequests) {
            SendNext();
            ++nSent;
        }
    }
}

void CPipeLoad::Close() {
    for (const auto& pEnd : m_vecEnds) {
        pEnd->pipe.Close();
    }
}

void CPipeLoad::Read(End& end) {
    end.read = {};
    Require(ReadFile(end.pipe.get(), end.buffer + end.nGot, static_cast<DWORD>(sizeof end.buffer - end.nGot), nullptr,
                     &end.read) ||
                GetLastError() == ERROR_IO_PENDING,
            "reading a reply");
}

void CPipeLoad::SendNext() {
    End& end = *m_idle.front();
    m_idle.pop_front();
    end.nGot = 0;
    end.sent = NowMicroseconds();
    Read(end);
    end.write = {};
    Require(
        WriteFile(end.pipe.get(), end.request.data(), static_cast<DWORD>(end.request.size()), nullptr, &end.write) ||
            GetLastError() == ERROR_IO_PENDING,
        "writing a request");
}

void LoadRounds::RunOnce(CPipeLoad& load, int nRequests, std::size_t nUnderWay) {
    std::vector<double> latencies;
    const double start = NowMicroseconds();
    load.Run(nRequests, nUnderWay, latencies);
    rate.push_back(nRequests * 1e6 / (NowMicroseconds() - start));
    p50.push_back(Percentile(latencies, 0.5));
    p99.push_back(Percentile(latencies, 0.99));
}

void LoadRounds::Record(const std::string& table, const std::string& row) const {
    RecordRounds(table, row, "p50", "us", p50);
    RecordRounds(table, row, "p99", "us", p99);
    RecordRounds(table, row, "rate", "a second", rate);
}

void LoadRounds::Print(const char* row, const LoadRounds& floor) const {
    const double middle = MedianOf(p50);
    const double late = MedianOf(p99);
    const double fast = MedianOf(rate);
    std::printf("  %-40s p50 %8.1f us %5.2f   p99 %8.1f us %5.2f   %7.0f a second %5.2f\n", row, middle,
                middle / MedianOf(floor.p50), late, late / MedianOf(floor.p99), fast, fast / MedianOf(floor.rate));
}
