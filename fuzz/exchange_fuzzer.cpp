// ReadExchange on any text: what it takes is written and read back as the same, also after it was settled and moved.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_check.h"
#include "tooling/exchange.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Exchange exchange;
    std::string problem;
    if (!ReadExchange({reinterpret_cast<const char*>(data), size}, exchange, problem)) {
        FUZZ_CHECK(!problem.empty());
        return 0;
    }
    Exchange again;
    FUZZ_CHECK(ReadExchange(WriteExchange(exchange), again, problem));
    FUZZ_CHECK(again == exchange);
    for (const ExchangeFrame& frame : exchange.frames) {
        FUZZ_CHECK(ExchangeDifference(frame, frame.payload).empty());
    }
    FUZZ_CHECK(exchange.frames.empty() == ShowExchange(exchange).empty());
    const Exchange moved = MoveExchange(exchange, "m2", exchange.service);
    FUZZ_CHECK(moved.frames == exchange.frames);
    const std::size_t before = exchange.frames.size();
    SettleExchange(exchange);
    FUZZ_CHECK(exchange.frames.size() <= before);
    return 0;
}
