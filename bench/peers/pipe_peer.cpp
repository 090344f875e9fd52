// A program in the helper's place that answers bytes with bytes.
//
//   pipe_peer raw|libuv|asio REQUEST_SIZE REPLY_SIZE FIRST_PIPE COUNT
//
// It connects to COUNT pipes, FIRST_PIPE with "0" and further numbers after it, answers each REQUEST_SIZE bytes with
// REPLY_SIZE times "x", and ends when all pipes were closed.
#include "bench/peers/pipe_peer.h"

#include <cstdlib>
#include <cwchar>
#include <memory>

int wmain(int argc, wchar_t** argv) {
    if (argc != 6) {
        return 2;
    }
    const std::wstring kind = argv[1];
    const auto requestSize = static_cast<std::size_t>(std::wcstoul(argv[2], nullptr, 10));
    const std::string reply(std::wcstoul(argv[3], nullptr, 10), 'x');
    const std::unique_ptr<IPipePeer> pPeer = kind == L"raw"     ? MakeRawPeer(requestSize, reply)
                                             : kind == L"libuv" ? MakeLibuvPeer(requestSize, reply)
                                                                : MakeAsioPeer(requestSize, reply);
    for (unsigned long i = 0; i < std::wcstoul(argv[5], nullptr, 10); ++i) {
        if (!pPeer->Connect(argv[4] + std::to_wstring(i))) {
            return 1;
        }
    }
    pPeer->Start();
    return 0;
}
