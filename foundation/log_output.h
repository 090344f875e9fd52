// Where a formatted log line goes; each platform has its own.
#pragma once

// Writes one line, without its time and line end. Any thread.
void WriteLogText(const wchar_t* text);
