// The callers' side of the pipe benchmarks: many connections, driven by one thread through one completion port, the
// same code whatever answers.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "foundation/handle.h"
#include "tests/support/raw_pipe.h"

// Ends the program with what failed: a benchmark that went wrong measures nothing.
void Require(bool bGood, const char* what);

double NowMicroseconds();

// Used from one thread. Whatever goes wrong ends the program.
class CPipeLoad {
  public:
    CPipeLoad();

    // Takes over a served pipe whose client is connected. Each request on it is these bytes, gate is the event by which
    // the other side waits for its turn to write, or empty, and each reply must be exactly these bytes.
    void Add(CRawPipe pipe, CKernelHandle gate, std::string request, std::string reply);

    // Sends nRequests, nUnderWay of them at a time, each connection in its turn and with one under way at most. Adds
    // the time of each to latencies, in microseconds.
    void Run(int nRequests, std::size_t nUnderWay, std::vector<double>& latencies);

    std::size_t Connections() const { return m_vecEnds.size(); }
    // Closes the callers' ends.
    void Close();

  private:
    struct End {
        CRawPipe pipe;
        CKernelHandle gate;
        std::string request;
        std::string reply;
        OVERLAPPED read{};
        OVERLAPPED write{};
        char buffer[4096];
        std::size_t nGot = 0;
        double sent = 0;
    };

    void Read(End& end);
    void SendNext();

    CKernelHandle m_hPort;
    std::vector<std::unique_ptr<End>> m_vecEnds;
    std::deque<End*> m_idle;  // in the order in which they became so
};

// The p50, the p99 and the rate of one row, round by round.
struct LoadRounds {
    std::vector<double> p50;   // microseconds
    std::vector<double> p99;   // microseconds
    std::vector<double> rate;  // requests a second

    void RunOnce(CPipeLoad& load, int nRequests, std::size_t nUnderWay);
    void Record(const std::string& table, const std::string& row) const;
    // Prints the medians, and their ratios to those of floor.
    void Print(const char* row, const LoadRounds& floor) const;
};
