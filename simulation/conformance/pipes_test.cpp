// Named pipes of bytes, their states and their errors.
#include "simulation/conformance/conformance.h"

#include <cstring>

namespace {

constexpr DWORD kServerMode = PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED;

// One overlapped operation with an event of its own.
struct Operation {
    Operation() : event(MakeEvent(TRUE, FALSE)) { overlapped.hEvent = event.get(); }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    // Its error once it is over, 0 for success.
    DWORD Error(HANDLE hPipe) {
        EXPECT_EQ(WaitForSingleObject(event.get(), kLongMs), WAIT_OBJECT_0);
        return ErrorOf(GetOverlappedResult(hPipe, &overlapped, &nBytes, FALSE));
    }

    CKernelHandle event;
    OVERLAPPED overlapped{};
    DWORD nBytes = 0;
};

class Pipes : public testing::Test {
  protected:
    static CFileHandle Serve(const std::wstring& strName, DWORD nInstances = PIPE_UNLIMITED_INSTANCES, DWORD nQuota = 0,
                             DWORD nMode = kServerMode) {
        return CFileHandle(CreateNamedPipeW(strName.c_str(), nMode, PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT,
                                            nInstances, nQuota, nQuota, 0, nullptr));
    }
    static CFileHandle Open(const std::wstring& strName) {
        return CFileHandle(CreateFileW(strName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_OVERLAPPED, nullptr));
    }
    // Starts a read or write: its error, 0 when it was done at once, 997 when it is pending.
    static DWORD Read(const CFileHandle& pipe, Operation& operation, char* pBuffer, DWORD nSize) {
        return ErrorOf(ReadFile(pipe.get(), pBuffer, nSize, nullptr, &operation.overlapped));
    }
    static DWORD Write(const CFileHandle& pipe, Operation& operation, const char* pBytes, DWORD nSize) {
        return ErrorOf(WriteFile(pipe.get(), pBytes, nSize, nullptr, &operation.overlapped));
    }
    static bool IsUnderWay(DWORD nError) { return nError == ERROR_SUCCESS || nError == ERROR_IO_PENDING; }

    // Both ends, connected.
    void Connect(DWORD nQuota = 0) {
        server = Serve(strName, 1, nQuota);
        ASSERT_TRUE(server) << GetLastError();
        client = Open(strName);
        ASSERT_TRUE(client) << GetLastError();
    }
    // What a whole read of the pipe gives, with its error.
    static std::string ReadAll(const CFileHandle& pipe, DWORD& nError) {
        char buffer[64];
        Operation operation;
        nError = Read(pipe, operation, buffer, sizeof buffer);
        if (!IsUnderWay(nError)) {
            return {};
        }
        nError = operation.Error(pipe.get());
        return nError == ERROR_SUCCESS ? std::string(buffer, operation.nBytes) : std::string();
    }

    const std::wstring strName = FreshName(L"\\\\.\\pipe\\NexletConformance");
    CFileHandle server;
    CFileHandle client;
};

TEST_F(Pipes, ANameThatNoProcessServesIsError2) {
    EXPECT_FALSE(Open(strName));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(Pipes, AllInstancesTakenIsError231) {
    Connect();
    EXPECT_FALSE(Open(strName));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PIPE_BUSY});
}

TEST_F(Pipes, NamesAreTheSameInAnyCase) {
    server = Serve(strName);
    std::wstring strOther = strName;
    for (wchar_t& letter : strOther) {
        letter = letter >= L'a' && letter <= L'z' ? static_cast<wchar_t>(letter - 32) : letter;
    }
    EXPECT_TRUE(Open(strOther)) << GetLastError();
}

TEST_F(Pipes, TheFirstInstanceDecidesHowManyThereMayBe) {
    const CFileHandle first = Serve(strName, 2);
    const CFileHandle second = Serve(strName, 2);
    EXPECT_TRUE(second);
    EXPECT_FALSE(Serve(strName, 2));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PIPE_BUSY});
}

