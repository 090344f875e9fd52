#include "open/probes/login_rules.h"

#include "foundation/log.h"

namespace {

std::uint32_t LittleEndian(const LoginMark& mark, std::size_t at) {
    return mark[at] | (std::uint32_t{mark[at + 1]} << 8) | (std::uint32_t{mark[at + 2]} << 16) |
           (std::uint32_t{mark[at + 3]} << 24);
}

}  // namespace

bool IsLoginMarkFresh(const LoginMark& mark, std::uint64_t now) {
    const std::uint32_t state = LittleEndian(mark, 0);
    const std::uint64_t stamp = LittleEndian(mark, 4) | (std::uint64_t{LittleEndian(mark, 8)} << 32);
    return state != 0 && now - stamp <= kLoginMarkAgeLimit;
}

bool IsLoginCacheFresh(const LoginCache& cache, std::uint32_t now) {
    return cache.ls == 1 && now - cache.lt <= kLoginCacheAgeLimit;
}

std::wstring InstallDirOf(const std::wstring& uninstallString) {
    return uninstallString.substr(0, uninstallString.rfind(L'\\'));
}

bool DecideLogin(ILoginFacts& facts) {
    if (!facts.IsInstalled()) {
        NXL_LOG(L"---CheckWxMiniProgramIntalled---- 未安装");
        facts.WriteCache({});
        return false;
    }
    LoginMark mark = {};
    if (facts.ReadMark(mark) && IsLoginMarkFresh(mark, facts.FileTimeNow())) {
        return true;
    }
    bool run = false;
    bool login = false;
    facts.GetRunState(run, login);
    NXL_LOG(L"---CheckWxMiniProgramIntalled---- run [%d], login [%d]", run, login);
    const std::uint32_t now = facts.SecondsNow();
    if (!run) {
        return IsLoginCacheFresh(facts.ReadCache(), now);
    }
    // A running application without a login takes a young cache back: callers rely on it. Held by
    // ARunningApplicationWithoutALoginClearsTheCache.
    facts.WriteCache(login ? LoginCache{now, 1} : LoginCache{});
    return login;
}
