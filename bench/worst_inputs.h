// What each reader of foreign bytes is fed with by the bench of worst inputs.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

// One reader with one kind of input, made in a size.
struct WorstInput {
    struct Prepared {
        std::size_t bytes;           // of the input, about the size asked for
        std::function<void()> work;  // reads it once
    };

    std::string name;  // "reader: kind"
    std::function<Prepared(std::size_t size)> prepare;
};

using WorstInputs = std::vector<WorstInput>;

// A reader that takes the input as one text.
WorstInput TextInput(std::string name, std::function<std::string(std::size_t size)> make,
                     std::function<void(const std::string& text)> read);

// A piece as often as it fits, between a beginning and an end.
std::string Repeated(const std::string& piece, std::size_t size, const std::string& begin = "",
                     const std::string& end = "");

void AddFrames(WorstInputs& inputs);
void AddTexts(WorstInputs& inputs);     // base64, escapes, conversions, command line, versions
void AddJson(WorstInputs& inputs);      // envelope, bodies, open request, configuration, reports
void AddSigners(WorstInputs& inputs);   // certificate tables and the headers before them
void AddPictures(WorstInputs& inputs);  // headers and icon files