TEST_F(Pipes, WhoWantsToBeTheFirstAndOnlyOneIsRefusedWhenItIsNot) {
    server = Serve(strName, 1);
    EXPECT_FALSE(Serve(strName, 1, 0, kServerMode | FILE_FLAG_FIRST_PIPE_INSTANCE));
    // Windows says 5. Wine 8 does not look at the flag, so there the number of instances refuses.
    const DWORD nError = GetLastError();
    EXPECT_TRUE(nError == ERROR_ACCESS_DENIED || nError == ERROR_PIPE_BUSY) << nError;
}

TEST_F(Pipes, APipeOfOneDirectionRefusesTheOtherWithError5) {
    for (const DWORD nAccess : {DWORD{PIPE_ACCESS_INBOUND}, DWORD{PIPE_ACCESS_OUTBOUND}}) {
        server = Serve(strName, 1, 0, nAccess | FILE_FLAG_OVERLAPPED);
        ASSERT_TRUE(server);
        EXPECT_FALSE(Open(strName));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
        server.reset();
    }
}

TEST_F(Pipes, ALookTellsHowMuchIsThereAndThatTheOtherEndHasGone) {
    Connect(/*nQuota=*/4096);
    Operation write;
    EXPECT_TRUE(IsUnderWay(Write(client, write, "abc", 3)));
    EXPECT_EQ(write.Error(client.get()), DWORD{ERROR_SUCCESS});
    DWORD nAvailable = 0;
    EXPECT_TRUE(PeekNamedPipe(server.get(), nullptr, 0, nullptr, &nAvailable, nullptr));
    EXPECT_EQ(nAvailable, 3u);
    server.reset();
    EXPECT_EQ(ErrorOf(PeekNamedPipe(client.get(), nullptr, 0, nullptr, nullptr, nullptr)), DWORD{ERROR_BROKEN_PIPE});
}

