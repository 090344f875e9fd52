// Reads the bytes of a notice and writes them as one line of JSON.
#pragma once

#include <cstdint>
#include <string>

// {"bytes":"hex","entries":[{"key":"st","tag":101,"value":"-3"},{"key":"from","tag":3,"value":2}],"fault":"",
// "kind":1296520013,"version":1}. fault says what is wrong with the bytes, and is empty when nothing is; entries then
// holds every one of them and nothing follows the end mark.
std::string NoticeText(std::uint64_t kind, const std::string& bytes);
