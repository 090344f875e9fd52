#include "simulation/shrink/attempts.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "simulation/shrink/shrink.h"

namespace simulation {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kProgressEvery = std::chrono::seconds(5);
constexpr unsigned kShortestLimit = 3;

std::string Slurp(const std::string& strFile) {
    std::ifstream file(strFile, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class CAttempts {
  public:
    CAttempts(const std::string& strFile, const RunAndKeep& runAndKeep)
        : m_runAndKeep(runAndKeep), m_strKept(strFile + ".kept"), m_strError(strFile + ".error") {}
    ~CAttempts() {
        for (const std::string& strFile : {m_strKept, m_strError}) {
            unlink(strFile.c_str());
        }
    }
    CAttempts(const CAttempts&) = delete;
    CAttempts& operator=(const CAttempts&) = delete;

    // What the run chose and how it failed; nothing when it did not.
    std::optional<Replay> Run(const Replay& candidate) {
        ++m_nRuns;
        unlink(m_strKept.c_str());
        std::fflush(nullptr);
        const Clock::time_point begin = Clock::now();
        const pid_t child = fork();
        if (child == 0) {
            RunHere(candidate);
        }
        int nStatus = 0;
        waitpid(child, &nStatus, 0);
        if (WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0) {
            return std::nullopt;
        }
        if (m_nLimit == 0) {
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin).count();
            m_nLimit = std::max(kShortestLimit, 4 * static_cast<unsigned>(seconds + 1));
        }
        std::optional<Replay> kept = ReadReplay(m_strKept);
        if (kept) {
            kept->strReport = ReportOf(Slurp(m_strError));
        }
        return kept && !kept->strReport.empty() ? kept : std::nullopt;
    }
    std::uint64_t Runs() const { return m_nRuns; }

  private:
    [[noreturn]] void RunHere(const Replay& candidate) const {
        const int nError = open(m_strError.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        const int nNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nError < 0 || nNull < 0 || dup2(nError, STDERR_FILENO) < 0 || dup2(nNull, STDOUT_FILENO) < 0) {
            std::_Exit(0);
        }
        // A run that does not come to its end is none that fails by the same report.
        alarm(m_nLimit);
        m_runAndKeep(candidate, m_strKept);
        std::_Exit(0);
    }

    const RunAndKeep& m_runAndKeep;
    const std::string m_strKept;
    const std::string m_strError;
    unsigned m_nLimit = 0;  // seconds; 0: none
    std::uint64_t m_nRuns = 0;
};

}  // namespace

bool ShrinkFile(const std::string& strFile, std::uint64_t nSeconds, const RunAndKeep& runAndKeep) {
    const std::optional<Replay> run = ReadReplay(strFile);
    if (!run) {
        std::printf("%s does not hold a run\n", strFile.c_str());
        return false;
    }
    CAttempts attempts(strFile, runAndKeep);
    const Clock::time_point half = Clock::now() + std::chrono::milliseconds(nSeconds * 500);
    const Clock::time_point end = Clock::now() + std::chrono::seconds(nSeconds);
    std::optional<Replay> failing = attempts.Run(*run);
    if (!failing) {
        std::printf("the run does not fail again when its choices are kept\n");
        return false;
    }
    const std::string strReport = failing->strReport;
    const std::size_t nChoices = failing->choices.size();
    const std::size_t nParts = failing->parts.size();
    Clock::time_point told = Clock::now();
    const auto attempt = [&](const Replay& candidate) {
        std::optional<Replay> result = attempts.Run(candidate);
        if (result && result->strReport != strReport) {
            result.reset();
        }
        if (Clock::now() - told > kProgressEvery) {
            told = Clock::now();
            std::printf("shortening: %zu choices, %zu parts, %llu runs\n", candidate.choices.size(),
                        candidate.parts.size(), static_cast<unsigned long long>(attempts.Runs()));
            std::fflush(stdout);
        }
        return result;
    };
    failing = attempt(*failing);
    if (!failing) {
        std::printf("the run does not fail again when its choices are followed\n");
        return false;
    }
    const Replay shorter =
        Shrink(std::move(*failing), {attempt, [&] { return Clock::now() < end; }, [&] { return Clock::now() < half; }});
    std::printf("%s: from %zu choices to %zu, from %zu parts to %zu, by %llu runs%s\n", strReport.c_str(), nChoices,
                shorter.choices.size(), nParts, shorter.parts.size(), static_cast<unsigned long long>(attempts.Runs()),
                Clock::now() < end ? "" : "; the time is over");
    std::fflush(stdout);
    return WriteReplay(strFile, shorter);
}

}  // namespace simulation
