#include "ipc/transport/pipe_names.h"

#include <gtest/gtest.h>

namespace {

TEST(PipeNames, AServiceIsNamedByMarkAndId) {
    EXPECT_EQ(ServicePipeName(L"abc", "42"), L"\\\\.\\pipe\\NamedPipezoltService_INSTANCE_abc_42");
    EXPECT_EQ(ServiceEventName(L"abc", "42"), L"Global\\NamedEventzoltService_abc_42");
}

TEST(PipeNames, TheHostIsNamedByMarkAlone) {
    EXPECT_EQ(HostPipeName(L"abc"), L"\\\\.\\pipe\\NamedPipezoltService_INSTANCE_abc");
    EXPECT_EQ(HostEventName(L"abc"), L"Global\\NamedEventzoltService_abc");
}

TEST(PipeNames, EmptyPartsLeaveTheirSeparators) {
    EXPECT_EQ(ServicePipeName(L"", "42"), L"\\\\.\\pipe\\NamedPipezoltService_INSTANCE__42");
    EXPECT_EQ(HostPipeName(L""), L"\\\\.\\pipe\\NamedPipezoltService_INSTANCE_");
}

TEST(PipeNames, AnIdOutsideAsciiIsReadAsUtf8) {
    EXPECT_EQ(ServicePipeName(L"m", "\xE4\xB8\xAD"), L"\\\\.\\pipe\\NamedPipezoltService_INSTANCE_m_\u4E2D");
}

TEST(PipeNames, TheReadyEventHasOneName) {
    EXPECT_EQ(std::wstring(kReadyEventName),
              L"Global\\NamedEventzoltServiceInIt{C0303317-08D1-48EE-9235-58FD0CD59326}");
}

}  // namespace