TEST_F(Pipes, AClientMayComeBeforeTheAcceptWhichIsThenError535) {
    Connect();
    Operation accept;
    EXPECT_EQ(ErrorOf(ConnectNamedPipe(server.get(), &accept.overlapped)), DWORD{ERROR_PIPE_CONNECTED});
    // The connection is as good as any.
    Operation write;
    EXPECT_TRUE(IsUnderWay(Write(client, write, "hello", 5)));
    DWORD nError = 0;
    EXPECT_EQ(ReadAll(server, nError), "hello");
    EXPECT_EQ(write.Error(client.get()), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(write.nBytes, 5u);
}

TEST_F(Pipes, AnAcceptWaitsForItsClient) {
    server = Serve(strName);
    Operation accept;
    EXPECT_EQ(ErrorOf(ConnectNamedPipe(server.get(), &accept.overlapped)), DWORD{ERROR_IO_PENDING});
    EXPECT_EQ(WaitBriefly(accept.event), DWORD{WAIT_TIMEOUT});
    client = Open(strName);
    EXPECT_TRUE(client);
    EXPECT_EQ(accept.Error(server.get()), DWORD{ERROR_SUCCESS});
}

TEST_F(Pipes, AClientThatCameAndWentBeforeTheAcceptIsError232) {
    Connect();
    client.reset();
    Operation accept;
    EXPECT_EQ(ErrorOf(ConnectNamedPipe(server.get(), &accept.overlapped)), DWORD{ERROR_NO_DATA});
    EXPECT_TRUE(DisconnectNamedPipe(server.get()));
    EXPECT_EQ(ErrorOf(ConnectNamedPipe(server.get(), &accept.overlapped)), DWORD{ERROR_IO_PENDING});
    client = Open(strName);
    EXPECT_EQ(accept.Error(server.get()), DWORD{ERROR_SUCCESS});
}

TEST_F(Pipes, ReadsAndWritesOfAListeningServerAreError536) {
    server = Serve(strName);
    char byte = 0;
    Operation operation;
    EXPECT_EQ(Read(server, operation, &byte, 1), DWORD{ERROR_PIPE_LISTENING});
    EXPECT_EQ(Write(server, operation, &byte, 1), DWORD{ERROR_PIPE_LISTENING});
}

TEST_F(Pipes, AReadTakesWhatIsThereAndPartsAreJoined) {
    Connect(/*nQuota=*/4096);
    Operation first;
    Operation second;
    EXPECT_TRUE(IsUnderWay(Write(client, first, "abc", 3)));
    EXPECT_TRUE(IsUnderWay(Write(client, second, "defg", 4)));
    EXPECT_EQ(first.Error(client.get()), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(second.Error(client.get()), DWORD{ERROR_SUCCESS});
    char buffer[5] = {};
    Operation read;
    EXPECT_TRUE(IsUnderWay(Read(server, read, buffer, 5)));
    EXPECT_EQ(read.Error(server.get()), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(std::string(buffer, read.nBytes), "abcde");
    DWORD nError = 0;
    EXPECT_EQ(ReadAll(server, nError), "fg");
}

TEST_F(Pipes, AReadThatWaitsTakesTheFirstWriteAlone) {
    Connect();
    char buffer[64];
    Operation read;
    EXPECT_EQ(Read(server, read, buffer, sizeof buffer), DWORD{ERROR_IO_PENDING});
    Operation write;
    EXPECT_TRUE(IsUnderWay(Write(client, write, "abc", 3)));
    EXPECT_EQ(read.Error(server.get()), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(read.nBytes, 3u);
    EXPECT_EQ(write.Error(client.get()), DWORD{ERROR_SUCCESS});
}

TEST_F(Pipes, WithoutRoomAWriteIsDoneWhenAllOfItIsRead) {
    Connect();
    Operation write;
    EXPECT_EQ(Write(client, write, "abcdef", 6), DWORD{ERROR_IO_PENDING});
    EXPECT_EQ(WaitBriefly(write.event), DWORD{WAIT_TIMEOUT});
    char buffer[4];
    Operation read;
    EXPECT_TRUE(IsUnderWay(Read(server, read, buffer, 4)));
    EXPECT_EQ(read.Error(server.get()), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(WaitBriefly(write.event), DWORD{WAIT_TIMEOUT});
    DWORD nError = 0;
    EXPECT_EQ(ReadAll(server, nError), "ef");
    EXPECT_EQ(write.Error(client.get()), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(write.nBytes, 6u);
}

TEST_F(Pipes, WithRoomAWriteIsDoneAtOnceAndOutlivesItsWriter) {
    Connect(/*nQuota=*/4096);
    Operation write;
    EXPECT_TRUE(IsUnderWay(Write(client, write, "abc", 3)));
    EXPECT_EQ(write.Error(client.get()), DWORD{ERROR_SUCCESS});
    client.reset();
    DWORD nError = 0;
    EXPECT_EQ(ReadAll(server, nError), "abc");
    EXPECT_EQ(ReadAll(server, nError), "");
    EXPECT_EQ(nError, DWORD{ERROR_BROKEN_PIPE});
}

TEST_F(Pipes, ManyWritesKeepTheirOrder) {
    Connect();
    std::string strAll;
    std::vector<std::unique_ptr<Operation>> operations;
    static const char kLetters[] = "abcdefghij";
    for (int i = 0; i < 10; ++i) {
        operations.push_back(std::make_unique<Operation>());
        EXPECT_TRUE(IsUnderWay(Write(server, *operations.back(), &kLetters[i], 1)));
    }
    while (strAll.size() < 10) {
        DWORD nError = 0;
        const std::string strPart = ReadAll(client, nError);
        ASSERT_EQ(nError, DWORD{ERROR_SUCCESS});
        strAll += strPart;
    }
    EXPECT_EQ(strAll, kLetters);
    for (const auto& pOperation : operations) {
        EXPECT_EQ(pOperation->Error(server.get()), DWORD{ERROR_SUCCESS});
    }
}

TEST_F(Pipes, WhenTheOtherEndHasGoneReadsAre109AndWrites232) {
    Connect();
    client.reset();
    char byte = 0;
    Operation operation;
    EXPECT_EQ(Read(server, operation, &byte, 1), DWORD{ERROR_BROKEN_PIPE});
    EXPECT_EQ(Write(server, operation, &byte, 1), DWORD{ERROR_NO_DATA});
}

TEST_F(Pipes, TheSameForAClientWhoseServerHasGone) {
    Connect();
    server.reset();
    char byte = 0;
    Operation operation;
    EXPECT_EQ(Read(client, operation, &byte, 1), DWORD{ERROR_BROKEN_PIPE});
    EXPECT_EQ(Write(client, operation, &byte, 1), DWORD{ERROR_NO_DATA});
    EXPECT_FALSE(Open(strName));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(Pipes, APendingReadEndsWith109WhenTheOtherEndCloses) {
    Connect();
    char byte = 0;
    Operation read;
    EXPECT_EQ(Read(server, read, &byte, 1), DWORD{ERROR_IO_PENDING});
    client.reset();
    EXPECT_EQ(read.Error(server.get()), DWORD{ERROR_BROKEN_PIPE});
}

TEST_F(Pipes, APendingWriteEndsWith109WhenTheOtherEndCloses) {
    Connect();
    Operation write;
    EXPECT_EQ(Write(server, write, "abc", 3), DWORD{ERROR_IO_PENDING});
    client.reset();
    EXPECT_EQ(write.Error(server.get()), DWORD{ERROR_BROKEN_PIPE});
}

TEST_F(Pipes, WhatIsPendingEndsWhenItsOwnHandleIsClosedWithOneOfTwoErrors) {
    Connect();
    char byte = 0;
    Operation read;
    Operation write;
    EXPECT_EQ(Read(server, read, &byte, 1), DWORD{ERROR_IO_PENDING});
    EXPECT_EQ(Write(server, write, "abc", 3), DWORD{ERROR_IO_PENDING});
    server.reset();
    // The handle is gone, and the operation's own event tells all the same. Wine says 109; 995 is documented.
    for (Operation* const pOperation : {&read, &write}) {
        EXPECT_EQ(WaitForSingleObject(pOperation->event.get(), kLongMs), WAIT_OBJECT_0);
        EXPECT_NE(pOperation->overlapped.Internal, 0u);
        EXPECT_NE(pOperation->overlapped.Internal, 0x103u);
    }
    // What was not taken is lost.
    DWORD nError = 0;
    EXPECT_EQ(ReadAll(client, nError), "");
    EXPECT_EQ(nError, DWORD{ERROR_BROKEN_PIPE});
}

TEST_F(Pipes, ADisconnectCutsTheClientOffWith233) {
    Connect(/*nQuota=*/4096);
    Operation write;
    EXPECT_TRUE(IsUnderWay(Write(server, write, "abc", 3)));
    char byte = 0;
    Operation serverRead;
    EXPECT_EQ(Read(server, serverRead, &byte, 1), DWORD{ERROR_IO_PENDING});
    EXPECT_TRUE(DisconnectNamedPipe(server.get()));
    EXPECT_EQ(serverRead.Error(server.get()), DWORD{ERROR_PIPE_NOT_CONNECTED});
    Operation operation;
    EXPECT_EQ(Read(client, operation, &byte, 1), DWORD{ERROR_PIPE_NOT_CONNECTED});
    EXPECT_EQ(Write(client, operation, &byte, 1), DWORD{ERROR_PIPE_NOT_CONNECTED});
    EXPECT_EQ(Read(server, operation, &byte, 1), DWORD{ERROR_PIPE_NOT_CONNECTED});
    EXPECT_EQ(Write(server, operation, &byte, 1), DWORD{ERROR_PIPE_NOT_CONNECTED});
}

TEST_F(Pipes, AnInstanceThatWasDisconnectedTakesClientsOnlyWhenItAcceptsAgain) {
    Connect();
    EXPECT_TRUE(DisconnectNamedPipe(server.get()));
    EXPECT_FALSE(Open(strName));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PIPE_BUSY});
    Operation accept;
    EXPECT_EQ(ErrorOf(ConnectNamedPipe(server.get(), &accept.overlapped)), DWORD{ERROR_IO_PENDING});
    const CFileHandle next = Open(strName);
    EXPECT_TRUE(next);
    EXPECT_EQ(accept.Error(server.get()), DWORD{ERROR_SUCCESS});
    // The end that was cut off does not disturb the one that came.
    client.reset();
    Operation write;
    EXPECT_TRUE(IsUnderWay(Write(server, write, "abc", 3)));
    DWORD nError = 0;
    EXPECT_EQ(ReadAll(next, nError), "abc");
}

TEST_F(Pipes, ACancelledReadOrAcceptEndsWith995AndTakesNothing) {
    Connect();
    char buffer[4] = {};
    Operation read;
    EXPECT_EQ(Read(server, read, buffer, 4), DWORD{ERROR_IO_PENDING});
    EXPECT_TRUE(CancelIoEx(server.get(), &read.overlapped));
    EXPECT_EQ(read.Error(server.get()), DWORD{ERROR_OPERATION_ABORTED});
    EXPECT_EQ(read.nBytes, 0u);
    Operation write;
    EXPECT_TRUE(IsUnderWay(Write(client, write, "abc", 3)));
    DWORD nError = 0;
    EXPECT_EQ(ReadAll(server, nError), "abc");

    const CFileHandle other = Serve(strName + L"other");
    Operation accept;
    EXPECT_EQ(ErrorOf(ConnectNamedPipe(other.get(), &accept.overlapped)), DWORD{ERROR_IO_PENDING});
    EXPECT_TRUE(CancelIoEx(other.get(), &accept.overlapped));
    EXPECT_EQ(accept.Error(other.get()), DWORD{ERROR_OPERATION_ABORTED});
}

TEST_F(Pipes, ACancelledWriteThatWasPartlyReadReportsNoBytes) {
    Connect();
    Operation write;
    EXPECT_EQ(Write(client, write, "abcdef", 6), DWORD{ERROR_IO_PENDING});
    char buffer[2];
    Operation read;
    EXPECT_TRUE(IsUnderWay(Read(server, read, buffer, 2)));
    EXPECT_EQ(read.Error(server.get()), DWORD{ERROR_SUCCESS});
    EXPECT_TRUE(CancelIoEx(client.get(), &write.overlapped));
    EXPECT_EQ(write.Error(client.get()), DWORD{ERROR_OPERATION_ABORTED});
    EXPECT_EQ(write.nBytes, 0u);
    // The rest does not come any more; the next write follows on the two bytes that did.
    Operation next;
    EXPECT_TRUE(IsUnderWay(Write(client, next, "xy", 2)));
    DWORD nError = 0;
    EXPECT_EQ(ReadAll(server, nError), "xy");
}

TEST_F(Pipes, NothingToCancelIsError1168) {
    Connect();
    Operation idle;
    EXPECT_EQ(ErrorOf(CancelIoEx(server.get(), &idle.overlapped)), DWORD{ERROR_NOT_FOUND});
}

TEST_F(Pipes, ACancelOfAllLeavesNothingPending) {
    Connect();
    char byte = 0;
    Operation read;
    Operation write;
    EXPECT_EQ(Read(server, read, &byte, 1), DWORD{ERROR_IO_PENDING});
    EXPECT_EQ(Write(server, write, "abc", 3), DWORD{ERROR_IO_PENDING});
    EXPECT_TRUE(CancelIoEx(server.get(), nullptr));
    EXPECT_EQ(read.Error(server.get()), DWORD{ERROR_OPERATION_ABORTED});
    EXPECT_EQ(write.Error(server.get()), DWORD{ERROR_OPERATION_ABORTED});
}

TEST_F(Pipes, AnOperationUnderWayIsError996AndItsEventIsResetFirst) {
    Connect();
    char byte = 0;
    Operation read;
    SetEvent(read.event.get());
    EXPECT_EQ(Read(server, read, &byte, 1), DWORD{ERROR_IO_PENDING});
    EXPECT_EQ(WaitBriefly(read.event), DWORD{WAIT_TIMEOUT});
    DWORD nBytes = 0;
    EXPECT_EQ(ErrorOf(GetOverlappedResult(server.get(), &read.overlapped, &nBytes, FALSE)), DWORD{ERROR_IO_INCOMPLETE});
    Operation write;
    EXPECT_TRUE(IsUnderWay(Write(client, write, "a", 1)));
    EXPECT_TRUE(GetOverlappedResult(server.get(), &read.overlapped, &nBytes, TRUE));
    EXPECT_EQ(nBytes, 1u);
    EXPECT_EQ(byte, 'a');
}

TEST_F(Pipes, TheClientKnowsWhoseProcessServes) {
    Connect();
    ULONG nProcess = 0;
    EXPECT_TRUE(GetNamedPipeServerProcessId(client.get(), &nProcess));
    EXPECT_EQ(nProcess, GetCurrentProcessId());
}

TEST_F(Pipes, TheServerKnowsWhoseProcessIsConnected) {
    Connect();
    ULONG nProcess = 0;
    ASSERT_TRUE(GetNamedPipeClientProcessId(server.get(), &nProcess)) << GetLastError();
    EXPECT_EQ(nProcess, GetCurrentProcessId());
}

TEST_F(Pipes, TheClientKnowsInWhichSessionItsServerIs) {
    Connect();
    DWORD nOwn = 0xFFFFFFFF;
    ASSERT_TRUE(ProcessIdToSessionId(GetCurrentProcessId(), &nOwn));
    ULONG nSession = 0xFFFFFFFE;
    ASSERT_TRUE(GetNamedPipeServerSessionId(client.get(), &nSession)) << GetLastError();
    EXPECT_EQ(nSession, nOwn);
}

TEST_F(Pipes, BothEndsTellTheSizesThatTheServerGave) {
    server.reset(CreateNamedPipeW(strName.c_str(), kServerMode, PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1,
                                  4096, 8192, 0, nullptr));
    ASSERT_TRUE(server) << GetLastError();
    client = Open(strName);
    ASSERT_TRUE(client) << GetLastError();
    for (const CFileHandle* const pEnd : {&server, &client}) {
        DWORD nFlags = 0;
        DWORD nOut = 0;
        DWORD nIn = 0;
        ASSERT_TRUE(GetNamedPipeInfo(pEnd->get(), &nFlags, &nOut, &nIn, nullptr)) << GetLastError();
        EXPECT_EQ(nFlags & PIPE_TYPE_MESSAGE, 0u);
        EXPECT_EQ(nOut, 4096u);
        EXPECT_EQ(nIn, 8192u);
    }
}

TEST_F(Pipes, AClientWaitsForAnInstanceThatListens) {
    EXPECT_FALSE(WaitNamedPipeW(strName.c_str(), kLongMs));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    server = Serve(strName, 1);
    EXPECT_TRUE(WaitNamedPipeW(strName.c_str(), kLongMs)) << GetLastError();
    client = Open(strName);
    EXPECT_FALSE(WaitNamedPipeW(strName.c_str(), 20));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SEM_TIMEOUT});
    client.reset();
    ASSERT_TRUE(DisconnectNamedPipe(server.get()));
    Operation accept;
    {
        const CJoined waiter([&] { EXPECT_TRUE(WaitNamedPipeW(strName.c_str(), kLongMs)) << GetLastError(); });
        EXPECT_EQ(ErrorOf(ConnectNamedPipe(server.get(), &accept.overlapped)), DWORD{ERROR_IO_PENDING});
    }
    client = Open(strName);
    EXPECT_EQ(accept.Error(server.get()), DWORD{ERROR_SUCCESS});
}

}  // namespace
