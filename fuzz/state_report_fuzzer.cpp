// Any text that the YYB SDK may report settles at most one task of its package, with one of two words, and no task that
// was never stored; the identity answer gives two texts or nothing.
#include <cstddef>
#include <cstdint>
#include <string>

#include <json/value.h>

#include "fuzz/fuzz_check.h"
#include "fuzz/settled_throw.h"
#include "open/yyb/qimei.h"
#include "open/yyb/yyb_tasks.h"

namespace {

using namespace YYB_API_CLIENT;

class CCheckingSettler final : public IYybSettler {
  public:
    void Settle(const std::string& pkgname, const char* word) override {
        FUZZ_CHECK(!pkgname.empty() && !m_bSettled);
        m_bSettled = true;
        const std::string text = word;
        FUZZ_CHECK(text == "1" || text == "LaunchError");
        // Two tasks of this package and one of another: the first of the two takes the word, once.
        m_tasks.Store("b", {pkgname, {}, {}});
        m_tasks.Store("a", {pkgname, {}, {}});
        m_tasks.Store("0", {pkgname + "x", {}, {}});
        FUZZ_CHECK(m_tasks.Settle(pkgname, text));
        const auto poll = [&](const char* taskId) {
            std::string result;
            const YybPoll ended = m_tasks.Poll(
                taskId, false, true, [] { return true; }, result);
            FUZZ_CHECK((ended == YybPoll::Answered) == (result == text));
            return ended;
        };
        FUZZ_CHECK(poll("b") == YybPoll::Waiting && poll("0") == YybPoll::Waiting);
        FUZZ_CHECK(poll("a") == YybPoll::Answered && poll("a") == YybPoll::Unknown);
    }

    bool Settled() const { return m_bSettled; }

  private:
    CYybTasks m_tasks;
    bool m_bSettled = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const Json::Value report = ObjectIn(text.c_str());
    const Json::Value& status = JsonMember(report, "status");
    const bool bLaunch = status == "CompleteLaunch" || status == "LaunchError";
    CCheckingSettler settler;
    if (DoneOrSettled(!ConvertsToText(status) || (bLaunch && !ConvertsToText(JsonMember(report, "pkgname"))),
                      [&] { OnDownloadStatus(settler, text.c_str(), 0); })) {
        FUZZ_CHECK(settler.Settled() == (bLaunch && !JsonToText(JsonMember(report, "pkgname")).empty()));
    }
    const Json::Value answer = ObjectIn(text);
    QimeiPair pair{"kept", "kept"};
    bool bRead = false;
    if (DoneOrSettled(!AllConvertToText(answer, {"qimei32", "qimei36"}),
                      [&] { bRead = ParseQimeiAnswer(text, pair); })) {
        FUZZ_CHECK(bRead || (pair == QimeiPair{"kept", "kept"}));
    }
    return 0;
}
