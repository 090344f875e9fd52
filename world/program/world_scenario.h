// What nexlet-world brings up, read from a file. world/README.md shows the format to its writers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Where in the registry: HKEY_LOCAL_MACHINE in one of its two views, or HKEY_CURRENT_USER.
enum class RegistryPlace { Machine64, Machine32, User };
const char* RegistryPlaceName(RegistryPlace place);
std::optional<RegistryPlace> RegistryPlaceOf(std::string_view name);

// The types of registry values that a scenario can name, as Windows numbers them.
inline constexpr std::uint32_t kRegistryText = 1;
inline constexpr std::uint32_t kRegistryBytes = 3;
inline constexpr std::uint32_t kRegistryNumber = 4;

struct WorldStep {
    enum class Kind {
        Value,     // a registry value
        Keep,      // a registry key that is restored at the end, with all below it
        File,      // a copy of strSource at strTarget
        Setting,   // one line of an ini file
        Process,   // strTarget, a copy of strSource, runs with strText after its own arguments
        Internet,  // the same, and then the proxy of everything that this user runs
        Answer,    // of the internet: strText is a line of its file
    };
    Kind kind = Kind::Value;
    std::size_t nLine = 0;
    RegistryPlace place = RegistryPlace::User;
    std::string strKey{};       // of the registry or of the ini file's line
    std::string strName{};      // of a registry value; the section of an ini file
    std::uint32_t nType = 0;    // of a registry value
    std::uint32_t nNumber = 0;  // of kRegistryNumber
    bool bNow = false;          // the number is the time of "up"; or that time follows the bytes
    std::string strText{};      // the value's text or bytes, the setting, or the arguments
    std::string strSource{};    // relative to the folder of the program
    std::string strTarget{};    // relative to the world's directory

    bool operator==(const WorldStep&) const = default;
};

// Reads a file's text. False, with a sentence that names the line in problem, when it is not one.
bool ReadWorldScenario(std::string_view text, std::vector<WorldStep>& steps, std::string& problem);

// text with the world's directory in place of every "{dir}".
std::string WithDirectory(std::string_view text, std::string_view directory);
