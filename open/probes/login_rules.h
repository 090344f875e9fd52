// When a user counts as logged in to the mini-program application. ILoginFacts gives the facts.
#pragma once

#include <array>
#include <cstdint>
#include <string>

// The last login that was seen, kept in the registry. A pair of zeros means none.
struct LoginCache {
    std::uint32_t lt = 0;  // seconds since 1970, cut to 32 bits
    std::uint32_t ls = 0;  // 1 when that login is valid

    bool operator==(const LoginCache&) const = default;
};

// The mark of a login as the application leaves it: a state word, then a FILETIME, both in little-endian order and not
// aligned.
using LoginMark = std::array<std::uint8_t, 12>;

// How long a login counts without being seen again: 28 days.
inline constexpr std::uint64_t kLoginMarkAgeLimit = 0x1600A3910000;  // units of 100 ns
inline constexpr std::uint32_t kLoginCacheAgeLimit = 2419200;        // seconds

static_assert(kLoginMarkAgeLimit == kLoginCacheAgeLimit * 10'000'000ull);

// The mark is that of a login whose age at now (a FILETIME as one number) is at most the limit. A time stamp in the
// future makes a huge age.
bool IsLoginMarkFresh(const LoginMark& mark, std::uint64_t now);

// The cache holds a valid login of at most the limit. Seconds are counted modulo 2^32.
bool IsLoginCacheFresh(const LoginCache& cache, std::uint32_t now);

// The folder of an uninstall text: the part before its last backslash, or the whole text. Quotation marks stay.
std::wstring InstallDirOf(const std::wstring& uninstallString);

// What the login rule asks for and what it stores.
class ILoginFacts {
  public:
    virtual bool IsInstalled() = 0;
    // False when there is no mark of exactly its size.
    virtual bool ReadMark(LoginMark& mark) = 0;
    virtual std::uint64_t FileTimeNow() = 0;
    virtual std::uint32_t SecondsNow() = 0;
    // Walks the processes; both are false before the call.
    virtual void GetRunState(bool& run, bool& login) = 0;
    virtual LoginCache ReadCache() = 0;
    virtual void WriteCache(const LoginCache& cache) = 0;

  protected:
    ~ILoginFacts() = default;
};

// The login answer. The costly walk comes after the two cheap tests.
bool DecideLogin(ILoginFacts& facts);
