// The records of opens and questions, as the JSON that the helper reads.
#pragma once

#include <string>

#include <json/value.h>

#include "client/include/nexlet_client.h"

// NEXLET_OK, NEXLET_BAD_SIZE, or NEXLET_BAD_ARGUMENT with its reason: a text that is not UTF-8, or a member missing
// that the type needs.
nexlet_result ReadApp(const nexlet_app* given, Json::Value& open);
// question becomes the JSON text. watch: with the members of nexlet_watch_app.
nexlet_result ReadQuestion(const nexlet_app_question* given, bool watch, std::string& question);
