// Takes the steps of a script.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

#include "client/include/nexlet_client.hpp"
#include "client/native_lock.h"
#include "nexctl/doctor/look.h"
#include "nexctl/exit_code.h"
#include "nexctl/helpers/helper_list.h"
#include "nexctl/log/log_choice.h"
#include "nexctl/runner/script.h"
#include "tooling/exchange.h"

class CRunner {
  public:
    explicit CRunner(const Script& script);

    // Takes the steps in order and returns how the first ended that did not end with Ok. The steps after that one are
    // left out, but for exit while the helper is connected.
    ExitCode Run();

  private:
    ExitCode RunStep(const Step& step);
    // Serves, starts and waits for the helper, once.
    ExitCode Connect(const Step& step, bool print);
    // One line for people when --exe was given.
    void TellUnusedExe(const Step& step, const std::string& why);
    // The latest ready notice, which the start takes.
    void KeepNotice(std::string_view payload);
    ExitCode Start(const Step& step) { return Connect(step, /*print=*/true); }
    nexlet_result StartHelper(std::uint32_t timeoutMs);
    ExitCode Request(const Step& step);
    ExitCode Open(const Step& step);
    ExitCode Ask(const Step& step, int type, const Json::Value& content);
    // Prints what came as the reply of a request of this type.
    ExitCode Answered(const Step& step, int type, const Json::Value& reply);
    ExitCode Send(const Step& step);
    ExitCode Poll(const Step& step);
    ExitCode Listen(const Step& step);
    ExitCode Exit(const Step& step);
    ExitCode Host(const Step& step);
    ExitCode Demo(const Step& step);

    // Exchanges as files (runner_exchange.cpp).
    // Before anything is done: a file that is there is not to be overwritten, unless with --force.
    bool RecordsMayBeWritten() const;
    ExitCode Record(const Step& step);
    ExitCode Replay(const Step& step);
    ExitCode ReplayFrame(const Step& step, const ExchangeFrame& frame, Json::Value& differences);
    // Sends the request again while its answer is that the open is under way.
    ExitCode AskWhileLoading(const Step& step, const ExchangeFrame& request);
    // The next frame that came; it stays where it is unless it is taken.
    bool NextFrame(std::uint32_t timeoutMs, bool take, std::string& payload);
    ExitCode Show(const Step& step);
    // Writes what was recorded, if anything was asked to be. NotStarted when the file cannot be written.
    ExitCode SaveRecord(ExitCode code);

    // The helper's log (runner_log.cpp).
    ExitCode Log(const Step& step);
    ExitCode SwitchLog(const Step& step, const std::string& what);
    // The logs that the step means, the latest first; none when a line about that was printed.
    std::vector<LogFile> LogsFor(const Step& step);
    // What mark, service, --pid and --since of the step say.
    LogWish WishOf(const Step& step) const;
    ExitCode PruneLogs(const Step& step);
    ExitCode ShowLog(const Step& step, const std::vector<LogFile>& files);
    ExitCode FollowLog(const Step& step, const LogFile& file);
    ExitCode PageOfLog(const Step& step, const std::vector<LogFile>& files);
    // Why the latest frame that was sent got no answer, as words to put after a sentence.
    std::string RefusalInLog(std::uint32_t processId);
    // What the log of a process that has ended says last, as words to put after a sentence; empty without a log.
    static std::string LastWords(std::uint32_t processId);

    // The helpers that run (runner_helpers.cpp).
    ExitCode Helpers(const Step& step);
    ExitCode Stop(const Step& step);
    // What helpers leave (runner_clean.cpp).
    ExitCode Clean(const Step& step);
    // Those of the program's file name, of this run's mark alone if asked for.
    std::vector<RunningHelper> HelpersThatRun(bool ofMark) const;

    // What needs no helper (runner_tools.cpp).
    ExitCode Names(const Step& step);
    ExitCode Encode(const Step& step);
    ExitCode Decode(const Step& step);
    ExitCode Decrypt(const Step& step);
    ExitCode Doctor(const Step& step);
    ExitCode Beacons(const Step& step);
    // Mark, service and program that this run is about.
    DoctorSubject DoctorSubjectOfRun() const;
    // What to send to the people who are to help (runner_bundle.cpp).
    ExitCode Bundle(const Step& step);
    // A build against the rules of the wire (runner_conformance.cpp).
    ExitCode Conformance(const Step& step);
    // That of --exe, or nexlet.exe beside nexctl.exe.
    std::wstring ProgramPath() const;

    std::uint32_t TimeoutOf(const Step& step, std::uint32_t least = 0) const;
    // Prints the step's line and, when it did not end with Ok, a sentence for people.
    ExitCode Finish(const Step& step, ExitCode code, Json::Value line, std::string_view words = {});
    // line gets what is known of the failure.
    ExitCode Fail(const Step& step, nexlet_result result, Json::Value line = Json::Value(Json::objectValue));
    void OnFrame(FrameDirection direction, std::string_view payload);
    void ShowFrame(FrameDirection direction, std::string_view payload);
    void PrintLine(const Json::Value& line);

    const Script& m_script;
    std::string m_strMark;
    std::string m_strService;
    CNativeLock m_lockNotice;
    std::string m_strNotice NXL_GUARDED_BY(m_lockNotice);
    bool m_bConnected = false;
    bool m_bListening = false;
    bool m_bDemo = false;

    CNativeLock m_lockFrames;
    CNativeCondition m_framesChanged;
    std::string m_strSent NXL_GUARDED_BY(m_lockFrames);  // the latest frame of this side
    bool m_bReplaying NXL_GUARDED_BY(m_lockFrames) = false;
    std::deque<std::string> m_replayed NXL_GUARDED_BY(m_lockFrames);  // received and not yet compared
    std::string m_strRecordFile NXL_GUARDED_BY(m_lockFrames);         // empty: nothing is recorded
    bool m_bRecordOver NXL_GUARDED_BY(m_lockFrames) = false;          // the file may be there
    Exchange m_record NXL_GUARDED_BY(m_lockFrames);

    CNexletClient m_client;  // the last member: its threads use the others until it is closed
};
