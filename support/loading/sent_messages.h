// Long work beside the messages that other threads send to this one's windows.
#pragma once

#include <functional>

// Runs work on a thread of its own and returns when it has ended. Until then the calling thread takes the messages that
// are sent to its windows, as broadcasts are to every top-level window: their senders need not wait for the work. What
// is posted stays in the queue. Where no thread can be started, work runs on the calling one.
void RunBesideSentMessages(const std::function<void()>& work);
