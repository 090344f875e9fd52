#include "open/probes/login_rules.h"

#include "foundation/little_endian.h"
#include "foundation/log.h"

bool IsLoginMarkFresh(const LoginMark& mark, std::uint64_t now) {
    const auto state = LittleEndian<std::uint32_t>(mark.data());
    const auto stamp = LittleEndian<std::uint64_t>(mark.data() + 4);
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
