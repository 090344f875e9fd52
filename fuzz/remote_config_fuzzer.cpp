// Any file from the net: it is read without harm, and a switch comes out only as 1 or 0 and only of an object.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "foundation/json_text.h"
#include "host/remote_config_rule.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const RemoteConfig config = ReadRemoteConfig(text);
    if (!config.nAppShortcutCreate) {
        return 0;
    }
    if (!config.bParsed || *config.nAppShortcutCreate > 1) {
        std::abort();
    }
    // What was taken for the switch is what an independent walk finds.
    Json::Value root;
    if (!ParseJson(text, root)) {
        std::abort();
    }
    const Json::Value& create = root["appShortcut"]["create"];
    if (!IsJsonInteger(create) || (create == 1) != (*config.nAppShortcutCreate == 1)) {
        std::abort();
    }
    return 0;
}
