// What the internet of a world answers, and for whom: lines of a scenario.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct ToldAnswer {
    std::string strHost;  // in lower case; "*" is every host
    std::string strPath;  // with the query; a "*" at its end matches any rest
    std::uint32_t nStatus = 200;
    std::uint32_t nDelayMs = 0;
    std::string strFile;  // relative to the world's directory, with backslashes; without one strBody is the body
    std::string strBody;

    bool operator==(const ToldAnswer&) const = default;
};

// Reads what follows the word "answer": HOST PATH STATUS [after MS] [text TEXT | file TARGET]. An empty text, or
// what is wrong.
std::string ReadAnswer(std::string_view rest, ToldAnswer& answer);

// The answers of a whole file. Its lines were read once before; one that is not an answer now is left out.
std::vector<ToldAnswer> ReadAnswers(std::string_view text);

// The first answer that fits, or a null pointer. path begins with a slash; a query that no answer names does not count.
const ToldAnswer* AnswerFor(const std::vector<ToldAnswer>& answers, std::string_view host, std::string_view path);
