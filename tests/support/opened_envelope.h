// Opening the program's envelopes with the development key.
#pragma once

#include <string>

// The text in a URL-escaped envelope; fails the test, and gives the reason as text, when it cannot be opened.
std::string OpenedEnvelope(const std::string& escaped);
