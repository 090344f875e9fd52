// A small program with a defect, which shows what the search and the shortening of a failing seed are worth: threads
// move amounts between two accounts, each under a lock of its own, and two of them read an amount, leave the lock, and
// write it back. Most threads have nothing to do with the loss.
#include <string>
#include <vector>

#include "foundation/handle.h"
#include "foundation/thread.h"
#include "simulation/include/windows.h"
#include "simulation/worlds/world.h"

namespace simulation {
namespace {

constexpr std::uint32_t kMovers = 8;
constexpr int kMoves = 12;
constexpr int kAll = 1000;

struct Account {
    SRWLOCK lock = SRWLOCK_INIT;
    int nAmount = kAll / 2;

    void Add(int nMore) {
        AcquireSRWLockExclusive(&lock);
        nAmount += nMore;
        ReleaseSRWLockExclusive(&lock);
    }
    int Amount() {
        AcquireSRWLockExclusive(&lock);
        const int nFound = nAmount;
        ReleaseSRWLockExclusive(&lock);
        return nFound;
    }
    void Set(int nNew) {
        AcquireSRWLockExclusive(&lock);
        nAmount = nNew;
        ReleaseSRWLockExclusive(&lock);
    }
};

struct Bank {
    Account one;
    Account other;
    Account third;  // what the movers without the defect use
};

void Move(Bank& bank, bool bDefect) {
    for (int i = 0; i < kMoves; ++i) {
        if (bDefect && i == kMoves / 2) {
            bank.one.Set(bank.one.Amount() - 1);
            bank.other.Add(1);
        } else {
            bank.third.Add(1);
            bank.third.Add(-1);
        }
        Sleep(0);
    }
}

}  // namespace

void RunRaceWorld(CRandom random) {
    Bank bank;
    std::vector<CKernelHandle> movers;
    const std::uint64_t nDefect = random.Below(kMovers);
    for (std::uint32_t i = 0; i < kMovers; ++i) {
        const bool bDefect = i == nDefect || i == (nDefect + 3) % kMovers;
        if (IsOn("mover " + std::to_string(i), 1)) {
            movers.push_back(LaunchThread([&bank, bDefect] {
                Move(bank, bDefect);
                return 0U;
            }));
        }
    }
    for (const CKernelHandle& mover : movers) {
        WaitForSingleObject(mover.get(), INFINITE);
    }
    Hold(bank.one.Amount() + bank.other.Amount() == kAll, "an amount is lost");
}

}  // namespace simulation
