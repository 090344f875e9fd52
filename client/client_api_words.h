// The contents of opens and polls, and what asks for one result word.
#pragma once

#include <cstdint>

#include <json/value.h>

#include "client/client.h"

// The content of an open, and of the question of a poll or watch.
Json::Value OpenContent(CClient& client, Json::Value open);
Json::Value QuestionContent(const char* question);

// Sends and waits for the word. The JSON was checked.
nexlet_result OpenTarget(CClient& client, Json::Value open, std::uint32_t timeoutMs, char** word);
nexlet_result PollTarget(CClient& client, const char* question, std::uint32_t timeoutMs, char** word);
// Asks until the word is another than "Loading".
nexlet_result AwaitTarget(CClient& client, const char* question, std::uint32_t intervalMs, std::uint32_t timeoutMs,
                          char** word);
