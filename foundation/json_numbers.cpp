#include "foundation/json_numbers.h"

#include <algorithm>
#include <cstdint>

namespace {

// Between two neighbouring doubles, and half way between them, no number has more significant digits than 768. What
// follows these only says whether there is anything more at all, which one digit can say.
constexpr std::size_t kSignificantDigits = 800;
// Beyond every exponent that a double has, whatever the digits.
constexpr std::int64_t kLargestExponent = 1'000'000'000;

constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::size_t EndOfDigits(std::string_view text, std::size_t at) {
    while (at < text.size() && IsDigit(text[at])) {
        ++at;
    }
    return at;
}

// A row of that many digits must hold a character at one of these places.
bool HasLongRow(std::string_view text, std::size_t nDigits) {
    for (std::size_t at = nDigits - 1; at < text.size();) {
        if (!IsDigit(text[at])) {
            at += nDigits;
            continue;
        }
        std::size_t begin = at;
        while (begin > 0 && at - begin < nDigits && IsDigit(text[begin - 1])) {
            --begin;
        }
        const std::size_t end = EndOfDigits(text, at);
        if (end - begin >= nDigits) {
            return true;
        }
        at = end + nDigits - 1;
    }
    return false;
}

// The parts of a number as the reader cuts it out of a text after its sign: digits, a point with digits, an exponent.
// Any of them may be missing, whatever that makes of the number.
struct Number {
    std::string_view integer;
    std::string_view fraction;
    std::string_view exponentMark;  // with its sign
    std::string_view exponent;
    std::size_t end = 0;
};

Number CutNumber(std::string_view text, std::size_t at) {
    Number number;
    number.end = at;
    const auto next = [&] { return number.end < text.size() ? text[number.end] : '\0'; };
    const auto cutDigits = [&] {
        const std::size_t begin = number.end;
        number.end = EndOfDigits(text, begin);
        return text.substr(begin, number.end - begin);
    };
    number.integer = cutDigits();
    if (next() == '.') {
        ++number.end;
        number.fraction = cutDigits();
    }
    if (next() == 'e' || next() == 'E') {
        const std::size_t begin = number.end++;
        number.end += next() == '+' || next() == '-' ? 1 : 0;
        number.exponentMark = text.substr(begin, number.end - begin);
        number.exponent = cutDigits();
    }
    return number;
}

// The digits from the first one other than 0, and where the point is: before all of them when it is 0.
struct Mantissa {
    std::string digits;    // at most kSignificantDigits
    bool bMore = false;    // a digit other than 0 was left out
    std::size_t size = 0;  // with those left out
    std::int64_t point = 0;
};

Mantissa MantissaOf(const Number& number) {
    Mantissa mantissa;
    const auto take = [&mantissa](char digit) {
        if (mantissa.size == 0 && digit == '0') {
            return false;
        }
        ++mantissa.size;
        if (mantissa.digits.size() < kSignificantDigits) {
            mantissa.digits += digit;
        } else {
            mantissa.bMore = mantissa.bMore || digit != '0';
        }
        return true;
    };
    for (const char digit : number.integer) {
        mantissa.point += take(digit) ? 1 : 0;
    }
    for (const char digit : number.fraction) {
        mantissa.point -= take(digit) ? 0 : 1;
    }
    return mantissa;
}

std::int64_t ExponentOf(const Number& number) {
    std::int64_t exponent = 0;
    for (const char digit : number.exponent) {
        exponent = std::min(exponent * 10 + (digit - '0'), 2 * kLargestExponent);
    }
    return number.exponentMark.ends_with('-') ? -exponent : exponent;
}

void AppendShort(std::string& out, const Number& number, const Mantissa& mantissa) {
    out.append("0.").append(mantissa.digits).append(mantissa.bMore ? "1" : "");
    if (!number.exponentMark.empty() && number.exponent.empty()) {
        out += number.exponentMark;  // no number, and it stays none
        return;
    }
    out += 'e';
    out += std::to_string(std::clamp(ExponentOf(number) + mantissa.point, -kLargestExponent, kLargestExponent));
}

// The end of the text or comment that begins at this place, or of the single character there.
std::size_t EndOfPiece(std::string_view text, std::size_t at) {
    if (text[at] == '"') {
        for (++at; at < text.size() && text[at] != '"'; ++at) {
            at += text[at] == '\\' ? 1 : 0;
        }
        return std::min(at + 1, text.size());
    }
    if (text[at] == '/' && at + 1 < text.size() && (text[at + 1] == '*' || text[at + 1] == '/')) {
        const bool bBlock = text[at + 1] == '*';
        const std::size_t end = bBlock ? text.find("*/", at + 2) : text.find_first_of("\r\n", at + 2);
        return end == std::string_view::npos ? text.size() : end + (bBlock ? 2 : 1);
    }
    return at + 1;
}

}  // namespace

std::optional<std::string> WithShortNumbers(std::string_view text, std::size_t nLongDigits) {
    // The digits may be on both sides of the point: then half of them are on one.
    if (!HasLongRow(text, (nLongDigits + 1) / 2)) {
        return std::nullopt;
    }
    std::string out;
    std::size_t copied = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (!IsDigit(text[at]) && text[at] != '-') {
            at = EndOfPiece(text, at);
            continue;
        }
        at += text[at] == '-' ? 1 : 0;
        const Number number = CutNumber(text, at);
        if (number.integer.size() + number.fraction.size() >= nLongDigits) {
            const Mantissa mantissa = MantissaOf(number);
            if (mantissa.size >= nLongDigits) {
                out.append(text, copied, at - copied);
                AppendShort(out, number, mantissa);
                copied = number.end;
            }
        }
        at = number.end;
    }
    if (copied == 0) {
        return std::nullopt;
    }
    out.append(text, copied);
    return out;
}
