// What a crashed helper leaves when the registry asks for it.
#include <cstring>
#include <optional>

#include <dbghelp.h>

#include "tests/e2e/end_to_end.h"
#include "tests/support/private_registry.h"

namespace {

constexpr DWORD kAccessViolation = 0xC0000005;
constexpr DWORD kUncaughtException = 3;
// Writing a dump under Wine takes a busy machine half a minute. The helper waits two for it.
constexpr std::uint32_t kCrashMs = 150000;

std::vector<std::uint8_t> One() {
    return {1, 0, 0, 0};
}

class Crash : public CEndToEnd {
  protected:
    void TearDown() override {
        DeleteFileW(DumpPath().c_str());
        CEndToEnd::TearDown();
    }

    void StartAndCrash() {
        m_sandbox.LayOcean(L"good");
        m_sandbox.SetOcean(L"crash", L"1");
        ASSERT_TRUE(m_sandbox.Ready());
        StartHelper();
        Json::Value content = ServiceContent(m_strService);
        content["p1"] = JsonOf(MiniAppOpen("t"));
        ASSERT_EQ(m_caller->Send(Number(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN), content, kLongMs),
                  CallerResult::Ok);
        EXPECT_EQ(m_helper.WaitForEnd(kCrashMs), kAccessViolation) << Log().Tail();
        EXPECT_NE(m_sandbox.OceanCalls().find("crashing"), std::string::npos) << m_sandbox.OceanCalls();
    }

    std::wstring DumpPath() const { return LR"(C:\temp\zolt\Nexlet)" + std::to_wstring(m_helper.Id()) + L".dmp"; }

    // The bytes of the dump; empty without one.
    std::string Dump() const {
        const CFileHandle file(
            CreateFileW(DumpPath().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
        LARGE_INTEGER size = {};
        if (!file || GetFileSizeEx(file.get(), &size) == FALSE) {
            return {};
        }
        std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
        DWORD read = 0;
        EXPECT_NE(ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr), FALSE);
        EXPECT_EQ(read, bytes.size());
        return bytes;
    }

    template <typename Record>
    static std::optional<Record> At(const std::string& bytes, std::size_t offset) {
        Record record = {};
        if (offset > bytes.size() || bytes.size() - offset < sizeof(record)) {
            return std::nullopt;
        }
        std::memcpy(&record, bytes.data() + offset, sizeof(record));
        return record;
    }

    // Where a stream of the dump is and how long it is, by the directory after the header.
    static std::optional<MINIDUMP_LOCATION_DESCRIPTOR> Stream(const std::string& dump, ULONG32 type) {
        const auto header = At<MINIDUMP_HEADER>(dump, 0);
        for (ULONG32 i = 0; header && i < header->NumberOfStreams; ++i) {
            const auto entry =
                At<MINIDUMP_DIRECTORY>(dump, header->StreamDirectoryRva + i * sizeof(MINIDUMP_DIRECTORY));
            if (entry && entry->StreamType == type) {
                return entry->Location;
            }
        }
        return std::nullopt;
    }

    static void ExpectWholeDump(const std::string& dump, DWORD code) {
        const auto header = At<MINIDUMP_HEADER>(dump, 0);
        ASSERT_TRUE(header.has_value()) << dump.size();
        EXPECT_EQ(dump.substr(0, 4), "MDMP");
        EXPECT_EQ(header->Version & 0xFFFF, static_cast<ULONG32>(MINIDUMP_VERSION));
        EXPECT_TRUE(Stream(dump, ModuleListStream).has_value());
        const auto threads = Stream(dump, ThreadListStream);
        ASSERT_TRUE(threads.has_value());
        const auto exceptions = Stream(dump, ExceptionStream);
        ASSERT_TRUE(exceptions.has_value());
        const auto exception = At<MINIDUMP_EXCEPTION_STREAM>(dump, exceptions->Rva);
        ASSERT_TRUE(exception.has_value());
        EXPECT_EQ(exception->ExceptionRecord.ExceptionCode, code);
        // The thread at fault is among those that the dump describes, and has its registers.
        EXPECT_GT(exception->ThreadContext.DataSize, 0u);
        const auto count = At<ULONG32>(dump, threads->Rva);
        ASSERT_TRUE(count.has_value());
        bool found = false;
        for (ULONG32 i = 0; i < *count; ++i) {
            const auto thread = At<MINIDUMP_THREAD>(dump, threads->Rva + sizeof(ULONG32) + i * sizeof(MINIDUMP_THREAD));
            found = found || (thread && thread->ThreadId == exception->ThreadId);
        }
        EXPECT_TRUE(found) << exception->ThreadId;
    }
};

TEST_F(Crash, FaultLeavesADumpForWhoAskedForIt) {
    const CRegistryValue asked(HKEY_CURRENT_USER, LR"(Software\Ovrin\zolt)", L"debug_dump", 0, REG_DWORD, One());
    ASSERT_NO_FATAL_FAILURE(StartAndCrash());
    ExpectWholeDump(Dump(), kAccessViolation);
}

TEST_F(Crash, FaultLeavesNothingWithoutTheSwitch) {
    ASSERT_NO_FATAL_FAILURE(StartAndCrash());
    EXPECT_EQ(Dump(), "");
}

TEST_F(Crash, UncaughtExceptionLeavesADumpToo) {
    const CRegistryValue asked(HKEY_CURRENT_USER, LR"(Software\Ovrin\zolt)", L"debug_dump", 0, REG_DWORD, One());
    StartBare(L"/from:" + m_strMark + L" /service_id:svc /type:abc");
    EXPECT_EQ(m_helper.WaitForEnd(kCrashMs), kUncaughtException);
    ExpectWholeDump(Dump(), kUncaughtException);
}

TEST_F(Crash, RunWithoutACrashLeavesNoDump) {
    const CRegistryValue asked(HKEY_CURRENT_USER, LR"(Software\Ovrin\zolt)", L"debug_dump", 0, REG_DWORD, One());
    StartHelper();
    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
    EXPECT_EQ(Dump(), "");
}

}  // namespace
