// Frames as people and programs read them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

#include "client/frame_direction.h"

// {"direction":...,"message":...,"name":...,"type":N}. A payload that is not an envelope is given as a text under
// "payload", with type 0; broken UTF-8 in it becomes U+FFFD.
Json::Value FrameRecord(FrameDirection direction, std::string_view payload);

// "caller -> helper   6 WM_COPY_DATA_MSG_IPC_GET_OPEN  {...}"
std::string FrameLine(FrameDirection direction, std::string_view payload);

// Hexadecimal digits in pairs, blanks between; and back. False when text holds anything else.
std::string HexText(std::string_view bytes);
bool ParseHex(std::string_view text, std::string& bytes);

// The payloads of the frames in bytes; false when bytes are left that are not a whole frame.
bool CutFrames(std::string_view bytes, std::vector<std::string>& payloads);
