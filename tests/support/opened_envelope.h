// Opening what the program put under its envelope, with the development key.
#pragma once

#include <string>

// The text in a URL-escaped envelope; fails the test, and gives what is wrong, when it cannot be opened.
std::string OpenedEnvelope(const std::string& escaped);
