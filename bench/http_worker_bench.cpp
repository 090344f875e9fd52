// What a beacon costs: transfers per second through the worker against a bare loop over the platform's calls in the
// same run, and the microseconds that posting one takes from its sender.
//
//   http_worker_bench [TRANSFERS [ROUNDS]]
#include "tests/support/http_test_server.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <vector>

#include "bench/bench_record.h"
#include "support/http/beacons.h"
#include "support/http/http_transfer.h"
#include "support/http/wininet_api.h"

namespace {

double SecondsNow() {
    LARGE_INTEGER count{};
    LARGE_INTEGER frequency{};
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

// The least that fetches a URL: session, connection, request, send, status, body.
bool FetchBare(const WinInetApi& api, std::uint16_t port) {
    const CInternetHandle session(api, api.Open(L"", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    const CInternetHandle connection(
        api, api.Connect(session.get(), L"127.0.0.1", port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0));
    const CInternetHandle request(api, api.OpenRequest(connection.get(), L"GET", L"/bare", L"HTTP/1.0", nullptr,
                                                       nullptr, INTERNET_FLAG_RELOAD, 0));
    if (api.SendRequest(request.get(), nullptr, 0, nullptr, 0) == FALSE) {
        return false;
    }
    wchar_t status[16] = {};
    DWORD size = sizeof(status);
    api.QueryInfoW(request.get(), HTTP_QUERY_STATUS_CODE, status, &size, nullptr);
    char block[8192];
    DWORD got = 0;
    while (api.ReadFile(request.get(), block, sizeof(block), &got) != FALSE && got > 0) {
    }
    return std::wcscmp(status, L"200") == 0;
}

}  // namespace

int main(int argc, char** argv) {
    const int transfers = argc > 1 ? std::atoi(argv[1]) : 300;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : BenchRounds(9);
    const WinInetApi* const api = GetWinInetApi();
    if (api == nullptr || transfers <= 0 || rounds <= 0) {
        return 1;
    }
    HttpTestServer server([](const HttpTestRequest&) { return HttpTestReply::Of(200, "ok"); });
    const ScopedInternetProxy direct(0);
    COvHttpTransfer* const worker = GetSharedHttpTransfer();
    worker->StartWorker();
    FetchBare(*api, server.Port());
    std::size_t seen = 1;

    std::vector<double> workers;
    std::vector<double> bares;
    std::vector<double> posts;
    std::vector<double> beacons;
    // They take turns, so that a change of the machine's pace meets both alike.
    for (int round = 0; round < rounds; ++round) {
        double begin = SecondsNow();
        for (int i = 0; i < transfers; ++i) {
            if (!FetchBare(*api, server.Port())) {
                std::printf("a bare transfer failed\n");
                return 1;
            }
        }
        bares.push_back(transfers / (SecondsNow() - begin));
        seen += static_cast<std::size_t>(transfers);

        begin = SecondsNow();
        for (int i = 0; i < transfers; ++i) {
            worker->PostUrl(server.Url(L"/worker"));
        }
        posts.push_back((SecondsNow() - begin) / transfers * 1e6);
        // One more, and the one before it is through.
        worker->PostUrl(server.Url(L"/last"));
        seen += static_cast<std::size_t>(transfers) + 1;
        server.WaitForRequests(seen);
        workers.push_back(transfers / (SecondsNow() - begin));

        begin = SecondsNow();
        for (int i = 0; i < transfers; ++i) {
            ReportStaticWithMIDImp(server.Url(L"/static/a/1663.1965.gif"), false);
        }
        beacons.push_back((SecondsNow() - begin) / transfers * 1e6);
        seen += static_cast<std::size_t>(transfers);
        server.WaitForRequests(seen);
    }

    std::printf("medians of %d rounds of %d transfers\n", rounds, transfers);
    std::printf("transfers through the worker   %8.0f per second\n", MedianOf(workers));
    std::printf("bare platform loop             %8.0f per second\n", MedianOf(bares));
    std::printf("worker against bare loop       %8.2f\n", MedianOf(workers) / MedianOf(bares));
    std::printf("posting a URL                  %8.2f microseconds\n", MedianOf(posts));
    std::printf("a whole beacon on its sender   %8.2f microseconds\n", MedianOf(beacons));
    RecordRounds("beacons", "bare WinINet loop", "rate", "a second", bares);
    RecordRounds("beacons", "COvHttpTransfer", "rate", "a second", workers);
    RecordRounds("a beacon on its sender", "post a URL", "time", "us", posts);
    RecordRounds("a beacon on its sender", "a whole beacon", "time", "us", beacons);
    return 0;
}
