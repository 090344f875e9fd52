// What a log call works out while it is compiled: the name of its function, and whether its arguments fit its format.
#pragma once

#include <cstddef>
#include <cwchar>
#include <string_view>
#include <type_traits>

namespace log_detail {

// The compilers' words for a namespace without a name, and the mark of functions that return a standard string. None of
// them is part of a function's name.
inline constexpr std::string_view kNoise[] = {"{anonymous}::", "(anonymous namespace)::", "[abi:cxx11]"};

constexpr std::size_t NoiseAt(std::string_view text, std::size_t at) {
    for (const std::string_view noise : kNoise) {
        if (text.substr(at).starts_with(noise)) {
            return noise.size();
        }
    }
    return 0;
}

constexpr bool IsNameCharacter(char c) {
    return c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

constexpr bool IsOperatorAt(std::string_view text, std::size_t at) {
    constexpr std::string_view word = "operator";
    return text.substr(at).starts_with(word) && (at == 0 || !IsNameCharacter(text[at - 1])) &&
           at + word.size() < text.size() && !IsNameCharacter(text[at + word.size()]);
}

struct NameRange {
    std::size_t begin;
    std::size_t end;
};

// Where the qualified name is in a compiler's description of a function: "NS::C::f" in
// "void NS::C::f(int) const [with T = int]". A lambda counts as the function around it.
constexpr NameRange FindName(std::string_view text) {
    std::size_t lastWord = 0;
    std::size_t depth = 0;
    std::size_t end = 0;
    while (end < text.size()) {
        const char c = text[end];
        if (const std::size_t noise = NoiseAt(text, end); noise > 0 && depth == 0) {
            end += noise;
            continue;
        }
        if (depth == 0 && IsOperatorAt(text, end)) {
            // Its name may hold brackets and blanks: it ends at the parameters.
            std::size_t from = end + std::string_view("operator").size();
            from += text.substr(from).starts_with("()") ? 2 : 0;
            const std::size_t parameters = text.find('(', from);
            end = parameters < text.size() ? parameters : text.size();
            break;
        }
        if (c == '(' && depth == 0) {
            break;
        }
        if (c == '<' || c == '(') {
            ++depth;
        } else if ((c == '>' || c == ')') && depth > 0) {
            --depth;
        } else if (depth == 0 && (c == ' ' || c == '*' || c == '&')) {
            lastWord = end + 1;
        }
        ++end;
    }
    return {lastWord, end};
}

template <std::size_t N>
struct WideName {
    wchar_t text[N + 1]{};
};

consteval std::size_t NameLength(std::string_view pretty) {
    const NameRange range = FindName(pretty);
    std::size_t length = 0;
    for (std::size_t at = range.begin; at < range.end; ++at) {
        if (const std::size_t noise = NoiseAt(pretty, at); noise > 0) {
            at += noise - 1;
        } else {
            ++length;
        }
    }
    return length;
}

// N is the name's length, so that a long signature takes no room in the program.
template <std::size_t N>
consteval WideName<N> QualifiedName(std::string_view pretty) {
    const NameRange range = FindName(pretty);
    WideName<N> name;
    std::size_t to = 0;
    for (std::size_t at = range.begin; at < range.end; ++at) {
        if (const std::size_t noise = NoiseAt(pretty, at); noise > 0) {
            at += noise - 1;
        } else {
            name.text[to++] = static_cast<wchar_t>(static_cast<unsigned char>(pretty[at]));
        }
    }
    return name;
}

inline constexpr std::wstring_view kOrigin = L"[%s(%d)]";

constexpr bool HasOrigin(std::wstring_view format) {
    return format.starts_with(kOrigin);
}

template <typename... T>
struct Types {};

// Only for decltype: the types in which arguments would be passed on.
template <typename... T>
Types<std::decay_t<T>...> TypesOf(const T&... arguments);

enum class ArgumentKind { Number32, Number64, Real, Wide, Narrow, Pointer, Unfit };

template <typename T>
constexpr ArgumentKind KindOf() {
    if constexpr (std::is_same_v<T, const wchar_t*> || std::is_same_v<T, wchar_t*>) {
        return ArgumentKind::Wide;
    } else if constexpr (std::is_same_v<T, const char*> || std::is_same_v<T, char*>) {
        return ArgumentKind::Narrow;
    } else if constexpr (std::is_pointer_v<T>) {
        return ArgumentKind::Pointer;
    } else if constexpr (std::is_integral_v<T> || (std::is_enum_v<T> && std::is_convertible_v<T, int>)) {
        return sizeof(T) <= 4 ? ArgumentKind::Number32 : ArgumentKind::Number64;
    } else if constexpr (std::is_same_v<T, double> || std::is_same_v<T, float>) {
        return ArgumentKind::Real;
    } else {
        return ArgumentKind::Unfit;
    }
}

// Reads one conversion after its percent sign, moves at to its end and returns what it takes.
constexpr ArgumentKind NextConversion(std::wstring_view format, std::size_t& at) {
    while (at < format.size() && std::wstring_view(L"-+ #0123456789.").find(format[at]) != std::wstring_view::npos) {
        ++at;
    }
    const std::wstring_view rest = format.substr(at);
    if (rest.starts_with(L"hs") || rest.starts_with(L"S")) {
        at += rest.front() == L'S' ? 1 : 2;
        return ArgumentKind::Narrow;
    }
    if (rest.starts_with(L"ls") || rest.starts_with(L"s")) {
        at += rest.front() == L's' ? 1 : 2;
        return ArgumentKind::Wide;
    }
    if (rest.starts_with(L"p")) {
        at += 1;
        return ArgumentKind::Pointer;
    }
    if (rest.starts_with(L"f")) {
        at += 1;
        return ArgumentKind::Real;
    }
    const std::size_t modifier = rest.starts_with(L"ll") ? 2 : 0;
    if (rest.size() > modifier && std::wstring_view(L"diuxXc").find(rest[modifier]) != std::wstring_view::npos) {
        at += modifier + 1;
        return modifier > 0 ? ArgumentKind::Number64 : ArgumentKind::Number32;
    }
    return ArgumentKind::Unfit;
}

// Whether the arguments have the number and the kinds that format asks for. %d and its like take up to 32 bits, %lld
// and its like 64, %f a real, %s wide text, %hs narrow text; other conversions are not used by this program.
template <typename... T>
constexpr bool FormatFits(std::wstring_view format, Types<T...>) {
    constexpr ArgumentKind given[] = {KindOf<T>()..., ArgumentKind::Unfit};
    std::size_t used = 0;
    std::size_t at = HasOrigin(format) ? kOrigin.size() : 0;
    while (at < format.size()) {
        if (format[at++] != L'%') {
            continue;
        }
        if (at < format.size() && format[at] == L'%') {
            ++at;
            continue;
        }
        const ArgumentKind wanted = NextConversion(format, at);
        if (wanted == ArgumentKind::Unfit || used == sizeof...(T) || given[used++] != wanted) {
            return false;
        }
    }
    return used == sizeof...(T);
}

}  // namespace log_detail
